#pragma once

#include <string>
#include <vector>

#include "finder/FinderSupport.h"
#include "platform/Accessibility.h"
#include "platform/Application.h"
#include "platform/Events.h"
#include "platform/Presenter.h"
#include "platform/Workspace.h"
#include "ui/Alert.h"

namespace parvel {

// Windows-style Delete in Finder: Delete asks for confirmation in our own alert (Return and
// keypad Enter confirm, Escape cancels, even when the alert is not key), then moves the selected
// items to the Trash and lists whatever could not be moved in one alert.
class WindowsStyleDelete {
  public:
    struct Services {
        FinderSupport& finder;
        platform::Accessibility& accessibility;
        platform::Workspace& workspace;
        platform::Presenter& presenter;
        platform::Events& events;
        platform::Application& application;
    };

    // The focused element and its ancestors, this many in all, are searched for a selection.
    static constexpr int kAncestorLimit = 8;
    // A selected element and this many levels below it are searched for file URLs.
    static constexpr int kExtractionDepth = 4;
    // Names listed in the confirmation before the "… and N more." line.
    static constexpr std::size_t kListLimit = 5;

    explicit WindowsStyleDelete(Services services) : services_(services) {}

    // The whole flow; does nothing unless Finder is frontmost. Main thread; blocks in the alert.
    void confirmWindowsStyleDelete();

    // Finder's script answer, else the walk up from Finder's focused element; de-duplicated.
    std::vector<std::string> finderSelectedURLs();
    std::vector<std::string> finderSelectedURLsViaAccessibility();
    // The element's own file URL, then those of its descendants down to `depth` levels.
    std::vector<std::string> fileURLs(const platform::AXElement& element, int depth);

    // The confirmation for these items (at least one).
    static ui::Alert confirmationAlert(const std::vector<std::string>& paths);

  private:
    bool finderIsFrontmost() const;
    // Runs the alert with Return/Enter/Escape handled by a local key monitor; the response.
    int runConfirmation(const ui::Alert& alert);
    void moveToTrash(const std::vector<std::string>& paths);

    Services services_;
};

}  // namespace parvel
