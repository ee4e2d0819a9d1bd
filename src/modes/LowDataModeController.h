#pragma once

#include <optional>
#include <string>

#include "base/Lifetime.h"
#include "core/InstalledHelper.h"
#include "core/MenuSwitch.h"
#include "core/ProcessRunner.h"
#include "modes/SystemSettingActuators.h"
#include "platform/Dispatch.h"
#include "platform/FileSystem.h"
#include "platform/NetworkPath.h"
#include "platform/Presenter.h"
#include "ui/View.h"

namespace parvel {

// Low Data Mode of the connected Wi-Fi network: read from the network path monitor, changed
// through the privileged low-data helper, shown by the status menu's switch.
class LowDataModeController {
  public:
    struct Services {
        const ProcessRunner& runner;
        const platform::FileSystem& files;
        const platform::PathMonitor& pathMonitor;
        platform::Dispatch& dispatch;
        platform::Presenter& presenter;
        SystemSettingActuators& actuators;
    };

    explicit LowDataModeController(Services services)
        : services_(services), menuSwitch_(services.presenter, services.dispatch) {}

    // The status menu's switch, once the menu exists.
    void setSwitch(ui::ViewPtr toggle) { menuSwitch_.attach(std::move(toggle)); }

    // The path monitor's update handler (on the low-data queue).
    void pathUpdated(const platform::NetworkPathState& path);
    // Whether the current Wi-Fi network is in Low Data Mode; unknown off Wi-Fi or offline.
    std::optional<bool> currentLowDataModeState() const;
    void refreshLowDataModeSwitchFromCurrentPath();
    // Blocks while the helper runs; failures are explained in an alert when `showError`.
    bool setLowDataModeForCurrentNetwork(bool on, bool showError);
    // The status menu's switch was flipped to `requested`.
    void toggleLowDataModeSwitch(bool requested);

  private:
    // A failure's description is the text to show.
    Result<void> runLowDataHelper(bool on) const;
    void showFailure(std::string text);
    void setSwitchFromMain(bool on);

    Services services_;
    MenuSwitch menuSwitch_;
    Lifetime lifetime_;
};

}  // namespace parvel
