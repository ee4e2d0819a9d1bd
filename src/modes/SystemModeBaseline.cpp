#include "modes/SystemModeBaseline.h"

#include <algorithm>
#include <cmath>

#include "core/SettingsKeys.h"

namespace parvel {

namespace keys = settings_keys;

namespace {

constexpr std::string_view kBaselinePrefix = "systemModeBaseline.";
constexpr std::string_view kDockLargeSize = "largesize";
constexpr std::string_view kDockTileSize = "tilesize";
constexpr std::string_view kDockMagnification = "magnification";
constexpr platform::Duration kDockRestartWait = platform::seconds(0.7);
// The keyboard backlight controller may override a level set right after a mode change.
constexpr platform::Duration kKeyboardReapplyDelays[] = {platform::seconds(0.8),
                                                         platform::seconds(2.0)};
constexpr platform::TimerSpec kBrightnessGuardTimer{.startDelay = platform::seconds(0.7),
                                                    .interval = platform::seconds(2.0),
                                                    .leeway = platform::seconds(0.25)};
// Drift the guard tolerates before it pulls the display back.
constexpr double kBrightnessGuardTolerance = 0.06;

std::string baselineKey(const AnimationDefault& row, std::string_view suffix) {
    return std::string(kBaselinePrefix) + std::string(row.domain) + "." + std::string(row.key) +
           std::string(suffix);
}

}  // namespace

std::string SystemModeBaseline::existsKey(const AnimationDefault& row) {
    return baselineKey(row, ".exists");
}

std::string SystemModeBaseline::valueKey(const AnimationDefault& row) {
    return baselineKey(row, ".value");
}

void SystemModeBaseline::refreshSystemModeBaseline() {
    captureAnimationDefaults();
    captureDock();
    captureBrightness();
    captureLowDataModeBaseline();
    captureLowPowerModeBaseline();
    captureDisplaySleepBaseline();
    captureBluetoothBaseline();
    services_.settings.set(keys::systemModeBaselineCapturedKey, true);
    services_.settings.flush();
}

void SystemModeBaseline::captureAnimationDefaults() {
    for (const auto& row : animationDefaultsInBaseline()) {
        const auto value = services_.actuators.readDefault(row.domain, row.key);
        services_.settings.set(existsKey(row), value.has_value());
        if (value) {
            services_.settings.set(valueKey(row), *value);
        } else {
            services_.settings.remove(valueKey(row));
        }
    }
}

void SystemModeBaseline::captureDock() {
    SettingsStore& settings = services_.settings;
    const auto storeOrRemove = [&settings](std::string_view key, auto value) {
        if (value) {
            settings.set(key, *value);
        } else {
            settings.remove(key);
        }
    };
    storeOrRemove(keys::systemModeBaselineDockMagnificationKey,
                  services_.actuators.readDockBool(kDockMagnification));
    storeOrRemove(keys::systemModeBaselineDockLargeSizeKey,
                  services_.actuators.readDockInt(kDockLargeSize));
    storeOrRemove(keys::systemModeBaselineDockTileSizeKey,
                  services_.actuators.readDockInt(kDockTileSize));
}

// A level that cannot be read keeps the one an earlier capture stored.
void SystemModeBaseline::captureBrightness() {
    if (const auto display = services_.actuators.modeHelperFloat("display-get")) {
        services_.settings.set(keys::systemModeBaselineDisplayBrightnessKey, double(*display));
    }
    if (const auto keyboard = services_.actuators.modeHelperFloat("keyboard-get")) {
        services_.settings.set(keys::systemModeBaselineKeyboardBrightnessKey, double(*keyboard));
    }
}

void SystemModeBaseline::captureLowDataModeBaseline() {
    const auto lowData = services_.lowDataMode.currentLowDataModeState();
    if (lowData) {
        services_.settings.set(keys::systemModeBaselineLowDataModeKey, *lowData);
    } else {
        services_.settings.remove(keys::systemModeBaselineLowDataModeKey);
    }
    services_.settings.set(keys::systemModeBaselineLowDataModeCapturedKey, lowData.has_value());
}

void SystemModeBaseline::captureLowPowerModeBaseline() {
    storePair(services_.actuators.currentLowPowerModeState(),
              keys::systemModeBaselineLowPowerBatteryKey, keys::systemModeBaselineLowPowerACKey,
              keys::systemModeBaselineLowPowerCapturedKey);
}

void SystemModeBaseline::captureDisplaySleepBaseline() {
    storePair(services_.actuators.currentDisplaySleepState(),
              keys::systemModeBaselineDisplaySleepBatteryKey,
              keys::systemModeBaselineDisplaySleepACKey,
              keys::systemModeBaselineDisplaySleepCapturedKey);
}

void SystemModeBaseline::storePair(const std::optional<PowerSourcePair>& pair,
                                   std::string_view batteryKey, std::string_view acKey,
                                   std::string_view capturedKey) {
    if (pair) {
        services_.settings.set(batteryKey, pair->battery);
        services_.settings.set(acKey, pair->ac);
    } else {
        services_.settings.remove(batteryKey);
        services_.settings.remove(acKey);
    }
    services_.settings.set(capturedKey, pair.has_value());
}

void SystemModeBaseline::captureBluetoothBaseline() {
    const auto powered = services_.actuators.bluetoothPowered();
    if (powered) {
        services_.settings.set(keys::systemModeBaselineBluetoothKey, *powered);
    } else {
        services_.settings.remove(keys::systemModeBaselineBluetoothKey);
    }
    services_.settings.set(keys::systemModeBaselineBluetoothCapturedKey, powered.has_value());
}

void SystemModeBaseline::restoreSystemModeBaseline() {
    const SettingsStore& settings = services_.settings;
    if (!settings.boolValue(keys::systemModeBaselineCapturedKey)) {
        applyNormalAnimationState();
        return;
    }
    restoreAnimationDefaults();
    restoreDockMagnificationBaseline();
    if (settings.boolValue(keys::systemModeBaselineLowDataModeCapturedKey)) {
        services_.lowDataMode.setLowDataModeForCurrentNetwork(
            settings.boolValue(keys::systemModeBaselineLowDataModeKey), true);
    }
    restoreLowPowerModeBaseline();
    restoreDisplaySleepBaseline();
    if (settings.boolValue(keys::systemModeBaselineBluetoothCapturedKey)) {
        services_.actuators.setBluetoothPower(
            settings.boolValue(keys::systemModeBaselineBluetoothKey));
    }
    restoreBrightness();
}

// An animation default that was absent is deleted, so that the system's own default returns.
void SystemModeBaseline::restoreAnimationDefaults() {
    for (const auto& row : animationDefaultsInBaseline()) {
        const auto value = services_.settings.object(valueKey(row));
        auto text = value ? value->asString() : std::nullopt;
        if (!services_.settings.boolValue(existsKey(row))) {
            text.reset();
        }
        services_.actuators.runDefaults(row.command(text));
    }
}

// Sizes and magnification are written, the Dock restarted, and the two that the Dock is known
// to drop on a restart are checked and written again.
void SystemModeBaseline::restoreDockMagnificationBaseline() {
    SystemSettingActuators& actuators = services_.actuators;
    const auto storedInt = [this](std::string_view key) -> std::optional<std::int64_t> {
        const auto value = services_.settings.object(key);
        return value ? value->asInteger() : std::nullopt;
    };
    const auto tileSize = storedInt(keys::systemModeBaselineDockTileSizeKey);
    const auto largeSize = storedInt(keys::systemModeBaselineDockLargeSizeKey);
    const auto magnificationValue =
        services_.settings.object(keys::systemModeBaselineDockMagnificationKey);
    const auto magnification = magnificationValue ? magnificationValue->asBool() : std::nullopt;

    const auto writeInt = [&actuators](std::string_view key, std::int64_t value) {
        actuators.runDefaults({"write", std::string(SystemSettingActuators::kDockDomain),
                               std::string(key), "-int", std::to_string(value)});
    };
    const auto writeMagnification = [&actuators](bool on) {
        actuators.runDefaults({"write", std::string(SystemSettingActuators::kDockDomain),
                               std::string(kDockMagnification), "-bool", on ? "true" : "false"});
    };
    if (tileSize) {
        writeInt(kDockTileSize, *tileSize);
    }
    if (largeSize) {
        writeInt(kDockLargeSize, *largeSize);
    }
    if (magnification) {
        writeMagnification(*magnification);
    }
    actuators.relaunchDock();
    services_.dispatch.sleep(kDockRestartWait);

    if (largeSize && actuators.readDockInt(kDockLargeSize) != std::optional<int>(*largeSize)) {
        writeInt(kDockLargeSize, *largeSize);
    }
    if (magnification) {
        if (actuators.readDockBool(kDockMagnification) == magnification) {
            actuators.relaunchDock();
            return;
        }
        writeMagnification(*magnification);
    }
    actuators.relaunchDock();
}

void SystemModeBaseline::restoreLowPowerModeBaseline() {
    const SettingsStore& settings = services_.settings;
    if (settings.boolValue(keys::systemModeBaselineLowPowerCapturedKey)) {
        services_.actuators.setLowPowerMode(
            int(settings.integer(keys::systemModeBaselineLowPowerBatteryKey)),
            int(settings.integer(keys::systemModeBaselineLowPowerACKey)), true);
    }
}

void SystemModeBaseline::restoreDisplaySleepBaseline() {
    const SettingsStore& settings = services_.settings;
    if (settings.boolValue(keys::systemModeBaselineDisplaySleepCapturedKey)) {
        services_.actuators.setDisplaySleep(
            int(settings.integer(keys::systemModeBaselineDisplaySleepBatteryKey)),
            int(settings.integer(keys::systemModeBaselineDisplaySleepACKey)));
    }
}

// Brightness comes last and only while Normal still holds: a newer mode sets its own levels.
void SystemModeBaseline::restoreBrightness() {
    const auto storedLevel = [this](std::string_view key) -> std::optional<double> {
        const auto value = services_.settings.object(key);
        return value ? value->asNumber() : std::nullopt;
    };
    const auto display = storedLevel(keys::systemModeBaselineDisplayBrightnessKey);
    const auto keyboard = storedLevel(keys::systemModeBaselineKeyboardBrightnessKey);
    if (services_.settings.systemMode() != SystemMode::normal) {
        return;
    }
    if (display) {
        services_.actuators.setDisplayBrightness(*display);
    }
    if (keyboard) {
        services_.actuators.setKeyboardBrightness(*keyboard);
        reapplyKeyboardLevelLater(*keyboard);
    }
}

void SystemModeBaseline::reapplyKeyboardLevelLater(double level) {
    for (const auto delay : kKeyboardReapplyDelays) {
        services_.dispatch.main().asyncAfter(delay, lifetime_.guard([this, level] {
            if (services_.settings.systemMode() == SystemMode::normal) {
                services_.actuators.setKeyboardBrightness(level);
            }
        }));
    }
}

void SystemModeBaseline::applyNormalAnimationState() {
    for (const auto& row : animationDefaultsInBaseline()) {
        services_.actuators.runDefaults(row.command(row.normalValue));
    }
}

void SystemModeBaseline::startBatterySaverBrightnessGuard(double target) {
    stopBatterySaverBrightnessGuard();
    target = std::clamp(target, 0.0, 1.0);
    auto timer = services_.systemModeQueue.scheduleRepeating(
        kBrightnessGuardTimer, lifetime_.guard([this, target] { guardTick(target); }));
    const std::scoped_lock lock(guardMutex_);
    brightnessGuardTimer_ = std::move(timer);
}

void SystemModeBaseline::stopBatterySaverBrightnessGuard() {
    platform::Scheduled stopped;
    {
        const std::scoped_lock lock(guardMutex_);
        stopped = std::move(brightnessGuardTimer_);
    }
    stopped.cancel();
}

bool SystemModeBaseline::isBrightnessGuardRunning() const {
    const std::scoped_lock lock(guardMutex_);
    return brightnessGuardTimer_.isActive();
}

void SystemModeBaseline::guardTick(double target) {
    if (services_.settings.systemMode() != SystemMode::batterySaver) {
        stopBatterySaverBrightnessGuard();
        return;
    }
    const auto reading = services_.actuators.modeHelperFloat("display-get");
    if (!reading || std::fabs(*reading - target) > kBrightnessGuardTolerance) {
        services_.actuators.setDisplayBrightness(target);
    }
}

}  // namespace parvel
