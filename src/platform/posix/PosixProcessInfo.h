#pragma once

#include "platform/ProcessInfo.h"

namespace parvel::posix {

// Facts about this process from the host: /proc for the arguments, the environment, the password
// database for a home folder when HOME is unset, and the kernel's release as the OS version.
class PosixProcessInfo final : public platform::ProcessInfo {
  public:
    std::vector<std::string> arguments() const override;
    std::optional<std::string> environmentValue(std::string_view name) const override;
    unsigned userId() const override;
    std::string homeDirectory() const override;
    std::string temporaryDirectory() const override;
    // "6.1.0-18-amd64" reads as 6.1.0.
    platform::OperatingSystemVersion operatingSystemVersion() const override;
};

}  // namespace parvel::posix
