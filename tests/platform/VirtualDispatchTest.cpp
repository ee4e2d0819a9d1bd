#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/sim/VirtualDispatch.h"

namespace parvel::sim {
namespace {

using platform::Duration;
using platform::QualityOfService;
using platform::seconds;
using platform::toSeconds;

class VirtualDispatchTest : public testing::Test {
  protected:
    VirtualDispatch dispatch;
    std::vector<std::string> trace;

    // Records a step with the virtual time it happened at, in milliseconds.
    void note(const std::string& step) {
        trace.push_back(fmt::format(
            "{}@{}", step,
            std::chrono::duration_cast<std::chrono::milliseconds>(dispatch.elapsed()).count()));
    }
    std::unique_ptr<platform::Queue> serial(const char* label = "com.tarnby.parvelmac.test") {
        return dispatch.makeSerialQueue(label, QualityOfService::Utility);
    }
};

TEST_F(VirtualDispatchTest, EqualDeadlinesRunInSubmissionOrderAcrossQueues) {
    auto queue = serial();
    auto& main = dispatch.main();
    main.asyncAfter(seconds(1), [&] { note("main 1"); });
    queue->asyncAfter(seconds(1), [&] { note("serial 1"); });
    dispatch.global(QualityOfService::Utility).asyncAfter(seconds(1), [&] { note("global 1"); });
    main.asyncAfter(seconds(1), [&] { note("main 2"); });
    dispatch.advance(seconds(1));
    EXPECT_EQ(trace, (std::vector<std::string>{"main 1@1000", "serial 1@1000", "global 1@1000",
                                               "main 2@1000"}));
}

TEST_F(VirtualDispatchTest, AdvanceRunsWorkScheduledWhileAdvancingUpToTheTargetOnly) {
    auto& main = dispatch.main();
    main.asyncAfter(seconds(0.5), [&] {
        note("first");
        main.asyncAfter(seconds(0.5), [&] { note("at target"); });
        main.asyncAfter(seconds(0.6), [&] { note("beyond target"); });
        main.async([&] { note("same instant"); });
    });
    dispatch.advance(seconds(1));
    EXPECT_EQ(trace, (std::vector<std::string>{"first@500", "same instant@500", "at target@1000"}));
    EXPECT_EQ(dispatch.elapsed(), seconds(1));
    EXPECT_EQ(dispatch.pendingCount(), 1u);
    dispatch.advance(seconds(0.1));
    EXPECT_EQ(trace.back(), "beyond target@1100");
}

TEST_F(VirtualDispatchTest, NothingRunsUntilTimeIsAdvanced) {
    dispatch.main().async([&] { note("posted"); });
    EXPECT_TRUE(trace.empty());
    dispatch.runDue();
    EXPECT_EQ(trace, (std::vector<std::string>{"posted@0"}));
    EXPECT_EQ(dispatch.elapsed(), Duration::zero());
}

TEST_F(VirtualDispatchTest, RepeatingTimerKeepsItsPeriodWhateverTheAdvanceSteps) {
    auto timer = dispatch.main().scheduleRepeating(
        {.startDelay = seconds(0.8), .interval = seconds(0.8), .leeway = seconds(0.15)},
        [&] { note("tick"); });
    for (const double step : {0.3, 0.7, 0.05, 1.15, 0.2}) {
        dispatch.advance(seconds(step));
    }
    EXPECT_EQ(trace, (std::vector<std::string>{"tick@800", "tick@1600", "tick@2400"}));
}

TEST_F(VirtualDispatchTest, TimerOnABusyQueueSkipsTheFiringsItMissed) {
    auto queue = serial();
    auto timer = queue->scheduleRepeating({.startDelay = seconds(1), .interval = seconds(1)},
                                          [&] { note("tick"); });
    queue->asyncAfter(seconds(0.5), [&] {
        note("long job");
        dispatch.sleep(seconds(2.2));
    });
    dispatch.advance(seconds(5));
    EXPECT_EQ(trace, (std::vector<std::string>{"long job@500", "tick@2700", "tick@3000",
                                               "tick@4000", "tick@5000"}));
}

TEST_F(VirtualDispatchTest, CancelledTimersNeverFireAndOneShotsStopBeingActive) {
    auto& main = dispatch.main();
    auto repeating = main.scheduleRepeating({.startDelay = seconds(1), .interval = seconds(1)},
                                            [&] { note("repeating"); });
    auto oneShot = main.scheduleAfter(seconds(1), [&] {
        note("one shot");
        repeating.cancel();
    });
    dispatch.advance(seconds(10));
    EXPECT_EQ(trace, (std::vector<std::string>{"repeating@1000", "one shot@1000"}));
    EXPECT_FALSE(oneShot.isActive());
    EXPECT_EQ(dispatch.pendingCount(), 0u);
}

TEST_F(VirtualDispatchTest, SleepMovesOnlyItsQueuesTimeWhileOtherQueuesGoOn) {
    auto queue = serial("com.tarnby.parvelmac.systemMode");
    queue->async([&] {
        note("job starts");
        dispatch.sleep(seconds(0.8));
        note("job resumes");
    });
    queue->async([&] { note("next job"); });
    auto poll = dispatch.main().scheduleRepeating(
        {.startDelay = seconds(0.25), .interval = seconds(0.25)}, [&] { note("poll"); });
    dispatch.advance(seconds(0.3));
    EXPECT_EQ(trace, (std::vector<std::string>{"job starts@0", "poll@250"}))
        << "advance returns at its target while the job still sleeps";
    dispatch.advance(seconds(0.7));
    EXPECT_EQ(trace, (std::vector<std::string>{"job starts@0", "poll@250", "poll@500", "poll@750",
                                               "job resumes@800", "next job@800", "poll@1000"}));
}

TEST_F(VirtualDispatchTest, ASleepOnTheTestThreadHoldsTheMainQueue) {
    auto queue = serial();
    dispatch.main().asyncAfter(seconds(0.1), [&] { note("main"); });
    queue->asyncAfter(seconds(0.1), [&] { note("serial"); });
    dispatch.sleep(seconds(0.5));
    EXPECT_EQ(trace, (std::vector<std::string>{"serial@100"}));
    dispatch.runDue();
    EXPECT_EQ(trace, (std::vector<std::string>{"serial@100", "main@500"}));
}

TEST_F(VirtualDispatchTest, NestedMainLoopWaitsForTheTestToAnswer) {
    auto& main = dispatch.main();
    bool answered = false;
    main.async([&] {
        note("alert shown");
        dispatch.runNestedMainLoopUntil([&] { return answered; });
        note("alert answered");
    });
    auto tick = main.scheduleRepeating({.startDelay = seconds(0.8), .interval = seconds(0.8)},
                                       [&] { note("gate refresh"); });
    dispatch.advance(seconds(2));
    EXPECT_EQ(trace,
              (std::vector<std::string>{"alert shown@0", "gate refresh@800", "gate refresh@1600"}));
    answered = true;
    dispatch.runDue();
    EXPECT_EQ(trace.back(), "alert answered@2000");
}

TEST_F(VirtualDispatchTest, OnlyTheInnermostNestedLoopMayReturn) {
    auto& main = dispatch.main();
    bool outerDone = false;
    bool innerDone = false;
    main.async([&] {
        dispatch.runNestedMainLoopUntil([&] { return outerDone; });
        note("outer returns");
    });
    main.asyncAfter(seconds(1), [&] {
        dispatch.runNestedMainLoopUntil([&] { return innerDone; });
        note("inner returns");
    });
    dispatch.advance(seconds(2));
    outerDone = true;
    dispatch.advance(seconds(1));
    EXPECT_TRUE(trace.empty()) << "the outer loop must wait for the inner one";
    innerDone = true;
    dispatch.runDue();
    EXPECT_EQ(trace, (std::vector<std::string>{"inner returns@3000", "outer returns@3000"}));
}

TEST_F(VirtualDispatchTest, NestedLoopOnTheTestThreadRunsUntilDoneOrGivesUp) {
    bool done = false;
    dispatch.main().asyncAfter(seconds(3), [&] { done = true; });
    dispatch.runNestedMainLoopUntil([&] { return done; });
    EXPECT_EQ(dispatch.elapsed(), seconds(3));
    EXPECT_THROW(dispatch.runNestedMainLoopUntil([] { return false; }), std::runtime_error);
}

TEST_F(VirtualDispatchTest, MainThreadIsTheTestThreadAndMainQueueWork) {
    auto queue = serial();
    EXPECT_TRUE(dispatch.isMainThread());
    std::vector<bool> seen;
    dispatch.main().async([&] { seen.push_back(dispatch.isMainThread()); });
    queue->async([&] { seen.push_back(dispatch.isMainThread()); });
    dispatch.runDue();
    EXPECT_EQ(seen, (std::vector<bool>{true, false}));
}

TEST_F(VirtualDispatchTest, AnExceptionEscapingWorkReachesTheTest) {
    dispatch.main().async([] { throw std::logic_error("broken work item"); });
    dispatch.main().async([&] { note("after"); });
    EXPECT_THROW(dispatch.runDue(), std::logic_error);
    EXPECT_EQ(trace, (std::vector<std::string>{"after@0"})) << "the rest of the schedule still ran";
}

TEST_F(VirtualDispatchTest, DestroyingAQueueLetsItsBlockedWorkFinishFirst) {
    auto queue = serial();
    queue->async([&] {
        note("job starts");
        dispatch.sleep(seconds(0.7));
        note("job ends");
    });
    queue->asyncAfter(seconds(5), [&] { note("dropped"); });
    dispatch.runDue();
    // The owner goes away on the main queue while the job sleeps.
    dispatch.main().async([&] {
        queue.reset();
        note("queue gone");
    });
    dispatch.advance(seconds(10));
    EXPECT_EQ(trace, (std::vector<std::string>{"job starts@0", "job ends@700", "queue gone@700"}));
}

TEST_F(VirtualDispatchTest, ShutdownUnwindsBlockedWork) {
    struct Unwound {
        bool& flag;
        ~Unwound() { flag = true; }
    };
    bool sleeperUnwound = false;
    bool modalUnwound = false;
    auto queue = serial();
    queue->async([&] {
        Unwound guard{sleeperUnwound};
        dispatch.sleep(seconds(60));
        note("sleeper resumed");
    });
    dispatch.main().async([&] {
        Unwound guard{modalUnwound};
        dispatch.runNestedMainLoopUntil([] { return false; });
        note("modal returned");
    });
    dispatch.advance(seconds(1));
    dispatch.shutdown();
    EXPECT_TRUE(sleeperUnwound);
    EXPECT_TRUE(modalUnwound);
    EXPECT_TRUE(trace.empty());
}

TEST_F(VirtualDispatchTest, ClocksFollowVirtualTime) {
    const auto wallStart = dispatch.now();
    const auto uptimeStart = dispatch.uptime();
    dispatch.advance(std::chrono::hours(1));
    EXPECT_EQ(dispatch.now() - wallStart, std::chrono::hours(1));
    EXPECT_EQ(dispatch.uptime() - uptimeStart, std::chrono::hours(1));
    EXPECT_EQ(wallStart, VirtualDispatch::defaultWallClockStart());
}

// A random mix of queues, delays, timers and sleeps must replay identically.
std::vector<std::string> runRandomSchedule(unsigned seed) {
    VirtualDispatch dispatch;
    std::mt19937 random(seed);
    std::vector<std::string> trace;
    std::vector<std::unique_ptr<platform::Queue>> queues;
    for (int index = 0; index < 3; ++index) {
        queues.push_back(
            dispatch.makeSerialQueue(fmt::format("q{}", index), QualityOfService::Utility));
    }
    std::vector<platform::Scheduled> timers;
    auto record = [&](std::string what) {
        trace.push_back(fmt::format("{}@{}", what, dispatch.elapsed().count()));
    };
    for (int index = 0; index < 200; ++index) {
        const int kind = static_cast<int>(random() % 4);
        const Duration delay = std::chrono::milliseconds(random() % 3000);
        auto& queue = kind == 3 ? dispatch.main() : *queues[static_cast<std::size_t>(kind)];
        if (index % 20 == 0) {
            timers.push_back(queue.scheduleRepeating(
                {.startDelay = delay, .interval = std::chrono::milliseconds(100 + random() % 900)},
                [&record, index] { record(fmt::format("timer {}", index)); }));
        } else if (index % 7 == 0 && kind != 3) {
            const Duration nap = std::chrono::milliseconds(random() % 500);
            queue.asyncAfter(delay, [&, index, nap] {
                record(fmt::format("sleeper {}", index));
                dispatch.sleep(nap);
                record(fmt::format("woke {}", index));
            });
        } else {
            queue.asyncAfter(delay, [&record, index] { record(fmt::format("item {}", index)); });
        }
    }
    for (int step = 0; step < 40; ++step) {
        dispatch.advance(std::chrono::milliseconds(random() % 200));
    }
    return trace;
}

TEST(VirtualDispatchDeterminism, TheSameScheduleReplaysIdentically) {
    for (const unsigned seed : {1u, 7u, 42u}) {
        const auto first = runRandomSchedule(seed);
        EXPECT_GT(first.size(), 150u);
        EXPECT_EQ(first, runRandomSchedule(seed)) << "seed " << seed;
    }
}

}  // namespace
}  // namespace parvel::sim
