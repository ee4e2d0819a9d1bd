#include "platform/sim/tools/DefaultsFormat.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <time.h>

#include "platform/Time.h"

namespace parvel::sim {

using platform::PlistArray;
using platform::PlistDate;
using platform::PlistDictionary;
using platform::PlistValue;

namespace {

constexpr std::size_t kIndentWidth = 4;
// Data up to this length prints whole; longer data shows its first and last bytes only.
constexpr std::size_t kWholeDataLength = 24;
constexpr std::size_t kLeadingBytesShown = 16;
constexpr std::size_t kTrailingBytesShown = 8;
constexpr std::size_t kBytesPerGroup = 4;
constexpr char32_t kLastAsciiCharacter = 0x7f;
constexpr char32_t kFirstPrintableCharacter = 0x20;
constexpr char32_t kFirstSupplementaryCharacter = 0x10000;
constexpr char32_t kHighSurrogateBase = 0xd800;
constexpr char32_t kLowSurrogateBase = 0xdc00;
constexpr unsigned kSurrogateBits = 10;
constexpr char32_t kSurrogateMask = 0x3ff;

std::string indent(std::size_t level) {
    return std::string(level * kIndentWidth, ' ');
}

std::string dateText(const PlistDate& date) {
    const auto unixSeconds = static_cast<std::time_t>(
        std::floor(date.secondsSinceReferenceDate + platform::kReferenceDateUnixSeconds));
    std::tm parts{};
    ::gmtime_r(&unixSeconds, &parts);
    return fmt::format("{:%Y-%m-%d %H:%M:%S} +0000", parts);
}

std::string hex(const Bytes& bytes, std::size_t from, std::size_t to, bool grouped) {
    std::string text;
    for (std::size_t index = from; index < to; ++index) {
        if (grouped && index > from && (index - from) % kBytesPerGroup == 0) {
            text += ' ';
        }
        text += fmt::format("{:02x}", bytes[index]);
    }
    return text;
}

std::string dataText(const Bytes& data) {
    if (data.size() <= kWholeDataLength) {
        return fmt::format("{{length = {}, bytes = 0x{}}}", data.size(),
                           hex(data, 0, data.size(), false));
    }
    return fmt::format("{{length = {}, bytes = 0x{} ... {} }}", data.size(),
                       hex(data, 0, kLeadingBytesShown, true),
                       hex(data, data.size() - kTrailingBytesShown, data.size(), true));
}

// The next character of UTF-8 text and how many bytes it took; a stray byte stands for itself.
std::pair<char32_t, std::size_t> nextCharacter(std::string_view text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t length = lead < 0x80 ? 1 : lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (length == 1 || at + length > text.size()) {
        return {lead, 1};
    }
    const unsigned leadBits[] = {0, 0, 0x1f, 0x0f, 0x07};
    char32_t character = lead & leadBits[length];
    for (std::size_t index = 1; index < length; ++index) {
        character = (character << 6) | (static_cast<unsigned char>(text[at + index]) & 0x3fu);
    }
    return {character, length};
}

// Foundation writes characters outside printable ASCII as UTF-16 units: "\U00e9".
std::string escapedCharacter(char32_t character) {
    if (character < kFirstSupplementaryCharacter) {
        return fmt::format("\\U{:04x}", static_cast<unsigned>(character));
    }
    const char32_t offset = character - kFirstSupplementaryCharacter;
    return fmt::format("\\U{:04x}\\U{:04x}",
                       static_cast<unsigned>(kHighSurrogateBase + (offset >> kSurrogateBits)),
                       static_cast<unsigned>(kLowSurrogateBase + (offset & kSurrogateMask)));
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (std::size_t at = 0; at < text.size();) {
        const auto [character, length] = nextCharacter(text, at);
        at += length;
        switch (character) {
            case '"':
                result += "\\\"";
                break;
            case '\\':
                result += "\\\\";
                break;
            case '\n':
                result += "\\n";
                break;
            case '\t':
                result += "\\t";
                break;
            case '\r':
                result += "\\r";
                break;
            default:
                if (character < kFirstPrintableCharacter || character > kLastAsciiCharacter) {
                    result += escapedCharacter(character);
                } else {
                    result += static_cast<char>(character);
                }
        }
    }
    return result + "\"";
}

bool isPlainWord(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char character) {
        return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
               (character >= '0' && character <= '9');
    });
}

std::string stringText(std::string_view text) {
    return isPlainWord(text) ? std::string(text) : quoted(text);
}

std::string nestedText(const PlistValue& value, std::size_t level);

std::string containerText(const PlistArray& array, std::size_t level) {
    std::string text = indent(level) + "(\n";
    for (std::size_t index = 0; index < array.size(); ++index) {
        text += indent(level + 1) + nestedText(array[index], level + 1);
        text += index + 1 < array.size() ? ",\n" : "\n";
    }
    return text + indent(level) + ")";
}

std::string containerText(const PlistDictionary& dictionary, std::size_t level) {
    std::string text = indent(level) + "{\n";
    for (const auto& [key, value] : dictionary) {
        text += fmt::format("{}{} = {};\n", indent(level + 1), stringText(key),
                            nestedText(value, level + 1));
    }
    return text + indent(level) + "}";
}

// A value as it reads inside a container `level` deep; a container starts with its own indent.
// Data prints bare; other scalars get quotes when their text is not a plain word ("0.5", "-1").
std::string nestedText(const PlistValue& value, std::size_t level) {
    if (const auto* array = value.asArray()) {
        return containerText(*array, level);
    }
    if (const auto* dictionary = value.asDictionary()) {
        return containerText(*dictionary, level);
    }
    if (const auto* data = value.asData()) {
        return dataText(*data);
    }
    return stringText(defaultsReadText(value));
}

}  // namespace

std::string defaultsReadText(const PlistValue& value) {
    struct Printer {
        std::string operator()(bool flag) const { return flag ? "1" : "0"; }
        std::string operator()(std::int64_t number) const { return fmt::format("{}", number); }
        std::string operator()(double number) const { return fmt::format("{}", number); }
        std::string operator()(const std::string& text) const { return text; }
        std::string operator()(const PlistDate& date) const { return dateText(date); }
        std::string operator()(const Bytes& data) const { return dataText(data); }
        std::string operator()(const PlistArray& array) const { return containerText(array, 0); }
        std::string operator()(const PlistDictionary& dictionary) const {
            return containerText(dictionary, 0);
        }
    };
    return std::visit(Printer{}, value.storage());
}

}  // namespace parvel::sim
