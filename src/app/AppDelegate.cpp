#include "app/AppDelegate.h"

#include <algorithm>

#include "core/SettingsKeys.h"
#include "platform/Accessibility.h"
#include "platform/Events.h"
#include "platform/Intents.h"
#include "platform/KeyCodes.h"
#include "platform/Log.h"
#include "platform/ProcessInfo.h"
#include "platform/WindowServer.h"
#include "ui/Alert.h"

namespace parvel {

namespace keys = settings_keys;
using platform::ActivationPolicy;
using platform::need;
using platform::QualityOfService;
using Section = SettingsWindowController::Section;

namespace {

constexpr std::string_view kBackgroundSwitch = "--background";
constexpr std::string_view kUnregisterSwitch = "--unregister-login-agent";
constexpr std::string_view kLaunchctl = "/bin/launchctl";
constexpr std::string_view kOpen = "/usr/bin/open";
constexpr platform::Duration kMenuRefreshInterval = platform::seconds(15);
constexpr platform::Duration kSettingsPushDelay = platform::seconds(0.05);
constexpr std::string_view kPasteFailedMessage = "Could not paste items";

// The stored mode when the key holds a string, else the fallback. The two call sites use
// different fallbacks on purpose: Launchpad when the interface is built, the system's own
// behaviour when the settings are applied again.
LeftOptionMode storedLeftOptionMode(const SettingsStore& settings, LeftOptionMode fallback) {
    const auto stored = settings.object(keys::leftOptionHookModeKey);
    const auto name = stored ? stored->asString() : std::nullopt;
    return name ? leftOptionModeNamed(*name) : fallback;
}

}  // namespace

AppDelegate::Services AppDelegate::Services::resolve(const platform::Platform& platform) {
    return {.dispatch = need(platform.dispatch, "dispatch"),
            .defaults = need(platform.defaults, "defaults"),
            .processes = need(platform.processes, "processes"),
            .fileSystem = need(platform.fileSystem, "file system"),
            .workspace = need(platform.workspace, "workspace"),
            .accessibility = need(platform.accessibility, "accessibility"),
            .events = need(platform.events, "events"),
            .windowServer = need(platform.windowServer, "window server"),
            .pasteboard = need(platform.pasteboard, "pasteboard"),
            .appleScript = need(platform.appleScript, "AppleScript"),
            .keychain = need(platform.keychain, "keychain"),
            .networkPath = need(platform.networkPath, "network path"),
            .http = need(platform.http, "http"),
            .bundle = need(platform.bundle, "bundle"),
            .processInfo = need(platform.processInfo, "process info"),
            .log = need(platform.log, "log"),
            .application = need(platform.application, "application"),
            .presenter = need(platform.presenter, "presenter"),
            .intents = need(platform.intents, "intents"),
            .randomness = need(platform.randomness, "randomness")};
}

AppDelegate::AppDelegate(const platform::Platform& platform)
    : services_(Services::resolve(platform)),
      settingsStore_(services_.defaults),
      runner_(services_.processes),
      keychain_(services_.keychain),
      chatGPT_(settingsStore_, keychain_, services_.http, services_.processInfo, services_.log),
      askAI_(chatGPT_),
      loginAgent_(settingsStore_, runner_, services_.fileSystem, services_.processInfo,
                  services_.log, services_.presenter),
      installedComponents_(std::make_shared<InstalledComponents>(
          services_.bundle, services_.fileSystem, runner_, services_.dispatch, services_.presenter,
          services_.log)),
      lowDataPathMonitor_(services_.networkPath.makeMonitor()),
      lowDataMonitorQueue_(services_.dispatch.makeSerialQueue("com.tarnby.parvelmac.lowDataMonitor",
                                                              QualityOfService::Default)),
      actuators_({runner_, services_.fileSystem, services_.bundle, services_.events,
                  services_.dispatch, services_.presenter, services_.application,
                  services_.appleScript}),
      lowDataMode_({runner_, services_.fileSystem, *lowDataPathMonitor_, services_.dispatch,
                    services_.presenter, actuators_}),
      systemModes_(
          {settingsStore_, actuators_, lowDataMode_, quitNoWindowsDelay_, services_.dispatch}),
      batteryCare_({settingsStore_, runner_, services_.fileSystem, services_.dispatch,
                    services_.presenter, services_.application, services_.appleScript}),
      finderSupport_({services_.appleScript, services_.accessibility, services_.workspace,
                      services_.processInfo}),
      windowsStyleDelete_({finderSupport_, services_.accessibility, services_.workspace,
                           services_.presenter, services_.events, services_.application}),
      clipboardHistory_({services_.pasteboard, settingsStore_, services_.dispatch,
                         services_.presenter, services_.application, services_.randomness}),
      shortcuts_(
          {services_.accessibility, services_.events, services_.workspace, services_.dispatch}),
      finderUpgrades_({finderSupport_, services_.pasteboard, services_.fileSystem,
                       services_.presenter, services_.workspace, services_.application}),
      statusMenu_(settingsStore_, services_.bundle, services_.presenter),
      updateCheckQueue_(services_.dispatch.makeSerialQueue("com.tarnby.parvelmac.updateCheck",
                                                           QualityOfService::Utility)) {
    // The Ask AI action is offered to the system whether or not the features may start.
    services_.intents.registerIntent(askAI_.description());
    wireSystemModes();
}

// What the modes and battery care impose on other controllers and on the menu, always on the
// main queue.
void AppDelegate::wireSystemModes() {
    systemModes_.onDockPreviewMode = weakly([this](bool enabled, bool) {
        dockPreviews_.setEnabled(enabled);
        enabled ? dockPreviews_.start() : dockPreviews_.stop();
    });
    systemModes_.updateMenuStates = weakly([this] { statusMenu_.updateMenuStates(); });
    batteryCare_.updateMenuStates = weakly([this] { statusMenu_.updateMenuStates(); });
}

// The mode jobs use controllers declared after the mode controller, so they end first.
AppDelegate::~AppDelegate() {
    lifetime_.end();
    systemModes_.finishJobs();
}

bool AppDelegate::permissionsPresent() const {
    return services_.accessibility.isProcessTrusted() &&
           services_.windowServer.preflightScreenCaptureAccess() &&
           services_.events.preflightListenEventAccess();
}

bool AppDelegate::hasArgument(std::string_view argument) const {
    const auto arguments = services_.processInfo.arguments();
    return std::ranges::find(arguments, argument) != arguments.end();
}

void AppDelegate::applicationDidFinishLaunching() {
    services_.application.setActivationPolicy(ActivationPolicy::Accessory);
    if (hasArgument(kUnregisterSwitch)) {
        unregisterLoginAgentAndQuit();
        return;
    }
    settingsStore_.initializeDefaults();
    const bool background = hasArgument(kBackgroundSwitch);
    if (!permissionsPresent()) {
        // Nothing starts in this process; the gate relaunches a new one once everything is granted.
        if (background) {
            services_.log.write("startup deferred; required macOS permissions missing");
        } else if (!permissionGate_) {
            permissionGate_ = std::make_unique<PermissionGateWindowController>(
                PermissionGateWindowController::Services{
                    services_.presenter, services_.application, services_.accessibility,
                    services_.windowServer, services_.events, services_.appleScript,
                    services_.workspace, services_.dispatch, services_.bundle, runner_});
            permissionGate_->begin();
        }
        return;
    }
    menuRefreshTimer_ = services_.dispatch.main().scheduleRepeating(
        {.startDelay = kMenuRefreshInterval, .interval = kMenuRefreshInterval, .commonModes = true},
        weakly([this] { statusMenu_.updateMenuStates(); }));
    startMainUI(!background);
    updates_.scheduleUpdateChecks(background);
    lowDataPathMonitor_->start(
        *lowDataMonitorQueue_,
        weakly([this](const platform::NetworkPathState& path) { lowDataMode_.pathUpdated(path); }));
    batteryCare_.resumeChargeFullOnceIfNeeded();
    batteryCare_.refreshPreserveBatteryHealthMonitor();
    batteryCare_.reapplyBatteryCareModeIfNeeded();
    // Re-asserting a stored charge limit explains again why it cannot be applied here.
    if (!settingsStore_.boolValue(keys::preserveBatteryHealthEnabledKey) &&
        !settingsStore_.boolValue(keys::adapterOnlyModeEnabledKey) &&
        settingsStore_.boolValue(keys::chargeLimiterEnabledKey)) {
        (void)batteryCare_.setChargeLimiterEnabled(true);
    }
    if (!background) {
        installedComponents_->bootstrapDragInstalledComponentsIfNeeded();
    }
    runStartupModeDecision(background);
}

void AppDelegate::unregisterLoginAgentAndQuit() {
    const std::string plist = loginAgent_.agentPlistPath();
    runner_.runProcess(kLaunchctl, {"bootout", loginAgent_.userDomain(), plist});
    // The process quits at once with no window to report in; launchd has let go of the agent.
    (void)services_.fileSystem.removeItem(plist);
    services_.application.terminate();
}

// The stored mode is re-applied off the main thread, a fresh baseline captured first in Normal.
void AppDelegate::runStartupModeDecision(bool background) {
    systemModes_.applyStoredModeAtLaunch(weakly([this, background] {
        if (!background) {
            loginAgent_.configureStartAtLoginIfNeeded();
        }
        services_.dispatch.main().async(
            weakly([this] { services_.intents.updateAppShortcutParameters(); }));
    }));
}

void AppDelegate::startMainUI(bool showWindow) {
    if (mainUIStarted_) {
        if (showWindow) {
            showSettings();
        }
        return;
    }
    mainUIStarted_ = true;
    shortcuts_.clipboardEnabled = settingsStore_.boolValue(keys::clipboardHistoryEnabledKey);
    shortcuts_.windowsDeleteEnabled = settingsStore_.boolValue(keys::windowsStyleDeleteEnabledKey);
    configureShortcutKeys(LeftOptionMode::launchpad);
    installShortcutCallbacks();
    keyboardRemap_.rules = loadKeyRemaps();
    statusMenu_.setupMenuBar(statusMenuActions());
    lowDataMode_.setSwitch(statusMenu_.lowDataModeSwitch());
    batteryCare_.setSwitch(statusMenu_.chargeLimiterSwitch());
    setupSettingsWindow();
    selectSettingsSection();
    permissionGate_.reset();
    if (showWindow) {
        showSettings();
    }
    services_.dispatch.main().asyncAfter(kSettingsPushDelay,
                                         weakly([this] { applyPersistedRuntimeSettings(); }));
}

StatusMenuController::Actions AppDelegate::statusMenuActions() {
    return {
        .showSettings = weakly([this] { showSettings(); }),
        .quit = weakly([this] { services_.application.terminate(); }),
        .selectSystemMode =
            weakly([this](SystemMode mode) { systemModes_.switchSystemMode(mode); }),
        .toggleDarkMode = weakly([this](bool) {
            actuators_.toggleSystemDarkMode(statusMenu_.darkModeSwitch(),
                                            weakly([this] { statusMenu_.updateMenuStates(); }));
        }),
        .toggleChargeLimiter =
            weakly([this](bool requested) { batteryCare_.toggleChargeLimiterSwitch(requested); }),
        .toggleLowDataMode =
            weakly([this](bool requested) { lowDataMode_.toggleLowDataModeSwitch(requested); }),
    };
}

void AppDelegate::configureShortcutKeys(LeftOptionMode leftOptionFallback) {
    shortcuts_.clipboardKeyCode = settingsStore_.clipboardShortcutKeyCode();
    shortcuts_.clipboardFlags = settingsStore_.clipboardShortcutFlags();
    shortcuts_.leftOptionMode = storedLeftOptionMode(settingsStore_, leftOptionFallback);
}

void AppDelegate::installShortcutCallbacks() {
    shortcuts_.onClipboard = weakly([this] { clipboardHistory_.showHistory(); });
    shortcuts_.onWindowsDelete =
        weakly([this] { windowsStyleDelete_.confirmWindowsStyleDelete(); });
    shortcuts_.shouldHandleFinderPaste = [this] { return finderUpgrades_.hasManagedTransfer(); };
    shortcuts_.onFinderFileShortcut =
        weakly([this](FinderFileShortcut shortcut) { performFinderFileShortcut(shortcut); });
    shortcuts_.onLeftOptionAction =
        weakly([this](LeftOptionMode mode) { performLeftOptionAction(mode); });
}

void AppDelegate::performFinderFileShortcut(FinderFileShortcut shortcut) {
    switch (shortcut) {
        case FinderFileShortcut::cut:
            captureFinderSelection(TransferOperation::cut);
            break;
        case FinderFileShortcut::copy:
            captureFinderSelection(TransferOperation::copy);
            break;
        case FinderFileShortcut::paste:
            pasteManagedItems();
            break;
    }
}

// From the keyboard, a selection that cannot be taken sounds the system beep.
void AppDelegate::captureFinderSelection(TransferOperation operation) {
    if (!finderUpgrades_.captureSelection(operation)) {
        services_.application.beep();
    }
}

void AppDelegate::performFinderAction(const std::string& action) {
    if (action == "cut") {
        (void)finderUpgrades_.captureSelection(TransferOperation::cut);
    } else if (action == "paste") {
        pasteManagedItems();
    } else if (action == "moveTo") {
        finderUpgrades_.moveSelectionToFolder();
    }
}

void AppDelegate::pasteManagedItems() {
    if (const auto pasted = finderUpgrades_.pasteManagedItems(std::nullopt); !pasted) {
        services_.presenter.runModal({ui::AlertStyle::Warning,
                                      std::string(kPasteFailedMessage),
                                      pasted.error().description,
                                      {{"OK"}},
                                      nullptr});
    }
}

void AppDelegate::performLeftOptionAction(LeftOptionMode mode) {
    switch (mode) {
        case LeftOptionMode::launchpad:
            openLaunchpad();
            break;
        case LeftOptionMode::spotlight:
            postSpotlightShortcut();
            break;
        case LeftOptionMode::systemDefault:
        case LeftOptionMode::unrecognised:
            break;
    }
}

void AppDelegate::openLaunchpad() {
    // Launchpad not opening is no error worth telling: the key press simply does nothing.
    (void)runner_.launchDetached(kOpen, {"-a", "Launchpad"});
}

// Command+Space, as the keyboard would send it.
void AppDelegate::postSpotlightShortcut() {
    for (const auto type : {platform::EventType::KeyDown, platform::EventType::KeyUp}) {
        platform::Event key;
        key.type = type;
        key.flags = platform::event_flags::kCommand;
        key.setField(platform::EventField::KeyboardEventKeycode, platform::key_code::kSpace);
        services_.events.post(key, platform::EventSource::HIDSystemState);
    }
}

std::vector<KeyRemapRule> AppDelegate::loadKeyRemaps() const {
    return decodeKeyRemapRules(settingsStore_.data(keys::keyboardRemapRulesKey));
}

void AppDelegate::setupSettingsWindow() {
    settings_ = std::make_unique<SettingsWindowController>(SettingsWindowController::Services{
        settingsStore_, services_.presenter, services_.accessibility, services_.windowServer,
        services_.events, services_.workspace, runner_});
    settings_->onStartAtLoginChanged =
        weakly([this](bool enabled) { loginAgent_.setStartAtLogin(enabled); });
    settings_->onWindowClosed =
        weakly([this] { services_.application.setActivationPolicy(ActivationPolicy::Accessory); });
}

void AppDelegate::selectSettingsSection() {
    settings_->select(permissionsPresent() ? Section::general : Section::permissions);
}

void AppDelegate::showSettings() {
    services_.application.setActivationPolicy(ActivationPolicy::Regular);
    if (!settings_) {
        // A process still behind the permission gate has no settings window to show.
        return;
    }
    settings_->refreshPermissionStatus();
    selectSettingsSection();
    services_.presenter.showWindow(settings_->window(), true, true);
    services_.application.activate(true);
    services_.dispatch.main().async(weakly([this] {
        settings_->prepareForPresentation();
        services_.presenter.showWindow(settings_->window(), true, true);
    }));
}

void AppDelegate::applyPersistedRuntimeSettings() {
    if (!permissionsPresent()) {
        services_.log.write("runtime settings deferred until all required permissions are granted");
        return;
    }
    audioMixer_.setEnabled(true);
    audioMixer_.start();
    const bool doubleTapDrag = settingsStore_.boolOr(keys::doubleTapDragEnabledKey, true);
    const bool hiddenFilesVisible = settingsStore_.boolValue(keys::hiddenFilesVisibleKey);
    services_.dispatch.global(QualityOfService::Utility)
        .async(weakly([this, doubleTapDrag, hiddenFilesVisible] {
            // Re-applied at every launch; a trackpad preference that cannot be written stays as
            // the system has it.
            (void)trackpadDrag_.setEnabled(doubleTapDrag);
            desktopEnhancements_.setHiddenFilesVisible(hiddenFilesVisible);
        }));
    clipboardHistory_.setEnabled(settingsStore_.boolValue(keys::clipboardHistoryEnabledKey));

    // Battery Saver keeps Dock previews off without touching the saved choice.
    const bool previews = systemModes_.currentSystemMode() != SystemMode::batterySaver &&
                          settingsStore_.boolValue(keys::dockWindowPreviewsEnabledKey);
    const auto applySwitch = [](FeatureController& controller, bool enabled) {
        controller.setEnabled(enabled);
        enabled ? controller.start() : controller.stop();
    };
    applySwitch(dockPreviews_, previews);
    applySwitch(windowsMaximize_, settingsStore_.boolValue(keys::windowsStyleMaximizeEnabledKey));
    applySwitch(dockProgress_, settingsStore_.boolValue(keys::dockProgressEnabledKey));
    keyboardRemap_.rules = loadKeyRemaps();
    keyboardRemap_.setEnabled(settingsStore_.boolValue(keys::keyboardRemapEnabledKey));
    applySwitch(quitOnLastWindow_,
                settingsStore_.boolValue(keys::quitAppsWhenLastWindowClosesEnabledKey));
    systemModes_.applyQuitNoWindowsMode(systemModes_.currentSystemMode());
    settingsStore_.remove(keys::quickNewFolderContextEnabledKey);
    shortcuts_.clipboardEnabled = clipboardHistory_.isEnabled();
    shortcuts_.windowsDeleteEnabled = settingsStore_.boolValue(keys::windowsStyleDeleteEnabledKey);
    shortcuts_.cuttingEnabled = settingsStore_.boolOr(keys::enableCuttingEnabledKey, true);
    // The task switcher checks its own switch, so it is started either way.
    advancedTaskSwitcher_.setEnabled(
        settingsStore_.boolOr(keys::advancedTaskSwitcherEnabledKey, true));
    advancedTaskSwitcher_.start();
    applySwitch(mouseSideButtons_, settingsStore_.boolOr(keys::mouseSideButtonsEnabledKey, true));
    applySwitch(autoScroll_, settingsStore_.boolOr(keys::autoScrollEnabledKey, true));
    configureShortcutKeys(LeftOptionMode::systemDefault);
    shortcuts_.start();
    if (settings_) {
        settings_->refreshPermissionStatus();
    }
}

bool AppDelegate::applicationShouldHandleReopen(bool) {
    showSettings();
    return true;
}

void AppDelegate::applicationWillTerminate() {
    menuRefreshTimer_.cancel();
    audioMixer_.stop();
    clipboardHistory_.invalidateTimer();
    dockPreviews_.stop();
    windowsMaximize_.stop();
    desktopEnhancements_.invalidateTimer();
    systemModes_.stopBatterySaverBrightnessGuard();
    dockProgress_.stop();
    mouseEnhancements_.stop();
    mouseFocus_.invalidateTimer();
    keyboardRemap_.stop();
    mouseSideButtons_.stop();
    autoScroll_.stop();
    quitOnLastWindow_.stop();
    quitNoWindowsDelay_.stop();
    // No Normal re-capture timer exists to stop: the baseline is recorded only at fixed moments.
    // A running Charge Full Once cycle ends here, so the charge limit is restored before exit.
    if (settingsStore_.boolValue(keys::chargeFullOnceActiveKey)) {
        batteryCare_.finishChargeFullOnce();
    }
    batteryCare_.invalidateTimers();
    lowDataPathMonitor_->cancel();
}

}  // namespace parvel
