#include "modes/LowDataModeController.h"

#include "core/InstalledHelperPaths.h"

namespace parvel {

namespace {

using platform::NetworkPathState;

constexpr std::string_view kAlertTitle = "Low Data Mode";
constexpr std::string_view kHelperMissing =
    "The Low Data Mode helper is missing. Rebuild ParvelMac using the supplied build script.";
constexpr std::string_view kChangeFailed =
    "Low Data Mode could not be changed for the connected Wi-Fi network.";
constexpr HelperCommand kLowDataHelper{installedLowDataHelperPath, kLowDataHelperSuccessMarker,
                                       kHelperMissing, kChangeFailed};

// The switch follows the constrained flag of whatever interface is in use.
bool switchStateFor(const NetworkPathState& path) {
    return path.status == NetworkPathState::Status::Satisfied && path.isConstrained;
}

}  // namespace

void LowDataModeController::pathUpdated(const NetworkPathState& path) {
    setSwitchFromMain(switchStateFor(path));
}

std::optional<bool> LowDataModeController::currentLowDataModeState() const {
    const NetworkPathState path = services_.pathMonitor.currentPath();
    if (path.status != NetworkPathState::Status::Satisfied || !path.usesWiFi) {
        return std::nullopt;
    }
    return path.isConstrained;
}

void LowDataModeController::refreshLowDataModeSwitchFromCurrentPath() {
    if (const auto& toggle = menuSwitch_.view()) {
        toggle->isOn = switchStateFor(services_.pathMonitor.currentPath());
    }
}

bool LowDataModeController::setLowDataModeForCurrentNetwork(bool on, bool showError) {
    if (currentLowDataModeState() == on) {
        setSwitchFromMain(on);
        return true;
    }
    if (const auto ran = runLowDataHelper(on); !ran) {
        if (showError) {
            showFailure(ran.error().description);
        }
        return false;
    }
    setSwitchFromMain(on);
    return true;
}

// Unlike the setter, the menu runs the helper whatever the current state.
void LowDataModeController::toggleLowDataModeSwitch(bool requested) {
    menuSwitch_.change(requested, [this, requested] {
        const auto ran = runLowDataHelper(requested);
        if (!ran) {
            showFailure(ran.error().description);
        }
        return ran.has_value();
    });
}

Result<void> LowDataModeController::runLowDataHelper(bool on) const {
    return runHelper(services_.runner, services_.files, kLowDataHelper, {"set", on ? "1" : "0"});
}

void LowDataModeController::showFailure(std::string text) {
    services_.actuators.showAlert(std::string(kAlertTitle), std::move(text));
}

void LowDataModeController::setSwitchFromMain(bool on) {
    services_.dispatch.main().async(lifetime_.guard([this, on] {
        if (const auto& toggle = menuSwitch_.view()) {
            toggle->isOn = on;
        }
    }));
}

}  // namespace parvel
