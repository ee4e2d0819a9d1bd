#pragma once

#include "base/Lifetime.h"
#include "core/ProcessRunner.h"
#include "platform/Accessibility.h"
#include "platform/AppleScript.h"
#include "platform/Application.h"
#include "platform/Bundle.h"
#include "platform/Dispatch.h"
#include "platform/Events.h"
#include "platform/Presenter.h"
#include "platform/WindowServer.h"
#include "platform/Workspace.h"
#include "ui/Window.h"

namespace parvel {

// The window shown instead of anything else while Accessibility, Screen Recording or Input
// Monitoring is missing at an interactive launch: the state of each permission, a way to each
// pane of System Settings, and a restart once everything is granted. The restart is deliberate:
// the system does not reliably report a newly granted Accessibility or Screen Recording
// permission to a process that was already running, so features never start in this process.
class PermissionGateWindowController {
  public:
    struct Services {
        platform::Presenter& presenter;
        platform::Application& application;
        platform::Accessibility& accessibility;
        platform::WindowServer& windowServer;
        platform::Events& events;
        platform::AppleScript& appleScript;
        platform::Workspace& workspace;
        platform::Dispatch& dispatch;
        const platform::Bundle& bundle;
        const ProcessRunner& runner;
    };

    explicit PermissionGateWindowController(Services services);

    // Shows the window in front, then refreshes it now and every 0.8 seconds.
    void begin();
    // Re-reads the three permissions and updates the labels.
    void refresh();

    void openAccessibility();
    // Registers the application in the Screen Recording list first when it is not allowed yet.
    void openScreenRecording();
    void openInputMonitoring();
    // Whether a script may talk to Finder / System Events; the first run makes the system ask.
    bool finderAutomationAllowed(bool promptIfNeeded);
    bool systemEventsAutomationAllowed(bool promptIfNeeded);
    void requestFinderAccess();
    void requestSystemEventsAccess();
    // Stops the refresh and starts a detached shell that reopens the bundle after a second, then
    // quits; if the shell cannot start, says so.
    void recheckAndRelaunch();

    const ui::WindowPtr& window() const { return window_; }

  private:
    void buildUI();
    ui::ViewPtr permissionRow(const std::string& title, const std::string& detail,
                              const ui::ViewPtr& status, const ui::ViewPtr& button);
    void showStatus(const ui::ViewPtr& label, bool granted);
    void open(std::string_view url);

    Services services_;
    ui::WindowPtr window_;
    ui::ViewPtr accessibilityStatus_;
    ui::ViewPtr screenStatus_;
    ui::ViewPtr inputStatus_;
    ui::ViewPtr continueLabel_;
    ui::ViewPtr relaunchButton_;
    platform::Scheduled timer_;
    bool didRequestFinder_ = false;
    bool didRequestSystemEvents_ = false;
    Lifetime lifetime_;
};

}  // namespace parvel
