#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Processes.h"
#include "platform/sim/SimAppleScript.h"
#include "platform/sim/tools/AdministratorPrompt.h"

namespace parvel::sim {

class Trace;

// AppleScript's `do shell script "COMMAND" [with administrator privileges]`, for a command given
// as a string literal (escapes \\, \", \n, \t and \r). The command runs as "/bin/sh -c COMMAND"
// on the simulated Mac; with administrator privileges the user is asked for a password first, and
// cancelling fails with "User canceled." (-128). The result is the command's standard output
// without its last newline and with the other newlines turned into returns, as the real command
// gives it; a non-zero exit fails with the standard-error text (or a stock message) and the exit
// status as the error number.
class DoShellScript {
  public:
    DoShellScript(platform::Processes& processes, Trace& trace)
        : processes_(processes), trace_(trace) {}

    // The script's outcome when it is such a command, nothing otherwise.
    std::optional<ScriptResult> handle(std::string_view source);
    AdministratorPrompt& administratorPrompt() { return prompt_; }

  private:
    [[nodiscard]] ScriptResult run(const std::string& command, bool withAdministratorPrivileges);
    bool approvedByAdministrator();

    platform::Processes& processes_;
    Trace& trace_;
    AdministratorPrompt prompt_;
};

}  // namespace parvel::sim
