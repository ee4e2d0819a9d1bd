#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/Defaults.h"
#include "platform/FileSystem.h"
#include "platform/sim/world/AccessibilityTree.h"

namespace parvel::sim {

class Applications;
class Trace;

// Finder on the simulated Mac: folder windows over the sandbox's real files, the Desktop, the
// selection, a name being edited, and the answers Finder gives to scripts.
//
// Accessibility: each window holds "AXSplitGroup" > "AXScrollArea" > "AXOutline" (with
// "AXSelectedChildren") > one "AXRow" per item ("AXSelected", "AXURL", a "file://" URL) >
// "AXCell" > "AXTextField" (the name). The Desktop is an "AXScrollArea" under the application
// with an "AXGroup" of "AXImage" icons carrying the same attributes. Rows follow the folder's
// contents whenever they are read; items whose name starts with "." are hidden unless Finder
// read "AppleShowAllFiles" as true when it last started.
class Finder {
  public:
    static constexpr std::string_view kBundleIdentifier = "com.apple.finder";

    static constexpr std::string_view kDomain = "com.apple.finder";

    Finder(Applications& applications, AccessibilityTree& tree, platform::FileSystem& files,
           platform::Defaults& defaults, Trace& trace, std::string homeDirectory);

    // Starts Finder (it always runs on a Mac); called once by the world.
    void launch();
    platform::ProcessId pid() const { return pid_; }
    std::string desktopFolder() const { return home_ + "/Desktop"; }

    // Opens a window on a folder in front of Finder's other windows; Finder takes the focus.
    platform::WindowNumber openWindow(const std::string& folder);
    void closeWindow(platform::WindowNumber number);
    // Selects items in the front Finder window, or on the Desktop while it has the focus. Paths
    // outside the folder shown are ignored, as Finder cannot select them there.
    void select(const std::vector<std::string>& paths);
    // Gives the Desktop the focus (a click on it): Finder is frontmost with no window focused.
    void focusDesktop();
    bool desktopHasFocus() const { return desktopFocused_; }
    // Starts or ends editing an item's name: a text field has the focus meanwhile.
    void startRenaming(const std::string& path);
    void finishRenaming();
    bool showsAllFiles() const { return showsAllFiles_; }

    // The selection as Finder's script reports it: POSIX paths, folders ending in "/".
    std::vector<std::string> selection();
    // The folder Finder would paste into: the front window's folder unless the Desktop has the
    // focus or no window is open.
    std::string insertionLocation() const;
    // The front Finder window's folder, if a window is open.
    std::optional<std::string> frontWindowFolder() const;

    // Rebuilds Finder's accessibility after it relaunched (killall Finder).
    void relaunched(platform::ProcessId pid);

  private:
    struct Listing {
        AXToken container = 0;  // the outline of a window, the icon group of the Desktop
        std::string folder;
        std::set<std::string> selected;       // full paths
        std::map<std::string, AXToken> rows;  // full path → row or icon
    };

    // Finder reads whether to show hidden files ("AppleShowAllFiles") when it starts.
    void readPreferences();
    void buildDesktop();
    void buildWindowTree(platform::WindowNumber number, const std::string& folder);
    void sync(Listing& listing);
    AXToken addItem(Listing& listing, const std::string& path, platform::FileKind kind);
    Listing* activeListing();
    const Listing* activeListing() const;
    std::string scriptPath(const std::string& path) const;

    Applications& applications_;
    AccessibilityTree& tree_;
    platform::FileSystem& files_;
    platform::Defaults& defaults_;
    Trace& trace_;
    std::string home_;
    platform::ProcessId pid_ = 0;
    std::map<platform::WindowNumber, Listing> windows_;
    Listing desktop_;
    bool desktopFocused_ = true;
    bool showsAllFiles_ = false;
    std::optional<std::string> renaming_;
};

}  // namespace parvel::sim
