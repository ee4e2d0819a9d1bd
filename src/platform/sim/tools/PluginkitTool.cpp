#include "platform/sim/tools/PluginkitTool.h"

#include <map>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "platform/sim/tools/PluginRegistry.h"
#include "platform/sim/tools/ToolResults.h"

namespace parvel::sim {

namespace {

constexpr int kFailureStatus = 1;
constexpr std::string_view kUsage =
    "usage: pluginkit -a <paths>... | -e use|ignore|default -i <identifier> | -m [-A] [-D] [-i "
    "<identifier>]";

const std::map<std::string_view, PlugInElection> kElections = {
    {"use", PlugInElection::Use},
    {"ignore", PlugInElection::Ignore},
    {"default", PlugInElection::Default}};

struct Options {
    bool match = false;
    std::optional<std::string> identifier;
    std::optional<std::string> election;
    std::vector<std::string> paths;
};

// The options, or nothing for a call pluginkit would reject.
std::optional<Options> parse(const ToolArguments& arguments) {
    Options options;
    bool adding = false;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        const bool hasValue = index + 1 < arguments.size();
        if (argument == "-m") {
            options.match = true;
        } else if (argument == "-A" || argument == "-D") {
            continue;
        } else if (argument == "-a") {
            adding = true;
        } else if (argument == "-i" && hasValue) {
            options.identifier = arguments[++index];
        } else if (argument == "-e" && hasValue) {
            options.election = arguments[++index];
        } else if (adding && !argument.starts_with('-')) {
            options.paths.push_back(argument);
        } else {
            return std::nullopt;
        }
    }
    const int modes = (options.match ? 1 : 0) + (options.election ? 1 : 0) + (adding ? 1 : 0);
    if (modes != 1 || (adding && options.paths.empty()) ||
        (options.election && !options.identifier)) {
        return std::nullopt;
    }
    return options;
}

char electionSign(PlugInElection election) {
    switch (election) {
        case PlugInElection::Use:
            return '+';
        case PlugInElection::Ignore:
            return '-';
        case PlugInElection::Default:
            break;
    }
    return ' ';
}

}  // namespace

ToolResult PluginkitTool::run(const ToolArguments& arguments) {
    const auto options = parse(arguments);
    if (!options) {
        return failedWith(kExitUsage, kUsage);
    }
    for (const auto& path : options->paths) {
        if (const auto added = registry_.add(path); !added) {
            return failedWith(kFailureStatus, fmt::format("pluginkit: {}", added.error()));
        }
    }
    if (options->election) {
        const auto election = kElections.find(*options->election);
        if (election == kElections.end()) {
            return failedWith(kExitUsage, kUsage);
        }
        if (!registry_.elect(*options->identifier, election->second)) {
            return failedWith(kFailureStatus, fmt::format("pluginkit: no plug-in matches {}",
                                                          *options->identifier));
        }
    }
    ToolResult result;
    if (options->match) {
        for (const auto& [identifier, plugIn] : registry_.plugIns()) {
            if (!options->identifier || *options->identifier == identifier) {
                result.output += fmt::format("{}    {}({})\n", electionSign(plugIn.election),
                                             identifier, plugIn.version);
            }
        }
    }
    return result;
}

}  // namespace parvel::sim
