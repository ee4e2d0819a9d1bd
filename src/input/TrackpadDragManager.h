#pragma once

#include "base/Error.h"

namespace parvel {

// Tap to click and three-finger drag through the trackpad preference domains.
// Until its feature is built it only keeps the state it is given.
class TrackpadDragManager {
  public:
    Result<void> setEnabled(bool enabled) {
        enabled_ = enabled;
        return {};
    }
    bool isEnabled() const { return enabled_; }

  private:
    bool enabled_ = false;
};

}  // namespace parvel
