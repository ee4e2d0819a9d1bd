#include "modes/ModesFixture.h"
#include "modes/SystemSettingActuators.h"
#include "platform/sim/tools/SystemTools.h"
#include "platform/sim/world/Permissions.h"

namespace parvel {
namespace {

using sim::PerSource;
using test_support::ModesFixture;

class SystemSettingActuatorsTest : public ModesFixture {
  protected:
    void removeModeHelper() { ASSERT_TRUE(mac.files().removeItem(modeHelper())); }
    void answerAlert(const std::string& title, const std::string& text) {
        const auto alert = mac.presenter().currentAlert();
        ASSERT_TRUE(alert) << "no alert";
        EXPECT_EQ(alert->messageText, title);
        EXPECT_EQ(alert->informativeText, text);
        mac.presenter().answerAlert("OK");
    }
};

TEST_F(SystemSettingActuatorsTest, ModeHelperLevelsAreReadAndWrittenThroughTheHelper) {
    EXPECT_FLOAT_EQ(*actuators.modeHelperFloat("display-get"), 0.75f);
    actuators.setDisplayBrightness(0.3333);
    EXPECT_TRUE(containsLine(takeInvocations(), modeHelper() + " display-set 0.333"));
    actuators.setKeyboardBrightness(-2);
    EXPECT_DOUBLE_EQ(mac.hardware().keyboardBacklight(), 0.0);
    EXPECT_FALSE(actuators.modeHelperFloat("no-such-command"));
}

TEST_F(SystemSettingActuatorsTest, WithoutTheHelperBrightnessKeysArePressed) {
    removeModeHelper();
    EXPECT_FALSE(actuators.modeHelperFloat("display-get"));
    const std::pair<double, double> cases[] = {
        {0.5, 0.5}, {1.3, 1.0}, {-1, 0.0}, {0.2, 0.1875}};  // 0.2 × 16 rounds to 3 presses
    for (const auto& [asked, reached] : cases) {
        actuators.setDisplayBrightness(asked);
        advance(0.1);
        EXPECT_DOUBLE_EQ(mac.hardware().displayBrightness(), reached) << asked;
    }
    actuators.setKeyboardBrightness(0.75);
    advance(0.1);
    EXPECT_DOUBLE_EQ(mac.hardware().keyboardBacklight(), 0.75);
}

TEST_F(SystemSettingActuatorsTest, BluetoothIsVerifiedRetriedOnceAndExplained) {
    EXPECT_TRUE(actuators.setBluetoothPower(true));
    EXPECT_TRUE(takeInvocations() == std::vector<std::string>{modeHelper() + " bluetooth-get"})
        << "already on: nothing to change";

    mac.permissions().bluetooth = false;
    EXPECT_FALSE(actuators.setBluetoothPower(false));
    const auto invocations = takeInvocations();
    EXPECT_EQ(std::ranges::count(invocations, modeHelper() + " bluetooth-set 0"), 2);
    advance(0.1);
    answerAlert("Bluetooth Access Required",
                "ParvelMac could not change Bluetooth power. In System Settings > Privacy & "
                "Security > Bluetooth, allow Bluetooth access for ParvelMac, then try the mode "
                "again.");
    EXPECT_TRUE(mac.hardware().bluetoothPowered());
}

TEST_F(SystemSettingActuatorsTest, PowerSettingsSkipTheHelperWhenAlreadyInPlace) {
    EXPECT_EQ(actuators.currentLowPowerModeState(), (PowerSourcePair{0, 0}));
    EXPECT_TRUE(actuators.setLowPowerMode(0, 0, true));
    EXPECT_TRUE(actuators.setLowPowerMode(7, 0, true)) << "any non-zero value means on";
    EXPECT_EQ(mac.power().lowPowerMode(), (PerSource{1, 0}));

    EXPECT_TRUE(actuators.setDisplaySleep(240, -5));
    EXPECT_TRUE(containsLine(takeInvocations(),
                             std::string(installedPowerHelperPath) + " displaysleep 180 0"));
    EXPECT_EQ(mac.power().displaySleepMinutes(), (PerSource{180, 0}));
    EXPECT_TRUE(actuators.setDisplaySleep(180, 0));
    EXPECT_FALSE(containsLine(takeInvocations(),
                              std::string(installedPowerHelperPath) + " displaysleep 180 0"));
}

TEST_F(SystemSettingActuatorsTest, LowPowerModeFailuresAreExplainedOnlyWhenAsked) {
    mac.systemTools().powerHelper().failChanges("pmset: permission denied\n");
    EXPECT_FALSE(actuators.setLowPowerMode(1, 1, false));
    advance(0.1);
    EXPECT_FALSE(mac.presenter().currentAlert());
    EXPECT_FALSE(actuators.setLowPowerMode(1, 1, true));
    advance(0.1);
    answerAlert("Low Power Mode", "pmset: permission denied");
    mac.systemTools().powerHelper().failChanges("");
    EXPECT_FALSE(actuators.setLowPowerMode(1, 1, true));
    advance(0.1);
    answerAlert("Low Power Mode", "Low Power Mode could not be changed.");
    EXPECT_FALSE(actuators.setDisplaySleep(5, 5)) << "display sleep fails silently";
    advance(0.1);
    EXPECT_FALSE(mac.presenter().currentAlert());

    ASSERT_TRUE(mac.files().removeItem(std::string(installedPowerHelperPath)));
    EXPECT_FALSE(actuators.setLowPowerMode(1, 1, true));
    advance(0.1);
    answerAlert("Low Power Mode",
                "The installed power helper is missing. Run Full Reset Build Install once to "
                "install it.");
}

TEST_F(SystemSettingActuatorsTest, DockDefaultsAreReadAsTheDockKeepsThem) {
    EXPECT_EQ(actuators.readDockBool("magnification"), true);
    EXPECT_EQ(actuators.readDockInt("largesize"), 96);
    EXPECT_FALSE(actuators.readDockInt("no-such-key"));
    mac.defaults().set("com.apple.dock", "largesize", 63.6);
    EXPECT_EQ(actuators.readDockInt("largesize"), 64);
    mac.defaults().set("com.apple.dock", "magnification", 2);
    EXPECT_FALSE(actuators.readDockBool("magnification"));
    actuators.writeGlobalDefault("AppleInterfaceStyle", "-string", "Dark");
    EXPECT_EQ(systemDefault("NSGlobalDomain", "AppleInterfaceStyle"), platform::PlistValue("Dark"));
}

TEST_F(SystemSettingActuatorsTest, DarkModeSwitchFollowsSystemEvents) {
    auto toggle = ui::makeSwitch(true, nullptr);
    int refreshes = 0;
    actuators.toggleSystemDarkMode(toggle, [&refreshes] { ++refreshes; });
    advance(0.3);
    EXPECT_TRUE(mac.darkMode());
    EXPECT_TRUE(actuators.currentSystemAppearanceIsDark());
    EXPECT_EQ(refreshes, 1);

    mac.permissions().automation["com.apple.systemevents"] = sim::AutomationState::Denied;
    toggle->isOn = false;
    actuators.toggleSystemDarkMode(toggle, [&refreshes] { ++refreshes; });
    advance(0.3);
    EXPECT_TRUE(toggle->isOn) << "the switch goes back";
    EXPECT_TRUE(mac.darkMode());
    EXPECT_EQ(refreshes, 1);
    const auto alert = mac.presenter().currentAlert();
    ASSERT_TRUE(alert);
    EXPECT_EQ(alert->messageText, "System Appearance");
    EXPECT_FALSE(alert->informativeText.empty());
    mac.presenter().answerAlert("OK");
}

}  // namespace
}  // namespace parvel
