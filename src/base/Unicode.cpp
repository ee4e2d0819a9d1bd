#include "base/Unicode.h"

#include <memory>

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace parvel {

std::string graphemePrefix(std::string_view utf8, std::size_t count) {
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> clusters(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    std::string prefix;
    if (U_FAILURE(status)) {
        return prefix;
    }
    clusters->setText(text);
    std::int32_t end = clusters->first();
    for (std::size_t taken = 0; taken < count; ++taken) {
        const std::int32_t next = clusters->next();
        if (next == icu::BreakIterator::DONE) {
            break;
        }
        end = next;
    }
    text.tempSubString(0, end).toUTF8String(prefix);
    return prefix;
}

bool isBlank(std::string_view utf8) {
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
    for (std::int32_t index = 0; index < text.length();) {
        const UChar32 character = text.char32At(index);
        const auto category = u_charType(character);
        const bool blank = category == U_SPACE_SEPARATOR || category == U_LINE_SEPARATOR ||
                           category == U_PARAGRAPH_SEPARATOR ||
                           (character >= 0x09 && character <= 0x0D) || character == 0x85;
        if (!blank) {
            return false;
        }
        index += U16_LENGTH(character);
    }
    return true;
}

std::string lowercased(std::string_view utf8) {
    icu::UnicodeString text = icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
    std::string lower;
    text.toLower(icu::Locale::getRoot()).toUTF8String(lower);
    return lower;
}

}  // namespace parvel
