#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace parvel {

// The battery's state as `pmset -g batt` reports it.
struct BatterySnapshot {
    std::int64_t percentage = 0;  // 0 when unknown; pmset's text is not held to 100
    bool onExternalPower = false;
    bool isNotCharging = false;  // connected, but the battery is held (by a limit, for example)
    bool isFullyCharged = false;
    friend bool operator==(const BatterySnapshot&, const BatterySnapshot&) = default;
};

// Reads `pmset -g batt` output: the power source from its first line, the battery from its last.
// Empty or unreadable output gives 0 % with every flag false.
BatterySnapshot parseBatterySnapshot(std::string_view pmsetOutput);

// The settings window's line, e.g. "Battery: 85% • Charging". A line that mentions "discharging"
// also contains "charging" and therefore reads "Charging": the tests are made in that order.
std::string batteryStatusLine(std::string_view pmsetOutput);

}  // namespace parvel
