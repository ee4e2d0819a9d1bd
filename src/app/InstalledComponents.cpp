#include "app/InstalledComponents.h"

#include "base/FileURL.h"
#include "ui/Alert.h"

namespace parvel {

namespace {

constexpr std::string_view kOsascript = "/usr/bin/osascript";
constexpr std::string_view kPluginkit = "/usr/bin/pluginkit";
constexpr std::string_view kPkill = "/usr/bin/pkill";
constexpr std::string_view kKillall = "/usr/bin/killall";
constexpr std::string_view kLsregister =
    "/System/Library/Frameworks/CoreServices.framework/Frameworks/LaunchServices.framework/"
    "Support/lsregister";
constexpr std::string_view kSetupScriptName = "ParvelMacFirstRunSetup";
constexpr std::string_view kSetupScriptExtension = "sh";
constexpr std::string_view kFinderSyncBundleName = "ParvelMacFinderSync.appex";
constexpr std::string_view kExtensionHostName = "FinderSyncExtensionHost";

struct HelperPair {
    std::string_view resourceName;
    std::string_view installedPath;
};

// Compared in this order, stopping at the first that differs.
constexpr HelperPair kHelpers[] = {
    {"ParvelMacChargeHelper", installedChargeHelperPath},
    {"ParvelMacLowDataHelper", installedLowDataHelperPath},
    {"ParvelMacPowerHelper", installedPowerHelperPath},
};

constexpr std::string_view kSetupAlertMessage = "ParvelMac setup was not completed";
constexpr std::string_view kSetupAlertText =
    "ParvelMac needs administrator approval once to install its battery, power and Low Data "
    "Mode helpers. You can quit and reopen ParvelMac to try again.";

// 'it's' → 'it'"'"'s': the single-quoted shell form of any text.
std::string shellQuoted(std::string_view text) {
    std::string quoted = "'";
    for (const char character : text) {
        quoted += character == '\'' ? std::string("'\"'\"'") : std::string(1, character);
    }
    return quoted + "'";
}

// An AppleScript string literal: backslashes doubled first, then quotes escaped.
std::string appleScriptLiteral(std::string_view text) {
    std::string literal = "\"";
    for (const char character : text) {
        if (character == '\\') {
            literal += "\\\\";
        } else if (character == '"') {
            literal += "\\\"";
        } else {
            literal += character;
        }
    }
    return literal + "\"";
}

}  // namespace

InstalledComponents::InstalledComponents(const platform::Bundle& bundle,
                                         platform::FileSystem& files, const ProcessRunner& runner,
                                         platform::Dispatch& dispatch,
                                         platform::Presenter& presenter, platform::Log& log)
    : bundle_(bundle),
      files_(files),
      runner_(runner),
      dispatch_(dispatch),
      presenter_(presenter),
      log_(log) {}

std::string InstalledComponents::administratorScript(std::string_view scriptPath) {
    const std::string command = "/bin/bash " + shellQuoted(scriptPath);
    return "do shell script " + appleScriptLiteral(command) + " with administrator privileges";
}

void InstalledComponents::bootstrapDragInstalledComponentsIfNeeded() {
    dispatch_.global(platform::QualityOfService::Utility).async([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->bootstrap();
        }
    });
}

void InstalledComponents::bootstrap() {
    // Helpers are installed only for the copy in /Applications, the one the login agent starts.
    if (standardizedPath(bundle_.bundlePath()) == kRequiredBundlePath && !helpersMatchInstalled() &&
        !installPrivilegedHelpersFromBundle()) {
        dispatch_.main().async([weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->reportSetupNotCompleted();
            }
        });
    }
    ensureFinderSyncRegistered();
}

bool InstalledComponents::helpersMatchInstalled() const {
    for (const auto& helper : kHelpers) {
        if (!bundledHelperMatchesInstalled(helper.resourceName, helper.installedPath)) {
            return false;
        }
    }
    return true;
}

bool InstalledComponents::bundledHelperMatchesInstalled(std::string_view resourceName,
                                                        std::string_view installedPath) const {
    const auto bundled = bundle_.resourcePath(resourceName, "");
    if (!bundled) {
        return false;
    }
    const auto bundledBytes = files_.readFile(*bundled);
    const auto installedBytes = files_.readFile(installedPath);
    return bundledBytes && installedBytes && *bundledBytes == *installedBytes;
}

bool InstalledComponents::installPrivilegedHelpersFromBundle() const {
    const auto script = bundle_.resourcePath(kSetupScriptName, kSetupScriptExtension);
    if (!script) {
        log_.write("embedded first-run setup script is missing");
        return false;
    }
    const auto status = runner_.exitStatus(kOsascript, {"-e", administratorScript(*script)});
    if (!status) {
        log_.write("helper installation failed to start: " + status.error().description);
        return false;
    }
    return *status == 0;
}

void InstalledComponents::reportSetupNotCompleted() {
    presenter_.runModal({ui::AlertStyle::Warning,
                         std::string(kSetupAlertMessage),
                         std::string(kSetupAlertText),
                         {{"OK"}},
                         nullptr});
}

void InstalledComponents::ensureFinderSyncRegistered() const {
    const std::string extension =
        bundle_.builtInPlugInsPath() + "/" + std::string(kFinderSyncBundleName);
    if (!files_.exists(extension)) {
        return;
    }
    const std::string identifier(kFinderSyncIdentifier);
    const auto known = runner_.processOutput(kPluginkit, {"-m", "-A", "-D", "-i", identifier});
    if (known.text.find(identifier) != std::string::npos) {
        runner_.runProcess(kPluginkit, {"-e", "use", "-i", identifier});
        return;
    }
    if (files_.isExecutable(kLsregister)) {
        runner_.runProcess(kLsregister, {"-f", bundle_.bundlePath()});
    }
    runner_.runProcess(kPluginkit, {"-a", extension});
    runner_.runProcess(kPluginkit, {"-e", "use", "-i", identifier});
    runner_.runProcess(kPkill, {"-x", std::string(kExtensionHostName)});
    runner_.runProcess(kKillall, {"Finder"});
}

}  // namespace parvel
