#include "platform/sim/tools/ShellTool.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/sim/Trace.h"
#include "platform/sim/tools/ShellWords.h"
#include "platform/sim/tools/ToolResults.h"

namespace parvel::sim {

namespace {

constexpr std::string_view kCommandFlag = "-c";
constexpr std::string_view kOpenPath = "/usr/bin/open";
constexpr platform::Duration kRelaunchDelay = std::chrono::seconds(1);
constexpr int kUsageStatus = 2;
constexpr int kUnknownScriptStatus = 2;
constexpr int kNotFoundStatus = 127;

std::string shellName(std::string_view shell) {
    return std::string(shell.substr(shell.find_last_of('/') + 1));
}

// A script's first line, for messages.
std::string_view firstLine(std::string_view text) {
    return text.substr(0, text.find('\n'));
}

}  // namespace

ShellTool::ShellTool(platform::Processes& processes, platform::FileSystem& files,
                     platform::Dispatch& dispatch, Trace& trace)
    : processes_(processes), files_(files), dispatch_(dispatch), trace_(trace) {
    addScript(std::string(kRelaunchScript),
              [this](const ShellScript& script) { return relaunchApplication(script); });
}

void ShellTool::addScript(std::string text, ShellScriptHandler handler) {
    scripts_[std::move(text)] = std::move(handler);
}

void ShellTool::addMatcher(ShellScriptMatcher matcher) {
    matchers_.push_back(std::move(matcher));
}

ToolResult ShellTool::run(std::string_view shell, const ToolArguments& arguments) {
    auto script = parse(shell, arguments);
    return script ? execute(*script) : script.error();
}

std::expected<ShellScript, ToolResult> ShellTool::parse(std::string_view shell,
                                                        const ToolArguments& arguments) const {
    const std::string name = shellName(shell);
    if (arguments.empty()) {
        return std::unexpected(failedWith(
            kUsageStatus,
            fmt::format("{}: reading commands from standard input is not modelled", name)));
    }
    ShellScript script{std::string(shell), "", "", name, {}};
    const std::string& first = arguments.front();
    if (first == kCommandFlag) {
        if (arguments.size() < 2) {
            return std::unexpected(
                failedWith(kUsageStatus, fmt::format("{}: -c: option requires an argument", name)));
        }
        script.text = arguments[1];
        if (arguments.size() > 2) {
            script.name = arguments[2];
            script.arguments.assign(arguments.begin() + 3, arguments.end());
        }
        return script;
    }
    if (first.starts_with('-')) {
        return std::unexpected(
            failedWith(kUsageStatus, fmt::format("{}: {}: invalid option", name, first)));
    }
    const auto contents = files_.readFile(first);
    if (!contents) {
        return std::unexpected(failedWith(
            kNotFoundStatus, fmt::format("{}: {}: {}", name, first, contents.error().description)));
    }
    script.text = toString(*contents);
    script.path = first;
    script.name = first;
    script.arguments.assign(arguments.begin() + 1, arguments.end());
    return script;
}

ToolResult ShellTool::execute(const ShellScript& script) {
    if (const auto known = scripts_.find(script.text); known != scripts_.end()) {
        return known->second(script);
    }
    for (const auto& matcher : matchers_) {
        if (auto result = matcher(script)) {
            return std::move(*result);
        }
    }
    if (auto result = runSimpleCommand(script)) {
        return std::move(*result);
    }
    trace_.record("shell", fmt::format("{} cannot run an unknown script: {}", script.shell,
                                       firstLine(script.text)));
    return failedWith(kUnknownScriptStatus,
                      fmt::format("{}: the script {:?} is not known to the simulated Mac",
                                  shellName(script.shell),
                                  script.path.empty() ? firstLine(script.text) : script.path));
}

std::optional<ToolResult> ShellTool::runSimpleCommand(const ShellScript& script) {
    const auto words = ShellWords::simpleCommand(script.text);
    if (!words || !words->front().starts_with('/')) {
        return std::nullopt;
    }
    const std::vector<std::string> arguments(words->begin() + 1, words->end());
    auto child = processes_.launch(
        {words->front(), arguments, platform::StreamTarget::Pipe, platform::StreamTarget::Pipe});
    if (!child) {
        return failedWith(kNotFoundStatus, fmt::format("{}: {}: {}", shellName(script.shell),
                                                       words->front(), child.error().description));
    }
    const int status = (*child)->waitUntilExit();
    std::string output = (*child)->readOutput();
    return ToolResult{status, std::move(output), (*child)->readError()};
}

ToolResult ShellTool::relaunchApplication(const ShellScript& script) {
    const std::string application = script.arguments.empty() ? "" : script.arguments.front();
    trace_.record("shell", fmt::format("{} waits 1 s, then opens {:?}", script.name, application));
    std::erase_if(pending_, [](const platform::Scheduled& work) { return !work.isActive(); });
    pending_.push_back(
        dispatch_.global(platform::QualityOfService::Utility)
            .scheduleAfter(kRelaunchDelay, [this, application] {
                // A background job's failure reaches no one, as in a real shell; the process
                // table records the attempt either way.
                (void)processes_.launch({std::string(kOpenPath), {"-n", "-a", application}});
            }));
    return succeeded();
}

}  // namespace parvel::sim
