#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "base/Base64.h"
#include "clipboard/ClipboardEntry.h"
#include "platform/posix/SeededRandomness.h"

namespace parvel {
namespace {

using Kind = ClipboardEntry::Kind;

// 2026-01-05 09:00:00.25 UTC, as Foundation counts it.
const platform::WallTime kDate = platform::wallTimeFromReferenceDate(789296400.25);

std::string asText(const Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

class ClipboardEntryTest : public testing::Test {
  protected:
    posix::SeededRandomness randomness{1};
};

TEST_F(ClipboardEntryTest, TextPreviewsHoldTheFirst180CharactersAsTheUserSeesThem) {
    const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";
    const struct {
        const char* name;
        std::string copied;
        std::string preview;
    } cases[] = {
        {"short text, untrimmed", "  hello \n", "  hello \n"},
        {"200 letters", std::string(200, 'a'), std::string(180, 'a')},
        {"an emoji family as the 180th character", std::string(179, 'a') + family + "tail",
         std::string(179, 'a') + family},
        {"accents made of two code points",
         [] {
             std::string text;
             for (int i = 0; i < 190; ++i) {
                 text += "e\u0301";
             }
             return text;
         }(),
         [] {
             std::string text;
             for (int i = 0; i < 180; ++i) {
                 text += "e\u0301";
             }
             return text;
         }()},
    };
    for (const auto& [name, copied, preview] : cases) {
        SCOPED_TRACE(name);
        const auto entry = ClipboardEntry::text(copied, kDate, randomness);
        EXPECT_EQ(entry.kind, Kind::text);
        EXPECT_EQ(entry.preview, preview);
        EXPECT_EQ(entry.payloadText(), copied);
    }
}

TEST_F(ClipboardEntryTest, FilesShowTheirNamesAndKeepTheirPaths) {
    const auto entry = ClipboardEntry::files(
        {"/Users/me/Documents/report.pdf", "/Users/me/Photos/", "/Users/me/a, b.txt"}, kDate,
        randomness);
    EXPECT_EQ(entry.kind, Kind::files);
    EXPECT_EQ(entry.preview, "report.pdf, Photos, a, b.txt");
    EXPECT_EQ(entry.payloadText(),
              "/Users/me/Documents/report.pdf\n/Users/me/Photos/\n/Users/me/a, b.txt");
}

TEST_F(ClipboardEntryTest, FilePathsComeBackAsCopiedWithoutBlankLines) {
    const std::vector<std::string> paths = {"/Users/me/a b.txt", "/Users/me/Photos/", "/x"};
    EXPECT_EQ(ClipboardEntry::files(paths, kDate, randomness).filePaths(), paths);

    // A stored payload edited by hand may carry blank lines, which name no file.
    ClipboardEntry stored = ClipboardEntry::files({}, kDate, randomness);
    stored.payload = std::make_shared<const std::string>("\n/Users/me/a.txt\n\n/Users/me/b.txt\n");
    EXPECT_EQ(stored.filePaths(), (std::vector<std::string>{"/Users/me/a.txt", "/Users/me/b.txt"}));
    EXPECT_TRUE(ClipboardEntry::files({}, kDate, randomness).filePaths().empty());
}

TEST_F(ClipboardEntryTest, ImagesShowTheirSizeInWholeKilobytes) {
    const std::pair<std::size_t, const char*> cases[] = {{0, "Image 0 KB"},
                                                         {1023, "Image 0 KB"},
                                                         {1024, "Image 1 KB"},
                                                         {1500, "Image 1 KB"},
                                                         {2048 * 1024, "Image 2048 KB"}};
    for (const auto& [size, preview] : cases) {
        Bytes data(size, 0x42);
        const auto entry = ClipboardEntry::image(data, kDate, randomness);
        EXPECT_EQ(entry.preview, preview);
        EXPECT_EQ(base64Decoded(entry.payloadText()), data);
    }
}

TEST_F(ClipboardEntryTest, IdsAreFreshCanonicalVersion4UUIDs) {
    const std::regex canonical(
        "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int index = 0; index < 1000; ++index) {
        const std::string id = makeUUID(randomness);
        EXPECT_TRUE(std::regex_match(id, canonical)) << id;
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

TEST_F(ClipboardEntryTest, IdsComeFromTheRandomnessGivenSoTheSameSeedGivesTheSameIds) {
    posix::SeededRandomness again{1};
    posix::SeededRandomness other{2};
    const std::vector<ClipboardEntry> entries = {
        ClipboardEntry::text("a", kDate, randomness),
        ClipboardEntry::files({"/a/b.txt"}, kDate, randomness),
        ClipboardEntry::image(Bytes{1, 2, 3}, kDate, randomness)};
    for (const auto& entry : entries) {
        SCOPED_TRACE(kindName(entry.kind));
        EXPECT_EQ(entry.id, makeUUID(again));
        EXPECT_NE(entry.id, makeUUID(other));
    }
}

TEST_F(ClipboardEntryTest, StoredFormIsAnArrayOfFiveKeyObjects) {
    const std::vector<ClipboardEntry> entries = {
        ClipboardEntry::text("say \"hi\"\\ \u00e9\n\t\x01", kDate, randomness),
        ClipboardEntry::files({"/a/b.txt"}, kDate + std::chrono::milliseconds(500), randomness),
        ClipboardEntry::image(Bytes{1, 2, 3}, kDate, randomness)};
    const std::string json = asText(encodeClipboardEntries(entries));

    const auto document = nlohmann::json::parse(json);
    ASSERT_TRUE(document.is_array());
    ASSERT_EQ(document.size(), 3u);
    std::vector<std::string> keys;
    for (const auto& [key, value] : document[0].items()) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"date", "id", "kind", "payload", "preview"}));
    EXPECT_TRUE(
        json.starts_with("[{\"id\":\"" + entries[0].id + "\",\"kind\":\"text\",\"preview\":"))
        << "keys in declaration order, no blanks";
    EXPECT_EQ(document[0]["payload"], "say \"hi\"\\ \u00e9\n\t\x01");
    EXPECT_DOUBLE_EQ(document[0]["date"].get<double>(), 789296400.25);
    EXPECT_DOUBLE_EQ(document[1]["date"].get<double>(), 789296400.75);
    EXPECT_EQ(document[1]["kind"], "files");
    EXPECT_EQ(document[2]["kind"], "image");
    EXPECT_EQ(document[2]["payload"], "AQID");

    EXPECT_EQ(decodeClipboardEntries(json), entries);
    EXPECT_EQ(asText(encodeClipboardEntries({})), "[]");
}

TEST_F(ClipboardEntryTest, ReadingAcceptsAnyCaseOfIdAndExtraKeys) {
    const auto entries = decodeClipboardEntries(
        R"([{"id":"0f8fad5b-d9cb-469f-a165-70867728950e","kind":"text","preview":"p",)"
        R"("payload":"p","date":0,"color":"blue"}])");
    ASSERT_TRUE(entries.has_value());
    ASSERT_EQ(entries->size(), 1u);
    EXPECT_EQ(entries->front().id, "0F8FAD5B-D9CB-469F-A165-70867728950E");
    EXPECT_EQ(entries->front().date, platform::wallTimeFromReferenceDate(0));
}

TEST_F(ClipboardEntryTest, AnythingMalformedMakesTheWholeHistoryUnreadable) {
    const std::string good =
        R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E","kind":"text","preview":"p","payload":"p","date":1})";
    const auto without = [&good](const std::string& key) {
        auto element = nlohmann::json::parse(good);
        element.erase(key);
        return "[" + good + "," + element.dump() + "]";
    };
    const auto with = [&good](const std::string& key, nlohmann::json value) {
        auto element = nlohmann::json::parse(good);
        element[key] = std::move(value);
        return "[" + element.dump() + "]";
    };
    const std::pair<std::string, std::string> cases[] = {
        {"garbage", "\x89PNG\r\n\x1a\n"},
        {"empty", ""},
        {"truncated", "[" + good.substr(0, good.size() / 2)},
        {"not an array", good},
        {"an element that is no object", "[" + good + ",42]"},
        {"no id", without("id")},
        {"no kind", without("kind")},
        {"no preview", without("preview")},
        {"no payload", without("payload")},
        {"no date", without("date")},
        {"a numeric id", with("id", 5)},
        {"an id that is no UUID", with("id", "not-a-uuid")},
        {"an unknown kind", with("kind", "video")},
        {"a null preview", with("preview", nullptr)},
        {"a payload array", with("payload", nlohmann::json::array({"a"}))},
        {"a date string", with("date", "2026-01-05")},
        {"invalid UTF-8 in a string", "[" + good.substr(0, good.find("\"p\"")) + "\"\xff\xfe\"" +
                                          good.substr(good.find("\"p\"") + 3) + "]"},
    };
    for (const auto& [name, json] : cases) {
        EXPECT_EQ(decodeClipboardEntries(json), std::nullopt) << name;
    }
}

TEST_F(ClipboardEntryTest, HugeEntriesRoundTrip) {
    const std::vector<ClipboardEntry> entries = {
        ClipboardEntry::text(std::string(8 * 1024 * 1024, 'x'), kDate, randomness),
        ClipboardEntry::image(Bytes(3 * 1024 * 1024, 0xAB), kDate, randomness)};
    EXPECT_EQ(decodeClipboardEntries(asText(encodeClipboardEntries(entries))), entries);
}

}  // namespace
}  // namespace parvel
