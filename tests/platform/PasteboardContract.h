#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Pasteboard.h"

// What every Pasteboard adapter must do with the general pasteboard. A driver type gives the
// adapter and the other applications of its machine:
//   platform::Pasteboard& pasteboard;
//   void copyText(const std::string& text);                     // another app copies text
//   void copyFilesInFinder(const std::vector<std::string>& paths);  // one item per file: its
//                                                               // file URL and its name as text
namespace parvel::contract {

namespace pasteboard_types = platform::pasteboard_types;

// True when every type of `written` is among `types`, in the same order. A real pasteboard may
// list more types than were written (older aliases of them), never fewer.
inline bool listsInOrder(const std::vector<std::string>& types,
                         const std::vector<std::string>& written) {
    auto next = types.begin();
    for (const auto& type : written) {
        next = std::find(next, types.end(), type);
        if (next == types.end()) {
            return false;
        }
        ++next;
    }
    return true;
}

template <typename Driver>
class PasteboardContract : public testing::Test {
  protected:
    static constexpr std::string_view kMarkerType = "com.example.contract.marker";

    Driver driver;
    platform::Pasteboard& pasteboard = driver.pasteboard;
};

TYPED_TEST_SUITE_P(PasteboardContract);

TYPED_TEST_P(PasteboardContract, ClearingTakesOwnershipAndRaisesTheCountOnce) {
    auto& board = this->pasteboard;
    const auto before = board.changeCount();
    const auto cleared = board.clearContents();
    EXPECT_GT(cleared, before);
    EXPECT_EQ(board.changeCount(), cleared);

    EXPECT_TRUE(board.setString("text", pasteboard_types::kString));
    EXPECT_TRUE(board.setData(Bytes{0x89, 0x50, 0x4E, 0x47}, pasteboard_types::kPNG));
    EXPECT_TRUE(board.writeFileURLs({"/Users/me/report.pdf"}));
    EXPECT_EQ(board.changeCount(), cleared) << "writes after clearing keep the count";

    EXPECT_GT(board.clearContents(), cleared);
}

TYPED_TEST_P(PasteboardContract, ClearingLeavesNothingToRead) {
    auto& board = this->pasteboard;
    this->driver.copyFilesInFinder({"/Users/me/a.txt"});
    ASSERT_FALSE(board.types().empty());
    board.clearContents();
    EXPECT_EQ(board.types(), std::vector<std::string>{});
    EXPECT_EQ(board.string(pasteboard_types::kString), std::nullopt);
    EXPECT_EQ(board.data(pasteboard_types::kFileURL), std::nullopt);
    EXPECT_EQ(board.fileURLs(), std::vector<std::string>{});
}

TYPED_TEST_P(PasteboardContract, RepresentationsReadBackByteForByte) {
    enum class Content { Text, Binary };
    struct Case {
        std::string_view type;
        Bytes value;
        Content content;
    };
    const Case cases[] = {
        {pasteboard_types::kString, toBytes("plain text"), Content::Text},
        {pasteboard_types::kString, toBytes("Schlüssel 🔑 and\nmore lines\r\n"), Content::Text},
        {pasteboard_types::kPNG, Bytes{0x89, 0x50, 0x4E, 0x47, 0x00, 0x0D, 0xFF, 0x00},
         Content::Binary},
        {pasteboard_types::kTIFF, Bytes(65536, 0x4D), Content::Binary},
        {TestFixture::kMarkerType, toBytes("cut"), Content::Text},
    };
    auto& board = this->pasteboard;
    for (const auto& [type, value, content] : cases) {
        SCOPED_TRACE(type);
        board.clearContents();
        ASSERT_TRUE(board.setData(value, type));
        EXPECT_EQ(board.data(type), value);
        if (content == Content::Text) {
            EXPECT_EQ(board.string(type), toString(value));
        }
        EXPECT_TRUE(listsInOrder(board.types(), {std::string(type)}));
    }
    board.clearContents();
    ASSERT_TRUE(board.setString("Grüße", pasteboard_types::kString));
    EXPECT_EQ(board.data(pasteboard_types::kString), toBytes("Grüße"));
}

TYPED_TEST_P(PasteboardContract, OneItemHoldsOneRepresentationPerType) {
    auto& board = this->pasteboard;
    const Bytes png{0x89, 0x50, 0x4E, 0x47};
    board.clearContents();
    ASSERT_TRUE(board.setString("first", pasteboard_types::kString));
    ASSERT_TRUE(board.setData(png, pasteboard_types::kPNG));
    ASSERT_TRUE(board.setString("replaced", pasteboard_types::kString));

    EXPECT_EQ(board.string(pasteboard_types::kString), "replaced");
    EXPECT_EQ(board.data(pasteboard_types::kPNG), png);
    const auto types = board.types();
    EXPECT_TRUE(listsInOrder(
        types, {std::string(pasteboard_types::kString), std::string(pasteboard_types::kPNG)}));
    EXPECT_EQ(std::ranges::count(types, pasteboard_types::kString), 1);
    for (const auto absent : {pasteboard_types::kTIFF, pasteboard_types::kFileURL}) {
        EXPECT_EQ(board.data(absent), std::nullopt) << absent;
        EXPECT_EQ(std::ranges::count(types, absent), 0) << absent;
    }
    EXPECT_EQ(board.fileURLs(), std::vector<std::string>{});
}

TYPED_TEST_P(PasteboardContract, FileURLsAreOneItemPerPathInOrder) {
    const std::vector<std::string> paths = {
        "/Users/me/Documents/report.pdf",
        "/Users/me/Desktop/a b.txt",
        "/Users/me/Desktop/Ünïcode #1 100%.txt",
        "/Volumes/Backup/photo.jpeg",
    };
    auto& board = this->pasteboard;
    board.clearContents();
    ASSERT_TRUE(board.writeFileURLs(paths));
    EXPECT_EQ(board.fileURLs(), paths);
    EXPECT_EQ(board.data(pasteboard_types::kFileURL),
              toBytes("file:///Users/me/Documents/report.pdf"))
        << "the first item's URL";
    EXPECT_TRUE(listsInOrder(board.types(), {std::string(pasteboard_types::kFileURL)}));
}

// How files travel with a note of what to do with them: the note goes on the first item.
TYPED_TEST_P(PasteboardContract, FilesAndANoteOnThemTravelTogether) {
    const std::vector<std::string> paths = {"/Users/me/a.txt", "/Users/me/b.txt"};
    auto& board = this->pasteboard;
    board.clearContents();
    ASSERT_TRUE(board.writeFileURLs(paths));
    ASSERT_TRUE(board.setString("cut", TestFixture::kMarkerType));
    EXPECT_EQ(board.fileURLs(), paths);
    EXPECT_EQ(board.string(TestFixture::kMarkerType), "cut");
}

TYPED_TEST_P(PasteboardContract, AnotherApplicationsCopyEndsOurOwnership) {
    auto& board = this->pasteboard;
    board.clearContents();
    ASSERT_TRUE(board.setString("mine", pasteboard_types::kString));
    const auto ours = board.changeCount();

    this->driver.copyText("theirs");
    const auto theirs = board.changeCount();
    EXPECT_GT(theirs, ours);
    EXPECT_FALSE(board.setString("late", pasteboard_types::kString));
    EXPECT_FALSE(board.setData(toBytes("late"), TestFixture::kMarkerType));
    EXPECT_FALSE(board.writeFileURLs({"/Users/me/late.txt"}));
    EXPECT_EQ(board.string(pasteboard_types::kString), "theirs");
    EXPECT_EQ(board.data(TestFixture::kMarkerType), std::nullopt);
    EXPECT_EQ(board.fileURLs(), std::vector<std::string>{});
    EXPECT_EQ(board.changeCount(), theirs) << "refused writes change nothing";

    EXPECT_GT(board.clearContents(), theirs);
    EXPECT_TRUE(board.setString("mine again", pasteboard_types::kString));
    EXPECT_EQ(board.string(pasteboard_types::kString), "mine again");
}

TYPED_TEST_P(PasteboardContract, TextOfEveryItemIsJoinedByLines) {
    const std::vector<std::string> paths = {"/Users/me/x.pdf", "/Users/me/Photos",
                                            "/Users/me/notes.txt"};
    auto& board = this->pasteboard;
    this->driver.copyFilesInFinder(paths);
    EXPECT_EQ(board.fileURLs(), paths);
    EXPECT_EQ(board.string(pasteboard_types::kString), "x.pdf\nPhotos\nnotes.txt");
    EXPECT_EQ(board.data(pasteboard_types::kString), toBytes("x.pdf"))
        << "data comes from the first item that has the type";
    EXPECT_TRUE(listsInOrder(board.types(), {std::string(pasteboard_types::kFileURL),
                                             std::string(pasteboard_types::kString)}));
}

REGISTER_TYPED_TEST_SUITE_P(PasteboardContract, ClearingTakesOwnershipAndRaisesTheCountOnce,
                            ClearingLeavesNothingToRead, RepresentationsReadBackByteForByte,
                            OneItemHoldsOneRepresentationPerType, FileURLsAreOneItemPerPathInOrder,
                            FilesAndANoteOnThemTravelTogether,
                            AnotherApplicationsCopyEndsOurOwnership,
                            TextOfEveryItemIsJoinedByLines);

}  // namespace parvel::contract
