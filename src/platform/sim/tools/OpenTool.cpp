#include "platform/sim/tools/OpenTool.h"

#include <algorithm>
#include <cctype>
#include <expected>
#include <optional>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/Text.h"
#include "platform/sim/SimWorkspace.h"
#include "platform/sim/Trace.h"
#include "platform/sim/tools/ToolResults.h"
#include "platform/sim/world/Applications.h"

namespace parvel::sim {

namespace {

constexpr int kFailureStatus = 1;
constexpr std::string_view kArgumentsMarker = "--args";
constexpr std::string_view kBundleExtension = ".app";
constexpr std::string_view kUsage =
    "Usage: open [-e] [-t] [-f] [-W] [-R] [-n] [-g] [-j] [-h] [-s <partial SDK name>][-b "
    "<bundle identifier>] [-a <application>] [-u URL] [filenames] [--args arguments]";

// Applications of the Mac itself that the program opens by name.
struct KnownApplication {
    std::string_view name;
    std::string_view bundleIdentifier;
    std::string_view bundlePath;
};

constexpr KnownApplication kCatalogue[] = {
    {"Launchpad", "com.apple.launchpad.launcher", "/System/Applications/Launchpad.app"},
    {"Mission Control", "com.apple.exposelauncher", "/System/Applications/Mission Control.app"},
    {"Safari", "com.apple.Safari", "/Applications/Safari.app"},
    {"Terminal", "com.apple.Terminal", "/System/Applications/Utilities/Terminal.app"},
    {"System Settings", "com.apple.systempreferences", "/System/Applications/System Settings.app"},
    {"TextEdit", "com.apple.TextEdit", "/System/Applications/TextEdit.app"},
    {"Notes", "com.apple.Notes", "/System/Applications/Notes.app"},
    {"Mail", "com.apple.mail", "/System/Applications/Mail.app"},
    {"Preview", "com.apple.Preview", "/System/Applications/Preview.app"},
    {"Shortcuts", "com.apple.shortcuts", "/System/Applications/Shortcuts.app"},
    {"Calculator", "com.apple.calculator", "/System/Applications/Calculator.app"},
    {"Activity Monitor", "com.apple.ActivityMonitor",
     "/System/Applications/Utilities/Activity Monitor.app"},
    {"Finder", "com.apple.finder", "/System/Library/CoreServices/Finder.app"},
};

struct Command {
    OpenRequest flags;
    std::optional<std::string> application;
    std::vector<std::string> operands;
};

// Finds an application by name the way Launch Services does: any case, ".app" optional.
std::optional<AppSpec> catalogueEntry(std::string_view name) {
    std::string wanted = asciiLowercased(name);
    if (wanted.ends_with(kBundleExtension)) {
        wanted.resize(wanted.size() - kBundleExtension.size());
    }
    for (const auto& known : kCatalogue) {
        if (asciiLowercased(known.name) == wanted) {
            return AppSpec{std::string(known.bundleIdentifier),
                           std::string(known.name),
                           platform::ActivationPolicy::Regular,
                           QuitBehaviour::Quit,
                           {},
                           fmt::format("{}/Contents/MacOS/{}", known.bundlePath, known.name)};
        }
    }
    return std::nullopt;
}

// Applies one cluster of single-letter flags ("-gja"); -a takes the rest of the cluster or the
// next argument as its value. Returns the index of the last argument used.
[[nodiscard]] std::expected<std::size_t, std::string> applyFlags(const ToolArguments& arguments,
                                                                 std::size_t index,
                                                                 Command& command) {
    const std::string& cluster = arguments[index];
    for (std::size_t at = 1; at < cluster.size(); ++at) {
        switch (cluster[at]) {
            case 'n':
                command.flags.newInstance = true;
                break;
            case 'g':
                command.flags.background = true;
                break;
            case 'j':
                command.flags.hidden = true;
                break;
            case 'a':
                if (at + 1 < cluster.size()) {
                    command.application = cluster.substr(at + 1);
                    return index;
                }
                if (index + 1 == arguments.size()) {
                    return std::unexpected("open: option requires an argument -- a");
                }
                command.application = arguments[index + 1];
                return index + 1;
            default:
                return std::unexpected(fmt::format("open: invalid option -- {}", cluster[at]));
        }
    }
    return index;
}

[[nodiscard]] std::expected<Command, std::string> parse(const ToolArguments& arguments) {
    Command command;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (argument == kArgumentsMarker) {
            command.flags.arguments.assign(arguments.begin() + static_cast<long>(index) + 1,
                                           arguments.end());
            break;
        }
        if (argument.size() > 1 && argument.starts_with('-')) {
            const auto last = applyFlags(arguments, index, command);
            if (!last) {
                return std::unexpected(last.error());
            }
            index = *last;
            continue;
        }
        command.operands.push_back(argument);
    }
    return command;
}

bool isApplicationBundle(std::string_view path) {
    if (path.ends_with('/')) {
        path.remove_suffix(1);
    }
    return path.ends_with(kBundleExtension);
}

bool isURL(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0 ||
        !std::isalpha(static_cast<unsigned char>(text[0]))) {
        return false;
    }
    return std::ranges::all_of(text.substr(0, colon), [](unsigned char character) {
        return std::isalnum(character) || character == '+' || character == '.' || character == '-';
    });
}

std::string describe(const OpenRequest& request) {
    std::string flags;
    flags += request.newInstance ? " -n" : "";
    flags += request.background ? " -g" : "";
    flags += request.hidden ? " -j" : "";
    const std::string arguments =
        request.arguments.empty() ? ""
                                  : fmt::format(" --args {}", fmt::join(request.arguments, " "));
    return fmt::format("{}{}{}", request.applicationPath, flags, arguments);
}

}  // namespace

ToolResult OpenTool::run(const ToolArguments& arguments) {
    const auto command = parse(arguments);
    if (!command) {
        return failedWith(kFailureStatus, fmt::format("{}\n{}", command.error(), kUsage));
    }
    if (command->application && !command->operands.empty()) {
        return failedWith(kFailureStatus,
                          "open: opening documents with -a is not modelled on the simulated Mac");
    }
    if (command->application) {
        return openApplication(*command->application, command->flags);
    }
    if (command->operands.empty()) {
        return failedWith(kFailureStatus, kUsage);
    }
    for (const auto& operand : command->operands) {
        if (ToolResult result = openOperand(operand, command->flags); result.status != 0) {
            return result;
        }
    }
    return succeeded();
}

ToolResult OpenTool::openApplication(const std::string& application, const OpenRequest& flags) {
    if (application.find('/') != std::string::npos) {
        return openBundle(application, flags);
    }
    if (const auto known = catalogueEntry(application)) {
        return openNamed(*known, flags);
    }
    return failedWith(kFailureStatus,
                      fmt::format("Unable to find application named '{}'", application));
}

ToolResult OpenTool::openNamed(const AppSpec& application, const OpenRequest& flags) {
    const auto running = applications_.withBundleIdentifier(application.bundleIdentifier);
    if (!running.empty() && !flags.newInstance) {
        const platform::ProcessId pid = running.front()->pid;
        if (flags.background) {
            trace_.record("open",
                          fmt::format("{} already runs; left in the background", application.name));
        } else {
            applications_.activate(pid);
        }
        if (flags.hidden) {
            applications_.hide(pid);
        }
        return succeeded();
    }
    const platform::ProcessId pid =
        applications_.launch(application, !flags.background && !flags.hidden);
    if (flags.hidden) {
        applications_.hide(pid);
    }
    return succeeded();
}

ToolResult OpenTool::openBundle(const std::string& path, const OpenRequest& flags) {
    OpenRequest request = flags;
    request.applicationPath = path;
    const bool exists = files_.isDirectory(request.applicationPath);
    const bool handled = exists && openApplication_ && openApplication_(request);
    trace_.record("open", fmt::format("open application {}: {}", describe(request),
                                      handled  ? "opened"
                                      : exists ? "nobody started it"
                                               : "no such bundle"));
    if (!exists || !openApplication_) {
        return failedWith(kFailureStatus,
                          fmt::format("The file {} does not exist.", request.applicationPath));
    }
    if (!handled) {
        return failedWith(kFailureStatus,
                          fmt::format("LSOpenURLsWithRole() failed with error -10810 for the file "
                                      "{}.",
                                      request.applicationPath));
    }
    return succeeded();
}

ToolResult OpenTool::openOperand(const std::string& operand, const OpenRequest& flags) {
    if (isApplicationBundle(operand)) {
        return openBundle(operand, flags);
    }
    if (isURL(operand)) {
        return workspace_.openURL(operand)
                   ? succeeded()
                   : failedWith(kFailureStatus,
                                fmt::format("No application knows how to open URL {}.", operand));
    }
    if (!files_.exists(operand)) {
        return failedWith(kFailureStatus, fmt::format("The file {} does not exist.", operand));
    }
    return workspace_.openFile(operand)
               ? succeeded()
               : failedWith(kFailureStatus,
                            fmt::format("No application knows how to open {}.", operand));
}

}  // namespace parvel::sim
