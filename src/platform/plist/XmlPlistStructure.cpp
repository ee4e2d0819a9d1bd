#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <expected>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/plist/PlistCodecInternal.h"

namespace parvel::platform::plist {
namespace {

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

}  // namespace

Result<void> checkXmlStructure(std::string_view text) {
    return XmlStructure(text).check();
}

}  // namespace parvel::platform::plist
