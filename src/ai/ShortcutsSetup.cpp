#include "ai/ShortcutsSetup.h"

namespace parvel {

namespace {

constexpr std::string_view kNewShortcutURL = "shortcuts://create-shortcut";

ui::Alert shortcutsSetupAlert() {
    ui::Alert alert;
    alert.messageText = "Siri + AI";
    alert.informativeText =
        "ParvelMac exposes an \u2018Ask AI\u2019 action to macOS Shortcuts using App Intents. "
        "Say \u2018Siri, ask ParvelMac\u2019 or open Shortcuts, search for ParvelMac, and add Ask "
        "AI. The action uses whichever provider you selected in ParvelMac.";
    alert.buttons = {{.title = "Open Shortcuts", .keyEquivalent = "\r"},
                     {.title = "Cancel", .keyEquivalent = "\x1b"}};
    return alert;
}

}  // namespace

void openShortcutsSetup(platform::Presenter& presenter, platform::Workspace& workspace) {
    if (presenter.runModal(shortcutsSetupAlert()) == ui::kAlertFirstButtonReturn) {
        workspace.openURL(kNewShortcutURL);
    }
}

}  // namespace parvel
