#include "app/StatusMenuController.h"

#include "core/SettingsKeys.h"

namespace parvel {

namespace keys = settings_keys;

namespace {

constexpr platform::Size kIconSize{19, 19};
constexpr platform::Size kSwitchRowSize{300, 34};
constexpr double kSwitchRowInset = 14;
constexpr std::string_view kIconResource = "ParvelMacMenuIcon";
constexpr std::string_view kFallbackSymbol = "arrow.up.right";
constexpr std::string_view kName = "ParvelMac";

}  // namespace

StatusMenuController::StatusMenuController(const SettingsStore& settings,
                                           const platform::Bundle& bundle,
                                           platform::Presenter& presenter)
    : settings_(settings), bundle_(bundle), presenter_(presenter) {}

ui::MenuItemPtr StatusMenuController::item(std::string identifier, std::string title,
                                           std::function<void()> action,
                                           std::string keyEquivalent) {
    auto menuItem = std::make_shared<ui::MenuItem>();
    menuItem->identifier = std::move(identifier);
    menuItem->title = std::move(title);
    menuItem->onAction = std::move(action);
    menuItem->keyEquivalent = std::move(keyEquivalent);
    return menuItem;
}

ui::MenuItemPtr StatusMenuController::separator() const {
    auto menuItem = std::make_shared<ui::MenuItem>();
    menuItem->isSeparator = true;
    return menuItem;
}

// A row holding a label at the leading edge and a switch at the trailing edge.
ui::MenuItemPtr StatusMenuController::switchRow(std::string identifier, const std::string& title,
                                                ui::ViewPtr& toggle,
                                                std::function<void(bool)> action) {
    toggle = ui::makeSwitch(false, nullptr);
    toggle->identifier = identifier + "-switch";
    if (action) {
        toggle->onAction = [toggle = std::weak_ptr(toggle), action] {
            if (const auto shown = toggle.lock()) {
                action(shown->isOn);
            }
        };
    }
    auto row = ui::makeStack(ui::Axis::Horizontal, 0, {ui::makeLabel(title), toggle});
    row->size = kSwitchRowSize;
    row->insets = {0, kSwitchRowInset, 0, kSwitchRowInset};
    auto menuItem = item(std::move(identifier), title, nullptr);
    menuItem->customView = row;
    return menuItem;
}

void StatusMenuController::setupMenuBar(Actions actions) {
    statusItem_ = std::make_shared<ui::StatusItem>();
    const auto icon = bundle_.resourcePath(kIconResource, "png");
    statusItem_->imageName = icon ? *icon : std::string(kFallbackSymbol);
    statusItem_->imageIsTemplate = true;
    statusItem_->imageSize = kIconSize;
    statusItem_->accessibilityLabel = icon ? "" : std::string(kName);
    statusItem_->toolTip = kName;
    statusItem_->variableLength = true;

    auto modeMenu = std::make_shared<ui::Menu>();
    modeMenu->title = "Mode";
    for (const auto mode : kAllSystemModes) {
        auto modeItem = item(
            std::string("mode-") + std::string(rawValue(mode)), std::string(rawValue(mode)),
            actions.selectSystemMode
                ? std::function<void()>([select = actions.selectSystemMode, mode] { select(mode); })
                : nullptr);
        modeMenuItems_[mode] = modeItem;
        modeMenu->items.push_back(modeItem);
    }
    auto modeItem = item("mode", "Mode", nullptr);
    modeItem->submenu = modeMenu;

    settingsMenuItem_ = item("settings", "Settings\u2026", actions.showSettings, ",");
    checkForUpdatesMenuItem_ =
        item("check-for-updates", "Check for Updates\u2026", actions.checkForUpdates);
    quitMenuItem_ = item("quit", "Quit ParvelMac", actions.quit, "q");

    auto menu = std::make_shared<ui::Menu>();
    menu->items = {
        item("volumes", "Volumes\u2026", actions.showVolumes),
        separator(),
        modeItem,
        switchRow("dark-mode", "Dark Mode", darkModeSwitch_, actions.toggleDarkMode),
        switchRow("charge-limit", "Battery Charge Limit", chargeLimiterSwitch_,
                  actions.toggleChargeLimiter),
        switchRow("low-data-mode", "Low Data Mode", lowDataModeSwitch_, actions.toggleLowDataMode),
        separator(),
        settingsMenuItem_,
        checkForUpdatesMenuItem_,
        quitMenuItem_};
    statusItem_->menu = menu;
    presenter_.showStatusItem(statusItem_);
    updateMenuStates();
}

void StatusMenuController::updateMenuStates() {
    if (!statusItem_) {
        return;
    }
    const SystemMode current = settings_.systemMode();
    for (const auto& [mode, modeItem] : modeMenuItems_) {
        modeItem->state = mode == current ? ui::MenuItemState::On : ui::MenuItemState::Off;
        modeItem->enabled = true;
    }
    for (const auto& menuItem : statusItem_->menu->items) {
        menuItem->enabled = !menuItem->isSeparator;
    }
    darkModeSwitch_->isOn = presenter_.isDarkAppearance();
    darkModeSwitch_->enabled = true;
    chargeLimiterSwitch_->isOn = settings_.boolValue(keys::chargeLimiterEnabledKey);
    // Preserve Battery Health and Station mode own the charge limit while they are on.
    chargeLimiterSwitch_->enabled = !settings_.boolValue(keys::preserveBatteryHealthEnabledKey) &&
                                    !settings_.boolValue(keys::adapterOnlyModeEnabledKey);
    lowDataModeSwitch_->enabled = true;
}

}  // namespace parvel
