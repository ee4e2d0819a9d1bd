#pragma once

#include <vector>

#include "core/FeatureController.h"
#include "input/KeyRemapRule.h"

namespace parvel {

// Rewrites key codes of key presses by the saved rules.
// Until its feature is built it keeps the state the application delegate gives it.
class KeyboardRemapController final : public FeatureController {
  public:
    std::vector<KeyRemapRule> rules;
};

}  // namespace parvel
