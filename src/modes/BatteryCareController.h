#pragma once

namespace parvel {

// Battery care: the charge limit, Preserve Battery Health, Station mode and Charge Full Once.
// Until its feature is built it only keeps the state it is given.
class BatteryCareController {
  public:
    void resumeChargeFullOnceIfNeeded() {}
    void refreshPreserveBatteryHealthMonitor() {}
    void reapplyBatteryCareModeIfNeeded() {}
    void setChargeLimiterEnabled(bool enabled) { chargeLimiterEnabled_ = enabled; }
    // Ends a running Charge Full Once cycle and restores the charge limit.
    void finishChargeFullOnce() {}
    bool chargeLimiterEnabled() const { return chargeLimiterEnabled_; }

  private:
    bool chargeLimiterEnabled_ = false;
};

}  // namespace parvel
