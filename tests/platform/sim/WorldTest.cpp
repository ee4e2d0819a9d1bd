#include <algorithm>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/Accessibility.h"
#include "platform/AppleScript.h"
#include "platform/FileSystem.h"
#include "platform/Pasteboard.h"
#include "platform/WindowServer.h"
#include "platform/Workspace.h"
#include "platform/sim/SimPasteboard.h"
#include "platform/sim/SimWorkspace.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"
#include "platform/sim/world/AccessibilityTree.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Displays.h"
#include "platform/sim/world/Dock.h"
#include "platform/sim/world/Finder.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::sim {
namespace {

using platform::AXElement;
using platform::AXError;
using platform::AXValue;
using platform::WorkspaceNotification;

class WorldTest : public testing::Test {
  protected:
    SimulatedMac mac;
    const platform::Platform& services = mac.platform();

    platform::ProcessId launch(const char* name, QuitBehaviour quit = QuitBehaviour::Quit) {
        return mac.applications().launch({.bundleIdentifier = std::string("com.example.") + name,
                                          .name = name,
                                          .quitBehaviour = quit,
                                          .quitDelay = platform::seconds(3)});
    }
    std::string frontmostName() {
        const auto front = services.workspace->frontmostApplication();
        return front ? front->localizedName : "none";
    }
    AXValue read(const AXElement& element, const char* attribute) {
        auto value = services.accessibility->copyAttribute(element, attribute);
        EXPECT_TRUE(value.has_value()) << attribute;
        return value.value_or(AXValue{});
    }
    std::string home() const { return mac.homeDirectory(); }
    void makeFile(const std::string& path) {
        ASSERT_TRUE(services.fileSystem->writeFileAtomically(path, toBytes("data")));
    }
};

TEST_F(WorldTest, StartsWithFinderInFrontAndTheDockAndThisProgramRunning) {
    const auto running = services.workspace->runningApplications();
    std::vector<std::string> names;
    for (const auto& app : running) {
        names.push_back(app.localizedName);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"ParvelMac", "Dock", "Finder"}));
    EXPECT_EQ(frontmostName(), "Finder");
    EXPECT_EQ(services.processes->currentProcessId(), SimulatedMac::kOwnPid);
}

TEST_F(WorldTest, ActivationFollowsLaunchesHidingAndQuitting) {
    const auto safari = launch("Safari");
    const auto notes = launch("Notes");
    EXPECT_EQ(frontmostName(), "Notes");
    mac.applications().hide(notes);
    EXPECT_EQ(frontmostName(), "Safari") << "hiding hands the front to the previous application";
    EXPECT_TRUE(services.workspace->activate(notes, true));
    EXPECT_FALSE(services.workspace->application(notes)->isHidden) << "activating unhides";
    EXPECT_TRUE(services.workspace->terminate(notes));
    EXPECT_EQ(frontmostName(), "Safari");
    EXPECT_TRUE(services.workspace->application(notes)->isTerminated);
    EXPECT_FALSE(services.workspace->activate(notes, true))
        << "a quit application cannot come back";
    EXPECT_FALSE(services.workspace->activate(mac.dock().pid(), true)) << "background only";
    EXPECT_EQ(services.workspace->runningApplications("com.example.Safari").front().processId,
              safari);
}

TEST_F(WorldTest, ApplicationsAnswerQuitRequestsTheirOwnWay) {
    const auto stubborn = launch("Stubborn", QuitBehaviour::Refuse);
    const auto slow = launch("Slow", QuitBehaviour::QuitAfterDelay);
    services.workspace->terminate(stubborn);
    services.workspace->terminate(slow);
    EXPECT_FALSE(services.workspace->application(stubborn)->isTerminated);
    EXPECT_FALSE(services.workspace->application(slow)->isTerminated);
    mac.dispatch().advance(platform::seconds(3));
    EXPECT_FALSE(services.workspace->application(stubborn)->isTerminated);
    EXPECT_TRUE(services.workspace->application(slow)->isTerminated);
    EXPECT_EQ(mac.applications().find(stubborn)->quitRequests, 1);
}

TEST_F(WorldTest, WorkspaceNotificationsArriveOnTheMainQueueInOrder) {
    std::vector<std::string> seen;
    auto observation = services.workspace->observe(
        {WorkspaceNotification::DidLaunchApplication, WorkspaceNotification::DidActivateApplication,
         WorkspaceNotification::DidTerminateApplication},
        [&](WorkspaceNotification kind, const auto& app) {
            EXPECT_TRUE(services.dispatch->isMainThread());
            seen.push_back(
                fmt::format("{} {}", static_cast<int>(kind), app ? app->localizedName : ""));
        });
    const auto mail = launch("Mail");
    EXPECT_TRUE(seen.empty()) << "delivered later, on the main queue";
    mac.applications().kill(mail);
    mac.dispatch().runDue();
    EXPECT_EQ(seen, (std::vector<std::string>{"0 Mail", "2 Mail", "1 Mail", "2 Finder"}));
    observation.reset();
    launch("Maps");
    mac.dispatch().runDue();
    EXPECT_EQ(seen.size(), 4u) << "a dropped observation hears nothing";
}

TEST_F(WorldTest, WindowsStackFrontToBackWithHigherLayersAbove) {
    const auto preview = launch("Preview");
    auto& apps = mac.applications();
    const auto first = apps.openWindow(preview, {"First"});
    const auto second = apps.openWindow(preview, {"Second"});
    const auto list = services.windowServer->windowList({});
    ASSERT_GE(list.size(), 3u);
    EXPECT_EQ(list[0].ownerName, "Dock") << "layer 20 lies above ordinary windows";
    EXPECT_EQ(list[1].number, second);
    EXPECT_EQ(list[2].number, first);
    apps.setMinimized(second, true);
    const auto onScreen = services.windowServer->windowList({.onScreenOnly = true});
    EXPECT_TRUE(std::ranges::none_of(onScreen, [&](const auto& w) { return w.number == second; }));
    EXPECT_EQ(apps.focusedWindow(preview)->number, first) << "a minimised window is not focused";
}

TEST_F(WorldTest, WindowElementsReadAndChangeTheirWindow) {
    const auto textEdit = launch("TextEdit");
    auto& apps = mac.applications();
    const auto back = apps.openWindow(textEdit, {"Back", {{10, 40}, {400, 300}}});
    const auto front = apps.openWindow(textEdit, {"Front", {{50, 60}, {500, 400}}});
    const auto app = services.accessibility->applicationElement(textEdit);
    const auto windows = std::get<std::vector<AXElement>>(read(app, "AXWindows"));
    ASSERT_EQ(windows.size(), 2u);
    EXPECT_EQ(std::get<std::string>(read(windows[0], "AXTitle")), "Front");
    EXPECT_EQ(std::get<platform::Point>(read(windows[1], "AXPosition")), (platform::Point{10, 40}));
    EXPECT_EQ(std::get<AXElement>(read(app, "AXFocusedWindow")), windows[0]);

    ASSERT_TRUE(services.accessibility->setAttribute(windows[0], "AXMinimized", true));
    EXPECT_EQ(std::get<AXElement>(read(app, "AXMainWindow")), windows[1]);
    ASSERT_TRUE(services.accessibility->setAttribute(windows[0], "AXMinimized", false));
    EXPECT_EQ(apps.windowsOf(textEdit).front()->number, front) << "restoring raises it";

    ASSERT_TRUE(services.accessibility->setAttribute(windows[1], "AXFullScreen", true));
    EXPECT_EQ(apps.window(back)->frame, mac.displays().all().front().bounds);
    ASSERT_TRUE(services.accessibility->performAction(windows[1], "AXRaise"));
    EXPECT_EQ(apps.windowsOf(textEdit).front()->number, back);
    EXPECT_EQ(services.accessibility->setAttribute(windows[1], "AXFullScreen", 1.0).error(),
              AXError::IllegalArgument);
    EXPECT_EQ(services.accessibility->performAction(windows[1], "AXPress").error(),
              AXError::ActionUnsupported);
}

TEST_F(WorldTest, ElementsOfAQuitApplicationAreInvalidAndReadsCanBeMadeToFail) {
    const auto calendar = launch("Calendar");
    mac.applications().openWindow(calendar, {"Week"});
    const auto app = services.accessibility->applicationElement(calendar);
    auto& tree = mac.accessibilityTree();
    tree.failAttribute(app.token, "AXWindows", AXError::CannotComplete);
    EXPECT_EQ(services.accessibility->copyAttribute(app, "AXWindows").error(),
              AXError::CannotComplete);
    EXPECT_TRUE(services.accessibility->copyAttribute(app, "AXFocusedWindow").has_value());
    tree.failElement(app.token, AXError::Failure);
    EXPECT_EQ(services.accessibility->copyAttribute(app, "AXTitle").error(), AXError::Failure);
    tree.clearFailures();
    EXPECT_TRUE(services.accessibility->copyAttribute(app, "AXWindows").has_value());

    mac.permissions().accessibility = false;
    EXPECT_EQ(services.accessibility->copyAttribute(app, "AXWindows").error(),
              AXError::APIDisabled);
    mac.permissions().accessibility = true;
    mac.applications().kill(calendar);
    EXPECT_EQ(services.accessibility->copyAttribute(app, "AXWindows").error(),
              AXError::InvalidUIElement);
}

TEST_F(WorldTest, HitTestingFindsTheDeepestElementUnderThePoint) {
    const auto safariTile = mac.dock().frameOfItem("Safari");
    ASSERT_TRUE(safariTile.has_value());
    const platform::Point inTile{safariTile->minX() + 2, safariTile->minY() + 2};
    const auto hit = services.accessibility->elementAtPosition(inTile);
    ASSERT_TRUE(hit.has_value());
    EXPECT_EQ(std::get<std::string>(read(*hit, "AXSubrole")), "AXApplicationDockItem");
    EXPECT_EQ(std::get<std::string>(read(*hit, "AXTitle")), "Safari");

    const auto maps = launch("Maps");
    mac.applications().openWindow(maps, {"Map", {{200, 200}, {300, 300}}});
    const auto onWindow = services.accessibility->elementAtPosition({250, 250});
    ASSERT_TRUE(onWindow.has_value());
    EXPECT_EQ(std::get<std::string>(read(*onWindow, "AXRole")), "AXWindow");
    EXPECT_EQ(services.accessibility->processId(*onWindow), maps);
}

TEST_F(WorldTest, FinderReportsItsSelectionToScriptsAndAccessibility) {
    const std::string documents = home() + "/Documents";
    makeFile(documents + "/b report.pdf");
    makeFile(documents + "/a.txt");
    ASSERT_TRUE(services.fileSystem->createDirectory(documents + "/Photos"));
    auto& finder = mac.finder();
    finder.openWindow(documents);
    finder.select({documents + "/a.txt", documents + "/Photos", "/etc/passwd"});
    EXPECT_EQ(finder.selection(),
              (std::vector<std::string>{documents + "/Photos/", documents + "/a.txt"}));
    EXPECT_EQ(finder.insertionLocation(), documents + "/");

    const auto app = services.accessibility->applicationElement(finder.pid());
    const auto focused = std::get<AXElement>(read(app, "AXFocusedUIElement"));
    const auto selected = std::get<std::vector<AXElement>>(read(focused, "AXSelectedChildren"));
    ASSERT_EQ(selected.size(), 2u);
    EXPECT_EQ(std::get<platform::AXURL>(read(selected[0], "AXURL")).absoluteString,
              "file:///Users/me/Documents/Photos/");
    EXPECT_TRUE(std::get<bool>(read(selected[1], "AXSelected")));

    ASSERT_TRUE(services.fileSystem->removeItem(documents + "/a.txt"));
    EXPECT_EQ(std::get<std::vector<AXElement>>(read(focused, "AXSelectedChildren")).size(), 1u)
        << "a file that vanished leaves the selection";
}

TEST_F(WorldTest, FinderFocusDecidesWherePastesGoAndWhetherTextIsEdited) {
    const std::string documents = home() + "/Documents";
    makeFile(documents + "/notes.txt");
    auto& finder = mac.finder();
    EXPECT_EQ(finder.insertionLocation(), home() + "/Desktop/") << "no window: the Desktop";
    finder.openWindow(documents);
    finder.startRenaming(documents + "/notes.txt");
    const auto focused = std::get<AXElement>(
        read(services.accessibility->systemWideElement(), "AXFocusedUIElement"));
    EXPECT_EQ(std::get<std::string>(read(focused, "AXRole")), "AXTextField");
    finder.finishRenaming();
    finder.focusDesktop();
    EXPECT_EQ(finder.insertionLocation(), home() + "/Desktop/");
}

TEST_F(WorldTest, ScriptsToFinderNeedAutomationAskedOnce) {
    auto& permissions = mac.permissions();
    permissions.automationAnswer = AutomationState::Denied;
    const auto refused = services.appleScript->run("tell application \"Finder\" to get name");
    ASSERT_FALSE(refused.has_value());
    EXPECT_EQ(refused.error().number, -1743);
    EXPECT_EQ(refused.error().message, "Not authorized to send Apple events to Finder.");
    permissions.automationAnswer = AutomationState::Allowed;
    EXPECT_FALSE(services.appleScript->run("tell application \"Finder\" to get name").has_value())
        << "the user's first answer stands";
    EXPECT_EQ(permissions.automationPrompts, (std::vector<std::string>{"com.apple.finder"}));
    const auto unknown = services.appleScript->run("tell application \"Finder\" to explode");
    EXPECT_EQ(unknown.error().number, -2741);
}

TEST_F(WorldTest, TrashKeepsBothItemsWhenNamesCollide) {
    const std::string desktop = home() + "/Desktop";
    makeFile(desktop + "/report.pdf");
    ASSERT_TRUE(services.workspace->trashItem(desktop + "/report.pdf"));
    makeFile(desktop + "/report.pdf");
    const auto second = services.workspace->trashItem(desktop + "/report.pdf");
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(*second, home() + "/.Trash/report 2.pdf");
    EXPECT_FALSE(services.fileSystem->exists(desktop + "/report.pdf"));
    EXPECT_EQ(services.workspace->trashItem(desktop + "/missing").error().code, ENOENT);
}

TEST_F(WorldTest, OpeningURLsDependsOnTheScheme) {
    EXPECT_TRUE(services.workspace->openURL(
        "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility"));
    EXPECT_TRUE(services.workspace->openURL("shortcuts://create-shortcut"));
    EXPECT_FALSE(services.workspace->openURL("nonsense://x"));
    EXPECT_EQ(mac.workspace().openedURLs().size(), 2u);
}

TEST(SimulatedMacDeterminism, TheSameActionsTraceTheSameLines) {
    const auto run = [] {
        SimulatedMac mac;
        const auto pid =
            mac.applications().launch({.bundleIdentifier = "com.example.Safari", .name = "Safari"});
        mac.applications().openWindow(pid, {"Apple"});
        mac.finder().openWindow(mac.homeDirectory() + "/Documents");
        mac.pasteboard().copyText("Safari", "hello");
        mac.dispatch().advance(platform::seconds(1));
        std::vector<std::string> lines;
        for (const auto& line : mac.trace().lines()) {
            lines.push_back(Trace::format(line));
        }
        return lines;
    };
    EXPECT_EQ(run(), run());
}

}  // namespace
}  // namespace parvel::sim
