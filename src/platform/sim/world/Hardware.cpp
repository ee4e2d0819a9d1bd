#include "platform/sim/world/Hardware.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "platform/sim/Trace.h"

namespace parvel::sim {

void Hardware::setDisplayBrightness(double level) {
    setLevel(displayBrightness_, level, "display brightness");
}

void Hardware::setKeyboardBacklight(double level) {
    setLevel(keyboardBacklight_, level, "keyboard backlight");
}

void Hardware::setBluetoothPowered(bool on) {
    if (bluetoothPowered_ != on) {
        bluetoothPowered_ = on;
        trace_.record("hardware", on ? "Bluetooth on" : "Bluetooth off");
    }
}

void Hardware::setLevel(double& level, double wanted, const char* what) {
    // Not a number leaves the level alone, as the real controls ignore it.
    const double clamped = std::isnan(wanted) ? level : std::clamp(wanted, 0.0, 1.0);
    if (clamped != level) {
        level = clamped;
        trace_.record("hardware", fmt::format("{} {:.3f}", what, level));
    }
}

}  // namespace parvel::sim
