#include "platform/sim/tools/PmsetTool.h"

#include <cmath>
#include <utility>

#include <fmt/format.h>

#include "platform/sim/tools/ToolResults.h"
#include "platform/sim/world/Power.h"

namespace parvel::sim {

namespace {

constexpr int kFailureStatus = 1;
constexpr std::string_view kUsage = "Usage: pmset <options>\nSee pmset(1) for details: 'man pmset'";
constexpr std::string_view kBatteryName = "-InternalBattery-0 (id=4653155)";
// The estimates pmset prints: a full battery lasts about 3 hours 44 minutes, and an empty one
// charges in about 5 hours 25 minutes.
constexpr double kDischargeMinutesPerPercent = 2.24;
constexpr double kChargeMinutesPerPercent = 3.25;
constexpr int kMinutesPerHour = 60;

std::string remaining(double minutes) {
    const auto whole = std::lround(minutes);
    return fmt::format("{}:{:02} remaining", whole / kMinutesPerHour, whole % kMinutesPerHour);
}

// One section of "-g custom": the settings of one power source, aligned as pmset aligns them.
std::string section(PowerSource source, int lowPowerMode, int displaySleep) {
    const bool onAdapter = source == PowerSource::Adapter;
    const std::pair<std::string_view, std::string> settings[] = {
        {"Sleep On Power Button", "1"},
        {"lowpowermode", std::to_string(lowPowerMode)},
        {"standby", "1"},
        {"ttyskeepawake", "1"},
        {"hibernatemode", "3"},
        {"powernap", onAdapter ? "1" : "0"},
        {"hibernatefile", "/var/vm/sleepimage"},
        {"displaysleep", std::to_string(displaySleep)},
        {"womp", onAdapter ? "1" : "0"},
        {"networkoversleep", "0"},
        {"sleep", "1"},
        {"tcpkeepalive", "1"},
        {"halfdim", "1"},
        {"acwake", "0"},
        {"lidwake", "1"},
        {"disksleep", "10"},
    };
    std::string text = fmt::format("{}:\n", powerSourceName(source));
    for (const auto& [key, value] : settings) {
        text += fmt::format(" {:<20} {}\n", key, value);
    }
    return text;
}

}  // namespace

ToolResult PmsetTool::run(const ToolArguments& arguments) {
    if (arguments == ToolArguments{"-g", "batt"} || arguments == ToolArguments{"-g", "ps"}) {
        return {0, batteryReport(), ""};
    }
    if (arguments == ToolArguments{"-g", "custom"}) {
        return {0, customSettings(), ""};
    }
    if (arguments == ToolArguments{"sleepnow"}) {
        power_.requestSleep();
        return printedLine("Sleeping now...");
    }
    return failedWith(kFailureStatus, kUsage);
}

std::string PmsetTool::batteryReport() const {
    const int percent = power_.batteryPercent();
    std::string state;
    switch (power_.batteryStatus()) {
        case BatteryStatus::Discharging:
            state = "discharging; " + remaining(percent * kDischargeMinutesPerPercent);
            break;
        case BatteryStatus::Charging:
            state =
                "charging; " + remaining((Power::kFullCharge - percent) * kChargeMinutesPerPercent);
            break;
        case BatteryStatus::NotCharging:
            state = "AC attached; not charging";
            break;
        case BatteryStatus::Charged:
            state = "charged; " + remaining(0);
            break;
    }
    return fmt::format("Now drawing from '{}'\n {}\t{}%; {} present: true\n",
                       powerSourceName(power_.source()), kBatteryName, percent, state);
}

std::string PmsetTool::customSettings() const {
    const auto& lowPower = power_.lowPowerMode();
    const auto& displaySleep = power_.displaySleepMinutes();
    return section(PowerSource::Battery, lowPower.battery, displaySleep.battery) +
           section(PowerSource::Adapter, lowPower.adapter, displaySleep.adapter);
}

}  // namespace parvel::sim
