#pragma once

#include <functional>
#include <string>

#include "base/Lifetime.h"
#include "core/MenuSwitch.h"
#include "core/ProcessRunner.h"
#include "core/SettingsStore.h"
#include "modes/BatterySnapshot.h"
#include "platform/AppleScript.h"
#include "platform/Application.h"
#include "platform/Dispatch.h"
#include "platform/FileSystem.h"
#include "platform/Presenter.h"
#include "ui/View.h"

namespace parvel {

// The charge limit the user sees, on the helper's grid: 50, 55 ... 100 (0 means the default 80).
int normalizedChargeLimit(int percent);
// What the charge helper is told for a displayed limit: 3 points lower so the displayed
// percentage settles on the limit, never below 50, and 100 stays 100.
int chargeHelperTarget(int displayedPercent);

// Battery care: the charge limiter, Preserve Battery Health, Station mode (adapter only) and
// Charge Full Once, with the battery readings their monitors work from. Changing the charge
// itself needs the privileged charge helper, which works only on Intel MacBooks; elsewhere the
// switches explain that and stay off. Main thread, except the pmset readings.
class BatteryCareController {
  public:
    struct Services {
        SettingsStore& settings;
        const ProcessRunner& runner;
        const platform::FileSystem& files;
        platform::Dispatch& dispatch;
        platform::Presenter& presenter;
        platform::Application& application;
        platform::AppleScript& appleScript;
    };

    static constexpr platform::Duration kCheckInterval = platform::seconds(30);

    explicit BatteryCareController(Services services)
        : services_(services), menuSwitch_(services.presenter, services.dispatch) {}

    // Refreshes the status menu after a change (main thread).
    std::function<void()> updateMenuStates;
    // The status menu's Battery Charge Limit switch, once the menu exists.
    void setSwitch(ui::ViewPtr toggle) { menuSwitch_.attach(std::move(toggle)); }

    // Reads pmset off the main thread; the result arrives on the main queue.
    void readBatterySnapshot(std::function<void(BatterySnapshot)> completion) const;
    void readBatteryStatus(std::function<void(std::string)> completion) const;

    bool applyChargeLimitPrivileged(int percent, bool normalizeAsDisplayedTarget);
    // Each answers whether the control may stay in its new position.
    bool setChargeLimiterEnabled(bool enabled);
    bool setChargeLimitPercent(int percent);
    bool setPreserveBatteryHealthEnabled(bool enabled);
    bool setAdapterOnlyModeEnabled(bool enabled);
    // The status menu's switch was flipped to `requested`.
    void toggleChargeLimiterSwitch(bool requested);
    // The settings window's Charge Full Once button: never starts a cycle on this hardware, only
    // explains and hands the battery's status line to `showStatus` afterwards.
    void requestChargeFullOnce(std::function<void(std::string)> showStatus);

    void refreshPreserveBatteryHealthMonitor();
    void checkPreserveBatteryHealthState();
    void sleepMacForBatteryProtection();

    void resumeChargeFullOnceIfNeeded();
    void startChargeFullOnceMonitor();
    void checkChargeFullOnceState();
    void finishChargeFullOnce();
    void clearChargeFullOnceState();

    void captureBatteryCareBaselineIfNeeded();
    bool restoreBatteryCareBaselineIfNeeded();
    void reapplyBatteryCareModeIfNeeded();

    void showChargeLimiterError(const std::string& text);
    // Stops both monitors' timers (shutdown).
    void invalidateTimers();

    int chargeFullOnceStalledChecks() const { return chargeFullOnceStalledChecks_; }
    bool isPreserveBatterySleepArmed() const { return preserveBatterySleepArmed_; }
    bool isChargeFullOnceMonitorRunning() const { return chargeFullOnceTimer_.isActive(); }
    bool isPreserveBatteryHealthMonitorRunning() const {
        return preserveBatteryHealthTimer_.isActive();
    }

  private:
    template <typename Reading>
    void readBattery(Reading (*interpret)(std::string_view),
                     std::function<void(Reading)> completion) const;
    bool isChargeFullOnceActive() const;
    bool chargeManagedElsewhere() const;
    void showIntelOnlyError();
    void evaluateChargeFullOnce(const BatterySnapshot& snapshot);
    void evaluatePreserveBatteryHealth(const BatterySnapshot& snapshot);
    void refreshMenu();

    Services services_;
    MenuSwitch menuSwitch_;
    platform::Scheduled chargeFullOnceTimer_;
    int chargeFullOnceStalledChecks_ = 0;
    platform::Scheduled preserveBatteryHealthTimer_;
    // Armed only after a reading on power or at 18 % or more (docs/decisions.md).
    bool preserveBatterySleepArmed_ = false;
    Lifetime lifetime_;
};

}  // namespace parvel
