#pragma once

// The parts of the property-list codec and what they share. Only the codec's own files include
// this; everything else uses platform/PlistCodec.h.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include <plist/plist.h>

#include "base/Bytes.h"
#include "base/Error.h"
#include "base/Utf8.h"
#include "platform/PlistCodec.h"
#include "platform/PlistValue.h"

namespace parvel::platform::plist {

using ByteSpan = std::span<const std::uint8_t>;

inline constexpr std::string_view kBinaryMagic = "bplist00";

// Binary layout: a trailer of 6 unused bytes, the offset and reference widths, then three
// big-endian 64-bit fields; objects start with a marker whose high nibble is their kind.
inline constexpr std::size_t kTrailerSize = 32;
inline constexpr std::size_t kOffsetSizeField = 6;
inline constexpr std::size_t kReferenceSizeField = 7;
inline constexpr std::size_t kObjectCountField = 8;
inline constexpr std::size_t kTopObjectField = 16;
inline constexpr std::size_t kOffsetTableField = 24;
inline constexpr std::size_t kWideField = 8;
inline constexpr std::uint8_t kIntegerKind = 0x1;
inline constexpr std::uint8_t kAsciiStringKind = 0x5;
inline constexpr std::uint8_t kUtf16StringKind = 0x6;
inline constexpr std::uint8_t kArrayKind = 0xA;
inline constexpr std::uint8_t kSetKind = 0xC;
inline constexpr std::uint8_t kDictionaryKind = 0xD;
inline constexpr std::uint8_t kExtendedCount = 0xF;
inline constexpr std::uint8_t kDateMarker = 0x33;
inline constexpr std::uint16_t kHighSurrogateFirst = 0xD800;
inline constexpr std::uint16_t kLowSurrogateFirst = 0xDC00;
inline constexpr std::uint16_t kSurrogateEnd = 0xE000;

inline constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
// libplist 2.2 takes a date as int32 seconds since 2001 (1933 to 2069).
inline constexpr double kDateSecondsLimit = 2147483648.0;

// The codec's error with this code, its domain and its description.
std::unexpected<Error> failure(PlistErrorCode code);

struct NodeDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

// For the buffers libplist's writers hand out, each with its own release function.
template <auto Release>
struct BufferDeleter {
    void operator()(char* buffer) const { Release(buffer); }
};

inline std::string_view asText(ByteSpan bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline ByteSpan asBytes(const char* buffer, std::size_t length) {
    return {reinterpret_cast<const std::uint8_t*>(buffer), length};
}

inline std::uint64_t readBigEndian(ByteSpan bytes) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes) {
        value = (value << 8) | byte;
    }
    return value;
}

// libplist copies strings as C strings, so a NUL would silently cut the text short.
inline bool isStorableText(std::string_view text) {
    return text.find('\0') == std::string_view::npos && isValidUtf8(text);
}

struct DateParts {
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
};

// A date as whole seconds and microseconds since 2001; nothing outside the range libplist takes.
inline std::optional<DateParts> splitDate(PlistDate date) {
    const double seconds = date.secondsSinceReferenceDate;
    if (!(std::abs(seconds) < kDateSecondsLimit)) {
        return std::nullopt;
    }
    const std::int64_t micros = std::llround(seconds * static_cast<double>(kMicrosecondsPerSecond));
    const std::int64_t whole = micros / kMicrosecondsPerSecond;
    if (!std::in_range<std::int32_t>(whole)) {
        return std::nullopt;
    }
    return DateParts{static_cast<std::int32_t>(whole),
                     static_cast<std::int32_t>(micros % kMicrosecondsPerSecond)};
}

// XML through libplist's tree (XmlPlistEncoder.cpp).
Result<Bytes> encodeXml(const PlistValue& root);
Result<Bytes> encodeXml(const PlistDictionary& root);

// Binary with a writer of our own (BinaryPlistWriter.cpp).
Result<Bytes> writeBinary(const PlistValue& root);
Result<Bytes> writeBinary(const PlistDictionary& root);

// What libplist's readers would misread or recurse on without a limit, rejected before they
// run (BinaryPlistStructure.cpp, XmlPlistStructure.cpp).
Result<void> checkBinaryStructure(ByteSpan file);
Result<void> checkXmlStructure(std::string_view text);

}  // namespace parvel::platform::plist
