#include "platform/sim/world/Displays.h"

namespace parvel::sim {

std::vector<platform::Screen> Displays::screens() const {
    std::vector<platform::Screen> screens;
    bool primary = true;
    for (const auto& display : displays_) {
        const platform::Rect frame = toCocoa(display.bounds);
        platform::Rect visible = frame;
        visible.size.height -= display.menuBarHeight;
        if (primary) {
            visible.origin.y += display.dockHeight;
            visible.size.height -= display.dockHeight;
        }
        screens.push_back({frame, visible});
        primary = false;
    }
    return screens;
}

const SimDisplay* Displays::displayAt(platform::Point point) const {
    for (const auto& display : displays_) {
        if (display.bounds.contains(point)) {
            return &display;
        }
    }
    return displays_.empty() ? nullptr : &displays_.front();
}

platform::Rect Displays::toCocoa(platform::Rect rect) const {
    const double primaryHeight = displays_.empty() ? 0 : displays_.front().bounds.size.height;
    return {{rect.origin.x, primaryHeight - rect.maxY()}, rect.size};
}

}  // namespace parvel::sim
