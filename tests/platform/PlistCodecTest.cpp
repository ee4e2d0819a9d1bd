#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include "platform/DefaultsContract.h"
#include "platform/PlistCodec.h"
#include "support/CommandOutput.h"

namespace parvel::platform {
namespace {

using testing::HasSubstr;

constexpr auto kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr auto kInt64Max = std::numeric_limits<std::int64_t>::max();

using test_support::commandOutput;

// `innermost` wrapped in single-element arrays, `levels` levels in all.
PlistValue nested(std::size_t levels, PlistValue innermost) {
    for (std::size_t level = 1; level < levels; ++level) {
        innermost = PlistArray{innermost};
    }
    return innermost;
}

std::string repeated(std::string_view text, std::size_t times) {
    std::string result;
    for (std::size_t time = 0; time < times; ++time) {
        result += text;
    }
    return result;
}

void appendBigEndian(Bytes& bytes, std::uint64_t value, std::size_t width) {
    for (std::size_t index = width; index-- > 0;) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * index)));
    }
}

// A binary property list made of raw objects, the first one the root, with references and
// offsets `width` bytes wide.
Bytes binaryPlist(const std::vector<Bytes>& objects, std::size_t width = 1) {
    Bytes file = toBytes("bplist00");
    std::vector<std::uint64_t> offsets;
    for (const auto& object : objects) {
        offsets.push_back(file.size());
        file.insert(file.end(), object.begin(), object.end());
    }
    const std::uint64_t table = file.size();
    for (const auto offset : offsets) {
        appendBigEndian(file, offset, width);
    }
    file.insert(file.end(), 6, 0);
    appendBigEndian(file, width, 1);
    appendBigEndian(file, width, 1);
    appendBigEndian(file, objects.size(), 8);
    appendBigEndian(file, 0, 8);
    appendBigEndian(file, table, 8);
    return file;
}

// An array object (fewer than 15 elements) referring to the given objects.
Bytes arrayObject(const std::vector<std::uint64_t>& references, std::size_t width = 1) {
    Bytes object{static_cast<std::uint8_t>(0xA0 | references.size())};
    for (const auto reference : references) {
        appendBigEndian(object, reference, width);
    }
    return object;
}

// `levels` arrays, each holding the next `fanOut` times; the last holds nothing.
Bytes chainOfArrays(std::size_t levels, std::size_t fanOut) {
    std::vector<Bytes> objects;
    for (std::size_t level = 1; level < levels; ++level) {
        objects.push_back(arrayObject(std::vector<std::uint64_t>(fanOut, level), 2));
    }
    objects.push_back(arrayObject({}));
    return binaryPlist(objects, 2);
}

const std::string kXmlHeader = R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)";

Bytes xmlPlist(std::string_view body) {
    return toBytes(kXmlHeader + std::string(body) + "</plist>");
}

std::string formatName(PlistFormat format) {
    return format == PlistFormat::Binary ? "Binary" : "Xml";
}

}  // namespace

// Names the format in test listings.
void PrintTo(PlistFormat format, std::ostream* out) {
    *out << formatName(format);
}

namespace {

// ---- Round trips ---------------------------------------------------------------------------

class PlistCodecRoundTrip : public testing::TestWithParam<PlistFormat> {};

TEST_P(PlistCodecRoundTrip, EveryValueComesBackWithItsTypeAndValue) {
    auto values = contract::valuesOfEveryType();
    // XML stores whole seconds, so only those dates are shared by both formats.
    std::erase_if(values, [](const auto& entry) { return entry.second.asDate().has_value(); });
    values.insert(values.end(), {
                                    {"zero", 0},
                                    {"minus one", -1},
                                    {"above 32 bits", std::int64_t{1} << 40},
                                    {"tiny real", 1e-300},
                                    {"markup in text", "<key>&amp;</key> \"'"},
                                    {"2001", PlistDate{0}},
                                    {"1970", PlistDate{-978'307'200}},
                                    {"2060", PlistDate{1'893'456'000}},
                                    {"odd keys", PlistDictionary{{"", 1}, {"ünï cödé", 2}}},
                                });
    values.emplace_back("everything", PlistDictionary(values.begin(), values.end()));
    for (const auto& [name, value] : values) {
        const auto bytes = encodePlist(value, GetParam());
        ASSERT_TRUE(bytes.has_value()) << name << ": " << bytes.error().description;
        const auto decoded = decodePlist(*bytes);
        ASSERT_TRUE(decoded.has_value()) << name << ": " << decoded.error().description;
        EXPECT_EQ(*decoded, value) << name << " came back as " << describe(*decoded);
    }
}

TEST_P(PlistCodecRoundTrip, NestingIsLimitedTheSameWayBothWays) {
    const auto deepest = encodePlist(nested(kMaxPlistDepth, 0), GetParam());
    ASSERT_TRUE(deepest.has_value());
    EXPECT_EQ(decodePlist(*deepest), nested(kMaxPlistDepth, 0));

    const auto tooDeep = encodePlist(nested(kMaxPlistDepth + 1, 0), GetParam());
    ASSERT_FALSE(tooDeep.has_value());
    EXPECT_EQ(tooDeep.error().code, static_cast<std::int64_t>(PlistErrorCode::TooComplex));
}

TEST_P(PlistCodecRoundTrip, ValuesNoPropertyListWriterCanHoldAreRefused) {
    const std::vector<std::pair<std::string, PlistValue>> values{
        {"NUL in a string", std::string("a\0b", 3)},
        {"NUL in a key", PlistDictionary{{std::string("a\0b", 3), 1}}},
        {"bad UTF-8", "\xC3\x28"},
        {"date after 2069", PlistDate{3e9}},
        {"date before 1933", PlistDate{-3e9}},
        {"date that is not a number", PlistDate{std::nan("")}},
    };
    for (const auto& [name, value] : values) {
        const auto bytes = encodePlist(PlistArray{value}, GetParam());
        ASSERT_FALSE(bytes.has_value()) << name;
        EXPECT_EQ(bytes.error(), (Error{"ParvelMac.Plist", 2,
                                        "The property list holds a value that cannot be "
                                        "represented."}))
            << name;
    }
}

INSTANTIATE_TEST_SUITE_P(PlistCodecFormats, PlistCodecRoundTrip,
                         testing::Values(PlistFormat::Binary, PlistFormat::Xml),
                         [](const auto& instance) { return formatName(instance.param); });

TEST(PlistCodec, BinaryDatesKeepMicrosecondsAndTheirSign) {
    for (const double seconds :
         {0.5, -0.5, -0.000001, -1.25, 123'456.789012, -2'000'000'000.000001, 2'147'483'647.0}) {
        const auto bytes = encodePlist(PlistDate{seconds}, PlistFormat::Binary);
        ASSERT_TRUE(bytes.has_value()) << seconds;
        EXPECT_EQ(decodePlist(*bytes), PlistValue(PlistDate{seconds}))
            << fmt::format("{}", seconds);
    }
}

// ---- Bad input -----------------------------------------------------------------------------

struct BadInput {
    std::string name;
    Bytes bytes;
    PlistErrorCode expected;
};

std::vector<BadInput> badInputs() {
    return {
        {"empty", {}, PlistErrorCode::Invalid},
        {"text", toBytes("hello"), PlistErrorCode::Invalid},
        {"magic and junk", toBytes("bplist00 this is not a property list at all, not even close"),
         PlistErrorCode::Invalid},
        {"unknown binary version", toBytes("bplist15"), PlistErrorCode::Invalid},
        {"UID root", binaryPlist({{0x80, 0x07}}), PlistErrorCode::Unsupported},
        {"UID in an array", binaryPlist({arrayObject({1}), {0x80, 0x07}}),
         PlistErrorCode::Unsupported},
        {"16-byte integer above 63 bits",
         binaryPlist({{0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0}}),
         PlistErrorCode::Unsupported},
        {"array holding itself", binaryPlist({arrayObject({0})}), PlistErrorCode::Invalid},
        {"reference past the objects", binaryPlist({arrayObject({1})}), PlistErrorCode::Invalid},
        {"string with a NUL", binaryPlist({{0x53, 'a', 0, 'b'}}), PlistErrorCode::Unsupported},
        {"lone UTF-16 surrogate", binaryPlist({{0x61, 0xD8, 0x3D}}), PlistErrorCode::Invalid},
        {"binary nested too deeply", chainOfArrays(kMaxPlistDepth + 1, 1),
         PlistErrorCode::TooComplex},
        {"shared objects expanding exponentially", chainOfArrays(40, 2),
         PlistErrorCode::TooComplex},
        {"XML nested too deeply",
         xmlPlist(repeated("<array>", kMaxPlistDepth + 1) +
                  repeated("</array>", kMaxPlistDepth + 1)),
         PlistErrorCode::TooComplex},
        {"missing </plist>", toBytes(kXmlHeader + "<true/>"), PlistErrorCode::Invalid},
        {"unclosed element", xmlPlist("<array><true/>"), PlistErrorCode::Invalid},
        {"key without a value", xmlPlist("<dict><key>a</key></dict>"), PlistErrorCode::Invalid},
        {"second root", xmlPlist("<true/><false/>"), PlistErrorCode::Invalid},
        {"junk after the root", toBytes(kXmlHeader + "<true/></plist>junk"),
         PlistErrorCode::Invalid},
        {"integer that is a word", xmlPlist("<integer>abc</integer>"), PlistErrorCode::Invalid},
        {"empty integer", xmlPlist("<integer/>"), PlistErrorCode::Invalid},
        {"integer above 63 bits", xmlPlist("<integer>9223372036854775808</integer>"),
         PlistErrorCode::Unsupported},
        {"integer below 63 bits", xmlPlist("<integer>-9223372036854775809</integer>"),
         PlistErrorCode::Unsupported},
        {"real that is a word", xmlPlist("<real>zz</real>"), PlistErrorCode::Invalid},
        {"date that is a word", xmlPlist("<date>yesterday</date>"), PlistErrorCode::Invalid},
        {"base64 with bad padding", xmlPlist("<data>YWJjZA=</data>"), PlistErrorCode::Invalid},
        {"bad UTF-8 in XML", xmlPlist("<string>\xFF\xFE</string>"), PlistErrorCode::Invalid},
    };
}

TEST(PlistCodec, BadInputIsAnErrorWithTheRightCode) {
    for (const auto& [name, bytes, expected] : badInputs()) {
        const auto decoded = decodePlist(bytes);
        ASSERT_FALSE(decoded.has_value()) << name << " decoded as " << describe(*decoded);
        EXPECT_EQ(decoded.error().domain, "ParvelMac.Plist") << name;
        EXPECT_EQ(decoded.error().code, static_cast<std::int64_t>(expected)) << name;
    }
}

TEST(PlistCodec, HandBuiltControlsOfTheBadInputsDecode) {
    const std::vector<std::pair<Bytes, PlistValue>> controls{
        {binaryPlist({{0x10, 0x05}}), 5},
        {binaryPlist({arrayObject({1, 1}), {0x62, 0xD8, 0x3D, 0xDE, 0x00}}), PlistArray{"😀", "😀"}},
        {chainOfArrays(kMaxPlistDepth, 1), nested(kMaxPlistDepth, PlistArray{})},
        {xmlPlist("<dict><key>a</key><integer>-0x10</integer></dict>"),
         PlistDictionary{{"a", -16}}},
        {xmlPlist("<data>YWJj\nZA==</data>"), toBytes("abcd")},
        {xmlPlist("<real>+infinity</real>"), std::numeric_limits<double>::infinity()},
    };
    for (const auto& [bytes, expected] : controls) {
        const auto decoded = decodePlist(bytes);
        ASSERT_TRUE(decoded.has_value())
            << describe(expected) << ": " << decoded.error().description;
        EXPECT_EQ(*decoded, expected) << describe(*decoded);
    }
}

TEST(PlistCodec, EveryTruncationFails) {
    const auto values = contract::valuesOfEveryType();
    const PlistValue sample = PlistDictionary(values.begin(), values.end());
    for (const auto format : {PlistFormat::Binary, PlistFormat::Xml}) {
        const Bytes whole = *encodePlist(sample, format);
        // XML stays complete until its closing tag is cut; the trailing newline is optional.
        const std::size_t complete =
            format == PlistFormat::Xml ? toString(whole).rfind("</plist>") + 8 : whole.size();
        for (std::size_t length = 0; length < complete; ++length) {
            EXPECT_FALSE(decodePlist(Bytes(whole.begin(), whole.begin() + length)).has_value())
                << formatName(format) << " cut to " << length << " bytes";
        }
    }
}

// ---- Other readers -------------------------------------------------------------------------

TEST(PlistCodec, IndependentReadersSeeWhatWasWritten) {
    const PlistValue written = PlistDictionary{
        {"negative", -5},
        {"smallest", kInt64Min},
        {"largest", kInt64Max},
        {"flag", true},
        {"ratio", 2.0},
        {"text", "Grüße"},
        {"when", PlistDate{-86'400.25}},
        {"blob", Bytes{1, 2, 255}},
        {"list", PlistArray{-1, PlistDictionary{}}},
    };
    // Python's repr tells bool from int and float, and shows dates to the microsecond; XML dates
    // hold the whole second they fall in.
    const std::string common =
        "[('blob', b'\\x01\\x02\\xff'), ('flag', True), ('largest', 9223372036854775807), "
        "('list', [-1, {}]), ('negative', -5), ('ratio', 2.0), "
        "('smallest', -9223372036854775808), ('text', 'Grüße'), ('when', datetime.datetime(2000, "
        "12, 30, 23, 59, 59";
    const std::vector<std::pair<PlistFormat, std::string>> cases{
        {PlistFormat::Binary, common + ", 750000))]\n"},
        {PlistFormat::Xml, common + "))]\n"},
    };
    const contract::TemporaryDirectory directory;
    const std::string path = directory.path() + "/written.plist";
    for (const auto& [format, expected] : cases) {
        const Bytes bytes = *encodePlist(written, format);
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));

        EXPECT_EQ(
            commandOutput(fmt::format("python3 -c \"import plistlib, sys; print(sorted("
                                      "plistlib.load(open(sys.argv[1], 'rb')).items()))\" '{}'",
                                      path)),
            expected)
            << formatName(format);
        const std::string converted = commandOutput(fmt::format("plistutil -i '{}' -f xml", path));
        for (const auto* line :
             {"<integer>-5</integer>", "<integer>-9223372036854775808</integer>",
              "<integer>9223372036854775807</integer>", "<true/>", "<string>Grüße</string>"}) {
            EXPECT_THAT(converted, HasSubstr(line)) << formatName(format);
        }
    }
}

// Wide references and offsets, long collections and strings, and every integer width, read back
// by Python's plistlib.
TEST(PlistCodec, LargeBinaryPropertyListsAreReadableElsewhere) {
    PlistDictionary many;
    for (int index = 0; index < 300; ++index) {
        many.emplace(fmt::format("key{:03}", index), index);
    }
    const PlistValue written = PlistDictionary{
        {"many", many},
        {"blob", Bytes(70'000, 0xAB)},
        {"widths", PlistArray{0, 255, 256, 65535, 65536, std::int64_t{4294967295},
                              std::int64_t{4294967296}, -1, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"emoji", "family \U0001F468\u200D\U0001F469\u200D\U0001F467 and more text"},
        {"a long ascii key that is over fifteen characters", "x"},
    };
    const contract::TemporaryDirectory directory;
    const std::string path = directory.path() + "/large.plist";
    const Bytes bytes = *encodePlist(written, PlistFormat::Binary);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    EXPECT_EQ(
        commandOutput(fmt::format(
            "python3 -c \"import plistlib, sys; p = plistlib.load(open(sys.argv[1], 'rb')); "
            "print(len(p['many']), sum(p['many'].values()), len(p['blob']), p['widths'], "
            "p['emoji'] == 'family \\U0001F468\\u200D\\U0001F469\\u200D\\U0001F467 and more text', "
            "p['a long ascii key that is over fifteen characters'])\" '{}'",
            path)),
        "300 44850 70000 [0, 255, 256, 65535, 65536, 4294967295, 4294967296, -1, 1, 2, 3, 4, "
        "5, 6, 7, 8] True x\n");
    EXPECT_EQ(decodePlist(bytes), written);
}

}  // namespace
}  // namespace parvel::platform
