#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "finder/FinderFixture.h"
#include "finder/WindowsStyleDelete.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/world/Applications.h"

namespace parvel {
namespace {

using Paths = std::vector<std::string>;

class WindowsStyleDeleteTest : public test_support::FinderFixture {
  protected:
    WindowsStyleDelete deleter{{finder, *mac.platform().accessibility, *mac.platform().workspace,
                                *mac.platform().presenter, *mac.platform().events,
                                *mac.platform().application}};
    const std::string trash = mac.homeDirectory() + "/.Trash";

    // Starts the flow as the Delete key does; it waits in its alert, if it shows one.
    void pressDelete() {
        mac.dispatch().main().async([this] { deleter.confirmWindowsStyleDelete(); });
        mac.dispatch().runDue();
    }
    std::optional<ui::Alert> alert() { return mac.presenter().currentAlert(); }
    bool exists(const std::string& path) { return mac.files().exists(path); }
};

Paths named(int count) {
    Paths paths;
    for (int index = 1; index <= count; ++index) {
        paths.push_back("/Users/me/file" + std::to_string(index) + ".txt");
    }
    return paths;
}

TEST(WindowsStyleDeleteAlertTest, NamesTheItemsAndCountsTheRest) {
    const struct {
        Paths paths;
        const char* message;
        const char* text;
    } cases[] = {
        {{"/Users/me/Report.pdf"},
         "Delete \u2018Report.pdf\u2019?",
         "This item will be moved to the Trash."},
        {named(5), "Delete 5 selected items?",
         "These items will be moved to the Trash.\n\n\u2022 file1.txt\n\u2022 file2.txt\n\u2022 "
         "file3.txt\n\u2022 file4.txt\n\u2022 file5.txt"},
        {named(6), "Delete 6 selected items?",
         "These items will be moved to the Trash.\n\n\u2022 file1.txt\n\u2022 file2.txt\n\u2022 "
         "file3.txt\n\u2022 file4.txt\n\u2022 file5.txt\n\u2026 and 1 more."},
        {named(9), "Delete 9 selected items?",
         "These items will be moved to the Trash.\n\n\u2022 file1.txt\n\u2022 file2.txt\n\u2022 "
         "file3.txt\n\u2022 file4.txt\n\u2022 file5.txt\n\u2026 and 4 more."},
    };
    for (const auto& [paths, message, text] : cases) {
        SCOPED_TRACE(message);
        const auto alert = WindowsStyleDelete::confirmationAlert(paths);
        EXPECT_EQ(alert.style, ui::AlertStyle::Warning);
        EXPECT_EQ(alert.messageText, message);
        EXPECT_EQ(alert.informativeText, text);
        ASSERT_EQ(alert.buttons.size(), 2u);
        EXPECT_EQ(alert.buttons[0].title, "Delete");
        EXPECT_TRUE(alert.buttons[0].hasDestructiveAction);
        EXPECT_EQ(alert.buttons[0].keyEquivalent, "\r");
        EXPECT_EQ(alert.buttons[1].title, "Cancel");
        EXPECT_EQ(alert.buttons[1].keyEquivalent, "\x1b");
    }
}

TEST_F(WindowsStyleDeleteTest, EachWayOfAnsweringTheAlert) {
    const struct {
        const char* name;
        std::function<void(sim::SimPresenter&)> answer;
        bool deletes;
    } cases[] = {
        {"Return", [](auto& p) { p.pressKeyInAlert(sim::SimPresenter::keyDown(36, "\r")); }, true},
        {"keypad Enter", [](auto& p) { p.pressKeyInAlert(sim::SimPresenter::keyDown(76, "\x03")); },
         true},
        {"Escape", [](auto& p) { p.pressKeyInAlert(sim::SimPresenter::keyDown(53, "\x1b")); },
         false},
        {"Delete clicked", [](auto& p) { p.answerAlert("Delete"); }, true},
        {"Cancel clicked", [](auto& p) { p.answerAlert("Cancel"); }, false},
        {"another key",
         [](auto& p) {
             p.pressKeyInAlert(sim::SimPresenter::keyDown(0, "a"));
             p.answerAlert("Cancel");
         },
         false},
    };
    int round = 0;
    for (const auto& [name, answer, deletes] : cases) {
        SCOPED_TRACE(name);
        const std::string file = "item" + std::to_string(++round) + ".txt";
        create(documents, {file});
        selectInDocuments({file});
        pressDelete();
        ASSERT_TRUE(alert().has_value());
        EXPECT_EQ(alert()->messageText, "Delete \u2018" + file + "\u2019?");
        answer(mac.presenter());
        EXPECT_FALSE(alert().has_value());
        EXPECT_EQ(exists(documents + "/" + file), !deletes);
        EXPECT_EQ(exists(trash + "/" + file), deletes);
    }
}

TEST_F(WindowsStyleDeleteTest, NothingSelectedExplainsAutomation) {
    mac.finder().openWindow(documents);
    pressDelete();
    ASSERT_TRUE(alert().has_value());
    EXPECT_EQ(alert()->messageText, "Nothing selected");
    EXPECT_EQ(alert()->informativeText,
              "Select one or more items in Finder or on the Desktop, then press Delete. If an item "
              "is selected but this message still appears, allow Finder under System Settings > "
              "Privacy & Security > Automation.");
}

TEST_F(WindowsStyleDeleteTest, OnlyWhileFinderIsFrontmost) {
    create(documents, {"a.txt"});
    selectInDocuments({"a.txt"});
    mac.applications().launch({.bundleIdentifier = "com.apple.Safari", .name = "Safari"});
    pressDelete();
    EXPECT_FALSE(alert().has_value());
}

TEST_F(WindowsStyleDeleteTest, ItemsThatCannotBeTrashedAreListedTogether) {
    create(documents, {"a.txt", "b.txt", "c.txt"});
    selectInDocuments({"a.txt", "b.txt", "c.txt"});
    pressDelete();
    // Two items vanish while the confirmation is up.
    ASSERT_TRUE(mac.files().removeItem(documents + "/a.txt"));
    ASSERT_TRUE(mac.files().removeItem(documents + "/c.txt"));
    mac.presenter().answerAlert("Delete");

    EXPECT_TRUE(exists(trash + "/b.txt"));
    ASSERT_TRUE(alert().has_value());
    EXPECT_EQ(alert()->messageText, "Some items could not be deleted");
    const std::string text = alert()->informativeText;
    EXPECT_TRUE(text.starts_with("a.txt: ")) << text;
    EXPECT_NE(text.find("\nc.txt: "), std::string::npos) << text;
    EXPECT_EQ(text.find("b.txt"), std::string::npos) << text;
}

TEST_F(WindowsStyleDeleteTest, WithoutAutomationTheFocusedDesktopSelectionIsFound) {
    create(desktop, {"on desktop.txt"});
    mac.finder().focusDesktop();
    mac.finder().select({desktop + "/on desktop.txt"});
    denyFinderAutomation();
    EXPECT_EQ(deleter.finderSelectedURLs(), (Paths{desktop + "/on desktop.txt"}));
    EXPECT_TRUE(finder.selectedURLs().empty()) << "the window search does not cover the Desktop";
}

TEST_F(WindowsStyleDeleteTest, TheFocusedWalkClimbsEightElementsAndLooksFourLevelsDown) {
    denyFinderAutomation();
    auto& tree = mac.accessibilityTree();
    const auto application = tree.tokenOfApplication(mac.finder().pid());
    // Selected elements hang at each height of the chain, with their URLs four and five levels
    // below them.
    const auto top = addChain(application, 1);
    auto beyond =
        tree.addNode(mac.finder().pid(), top, {"AXGroup", "", "", {{"AXSelected", true}}, {}, {}});
    addSelectedFile(addChain(beyond, 1), "/ninth/ancestor");
    const auto eighth = addChain(beyond, 1);
    tree.setAttribute(eighth, "AXSelected", true);
    addSelectedFile(addChain(eighth, 3), "/eighth/four-below");
    addSelectedFile(addChain(eighth, 4), "/eighth/five-below");
    const auto focused = addChain(eighth, 7);
    tree.setFocusedElement(mac.finder().pid(), focused);

    EXPECT_EQ(deleter.finderSelectedURLs(), (Paths{"/eighth/four-below"}));
}

}  // namespace
}  // namespace parvel
