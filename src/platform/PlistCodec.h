#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/Bytes.h"
#include "base/Error.h"
#include "platform/PlistValue.h"

namespace parvel::platform {

// Errors of the property-list codec carry this domain and one of the codes below.
inline constexpr std::string_view kPlistErrorDomain = "ParvelMac.Plist";

enum class PlistErrorCode : std::int64_t {
    // Empty, truncated or garbled bytes.
    Invalid = 1,
    // Well-formed, but holds something the other side cannot represent: a UID, an integer beyond
    // 64 bits, a string with a NUL or bad UTF-8, a date outside the range the writer can store.
    Unsupported = 2,
    // Nested deeper than kMaxPlistDepth, or expanding to more objects than is safe to build.
    TooComplex = 3,
};

// The most levels of nesting either direction accepts (a scalar root is one level). libplist
// parses and writes recursively, so this keeps it well inside a secondary thread's stack.
inline constexpr std::size_t kMaxPlistDepth = 256;

enum class PlistFormat { Binary, Xml };

// Serialises a value of any type as the root of a property list. Dates keep microseconds in the
// binary format; the XML format stores whole seconds, as every other writer of it does.
Result<Bytes> encodePlist(const PlistValue& root, PlistFormat format);
// The same for a dictionary at the root, without copying it into a PlistValue first.
Result<Bytes> encodePlist(const PlistDictionary& root, PlistFormat format);

// Reads a binary or XML property list. Never trusts the input: anything malformed is an error.
Result<PlistValue> decodePlist(const Bytes& bytes);

}  // namespace parvel::platform
