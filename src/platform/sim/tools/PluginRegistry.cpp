#include "platform/sim/tools/PluginRegistry.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/PlistCodec.h"
#include "platform/sim/SimWorkspace.h"
#include "platform/sim/Trace.h"

namespace parvel::sim {

using platform::PlistDictionary;

namespace {

constexpr std::string_view kInfoPlist = "/Contents/Info.plist";

std::string stringOf(const PlistDictionary& dictionary, std::string_view key) {
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? "" : found->second.asString().value_or("");
}

std::string_view electionName(PlugInElection election) {
    switch (election) {
        case PlugInElection::Use:
            return "use";
        case PlugInElection::Ignore:
            return "ignore";
        case PlugInElection::Default:
            break;
    }
    return "default";
}

}  // namespace

std::expected<void, std::string> PluginRegistry::add(const std::string& bundlePath) {
    const auto contents = files_.readFile(bundlePath + std::string(kInfoPlist));
    if (!contents) {
        return std::unexpected(fmt::format("{}: {}", bundlePath, contents.error().description));
    }
    const auto info = platform::decodePlist(*contents);
    const PlistDictionary* dictionary = info ? info->asDictionary() : nullptr;
    if (dictionary == nullptr) {
        return std::unexpected(fmt::format("{}: Info.plist is not a dictionary", bundlePath));
    }
    PlugIn plugIn{stringOf(*dictionary, "CFBundleIdentifier"),
                  stringOf(*dictionary, "CFBundleShortVersionString"), bundlePath, "",
                  PlugInElection::Default};
    if (plugIn.identifier.empty() || plugIn.version.empty()) {
        return std::unexpected(fmt::format(
            "{}: Info.plist lacks CFBundleIdentifier or CFBundleShortVersionString", bundlePath));
    }
    if (const auto extension = dictionary->find("NSExtension"); extension != dictionary->end()) {
        if (const auto* attributes = extension->second.asDictionary()) {
            plugIn.extensionPoint = stringOf(*attributes, "NSExtensionPointIdentifier");
        }
    }
    if (const PlugIn* known = find(plugIn.identifier)) {
        plugIn.election = known->election;
    }
    trace_.record("plugins", fmt::format("registered {} ({}) at {}", plugIn.identifier,
                                         plugIn.version, bundlePath));
    plugIns_[plugIn.identifier] = plugIn;
    return {};
}

bool PluginRegistry::elect(std::string_view identifier, PlugInElection election) {
    const auto found = plugIns_.find(identifier);
    if (found == plugIns_.end()) {
        return false;
    }
    found->second.election = election;
    trace_.record("plugins", fmt::format("{} elected: {}", identifier, electionName(election)));
    publish(found->second);
    return true;
}

const PlugIn* PluginRegistry::find(std::string_view identifier) const {
    const auto found = plugIns_.find(identifier);
    return found == plugIns_.end() ? nullptr : &found->second;
}

bool PluginRegistry::finderSyncInUse() const {
    return std::ranges::any_of(plugIns_, [](const auto& entry) {
        return entry.second.extensionPoint == kFinderSyncPoint &&
               entry.second.election == PlugInElection::Use;
    });
}

void PluginRegistry::publish(const PlugIn& plugIn) {
    if (plugIn.extensionPoint == kFinderSyncPoint) {
        workspace_.setFinderExtensionEnabled(plugIn.identifier,
                                             plugIn.election == PlugInElection::Use);
    }
}

}  // namespace parvel::sim
