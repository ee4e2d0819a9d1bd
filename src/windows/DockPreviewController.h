#pragma once

#include "core/FeatureController.h"

namespace parvel {

// Dock window previews: thumbnails of an application's windows over its Dock icon.
// Until its feature is built it keeps the state the application delegate gives it.
class DockPreviewController final : public FeatureController {};

}  // namespace parvel
