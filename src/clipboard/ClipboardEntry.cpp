#include "clipboard/ClipboardEntry.h"

#include <array>
#include <cctype>
#include <cstring>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "base/Base64.h"
#include "base/FileURL.h"
#include "base/Text.h"
#include "base/Unicode.h"

namespace parvel {

namespace {

using Kind = ClipboardEntry::Kind;

// A files entry's payload: one path per line.
constexpr std::string_view kPathSeparator = "\n";

constexpr std::array<std::pair<Kind, std::string_view>, 3> kKindNames = {
    {{Kind::text, "text"}, {Kind::files, "files"}, {Kind::image, "image"}}};

std::optional<Kind> kindNamed(std::string_view name) {
    for (const auto& [kind, kindText] : kKindNames) {
        if (kindText == name) {
            return kind;
        }
    }
    return std::nullopt;
}

// 8-4-4-4-12 hexadecimal digits; the canonical upper-case form, or nothing.
std::optional<std::string> canonicalUUID(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    std::string canonical(text);
    for (std::size_t index = 0; index < canonical.size(); ++index) {
        char& character = canonical[index];
        const bool hyphenPlace = index == 8 || index == 13 || index == 18 || index == 23;
        if (hyphenPlace != (character == '-') ||
            (!hyphenPlace && !std::isxdigit(static_cast<unsigned char>(character)))) {
            return std::nullopt;
        }
        character = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    }
    return canonical;
}

void appendRaw(Bytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
}

void appendEscaped(Bytes& out, unsigned char byte) {
    switch (byte) {
        case '"':
            appendRaw(out, "\\\"");
            break;
        case '\\':
            appendRaw(out, "\\\\");
            break;
        case '\n':
            appendRaw(out, "\\n");
            break;
        case '\r':
            appendRaw(out, "\\r");
            break;
        case '\t':
            appendRaw(out, "\\t");
            break;
        default:
            appendRaw(out, fmt::format("\\u{:04x}", byte));
    }
}

bool needsEscape(unsigned char byte) {
    return byte < 0x20 || byte == '"' || byte == '\\';
}

// Whether any of eight bytes is a control character, a quote or a backslash: a byte below a
// limit sets its high bit in the test below (a zero byte is one below 1), and a quote or backslash
// becomes zero when xor-ed with eight copies of itself.
bool wordNeedsEscape(std::uint64_t word) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    const auto hasByteBelow = [](std::uint64_t value, std::uint64_t limit) {
        return ((value - kOnes * limit) & ~value & kHighBits) != 0;
    };
    return hasByteBelow(word, 0x20) || hasByteBelow(word ^ (kOnes * '"'), 1) ||
           hasByteBelow(word ^ (kOnes * '\\'), 1);
}

// The index of the first byte from `start` on that must be escaped, or the text's size.
std::size_t nextEscape(std::string_view text, std::size_t start) {
    std::size_t index = start;
    for (; index + sizeof(std::uint64_t) <= text.size(); index += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + index, sizeof(word));
        if (wordNeedsEscape(word)) {
            break;
        }
    }
    while (index < text.size() && !needsEscape(static_cast<unsigned char>(text[index]))) {
        ++index;
    }
    return index;
}

// Runs that need no escape (all of a base64 payload) are found a word at a time and copied in
// one go.
void appendJSONString(Bytes& out, std::string_view text) {
    out.push_back('"');
    std::size_t start = 0;
    for (std::size_t index = nextEscape(text, 0); index < text.size();
         index = nextEscape(text, start)) {
        appendRaw(out, text.substr(start, index - start));
        appendEscaped(out, static_cast<unsigned char>(text[index]));
        start = index + 1;
    }
    appendRaw(out, text.substr(start));
    out.push_back('"');
}

}  // namespace

std::string_view kindName(Kind kind) {
    for (const auto& [candidate, name] : kKindNames) {
        if (candidate == kind) {
            return name;
        }
    }
    return {};
}

std::string makeUUID(platform::Randomness& randomness) {
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t index = 0; index < bytes.size(); index += 8) {
        const std::uint64_t word = randomness.next();
        for (std::size_t shift = 0; shift < 8; ++shift) {
            bytes[index + shift] = static_cast<std::uint8_t>(word >> (shift * 8));
        }
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    return fmt::format(
        "{:02X}{:02X}{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}-"
        "{:02X}{:02X}{:02X}{:02X}{:02X}{:02X}",
        bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8],
        bytes[9], bytes[10], bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
}

ClipboardEntry ClipboardEntry::text(std::string copied, platform::WallTime date,
                                    platform::Randomness& randomness) {
    std::string preview = graphemePrefix(copied, kPreviewLength);
    return {makeUUID(randomness), Kind::text, std::move(preview),
            std::make_shared<const std::string>(std::move(copied)), date};
}

ClipboardEntry ClipboardEntry::files(const std::vector<std::string>& paths, platform::WallTime date,
                                     platform::Randomness& randomness) {
    std::vector<std::string> names;
    names.reserve(paths.size());
    for (const auto& path : paths) {
        names.push_back(lastPathComponent(path));
    }
    return {
        makeUUID(randomness), Kind::files, fmt::format("{}", fmt::join(names, ", ")),
        std::make_shared<const std::string>(fmt::format("{}", fmt::join(paths, kPathSeparator))),
        date};
}

// A stored payload may hold blank lines; they name no file.
std::vector<std::string> ClipboardEntry::filePaths() const {
    std::vector<std::string> paths;
    for (const auto line : nonEmptyLines(payloadText())) {
        paths.emplace_back(line);
    }
    return paths;
}

ClipboardEntry ClipboardEntry::image(const Bytes& data, platform::WallTime date,
                                     platform::Randomness& randomness) {
    return {makeUUID(randomness), Kind::image, fmt::format("Image {} KB", data.size() / 1024),
            std::make_shared<const std::string>(base64Encoded(data)), date};
}

Bytes encodeClipboardEntries(const std::vector<ClipboardEntry>& entries) {
    std::size_t size = 2;
    for (const auto& entry : entries) {
        size += entry.payloadText().size() + entry.preview.size() + 128;
    }
    Bytes out;
    out.reserve(size);
    out.push_back('[');
    for (const auto& entry : entries) {
        if (&entry != &entries.front()) {
            out.push_back(',');
        }
        appendRaw(out, "{\"id\":");
        appendJSONString(out, entry.id);
        appendRaw(out, ",\"kind\":");
        appendJSONString(out, kindName(entry.kind));
        appendRaw(out, ",\"preview\":");
        appendJSONString(out, entry.preview);
        appendRaw(out, ",\"payload\":");
        appendJSONString(out, entry.payloadText());
        appendRaw(out,
                  fmt::format(",\"date\":{}}}", platform::secondsSinceReferenceDate(entry.date)));
    }
    out.push_back(']');
    return out;
}

std::optional<std::vector<ClipboardEntry>> decodeClipboardEntries(std::string_view json) {
    nlohmann::json document = nlohmann::json::parse(json, nullptr, false);
    if (!document.is_array()) {
        return std::nullopt;
    }
    std::vector<ClipboardEntry> entries;
    entries.reserve(document.size());
    for (auto& element : document) {
        if (!element.is_object()) {
            return std::nullopt;
        }
        const auto id = element.find("id");
        const auto kind = element.find("kind");
        const auto preview = element.find("preview");
        const auto payload = element.find("payload");
        const auto date = element.find("date");
        const auto end = element.end();
        if (id == end || kind == end || preview == end || payload == end || date == end ||
            !id->is_string() || !kind->is_string() || !preview->is_string() ||
            !payload->is_string() || !date->is_number()) {
            return std::nullopt;
        }
        const auto canonicalId = canonicalUUID(id->get_ref<const std::string&>());
        const auto entryKind = kindNamed(kind->get_ref<const std::string&>());
        if (!canonicalId || !entryKind) {
            return std::nullopt;
        }
        entries.push_back(
            {*canonicalId, *entryKind, std::move(preview->get_ref<std::string&>()),
             std::make_shared<const std::string>(std::move(payload->get_ref<std::string&>())),
             platform::wallTimeFromReferenceDate(date->get<double>())});
    }
    return entries;
}

}  // namespace parvel
