#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/ProcessInfo.h"

namespace parvel::sim {

// The process facts of a launch on the simulated Mac: its arguments and environment, the user
// and their folders, the system version.
class SimProcessInfo final : public platform::ProcessInfo {
  public:
    SimProcessInfo(unsigned userId, std::string home) : userId_(userId), home_(std::move(home)) {}

    std::vector<std::string> arguments() const override { return arguments_; }
    std::optional<std::string> environmentValue(std::string_view name) const override;
    unsigned userId() const override { return userId_; }
    std::string homeDirectory() const override { return home_; }
    std::string temporaryDirectory() const override { return "/tmp"; }
    platform::OperatingSystemVersion operatingSystemVersion() const override { return version_; }

    void setArguments(std::vector<std::string> arguments) { arguments_ = std::move(arguments); }
    void setEnvironmentValue(std::string name, std::string value) {
        environment_[std::move(name)] = std::move(value);
    }
    void setOperatingSystemVersion(platform::OperatingSystemVersion version) { version_ = version; }

  private:
    unsigned userId_;
    std::string home_;
    std::vector<std::string> arguments_{"/Applications/ParvelMac.app/Contents/MacOS/ParvelMac"};
    std::map<std::string, std::string, std::less<>> environment_;
    platform::OperatingSystemVersion version_{15, 1, 0};
};

}  // namespace parvel::sim
