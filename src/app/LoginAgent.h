#pragma once

#include <string>

#include "base/Error.h"
#include "core/ProcessRunner.h"
#include "core/SettingsStore.h"
#include "platform/FileSystem.h"
#include "platform/Log.h"
#include "platform/PlistValue.h"
#include "platform/Presenter.h"
#include "platform/ProcessInfo.h"

namespace parvel {

// Start at Login: a per-user launch agent that opens the copy of ParvelMac in /Applications
// silently ("--background") when the user logs in, and the retired agent of older versions that is
// always removed. Every interactive launch re-installs or removes the agent according to
// "startAtLoginEnabled", which repairs an agent the user removed by hand while the setting is on.
class LoginAgent {
  public:
    static constexpr std::string_view kLabel = "com.tarnby.parvelmac.login";
    static constexpr std::string_view kRetiredLabel = "com.tarnby.parvelmac.background";
    static constexpr std::string_view kErrorDomain = "ParvelMac.Login";
    static constexpr std::string_view kRegistrationFailed =
        "macOS could not register the ParvelMac login agent.";

    LoginAgent(SettingsStore& settings, const ProcessRunner& runner, platform::FileSystem& files,
               const platform::ProcessInfo& processInfo, platform::Log& log,
               platform::Presenter& presenter);

    // Writes the agent's property list and loads it into the user's launchd domain, lifting a
    // "disable" left by an earlier removal when launchd refuses to load it.
    Result<void> installUserLaunchAgent();
    // Unloads and deletes the agent and the retired one; never fails.
    void removeUserLaunchAgent();
    // At each interactive launch: install unless "startAtLoginEnabled" is stored as false.
    void configureStartAtLoginIfNeeded();
    // The settings window's switch: stores the choice, then installs (with an alert on failure)
    // or removes the agent. Blocks the calling thread while launchctl runs.
    void setStartAtLogin(bool enabled);

    // The agent's property list: exactly five keys.
    static platform::PlistDictionary propertyList();
    std::string agentPlistPath() const;
    std::string retiredPlistPath() const;
    // "gui/501", and "gui/501/<label>" for a service in it.
    std::string userDomain() const;
    std::string serviceTarget(std::string_view label) const;

  private:
    void runLaunchctl(const ProcessRunner::Arguments& arguments) const;
    Result<int> bootstrapAgent() const;

    SettingsStore& settings_;
    const ProcessRunner& runner_;
    platform::FileSystem& files_;
    const platform::ProcessInfo& processInfo_;
    platform::Log& log_;
    platform::Presenter& presenter_;
};

}  // namespace parvel
