#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Time.h"

namespace parvel::platform {

using Work = std::function<void()>;

// Quality of service of a queue, highest first.
enum class QualityOfService { UserInteractive, UserInitiated, Default, Utility, Background };

// When a repeating timer fires: first after `startDelay`, then every `interval`. The system may
// defer a firing by up to `leeway`. Main-queue timers with `commonModes` keep firing while a menu
// is tracked or a modal loop runs.
struct TimerSpec {
    Duration startDelay{};
    Duration interval{};
    Duration leeway{};
    bool commonModes = true;
};

// A timer or delayed work item that can still be cancelled. Cancels itself when destroyed, so an
// owner that keeps its handle as a member stops the work by going away.
class Scheduled {
  public:
    class Control {
      public:
        virtual ~Control() = default;
        virtual void cancel() = 0;
        virtual bool isCancelled() const = 0;
    };

    Scheduled() = default;
    explicit Scheduled(std::shared_ptr<Control> control) : control_(std::move(control)) {}
    ~Scheduled() { cancel(); }
    Scheduled(Scheduled&&) noexcept = default;
    Scheduled& operator=(Scheduled&& other) noexcept {
        if (this != &other) {
            cancel();
            control_ = std::move(other.control_);
        }
        return *this;
    }
    Scheduled(const Scheduled&) = delete;
    Scheduled& operator=(const Scheduled&) = delete;

    // Stops the work from running (again); a run already in progress finishes.
    void cancel() {
        if (control_) {
            control_->cancel();
            control_.reset();
        }
    }
    // True while the handle holds work that has not been cancelled.
    bool isActive() const { return control_ && !control_->isCancelled(); }
    explicit operator bool() const { return isActive(); }

  private:
    std::shared_ptr<Control> control_;
};

// The cancellation state a Scheduled handle shares with its pending work: a flag either side may
// read at any time. Adapters also mark a one-shot item cancelled once it has run.
class CancellationFlag final : public Scheduled::Control {
  public:
    void cancel() override { cancelled_.store(true); }
    bool isCancelled() const override { return cancelled_.load(); }

  private:
    std::atomic<bool> cancelled_{false};
};

// A dispatch queue: the main queue, a global concurrent queue or a serial queue of our own.
class Queue {
  public:
    virtual ~Queue() = default;

    virtual std::string_view label() const = 0;
    virtual QualityOfService qualityOfService() const = 0;
    // Serial queues run one work item at a time, in submission order; global queues do not.
    virtual bool isSerial() const = 0;

    // Runs the work on this queue as soon as possible.
    virtual void async(Work work) = 0;
    // Runs the work on this queue after `delay`; cannot be cancelled.
    virtual void asyncAfter(Duration delay, Work work) = 0;
    // Runs the work on this queue after `delay` unless the returned handle is cancelled first.
    [[nodiscard]] virtual Scheduled scheduleAfter(Duration delay, Work work) = 0;
    // Runs the work on this queue repeatedly as `spec` says until the handle is cancelled.
    [[nodiscard]] virtual Scheduled scheduleRepeating(TimerSpec spec, Work work) = 0;
};

// The dispatch service: queues, timers, clocks, the main run loop and blocking waits.
class Dispatch {
  public:
    virtual ~Dispatch() = default;

    // The main queue, served by the main run loop.
    virtual Queue& main() = 0;
    // The global concurrent queue of a quality of service.
    virtual Queue& global(QualityOfService qos) = 0;
    // A new serial queue with a reverse-DNS label; work still pending when it is destroyed is
    // dropped, work in progress finishes first.
    virtual std::unique_ptr<Queue> makeSerialQueue(std::string label, QualityOfService qos) = 0;

    // True when the caller runs on the main thread (the main queue's work or the run loop's owner).
    virtual bool isMainThread() const = 0;

    // Blocks the calling queue for `duration`; other queues go on meanwhile.
    virtual void sleep(Duration duration) = 0;
    // Runs the main run loop, nested, until `done` answers true, as a modal session does:
    // main-queue work and timers keep running meanwhile. Called on the main thread.
    virtual void runNestedMainLoopUntil(const std::function<bool()>& done) = 0;

    // Runs the main run loop on the calling thread until stopMainLoop().
    virtual void runMainLoop() = 0;
    // Makes runMainLoop() return once the work in progress is done; callable from any thread.
    virtual void stopMainLoop() = 0;

    // Wall-clock time now (Foundation's Date()).
    virtual WallTime now() const = 0;
    // Time since the system started (event timestamps).
    virtual Duration uptime() const = 0;
};

}  // namespace parvel::platform
