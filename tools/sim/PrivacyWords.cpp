#include <map>

#include <fmt/format.h>

#include "Words.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::scenario {

// This program's permissions, and its Automation of other applications.
void addPrivacyWords(Vocabulary& vocabulary) {
    vocabulary.add(
        {{"permission"},
         "permission accessibility|screen-recording|input-monitoring on|off",
         "grant or revoke one of this program's permissions",
         [](const Arguments& arguments) -> std::expected<Step, std::string> {
             SCENARIO_CHECK(arguments.requireCount(2, 2));
             const auto granted = parseSwitch(arguments[1]);
             SCENARIO_CHECK(granted);
             const std::string which = arguments[0];
             if (which != "accessibility" && which != "screen-recording" &&
                 which != "input-monitoring") {
                 return failed(fmt::format("'{}' is not a permission", which));
             }
             return compiledStep([which, granted = *granted](Context& context) -> Outcome {
                 auto& permissions = context.mac.permissions();
                 (which == "accessibility"      ? permissions.accessibility
                  : which == "screen-recording" ? permissions.screenRecording
                                                : permissions.inputMonitoring) = granted;
                 context.mac.trace().record(
                     "privacy", fmt::format("{} {}", which, granted ? "granted" : "revoked"));
                 return {};
             });
         }});
    vocabulary.add({{"automation"},
                    "automation BUNDLE-ID|answer allow|deny|ask",
                    "set Automation for a target application, or what the user answers when asked",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(2, 2));
                        const std::map<std::string, sim::AutomationState> states = {
                            {"allow", sim::AutomationState::Allowed},
                            {"deny", sim::AutomationState::Denied},
                            {"ask", sim::AutomationState::NotDetermined}};
                        const auto state = states.find(arguments[1]);
                        if (state == states.end()) {
                            return failed("the state is allow, deny or ask");
                        }
                        return compiledStep([target = arguments[0],
                                             state = state->second](Context& context) -> Outcome {
                            if (target == "answer") {
                                context.mac.permissions().automationAnswer = state;
                            } else {
                                context.mac.permissions().automation[target] = state;
                            }
                            return {};
                        });
                    }});
}

}  // namespace parvel::scenario
