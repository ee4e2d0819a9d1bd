#pragma once

#include <cstdint>
#include <vector>

#include "base/Lifetime.h"
#include "clipboard/ClipboardEntry.h"
#include "clipboard/ClipboardHistoryWindowController.h"
#include "core/SettingsStore.h"
#include "platform/Application.h"
#include "platform/Dispatch.h"
#include "platform/Pasteboard.h"
#include "platform/Presenter.h"
#include "platform/Randomness.h"

namespace parvel {

// A local history of what the user copies. While enabled it looks at the pasteboard's change
// count every 1.2 seconds and turns each new copy of files, text or an image (in that order of
// preference, as the capture switches allow) into an entry; it keeps the newest entries up to the
// chosen limit, stores them with the settings, and puts an entry chosen in the history window
// back on the pasteboard. It never pastes into another application.
class ClipboardHistoryController {
  public:
    struct Services {
        platform::Pasteboard& pasteboard;
        SettingsStore& settings;
        platform::Dispatch& dispatch;
        platform::Presenter& presenter;
        platform::Application& application;
        // Where new entries' ids come from.
        platform::Randomness& randomness;
    };

    static constexpr platform::Duration kPollInterval = platform::seconds(1.2);

    // Loads the stored history; what is on the pasteboard now is never captured.
    explicit ClipboardHistoryController(Services services);

    bool isEnabled() const { return enabled_; }
    // Starts polling (what the pasteboard holds at that moment is not captured) or stops it. The
    // history survives either way.
    void setEnabled(bool enabled);
    // Ends the polling at shutdown.
    void invalidateTimer() { setEnabled(false); }

    // One capture step: does nothing unless the pasteboard changed since it last looked.
    void poll();
    // Puts an entry at the top unless the newest one has the same kind and payload, trims the
    // history to the limit, stores it and refreshes the window.
    void add(ClipboardEntry entry);
    void save();
    void load();
    // Writes an entry back to the pasteboard (images always as PNG); the history is unchanged.
    void restore(const ClipboardEntry& entry);
    // Shows the history window in front, or hides it when it shows.
    void showHistory();

    const std::vector<ClipboardEntry>& entries() const { return entries_; }
    ClipboardHistoryWindowController& windowController() { return windowController_; }

  private:
    std::optional<ClipboardEntry> capture();
    std::size_t limit() const;
    void refreshWindow();

    Services services_;
    bool enabled_ = false;
    platform::Scheduled timer_;
    std::int64_t lastChangeCount_;
    std::vector<ClipboardEntry> entries_;
    ClipboardHistoryWindowController windowController_;
    Lifetime lifetime_;
};

}  // namespace parvel
