#include "platform/sim/tools/OsascriptTool.h"

#include <fmt/format.h>

#include "platform/sim/tools/ToolResults.h"

namespace parvel::sim {

namespace {

constexpr std::string_view kScriptFlag = "-e";
constexpr int kFailureStatus = 1;
constexpr std::string_view kUsage =
    "usage: osascript [-l language] [-e script] [-i] [-s {ehso}] [programfile] [argument ...]";
// The error numbers the compiler reports (errOSASyntaxError and its relatives).
constexpr int kFirstCompileError = -2763;
constexpr int kLastCompileError = -2740;

bool isCompileError(int number) {
    return number >= kFirstCompileError && number <= kLastCompileError;
}

}  // namespace

ToolResult OsascriptTool::run(const ToolArguments& arguments) {
    if (arguments.empty() || arguments.size() % 2 != 0) {
        return failedWith(kFailureStatus, kUsage);
    }
    std::string source;
    for (std::size_t index = 0; index < arguments.size(); index += 2) {
        if (arguments[index] != kScriptFlag) {
            return failedWith(kFailureStatus, kUsage);
        }
        source += (index == 0 ? "" : "\n") + arguments[index + 1];
    }
    const auto result = scripts_.run(source);
    if (!result) {
        return failedWith(
            kFailureStatus,
            fmt::format("0:{}: {}: {} ({})", source.size(),
                        isCompileError(result.error().number) ? "syntax error" : "execution error",
                        result.error().message, result.error().number));
    }
    return result->empty() ? succeeded() : printedLine(*result);
}

}  // namespace parvel::sim
