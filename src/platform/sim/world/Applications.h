#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Events.h"
#include "platform/Geometry.h"
#include "platform/Time.h"
#include "platform/WindowServer.h"
#include "platform/Workspace.h"

namespace parvel::sim {

class Trace;
class VirtualDispatch;

// How an application answers a polite request to quit.
enum class QuitBehaviour { Quit, Refuse, QuitAfterDelay };

// What to launch.
struct AppSpec {
    std::string bundleIdentifier;
    std::string name;
    platform::ActivationPolicy policy = platform::ActivationPolicy::Regular;
    QuitBehaviour quitBehaviour = QuitBehaviour::Quit;
    platform::Duration quitDelay{};
    std::string executablePath;  // defaults to /Applications/<name>.app/Contents/MacOS/<name>
};

// A running (or terminated) application of the simulated Mac.
struct SimApp {
    platform::ProcessId pid = 0;
    AppSpec spec;
    bool terminated = false;
    bool hidden = false;
    platform::ProcessId parent = 1;  // launchd
    std::optional<platform::ProcessId> responsible;
    int quitRequests = 0;
    std::vector<platform::Event> receivedEvents;  // key and mouse events that reached it
};

// A window of a simulated application. Frames are in window-server coordinates (top-left origin),
// which is also what accessibility reports.
struct SimWindow {
    platform::WindowNumber number = 0;
    platform::ProcessId owner = 0;
    std::string title;
    platform::Rect frame;
    std::string subrole = "AXStandardWindow";
    int layer = 0;
    double alpha = 1.0;
    bool onScreen = true;
    bool minimized = false;
    bool fullScreen = false;
    bool zoomed = false;
    bool canMinimize = true;
    bool canFullScreen = true;
    std::optional<platform::Rect> frameBeforeFullScreen;
};

// What to open.
struct WindowSpec {
    std::string title;
    platform::Rect frame{{100, 100}, {800, 600}};
    std::string subrole = "AXStandardWindow";
    int layer = 0;
    double alpha = 1.0;
    bool minimized = false;
};

// The running applications and their windows: launch order (the system's order), which one is
// frontmost, the windows' front-to-back order (a hidden application's windows are off screen, as
// minimised ones are), and the workspace notifications all of that causes.
// Notifications reach observers on the main queue, as the real workspace posts them there.
class Applications {
  public:
    using Observer = std::function<void(platform::WorkspaceNotification,
                                        const std::optional<platform::RunningApplication>&)>;

    Applications(VirtualDispatch& dispatch, Trace& trace);
    ~Applications();
    Applications(const Applications&) = delete;
    Applications& operator=(const Applications&) = delete;

    // Starts an application; it becomes frontmost when `activate` and it is a regular app.
    platform::ProcessId launch(AppSpec spec, bool activate = true);
    // Registers a process that already runs under a known id (this program itself).
    void adopt(platform::ProcessId pid, AppSpec spec);

    SimApp* find(platform::ProcessId pid);
    const SimApp* find(platform::ProcessId pid) const;
    // Running applications with that bundle identifier or name, in launch order.
    std::vector<const SimApp*> withBundleIdentifier(std::string_view bundleIdentifier) const;
    std::vector<const SimApp*> withName(std::string_view name) const;
    // Every running application in launch order.
    std::vector<const SimApp*> running() const;
    std::optional<platform::ProcessId> frontmost() const { return frontmost_; }

    platform::RunningApplication describe(const SimApp& app) const;

    // Activation: refused for a terminated or background-only application.
    bool activate(platform::ProcessId pid);
    void hide(platform::ProcessId pid);
    void setActivationPolicy(platform::ProcessId pid, platform::ActivationPolicy policy);
    bool unhide(platform::ProcessId pid);
    // A polite request to quit, answered as the application's QuitBehaviour says.
    bool requestQuit(platform::ProcessId pid);
    // Ends a process at once (a signal from killall or pkill).
    void kill(platform::ProcessId pid);
    // Ends a process and starts it again, as launchd does for the Dock and Finder; its windows
    // move to the new process. Returns the new process id.
    platform::ProcessId relaunch(platform::ProcessId pid);
    // Called after an application (re)launched; Finder and the Dock reload their state here.
    void onLaunch(std::function<void(const SimApp&)> hook) {
        launchHooks_.push_back(std::move(hook));
    }

    // Windows.
    platform::WindowNumber openWindow(platform::ProcessId owner, WindowSpec spec);
    void closeWindow(platform::WindowNumber number);
    SimWindow* window(platform::WindowNumber number);
    // All windows, front to back.
    std::vector<const SimWindow*> windowsFrontToBack() const;
    // One application's windows, front to back.
    std::vector<SimWindow*> windowsOf(platform::ProcessId owner);
    // Moves a window to the front of all windows (AXRaise).
    void raise(platform::WindowNumber number);
    void setMinimized(platform::WindowNumber number, bool minimized);
    void setFullScreen(platform::WindowNumber number, bool fullScreen, platform::Rect screenFrame);
    // The application's frontmost window that is not minimised, if any.
    SimWindow* focusedWindow(platform::ProcessId owner);

    // Workspace notifications.
    [[nodiscard]] std::shared_ptr<void> observe(std::vector<platform::WorkspaceNotification> kinds,
                                                Observer observer);
    void post(platform::WorkspaceNotification kind, std::optional<platform::ProcessId> pid = {});

  private:
    struct Registration {
        std::vector<platform::WorkspaceNotification> kinds;
        Observer observer;
    };

    void becomeFrontmost(platform::ProcessId pid);
    void setHidden(SimApp& app, bool hidden);
    void updateOnScreen(SimWindow& window) const;
    void finishQuitting(platform::ProcessId pid);
    void chooseNextFrontmost();
    platform::ProcessId nextPid() { return nextPid_++; }

    VirtualDispatch& dispatch_;
    Trace& trace_;
    std::map<platform::ProcessId, SimApp> apps_;        // by pid, which is launch order
    std::vector<platform::ProcessId> activationOrder_;  // most recent last
    std::optional<platform::ProcessId> frontmost_;
    std::map<platform::WindowNumber, SimWindow> windows_;
    std::vector<platform::WindowNumber> zOrder_;  // front first
    platform::ProcessId nextPid_ = 200;
    platform::WindowNumber nextWindow_ = 100;
    std::vector<std::weak_ptr<Registration>> registrations_;
    std::vector<std::function<void(const SimApp&)>> launchHooks_;
};

}  // namespace parvel::sim
