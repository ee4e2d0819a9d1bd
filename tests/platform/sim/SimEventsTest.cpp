#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/sim/SimEvents.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Displays.h"
#include "platform/sim/world/Hardware.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::sim {
namespace {

using platform::Event;
using platform::EventField;
using platform::EventType;
using platform::TapOptions;
using platform::TapPlacement;
using platform::TapVerdict;

Event keyDown(std::int64_t keyCode, platform::EventFlags flags = 0) {
    Event event;
    event.type = EventType::KeyDown;
    event.flags = flags;
    event.setField(EventField::KeyboardEventKeycode, keyCode);
    return event;
}

// A special key as the program posts it: system-defined, subtype 8, key code and state in data1.
Event specialKey(std::int64_t keyCode, bool down) {
    Event event;
    event.type = EventType::SystemDefined;
    event.subtype = 8;
    event.data1 = (keyCode << 16) | (down ? 0x0a00 : 0x0b00);
    return event;
}

class SimEventsTest : public testing::Test {
  protected:
    SimulatedMac mac;
    platform::Events& events = *mac.platform().events;
    std::vector<std::string> order;

    // A tap that notes its name for every event it sees and answers `verdict`.
    std::unique_ptr<platform::EventTap> tap(const std::string& name, TapPlacement placement,
                                            TapVerdict verdict = TapVerdict::Pass,
                                            TapOptions options = TapOptions::Default) {
        auto created = events.createTap(
            {placement, options, platform::maskOf(EventType::KeyDown, EventType::FlagsChanged),
             [this, name, verdict](Event& event) {
                 order.push_back(name);
                 if (event.type == EventType::KeyDown && name == "rewriter") {
                     event.setField(EventField::KeyboardEventKeycode, 99);
                 }
                 return verdict;
             }});
        EXPECT_TRUE(created.has_value());
        return created ? std::move(*created) : nullptr;
    }
    // Presses a key as the user would: the event enters on the main queue.
    void press(const Event& event) {
        mac.dispatch().main().async([this, event] { mac.events().inject(event); });
        mac.dispatch().runDue();
    }
    const std::vector<Event>& receivedByFinder() {
        return mac.applications().find(mac.applications().frontmost().value())->receivedEvents;
    }
};

TEST_F(SimEventsTest, HeadTapsGoAheadOfEarlierOnesAndTailTapsAfterThem) {
    auto first = tap("first head", TapPlacement::HeadInsert);
    auto tail = tap("tail", TapPlacement::TailAppend, TapVerdict::Pass, TapOptions::ListenOnly);
    auto second = tap("second head", TapPlacement::HeadInsert);
    press(keyDown(0));
    EXPECT_EQ(order, (std::vector<std::string>{"second head", "first head", "tail"}));
    ASSERT_EQ(receivedByFinder().size(), 1u);
}

TEST_F(SimEventsTest, ASwallowedEventGoesNoFurtherAndRewritesTravelOn) {
    auto rewriter = tap("rewriter", TapPlacement::HeadInsert);
    auto listener =
        tap("listener", TapPlacement::TailAppend, TapVerdict::Swallow, TapOptions::ListenOnly);
    press(keyDown(7));
    ASSERT_EQ(receivedByFinder().size(), 1u) << "a listen-only tap cannot swallow";
    EXPECT_EQ(receivedByFinder().back().field(EventField::KeyboardEventKeycode), 99);

    auto swallower = tap("swallower", TapPlacement::HeadInsert, TapVerdict::Swallow);
    order.clear();
    press(keyDown(7));
    EXPECT_EQ(order, (std::vector<std::string>{"swallower"}));
    EXPECT_EQ(receivedByFinder().size(), 1u);
}

TEST_F(SimEventsTest, TapsNeedInputMonitoringAndFiltersAlsoAccessibility) {
    struct Case {
        bool inputMonitoring;
        bool accessibility;
        TapOptions options;
        bool created;
    };
    const Case cases[] = {
        {true, true, TapOptions::Default, true},      {false, true, TapOptions::Default, false},
        {true, false, TapOptions::Default, false},    {true, false, TapOptions::ListenOnly, true},
        {false, true, TapOptions::ListenOnly, false},
    };
    for (const auto& testCase : cases) {
        mac.permissions().inputMonitoring = testCase.inputMonitoring;
        mac.permissions().accessibility = testCase.accessibility;
        const auto created = events.createTap({TapPlacement::HeadInsert, testCase.options,
                                               platform::maskOf(EventType::KeyDown),
                                               [](Event&) { return TapVerdict::Pass; }});
        EXPECT_EQ(created.has_value(), testCase.created)
            << testCase.inputMonitoring << testCase.accessibility;
    }
    EXPECT_EQ(events.preflightListenEventAccess(), false);
}

TEST_F(SimEventsTest, DisabledTapsHearWhyAndCanEnableThemselvesAgain) {
    std::vector<EventType> seen;
    platform::EventTap* handle = nullptr;
    auto created = events.createTap({TapPlacement::HeadInsert, TapOptions::Default,
                                     platform::maskOf(EventType::KeyDown), [&](Event& event) {
                                         seen.push_back(event.type);
                                         if (event.type == EventType::TapDisabledByTimeout) {
                                             handle->setEnabled(true);
                                         }
                                         return TapVerdict::Pass;
                                     }});
    ASSERT_TRUE(created.has_value());
    handle = created->get();
    mac.events().disableTaps(EventType::TapDisabledByTimeout);
    EXPECT_TRUE(handle->isEnabled());
    mac.events().disableTaps(EventType::TapDisabledByUserInput);
    EXPECT_FALSE(handle->isEnabled());
    press(keyDown(1));
    EXPECT_EQ(seen, (std::vector<EventType>{EventType::TapDisabledByTimeout,
                                            EventType::TapDisabledByUserInput}));
    created->reset();
    EXPECT_EQ(mac.events().tapCount(), 0u);
}

TEST_F(SimEventsTest, PostedEventsPassTheTapsAfterThePosterReturns) {
    auto head = tap("head", TapPlacement::HeadInsert);
    mac.dispatch().main().async([&] {
        events.post(keyDown(49, platform::event_flags::kCommand),
                    platform::EventSource::HIDSystemState);
        order.push_back("poster returned");
    });
    mac.dispatch().runDue();
    EXPECT_EQ(order, (std::vector<std::string>{"poster returned", "head"}));
    EXPECT_EQ(receivedByFinder().back().flags, platform::event_flags::kCommand);
}

TEST_F(SimEventsTest, GlobalMonitorsSeeOtherApplicationsEventsOnly) {
    int globalSeen = 0;
    int localSeen = 0;
    auto global = events.addGlobalMonitor(platform::maskOf(EventType::KeyDown),
                                          [&](const Event&) { ++globalSeen; });
    auto local = events.addLocalMonitor(platform::maskOf(EventType::KeyDown), [&](const Event&) {
        ++localSeen;
        return false;
    });
    press(keyDown(51));
    EXPECT_EQ(globalSeen, 1);
    EXPECT_EQ(localSeen, 0);
    mac.applications().activate(SimulatedMac::kOwnPid);
    press(keyDown(51));
    EXPECT_EQ(globalSeen, 1);
    EXPECT_EQ(localSeen, 1) << "our own key events go to local monitors, which may consume them";
    EXPECT_TRUE(mac.applications().find(SimulatedMac::kOwnPid)->receivedEvents.empty());
}

TEST_F(SimEventsTest, BrightnessAndIlluminationKeysStepTheirLevelsOnKeyDown) {
    struct Case {
        std::int64_t downKey;
        std::int64_t upKey;
        double (Hardware::*level)() const;
    };
    const Case cases[] = {{3, 2, &Hardware::displayBrightness},
                          {22, 21, &Hardware::keyboardBacklight}};
    const auto pressKey = [this](std::int64_t keyCode, int times) {
        for (int index = 0; index < times; ++index) {
            events.post(specialKey(keyCode, true), platform::EventSource::None);
            events.post(specialKey(keyCode, false), platform::EventSource::None);
        }
        mac.dispatch().runDue();
    };
    for (const auto& [downKey, upKey, level] : cases) {
        SCOPED_TRACE(downKey);
        const double before = (mac.hardware().*level)();
        pressKey(upKey, 1);
        EXPECT_DOUBLE_EQ((mac.hardware().*level)(), before + 1.0 / 16);
        pressKey(downKey, 16);
        EXPECT_EQ((mac.hardware().*level)(), 0.0) << "the level stops at the bottom";
        pressKey(upKey, 8);
        EXPECT_DOUBLE_EQ((mac.hardware().*level)(), 0.5);
        events.post(specialKey(upKey, false), platform::EventSource::None);
        mac.dispatch().runDue();
        EXPECT_DOUBLE_EQ((mac.hardware().*level)(), 0.5) << "a key-up alone moves nothing";
    }
    EXPECT_TRUE(receivedByFinder().empty()) << "the system keeps these keys to itself";

    press(specialKey(0, true));
    ASSERT_EQ(receivedByFinder().size(), 1u) << "other special keys (sound up) go on";
    EXPECT_EQ(describeEvent(receivedByFinder().front()), "system-defined subtype 8 data1 0xa00");
}

TEST_F(SimEventsTest, ATapThatSwallowsABrightnessKeyKeepsTheLevel) {
    auto created = events.createTap({TapPlacement::HeadInsert, TapOptions::Default,
                                     platform::maskOf(EventType::SystemDefined),
                                     [](Event&) { return TapVerdict::Swallow; }});
    ASSERT_TRUE(created.has_value());
    const double before = mac.hardware().displayBrightness();
    press(specialKey(2, true));
    EXPECT_EQ(mac.hardware().displayBrightness(), before);
}

TEST_F(SimEventsTest, MouseEventsMoveThePointerInCocoaCoordinates) {
    Event down;
    down.type = EventType::LeftMouseDown;
    down.location = {100, 200};
    press(down);
    const double height = mac.displays().all().front().bounds.size.height;
    EXPECT_EQ(events.mouseLocation(), (platform::Point{100, height - 200}));
    EXPECT_EQ(events.pressedMouseButtons(), 1u);
}

}  // namespace
}  // namespace parvel::sim
