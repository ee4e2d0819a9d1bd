#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/sim/SimEvents.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/world/Applications.h"
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

    // Presses a key as the user would: the event enters on the main queue.
    void press(const Event& event) {
        mac.dispatch().main().async([this, event] { mac.events().inject(event); });
        mac.dispatch().runDue();
    }
    const std::vector<Event>& receivedByFinder() {
        return mac.applications().find(mac.applications().frontmost().value())->receivedEvents;
    }
};

// The simulated Mac asks Input Monitoring of every tap, those that may change events too.
TEST_F(SimEventsTest, FiltersNeedInputMonitoringEvenWithAccessibility) {
    const auto createFilter = [this] {
        return events.createTap({TapPlacement::HeadInsert, TapOptions::Default,
                                 platform::maskOf(EventType::KeyDown),
                                 [](Event&) { return TapVerdict::Pass; }});
    };
    mac.permissions().accessibility = true;
    mac.permissions().inputMonitoring = false;
    EXPECT_FALSE(createFilter().has_value());
    mac.permissions().inputMonitoring = true;
    EXPECT_TRUE(createFilter().has_value());
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

}  // namespace
}  // namespace parvel::sim
