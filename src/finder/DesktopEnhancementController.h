#pragma once

#include "core/FeatureController.h"

namespace parvel {

// Desktop sorting, hidden files and the Finder actions.
// Until its feature is built it keeps the state the application delegate gives it.
class DesktopEnhancementController final : public FeatureController {
  public:
    // Shows or hides hidden files in Finder and on the Desktop.
    void setHiddenFilesVisible(bool visible) { hiddenFilesVisible_ = visible; }
    bool hiddenFilesVisible() const { return hiddenFilesVisible_; }
    // Ends the desktop clean-up polling at shutdown.
    void invalidateTimer() { stop(); }

  private:
    bool hiddenFilesVisible_ = false;
};

}  // namespace parvel
