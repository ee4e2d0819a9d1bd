#pragma once

#include <map>
#include <mutex>
#include <string>

#include "platform/Defaults.h"

namespace parvel::sim {

// The simulated Mac's user defaults: every domain in memory, nothing on disk.
class MemoryDefaults final : public platform::Defaults {
  public:
    std::optional<platform::PlistValue> object(std::string_view domain,
                                               std::string_view key) override;
    void set(std::string_view domain, std::string_view key, platform::PlistValue value) override;
    void remove(std::string_view domain, std::string_view key) override;
    platform::PlistDictionary snapshot(std::string_view domain) override;
    void flush() override;

    // How many times flush() was called, so tests can tell that code made its writes durable.
    int flushCount() const;

  private:
    mutable std::mutex mutex_;
    std::map<std::string, platform::PlistDictionary, std::less<>> domains_;
    int flushCount_ = 0;
};

}  // namespace parvel::sim
