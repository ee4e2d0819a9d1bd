#include "platform/sim/SimApplication.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "platform/sim/SimPresenter.h"
#include "platform/sim/Trace.h"
#include "platform/sim/VirtualDispatch.h"

namespace parvel::sim {

using platform::ActivationPolicy;

namespace {

constexpr std::string_view kCategory = "app";

std::string policyName(ActivationPolicy policy) {
    switch (policy) {
        case ActivationPolicy::Regular:
            return "Regular";
        case ActivationPolicy::Accessory:
            return "Accessory";
        case ActivationPolicy::Prohibited:
            return "Prohibited";
    }
    return "unknown";
}

}  // namespace

SimApplication::SimApplication(VirtualDispatch& dispatch, Trace& trace)
    : dispatch_(dispatch), trace_(trace) {}

SimApplication::~SimApplication() = default;

template <typename F>
auto SimApplication::guarded(F function) {
    return [alive = std::weak_ptr<const bool>(alive_), function = std::move(function)]() mutable {
        if (alive.lock()) {
            function();
        }
    };
}

void SimApplication::requireRunning(const char* action) const {
    if (!launched_) {
        throw std::logic_error(std::string("cannot ") + action +
                               ": the application is not launched");
    }
    if (terminated_) {
        throw std::logic_error(std::string("cannot ") + action + ": the application has quit");
    }
}

void SimApplication::launch(platform::ApplicationDelegate& delegate) {
    if (launched_) {
        throw std::logic_error("the application is already launched");
    }
    launched_ = true;
    delegate_ = &delegate;
    dispatch_.main().async(guarded([this] {
        if (terminated_) {
            return;
        }
        finishedLaunching_ = true;
        trace_.record(kCategory, "did finish launching");
        delegate_->applicationDidFinishLaunching();
    }));
}

void SimApplication::run(platform::ApplicationDelegate& delegate) {
    launch(delegate);
    dispatch_.runMainLoop();
}

void SimApplication::terminate() {
    if (terminating_) {
        return;
    }
    terminating_ = true;
    dispatch_.main().async(guarded([this] {
        if (delegate_ != nullptr) {
            delegate_->applicationWillTerminate();
        }
        terminated_ = true;
        active_ = false;
        trace_.record(kCategory, "terminated");
        dispatch_.stopMainLoop();
        if (terminatedHook_) {
            terminatedHook_();
        }
    }));
}

void SimApplication::reopen() {
    requireRunning("reopen");
    dispatch_.main().async(guarded([this] {
        if (terminated_) {
            return;
        }
        const bool hasVisibleWindows =
            presenter_ != nullptr && !presenter_->visibleWindows().empty();
        trace_.record(kCategory,
                      hasVisibleWindows ? "reopen: visible windows" : "reopen: no visible windows");
        // The answer changes nothing here: there is no default reopen behaviour to skip.
        delegate_->applicationShouldHandleReopen(hasVisibleWindows);
    }));
    dispatch_.runDue();
}

void SimApplication::connectPresenter(const SimPresenter* presenter) {
    presenter_ = presenter;
}

void SimApplication::setActivationPolicy(ActivationPolicy policy) {
    if (terminated_) {
        return;
    }
    policy_ = policy;
    trace_.record(kCategory, "activation policy: " + policyName(policy));
    if (policyHook_) {
        policyHook_(policy);
    }
}

ActivationPolicy SimApplication::activationPolicy() const {
    return policy_;
}

void SimApplication::activate(bool ignoringOtherApps) {
    if (terminated_) {
        return;
    }
    active_ = true;
    trace_.record(kCategory, ignoringOtherApps ? "activate ignoring other apps" : "activate");
    if (activateHook_) {
        activateHook_();
    }
}

void SimApplication::beep() {
    if (terminated_) {
        return;
    }
    ++beeps_;
    trace_.record(kCategory, "beep");
}

bool SimApplication::hasFinishedLaunching() const {
    return finishedLaunching_;
}

bool SimApplication::isTerminated() const {
    return terminated_;
}

bool SimApplication::isActive() const {
    return active_;
}

int SimApplication::beepCount() const {
    return beeps_;
}

}  // namespace parvel::sim
