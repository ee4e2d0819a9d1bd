#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/PermissionGateWindowController.h"
#include "core/ProcessRunner.h"
#include "platform/sim/SimApplication.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimWorkspace.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/world/Permissions.h"

namespace parvel {
namespace {

constexpr const char* kAutomationURL =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Automation";

PermissionGateWindowController::Services servicesOf(const sim::SimulatedMac& mac,
                                                    const ProcessRunner& runner) {
    const auto& services = mac.platform();
    return {*services.presenter,     *services.application,
            *services.accessibility, *services.windowServer,
            *services.events,        *services.appleScript,
            *services.workspace,     *services.dispatch,
            *services.bundle,        runner};
}

class PermissionGateTest : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    ProcessRunner runner{mac.processes()};
    PermissionGateWindowController gate{servicesOf(mac, runner)};

    void SetUp() override {
        mac.permissions().screenRecording = false;
        mac.dispatch().main().async([this] { gate.begin(); });
        mac.dispatch().runDue();
    }
    std::string text(const char* control) { return mac.presenter().find(control)->text; }
    std::string color(const char* control) { return mac.presenter().find(control)->color.name; }
};

TEST_F(PermissionGateTest, EachButtonOpensItsPaneOfSystemSettings) {
    const std::pair<const char*, const char*> buttons[] = {
        {"Open Accessibility Settings",
         "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility"},
        {"Open Screen Recording Settings",
         "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture"},
        {"Open Input Monitoring Settings",
         "x-apple.systempreferences:com.apple.preference.security?Privacy_ListenEvent"},
    };
    for (const auto& [button, url] : buttons) {
        SCOPED_TRACE(button);
        mac.presenter().click(button);
        ASSERT_FALSE(mac.workspace().openedURLs().empty());
        EXPECT_EQ(mac.workspace().openedURLs().back(), url);
    }
    EXPECT_EQ(mac.permissions().screenCaptureRequests, 1);
    // Once allowed, opening the pane no longer asks to be listed.
    mac.permissions().screenRecording = true;
    mac.presenter().click("Open Screen Recording Settings");
    EXPECT_EQ(mac.permissions().screenCaptureRequests, 1);
}

TEST_F(PermissionGateTest, AFailedRestartSaysSoAndStopsRefreshing) {
    mac.processes().removeTool("/bin/sh");
    mac.presenter().click("restart");

    const std::string failed =
        "Unable to restart automatically. Quit and reopen ParvelMac manually.";
    EXPECT_EQ(text("continue-status"), failed);
    EXPECT_EQ(color("continue-status"), "systemOrange");
    EXPECT_FALSE(mac.application().isTerminated());

    mac.permissions().screenRecording = true;
    mac.dispatch().advance(platform::seconds(2));
    EXPECT_EQ(text("screen-recording-status"), "Required") << "the refresh has stopped";
    EXPECT_EQ(text("continue-status"), failed);
}

TEST(PermissionGateAutomationTest, AskedForOnceAndItsPaneOpenedWhenRefused) {
    const struct {
        const char* name;
        sim::AutomationState answer;
        std::vector<std::string> opened;
    } cases[] = {
        {"allowed", sim::AutomationState::Allowed, {}},
        {"denied", sim::AutomationState::Denied, {kAutomationURL, kAutomationURL}},
    };
    for (const auto& [name, answer, opened] : cases) {
        SCOPED_TRACE(name);
        sim::SimulatedMac fresh;
        const ProcessRunner freshRunner{fresh.processes()};
        PermissionGateWindowController freshGate{servicesOf(fresh, freshRunner)};
        fresh.permissions().automationAnswer = answer;

        freshGate.requestFinderAccess();
        freshGate.requestSystemEventsAccess();

        EXPECT_EQ(fresh.permissions().automationPrompts,
                  (std::vector<std::string>{"com.apple.finder", "com.apple.systemevents"}));
        EXPECT_EQ(fresh.workspace().openedURLs(), opened);
        EXPECT_EQ(freshGate.finderAutomationAllowed(false),
                  answer == sim::AutomationState::Allowed);
        EXPECT_EQ(fresh.permissions().automationPrompts.size(), 2u) << "asked once per target";
    }
}

}  // namespace
}  // namespace parvel
