#pragma once

#include <string>
#include <string_view>

#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

// The exit status of a tool called with arguments it does not take (EX_USAGE).
inline constexpr int kExitUsage = 64;

// A tool that succeeded after printing one line.
inline ToolResult printedLine(std::string_view text) {
    return {0, std::string(text) + "\n", ""};
}

// A tool that failed after printing one message on standard error.
inline ToolResult failedWith(int status, std::string_view message) {
    return {status, "", std::string(message) + "\n"};
}

// A tool that succeeded silently.
inline ToolResult succeeded() {
    return {};
}

}  // namespace parvel::sim
