#include "platform/sim/tools/SystemTools.h"

#include "platform/sim/ProgramBundle.h"
#include "platform/sim/SimAppleScript.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimProcessInfo.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/tools/DoShellScript.h"

namespace parvel::sim {

namespace {

constexpr std::string_view kLaunchAgentsFolder = "/Library/LaunchAgents";
// The mode helper answers in whichever copy of the bundle the program runs from.
std::string anyBundlesModeHelper() {
    return std::string(SimProcesses::kAnyFolder) + "Contents/Resources/" +
           std::string(ProgramBundle::kModeHelper);
}

}  // namespace

SystemTools::SystemTools(SimulatedMac& mac)
    : mac_(mac),
      defaults_(mac.defaults()),
      plugIns_(mac.files(), mac.workspace(), mac.trace()),
      processTable_(mac.applications(), plugIns_, mac.trace()),
      killall_(processTable_),
      pkill_(processTable_),
      launchAgents_(mac.files(), mac.processes(), mac.trace(),
                    mac.homeDirectory() + std::string(kLaunchAgentsFolder)),
      launchctl_(launchAgents_, mac.processInfo().userId()),
      open_(mac.applications(), mac.workspace(), mac.files(), mac.trace()),
      osascript_(mac.appleScript()),
      shell_(mac.processes(), mac.files(), mac.dispatch(), mac.trace()),
      pluginkit_(plugIns_),
      tccutil_(mac.permissions(), mac.trace(), std::string(SimBundle::kBundleIdentifier)),
      pmset_(mac.power()),
      modeHelper_(mac.hardware(), mac.permissions()),
      powerHelper_(mac.power()),
      lowDataHelper_(mac.network()),
      chargeHelper_(mac.power()),
      doShellScript_(std::make_shared<DoShellScript>(mac.processes(), mac.trace())) {
    registerTools();
    registerHelpers();
    mac.appleScript().addHandler([weak = std::weak_ptr<DoShellScript>(doShellScript_)](
                                     std::string_view source) -> std::optional<ScriptResult> {
        const auto command = weak.lock();
        return command ? command->handle(source) : std::nullopt;
    });
}

SystemTools::~SystemTools() {
    for (const auto& path : registeredPaths()) {
        mac_.processes().removeTool(path);
    }
}

std::vector<std::string> SystemTools::registeredPaths() {
    std::vector<std::string> paths;
    for (const auto path :
         {DefaultsTool::kPath, KillallTool::kPath, PkillTool::kPath, LaunchctlTool::kPath,
          OpenTool::kPath, OsascriptTool::kPath, ShellTool::kShellPath, ShellTool::kBashPath,
          PluginkitTool::kPath, TccutilTool::kPath, PmsetTool::kPath}) {
        paths.emplace_back(path);
    }
    paths.push_back(anyBundlesModeHelper());
    for (const auto& helper : ProgramBundle::kHelpers) {
        paths.push_back(helper.installedPath());
    }
    return paths;
}

void SystemTools::registerTools() {
    SimProcesses& processes = mac_.processes();
    const auto add = [&processes](std::string_view path, auto& tool) {
        processes.addTool(std::string(path),
                          [&tool](const ToolArguments& arguments) { return tool.run(arguments); });
    };
    add(DefaultsTool::kPath, defaults_);
    add(KillallTool::kPath, killall_);
    add(PkillTool::kPath, pkill_);
    add(LaunchctlTool::kPath, launchctl_);
    add(OpenTool::kPath, open_);
    add(OsascriptTool::kPath, osascript_);
    add(PluginkitTool::kPath, pluginkit_);
    add(TccutilTool::kPath, tccutil_);
    add(PmsetTool::kPath, pmset_);
    for (const auto shell : {ShellTool::kShellPath, ShellTool::kBashPath}) {
        processes.addTool(std::string(shell), [this, shell](const ToolArguments& arguments) {
            return shell_.run(shell, arguments);
        });
    }
}

void SystemTools::registerHelpers() {
    SimProcesses& processes = mac_.processes();
    const auto add = [&processes](std::string path, auto& tool) {
        processes.addInstalledProgram(std::move(path), [&tool](const ToolArguments& arguments) {
            return tool.run(arguments);
        });
    };
    add(anyBundlesModeHelper(), modeHelper_);
    add(ProgramBundle::kPowerHelper.installedPath(), powerHelper_);
    add(ProgramBundle::kLowDataHelper.installedPath(), lowDataHelper_);
    add(ProgramBundle::kChargeHelper.installedPath(), chargeHelper_);
}

AdministratorPrompt& SystemTools::administratorPrompt() {
    return doShellScript_->administratorPrompt();
}

void SystemTools::failDefaultsWrites(std::string domain, int status, std::string error) {
    defaults_.failWrites(std::move(domain), status, std::move(error));
}

void SystemTools::restoreDefaultsWrites(std::string_view domain) {
    defaults_.restoreWrites(domain);
}

void SystemTools::onOpenApplication(std::function<bool(const OpenRequest&)> handler) {
    open_.onOpenApplication(std::move(handler));
}

void SystemTools::addShellScript(std::string text, ShellScriptHandler handler) {
    shell_.addScript(std::move(text), std::move(handler));
}

void SystemTools::addShellScriptMatcher(ShellScriptMatcher matcher) {
    shell_.addMatcher(std::move(matcher));
}

}  // namespace parvel::sim
