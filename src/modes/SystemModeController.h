#pragma once

#include "modes/SystemMode.h"

namespace parvel {

// The three system modes: applying the stored one, the baseline of system settings captured
// while in Normal, and the quit-after-delay time each mode imposes.
// Until its feature is built it only keeps the state it is given.
class SystemModeController {
  public:
    // Re-applies the stored mode (on the utility queue at launch).
    void applySelectedSystemMode() {}
    // Records the current system settings as the baseline to restore on return to Normal.
    void refreshSystemModeBaseline() {}
    // Battery Saver quits windowless apps after 1 minute, Performance never, Normal as chosen.
    void applyQuitNoWindowsMode(SystemMode mode) { quitNoWindowsMode_ = mode; }
    // Ends Battery Saver's display-brightness guard.
    void stopBatterySaverBrightnessGuard() {}

  private:
    SystemMode quitNoWindowsMode_ = SystemMode::normal;
};

}  // namespace parvel
