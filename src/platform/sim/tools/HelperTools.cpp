#include "platform/sim/tools/HelperTools.h"

#include <charconv>

#include <fmt/format.h>

#include "platform/sim/ProgramBundle.h"
#include "platform/sim/SimNetworkPath.h"
#include "platform/sim/tools/ToolResults.h"
#include "platform/sim/world/Hardware.h"
#include "platform/sim/world/Permissions.h"
#include "platform/sim/world/Power.h"

namespace parvel::sim {

namespace {

constexpr int kFailureStatus = 1;
constexpr std::string_view kOk = "OK";
constexpr std::string_view kNoWiFi = "No Wi-Fi network is connected.";
constexpr std::string_view kChargeControlUnsupported =
    "This Mac does not allow a charge limit to be set.";

std::string usage(const ProgramBundle::Helper& helper, std::string_view commands) {
    return fmt::format("usage: {} {}", helper.installedName, commands);
}

template <typename Number>
std::optional<Number> parse(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> parseLevel(std::string_view text) {
    const auto level = parse<double>(text);
    return level && *level >= 0 && *level <= 1 ? level : std::nullopt;
}

// "1" or "0", nothing else.
std::optional<int> parseDigit(std::string_view text) {
    if (text == "1" || text == "0") {
        return text == "1" ? 1 : 0;
    }
    return std::nullopt;
}

std::optional<int> parseMinutes(std::string_view text) {
    const auto minutes = parse<int>(text);
    return minutes && *minutes >= 0 ? minutes : std::nullopt;
}

// A power-helper command's two values: on battery, then on AC.
std::optional<PerSource> parsePerSource(const ToolArguments& arguments,
                                        std::optional<int> (*parseValue)(std::string_view)) {
    const auto battery = parseValue(arguments[1]);
    const auto adapter = parseValue(arguments[2]);
    if (!battery || !adapter) {
        return std::nullopt;
    }
    return PerSource{*battery, *adapter};
}

ToolResult printedLevel(double level) {
    return printedLine(fmt::format("{:.3f}", level));
}

ToolResult printedDigit(bool on) {
    return printedLine(on ? "1" : "0");
}

// The mode helper's commands for each level it reads and sets.
struct LevelCommands {
    std::string_view get;
    std::string_view set;
    double (Hardware::*read)() const;
    void (Hardware::*write)(double);
};
constexpr LevelCommands kLevelCommands[] = {
    {"display-get", "display-set", &Hardware::displayBrightness, &Hardware::setDisplayBrightness},
    {"keyboard-get", "keyboard-set", &Hardware::keyboardBacklight, &Hardware::setKeyboardBacklight},
};

}  // namespace

ToolResult ModeHelperTool::run(const ToolArguments& arguments) {
    if (auto result = runLevelCommand(arguments)) {
        return *result;
    }
    if (auto result = runBluetoothCommand(arguments)) {
        return *result;
    }
    return failedWith(kExitUsage,
                      fmt::format("usage: {} display-get | display-set LEVEL | keyboard-get | "
                                  "keyboard-set LEVEL | bluetooth-get | bluetooth-set 1|0",
                                  ProgramBundle::kModeHelper));
}

std::optional<ToolResult> ModeHelperTool::runLevelCommand(const ToolArguments& arguments) {
    for (const auto& [get, set, read, write] : kLevelCommands) {
        if (arguments == ToolArguments{std::string(get)}) {
            return printedLevel((hardware_.*read)());
        }
        const auto level =
            arguments.size() == 2 && arguments[0] == set ? parseLevel(arguments[1]) : std::nullopt;
        if (level) {
            (hardware_.*write)(*level);
            return printedLevel((hardware_.*read)());
        }
    }
    return std::nullopt;
}

std::optional<ToolResult> ModeHelperTool::runBluetoothCommand(const ToolArguments& arguments) {
    if (arguments == ToolArguments{"bluetooth-get"}) {
        return printedDigit(hardware_.bluetoothPowered());
    }
    const auto on = arguments.size() == 2 && arguments[0] == "bluetooth-set"
                        ? parseDigit(arguments[1])
                        : std::nullopt;
    if (!on) {
        return std::nullopt;
    }
    // Without Bluetooth access the system ignores the request and does not say so.
    if (permissions_.bluetooth) {
        hardware_.setBluetoothPowered(*on == 1);
    }
    return printedDigit(hardware_.bluetoothPowered());
}

ToolResult PowerHelperTool::run(const ToolArguments& arguments) {
    const auto command = arguments.size() == 3 ? arguments[0] : std::string();
    const auto values = command == "lowpower"       ? parsePerSource(arguments, parseDigit)
                        : command == "displaysleep" ? parsePerSource(arguments, parseMinutes)
                                                    : std::nullopt;
    if (!values) {
        return failedWith(kExitUsage, usage(ProgramBundle::kPowerHelper,
                                            "lowpower 1|0 1|0 | displaysleep MINUTES MINUTES"));
    }
    if (failure_) {
        return {kFailureStatus, *failure_ + "\n", ""};
    }
    if (command == "lowpower") {
        power_.setLowPowerMode(*values);
    } else {
        power_.setDisplaySleepMinutes(*values);
    }
    return printedLine(kOk);
}

ToolResult LowDataHelperTool::run(const ToolArguments& arguments) {
    const auto on =
        arguments.size() == 2 && arguments[0] == "set" ? parseDigit(arguments[1]) : std::nullopt;
    if (!on) {
        return failedWith(kExitUsage, usage(ProgramBundle::kLowDataHelper, "set 1|0"));
    }
    auto path = network_.path();
    if (path.status != platform::NetworkPathState::Status::Satisfied || !path.usesWiFi) {
        return {kFailureStatus, std::string(kNoWiFi) + "\n", ""};
    }
    if (path.isConstrained != (*on == 1)) {
        path.isConstrained = *on == 1;
        network_.setPath(path);
    }
    return printedLine(fmt::format("OK|lowdata={}", *on));
}

ToolResult ChargeHelperTool::run(const ToolArguments& arguments) {
    const auto limit =
        arguments.size() == 2 && arguments[0] == "set" ? parse<int>(arguments[1]) : std::nullopt;
    if (!limit || *limit < kLowestLimit || *limit > Power::kFullCharge) {
        return failedWith(kExitUsage,
                          usage(ProgramBundle::kChargeHelper,
                                fmt::format("set {}-{}", kLowestLimit, Power::kFullCharge)));
    }
    if (!power_.chargeControlSupported()) {
        return failedWith(kFailureStatus, kChargeControlUnsupported);
    }
    power_.setChargeLimit(*limit);
    return printedLine(kOk);
}

}  // namespace parvel::sim
