#pragma once

#include "app/FeatureController.h"

namespace parvel {

// Quits ordinary applications that have had no window for the chosen time.
// Until its feature is built it keeps the state the application delegate gives it.
class QuitAppsNoWindowsDelayController final : public FeatureController {};

}  // namespace parvel
