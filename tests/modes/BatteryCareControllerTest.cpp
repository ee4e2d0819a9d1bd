#include "modes/BatteryCareController.h"
#include "modes/ModesFixture.h"

namespace parvel {
namespace {

namespace keys = settings_keys;
using sim::BatteryStatus;
using sim::PowerSource;
using test_support::ModesFixture;

constexpr const char* kIntelOnly =
    "Battery Charge Limit is currently available only on Intel MacBooks.";

class BatteryCareControllerTest : public ModesFixture {
  protected:
    const std::string helper = std::string(installedChargeHelperPath);

    // Runs a step on the main queue, as the menu and the settings window do, so that an alert
    // it opens can be read and answered here.
    void onMain(std::function<void()> step) {
        mac.dispatch().main().async(std::move(step));
        advance(0.01);
    }
    // The text of the alert on screen, answered; empty when none is up.
    std::string answerAlert() {
        const auto alert = mac.presenter().currentAlert();
        if (!alert) {
            return "";
        }
        EXPECT_EQ(alert->messageText, "Battery Charge Limit");
        EXPECT_EQ(alert->style, ui::AlertStyle::Informational);
        mac.presenter().answerAlert("OK");
        advance(0.01);
        return alert->informativeText;
    }
    void startChargeFullOnce(int limitPercent) {
        settings.set(keys::chargeLimiterEnabledKey, true);
        settings.set(keys::chargeLimiterPercentKey, limitPercent);
        settings.set(keys::chargeFullOnceActiveKey, true);
        settings.set(
            keys::chargeFullOnceStartedAtKey,
            std::chrono::duration<double>(mac.dispatch().now().time_since_epoch()).count());
    }
    bool cycleActive() { return settings.boolValue(keys::chargeFullOnceActiveKey); }
    // One monitor check with the battery as given.
    void check(int percent, PowerSource source, BatteryStatus status) {
        mac.power().setBattery(percent, source, status);
        advance(30);
    }
};

TEST_F(BatteryCareControllerTest, SnapshotsAndStatusArriveOnTheMainQueue) {
    mac.power().setBattery(80, PowerSource::Adapter, BatteryStatus::NotCharging);
    std::optional<BatterySnapshot> snapshot;
    std::string status;
    batteryCare.readBatterySnapshot([&](BatterySnapshot read) {
        EXPECT_TRUE(mac.platform().dispatch->isMainThread());
        snapshot = read;
    });
    batteryCare.readBatteryStatus([&](std::string line) { status = std::move(line); });
    advance(0.1);
    EXPECT_EQ(snapshot, (BatterySnapshot{80, true, true, false}));
    EXPECT_EQ(status, "Battery: 80% \u2022 Not charging");
}

TEST_F(BatteryCareControllerTest, TheSwitchesExplainAndStayOffOnThisMac) {
    onMain([this] { EXPECT_FALSE(batteryCare.setChargeLimiterEnabled(true)); });
    EXPECT_EQ(answerAlert(), kIntelOnly);
    EXPECT_FALSE(settings.boolValue(keys::chargeLimiterEnabledKey));

    onMain([this] { EXPECT_FALSE(batteryCare.setPreserveBatteryHealthEnabled(true)); });
    EXPECT_EQ(answerAlert(), kIntelOnly);
    EXPECT_TRUE(settings.boolValue(keys::batteryCareBaselineCapturedKey));
    EXPECT_EQ(settings.integer(keys::batteryCareBaselineLimitPercentKey), 80);

    // Once a baseline exists, turning the mode off cannot restore it: the key goes back on.
    settings.set(keys::preserveBatteryHealthEnabledKey, true);
    onMain([this] { EXPECT_FALSE(batteryCare.setPreserveBatteryHealthEnabled(false)); });
    EXPECT_EQ(answerAlert(), kIntelOnly);
    EXPECT_TRUE(settings.boolValue(keys::preserveBatteryHealthEnabledKey));

    // With Preserve Battery Health on, the limiter and its percentage refuse without a word.
    onMain([this] {
        EXPECT_FALSE(batteryCare.setChargeLimiterEnabled(true));
        EXPECT_FALSE(batteryCare.setChargeLimitPercent(90));
        EXPECT_TRUE(batteryCare.setAdapterOnlyModeEnabled(false));
    });
    EXPECT_EQ(answerAlert(), "");
    EXPECT_FALSE(settings.boolValue(keys::adapterOnlyModeEnabledKey));

    settings.set(keys::preserveBatteryHealthEnabledKey, false);
    settings.set(keys::adapterOnlyModeEnabledKey, true);
    onMain([this] { EXPECT_FALSE(batteryCare.setAdapterOnlyModeEnabled(false)); });
    EXPECT_EQ(answerAlert(), kIntelOnly);
    EXPECT_TRUE(settings.boolValue(keys::adapterOnlyModeEnabledKey));
}

TEST_F(BatteryCareControllerTest, TheBaselineIsTakenOnceAndOnlyWhileTheOtherModeIsOff) {
    settings.set(keys::chargeLimiterEnabledKey, true);
    settings.set(keys::chargeLimiterPercentKey, 87);
    settings.set(keys::adapterOnlyModeEnabledKey, true);
    onMain([this] { batteryCare.setPreserveBatteryHealthEnabled(true); });
    EXPECT_EQ(answerAlert(), kIntelOnly);
    EXPECT_FALSE(settings.contains(keys::batteryCareBaselineCapturedKey));

    settings.set(keys::adapterOnlyModeEnabledKey, false);
    onMain([this] { batteryCare.setAdapterOnlyModeEnabled(true); });
    EXPECT_EQ(answerAlert(), kIntelOnly);
    EXPECT_TRUE(settings.boolValue(keys::batteryCareBaselineLimiterEnabledKey));
    EXPECT_EQ(settings.integer(keys::batteryCareBaselineLimitPercentKey), 85);

    settings.set(keys::chargeLimiterPercentKey, 60);
    onMain([this] { batteryCare.setAdapterOnlyModeEnabled(true); });
    EXPECT_EQ(answerAlert(), kIntelOnly);
    EXPECT_EQ(settings.integer(keys::batteryCareBaselineLimitPercentKey), 85) << "taken once";
}

TEST_F(BatteryCareControllerTest, WithoutABaselineTheModesCanBeTurnedOff) {
    settings.set(keys::adapterOnlyModeEnabledKey, true);
    onMain([this] { EXPECT_TRUE(batteryCare.setAdapterOnlyModeEnabled(false)); });
    EXPECT_FALSE(settings.boolValue(keys::adapterOnlyModeEnabledKey));
    settings.set(keys::preserveBatteryHealthEnabledKey, true);
    onMain([this] { EXPECT_TRUE(batteryCare.setPreserveBatteryHealthEnabled(false)); });
    EXPECT_FALSE(settings.boolValue(keys::preserveBatteryHealthEnabledKey));
    EXPECT_EQ(answerAlert(), "");
}

TEST_F(BatteryCareControllerTest, ThePercentageIsStoredOnTheGridUnlessTheLimiterHoldsIt) {
    onMain([this] { EXPECT_TRUE(batteryCare.setChargeLimitPercent(87)); });
    EXPECT_EQ(settings.integer(keys::chargeLimiterPercentKey), 85);
    settings.set(keys::chargeLimiterEnabledKey, true);
    onMain([this] { EXPECT_FALSE(batteryCare.setChargeLimitPercent(60)); });
    EXPECT_EQ(answerAlert(), kIntelOnly);
    settings.set(keys::chargeFullOnceActiveKey, true);
    onMain([this] { EXPECT_TRUE(batteryCare.setChargeLimitPercent(60)); });
    EXPECT_EQ(settings.integer(keys::chargeLimiterPercentKey), 60);
}

TEST_F(BatteryCareControllerTest, TheMenuSwitchWaitsForTheMenuAndFallsBack) {
    auto toggle = ui::makeSwitch(true, nullptr);
    batteryCare.setSwitch(toggle);
    onMain([this] { batteryCare.toggleChargeLimiterSwitch(true); });
    EXPECT_FALSE(toggle->enabled);
    advance(0.2);
    EXPECT_EQ(answerAlert(), kIntelOnly);
    EXPECT_FALSE(toggle->isOn);
    EXPECT_TRUE(toggle->enabled);
}

TEST_F(BatteryCareControllerTest, PreserveBatteryHealthSleepsOncePerDischarge) {
    settings.set(keys::preserveBatteryHealthEnabledKey, true);
    mac.power().setBattery(12, PowerSource::Battery);
    batteryCare.refreshPreserveBatteryHealthMonitor();
    advance(1);
    EXPECT_EQ(mac.sleepRequests(), 0) << "not armed at launch";
    EXPECT_TRUE(batteryCare.isPreserveBatteryHealthMonitorRunning());

    const std::pair<int, int> readings[] = {
        // percent on battery, sleep requests so far
        {20, 0}, {16, 0}, {15, 1}, {14, 1}, {17, 1}, {13, 1}, {18, 1}, {0, 1}, {9, 2},
    };
    for (const auto& [percent, sleeps] : readings) {
        check(percent, PowerSource::Battery, BatteryStatus::Discharging);
        EXPECT_EQ(mac.sleepRequests(), sleeps) << percent;
    }
    // External power re-arms whatever the level.
    check(5, PowerSource::Adapter, BatteryStatus::Charging);
    check(5, PowerSource::Battery, BatteryStatus::Discharging);
    EXPECT_EQ(mac.sleepRequests(), 3);

    settings.set(keys::preserveBatteryHealthEnabledKey, false);
    batteryCare.refreshPreserveBatteryHealthMonitor();
    advance(1);
    EXPECT_FALSE(batteryCare.isPreserveBatteryHealthMonitorRunning());
}

TEST_F(BatteryCareControllerTest, ChargeFullOnceEndsAfterTwentyStalledChecks) {
    mac.power().setChargeControlSupported(true);
    startChargeFullOnce(80);
    mac.power().setBattery(96, PowerSource::Adapter, BatteryStatus::NotCharging);
    batteryCare.resumeChargeFullOnceIfNeeded();
    advance(0.1);
    for (int checks = 1; checks < 19; ++checks) {
        check(96, PowerSource::Adapter, BatteryStatus::NotCharging);
    }
    EXPECT_EQ(batteryCare.chargeFullOnceStalledChecks(), 19);
    check(94, PowerSource::Adapter, BatteryStatus::NotCharging);
    EXPECT_EQ(batteryCare.chargeFullOnceStalledChecks(), 0);
    check(96, PowerSource::Adapter, BatteryStatus::Charging);
    EXPECT_EQ(batteryCare.chargeFullOnceStalledChecks(), 0) << "still charging is not a stall";
    EXPECT_TRUE(cycleActive());

    for (int checks = 0; checks < 20; ++checks) {
        check(96, PowerSource::Adapter, BatteryStatus::NotCharging);
    }
    EXPECT_FALSE(cycleActive());
    EXPECT_FALSE(settings.contains(keys::chargeFullOnceStartedAtKey));
    EXPECT_EQ(mac.power().chargeLimit(), 77);
    EXPECT_FALSE(batteryCare.isChargeFullOnceMonitorRunning());
}

TEST_F(BatteryCareControllerTest, ChargeFullOnceEndsOnFullChargeOrUnpluggingOrAfterADay) {
    struct Case {
        const char* name;
        int percent;
        PowerSource source;
        BatteryStatus status;
        double waitBefore;
        int limit;
        int restored;  // what the helper is told
    };
    const Case cases[] = {
        {"unplugged", 70, PowerSource::Battery, BatteryStatus::Discharging, 0, 80, 77},
        {"full", 100, PowerSource::Adapter, BatteryStatus::Charged, 0, 90, 87},
        {"a day", 70, PowerSource::Adapter, BatteryStatus::Charging, 86400, 70, 67},
    };
    mac.power().setChargeControlSupported(true);
    for (const auto& [name, percent, source, status, waitBefore, limit, restored] : cases) {
        mac.power().setBattery(50, PowerSource::Adapter, BatteryStatus::Charging);
        startChargeFullOnce(limit);
        batteryCare.startChargeFullOnceMonitor();
        advance(waitBefore);
        check(percent, source, status);
        EXPECT_FALSE(cycleActive()) << name;
        EXPECT_EQ(mac.power().chargeLimit(), restored) << name;
    }
}

TEST_F(BatteryCareControllerTest, TheHelperIsToldTheLimitTheUserSeesLessThree) {
    mac.power().setChargeControlSupported(true);
    const std::tuple<int, bool, int> cases[] = {
        // percent, as the displayed limit, what the helper sets
        {80, true, 77},  {50, true, 50},    {100, true, 100}, {52, true, 50},
        {30, false, 50}, {120, false, 100}, {77, false, 77},
    };
    for (const auto& [percent, displayed, set] : cases) {
        EXPECT_TRUE(batteryCare.applyChargeLimitPrivileged(percent, displayed)) << percent;
        EXPECT_EQ(mac.power().chargeLimit(), set) << percent;
    }
}

TEST_F(BatteryCareControllerTest, ChargeFullOnceButtonExplainsThenShowsTheBattery) {
    std::string status;
    onMain([&] { batteryCare.requestChargeFullOnce([&](std::string line) { status = line; }); });
    EXPECT_EQ(answerAlert(), kIntelOnly);
    advance(0.1);
    EXPECT_EQ(status, "Battery: 85% \u2022 Charging");
    EXPECT_FALSE(cycleActive());
}

TEST_F(BatteryCareControllerTest, AFailedRestoreKeepsTheCycleForTheNextCheck) {
    startChargeFullOnce(80);
    mac.power().setBattery(70, PowerSource::Battery);
    batteryCare.finishChargeFullOnce();
    EXPECT_TRUE(cycleActive()) << "this Mac's helper refuses";
    EXPECT_TRUE(containsLine(takeInvocations(), helper + " set 77"));

    ASSERT_TRUE(mac.files().removeItem(helper));
    onMain([this] { batteryCare.finishChargeFullOnce(); });
    EXPECT_EQ(answerAlert(),
              "The installed charge-limit helper is missing. Run Full Reset Build Install once to "
              "install it.");
    EXPECT_TRUE(cycleActive());

    // Without the limiter there is nothing to put back.
    settings.set(keys::chargeLimiterEnabledKey, false);
    batteryCare.finishChargeFullOnce();
    EXPECT_FALSE(cycleActive());
}

TEST_F(BatteryCareControllerTest, ACycleFoundAtLaunchWithoutTheLimiterIsCleared) {
    startChargeFullOnce(80);
    settings.set(keys::chargeLimiterEnabledKey, false);
    batteryCare.resumeChargeFullOnceIfNeeded();
    advance(60);
    EXPECT_FALSE(cycleActive());
    EXPECT_FALSE(batteryCare.isChargeFullOnceMonitorRunning());
    EXPECT_FALSE(containsLine(takeInvocations(), "/usr/bin/pmset -g batt"));
}

}  // namespace
}  // namespace parvel
