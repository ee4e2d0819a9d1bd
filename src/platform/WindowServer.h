#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Geometry.h"
#include "platform/Image.h"
#include "platform/Processes.h"

namespace parvel::platform {

using WindowNumber = std::uint32_t;
using DisplayId = std::uint32_t;

// One entry of the window list (CGWindowListCopyWindowInfo).
struct WindowInfo {
    WindowNumber number = 0;
    ProcessId ownerProcessId = 0;
    std::string ownerName;
    std::string title;
    int layer = 0;  // 0 for ordinary application windows
    double alpha = 1.0;
    Rect bounds;  // window-server coordinates (top-left origin)
    bool isOnScreen = true;
};

// Which windows the list holds, front to back.
struct WindowListOptions {
    bool onScreenOnly = false;           // kCGWindowListOptionOnScreenOnly
    bool excludeDesktopElements = true;  // kCGWindowListExcludeDesktopElements
};

// A screen as Cocoa describes it (NSScreen), in bottom-left-origin coordinates.
struct Screen {
    Rect frame;
    Rect visibleFrame;  // without the menu bar and the Dock
};

// The window-server service: the window list, window images, displays and screens, and the
// Screen Recording permission.
class WindowServer {
  public:
    virtual ~WindowServer() = default;

    // CGPreflightScreenCaptureAccess (never prompts).
    virtual bool preflightScreenCaptureAccess() const = 0;
    // CGRequestScreenCaptureAccess: registers the app in the Screen Recording list.
    virtual bool requestScreenCaptureAccess() = 0;

    // The windows, front to back. Without Screen Recording, other applications' windows come
    // without their titles.
    virtual std::vector<WindowInfo> windowList(WindowListOptions options) const = 0;
    // An image of one window at its best resolution without framing; nothing without Screen
    // Recording or for an unknown window.
    virtual std::optional<Image> windowImage(WindowNumber number) const = 0;

    // The active displays and their bounds in window-server coordinates.
    virtual std::vector<std::pair<DisplayId, Rect>> activeDisplays() const = 0;
    // The screens, the one holding the menu bar first.
    virtual std::vector<Screen> screens() const = 0;
    // The screen with the key window (NSScreen.mainScreen), if any.
    virtual std::optional<Screen> mainScreen() const = 0;
};

}  // namespace parvel::platform
