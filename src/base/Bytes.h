#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace parvel {

// Raw bytes as the platform hands them over (file contents, pasteboard data, keychain items).
using Bytes = std::vector<std::uint8_t>;

inline Bytes toBytes(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

inline std::string toString(const Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

}  // namespace parvel
