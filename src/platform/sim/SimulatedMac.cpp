#include "platform/sim/SimulatedMac.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "platform/PlistCodec.h"
#include "platform/posix/CurlHttp.h"
#include "platform/posix/PlistDefaults.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixProcesses.h"
#include "platform/posix/SeededRandomness.h"
#include "platform/sim/ProgramBundle.h"
#include "platform/sim/RecordingDefaults.h"
#include "platform/sim/SimAccessibility.h"
#include "platform/sim/SimAppleScript.h"
#include "platform/sim/SimApplication.h"
#include "platform/sim/SimAudio.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimEvents.h"
#include "platform/sim/SimIntents.h"
#include "platform/sim/SimKeychain.h"
#include "platform/sim/SimNetworkPath.h"
#include "platform/sim/SimPasteboard.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimProcessInfo.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimSpeech.h"
#include "platform/sim/SimWindowServer.h"
#include "platform/sim/SimWorkspace.h"
#include "platform/sim/Trace.h"
#include "platform/sim/TracingLog.h"
#include "platform/sim/tools/SystemTools.h"
#include "platform/sim/world/AccessibilityTree.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Displays.h"
#include "platform/sim/world/Dock.h"
#include "platform/sim/world/Finder.h"
#include "platform/sim/world/Hardware.h"
#include "platform/sim/world/Permissions.h"
#include "platform/sim/world/Power.h"

namespace parvel::sim {

namespace {

constexpr std::string_view kFinderName = "Finder";
constexpr std::string_view kSystemEventsIdentifier = "com.apple.systemevents";
constexpr std::string_view kSystemEventsName = "System Events";

// The scripts Finder and System Events answer, as the program sends them.
constexpr std::string_view kFinderNameScript = "tell application \"Finder\" to get name";
constexpr std::string_view kMenuBarScript =
    "tell application \"System Events\" to get autohide menu bar of dock preferences";
constexpr std::string_view kDarkModeScriptPrefix =
    "tell application \"System Events\" to tell appearance preferences to set dark mode to ";
constexpr std::string_view kSleepScript = "tell application \"System Events\" to sleep";
constexpr std::string_view kSelectionScript =
    "tell application \"Finder\"\n  set outText to \"\"\n  try\n    set selectedAliases to "
    "selection as alias list\n    repeat with anAlias in selectedAliases\n      set outText to "
    "outText & POSIX path of anAlias & linefeed\n    end repeat\n  end try\n  return outText\nend "
    "tell";
constexpr std::string_view kInsertionLocationScript =
    "tell application \"Finder\"\n  try\n    -- Finder's insertion location follows the active "
    "folder context and also\n    -- resolves to Desktop when the Desktop itself owns the Finder "
    "focus.\n    return POSIX path of (insertion location as alias)\n  end try\n  try\n    if "
    "(count of Finder windows) > 0 then\n      return POSIX path of (target of front Finder "
    "window as alias)\n    end if\n  end try\n  return POSIX path of (desktop as alias)\nend tell";

// A fresh sandbox folder, in memory where the machine offers a tmpfs so that the preferences'
// synchronous writes cost nothing.
std::string makeSandbox() {
    const std::string parent = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
    std::string pattern = parent + "/parvelmac-sim-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("could not create the simulated Mac's sandbox in " + parent);
    }
    return pattern;
}

}  // namespace

// Declared in dependency order: each part may refer to the ones above it.
struct SimulatedMac::Parts {
    Parts(SimulatedMac& mac, const SimulatedMacOptions& options)
        : trace(mac.dispatch_),
          files(mac.sandboxRoot_),
          log(trace),
          storedDefaults(mac.homeDirectory() + "/Library/Preferences", files, log),
          defaults(storedDefaults),
          applications(mac.dispatch_, trace),
          tree(applications, displays, trace),
          finder(applications, tree, files, defaults, trace, mac.homeDirectory()),
          dock(applications, tree, defaults, displays, trace),
          pasteboard(trace),
          power(trace),
          hardware(trace),
          events(mac.dispatch_, applications, displays, permissions, hardware, trace, kOwnPid),
          workspace(applications, finder, files, trace, mac.homeDirectory() + "/.Trash"),
          accessibility(tree, permissions, trace),
          windowServer(applications, displays, permissions, trace, kOwnPid),
          processes(applications, files, trace, kOwnPid, hostProcesses),
          appleScript(permissions, trace),
          network(trace),
          speech(trace),
          bundle(files, options.bundlePath),
          processInfo(options.userId, mac.homeDirectory()),
          presenter(mac.dispatch_, trace),
          application(std::make_unique<SimApplication>(mac.dispatch_, trace)),
          keychain(&trace),
          randomness(options.randomSeed) {}

    Trace trace;
    posix::PosixFileSystem files;
    TracingLog log;
    posix::PlistDefaults storedDefaults;
    RecordingDefaults defaults;
    Displays displays;
    Permissions permissions;
    Applications applications;
    AccessibilityTree tree;
    Finder finder;
    Dock dock;
    SimPasteboard pasteboard;
    Power power;
    Hardware hardware;
    SimEvents events;
    SimWorkspace workspace;
    SimAccessibility accessibility;
    SimWindowServer windowServer;
    posix::PosixProcesses hostProcesses;
    SimProcesses processes;
    SimAppleScript appleScript;
    SimNetworkPath network;
    SimSpeech speech;
    SimBundle bundle;
    SimProcessInfo processInfo;
    SimPresenter presenter;
    std::unique_ptr<SimApplication> application;  // one per process of the program
    SimKeychain keychain;
    SimIntents intents;
    SimAudio audio{permissions, trace};
    // The network is real: requests leave the simulated Mac (to loopback fakes in tests).
    posix::CurlHttp http;
    posix::SeededRandomness randomness;
};

SimulatedMac::SimulatedMac(SimulatedMacOptions options)
    : dispatch_(options.clock), userName_(options.userName), sandboxRoot_(options.sandboxRoot) {
    if (sandboxRoot_.empty()) {
        sandboxRoot_ = makeSandbox();
        ownsSandbox_ = true;
    }
    parts_ = std::make_unique<Parts>(*this, options);
    createFolders();

    Parts& parts = *parts_;
    parts.defaults.onChange([this](const DefaultsChange& change) {
        trace().record("defaults", change.value
                                       ? fmt::format("write {} {} = {}", change.domain, change.key,
                                                     describe(*change.value))
                                       : fmt::format("delete {} {}", change.domain, change.key));
    });
    parts.applications.adopt(kOwnPid, {std::string(SimBundle::kBundleIdentifier),
                                       "ParvelMac",
                                       parts.application->activationPolicy(),
                                       QuitBehaviour::Quit,
                                       {},
                                       options.bundlePath + "/Contents/MacOS/ParvelMac"});
    connectOwnApplication();
    parts.applications.onLaunch([this](const SimApp& app) {
        if (app.spec.bundleIdentifier == Finder::kBundleIdentifier && finder().pid() != 0) {
            finder().relaunched(app.pid);
        }
        if (app.spec.bundleIdentifier == Dock::kBundleIdentifier && dock().pid() != 0) {
            dock().relaunched(app.pid);
        }
    });
    parts.dock.launch();
    parts.finder.launch();
    installSystemScripts();
    systemTools_ = std::make_unique<SystemTools>(*this);
    ProgramBundle(parts.files, parts.trace).emulateSetupScript(*systemTools_);

    platform_.dispatch = &dispatch_;
    platform_.randomness = &parts.randomness;
    platform_.defaults = &parts.defaults;
    platform_.processes = &parts.processes;
    platform_.fileSystem = &parts.files;
    platform_.workspace = &parts.workspace;
    platform_.accessibility = &parts.accessibility;
    platform_.events = &parts.events;
    platform_.windowServer = &parts.windowServer;
    platform_.pasteboard = &parts.pasteboard;
    platform_.appleScript = &parts.appleScript;
    platform_.networkPath = &parts.network;
    platform_.speech = &parts.speech;
    platform_.bundle = &parts.bundle;
    platform_.processInfo = &parts.processInfo;
    platform_.log = &parts.log;
    platform_.presenter = &parts.presenter;
    platform_.keychain = &parts.keychain;
    platform_.audio = &parts.audio;
    platform_.intents = &parts.intents;
    platform_.http = &parts.http;
}

SimulatedMac::~SimulatedMac() {
    dispatch_.shutdown();
    systemTools_.reset();
    parts_.reset();
    if (ownsSandbox_) {
        std::error_code ignored;
        std::filesystem::remove_all(sandboxRoot_, ignored);
    }
}

// This program's application object, presenter and events follow one another as on a Mac: an
// activated program is the frontmost application, its key presses pass its local monitors.
void SimulatedMac::connectOwnApplication() {
    Parts& parts = *parts_;
    parts.application->connectPresenter(&parts.presenter);
    parts.application->onActivate([this] { applications().activate(kOwnPid); });
    parts.application->onActivationPolicyChange([this](platform::ActivationPolicy policy) {
        applications().setActivationPolicy(kOwnPid, policy);
    });
    platform_.application = parts.application.get();
    parts.presenter.setLocalKeyMonitors(
        [this](const platform::Event& event) { return events().offerToLocalMonitors(event); });
}

void SimulatedMac::createFolders() {
    auto& files = parts_->files;
    const std::string home = homeDirectory();
    for (const auto& folder :
         {home + "/Desktop", home + "/Documents", home + "/Downloads", home + "/.Trash",
          home + "/Library/Preferences", home + "/Library/LaunchAgents", std::string("/tmp"),
          std::string("/Library/PrivilegedHelperTools"), bundle().resourcesPath(),
          bundle().builtInPlugInsPath(), bundle().bundlePath() + "/Contents/MacOS"}) {
        if (auto created = files.createDirectories(folder); !created) {
            throw std::runtime_error(fmt::format("could not create {} in the sandbox: {}", folder,
                                                 created.error().description));
        }
    }
    ProgramBundle(files, trace()).install(bundle().bundlePath());
}

void SimulatedMac::installSystemScripts() {
    SimAppleScript& scripts = appleScript();
    const std::string finderIdentifier(Finder::kBundleIdentifier);
    const std::string finderName(kFinderName);
    const std::string eventsIdentifier(kSystemEventsIdentifier);
    const std::string eventsName(kSystemEventsName);

    scripts.addScript(std::string(kFinderNameScript), finderIdentifier, finderName,
                      [] { return ScriptResult(std::string(kFinderName)); });
    scripts.addScript(std::string(kMenuBarScript), eventsIdentifier, eventsName,
                      [] { return ScriptResult("false"); });
    scripts.addScript(std::string(kSleepScript), eventsIdentifier, eventsName, [this] {
        power().requestSleep();
        return ScriptResult("");
    });
    scripts.addScript(std::string(kSelectionScript), finderIdentifier, finderName, [this] {
        std::string text;
        for (const auto& path : finder().selection()) {
            text += path + "\n";
        }
        return ScriptResult(text);
    });
    scripts.addScript(std::string(kInsertionLocationScript), finderIdentifier, finderName,
                      [this] { return ScriptResult(finder().insertionLocation()); });
    for (const bool dark : {true, false}) {
        scripts.addScript(std::string(kDarkModeScriptPrefix) + (dark ? "true" : "false"),
                          eventsIdentifier, eventsName, [this, dark] {
                              setDarkMode(dark);
                              return ScriptResult("");
                          });
    }
}

bool SimulatedMac::darkMode() const {
    return parts_->presenter.isDarkAppearance();
}

void SimulatedMac::setDarkMode(bool dark) {
    if (darkMode() != dark) {
        parts_->presenter.setDarkAppearance(dark);
        trace().record("appearance", dark ? "dark" : "light");
    }
}

Trace& SimulatedMac::trace() {
    return parts_->trace;
}
Applications& SimulatedMac::applications() {
    return parts_->applications;
}
Displays& SimulatedMac::displays() {
    return parts_->displays;
}
AccessibilityTree& SimulatedMac::accessibilityTree() {
    return parts_->tree;
}
Finder& SimulatedMac::finder() {
    return parts_->finder;
}
Dock& SimulatedMac::dock() {
    return parts_->dock;
}
Permissions& SimulatedMac::permissions() {
    return parts_->permissions;
}
Power& SimulatedMac::power() {
    return parts_->power;
}
Hardware& SimulatedMac::hardware() {
    return parts_->hardware;
}
int SimulatedMac::sleepRequests() const {
    return parts_->power.sleepRequests();
}
SimPasteboard& SimulatedMac::pasteboard() {
    return parts_->pasteboard;
}
SimEvents& SimulatedMac::events() {
    return parts_->events;
}
SimWorkspace& SimulatedMac::workspace() {
    return parts_->workspace;
}
SimProcesses& SimulatedMac::processes() {
    return parts_->processes;
}
SimAppleScript& SimulatedMac::appleScript() {
    return parts_->appleScript;
}
SimNetworkPath& SimulatedMac::network() {
    return parts_->network;
}
SimSpeech& SimulatedMac::speech() {
    return parts_->speech;
}
SimBundle& SimulatedMac::bundle() {
    return parts_->bundle;
}
SimProcessInfo& SimulatedMac::processInfo() {
    return parts_->processInfo;
}
TracingLog& SimulatedMac::log() {
    return parts_->log;
}
SimPresenter& SimulatedMac::presenter() {
    return parts_->presenter;
}
SimKeychain& SimulatedMac::keychain() {
    return parts_->keychain;
}
SimIntents& SimulatedMac::intents() {
    return parts_->intents;
}
SimApplication& SimulatedMac::application() {
    return *parts_->application;
}

void SimulatedMac::endProgramProcess() {
    parts_->presenter.forgetProgram();
}

void SimulatedMac::startNewProgramProcess() {
    parts_->application = std::make_unique<SimApplication>(dispatch_, trace());
    applications().setActivationPolicy(kOwnPid, parts_->application->activationPolicy());
    connectOwnApplication();
}
SimAudio& SimulatedMac::audio() {
    return parts_->audio;
}
SystemTools& SimulatedMac::systemTools() {
    return *systemTools_;
}
platform::FileSystem& SimulatedMac::files() {
    return parts_->files;
}
platform::Defaults& SimulatedMac::defaults() {
    return parts_->defaults;
}

}  // namespace parvel::sim
