#include "platform/sim/SimWindowServer.h"

#include <algorithm>

#include "platform/sim/Trace.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Displays.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::sim {

bool SimWindowServer::preflightScreenCaptureAccess() const {
    return permissions_.screenRecording;
}

bool SimWindowServer::requestScreenCaptureAccess() {
    ++permissions_.screenCaptureRequests;
    trace_.record("privacy", "asked to be listed for Screen Recording");
    return permissions_.screenRecording;
}

std::vector<platform::WindowInfo> SimWindowServer::windowList(
    platform::WindowListOptions options) const {
    std::vector<platform::WindowInfo> list;
    for (const SimWindow* window : applications_.windowsFrontToBack()) {
        if (options.onScreenOnly && !window->onScreen) {
            continue;
        }
        const SimApp* owner = applications_.find(window->owner);
        const bool titleShown = permissions_.screenRecording || window->owner == ownPid_;
        list.push_back({window->number, window->owner, owner ? owner->spec.name : "",
                        titleShown ? window->title : "", window->layer, window->alpha,
                        window->frame, window->onScreen});
    }
    return list;
}

// A generated bitmap, the same for the same window and size: RGBA rows in one colour chosen by
// the window number, so a test can tell which window a preview shows.
std::optional<platform::Image> SimWindowServer::windowImage(platform::WindowNumber number) const {
    if (!permissions_.screenRecording) {
        return std::nullopt;
    }
    const auto windows = applications_.windowsFrontToBack();
    const auto found = std::ranges::find(windows, number, &SimWindow::number);
    if (found == windows.end()) {
        return std::nullopt;
    }
    const int width = std::max(1, static_cast<int>((*found)->frame.size.width * kImageScale));
    const int height = std::max(1, static_cast<int>((*found)->frame.size.height * kImageScale));
    const std::uint8_t shade = static_cast<std::uint8_t>(number * 37 % 256);
    platform::Image image{width, height, "public.rgba", {}};
    image.data.reserve(static_cast<std::size_t>(width * height * 4));
    for (int pixel = 0; pixel < width * height; ++pixel) {
        image.data.insert(image.data.end(),
                          {shade, static_cast<std::uint8_t>(255 - shade), 128, 255});
    }
    return image;
}

std::vector<std::pair<platform::DisplayId, platform::Rect>> SimWindowServer::activeDisplays()
    const {
    std::vector<std::pair<platform::DisplayId, platform::Rect>> list;
    for (const auto& display : displays_.all()) {
        list.emplace_back(display.id, display.bounds);
    }
    return list;
}

std::vector<platform::Screen> SimWindowServer::screens() const {
    return displays_.screens();
}

std::optional<platform::Screen> SimWindowServer::mainScreen() const {
    const auto all = displays_.screens();
    return all.empty() ? std::nullopt : std::optional(all.front());
}

}  // namespace parvel::sim
