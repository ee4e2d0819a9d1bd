#pragma once

#include <vector>

#include "platform/WindowServer.h"

namespace parvel::sim {

// One display of the simulated Mac, in window-server coordinates (top-left origin), with the
// menu bar across its top and, on the main display, the Dock along its bottom.
struct SimDisplay {
    platform::DisplayId id = 1;
    platform::Rect bounds{{0, 0}, {1512, 982}};
    double menuBarHeight = 33;
    double dockHeight = 70;
};

// The displays; the first holds the menu bar and is the primary one whose height Cocoa's
// bottom-left coordinates are measured from.
class Displays {
  public:
    Displays() : displays_{SimDisplay{}} {}

    const std::vector<SimDisplay>& all() const { return displays_; }
    void set(std::vector<SimDisplay> displays) { displays_ = std::move(displays); }

    // The screens as Cocoa describes them: bottom-left origin, visible frame without the menu
    // bar and the Dock.
    std::vector<platform::Screen> screens() const;
    // The display under a window-server point, else the primary one; nothing without displays.
    const SimDisplay* displayAt(platform::Point point) const;
    // A window-server rectangle in Cocoa coordinates.
    platform::Rect toCocoa(platform::Rect rect) const;

  private:
    std::vector<SimDisplay> displays_;
};

}  // namespace parvel::sim
