#pragma once

#include <functional>
#include <memory>

#include "platform/Application.h"

namespace parvel::sim {

class SimPresenter;
class Trace;
class VirtualDispatch;

// The simulated application object. It starts with the Regular activation policy, as a freshly
// launched application bundle without LSUIElement does, and inactive.
//
// Life cycle: launch() (or run()) posts applicationDidFinishLaunching to the main queue;
// terminate() posts the shutdown, which runs applicationWillTerminate once, marks the
// application terminated and stops the main loop. Once terminated it is a dead process:
// activate, beep and activation-policy changes are ignored, another terminate() too.
// Launching twice, or reopening before launch or after termination, is a mistake of the
// driving code and throws std::logic_error (on a Mac, opening a quit application launches a new
// one: make a new SimApplication).
//
// Like the presenter, it is main-thread only; launch() and reopen() belong to the test's thread.
class SimApplication final : public platform::Application {
  public:
    SimApplication(VirtualDispatch& dispatch, Trace& trace);
    ~SimApplication() override;
    SimApplication(const SimApplication&) = delete;
    SimApplication& operator=(const SimApplication&) = delete;

    // In virtual time the main loop also returns once nothing is left to run.
    void run(platform::ApplicationDelegate& delegate) override;
    void terminate() override;
    void setActivationPolicy(platform::ActivationPolicy policy) override;
    platform::ActivationPolicy activationPolicy() const override;
    void activate(bool ignoringOtherApps) override;
    void beep() override;

    // Posts applicationDidFinishLaunching without turning the main loop: the scenario runner
    // and tests move virtual time themselves.
    void launch(platform::ApplicationDelegate& delegate);
    // The user opens the running application again (Finder, the Dock): the delegate is asked
    // applicationShouldHandleReopen on the main queue, then what is due runs.
    void reopen();
    // Where reopen() learns whether windows are visible; without a presenter none are. The
    // presenter must outlive this object or be disconnected with nullptr.
    void connectPresenter(const SimPresenter* presenter);

    // Lets the rest of the simulated Mac follow this application: which application is
    // frontmost, and its activation policy in the workspace's list.
    void onActivate(std::function<void()> hook) { activateHook_ = std::move(hook); }
    void onActivationPolicyChange(std::function<void(platform::ActivationPolicy)> hook) {
        policyHook_ = std::move(hook);
    }
    // Called once the application has terminated (after the delegate's applicationWillTerminate).
    void onTerminated(std::function<void()> hook) { terminatedHook_ = std::move(hook); }

    bool hasFinishedLaunching() const;
    bool isTerminated() const;
    bool isActive() const;
    int beepCount() const;

  private:
    template <typename F>
    auto guarded(F function);
    void requireRunning(const char* action) const;

    VirtualDispatch& dispatch_;
    Trace& trace_;
    platform::ApplicationDelegate* delegate_ = nullptr;
    const SimPresenter* presenter_ = nullptr;
    platform::ActivationPolicy policy_ = platform::ActivationPolicy::Regular;
    bool launched_ = false;
    bool finishedLaunching_ = false;
    bool terminating_ = false;
    bool terminated_ = false;
    bool active_ = false;
    int beeps_ = 0;
    std::function<void()> activateHook_;
    std::function<void(platform::ActivationPolicy)> policyHook_;
    std::function<void()> terminatedHook_;
    // Work posted to the main queue holds this weakly and does nothing once it is gone.
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

}  // namespace parvel::sim
