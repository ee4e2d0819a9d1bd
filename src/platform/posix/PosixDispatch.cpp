#include "platform/posix/PosixDispatch.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace parvel::posix {

using platform::Duration;
using platform::QualityOfService;
using platform::Work;
using SteadyTime = std::chrono::steady_clock::time_point;

namespace {

// Work waiting for its time, in deadline order and first-in first-out on equal deadlines.
// Any number of threads may serve it; stop() wakes them all for good.
class TimedWork {
  public:
    struct Item {
        Work work;
        std::shared_ptr<platform::CancellationFlag> cancellation;
        Duration interval{};
    };

    void post(SteadyTime deadline, Item item) {
        {
            std::scoped_lock lock(mutex_);
            if (stopped_) {
                return;
            }
            items_.emplace(Key{deadline, sequence_++}, std::move(item));
        }
        changed_.notify_all();
    }

    // Runs the next due item, waiting for one at most until `until`. False once stopped.
    bool runNext(SteadyTime until) {
        std::unique_lock lock(mutex_);
        for (;;) {
            if (stopped_) {
                return false;
            }
            const auto now = std::chrono::steady_clock::now();
            if (!items_.empty() && items_.begin()->first.first <= now) {
                break;
            }
            if (now >= until) {
                return true;
            }
            const auto wake = items_.empty() ? until : std::min(until, items_.begin()->first.first);
            changed_.wait_until(lock, wake);
        }
        auto node = items_.extract(items_.begin());
        lock.unlock();
        run(node.key().first, std::move(node.mapped()));
        return true;
    }

    void stop() {
        std::map<Key, Item> dropped;
        {
            std::scoped_lock lock(mutex_);
            stopped_ = true;
            dropped.swap(items_);
        }
        changed_.notify_all();
    }

    // Wakes the threads waiting in runNext() so that they look at their stop condition again.
    void wake() { changed_.notify_all(); }

  private:
    using Key = std::pair<SteadyTime, std::uint64_t>;

    void run(SteadyTime deadline, Item item) {
        if (item.cancellation && item.cancellation->isCancelled()) {
            return;
        }
        item.work();
        if (item.interval <= Duration::zero()) {
            if (item.cancellation) {
                item.cancellation->cancel();
            }
            return;
        }
        if (item.cancellation && item.cancellation->isCancelled()) {
            return;
        }
        // Keep the period; skip firings missed while the queue was busy.
        const auto now = std::chrono::steady_clock::now();
        auto next = deadline + item.interval;
        if (next <= now) {
            next += ((now - next) / item.interval + 1) * item.interval;
        }
        post(next, std::move(item));
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<Key, Item> items_;
    std::uint64_t sequence_ = 0;
    bool stopped_ = false;
};

class ThreadQueue final : public platform::Queue {
  public:
    ThreadQueue(std::string label, QualityOfService qos, bool serial)
        : label_(std::move(label)), qos_(qos), serial_(serial) {}

    std::string_view label() const override { return label_; }
    QualityOfService qualityOfService() const override { return qos_; }
    bool isSerial() const override { return serial_; }

    void async(Work work) override { asyncAfter(Duration::zero(), std::move(work)); }
    void asyncAfter(Duration delay, Work work) override {
        work_->post(deadlineAfter(delay), {std::move(work), nullptr, {}});
    }
    platform::Scheduled scheduleAfter(Duration delay, Work work) override {
        auto cancellation = std::make_shared<platform::CancellationFlag>();
        work_->post(deadlineAfter(delay), {std::move(work), cancellation, {}});
        return platform::Scheduled(cancellation);
    }
    platform::Scheduled scheduleRepeating(platform::TimerSpec spec, Work work) override {
        auto cancellation = std::make_shared<platform::CancellationFlag>();
        work_->post(deadlineAfter(spec.startDelay), {std::move(work), cancellation, spec.interval});
        return platform::Scheduled(cancellation);
    }

    const std::shared_ptr<TimedWork>& work() const { return work_; }

  private:
    static SteadyTime deadlineAfter(Duration delay) {
        return std::chrono::steady_clock::now() + std::max(delay, Duration::zero());
    }

    std::string label_;
    QualityOfService qos_;
    bool serial_;
    std::shared_ptr<TimedWork> work_ = std::make_shared<TimedWork>();
};

// Serves a queue's work on threads of its own until the queue goes away.
class Workers {
  public:
    Workers(const std::shared_ptr<TimedWork>& work, std::size_t count) {
        for (std::size_t index = 0; index < count; ++index) {
            threads_.emplace_back([work] {
                while (work->runNext(SteadyTime::max())) {
                }
            });
        }
    }
    ~Workers() {
        for (auto& thread : threads_) {
            // A queue dropped by its own work item cannot wait for itself.
            if (thread.get_id() == std::this_thread::get_id()) {
                thread.detach();
            } else {
                thread.join();
            }
        }
    }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

  private:
    std::vector<std::thread> threads_;
};

// A serial queue of our own: one thread, stopped and joined when the queue is dropped.
class SerialQueue final : public platform::Queue {
  public:
    SerialQueue(std::string label, QualityOfService qos)
        : queue_(std::move(label), qos, true), workers_(queue_.work(), 1) {}
    ~SerialQueue() override { queue_.work()->stop(); }

    std::string_view label() const override { return queue_.label(); }
    QualityOfService qualityOfService() const override { return queue_.qualityOfService(); }
    bool isSerial() const override { return true; }
    void async(Work work) override { queue_.async(std::move(work)); }
    void asyncAfter(Duration delay, Work work) override {
        queue_.asyncAfter(delay, std::move(work));
    }
    platform::Scheduled scheduleAfter(Duration delay, Work work) override {
        return queue_.scheduleAfter(delay, std::move(work));
    }
    platform::Scheduled scheduleRepeating(platform::TimerSpec spec, Work work) override {
        return queue_.scheduleRepeating(spec, std::move(work));
    }

  private:
    ThreadQueue queue_;
    Workers workers_;  // declared last: its threads stop before the queue they serve goes
};

}  // namespace

struct PosixDispatch::Impl {
    explicit Impl(std::size_t globalThreads) {
        for (const auto qos :
             {QualityOfService::UserInteractive, QualityOfService::UserInitiated,
              QualityOfService::Default, QualityOfService::Utility, QualityOfService::Background}) {
            auto queue = std::make_unique<ThreadQueue>("global", qos, false);
            pools.push_back(std::make_unique<Workers>(queue->work(), globalThreads));
            globals.emplace(qos, std::move(queue));
        }
    }
    ~Impl() {
        mainQueue.work()->stop();
        for (auto& [qos, queue] : globals) {
            queue->work()->stop();
        }
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    std::atomic<std::thread::id> mainThread{std::this_thread::get_id()};
    std::atomic<bool> stopRequested{false};
    ThreadQueue mainQueue{"com.apple.main-thread", QualityOfService::UserInteractive, true};
    std::map<QualityOfService, std::unique_ptr<ThreadQueue>> globals;
    std::vector<std::unique_ptr<Workers>> pools;  // after the queues: stopped and joined first
};

// How long the main loop waits before it looks at its stop or nested-loop condition again.
constexpr Duration kMainLoopPollInterval = std::chrono::milliseconds(10);

PosixDispatch::PosixDispatch(std::size_t globalThreads)
    : impl_(std::make_unique<Impl>(std::max<std::size_t>(globalThreads, 1))) {}

PosixDispatch::~PosixDispatch() = default;

platform::Queue& PosixDispatch::main() {
    return impl_->mainQueue;
}

platform::Queue& PosixDispatch::global(QualityOfService qos) {
    return *impl_->globals.at(qos);
}

std::unique_ptr<platform::Queue> PosixDispatch::makeSerialQueue(std::string label,
                                                                QualityOfService qos) {
    return std::make_unique<SerialQueue>(std::move(label), qos);
}

bool PosixDispatch::isMainThread() const {
    return impl_->mainThread.load() == std::this_thread::get_id();
}

void PosixDispatch::sleep(Duration duration) {
    std::this_thread::sleep_for(duration);
}

void PosixDispatch::runNestedMainLoopUntil(const std::function<bool()>& done) {
    while (!done()) {
        if (!impl_->mainQueue.work()->runNext(std::chrono::steady_clock::now() +
                                              kMainLoopPollInterval)) {
            return;
        }
    }
}

void PosixDispatch::runMainLoop() {
    impl_->mainThread.store(std::this_thread::get_id());
    impl_->stopRequested.store(false);
    while (!impl_->stopRequested.load()) {
        if (!impl_->mainQueue.work()->runNext(std::chrono::steady_clock::now() +
                                              kMainLoopPollInterval)) {
            return;
        }
    }
}

void PosixDispatch::stopMainLoop() {
    impl_->stopRequested.store(true);
    impl_->mainQueue.work()->wake();
}

platform::WallTime PosixDispatch::now() const {
    return platform::WallClock::now();
}

Duration PosixDispatch::uptime() const {
    return std::chrono::duration_cast<Duration>(
        std::chrono::steady_clock::now().time_since_epoch());
}

}  // namespace parvel::posix
