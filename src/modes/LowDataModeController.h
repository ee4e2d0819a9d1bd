#pragma once

#include <optional>
#include <string>

#include "base/Lifetime.h"
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

    // How long the menu has to close before the helper runs.
    static constexpr platform::Duration kMenuSwitchDelay = platform::seconds(0.2);

    explicit LowDataModeController(Services services) : services_(services) {}

    // The status menu's switch, once the menu exists.
    void setSwitch(ui::ViewPtr toggle) { switch_ = std::move(toggle); }

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
    // Runs the helper; the failure text to show, or nothing on success.
    std::optional<std::string> runHelper(bool on) const;
    void showFailure(std::string text);
    void setSwitchFromMain(bool on);

    Services services_;
    ui::ViewPtr switch_;
    Lifetime lifetime_;
};

}  // namespace parvel
