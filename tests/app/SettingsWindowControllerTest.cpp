#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "app/SettingsWindowController.h"
#include "core/ProcessRunner.h"
#include "core/SettingsStore.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimWorkspace.h"
#include "platform/sim/SimulatedMac.h"

namespace parvel {
namespace {

// The presenter keeps the window, and with it every control's action, for as long as it shows
// it; the controller may be gone by then.
class SettingsWindowControllerTest : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    SettingsStore settings{mac.defaults()};
    ProcessRunner runner{mac.processes()};
    std::unique_ptr<SettingsWindowController> controller;
    int closes = 0;
    int startAtLoginChanges = 0;

    void SetUp() override {
        const auto& services = mac.platform();
        controller = std::make_unique<SettingsWindowController>(SettingsWindowController::Services{
            settings, *services.presenter, *services.accessibility, *services.windowServer,
            *services.events, *services.workspace, runner});
        controller->onWindowClosed = [this] { ++closes; };
        controller->onStartAtLoginChanged = [this](bool) { ++startAtLoginChanges; };
        controller->select(SettingsWindowController::Section::permissions);
        mac.presenter().showWindow(controller->window(), true, true);
    }
    // Flips Start at Login, picks two sections, opens a pane of System Settings and closes the
    // window: how many of these reached the controller's owner or the system.
    int actionsThatReachedAnyone() {
        const auto urlsBefore = mac.workspace().openedURLs().size();
        const int before = closes + startAtLoginChanges;
        mac.presenter().click("start-at-login");
        mac.presenter().choose("sidebar", "General");
        mac.presenter().choose("sidebar", "Permissions");
        mac.presenter().click("Open Settings\u2026");
        mac.presenter().closeWindowByUser("settings");
        return closes + startAtLoginChanges - before +
               int(mac.workspace().openedURLs().size() - urlsBefore);
    }
};

TEST_F(SettingsWindowControllerTest, ControlsDoNothingOnceTheControllerIsGone) {
    EXPECT_EQ(actionsThatReachedAnyone(), 3);
    EXPECT_EQ(controller->selectedSection(), SettingsWindowController::Section::permissions);

    mac.presenter().showWindow(controller->window(), true, true);
    controller.reset();
    EXPECT_EQ(actionsThatReachedAnyone(), 0);
}

}  // namespace
}  // namespace parvel
