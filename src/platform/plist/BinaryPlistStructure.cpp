#include <algorithm>
#include <cstdint>
#include <expected>
#include <limits>
#include <optional>
#include <vector>

#include "platform/plist/PlistCodecInternal.h"

namespace parvel::platform::plist {
namespace {

// libplist copies an object once for every reference to it, so a small binary file whose objects
// share children can expand exponentially; this caps the tree it may build.
constexpr std::uint64_t kMaxExpandedObjects = 1'000'000;
constexpr std::uint8_t kLargestCountWidthLog2 = 3;
constexpr std::uint8_t kSixteenByteIntegerLog2 = 4;

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

}  // namespace

Result<void> checkBinaryStructure(ByteSpan file) {
    const auto trailer = readTrailer(file);
    if (!trailer) {
        return failure(PlistErrorCode::Invalid);
    }
    return BinaryGraph(file, *trailer).check();
}

}  // namespace parvel::platform::plist
