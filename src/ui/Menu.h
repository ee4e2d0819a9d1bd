#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/Events.h"
#include "ui/View.h"

namespace parvel::ui {

struct Menu;

enum class MenuItemState { Off, On, Mixed };

struct MenuItem {
    std::string identifier;
    std::string title;
    std::string keyEquivalent;  // "," or "q"; empty for none
    platform::EventFlags keyEquivalentModifiers = platform::event_flags::kCommand;
    MenuItemState state = MenuItemState::Off;
    bool enabled = true;
    bool hidden = false;
    bool isSeparator = false;
    std::shared_ptr<Menu> submenu;
    ViewPtr customView;  // a row drawn by the program (a switch with its label)
    std::function<void()> onAction;
};

using MenuItemPtr = std::shared_ptr<MenuItem>;

struct Menu {
    std::string title;
    std::vector<MenuItemPtr> items;
    // Called just before the menu opens.
    std::function<void()> onWillOpen;
};

using MenuPtr = std::shared_ptr<Menu>;

// The status-bar item and its menu.
struct StatusItem {
    std::string imageName;  // a resource image, or an SF Symbol when the resource is missing
    bool imageIsTemplate = true;
    platform::Size imageSize;
    std::string title;
    std::string toolTip;
    std::string accessibilityLabel;
    bool variableLength = true;
    MenuPtr menu;
};

using StatusItemPtr = std::shared_ptr<StatusItem>;

}  // namespace parvel::ui
