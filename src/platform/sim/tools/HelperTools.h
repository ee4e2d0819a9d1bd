#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

class Hardware;
class Power;
class SimNetworkPath;
struct Permissions;

// The bundle's mode helper, run unprivileged: one command per start, one number on standard
// output. "display-get" and "keyboard-get" print the level ("0.750"); "display-set LEVEL" and
// "keyboard-set LEVEL" (0 to 1) set it and print the level that took; "bluetooth-get" prints 1 or
// 0, and "bluetooth-set 1|0" switches the radio and prints its state, which without Bluetooth
// access stays as it was while the helper still succeeds. Anything else: status 64 and the usage
// on standard error.
class ModeHelperTool {
  public:
    ModeHelperTool(Hardware& hardware, const Permissions& permissions)
        : hardware_(hardware), permissions_(permissions) {}

    ToolResult run(const ToolArguments& arguments);

  private:
    std::optional<ToolResult> runLevelCommand(const ToolArguments& arguments);
    std::optional<ToolResult> runBluetoothCommand(const ToolArguments& arguments);

    Hardware& hardware_;
    const Permissions& permissions_;
};

// The installed power helper, run as root: "lowpower B A" (1 or 0, on battery then on AC) and
// "displaysleep B A" (minutes, 0 for never) change pmset's settings and print "OK". Bad arguments:
// status 64 and the usage on standard error.
class PowerHelperTool {
  public:
    explicit PowerHelperTool(Power& power) : power_(power) {}

    ToolResult run(const ToolArguments& arguments);
    // Makes every change fail with status 1 and this message on standard output, as when pmset
    // refuses it, until the changes are restored.
    void failChanges(std::string message) { failure_ = std::move(message); }
    void restoreChanges() { failure_.reset(); }

  private:
    Power& power_;
    std::optional<std::string> failure_;
};

// The installed Low Data Mode helper: "set 1|0" turns Low Data Mode of the Wi-Fi network in use
// on or off, which path monitors see, and prints "OK|lowdata=1" or "OK|lowdata=0"; without a
// connected Wi-Fi network it says so and fails with status 1.
class LowDataHelperTool {
  public:
    explicit LowDataHelperTool(SimNetworkPath& network) : network_(network) {}

    ToolResult run(const ToolArguments& arguments);

  private:
    SimNetworkPath& network_;
};

// The installed charge helper: "set N" (50 to 100) limits the battery's charge to N percent and
// prints "OK" on a Mac whose firmware allows it; this Apple-silicon Mac does not, unless told so
// (Power::setChargeControlSupported), and the helper fails with a message on standard error.
class ChargeHelperTool {
  public:
    static constexpr int kLowestLimit = 50;

    explicit ChargeHelperTool(Power& power) : power_(power) {}

    ToolResult run(const ToolArguments& arguments);

  private:
    Power& power_;
};

}  // namespace parvel::sim
