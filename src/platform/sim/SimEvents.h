#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/Events.h"
#include "platform/Processes.h"

namespace parvel::sim {

class Applications;
class Displays;
class Hardware;
class Trace;
class VirtualDispatch;
struct Permissions;

// A readable one-line form of an event for traces: "key-down 7 ⌘", "left-mouse-down at 10,20".
std::string describeEvent(const platform::Event& event);

// Input on the simulated Mac. Events from the keyboard and mouse (inject) and events the program
// posts flow through the session's taps in order — head-inserted taps ahead of earlier ones,
// tail-appended taps after them — then, unless a tap swallowed them, through the event monitors,
// and reach the frontmost application, which records them. The brightness and keyboard-illumination
// keys (system-defined events) are the system's own: past the taps, it moves their levels on each
// key-down and no application receives them. Mouse events, from the mouse or posted, move the
// pointer before any tap sees them. Taps run on the main queue. Creating a tap needs Input
// Monitoring, and a tap that may change events also needs Accessibility.
class SimEvents final : public platform::Events {
  public:
    SimEvents(VirtualDispatch& dispatch, Applications& applications, const Displays& displays,
              Permissions& permissions, Hardware& hardware, Trace& trace,
              platform::ProcessId ownPid);
    ~SimEvents() override;
    SimEvents(const SimEvents&) = delete;
    SimEvents& operator=(const SimEvents&) = delete;

    bool preflightListenEventAccess() const override;
    Result<std::unique_ptr<platform::EventTap>> createTap(platform::TapRequest request) override;
    void post(const platform::Event& event, platform::EventSource source) override;
    std::unique_ptr<platform::EventMonitor> addGlobalMonitor(
        platform::EventMask mask, platform::GlobalMonitorHandler handler) override;
    std::unique_ptr<platform::EventMonitor> addLocalMonitor(
        platform::EventMask mask, platform::LocalMonitorHandler handler) override;
    platform::Point mouseLocation() const override { return mouseLocation_; }
    platform::MouseButtons pressedMouseButtons() const override { return pressedButtons_; }

    // Hardware input: the event enters the session like a key press or mouse action. Call it
    // on the main queue (the world's input helpers do).
    void inject(platform::Event event);
    // Runs the local monitors on an event of this program (a key press in its window or
    // alert); false when one of them consumed it.
    bool offerToLocalMonitors(const platform::Event& event);
    // The system turns every enabled tap off, telling each with the pseudo-event `reason`
    // (TapDisabledByTimeout or TapDisabledByUserInput).
    void disableTaps(platform::EventType reason);
    // Taps alive, enabled or not.
    std::size_t tapCount() const;
    std::size_t enabledTapCount() const;

  private:
    struct Tap;
    struct Monitor;
    class TapHandle;
    class MonitorHandle;

    void route(platform::Event event, std::string_view origin);
    void trackPointer(const platform::Event& event);
    bool handleLevelKey(const platform::Event& event, std::string_view origin);
    void prune();

    VirtualDispatch& dispatch_;
    Applications& applications_;
    const Displays& displays_;
    Permissions& permissions_;
    Hardware& hardware_;
    Trace& trace_;
    platform::ProcessId ownPid_;
    std::vector<std::shared_ptr<Tap>> chain_;
    std::vector<std::shared_ptr<Monitor>> monitors_;
    platform::Point mouseLocation_;
    platform::MouseButtons pressedButtons_ = 0;
};

}  // namespace parvel::sim
