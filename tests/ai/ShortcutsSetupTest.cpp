#include <gtest/gtest.h>

#include "ai/ShortcutsSetup.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimWorkspace.h"
#include "platform/sim/SimulatedMac.h"

namespace parvel {
namespace {

TEST(ShortcutsSetupTest, ExplainsTheActionAndOpensShortcutsOnlyWhenAsked) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"Open Shortcuts", {"shortcuts://create-shortcut"}}, {"Cancel", {}}};
    for (const auto& [button, opened] : cases) {
        SCOPED_TRACE(button);
        sim::SimulatedMac mac;
        const auto& services = mac.platform();
        mac.dispatch().main().async(
            [&] { openShortcutsSetup(*services.presenter, *services.workspace); });
        mac.dispatch().runDue();

        const auto alert = mac.presenter().currentAlert();
        ASSERT_TRUE(alert.has_value());
        EXPECT_EQ(alert->messageText, "Siri + AI");
        EXPECT_EQ(alert->informativeText,
                  "ParvelMac exposes an \u2018Ask AI\u2019 action to macOS Shortcuts using App "
                  "Intents. Say \u2018Siri, ask ParvelMac\u2019 or open Shortcuts, search for "
                  "ParvelMac, and add Ask AI. The action uses whichever provider you selected in "
                  "ParvelMac.");
        ASSERT_EQ(alert->buttons.size(), 2U);
        EXPECT_EQ(alert->buttons[0].title, "Open Shortcuts");
        EXPECT_EQ(alert->buttons[1].title, "Cancel");

        mac.presenter().answerAlert(button);
        EXPECT_FALSE(mac.presenter().currentAlert().has_value());
        EXPECT_EQ(mac.workspace().openedURLs(), opened);
    }
}

}  // namespace
}  // namespace parvel
