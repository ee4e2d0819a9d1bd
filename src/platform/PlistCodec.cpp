#include "platform/PlistCodec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <plist/plist.h>

#include "base/Utf8.h"

namespace parvel::platform {
namespace {

using ByteSpan = std::span<const std::uint8_t>;

constexpr std::string_view kBinaryMagic = "bplist00";
// Any "bplist" header is read as binary, so another version fails instead of parsing as XML.
constexpr std::string_view kBinaryFamily = "bplist";
// libplist copies an object once for every reference to it, so a small binary file whose objects
// share children can expand exponentially; this caps the tree it may build.
constexpr std::uint64_t kMaxExpandedObjects = 1'000'000;

// Binary layout: a trailer of 6 unused bytes, the offset and reference widths, then three
// big-endian 64-bit fields; objects start with a marker whose high nibble is their kind.
constexpr std::size_t kTrailerSize = 32;
constexpr std::size_t kOffsetSizeField = 6;
constexpr std::size_t kReferenceSizeField = 7;
constexpr std::size_t kObjectCountField = 8;
constexpr std::size_t kTopObjectField = 16;
constexpr std::size_t kOffsetTableField = 24;
constexpr std::size_t kWideField = 8;
constexpr std::uint8_t kIntegerKind = 0x1;
constexpr std::uint8_t kAsciiStringKind = 0x5;
constexpr std::uint8_t kUtf16StringKind = 0x6;
constexpr std::uint8_t kArrayKind = 0xA;
constexpr std::uint8_t kSetKind = 0xC;
constexpr std::uint8_t kDictionaryKind = 0xD;
constexpr std::uint8_t kExtendedCount = 0xF;
constexpr std::uint8_t kLargestCountWidthLog2 = 3;
constexpr std::uint8_t kSixteenByteIntegerLog2 = 4;
constexpr std::uint8_t kDateMarker = 0x33;
constexpr std::uint16_t kHighSurrogateFirst = 0xD800;
constexpr std::uint16_t kLowSurrogateFirst = 0xDC00;
constexpr std::uint16_t kSurrogateEnd = 0xE000;

constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
// libplist 2.2 takes a date as int32 seconds since 2001 (1933 to 2069).
constexpr double kDateSecondsLimit = 2147483648.0;
// Beyond this a double no longer holds every whole number of microseconds.
constexpr double kExactIntegerLimit = 0x1p53;

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

std::unexpected<Error> failure(PlistErrorCode code) {
    return std::unexpected(Error{std::string(kPlistErrorDomain), static_cast<std::int64_t>(code),
                                 std::string(descriptionOf(code))});
}

struct NodeDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

// Iterators and key strings handed out by libplist are plain malloc'd memory.
struct MallocDeleter {
    void operator()(void* memory) const { std::free(memory); }
};
using MallocedIterator = std::unique_ptr<void, MallocDeleter>;
using MallocedString = std::unique_ptr<char, MallocDeleter>;

template <auto Release>
struct BufferDeleter {
    void operator()(char* buffer) const { Release(buffer); }
};
using BinaryBuffer = std::unique_ptr<char, BufferDeleter<plist_to_bin_free>>;
using XmlBuffer = std::unique_ptr<char, BufferDeleter<plist_to_xml_free>>;

std::string_view asText(ByteSpan bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

ByteSpan asBytes(const char* buffer, std::size_t length) {
    return {reinterpret_cast<const std::uint8_t*>(buffer), length};
}

std::uint64_t readBigEndian(ByteSpan bytes) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes) {
        value = (value << 8) | byte;
    }
    return value;
}

// ---- Encoding ------------------------------------------------------------------------------

// libplist copies strings as C strings, so a NUL would silently cut the text short.
bool isStorableText(std::string_view text) {
    return text.find('\0') == std::string_view::npos && isValidUtf8(text);
}

struct DateParts {
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
};

std::optional<DateParts> splitDate(PlistDate date) {
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

Result<Node> buildNode(const PlistValue& value, std::size_t level, PlistFormat format);

class NodeBuilder {
  public:
    NodeBuilder(std::size_t level, PlistFormat format) : level_(level), format_(format) {}

    Result<Node> operator()(bool flag) const {
        return Node(plist_new_bool(static_cast<std::uint8_t>(flag)));
    }
    // A negative number goes in as its two's complement: libplist writes it as a signed 8-byte
    // binary integer and as "-5" in XML, which every reader takes back as negative.
    Result<Node> operator()(std::int64_t number) const {
        return Node(plist_new_uint(static_cast<std::uint64_t>(number)));
    }
    Result<Node> operator()(double number) const { return Node(plist_new_real(number)); }
    Result<Node> operator()(const std::string& text) const {
        if (!isStorableText(text)) {
            return failure(PlistErrorCode::Unsupported);
        }
        return Node(plist_new_string(text.c_str()));
    }
    Result<Node> operator()(PlistDate date) const {
        // XML holds whole seconds, and libplist would truncate toward 2001, putting a date
        // before 2001 a second late; the calendar second is the one the date falls in.
        if (format_ == PlistFormat::Xml) {
            date.secondsSinceReferenceDate = std::floor(date.secondsSinceReferenceDate);
        }
        const auto parts = splitDate(date);
        if (!parts) {
            return failure(PlistErrorCode::Unsupported);
        }
        return Node(plist_new_date(parts->seconds, parts->microseconds));
    }
    Result<Node> operator()(const Bytes& data) const {
        return Node(plist_new_data(reinterpret_cast<const char*>(data.data()), data.size()));
    }
    Result<Node> operator()(const PlistArray& array) const {
        Node node(plist_new_array());
        for (const auto& element : array) {
            auto child = buildNode(element, level_ + 1, format_);
            if (!child) {
                return child;
            }
            plist_array_append_item(node.get(), child->release());
        }
        return node;
    }
    Result<Node> operator()(const PlistDictionary& dictionary) const {
        Node node(plist_new_dict());
        for (const auto& [key, element] : dictionary) {
            if (!isStorableText(key)) {
                return failure(PlistErrorCode::Unsupported);
            }
            auto child = buildNode(element, level_ + 1, format_);
            if (!child) {
                return child;
            }
            plist_dict_set_item(node.get(), key.c_str(), child->release());
        }
        return node;
    }

  private:
    std::size_t level_;
    PlistFormat format_;
};

Result<Node> buildNode(const PlistValue& value, std::size_t level, PlistFormat format) {
    if (level > kMaxPlistDepth) {
        return failure(PlistErrorCode::TooComplex);
    }
    return std::visit(NodeBuilder(level, format), value.storage());
}

template <typename Buffer>
Result<Bytes> takeBuffer(char* buffer, std::uint32_t length) {
    const Buffer owned(buffer);
    if (!owned) {
        return failure(PlistErrorCode::Unsupported);
    }
    const ByteSpan bytes = asBytes(owned.get(), length);
    return Bytes(bytes.begin(), bytes.end());
}

// ---- Writing the binary format -------------------------------------------------------------
//
// Our own writer: libplist hashes every value to share equal objects, which makes a large data
// value (the clipboard history, megabytes of it) many times slower to store than to write.
// Objects are numbered depth first from the root and each is written once, in that order.

constexpr std::uint8_t kFalseMarker = 0x08;
constexpr std::uint8_t kTrueMarker = 0x09;
constexpr std::uint8_t kRealMarker = 0x23;
constexpr std::uint8_t kDataKind = 0x4;

class BinaryPlistWriter {
  public:
    Result<Bytes> write(const PlistValue& root) {
        if (auto flattened = flatten(root, 1); !flattened) {
            return std::unexpected(flattened.error());
        }
        return finish();
    }
    Result<Bytes> write(const PlistDictionary& root) {
        if (auto flattened = flattenDictionary(root, 1); !flattened) {
            return std::unexpected(flattened.error());
        }
        return finish();
    }

  private:
    // A dictionary (the root one need not be a PlistValue), a dictionary key, or any other
    // value, with the objects it refers to.
    struct Object {
        enum class Type { value, key, dictionary };
        Type type = Type::value;
        const PlistValue* value = nullptr;
        std::string_view key;
        std::vector<std::size_t> references;
    };

    Result<std::size_t> flatten(const PlistValue& value, std::size_t level) {
        if (level > kMaxPlistDepth) {
            return failure(PlistErrorCode::TooComplex);
        }
        if (const auto* dictionary = value.asDictionary()) {
            return flattenDictionary(*dictionary, level);
        }
        const std::size_t index = objects_.size();
        objects_.push_back({Object::Type::value, &value, {}, {}});
        if (const auto* array = value.asArray()) {
            std::vector<std::size_t> references;
            for (const auto& element : *array) {
                const auto child = flatten(element, level + 1);
                if (!child) {
                    return child;
                }
                references.push_back(*child);
            }
            objects_[index].references = std::move(references);
        }
        return index;
    }

    Result<std::size_t> flattenDictionary(const PlistDictionary& dictionary, std::size_t level) {
        if (level > kMaxPlistDepth) {
            return failure(PlistErrorCode::TooComplex);
        }
        const std::size_t index = objects_.size();
        objects_.push_back({Object::Type::dictionary, nullptr, {}, {}});
        std::vector<std::size_t> keys;
        std::vector<std::size_t> values;
        for (const auto& [key, element] : dictionary) {
            if (!isStorableText(key)) {
                return failure(PlistErrorCode::Unsupported);
            }
            keys.push_back(objects_.size());
            objects_.push_back({Object::Type::key, nullptr, key, {}});
            const auto child = flatten(element, level + 1);
            if (!child) {
                return child;
            }
            values.push_back(*child);
        }
        keys.insert(keys.end(), values.begin(), values.end());
        objects_[index].references = std::move(keys);
        return index;
    }

    Result<Bytes> finish() {
        referenceWidth_ = widthFor(objects_.size());
        out_.reserve(estimatedSize());
        out_.insert(out_.end(), kBinaryMagic.begin(), kBinaryMagic.end());
        std::vector<std::uint64_t> offsets;
        offsets.reserve(objects_.size());
        for (const auto& object : objects_) {
            offsets.push_back(out_.size());
            if (auto written = writeObject(object); !written) {
                return std::unexpected(written.error());
            }
        }
        const std::uint64_t tableOffset = out_.size();
        const std::uint8_t offsetWidth = widthFor(tableOffset);
        for (const std::uint64_t offset : offsets) {
            appendBigEndian(offset, offsetWidth);
        }
        out_.insert(out_.end(), kOffsetSizeField, 0);
        out_.push_back(offsetWidth);
        out_.push_back(referenceWidth_);
        appendBigEndian(objects_.size(), kWideField);
        appendBigEndian(0, kWideField);
        appendBigEndian(tableOffset, kWideField);
        return std::move(out_);
    }

    std::size_t estimatedSize() const {
        std::size_t size = kBinaryMagic.size() + kTrailerSize;
        for (const auto& object : objects_) {
            size += 16 + object.references.size() * referenceWidth_ + object.key.size();
            if (object.type == Object::Type::value) {
                if (const auto* data = object.value->asData()) {
                    size += data->size();
                } else if (const auto* text = std::get_if<std::string>(&object.value->storage())) {
                    size += text->size() * 2;
                }
            }
        }
        return size;
    }

    Result<void> writeObject(const Object& object) {
        switch (object.type) {
            case Object::Type::dictionary:
                writeCollection(kDictionaryKind, object.references.size() / 2, object.references);
                return {};
            case Object::Type::key:
                return writeString(object.key);
            case Object::Type::value:
                break;
        }
        return std::visit([this, &object](const auto& value) { return writeValue(value, object); },
                          object.value->storage());
    }

    Result<void> writeValue(bool flag, const Object&) {
        out_.push_back(flag ? kTrueMarker : kFalseMarker);
        return {};
    }
    // Non-negative numbers take the fewest of 1, 2, 4 or 8 bytes; negative ones always 8, as
    // the format reads only 8-byte integers as signed.
    Result<void> writeValue(std::int64_t number, const Object&) {
        writeInteger(number);
        return {};
    }
    Result<void> writeValue(double number, const Object&) {
        out_.push_back(kRealMarker);
        appendBigEndian(std::bit_cast<std::uint64_t>(number), kWideField);
        return {};
    }
    Result<void> writeValue(const std::string& text, const Object&) { return writeString(text); }
    // Microsecond precision, as dates are kept everywhere else.
    Result<void> writeValue(PlistDate date, const Object&) {
        const auto parts = splitDate(date);
        if (!parts) {
            return failure(PlistErrorCode::Unsupported);
        }
        out_.push_back(kDateMarker);
        const double seconds = parts->seconds + static_cast<double>(parts->microseconds) /
                                                    static_cast<double>(kMicrosecondsPerSecond);
        appendBigEndian(std::bit_cast<std::uint64_t>(seconds), kWideField);
        return {};
    }
    Result<void> writeValue(const Bytes& data, const Object&) {
        writeCount(kDataKind, data.size());
        out_.insert(out_.end(), data.begin(), data.end());
        return {};
    }
    Result<void> writeValue(const PlistArray&, const Object& object) {
        writeCollection(kArrayKind, object.references.size(), object.references);
        return {};
    }
    // Dictionaries are written as their own type of object.
    Result<void> writeValue(const PlistDictionary&, const Object&) {
        return failure(PlistErrorCode::Unsupported);
    }

    void writeCollection(std::uint8_t kind, std::size_t count,
                         const std::vector<std::size_t>& references) {
        writeCount(kind, count);
        for (const std::size_t reference : references) {
            appendBigEndian(reference, referenceWidth_);
        }
    }

    // ASCII as bytes, anything else as big-endian UTF-16.
    Result<void> writeString(std::string_view text) {
        if (!isStorableText(text)) {
            return failure(PlistErrorCode::Unsupported);
        }
        if (std::ranges::all_of(text,
                                [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
            writeCount(kAsciiStringKind, text.size());
            out_.insert(out_.end(), text.begin(), text.end());
            return {};
        }
        const std::vector<std::uint16_t> units = utf16Units(text);
        writeCount(kUtf16StringKind, units.size());
        for (const std::uint16_t unit : units) {
            appendBigEndian(unit, 2);
        }
        return {};
    }

    static std::vector<std::uint16_t> utf16Units(std::string_view text) {
        std::vector<std::uint16_t> units;
        for (std::size_t index = 0; index < text.size();) {
            const auto lead = static_cast<unsigned char>(text[index]);
            const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
            std::uint32_t point = length == 1 ? lead : lead & (0xFF >> (length + 1));
            for (std::size_t next = 1; next < length; ++next) {
                point = point << 6 | (static_cast<unsigned char>(text[index + next]) & 0x3F);
            }
            index += length;
            if (point < 0x10000) {
                units.push_back(static_cast<std::uint16_t>(point));
            } else {
                point -= 0x10000;
                units.push_back(static_cast<std::uint16_t>(kHighSurrogateFirst + (point >> 10)));
                units.push_back(static_cast<std::uint16_t>(kLowSurrogateFirst + (point & 0x3FF)));
            }
        }
        return units;
    }

    void writeCount(std::uint8_t kind, std::size_t count) {
        if (count < kExtendedCount) {
            out_.push_back(static_cast<std::uint8_t>(kind << 4 | count));
            return;
        }
        out_.push_back(static_cast<std::uint8_t>(kind << 4 | kExtendedCount));
        writeInteger(static_cast<std::int64_t>(count));
    }

    void writeInteger(std::int64_t number) {
        std::uint8_t widthLog2 = 3;
        if (number >= 0) {
            widthLog2 = number <= 0xFF ? 0 : number <= 0xFFFF ? 1 : number <= 0xFFFFFFFF ? 2 : 3;
        }
        out_.push_back(static_cast<std::uint8_t>(kIntegerKind << 4 | widthLog2));
        appendBigEndian(static_cast<std::uint64_t>(number), std::uint8_t{1} << widthLog2);
    }

    static std::uint8_t widthFor(std::uint64_t largest) {
        return largest <= 0xFF ? 1 : largest <= 0xFFFF ? 2 : largest <= 0xFFFFFFFF ? 4 : 8;
    }

    void appendBigEndian(std::uint64_t value, std::size_t width) {
        for (std::size_t shift = width; shift-- > 0;) {
            out_.push_back(static_cast<std::uint8_t>(value >> (shift * 8)));
        }
    }

    std::vector<Object> objects_;
    std::uint8_t referenceWidth_ = 1;
    Bytes out_;
};

// ---- Checking a binary property list before libplist parses it ------------------------------

struct Trailer {
    std::size_t offsetSize = 0;
    std::size_t referenceSize = 0;
    std::uint64_t objectCount = 0;
    std::uint64_t topObject = 0;
    std::uint64_t offsetTable = 0;
};

bool isFieldWidth(std::size_t width) {
    return width >= 1 && width <= sizeof(std::uint64_t);
}

std::optional<Trailer> readTrailer(ByteSpan file) {
    if (!asText(file).starts_with(kBinaryMagic) ||
        file.size() < kBinaryMagic.size() + kTrailerSize) {
        return std::nullopt;
    }
    const ByteSpan raw = file.last(kTrailerSize);
    const Trailer trailer{raw[kOffsetSizeField], raw[kReferenceSizeField],
                          readBigEndian(raw.subspan(kObjectCountField, kWideField)),
                          readBigEndian(raw.subspan(kTopObjectField, kWideField)),
                          readBigEndian(raw.subspan(kOffsetTableField, kWideField))};
    const std::uint64_t objectsEnd = file.size() - kTrailerSize;
    const bool consistent =
        isFieldWidth(trailer.offsetSize) && isFieldWidth(trailer.referenceSize) &&
        trailer.topObject < trailer.objectCount && trailer.offsetTable >= kBinaryMagic.size() &&
        trailer.offsetTable <= objectsEnd &&
        trailer.objectCount <= (objectsEnd - trailer.offsetTable) / trailer.offsetSize;
    return consistent ? std::optional(trailer) : std::nullopt;
}

// libplist drops everything after a NUL and turns malformed UTF-16 into an empty string.
Result<void> checkUtf16(ByteSpan units) {
    bool expectingLowSurrogate = false;
    for (std::size_t index = 0; index + 1 < units.size(); index += 2) {
        const auto unit = static_cast<std::uint16_t>((units[index] << 8) | units[index + 1]);
        if (unit == 0) {
            return failure(PlistErrorCode::Unsupported);
        }
        const bool isLowSurrogate = unit >= kLowSurrogateFirst && unit < kSurrogateEnd;
        if (isLowSurrogate != expectingLowSurrogate) {
            return failure(PlistErrorCode::Invalid);
        }
        expectingLowSurrogate = unit >= kHighSurrogateFirst && unit < kLowSurrogateFirst;
    }
    if (expectingLowSurrogate) {
        return failure(PlistErrorCode::Invalid);
    }
    return {};
}

// Walks the object graph once, iteratively, before libplist (which recurses without a limit and
// expands shared objects) builds its tree. Also rejects what libplist would silently misread:
// strings with a NUL or broken UTF-16, and 16-byte integers beyond the signed 64-bit range.
class BinaryGraph {
  public:
    BinaryGraph(ByteSpan file, const Trailer& trailer)
        : file_(file),
          trailer_(trailer),
          objectsEnd_(file.size() - kTrailerSize),
          state_(trailer.objectCount, State::Unvisited),
          height_(trailer.objectCount, 0),
          expanded_(trailer.objectCount, 0) {}

    Result<void> check() {
        std::vector<Frame> stack;
        auto root = enter(trailer_.topObject);
        if (!root) {
            return std::unexpected(root.error());
        }
        stack.push_back(std::move(*root));
        while (!stack.empty()) {
            Frame& frame = stack.back();
            if (frame.next == frame.children.size()) {
                leave(frame);
                stack.pop_back();
                continue;
            }
            const std::uint64_t child = frame.children[frame.next++];
            if (state_[child] == State::Visiting) {
                return failure(PlistErrorCode::Invalid);
            }
            if (state_[child] == State::Done) {
                continue;
            }
            if (stack.size() >= kMaxPlistDepth) {
                return failure(PlistErrorCode::TooComplex);
            }
            auto entered = enter(child);
            if (!entered) {
                return std::unexpected(entered.error());
            }
            stack.push_back(std::move(*entered));
        }
        const std::uint64_t top = trailer_.topObject;
        if (height_[top] > kMaxPlistDepth || expanded_[top] > kMaxExpandedObjects) {
            return failure(PlistErrorCode::TooComplex);
        }
        return {};
    }

  private:
    enum class State : std::uint8_t { Unvisited, Visiting, Done };

    struct Frame {
        std::uint64_t object = 0;
        std::vector<std::uint64_t> children;
        std::size_t next = 0;
    };

    // How many items an object holds and where they start.
    struct Extent {
        std::uint64_t count = 0;
        std::uint64_t start = 0;
    };

    std::optional<ByteSpan> slice(std::uint64_t start, std::uint64_t count,
                                  std::uint64_t unitSize = 1) const {
        if (start > objectsEnd_ || count > (objectsEnd_ - start) / unitSize) {
            return std::nullopt;
        }
        return file_.subspan(start, count * unitSize);
    }

    std::optional<Extent> readExtent(std::uint64_t offset) const {
        const auto info = static_cast<std::uint8_t>(file_[offset] & 0x0F);
        if (info != kExtendedCount) {
            return Extent{info, offset + 1};
        }
        const auto marker = slice(offset + 1, 1);
        if (!marker || ((*marker)[0] >> 4) != kIntegerKind ||
            ((*marker)[0] & 0x0F) > kLargestCountWidthLog2) {
            return std::nullopt;
        }
        const std::size_t width = std::size_t{1} << ((*marker)[0] & 0x0F);
        const auto count = slice(offset + 2, width);
        if (!count) {
            return std::nullopt;
        }
        return Extent{readBigEndian(*count), offset + 2 + width};
    }

    Result<void> checkInteger(std::uint64_t offset) const {
        if ((file_[offset] & 0x0F) != kSixteenByteIntegerLog2) {
            return {};
        }
        const auto value = slice(offset + 1, 2 * kWideField);
        if (!value) {
            return failure(PlistErrorCode::Invalid);
        }
        const std::uint64_t high = readBigEndian(value->first(kWideField));
        const std::uint64_t low = readBigEndian(value->last(kWideField));
        if (high != 0 ||
            low > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return failure(PlistErrorCode::Unsupported);
        }
        return {};
    }

    Result<void> checkString(std::uint64_t offset, std::uint64_t unitSize) const {
        const auto extent = readExtent(offset);
        const auto text = extent ? slice(extent->start, extent->count, unitSize) : std::nullopt;
        if (!text) {
            return failure(PlistErrorCode::Invalid);
        }
        if (unitSize != 1) {
            return checkUtf16(*text);
        }
        if (std::ranges::find(*text, std::uint8_t{0}) != text->end()) {
            return failure(PlistErrorCode::Unsupported);
        }
        return {};
    }

    Result<std::vector<std::uint64_t>> readReferences(std::uint64_t offset,
                                                      bool isDictionary) const {
        const auto extent = readExtent(offset);
        const std::uint64_t count = extent ? extent->count * (isDictionary ? 2 : 1) : 0;
        const auto raw =
            extent ? slice(extent->start, count, trailer_.referenceSize) : std::nullopt;
        if (!raw) {
            return failure(PlistErrorCode::Invalid);
        }
        std::vector<std::uint64_t> references;
        references.reserve(count);
        for (std::size_t index = 0; index < count; ++index) {
            const std::uint64_t reference =
                readBigEndian(raw->subspan(index * trailer_.referenceSize, trailer_.referenceSize));
            if (reference >= trailer_.objectCount) {
                return failure(PlistErrorCode::Invalid);
            }
            references.push_back(reference);
        }
        return references;
    }

    Result<void> checkScalar(std::uint64_t offset, std::uint8_t kind) const {
        switch (kind) {
            case kIntegerKind:
                return checkInteger(offset);
            case kAsciiStringKind:
                return checkString(offset, 1);
            case kUtf16StringKind:
                return checkString(offset, 2);
            default:
                return {};
        }
    }

    Result<Frame> enter(std::uint64_t object) {
        state_[object] = State::Visiting;
        const std::uint64_t offset = readBigEndian(file_.subspan(
            trailer_.offsetTable + object * trailer_.offsetSize, trailer_.offsetSize));
        if (offset < kBinaryMagic.size() || offset >= objectsEnd_) {
            return failure(PlistErrorCode::Invalid);
        }
        const auto kind = static_cast<std::uint8_t>(file_[offset] >> 4);
        if (kind == kArrayKind || kind == kSetKind || kind == kDictionaryKind) {
            auto references = readReferences(offset, kind == kDictionaryKind);
            if (!references) {
                return std::unexpected(references.error());
            }
            return Frame{object, std::move(*references)};
        }
        if (auto scalar = checkScalar(offset, kind); !scalar) {
            return std::unexpected(scalar.error());
        }
        return Frame{object, {}};
    }

    void leave(const Frame& frame) {
        std::size_t height = 0;
        std::uint64_t expanded = 1;
        for (const std::uint64_t child : frame.children) {
            height = std::max(height, height_[child]);
            expanded = std::min(expanded + expanded_[child], kMaxExpandedObjects + 1);
        }
        height_[frame.object] = height + 1;
        expanded_[frame.object] = expanded;
        state_[frame.object] = State::Done;
    }

    ByteSpan file_;
    Trailer trailer_;
    std::uint64_t objectsEnd_;
    std::vector<State> state_;
    std::vector<std::size_t> height_;
    std::vector<std::uint64_t> expanded_;
};

Result<Node> parseBinary(ByteSpan file) {
    const auto trailer = readTrailer(file);
    if (!trailer) {
        return failure(PlistErrorCode::Invalid);
    }
    if (auto structure = BinaryGraph(file, *trailer).check(); !structure) {
        return std::unexpected(structure.error());
    }
    plist_t root = nullptr;
    plist_from_bin(asText(file).data(), static_cast<std::uint32_t>(file.size()), &root);
    if (root == nullptr) {
        return failure(PlistErrorCode::Invalid);
    }
    return Node(root);
}

// ---- Checking an XML property list before libplist parses it --------------------------------

bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

bool isBlank(std::string_view text) {
    return std::ranges::all_of(text, [](char character) { return isBlank(character); });
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

Result<void> checkIntegerText(std::string_view text) {
    text = trimmed(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    if (error == std::errc::result_out_of_range) {
        return failure(PlistErrorCode::Unsupported);
    }
    if (error != std::errc{} || end != text.data() + text.size()) {
        return failure(PlistErrorCode::Invalid);
    }
    const auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const std::uint64_t limit = negative ? largest + 1 : largest;
    if (magnitude > limit) {
        return failure(PlistErrorCode::Unsupported);
    }
    return {};
}

Result<void> checkRealText(std::string_view text) {
    text = trimmed(text);
    // Writers spell positive infinity "+infinity", which from_chars does not take.
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) {
            return failure(PlistErrorCode::Invalid);
        }
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return failure(PlistErrorCode::Invalid);
    }
    return {};
}

Result<void> checkDateText(std::string_view text) {
    // '0' stands for any digit.
    static constexpr std::string_view kPattern = "0000-00-00T00:00:00Z";
    text = trimmed(text);
    const bool matches = std::ranges::equal(text, kPattern, [](char character, char expected) {
        return expected == '0' ? isDigit(character) : character == expected;
    });
    return matches ? Result<void>{} : failure(PlistErrorCode::Invalid);
}

bool isBase64Digit(char character) {
    return isDigit(character) || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '+' || character == '/';
}

Result<void> checkBase64Text(std::string_view text) {
    std::string compact;
    std::ranges::copy_if(text, std::back_inserter(compact),
                         [](char character) { return !isBlank(character); });
    const std::string_view digits = std::string_view(compact).substr(0, compact.find('='));
    const std::string_view padding = std::string_view(compact).substr(digits.size());
    const bool valid =
        compact.size() % 4 == 0 && padding.size() <= 2 &&
        std::ranges::all_of(digits, isBase64Digit) &&
        std::ranges::all_of(padding, [](char character) { return character == '='; });
    return valid ? Result<void>{} : failure(PlistErrorCode::Invalid);
}

using ContentCheck = Result<void> (*)(std::string_view);
constexpr std::array<std::pair<std::string_view, ContentCheck>, 4> kContentChecks{{
    {"integer", checkIntegerText},
    {"real", checkRealText},
    {"date", checkDateText},
    {"data", checkBase64Text},
}};

// Markup that holds no elements, with the text that ends it; "<!--" and "<![CDATA[" must be tried
// before the "<!" of a document type declaration.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kSkippedMarkup{{
    {"<?", "?>"},
    {"<!--", "-->"},
    {"<![CDATA[", "]]>"},
    {"<!", ">"},
}};

std::string_view elementName(std::string_view tag) {
    return tag.substr(0, tag.find_first_of(" \t\r\n/"));
}

// libplist 2.2's XML reader takes a document cut off after its root value, drops a dictionary key
// that has no value, ignores any value after the first inside <plist>, and reads unparsable
// numbers, dates and base64 as zero or empty. This walks the element structure first and rejects
// all of those.
class XmlStructure {
  public:
    explicit XmlStructure(std::string_view text) : text_(text) {}

    Result<void> check() {
        std::size_t position = 0;
        for (;;) {
            const std::size_t tagStart = text_.find('<', position);
            if (open_.empty() && !isBlank(text_.substr(position, tagStart - position))) {
                return failure(PlistErrorCode::Invalid);
            }
            if (tagStart == std::string_view::npos) {
                break;
            }
            const auto next = consume(tagStart);
            if (!next) {
                return std::unexpected(next.error());
            }
            position = *next;
        }
        if (!open_.empty() || !rootClosed_) {
            return failure(PlistErrorCode::Invalid);
        }
        return {};
    }

  private:
    struct OpenElement {
        std::string_view name;
        std::size_t children = 0;

        // A dictionary alternates keys and values; <plist> wraps exactly one value.
        bool accepts(std::string_view child) const {
            if (name == "dict") {
                return (child == "key") == (children % 2 == 0);
            }
            return name != "plist" || children == 0;
        }
        bool isComplete() const { return name != "dict" || children % 2 == 0; }
    };

    // Reads the markup starting at `start` and returns where it ends.
    Result<std::size_t> consume(std::size_t start) {
        const std::string_view rest = text_.substr(start);
        const auto markup = std::ranges::find_if(
            kSkippedMarkup, [&](const auto& entry) { return rest.starts_with(entry.first); });
        if (markup == kSkippedMarkup.end()) {
            return readTag(start);
        }
        const std::size_t end = rest.find(markup->second, markup->first.size());
        if (end == std::string_view::npos) {
            return failure(PlistErrorCode::Invalid);
        }
        return start + end + markup->second.size();
    }

    Result<std::size_t> readTag(std::size_t start) {
        const std::size_t end = text_.find('>', start);
        if (end == std::string_view::npos) {
            return failure(PlistErrorCode::Invalid);
        }
        const std::string_view tag = text_.substr(start + 1, end - start - 1);
        const auto result = tag.starts_with('/') ? closeElement(elementName(tag.substr(1)))
                                                 : openElement(tag, end + 1);
        if (!result) {
            return std::unexpected(result.error());
        }
        return end + 1;
    }

    Result<void> openElement(std::string_view tag, std::size_t contentStart) {
        const std::string_view name = elementName(tag);
        const bool selfClosing = tag.ends_with('/');
        if (rootClosed_) {
            return failure(PlistErrorCode::Invalid);
        }
        // Each element is one level of the value, except the <plist> wrapper.
        if (open_.size() > kMaxPlistDepth) {
            return failure(PlistErrorCode::TooComplex);
        }
        if (!open_.empty()) {
            if (!open_.back().accepts(name)) {
                return failure(PlistErrorCode::Invalid);
            }
            ++open_.back().children;
        }
        const auto check = std::ranges::find_if(
            kContentChecks, [&](const auto& entry) { return entry.first == name; });
        if (check != kContentChecks.end()) {
            const std::string_view content =
                selfClosing
                    ? std::string_view{}
                    : text_.substr(contentStart, text_.find('<', contentStart) - contentStart);
            if (auto checked = check->second(content); !checked) {
                return checked;
            }
        }
        if (selfClosing) {
            rootClosed_ = open_.empty();
        } else {
            open_.push_back({name});
        }
        return {};
    }

    Result<void> closeElement(std::string_view name) {
        if (open_.empty() || open_.back().name != name || !open_.back().isComplete()) {
            return failure(PlistErrorCode::Invalid);
        }
        open_.pop_back();
        rootClosed_ = open_.empty();
        return {};
    }

    std::string_view text_;
    std::vector<OpenElement> open_;
    bool rootClosed_ = false;
};

Result<Node> parseXml(ByteSpan file) {
    const std::string_view text = asText(file);
    if (auto structure = XmlStructure(text).check(); !structure) {
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

}  // namespace

namespace {

Result<Bytes> serializeXml(const Result<Node>& node) {
    if (!node) {
        return std::unexpected(node.error());
    }
    char* buffer = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(node->get(), &buffer, &length);
    return takeBuffer<XmlBuffer>(buffer, length);
}

}  // namespace

Result<Bytes> encodePlist(const PlistValue& root, PlistFormat format) {
    if (format == PlistFormat::Binary) {
        return BinaryPlistWriter().write(root);
    }
    return serializeXml(buildNode(root, 1, format));
}

Result<Bytes> encodePlist(const PlistDictionary& root, PlistFormat format) {
    if (format == PlistFormat::Binary) {
        return BinaryPlistWriter().write(root);
    }
    return serializeXml(NodeBuilder(1, format)(root));
}

Result<PlistValue> decodePlist(const Bytes& bytes) {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
        return failure(PlistErrorCode::TooComplex);
    }
    const ByteSpan file(bytes);
    const auto root = asText(file).starts_with(kBinaryFamily) ? parseBinary(file) : parseXml(file);
    if (!root) {
        return std::unexpected(root.error());
    }
    return toValue(root->get());
}

}  // namespace parvel::platform
