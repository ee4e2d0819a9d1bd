#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/FileURL.h"
#include "finder/FinderFixture.h"

namespace parvel {
namespace {

using platform::AXValue;
using Paths = std::vector<std::string>;

class FinderSupportTest : public test_support::FinderFixture {};

TEST_F(FinderSupportTest, FinderReportsTheSelectionWithFoldersWithoutTheirSlash) {
    create(documents, {"a.txt", "b.txt", "Photos/"});
    selectInDocuments({"b.txt", "Photos"});
    EXPECT_EQ(finder.selectedURLs(), (Paths{documents + "/Photos", documents + "/b.txt"}));
}

TEST_F(FinderSupportTest, WithoutAutomationTheWindowsAreSearched) {
    create(documents, {"a.txt", "b.txt", "Photos/"});
    selectInDocuments({"a.txt", "Photos"});
    denyFinderAutomation();
    EXPECT_EQ(finder.selectedURLs(), (Paths{documents + "/Photos", documents + "/a.txt"}))
        << "each row is both selected and among its list's selected children: listed once";
}

TEST_F(FinderSupportTest, TheWindowSearchStopsSevenLevelsDown) {
    denyFinderAutomation();
    const auto window = mac.finder().openWindow(documents);
    const auto windowToken = mac.accessibilityTree().tokenOfWindow(window);
    addSelectedFile(addChain(windowToken, 6), "/deep/seven");
    addSelectedFile(addChain(windowToken, 7), "/deep/eight");
    // A selected child is taken from a searched element without looking further down.
    const auto listAtSeven = addChain(windowToken, 7);
    const auto child = addSelectedFile(listAtSeven, "/deep/eight-by-list");
    mac.accessibilityTree().setAttribute(
        listAtSeven, "AXSelectedChildren",
        std::vector<platform::AXElement>{mac.accessibilityTree().element(child)});

    EXPECT_EQ(finder.selectedURLs(), (Paths{"/deep/seven", "/deep/eight-by-list"}));
}

TEST_F(FinderSupportTest, OnlyFileURLsCount) {
    const struct {
        const char* name;
        AXValue value;
        std::optional<std::string> path;
    } cases[] = {
        {"file URL", platform::AXURL{"file:///Users/me/a%20b.txt"}, "/Users/me/a b.txt"},
        {"folder URL", platform::AXURL{"file:///Users/me/Photos/"}, "/Users/me/Photos"},
        {"file URL as text", std::string("file:///tmp/x"), "/tmp/x"},
        {"web URL", platform::AXURL{"https://example.com/a"}, std::nullopt},
        {"plain text", std::string("/tmp/x"), std::nullopt},
        {"a number", std::int64_t{3}, std::nullopt},
    };
    const auto node = addChain(mac.accessibilityTree().tokenOfApplication(mac.finder().pid()), 1);
    for (const auto& [name, value, path] : cases) {
        SCOPED_TRACE(name);
        mac.accessibilityTree().setAttribute(node, "AXURL", value);
        EXPECT_EQ(finder.fileURL(mac.accessibilityTree().element(node)), path);
    }
    mac.accessibilityTree().failAttribute(node, "AXURL", platform::AXError::CannotComplete);
    EXPECT_EQ(finder.fileURL(mac.accessibilityTree().element(node)), std::nullopt);
}

TEST_F(FinderSupportTest, DuplicatesAreRecognisedByTheirStandardizedPath) {
    EXPECT_EQ(FinderSupport::dedupe({"/a/b", "/a//b", "/a/./b/", "/a/c", "/a/x/../b", "/a/c"}),
              (Paths{"/a/b", "/a/c"}));
}

TEST_F(FinderSupportTest, CurrentDirectoryFollowsFinderAndFallsBackToTheDesktop) {
    mac.finder().openWindow(documents);
    EXPECT_EQ(finder.currentDirectory(), documents);
    mac.finder().focusDesktop();
    EXPECT_EQ(finder.currentDirectory(), desktop);
    mac.finder().openWindow(documents);
    denyFinderAutomation();
    EXPECT_EQ(finder.currentDirectory(), desktop) << "Finder cannot be asked";
}

TEST_F(FinderSupportTest, NothingIsFoundWithoutAccessibility) {
    create(documents, {"a.txt"});
    selectInDocuments({"a.txt"});
    denyFinderAutomation();
    mac.permissions().accessibility = false;
    EXPECT_TRUE(finder.selectedURLs().empty());
}

}  // namespace
}  // namespace parvel
