#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ai/AskAIIntent.h"
#include "ai/ChatGPTService.h"
#include "ai/KeychainStore.h"
#include "app/InstalledComponents.h"
#include "app/LoginAgent.h"
#include "app/PermissionGateWindowController.h"
#include "app/SettingsWindowController.h"
#include "app/StatusMenuController.h"
#include "app/UpdateController.h"
#include "audio/ParvelAudioMixer.h"
#include "base/Lifetime.h"
#include "clipboard/ClipboardHistoryController.h"
#include "core/ProcessRunner.h"
#include "core/SettingsStore.h"
#include "finder/DesktopEnhancementController.h"
#include "finder/FinderSupport.h"
#include "finder/FinderUpgradeController.h"
#include "finder/WindowsStyleDelete.h"
#include "input/AutoScrollController.h"
#include "input/GlobalShortcutController.h"
#include "input/KeyboardRemapController.h"
#include "input/MouseEnhancementController.h"
#include "input/MouseFocusController.h"
#include "input/MouseSideButtonsController.h"
#include "input/TrackpadDragManager.h"
#include "modes/BatteryCareController.h"
#include "modes/LowDataModeController.h"
#include "modes/SystemModeController.h"
#include "modes/SystemSettingActuators.h"
#include "platform/Application.h"
#include "platform/NetworkPath.h"
#include "platform/Platform.h"
#include "windows/AdvancedTaskSwitcherController.h"
#include "windows/DockPreviewController.h"
#include "windows/DockProgressController.h"
#include "windows/QuitAppsNoWindowsDelayController.h"
#include "windows/QuitOnLastWindowController.h"
#include "windows/WindowsMaximizeController.h"

namespace parvel {

// The spine of ParvelMac: owns one instance of every feature controller for the whole life of the
// process, brings them up in a fixed order once the three required permissions are present (or
// shows the permission gate instead), pushes the persisted settings into them, and stops them in
// a fixed order at exit. Everything here runs on the main thread; closures handed to queues and
// timers hold the delegate weakly.
class AppDelegate final : public platform::ApplicationDelegate {
  public:
    explicit AppDelegate(const platform::Platform& platform);
    ~AppDelegate() override;
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    // The start-up sequence.
    void applicationDidFinishLaunching() override;
    // Opening the running application again shows the settings, whatever else is visible.
    bool applicationShouldHandleReopen(bool hasVisibleWindows) override;
    // The shutdown sequence. A system mode other than Normal stays in force after quitting.
    void applicationWillTerminate() override;

    // Builds the menu and the settings window once, wires the shortcut callbacks and schedules
    // the application of the persisted settings.
    void startMainUI(bool showWindow);
    // Brings the settings window to the front, with a Dock icon while it shows.
    void showSettings();
    // Pushes every persisted switch to its controller; safe to call any number of times.
    void applyPersistedRuntimeSettings();
    // The settings window's Finder buttons: "cut", "paste" and "moveTo".
    void performFinderAction(const std::string& action);

    bool isMainUIStarted() const { return mainUIStarted_; }
    const PermissionGateWindowController* permissionGate() const { return permissionGate_.get(); }
    const SettingsWindowController* settingsWindow() const { return settings_.get(); }
    const ClipboardHistoryController& clipboardHistory() const { return clipboardHistory_; }
    const DockPreviewController& dockPreviews() const { return dockPreviews_; }
    const GlobalShortcutController& shortcuts() const { return shortcuts_; }
    const KeyboardRemapController& keyboardRemap() const { return keyboardRemap_; }
    const AdvancedTaskSwitcherController& advancedTaskSwitcher() const {
        return advancedTaskSwitcher_;
    }

  private:
    // Every service the delegate uses or hands out, each checked once before any controller is
    // built, so that no member can ever be given a null one whatever the order of the members.
    struct Services {
        platform::Dispatch& dispatch;
        platform::Defaults& defaults;
        platform::Processes& processes;
        platform::FileSystem& fileSystem;
        platform::Workspace& workspace;
        platform::Accessibility& accessibility;
        platform::Events& events;
        platform::WindowServer& windowServer;
        platform::Pasteboard& pasteboard;
        platform::AppleScript& appleScript;
        platform::Keychain& keychain;
        platform::NetworkPath& networkPath;
        platform::Http& http;
        platform::Bundle& bundle;
        platform::ProcessInfo& processInfo;
        platform::Log& log;
        platform::Application& application;
        platform::Presenter& presenter;
        platform::Intents& intents;
        platform::Randomness& randomness;

        // Fails loudly, naming the first service the adapter lacks.
        static Services resolve(const platform::Platform& platform);
    };

    bool permissionsPresent() const;
    bool hasArgument(std::string_view argument) const;
    void unregisterLoginAgentAndQuit();
    void runStartupModeDecision(bool background);
    void configureShortcutKeys(LeftOptionMode leftOptionFallback);
    void installShortcutCallbacks();
    void performFinderFileShortcut(FinderFileShortcut shortcut);
    void captureFinderSelection(TransferOperation operation);
    // Pastes the pending cut or copy into Finder's folder; failures in one alert.
    void pasteManagedItems();
    void performLeftOptionAction(LeftOptionMode mode);
    void openLaunchpad();
    void postSpotlightShortcut();
    void wireSystemModes();
    StatusMenuController::Actions statusMenuActions();
    void setupSettingsWindow();
    void selectSettingsSection();
    std::vector<KeyRemapRule> loadKeyRemaps() const;
    // Wraps a callback so that it does nothing once the delegate is gone.
    template <typename F>
    auto weakly(F function) {
        return lifetime_.guard(std::move(function));
    }

    const Services services_;
    SettingsStore settingsStore_;
    ProcessRunner runner_;
    KeychainStore keychain_;
    ChatGPTService chatGPT_;
    AskAIIntent askAI_;
    LoginAgent loginAgent_;
    std::shared_ptr<InstalledComponents> installedComponents_;
    // The network path monitor and its queue come before Low Data Mode, which reads the path.
    std::unique_ptr<platform::PathMonitor> lowDataPathMonitor_;
    std::unique_ptr<platform::Queue> lowDataMonitorQueue_;
    SystemSettingActuators actuators_;
    LowDataModeController lowDataMode_;
    // Owns the system-mode queue, the baseline and Battery Saver's brightness guard.
    SystemModeController systemModes_;
    // Owns the Charge Full Once and Preserve Battery Health monitors and their state.
    BatteryCareController batteryCare_;
    UpdateController updates_;
    ParvelAudioMixer audioMixer_;
    TrackpadDragManager trackpadDrag_;
    FinderSupport finderSupport_;
    WindowsStyleDelete windowsStyleDelete_;

    // Owned feature controllers, created here and never replaced.
    ClipboardHistoryController clipboardHistory_;
    DockPreviewController dockPreviews_;
    WindowsMaximizeController windowsMaximize_;
    GlobalShortcutController shortcuts_;
    DesktopEnhancementController desktopEnhancements_;
    FinderUpgradeController finderUpgrades_;
    DockProgressController dockProgress_;
    MouseEnhancementController mouseEnhancements_;
    MouseFocusController mouseFocus_;
    KeyboardRemapController keyboardRemap_;
    QuitOnLastWindowController quitOnLastWindow_;
    QuitAppsNoWindowsDelayController quitNoWindowsDelay_;
    AdvancedTaskSwitcherController advancedTaskSwitcher_;
    MouseSideButtonsController mouseSideButtons_;
    AutoScrollController autoScroll_;

    // The status item and its menu (its items and switches are the menu controller's).
    StatusMenuController statusMenu_;

    // Update check, windows and life cycle.
    std::unique_ptr<platform::Queue> updateCheckQueue_;
    std::unique_ptr<SettingsWindowController> settings_;
    std::unique_ptr<PermissionGateWindowController> permissionGate_;
    platform::Scheduled menuRefreshTimer_;
    platform::Scheduled updateTimer_;
    bool updateCheckInFlight_ = false;
    bool mainUIStarted_ = false;

    Lifetime lifetime_;
};

}  // namespace parvel
