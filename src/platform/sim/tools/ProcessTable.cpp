#include "platform/sim/tools/ProcessTable.h"

#include <fmt/format.h>

#include "platform/sim/Trace.h"
#include "platform/sim/tools/PluginRegistry.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Dock.h"
#include "platform/sim/world/Finder.h"

namespace parvel::sim {

namespace {

constexpr std::string_view kPreferencesDaemon = "cfprefsd";
constexpr std::string_view kFinderSyncHost = "FinderSyncExtensionHost";

std::string_view executableName(const SimApp& app) {
    const std::string_view path = app.spec.executablePath;
    return path.substr(path.find_last_of('/') + 1);
}

bool keptAliveByLaunchd(const SimApp& app) {
    return app.spec.bundleIdentifier == Dock::kBundleIdentifier ||
           app.spec.bundleIdentifier == Finder::kBundleIdentifier;
}

}  // namespace

int ProcessTable::terminate(const NameMatcher& matches) {
    int ended = 0;
    for (const SimApp* app : applications_.running()) {
        if (!matches(executableName(*app))) {
            continue;
        }
        ++ended;
        if (keptAliveByLaunchd(*app)) {
            applications_.relaunch(app->pid);
        } else {
            applications_.kill(app->pid);
        }
    }
    for (const auto& daemon : runningDaemons()) {
        if (matches(daemon)) {
            ++ended;
            trace_.record("launchd", fmt::format("{} ended; launchd starts it again", daemon));
        }
    }
    return ended;
}

std::vector<std::string> ProcessTable::runningDaemons() const {
    std::vector<std::string> daemons{std::string(kPreferencesDaemon)};
    if (plugins_.finderSyncInUse()) {
        daemons.emplace_back(kFinderSyncHost);
    }
    return daemons;
}

}  // namespace parvel::sim
