#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "app/LoginAgent.h"
#include "core/ProcessRunner.h"
#include "core/SettingsKeys.h"
#include "core/SettingsStore.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimProcessInfo.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/TracingLog.h"
#include "platform/sim/tools/SystemTools.h"
#include "support/CommandOutput.h"
#include "support/ResultMatchers.h"

namespace parvel {
namespace {

using test_support::succeeds;
using Invocations = std::vector<sim::ToolArguments>;

constexpr const char* kLaunchctl = "/bin/launchctl";
constexpr const char* kDomain = "gui/501";
constexpr const char* kLoginService = "gui/501/com.tarnby.parvelmac.login";
constexpr const char* kRetiredService = "gui/501/com.tarnby.parvelmac.background";

class LoginAgentTest : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    SettingsStore settings{mac.defaults()};
    ProcessRunner runner{mac.processes()};
    LoginAgent agent{settings, runner, mac.files(), mac.processInfo(), mac.log(), mac.presenter()};
    sim::LaunchAgents& launchd = mac.systemTools().launchAgents();
    const std::string agentsFolder = mac.homeDirectory() + "/Library/LaunchAgents";
    const std::string loginPlist = agentsFolder + "/com.tarnby.parvelmac.login.plist";
    const std::string retiredPlist = agentsFolder + "/com.tarnby.parvelmac.background.plist";

    // What ran from here on, launchctl calls only.
    Invocations launchctlCallsSince(std::size_t start) {
        Invocations calls;
        const auto& all = mac.processes().invocations();
        for (std::size_t index = start; index < all.size(); ++index) {
            if (all[index].front() == kLaunchctl) {
                calls.emplace_back(all[index].begin() + 1, all[index].end());
            }
        }
        return calls;
    }
    std::size_t invocationCount() { return mac.processes().invocations().size(); }

    // launchctl whose bootstrap always fails with the given status.
    void refuseBootstrap(int status) {
        mac.processes().addTool(kLaunchctl, [status](const sim::ToolArguments& arguments) {
            return arguments.front() == "bootstrap"
                       ? sim::ToolResult{status, "", "Bootstrap failed\n"}
                       : sim::ToolResult{};
        });
    }

    // Runs on the main queue, where the program shows its alerts.
    void onMain(std::function<void()> work) {
        mac.dispatch().main().async(std::move(work));
        mac.dispatch().runDue();
    }

    bool exists(const std::string& path) { return mac.files().exists(path); }
};

TEST_F(LoginAgentTest, InstallWritesFiveKeysThatIndependentReadersAccept) {
    ASSERT_TRUE(succeeds(agent.installUserLaunchAgent()));
    const std::string file = mac.sandboxRoot() + loginPlist;
    EXPECT_EQ(test_support::commandOutput(fmt::format(
                  "python3 -c \"import plistlib, sys; print(sorted(plistlib.load(open(sys.argv[1], "
                  "'rb')).items()))\" '{}'",
                  file)),
              "[('Label', 'com.tarnby.parvelmac.login'), ('LimitLoadToSessionType', 'Aqua'), "
              "('ProcessType', 'Interactive'), ('ProgramArguments', ['/usr/bin/open', '-gja', "
              "'/Applications/ParvelMac.app', '--args', '--background']), ('RunAtLoad', True)]\n");
    const std::string xml =
        test_support::commandOutput(fmt::format("plistutil -i '{}' -f xml -o - 2>&1", file));
    EXPECT_NE(xml.find("<key>ProcessType</key>"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<string>--background</string>"), std::string::npos) << xml;
}

TEST_F(LoginAgentTest, InstallRetiresTheOldAgentThenLoadsAndEnablesTheNewOne) {
    ASSERT_TRUE(mac.files().createDirectories(agentsFolder));
    ASSERT_TRUE(mac.files().writeFileAtomically(retiredPlist, Bytes{'x'}));
    const auto start = invocationCount();

    ASSERT_TRUE(succeeds(agent.installUserLaunchAgent()));

    EXPECT_EQ(launchctlCallsSince(start), (Invocations{{"bootout", kRetiredService},
                                                       {"bootout", kDomain, loginPlist},
                                                       {"bootstrap", kDomain, loginPlist},
                                                       {"enable", kLoginService}}));
    EXPECT_FALSE(exists(retiredPlist));
    EXPECT_TRUE(launchd.isLoaded(LoginAgent::kLabel));
    // A second install replaces the loaded copy instead of failing on it.
    EXPECT_TRUE(succeeds(agent.installUserLaunchAgent()));
    EXPECT_TRUE(launchd.isLoaded(LoginAgent::kLabel));
}

TEST_F(LoginAgentTest, RemoveUnloadsDisablesAndDeletesBothAgents) {
    ASSERT_TRUE(succeeds(agent.installUserLaunchAgent()));
    ASSERT_TRUE(mac.files().writeFileAtomically(retiredPlist, Bytes{'x'}));
    const auto start = invocationCount();

    agent.removeUserLaunchAgent();

    EXPECT_EQ(launchctlCallsSince(start), (Invocations{{"bootout", kDomain, loginPlist},
                                                       {"disable", kLoginService},
                                                       {"bootout", kRetiredService}}));
    EXPECT_FALSE(exists(loginPlist));
    EXPECT_FALSE(exists(retiredPlist));
    EXPECT_FALSE(launchd.isLoaded(LoginAgent::kLabel));
    EXPECT_TRUE(launchd.isDisabled(LoginAgent::kLabel));
    // Nothing left to remove, and no launchctl at all: still quiet.
    mac.processes().removeTool(kLaunchctl);
    agent.removeUserLaunchAgent();
}

TEST_F(LoginAgentTest, SwitchingBackOnLiftsTheDisabledOverride) {
    ASSERT_TRUE(succeeds(agent.installUserLaunchAgent()));
    agent.removeUserLaunchAgent();

    ASSERT_TRUE(succeeds(agent.installUserLaunchAgent()));

    EXPECT_TRUE(launchd.isLoaded(LoginAgent::kLabel));
    EXPECT_FALSE(launchd.isDisabled(LoginAgent::kLabel));
}

TEST_F(LoginAgentTest, RefusedBootstrapIsAnErrorCarryingTheExitStatus) {
    refuseBootstrap(5);
    const auto start = invocationCount();

    const auto installed = agent.installUserLaunchAgent();

    ASSERT_FALSE(installed.has_value());
    EXPECT_EQ(installed.error().domain, "ParvelMac.Login");
    EXPECT_EQ(installed.error().code, 5);
    EXPECT_EQ(installed.error().description, "macOS could not register the ParvelMac login agent.");
    const auto calls = launchctlCallsSince(start);
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back(), (sim::ToolArguments{"bootstrap", kDomain, loginPlist}))
        << "nothing is enabled after the last refusal";
}

TEST_F(LoginAgentTest, OnlyTheBootstrapNeedsLaunchctlToStart) {
    mac.processes().removeTool(kLaunchctl);
    const auto installed = agent.installUserLaunchAgent();
    ASSERT_FALSE(installed.has_value());
    EXPECT_EQ(installed.error().domain, kPosixErrorDomain);
    EXPECT_TRUE(exists(loginPlist)) << "the property list is written before launchctl runs";
}

TEST_F(LoginAgentTest, UnwritableAgentsFolderFailsBeforeAnyLaunchctl) {
    // A file where the folder belongs.
    (void)mac.files().removeItem(agentsFolder);
    ASSERT_TRUE(mac.files().writeFileAtomically(agentsFolder, Bytes{'x'}));
    const auto start = invocationCount();

    EXPECT_FALSE(agent.installUserLaunchAgent().has_value());
    EXPECT_TRUE(launchctlCallsSince(start).empty());
}

TEST_F(LoginAgentTest, LaunchTimeConfigurationFollowsTheStoredSwitch) {
    struct Case {
        const char* name;
        std::optional<platform::PlistValue> stored;
        bool installed;
    };
    const Case cases[] = {
        {"absent", std::nullopt, true},
        {"on", true, true},
        {"off", false, false},
        {"a string is not false", platform::PlistValue("no"), true},
    };
    for (const auto& [name, stored, installed] : cases) {
        SCOPED_TRACE(name);
        agent.removeUserLaunchAgent();
        (void)launchd.bootout(LoginAgent::kLabel);
        settings.remove(settings_keys::startAtLoginEnabledKey);
        if (stored) {
            settings.set(settings_keys::startAtLoginEnabledKey, *stored);
        }
        agent.configureStartAtLoginIfNeeded();
        EXPECT_EQ(exists(loginPlist), installed);
        EXPECT_EQ(launchd.isLoaded(LoginAgent::kLabel), installed);
    }
}

TEST_F(LoginAgentTest, LaunchTimeFailureIsLoggedWithoutAnAlert) {
    refuseBootstrap(5);
    agent.configureStartAtLoginIfNeeded();
    EXPECT_EQ(mac.log().lines().lines(),
              std::vector<std::string>{"ParvelMac: unable to register background login agent: "
                                       "macOS could not register the ParvelMac login agent."});
    EXPECT_FALSE(mac.presenter().currentAlert().has_value());
}

TEST_F(LoginAgentTest, SettingsSwitchStoresTheChoiceAndAlertsOnFailure) {
    refuseBootstrap(119);
    onMain([this] { agent.setStartAtLogin(true); });

    const auto alert = mac.presenter().currentAlert();
    ASSERT_TRUE(alert.has_value());
    EXPECT_EQ(alert->messageText, "Could not enable Start at Login");
    EXPECT_EQ(alert->informativeText,
              "macOS could not register the ParvelMac login agent.\n\nYou can also review this "
              "under System Settings \u2192 General \u2192 Login Items.");
    mac.presenter().answerAlert("OK");
    EXPECT_EQ(settings.object(settings_keys::startAtLoginEnabledKey), platform::PlistValue(true));

    onMain([this] { agent.setStartAtLogin(false); });
    EXPECT_EQ(settings.object(settings_keys::startAtLoginEnabledKey), platform::PlistValue(false));
    EXPECT_FALSE(exists(loginPlist));
    EXPECT_FALSE(mac.presenter().currentAlert().has_value());
}

}  // namespace
}  // namespace parvel
