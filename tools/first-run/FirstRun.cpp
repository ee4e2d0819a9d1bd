// Shows what ParvelMac stores on an account's first launch: runs the settings registration twice on
// a preferences folder and prints every write, then the resulting property list.

#include <iostream>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <stdlib.h>

#include "app/CompositionRoot.h"
#include "platform/posix/HostPlatform.h"
#include "platform/posix/PlistCodec.h"
#include "platform/sim/RecordingDefaults.h"

namespace {

using parvel::SettingsStore;
using parvel::sim::DefaultsChange;

std::string freshFolder() {
    std::string pattern = "/tmp/parvelmac-preferences-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("could not create a preferences folder in /tmp");
    }
    return pattern;
}

void printChange(const DefaultsChange& change) {
    if (change.value) {
        fmt::print("  write  {:<38} = {}\n", change.key, describe(*change.value));
    } else {
        fmt::print("  remove {}\n", change.key);
    }
}

// One launch: the application's start-up registers its defaults through the recorder.
std::size_t launch(const std::string& folder, const char* title) {
    parvel::posix::HostPlatform host(folder);
    parvel::platform::Platform platform = host.platform();
    parvel::sim::RecordingDefaults recording(*platform.defaults);
    recording.onChange(printChange);
    platform.defaults = &recording;
    fmt::print("{}\n", title);
    parvel::CompositionRoot root(platform);
    root.settings().initializeDefaults();
    const auto count = recording.changes().size();
    fmt::print("  {} change{}\n\n", count, count == 1 ? "" : "s");
    return count;
}

void printStoredFile(const std::string& folder) {
    const std::string path = folder + "/" + std::string(SettingsStore::kDomain) + ".plist";
    parvel::posix::HostPlatform host(folder);
    const auto stored = host.platform().defaults->snapshot(SettingsStore::kDomain);
    const auto xml = parvel::posix::encodePlist(parvel::platform::PlistValue(stored),
                                                parvel::posix::PlistFormat::Xml);
    fmt::print("{} (binary plist, shown as XML):\n", path);
    if (xml) {
        std::cout << std::string(xml->begin(), xml->end());
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"The first launch of ParvelMac's settings store, on a preferences folder"};
    std::string folder;
    app.add_option("--preferences", folder,
                   "preferences folder to use (a fresh temporary one when omitted)");
    CLI11_PARSE(app, argc, argv);

    try {
        if (folder.empty()) {
            folder = freshFolder();
        }
        fmt::print("Preferences folder: {}\n\n", folder);
        launch(folder, "First launch of this account:");
        const auto secondChanges = launch(folder, "Second launch:");
        printStoredFile(folder);
        return secondChanges == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        fmt::print(stderr, "parvelmac-first-run: {}\n", error.what());
        return 1;
    }
}
