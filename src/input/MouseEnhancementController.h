#pragma once

#include <string>

#include "core/FeatureController.h"

namespace parvel {

// Scroll inversion, pointer acceleration and the extra mouse buttons.
// Until its feature is built it keeps the state the application delegate gives it.
class MouseEnhancementController final : public FeatureController {
  public:
    double acceleration = 1.0;
    std::string middleClickAction = "None";
    std::string extraButtonAction = "Back/Forward";
};

}  // namespace parvel
