#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace parvel {

// Text without leading and trailing blanks, tabs and line ends (what tools print around a value).
inline std::string_view trimmedWhitespace(std::string_view text) {
    constexpr std::string_view kWhitespace = " \t\r\n\f\v";
    const auto first = text.find_first_not_of(kWhitespace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kWhitespace) - first + 1);
}

// ASCII letters lower-cased; tool output is compared this way, other bytes stay as they are.
inline std::string asciiLowercased(std::string_view text) {
    std::string lowered(text);
    std::ranges::transform(lowered, lowered.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? char(character - 'A' + 'a') : character;
    });
    return lowered;
}

// The lines of a tool's output, split on "\n", without the empty ones.
inline std::vector<std::string_view> nonEmptyLines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const auto line = text.substr(0, end);
        if (!line.empty()) {
            lines.push_back(line);
        }
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    }
    return lines;
}

}  // namespace parvel
