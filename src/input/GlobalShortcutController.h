#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "base/Lifetime.h"
#include "platform/Accessibility.h"
#include "platform/Dispatch.h"
#include "platform/Events.h"
#include "platform/KeyCodes.h"
#include "platform/Workspace.h"

namespace parvel {

// The Finder file keys the tap takes over: Command+X, Command+C, and Command+V while a cut or
// copy of ours is pending.
enum class FinderFileShortcut { cut, copy, paste };

// What the left Option key does; stored as "Default", "Launchpad" and "Spotlight". A stored name
// that is none of these takes the key away from other applications as the two hooks do, and
// does nothing with it.
enum class LeftOptionMode { systemDefault, launchpad, spotlight, unrecognised };
LeftOptionMode leftOptionModeNamed(std::string_view name);

// One keyboard tap at the head of the login session, shared by four features: the clipboard
// hotkey, Windows-style Delete in Finder, Finder's Command+X/C/V taken over for file transfer, and
// the left Option key opening Launchpad or Spotlight. It only decides; every action is a callback
// the application delegate installs, run asynchronously on the main queue so that the tap returns
// at once. A global key-down monitor backs up the Delete trigger while no tap can be created.
class GlobalShortcutController {
  public:
    struct Services {
        platform::Accessibility& accessibility;
        platform::Events& events;
        platform::Workspace& workspace;
        platform::Dispatch& dispatch;
    };

    // stopped: no tap; waiting: tap refused, retrying every 2 s with the fallback monitor in
    // place; running: tap enabled, fallback monitor in place.
    enum class State { stopped, waiting, running };

    static constexpr platform::EventFlags kModifierMask = 0x1E0000;

    explicit GlobalShortcutController(Services services);
    ~GlobalShortcutController();
    GlobalShortcutController(const GlobalShortcutController&) = delete;
    GlobalShortcutController& operator=(const GlobalShortcutController&) = delete;

    // What the delegate configures from the settings. The key code and flags here are
    // placeholders (V, Control+Shift) that the delegate replaces before the first start().
    bool clipboardEnabled = false;
    bool windowsDeleteEnabled = false;
    bool cuttingEnabled = true;
    std::int64_t clipboardKeyCode = platform::key_code::kV;
    platform::EventFlags clipboardFlags = 0x60000;
    std::function<void()> onClipboard;
    std::function<void()> onWindowsDelete;
    std::function<void(FinderFileShortcut shortcut)> onFinderFileShortcut;
    // Asked inside the tap before Command+V is taken over; must stay cheap.
    std::function<bool()> shouldHandleFinderPaste;
    LeftOptionMode leftOptionMode = LeftOptionMode::systemDefault;
    std::function<void(LeftOptionMode mode)> onLeftOptionAction;
    // Makes start() and the tap inert. Nothing sets it today; it is the switch a secure-input
    // watcher would use.
    bool secureInputSuspended = false;

    // Creates or re-enables the tap; idempotent. Without Accessibility it does nothing (and
    // schedules no retry): the delegate calls it again once permissions change.
    void start();
    // Back to stopped from any state.
    void stop();
    State state() const;

    // The tap's decision for one event: true swallows it, false passes it on unchanged.
    bool handle(platform::EventType type, const platform::Event& event);
    // Starts the Delete flow for Delete or Forward Delete pressed in Finder (Shift allowed),
    // at most once per 0.35 s; true when the key was such a Delete, debounced or not.
    bool triggerDeleteIfAppropriate(std::int64_t keyCode, platform::EventFlags flags);
    bool finderIsFrontmost();
    bool finderIsEditingText();

  private:
    void installFallbackKeyMonitorIfNeeded();
    bool handleKeyDown(const platform::Event& event);
    bool handleFinderFileKey(std::int64_t keyCode);
    std::optional<FinderFileShortcut> finderFileShortcutFor(std::int64_t keyCode) const;
    bool handleLeftOption(const platform::Event& event);
    void runOnMain(std::function<void()> action);

    Services services_;
    bool leftOptionDown_ = false;
    std::unique_ptr<platform::EventTap> tap_;
    platform::Scheduled retryTimer_;
    std::unique_ptr<platform::EventMonitor> fallbackKeyMonitor_;
    std::optional<platform::WallTime> lastDeleteTrigger_;  // none: the distant past
    Lifetime lifetime_;
};

}  // namespace parvel
