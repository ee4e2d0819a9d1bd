#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "finder/FinderFixture.h"
#include "finder/FinderUpgradeController.h"
#include "platform/sim/SimApplication.h"
#include "platform/sim/SimPasteboard.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/Trace.h"

namespace parvel {
namespace {

using Paths = std::vector<std::string>;
using test_support::FinderFixture;

// The simulated pasteboard, counting what is asked of it.
class CountingPasteboard final : public platform::Pasteboard {
  public:
    explicit CountingPasteboard(platform::Pasteboard& pasteboard) : pasteboard_(pasteboard) {}

    std::int64_t changeCount() const override {
        ++reads["changeCount"];
        return pasteboard_.changeCount();
    }
    std::int64_t clearContents() override { return pasteboard_.clearContents(); }
    bool writeFileURLs(const std::vector<std::string>& paths) override {
        return pasteboard_.writeFileURLs(paths);
    }
    bool setString(std::string_view value, std::string_view type) override {
        return pasteboard_.setString(value, type);
    }
    bool setData(const Bytes& value, std::string_view type) override {
        return pasteboard_.setData(value, type);
    }
    std::optional<std::string> string(std::string_view type) const override {
        ++reads["string"];
        return pasteboard_.string(type);
    }
    std::optional<Bytes> data(std::string_view type) const override {
        ++reads["data"];
        return pasteboard_.data(type);
    }
    std::vector<std::string> fileURLs() const override {
        ++reads["fileURLs"];
        return pasteboard_.fileURLs();
    }
    std::vector<std::string> types() const override {
        ++reads["types"];
        return pasteboard_.types();
    }

    mutable std::map<std::string, int> reads;

  private:
    platform::Pasteboard& pasteboard_;
};

class FinderUpgradeControllerTest : public FinderFixture {
  protected:
    CountingPasteboard pasteboard{*mac.platform().pasteboard};
    FinderUpgradeController transfers = controller();
    const std::string elsewhere = mac.homeDirectory() + "/Elsewhere";

    void SetUp() override { ASSERT_TRUE(mac.files().createDirectories(elsewhere)); }

    // Another instance over the same Mac, as after a restart of the program.
    FinderUpgradeController controller() {
        return FinderUpgradeController{{finder, pasteboard, mac.files(), *mac.platform().presenter,
                                        *mac.platform().workspace, *mac.platform().application}};
    }
    bool exists(const std::string& path) { return mac.files().exists(path); }
    Paths inDocuments(const Paths& names) {
        Paths paths;
        for (const auto& name : names) {
            paths.push_back(documents + "/" + name);
        }
        return paths;
    }
    // Creates the files in ~/Documents, selects them and marks them.
    void mark(TransferOperation operation, const Paths& names) {
        create(documents, names);
        selectInDocuments(names);
        ASSERT_TRUE(transfers.captureSelection(operation));
    }
};

TEST_F(FinderUpgradeControllerTest, CaptureWritesTheFilesAndTheOperationToThePasteboard) {
    mark(TransferOperation::copy, {"a.txt", "b.txt"});
    EXPECT_EQ(mac.pasteboard().fileURLs(), inDocuments({"a.txt", "b.txt"}));
    EXPECT_EQ(mac.pasteboard().string(FinderUpgradeController::kTransferModePasteboardType),
              "copy");
    EXPECT_TRUE(transfers.hasManagedTransfer());
}

TEST_F(FinderUpgradeControllerTest, NothingSelectedLeavesThePasteboardAndTheTransferAlone) {
    mark(TransferOperation::cut, {"a.txt"});
    const auto changeCount = mac.pasteboard().changeCount();
    mac.finder().select({});
    EXPECT_FALSE(transfers.captureSelection(TransferOperation::copy));
    EXPECT_EQ(mac.pasteboard().changeCount(), changeCount);
    EXPECT_EQ(transfers.transferOperation(), TransferOperation::cut);
}

TEST_F(FinderUpgradeControllerTest, CutAndPasteElsewhereMovesEverythingOnce) {
    mark(TransferOperation::cut, {"a.txt", "b.txt"});
    const auto pasted = transfers.pasteManagedItems(elsewhere);
    ASSERT_TRUE(pasted.has_value()) << pasted.error().description;
    EXPECT_TRUE(*pasted);
    for (const auto* name : {"a.txt", "b.txt"}) {
        EXPECT_FALSE(exists(documents + "/" + name));
        EXPECT_TRUE(exists(elsewhere + "/" + name));
    }
    EXPECT_FALSE(transfers.hasManagedTransfer()) << "the mark names files that are gone";
    EXPECT_EQ(mac.pasteboard().string(FinderUpgradeController::kTransferModePasteboardType), "cut")
        << "the pasteboard is left as it was";
    EXPECT_FALSE(*transfers.pasteManagedItems(elsewhere));
}

TEST_F(FinderUpgradeControllerTest, CutAndPasteIntoTheSameFolderMovesNothing) {
    mark(TransferOperation::cut, {"a.txt"});
    mac.finder().openWindow(documents);
    const auto pasted = transfers.pasteManagedItems(std::nullopt);
    ASSERT_TRUE(pasted.has_value());
    EXPECT_TRUE(*pasted);
    EXPECT_TRUE(exists(documents + "/a.txt"));
    EXPECT_FALSE(exists(documents + "/a 2.txt"));
    EXPECT_FALSE(transfers.hasManagedTransfer()) << "a cut is forgotten";
}

TEST_F(FinderUpgradeControllerTest, ACopyPastedTwiceIntoItsOwnFolderGetsNumberedNames) {
    mark(TransferOperation::copy, {"x.ext"});
    mac.finder().openWindow(documents);
    EXPECT_TRUE(*transfers.pasteManagedItems(std::nullopt));
    EXPECT_TRUE(*transfers.pasteManagedItems(std::nullopt));
    EXPECT_TRUE(exists(documents + "/x 2.ext"));
    EXPECT_TRUE(exists(documents + "/x 3.ext"));
    EXPECT_EQ(*mac.files().readFile(documents + "/x 3.ext"), Bytes({'x', '.', 'e', 'x', 't'}));
    EXPECT_TRUE(transfers.hasManagedTransfer()) << "a copy stays pending";
}

TEST_F(FinderUpgradeControllerTest, FreeNamesKeepTheExtension) {
    create(documents, {"report.pdf", "report 2.pdf", "Photos/", "Makefile", "archive.tar.gz",
                       ".profile", "dots."});
    const std::pair<const char*, const char*> cases[] = {
        {"report.pdf", "report 3.pdf"}, {"Photos", "Photos 2"},
        {"Makefile", "Makefile 2"},     {"archive.tar.gz", "archive.tar 2.gz"},
        {".profile", ".profile 2"},     {"dots.", "dots. 2"},
        {"new.txt", "new.txt"},
    };
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(transfers.uniqueDestination("/elsewhere/" + std::string(name), documents),
                  documents + "/" + expected)
            << name;
    }
}

TEST_F(FinderUpgradeControllerTest, AnythingCopiedAfterwardsCancelsTheTransfer) {
    mark(TransferOperation::cut, {"a.txt"});
    mac.pasteboard().copyText("Notes", "hello");
    EXPECT_FALSE(transfers.hasManagedTransfer());
    EXPECT_FALSE(transfers.transferOperation().has_value());
    EXPECT_FALSE(*transfers.pasteManagedItems(elsewhere));
    EXPECT_TRUE(exists(documents + "/a.txt"));
}

TEST_F(FinderUpgradeControllerTest, ARestartedProgramFindsTheMarkOnThePasteboard) {
    mark(TransferOperation::cut, {"a.txt", "b.txt"});
    auto restarted = controller();
    EXPECT_TRUE(restarted.hasManagedTransfer());
    EXPECT_TRUE(*restarted.pasteManagedItems(elsewhere));
    EXPECT_TRUE(exists(elsewhere + "/b.txt"));
}

TEST_F(FinderUpgradeControllerTest, OnlyAWellFormedMarkWithExistingFilesIsATransfer) {
    create(documents, {"a.txt"});
    const struct {
        const char* name;
        Paths files;
        const char* marker;
        bool transfer;
    } cases[] = {
        {"copy mark and a file", {documents + "/a.txt"}, "copy", true},
        {"copy mark, no files", {}, "copy", false},
        {"unknown mark", {documents + "/a.txt"}, "move", false},
        {"files that are gone", {documents + "/gone.txt"}, "cut", false},
    };
    for (const auto& [name, files, marker, transfer] : cases) {
        SCOPED_TRACE(name);
        auto& board = mac.pasteboard();
        board.clearContents();
        board.writeFileURLs(files);
        board.setString(marker, FinderUpgradeController::kTransferModePasteboardType);
        auto fresh = controller();
        EXPECT_EQ(fresh.hasManagedTransfer(), transfer);
    }
}

TEST_F(FinderUpgradeControllerTest, AskingAgainWithNothingChangedReadsOnlyTheChangeCount) {
    mark(TransferOperation::copy, {"a.txt"});
    ASSERT_TRUE(transfers.hasManagedTransfer());
    pasteboard.reads.clear();
    EXPECT_TRUE(transfers.hasManagedTransfer());
    EXPECT_EQ(pasteboard.reads, (std::map<std::string, int>{{"changeCount", 1}}));
}

TEST_F(FinderUpgradeControllerTest, VanishedItemsAreSkippedAndFailuresListedOnePerLine) {
    mark(TransferOperation::cut, {"gone.txt", "a.txt", "b.txt"});
    ASSERT_TRUE(mac.files().removeItem(documents + "/gone.txt"));
    // "a.txt" cannot be moved into a folder that does not exist; nor can "b.txt".
    const auto pasted = transfers.pasteManagedItems(elsewhere + "/missing");
    ASSERT_FALSE(pasted.has_value());
    EXPECT_EQ(pasted.error().domain, "ParvelMac.FileTransfer");
    EXPECT_EQ(pasted.error().code, 1);
    const std::string& lines = pasted.error().description;
    EXPECT_TRUE(lines.starts_with("a.txt: ")) << lines;
    EXPECT_NE(lines.find("\nb.txt: "), std::string::npos) << lines;
    EXPECT_EQ(lines.find("gone.txt"), std::string::npos) << lines;
    EXPECT_TRUE(exists(documents + "/a.txt")) << "a failed move leaves the file where it was";
    EXPECT_FALSE(transfers.hasManagedTransfer()) << "a cut is forgotten even when it failed";
}

TEST_F(FinderUpgradeControllerTest, MoveToAsksForAFolderAndShowsTheMovedItems) {
    create(documents, {"a.txt", "b.txt"});
    create(elsewhere, {"a.txt"});
    selectInDocuments({"a.txt", "b.txt"});
    mac.presenter().queueOpenPanelAnswer({elsewhere});
    mac.dispatch().main().async([this] { transfers.moveSelectionToFolder(); });
    mac.dispatch().runDue();

    EXPECT_TRUE(exists(elsewhere + "/a 2.txt"));
    EXPECT_TRUE(exists(elsewhere + "/b.txt"));
    EXPECT_FALSE(exists(documents + "/b.txt"));
    const auto reveals = mac.trace().texts("url");
    ASSERT_FALSE(reveals.empty());
    EXPECT_EQ(reveals.back(), "reveal " + elsewhere + "/a 2.txt, " + elsewhere + "/b.txt");
}

TEST_F(FinderUpgradeControllerTest, ItemsThatCannotBeMovedAreListedInOneAlert) {
    create(documents, {"a.txt", "b.txt"});
    selectInDocuments({"a.txt", "b.txt"});
    mac.dispatch().main().async([this] { transfers.moveSelectionToFolder(); });
    mac.dispatch().runDue();
    const auto panel = mac.presenter().currentOpenPanel();
    ASSERT_TRUE(panel.has_value());
    EXPECT_EQ(panel->title, "Move To");
    EXPECT_EQ(panel->prompt, "Move Here");
    EXPECT_TRUE(panel->canChooseDirectories && panel->canCreateDirectories);
    EXPECT_FALSE(panel->canChooseFiles || panel->allowsMultipleSelection);
    // "a.txt" goes away while the panel is open.
    ASSERT_TRUE(mac.files().removeItem(documents + "/a.txt"));
    mac.presenter().answerOpenPanel({elsewhere});

    EXPECT_TRUE(exists(elsewhere + "/b.txt"));
    const auto alert = mac.presenter().currentAlert();
    ASSERT_TRUE(alert.has_value());
    EXPECT_EQ(alert->messageText, "Some items could not be moved");
    EXPECT_TRUE(alert->informativeText.starts_with("a.txt: ")) << alert->informativeText;
    EXPECT_EQ(alert->informativeText.find('\n'), std::string::npos);
}

TEST_F(FinderUpgradeControllerTest, MoveToWithNothingSelectedBeepsAndACancelMovesNothing) {
    mac.finder().openWindow(documents);
    transfers.moveSelectionToFolder();
    EXPECT_EQ(mac.application().beepCount(), 1);

    create(documents, {"a.txt"});
    selectInDocuments({"a.txt"});
    mac.presenter().queueOpenPanelAnswer({});
    mac.dispatch().main().async([this] { transfers.moveSelectionToFolder(); });
    mac.dispatch().runDue();
    EXPECT_TRUE(exists(documents + "/a.txt"));
}

}  // namespace
}  // namespace parvel
