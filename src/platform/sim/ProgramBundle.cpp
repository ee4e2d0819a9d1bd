#include "platform/sim/ProgramBundle.h"

#include <stdexcept>

#include <fmt/format.h>

#include "platform/PlistCodec.h"
#include "platform/sim/Trace.h"
#include "platform/sim/tools/SystemTools.h"

namespace parvel::sim {

using platform::PlistDictionary;
using platform::PlistValue;

namespace {

constexpr std::uint32_t kExecutableMode = 0755;
constexpr std::string_view kFinderSyncBundle = "ParvelMacFinderSync.appex";

// A real 1×1 PNG: the menu-bar icon's bytes only need to load.
const Bytes& iconBytes() {
    static const Bytes png = {
        0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48,
        0x44, 0x52, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x06, 0x00, 0x00,
        0x00, 0x1F, 0x15, 0xC4, 0x89, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x44, 0x41, 0x54, 0x78,
        0x9C, 0x63, 0x60, 0x00, 0x02, 0x00, 0x00, 0x05, 0x00, 0x01, 0xE9, 0xFA, 0xDC, 0xD8,
        0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82};
    return png;
}

constexpr std::string_view kSetupScriptText =
    "#!/bin/bash\n"
    "# Installs ParvelMac's privileged helpers from this bundle. Run once as root.\n"
    "set -euo pipefail\n"
    "resources=\"$(cd \"$(dirname \"$0\")\" && pwd)\"\n"
    "install -d -m 755 /Library/PrivilegedHelperTools\n"
    "install -m 755 \"$resources/ParvelMacChargeHelper\" "
    "/Library/PrivilegedHelperTools/com.tarnby.parvelmac.charge-helper\n"
    "install -m 755 \"$resources/ParvelMacLowDataHelper\" "
    "/Library/PrivilegedHelperTools/com.tarnby.parvelmac.lowdata-helper\n"
    "install -m 755 \"$resources/ParvelMacPowerHelper\" "
    "/Library/PrivilegedHelperTools/com.tarnby.parvelmac.power-helper\n";

Bytes plist(const PlistDictionary& dictionary) {
    const auto encoded = platform::encodePlist(PlistValue(dictionary), platform::PlistFormat::Xml);
    if (!encoded) {
        throw std::logic_error("the program bundle's property list does not encode");
    }
    return *encoded;
}

void write(platform::FileSystem& files, const std::string& path, const Bytes& contents,
           std::uint32_t mode = 0644) {
    const auto folder = path.substr(0, path.find_last_of('/'));
    if (!files.createDirectories(folder) || !files.writeFileAtomically(path, contents, mode)) {
        throw std::runtime_error("could not write " + path + " in the simulated Mac's sandbox");
    }
}

}  // namespace

void ProgramBundle::install(const std::string& bundlePath) const {
    const std::string contents = bundlePath + "/Contents";
    write(files_, contents + "/Info.plist",
          plist({{"CFBundleIdentifier", "com.tarnby.parvelmac"},
                 {"CFBundleName", "ParvelMac"},
                 {"CFBundleShortVersionString", "1.0"}}));
    write(files_, contents + "/MacOS/ParvelMac", toBytes("ParvelMac"), kExecutableMode);
    write(files_, contents + "/Resources/ParvelMacMenuIcon.png", iconBytes());
    for (const auto& helper : kHelpers) {
        write(files_, fmt::format("{}/Resources/{}", contents, helper.resource),
              toBytes(fmt::format("{} 1.0", helper.installedName)), kExecutableMode);
    }
    write(files_, modeHelperPath(bundlePath), toBytes(fmt::format("{} 1.0", kModeHelper)),
          kExecutableMode);
    write(files_, fmt::format("{}/Resources/{}", contents, kSetupScript), toBytes(kSetupScriptText),
          kExecutableMode);
    write(files_, fmt::format("{}/PlugIns/{}/Contents/Info.plist", contents, kFinderSyncBundle),
          plist({{"CFBundleIdentifier", "com.tarnby.parvelmac.findersync"},
                 {"CFBundleShortVersionString", "1.0"},
                 {"NSExtension",
                  PlistDictionary{{"NSExtensionPointIdentifier", "com.apple.FinderSync"}}}}));
}

std::string ProgramBundle::modeHelperPath(const std::string& bundlePath) {
    return fmt::format("{}/Contents/Resources/{}", bundlePath, kModeHelper);
}

void ProgramBundle::installHelpers(const std::string& bundlePath) const {
    for (const auto& helper : kHelpers) {
        const auto bytes =
            files_.readFile(fmt::format("{}/Contents/Resources/{}", bundlePath, helper.resource));
        if (!bytes) {
            throw std::runtime_error("the bundle at " + bundlePath + " has no " +
                                     std::string(helper.resource));
        }
        write(files_, helper.installedPath(), *bytes, kExecutableMode);
    }
    trace_.record("file", fmt::format("installed the helpers of {}", bundlePath));
}

void ProgramBundle::emulateSetupScript(SystemTools& tools) const {
    tools.addShellScriptMatcher(
        [bundle = *this](const ShellScript& script) -> std::optional<ToolResult> {
            const std::string suffix = "/Contents/Resources/" + std::string(kSetupScript);
            if (!script.path.ends_with(suffix)) {
                return std::nullopt;
            }
            bundle.installHelpers(script.path.substr(0, script.path.size() - suffix.size()));
            return ToolResult{};
        });
}

}  // namespace parvel::sim
