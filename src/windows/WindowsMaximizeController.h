#pragma once

#include "core/FeatureController.h"

namespace parvel {

// Full-screen maximise: a window dragged to the top edge becomes full screen.
// Until its feature is built it keeps the state the application delegate gives it.
class WindowsMaximizeController final : public FeatureController {};

}  // namespace parvel
