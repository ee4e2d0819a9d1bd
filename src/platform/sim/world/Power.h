#pragma once

#include <optional>
#include <string_view>

namespace parvel::sim {

class Trace;

// Where the Mac draws its power from.
enum class PowerSource { Battery, Adapter, Ups };

// What the internal battery does, as pmset reports it.
enum class BatteryStatus { Discharging, Charging, NotCharging, Charged };

// A power-management setting with one value per power source, as pmset keeps them.
struct PerSource {
    int battery = 0;
    int adapter = 0;
    friend bool operator==(const PerSource&, const PerSource&) = default;
};

// The power side of the simulated Mac: the internal battery and where the power comes from, the
// power-management settings of each source (Low Power Mode, display sleep), the charge limit the
// charge helper sets, and the requests to sleep. Every change is traced under "power".
class Power {
  public:
    static constexpr int kFullCharge = 100;  // percent
    static constexpr int kDefaultBatteryPercent = 85;
    static constexpr PerSource kDefaultDisplaySleepMinutes{2, 10};

    explicit Power(Trace& trace) : trace_(trace) {}

    int batteryPercent() const { return percent_; }
    PowerSource source() const { return source_; }
    // On battery the battery discharges. On external power it charges, is full, or is held: by
    // the charge limit once it reaches it, or by the system's own battery management.
    BatteryStatus batteryStatus() const;
    // The battery's charge (0-100) and the source. `status` only counts on external power; without
    // it the battery charges below 100% and is charged at 100%.
    void setBattery(int percent, PowerSource source, std::optional<BatteryStatus> status = {});

    // Low Power Mode per source: 0 or 1.
    const PerSource& lowPowerMode() const { return lowPowerMode_; }
    void setLowPowerMode(PerSource modes);
    // Minutes of inactivity before the display sleeps, per source; 0 is never.
    const PerSource& displaySleepMinutes() const { return displaySleep_; }
    void setDisplaySleepMinutes(PerSource minutes);

    // Whether the firmware lets a helper limit the charge. Apple-silicon Macs, which this one is,
    // do not.
    bool chargeControlSupported() const { return chargeControlSupported_; }
    void setChargeControlSupported(bool supported);
    // The limit the charge helper set, in percent; none until it sets one.
    std::optional<int> chargeLimit() const { return chargeLimit_; }
    void setChargeLimit(int percent);

    // How many times something asked the Mac to sleep.
    int sleepRequests() const { return sleepRequests_; }
    void requestSleep();

  private:
    Trace& trace_;
    int percent_ = kDefaultBatteryPercent;
    PowerSource source_ = PowerSource::Battery;
    BatteryStatus externalStatus_ = BatteryStatus::Charging;
    PerSource lowPowerMode_;
    PerSource displaySleep_ = kDefaultDisplaySleepMinutes;
    bool chargeControlSupported_ = false;
    std::optional<int> chargeLimit_;
    int sleepRequests_ = 0;
};

// "AC Power", "Battery Power" or "UPS Power": the source as pmset names it.
std::string_view powerSourceName(PowerSource source);

}  // namespace parvel::sim
