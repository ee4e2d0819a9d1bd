#include <gtest/gtest.h>

#include "base/Utf8.h"

namespace parvel {
namespace {

struct Utf8Case {
    const char* name;
    std::string bytes;
    bool valid;
};

TEST(Utf8, AcceptsWellFormedTextAndRejectsEverythingElse) {
    const Utf8Case cases[] = {
        {"empty", "", true},
        {"ascii", "Hello, world\n", true},
        {"two-byte", "caf\xC3\xA9", true},
        {"three-byte", "\xE2\x80\x98quoted\xE2\x80\x99", true},
        {"four-byte emoji", "\xF0\x9F\x98\x80", true},
        {"highest code point", "\xF4\x8F\xBF\xBF", true},
        {"embedded NUL", std::string("a\0b", 3), true},
        {"lone continuation", "\x80", false},
        {"invalid lead 0xFF", "\xFF", false},
        {"overlong slash", "\xC0\xAF", false},
        {"overlong three-byte", "\xE0\x80\xAF", false},
        {"surrogate half", "\xED\xA0\x80", false},
        {"above U+10FFFF", "\xF4\x90\x80\x80", false},
        {"truncated at end", "ab\xE2\x82", false},
        {"missing continuation", "\xC3(", false},
    };
    for (const auto& testCase : cases) {
        EXPECT_EQ(isValidUtf8(testCase.bytes), testCase.valid) << testCase.name;
        EXPECT_EQ(decodeUtf8OrEmpty(testCase.bytes), testCase.valid ? testCase.bytes : "")
            << testCase.name;
    }
}

}  // namespace
}  // namespace parvel
