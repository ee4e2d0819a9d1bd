#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/Time.h"
#include "ui/Alert.h"
#include "ui/Menu.h"
#include "ui/Window.h"

namespace parvel::platform {

// The UI presenter: shows the retained UI model (windows, panels, the status item and its menu,
// alerts) and reports what the user does through the model's callbacks. Main thread only.
class Presenter {
  public:
    virtual ~Presenter() = default;

    // Orders a window front; `makeKey` also gives it keyboard focus; `regardless` orders it
    // front even when the application is not active.
    virtual void showWindow(const ui::WindowPtr& window, bool makeKey, bool regardless) = 0;
    // Removes a window from the screen without closing it (orderOut).
    virtual void orderOut(const ui::Window& window) = 0;
    // Closes a window as its close button does (its onClose runs).
    virtual void closeWindow(const ui::Window& window) = 0;
    virtual bool isVisible(const ui::Window& window) const = 0;
    // Animates a window's alpha; `completion` runs once the animation ends.
    virtual void animateAlpha(const ui::WindowPtr& window, double alpha, Duration duration,
                              std::function<void()> completion) = 0;

    // Runs an alert modally (the main run loop keeps turning meanwhile) and returns
    // ui::kAlertFirstButtonReturn plus the index of the button chosen, or the code given to
    // stopModal().
    virtual int runModal(const ui::Alert& alert) = 0;
    // Ends the running modal alert with a response code (NSApp abortModal / stopModalWithCode).
    virtual void stopModal(int response) = 0;
    // Runs an open panel modally; the chosen paths, empty when cancelled.
    virtual std::vector<std::string> runOpenPanel(const ui::OpenPanel& panel) = 0;

    // Puts the status item in the menu bar, or takes it away.
    virtual void showStatusItem(const ui::StatusItemPtr& item) = 0;
    virtual void removeStatusItem(const ui::StatusItem& item) = 0;
    // Closes an open menu (cancelTracking).
    virtual void cancelMenuTracking() = 0;
    // True while the system appearance is dark.
    virtual bool isDarkAppearance() const = 0;
};

}  // namespace parvel::platform
