#include "modes/SystemModeController.h"

#include "core/SettingsKeys.h"
#include "modes/AnimationDefaults.h"

namespace parvel {

namespace keys = settings_keys;
using platform::QualityOfService;

namespace {

constexpr std::string_view kQueueLabel = "com.tarnby.parvelmac.systemMode";
// Battery Saver waits this long before dimming, so a quick second choice wins cleanly.
constexpr platform::Duration kBatterySaverBrightnessDelay = platform::seconds(0.8);
constexpr double kBatterySaverDisplayLevel = 0.5;
constexpr double kBatterySaverKeyboardLevel = 0.0;
constexpr double kPerformanceLevel = 1.0;
constexpr int kBatterySaverDisplaySleepMinutes = 1;
constexpr int kBatterySaverQuitDelayMinutes = 1;
constexpr int kQuitDelayOff = 0;

}  // namespace

SystemModeController::SystemModeController(Services services)
    : services_(services),
      systemModeQueue_(services.dispatch.makeSerialQueue(std::string(kQueueLabel),
                                                         QualityOfService::UserInitiated)),
      baseline_({services.settings, services.actuators, services.lowDataMode, services.dispatch,
                 *systemModeQueue_}) {}

void SystemModeController::finishJobs() {
    finishing_.store(true);
    lifetime_.end();
    systemModeQueue_.reset();
}

SystemMode SystemModeController::currentSystemMode() const {
    return services_.settings.systemMode();
}

void SystemModeController::switchSystemMode(SystemMode mode) {
    const SystemMode old = currentSystemMode();
    if (old == mode) {
        if (updateMenuStates) {
            updateMenuStates();
        }
        return;
    }
    // The baseline is what Normal looked like, so it is taken before anything changes, and not
    // again when moving between Battery Saver and Performance.
    if (old == SystemMode::normal) {
        baseline_.refreshSystemModeBaseline();
        services_.settings.flush();
    }
    services_.settings.set(keys::systemModeDefaultsKey, rawValue(mode));
    services_.settings.flush();
    applySystemMode(mode);
    if (updateMenuStates) {
        updateMenuStates();
    }
}

// No periodic re-capture runs in Normal: the baseline is taken only when Normal is left, at
// launch in Normal, and here when none was ever taken.
void SystemModeController::applySystemMode(SystemMode mode) {
    if (mode != SystemMode::normal &&
        !services_.settings.boolValue(keys::systemModeBaselineCapturedKey)) {
        baseline_.refreshSystemModeBaseline();
    }
    // The launch work calls this from the queue itself, possibly while the jobs are finishing.
    if (!finishing_.load()) {
        systemModeQueue_->async(lifetime_.guard([this, mode] { runModeJob(mode); }));
    }
}

void SystemModeController::applySelectedSystemMode() {
    applySystemMode(currentSystemMode());
}

// The system-mode queue rather than a global one, so that quitting waits for this work as it
// waits for a mode job, and it never runs once the controllers it uses are gone.
void SystemModeController::applyStoredModeAtLaunch(std::function<void()> then) {
    systemModeQueue_->async(lifetime_.guard([this, then = std::move(then)] {
        if (currentSystemMode() == SystemMode::normal) {
            baseline_.refreshSystemModeBaseline();
        }
        applySelectedSystemMode();
        then();
    }));
}

void SystemModeController::runModeJob(SystemMode mode) {
    if (!stillIn(mode)) {
        return;
    }
    applyQuitNoWindowsMode(mode);
    applyDockPreviewMode(mode);
    switch (mode) {
        case SystemMode::normal:
            runNormalJob();
            break;
        case SystemMode::batterySaver:
            runBatterySaverJob();
            break;
        case SystemMode::performance:
            runPerformanceJob();
            break;
    }
}

void SystemModeController::runNormalJob() {
    baseline_.stopBatterySaverBrightnessGuard();
    baseline_.restoreSystemModeBaseline();
    services_.actuators.relaunchDock();
}

void SystemModeController::runBatterySaverJob() {
    SystemSettingActuators& actuators = services_.actuators;
    applyAnimationsDisabled(SystemMode::batterySaver);
    services_.lowDataMode.setLowDataModeForCurrentNetwork(true, true);
    actuators.setLowPowerMode(1, 1, true);
    actuators.setDisplaySleep(kBatterySaverDisplaySleepMinutes, kBatterySaverDisplaySleepMinutes);
    actuators.setBluetoothPower(false);
    if (!stillIn(SystemMode::batterySaver)) {
        return;
    }
    services_.dispatch.sleep(kBatterySaverBrightnessDelay);
    if (!stillIn(SystemMode::batterySaver)) {
        return;
    }
    actuators.setDisplayBrightness(kBatterySaverDisplayLevel);
    actuators.setKeyboardBrightness(kBatterySaverKeyboardLevel);
    baseline_.startBatterySaverBrightnessGuard(kBatterySaverDisplayLevel);
    actuators.relaunchDock();
}

// Bluetooth stays off here too: only the baseline brings it back, on return to Normal.
void SystemModeController::runPerformanceJob() {
    SystemSettingActuators& actuators = services_.actuators;
    baseline_.stopBatterySaverBrightnessGuard();
    applyAnimationsDisabled(SystemMode::performance);
    services_.lowDataMode.setLowDataModeForCurrentNetwork(false, true);
    actuators.setLowPowerMode(0, 0, true);
    baseline_.restoreDisplaySleepBaseline();
    actuators.setBluetoothPower(false);
    if (!stillIn(SystemMode::performance)) {
        return;
    }
    actuators.setDisplayBrightness(kPerformanceLevel);
    actuators.setKeyboardBrightness(kPerformanceLevel);
    actuators.relaunchDock();
}

// Both modes switch the same animations off and differ only in App Nap, which comes last.
void SystemModeController::applyAnimationsDisabled(SystemMode mode) {
    for (const auto& row : kAnimationDefaults) {
        if (!row.isOffInPerformanceOnly()) {
            services_.actuators.runDefaults(row.command(row.offValue));
        }
    }
    for (const auto& row : kAnimationDefaults) {
        if (row.isOffInPerformanceOnly()) {
            services_.actuators.runDefaults(row.command(
                mode == SystemMode::performance ? std::optional(row.offValue) : std::nullopt));
        }
    }
}

void SystemModeController::applyDockPreviewMode(SystemMode mode) {
    const bool enabled = mode != SystemMode::batterySaver &&
                         services_.settings.boolValue(keys::dockWindowPreviewsEnabledKey);
    const bool switchEnabled = mode != SystemMode::batterySaver;
    services_.dispatch.main().async(lifetime_.guard([this, enabled, switchEnabled] {
        if (onDockPreviewMode) {
            onDockPreviewMode(enabled, switchEnabled);
        }
    }));
}

void SystemModeController::applyQuitNoWindowsMode(SystemMode mode) {
    const int chosen = int(services_.settings.integer(keys::quitAppsNoWindowsDelayMinutesKey));
    int effective = chosen;
    if (mode == SystemMode::batterySaver) {
        effective = kBatterySaverQuitDelayMinutes;
    } else if (mode == SystemMode::performance) {
        effective = kQuitDelayOff;
    }
    services_.quitNoWindowsDelay.setDelayMinutes(effective);
    const bool popUpEnabled = mode == SystemMode::normal;
    services_.dispatch.main().async(lifetime_.guard([this, effective, popUpEnabled] {
        if (onQuitNoWindowsMode) {
            onQuitNoWindowsMode(effective, popUpEnabled);
        }
    }));
}

void SystemModeController::dockPreviewsSwitchChanged(bool enabled) {
    const SystemMode mode = currentSystemMode();
    if (mode != SystemMode::batterySaver) {
        services_.settings.set(keys::dockWindowPreviewsEnabledKey, enabled);
    }
    applyDockPreviewMode(mode);
}

void SystemModeController::quitNoWindowsDelayChosen(int minutes) {
    const SystemMode mode = currentSystemMode();
    if (mode == SystemMode::normal) {
        services_.settings.set(keys::quitAppsNoWindowsDelayMinutesKey, minutes);
    }
    applyQuitNoWindowsMode(mode);
}

}  // namespace parvel
