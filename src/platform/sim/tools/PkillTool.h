#pragma once

#include <string_view>

#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

class ProcessTable;

// "/usr/bin/pkill [-x] PATTERN": ends the processes whose name matches the extended regular
// expression (the whole name with -x), silently. Exit status 0 when something matched, 1 when
// nothing did, 2 for a wrong call.
class PkillTool {
  public:
    static constexpr std::string_view kPath = "/usr/bin/pkill";

    explicit PkillTool(ProcessTable& processes) : processes_(processes) {}

    ToolResult run(const ToolArguments& arguments);

  private:
    ProcessTable& processes_;
};

}  // namespace parvel::sim
