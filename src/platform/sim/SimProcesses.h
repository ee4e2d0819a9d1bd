#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/Processes.h"

namespace parvel::sim {

class Applications;
class Trace;

// What an emulated command-line tool did: its exit status and what it wrote to each stream.
struct ToolResult {
    int status = 0;
    std::string output;
    std::string error;
};

using ToolArguments = std::vector<std::string>;
using Tool = std::function<ToolResult(const ToolArguments& arguments)>;

// Starting tools on the simulated Mac. The tools the program runs ("/usr/bin/defaults",
// "/usr/bin/killall"...) are emulated against the world and take effect when they start; programs
// that are files of the sandbox (the bundle's and the installed helpers) start only while their
// file is there and executable; a few harmless tools of this machine ("/bin/true", "/bin/echo"...)
// run for real; anything else fails to start, as a missing executable does. Every start is traced
// with its arguments.
class SimProcesses final : public platform::Processes {
  public:
    SimProcesses(Applications& applications, const platform::FileSystem& files, Trace& trace,
                 platform::ProcessId ownPid, platform::Processes& host);

    Result<std::unique_ptr<platform::ChildProcess>> launch(
        const platform::LaunchRequest& request) override;
    platform::ProcessId currentProcessId() const override { return ownPid_; }
    std::optional<platform::ProcessId> parentProcessId(platform::ProcessId pid) const override;
    std::optional<platform::ProcessId> responsibleProcessId(platform::ProcessId pid) const override;
    std::optional<std::string> executablePath(platform::ProcessId pid) const override;

    // Emulates a tool at an absolute path.
    void addTool(std::string path, Tool tool);
    // Begins an installed program's path that stands for the same file in any folder.
    static constexpr std::string_view kAnyFolder = "*/";

    // Emulates a program that is a file of the sandbox: it starts only while an executable file
    // is at the path it is started by, and otherwise fails as a missing ("No such file or
    // directory") or non-executable ("Permission denied") file does. A path starting with
    // kAnyFolder ("*/Contents/Resources/Helper") matches wherever the rest of it ends a path (a
    // resource of whichever copy of a bundle runs).
    void addInstalledProgram(std::string path, Tool tool);
    // Makes a tool or installed program fail to start, as if it were missing (the start error's
    // description is "No such file or directory").
    void removeTool(const std::string& path);
    // Every start, executable first, in order; the ones that failed to start too.
    const std::vector<ToolArguments>& invocations() const { return invocations_; }

    // Shows an argument list the way a shell would need it quoted.
    static std::string describe(const std::string& executable, const ToolArguments& arguments);

  private:
    using Child = Result<std::unique_ptr<platform::ChildProcess>>;

    const Tool* installedProgram(std::string_view path) const;
    Child run(const Tool& tool, const platform::LaunchRequest& request, const std::string& shown);
    Child failToStart(const std::string& shown, int error);

    Applications& applications_;
    const platform::FileSystem& files_;
    Trace& trace_;
    platform::ProcessId ownPid_;
    platform::Processes& host_;
    std::map<std::string, Tool, std::less<>> tools_;
    std::map<std::string, Tool, std::less<>> installedPrograms_;
    std::vector<ToolArguments> invocations_;
    platform::ProcessId nextToolPid_ = 5000;
};

}  // namespace parvel::sim
