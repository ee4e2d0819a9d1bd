#include "platform/posix/SystemLog.h"

#include <cstdio>
#include <string>

#include <syslog.h>

namespace parvel::posix {

SystemLog::SystemLog() {
    openlog("ParvelMac", LOG_PID, LOG_USER);
}

SystemLog::~SystemLog() {
    closelog();
}

void SystemLog::write(std::string_view message) {
    const std::string line = std::string(platform::kLogPrefix) + std::string(message);
    std::scoped_lock lock(mutex_);
    syslog(LOG_NOTICE, "%s", line.c_str());
    std::fprintf(stderr, "%s\n", line.c_str());
}

}  // namespace parvel::posix
