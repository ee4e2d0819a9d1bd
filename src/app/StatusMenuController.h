#pragma once

#include <functional>
#include <map>

#include "core/SettingsStore.h"
#include "core/SystemMode.h"
#include "platform/Bundle.h"
#include "platform/Presenter.h"
#include "ui/Menu.h"

namespace parvel {

// ParvelMac's whole permanent presence: its item in the menu bar and the menu behind it —
// "Volumes…", the "Mode" submenu, the Dark Mode, Battery Charge Limit and Low Data Mode switches,
// "Settings…", "Check for Updates…" and "Quit ParvelMac". Built once when the main interface
// starts, never while the permissions are missing, and kept in step by updateMenuStates().
class StatusMenuController {
  public:
    // What the menu's items do; an action not given leaves its item without one.
    struct Actions {
        std::function<void()> showSettings;
        std::function<void()> quit;
        std::function<void()> showVolumes;
        std::function<void(SystemMode)> selectSystemMode;
        std::function<void(bool)> toggleDarkMode;
        std::function<void(bool)> toggleChargeLimiter;
        std::function<void(bool)> toggleLowDataMode;
        std::function<void()> checkForUpdates;
    };

    StatusMenuController(const SettingsStore& settings, const platform::Bundle& bundle,
                         platform::Presenter& presenter);

    // Creates the status item and its menu, puts it in the menu bar and updates the states.
    void setupMenuBar(Actions actions);
    // Check marks, enablement and switch states from the settings and the system.
    void updateMenuStates();

    const ui::StatusItemPtr& statusItem() const { return statusItem_; }
    // The switches embedded in the menu, for the features that keep them in step.
    const ui::ViewPtr& darkModeSwitch() const { return darkModeSwitch_; }
    const ui::ViewPtr& chargeLimiterSwitch() const { return chargeLimiterSwitch_; }
    const ui::ViewPtr& lowDataModeSwitch() const { return lowDataModeSwitch_; }

  private:
    ui::MenuItemPtr item(std::string identifier, std::string title, std::function<void()> action,
                         std::string keyEquivalent = {});
    ui::MenuItemPtr switchRow(std::string identifier, const std::string& title, ui::ViewPtr& toggle,
                              std::function<void(bool)> action);
    ui::MenuItemPtr separator() const;

    const SettingsStore& settings_;
    const platform::Bundle& bundle_;
    platform::Presenter& presenter_;

    ui::StatusItemPtr statusItem_;
    std::map<SystemMode, ui::MenuItemPtr> modeMenuItems_;
    ui::MenuItemPtr settingsMenuItem_;
    ui::MenuItemPtr checkForUpdatesMenuItem_;
    ui::MenuItemPtr quitMenuItem_;
    ui::ViewPtr darkModeSwitch_;
    ui::ViewPtr chargeLimiterSwitch_;
    ui::ViewPtr lowDataModeSwitch_;
};

}  // namespace parvel
