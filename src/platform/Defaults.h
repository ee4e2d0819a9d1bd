#pragma once

#include <optional>
#include <string_view>

#include "platform/PlistValue.h"

namespace parvel::platform {

// The user-defaults service: typed key/value domains, the application's own
// ("com.tarnby.parvelmac") and other applications' ("com.apple.dock", "NSGlobalDomain"...).
// Safe to use from any thread; a write is visible to every later read at once.
class Defaults {
  public:
    virtual ~Defaults() = default;

    // The stored value, or nothing when the key is absent (tells absent from false or 0).
    virtual std::optional<PlistValue> object(std::string_view domain, std::string_view key) = 0;
    // Stores a value, replacing any value of any type.
    virtual void set(std::string_view domain, std::string_view key, PlistValue value) = 0;
    // Removes a key; removing an absent key does nothing.
    virtual void remove(std::string_view domain, std::string_view key) = 0;
    // Every key of a domain (empty for an unknown domain).
    virtual PlistDictionary snapshot(std::string_view domain) = 0;
    // Makes every write so far durable before it returns.
    virtual void flush() = 0;
};

}  // namespace parvel::platform
