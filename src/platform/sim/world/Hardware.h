#pragma once

namespace parvel::sim {

class Trace;

// The built-in display's brightness, the keyboard's backlight and the Bluetooth radio of the
// simulated Mac. Levels run from 0 to 1 and stay there whatever is asked; every change is traced
// under "hardware".
class Hardware {
  public:
    static constexpr double kDefaultDisplayBrightness = 0.75;
    static constexpr double kDefaultKeyboardBacklight = 0.5;
    // How far one press of a brightness or keyboard-illumination key moves its level.
    static constexpr double kKeyStep = 1.0 / 16;

    explicit Hardware(Trace& trace) : trace_(trace) {}

    double displayBrightness() const { return displayBrightness_; }
    void setDisplayBrightness(double level);
    double keyboardBacklight() const { return keyboardBacklight_; }
    void setKeyboardBacklight(double level);
    bool bluetoothPowered() const { return bluetoothPowered_; }
    void setBluetoothPowered(bool on);

  private:
    void setLevel(double& level, double wanted, const char* what);

    Trace& trace_;
    double displayBrightness_ = kDefaultDisplayBrightness;
    double keyboardBacklight_ = kDefaultKeyboardBacklight;
    bool bluetoothPowered_ = true;
};

}  // namespace parvel::sim
