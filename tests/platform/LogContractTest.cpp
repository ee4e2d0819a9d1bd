#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/LogContract.h"
#include "platform/posix/SystemLog.h"
#include "platform/sim/MemoryLog.h"
#include "platform/sim/Trace.h"
#include "platform/sim/TracingLog.h"
#include "platform/sim/VirtualDispatch.h"

namespace parvel::contract {
namespace {

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const auto end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        start = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

// What the system logger was handed, formatted as syslog formats it.
struct LoggerRecord {
    std::mutex mutex;
    std::vector<std::string> lines;
};

LoggerRecord& loggerRecord() {
    static LoggerRecord record;
    return record;
}

__attribute__((format(printf, 2, 3))) void recordLogger(int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string line(static_cast<std::size_t>(std::max(length, 0)), '\0');
    std::vsnprintf(line.data(), line.size() + 1, format, again);
    va_end(again);
    va_end(arguments);
    auto& record = loggerRecord();
    std::scoped_lock lock(record.mutex);
    record.lines.push_back(std::move(line));
}

// A stream into memory (open_memstream), closed and freed when it goes.
class MemoryStream {
  public:
    MemoryStream() : file_(::open_memstream(&buffer_, &size_)) {
        if (file_ == nullptr) {
            throw std::runtime_error("open_memstream failed");
        }
    }
    ~MemoryStream() {
        std::fclose(file_);
        std::free(buffer_);
    }
    MemoryStream(const MemoryStream&) = delete;
    MemoryStream& operator=(const MemoryStream&) = delete;

    std::FILE* file() const { return file_; }
    std::string contents() {
        std::fflush(file_);
        return std::string(buffer_, size_);
    }

  private:
    char* buffer_ = nullptr;
    std::size_t size_ = 0;
    std::FILE* file_;
};

class SystemLogFactory {
  public:
    SystemLogFactory() {
        std::scoped_lock lock(loggerRecord().mutex);
        loggerRecord().lines.clear();
    }

    platform::Log& log() { return log_; }
    std::vector<std::vector<std::string>> outputs() {
        std::scoped_lock lock(loggerRecord().mutex);
        return {loggerRecord().lines, linesOf(stream_.contents())};
    }

  private:
    MemoryStream stream_;
    posix::SystemLog log_{{&recordLogger, stream_.file()}};
};

class MemoryLogFactory {
  public:
    platform::Log& log() { return log_; }
    std::vector<std::vector<std::string>> outputs() const { return {log_.lines()}; }

  private:
    sim::MemoryLog log_;
};

class TracingLogFactory {
  public:
    platform::Log& log() { return log_; }
    std::vector<std::vector<std::string>> outputs() const {
        return {log_.lines().lines(), trace_.texts("log")};
    }

  private:
    sim::VirtualDispatch clock_;
    sim::Trace trace_{clock_};
    sim::TracingLog log_{trace_};
};

using Factories = testing::Types<SystemLogFactory, MemoryLogFactory, TracingLogFactory>;
INSTANTIATE_TYPED_TEST_SUITE_P(Adapters, LogContract, Factories);

}  // namespace
}  // namespace parvel::contract
