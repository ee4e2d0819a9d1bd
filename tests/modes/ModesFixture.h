#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/ProcessRunner.h"
#include "core/SettingsKeys.h"
#include "core/SettingsStore.h"
#include "modes/BatteryCareController.h"
#include "modes/LowDataModeController.h"
#include "modes/SystemModeController.h"
#include "modes/SystemSettingActuators.h"
#include "platform/sim/ProgramBundle.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimNetworkPath.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"
#include "platform/sim/world/Hardware.h"
#include "platform/sim/world/Power.h"

namespace parvel::test_support {

// The system modes and battery care over a simulated Mac whose helpers are installed, with the
// user's own Dock and animation settings in place and a Wi-Fi network joined.
class ModesFixture : public testing::Test {
  protected:
    ModesFixture() {
        sim::ProgramBundle(mac.files(), mac.trace()).installHelpers(mac.bundle().bundlePath());
        auto& defaults = mac.defaults();
        defaults.set("com.apple.dock", "magnification", true);
        defaults.set("com.apple.dock", "tilesize", 48);
        defaults.set("com.apple.dock", "largesize", 96);
        defaults.set("com.apple.dock", "mineffect", "genie");
        defaults.set("NSGlobalDomain", "NSAutomaticWindowAnimationsEnabled", true);
        lowDataMonitor->start(*lowDataQueue, [this](const platform::NetworkPathState& path) {
            lowDataMode.pathUpdated(path);
        });
        modes.updateMenuStates = [this] { ++menuRefreshes; };
        modes.onDockPreviewMode = [this](bool enabled, bool switchEnabled) {
            dockPreviews = {enabled, switchEnabled};
        };
        modes.onQuitNoWindowsMode = [this](int minutes, bool popUpEnabled) {
            quitDelayShown = {minutes, popUpEnabled};
        };
        mac.dispatch().runDue();
    }

    sim::SimulatedMac mac;
    const platform::Platform& platform = mac.platform();
    SettingsStore settings{*mac.platform().defaults};
    ProcessRunner runner{*mac.platform().processes};
    std::unique_ptr<platform::PathMonitor> lowDataMonitor = platform.networkPath->makeMonitor();
    std::unique_ptr<platform::Queue> lowDataQueue = platform.dispatch->makeSerialQueue(
        "com.tarnby.parvelmac.lowDataMonitor", platform::QualityOfService::Default);
    SystemSettingActuators actuators{{runner, *platform.fileSystem, *platform.bundle,
                                      *platform.events, *platform.dispatch, *platform.presenter,
                                      *platform.application, *platform.appleScript}};
    LowDataModeController lowDataMode{{runner, *platform.fileSystem, *lowDataMonitor,
                                       *platform.dispatch, *platform.presenter, actuators}};
    QuitAppsNoWindowsDelayController quitNoWindowsDelay;
    SystemModeController modes{
        {settings, actuators, lowDataMode, quitNoWindowsDelay, *platform.dispatch}};
    BatteryCareController batteryCare{{settings, runner, *platform.fileSystem, *platform.dispatch,
                                       *platform.presenter, *platform.application,
                                       *platform.appleScript}};

    int menuRefreshes = 0;
    std::pair<bool, bool> dockPreviews{true, true};
    std::pair<int, bool> quitDelayShown{-1, true};

    void advance(double seconds) { mac.dispatch().advance(platform::seconds(seconds)); }
    std::optional<platform::PlistValue> systemDefault(std::string_view domain,
                                                      std::string_view key) {
        return mac.defaults().object(domain, key);
    }
    // Every start of a tool since the last call, each as "tool arg arg".
    std::vector<std::string> takeInvocations() {
        std::vector<std::string> shown;
        const auto& all = mac.processes().invocations();
        for (auto index = seen_; index < all.size(); ++index) {
            std::string line = all[index].front();
            for (std::size_t argument = 1; argument < all[index].size(); ++argument) {
                line += " " + all[index][argument];
            }
            shown.push_back(line);
        }
        seen_ = all.size();
        return shown;
    }
    static bool containsLine(const std::vector<std::string>& lines, const std::string& wanted) {
        return std::ranges::find(lines, wanted) != lines.end();
    }
    std::string modeHelper() const { return *actuators.modeHelperPath(); }

  private:
    std::size_t seen_ = 0;
};

}  // namespace parvel::test_support
