#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Events.h"

// What every Events adapter must do with the login session's input. A driver type gives the
// adapter and the machine around it:
//   platform::Events& events;
//   void input(const Event&);          // the keyboard or mouse produces an event, then the main
//                                      // run loop runs until it has gone wherever it goes
//   void settle();                     // the main run loop runs until nothing is due
//   void setInputPermissions(bool inputMonitoring, bool accessibility);
//   void disableTapsBySystem(EventType reason);  // the system turns the session's taps off
//   void activateThisApplication();
//   void activateOtherApplication();
//   std::vector<Event> deliveredToFrontmost();   // what reached the frontmost application
//   double primaryDisplayHeight();
// Every test starts with both permissions granted and another application frontmost.
namespace parvel::contract {

using platform::Event;
using platform::EventField;
using platform::EventType;
using platform::TapOptions;
using platform::TapPlacement;
using platform::TapVerdict;

inline Event keyEvent(EventType type, std::int64_t keyCode, platform::EventFlags flags = 0) {
    Event event;
    event.type = type;
    event.flags = flags;
    event.setField(EventField::KeyboardEventKeycode, keyCode);
    return event;
}

inline Event mouseEvent(EventType type, platform::Point location, std::int64_t button = 0) {
    Event event;
    event.type = type;
    event.location = location;
    event.setField(EventField::MouseEventButtonNumber, button);
    return event;
}

inline std::int64_t keyCodeOf(const Event& event) {
    return event.field(EventField::KeyboardEventKeycode);
}

template <typename Driver>
class EventsContract : public testing::Test {
  protected:
    Driver driver;
    platform::Events& events = driver.events;
    std::vector<std::string> seen;

    // A tap that notes `name` for each event it is handed, lets `change` alter the event and
    // answers `verdict`.
    std::unique_ptr<platform::EventTap> tap(
        std::string name, TapPlacement placement, TapOptions options = TapOptions::Default,
        TapVerdict verdict = TapVerdict::Pass,
        platform::EventMask mask = platform::maskOf(EventType::KeyDown),
        std::function<void(Event&)> change = {}) {
        auto created = events.createTap(
            {placement, options, mask,
             [this, name = std::move(name), verdict, change = std::move(change)](Event& event) {
                 seen.push_back(name);
                 if (change) {
                     change(event);
                 }
                 return verdict;
             }});
        EXPECT_TRUE(created.has_value()) << (created ? "" : created.error().description);
        return created ? std::move(*created) : nullptr;
    }
};

TYPED_TEST_SUITE_P(EventsContract);

TYPED_TEST_P(EventsContract, HeadTapsGoAheadOfEarlierTapsAndTailTapsAfterThem) {
    struct Case {
        std::vector<std::pair<std::string, TapPlacement>> taps;
        std::vector<std::string> order;
    };
    const Case cases[] = {
        {{{"a", TapPlacement::HeadInsert}, {"b", TapPlacement::HeadInsert}}, {"b", "a"}},
        {{{"a", TapPlacement::TailAppend}, {"b", TapPlacement::TailAppend}}, {"a", "b"}},
        {{{"a", TapPlacement::HeadInsert},
          {"b", TapPlacement::TailAppend},
          {"c", TapPlacement::HeadInsert},
          {"d", TapPlacement::TailAppend}},
         {"c", "a", "b", "d"}},
    };
    for (const auto& testCase : cases) {
        std::vector<std::unique_ptr<platform::EventTap>> taps;
        for (const auto& [name, placement] : testCase.taps) {
            taps.push_back(this->tap(name, placement));
        }
        this->seen.clear();
        this->driver.input(keyEvent(EventType::KeyDown, 0));
        EXPECT_EQ(this->seen, testCase.order);
    }
}

TYPED_TEST_P(EventsContract, TapsSeeOnlyTheTypesOfTheirMask) {
    using platform::maskOf;
    struct Case {
        platform::EventMask mask;
        Event event;
        bool seen;
    };
    const Case cases[] = {
        {maskOf(EventType::KeyDown), keyEvent(EventType::KeyDown, 1), true},
        {maskOf(EventType::KeyDown), keyEvent(EventType::KeyUp, 1), false},
        {maskOf(EventType::KeyDown), keyEvent(EventType::FlagsChanged, 56), false},
        {maskOf(EventType::KeyUp, EventType::FlagsChanged), keyEvent(EventType::FlagsChanged, 56),
         true},
        {maskOf(EventType::LeftMouseDown, EventType::MouseMoved),
         mouseEvent(EventType::MouseMoved, {10, 10}), true},
        {maskOf(EventType::LeftMouseDown), mouseEvent(EventType::LeftMouseUp, {10, 10}), false},
        {maskOf(EventType::ScrollWheel), keyEvent(EventType::KeyDown, 1), false},
    };
    for (const auto& testCase : cases) {
        auto tap = this->tap("tap", TapPlacement::HeadInsert, TapOptions::ListenOnly,
                             TapVerdict::Pass, testCase.mask);
        this->seen.clear();
        this->driver.input(testCase.event);
        EXPECT_EQ(this->seen.size(), testCase.seen ? 1u : 0u)
            << "type " << std::uint32_t(testCase.event.type) << " mask " << testCase.mask;
    }
}

TYPED_TEST_P(EventsContract, FiltersMayChangeOrDropAnEventAndListenersMayNot) {
    constexpr std::int64_t kPressed = 7;
    constexpr std::int64_t kRewritten = 99;
    struct Case {
        const char* name;
        TapOptions options;
        TapVerdict verdict;
        std::vector<std::int64_t> later;  // the key codes the taps after it and the app see
    };
    const Case cases[] = {
        {"passing filter", TapOptions::Default, TapVerdict::Pass, {kRewritten}},
        {"swallowing filter", TapOptions::Default, TapVerdict::Swallow, {}},
        {"listener", TapOptions::ListenOnly, TapVerdict::Pass, {kPressed}},
        {"listener answering swallow", TapOptions::ListenOnly, TapVerdict::Swallow, {kPressed}},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        auto first = this->tap(
            "first", TapPlacement::HeadInsert, testCase.options, testCase.verdict,
            platform::maskOf(EventType::KeyDown),
            [](Event& event) { event.setField(EventField::KeyboardEventKeycode, kRewritten); });
        std::vector<std::int64_t> laterTap;
        auto later =
            this->events.createTap({TapPlacement::TailAppend, TapOptions::ListenOnly,
                                    platform::maskOf(EventType::KeyDown), [&](Event& event) {
                                        laterTap.push_back(keyCodeOf(event));
                                        return TapVerdict::Pass;
                                    }});
        ASSERT_TRUE(later.has_value());
        const auto before = this->driver.deliveredToFrontmost().size();
        this->driver.input(keyEvent(EventType::KeyDown, kPressed));
        EXPECT_EQ(laterTap, testCase.later);
        std::vector<std::int64_t> delivered;
        const auto all = this->driver.deliveredToFrontmost();
        for (auto event = all.begin() + static_cast<std::ptrdiff_t>(before); event != all.end();
             ++event) {
            delivered.push_back(keyCodeOf(*event));
        }
        EXPECT_EQ(delivered, testCase.later);
    }
}

TYPED_TEST_P(EventsContract, PostedEventsPassTheTapsAfterThePosterReturns) {
    std::vector<Event> tapped;
    auto tap = this->events.createTap({TapPlacement::HeadInsert, TapOptions::ListenOnly,
                                       platform::maskOf(EventType::KeyDown, EventType::KeyUp),
                                       [&](Event& event) {
                                           tapped.push_back(event);
                                           this->seen.push_back("tap");
                                           return TapVerdict::Pass;
                                       }});
    ASSERT_TRUE(tap.has_value());
    const auto commandSpace = keyEvent(EventType::KeyDown, 49, platform::event_flags::kCommand);
    this->events.post(commandSpace, platform::EventSource::HIDSystemState);
    this->seen.push_back("poster returned");
    this->driver.settle();
    EXPECT_EQ(this->seen, (std::vector<std::string>{"poster returned", "tap"}));
    ASSERT_EQ(tapped.size(), 1u);
    EXPECT_EQ(tapped.front().flags, platform::event_flags::kCommand);
    EXPECT_EQ(keyCodeOf(tapped.front()), 49);
    ASSERT_FALSE(this->driver.deliveredToFrontmost().empty());
    EXPECT_EQ(keyCodeOf(this->driver.deliveredToFrontmost().back()), 49);
}

TYPED_TEST_P(EventsContract, TapsNeedInputMonitoringAndFiltersAlsoAccessibility) {
    struct Case {
        bool inputMonitoring;
        bool accessibility;
        TapOptions options;
        bool created;
    };
    const Case cases[] = {
        {true, true, TapOptions::Default, true},       {true, true, TapOptions::ListenOnly, true},
        {true, false, TapOptions::ListenOnly, true},   {true, false, TapOptions::Default, false},
        {false, false, TapOptions::ListenOnly, false}, {false, false, TapOptions::Default, false},
    };
    for (const auto& testCase : cases) {
        this->driver.setInputPermissions(testCase.inputMonitoring, testCase.accessibility);
        EXPECT_EQ(this->events.preflightListenEventAccess(), testCase.inputMonitoring);
        const auto created = this->events.createTap({TapPlacement::HeadInsert, testCase.options,
                                                     platform::maskOf(EventType::KeyDown),
                                                     [](Event&) { return TapVerdict::Pass; }});
        EXPECT_EQ(created.has_value(), testCase.created)
            << testCase.inputMonitoring << testCase.accessibility << int(testCase.options);
        if (!created) {
            EXPECT_FALSE(created.error().description.empty());
        }
    }
}

TYPED_TEST_P(EventsContract, TapsTheSystemDisablesHearWhyAndStayOffUntilEnabled) {
    for (const auto reason : {EventType::TapDisabledByTimeout, EventType::TapDisabledByUserInput}) {
        std::vector<EventType> onTap;
        std::vector<EventType> offTap;
        const auto record = [](std::vector<EventType>& into) {
            return [&into](Event& event) {
                into.push_back(event.type);
                return TapVerdict::Pass;
            };
        };
        auto on = this->events.createTap({TapPlacement::HeadInsert, TapOptions::Default,
                                          platform::maskOf(EventType::KeyDown), record(onTap)});
        auto off = this->events.createTap({TapPlacement::HeadInsert, TapOptions::Default,
                                           platform::maskOf(EventType::KeyDown), record(offTap)});
        ASSERT_TRUE(on.has_value() && off.has_value());
        (*off)->setEnabled(false);
        EXPECT_TRUE((*on)->isEnabled());
        EXPECT_FALSE((*off)->isEnabled());

        this->driver.disableTapsBySystem(reason);
        EXPECT_EQ(onTap, std::vector<EventType>{reason});
        EXPECT_EQ(offTap, std::vector<EventType>{}) << "a tap already off is not told";
        EXPECT_FALSE((*on)->isEnabled());
        this->driver.input(keyEvent(EventType::KeyDown, 1));
        EXPECT_EQ(onTap.size(), 1u);

        (*on)->setEnabled(true);
        (*off)->setEnabled(true);
        this->driver.input(keyEvent(EventType::KeyDown, 1));
        EXPECT_EQ(onTap, (std::vector<EventType>{reason, EventType::KeyDown}));
        EXPECT_EQ(offTap, std::vector<EventType>{EventType::KeyDown});
    }
}

TYPED_TEST_P(EventsContract, RemovedTapsAndMonitorsHearNothingMore) {
    int monitored = 0;
    auto tap = this->tap("tap", TapPlacement::HeadInsert);
    auto monitor = this->events.addGlobalMonitor(platform::maskOf(EventType::KeyDown),
                                                 [&](const Event&) { ++monitored; });
    this->driver.input(keyEvent(EventType::KeyDown, 1));
    ASSERT_EQ(this->seen.size(), 1u);
    ASSERT_EQ(monitored, 1);
    tap.reset();
    monitor.reset();
    this->driver.input(keyEvent(EventType::KeyDown, 1));
    EXPECT_EQ(this->seen.size(), 1u);
    EXPECT_EQ(monitored, 1);
    EXPECT_FALSE(this->driver.deliveredToFrontmost().empty()) << "the event itself goes on";
}

TYPED_TEST_P(EventsContract, MonitorsSeeTheirOwnSideOfTheSession) {
    std::vector<std::int64_t> global;
    std::vector<std::int64_t> local;
    bool consume = true;
    auto globalMonitor = this->events.addGlobalMonitor(
        platform::maskOf(EventType::KeyDown),
        [&](const Event& event) { global.push_back(keyCodeOf(event)); });
    auto localMonitor =
        this->events.addLocalMonitor(platform::maskOf(EventType::KeyDown), [&](const Event& event) {
            local.push_back(keyCodeOf(event));
            return !consume;
        });
    auto keyUpMonitor = this->events.addGlobalMonitor(
        platform::maskOf(EventType::KeyUp),
        [&](const Event& event) { global.push_back(-keyCodeOf(event)); });

    this->driver.input(keyEvent(EventType::KeyDown, 1));
    EXPECT_EQ(global, std::vector<std::int64_t>{1}) << "another application's key";
    EXPECT_EQ(local, std::vector<std::int64_t>{});

    this->driver.activateThisApplication();
    const auto before = this->driver.deliveredToFrontmost().size();
    this->driver.input(keyEvent(EventType::KeyDown, 2));
    consume = false;
    this->driver.input(keyEvent(EventType::KeyDown, 3));
    EXPECT_EQ(global, std::vector<std::int64_t>{1}) << "global monitors never see our own keys";
    EXPECT_EQ(local, (std::vector<std::int64_t>{2, 3}));
    const auto delivered = this->driver.deliveredToFrontmost();
    ASSERT_EQ(delivered.size(), before + 1) << "a consumed key goes no further";
    EXPECT_EQ(keyCodeOf(delivered.back()), 3);
}

TYPED_TEST_P(EventsContract, MouseInputMovesThePointerAndHoldsButtons) {
    const double height = this->driver.primaryDisplayHeight();
    struct Step {
        EventType type;
        std::int64_t button;
        platform::Point at;
        platform::MouseButtons held;
    };
    const Step steps[] = {
        {EventType::MouseMoved, 0, {10, 20}, 0},
        {EventType::LeftMouseDown, 0, {100, 200}, 0b001},
        {EventType::RightMouseDown, 1, {100, 200}, 0b011},
        {EventType::LeftMouseDragged, 0, {150, 250}, 0b011},
        {EventType::LeftMouseUp, 0, {150, 250}, 0b010},
        {EventType::OtherMouseDown, 2, {150, 250}, 0b110},
        {EventType::OtherMouseUp, 2, {160, 260}, 0b010},
        {EventType::RightMouseUp, 1, {160, 260}, 0},
    };
    for (const auto& step : steps) {
        this->driver.input(mouseEvent(step.type, step.at, step.button));
        EXPECT_EQ(this->events.mouseLocation(), (platform::Point{step.at.x, height - step.at.y}))
            << "Cocoa's origin is the primary display's bottom-left corner";
        EXPECT_EQ(this->events.pressedMouseButtons(), step.held) << std::uint32_t(step.type);
    }
}

TYPED_TEST_P(EventsContract, PostedMouseMovesMoveThePointer) {
    const double height = this->driver.primaryDisplayHeight();
    for (const platform::Point target : {platform::Point{300, 100}, platform::Point{5, 400}}) {
        this->events.post(mouseEvent(EventType::MouseMoved, target),
                          platform::EventSource::HIDSystemState);
        this->driver.settle();
        EXPECT_EQ(this->events.mouseLocation(), (platform::Point{target.x, height - target.y}));
    }
}

REGISTER_TYPED_TEST_SUITE_P(EventsContract, HeadTapsGoAheadOfEarlierTapsAndTailTapsAfterThem,
                            TapsSeeOnlyTheTypesOfTheirMask,
                            FiltersMayChangeOrDropAnEventAndListenersMayNot,
                            PostedEventsPassTheTapsAfterThePosterReturns,
                            TapsNeedInputMonitoringAndFiltersAlsoAccessibility,
                            TapsTheSystemDisablesHearWhyAndStayOffUntilEnabled,
                            RemovedTapsAndMonitorsHearNothingMore,
                            MonitorsSeeTheirOwnSideOfTheSession,
                            MouseInputMovesThePointerAndHoldsButtons,
                            PostedMouseMovesMoveThePointer);

}  // namespace parvel::contract
