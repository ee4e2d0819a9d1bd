#include "platform/sim/world/Dock.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/sim/Trace.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Displays.h"

namespace parvel::sim {

using platform::AXValue;

namespace {

constexpr int kMinimumTileSize = 16;
constexpr int kMaximumTileSize = 128;
constexpr double kTileGap = 4;
constexpr int kDockWindowLayer = 20;

}  // namespace

Dock::Dock(Applications& applications, AccessibilityTree& tree, platform::Defaults& defaults,
           const Displays& displays, Trace& trace)
    : applications_(applications),
      tree_(tree),
      defaults_(defaults),
      displays_(displays),
      trace_(trace),
      tiles_{{"Finder", "com.apple.finder"},
             {"Safari", "com.apple.Safari"},
             {"Mail", "com.apple.mail"},
             {"Notes", "com.apple.Notes"},
             {"System Settings", "com.apple.systempreferences"}} {}

void Dock::launch() {
    pid_ = applications_.launch({std::string(kBundleIdentifier),
                                 "Dock",
                                 platform::ActivationPolicy::Prohibited,
                                 QuitBehaviour::Quit,
                                 {},
                                 "/System/Library/CoreServices/Dock.app/Contents/MacOS/Dock"},
                                false);
    ++launchCount_;
    readPreferences();
    window_ =
        applications_.openWindow(pid_, {"Dock", stripFrame(), "", kDockWindowLayer, 1.0, false});
    buildTree();
}

void Dock::relaunched(platform::ProcessId pid) {
    pid_ = pid;
    ++launchCount_;
    readPreferences();
    buildTree();
}

void Dock::setTiles(std::vector<DockTile> tiles) {
    tiles_ = std::move(tiles);
}

void Dock::readPreferences() {
    const auto read = [this](const char* key) { return defaults_.object(kDomain, key); };
    DockPreferences preferences;
    if (const auto value = read("magnification")) {
        preferences.magnification = value->asBool().value_or(preferences.magnification);
    }
    if (const auto value = read("tilesize")) {
        preferences.tileSize = static_cast<int>(value->asNumber().value_or(preferences.tileSize));
    }
    if (const auto value = read("largesize")) {
        preferences.largeSize = static_cast<int>(value->asNumber().value_or(preferences.largeSize));
    }
    if (const auto value = read("mineffect")) {
        preferences.minimizeEffect = value->asString().value_or(preferences.minimizeEffect);
    }
    if (const auto value = read("launchanim")) {
        preferences.launchAnimation = value->asBool().value_or(preferences.launchAnimation);
    }
    preferences.tileSize = std::clamp(preferences.tileSize, kMinimumTileSize, kMaximumTileSize);
    preferences_ = preferences;
    trace_.record("dock",
                  fmt::format("read its preferences: magnification {}, tile size {}, "
                              "large size {}, minimise effect {}",
                              preferences.magnification ? "on" : "off", preferences.tileSize,
                              preferences.largeSize, preferences.minimizeEffect));
}

platform::Rect Dock::stripFrame() const {
    if (displays_.all().empty()) {
        return {};
    }
    const SimDisplay& main = displays_.all().front();
    return {{main.bounds.minX(), main.bounds.maxY() - main.dockHeight},
            {main.bounds.size.width, main.dockHeight}};
}

void Dock::buildTree() {
    list_ = tree_.addNode(pid_, 0, {"AXList", "", "", {}, {}, {}});
    tree_.onBeforeRead(list_, [this] { refreshItems(); });
    refreshItems();
}

std::vector<Dock::Item> Dock::currentItems() const {
    std::vector<Item> items;
    for (const auto& tile : tiles_) {
        items.push_back({tile.title, "AXApplicationDockItem",
                         !applications_.withBundleIdentifier(tile.bundleIdentifier).empty()});
    }
    items.push_back({"", "AXSeparatorDockItem", false});
    for (const SimWindow* window : applications_.windowsFrontToBack()) {
        if (window->minimized) {
            items.push_back({window->title, "AXMinimizedWindowDockItem", false});
        }
    }
    items.push_back({"Trash", "AXTrashDockItem", false});
    return items;
}

void Dock::refreshItems() {
    for (const AXToken child : tree_.children(list_)) {
        tree_.removeNode(child);
    }
    itemTokens_.clear();
    const auto items = currentItems();
    const platform::Rect strip = stripFrame();
    const double size = preferences_.tileSize;
    const double width = static_cast<double>(items.size()) * (size + kTileGap);
    double x = strip.minX() + (strip.size.width - width) / 2;
    const double y = strip.minY() + (strip.size.height - size) / 2;
    for (const auto& item : items) {
        AXNodeSpec spec{
            "AXDockItem",
            item.subrole,
            item.title,
            {{"AXPosition", platform::Point{x, y}}, {"AXSize", platform::Size{size, size}}},
            {},
            {"AXPress"}};
        if (item.subrole == "AXApplicationDockItem") {
            spec.attributes["AXIsApplicationRunning"] = item.running;
        }
        itemTokens_.emplace_back(item.title, tree_.addNode(pid_, list_, std::move(spec)));
        x += size + kTileGap;
    }
}

std::optional<platform::Rect> Dock::frameOfItem(std::string_view title) {
    refreshItems();
    for (const auto& [itemTitle, token] : itemTokens_) {
        if (itemTitle != title) {
            continue;
        }
        const auto position = tree_.attribute(token, "AXPosition");
        const auto size = tree_.attribute(token, "AXSize");
        return platform::Rect{std::get<platform::Point>(*position),
                              std::get<platform::Size>(*size)};
    }
    return std::nullopt;
}

}  // namespace parvel::sim
