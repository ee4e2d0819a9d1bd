#pragma once

#include <functional>
#include <vector>

#include "base/Lifetime.h"
#include "clipboard/ClipboardEntry.h"
#include "platform/Presenter.h"
#include "ui/Window.h"

namespace parvel {

// The small window in which the user searches the clipboard history and double-clicks an entry
// to put it back on the pasteboard. It holds only the copy of the history it was last given and
// handles no keys of its own: typing goes to the search field, only a double-click chooses.
class ClipboardHistoryWindowController {
  public:
    static constexpr double kRowHeight = 48;

    explicit ClipboardHistoryWindowController(platform::Presenter& presenter);

    // The history, newest first, as last handed over; applyFilter() shows it.
    std::vector<ClipboardEntry> entries;
    // Runs with a copy of the chosen entry.
    std::function<void(const ClipboardEntry&)> onSelect;

    // Lists the entries whose preview contains the search text, ignoring case.
    void applyFilter();
    // The table's double-click: the clicked row (-1 below the rows), else the selected one.
    void useSelected(int clickedRow);
    // Shows the window in front and makes it key; hides it.
    void show();
    void hide();
    bool isVisible() const;

    const std::vector<ClipboardEntry>& filtered() const { return filtered_; }
    const ui::WindowPtr& window() const { return window_; }

  private:
    void buildWindow();

    platform::Presenter& presenter_;
    std::vector<ClipboardEntry> filtered_;
    ui::ViewPtr table_;
    ui::ViewPtr search_;
    ui::WindowPtr window_;
    Lifetime lifetime_;
};

}  // namespace parvel
