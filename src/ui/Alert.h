#pragma once

#include <string>
#include <vector>

#include "platform/Events.h"
#include "ui/View.h"

namespace parvel::ui {

enum class AlertStyle { Warning, Informational, Critical };

struct AlertButton {
    std::string title;
    std::string keyEquivalent;  // "\r" for Return, "\x1b" for Escape; the first button gets Return
    platform::EventFlags keyEquivalentModifiers = 0;
    bool hasDestructiveAction = false;
};

// A modal alert (NSAlert). Running it answers 1000 for the first button, 1001 for the second...
struct Alert {
    AlertStyle style = AlertStyle::Warning;
    std::string messageText;
    std::string informativeText;
    std::vector<AlertButton> buttons;  // none means a single "OK"
    ViewPtr accessoryView;             // e.g. a text field with a placeholder
};

inline constexpr int kAlertFirstButtonReturn = 1000;

// A panel for choosing files or folders (NSOpenPanel).
struct OpenPanel {
    std::string title;
    std::string prompt;  // the confirm button's title
    std::string message;
    bool canChooseFiles = true;
    bool canChooseDirectories = false;
    bool allowsMultipleSelection = false;
    bool canCreateDirectories = false;
    std::string directory;  // where it opens; empty for the system's choice
};

}  // namespace parvel::ui
