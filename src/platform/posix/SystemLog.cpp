#include "platform/posix/SystemLog.h"

#include <string>

namespace parvel::posix {

SystemLog::SystemLog(SystemLogOutputs outputs) : outputs_(outputs) {
    openlog("ParvelMac", LOG_PID, LOG_USER);
}

SystemLog::~SystemLog() {
    closelog();
}

void SystemLog::write(std::string_view message) {
    const std::string line = std::string(platform::kLogPrefix) + std::string(message);
    std::scoped_lock lock(mutex_);
    outputs_.logger(LOG_NOTICE, "%s", line.c_str());
    std::fprintf(outputs_.stream, "%s\n", line.c_str());
}

}  // namespace parvel::posix
