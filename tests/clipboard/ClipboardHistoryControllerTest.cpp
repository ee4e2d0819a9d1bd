#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/Base64.h"
#include "clipboard/ClipboardHistoryController.h"
#include "core/SettingsKeys.h"
#include "core/SettingsStore.h"
#include "platform/posix/SeededRandomness.h"
#include "platform/sim/SimApplication.h"
#include "platform/sim/SimPasteboard.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimulatedMac.h"

namespace parvel {
namespace {

namespace keys = settings_keys;
namespace types = platform::pasteboard_types;
using Kind = ClipboardEntry::Kind;
using Previews = std::vector<std::string>;

class ClipboardHistoryControllerTest : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    SettingsStore settings{mac.defaults()};
    std::optional<ClipboardHistoryController> history;

    void SetUp() override {
        settings.initializeDefaults();
        start();
    }
    // (Re)creates the controller, as a launch does, and switches capture on.
    void start() {
        history.reset();
        history.emplace(ClipboardHistoryController::Services{
            *mac.platform().pasteboard, settings, mac.dispatch(), *mac.platform().presenter,
            *mac.platform().application, *mac.platform().randomness});
        history->setEnabled(true);
    }
    void copyText(const std::string& text) {
        mac.pasteboard().copyText("Notes", text);
        tick();
    }
    // One polling period.
    void tick() { mac.dispatch().advance(ClipboardHistoryController::kPollInterval); }
    Previews previews() const {
        Previews shown;
        for (const auto& entry : history->entries()) {
            shown.push_back(entry.preview);
        }
        return shown;
    }
};

TEST_F(ClipboardHistoryControllerTest, OnlyTheNewestEntryStopsADuplicate) {
    for (const char* text : {"A", "A", "B", "A", " A "}) {
        copyText(text);
    }
    EXPECT_EQ(previews(), (Previews{" A ", "A", "B", "A"}));
}

// Ids come from the Mac's randomness, so a run with the same seed stores the same ids.
TEST_F(ClipboardHistoryControllerTest, EntryIdsAreDrawnFromTheMacsRandomness) {
    copyText("A");
    copyText("B");
    posix::SeededRandomness sameSeed{sim::SimulatedMacOptions{}.randomSeed};
    const std::string first = makeUUID(sameSeed);
    ASSERT_EQ(history->entries().size(), 2u);
    EXPECT_EQ(history->entries()[1].id, first);
    EXPECT_EQ(history->entries()[0].id, makeUUID(sameSeed));
}

TEST_F(ClipboardHistoryControllerTest, NothingIsReadUntilThePasteboardChanges) {
    copyText("A");
    const auto date = history->entries().front().date;
    mac.dispatch().advance(platform::seconds(60));
    ASSERT_EQ(history->entries().size(), 1u);
    EXPECT_EQ(history->entries().front().date, date);
}

TEST_F(ClipboardHistoryControllerTest, BlanksAndSwitchedOffKindsAreConsumedForGood) {
    copyText(" \n\t ");
    EXPECT_TRUE(history->entries().empty());

    mac.pasteboard().copyImage("Preview", Bytes(2000, 1), types::kPNG);
    tick();
    settings.set(keys::clipboardCaptureImagesKey, true);
    tick();
    EXPECT_TRUE(history->entries().empty()) << "the image was seen while images were off";

    mac.pasteboard().copyImage("Preview", Bytes(2000, 1), types::kPNG);
    tick();
    EXPECT_EQ(previews(), Previews{"Image 1 KB"});
}

TEST_F(ClipboardHistoryControllerTest, FilesComeFirstThenTextThenImages) {
    mac.pasteboard().copyFiles({"/Users/me/a.txt", "/Users/me/b.txt"});
    tick();
    EXPECT_EQ(history->entries().front().kind, Kind::text) << "files off: Finder's names as text";
    EXPECT_EQ(history->entries().front().payloadText(), "a.txt\nb.txt");

    settings.set(keys::clipboardCaptureFilesKey, true);
    settings.set(keys::clipboardCaptureImagesKey, true);
    mac.pasteboard().copyFiles({"/Users/me/a.txt", "/Users/me/b.txt"});
    tick();
    EXPECT_EQ(history->entries().front().kind, Kind::files);
    EXPECT_EQ(history->entries().front().payloadText(), "/Users/me/a.txt\n/Users/me/b.txt");

    mac.pasteboard().copyFromApplication("Preview",
                                         {{{{std::string(types::kTIFF), Bytes(10, 1)},
                                            {std::string(types::kString), toBytes("caption")}}}});
    tick();
    EXPECT_EQ(history->entries().front().preview, "caption");

    settings.set(keys::clipboardCaptureTextKey, false);
    mac.pasteboard().copyFromApplication("Preview",
                                         {{{{std::string(types::kTIFF), Bytes(3000, 2)},
                                            {std::string(types::kPNG), Bytes(1100, 3)},
                                            {std::string(types::kString), toBytes("caption")}}}});
    tick();
    EXPECT_EQ(history->entries().front().preview, "Image 1 KB");
    EXPECT_EQ(base64Decoded(history->entries().front().payloadText()), Bytes(1100, 3))
        << "PNG is preferred to TIFF";
}

TEST_F(ClipboardHistoryControllerTest, TextThatIsNotUTF8IsNotRecorded) {
    mac.pasteboard().copyFromApplication(
        "Terminal", {{{{std::string(types::kString), Bytes{'a', 0xFF, 'b'}}}}});
    tick();
    EXPECT_TRUE(history->entries().empty());
}

TEST_F(ClipboardHistoryControllerTest, TheLimitAppliesAtTheNextCapture) {
    const struct {
        const char* name;
        std::optional<platform::PlistValue> limit;
        std::size_t kept;
    } cases[] = {
        {"10", std::int64_t{10}, 10}, {"3", std::int64_t{3}, 3},   {"0", std::int64_t{0}, 1},
        {"-5", std::int64_t{-5}, 1},  {"absent", std::nullopt, 1}, {"a string", "50", 1},
    };
    for (const auto& [name, limit, kept] : cases) {
        SCOPED_TRACE(name);
        settings.set(keys::clipboardHistoryLimitKey, std::int64_t{50});
        for (int index = 0; index < 12; ++index) {
            copyText(std::string(name) + std::to_string(index));
        }
        const std::size_t before = history->entries().size();
        limit ? settings.set(keys::clipboardHistoryLimitKey, *limit)
              : settings.remove(keys::clipboardHistoryLimitKey);
        tick();
        EXPECT_EQ(history->entries().size(), before) << "nothing trims before a capture";
        copyText(std::string(name) + " newest");
        ASSERT_EQ(history->entries().size(), kept);
        EXPECT_EQ(history->entries().front().preview, std::string(name) + " newest");
    }
}

TEST_F(ClipboardHistoryControllerTest, RestoringPutsTheItemBackWithoutRecordingItAgain) {
    settings.set(keys::clipboardCaptureImagesKey, true);
    settings.set(keys::clipboardCaptureFilesKey, true);
    mac.pasteboard().copyImage("Preview", Bytes(1500, 7), types::kTIFF);
    tick();
    mac.pasteboard().copyFiles({"/Users/me/a b.txt", "/Users/me/c.txt"});
    tick();
    copyText("hello");
    const auto entries = history->entries();

    history->restore(entries[2]);
    EXPECT_EQ(mac.pasteboard().data(types::kPNG), Bytes(1500, 7)) << "TIFF bytes come back as PNG";
    EXPECT_EQ(mac.pasteboard().data(types::kTIFF), std::nullopt);
    tick();
    history->restore(entries[1]);
    EXPECT_EQ(mac.pasteboard().fileURLs(),
              (std::vector<std::string>{"/Users/me/a b.txt", "/Users/me/c.txt"}));
    tick();
    history->restore(entries[0]);
    EXPECT_EQ(mac.pasteboard().string(types::kString), "hello");
    tick();
    EXPECT_EQ(history->entries(), entries) << "no new entry, no new order";
}

TEST_F(ClipboardHistoryControllerTest, AnUndecodableImageLeavesTheClipboardEmpty) {
    ClipboardEntry broken =
        ClipboardEntry::image(Bytes(10, 1), mac.dispatch().now(), *mac.platform().randomness);
    broken.payload = std::make_shared<const std::string>("not base64!");
    copyText("before");
    history->restore(broken);
    EXPECT_TRUE(mac.pasteboard().types().empty());
    EXPECT_EQ(previews(), Previews{"before"});
}

TEST_F(ClipboardHistoryControllerTest, EnablingDoesNotRecordWhatIsAlreadyThere) {
    history->setEnabled(false);
    mac.pasteboard().copyText("Notes", "copied while off");
    tick();
    history->setEnabled(true);
    history->setEnabled(true);
    tick();
    tick();
    EXPECT_TRUE(history->entries().empty());
    copyText("after");
    EXPECT_EQ(previews(), Previews{"after"}) << "one timer, one entry";
}

TEST_F(ClipboardHistoryControllerTest, TheHistoryOutlivesTheProgramAndSwitchingOff) {
    copyText("one");
    copyText("two");
    history->setEnabled(false);
    EXPECT_EQ(previews(), (Previews{"two", "one"}));
    start();
    EXPECT_EQ(previews(), (Previews{"two", "one"}));
}

TEST_F(ClipboardHistoryControllerTest, AnUnreadableStoredHistoryIsKeptUntilTheNextCapture) {
    const Bytes garbage = toBytes("[{\"id\": trunc");
    settings.set(keys::clipboardHistoryEntriesKey, garbage);
    start();
    EXPECT_TRUE(history->entries().empty());
    tick();
    EXPECT_EQ(settings.data(keys::clipboardHistoryEntriesKey), garbage);
    copyText("fresh");
    start();
    EXPECT_EQ(previews(), Previews{"fresh"});
}

TEST_F(ClipboardHistoryControllerTest, ShowHistoryTogglesTheWindowAndBringsTheAppForward) {
    copyText("one");
    mac.dispatch().main().async([this] { history->showHistory(); });
    mac.dispatch().runDue();
    const auto& window = *history->windowController().window();
    EXPECT_TRUE(mac.presenter().isVisible(window));
    EXPECT_TRUE(mac.application().isActive());
    EXPECT_EQ(mac.presenter().find("entry")->items, Previews{"one"});

    copyText("two");
    EXPECT_EQ(mac.presenter().find("entry")->items, (Previews{"two", "one"}))
        << "an open window lists a capture at once";
    history->showHistory();
    EXPECT_FALSE(mac.presenter().isVisible(window));
}

TEST_F(ClipboardHistoryControllerTest, ChoosingInTheWindowRestoresTheEntry) {
    copyText("one");
    copyText("two");
    history->showHistory();
    mac.presenter().doubleClick("entry", 1);
    EXPECT_EQ(mac.pasteboard().string(types::kString), "one");
    EXPECT_FALSE(mac.presenter().isVisible(*history->windowController().window()));
}

}  // namespace
}  // namespace parvel
