#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "platform/NetworkPath.h"
#include "platform/sim/ProgramBundle.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimNetworkPath.h"
#include "platform/sim/SystemToolsFixture.h"
#include "platform/sim/Trace.h"
#include "platform/sim/world/Hardware.h"
#include "platform/sim/world/Permissions.h"
#include "platform/sim/world/Power.h"

namespace parvel::sim::test {
namespace {

using Arguments = std::vector<std::string>;

const std::string kPowerHelper = ProgramBundle::kPowerHelper.installedPath();
const std::string kLowDataHelper = ProgramBundle::kLowDataHelper.installedPath();
const std::string kChargeHelper = ProgramBundle::kChargeHelper.installedPath();

class HelperToolsTest : public SystemToolsTest {
  protected:
    // Where the program finds the mode helper: through its bundle.
    std::string modeHelper() {
        return mac.platform().bundle->resourcePath(ProgramBundle::kModeHelper, "").value_or("");
    }
    void installHelpers() {
        ProgramBundle(mac.files(), mac.trace()).installHelpers(mac.bundle().bundlePath());
    }
    // Runs a tool expected to fail with a usage error, and checks that message's first words.
    void expectUsageError(const std::string& path, const Arguments& arguments,
                          const std::string& usageStart) {
        const Outcome outcome = run(path, arguments);
        EXPECT_EQ(outcome.status, 64) << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.output, "");
        EXPECT_TRUE(outcome.error.starts_with(usageStart)) << outcome.error;
    }
};

TEST_F(HelperToolsTest, HelpersStartOnlyWhileTheirFilesAreThereAndExecutable) {
    struct Case {
        std::string path;
        Arguments arguments;
        bool installedWithTheBundle;
    };
    const std::vector<Case> cases = {{modeHelper(), {"display-get"}, true},
                                     {kPowerHelper, {"lowpower", "0", "0"}, false},
                                     {kLowDataHelper, {"set", "0"}, false},
                                     {kChargeHelper, {"set", "x"}, false}};
    const auto startError = [this](const Case& helper) -> std::optional<int> {
        auto child = mac.processes().launch({helper.path, helper.arguments});
        return child ? std::nullopt : std::optional(child.error().code);
    };
    for (const auto& helper : cases) {
        ASSERT_FALSE(helper.path.empty());
        EXPECT_EQ(startError(helper),
                  helper.installedWithTheBundle ? std::nullopt : std::optional(ENOENT))
            << helper.path;
    }
    installHelpers();
    for (const auto& helper : cases) {
        SCOPED_TRACE(helper.path);
        EXPECT_EQ(startError(helper), std::nullopt);
        ASSERT_TRUE(mac.files().setPermissions(helper.path, 0644));
        EXPECT_EQ(startError(helper), std::optional(EACCES));
        ASSERT_TRUE(mac.files().removeItem(helper.path));
        EXPECT_EQ(startError(helper), std::optional(ENOENT));
    }
    EXPECT_EQ(mac.trace().texts("process").back(),
              kChargeHelper + " set x (failed to start: no such file)");
}

TEST_F(HelperToolsTest, TheModeHelperAnswersInWhicheverBundleTheProgramRunsFrom) {
    const std::string copy = mac.homeDirectory() + "/Downloads/ParvelMac.app";
    ProgramBundle(mac.files(), mac.trace()).install(copy);
    ASSERT_TRUE(mac.files().removeItem(modeHelper()));
    mac.bundle().setBundlePath(copy);
    ASSERT_EQ(modeHelper(), copy + "/Contents/Resources/ParvelMacModeHelper");
    EXPECT_EQ(run(modeHelper(), {"keyboard-get"}), printed("0.500\n"));

    const std::string stray = mac.homeDirectory() + "/Downloads/ParvelMacModeHelper";
    ASSERT_TRUE(mac.files().writeFileAtomically(stray, toBytes("x"), 0755));
    EXPECT_FALSE(mac.processes().launch({stray, {"keyboard-get"}}).has_value())
        << "only a bundle's resource is the helper";
}

TEST_F(HelperToolsTest, TheModeHelperReadsAndSetsLevelsAndBluetooth) {
    struct Step {
        Arguments arguments;
        std::string output;
    };
    const std::vector<Step> steps = {
        {{"display-get"}, "0.750\n"},
        {{"display-set", "0.250"}, "0.250\n"},
        {{"display-get"}, "0.250\n"},
        {{"keyboard-get"}, "0.500\n"},
        {{"keyboard-set", "1.000"}, "1.000\n"},
        {{"keyboard-set", "0"}, "0.000\n"},
        {{"bluetooth-get"}, "1\n"},
        {{"bluetooth-set", "0"}, "0\n"},
        {{"bluetooth-get"}, "0\n"},
        {{"bluetooth-set", "1"}, "1\n"},
    };
    for (const auto& [arguments, output] : steps) {
        EXPECT_EQ(run(modeHelper(), arguments), printed(output))
            << testing::PrintToString(arguments);
    }
    EXPECT_EQ(mac.hardware().displayBrightness(), 0.25);
    EXPECT_EQ(mac.hardware().keyboardBacklight(), 0.0);
    EXPECT_TRUE(mac.hardware().bluetoothPowered());

    for (const auto& wrong : std::vector<Arguments>{{},
                                                    {"display-set"},
                                                    {"display-set", "1.5"},
                                                    {"display-set", "-0.1"},
                                                    {"display-set", "dim"},
                                                    {"keyboard-set", "nan"},
                                                    {"keyboard-set", ""},
                                                    {"bluetooth-set", "2"},
                                                    {"bluetooth-set", "on"},
                                                    {"display-get", "now"},
                                                    {"volume-get"}}) {
        expectUsageError(modeHelper(), wrong, "usage: ParvelMacModeHelper");
    }
    EXPECT_EQ(mac.hardware().displayBrightness(), 0.25);
    EXPECT_EQ(mac.hardware().keyboardBacklight(), 0.0);
}

TEST_F(HelperToolsTest, WithoutBluetoothAccessTheRadioStaysAsItWasAndTheHelperSucceeds) {
    mac.permissions().bluetooth = false;
    EXPECT_EQ(run(modeHelper(), {"bluetooth-set", "0"}), printed("1\n"));
    EXPECT_TRUE(mac.hardware().bluetoothPowered());
    mac.permissions().bluetooth = true;
    EXPECT_EQ(run(modeHelper(), {"bluetooth-set", "0"}), printed("0\n"));
    EXPECT_FALSE(mac.hardware().bluetoothPowered());
}

TEST_F(HelperToolsTest, ThePowerHelperChangesPmsetsSettingsOrSaysWhyNot) {
    installHelpers();
    EXPECT_EQ(run(kPowerHelper, {"lowpower", "1", "0"}), printed("OK\n"));
    EXPECT_EQ(mac.power().lowPowerMode(), (PerSource{1, 0}));
    EXPECT_EQ(run(kPowerHelper, {"displaysleep", "0", "45"}), printed("OK\n"));
    EXPECT_EQ(mac.power().displaySleepMinutes(), (PerSource{0, 45}));

    for (const auto& wrong : std::vector<Arguments>{{},
                                                    {"lowpower", "1"},
                                                    {"lowpower", "2", "0"},
                                                    {"lowpower", "yes", "no"},
                                                    {"displaysleep", "-1", "5"},
                                                    {"displaysleep", "1.5", "5"},
                                                    {"sleep", "1", "1"},
                                                    {"lowpower", "1", "0", "now"}}) {
        expectUsageError(kPowerHelper, wrong, "usage: com.tarnby.parvelmac.power-helper");
    }

    tools.powerHelper().failChanges("pmset: could not change the setting.");
    const Outcome refused{1, "pmset: could not change the setting.\n", ""};
    EXPECT_EQ(run(kPowerHelper, {"lowpower", "0", "1"}), refused);
    EXPECT_EQ(run(kPowerHelper, {"displaysleep", "5", "5"}), refused);
    EXPECT_EQ(mac.power().lowPowerMode(), (PerSource{1, 0}));
    EXPECT_EQ(mac.power().displaySleepMinutes(), (PerSource{0, 45}));
    tools.powerHelper().restoreChanges();
    EXPECT_EQ(run(kPowerHelper, {"lowpower", "0", "1"}), printed("OK\n"));
    EXPECT_EQ(mac.power().lowPowerMode(), (PerSource{0, 1}));
}

TEST_F(HelperToolsTest, TheLowDataHelperChangesTheWiFiPathThatMonitorsSee) {
    installHelpers();
    std::vector<bool> constrained;
    auto monitor = mac.platform().networkPath->makeMonitor();
    monitor->start(mac.dispatch().main(), [&](const platform::NetworkPathState& path) {
        constrained.push_back(path.isConstrained);
    });
    const auto setLowData = [this](const char* on) {
        const Outcome outcome = run(kLowDataHelper, {"set", on});
        mac.dispatch().runDue();
        return outcome;
    };
    mac.dispatch().runDue();
    EXPECT_EQ(setLowData("1"), printed("OK|lowdata=1\n"));
    EXPECT_EQ(setLowData("1"), printed("OK|lowdata=1\n"));
    EXPECT_EQ(setLowData("0"), printed("OK|lowdata=0\n"));
    EXPECT_EQ(constrained, (std::vector<bool>{false, true, false})) << "a repeat changes nothing";

    platform::NetworkPathState ethernet{platform::NetworkPathState::Status::Satisfied, false, true};
    for (const auto& path : {ethernet, platform::NetworkPathState{},
                             platform::NetworkPathState{
                                 platform::NetworkPathState::Status::RequiresConnection, true}}) {
        mac.network().setPath(path);
        EXPECT_EQ(setLowData("1"), (Outcome{1, "No Wi-Fi network is connected.\n", ""}));
        EXPECT_FALSE(mac.network().path().isConstrained);
    }
    EXPECT_EQ(constrained.size(), 6u) << "only the network changes were seen";
    for (const auto& wrong : std::vector<Arguments>{{}, {"set"}, {"set", "on"}, {"get", "1"}}) {
        expectUsageError(kLowDataHelper, wrong, "usage: com.tarnby.parvelmac.lowdata-helper");
    }
}

TEST_F(HelperToolsTest, TheChargeHelperSetsALimitOnlyWhereTheFirmwareAllowsIt) {
    installHelpers();
    const Outcome unsupported = run(kChargeHelper, {"set", "80"});
    EXPECT_NE(unsupported.status, 0);
    EXPECT_EQ(unsupported.output, "");
    EXPECT_NE(unsupported.error, "");
    EXPECT_EQ(mac.power().chargeLimit(), std::nullopt);

    mac.power().setChargeControlSupported(true);
    mac.power().setBattery(80, PowerSource::Adapter);
    EXPECT_EQ(mac.power().batteryStatus(), BatteryStatus::Charging);
    EXPECT_EQ(run(kChargeHelper, {"set", "80"}), printed("OK\n"));
    EXPECT_EQ(mac.power().chargeLimit(), 80);
    EXPECT_EQ(mac.power().batteryStatus(), BatteryStatus::NotCharging);
    EXPECT_NE(run("/usr/bin/pmset", {"-g", "batt"}).output.find("; not charging"),
              std::string::npos);

    for (const auto& wrong : std::vector<Arguments>{
             {}, {"set"}, {"set", "49"}, {"set", "101"}, {"set", "eighty"}, {"get"}}) {
        expectUsageError(kChargeHelper, wrong, "usage: com.tarnby.parvelmac.charge-helper");
    }
    EXPECT_EQ(mac.power().chargeLimit(), 80);
}

}  // namespace
}  // namespace parvel::sim::test
