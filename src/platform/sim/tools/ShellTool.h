#pragma once

#include <expected>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Dispatch.h"
#include "platform/FileSystem.h"
#include "platform/Processes.h"
#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

class Trace;

// A script a shell was asked to run.
struct ShellScript {
    std::string shell;                   // "/bin/sh" or "/bin/bash"
    std::string text;                    // the -c text, or the script file's contents
    std::string path;                    // the script file; empty for -c
    std::string name;                    // $0
    std::vector<std::string> arguments;  // $1, $2...
};

using ShellScriptHandler = std::function<ToolResult(const ShellScript&)>;
// Answers a script it recognises, or nothing to let the next matcher try.
using ShellScriptMatcher = std::function<std::optional<ToolResult>(const ShellScript&)>;

// "/bin/sh" and "/bin/bash", as `-c SCRIPT [NAME [ARGUMENTS...]]` or `PATH [ARGUMENTS...]` (the
// file read from the sandbox). There is no shell language here: a script runs when a handler
// knows its exact text or a matcher recognises it, and otherwise only when it is one simple
// command starting with an absolute path, which then runs through the processes service. The
// detached relaunch script "sleep 1; /usr/bin/open -n -a \"$1\"" is built in: it exits at once
// and runs "/usr/bin/open -n -a $1" one second of virtual time later. Anything else fails with
// exit status 2.
class ShellTool {
  public:
    static constexpr std::string_view kShellPath = "/bin/sh";
    static constexpr std::string_view kBashPath = "/bin/bash";
    static constexpr std::string_view kRelaunchScript = "sleep 1; /usr/bin/open -n -a \"$1\"";

    ShellTool(platform::Processes& processes, platform::FileSystem& files,
              platform::Dispatch& dispatch, Trace& trace);

    ToolResult run(std::string_view shell, const ToolArguments& arguments);
    void addScript(std::string text, ShellScriptHandler handler);
    void addMatcher(ShellScriptMatcher matcher);

  private:
    [[nodiscard]] std::expected<ShellScript, ToolResult> parse(
        std::string_view shell, const ToolArguments& arguments) const;
    ToolResult execute(const ShellScript& script);
    std::optional<ToolResult> runSimpleCommand(const ShellScript& script);
    ToolResult relaunchApplication(const ShellScript& script);

    platform::Processes& processes_;
    platform::FileSystem& files_;
    platform::Dispatch& dispatch_;
    Trace& trace_;
    std::map<std::string, ShellScriptHandler, std::less<>> scripts_;
    std::vector<ShellScriptMatcher> matchers_;
    // Work of detached scripts still to come; cancelled if the tools go away first.
    std::vector<platform::Scheduled> pending_;
};

}  // namespace parvel::sim
