#include "base/Base64.h"

#include <array>

namespace parvel {

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kInvalid = 0xFF;

constexpr std::array<std::uint8_t, 256> decodingTable() {
    std::array<std::uint8_t, 256> table{};
    table.fill(kInvalid);
    for (std::size_t index = 0; index < kAlphabet.size(); ++index) {
        table[static_cast<std::uint8_t>(kAlphabet[index])] = static_cast<std::uint8_t>(index);
    }
    return table;
}

constexpr std::array<std::uint8_t, 256> kDecoding = decodingTable();

}  // namespace

std::string base64Encoded(const Bytes& data) {
    std::string text;
    text.resize((data.size() + 2) / 3 * 4);
    std::size_t out = 0;
    std::size_t in = 0;
    for (; in + 3 <= data.size(); in += 3) {
        const std::uint32_t group = std::uint32_t{data[in]} << 16 |
                                    std::uint32_t{data[in + 1]} << 8 | std::uint32_t{data[in + 2]};
        text[out++] = kAlphabet[group >> 18 & 0x3F];
        text[out++] = kAlphabet[group >> 12 & 0x3F];
        text[out++] = kAlphabet[group >> 6 & 0x3F];
        text[out++] = kAlphabet[group & 0x3F];
    }
    if (const std::size_t rest = data.size() - in; rest > 0) {
        const std::uint32_t group =
            std::uint32_t{data[in]} << 16 | (rest == 2 ? std::uint32_t{data[in + 1]} << 8 : 0);
        text[out++] = kAlphabet[group >> 18 & 0x3F];
        text[out++] = kAlphabet[group >> 12 & 0x3F];
        text[out++] = rest == 2 ? kAlphabet[group >> 6 & 0x3F] : '=';
        text[out++] = '=';
    }
    return text;
}

std::optional<Bytes> base64Decoded(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    const std::size_t padding =
        text.ends_with("==") ? 2 : static_cast<std::size_t>(text.ends_with('='));
    Bytes data;
    data.reserve(text.size() / 4 * 3);
    for (std::size_t in = 0; in < text.size(); in += 4) {
        const bool last = in + 4 == text.size();
        const std::size_t significant = last ? 4 - padding : 4;
        std::uint32_t group = 0;
        for (std::size_t index = 0; index < 4; ++index) {
            std::uint8_t value = 0;
            if (index < significant) {
                value = kDecoding[static_cast<std::uint8_t>(text[in + index])];
                if (value == kInvalid) {
                    return std::nullopt;
                }
            }
            group = group << 6 | value;
        }
        data.push_back(static_cast<std::uint8_t>(group >> 16));
        if (significant > 2) {
            data.push_back(static_cast<std::uint8_t>(group >> 8));
        }
        if (significant > 3) {
            data.push_back(static_cast<std::uint8_t>(group));
        }
    }
    return data;
}

}  // namespace parvel
