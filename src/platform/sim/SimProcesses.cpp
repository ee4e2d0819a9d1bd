#include "platform/sim/SimProcesses.h"

#include <cerrno>

#include <fmt/format.h>

#include "platform/sim/Trace.h"
#include "platform/sim/world/Applications.h"

namespace parvel::sim {

using platform::StreamTarget;

namespace {

// Real tools of this machine that touch nothing outside the process.
const std::set<std::string, std::less<>> kHarmlessHostTools = {
    "/bin/true", "/bin/false", "/bin/echo", "/usr/bin/printf", "/bin/cat", "/usr/bin/env"};

// A finished emulated tool: its status and its streams, routed as the launch asked.
class EmulatedChild final : public platform::ChildProcess {
  public:
    EmulatedChild(platform::ProcessId pid, int status, std::string output, std::string error)
        : pid_(pid), status_(status), output_(std::move(output)), error_(std::move(error)) {}

    platform::ProcessId processId() const override { return pid_; }
    int waitUntilExit() override { return status_; }
    std::string readOutput() override { return std::exchange(output_, {}); }
    std::string readError() override { return std::exchange(error_, {}); }

  private:
    platform::ProcessId pid_;
    int status_;
    std::string output_;
    std::string error_;
};

bool needsQuoting(const std::string& argument) {
    return argument.empty() ||
           argument.find_first_of(" \t\n'\"\\$`*?&|;<>()[]{}!#~") != std::string::npos;
}

}  // namespace

SimProcesses::SimProcesses(Applications& applications, const platform::FileSystem& files,
                           Trace& trace, platform::ProcessId ownPid, platform::Processes& host)
    : applications_(applications), files_(files), trace_(trace), ownPid_(ownPid), host_(host) {}

std::string SimProcesses::describe(const std::string& executable, const ToolArguments& arguments) {
    std::string text = executable;
    for (const auto& argument : arguments) {
        if (!needsQuoting(argument)) {
            text += " " + argument;
            continue;
        }
        std::string quoted = "'";
        for (const char character : argument) {
            quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
        }
        text += " " + quoted + "'";
    }
    return text;
}

Result<std::unique_ptr<platform::ChildProcess>> SimProcesses::launch(
    const platform::LaunchRequest& request) {
    ToolArguments invocation{request.executable};
    invocation.insert(invocation.end(), request.arguments.begin(), request.arguments.end());
    invocations_.push_back(invocation);
    const std::string shown = describe(request.executable, request.arguments);

    if (const auto tool = tools_.find(request.executable); tool != tools_.end()) {
        return run(tool->second, request, shown);
    }
    if (const Tool* program = installedProgram(request.executable)) {
        if (!files_.exists(request.executable)) {
            return failToStart(shown, ENOENT);
        }
        if (!files_.isExecutable(request.executable)) {
            return failToStart(shown, EACCES);
        }
        return run(*program, request, shown);
    }
    if (kHarmlessHostTools.contains(request.executable)) {
        trace_.record("process", shown);
        return host_.launch(request);
    }
    return failToStart(shown, ENOENT);
}

const Tool* SimProcesses::installedProgram(std::string_view path) const {
    for (const auto& [pattern, tool] : installedPrograms_) {
        const bool anyFolder = pattern.starts_with(kAnyFolder);
        if (anyFolder ? path.ends_with(std::string_view(pattern).substr(kAnyFolder.size() - 1))
                      : path == pattern) {
            return &tool;
        }
    }
    return nullptr;
}

SimProcesses::Child SimProcesses::run(const Tool& tool, const platform::LaunchRequest& request,
                                      const std::string& shown) {
    trace_.record("process", shown);
    ToolResult result = tool(request.arguments);
    if (result.status != 0) {
        const auto end = result.error.find_last_not_of(" \n");
        const std::string shownError =
            end == std::string::npos ? "" : result.error.substr(0, end + 1);
        trace_.record("process", fmt::format("exit {}{}", result.status,
                                             shownError.empty() ? "" : ": " + shownError));
    }
    std::string output = request.output == StreamTarget::Pipe ? std::move(result.output) : "";
    std::string error;
    if (request.error == StreamTarget::Pipe) {
        error = std::move(result.error);
    } else if (request.error == StreamTarget::SameAsOutput &&
               request.output == StreamTarget::Pipe) {
        output += result.error;
    }
    return std::make_unique<EmulatedChild>(nextToolPid_++, result.status, std::move(output),
                                           std::move(error));
}

SimProcesses::Child SimProcesses::failToStart(const std::string& shown, int error) {
    trace_.record("process", fmt::format("{} (failed to start: {})", shown,
                                         error == EACCES ? "permission denied" : "no such file"));
    return std::unexpected(posixError(error));
}

std::optional<platform::ProcessId> SimProcesses::parentProcessId(platform::ProcessId pid) const {
    const SimApp* app = applications_.find(pid);
    return app && !app->terminated ? std::optional(app->parent) : std::nullopt;
}

std::optional<platform::ProcessId> SimProcesses::responsibleProcessId(
    platform::ProcessId pid) const {
    const SimApp* app = applications_.find(pid);
    return app && !app->terminated ? app->responsible : std::nullopt;
}

std::optional<std::string> SimProcesses::executablePath(platform::ProcessId pid) const {
    const SimApp* app = applications_.find(pid);
    return app && !app->terminated ? std::optional(app->spec.executablePath) : std::nullopt;
}

void SimProcesses::addTool(std::string path, Tool tool) {
    tools_[std::move(path)] = std::move(tool);
}

void SimProcesses::addInstalledProgram(std::string path, Tool tool) {
    installedPrograms_[std::move(path)] = std::move(tool);
}

void SimProcesses::removeTool(const std::string& path) {
    tools_.erase(path);
    installedPrograms_.erase(path);
}

}  // namespace parvel::sim
