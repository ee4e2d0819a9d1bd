#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "finder/FinderSupport.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/world/AccessibilityTree.h"
#include "platform/sim/world/Finder.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::test_support {

// A simulated Mac with a few files in ~/Documents and Finder's selection services over it.
class FinderFixture : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    FinderSupport finder{{*mac.platform().appleScript, *mac.platform().accessibility,
                          *mac.platform().workspace, *mac.platform().processInfo}};
    const std::string documents = mac.homeDirectory() + "/Documents";
    const std::string desktop = mac.homeDirectory() + "/Desktop";

    // Creates files (names ending in "/" are folders) under a folder.
    void create(const std::string& folder, const std::vector<std::string>& names) {
        for (const auto& name : names) {
            const std::string path = folder + "/" + name;
            if (name.ends_with('/')) {
                ASSERT_TRUE(mac.files().createDirectories(path));
            } else {
                ASSERT_TRUE(mac.files().writeFileAtomically(path, Bytes(name.begin(), name.end())));
            }
        }
    }
    // Opens ~/Documents in Finder and selects these of its items.
    platform::WindowNumber selectInDocuments(const std::vector<std::string>& names) {
        const auto window = mac.finder().openWindow(documents);
        std::vector<std::string> paths;
        for (const auto& name : names) {
            paths.push_back(documents + "/" + name);
        }
        mac.finder().select(paths);
        return window;
    }
    void denyFinderAutomation() {
        mac.permissions().automation[std::string(FinderSupport::kFinderIdentifier)] =
            sim::AutomationState::Denied;
    }
    // A chain of groups under a parent node, `levels` deep; the token of the deepest.
    sim::AXToken addChain(sim::AXToken parent, int levels) {
        for (int level = 0; level < levels; ++level) {
            parent = mac.accessibilityTree().addNode(mac.finder().pid(), parent,
                                                     {"AXGroup", "", "", {}, {}, {}});
        }
        return parent;
    }
    // A selected element carrying a file URL.
    sim::AXToken addSelectedFile(sim::AXToken parent, const std::string& path) {
        return mac.accessibilityTree().addNode(
            mac.finder().pid(), parent,
            {"AXRow",
             "",
             "",
             {{"AXSelected", true}, {"AXURL", platform::AXURL{"file://" + path}}},
             {},
             {}});
    }
};

}  // namespace parvel::test_support
