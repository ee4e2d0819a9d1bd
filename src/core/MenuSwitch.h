#pragma once

#include <functional>

#include "base/Lifetime.h"
#include "platform/Dispatch.h"
#include "platform/Presenter.h"
#include "ui/View.h"

namespace parvel {

// A status-menu switch whose change takes a while (a helper runs, an alert may show). The menu
// is closed first, since its tracking would hold up both; the switch stays disabled until the
// change is decided, then shows the outcome.
class MenuSwitch {
  public:
    // How long the menu has to close before the change is applied.
    static constexpr platform::Duration kMenuCloseDelay = platform::seconds(0.2);

    MenuSwitch(platform::Presenter& presenter, platform::Dispatch& dispatch)
        : presenter_(presenter), dispatch_(dispatch) {}

    // The switch, once the menu exists.
    void attach(ui::ViewPtr view) { view_ = std::move(view); }
    const ui::ViewPtr& view() const { return view_; }

    // The user flipped the switch to `requested`: disables it, closes the menu and, a moment
    // later on the main queue, runs `apply`, which answers whether the switch may keep the new
    // state; otherwise it goes back. The switch is enabled again and `afterwards` runs last.
    // Does nothing before a switch is attached.
    void change(bool requested, std::function<bool()> apply, std::function<void()> afterwards = {});

  private:
    platform::Presenter& presenter_;
    platform::Dispatch& dispatch_;
    ui::ViewPtr view_;
    Lifetime lifetime_;
};

}  // namespace parvel
