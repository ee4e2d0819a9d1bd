#include "platform/sim/SimEvents.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/KeyCodes.h"
#include "platform/sim/Trace.h"
#include "platform/sim/VirtualDispatch.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Displays.h"
#include "platform/sim/world/Hardware.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::sim {

using platform::Event;
using platform::EventType;
using platform::TapVerdict;
namespace flags = platform::event_flags;
namespace special_key = platform::special_key;

namespace {

std::string_view typeName(EventType type) {
    switch (type) {
        case EventType::LeftMouseDown:
            return "left-mouse-down";
        case EventType::LeftMouseUp:
            return "left-mouse-up";
        case EventType::RightMouseDown:
            return "right-mouse-down";
        case EventType::RightMouseUp:
            return "right-mouse-up";
        case EventType::MouseMoved:
            return "mouse-moved";
        case EventType::LeftMouseDragged:
            return "left-mouse-dragged";
        case EventType::RightMouseDragged:
            return "right-mouse-dragged";
        case EventType::KeyDown:
            return "key-down";
        case EventType::KeyUp:
            return "key-up";
        case EventType::FlagsChanged:
            return "flags-changed";
        case EventType::SystemDefined:
            return "system-defined";
        case EventType::ScrollWheel:
            return "scroll-wheel";
        case EventType::OtherMouseDown:
            return "other-mouse-down";
        case EventType::OtherMouseUp:
            return "other-mouse-up";
        case EventType::OtherMouseDragged:
            return "other-mouse-dragged";
        case EventType::TapDisabledByTimeout:
            return "tap-disabled-by-timeout";
        case EventType::TapDisabledByUserInput:
            return "tap-disabled-by-user-input";
        case EventType::Null:
            return "null";
    }
    return "unknown";
}

std::string modifierNames(platform::EventFlags eventFlags) {
    std::string names;
    const std::pair<platform::EventFlags, const char*> known[] = {
        {flags::kAlphaShift, "capslock"}, {flags::kShift, "shift"}, {flags::kControl, "ctrl"},
        {flags::kAlternate, "opt"},       {flags::kCommand, "cmd"}, {flags::kSecondaryFn, "fn"}};
    for (const auto& [mask, name] : known) {
        if ((eventFlags & mask) != 0) {
            names += names.empty() ? "" : "+";
            names += name;
        }
    }
    return names;
}

// The special keys whose levels the system keeps, and which way a press moves them.
enum class Level { DisplayBrightness, KeyboardBacklight };
struct LevelKey {
    std::int64_t code;
    Level level;
    double direction;
};
constexpr LevelKey kLevelKeys[] = {{special_key::kBrightnessUp, Level::DisplayBrightness, 1},
                                   {special_key::kBrightnessDown, Level::DisplayBrightness, -1},
                                   {special_key::kIlluminationUp, Level::KeyboardBacklight, 1},
                                   {special_key::kIlluminationDown, Level::KeyboardBacklight, -1}};

bool isKeyEvent(EventType type) {
    return type == EventType::KeyDown || type == EventType::KeyUp ||
           type == EventType::FlagsChanged;
}

bool isMouseEvent(EventType type) {
    return !isKeyEvent(type) && type != EventType::SystemDefined && type != EventType::Null &&
           std::uint32_t(type) < 64;
}

}  // namespace

std::string describeEvent(const Event& event) {
    std::string text(typeName(event.type));
    if (isKeyEvent(event.type)) {
        text += fmt::format(" {}", event.field(platform::EventField::KeyboardEventKeycode));
        if (event.field(platform::EventField::KeyboardEventAutorepeat) != 0) {
            text += " (repeat)";
        }
    } else if (event.type == EventType::ScrollWheel) {
        text += fmt::format(" {},{}", event.field(platform::EventField::ScrollWheelEventDeltaAxis1),
                            event.field(platform::EventField::ScrollWheelEventDeltaAxis2));
    } else if (event.type == EventType::SystemDefined) {
        text += fmt::format(" subtype {} data1 {:#x}", event.subtype, event.data1);
    } else if (isMouseEvent(event.type)) {
        text += fmt::format(" at {},{}", event.location.x, event.location.y);
        if (const auto button = event.field(platform::EventField::MouseEventButtonNumber)) {
            text += fmt::format(" button {}", button);
        }
    }
    if (const auto modifiers = modifierNames(event.flags); !modifiers.empty()) {
        text += " [" + modifiers + "]";
    }
    return text;
}

struct SimEvents::Tap {
    platform::TapRequest request;
    bool enabled = true;
    bool alive = true;
};

struct SimEvents::Monitor {
    platform::EventMask mask = 0;
    platform::GlobalMonitorHandler global;
    platform::LocalMonitorHandler local;
    bool alive = true;
};

class SimEvents::TapHandle final : public platform::EventTap {
  public:
    TapHandle(std::shared_ptr<Tap> tap, Trace& trace) : tap_(std::move(tap)), trace_(trace) {}
    ~TapHandle() override {
        tap_->alive = false;
        trace_.record("event", "tap removed");
    }
    TapHandle(const TapHandle&) = delete;
    TapHandle& operator=(const TapHandle&) = delete;

    void setEnabled(bool enabled) override {
        if (tap_->enabled != enabled) {
            tap_->enabled = enabled;
            trace_.record("event", enabled ? "tap enabled" : "tap disabled");
        }
    }
    bool isEnabled() const override { return tap_->enabled; }

  private:
    std::shared_ptr<Tap> tap_;
    Trace& trace_;
};

class SimEvents::MonitorHandle final : public platform::EventMonitor {
  public:
    explicit MonitorHandle(std::shared_ptr<Monitor> monitor) : monitor_(std::move(monitor)) {}
    ~MonitorHandle() override { monitor_->alive = false; }
    MonitorHandle(const MonitorHandle&) = delete;
    MonitorHandle& operator=(const MonitorHandle&) = delete;

  private:
    std::shared_ptr<Monitor> monitor_;
};

SimEvents::SimEvents(VirtualDispatch& dispatch, Applications& applications,
                     const Displays& displays, Permissions& permissions, Hardware& hardware,
                     Trace& trace, platform::ProcessId ownPid)
    : dispatch_(dispatch),
      applications_(applications),
      displays_(displays),
      permissions_(permissions),
      hardware_(hardware),
      trace_(trace),
      ownPid_(ownPid) {}

SimEvents::~SimEvents() = default;

bool SimEvents::preflightListenEventAccess() const {
    return permissions_.inputMonitoring;
}

Result<std::unique_ptr<platform::EventTap>> SimEvents::createTap(platform::TapRequest request) {
    const bool mayChangeEvents = request.options == platform::TapOptions::Default;
    if (!permissions_.inputMonitoring || (mayChangeEvents && !permissions_.accessibility)) {
        trace_.record("event", "tap refused: the permissions are missing");
        return std::unexpected(Error{"CGErrorDomain", 1010, "The event tap could not be created."});
    }
    prune();
    auto tap = std::make_shared<Tap>(Tap{std::move(request)});
    const bool atHead = tap->request.placement == platform::TapPlacement::HeadInsert;
    chain_.insert(atHead ? chain_.begin() : chain_.end(), tap);
    trace_.record("event",
                  fmt::format("tap created at the {} ({}, mask {:#x})", atHead ? "head" : "tail",
                              mayChangeEvents ? "filter" : "listen-only", tap->request.mask));
    return std::make_unique<TapHandle>(tap, trace_);
}

void SimEvents::post(const Event& event, platform::EventSource) {
    trace_.record("event", fmt::format("posted {}", describeEvent(event)));
    // Like a posted event entering the HID stream, it reaches the taps after the code that
    // posted it returns; a posted mouse event moves the pointer as the mouse would.
    dispatch_.main().async([this, event] {
        trackPointer(event);
        route(event, "posted");
    });
}

std::unique_ptr<platform::EventMonitor> SimEvents::addGlobalMonitor(
    platform::EventMask mask, platform::GlobalMonitorHandler handler) {
    prune();
    auto monitor = std::make_shared<Monitor>(Monitor{mask, std::move(handler), nullptr});
    monitors_.push_back(monitor);
    return std::make_unique<MonitorHandle>(monitor);
}

std::unique_ptr<platform::EventMonitor> SimEvents::addLocalMonitor(
    platform::EventMask mask, platform::LocalMonitorHandler handler) {
    prune();
    auto monitor = std::make_shared<Monitor>(Monitor{mask, nullptr, std::move(handler)});
    monitors_.push_back(monitor);
    return std::make_unique<MonitorHandle>(monitor);
}

void SimEvents::inject(Event event) {
    event.timestamp = static_cast<std::uint64_t>(dispatch_.uptime().count());
    trackPointer(event);
    route(std::move(event), "input");
}

void SimEvents::trackPointer(const Event& event) {
    if (!isMouseEvent(event.type)) {
        return;
    }
    const auto cocoa = displays_.toCocoa({event.location, {0, 0}});
    mouseLocation_ = cocoa.origin;
    const auto button = static_cast<int>(event.field(platform::EventField::MouseEventButtonNumber));
    const auto bit = platform::MouseButtons{1} << std::clamp(button, 0, 31);
    switch (event.type) {
        case EventType::LeftMouseDown:
            pressedButtons_ |= 1;
            break;
        case EventType::LeftMouseUp:
            pressedButtons_ &= ~platform::MouseButtons{1};
            break;
        case EventType::RightMouseDown:
            pressedButtons_ |= 2;
            break;
        case EventType::RightMouseUp:
            pressedButtons_ &= ~platform::MouseButtons{2};
            break;
        case EventType::OtherMouseDown:
            pressedButtons_ |= bit;
            break;
        case EventType::OtherMouseUp:
            pressedButtons_ &= ~bit;
            break;
        default:
            break;
    }
}

void SimEvents::route(Event event, std::string_view origin) {
    const std::string described = describeEvent(event);
    for (const auto& tap : std::vector(chain_)) {
        if (!tap->alive || !tap->enabled ||
            (tap->request.mask & platform::maskOf(event.type)) == 0) {
            continue;
        }
        if (tap->request.options == platform::TapOptions::ListenOnly) {
            Event copy = event;
            tap->request.callback(copy);
            continue;
        }
        if (tap->request.callback(event) == TapVerdict::Swallow) {
            trace_.record("event", fmt::format("{} {} swallowed by a tap", origin, described));
            return;
        }
    }
    if (handleLevelKey(event, origin)) {
        return;
    }
    const auto frontmost = applications_.frontmost();
    if (frontmost == ownPid_ && !offerToLocalMonitors(event)) {
        trace_.record("event", fmt::format("{} {} consumed by a local monitor", origin, described));
        return;
    }
    if (frontmost != ownPid_) {
        for (const auto& monitor : std::vector(monitors_)) {
            if (monitor->alive && monitor->global &&
                (monitor->mask & platform::maskOf(event.type)) != 0) {
                monitor->global(event);
            }
        }
    }
    SimApp* target = frontmost ? applications_.find(*frontmost) : nullptr;
    if (target == nullptr) {
        trace_.record("event", fmt::format("{} {} reached no application", origin, described));
        return;
    }
    target->receivedEvents.push_back(event);
    trace_.record("event", fmt::format("{} {} delivered to {}", origin, describeEvent(event),
                                       target->spec.name));
}

bool SimEvents::handleLevelKey(const Event& event, std::string_view origin) {
    if (event.type != EventType::SystemDefined || event.subtype != special_key::kEventSubtype) {
        return false;
    }
    const auto code = event.data1 >> special_key::kCodeShift;
    const auto key = std::ranges::find_if(
        kLevelKeys, [code](const LevelKey& candidate) { return candidate.code == code; });
    if (key == std::end(kLevelKeys)) {
        return false;
    }
    trace_.record("event",
                  fmt::format("{} {} handled by the system", origin, describeEvent(event)));
    if ((event.data1 & special_key::kStateMask) == special_key::kDownState) {
        const double step = key->direction * Hardware::kKeyStep;
        if (key->level == Level::DisplayBrightness) {
            hardware_.setDisplayBrightness(hardware_.displayBrightness() + step);
        } else {
            hardware_.setKeyboardBacklight(hardware_.keyboardBacklight() + step);
        }
    }
    return true;
}

bool SimEvents::offerToLocalMonitors(const Event& event) {
    for (const auto& monitor : std::vector(monitors_)) {
        if (monitor->alive && monitor->local &&
            (monitor->mask & platform::maskOf(event.type)) != 0 && !monitor->local(event)) {
            return false;
        }
    }
    return true;
}

void SimEvents::disableTaps(EventType reason) {
    for (const auto& tap : std::vector(chain_)) {
        if (!tap->alive || !tap->enabled) {
            continue;
        }
        tap->enabled = false;
        trace_.record("event", fmt::format("the system disabled a tap ({})", typeName(reason)));
        Event pseudo;
        pseudo.type = reason;
        tap->request.callback(pseudo);
    }
}

std::size_t SimEvents::tapCount() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(chain_, [](const auto& tap) { return tap->alive; }));
}

std::size_t SimEvents::enabledTapCount() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(chain_, [](const auto& tap) { return tap->alive && tap->enabled; }));
}

void SimEvents::prune() {
    std::erase_if(chain_, [](const auto& tap) { return !tap->alive; });
    std::erase_if(monitors_, [](const auto& monitor) { return !monitor->alive; });
}

}  // namespace parvel::sim
