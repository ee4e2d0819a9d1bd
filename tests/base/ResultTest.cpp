#include <string>

#include <gtest/gtest.h>

#include "base/Error.h"

namespace parvel {
namespace {

const Error kRefused{"com.example", 7, "Refused."};
const Error kMissing{"com.example", 2, "Missing."};

// Result is compared as the std::expected it is: a value with a value, a failure with a failure.
TEST(ResultTest, ComparesAsItsValueOrItsError) {
    const Result<std::string> text = std::string("a");
    const Result<std::string> refused = std::unexpected(kRefused);
    const struct {
        const char* name;
        bool compared;
        bool expected;
    } cases[] = {
        {"same value", text == Result<std::string>(std::string("a")), true},
        {"other value", text == Result<std::string>(std::string("b")), false},
        {"value and failure", text == refused, false},
        {"same failure", refused == Result<std::string>(std::unexpected(kRefused)), true},
        {"other failure", refused == Result<std::string>(std::unexpected(kMissing)), false},
        {"a plain value", text == std::string("a"), true},
        {"a plain value, reversed", std::string("b") == text, false},
        {"a failure and a plain value", refused == std::string("a"), false},
        {"an unexpected", refused == std::unexpected(kRefused), true},
        {"another unexpected", refused == std::unexpected(kMissing), false},
        {"a value and an unexpected", text == std::unexpected(kRefused), false},
        {"not equal", text != refused, true},
    };
    for (const auto& [name, compared, expected] : cases) {
        EXPECT_EQ(compared, expected) << name;
    }
}

TEST(ResultTest, VoidResultsCompareBySuccessThenError) {
    const Result<void> done;
    const Result<void> refused = std::unexpected(kRefused);
    EXPECT_TRUE(done == Result<void>());
    EXPECT_FALSE(done == refused);
    EXPECT_TRUE(refused == Result<void>(std::unexpected(kRefused)));
    EXPECT_FALSE(refused == std::unexpected(kMissing));
}

}  // namespace
}  // namespace parvel
