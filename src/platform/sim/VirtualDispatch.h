#pragma once

#include <cstddef>
#include <memory>

#include "platform/Dispatch.h"

namespace parvel::sim {

// Dispatch in virtual time: deterministic, with time that moves only when the test (or the
// scenario runner) calls advance(). Everything due runs in deadline order, first-in first-out on
// equal deadlines, including work scheduled while advancing.
//
// Only one piece of code ever runs at a time, but work items run on the dispatcher's own threads
// so that one of them can block (sleep on its queue, a modal loop on the main queue) while
// virtual time and the other queues go on: a single baton passes between the caller of advance()
// and those threads. Code outside any work item counts as the main thread.
//
// Threads that are not the dispatcher's may still post work (a real HTTP completion); it joins
// the schedule at the current virtual time.
class VirtualDispatch final : public platform::Dispatch {
  public:
    struct Options {
        // Wall-clock time when virtual time is zero.
        platform::WallTime wallClockStart = defaultWallClockStart();
        // System uptime when virtual time is zero.
        platform::Duration uptimeAtStart = platform::seconds(3600);
    };

    VirtualDispatch();
    explicit VirtualDispatch(Options options);
    // Abandons blocked work (see shutdown()) and joins the dispatcher's threads.
    ~VirtualDispatch() override;
    VirtualDispatch(const VirtualDispatch&) = delete;
    VirtualDispatch& operator=(const VirtualDispatch&) = delete;

    platform::Queue& main() override;
    platform::Queue& global(platform::QualityOfService qos) override;
    std::unique_ptr<platform::Queue> makeSerialQueue(std::string label,
                                                     platform::QualityOfService qos) override;
    bool isMainThread() const override;
    void sleep(platform::Duration duration) override;
    void runNestedMainLoopUntil(const std::function<bool()>& done) override;
    void runMainLoop() override;
    void stopMainLoop() override;
    platform::WallTime now() const override;
    platform::Duration uptime() const override;

    // Runs everything due within `duration` from now, then sets the clock to now + duration.
    // Rethrows the first exception a work item let escape.
    void advance(platform::Duration duration);
    // Runs everything due now without moving the clock.
    void runDue() { advance(platform::Duration::zero()); }
    // Virtual time since the start.
    platform::Duration elapsed() const;
    // Work items and timer firings still scheduled (cancelled ones excluded).
    std::size_t pendingCount() const;

    // Unwinds every work item that is blocked (its sleep or modal loop throws Abandoned) and
    // stops running work. Owners call it before they destroy what blocked work refers to.
    void shutdown();

    // Thrown out of sleep() and runNestedMainLoopUntil() into work abandoned by shutdown().
    struct Abandoned {};

    // A nested main loop on the caller's thread gives up after this much virtual time.
    static constexpr platform::Duration kNestedLoopLimit = std::chrono::hours(24);

    static platform::WallTime defaultWallClockStart();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace parvel::sim
