#include "modes/LowDataModeController.h"
#include "modes/ModesFixture.h"

namespace parvel {
namespace {

using platform::NetworkPathState;
using test_support::ModesFixture;

class LowDataModeControllerTest : public ModesFixture {
  protected:
    LowDataModeControllerTest() {
        lowDataMode.setSwitch(toggle);
        advance(0.1);
    }
    ui::ViewPtr toggle = ui::makeSwitch(false, nullptr);
    const std::string helper = std::string(installedLowDataHelperPath);

    static NetworkPathState ethernet(bool constrained) {
        NetworkPathState path;
        path.status = NetworkPathState::Status::Satisfied;
        path.usesWiredEthernet = true;
        path.isConstrained = constrained;
        return path;
    }
    std::string alertText() {
        const auto alert = mac.presenter().currentAlert();
        if (!alert) {
            return "(no alert)";
        }
        EXPECT_EQ(alert->messageText, "Low Data Mode");
        mac.presenter().answerAlert("OK");
        return alert->informativeText;
    }
};

TEST_F(LowDataModeControllerTest, TheSwitchFollowsTheConstrainedFlagOfAnyInterface) {
    const std::pair<NetworkPathState, bool> cases[] = {
        {sim::SimNetworkPath::wifi(true), true},
        {sim::SimNetworkPath::wifi(false), false},
        {ethernet(true), true},
        {NetworkPathState{NetworkPathState::Status::Unsatisfied, true, false, true, false}, false},
    };
    for (const auto& [path, on] : cases) {
        mac.network().setPath(path);
        advance(0.1);
        EXPECT_EQ(toggle->isOn, on);
    }
    EXPECT_FALSE(lowDataMode.currentLowDataModeState()) << "offline: unknown";
}

TEST_F(LowDataModeControllerTest, TheSetterSkipsTheHelperWhenWiFiAlreadyMatches) {
    takeInvocations();
    EXPECT_TRUE(lowDataMode.setLowDataModeForCurrentNetwork(false, true));
    EXPECT_TRUE(takeInvocations().empty());
    EXPECT_TRUE(lowDataMode.setLowDataModeForCurrentNetwork(true, true));
    advance(0.1);
    EXPECT_EQ(takeInvocations(), std::vector<std::string>{helper + " set 1"});
    EXPECT_TRUE(mac.network().path().isConstrained);
    EXPECT_TRUE(toggle->isOn);
}

TEST_F(LowDataModeControllerTest, OnEthernetTheHelperAlwaysRunsAndItsRefusalIsShown) {
    mac.network().setPath(ethernet(false));
    advance(0.1);
    EXPECT_FALSE(lowDataMode.currentLowDataModeState());
    takeInvocations();
    EXPECT_FALSE(lowDataMode.setLowDataModeForCurrentNetwork(false, true));
    EXPECT_EQ(takeInvocations(), std::vector<std::string>{helper + " set 0"});
    advance(0.1);
    EXPECT_EQ(alertText(), "No Wi-Fi network is connected.");
    EXPECT_FALSE(lowDataMode.setLowDataModeForCurrentNetwork(true, false));
    advance(0.1);
    EXPECT_FALSE(mac.presenter().currentAlert());
}

TEST_F(LowDataModeControllerTest, OnlyTheBarMarksSuccess) {
    const std::pair<sim::ToolResult, std::string> replies[] = {
        {{0, "OK\n", ""}, "OK"},
        {{0, "", ""}, "Low Data Mode could not be changed for the connected Wi-Fi network."},
        {{1, "OK|lowdata=1\n", ""}, "OK|lowdata=1"},
    };
    for (const auto& [reply, shown] : replies) {
        mac.processes().addTool(helper, [reply](const sim::ToolArguments&) { return reply; });
        EXPECT_FALSE(lowDataMode.setLowDataModeForCurrentNetwork(true, true));
        advance(0.1);
        EXPECT_EQ(alertText(), shown);
    }
    ASSERT_TRUE(mac.files().removeItem(helper));
    EXPECT_FALSE(lowDataMode.setLowDataModeForCurrentNetwork(true, true));
    advance(0.1);
    EXPECT_EQ(alertText(),
              "The Low Data Mode helper is missing. Rebuild ParvelMac using the supplied build "
              "script.");
}

TEST_F(LowDataModeControllerTest, TheMenuSwitchRunsTheHelperAfterTheMenuCloses) {
    toggle->isOn = true;
    lowDataMode.toggleLowDataModeSwitch(true);
    EXPECT_FALSE(toggle->enabled);
    takeInvocations();
    advance(0.1);
    EXPECT_TRUE(takeInvocations().empty()) << "waits for the menu to close";
    advance(0.2);
    EXPECT_TRUE(mac.network().path().isConstrained);
    EXPECT_TRUE(toggle->isOn);
    EXPECT_TRUE(toggle->enabled);

    // The menu path runs the helper even when the state already matches.
    takeInvocations();
    lowDataMode.toggleLowDataModeSwitch(true);
    advance(0.3);
    EXPECT_EQ(takeInvocations(), std::vector<std::string>{helper + " set 1"});

    mac.network().setPath(ethernet(false));
    advance(0.1);
    toggle->isOn = true;
    lowDataMode.toggleLowDataModeSwitch(true);
    advance(0.3);
    EXPECT_EQ(alertText(), "No Wi-Fi network is connected.");
    EXPECT_FALSE(toggle->isOn) << "the switch goes back";
    EXPECT_TRUE(toggle->enabled);
}

}  // namespace
}  // namespace parvel
