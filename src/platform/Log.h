#pragma once

#include <string_view>

namespace parvel::platform {

// Every diagnostic line starts with this.
inline constexpr std::string_view kLogPrefix = "ParvelMac: ";

// The system log. Adapters write kLogPrefix followed by the message as one line.
class Log {
  public:
    virtual ~Log() = default;
    virtual void write(std::string_view message) = 0;
};

}  // namespace parvel::platform
