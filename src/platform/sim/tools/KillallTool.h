#pragma once

#include <string_view>

#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

class ProcessTable;

// "/usr/bin/killall NAME...": ends every process with one of those names (no options).
class KillallTool {
  public:
    static constexpr std::string_view kPath = "/usr/bin/killall";

    explicit KillallTool(ProcessTable& processes) : processes_(processes) {}

    ToolResult run(const ToolArguments& arguments);

  private:
    ProcessTable& processes_;
};

}  // namespace parvel::sim
