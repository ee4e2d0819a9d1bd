#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"

namespace parvel::posix {

// The services that are real on this Unix host: dispatch on threads, randomness seeded from the
// system, preferences as plist files in a folder of the caller's choosing, processes and process
// facts, the file system, HTTPS, the desktop's Secret Service and the system log. Owns them;
// platform() lends them out. Services only a Mac has stay null.
class HostPlatform {
  public:
    explicit HostPlatform(std::string preferencesDirectory);
    ~HostPlatform();
    HostPlatform(const HostPlatform&) = delete;
    HostPlatform& operator=(const HostPlatform&) = delete;

    const platform::Platform& platform() const { return platform_; }

  private:
    struct Services;
    std::unique_ptr<Services> services_;
    platform::Platform platform_;
};

}  // namespace parvel::posix
