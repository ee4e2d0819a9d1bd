#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/Error.h"
#include "platform/Processes.h"

namespace parvel {

// A tool's exit status and its combined standard output and standard error, decoded as UTF-8.
struct ProcessOutput {
    int status = 0;
    std::string text;
    friend bool operator==(const ProcessOutput&, const ProcessOutput&) = default;
};

// Whether an installed helper succeeded (exit status 0), and its standard output followed by its
// standard error.
struct HelperResult {
    bool success = false;
    std::string output;
    friend bool operator==(const HelperResult&, const HelperResult&) = default;
};

// The ways the program runs external tools: an absolute path and an argument list, never a shell.
// Every runner but launchDetached blocks the calling thread until the tool exits; any thread may
// call them. Output that is not valid UTF-8 reads as the empty string.
class ProcessRunner {
  public:
    explicit ProcessRunner(platform::Processes& processes) : processes_(processes) {}

    using Arguments = std::vector<std::string>;

    // Both streams go to the null device. The exit status, or -1 when the tool could not start.
    int runProcess(std::string_view path, const Arguments& arguments) const;
    // The same, but a tool that could not start gives its start error.
    Result<int> exitStatus(std::string_view path, const Arguments& arguments) const;
    // Both streams share one pipe, read after the tool exits, so only short outputs fit (a tool
    // that fills the pipe before exiting would wait forever). On a start failure: -1 and the
    // start error's description.
    ProcessOutput processOutput(std::string_view path, const Arguments& arguments) const;
    // Standard output only (standard error to the null device), read after the tool exits. On a
    // start failure: -1 and no text.
    ProcessOutput standardOutput(std::string_view path, const Arguments& arguments) const;
    // Separate pipes, read after the tool exits, standard output first. On a start failure:
    // false and the start error's description.
    HelperResult runInstalledHelper(std::string_view path, const Arguments& arguments) const;
    // Starts a tool without waiting for it; output goes to the null device.
    Result<void> launchDetached(std::string_view path, const Arguments& arguments) const;

  private:
    platform::Processes& processes_;
};

}  // namespace parvel
