#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "clipboard/ClipboardHistoryWindowController.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimulatedMac.h"

namespace parvel {
namespace {

using Previews = std::vector<std::string>;

class ClipboardHistoryWindowControllerTest : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    ClipboardHistoryWindowController window{*mac.platform().presenter};
    std::vector<std::string> chosen;

    void SetUp() override {
        const auto now = mac.dispatch().now();
        auto& randomness = *mac.platform().randomness;
        window.entries = {
            ClipboardEntry::text("\u00e9cole primaire", now, randomness),
            ClipboardEntry::files({"/Users/me/Projects/Plan.key", "/Users/me/notes.txt"}, now,
                                  randomness),
            ClipboardEntry::text(std::string(190, '.') + " hidden", now, randomness),
            ClipboardEntry::text("Meeting at TEN", now, randomness),
        };
        window.onSelect = [this](const ClipboardEntry& entry) { chosen.push_back(entry.preview); };
        window.applyFilter();
        window.show();
    }
    Previews search(const std::string& text) {
        mac.presenter().type("search", text);
        return mac.presenter().find("entry")->items;
    }
};

TEST_F(ClipboardHistoryWindowControllerTest, SearchesPreviewsIgnoringCaseInEveryScript) {
    const std::string longPreview = std::string(180, '.');
    const struct {
        const char* query;
        Previews rows;
    } cases[] = {
        {"", {"\u00e9cole primaire", "Plan.key, notes.txt", longPreview, "Meeting at TEN"}},
        {"ten", {"Meeting at TEN"}},
        {"MEETING", {"Meeting at TEN"}},
        {"\u00c9COLE", {"\u00e9cole primaire"}},
        {"hidden", {}},
        {"Projects", {}},
        {"plan.KEY", {"Plan.key, notes.txt"}},
        {" at ", {"Meeting at TEN"}},
    };
    for (const auto& [query, rows] : cases) {
        EXPECT_EQ(search(query), rows) << '"' << query << '"';
    }
}

TEST_F(ClipboardHistoryWindowControllerTest, ANewListKeepsTheSearch) {
    search("ten");
    window.entries.insert(
        window.entries.begin(),
        ClipboardEntry::text("ten more", mac.dispatch().now(), *mac.platform().randomness));
    window.applyFilter();
    EXPECT_EQ(mac.presenter().find("entry")->items, (Previews{"ten more", "Meeting at TEN"}));
}

TEST_F(ClipboardHistoryWindowControllerTest, ADoubleClickChoosesTheClickedRowAndHides) {
    search("e");
    mac.presenter().doubleClick("entry", 1);
    EXPECT_EQ(chosen, Previews{"Plan.key, notes.txt"});
    EXPECT_FALSE(window.isVisible());
}

TEST_F(ClipboardHistoryWindowControllerTest, BelowTheRowsOnlyASelectedRowIsChosen) {
    mac.presenter().doubleClick("entry", -1);
    EXPECT_TRUE(chosen.empty());
    EXPECT_TRUE(window.isVisible()) << "nothing selected: nothing happens";

    mac.presenter().find("entry")->selectedIndex = 3;
    mac.presenter().doubleClick("entry", -1);
    EXPECT_EQ(chosen, Previews{"Meeting at TEN"});
}

TEST_F(ClipboardHistoryWindowControllerTest, RowsThatNoLongerExistAreIgnored) {
    mac.presenter().find("entry")->selectedIndex = 3;
    search("ten");
    window.useSelected(-1);
    window.useSelected(7);
    EXPECT_TRUE(chosen.empty());
    EXPECT_TRUE(window.isVisible());
}

TEST_F(ClipboardHistoryWindowControllerTest, ReturnAndEscapeDoNothingSpecial) {
    mac.presenter().pressKey("search", sim::SimPresenter::keyDown(36, "\r"));
    mac.presenter().pressKey("search", sim::SimPresenter::keyDown(53, "\x1b"));
    EXPECT_TRUE(chosen.empty());
    EXPECT_TRUE(window.isVisible());
}

TEST_F(ClipboardHistoryWindowControllerTest, LayoutAsDescribed) {
    const auto& shown = *window.window();
    EXPECT_EQ(shown.title, "Clipboard History");
    EXPECT_EQ(shown.contentSize, (platform::Size{520, 420}));
    EXPECT_TRUE(shown.style.titled && shown.style.closable && shown.style.resizable);
    EXPECT_FALSE(shown.style.miniaturizable);
    EXPECT_TRUE(shown.hidesOnClose);
    EXPECT_EQ(mac.presenter().find("search")->placeholder, "Search clipboard history");
    const auto table = mac.presenter().find("entry");
    EXPECT_EQ(table->rowHeight, 48);
    EXPECT_EQ(table->maximumLines, 2);
}

}  // namespace
}  // namespace parvel
