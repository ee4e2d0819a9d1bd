#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "ui/View.h"

namespace parvel::ui {

// Window and panel style (NSWindowStyleMask and the panel options the program uses).
struct WindowStyle {
    bool titled = true;
    bool closable = true;
    bool miniaturizable = false;
    bool resizable = false;
    bool borderless = false;
    bool fullSizeContentView = false;
    bool titlebarAppearsTransparent = false;
    bool isPanel = false;
    bool nonactivatingPanel = false;
    bool floating = false;
};

// A window or panel the program shows. Like views, feature code changes the fields directly.
struct Window {
    std::string identifier;
    std::string title;
    platform::Size contentSize;
    std::optional<platform::Point>
        origin;  // bottom-left, Cocoa screen coordinates; centred when unset
    WindowStyle style;
    int level = 0;  // NSWindowLevel: 0 normal, 3 floating, 25 status
    double alpha = 1.0;
    bool hasShadow = true;
    bool isOpaque = true;
    bool ignoresMouseEvents = false;
    std::uint32_t collectionBehavior = 0;  // NSWindowCollectionBehavior bits
    bool releasedWhenClosed = false;
    bool hidesOnClose = false;  // closing only orders the window out
    ViewPtr content;

    // The user closed the window (its close button or Command+W).
    std::function<void()> onClose;
};

using WindowPtr = std::shared_ptr<Window>;

}  // namespace parvel::ui
