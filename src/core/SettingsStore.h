#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/SystemMode.h"
#include "platform/Defaults.h"

namespace parvel {

// The application's persisted settings: its own defaults domain, with the reading rules every
// feature relies on. Safe from any thread, like the defaults service beneath it.
//
// Plain reads give false, 0 or an empty value for an absent key and for a key that holds another
// type. Readers with a fallback (the *Or functions) accept the stored value only when it has the
// expected type, so a stray "yes" string under a Bool key reads as the fallback.
class SettingsStore {
  public:
    static constexpr std::string_view kDomain = "com.tarnby.parvelmac";

    explicit SettingsStore(platform::Defaults& defaults, std::string domain = std::string(kDomain));

    // Registers the defaults of every launch and, on the first launch of an account, the factory
    // settings. Runs before anything else reads a setting.
    void initializeDefaults();

    std::optional<platform::PlistValue> object(std::string_view key) const;
    bool contains(std::string_view key) const { return object(key).has_value(); }
    bool boolValue(std::string_view key) const;
    std::int64_t integer(std::string_view key) const;
    // Reals, and integers read as reals.
    double doubleValue(std::string_view key) const;
    std::string string(std::string_view key) const;
    Bytes data(std::string_view key) const;
    platform::PlistDictionary dictionary(std::string_view key) const;
    std::vector<std::string> stringArray(std::string_view key) const;
    std::optional<platform::PlistDate> date(std::string_view key) const;

    bool boolOr(std::string_view key, bool fallback) const;
    std::int64_t integerOr(std::string_view key, std::int64_t fallback) const;
    std::string stringOr(std::string_view key, std::string_view fallback) const;

    void set(std::string_view key, platform::PlistValue value);
    void remove(std::string_view key);
    // Makes every write so far durable.
    void flush();

    // The stored system mode; absent or unknown strings read as Normal.
    SystemMode systemMode() const;
    // The clipboard shortcut's modifier mask; absent or not an integer reads as Control+Shift.
    // A negative stored value is a fatal error, as the program never writes one.
    std::uint64_t clipboardShortcutFlags() const;
    // The clipboard shortcut's key code; absent or not an integer reads as 6 (Z).
    std::int64_t clipboardShortcutKeyCode() const;
    // The mixer shortcut's step in percent, 1...25; absent or not an integer reads as 5.
    std::int64_t audioMixerShortcutStep() const;

  private:
    platform::Defaults& defaults_;
    std::string domain_;
};

}  // namespace parvel
