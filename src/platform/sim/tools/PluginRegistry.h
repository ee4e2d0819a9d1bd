#pragma once

#include <expected>
#include <map>
#include <string>
#include <string_view>

#include "platform/FileSystem.h"

namespace parvel::sim {

class SimWorkspace;
class Trace;

// What the user (or pluginkit -e) chose for a plug-in.
enum class PlugInElection { Default, Use, Ignore };

struct PlugIn {
    std::string identifier;
    std::string version;
    std::string path;
    std::string extensionPoint;  // NSExtension → NSExtensionPointIdentifier, empty when absent
    PlugInElection election = PlugInElection::Default;
};

// The system's plug-in registry as pluginkit sees it: extension bundles added by path, each known
// by its identifier with its version and election. Electing a Finder Sync extension for use is what
// makes Finder load it, so the workspace then reports that extension enabled.
class PluginRegistry {
  public:
    static constexpr std::string_view kFinderSyncPoint = "com.apple.FinderSync";

    PluginRegistry(platform::FileSystem& files, SimWorkspace& workspace, Trace& trace)
        : files_(files), workspace_(workspace), trace_(trace) {}

    // Registers the .appex bundle at a path from its Contents/Info.plist (CFBundleIdentifier,
    // CFBundleShortVersionString, the extension point); a new version keeps the election. Gives
    // the reason when the bundle cannot be read.
    [[nodiscard]] std::expected<void, std::string> add(const std::string& bundlePath);
    // Sets the election of a registered plug-in; false for an unknown identifier.
    bool elect(std::string_view identifier, PlugInElection election);
    const PlugIn* find(std::string_view identifier) const;
    const std::map<std::string, PlugIn, std::less<>>& plugIns() const { return plugIns_; }
    // Whether some Finder Sync extension is elected for use (its host process then runs).
    bool finderSyncInUse() const;

  private:
    void publish(const PlugIn& plugIn);

    platform::FileSystem& files_;
    SimWorkspace& workspace_;
    Trace& trace_;
    std::map<std::string, PlugIn, std::less<>> plugIns_;
};

}  // namespace parvel::sim
