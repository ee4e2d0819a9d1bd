#include "modes/BatteryCareController.h"

#include <algorithm>
#include <cmath>

#include "core/InstalledHelper.h"
#include "core/InstalledHelperPaths.h"
#include "core/SettingsKeys.h"

namespace parvel {

namespace keys = settings_keys;
using platform::QualityOfService;

namespace {

constexpr std::string_view kPmset = "/usr/bin/pmset";
constexpr std::string_view kSleepScript = "tell application \"System Events\" to sleep";
constexpr std::string_view kAlertTitle = "Battery Charge Limit";
constexpr std::string_view kIntelOnly =
    "Battery Charge Limit is currently available only on Intel MacBooks.";
constexpr std::string_view kHelperMissing =
    "The installed charge-limit helper is missing. Run Full Reset Build Install once to install "
    "it.";
constexpr HelperCommand kChargeHelper{installedChargeHelperPath, kHelperSuccessMarker,
                                      kHelperMissing};

constexpr int kDefaultChargeLimit = 80;
constexpr int kLowestChargeLimit = 50;
constexpr int kFullCharge = 100;
constexpr int kChargeLimitStep = 5;
constexpr int kHelperHeadroom = 3;

constexpr platform::TimerSpec kCheckTimer{.startDelay = BatteryCareController::kCheckInterval,
                                          .interval = BatteryCareController::kCheckInterval,
                                          .commonModes = true};

// Preserve Battery Health: sleep at this level or below, re-arm at the upper one or on power.
constexpr int kSleepAtOrBelowPercent = 15;
constexpr int kRearmAtPercent = 18;
// Charge Full Once ends after a day, or after about ten minutes stalled near full.
constexpr double kChargeFullOnceMaximumSeconds = 86400;
constexpr int kStalledPercent = 95;
constexpr int kStalledChecksToFinish = 20;

}  // namespace

int normalizedChargeLimit(int percent) {
    int limit = std::min(percent, kFullCharge);
    if (percent == 0) {
        limit = kDefaultChargeLimit;
    } else if (percent < kLowestChargeLimit) {
        limit = kLowestChargeLimit;
    }
    return int(std::lround(double(limit) / kChargeLimitStep)) * kChargeLimitStep;
}

int chargeHelperTarget(int displayedPercent) {
    const int limit = normalizedChargeLimit(displayedPercent);
    return limit == kFullCharge ? kFullCharge
                                : std::max(limit - kHelperHeadroom, kLowestChargeLimit);
}

// pmset runs on a global queue with a copy of the runner, so the reading needs nothing of this
// controller; only the result comes back, on the main queue.
template <typename Reading>
void BatteryCareController::readBattery(Reading (*interpret)(std::string_view),
                                        std::function<void(Reading)> completion) const {
    platform::Dispatch& dispatch = services_.dispatch;
    dispatch.global(QualityOfService::Utility)
        .async(
            [runner = services_.runner, &dispatch, interpret, completion = std::move(completion)] {
                Reading reading = interpret(runner.standardOutput(kPmset, {"-g", "batt"}).text);
                dispatch.main().async(
                    [completion, reading = std::move(reading)] { completion(reading); });
            });
}

void BatteryCareController::readBatterySnapshot(
    std::function<void(BatterySnapshot)> completion) const {
    readBattery(&parseBatterySnapshot, std::move(completion));
}

void BatteryCareController::readBatteryStatus(std::function<void(std::string)> completion) const {
    readBattery(&batteryStatusLine, std::move(completion));
}

// Only a missing helper is explained; a refusal is left to the caller.
bool BatteryCareController::applyChargeLimitPrivileged(int percent,
                                                       bool normalizeAsDisplayedTarget) {
    const int target = normalizeAsDisplayedTarget
                           ? chargeHelperTarget(percent)
                           : std::clamp(percent, kLowestChargeLimit, kFullCharge);
    const auto ran = runHelper(services_.runner, services_.files, kChargeHelper,
                               {"set", std::to_string(target)});
    if (!ran && isHelperMissing(ran.error())) {
        services_.dispatch.main().async(lifetime_.guard(
            [this, text = ran.error().description] { showChargeLimiterError(text); }));
    }
    return ran.has_value();
}

bool BatteryCareController::chargeManagedElsewhere() const {
    return services_.settings.boolValue(keys::preserveBatteryHealthEnabledKey) ||
           services_.settings.boolValue(keys::adapterOnlyModeEnabledKey);
}

bool BatteryCareController::setChargeLimiterEnabled(bool) {
    if (!chargeManagedElsewhere()) {
        showIntelOnlyError();
    }
    return false;
}

bool BatteryCareController::setChargeLimitPercent(int percent) {
    if (chargeManagedElsewhere()) {
        return false;
    }
    if (services_.settings.boolValue(keys::chargeLimiterEnabledKey) && !isChargeFullOnceActive()) {
        showIntelOnlyError();
        return false;
    }
    services_.settings.set(keys::chargeLimiterPercentKey, normalizedChargeLimit(percent));
    refreshMenu();
    return true;
}

bool BatteryCareController::setPreserveBatteryHealthEnabled(bool enabled) {
    SettingsStore& settings = services_.settings;
    if (enabled) {
        if (!settings.boolValue(keys::adapterOnlyModeEnabledKey)) {
            captureBatteryCareBaselineIfNeeded();
        }
        showIntelOnlyError();
        return false;
    }
    settings.set(keys::preserveBatteryHealthEnabledKey, false);
    refreshPreserveBatteryHealthMonitor();
    if (settings.boolValue(keys::adapterOnlyModeEnabledKey) ||
        restoreBatteryCareBaselineIfNeeded()) {
        return true;
    }
    settings.set(keys::preserveBatteryHealthEnabledKey, true);
    showIntelOnlyError();
    refreshPreserveBatteryHealthMonitor();
    return false;
}

bool BatteryCareController::setAdapterOnlyModeEnabled(bool enabled) {
    SettingsStore& settings = services_.settings;
    if (enabled) {
        if (!settings.boolValue(keys::preserveBatteryHealthEnabledKey)) {
            captureBatteryCareBaselineIfNeeded();
        }
        showIntelOnlyError();
        return false;
    }
    settings.set(keys::adapterOnlyModeEnabledKey, false);
    if (settings.boolValue(keys::preserveBatteryHealthEnabledKey) ||
        restoreBatteryCareBaselineIfNeeded()) {
        return true;
    }
    settings.set(keys::adapterOnlyModeEnabledKey, true);
    showIntelOnlyError();
    return false;
}

void BatteryCareController::toggleChargeLimiterSwitch(bool requested) {
    menuSwitch_.change(
        requested, [this, requested] { return setChargeLimiterEnabled(requested); },
        [this] { refreshMenu(); });
}

void BatteryCareController::requestChargeFullOnce(std::function<void(std::string)> showStatus) {
    showIntelOnlyError();
    readBatteryStatus(std::move(showStatus));
}

void BatteryCareController::refreshPreserveBatteryHealthMonitor() {
    services_.dispatch.main().async(lifetime_.guard([this] {
        preserveBatteryHealthTimer_.cancel();
        if (!services_.settings.boolValue(keys::preserveBatteryHealthEnabledKey)) {
            return;
        }
        checkPreserveBatteryHealthState();
        preserveBatteryHealthTimer_ = services_.dispatch.main().scheduleRepeating(
            kCheckTimer, lifetime_.guard([this] { checkPreserveBatteryHealthState(); }));
    }));
}

void BatteryCareController::checkPreserveBatteryHealthState() {
    if (!services_.settings.boolValue(keys::preserveBatteryHealthEnabledKey)) {
        return;
    }
    readBatterySnapshot(lifetime_.guard(
        [this](const BatterySnapshot& snapshot) { evaluatePreserveBatteryHealth(snapshot); }));
}

// The Mac sleeps once per discharge: after it was seen on power or at 18 % or more, the first
// reading between 1 and 15 % puts it to sleep; 16 and 17 % change nothing, 0 % is unknown.
void BatteryCareController::evaluatePreserveBatteryHealth(const BatterySnapshot& snapshot) {
    if (!services_.settings.boolValue(keys::preserveBatteryHealthEnabledKey)) {
        return;
    }
    if (snapshot.onExternalPower || snapshot.percentage >= kRearmAtPercent) {
        preserveBatterySleepArmed_ = true;
    } else if (snapshot.percentage >= 1 && snapshot.percentage <= kSleepAtOrBelowPercent &&
               preserveBatterySleepArmed_) {
        preserveBatterySleepArmed_ = false;
        sleepMacForBatteryProtection();
    }
}

void BatteryCareController::sleepMacForBatteryProtection() {
    if (!services_.runner.launchDetached(kPmset, {"sleepnow"})) {
        // The last way there is: if it fails too, the check stays disarmed until the next charge.
        (void)services_.appleScript.run(kSleepScript);
    }
}

bool BatteryCareController::isChargeFullOnceActive() const {
    return services_.settings.boolValue(keys::chargeFullOnceActiveKey);
}

void BatteryCareController::resumeChargeFullOnceIfNeeded() {
    if (!isChargeFullOnceActive()) {
        return;
    }
    if (!services_.settings.boolValue(keys::chargeLimiterEnabledKey)) {
        clearChargeFullOnceState();
        return;
    }
    services_.dispatch.main().async(lifetime_.guard([this] { startChargeFullOnceMonitor(); }));
}

void BatteryCareController::startChargeFullOnceMonitor() {
    chargeFullOnceTimer_.cancel();
    checkChargeFullOnceState();
    chargeFullOnceTimer_ = services_.dispatch.main().scheduleRepeating(
        kCheckTimer, lifetime_.guard([this] { checkChargeFullOnceState(); }));
}

void BatteryCareController::checkChargeFullOnceState() {
    if (!isChargeFullOnceActive()) {
        chargeFullOnceTimer_.cancel();
        return;
    }
    const double startedAt = services_.settings.doubleValue(keys::chargeFullOnceStartedAtKey);
    const double now =
        std::chrono::duration<double>(services_.dispatch.now().time_since_epoch()).count();
    if (startedAt > 0 && now - startedAt >= kChargeFullOnceMaximumSeconds) {
        finishChargeFullOnce();
        return;
    }
    readBatterySnapshot(lifetime_.guard(
        [this](const BatterySnapshot& snapshot) { evaluateChargeFullOnce(snapshot); }));
}

void BatteryCareController::evaluateChargeFullOnce(const BatterySnapshot& snapshot) {
    if (!isChargeFullOnceActive()) {
        return;
    }
    if (!snapshot.onExternalPower || snapshot.isFullyCharged ||
        snapshot.percentage >= kFullCharge) {
        finishChargeFullOnce();
        return;
    }
    if (snapshot.percentage >= kStalledPercent && snapshot.isNotCharging) {
        if (++chargeFullOnceStalledChecks_ >= kStalledChecksToFinish) {
            finishChargeFullOnce();
        }
    } else {
        chargeFullOnceStalledChecks_ = 0;
    }
}

// A limit the helper could not put back leaves the cycle running; the next check tries again.
void BatteryCareController::finishChargeFullOnce() {
    if (!isChargeFullOnceActive()) {
        return;
    }
    if (services_.settings.boolValue(keys::chargeLimiterEnabledKey)) {
        const int target =
            chargeHelperTarget(int(services_.settings.integer(keys::chargeLimiterPercentKey)));
        if (!applyChargeLimitPrivileged(target, false)) {
            return;
        }
    }
    clearChargeFullOnceState();
    refreshMenu();
}

void BatteryCareController::clearChargeFullOnceState() {
    services_.settings.set(keys::chargeFullOnceActiveKey, false);
    services_.settings.remove(keys::chargeFullOnceStartedAtKey);
    chargeFullOnceStalledChecks_ = 0;
    services_.dispatch.main().async(lifetime_.guard([this] { chargeFullOnceTimer_.cancel(); }));
}

void BatteryCareController::captureBatteryCareBaselineIfNeeded() {
    SettingsStore& settings = services_.settings;
    if (settings.boolValue(keys::batteryCareBaselineCapturedKey)) {
        return;
    }
    settings.set(keys::batteryCareBaselineLimiterEnabledKey,
                 settings.boolValue(keys::chargeLimiterEnabledKey));
    settings.set(keys::batteryCareBaselineLimitPercentKey,
                 normalizedChargeLimit(int(settings.integer(keys::chargeLimiterPercentKey))));
    settings.set(keys::batteryCareBaselineCapturedKey, true);
}

// A stored baseline cannot be applied on this hardware, so it reports failure and stays.
bool BatteryCareController::restoreBatteryCareBaselineIfNeeded() {
    return !services_.settings.boolValue(keys::batteryCareBaselineCapturedKey);
}

// Without a charge helper that works on this hardware, Preserve Battery Health and Station mode
// have nothing to re-apply at launch; start-up still calls this at its place in the order.
void BatteryCareController::reapplyBatteryCareModeIfNeeded() {}

void BatteryCareController::showIntelOnlyError() {
    showChargeLimiterError(std::string(kIntelOnly));
}

void BatteryCareController::showChargeLimiterError(const std::string& text) {
    services_.application.activate(true);
    services_.presenter.runModal(
        {ui::AlertStyle::Informational, std::string(kAlertTitle), text, {{"OK"}}, nullptr});
}

void BatteryCareController::invalidateTimers() {
    chargeFullOnceTimer_.cancel();
    preserveBatteryHealthTimer_.cancel();
}

void BatteryCareController::refreshMenu() {
    if (updateMenuStates) {
        updateMenuStates();
    }
}

}  // namespace parvel
