#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Dispatch.h"

// What every Dispatch adapter must do, whatever its clock. A driver type gives the adapter and a
// way to let it run: `Driver::Dispatch dispatch` and `void runFor(Duration)`, which turns the main
// run loop (and lets the other queues work) for that long.
namespace parvel::contract {

using platform::Duration;
using platform::QualityOfService;
using platform::seconds;

// A thread-safe record of what ran, in order.
class Trace {
  public:
    void add(std::string step) {
        std::scoped_lock lock(mutex_);
        steps_.push_back(std::move(step));
    }
    std::vector<std::string> steps() const {
        std::scoped_lock lock(mutex_);
        return steps_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> steps_;
};

template <typename Driver>
class DispatchContract : public testing::Test {
  protected:
    Driver driver;
    platform::Dispatch& dispatch = driver.dispatch;
    Trace trace;

    void runFor(Duration duration) { driver.runFor(duration); }
};

TYPED_TEST_SUITE_P(DispatchContract);

TYPED_TEST_P(DispatchContract, MainQueueRunsWorkInOrderIncludingWorkItSchedules) {
    auto& main = this->dispatch.main();
    main.async([&] {
        this->trace.add("a");
        main.async([&] { this->trace.add("c"); });
    });
    main.async([&] { this->trace.add("b"); });
    this->runFor(seconds(0.05));
    EXPECT_EQ(this->trace.steps(), (std::vector<std::string>{"a", "b", "c"}));
}

TYPED_TEST_P(DispatchContract, DelayedWorkRunsInDeadlineOrder) {
    auto& main = this->dispatch.main();
    main.asyncAfter(seconds(0.04), [&] { this->trace.add("late"); });
    main.asyncAfter(seconds(0.01), [&] { this->trace.add("early"); });
    main.async([&] { this->trace.add("now"); });
    this->runFor(seconds(0.15));
    EXPECT_EQ(this->trace.steps(), (std::vector<std::string>{"now", "early", "late"}));
}

TYPED_TEST_P(DispatchContract, SerialQueueRunsOneItemAtATimeInSubmissionOrder) {
    auto queue =
        this->dispatch.makeSerialQueue("com.tarnby.parvelmac.test", QualityOfService::Utility);
    EXPECT_EQ(queue->label(), "com.tarnby.parvelmac.test");
    EXPECT_TRUE(queue->isSerial());
    std::atomic<int> running{0};
    std::atomic<bool> overlapped{false};
    for (int index = 0; index < 20; ++index) {
        queue->async([&, index] {
            if (running.fetch_add(1) != 0) {
                overlapped = true;
            }
            this->trace.add(std::to_string(index));
            running.fetch_sub(1);
        });
    }
    this->runFor(seconds(0.1));
    std::vector<std::string> expected;
    for (int index = 0; index < 20; ++index) {
        expected.push_back(std::to_string(index));
    }
    EXPECT_EQ(this->trace.steps(), expected);
    EXPECT_FALSE(overlapped);
}

TYPED_TEST_P(DispatchContract, CancelledOrDroppedWorkNeverRuns) {
    auto& main = this->dispatch.main();
    auto cancelled = main.scheduleAfter(seconds(0.02), [&] { this->trace.add("cancelled"); });
    {
        auto dropped = main.scheduleAfter(seconds(0.02), [&] { this->trace.add("dropped"); });
    }
    auto kept = main.scheduleAfter(seconds(0.02), [&] { this->trace.add("kept"); });
    EXPECT_TRUE(cancelled.isActive());
    cancelled.cancel();
    EXPECT_FALSE(cancelled.isActive());
    this->runFor(seconds(0.1));
    EXPECT_EQ(this->trace.steps(), (std::vector<std::string>{"kept"}));
    EXPECT_FALSE(kept.isActive()) << "a one-shot item that ran is no longer pending";
}

TYPED_TEST_P(DispatchContract, RepeatingTimerFiresUntilCancelled) {
    std::atomic<int> fired{0};
    auto timer = this->dispatch.main().scheduleRepeating(
        {.startDelay = seconds(0.01), .interval = seconds(0.01)}, [&] { ++fired; });
    this->runFor(seconds(0.1));
    EXPECT_GE(fired.load(), 3);
    timer.cancel();
    const int atCancel = fired.load();
    this->runFor(seconds(0.05));
    EXPECT_EQ(fired.load(), atCancel);
}

TYPED_TEST_P(DispatchContract, TellsTheMainThreadFromOtherQueues) {
    auto queue =
        this->dispatch.makeSerialQueue("com.tarnby.parvelmac.test", QualityOfService::Default);
    std::atomic<int> onMain{-1};
    std::atomic<int> onSerial{-1};
    std::atomic<int> onGlobal{-1};
    this->dispatch.main().async([&] { onMain = this->dispatch.isMainThread(); });
    queue->async([&] { onSerial = this->dispatch.isMainThread(); });
    this->dispatch.global(QualityOfService::Utility).async([&] {
        onGlobal = this->dispatch.isMainThread();
    });
    this->runFor(seconds(0.05));
    EXPECT_EQ(onMain.load(), 1);
    EXPECT_EQ(onSerial.load(), 0);
    EXPECT_EQ(onGlobal.load(), 0);
}

TYPED_TEST_P(DispatchContract, SleepHoldsItsSerialQueueOnly) {
    auto queue = this->dispatch.makeSerialQueue("com.tarnby.parvelmac.test",
                                                QualityOfService::UserInitiated);
    std::atomic<std::int64_t> afterSleep{0};
    std::atomic<std::int64_t> nextItem{0};
    queue->async([&] {
        this->dispatch.sleep(seconds(0.05));
        afterSleep = this->dispatch.uptime().count();
        this->trace.add("slept");
    });
    queue->async([&] {
        nextItem = this->dispatch.uptime().count();
        this->trace.add("next");
    });
    this->dispatch.main().asyncAfter(seconds(0.01), [&] { this->trace.add("main"); });
    this->runFor(seconds(0.2));
    EXPECT_EQ(this->trace.steps(), (std::vector<std::string>{"main", "slept", "next"}));
    EXPECT_GE(nextItem.load(), afterSleep.load());
}

TYPED_TEST_P(DispatchContract, NestedMainLoopKeepsMainWorkRunning) {
    auto& main = this->dispatch.main();
    std::atomic<bool> answered{false};
    main.async([&] {
        this->trace.add("modal begins");
        this->dispatch.runNestedMainLoopUntil([&] { return answered.load(); });
        this->trace.add("modal ends");
    });
    main.asyncAfter(seconds(0.02), [&] {
        this->trace.add("timer during modal");
        answered = true;
    });
    this->runFor(seconds(0.15));
    EXPECT_EQ(this->trace.steps(),
              (std::vector<std::string>{"modal begins", "timer during modal", "modal ends"}));
}

TYPED_TEST_P(DispatchContract, DroppingASerialQueueDropsItsPendingWork) {
    auto queue =
        this->dispatch.makeSerialQueue("com.tarnby.parvelmac.test", QualityOfService::Utility);
    queue->asyncAfter(seconds(0.03), [&] { this->trace.add("pending"); });
    queue.reset();
    this->runFor(seconds(0.08));
    EXPECT_TRUE(this->trace.steps().empty());
}

TYPED_TEST_P(DispatchContract, ClocksMoveForward) {
    const auto wallBefore = this->dispatch.now();
    const auto uptimeBefore = this->dispatch.uptime();
    this->runFor(seconds(0.02));
    EXPECT_GE(this->dispatch.uptime() - uptimeBefore, seconds(0.02));
    EXPECT_GE(this->dispatch.now() - wallBefore, std::chrono::milliseconds(20));
}

REGISTER_TYPED_TEST_SUITE_P(DispatchContract, MainQueueRunsWorkInOrderIncludingWorkItSchedules,
                            DelayedWorkRunsInDeadlineOrder,
                            SerialQueueRunsOneItemAtATimeInSubmissionOrder,
                            CancelledOrDroppedWorkNeverRuns, RepeatingTimerFiresUntilCancelled,
                            TellsTheMainThreadFromOtherQueues, SleepHoldsItsSerialQueueOnly,
                            NestedMainLoopKeepsMainWorkRunning,
                            DroppingASerialQueueDropsItsPendingWork, ClocksMoveForward);

}  // namespace parvel::contract
