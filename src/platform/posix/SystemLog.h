#pragma once

#include <mutex>

#include "platform/Log.h"

namespace parvel::posix {

// Writes each line to the system log (syslog, user facility) and to standard error.
class SystemLog final : public platform::Log {
  public:
    SystemLog();
    ~SystemLog() override;
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    void write(std::string_view message) override;

  private:
    std::mutex mutex_;
};

}  // namespace parvel::posix
