#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/SettingsKeys.h"
#include "core/SettingsStore.h"
#include "platform/posix/PlistDefaults.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/sim/MemoryDefaults.h"
#include "platform/sim/MemoryLog.h"
#include "platform/sim/RecordingDefaults.h"
#include "support/CommandOutput.h"
#include "support/TemporaryDirectory.h"

namespace parvel {
namespace {

namespace keys = settings_keys;
using platform::PlistDictionary;
using platform::PlistValue;

// What a fresh account holds after its first launch: the registrations of every launch plus the
// factory settings.
const PlistDictionary& freshAccount() {
    static const PlistDictionary expected{
        {"startAtLoginEnabled", true},
        {"dockWindowPreviewsEnabled", false},
        {"clipboardCaptureText", true},
        {"clipboardCaptureImages", false},
        {"clipboardCaptureFiles", false},
        {"clipboardHistoryLimit", 20},
        {"doubleTapDragEnabled", true},
        {"quitAppsWhenLastWindowClosesEnabled", false},
        {"quitAppsNoWindowsDelayMinutes", 0},
        {"enableCuttingEnabled", true},
        {"advancedTaskSwitcherEnabled", true},
        {"mouseSideButtonsEnabled", true},
        {"autoScrollEnabled", true},
        {"leftOptionHookMode", "Launchpad"},
        {"systemMode", "Normal"},
        {"batteryChargeLimiterEnabled", false},
        {"batteryChargeLimiterPercent", 80},
        {"batteryChargeFullOnceActive", false},
        {"preserveBatteryHealthEnabled", false},
        {"adapterOnlyModeEnabled", false},
        {"aiProvider", "Google Gemini (Free tier)"},
        {"siriChatGPTEnabled", false},
        {"clipboardHistoryEnabled", true},
        {"windowsStyleMaximizeEnabled", true},
        {"windowsStyleDeleteEnabled", true},
        {"desktopEnhancementsEnabled", false},
        {"clipboardShortcutKeyCode", 6},
        {"clipboardShortcutFlags", 393216},
        {"dockProgressEnabled", false},
        {"mouseEnhancementsEnabled", false},
        {"mouseFocusEnabled", false},
        {"keyboardRemapEnabled", false},
        {"desktopSortRule", "Manual / Grid"},
        {"mouseAcceleration", "1.0\u00d7"},
        {"middleClickAction", "None"},
        {"extraButtonAction", "Back/Forward"},
        {"chatGPTModel", "gemini-3.5-flash-lite"},
        {"speakChatGPTResponses", true},
        {"defaultsInitialized", true},
    };
    return expected;
}

class SettingsStoreTest : public testing::Test {
  protected:
    sim::MemoryDefaults defaults;
    SettingsStore settings{defaults};

    PlistDictionary stored() { return defaults.snapshot(SettingsStore::kDomain); }
};

TEST_F(SettingsStoreTest, FreshAccountGetsEveryRegisteredAndFactoryValue) {
    settings.initializeDefaults();
    EXPECT_EQ(stored(), freshAccount());
    for (const auto key :
         {keys::hiddenFilesVisibleKey, keys::invertMouseScrollKey, keys::invertTrackpadScrollKey}) {
        EXPECT_FALSE(settings.contains(key)) << key;
    }
}

TEST_F(SettingsStoreTest, SecondLaunchKeepsChoicesButRegistersRemovedKeysAgain) {
    settings.initializeDefaults();
    settings.set(keys::clipboardHistoryEnabledKey, false);
    settings.remove(keys::clipboardCaptureTextKey);
    settings.set(keys::startAtLoginEnabledKey, "no");

    settings.initializeDefaults();
    EXPECT_FALSE(settings.boolOr(keys::clipboardHistoryEnabledKey, true));
    EXPECT_EQ(settings.object(keys::clipboardCaptureTextKey), PlistValue(true));
    EXPECT_EQ(settings.object(keys::startAtLoginEnabledKey), PlistValue("no"))
        << "registration leaves a stored value of any type alone";
}

TEST_F(SettingsStoreTest, FirstRunRemovesRetiredKeysAndLaterRunsDoNot) {
    settings.set(keys::quickNewFolderContextEnabledKey, true);
    settings.set(keys::dockClickMinimizeEnabledKey, true);
    settings.initializeDefaults();
    EXPECT_FALSE(settings.contains(keys::quickNewFolderContextEnabledKey));
    EXPECT_FALSE(settings.contains(keys::dockClickMinimizeEnabledKey));

    settings.set(keys::dockClickMinimizeEnabledKey, true);
    settings.initializeDefaults();
    EXPECT_TRUE(settings.contains(keys::dockClickMinimizeEnabledKey));
}

TEST_F(SettingsStoreTest, RemovingTheMarkerResetsTheFactorySwitchesOnly) {
    settings.initializeDefaults();
    settings.set(keys::windowsStyleDeleteEnabledKey, false);
    settings.set(keys::chargeLimiterPercentKey, 90);
    settings.set(keys::clipboardHistoryEntriesKey, Bytes{'[', ']'});
    settings.set(keys::systemModeDefaultsKey, "Performance");
    settings.remove(keys::defaultsInitializedKey);

    settings.initializeDefaults();
    EXPECT_TRUE(settings.boolValue(keys::windowsStyleDeleteEnabledKey));
    EXPECT_EQ(settings.integer(keys::chargeLimiterPercentKey), 90);
    EXPECT_EQ(settings.data(keys::clipboardHistoryEntriesKey), (Bytes{'[', ']'}));
    EXPECT_EQ(settings.systemMode(), SystemMode::performance);
}

TEST_F(SettingsStoreTest, FirstRunWritesTheMarkerLastSoAnInterruptedRunIsRedone) {
    sim::RecordingDefaults recording(defaults);
    SettingsStore recorded(recording);
    recorded.initializeDefaults();
    const auto changes = recording.changes();
    ASSERT_FALSE(changes.empty());
    EXPECT_EQ(changes.back().key, keys::defaultsInitializedKey);
    EXPECT_EQ(changes.front().key, keys::startAtLoginEnabledKey);
}

TEST_F(SettingsStoreTest, ReadersUseTheirFallbackForAbsentOrMistypedValues) {
    struct Case {
        std::optional<PlistValue> stored;
        bool fallback;
        bool expected;
    };
    const Case cases[] = {
        {std::nullopt, true, true},       {PlistValue("yes"), true, true},
        {PlistValue(false), true, false}, {PlistValue(1), true, true},
        {PlistValue(1), false, false},    {PlistValue(true), false, true},
    };
    for (const auto& testCase : cases) {
        if (testCase.stored) {
            settings.set(keys::autoScrollEnabledKey, *testCase.stored);
        } else {
            settings.remove(keys::autoScrollEnabledKey);
        }
        const auto shown = testCase.stored ? describe(*testCase.stored) : "absent";
        EXPECT_EQ(settings.boolOr(keys::autoScrollEnabledKey, testCase.fallback), testCase.expected)
            << shown;
    }
    settings.set(keys::clipboardHistoryLimitKey, 20.0);
    EXPECT_EQ(settings.integerOr(keys::clipboardHistoryLimitKey, 7), 7)
        << "a real is not an integer";
    EXPECT_EQ(settings.integer(keys::clipboardHistoryLimitKey), 0);
    EXPECT_DOUBLE_EQ(settings.doubleValue(keys::clipboardHistoryLimitKey), 20.0);
    settings.set(keys::chatGPTModelKey, 42);
    EXPECT_EQ(settings.string(keys::chatGPTModelKey), "");
    EXPECT_EQ(settings.stringOr(keys::chatGPTModelKey, "fallback"), "fallback");
}

TEST_F(SettingsStoreTest, MixerStepIsClampedAndDefaultsToFive) {
    const std::pair<std::optional<PlistValue>, std::int64_t> cases[] = {
        {std::nullopt, 5},    {PlistValue(0), 1},   {PlistValue(40), 25}, {PlistValue(-3), 1},
        {PlistValue(12), 12}, {PlistValue("7"), 5}, {PlistValue(7.0), 5},
    };
    for (const auto& [value, expected] : cases) {
        if (value) {
            settings.set(keys::audioMixerShortcutStepKey, *value);
        } else {
            settings.remove(keys::audioMixerShortcutStepKey);
        }
        EXPECT_EQ(settings.audioMixerShortcutStep(), expected)
            << (value ? describe(*value) : "absent");
    }
}

TEST_F(SettingsStoreTest, UnknownSystemModesReadAsNormal) {
    const std::pair<std::optional<PlistValue>, SystemMode> cases[] = {
        {std::nullopt, SystemMode::normal},
        {PlistValue("Performance"), SystemMode::performance},
        {PlistValue("Battery Saver"), SystemMode::batterySaver},
        {PlistValue("battery saver"), SystemMode::normal},
        {PlistValue("Turbo"), SystemMode::normal},
        {PlistValue(2), SystemMode::normal},
    };
    for (const auto& [value, expected] : cases) {
        if (value) {
            settings.set(keys::systemModeDefaultsKey, *value);
        } else {
            settings.remove(keys::systemModeDefaultsKey);
        }
        EXPECT_EQ(settings.systemMode(), expected) << (value ? describe(*value) : "absent");
    }
}

TEST_F(SettingsStoreTest, ClipboardShortcutFallsBackToControlShiftZ) {
    EXPECT_EQ(settings.clipboardShortcutFlags(), 0x60000u);
    EXPECT_EQ(settings.clipboardShortcutKeyCode(), 6);
    settings.set(keys::clipboardShortcutFlagsKey, "command");
    settings.set(keys::clipboardShortcutKeyCodeKey, true);
    EXPECT_EQ(settings.clipboardShortcutFlags(), 0x60000u);
    EXPECT_EQ(settings.clipboardShortcutKeyCode(), 6);
    settings.set(keys::clipboardShortcutFlagsKey, 0x100000);
    settings.set(keys::clipboardShortcutKeyCodeKey, 9);
    EXPECT_EQ(settings.clipboardShortcutFlags(), 0x100000u);
    EXPECT_EQ(settings.clipboardShortcutKeyCode(), 9);
}

TEST_F(SettingsStoreTest, NegativeShortcutFlagsStopTheProcess) {
    settings.set(keys::clipboardShortcutFlagsKey, -1);
    EXPECT_DEATH(settings.clipboardShortcutFlags(), "negative flag mask -1");
}

// The first launch on a real preferences folder, read back by an independent plist reader.
class PersistentSettingsTest : public testing::Test {
  protected:
    std::string plistFile() const { return directory + "/com.tarnby.parvelmac.plist"; }

    void launch() {
        posix::PlistDefaults defaults(directory, files, log);
        SettingsStore(defaults).initializeDefaults();
    }

    // The file as plistutil prints it in XML.
    std::string readWithPlistutil() const {
        return test_support::commandOutput("plistutil -i '" + plistFile() + "' -f xml -o - 2>&1");
    }

    test_support::TemporaryDirectory temporary;
    std::string directory = temporary.path();
    posix::PosixFileSystem files;
    sim::MemoryLog log;
};

TEST_F(PersistentSettingsTest, FirstLaunchWritesEveryKeyAndTheSecondChangesNothing) {
    launch();
    const std::string xml = readWithPlistutil();
    for (const auto& [key, value] : freshAccount()) {
        EXPECT_NE(xml.find("<key>" + key + "</key>"), std::string::npos) << key << " in\n" << xml;
    }
    EXPECT_NE(xml.find("<key>clipboardShortcutFlags</key>\n\t<integer>393216</integer>"),
              std::string::npos)
        << xml;
    EXPECT_NE(xml.find("<string>1.0\u00d7</string>"), std::string::npos) << xml;

    struct stat before {};
    ASSERT_EQ(::stat(plistFile().c_str(), &before), 0);
    std::ifstream firstFile(plistFile(), std::ios::binary);
    const std::string firstBytes{std::istreambuf_iterator<char>(firstFile), {}};
    launch();
    struct stat after {};
    ASSERT_EQ(::stat(plistFile().c_str(), &after), 0);
    std::ifstream secondFile(plistFile(), std::ios::binary);
    const std::string secondBytes{std::istreambuf_iterator<char>(secondFile), {}};
    EXPECT_EQ(firstBytes, secondBytes);
    EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace parvel
