#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace parvel::platform {

struct OperatingSystemVersion {
    int major = 0;
    int minor = 0;
    int patch = 0;
    friend auto operator<=>(const OperatingSystemVersion&, const OperatingSystemVersion&) = default;
};

// Facts about this process and its user (NSProcessInfo, getuid, NSHomeDirectory).
class ProcessInfo {
  public:
    virtual ~ProcessInfo() = default;

    // The command-line arguments, the program path first.
    virtual std::vector<std::string> arguments() const = 0;
    // An environment variable, if set.
    virtual std::optional<std::string> environmentValue(std::string_view name) const = 0;
    // The user id, written in decimal in "gui/<uid>".
    virtual unsigned userId() const = 0;
    // The user's home folder.
    virtual std::string homeDirectory() const = 0;
    // The per-user temporary folder.
    virtual std::string temporaryDirectory() const = 0;
    virtual OperatingSystemVersion operatingSystemVersion() const = 0;
};

}  // namespace parvel::platform
