#include "core/MenuSwitch.h"

namespace parvel {

void MenuSwitch::change(bool requested, std::function<bool()> apply,
                        std::function<void()> afterwards) {
    if (!view_) {
        return;
    }
    view_->enabled = false;
    presenter_.cancelMenuTracking();
    dispatch_.main().asyncAfter(kMenuCloseDelay,
                                lifetime_.guard([this, requested, apply = std::move(apply),
                                                 afterwards = std::move(afterwards)] {
                                    const bool kept = apply();
                                    view_->isOn = kept ? requested : !requested;
                                    view_->enabled = true;
                                    if (afterwards) {
                                        afterwards();
                                    }
                                }));
}

}  // namespace parvel
