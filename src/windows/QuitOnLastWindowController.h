#pragma once

#include "core/FeatureController.h"

namespace parvel {

// Quits ordinary applications whose last window closed.
// Until its feature is built it keeps the state the application delegate gives it.
class QuitOnLastWindowController final : public FeatureController {};

}  // namespace parvel
