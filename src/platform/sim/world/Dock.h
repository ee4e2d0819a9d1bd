#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/Defaults.h"
#include "platform/sim/world/AccessibilityTree.h"

namespace parvel::sim {

class Applications;
class Displays;
class Trace;

// An application kept in the Dock, left to right.
struct DockTile {
    std::string title;
    std::string bundleIdentifier;
};

// What the Dock read from its preferences ("com.apple.dock") when it last started.
struct DockPreferences {
    bool magnification = false;
    int tileSize = 48;
    int largeSize = 64;
    std::string minimizeEffect = "genie";
    bool launchAnimation = true;
    friend bool operator==(const DockPreferences&, const DockPreferences&) = default;
};

// The Dock on the simulated Mac: a process that reads its preferences when it starts (so
// "killall Dock" makes new preferences take effect), a window strip along the bottom of the main
// display, and an accessibility tree of "AXList" > "AXDockItem" children with subroles
// "AXApplicationDockItem" (the kept applications, "AXIsApplicationRunning"),
// "AXSeparatorDockItem", "AXMinimizedWindowDockItem" (one per minimised window) and
// "AXTrashDockItem", each with "AXTitle", "AXPosition" and "AXSize".
class Dock {
  public:
    static constexpr std::string_view kBundleIdentifier = "com.apple.dock";
    static constexpr std::string_view kDomain = "com.apple.dock";

    Dock(Applications& applications, AccessibilityTree& tree, platform::Defaults& defaults,
         const Displays& displays, Trace& trace);

    void launch();
    platform::ProcessId pid() const { return pid_; }
    void setTiles(std::vector<DockTile> tiles);
    const DockPreferences& preferences() const { return preferences_; }
    // How many times the Dock has started, the first launch included.
    int launchCount() const { return launchCount_; }
    // The frame of a tile by title, in window-server coordinates.
    std::optional<platform::Rect> frameOfItem(std::string_view title);
    // Re-reads the preferences and rebuilds the tree after a relaunch (killall Dock).
    void relaunched(platform::ProcessId pid);

  private:
    struct Item {
        std::string title;
        std::string subrole;
        bool running = false;
    };

    void readPreferences();
    void buildTree();
    void refreshItems();
    std::vector<Item> currentItems() const;
    platform::Rect stripFrame() const;

    Applications& applications_;
    AccessibilityTree& tree_;
    platform::Defaults& defaults_;
    const Displays& displays_;
    Trace& trace_;
    platform::ProcessId pid_ = 0;
    platform::WindowNumber window_ = 0;
    AXToken list_ = 0;
    std::vector<std::pair<std::string, AXToken>> itemTokens_;
    std::vector<DockTile> tiles_;
    DockPreferences preferences_;
    int launchCount_ = 0;
};

}  // namespace parvel::sim
