#pragma once

#include "platform/NetworkPath.h"

namespace parvel {

// Low Data Mode of the current Wi-Fi network, followed through the network path monitor.
// Until its feature is built it only keeps the state it is given.
class LowDataModeController {
  public:
    // The path monitor's update handler (on the low-data queue).
    void pathUpdated(const platform::NetworkPathState& path) { lastPath_ = path; }
    const platform::NetworkPathState& lastPath() const { return lastPath_; }

  private:
    platform::NetworkPathState lastPath_;
};

}  // namespace parvel
