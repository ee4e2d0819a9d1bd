#pragma once

#include "core/FeatureController.h"

namespace parvel {

// Restores a window of an application whose windows are all minimised when it comes to the front.
// Until its feature is built it keeps the state the application delegate gives it.
class AdvancedTaskSwitcherController final : public FeatureController {};

}  // namespace parvel
