#pragma once

#include "core/FeatureController.h"

namespace parvel {

// Focus follows the mouse.
// Until its feature is built it keeps the state the application delegate gives it.
class MouseFocusController final : public FeatureController {
  public:
    // Ends the pointer polling at shutdown.
    void invalidateTimer() { stop(); }
};

}  // namespace parvel
