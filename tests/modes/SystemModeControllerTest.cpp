#include "modes/ModesFixture.h"
#include "modes/SystemModeController.h"

namespace parvel {
namespace {

namespace keys = settings_keys;
using sim::PerSource;
using test_support::ModesFixture;

class SystemModeControllerTest : public ModesFixture {
  protected:
    void switchTo(SystemMode mode, double settle = 5) {
        modes.switchSystemMode(mode);
        advance(settle);
    }
    double storedDouble(std::string_view key) { return settings.doubleValue(key); }
    // The defaults tool's writes and deletes among `invocations`, in order.
    static std::vector<std::string> defaultsChanges(std::vector<std::string> invocations) {
        std::erase_if(invocations, [](const std::string& line) {
            return !line.starts_with("/usr/bin/defaults write") &&
                   !line.starts_with("/usr/bin/defaults delete");
        });
        return invocations;
    }
};

TEST_F(SystemModeControllerTest, ChoosingTheActiveModeOnlyRefreshesTheMenu) {
    takeInvocations();
    modes.switchSystemMode(SystemMode::normal);
    advance(5);
    EXPECT_TRUE(takeInvocations().empty());
    EXPECT_EQ(menuRefreshes, 1);
    EXPECT_FALSE(settings.contains(keys::systemModeBaselineCapturedKey));
}

TEST_F(SystemModeControllerTest, BatterySaverAppliesItsWholeTable) {
    settings.set(keys::quitAppsNoWindowsDelayMinutesKey, 0);
    settings.set(keys::dockWindowPreviewsEnabledKey, true);
    mac.defaults().set("NSGlobalDomain", "NSAppSleepDisabled", true);
    switchTo(SystemMode::batterySaver);

    EXPECT_EQ(settings.string(keys::systemModeDefaultsKey), "Battery Saver");
    EXPECT_EQ(systemDefault("NSGlobalDomain", "NSAutomaticWindowAnimationsEnabled"),
              platform::PlistValue(false));
    EXPECT_EQ(systemDefault("com.apple.dock", "magnification"), platform::PlistValue(false));
    EXPECT_EQ(systemDefault("com.apple.dock", "mineffect"), platform::PlistValue("scale"));
    EXPECT_EQ(systemDefault("com.apple.universalaccess", "reduceMotion"),
              platform::PlistValue(true));
    EXPECT_FALSE(systemDefault("NSGlobalDomain", "NSAppSleepDisabled"));
    EXPECT_TRUE(mac.network().path().isConstrained);
    EXPECT_EQ(mac.power().lowPowerMode(), (PerSource{1, 1}));
    EXPECT_EQ(mac.power().displaySleepMinutes(), (PerSource{1, 1}));
    EXPECT_FALSE(mac.hardware().bluetoothPowered());
    EXPECT_DOUBLE_EQ(mac.hardware().displayBrightness(), 0.5);
    EXPECT_DOUBLE_EQ(mac.hardware().keyboardBacklight(), 0.0);
    EXPECT_TRUE(modes.baseline().isBrightnessGuardRunning());
    // The quit delay is a minute even though the user switched it off, and previews stay off
    // without the stored choice changing.
    EXPECT_EQ(quitNoWindowsDelay.delayMinutes(), 1);
    EXPECT_EQ(quitDelayShown, (std::pair{1, false}));
    EXPECT_EQ(settings.integer(keys::quitAppsNoWindowsDelayMinutesKey), 0);
    EXPECT_EQ(dockPreviews, (std::pair{false, false}));
    EXPECT_TRUE(settings.boolValue(keys::dockWindowPreviewsEnabledKey));
    auto invocations = takeInvocations();
    std::erase(invocations, modeHelper() + " display-get");  // the brightness guard's readings
    EXPECT_EQ(invocations.back(), "/usr/bin/killall Dock");
    EXPECT_FALSE(mac.presenter().currentAlert()) << mac.presenter().describeModal();
}

TEST_F(SystemModeControllerTest, LeavingNormalRecordsTheBaselineBeforeChangingAnything) {
    mac.hardware().setDisplayBrightness(0.625);
    switchTo(SystemMode::performance);

    EXPECT_TRUE(settings.boolValue(keys::systemModeBaselineCapturedKey));
    EXPECT_DOUBLE_EQ(storedDouble(keys::systemModeBaselineDisplayBrightnessKey), 0.625);
    EXPECT_DOUBLE_EQ(storedDouble(keys::systemModeBaselineKeyboardBrightnessKey), 0.5);
    EXPECT_TRUE(settings.boolValue(keys::systemModeBaselineDockMagnificationKey));
    EXPECT_EQ(settings.integer(keys::systemModeBaselineDockTileSizeKey), 48);
    EXPECT_EQ(settings.integer(keys::systemModeBaselineDockLargeSizeKey), 96);
    EXPECT_TRUE(settings.boolValue(keys::systemModeBaselineBluetoothKey));
    EXPECT_TRUE(settings.boolValue(keys::systemModeBaselineLowDataModeCapturedKey));
    EXPECT_FALSE(settings.boolValue(keys::systemModeBaselineLowDataModeKey));
    EXPECT_EQ(settings.integer(keys::systemModeBaselineDisplaySleepACKey), 10);
    EXPECT_EQ(settings.string("systemModeBaseline.com.apple.dock.mineffect.value"), "genie");
    EXPECT_FALSE(settings.boolValue("systemModeBaseline.com.apple.dock.launchanim.exists"));
    EXPECT_FALSE(settings.contains("systemModeBaseline.com.apple.dock.launchanim.value"));

    // Performance: full brightness, no Low Power Mode, Bluetooth off, App Nap disabled.
    EXPECT_DOUBLE_EQ(mac.hardware().displayBrightness(), 1.0);
    EXPECT_DOUBLE_EQ(mac.hardware().keyboardBacklight(), 1.0);
    EXPECT_FALSE(mac.hardware().bluetoothPowered());
    EXPECT_EQ(systemDefault("NSGlobalDomain", "NSAppSleepDisabled"), platform::PlistValue(true));
    EXPECT_EQ(quitNoWindowsDelay.delayMinutes(), 0);
    EXPECT_FALSE(modes.baseline().isBrightnessGuardRunning());
}

TEST_F(SystemModeControllerTest, ReturningToNormalRestoresWhatNormalLookedLike) {
    mac.network().setPath(sim::SimNetworkPath::wifi(false));
    switchTo(SystemMode::batterySaver);
    // Changes made outside Normal are not recorded: Performance keeps the first baseline.
    mac.hardware().setBluetoothPowered(true);
    mac.hardware().setDisplayBrightness(0.25);
    switchTo(SystemMode::performance);
    switchTo(SystemMode::normal);

    EXPECT_DOUBLE_EQ(mac.hardware().displayBrightness(), 0.75);
    EXPECT_DOUBLE_EQ(mac.hardware().keyboardBacklight(), 0.5);
    EXPECT_TRUE(mac.hardware().bluetoothPowered());
    EXPECT_FALSE(mac.network().path().isConstrained);
    EXPECT_EQ(mac.power().lowPowerMode(), (PerSource{0, 0}));
    EXPECT_EQ(mac.power().displaySleepMinutes(), sim::Power::kDefaultDisplaySleepMinutes);
    EXPECT_EQ(systemDefault("com.apple.dock", "magnification"), platform::PlistValue(true));
    EXPECT_EQ(systemDefault("com.apple.dock", "largesize"), platform::PlistValue(96));
    EXPECT_EQ(systemDefault("com.apple.dock", "mineffect"), platform::PlistValue("genie"));
    // Defaults that did not exist are deleted, not written empty.
    EXPECT_FALSE(systemDefault("com.apple.dock", "expose-animation-duration"));
    EXPECT_FALSE(systemDefault("NSGlobalDomain", "NSAppSleepDisabled"));
    EXPECT_FALSE(systemDefault("com.apple.universalaccess", "reduceMotion"));
    EXPECT_TRUE(settings.boolValue(keys::systemModeBaselineCapturedKey));
    EXPECT_EQ(quitDelayShown.second, true);
    EXPECT_FALSE(mac.presenter().currentAlert()) << mac.presenter().describeModal();
}

TEST_F(SystemModeControllerTest, OnlyTheNewestChoiceIsApplied) {
    modes.switchSystemMode(SystemMode::batterySaver);
    advance(0.3);
    modes.switchSystemMode(SystemMode::performance);
    advance(5);
    EXPECT_DOUBLE_EQ(mac.hardware().displayBrightness(), 1.0);
    EXPECT_DOUBLE_EQ(mac.hardware().keyboardBacklight(), 1.0);
    EXPECT_FALSE(modes.baseline().isBrightnessGuardRunning());
    EXPECT_EQ(settings.string(keys::systemModeDefaultsKey), "Performance");
    const auto invocations = takeInvocations();
    EXPECT_FALSE(containsLine(invocations, modeHelper() + " display-set 0.500"))
        << "the Battery Saver job stopped before dimming";
}

TEST_F(SystemModeControllerTest, NormalDoesNotRestoreBrightnessOnceAnotherModeWasChosen) {
    switchTo(SystemMode::performance);
    takeInvocations();
    modes.switchSystemMode(SystemMode::normal);
    // The Normal job waits for the Dock to restart; Performance is chosen meanwhile.
    advance(0.3);
    modes.switchSystemMode(SystemMode::performance);
    advance(5);
    const auto invocations = takeInvocations();
    EXPECT_FALSE(containsLine(invocations, modeHelper() + " display-set 0.750"));
    EXPECT_DOUBLE_EQ(mac.hardware().displayBrightness(), 1.0);
}

TEST_F(SystemModeControllerTest, TheKeyboardLevelIsSetAgainWhileNormalLasts) {
    const std::string restoreKeyboard = modeHelper() + " keyboard-set 0.500";
    const std::pair<double, long> cases[] = {
        // seconds until Performance is chosen (0: never), keyboard restores seen
        {0, 3},  // once by the job, then 0.8 s and 2.0 s later
        {1.0, 1},
    };
    for (const auto& [untilPerformance, restores] : cases) {
        switchTo(SystemMode::batterySaver);
        takeInvocations();
        modes.switchSystemMode(SystemMode::normal);
        if (untilPerformance > 0) {
            advance(untilPerformance);
            modes.switchSystemMode(SystemMode::performance);
        }
        advance(5);
        EXPECT_EQ(std::ranges::count(takeInvocations(), restoreKeyboard), restores)
            << untilPerformance;
    }
}

TEST_F(SystemModeControllerTest, BrightnessGuardToleratesSmallDrift) {
    switchTo(SystemMode::batterySaver);
    mac.hardware().setDisplayBrightness(0.53);
    advance(4.5);
    EXPECT_DOUBLE_EQ(mac.hardware().displayBrightness(), 0.53);
    mac.hardware().setDisplayBrightness(0.6);
    advance(2.1);
    EXPECT_DOUBLE_EQ(mac.hardware().displayBrightness(), 0.5);

    // Leaving Battery Saver by another route: the next tick stops the guard.
    settings.set(keys::systemModeDefaultsKey, "Normal");
    advance(2.1);
    EXPECT_FALSE(modes.baseline().isBrightnessGuardRunning());
}

TEST_F(SystemModeControllerTest, WithoutABaselineNormalOnlyResetsTheAnimations) {
    takeInvocations();
    modes.applySystemMode(SystemMode::normal);
    advance(5);
    const std::vector<std::string> expected = {
        "/usr/bin/defaults write NSGlobalDomain NSAutomaticWindowAnimationsEnabled -bool true",
        "/usr/bin/defaults delete NSGlobalDomain NSWindowResizeTime",
        "/usr/bin/defaults write NSGlobalDomain NSScrollAnimationEnabled -bool true",
        "/usr/bin/defaults delete NSGlobalDomain NSAppSleepDisabled",
        "/usr/bin/defaults write com.apple.dock launchanim -bool true",
        "/usr/bin/defaults delete com.apple.dock expose-animation-duration",
        "/usr/bin/defaults write com.apple.dock mineffect -string genie",
        "/usr/bin/defaults write com.apple.universalaccess reduceMotion -bool false",
        "/usr/bin/killall Dock",
    };
    EXPECT_EQ(takeInvocations(), expected);
}

TEST_F(SystemModeControllerTest, BothModesTurnTheSameAnimationsOffAndDifferOnlyInAppNap) {
    const std::vector<std::string> animationsOff = {
        "/usr/bin/defaults write NSGlobalDomain NSAutomaticWindowAnimationsEnabled -bool false",
        "/usr/bin/defaults write NSGlobalDomain NSWindowResizeTime -float 0.001",
        "/usr/bin/defaults write NSGlobalDomain NSScrollAnimationEnabled -bool false",
        "/usr/bin/defaults write com.apple.dock launchanim -bool false",
        "/usr/bin/defaults write com.apple.dock expose-animation-duration -float 0",
        "/usr/bin/defaults write com.apple.dock magnification -bool false",
        "/usr/bin/defaults write com.apple.dock mineffect -string scale",
        "/usr/bin/defaults write com.apple.universalaccess reduceMotion -bool true",
    };
    const std::pair<SystemMode, std::string> cases[] = {
        {SystemMode::batterySaver, "/usr/bin/defaults delete NSGlobalDomain NSAppSleepDisabled"},
        {SystemMode::performance,
         "/usr/bin/defaults write NSGlobalDomain NSAppSleepDisabled -bool true"},
    };
    for (const auto& [mode, appNap] : cases) {
        takeInvocations();
        switchTo(mode);
        auto expected = animationsOff;
        expected.push_back(appNap);
        EXPECT_EQ(defaultsChanges(takeInvocations()), expected) << rawValue(mode);
    }
}

TEST_F(SystemModeControllerTest, TheBaselineRestoresTheAnimationsItRecordedAndNotMagnification) {
    switchTo(SystemMode::batterySaver);
    takeInvocations();
    switchTo(SystemMode::normal);
    auto changes = defaultsChanges(takeInvocations());
    ASSERT_GE(changes.size(), 8U);
    changes.resize(8);
    // Only the fixture's own window animation and minimise effect existed; the rest are deleted.
    const std::vector<std::string> expected = {
        "/usr/bin/defaults write NSGlobalDomain NSAutomaticWindowAnimationsEnabled -bool 1",
        "/usr/bin/defaults delete NSGlobalDomain NSWindowResizeTime",
        "/usr/bin/defaults delete NSGlobalDomain NSScrollAnimationEnabled",
        "/usr/bin/defaults delete NSGlobalDomain NSAppSleepDisabled",
        "/usr/bin/defaults delete com.apple.dock launchanim",
        "/usr/bin/defaults delete com.apple.dock expose-animation-duration",
        "/usr/bin/defaults write com.apple.dock mineffect -string genie",
        "/usr/bin/defaults delete com.apple.universalaccess reduceMotion",
    };
    EXPECT_EQ(changes, expected);
    EXPECT_FALSE(settings.contains("systemModeBaseline.com.apple.dock.magnification.exists"))
        << "magnification is recorded with the Dock sizes";
}

TEST_F(SystemModeControllerTest, AnUnreadableBrightnessKeepsTheEarlierRecord) {
    switchTo(SystemMode::batterySaver);
    switchTo(SystemMode::normal);
    ASSERT_DOUBLE_EQ(storedDouble(keys::systemModeBaselineDisplayBrightnessKey), 0.75);
    ASSERT_TRUE(mac.files().removeItem(modeHelper()));
    mac.hardware().setDisplayBrightness(0.25);
    switchTo(SystemMode::performance);
    EXPECT_DOUBLE_EQ(storedDouble(keys::systemModeBaselineDisplayBrightnessKey), 0.75);
    EXPECT_FALSE(settings.boolValue(keys::systemModeBaselineBluetoothCapturedKey));
    EXPECT_FALSE(settings.contains(keys::systemModeBaselineBluetoothKey));

    // Without the helper the recorded level comes back through the brightness keys.
    switchTo(SystemMode::normal);
    EXPECT_DOUBLE_EQ(mac.hardware().displayBrightness(), 0.75);
}

TEST_F(SystemModeControllerTest, SettingsChangedOutsideNormalKeepTheUsersChoice) {
    settings.set(keys::quitAppsNoWindowsDelayMinutesKey, 5);
    settings.set(keys::dockWindowPreviewsEnabledKey, false);
    switchTo(SystemMode::batterySaver);
    modes.dockPreviewsSwitchChanged(true);
    modes.quitNoWindowsDelayChosen(30);
    advance(0.1);
    EXPECT_FALSE(settings.boolValue(keys::dockWindowPreviewsEnabledKey));
    EXPECT_EQ(dockPreviews, (std::pair{false, false}));
    EXPECT_EQ(settings.integer(keys::quitAppsNoWindowsDelayMinutesKey), 5);
    EXPECT_EQ(quitNoWindowsDelay.delayMinutes(), 1);

    switchTo(SystemMode::performance);
    modes.dockPreviewsSwitchChanged(true);
    advance(0.1);
    EXPECT_TRUE(settings.boolValue(keys::dockWindowPreviewsEnabledKey));
    EXPECT_EQ(dockPreviews, (std::pair{true, true}));
    EXPECT_EQ(quitNoWindowsDelay.delayMinutes(), 0);

    switchTo(SystemMode::normal);
    EXPECT_EQ(quitNoWindowsDelay.delayMinutes(), 5);
    modes.quitNoWindowsDelayChosen(30);
    advance(0.1);
    EXPECT_EQ(settings.integer(keys::quitAppsNoWindowsDelayMinutesKey), 30);
    EXPECT_EQ(quitDelayShown, (std::pair{30, true}));
}

TEST_F(SystemModeControllerTest, AnUnknownStoredModeActsAsNormal) {
    settings.set(keys::systemModeDefaultsKey, "Turbo");
    EXPECT_EQ(modes.currentSystemMode(), SystemMode::normal);
    switchTo(SystemMode::batterySaver);
    EXPECT_TRUE(settings.boolValue(keys::systemModeBaselineCapturedKey))
        << "leaving an unknown mode leaves Normal";
}

}  // namespace
}  // namespace parvel
