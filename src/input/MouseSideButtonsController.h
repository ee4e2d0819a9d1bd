#pragma once

#include "core/FeatureController.h"

namespace parvel {

// Mouse side buttons as Back and Forward in Safari and Finder.
// Until its feature is built it keeps the state the application delegate gives it.
class MouseSideButtonsController final : public FeatureController {};

}  // namespace parvel
