#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/Lifetime.h"
#include "core/InstalledHelperPaths.h"
#include "core/ProcessRunner.h"
#include "platform/AppleScript.h"
#include "platform/Application.h"
#include "platform/Bundle.h"
#include "platform/Dispatch.h"
#include "platform/Events.h"
#include "platform/FileSystem.h"
#include "platform/Presenter.h"
#include "ui/View.h"

namespace parvel {

// A power setting's value on battery and on the adapter (Low Power Mode 0/1, display sleep in
// minutes).
struct PowerSourcePair {
    int battery = 0;
    int ac = 0;
    friend bool operator==(const PowerSourcePair&, const PowerSourcePair&) = default;
};

// Reads one setting of `pmset -g custom` output; both sections must give a value. Low Power Mode
// accepts only 0 and 1, display sleep any value of 0 or more.
std::optional<PowerSourcePair> parseLowPowerModeState(std::string_view pmsetCustom);
std::optional<PowerSourcePair> parseDisplaySleepState(std::string_view pmsetCustom);
// A Dock default as the defaults tool prints it: "true"/"yes"/"1" and "false"/"no"/"0", any case.
std::optional<bool> parseDefaultsBool(std::string_view text);
// A whole number, or a real rounded half away from zero.
std::optional<int> parseDefaultsInt(std::string_view text);

// Reads and changes the system settings the modes touch, each through its own tool: the mode
// helper in the bundle (display and keyboard backlight, Bluetooth), the defaults tool, pmset, the
// privileged power helper, and System Events for the appearance. Every call blocks its caller
// while the tool runs; key simulation and alerts go to the main queue.
class SystemSettingActuators {
  public:
    struct Services {
        const ProcessRunner& runner;
        const platform::FileSystem& files;
        const platform::Bundle& bundle;
        platform::Events& events;
        platform::Dispatch& dispatch;
        platform::Presenter& presenter;
        platform::Application& application;
        platform::AppleScript& appleScript;
    };

    static constexpr std::string_view kDefaultsTool = "/usr/bin/defaults";
    static constexpr std::string_view kDockDomain = "com.apple.dock";

    explicit SystemSettingActuators(Services services) : services_(services) {}

    std::optional<std::string> modeHelperPath() const;
    // The mode helper's answer to a "-get" command, if it ran and printed a number.
    std::optional<float> modeHelperFloat(std::string_view command) const;
    // Whether Bluetooth is on, as the mode helper reads it.
    std::optional<bool> bluetoothPowered() const;

    // The trimmed output of `defaults read`, if it succeeded and printed something.
    std::optional<std::string> readDefault(std::string_view domain, std::string_view key) const;
    std::optional<bool> readDockBool(std::string_view key) const;
    std::optional<int> readDockInt(std::string_view key) const;
    void writeGlobalDefault(std::string_view key, std::string_view type, std::string_view value);
    // Runs the defaults tool with a "write" or "delete" argument list; failures are silent.
    void runDefaults(const ProcessRunner::Arguments& arguments);
    // Restarts the Dock so that it reads the defaults just written.
    void relaunchDock();

    void setDisplayBrightness(double level);
    void setKeyboardBrightness(double level);
    bool setBluetoothPower(bool on);

    std::optional<PowerSourcePair> currentLowPowerModeState() const;
    bool setLowPowerMode(int battery, int ac, bool showError);
    std::optional<PowerSourcePair> currentDisplaySleepState() const;
    bool setDisplaySleep(int battery, int ac);

    bool currentSystemAppearanceIsDark() const;
    // The status menu's Dark Mode switch: asks System Events for the switch's state; on failure
    // puts the switch back and explains; on success calls `refreshMenu` a moment later.
    void toggleSystemDarkMode(const ui::ViewPtr& toggle, std::function<void()> refreshMenu);

    // A warning alert with one "OK" button, shown from the main queue with the application in
    // front.
    void showAlert(std::string title, std::string text);

  private:
    bool runModeHelper(const ProcessRunner::Arguments& arguments) const;
    std::optional<std::string> pmsetCustom() const;
    // Presses a brightness-style key `presses` times after 16 presses of its opposite, from the
    // main queue: the fallback when the mode helper cannot set a level.
    void simulateLevelKeys(std::int64_t downKey, std::int64_t upKey, double level);

    Services services_;
    Lifetime lifetime_;
};

}  // namespace parvel
