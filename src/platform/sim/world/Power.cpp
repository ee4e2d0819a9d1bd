#include "platform/sim/world/Power.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/sim/Trace.h"

namespace parvel::sim {

namespace {

std::string_view statusName(BatteryStatus status) {
    switch (status) {
        case BatteryStatus::Discharging:
            return "discharging";
        case BatteryStatus::Charging:
            return "charging";
        case BatteryStatus::NotCharging:
            return "not charging";
        case BatteryStatus::Charged:
            return "charged";
    }
    return "unknown";
}

}  // namespace

std::string_view powerSourceName(PowerSource source) {
    switch (source) {
        case PowerSource::Battery:
            return "Battery Power";
        case PowerSource::Adapter:
            return "AC Power";
        case PowerSource::Ups:
            return "UPS Power";
    }
    return "Unknown Power";
}

BatteryStatus Power::batteryStatus() const {
    if (source_ == PowerSource::Battery) {
        return BatteryStatus::Discharging;
    }
    if (chargeLimit_ && percent_ >= *chargeLimit_ && percent_ < kFullCharge) {
        return BatteryStatus::NotCharging;
    }
    return externalStatus_;
}

void Power::setBattery(int percent, PowerSource source, std::optional<BatteryStatus> status) {
    percent_ = std::clamp(percent, 0, kFullCharge);
    source_ = source;
    externalStatus_ =
        status.value_or(percent_ == kFullCharge ? BatteryStatus::Charged : BatteryStatus::Charging);
    trace_.record("power", fmt::format("battery {}%, {}, {}", percent_, powerSourceName(source_),
                                       statusName(batteryStatus())));
}

void Power::setLowPowerMode(PerSource modes) {
    lowPowerMode_ = modes;
    trace_.record("power",
                  fmt::format("Low Power Mode: battery {}, AC {}", modes.battery, modes.adapter));
}

void Power::setDisplaySleepMinutes(PerSource minutes) {
    displaySleep_ = minutes;
    trace_.record("power", fmt::format("display sleep: battery {} min, AC {} min", minutes.battery,
                                       minutes.adapter));
}

void Power::setChargeControlSupported(bool supported) {
    chargeControlSupported_ = supported;
    trace_.record("power", supported ? "charge control supported" : "charge control unsupported");
}

void Power::setChargeLimit(int percent) {
    chargeLimit_ = percent;
    trace_.record("power", fmt::format("charge limit {}%", percent));
}

void Power::requestSleep() {
    ++sleepRequests_;
    trace_.record("power", "the Mac was asked to sleep");
}

}  // namespace parvel::sim
