#include <functional>
#include <optional>

#include <gtest/gtest.h>

#include "base/Lifetime.h"
#include "platform/sim/VirtualDispatch.h"

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

TEST(Lifetime, ACallbackBlockedInAModalLoopDoesNotHoldBackTheOwnersOtherCallbacks) {
    sim::VirtualDispatch dispatch;
    Lifetime lifetime;
    bool answered = false;
    int ticks = 0;
    dispatch.main().async(
        lifetime.guard([&] { dispatch.runNestedMainLoopUntil([&] { return answered; }); }));
    auto timer = dispatch.main().scheduleRepeating(
        {.startDelay = platform::seconds(1), .interval = platform::seconds(1)},
        lifetime.guard([&] { ++ticks; }));
    dispatch.advance(platform::seconds(3));
    EXPECT_EQ(ticks, 3) << "the timer kept firing while the modal loop waited";
    answered = true;
    dispatch.runDue();
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
