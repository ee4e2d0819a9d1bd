#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "base/Lifetime.h"
#include "core/SettingsStore.h"
#include "core/SystemMode.h"
#include "modes/LowDataModeController.h"
#include "modes/SystemModeBaseline.h"
#include "modes/SystemSettingActuators.h"
#include "platform/Dispatch.h"
#include "windows/QuitAppsNoWindowsDelayController.h"

namespace parvel {

// The three system modes: the stored selection, the switch between them, and the job that
// applies a mode's table of system settings on the system-mode queue. Leaving Normal captures
// the baseline first; returning to Normal restores it. Only the newest selection is applied: a
// job that finds the stored mode changed stops.
class SystemModeController {
  public:
    struct Services {
        SettingsStore& settings;
        SystemSettingActuators& actuators;
        LowDataModeController& lowDataMode;
        QuitAppsNoWindowsDelayController& quitNoWindowsDelay;
        platform::Dispatch& dispatch;
    };

    explicit SystemModeController(Services services);
    ~SystemModeController() { finishJobs(); }
    SystemModeController(const SystemModeController&) = delete;
    SystemModeController& operator=(const SystemModeController&) = delete;

    // What the modes impose on the interface, called on the main queue.
    // Dock previews on or off, and whether the settings switch may be changed.
    std::function<void(bool enabled, bool switchEnabled)> onDockPreviewMode;
    // The quit-after-delay time in force, and whether the settings pop-up may be changed.
    std::function<void(int minutes, bool popUpEnabled)> onQuitNoWindowsMode;
    std::function<void()> updateMenuStates;

    // The stored mode, re-read every time: the single source of truth.
    SystemMode currentSystemMode() const;
    // The user picked a mode (main thread).
    void switchSystemMode(SystemMode mode);
    void applySystemMode(SystemMode mode);
    void applySelectedSystemMode();
    // At launch, off the main thread: a fresh baseline first when the stored mode is Normal, then
    // the stored mode; `then` runs afterwards on the same queue.
    void applyStoredModeAtLaunch(std::function<void()> then);
    void applyDockPreviewMode(SystemMode mode);
    void applyQuitNoWindowsMode(SystemMode mode);

    // The settings window's Dock previews switch and quit-after-delay pop-up: outside Normal
    // the mode's own value wins and the user's stored choice is kept.
    void dockPreviewsSwitchChanged(bool enabled);
    void quitNoWindowsDelayChosen(int minutes);

    void stopBatterySaverBrightnessGuard() { baseline_.stopBatterySaverBrightnessGuard(); }
    const SystemModeBaseline& baseline() const { return baseline_; }
    // Lets a running job finish and drops the pending ones, for good: called before what the
    // jobs use goes away.
    void finishJobs();

  private:
    void runModeJob(SystemMode mode);
    void runNormalJob();
    void runBatterySaverJob();
    void runPerformanceJob();
    void applyAnimationsDisabled(SystemMode mode);
    bool stillIn(SystemMode mode) const { return currentSystemMode() == mode; }

    Services services_;
    std::unique_ptr<platform::Queue> systemModeQueue_;
    SystemModeBaseline baseline_;
    std::atomic<bool> finishing_{false};
    Lifetime lifetime_;
};

}  // namespace parvel
