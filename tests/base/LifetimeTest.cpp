#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "base/Lifetime.h"

namespace parvel {
namespace {

TEST(Lifetime, GuardedCallbacksStopRunningOnceTheOwnerIsGone) {
    int calls = 0;
    std::function<void(int)> callback;
    {
        Lifetime lifetime;
        callback = lifetime.guard([&calls](int amount) { calls += amount; });
        callback(2);
    }
    callback(5);
    EXPECT_EQ(calls, 2);
}

TEST(Lifetime, EndingWaitsForACallbackRunningOnAnotherThread) {
    std::optional<Lifetime> lifetime(std::in_place);
    std::atomic<bool> started{false};
    std::atomic<bool> finished{false};
    auto slow = lifetime->guard([&] {
        started = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        finished = true;
    });
    std::thread worker(slow);
    while (!started) {
        std::this_thread::yield();
    }
    lifetime.reset();
    EXPECT_TRUE(finished) << "the owner went away while its callback was still running";
    worker.join();
}

TEST(Lifetime, ACallbackMayEndItsOwnLifetime) {
    std::optional<Lifetime> lifetime(std::in_place);
    int calls = 0;
    std::function<void()> selfEnding;
    selfEnding = lifetime->guard([&] {
        ++calls;
        lifetime.reset();
    });
    selfEnding();
    selfEnding();
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace parvel
