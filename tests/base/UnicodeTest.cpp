#include <string>

#include <gtest/gtest.h>

#include "base/Unicode.h"

namespace parvel {
namespace {

TEST(Unicode, GraphemePrefixCountsWhatTheUserSeesAsOneCharacter) {
    const struct {
        const char* name;
        std::string text;
        std::size_t count;
        std::string prefix;
    } cases[] = {
        {"ascii", "abcdef", 3, "abc"},
        {"shorter than the count", "ab", 5, "ab"},
        {"nothing", "abc", 0, ""},
        {"precomposed e acute", "\u00e9t\u00e9", 2, "\u00e9t"},
        {"e with a combining accent", "e\u0301te\u0301", 2, "e\u0301t"},
        {"family emoji joined by ZWJ", "\U0001F468\u200D\U0001F469\u200D\U0001F467x", 1,
         "\U0001F468\u200D\U0001F469\u200D\U0001F467"},
        {"two flags", "\U0001F1EB\U0001F1F7\U0001F1E9\U0001F1EA", 1, "\U0001F1EB\U0001F1F7"},
        {"skin tone", "\U0001F44D\U0001F3FDok", 2, "\U0001F44D\U0001F3FDo"},
        {"carriage return and line feed", "a\r\nb", 2, "a\r\n"},
        {"hangul jamo", "\u1100\u1161\u11A8\u1100", 1, "\u1100\u1161\u11A8"},
    };
    for (const auto& [name, text, count, prefix] : cases) {
        EXPECT_EQ(graphemePrefix(text, count), prefix) << name;
    }
}

TEST(Unicode, LowerCasingCoversEveryScript) {
    const std::pair<std::string, std::string> cases[] = {
        {"HeLLo", "hello"},
        {"\u00c4\u00d6\u00dc", "\u00e4\u00f6\u00fc"},
        {"\u00c9COLE", "\u00e9cole"},
        {"\u0391\u0392\u0393", "\u03b1\u03b2\u03b3"},
        {"\u041C\u041E\u0421\u041A\u0412\u0410", "\u043C\u043E\u0441\u043A\u0432\u0430"},
        {"\u1E9E", "\u00df"},
        {"\u65e5\u672c", "\u65e5\u672c"},
    };
    for (const auto& [text, lower] : cases) {
        EXPECT_EQ(lowercased(text), lower) << text;
    }
}

TEST(Unicode, BlankMeansOnlySpacesAndLineBreaks) {
    const std::pair<std::string, bool> cases[] = {
        {"", true},
        {"   ", true},
        {" \t\n\r\v\f", true},
        {"\u00a0\u2028\u2029\u3000\u0085", true},
        {" a ", false},
        {"\u200b", false},  // a zero-width space is a format character, not a blank
        {".", false},
    };
    for (const auto& [text, blank] : cases) {
        EXPECT_EQ(isBlank(text), blank) << text;
    }
}

}  // namespace
}  // namespace parvel
