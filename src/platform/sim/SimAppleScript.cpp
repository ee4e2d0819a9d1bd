#include "platform/sim/SimAppleScript.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/sim/Trace.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::sim {

namespace {

constexpr int kNotAuthorised = -1743;
constexpr int kSyntaxError = -2741;

// A script's first line, and how many lines follow it, for the trace.
std::string summary(std::string_view source) {
    const auto firstBreak = source.find('\n');
    if (firstBreak == std::string_view::npos) {
        return std::string(source);
    }
    const auto lines = std::ranges::count(source, '\n') + 1;
    return fmt::format("{} … ({} lines)", source.substr(0, firstBreak), lines);
}

}  // namespace

ScriptResult SimAppleScript::run(std::string_view source) {
    scripts_.emplace_back(source);
    trace_.record("script", summary(source));
    for (const auto& handler : handlers_) {
        if (auto result = handler(source)) {
            if (!*result) {
                trace_.record("script", fmt::format("failed ({}): {}", result->error().number,
                                                    result->error().message));
            }
            return std::move(*result);
        }
    }
    trace_.record("script", "failed: not a script this Mac knows");
    return std::unexpected(platform::AppleScriptError{
        "Expected end of line, etc. but found unknown token.", kSyntaxError});
}

void SimAppleScript::addScript(std::string source, std::string bundleIdentifier,
                               std::string applicationName, std::function<ScriptResult()> answer) {
    addHandler([this, source = std::move(source), bundleIdentifier = std::move(bundleIdentifier),
                applicationName = std::move(applicationName),
                answer = std::move(answer)](std::string_view text) -> std::optional<ScriptResult> {
        if (text != source) {
            return std::nullopt;
        }
        if (auto refused = refusedAutomation(bundleIdentifier, applicationName)) {
            return std::unexpected(*refused);
        }
        return answer();
    });
}

std::optional<platform::AppleScriptError> SimAppleScript::refusedAutomation(
    const std::string& bundleIdentifier, const std::string& name) {
    const bool wasAsked =
        permissions_.automation.contains(bundleIdentifier) &&
        permissions_.automation.at(bundleIdentifier) != AutomationState::NotDetermined;
    const bool allowed = permissions_.allowsAutomation(bundleIdentifier);
    if (!wasAsked) {
        trace_.record("privacy", fmt::format("asked the user to allow controlling {}: {}", name,
                                             allowed ? "allowed" : "denied"));
    }
    if (allowed) {
        return std::nullopt;
    }
    return platform::AppleScriptError{
        fmt::format("Not authorized to send Apple events to {}.", name), kNotAuthorised};
}

}  // namespace parvel::sim
