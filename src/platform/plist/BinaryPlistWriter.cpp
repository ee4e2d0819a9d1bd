#include <algorithm>
#include <bit>
#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/plist/PlistCodecInternal.h"

namespace parvel::platform::plist {
namespace {

constexpr std::uint8_t kFalseMarker = 0x08;
constexpr std::uint8_t kTrueMarker = 0x09;
constexpr std::uint8_t kRealMarker = 0x23;
constexpr std::uint8_t kDataKind = 0x4;

// Our own writer: libplist hashes every value to share equal objects, which makes a large data
// value (the clipboard history, megabytes of it) many times slower to store than to write.
// Objects are numbered depth first from the root and each is written once, in that order.
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

}  // namespace

Result<Bytes> writeBinary(const PlistValue& root) {
    return BinaryPlistWriter().write(root);
}

Result<Bytes> writeBinary(const PlistDictionary& root) {
    return BinaryPlistWriter().write(root);
}

}  // namespace parvel::platform::plist
