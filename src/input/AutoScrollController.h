#pragma once

#include "core/FeatureController.h"

namespace parvel {

// Auto-scroll after a middle click on an empty area.
// Until its feature is built it keeps the state the application delegate gives it.
class AutoScrollController final : public FeatureController {};

}  // namespace parvel
