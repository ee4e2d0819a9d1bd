#include "platform/sim/tools/TccutilTool.h"

#include <map>
#include <set>

#include <fmt/format.h>

#include "platform/sim/Trace.h"
#include "platform/sim/tools/ToolResults.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::sim {

namespace {

constexpr int kFailureStatus = 1;
constexpr std::string_view kUsage = "Usage: tccutil reset SERVICE [BUNDLE_ID]";
constexpr std::string_view kAllServices = "All";

// Services whose answers the simulated Mac keeps for this program, and what resetting them does.
using Reset = void (*)(Permissions&);
const std::map<std::string_view, Reset> kModelledServices = {
    {"Accessibility", [](Permissions& permissions) { permissions.accessibility = false; }},
    {"ScreenCapture", [](Permissions& permissions) { permissions.screenRecording = false; }},
    {"ListenEvent", [](Permissions& permissions) { permissions.inputMonitoring = false; }},
    {"BluetoothAlways", [](Permissions& permissions) { permissions.bluetooth = false; }},
    {"AppleEvents", [](Permissions& permissions) { permissions.automation.clear(); }},
};
// Services tccutil knows that nothing here depends on.
const std::set<std::string_view> kOtherServices = {"AddressBook",
                                                   "Calendar",
                                                   "Camera",
                                                   "Microphone",
                                                   "Photos",
                                                   "PostEvent",
                                                   "Reminders",
                                                   "SystemPolicyAllFiles",
                                                   "SystemPolicyDesktopFolder",
                                                   "SystemPolicyDocumentsFolder",
                                                   "SystemPolicyDownloadsFolder",
                                                   "SpeechRecognition"};

}  // namespace

ToolResult TccutilTool::run(const ToolArguments& arguments) {
    if ((arguments.size() != 2 && arguments.size() != 3) || arguments[0] != "reset") {
        return failedWith(kFailureStatus, kUsage);
    }
    const std::string& service = arguments[1];
    const bool known = service == kAllServices || kModelledServices.contains(service) ||
                       kOtherServices.contains(service);
    if (!known) {
        return failedWith(kFailureStatus, fmt::format("tccutil: Failed to reset {}", service));
    }
    const bool forThisProgram = arguments.size() == 2 || arguments[2] == ownBundleIdentifier_;
    for (const auto& [modelled, reset] : kModelledServices) {
        if (forThisProgram && (service == kAllServices || service == modelled)) {
            reset(permissions_);
            trace_.record("privacy", fmt::format("{} decisions for {} were reset", modelled,
                                                 ownBundleIdentifier_));
        }
    }
    if (arguments.size() == 2) {
        return printedLine(fmt::format("Successfully reset {}", service));
    }
    return printedLine(
        fmt::format("Successfully reset {} approval status for {}", service, arguments[2]));
}

}  // namespace parvel::sim
