#include <optional>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "base/Base64.h"

namespace parvel {
namespace {

TEST(Base64, EncodesTheStandardTestVectors) {
    const std::pair<const char*, const char*> vectors[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
    };
    for (const auto& [plain, encoded] : vectors) {
        EXPECT_EQ(base64Encoded(toBytes(plain)), encoded) << plain;
        EXPECT_EQ(base64Decoded(encoded), toBytes(plain)) << encoded;
    }
    EXPECT_EQ(base64Encoded(Bytes{0xFB, 0xFF, 0xBF}), "+/+/") << "the standard alphabet";
}

TEST(Base64, RoundTripsEveryLengthAndByte) {
    std::mt19937 random(7);
    for (std::size_t size = 0; size < 300; ++size) {
        Bytes data(size);
        for (auto& byte : data) {
            byte = static_cast<std::uint8_t>(random());
        }
        const std::string encoded = base64Encoded(data);
        EXPECT_EQ(encoded.find('\n'), std::string::npos);
        EXPECT_EQ(base64Decoded(encoded), data) << size;
    }
}

TEST(Base64, RejectsAnythingButStrictPaddedBase64) {
    const char* invalid[] = {"Zg",   "Zg=",      "Zm9v\nYmFy", "Zm9 v",    "Zm9v====",
                             "Z===", "Zg==Zm9v", "Zm-_",       "Zm9vYmF*", "=Zm9"};
    for (const char* text : invalid) {
        EXPECT_EQ(base64Decoded(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace parvel
