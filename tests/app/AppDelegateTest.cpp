#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/AppDelegate.h"
#include "core/SettingsKeys.h"
#include "core/SettingsStore.h"
#include "platform/sim/ProgramBundle.h"
#include "platform/sim/SimApplication.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimEvents.h"
#include "platform/sim/SimPasteboard.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Finder.h"
#include "platform/sim/world/Hardware.h"
#include "platform/sim/world/Power.h"

namespace parvel {
namespace {

namespace keys = settings_keys;
using platform::Event;
using platform::EventType;

constexpr platform::Duration kSettingsPushDelay = platform::seconds(0.05);

// The delegate on the simulated Mac, launched interactively with every permission.
class AppDelegateTest : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    SettingsStore settings{mac.defaults()};
    std::unique_ptr<AppDelegate> delegate;

    void TearDown() override { mac.dispatch().shutdown(); }

    // Stores a finished first run, then `value` under `key`, before the launch.
    void store(std::string_view key, platform::PlistValue value) {
        settings.initializeDefaults();
        settings.set(key, std::move(value));
    }
    void launch() {
        delegate = std::make_unique<AppDelegate>(mac.platform());
        mac.dispatch().main().async([this] { mac.application().launch(*delegate); });
        mac.dispatch().runDue();
    }
    // The user goes back to Finder and presses the left Option key.
    void pressLeftOptionInFinder() {
        mac.applications().activate(finder()->pid);
        Event press;
        press.type = EventType::FlagsChanged;
        press.flags = platform::event_flags::kAlternate;
        press.setField(platform::EventField::KeyboardEventKeycode, 58);
        mac.dispatch().main().async([this, press] { mac.events().inject(press); });
        mac.dispatch().runDue();
    }
    const sim::SimApp* finder() {
        return mac.applications().withBundleIdentifier("com.apple.finder").front();
    }
    std::vector<std::string> keysReceivedByFinder() {
        std::vector<std::string> described;
        for (const auto& event : finder()->receivedEvents) {
            described.push_back(sim::describeEvent(event));
        }
        return described;
    }
};

// The window server is first needed long after the controllers are built, at the permission
// test; a missing one must stop the delegate at once rather than crash it then.
TEST_F(AppDelegateTest, AnAdapterWithoutAServiceIsRefusedByName) {
    platform::Platform lacking = mac.platform();
    lacking.windowServer = nullptr;
    try {
        AppDelegate refused(lacking);
        ADD_FAILURE() << "built without a window server";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "this platform adapter has no window server service");
    }
}

TEST_F(AppDelegateTest, BatterySaverKeepsDockPreviewsOffWithoutChangingTheChoice) {
    const struct {
        const char* mode;
        bool previews;
    } cases[] = {{"Battery Saver", false}, {"Normal", true}, {"Performance", true}};
    for (const auto& [mode, previews] : cases) {
        SCOPED_TRACE(mode);
        store(keys::dockWindowPreviewsEnabledKey, true);
        settings.set(keys::systemModeDefaultsKey, std::string(mode));
        launch();
        mac.dispatch().advance(kSettingsPushDelay);
        EXPECT_EQ(delegate->dockPreviews().isEnabled(), previews);
        EXPECT_TRUE(settings.boolValue(keys::dockWindowPreviewsEnabledKey));
        mac.dispatch().main().async([this] { mac.application().terminate(); });
        mac.dispatch().runDue();
        delegate.reset();
        mac.endProgramProcess();
        mac.startNewProgramProcess();
    }
}

TEST_F(AppDelegateTest, TheStoredModeDecidesWhetherLaunchRecordsANewBaseline) {
    sim::ProgramBundle(mac.files(), mac.trace()).installHelpers(mac.bundle().bundlePath());
    const struct {
        const char* mode;
        double baseline;    // the recorded display brightness after launch
        double brightness;  // the display after the mode was applied
    } cases[] = {
        {"Performance", 0.25, 1.0}, {"Battery Saver", 0.25, 0.5}, {"Normal", 0.625, 0.625}};
    for (const auto& [mode, baseline, brightness] : cases) {
        SCOPED_TRACE(mode);
        mac.hardware().setDisplayBrightness(0.625);
        store(keys::systemModeDefaultsKey, std::string(mode));
        settings.set(keys::systemModeBaselineCapturedKey, true);
        settings.set(keys::systemModeBaselineDisplayBrightnessKey, 0.25);
        launch();
        mac.dispatch().advance(platform::seconds(5));
        EXPECT_DOUBLE_EQ(settings.doubleValue(keys::systemModeBaselineDisplayBrightnessKey),
                         baseline);
        EXPECT_DOUBLE_EQ(mac.hardware().displayBrightness(), brightness);
        EXPECT_EQ(settings.string(keys::systemModeDefaultsKey), mode);
        mac.dispatch().main().async([this] { mac.application().terminate(); });
        mac.dispatch().runDue();
        delegate.reset();
        mac.endProgramProcess();
        mac.startNewProgramProcess();
    }
}

TEST_F(AppDelegateTest, QuittingEndsAChargeFullOnceCycle) {
    sim::ProgramBundle(mac.files(), mac.trace()).installHelpers(mac.bundle().bundlePath());
    mac.power().setChargeControlSupported(true);
    mac.power().setBattery(60, sim::PowerSource::Adapter, sim::BatteryStatus::Charging);
    store(keys::chargeFullOnceActiveKey, true);
    settings.set(keys::chargeFullOnceStartedAtKey,
                 std::chrono::duration<double>(mac.dispatch().now().time_since_epoch()).count());
    settings.set(keys::chargeLimiterEnabledKey, true);
    settings.set(keys::chargeLimiterPercentKey, 80);
    launch();
    // Re-asserting the stored limit explains that it cannot be applied on this Mac.
    ASSERT_TRUE(mac.presenter().currentAlert());
    EXPECT_EQ(mac.presenter().currentAlert()->messageText, "Battery Charge Limit");
    mac.presenter().answerAlert("OK");
    mac.dispatch().advance(platform::seconds(1));
    ASSERT_TRUE(settings.boolValue(keys::chargeFullOnceActiveKey))
        << "the cycle runs while charging";

    mac.dispatch().main().async([this] { mac.application().terminate(); });
    mac.dispatch().runDue();
    EXPECT_FALSE(settings.boolValue(keys::chargeFullOnceActiveKey));
    EXPECT_FALSE(settings.contains(keys::chargeFullOnceStartedAtKey));
    EXPECT_EQ(mac.power().chargeLimit(), 77);
}

TEST_F(AppDelegateTest, UnreadableLeftOptionModeFallsBackDifferentlyAtStartAndOnReapplying) {
    store(keys::leftOptionHookModeKey, std::int64_t{5});
    launch();
    EXPECT_EQ(delegate->shortcuts().leftOptionMode, LeftOptionMode::launchpad);
    mac.dispatch().advance(kSettingsPushDelay);
    EXPECT_EQ(delegate->shortcuts().leftOptionMode, LeftOptionMode::systemDefault);
}

TEST_F(AppDelegateTest, AnUnknownLeftOptionModeTakesTheKeyAndDoesNothing) {
    store(keys::leftOptionHookModeKey, std::string("Mission Control"));
    launch();
    mac.dispatch().advance(kSettingsPushDelay);
    const auto runsBefore = mac.processes().invocations().size();
    pressLeftOptionInFinder();
    EXPECT_TRUE(keysReceivedByFinder().empty());
    EXPECT_EQ(mac.processes().invocations().size(), runsBefore);
}

TEST_F(AppDelegateTest, LeftOptionInSpotlightModePostsCommandSpaceDownAndUp) {
    store(keys::leftOptionHookModeKey, std::string("Spotlight"));
    launch();
    mac.dispatch().advance(kSettingsPushDelay);
    pressLeftOptionInFinder();
    EXPECT_EQ(keysReceivedByFinder(),
              (std::vector<std::string>{"key-down 49 [cmd]", "key-up 49 [cmd]"}))
        << "the left Option press itself never reaches Finder";
}

TEST_F(AppDelegateTest, LeftOptionInLaunchpadModeOpensLaunchpadWithoutWaiting) {
    store(keys::leftOptionHookModeKey, std::string("Launchpad"));
    launch();
    mac.dispatch().advance(kSettingsPushDelay);
    pressLeftOptionInFinder();
    const auto& runs = mac.processes().invocations();
    ASSERT_FALSE(runs.empty());
    EXPECT_EQ(runs.back(), (sim::ToolArguments{"/usr/bin/open", "-a", "Launchpad"}));
    EXPECT_TRUE(keysReceivedByFinder().empty());
}

TEST_F(AppDelegateTest, FinderActionsFromTheSettingsWindow) {
    launch();
    const std::string documents = mac.homeDirectory() + "/Documents";
    const std::string archive = mac.homeDirectory() + "/Archive";
    ASSERT_TRUE(mac.files().createDirectories(archive));
    ASSERT_TRUE(mac.files().writeFileAtomically(documents + "/a.txt", Bytes{'a'}));
    mac.finder().openWindow(documents);

    delegate->performFinderAction("cut");
    EXPECT_EQ(mac.application().beepCount(), 0) << "an empty selection is no error here";

    mac.finder().select({documents + "/a.txt"});
    mac.presenter().queueOpenPanelAnswer({archive});
    mac.dispatch().main().async([this] { delegate->performFinderAction("moveTo"); });
    mac.dispatch().runDue();
    EXPECT_TRUE(mac.files().exists(archive + "/a.txt"));

    delegate->performFinderAction("copy");
    delegate->performFinderAction("checksum");
    EXPECT_EQ(mac.pasteboard().changeCount(), 0) << "no copy action, and the rest come later";
}

}  // namespace
}  // namespace parvel
