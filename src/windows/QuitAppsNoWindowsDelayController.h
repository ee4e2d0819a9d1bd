#pragma once

#include <atomic>

#include "core/FeatureController.h"

namespace parvel {

// Quits ordinary applications that have had no window for the chosen time.
// Until its feature is built it keeps the state the application delegate and the system modes
// give it.
class QuitAppsNoWindowsDelayController final : public FeatureController {
  public:
    // The delay in minutes; 0 switches the feature off. Set from the system-mode queue.
    void setDelayMinutes(int minutes) { delayMinutes_.store(minutes); }
    int delayMinutes() const { return delayMinutes_.load(); }

  private:
    std::atomic<int> delayMinutes_{0};
};

}  // namespace parvel
