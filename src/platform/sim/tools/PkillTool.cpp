#include "platform/sim/tools/PkillTool.h"

#include <regex>

#include <fmt/format.h>

#include "platform/sim/tools/ProcessTable.h"
#include "platform/sim/tools/ToolResults.h"

namespace parvel::sim {

namespace {

constexpr std::string_view kExactFlag = "-x";
constexpr int kNoMatchStatus = 1;
constexpr int kUsageStatus = 2;
constexpr std::string_view kUsage =
    "usage: pkill [-signal] [-ILfilnovx] [-F pidfile] [-G gid]\n"
    "             [-P ppid] [-U uid] [-g pgrp]\n"
    "             [-t tty] [-u euid] pattern ...";

}  // namespace

ToolResult PkillTool::run(const ToolArguments& arguments) {
    const bool exact = !arguments.empty() && arguments.front() == kExactFlag;
    if (arguments.size() != (exact ? 2u : 1u) || arguments.back().starts_with('-')) {
        return failedWith(kUsageStatus, kUsage);
    }
    std::regex pattern;
    try {
        pattern = std::regex(arguments.back(), std::regex::extended);
    } catch (const std::regex_error&) {
        return failedWith(kUsageStatus, fmt::format("pkill: Cannot compile regular expression `{}'",
                                                    arguments.back()));
    }
    const int ended = processes_.terminate([&](std::string_view name) {
        const std::string subject(name);
        return exact ? std::regex_match(subject, pattern) : std::regex_search(subject, pattern);
    });
    return ended > 0 ? succeeded() : ToolResult{kNoMatchStatus, "", ""};
}

}  // namespace parvel::sim
