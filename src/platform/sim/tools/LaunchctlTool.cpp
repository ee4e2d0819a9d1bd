#include "platform/sim/tools/LaunchctlTool.h"

#include <cerrno>
#include <charconv>

#include <fmt/format.h>

#include "platform/sim/tools/LaunchAgents.h"
#include "platform/sim/tools/ToolResults.h"

namespace parvel::sim {

namespace {

constexpr std::string_view kGuiDomainPrefix = "gui/";
constexpr std::string_view kBootstrapFailed = "Bootstrap failed";
constexpr std::string_view kBootoutFailed = "Boot-out failed";

ToolResult usage(std::string_view subcommand, std::string_view operands) {
    return failedWith(kExitUsage, fmt::format("Usage: launchctl {} {}", subcommand, operands));
}

ToolResult failed(std::string_view what, const Error& error) {
    return failedWith(static_cast<int>(error.code),
                      fmt::format("{}: {}: {}", what, error.code, error.description));
}

ToolResult outcome(std::string_view what, const Result<void>& result) {
    return result ? succeeded() : failed(what, result.error());
}

}  // namespace

ToolResult LaunchctlTool::run(const ToolArguments& arguments) {
    if (arguments.empty()) {
        return failedWith(kExitUsage, "Usage: launchctl <subcommand> ... | help [subcommand]");
    }
    const std::string& subcommand = arguments.front();
    const ToolArguments operands(arguments.begin() + 1, arguments.end());
    if (subcommand == "bootstrap") {
        return bootstrap(operands);
    }
    if (subcommand == "bootout") {
        return bootout(operands);
    }
    if (subcommand == "enable" || subcommand == "disable") {
        return setEnabled(operands, subcommand == "enable");
    }
    return failedWith(kExitUsage, fmt::format("Unrecognized subcommand: {}", subcommand));
}

ToolResult LaunchctlTool::bootstrap(const ToolArguments& operands) {
    const auto target = operands.size() == 2 ? parseTarget(operands[0]) : std::nullopt;
    if (!target || target->label) {
        return usage("bootstrap", "<domain-target> <service-path>");
    }
    if (!isOwnDomain(*target)) {
        return failed(kBootstrapFailed, posixError(EPERM));
    }
    return outcome(kBootstrapFailed, agents_.bootstrap(operands[1]));
}

ToolResult LaunchctlTool::bootout(const ToolArguments& operands) {
    const auto target = operands.empty() ? std::nullopt : parseTarget(operands[0]);
    const bool wellFormed =
        target && (operands.size() == 1 || (operands.size() == 2 && !target->label));
    if (!wellFormed) {
        return usage("bootout", "<domain-target> [<service-path>] | <service-target>");
    }
    if (!isOwnDomain(*target)) {
        return failed(kBootoutFailed, posixError(EPERM));
    }
    if (target->label) {
        return outcome(kBootoutFailed, agents_.bootout(*target->label));
    }
    if (operands.size() == 2) {
        return outcome(kBootoutFailed, agents_.bootoutPlist(operands[1]));
    }
    agents_.bootoutAll();
    return succeeded();
}

ToolResult LaunchctlTool::setEnabled(const ToolArguments& operands, bool enabled) {
    const std::string_view subcommand = enabled ? "enable" : "disable";
    const auto target = operands.size() == 1 ? parseTarget(operands[0]) : std::nullopt;
    if (!target || !target->label) {
        return usage(subcommand, "<service-target>");
    }
    if (!isOwnDomain(*target)) {
        return failed(fmt::format("Could not {} service", subcommand), posixError(EPERM));
    }
    agents_.setEnabled(*target->label, enabled);
    return succeeded();
}

std::optional<LaunchctlTool::Target> LaunchctlTool::parseTarget(std::string_view text) {
    if (!text.starts_with(kGuiDomainPrefix)) {
        return std::nullopt;
    }
    text.remove_prefix(kGuiDomainPrefix.size());
    const std::size_t slash = text.find('/');
    const std::string_view digits = text.substr(0, slash);
    Target target;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), target.userId);
    if (digits.empty() || error != std::errc() || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    if (slash != std::string_view::npos) {
        const std::string_view label = text.substr(slash + 1);
        if (label.empty()) {
            return std::nullopt;
        }
        target.label = std::string(label);
    }
    return target;
}

}  // namespace parvel::sim
