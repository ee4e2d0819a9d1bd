#pragma once

#include <mutex>
#include <string_view>

#include "base/Lifetime.h"
#include "core/SettingsStore.h"
#include "modes/AnimationDefaults.h"
#include "modes/LowDataModeController.h"
#include "modes/SystemSettingActuators.h"
#include "platform/Dispatch.h"

namespace parvel {

// The system settings as they were before a mode other than Normal changed them, kept in the
// settings store so that they survive relaunches, and written back on return to Normal. Also
// holds Battery Saver's brightness guard.
class SystemModeBaseline {
  public:
    struct Services {
        SettingsStore& settings;
        SystemSettingActuators& actuators;
        LowDataModeController& lowDataMode;
        platform::Dispatch& dispatch;
        // The serial queue the mode jobs, the restore and the guard run on.
        platform::Queue& systemModeQueue;
    };

    explicit SystemModeBaseline(Services services) : services_(services) {}

    // Records every setting now, on the caller's thread, and flushes the store.
    void refreshSystemModeBaseline();
    // Writes the recorded settings back (on the system-mode queue); without a baseline only the
    // animations are set to the system's own behaviour.
    void restoreSystemModeBaseline();
    void restoreDisplaySleepBaseline();

    // Keeps the display at `target` while Battery Saver lasts, tolerating small drift.
    void startBatterySaverBrightnessGuard(double target);
    void stopBatterySaverBrightnessGuard();
    bool isBrightnessGuardRunning() const;

    // The store keys of an animation default's baseline.
    static std::string existsKey(const AnimationDefault& row);
    static std::string valueKey(const AnimationDefault& row);

  private:
    void captureAnimationDefaults();
    void captureDock();
    void captureBrightness();
    void captureLowDataModeBaseline();
    void captureLowPowerModeBaseline();
    void captureDisplaySleepBaseline();
    void captureBluetoothBaseline();
    void storePair(const std::optional<PowerSourcePair>& pair, std::string_view batteryKey,
                   std::string_view acKey, std::string_view capturedKey);

    void restoreAnimationDefaults();
    void restoreDockMagnificationBaseline();
    void restoreLowPowerModeBaseline();
    void restoreBrightness();
    void applyNormalAnimationState();
    void reapplyKeyboardLevelLater(double level);
    void guardTick(double target);

    Services services_;
    mutable std::mutex guardMutex_;
    platform::Scheduled brightnessGuardTimer_;
    Lifetime lifetime_;
};

}  // namespace parvel
