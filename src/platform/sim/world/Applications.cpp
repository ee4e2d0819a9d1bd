#include "platform/sim/world/Applications.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/sim/Trace.h"
#include "platform/sim/VirtualDispatch.h"

namespace parvel::sim {

using platform::ActivationPolicy;
using platform::ProcessId;
using platform::WindowNumber;
using platform::WorkspaceNotification;

namespace {

std::string defaultExecutablePath(const AppSpec& spec) {
    return fmt::format("/Applications/{0}.app/Contents/MacOS/{0}", spec.name);
}

std::string_view notificationName(WorkspaceNotification kind) {
    switch (kind) {
        case WorkspaceNotification::DidLaunchApplication:
            return "did launch";
        case WorkspaceNotification::DidTerminateApplication:
            return "did terminate";
        case WorkspaceNotification::DidActivateApplication:
            return "did activate";
        case WorkspaceNotification::WillSleep:
            return "will sleep";
        case WorkspaceNotification::DidWake:
            return "did wake";
        case WorkspaceNotification::ScreensDidSleep:
            return "screens did sleep";
        case WorkspaceNotification::ScreensDidWake:
            return "screens did wake";
    }
    return "unknown";
}

}  // namespace

Applications::Applications(VirtualDispatch& dispatch, Trace& trace)
    : dispatch_(dispatch), trace_(trace) {}

Applications::~Applications() = default;

ProcessId Applications::launch(AppSpec spec, bool activate) {
    if (spec.executablePath.empty()) {
        spec.executablePath = defaultExecutablePath(spec);
    }
    const ProcessId pid = nextPid();
    auto& app = apps_[pid];
    app.pid = pid;
    app.spec = std::move(spec);
    trace_.record("app", fmt::format("launched {} ({}) as pid {}", app.spec.name,
                                     app.spec.bundleIdentifier, pid));
    for (const auto& hook : launchHooks_) {
        hook(app);
    }
    post(WorkspaceNotification::DidLaunchApplication, pid);
    if (activate && app.spec.policy == ActivationPolicy::Regular) {
        becomeFrontmost(pid);
    }
    return pid;
}

void Applications::adopt(ProcessId pid, AppSpec spec) {
    auto& app = apps_[pid];
    app.pid = pid;
    app.spec = std::move(spec);
    nextPid_ = std::max(nextPid_, pid + 1);
}

SimApp* Applications::find(ProcessId pid) {
    const auto found = apps_.find(pid);
    return found == apps_.end() ? nullptr : &found->second;
}

const SimApp* Applications::find(ProcessId pid) const {
    const auto found = apps_.find(pid);
    return found == apps_.end() ? nullptr : &found->second;
}

std::vector<const SimApp*> Applications::withBundleIdentifier(
    std::string_view bundleIdentifier) const {
    std::vector<const SimApp*> matches;
    for (const auto* app : running()) {
        if (app->spec.bundleIdentifier == bundleIdentifier) {
            matches.push_back(app);
        }
    }
    return matches;
}

std::vector<const SimApp*> Applications::withName(std::string_view name) const {
    std::vector<const SimApp*> matches;
    for (const auto* app : running()) {
        if (app->spec.name == name) {
            matches.push_back(app);
        }
    }
    return matches;
}

std::vector<const SimApp*> Applications::running() const {
    std::vector<const SimApp*> list;
    for (const auto& [pid, app] : apps_) {
        if (!app.terminated) {
            list.push_back(&app);
        }
    }
    return list;
}

platform::RunningApplication Applications::describe(const SimApp& app) const {
    return {app.pid,    app.spec.bundleIdentifier, app.spec.name, app.spec.policy, app.terminated,
            app.hidden, frontmost_ == app.pid,     std::nullopt};
}

bool Applications::activate(ProcessId pid) {
    SimApp* app = find(pid);
    if (app == nullptr || app->terminated || app->spec.policy == ActivationPolicy::Prohibited) {
        return false;
    }
    setHidden(*app, false);
    becomeFrontmost(pid);
    return true;
}

void Applications::setActivationPolicy(ProcessId pid, ActivationPolicy policy) {
    if (SimApp* app = find(pid)) {
        app->spec.policy = policy;
    }
}

void Applications::hide(ProcessId pid) {
    SimApp* app = find(pid);
    if (app == nullptr || app->terminated || app->hidden) {
        return;
    }
    setHidden(*app, true);
    trace_.record("app", fmt::format("hid {}", app->spec.name));
    if (frontmost_ == pid) {
        chooseNextFrontmost();
    }
}

bool Applications::unhide(ProcessId pid) {
    SimApp* app = find(pid);
    if (app == nullptr || app->terminated) {
        return false;
    }
    if (app->hidden) {
        setHidden(*app, false);
        trace_.record("app", fmt::format("unhid {}", app->spec.name));
    }
    return true;
}

bool Applications::requestQuit(ProcessId pid) {
    SimApp* app = find(pid);
    if (app == nullptr || app->terminated) {
        return false;
    }
    ++app->quitRequests;
    switch (app->spec.quitBehaviour) {
        case QuitBehaviour::Quit:
            trace_.record("app", fmt::format("asked {} to quit", app->spec.name));
            finishQuitting(pid);
            break;
        case QuitBehaviour::Refuse:
            trace_.record("app", fmt::format("asked {} to quit; it refused", app->spec.name));
            break;
        case QuitBehaviour::QuitAfterDelay:
            trace_.record("app", fmt::format("asked {} to quit; it takes {:.3f} s", app->spec.name,
                                             platform::toSeconds(app->spec.quitDelay)));
            dispatch_.main().asyncAfter(app->spec.quitDelay, [this, pid] { finishQuitting(pid); });
            break;
    }
    return true;
}

void Applications::kill(ProcessId pid) {
    SimApp* app = find(pid);
    if (app == nullptr || app->terminated) {
        return;
    }
    trace_.record("app", fmt::format("killed {} (pid {})", app->spec.name, pid));
    finishQuitting(pid);
}

ProcessId Applications::relaunch(ProcessId pid) {
    SimApp* app = find(pid);
    if (app == nullptr) {
        return 0;
    }
    const AppSpec spec = app->spec;
    const bool wasFrontmost = frontmost_ == pid;
    std::vector<WindowNumber> kept;
    for (auto& [number, window] : windows_) {
        if (window.owner == pid) {
            kept.push_back(number);
        }
    }
    app->terminated = true;
    std::erase(activationOrder_, pid);
    trace_.record("app", fmt::format("{} (pid {}) ended; launchd restarts it", spec.name, pid));
    post(WorkspaceNotification::DidTerminateApplication, pid);
    const ProcessId replacement = launch(spec, false);
    for (const auto number : kept) {
        windows_[number].owner = replacement;
        updateOnScreen(windows_[number]);
    }
    if (wasFrontmost) {
        becomeFrontmost(replacement);
    } else if (frontmost_ == pid) {
        chooseNextFrontmost();
    }
    return replacement;
}

WindowNumber Applications::openWindow(ProcessId owner, WindowSpec spec) {
    const WindowNumber number = nextWindow_++;
    SimWindow window;
    window.number = number;
    window.owner = owner;
    window.title = std::move(spec.title);
    window.frame = spec.frame;
    window.subrole = std::move(spec.subrole);
    window.layer = spec.layer;
    window.alpha = spec.alpha;
    window.minimized = spec.minimized;
    updateOnScreen(window);
    windows_.emplace(number, window);
    zOrder_.insert(zOrder_.begin(), number);
    const SimApp* app = find(owner);
    trace_.record("window", fmt::format("{} opened window {} \"{}\"", app ? app->spec.name : "?",
                                        number, windows_[number].title));
    return number;
}

void Applications::closeWindow(WindowNumber number) {
    const auto found = windows_.find(number);
    if (found == windows_.end()) {
        return;
    }
    trace_.record("window", fmt::format("window {} \"{}\" closed", number, found->second.title));
    windows_.erase(found);
    std::erase(zOrder_, number);
}

SimWindow* Applications::window(WindowNumber number) {
    const auto found = windows_.find(number);
    return found == windows_.end() ? nullptr : &found->second;
}

std::vector<const SimWindow*> Applications::windowsFrontToBack() const {
    std::vector<const SimWindow*> list;
    for (const auto number : zOrder_) {
        list.push_back(&windows_.at(number));
    }
    // Higher layers (the Dock, the menu bar) always lie above ordinary windows.
    std::ranges::stable_sort(list, std::greater<>{}, &SimWindow::layer);
    return list;
}

std::vector<SimWindow*> Applications::windowsOf(ProcessId owner) {
    std::vector<SimWindow*> list;
    for (const auto number : zOrder_) {
        auto& window = windows_.at(number);
        if (window.owner == owner) {
            list.push_back(&window);
        }
    }
    return list;
}

void Applications::raise(WindowNumber number) {
    if (!windows_.contains(number)) {
        return;
    }
    std::erase(zOrder_, number);
    zOrder_.insert(zOrder_.begin(), number);
    trace_.record("window", fmt::format("window {} raised", number));
}

void Applications::setMinimized(WindowNumber number, bool minimized) {
    SimWindow* target = window(number);
    if (target == nullptr || target->minimized == minimized) {
        return;
    }
    target->minimized = minimized;
    updateOnScreen(*target);
    trace_.record("window",
                  fmt::format("window {} {}", number, minimized ? "minimised" : "restored"));
    if (!minimized) {
        raise(number);
    }
}

// A window is on screen unless it is minimised or its application is hidden.
void Applications::updateOnScreen(SimWindow& window) const {
    const SimApp* owner = find(window.owner);
    window.onScreen = !window.minimized && !(owner != nullptr && owner->hidden);
}

void Applications::setHidden(SimApp& app, bool hidden) {
    app.hidden = hidden;
    for (auto& [number, window] : windows_) {
        if (window.owner == app.pid) {
            updateOnScreen(window);
        }
    }
}

void Applications::setFullScreen(WindowNumber number, bool fullScreen, platform::Rect screenFrame) {
    SimWindow* target = window(number);
    if (target == nullptr || target->fullScreen == fullScreen) {
        return;
    }
    target->fullScreen = fullScreen;
    if (fullScreen) {
        target->frameBeforeFullScreen = target->frame;
        target->frame = screenFrame;
    } else if (target->frameBeforeFullScreen) {
        target->frame = *target->frameBeforeFullScreen;
        target->frameBeforeFullScreen.reset();
    }
    trace_.record("window",
                  fmt::format("window {} {} full screen", number, fullScreen ? "entered" : "left"));
}

SimWindow* Applications::focusedWindow(ProcessId owner) {
    for (auto* window : windowsOf(owner)) {
        if (!window->minimized) {
            return window;
        }
    }
    return nullptr;
}

std::shared_ptr<void> Applications::observe(std::vector<WorkspaceNotification> kinds,
                                            Observer observer) {
    auto registration =
        std::make_shared<Registration>(Registration{std::move(kinds), std::move(observer)});
    registrations_.push_back(registration);
    return registration;
}

void Applications::post(WorkspaceNotification kind, std::optional<ProcessId> pid) {
    std::optional<platform::RunningApplication> application;
    if (pid) {
        if (const SimApp* app = find(*pid)) {
            application = describe(*app);
        }
    }
    trace_.record("workspace", fmt::format("{}{}", notificationName(kind),
                                           application ? ": " + application->localizedName : ""));
    std::erase_if(registrations_, [](const auto& weak) { return weak.expired(); });
    for (const auto& weak : registrations_) {
        dispatch_.main().async([weak, kind, application] {
            if (const auto registration = weak.lock()) {
                if (std::ranges::find(registration->kinds, kind) != registration->kinds.end()) {
                    registration->observer(kind, application);
                }
            }
        });
    }
}

void Applications::becomeFrontmost(ProcessId pid) {
    std::erase(activationOrder_, pid);
    activationOrder_.push_back(pid);
    if (frontmost_ == pid) {
        return;
    }
    frontmost_ = pid;
    const SimApp* app = find(pid);
    trace_.record("app", fmt::format("{} is frontmost", app ? app->spec.name : "?"));
    post(WorkspaceNotification::DidActivateApplication, pid);
}

void Applications::finishQuitting(ProcessId pid) {
    SimApp* app = find(pid);
    if (app == nullptr || app->terminated) {
        return;
    }
    for (auto it = windows_.begin(); it != windows_.end();) {
        if (it->second.owner == pid) {
            std::erase(zOrder_, it->first);
            it = windows_.erase(it);
        } else {
            ++it;
        }
    }
    app->terminated = true;
    std::erase(activationOrder_, pid);
    trace_.record("app", fmt::format("{} quit", app->spec.name));
    post(WorkspaceNotification::DidTerminateApplication, pid);
    if (frontmost_ == pid) {
        chooseNextFrontmost();
    }
}

void Applications::chooseNextFrontmost() {
    for (auto it = activationOrder_.rbegin(); it != activationOrder_.rend(); ++it) {
        const SimApp* candidate = find(*it);
        if (candidate && !candidate->terminated && !candidate->hidden &&
            candidate->spec.policy == ActivationPolicy::Regular && frontmost_ != *it) {
            becomeFrontmost(*it);
            return;
        }
    }
    frontmost_.reset();
}

}  // namespace parvel::sim
