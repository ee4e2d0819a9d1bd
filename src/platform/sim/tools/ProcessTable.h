#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace parvel::sim {

class Applications;
class PluginRegistry;
class Trace;

// The user's processes as killall and pkill see them: every running application by its
// executable's name, plus the daemons the program signals: "cfprefsd" (always running; the
// defaults service keeps no cache, so restarting it changes nothing visible) and
// "FinderSyncExtensionHost" (running while a Finder Sync extension is elected for use).
// launchd starts the Dock, Finder and the daemons again at once after they end.
class ProcessTable {
  public:
    using NameMatcher = std::function<bool(std::string_view name)>;

    ProcessTable(Applications& applications, const PluginRegistry& plugins, Trace& trace)
        : applications_(applications), plugins_(plugins), trace_(trace) {}

    // Ends every process whose name matches; returns how many there were.
    int terminate(const NameMatcher& matches);

  private:
    std::vector<std::string> runningDaemons() const;

    Applications& applications_;
    const PluginRegistry& plugins_;
    Trace& trace_;
};

}  // namespace parvel::sim
