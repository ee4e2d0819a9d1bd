#pragma once

#include "app/FeatureController.h"

namespace parvel {

// Clipboard capture and the history window. Switching it on or off starts or stops it.
// Until its feature is built it keeps the state the application delegate gives it.
class ClipboardHistoryController final : public FeatureController {
  public:
    void setEnabled(bool enabled) override {
        FeatureController::setEnabled(enabled);
        enabled ? start() : stop();
    }
    // Opens the history window, or closes it when it shows.
    void showHistory() {}
    // Ends the polling at shutdown.
    void invalidateTimer() { stop(); }
};

}  // namespace parvel
