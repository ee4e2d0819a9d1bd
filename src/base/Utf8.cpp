#include "base/Utf8.h"

#include <cstdint>

namespace parvel {
namespace {

// Number of continuation bytes a lead byte announces, or -1 for a byte that cannot start a
// sequence.
int continuationCount(std::uint8_t lead) {
    if (lead < 0x80) {
        return 0;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return 1;
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        return 2;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        return 3;
    }
    return -1;
}

// The allowed range of the first continuation byte, which is where overlong forms, surrogates
// and code points above U+10FFFF are ruled out.
bool firstContinuationAllowed(std::uint8_t lead, std::uint8_t next) {
    switch (lead) {
        case 0xE0:
            return next >= 0xA0 && next <= 0xBF;
        case 0xED:
            return next >= 0x80 && next <= 0x9F;
        case 0xF0:
            return next >= 0x90 && next <= 0xBF;
        case 0xF4:
            return next >= 0x80 && next <= 0x8F;
        default:
            return next >= 0x80 && next <= 0xBF;
    }
}

}  // namespace

bool isValidUtf8(std::string_view bytes) {
    std::size_t index = 0;
    while (index < bytes.size()) {
        const auto lead = static_cast<std::uint8_t>(bytes[index]);
        const int count = continuationCount(lead);
        if (count < 0 || bytes.size() - index <= static_cast<std::size_t>(count)) {
            return false;
        }
        for (int offset = 1; offset <= count; ++offset) {
            const auto next =
                static_cast<std::uint8_t>(bytes[index + static_cast<std::size_t>(offset)]);
            const bool allowed =
                offset == 1 ? firstContinuationAllowed(lead, next) : (next >= 0x80 && next <= 0xBF);
            if (!allowed) {
                return false;
            }
        }
        index += static_cast<std::size_t>(count) + 1;
    }
    return true;
}

std::string decodeUtf8OrEmpty(std::string bytes) {
    if (!isValidUtf8(bytes)) {
        return {};
    }
    return bytes;
}

}  // namespace parvel
