#include "base/FileURL.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

#include "base/Utf8.h"

namespace parvel {
namespace {

constexpr std::string_view kFileScheme = "file://";
constexpr std::string_view kLocalhost = "localhost";
constexpr std::string_view kPathCharacters = "-._~/!$&'()*+,;=:@";

bool staysUnencoded(unsigned char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') ||
           kPathCharacters.find(static_cast<char>(character)) != std::string_view::npos;
}

int hexValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return -1;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] != '%') {
            decoded += text[index];
            continue;
        }
        if (text.size() - index < 3) {
            return std::nullopt;
        }
        const int high = hexValue(text[index + 1]);
        const int low = hexValue(text[index + 2]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        decoded += static_cast<char>(high * 16 + low);
        index += 2;
    }
    if (!isValidUtf8(decoded)) {
        return std::nullopt;
    }
    return decoded;
}

}  // namespace

std::string fileURLFromPath(std::string_view path) {
    constexpr std::array<char, 16> kHexDigits = {'0', '1', '2', '3', '4', '5', '6', '7',
                                                 '8', '9', 'A', 'B', 'C', 'D', 'E', 'F'};
    std::string url(kFileScheme);
    for (const char raw : path) {
        const auto character = static_cast<unsigned char>(raw);
        if (staysUnencoded(character)) {
            url += raw;
        } else {
            url += '%';
            url += kHexDigits[character >> 4];
            url += kHexDigits[character & 0x0F];
        }
    }
    return url;
}

std::optional<std::string> pathFromFileURL(std::string_view url) {
    if (url.size() < kFileScheme.size() ||
        !std::equal(kFileScheme.begin(), kFileScheme.end(), url.begin(), [](char a, char b) {
            return a == std::tolower(static_cast<unsigned char>(b));
        })) {
        return std::nullopt;
    }
    std::string_view rest = url.substr(kFileScheme.size());
    if (rest.starts_with(kLocalhost)) {
        rest.remove_prefix(kLocalhost.size());
    }
    if (!rest.starts_with('/')) {
        return std::nullopt;
    }
    return percentDecoded(rest);
}

std::string standardizedPath(std::string_view path) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view part = path.substr(start, end - start);
        if (part == "..") {
            if (!parts.empty()) {
                parts.pop_back();
            }
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        start = end + 1;
    }
    std::string standardized;
    for (const auto part : parts) {
        standardized += '/';
        standardized += part;
    }
    return standardized.empty() ? "/" : standardized;
}

std::string lastPathComponent(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.remove_suffix(1);
    }
    const auto slash = path.rfind('/');
    return std::string(
        slash == std::string_view::npos || path.size() == 1 ? path : path.substr(slash + 1));
}

}  // namespace parvel
