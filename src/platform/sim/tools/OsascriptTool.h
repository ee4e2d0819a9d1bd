#pragma once

#include <string_view>

#include "platform/AppleScript.h"
#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

// "/usr/bin/osascript -e LINE [-e LINE...]": the lines, joined with newlines, run as one script.
// The result is printed with a newline (nothing for an empty result); a failure prints
// "0:<end>: execution error: MESSAGE (NUMBER)" ("syntax error" for a script that does not
// compile), the offsets spanning the whole script, and exits 1.
class OsascriptTool {
  public:
    static constexpr std::string_view kPath = "/usr/bin/osascript";

    explicit OsascriptTool(platform::AppleScript& scripts) : scripts_(scripts) {}

    ToolResult run(const ToolArguments& arguments);

  private:
    platform::AppleScript& scripts_;
};

}  // namespace parvel::sim
