#pragma once

#include <string>
#include <string_view>

#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

class Power;

// "/usr/bin/pmset" as the program uses it, printing what the real tool prints: "-g batt" (or
// "-g ps") the power source and the internal battery, "-g custom" the settings of each power
// source, and "sleepnow" puts the Mac to sleep. Anything else prints the usage and fails.
class PmsetTool {
  public:
    static constexpr std::string_view kPath = "/usr/bin/pmset";

    explicit PmsetTool(Power& power) : power_(power) {}

    ToolResult run(const ToolArguments& arguments);

  private:
    std::string batteryReport() const;
    std::string customSettings() const;

    Power& power_;
};

}  // namespace parvel::sim
