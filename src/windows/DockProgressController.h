#pragma once

#include "core/FeatureController.h"

namespace parvel {

// Progress bars of applications mirrored over their Dock icons.
// Until its feature is built it keeps the state the application delegate gives it.
class DockProgressController final : public FeatureController {};

}  // namespace parvel
