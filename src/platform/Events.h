#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/Error.h"
#include "platform/Geometry.h"

namespace parvel::platform {

// Event types, with the values of CGEventType.
enum class EventType : std::uint32_t {
    Null = 0,
    LeftMouseDown = 1,
    LeftMouseUp = 2,
    RightMouseDown = 3,
    RightMouseUp = 4,
    MouseMoved = 5,
    LeftMouseDragged = 6,
    RightMouseDragged = 7,
    KeyDown = 10,
    KeyUp = 11,
    FlagsChanged = 12,
    SystemDefined = 14,
    ScrollWheel = 22,
    OtherMouseDown = 25,
    OtherMouseUp = 26,
    OtherMouseDragged = 27,
    TapDisabledByTimeout = 0xFFFFFFFE,
    TapDisabledByUserInput = 0xFFFFFFFF,
};

// A set of event types (CGEventMask): bit n stands for the type with value n.
using EventMask = std::uint64_t;

constexpr EventMask maskOf(EventType type) {
    return std::uint32_t(type) < 64 ? EventMask{1} << std::uint32_t(type) : 0;
}

template <typename... Types>
constexpr EventMask maskOf(EventType first, Types... rest) {
    return maskOf(first) | maskOf(rest...);
}

// Modifier flags (CGEventFlags).
using EventFlags = std::uint64_t;

namespace event_flags {
inline constexpr EventFlags kAlphaShift = 0x10000;  // Caps Lock
inline constexpr EventFlags kShift = 0x20000;
inline constexpr EventFlags kControl = 0x40000;
inline constexpr EventFlags kAlternate = 0x80000;  // Option
inline constexpr EventFlags kCommand = 0x100000;
inline constexpr EventFlags kNumericPad = 0x200000;
inline constexpr EventFlags kSecondaryFn = 0x800000;
// The device-dependent bit of the left Option key (NX_DEVICELALTKEYMASK).
inline constexpr EventFlags kDeviceLeftAlternate = 0x20;
}  // namespace event_flags

// Integer fields of an event, with the values of CGEventField.
enum class EventField : std::uint32_t {
    MouseEventButtonNumber = 3,
    MouseEventDeltaX = 4,
    MouseEventDeltaY = 5,
    KeyboardEventAutorepeat = 8,
    KeyboardEventKeycode = 9,
    ScrollWheelEventDeltaAxis1 = 11,
    ScrollWheelEventDeltaAxis2 = 12,
    ScrollWheelEventIsContinuous = 88,
    ScrollWheelEventFixedPtDeltaAxis1 = 93,
    ScrollWheelEventFixedPtDeltaAxis2 = 94,
    ScrollWheelEventPointDeltaAxis1 = 96,
    ScrollWheelEventPointDeltaAxis2 = 97,
    EventSourceUserData = 42,
};

// One input event flowing through the session (CGEvent) or posted by the program.
struct Event {
    EventType type = EventType::Null;
    EventFlags flags = 0;
    Point location;               // window-server coordinates (top-left origin)
    std::uint64_t timestamp = 0;  // nanoseconds of uptime
    std::string characters;       // characters ignoring modifiers, for key events
    std::int64_t subtype = 0;     // system-defined events: the subtype (8 for special keys)
    std::int64_t data1 = 0;       // system-defined events: the key code and state
    std::int64_t data2 = 0;

    // Reads an integer field; a field never set reads as 0, as CGEventGetIntegerValueField.
    std::int64_t field(EventField name) const;
    void setField(EventField name, std::int64_t value);

    friend bool operator==(const Event&, const Event&) = default;

  private:
    std::vector<std::pair<EventField, std::int64_t>> fields_;
};

enum class TapPlacement { HeadInsert, TailAppend };
enum class TapOptions { Default, ListenOnly };

// What a tap callback does with an event: let it go on (possibly changed in place) or drop it.
enum class TapVerdict { Pass, Swallow };

// Called on the main run loop for every event of the tap's mask, and with a tap-disabled event
// when the system turns the tap off. Listen-only taps' verdicts and changes are ignored.
using TapCallback = std::function<TapVerdict(Event&)>;

struct TapRequest {
    TapPlacement placement = TapPlacement::HeadInsert;
    TapOptions options = TapOptions::Default;
    EventMask mask = 0;
    TapCallback callback;
};

// An event tap on the login session, with its run-loop source on the main run loop in the
// common modes. Destroying it disables the tap and removes the source.
class EventTap {
  public:
    virtual ~EventTap() = default;
    virtual void setEnabled(bool enabled) = 0;
    virtual bool isEnabled() const = 0;
};

// An event monitor (NSEvent): global monitors see events going to other applications and cannot
// change them; local monitors see this application's events and may drop them by returning false.
class EventMonitor {
  public:
    virtual ~EventMonitor() = default;
};

using GlobalMonitorHandler = std::function<void(const Event&)>;
using LocalMonitorHandler = std::function<bool(const Event&)>;

// Which state a posted event's source reflects (CGEventSourceStateID), or no source at all.
enum class EventSource { None, HIDSystemState, CombinedSessionState };

// The mouse buttons held down (NSEvent.pressedMouseButtons): bit n for button n.
using MouseButtons = std::uint32_t;

// The events service: taps, posting, monitors, pointer state and the Input Monitoring check.
class Events {
  public:
    virtual ~Events() = default;

    // CGPreflightListenEventAccess: is Input Monitoring granted (never prompts).
    virtual bool preflightListenEventAccess() const = 0;

    // Creates and enables a session event tap; fails when the system refuses one (Input
    // Monitoring missing, or Accessibility for taps that may change events).
    virtual Result<std::unique_ptr<EventTap>> createTap(TapRequest request) = 0;

    // Posts an event at the HID event tap; it passes through every session tap like a real one.
    virtual void post(const Event& event, EventSource source) = 0;

    // Registers a global or local monitor for the event types of `mask`.
    [[nodiscard]] virtual std::unique_ptr<EventMonitor> addGlobalMonitor(
        EventMask mask, GlobalMonitorHandler handler) = 0;
    [[nodiscard]] virtual std::unique_ptr<EventMonitor> addLocalMonitor(
        EventMask mask, LocalMonitorHandler handler) = 0;

    // The pointer position in Cocoa screen coordinates (bottom-left origin).
    virtual Point mouseLocation() const = 0;
    virtual MouseButtons pressedMouseButtons() const = 0;
};

}  // namespace parvel::platform
