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

AppDelegate::AppDelegate(const platform::Platform& platform)
    : platform_(platform),
      settingsStore_(need(platform.defaults, "defaults")),
      runner_(need(platform.processes, "processes")),
      keychain_(need(platform.keychain, "keychain")),
      chatGPT_(settingsStore_, keychain_, need(platform.http, "http"),
               need(platform.processInfo, "process info"), need(platform.log, "log")),
      askAI_(chatGPT_),
      loginAgent_(settingsStore_, runner_, need(platform.fileSystem, "file system"),
                  need(platform.processInfo, "process info"), need(platform.log, "log"),
                  need(platform.presenter, "presenter")),
      installedComponents_(std::make_shared<InstalledComponents>(
          need(platform.bundle, "bundle"), need(platform.fileSystem, "file system"), runner_,
          need(platform.dispatch, "dispatch"), need(platform.presenter, "presenter"),
          need(platform.log, "log"))),
      lowDataPathMonitor_(need(platform.networkPath, "network path").makeMonitor()),
      lowDataMonitorQueue_(
          need(platform.dispatch, "dispatch")
              .makeSerialQueue("com.tarnby.parvelmac.lowDataMonitor", QualityOfService::Default)),
      actuators_({runner_, *platform.fileSystem, *platform.bundle, need(platform.events, "events"),
                  *platform.dispatch, *platform.presenter,
                  need(platform.application, "application"),
                  need(platform.appleScript, "AppleScript")}),
      lowDataMode_({runner_, *platform.fileSystem, *lowDataPathMonitor_, *platform.dispatch,
                    *platform.presenter, actuators_}),
      systemModes_(
          {settingsStore_, actuators_, lowDataMode_, quitNoWindowsDelay_, *platform.dispatch}),
      batteryCare_({settingsStore_, runner_, *platform.fileSystem, *platform.dispatch,
                    *platform.presenter, *platform.application, *platform.appleScript}),
      finderSupport_(
          {need(platform.appleScript, "AppleScript"), need(platform.accessibility, "accessibility"),
           need(platform.workspace, "workspace"), need(platform.processInfo, "process info")}),
      windowsStyleDelete_({finderSupport_, *platform.accessibility, *platform.workspace,
                           need(platform.presenter, "presenter"), need(platform.events, "events"),
                           need(platform.application, "application")}),
      clipboardHistory_({need(platform.pasteboard, "pasteboard"), settingsStore_,
                         need(platform.dispatch, "dispatch"), need(platform.presenter, "presenter"),
                         need(platform.application, "application")}),
      shortcuts_({need(platform.accessibility, "accessibility"), need(platform.events, "events"),
                  need(platform.workspace, "workspace"), need(platform.dispatch, "dispatch")}),
      finderUpgrades_({finderSupport_, need(platform.pasteboard, "pasteboard"),
                       need(platform.fileSystem, "file system"), *platform.presenter,
                       *platform.workspace, *platform.application}),
      statusMenu_(settingsStore_, need(platform.bundle, "bundle"),
                  need(platform.presenter, "presenter")),
      updateCheckQueue_(platform.dispatch->makeSerialQueue("com.tarnby.parvelmac.updateCheck",
                                                           QualityOfService::Utility)) {
    // The Ask AI action is offered to the system whether or not the features may start.
    need(platform.intents, "intents").registerIntent(askAI_.description());
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
    return platform_.accessibility->isProcessTrusted() &&
           platform_.windowServer->preflightScreenCaptureAccess() &&
           platform_.events->preflightListenEventAccess();
}

bool AppDelegate::hasArgument(std::string_view argument) const {
    const auto arguments = platform_.processInfo->arguments();
    return std::ranges::find(arguments, argument) != arguments.end();
}

void AppDelegate::applicationDidFinishLaunching() {
    platform_.application->setActivationPolicy(ActivationPolicy::Accessory);
    if (hasArgument(kUnregisterSwitch)) {
        unregisterLoginAgentAndQuit();
        return;
    }
    settingsStore_.initializeDefaults();
    const bool background = hasArgument(kBackgroundSwitch);
    if (!permissionsPresent()) {
        // Nothing starts in this process; the gate relaunches a new one once everything is granted.
        if (background) {
            platform_.log->write("startup deferred; required macOS permissions missing");
        } else if (!permissionGate_) {
            permissionGate_ = std::make_unique<PermissionGateWindowController>(
                PermissionGateWindowController::Services{
                    *platform_.presenter, *platform_.application, *platform_.accessibility,
                    *platform_.windowServer, *platform_.events, *platform_.appleScript,
                    *platform_.workspace, *platform_.dispatch, *platform_.bundle, runner_});
            permissionGate_->begin();
        }
        return;
    }
    menuRefreshTimer_ = platform_.dispatch->main().scheduleRepeating(
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
    (void)platform_.fileSystem->removeItem(plist);
    platform_.application->terminate();
}

// The stored mode is re-applied off the main thread, a fresh baseline captured first in Normal.
void AppDelegate::runStartupModeDecision(bool background) {
    systemModes_.applyStoredModeAtLaunch(weakly([this, background] {
        if (!background) {
            loginAgent_.configureStartAtLoginIfNeeded();
        }
        platform_.dispatch->main().async(
            weakly([this] { platform_.intents->updateAppShortcutParameters(); }));
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
    platform_.dispatch->main().asyncAfter(kSettingsPushDelay,
                                          weakly([this] { applyPersistedRuntimeSettings(); }));
}

StatusMenuController::Actions AppDelegate::statusMenuActions() {
    return {
        .showSettings = weakly([this] { showSettings(); }),
        .quit = weakly([this] { platform_.application->terminate(); }),
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
        platform_.application->beep();
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
        platform_.presenter->runModal({ui::AlertStyle::Warning,
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
        platform_.events->post(key, platform::EventSource::HIDSystemState);
    }
}

std::vector<KeyRemapRule> AppDelegate::loadKeyRemaps() const {
    return decodeKeyRemapRules(settingsStore_.data(keys::keyboardRemapRulesKey));
}

void AppDelegate::setupSettingsWindow() {
    settings_ = std::make_unique<SettingsWindowController>(SettingsWindowController::Services{
        settingsStore_, *platform_.presenter, *platform_.accessibility, *platform_.windowServer,
        *platform_.events, *platform_.workspace, runner_});
    settings_->onStartAtLoginChanged =
        weakly([this](bool enabled) { loginAgent_.setStartAtLogin(enabled); });
    settings_->onWindowClosed =
        weakly([this] { platform_.application->setActivationPolicy(ActivationPolicy::Accessory); });
}

void AppDelegate::selectSettingsSection() {
    settings_->select(permissionsPresent() ? Section::general : Section::permissions);
}

void AppDelegate::showSettings() {
    platform_.application->setActivationPolicy(ActivationPolicy::Regular);
    if (!settings_) {
        // A process still behind the permission gate has no settings window to show.
        return;
    }
    settings_->refreshPermissionStatus();
    selectSettingsSection();
    platform_.presenter->showWindow(settings_->window(), true, true);
    platform_.application->activate(true);
    platform_.dispatch->main().async(weakly([this] {
        settings_->prepareForPresentation();
        platform_.presenter->showWindow(settings_->window(), true, true);
    }));
}

void AppDelegate::applyPersistedRuntimeSettings() {
    if (!permissionsPresent()) {
        platform_.log->write(
            "runtime settings deferred until all required permissions are granted");
        return;
    }
    audioMixer_.setEnabled(true);
    audioMixer_.start();
    const bool doubleTapDrag = settingsStore_.boolOr(keys::doubleTapDragEnabledKey, true);
    const bool hiddenFilesVisible = settingsStore_.boolValue(keys::hiddenFilesVisibleKey);
    platform_.dispatch->global(QualityOfService::Utility)
        .async(weakly([this, doubleTapDrag, hiddenFilesVisible] {
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
