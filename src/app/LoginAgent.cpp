#include "app/LoginAgent.h"

#include <fmt/format.h>

#include "core/SettingsKeys.h"
#include "platform/PlistCodec.h"
#include "ui/Alert.h"

namespace parvel {

namespace {

constexpr std::string_view kLaunchctl = "/bin/launchctl";
constexpr std::string_view kLaunchAgentsFolder = "/Library/LaunchAgents";
constexpr std::string_view kInstalledApplication = "/Applications/ParvelMac.app";
constexpr std::string_view kAlertMessage = "Could not enable Start at Login";
constexpr std::string_view kAlertAdvice =
    "\n\nYou can also review this under System Settings \u2192 General \u2192 Login Items.";

}  // namespace

LoginAgent::LoginAgent(SettingsStore& settings, const ProcessRunner& runner,
                       platform::FileSystem& files, const platform::ProcessInfo& processInfo,
                       platform::Log& log, platform::Presenter& presenter)
    : settings_(settings),
      runner_(runner),
      files_(files),
      processInfo_(processInfo),
      log_(log),
      presenter_(presenter) {}

platform::PlistDictionary LoginAgent::propertyList() {
    return {{"Label", std::string(kLabel)},
            {"ProgramArguments", platform::PlistValue::stringArray(
                                     {"/usr/bin/open", "-gja", std::string(kInstalledApplication),
                                      "--args", "--background"})},
            {"RunAtLoad", true},
            {"LimitLoadToSessionType", "Aqua"},
            {"ProcessType", "Interactive"}};
}

std::string LoginAgent::agentPlistPath() const {
    return fmt::format("{}{}/{}.plist", processInfo_.homeDirectory(), kLaunchAgentsFolder, kLabel);
}

std::string LoginAgent::retiredPlistPath() const {
    return fmt::format("{}{}/{}.plist", processInfo_.homeDirectory(), kLaunchAgentsFolder,
                       kRetiredLabel);
}

std::string LoginAgent::userDomain() const {
    return fmt::format("gui/{}", processInfo_.userId());
}

std::string LoginAgent::serviceTarget(std::string_view label) const {
    return fmt::format("{}/{}", userDomain(), label);
}

void LoginAgent::runLaunchctl(const ProcessRunner::Arguments& arguments) const {
    runner_.runProcess(kLaunchctl, arguments);
}

Result<void> LoginAgent::installUserLaunchAgent() {
    const std::string folder = processInfo_.homeDirectory() + std::string(kLaunchAgentsFolder);
    if (auto created = files_.createDirectories(folder); !created) {
        return std::unexpected(created.error());
    }
    const auto contents =
        platform::encodePlist(platform::PlistValue(propertyList()), platform::PlistFormat::Xml);
    if (!contents) {
        return std::unexpected(contents.error());
    }
    if (auto written = files_.writeFileAtomically(agentPlistPath(), *contents); !written) {
        return std::unexpected(written.error());
    }
    runLaunchctl({"bootout", serviceTarget(kRetiredLabel)});
    // Usually there is no retired agent to remove; one that stays is booted out all the same.
    (void)files_.removeItem(retiredPlistPath());
    runLaunchctl({"bootout", userDomain(), agentPlistPath()});
    auto status = bootstrapAgent();
    if (status && *status != 0) {
        // launchd refuses to load a label the user switched off earlier (its disabled override
        // outlives the agent), so lift the override and try once more.
        runLaunchctl({"enable", serviceTarget(kLabel)});
        status = bootstrapAgent();
    }
    if (!status) {
        return std::unexpected(status.error());
    }
    if (*status != 0) {
        return std::unexpected(
            Error{std::string(kErrorDomain), *status, std::string(kRegistrationFailed)});
    }
    runLaunchctl({"enable", serviceTarget(kLabel)});
    return {};
}

Result<int> LoginAgent::bootstrapAgent() const {
    return runner_.exitStatus(kLaunchctl, {"bootstrap", userDomain(), agentPlistPath()});
}

void LoginAgent::removeUserLaunchAgent() {
    runLaunchctl({"bootout", userDomain(), agentPlistPath()});
    runLaunchctl({"disable", serviceTarget(kLabel)});
    runLaunchctl({"bootout", serviceTarget(kRetiredLabel)});
    // The agents are booted out and disabled above, so a file that cannot be removed (or was
    // never there) no longer starts anything.
    (void)files_.removeItem(agentPlistPath());
    (void)files_.removeItem(retiredPlistPath());
}

void LoginAgent::configureStartAtLoginIfNeeded() {
    if (!settings_.boolOr(settings_keys::startAtLoginEnabledKey, true)) {
        removeUserLaunchAgent();
        return;
    }
    if (const auto installed = installUserLaunchAgent(); !installed) {
        log_.write("unable to register background login agent: " + installed.error().description);
    }
}

void LoginAgent::setStartAtLogin(bool enabled) {
    settings_.set(settings_keys::startAtLoginEnabledKey, enabled);
    if (!enabled) {
        removeUserLaunchAgent();
        return;
    }
    if (const auto installed = installUserLaunchAgent(); !installed) {
        presenter_.runModal({ui::AlertStyle::Warning,
                             std::string(kAlertMessage),
                             installed.error().description + std::string(kAlertAdvice),
                             {{"OK"}},
                             nullptr});
    }
}

}  // namespace parvel
