#include "platform/sim/tools/KillallTool.h"

#include <algorithm>

#include "platform/sim/tools/ProcessTable.h"
#include "platform/sim/tools/ToolResults.h"

namespace parvel::sim {

namespace {

constexpr int kFailureStatus = 1;
constexpr std::string_view kUsage =
    "usage: killall [-delmsqvz] [-help] [-I] [-u user] [-t tty] [-c cmd] [-SIGNAL] [cmd]...";
constexpr std::string_view kNoMatch = "No matching processes belonging to you were found";

}  // namespace

ToolResult KillallTool::run(const ToolArguments& arguments) {
    const bool hasOption = std::ranges::any_of(
        arguments, [](const std::string& argument) { return argument.starts_with('-'); });
    if (arguments.empty() || hasOption) {
        return failedWith(kFailureStatus, kUsage);
    }
    const int ended = processes_.terminate([&](std::string_view name) {
        return std::ranges::find(arguments, name) != arguments.end();
    });
    return ended > 0 ? succeeded() : failedWith(kFailureStatus, kNoMatch);
}

}  // namespace parvel::sim
