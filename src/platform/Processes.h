#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Error.h"

namespace parvel::platform {

using ProcessId = int;

// Where a launched tool's standard output or standard error goes.
enum class StreamTarget {
    Null,          // the null device
    Pipe,          // a pipe of its own, read with readOutput()/readError()
    SameAsOutput,  // standard error only: the same pipe as standard output
};

// What to run: an absolute executable path and its arguments, passed as they are (no shell).
struct LaunchRequest {
    std::string executable;
    std::vector<std::string> arguments;
    StreamTarget output = StreamTarget::Null;
    StreamTarget error = StreamTarget::Null;
};

// A tool that was started. Destroying it without waiting leaves the tool running on its own
// (fire and forget) and reaps it when it ends.
class ChildProcess {
  public:
    virtual ~ChildProcess() = default;

    virtual ProcessId processId() const = 0;
    // Blocks until the tool exits and returns its exit status; a tool ended by signal N reports
    // 128 + N, as a shell does. Repeated calls return the same status.
    virtual int waitUntilExit() = 0;
    // Reads the standard-output pipe to its end (raw bytes); empty without a pipe.
    virtual std::string readOutput() = 0;
    // Reads the standard-error pipe to its end (raw bytes); empty without a pipe of its own.
    virtual std::string readError() = 0;
};

// The processes service: starting tools and looking at the process table.
class Processes {
  public:
    virtual ~Processes() = default;

    // Starts a tool; fails with the start error (a missing or non-executable path...).
    virtual Result<std::unique_ptr<ChildProcess>> launch(const LaunchRequest& request) = 0;

    // This process's id (getpid).
    virtual ProcessId currentProcessId() const = 0;
    // The parent of a process (sysctl's e_ppid), if the process exists.
    virtual std::optional<ProcessId> parentProcessId(ProcessId pid) const = 0;
    // The process responsible for another, e.g. the app behind a helper (proc_pidresponsible).
    virtual std::optional<ProcessId> responsibleProcessId(ProcessId pid) const = 0;
    // The executable path of a process (proc_pidpath).
    virtual std::optional<std::string> executablePath(ProcessId pid) const = 0;
};

}  // namespace parvel::platform
