#include <cmath>
#include <functional>
#include <map>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Words.h"
#include "platform/Workspace.h"
#include "platform/sim/ProgramBundle.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"
#include "platform/sim/tools/SystemTools.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Hardware.h"
#include "platform/sim/world/Permissions.h"
#include "platform/sim/world/Power.h"

namespace parvel::scenario {

using sim::BatteryStatus;
using sim::Hardware;
using sim::PerSource;
using sim::PowerSource;

namespace {

// How close an expected level must be to the one the Mac has.
constexpr double kLevelTolerance = 0.001;
constexpr std::uint32_t kNotExecutableMode = 0644;

// A brightness or backlight level: a number from 0 to 1.
[[nodiscard]] std::expected<double, std::string> parseLevel(std::string_view text) {
    const auto level = parseNumber(text);
    if (!level || *level < 0 || *level > 1) {
        return failed(fmt::format("'{}' is not a level from 0 to 1", text));
    }
    return *level;
}

// "85%".
[[nodiscard]] std::expected<int, std::string> parsePercent(std::string_view text) {
    const auto fail = [text] {
        return failed(fmt::format("'{}' is not a percentage such as 85%", text));
    };
    if (!text.ends_with('%')) {
        return fail();
    }
    const auto number = parseInteger(text.substr(0, text.size() - 1));
    if (!number || *number < 0 || *number > sim::Power::kFullCharge) {
        return fail();
    }
    return static_cast<int>(*number);
}

[[nodiscard]] std::expected<int, std::string> parseMinutes(std::string_view text) {
    const auto minutes = parseInteger(text);
    if (!minutes || *minutes < 0) {
        return failed(fmt::format("'{}' is not a whole number of minutes", text));
    }
    return static_cast<int>(*minutes);
}

[[nodiscard]] std::expected<int, std::string> parseDigit(std::string_view text) {
    if (text != "0" && text != "1") {
        return failed(fmt::format("'{}' is not 0 or 1", text));
    }
    return text == "1" ? 1 : 0;
}

// A setting's two values, on battery then on AC.
[[nodiscard]] std::expected<PerSource, std::string> parsePerSource(
    const Arguments& arguments, std::expected<int, std::string> (*parseValue)(std::string_view)) {
    SCENARIO_CHECK(arguments.requireCount(2, 2));
    const auto battery = parseValue(arguments[0]);
    SCENARIO_CHECK(battery);
    const auto adapter = parseValue(arguments[1]);
    SCENARIO_CHECK(adapter);
    return PerSource{*battery, *adapter};
}

// A word that takes one of two words ("NAME on|off"); `act` gets true for the first.
Word choiceWord(std::vector<std::string> name, std::string_view yes, std::string_view no,
                std::string help, std::function<Outcome(Context&, bool)> act) {
    std::string usage = fmt::format("{} {}|{}", fmt::join(name, " "), yes, no);
    return {std::move(name), std::move(usage), std::move(help),
            [yes = std::string(yes), no = std::string(no),
             act](const Arguments& arguments) -> std::expected<Step, std::string> {
                SCENARIO_CHECK(arguments.requireCount(1, 1));
                if (arguments[0] != yes && arguments[0] != no) {
                    return failed(fmt::format("takes {} or {}", yes, no));
                }
                return compiledStep([act, chosen = arguments[0] == yes](Context& context) {
                    return act(context, chosen);
                });
            }};
}

std::string describe(const PerSource& values) {
    return fmt::format("battery {}, AC {}", values.battery, values.adapter);
}

// A level the user sets and its expectation: the display's brightness, the keyboard's backlight.
struct LevelWords {
    std::vector<std::string> name;
    const char* what;
    double (Hardware::*read)() const;
    void (Hardware::*write)(double);
};

const LevelWords kLevels[] = {
    {{"display", "brightness"},
     "the display's brightness",
     &Hardware::displayBrightness,
     &Hardware::setDisplayBrightness},
    {{"keyboard", "backlight"},
     "the keyboard's backlight",
     &Hardware::keyboardBacklight,
     &Hardware::setKeyboardBacklight},
};

std::string joined(const std::vector<std::string>& name) {
    return fmt::format("{}", fmt::join(name, " "));
}

void addBatteryWords(Vocabulary& vocabulary) {
    vocabulary.add(
        {{"battery"},
         "battery PERCENT% on-battery|on-adapter|on-ups [charging|not-charging|charged]",
         "the battery's charge, where the power comes from and, on external power, whether the "
         "battery charges (by default it charges below 100%)",
         [](const Arguments& arguments) -> std::expected<Step, std::string> {
             SCENARIO_CHECK(arguments.requireCount(2, 3));
             const auto percent = parsePercent(arguments[0]);
             SCENARIO_CHECK(percent);
             const std::map<std::string, PowerSource> sources = {
                 {"on-battery", PowerSource::Battery},
                 {"on-adapter", PowerSource::Adapter},
                 {"on-ups", PowerSource::Ups}};
             const auto source = sources.find(arguments[1]);
             if (source == sources.end()) {
                 return failed("the source is on-battery, on-adapter or on-ups");
             }
             std::optional<BatteryStatus> status;
             if (arguments.size() == 3) {
                 const std::map<std::string, BatteryStatus> states = {
                     {"charging", BatteryStatus::Charging},
                     {"not-charging", BatteryStatus::NotCharging},
                     {"charged", BatteryStatus::Charged}};
                 const auto state = states.find(arguments[2]);
                 if (state == states.end()) {
                     return failed("the state is charging, not-charging or charged");
                 }
                 if (source->second == PowerSource::Battery) {
                     return failed("a battery that powers the Mac discharges");
                 }
                 status = state->second;
             }
             return compiledStep([percent = *percent, source = source->second,
                                  status](Context& context) -> Outcome {
                 context.mac.power().setBattery(percent, source, status);
                 return {};
             });
         }});
    vocabulary.add(choiceWord({"charge", "control"}, "supported", "unsupported",
                              "whether the Mac lets the charge helper limit the charge (this "
                              "Apple-silicon Mac does not, at first)",
                              [](Context& context, bool supported) {
                                  context.mac.power().setChargeControlSupported(supported);
                                  return Outcome{};
                              }));
}

void addHardwareWords(Vocabulary& vocabulary) {
    for (const auto& level : kLevels) {
        vocabulary.add(
            {level.name, joined(level.name) + " LEVEL",
             fmt::format("the user sets {} (0 to 1)", level.what),
             [write = level.write](const Arguments& arguments) -> std::expected<Step, std::string> {
                 SCENARIO_CHECK(arguments.requireCount(1, 1));
                 const auto wanted = parseLevel(arguments[0]);
                 SCENARIO_CHECK(wanted);
                 return compiledStep([write, wanted = *wanted](Context& context) {
                     (context.mac.hardware().*write)(wanted);
                     return Outcome{};
                 });
             }});
    }
    vocabulary.add(choiceWord({"bluetooth"}, "on", "off", "the user switches Bluetooth on or off",
                              [](Context& context, bool on) {
                                  context.mac.hardware().setBluetoothPowered(on);
                                  return Outcome{};
                              }));
    vocabulary.add(choiceWord({"bluetooth", "access"}, "granted", "denied",
                              "whether ParvelMac may use Bluetooth; denied, the mode helper's "
                              "switching does nothing and still succeeds",
                              [](Context& context, bool granted) {
                                  context.mac.permissions().bluetooth = granted;
                                  context.mac.trace().record("privacy", granted
                                                                            ? "Bluetooth granted"
                                                                            : "Bluetooth denied");
                                  return Outcome{};
                              }));
}

void addHelperWords(Vocabulary& vocabulary) {
    vocabulary.add(choiceWord(
        {"mode", "helper"}, "missing", "not-executable",
        "the bundle's mode helper is gone, or its file cannot be run",
        [](Context& context, bool missing) -> Outcome {
            auto& files = context.mac.files();
            const auto path = sim::ProgramBundle::modeHelperPath(context.mac.bundle().bundlePath());
            const auto changed =
                missing ? files.removeItem(path) : files.setPermissions(path, kNotExecutableMode);
            if (!changed) {
                return failed(changed.error().description);
            }
            context.mac.trace().record(
                "file", fmt::format("{} {}", path, missing ? "removed" : "made not executable"));
            return {};
        }));
    vocabulary.add({{"power", "helper", "fails"},
                    "power helper fails TEXT",
                    "the installed power helper's changes fail, printing TEXT",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        return compiledStep([text = arguments[0]](Context& context) -> Outcome {
                            context.mac.systemTools().powerHelper().failChanges(text);
                            return {};
                        });
                    }});
    vocabulary.add({{"power", "helper", "works"},
                    "power helper works",
                    "the installed power helper's changes succeed again",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(0, 0));
                        return compiledStep([](Context& context) -> Outcome {
                            context.mac.systemTools().powerHelper().restoreChanges();
                            return {};
                        });
                    }});
}

}  // namespace

void addPowerWords(Vocabulary& vocabulary) {
    addBatteryWords(vocabulary);
    addHardwareWords(vocabulary);
    addHelperWords(vocabulary);
}

void addPowerExpectations(Vocabulary& vocabulary) {
    for (const auto& level : kLevels) {
        std::vector<std::string> name = level.name;
        name.insert(name.begin(), "expect");
        vocabulary.add(
            {name, "expect " + joined(level.name) + " LEVEL",
             fmt::format("{} (within {})", level.what, kLevelTolerance),
             [read = level.read](const Arguments& arguments) -> std::expected<Step, std::string> {
                 SCENARIO_CHECK(arguments.requireCount(1, 1));
                 const auto wanted = parseLevel(arguments[0]);
                 SCENARIO_CHECK(wanted);
                 return compiledStep([read, wanted = *wanted](Context& context) {
                     const double found = (context.mac.hardware().*read)();
                     return check(std::fabs(found - wanted) <= kLevelTolerance,
                                  fmt::format("{:.3f}", wanted), fmt::format("{:.3f}", found));
                 });
             }});
    }
    vocabulary.add(choiceWord({"expect", "bluetooth"}, "on", "off", "whether Bluetooth is on",
                              [](Context& context, bool on) {
                                  const bool found = context.mac.hardware().bluetoothPowered();
                                  return check(found == on, on ? "on" : "off",
                                               found ? "on" : "off");
                              }));
    struct Setting {
        std::vector<std::string> name;
        const char* what;
        const char* values;
        std::expected<int, std::string> (*parseValue)(std::string_view);
        const PerSource& (sim::Power::*read)() const;
    };
    const Setting settings[] = {
        {{"low", "power", "mode"}, "Low Power Mode", "0|1", parseDigit, &sim::Power::lowPowerMode},
        {{"display", "sleep"},
         "display sleep",
         "minutes",
         parseMinutes,
         &sim::Power::displaySleepMinutes},
    };
    for (const auto& setting : settings) {
        const std::string shownName = joined(setting.name);
        std::vector<std::string> name = setting.name;
        name.insert(name.begin(), "expect");
        vocabulary.add(
            {name, fmt::format("expect {} BATTERY AC", shownName),
             fmt::format("{} on battery and on AC, as pmset keeps it ({} each)", setting.what,
                         setting.values),
             [setting](const Arguments& arguments) -> std::expected<Step, std::string> {
                 const auto wanted = parsePerSource(arguments, setting.parseValue);
                 SCENARIO_CHECK(wanted);
                 return compiledStep([read = setting.read, wanted = *wanted](Context& context) {
                     const PerSource& found = (context.mac.power().*read)();
                     return check(found == wanted, describe(wanted), describe(found));
                 });
             }});
    }
    vocabulary.add({{"expect", "charge", "limit"},
                    "expect charge limit PERCENT|none",
                    "the charge limit the charge helper set",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        std::optional<int> wanted;
                        if (arguments[0] != "none") {
                            const auto percent = parseInteger(arguments[0]);
                            if (!percent || *percent < 0 || *percent > sim::Power::kFullCharge) {
                                return failed("the limit is a percentage from 0 to 100, or none");
                            }
                            wanted = static_cast<int>(*percent);
                        }
                        return compiledStep([wanted](Context& context) {
                            const auto found = context.mac.power().chargeLimit();
                            const auto shown = [](std::optional<int> limit) {
                                return limit ? std::to_string(*limit) : std::string("none");
                            };
                            return check(found == wanted, shown(wanted), shown(found));
                        });
                    }});
    vocabulary.add({{"expect", "sleep", "requests"},
                    "expect sleep requests N",
                    "how often something asked the Mac to sleep (System Events, pmset sleepnow)",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        const auto wanted = parseInteger(arguments[0]);
                        SCENARIO_CHECK(wanted);
                        return compiledStep([wanted = *wanted](Context& context) {
                            const int found = context.mac.sleepRequests();
                            return check(found == wanted, std::to_string(wanted),
                                         std::to_string(found));
                        });
                    }});
}

// The Mac's sleep and wake notifications, as every application receives them.
void addSleepWords(Vocabulary& vocabulary) {
    const std::pair<const char*, std::vector<platform::WorkspaceNotification>> power[] = {
        {"sleep", {platform::WorkspaceNotification::WillSleep}},
        {"wake", {platform::WorkspaceNotification::DidWake}},
        {"screens-sleep", {platform::WorkspaceNotification::ScreensDidSleep}},
        {"screens-wake", {platform::WorkspaceNotification::ScreensDidWake}}};
    for (const auto& [name, notifications] : power) {
        vocabulary.add(
            {{name},
             name,
             fmt::format("the Mac's {} notification", name),
             [notifications](const Arguments& arguments) -> std::expected<Step, std::string> {
                 SCENARIO_CHECK(arguments.requireCount(0, 0));
                 return compiledStep([notifications](Context& context) -> Outcome {
                     for (const auto notification : notifications) {
                         context.mac.applications().post(notification);
                     }
                     return {};
                 });
             }});
    }
}

}  // namespace parvel::scenario
