#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Error.h"
#include "platform/Image.h"
#include "platform/Processes.h"

namespace parvel::platform {

// How an application takes part in the user interface.
enum class ActivationPolicy {
    Regular,     // Dock icon and menu bar
    Accessory,   // no Dock icon, may show windows
    Prohibited,  // background only
};

// A running application as the workspace reports it (NSRunningApplication).
struct RunningApplication {
    ProcessId processId = 0;
    std::string bundleIdentifier;  // empty when the process has none
    std::string localizedName;
    ActivationPolicy activationPolicy = ActivationPolicy::Regular;
    bool isTerminated = false;
    bool isHidden = false;
    bool isActive = false;
    std::optional<Image> icon;
};

// Workspace notifications the program observes.
enum class WorkspaceNotification {
    DidLaunchApplication,
    DidTerminateApplication,
    DidActivateApplication,
    WillSleep,
    DidWake,
    ScreensDidSleep,
    ScreensDidWake,
};

// Observers run on the thread that posts the notification (the main thread for application
// notifications); the application is set for the three application notifications.
using WorkspaceObserver =
    std::function<void(WorkspaceNotification, const std::optional<RunningApplication>&)>;

// Keeps an observer registered for as long as it lives.
class Observation {
  public:
    virtual ~Observation() = default;
};

// The workspace service: running applications, activation, notifications, opening URLs and
// files, revealing files and the Trash.
class Workspace {
  public:
    virtual ~Workspace() = default;

    // Every running application, in the system's order.
    virtual std::vector<RunningApplication> runningApplications() const = 0;
    // The application that receives key events, if any.
    virtual std::optional<RunningApplication> frontmostApplication() const = 0;
    // Running applications with a bundle identifier, in the system's order.
    virtual std::vector<RunningApplication> runningApplications(
        std::string_view bundleIdentifier) const = 0;
    // The running application with a process id.
    virtual std::optional<RunningApplication> application(ProcessId pid) const = 0;

    // Brings an application to the front; false when it is terminated or refuses.
    virtual bool activate(ProcessId pid, bool ignoringOtherApps) = 0;
    // Unhides a hidden application; false when it cannot.
    virtual bool unhide(ProcessId pid) = 0;
    // Asks an application to quit politely; it may refuse or take its time. False when the
    // request could not be delivered.
    virtual bool terminate(ProcessId pid) = 0;

    // Registers an observer for some notifications until the returned observation is dropped.
    [[nodiscard]] virtual std::unique_ptr<Observation> observe(
        std::vector<WorkspaceNotification> notifications, WorkspaceObserver observer) = 0;

    // Opens a URL ("x-apple.systempreferences:...", "https://...", "shortcuts://..."); false
    // when no application takes it.
    virtual bool openURL(std::string_view url) = 0;
    // Opens a file with its default application (a ".command" file opens in Terminal).
    virtual bool openFile(std::string_view path) = 0;
    // Shows Finder windows with these files selected.
    virtual void revealInFileViewer(const std::vector<std::string>& paths) = 0;
    // Moves an item to the Trash; returns where it went there.
    virtual Result<std::string> trashItem(std::string_view path) = 0;

    // Whether the user enabled one of our Finder extensions (FIFinderSyncController).
    virtual bool isFinderExtensionEnabled(std::string_view extensionIdentifier) const = 0;
    // Opens the system's settings where the user enables Finder extensions.
    virtual void showFinderExtensionManagement() = 0;
};

}  // namespace parvel::platform
