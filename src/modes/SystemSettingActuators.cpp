#include "modes/SystemSettingActuators.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "base/Text.h"
#include "core/InstalledHelper.h"
#include "platform/KeyCodes.h"
#include "platform/Time.h"

namespace parvel {

namespace special_key = platform::special_key;

namespace {

constexpr std::string_view kModeHelperResource = "ParvelMacModeHelper";
constexpr std::string_view kPmset = "/usr/bin/pmset";

// The helper and the key simulation both work on the 16 steps of the brightness keys.
constexpr int kLevelSteps = 16;

// A keyboard level read back further than this from the one set did not take.
constexpr double kKeyboardTolerance = 0.08;
constexpr double kBluetoothOnThreshold = 0.5;
constexpr platform::Duration kBluetoothRetryDelay = platform::seconds(0.35);
constexpr int kMaximumDisplaySleepMinutes = 180;
constexpr platform::Duration kMenuRefreshDelay = platform::seconds(0.25);

constexpr std::string_view kBluetoothAlertTitle = "Bluetooth Access Required";
constexpr std::string_view kBluetoothAlertText =
    "ParvelMac could not change Bluetooth power. In System Settings > Privacy & Security > "
    "Bluetooth, allow Bluetooth access for ParvelMac, then try the mode again.";
constexpr std::string_view kLowPowerTitle = "Low Power Mode";
constexpr std::string_view kPowerHelperMissing =
    "The installed power helper is missing. Run Full Reset Build Install once to install it.";
constexpr std::string_view kLowPowerFailed = "Low Power Mode could not be changed.";
// Low Power Mode trusts the helper's exit status; display sleep also wants its marker.
constexpr HelperCommand kLowPowerCommand{installedPowerHelperPath, kExitStatusOnly,
                                         kPowerHelperMissing, kLowPowerFailed};
constexpr HelperCommand kDisplaySleepCommand{installedPowerHelperPath, kHelperSuccessMarker};
constexpr std::string_view kAppearanceTitle = "System Appearance";
constexpr std::string_view kAppearanceFailed = "macOS would not change the system appearance.";
constexpr std::string_view kDarkModeScript =
    "tell application \"System Events\" to tell appearance preferences to set dark mode to ";

std::string levelArgument(double level) {
    return fmt::format("{:.3f}", level);
}

std::string digit(bool on) {
    return on ? "1" : "0";
}

std::optional<int> parseWholeNumber(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

template <typename Real>
std::optional<Real> parseReal(std::string_view text) {
    Real value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// Walks the "Battery Power:" and "AC Power:" sections for one setting; lines before the first
// section header do not count.
std::optional<PowerSourcePair> parsePowerSetting(std::string_view output, std::string_view name,
                                                 bool (*accepts)(int)) {
    enum class Section { none, battery, ac };
    Section section = Section::none;
    std::optional<int> battery;
    std::optional<int> ac;
    for (const auto rawLine : nonEmptyLines(output)) {
        const std::string line = asciiLowercased(trimmedWhitespace(rawLine));
        if (line.starts_with("battery power")) {
            section = Section::battery;
        } else if (line.starts_with("ac power")) {
            section = Section::ac;
        } else if (section != Section::none && line.starts_with(name)) {
            const auto lastToken = line.find_last_of(" \t");
            const auto value = parseWholeNumber(
                std::string_view(line).substr(lastToken == std::string::npos ? 0 : lastToken + 1));
            if (value && accepts(*value)) {
                (section == Section::battery ? battery : ac) = *value;
            }
        }
    }
    if (!battery || !ac) {
        return std::nullopt;
    }
    return PowerSourcePair{*battery, *ac};
}

}  // namespace

std::optional<PowerSourcePair> parseLowPowerModeState(std::string_view pmsetCustom) {
    return parsePowerSetting(pmsetCustom, "lowpowermode",
                             [](int value) { return value == 0 || value == 1; });
}

std::optional<PowerSourcePair> parseDisplaySleepState(std::string_view pmsetCustom) {
    return parsePowerSetting(pmsetCustom, "displaysleep", [](int value) { return value >= 0; });
}

std::optional<bool> parseDefaultsBool(std::string_view text) {
    const std::string lowered = asciiLowercased(text);
    if (lowered == "true" || lowered == "yes" || lowered == "1") {
        return true;
    }
    if (lowered == "false" || lowered == "no" || lowered == "0") {
        return false;
    }
    return std::nullopt;
}

std::optional<int> parseDefaultsInt(std::string_view text) {
    if (const auto whole = parseWholeNumber(text)) {
        return whole;
    }
    const auto real = parseReal<double>(text);
    if (!real || !std::isfinite(*real) ||
        std::fabs(*real) > double(std::numeric_limits<int>::max())) {
        return std::nullopt;
    }
    return int(std::lround(*real));
}

std::optional<std::string> SystemSettingActuators::modeHelperPath() const {
    return services_.bundle.resourcePath(kModeHelperResource, "");
}

std::optional<float> SystemSettingActuators::modeHelperFloat(std::string_view command) const {
    const auto helper = modeHelperPath();
    if (!helper) {
        return std::nullopt;
    }
    const auto result = services_.runner.standardOutput(*helper, {std::string(command)});
    if (result.status != 0) {
        return std::nullopt;
    }
    return parseReal<float>(trimmedWhitespace(result.text));
}

std::optional<bool> SystemSettingActuators::bluetoothPowered() const {
    const auto reading = modeHelperFloat("bluetooth-get");
    if (!reading) {
        return std::nullopt;
    }
    return *reading >= kBluetoothOnThreshold;
}

bool SystemSettingActuators::runModeHelper(const ProcessRunner::Arguments& arguments) const {
    const auto helper = modeHelperPath();
    return helper && services_.runner.runProcess(*helper, arguments) == 0;
}

std::optional<std::string> SystemSettingActuators::readDefault(std::string_view domain,
                                                               std::string_view key) const {
    const auto result = services_.runner.standardOutput(
        kDefaultsTool, {"read", std::string(domain), std::string(key)});
    const auto value = trimmedWhitespace(result.text);
    if (result.status != 0 || value.empty()) {
        return std::nullopt;
    }
    return std::string(value);
}

std::optional<bool> SystemSettingActuators::readDockBool(std::string_view key) const {
    const auto value = readDefault(kDockDomain, key);
    return value ? parseDefaultsBool(*value) : std::nullopt;
}

std::optional<int> SystemSettingActuators::readDockInt(std::string_view key) const {
    const auto value = readDefault(kDockDomain, key);
    return value ? parseDefaultsInt(*value) : std::nullopt;
}

void SystemSettingActuators::writeGlobalDefault(std::string_view key, std::string_view type,
                                                std::string_view value) {
    runDefaults(
        {"write", "NSGlobalDomain", std::string(key), std::string(type), std::string(value)});
}

void SystemSettingActuators::runDefaults(const ProcessRunner::Arguments& arguments) {
    services_.runner.runProcess(kDefaultsTool, arguments);
}

void SystemSettingActuators::relaunchDock() {
    services_.runner.runProcess("/usr/bin/killall", {"Dock"});
}

void SystemSettingActuators::setDisplayBrightness(double level) {
    level = std::clamp(level, 0.0, 1.0);
    if (!runModeHelper({"display-set", levelArgument(level)})) {
        simulateLevelKeys(special_key::kBrightnessDown, special_key::kBrightnessUp, level);
    }
}

void SystemSettingActuators::setKeyboardBrightness(double level) {
    level = std::clamp(level, 0.0, 1.0);
    if (runModeHelper({"keyboard-set", levelArgument(level)})) {
        // The backlight controller may refuse a level; only a read-back proves it took.
        if (const auto reading = modeHelperFloat("keyboard-get");
            reading && std::fabs(*reading - level) <= kKeyboardTolerance) {
            return;
        }
    }
    simulateLevelKeys(special_key::kIlluminationDown, special_key::kIlluminationUp, level);
}

void SystemSettingActuators::simulateLevelKeys(std::int64_t downKey, std::int64_t upKey,
                                               double level) {
    const int upPresses = int(std::lround(level * kLevelSteps));
    services_.dispatch.main().async(lifetime_.guard([this, downKey, upKey, upPresses] {
        const auto press = [this](std::int64_t keyCode) {
            for (const auto state : {special_key::kDownState, special_key::kUpState}) {
                platform::Event event;
                event.type = platform::EventType::SystemDefined;
                event.subtype = special_key::kEventSubtype;
                event.timestamp = std::uint64_t(services_.dispatch.uptime().count());
                event.data1 = special_key::data1(keyCode, state);
                event.data2 = -1;
                services_.events.post(event, platform::EventSource::None);
            }
        };
        for (int index = 0; index < kLevelSteps; ++index) {
            press(downKey);
        }
        for (int index = 0; index < upPresses; ++index) {
            press(upKey);
        }
    }));
}

bool SystemSettingActuators::setBluetoothPower(bool on) {
    const auto matches = [this, on] { return bluetoothPowered() == on; };
    if (matches()) {
        return true;
    }
    const auto attempt = [&] { return runModeHelper({"bluetooth-set", digit(on)}) && matches(); };
    if (attempt()) {
        return true;
    }
    services_.dispatch.sleep(kBluetoothRetryDelay);
    if (attempt()) {
        return true;
    }
    showAlert(std::string(kBluetoothAlertTitle), std::string(kBluetoothAlertText));
    return false;
}

std::optional<std::string> SystemSettingActuators::pmsetCustom() const {
    const auto result = services_.runner.standardOutput(kPmset, {"-g", "custom"});
    if (result.status != 0) {
        return std::nullopt;
    }
    return result.text;
}

std::optional<PowerSourcePair> SystemSettingActuators::currentLowPowerModeState() const {
    const auto output = pmsetCustom();
    return output ? parseLowPowerModeState(*output) : std::nullopt;
}

std::optional<PowerSourcePair> SystemSettingActuators::currentDisplaySleepState() const {
    const auto output = pmsetCustom();
    return output ? parseDisplaySleepState(*output) : std::nullopt;
}

bool SystemSettingActuators::setLowPowerMode(int battery, int ac, bool showError) {
    const PowerSourcePair wanted{battery != 0 ? 1 : 0, ac != 0 ? 1 : 0};
    if (currentLowPowerModeState() == wanted) {
        return true;
    }
    const auto ran = runHelper(services_.runner, services_.files, kLowPowerCommand,
                               {"lowpower", digit(wanted.battery != 0), digit(wanted.ac != 0)});
    if (!ran && showError) {
        showAlert(std::string(kLowPowerTitle), ran.error().description);
    }
    return ran.has_value();
}

bool SystemSettingActuators::setDisplaySleep(int battery, int ac) {
    const PowerSourcePair wanted{std::clamp(battery, 0, kMaximumDisplaySleepMinutes),
                                 std::clamp(ac, 0, kMaximumDisplaySleepMinutes)};
    if (currentDisplaySleepState() == wanted) {
        return true;
    }
    return runHelper(services_.runner, services_.files, kDisplaySleepCommand,
                     {"displaysleep", std::to_string(wanted.battery), std::to_string(wanted.ac)})
        .has_value();
}

bool SystemSettingActuators::currentSystemAppearanceIsDark() const {
    return services_.presenter.isDarkAppearance();
}

void SystemSettingActuators::toggleSystemDarkMode(const ui::ViewPtr& toggle,
                                                  std::function<void()> refreshMenu) {
    const bool wanted = toggle->isOn;
    const auto ran =
        services_.appleScript.run(std::string(kDarkModeScript) + (wanted ? "true" : "false"));
    if (!ran) {
        toggle->isOn = !wanted;
        showAlert(std::string(kAppearanceTitle), ran.error().message.empty()
                                                     ? std::string(kAppearanceFailed)
                                                     : ran.error().message);
        return;
    }
    services_.dispatch.main().asyncAfter(kMenuRefreshDelay, std::move(refreshMenu));
}

void SystemSettingActuators::showAlert(std::string title, std::string text) {
    services_.dispatch.main().async(
        lifetime_.guard([this, title = std::move(title), text = std::move(text)] {
            services_.application.activate(true);
            services_.presenter.runModal({ui::AlertStyle::Warning, title, text, {{"OK"}}, nullptr});
        }));
}

}  // namespace parvel
