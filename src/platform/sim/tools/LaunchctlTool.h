#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

class LaunchAgents;

// "/bin/launchctl" for the user's gui/<uid> domain:
//   bootstrap gui/UID PLIST          bootout gui/UID PLIST | gui/UID/LABEL | gui/UID
//   enable gui/UID/LABEL             disable gui/UID/LABEL
// Failures print "<Verb> failed: <errno>: <description>" and exit with the errno value; another
// user's domain is refused (EPERM), since only root may act there.
class LaunchctlTool {
  public:
    static constexpr std::string_view kPath = "/bin/launchctl";

    LaunchctlTool(LaunchAgents& agents, unsigned userId) : agents_(agents), userId_(userId) {}

    ToolResult run(const ToolArguments& arguments);

  private:
    // A domain target ("gui/501") or a service target ("gui/501/LABEL").
    struct Target {
        unsigned userId = 0;
        std::optional<std::string> label;
    };

    ToolResult bootstrap(const ToolArguments& arguments);
    ToolResult bootout(const ToolArguments& arguments);
    ToolResult setEnabled(const ToolArguments& arguments, bool enabled);
    static std::optional<Target> parseTarget(std::string_view text);
    bool isOwnDomain(const Target& target) const { return target.userId == userId_; }

    LaunchAgents& agents_;
    unsigned userId_;
};

}  // namespace parvel::sim
