#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/Bytes.h"

namespace parvel::platform {

// A date as property lists store it: seconds since 2001-01-01 00:00:00 UTC.
struct PlistDate {
    double secondsSinceReferenceDate = 0;
    friend auto operator<=>(const PlistDate&, const PlistDate&) = default;
};

// The type of a stored value, as a raw-object read reports it.
enum class PlistType { Bool, Integer, Real, String, Date, Data, Array, Dictionary };

std::string_view describe(PlistType type);

class PlistValue;
using PlistArray = std::vector<PlistValue>;
using PlistDictionary = std::map<std::string, PlistValue, std::less<>>;

// A property-list value: what a defaults domain, a .plist file or a Core Audio description holds.
class PlistValue {
  public:
    using Storage = std::variant<bool, std::int64_t, double, std::string, PlistDate, Bytes,
                                 PlistArray, PlistDictionary>;

    PlistValue(bool value) : storage_(value) {}
    PlistValue(int value) : storage_(std::int64_t{value}) {}
    PlistValue(std::int64_t value) : storage_(value) {}
    PlistValue(double value) : storage_(value) {}
    PlistValue(const char* value) : storage_(std::string(value)) {}
    PlistValue(std::string value) : storage_(std::move(value)) {}
    PlistValue(std::string_view value) : storage_(std::string(value)) {}
    PlistValue(PlistDate value) : storage_(value) {}
    PlistValue(Bytes value) : storage_(std::move(value)) {}
    PlistValue(PlistArray value) : storage_(std::move(value)) {}
    PlistValue(PlistDictionary value) : storage_(std::move(value)) {}
    // A string array (the "string array" of the settings store).
    static PlistValue stringArray(const std::vector<std::string>& strings);

    PlistType type() const { return static_cast<PlistType>(storage_.index()); }
    const Storage& storage() const { return storage_; }

    // Typed views: the value when it has exactly that type, otherwise nothing.
    std::optional<bool> asBool() const { return get<bool>(); }
    std::optional<std::int64_t> asInteger() const { return get<std::int64_t>(); }
    // Reals, and integers widened to a real (a plist written by another tool may use either).
    std::optional<double> asNumber() const;
    std::optional<std::string> asString() const { return get<std::string>(); }
    std::optional<PlistDate> asDate() const { return get<PlistDate>(); }
    const Bytes* asData() const { return std::get_if<Bytes>(&storage_); }
    const PlistArray* asArray() const { return std::get_if<PlistArray>(&storage_); }
    const PlistDictionary* asDictionary() const { return std::get_if<PlistDictionary>(&storage_); }
    // The strings of an array made only of strings.
    std::optional<std::vector<std::string>> asStringArray() const;

    friend bool operator==(const PlistValue&, const PlistValue&) = default;

  private:
    template <typename T>
    std::optional<T> get() const {
        if (const T* value = std::get_if<T>(&storage_)) {
            return *value;
        }
        return std::nullopt;
    }

    Storage storage_;
};

// A readable one-line rendering for traces and test failures ("true", "20", "\"Normal\"", ...).
std::string describe(const PlistValue& value);

}  // namespace parvel::platform
