#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Defaults.h"

namespace parvel::sim {

// One change made through the defaults service: a value written, or a key removed.
struct DefaultsChange {
    std::string domain;
    std::string key;
    std::optional<platform::PlistValue> value;  // nothing for a removal
    friend bool operator==(const DefaultsChange&, const DefaultsChange&) = default;
};

// Passes every call on to another defaults service and records the changes, in order, for traces
// and tests. Writing the value a key already holds is still a change: the caller wrote it.
class RecordingDefaults final : public platform::Defaults {
  public:
    explicit RecordingDefaults(platform::Defaults& inner) : inner_(inner) {}

    std::optional<platform::PlistValue> object(std::string_view domain,
                                               std::string_view key) override;
    void set(std::string_view domain, std::string_view key, platform::PlistValue value) override;
    void remove(std::string_view domain, std::string_view key) override;
    platform::PlistDictionary snapshot(std::string_view domain) override;
    void flush() override;

    std::vector<DefaultsChange> changes() const;
    void clearChanges();
    // Called after each change, e.g. to print a trace line.
    void onChange(std::function<void(const DefaultsChange&)> observer);

  private:
    void record(DefaultsChange change);

    platform::Defaults& inner_;
    mutable std::mutex mutex_;
    std::vector<DefaultsChange> changes_;
    std::function<void(const DefaultsChange&)> observer_;
};

}  // namespace parvel::sim
