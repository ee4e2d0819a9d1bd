#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/AppleScript.h"

namespace parvel::sim {

class Trace;
struct Permissions;

using ScriptResult = std::expected<std::string, platform::AppleScriptError>;

// The scripting engine of the simulated Mac. It knows the scripts the program sends, each handled
// by the model of the application it talks to; a script it does not know fails as a script the
// real engine cannot compile does. Scripts to another application need the user's Automation
// permission for it, asked for on first use.
class SimAppleScript final : public platform::AppleScript {
  public:
    // Answers a script it recognises, or nothing to let the next handler try.
    using Handler = std::function<std::optional<ScriptResult>(std::string_view source)>;

    SimAppleScript(Permissions& permissions, Trace& trace)
        : permissions_(permissions), trace_(trace) {}

    [[nodiscard]] ScriptResult run(std::string_view source) override;

    void addHandler(Handler handler) { handlers_.push_back(std::move(handler)); }
    // Handles exactly this text, sent to the application with that bundle identifier and name.
    void addScript(std::string source, std::string bundleIdentifier, std::string applicationName,
                   std::function<ScriptResult()> answer);
    // The Automation check every handler of a script to another application makes first.
    std::optional<platform::AppleScriptError> refusedAutomation(const std::string& bundleIdentifier,
                                                                const std::string& name);
    // Every script run, in order.
    const std::vector<std::string>& scripts() const { return scripts_; }

  private:
    Permissions& permissions_;
    Trace& trace_;
    std::vector<Handler> handlers_;
    std::vector<std::string> scripts_;
};

}  // namespace parvel::sim
