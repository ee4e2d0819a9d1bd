#include "platform/PlistCodec.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <expected>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/plist/PlistCodecInternal.h"

// Reading goes through libplist, once the structure checks have passed; writing goes to the
// encoder or the binary writer.

namespace parvel::platform::plist {
namespace {

constexpr std::string_view kInvalidDescription = "The property list is not valid.";

std::string_view descriptionOf(PlistErrorCode code) {
    switch (code) {
        case PlistErrorCode::Invalid:
            return kInvalidDescription;
        case PlistErrorCode::Unsupported:
            return "The property list holds a value that cannot be represented.";
        case PlistErrorCode::TooComplex:
            return "The property list is nested too deeply or is too large.";
    }
    return kInvalidDescription;
}

}  // namespace

std::unexpected<Error> failure(PlistErrorCode code) {
    return std::unexpected(Error{std::string(kPlistErrorDomain), static_cast<std::int64_t>(code),
                                 std::string(descriptionOf(code))});
}

namespace {

// Any "bplist" header is read as binary, so another version fails instead of parsing as XML.
constexpr std::string_view kBinaryFamily = "bplist";
// Beyond this a double no longer holds every whole number of microseconds.
constexpr double kExactIntegerLimit = 0x1p53;

// Iterators and key strings handed out by libplist are plain malloc'd memory.
struct MallocDeleter {
    void operator()(void* memory) const { std::free(memory); }
};
using MallocedIterator = std::unique_ptr<void, MallocDeleter>;
using MallocedString = std::unique_ptr<char, MallocDeleter>;
using BinaryBuffer = std::unique_ptr<char, BufferDeleter<plist_to_bin_free>>;

Result<Node> parseBinary(ByteSpan file) {
    if (auto structure = checkBinaryStructure(file); !structure) {
        return std::unexpected(structure.error());
    }
    plist_t root = nullptr;
    plist_from_bin(asText(file).data(), static_cast<std::uint32_t>(file.size()), &root);
    if (root == nullptr) {
        return failure(PlistErrorCode::Invalid);
    }
    return Node(root);
}

Result<Node> parseXml(ByteSpan file) {
    const std::string_view text = asText(file);
    if (auto structure = checkXmlStructure(text); !structure) {
        return std::unexpected(structure.error());
    }
    plist_t root = nullptr;
    plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &root);
    if (root == nullptr) {
        return failure(PlistErrorCode::Invalid);
    }
    return Node(root);
}

// ---- Converting libplist's tree -------------------------------------------------------------

Result<PlistValue> toValue(plist_t node);

// libplist 2.2 hands a date out as truncated int32 seconds and an unsigned microsecond count,
// which loses the sign of dates within a second before 2001 and overflows past 2069. Its binary
// writer stores the exact double, so the date is read back from there: a lone date is the first
// object after the magic, a marker followed by a big-endian double.
Result<double> exactDateSeconds(plist_t node) {
    const Node copy(plist_copy(node));
    char* buffer = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(copy.get(), &buffer, &length);
    const BinaryBuffer owned(buffer);
    const ByteSpan bytes = asBytes(owned.get(), owned ? length : 0);
    const std::size_t valueStart = kBinaryMagic.size() + 1;
    if (bytes.size() < valueStart + sizeof(double) || bytes[kBinaryMagic.size()] != kDateMarker) {
        return failure(PlistErrorCode::Invalid);
    }
    return std::bit_cast<double>(readBigEndian(bytes.subspan(valueStart, sizeof(double))));
}

// Dates are kept to the microsecond, what the writer takes, so a date read back compares equal
// to the one written.
double roundedToMicroseconds(double seconds) {
    const double micros = seconds * static_cast<double>(kMicrosecondsPerSecond);
    if (!(std::abs(micros) < kExactIntegerLimit)) {
        return seconds;
    }
    return std::round(micros) / static_cast<double>(kMicrosecondsPerSecond);
}

Result<PlistValue> dateValue(plist_t node) {
    const auto seconds = exactDateSeconds(node);
    if (!seconds) {
        return std::unexpected(seconds.error());
    }
    return PlistValue(PlistDate{roundedToMicroseconds(*seconds)});
}

Result<PlistValue> stringValue(plist_t node) {
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    const std::string_view view(text, text == nullptr ? 0 : length);
    if (!isValidUtf8(view)) {
        return failure(PlistErrorCode::Invalid);
    }
    return PlistValue(view);
}

Result<PlistValue> dataValue(plist_t node) {
    std::uint64_t length = 0;
    const char* data = plist_get_data_ptr(node, &length);
    const ByteSpan bytes = asBytes(data, data == nullptr ? 0 : length);
    return PlistValue(Bytes(bytes.begin(), bytes.end()));
}

Result<PlistValue> arrayValue(plist_t node) {
    PlistArray array;
    array.reserve(plist_array_get_size(node));
    plist_array_iter rawIterator = nullptr;
    plist_array_new_iter(node, &rawIterator);
    const MallocedIterator iterator(rawIterator);
    for (;;) {
        plist_t item = nullptr;
        plist_array_next_item(node, iterator.get(), &item);
        if (item == nullptr) {
            break;
        }
        auto element = toValue(item);
        if (!element) {
            return element;
        }
        array.push_back(std::move(*element));
    }
    return PlistValue(std::move(array));
}

Result<PlistValue> dictionaryValue(plist_t node) {
    PlistDictionary dictionary;
    plist_dict_iter rawIterator = nullptr;
    plist_dict_new_iter(node, &rawIterator);
    const MallocedIterator iterator(rawIterator);
    for (;;) {
        char* rawKey = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator.get(), &rawKey, &item);
        const MallocedString key(rawKey);
        if (item == nullptr) {
            break;
        }
        if (!key || !isValidUtf8(key.get())) {
            return failure(PlistErrorCode::Invalid);
        }
        auto element = toValue(item);
        if (!element) {
            return element;
        }
        dictionary.insert_or_assign(std::string(key.get()), std::move(*element));
    }
    return PlistValue(std::move(dictionary));
}

Result<PlistValue> toValue(plist_t node) {
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            std::uint8_t flag = 0;
            plist_get_bool_val(node, &flag);
            return PlistValue(flag != 0);
        }
        case PLIST_UINT: {
            // Both readers refuse integers beyond the signed 64-bit range before this point,
            // so the unsigned bits are the two's complement of the value.
            std::uint64_t number = 0;
            plist_get_uint_val(node, &number);
            return PlistValue(static_cast<std::int64_t>(number));
        }
        case PLIST_REAL: {
            double number = 0;
            plist_get_real_val(node, &number);
            return PlistValue(number);
        }
        case PLIST_STRING:
            return stringValue(node);
        case PLIST_DATE:
            return dateValue(node);
        case PLIST_DATA:
            return dataValue(node);
        case PLIST_ARRAY:
            return arrayValue(node);
        case PLIST_DICT:
            return dictionaryValue(node);
        case PLIST_KEY:
        case PLIST_UID:
        case PLIST_NONE:
            break;
    }
    return failure(PlistErrorCode::Unsupported);
}

Result<PlistValue> decode(ByteSpan file) {
    const auto root = asText(file).starts_with(kBinaryFamily) ? parseBinary(file) : parseXml(file);
    if (!root) {
        return std::unexpected(root.error());
    }
    return toValue(root->get());
}

}  // namespace
}  // namespace parvel::platform::plist

namespace parvel::platform {

Result<Bytes> encodePlist(const PlistValue& root, PlistFormat format) {
    if (format == PlistFormat::Binary) {
        return plist::writeBinary(root);
    }
    return plist::encodeXml(root);
}

Result<Bytes> encodePlist(const PlistDictionary& root, PlistFormat format) {
    if (format == PlistFormat::Binary) {
        return plist::writeBinary(root);
    }
    return plist::encodeXml(root);
}

Result<PlistValue> decodePlist(const Bytes& bytes) {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
        return plist::failure(PlistErrorCode::TooComplex);
    }
    return plist::decode(plist::ByteSpan(bytes));
}

}  // namespace parvel::platform
