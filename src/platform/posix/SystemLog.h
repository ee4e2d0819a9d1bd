#pragma once

#include <cstdio>
#include <mutex>

#include <syslog.h>

#include "platform/Log.h"

namespace parvel::posix {

// Where the system log's lines go: a logger with syslog's signature, and a stream.
struct SystemLogOutputs {
    void (*logger)(int priority, const char* format, ...) = ::syslog;
    std::FILE* stream = stderr;
};

// Writes each line to the system log (syslog, user facility) and to standard error; tests give
// other outputs to see exactly what is written.
class SystemLog final : public platform::Log {
  public:
    explicit SystemLog(SystemLogOutputs outputs = {});
    ~SystemLog() override;
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    void write(std::string_view message) override;

  private:
    SystemLogOutputs outputs_;
    std::mutex mutex_;
};

}  // namespace parvel::posix
