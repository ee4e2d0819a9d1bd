#include "modes/LowDataModeController.h"

#include "base/Text.h"

namespace parvel {

namespace {

using platform::NetworkPathState;

constexpr std::string_view kAlertTitle = "Low Data Mode";
constexpr std::string_view kHelperMissing =
    "The Low Data Mode helper is missing. Rebuild ParvelMac using the supplied build script.";
constexpr std::string_view kChangeFailed =
    "Low Data Mode could not be changed for the connected Wi-Fi network.";
constexpr std::string_view kHelperSuccessMarker = "OK|";

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
    if (switch_) {
        switch_->isOn = switchStateFor(services_.pathMonitor.currentPath());
    }
}

bool LowDataModeController::setLowDataModeForCurrentNetwork(bool on, bool showError) {
    if (currentLowDataModeState() == on) {
        setSwitchFromMain(on);
        return true;
    }
    if (const auto failure = runHelper(on)) {
        if (showError) {
            showFailure(*failure);
        }
        return false;
    }
    setSwitchFromMain(on);
    return true;
}

void LowDataModeController::toggleLowDataModeSwitch(bool requested) {
    if (!switch_) {
        return;
    }
    switch_->enabled = false;
    services_.presenter.cancelMenuTracking();
    services_.dispatch.main().asyncAfter(kMenuSwitchDelay, lifetime_.guard([this, requested] {
        const auto failure = runHelper(requested);
        switch_->isOn = failure ? !requested : requested;
        switch_->enabled = true;
        if (failure) {
            showFailure(*failure);
        }
    }));
}

std::optional<std::string> LowDataModeController::runHelper(bool on) const {
    if (!services_.files.isExecutable(installedLowDataHelperPath)) {
        return std::string(kHelperMissing);
    }
    const auto result =
        services_.runner.runInstalledHelper(installedLowDataHelperPath, {"set", on ? "1" : "0"});
    if (result.success && result.output.find(kHelperSuccessMarker) != std::string::npos) {
        return std::nullopt;
    }
    const auto output = trimmedWhitespace(result.output);
    return std::string(output.empty() ? kChangeFailed : output);
}

void LowDataModeController::showFailure(std::string text) {
    services_.actuators.showAlert(std::string(kAlertTitle), std::move(text));
}

void LowDataModeController::setSwitchFromMain(bool on) {
    services_.dispatch.main().async(lifetime_.guard([this, on] {
        if (switch_) {
            switch_->isOn = on;
        }
    }));
}

}  // namespace parvel
