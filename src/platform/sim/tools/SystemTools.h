#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/tools/AdministratorPrompt.h"
#include "platform/sim/tools/DefaultsTool.h"
#include "platform/sim/tools/HelperTools.h"
#include "platform/sim/tools/KillallTool.h"
#include "platform/sim/tools/LaunchAgents.h"
#include "platform/sim/tools/LaunchctlTool.h"
#include "platform/sim/tools/OpenTool.h"
#include "platform/sim/tools/OsascriptTool.h"
#include "platform/sim/tools/PkillTool.h"
#include "platform/sim/tools/PluginRegistry.h"
#include "platform/sim/tools/PluginkitTool.h"
#include "platform/sim/tools/PmsetTool.h"
#include "platform/sim/tools/ProcessTable.h"
#include "platform/sim/tools/ShellTool.h"
#include "platform/sim/tools/TccutilTool.h"

namespace parvel::sim {

class DoShellScript;
class SimulatedMac;

// The command-line tools the program runs, emulated against the simulated Mac and registered with
// its processes service: defaults, killall, pkill, launchctl, open, osascript, sh and bash,
// pluginkit, tccutil and pmset, and ParvelMac's own helpers (the mode helper in any copy of the
// bundle, the three privileged helpers where the setup script installs them), which start only
// while their files are there. Also teaches the scripting engine `do shell script`. Owns the
// models only these tools touch (launch agents, the plug-in registry, the administrator prompt)
// and lets tests and scenarios reach them. Going away unregisters the tools, which then fail to
// start.
class SystemTools {
  public:
    explicit SystemTools(SimulatedMac& mac);
    ~SystemTools();
    SystemTools(const SystemTools&) = delete;
    SystemTools& operator=(const SystemTools&) = delete;

    LaunchAgents& launchAgents() { return launchAgents_; }
    PluginRegistry& plugIns() { return plugIns_; }
    AdministratorPrompt& administratorPrompt();
    // The installed power helper, to make its changes fail.
    PowerHelperTool& powerHelper() { return powerHelper_; }

    // Makes `defaults write` and `defaults delete` on a domain fail (see DefaultsTool).
    void failDefaultsWrites(std::string domain, int status, std::string error = {});
    void restoreDefaultsWrites(std::string_view domain);

    // Receives `open` of an application bundle by path (this program relaunched, or started by its
    // login agent); answers whether it started. Every such request is traced either way.
    void onOpenApplication(std::function<bool(const OpenRequest&)> handler);

    // Teaches the shells a script, by its exact text or by a matcher.
    void addShellScript(std::string text, ShellScriptHandler handler);
    void addShellScriptMatcher(ShellScriptMatcher matcher);

  private:
    void registerTools();
    void registerHelpers();
    // Every path a tool or helper is registered at, for unregistering them.
    static std::vector<std::string> registeredPaths();

    SimulatedMac& mac_;
    DefaultsTool defaults_;
    PluginRegistry plugIns_;
    ProcessTable processTable_;
    KillallTool killall_;
    PkillTool pkill_;
    LaunchAgents launchAgents_;
    LaunchctlTool launchctl_;
    OpenTool open_;
    OsascriptTool osascript_;
    ShellTool shell_;
    PluginkitTool pluginkit_;
    TccutilTool tccutil_;
    PmsetTool pmset_;
    ModeHelperTool modeHelper_;
    PowerHelperTool powerHelper_;
    LowDataHelperTool lowDataHelper_;
    ChargeHelperTool chargeHelper_;
    // Shared with the scripting engine's handler, which outlives these tools and must then stop
    // answering.
    std::shared_ptr<DoShellScript> doShellScript_;
};

}  // namespace parvel::sim
