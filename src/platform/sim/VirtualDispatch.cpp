#include "platform/sim/VirtualDispatch.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace parvel::sim {

using platform::Duration;
using platform::QualityOfService;
using platform::Work;

namespace {

struct QueueState {
    std::string label;
    QualityOfService qos = QualityOfService::Default;
    bool serial = true;
    bool busy = false;  // a serial queue's work item is running or blocked
    bool alive = true;  // false once its owner destroyed the queue
};

constexpr QualityOfService kAllQualities[] = {
    QualityOfService::UserInteractive, QualityOfService::UserInitiated, QualityOfService::Default,
    QualityOfService::Utility, QualityOfService::Background};

}  // namespace

struct VirtualDispatch::Impl {
    // A thread that can hold the baton: the caller of advance() (the driver) or one of the
    // dispatcher's own threads, which take turns running the scheduler loop and work items.
    struct Context {
        std::condition_variable wakeup;
        std::thread thread;
        std::function<bool()> nestedUntil;  // set while blocked in a nested main loop
        const QueueState* runningQueue = nullptr;
    };

    struct Event {
        std::shared_ptr<QueueState> queue;
        Work work;
        std::shared_ptr<platform::CancellationFlag> cancellation;
        Duration interval{};        // repeating timers only
        Context* resume = nullptr;  // set for the end of a blocked context's sleep
    };

    class QueueHandle;

    using Key = std::pair<Duration, std::uint64_t>;  // deadline, then submission order
    using Events = std::map<Key, Event>;

    explicit Impl(Options chosen);

    static Context*& currentContext() {
        static thread_local Context* context = nullptr;
        return context;
    }
    static const Impl*& currentOwner() {
        static thread_local const Impl* owner = nullptr;
        return owner;
    }
    Context& self() { return currentOwner() == this ? *currentContext() : driver; }
    const Context& self() const { return currentOwner() == this ? *currentContext() : driver; }

    void schedule(const std::shared_ptr<QueueState>& queue, Duration delay, Work work,
                  std::shared_ptr<platform::CancellationFlag> cancellation, Duration interval);
    void retire(const std::shared_ptr<QueueState>& queue);

    void handOver(Context& from, Context& to, std::unique_lock<std::mutex>& lock);
    Context& takeIdleScheduler();
    void threadMain(Context& me);
    void schedulerLoop(Context& me, std::unique_lock<std::mutex>& lock);
    Context* readyNestedWaiter(std::unique_lock<std::mutex>& lock);
    Events::iterator nextRunnable();
    bool isDead(const Event& event) const;
    void runWorkItem(Context& me, Events::node_type node, std::unique_lock<std::mutex>& lock);
    void buryDeadEvents(std::unique_lock<std::mutex>& lock);

    void driverWait(std::unique_lock<std::mutex>& lock, Duration target,
                    const std::function<bool()>* done, bool holdMain);
    void sleepFor(Duration duration);
    void nestedLoop(const std::function<bool()>& done);
    void throwIfAbandoned() const {
        if (shuttingDown) {
            throw Abandoned{};
        }
    }
    void shutdown();

    Options options;
    mutable std::mutex mutex;
    Duration now{};
    std::uint64_t nextSequence = 0;
    Events events;
    std::vector<Event> graveyard;  // dead events, destroyed with the lock released

    Context driver;
    std::vector<std::unique_ptr<Context>> contexts;
    std::vector<Context*> idle;
    Context* active = &driver;
    std::vector<Context*> mainNesting;  // contexts in nested main loops, innermost last
    Duration driverTarget{};

    bool shuttingDown = false;
    bool stopRequested = false;
    std::exception_ptr failure;

    std::shared_ptr<QueueState> mainState;
    std::unique_ptr<platform::Queue> mainQueue;
    std::map<QualityOfService, std::unique_ptr<platform::Queue>> globalQueues;
};

// A queue as its users see it; a queue made with makeSerialQueue() retires its state when dropped.
class VirtualDispatch::Impl::QueueHandle final : public platform::Queue {
  public:
    QueueHandle(Impl& impl, std::shared_ptr<QueueState> state, bool owned)
        : impl_(impl), state_(std::move(state)), owned_(owned) {}
    ~QueueHandle() override {
        if (owned_) {
            impl_.retire(state_);
        }
    }
    QueueHandle(const QueueHandle&) = delete;
    QueueHandle& operator=(const QueueHandle&) = delete;

    std::string_view label() const override { return state_->label; }
    QualityOfService qualityOfService() const override { return state_->qos; }
    bool isSerial() const override { return state_->serial; }

    void async(Work work) override {
        impl_.schedule(state_, Duration::zero(), std::move(work), {}, {});
    }
    void asyncAfter(Duration delay, Work work) override {
        impl_.schedule(state_, delay, std::move(work), {}, {});
    }
    platform::Scheduled scheduleAfter(Duration delay, Work work) override {
        auto cancellation = std::make_shared<platform::CancellationFlag>();
        impl_.schedule(state_, delay, std::move(work), cancellation, {});
        return platform::Scheduled(cancellation);
    }
    platform::Scheduled scheduleRepeating(platform::TimerSpec spec, Work work) override {
        auto cancellation = std::make_shared<platform::CancellationFlag>();
        impl_.schedule(state_, spec.startDelay, std::move(work), cancellation, spec.interval);
        return platform::Scheduled(cancellation);
    }

  private:
    Impl& impl_;
    std::shared_ptr<QueueState> state_;
    bool owned_;
};

VirtualDispatch::Impl::Impl(Options chosen) : options(chosen) {
    mainState = std::make_shared<QueueState>(
        QueueState{"com.apple.main-thread", QualityOfService::UserInteractive, true});
    mainQueue = std::make_unique<QueueHandle>(*this, mainState, false);
    for (const auto qos : kAllQualities) {
        auto state = std::make_shared<QueueState>(QueueState{"global", qos, false});
        globalQueues.emplace(qos, std::make_unique<QueueHandle>(*this, std::move(state), false));
    }
}

void VirtualDispatch::Impl::schedule(const std::shared_ptr<QueueState>& queue, Duration delay,
                                     Work work,
                                     std::shared_ptr<platform::CancellationFlag> cancellation,
                                     Duration interval) {
    std::scoped_lock lock(mutex);
    if (shuttingDown || !queue->alive) {
        return;
    }
    const Duration deadline = now + std::max(delay, Duration::zero());
    events.emplace(Key{deadline, nextSequence++},
                   Event{queue, std::move(work), std::move(cancellation), interval, nullptr});
}

void VirtualDispatch::Impl::retire(const std::shared_ptr<QueueState>& queue) {
    std::vector<Event> dropped;
    bool workInProgress = false;
    {
        std::scoped_lock lock(mutex);
        queue->alive = false;
        for (auto it = events.begin(); it != events.end();) {
            if (it->second.queue == queue) {
                dropped.push_back(std::move(it->second));
                it = events.erase(it);
            } else {
                ++it;
            }
        }
        workInProgress = queue->busy && !shuttingDown && self().runningQueue != queue.get();
    }
    // Work in progress finishes first, as a real queue's thread is joined: a work item blocked in
    // a sleep must not wake to find what it uses destroyed. Virtual time goes on meanwhile.
    if (workInProgress) {
        try {
            nestedLoop([this, queue] {
                std::scoped_lock lock(mutex);
                return !queue->busy;
            });
        } catch (const Abandoned&) {
            // The dispatcher is shutting down: the blocked work is being unwound instead.
        }
    }
}

void VirtualDispatch::Impl::handOver(Context& from, Context& to,
                                     std::unique_lock<std::mutex>& lock) {
    active = &to;
    to.wakeup.notify_one();
    from.wakeup.wait(lock, [&] { return active == &from; });
}

VirtualDispatch::Impl::Context& VirtualDispatch::Impl::takeIdleScheduler() {
    if (!idle.empty()) {
        Context* context = idle.back();
        idle.pop_back();
        return *context;
    }
    auto& context = *contexts.emplace_back(std::make_unique<Context>());
    context.thread = std::thread([this, &context] { threadMain(context); });
    return context;
}

void VirtualDispatch::Impl::threadMain(Context& me) {
    currentOwner() = this;
    currentContext() = &me;
    std::unique_lock lock(mutex);
    me.wakeup.wait(lock, [&] { return active == &me; });
    schedulerLoop(me, lock);
    // Only shutdown ends the loop; the baton goes back to the driver waiting there.
    active = &driver;
    driver.wakeup.notify_one();
}

// Runs with the baton until the driver's wait is over, then parks as an idle scheduler. Whoever
// holds the baton next continues this same loop from the shared state.
void VirtualDispatch::Impl::schedulerLoop(Context& me, std::unique_lock<std::mutex>& lock) {
    while (!shuttingDown) {
        if (Context* waiter = readyNestedWaiter(lock)) {
            idle.push_back(&me);
            handOver(me, *waiter, lock);
            continue;
        }
        const auto next = nextRunnable();
        buryDeadEvents(lock);
        if (next != events.end()) {
            auto node = events.extract(next);
            now = std::max(now, node.key().first);
            if (Context* sleeper = node.mapped().resume) {
                idle.push_back(&me);
                handOver(me, *sleeper, lock);
            } else {
                runWorkItem(me, std::move(node), lock);
            }
            continue;
        }
        now = std::max(now, driverTarget);
        idle.push_back(&me);
        handOver(me, driver, lock);
    }
}

// The innermost nested main loop may end once its condition holds and no main-queue work item is
// in progress (a modal session returns only when the code it called has returned).
VirtualDispatch::Impl::Context* VirtualDispatch::Impl::readyNestedWaiter(
    std::unique_lock<std::mutex>& lock) {
    if (mainNesting.empty() || mainState->busy) {
        return nullptr;
    }
    Context* waiter = mainNesting.back();
    const auto condition = waiter->nestedUntil;
    lock.unlock();
    const bool done = condition();
    lock.lock();
    return done ? waiter : nullptr;
}

bool VirtualDispatch::Impl::isDead(const Event& event) const {
    if (event.resume != nullptr) {
        return false;
    }
    return !event.queue->alive || (event.cancellation && event.cancellation->isCancelled());
}

VirtualDispatch::Impl::Events::iterator VirtualDispatch::Impl::nextRunnable() {
    for (auto it = events.begin(); it != events.end();) {
        if (it->first.first > driverTarget) {
            break;
        }
        const Event& event = it->second;
        if (isDead(event)) {
            graveyard.push_back(std::move(it->second));
            it = events.erase(it);
            continue;
        }
        if (event.resume != nullptr || !event.queue->serial || !event.queue->busy) {
            return it;
        }
        ++it;
    }
    return events.end();
}

void VirtualDispatch::Impl::buryDeadEvents(std::unique_lock<std::mutex>& lock) {
    if (graveyard.empty()) {
        return;
    }
    auto dead = std::exchange(graveyard, {});
    lock.unlock();
    dead.clear();
    lock.lock();
}

void VirtualDispatch::Impl::runWorkItem(Context& me, Events::node_type node,
                                        std::unique_lock<std::mutex>& lock) {
    const Duration deadline = node.key().first;
    Event& event = node.mapped();
    const auto queue = event.queue;
    if (queue->serial) {
        queue->busy = true;
    }
    me.runningQueue = queue.get();
    lock.unlock();
    try {
        event.work();
    } catch (const Abandoned&) {
        // Unwound by shutdown(): nothing to report.
    } catch (...) {
        std::scoped_lock relock(mutex);
        if (!failure) {
            failure = std::current_exception();
        }
    }
    lock.lock();
    me.runningQueue = nullptr;
    if (queue->serial) {
        queue->busy = false;
    }
    const bool repeats = event.interval > Duration::zero();
    if (repeats && !isDead(event) && !shuttingDown) {
        // Keep the period: the next firing is the first multiple of the interval after now, so a
        // firing delayed by a busy queue skips the ones it missed instead of bunching up.
        Duration nextDeadline = deadline + event.interval;
        if (nextDeadline <= now) {
            nextDeadline += ((now - nextDeadline) / event.interval + 1) * event.interval;
        }
        node.key() = Key{nextDeadline, nextSequence++};
        events.insert(std::move(node));
        return;
    }
    if (!repeats && event.cancellation) {
        event.cancellation->cancel();
    }
    lock.unlock();
    node = {};
    lock.lock();
}

void VirtualDispatch::Impl::driverWait(std::unique_lock<std::mutex>& lock, Duration target,
                                       const std::function<bool()>* done, bool holdMain) {
    if (shuttingDown) {
        return;
    }
    driverTarget = target;
    const bool mainWasBusy = mainState->busy;
    if (holdMain) {
        mainState->busy = true;
    }
    if (done != nullptr) {
        driver.nestedUntil = *done;
        mainNesting.push_back(&driver);
    }
    handOver(driver, takeIdleScheduler(), lock);
    if (done != nullptr) {
        mainNesting.pop_back();
        driver.nestedUntil = nullptr;
    }
    if (holdMain) {
        mainState->busy = mainWasBusy;
    }
    if (failure) {
        auto escaped = std::exchange(failure, nullptr);
        lock.unlock();
        std::rethrow_exception(escaped);
    }
    if (done != nullptr && !shuttingDown) {
        lock.unlock();
        if (!(*done)()) {
            throw std::runtime_error(
                "a nested main loop on the test thread did not finish within its time limit");
        }
    }
}

void VirtualDispatch::Impl::sleepFor(Duration duration) {
    std::unique_lock lock(mutex);
    Context& me = self();
    if (&me == &driver) {
        driverWait(lock, now + std::max(duration, Duration::zero()), nullptr, true);
        return;
    }
    throwIfAbandoned();
    const Duration wake = now + std::max(duration, Duration::zero());
    events.emplace(Key{wake, nextSequence++}, Event{nullptr, nullptr, nullptr, {}, &me});
    handOver(me, takeIdleScheduler(), lock);
    throwIfAbandoned();
}

void VirtualDispatch::Impl::nestedLoop(const std::function<bool()>& done) {
    if (done()) {
        return;
    }
    std::unique_lock lock(mutex);
    Context& me = self();
    if (&me == &driver) {
        driverWait(lock, now + kNestedLoopLimit, &done, false);
        return;
    }
    throwIfAbandoned();
    const bool onMain = me.runningQueue == mainState.get();
    me.nestedUntil = done;
    mainNesting.push_back(&me);
    if (onMain) {
        mainState->busy = false;
    }
    handOver(me, takeIdleScheduler(), lock);
    mainNesting.erase(std::ranges::find(mainNesting, &me));
    me.nestedUntil = nullptr;
    if (onMain) {
        mainState->busy = true;
    }
    throwIfAbandoned();
}

void VirtualDispatch::Impl::shutdown() {
    std::vector<std::thread> threads;
    Events abandonedEvents;
    {
        std::unique_lock lock(mutex);
        if (shuttingDown) {
            return;
        }
        shuttingDown = true;
        // Every other context waits for the baton: hand it to each in turn so that blocked work
        // unwinds and idle schedulers leave their loop; each gives the baton back as it ends.
        for (auto& context : contexts) {
            handOver(driver, *context, lock);
        }
        for (auto& context : contexts) {
            threads.push_back(std::move(context->thread));
        }
        abandonedEvents = std::move(events);
        graveyard.clear();
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

VirtualDispatch::VirtualDispatch() : VirtualDispatch(Options{}) {}

VirtualDispatch::VirtualDispatch(Options options) : impl_(std::make_unique<Impl>(options)) {}

VirtualDispatch::~VirtualDispatch() {
    impl_->shutdown();
}

platform::WallTime VirtualDispatch::defaultWallClockStart() {
    // 2026-01-05 09:00:00 UTC, a Monday morning: any fixed time keeps traces reproducible.
    return platform::WallTime(std::chrono::seconds(1767603600));
}

platform::Queue& VirtualDispatch::main() {
    return *impl_->mainQueue;
}

platform::Queue& VirtualDispatch::global(QualityOfService qos) {
    return *impl_->globalQueues.at(qos);
}

std::unique_ptr<platform::Queue> VirtualDispatch::makeSerialQueue(std::string label,
                                                                  QualityOfService qos) {
    auto state = std::make_shared<QueueState>(QueueState{std::move(label), qos, true});
    return std::make_unique<Impl::QueueHandle>(*impl_, std::move(state), true);
}

bool VirtualDispatch::isMainThread() const {
    const auto& me = impl_->self();
    return &me == &impl_->driver || me.runningQueue == impl_->mainState.get();
}

void VirtualDispatch::sleep(Duration duration) {
    impl_->sleepFor(duration);
}

void VirtualDispatch::runNestedMainLoopUntil(const std::function<bool()>& done) {
    impl_->nestedLoop(done);
}

void VirtualDispatch::runMainLoop() {
    {
        std::scoped_lock lock(impl_->mutex);
        impl_->stopRequested = false;
    }
    for (;;) {
        std::unique_lock lock(impl_->mutex);
        if (impl_->stopRequested || impl_->shuttingDown) {
            return;
        }
        const auto next = std::ranges::find_if(impl_->events, [&](const auto& entry) {
            const auto& event = entry.second;
            return event.resume != nullptr ||
                   (!impl_->isDead(event) && !(event.queue->serial && event.queue->busy));
        });
        if (next == impl_->events.end()) {
            return;
        }
        impl_->driverWait(lock, std::max(impl_->now, next->first.first), nullptr, false);
    }
}

void VirtualDispatch::stopMainLoop() {
    std::scoped_lock lock(impl_->mutex);
    impl_->stopRequested = true;
}

platform::WallTime VirtualDispatch::now() const {
    std::scoped_lock lock(impl_->mutex);
    return impl_->options.wallClockStart +
           std::chrono::duration_cast<platform::WallClock::duration>(impl_->now);
}

Duration VirtualDispatch::uptime() const {
    std::scoped_lock lock(impl_->mutex);
    return impl_->options.uptimeAtStart + impl_->now;
}

void VirtualDispatch::advance(Duration duration) {
    std::unique_lock lock(impl_->mutex);
    impl_->driverWait(lock, impl_->now + std::max(duration, Duration::zero()), nullptr, false);
}

Duration VirtualDispatch::elapsed() const {
    std::scoped_lock lock(impl_->mutex);
    return impl_->now;
}

std::size_t VirtualDispatch::pendingCount() const {
    std::scoped_lock lock(impl_->mutex);
    return static_cast<std::size_t>(std::ranges::count_if(impl_->events, [&](const auto& entry) {
        return entry.second.resume == nullptr && !impl_->isDead(entry.second);
    }));
}

void VirtualDispatch::shutdown() {
    impl_->shutdown();
}

}  // namespace parvel::sim
