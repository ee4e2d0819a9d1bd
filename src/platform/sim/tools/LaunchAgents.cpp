#include "platform/sim/tools/LaunchAgents.h"

#include <cerrno>

#include <fmt/format.h>

#include "platform/PlistCodec.h"
#include "platform/sim/Trace.h"

namespace parvel::sim {

using platform::PlistDictionary;
using platform::PlistValue;

namespace {

constexpr std::string_view kPlistExtension = ".plist";

const PlistValue* entry(const PlistDictionary& dictionary, std::string_view key) {
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? nullptr : &found->second;
}

std::unexpected<Error> failure(int errnoValue) {
    return std::unexpected(posixError(errnoValue));
}

}  // namespace

Result<LaunchAgent> LaunchAgents::readAgent(const std::string& plistPath) const {
    const auto contents = files_.readFile(plistPath);
    if (!contents) {
        return std::unexpected(contents.error());
    }
    const auto plist = platform::decodePlist(*contents);
    const PlistDictionary* dictionary = plist ? plist->asDictionary() : nullptr;
    if (dictionary == nullptr) {
        return failure(EIO);
    }
    LaunchAgent agent;
    agent.plistPath = plistPath;
    const PlistValue* label = entry(*dictionary, "Label");
    const PlistValue* program = entry(*dictionary, "Program");
    const PlistValue* arguments = entry(*dictionary, "ProgramArguments");
    const PlistValue* runAtLoad = entry(*dictionary, "RunAtLoad");
    agent.label = label ? label->asString().value_or("") : "";
    agent.program = program ? program->asString().value_or("") : "";
    if (arguments) {
        agent.programArguments = arguments->asStringArray().value_or(std::vector<std::string>{});
    }
    if (agent.program.empty() && !agent.programArguments.empty()) {
        agent.program = agent.programArguments.front();
    }
    agent.runAtLoad = runAtLoad && runAtLoad->asBool().value_or(false);
    const bool argumentsWellFormed = !arguments || arguments->asStringArray().has_value();
    if (agent.label.empty() || agent.program.empty() || !argumentsWellFormed) {
        return failure(EIO);
    }
    return agent;
}

Result<void> LaunchAgents::bootstrap(const std::string& plistPath) {
    auto agent = readAgent(plistPath);
    if (!agent) {
        return std::unexpected(agent.error());
    }
    if (isLoaded(agent->label) || isDisabled(agent->label)) {
        return failure(EIO);
    }
    trace_.record("launchd", fmt::format("loaded {} from {}", agent->label, plistPath));
    const auto& stored = loaded_.emplace(agent->label, std::move(*agent)).first->second;
    if (stored.runAtLoad) {
        start(stored);
    }
    return {};
}

Result<void> LaunchAgents::bootoutPlist(const std::string& plistPath) {
    const auto agent = readAgent(plistPath);
    if (!agent) {
        return std::unexpected(agent.error());
    }
    return bootout(agent->label);
}

Result<void> LaunchAgents::bootout(std::string_view label) {
    const auto found = loaded_.find(label);
    if (found == loaded_.end()) {
        return failure(ESRCH);
    }
    trace_.record("launchd", fmt::format("unloaded {}", label));
    loaded_.erase(found);
    return {};
}

void LaunchAgents::bootoutAll() {
    for (const auto& [label, agent] : loaded_) {
        trace_.record("launchd", fmt::format("unloaded {}", label));
    }
    loaded_.clear();
}

void LaunchAgents::setEnabled(const std::string& label, bool enabled) {
    if (enabled) {
        disabled_.erase(label);
    } else {
        disabled_.insert(label);
    }
    trace_.record("launchd", fmt::format("{} {}", enabled ? "enabled" : "disabled", label));
}

const LaunchAgent* LaunchAgents::loaded(std::string_view label) const {
    const auto found = loaded_.find(label);
    return found == loaded_.end() ? nullptr : &found->second;
}

void LaunchAgents::login() {
    trace_.record("launchd", "new login session");
    bootoutAll();
    const auto entries = files_.listDirectory(agentsFolder_);
    if (!entries) {
        return;
    }
    for (const auto& item : *entries) {
        if (item.kind == platform::FileKind::File && item.name.ends_with(kPlistExtension)) {
            const std::string path = agentsFolder_ + "/" + item.name;
            if (const auto loaded = bootstrap(path); !loaded) {
                trace_.record("launchd", fmt::format("could not load {}: {}", path,
                                                     loaded.error().description));
            }
        }
    }
}

void LaunchAgents::start(const LaunchAgent& agent) {
    // The first program argument is argv[0], which a launch request leaves out.
    std::vector<std::string> arguments = agent.programArguments;
    if (!arguments.empty()) {
        arguments.erase(arguments.begin());
    }
    const auto started = processes_.launch({agent.program, arguments});
    if (!started) {
        trace_.record("launchd", fmt::format("could not start {}: {}", agent.label,
                                             started.error().description));
    }
}

}  // namespace parvel::sim
