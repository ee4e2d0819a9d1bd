#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/WindowServer.h"

// What every WindowServer adapter must do. A driver type gives the adapter and the applications
// and displays of its machine:
//   platform::WindowServer& windowServer;
//   ProcessId launchApplication(const std::string& name);   // started and frontmost
//   WindowNumber openWindow(ProcessId, const std::string& title, Rect frame, int layer = 0);
//   void closeWindow(WindowNumber);
//   void raiseWindow(WindowNumber);
//   void minimizeWindow(WindowNumber);
//   void hideApplication(ProcessId);
//   void activateApplication(ProcessId);
//   void quitApplication(ProcessId);
//   void setScreenRecording(bool granted);
//   ProcessId thisProcess();                                // this program, which may own windows
// Frames are in window-server coordinates. The machine has at least two displays, and Screen
// Recording is granted when a test starts.
namespace parvel::contract {

using platform::ProcessId;
using platform::Rect;
using platform::WindowInfo;
using platform::WindowListOptions;
using platform::WindowNumber;

template <typename Driver>
class WindowServerContract : public testing::Test {
  protected:
    Driver driver;
    platform::WindowServer& windowServer = driver.windowServer;

    // The list's entries for `numbers`, in the list's order; other windows of the machine are
    // left out.
    std::vector<WindowInfo> listed(const std::vector<WindowNumber>& numbers,
                                   WindowListOptions options = {}) const {
        std::vector<WindowInfo> found;
        for (const auto& info : windowServer.windowList(options)) {
            if (std::ranges::find(numbers, info.number) != numbers.end()) {
                found.push_back(info);
            }
        }
        return found;
    }
    std::vector<WindowNumber> order(const std::vector<WindowNumber>& numbers,
                                    WindowListOptions options = {}) const {
        std::vector<WindowNumber> found;
        for (const auto& info : listed(numbers, options)) {
            found.push_back(info.number);
        }
        return found;
    }
};

TYPED_TEST_SUITE_P(WindowServerContract);

TYPED_TEST_P(WindowServerContract, TheListDescribesEachWindow) {
    const Rect frame{{120, 80}, {640, 480}};
    const auto pid = this->driver.launchApplication("Notes");
    const auto number = this->driver.openWindow(pid, "Groceries", frame);
    const auto entries = this->listed({number});
    ASSERT_EQ(entries.size(), 1u);
    const auto& entry = entries.front();
    EXPECT_EQ(entry.ownerProcessId, pid);
    EXPECT_EQ(entry.ownerName, "Notes");
    EXPECT_EQ(entry.title, "Groceries");
    EXPECT_EQ(entry.bounds, frame);
    EXPECT_EQ(entry.layer, 0);
    EXPECT_EQ(entry.alpha, 1.0);
    EXPECT_TRUE(entry.isOnScreen);
}

TYPED_TEST_P(WindowServerContract, TheListRunsFrontToBackWithHigherLayersFirst) {
    auto& machine = this->driver;
    const auto notes = machine.launchApplication("Notes");
    const auto mail = machine.launchApplication("Mail");
    const Rect frame{{100, 100}, {400, 300}};
    const auto status = machine.openWindow(mail, "Status", {{0, 0}, {30, 24}}, 25);
    const auto first = machine.openWindow(notes, "First", frame);
    const auto second = machine.openWindow(mail, "Second", frame);
    const auto third = machine.openWindow(notes, "Third", frame);
    const std::vector<WindowNumber> mine = {status, first, second, third};
    EXPECT_EQ(this->order(mine), (std::vector<WindowNumber>{status, third, second, first}));

    machine.raiseWindow(first);
    EXPECT_EQ(this->order(mine), (std::vector<WindowNumber>{status, first, third, second}));
    machine.raiseWindow(second);
    EXPECT_EQ(this->order(mine), (std::vector<WindowNumber>{status, second, first, third}));
}

TYPED_TEST_P(WindowServerContract, WindowsOffScreenAreLeftOutOnlyWhenAsked) {
    auto& machine = this->driver;
    const auto notes = machine.launchApplication("Notes");
    const auto mail = machine.launchApplication("Mail");
    const Rect frame{{100, 100}, {400, 300}};
    const auto kept = machine.openWindow(mail, "Kept", frame);
    const auto minimized = machine.openWindow(notes, "Minimised", frame);
    const auto hidden = machine.openWindow(notes, "Of a hidden app", frame);
    const auto shown = machine.openWindow(notes, "Shown again", frame);
    machine.minimizeWindow(minimized);
    machine.hideApplication(notes);
    const std::vector<WindowNumber> mine = {kept, minimized, hidden, shown};

    EXPECT_EQ(this->order(mine, {.onScreenOnly = true}), std::vector<WindowNumber>{kept});
    for (const auto& entry : this->listed(mine)) {
        EXPECT_EQ(entry.isOnScreen, entry.number == kept) << entry.title;
    }
    EXPECT_EQ(this->listed(mine).size(), mine.size());

    machine.activateApplication(notes);
    const auto onScreen = this->order(mine, {.onScreenOnly = true});
    EXPECT_EQ(onScreen.size(), 3u) << "the minimised window stays in the Dock";
    EXPECT_EQ(std::ranges::count(onScreen, minimized), 0);
}

TYPED_TEST_P(WindowServerContract, ClosedWindowsAndQuitApplicationsLeaveTheList) {
    auto& machine = this->driver;
    const auto notes = machine.launchApplication("Notes");
    const auto mail = machine.launchApplication("Mail");
    const Rect frame{{100, 100}, {400, 300}};
    const auto closed = machine.openWindow(notes, "Closed", frame);
    const auto kept = machine.openWindow(notes, "Kept", frame);
    const auto ofMail = machine.openWindow(mail, "Inbox", frame);
    const std::vector<WindowNumber> mine = {closed, kept, ofMail};
    machine.closeWindow(closed);
    EXPECT_EQ(this->order(mine), (std::vector<WindowNumber>{ofMail, kept}));
    machine.quitApplication(mail);
    EXPECT_EQ(this->order(mine), std::vector<WindowNumber>{kept});
    EXPECT_EQ(this->windowServer.windowImage(closed), std::nullopt);
    EXPECT_EQ(this->windowServer.windowImage(ofMail), std::nullopt);
}

TYPED_TEST_P(WindowServerContract, WindowImagesNeedScreenRecording) {
    auto& machine = this->driver;
    const auto pid = machine.launchApplication("Notes");
    const auto wide = machine.openWindow(pid, "Wide", {{0, 100}, {800, 400}});
    const auto tall = machine.openWindow(pid, "Tall", {{900, 100}, {300, 600}});

    EXPECT_TRUE(this->windowServer.preflightScreenCaptureAccess());
    const auto wideImage = this->windowServer.windowImage(wide);
    const auto tallImage = this->windowServer.windowImage(tall);
    ASSERT_TRUE(wideImage.has_value() && tallImage.has_value());
    for (const auto& image : {*wideImage, *tallImage}) {
        EXPECT_GT(image.pixelWidth, 0);
        EXPECT_GT(image.pixelHeight, 0);
        EXPECT_FALSE(image.data.empty());
    }
    EXPECT_GT(wideImage->pixelWidth, wideImage->pixelHeight) << "the image has the window's shape";
    EXPECT_LT(tallImage->pixelWidth, tallImage->pixelHeight);
    EXPECT_NE(wideImage->data, tallImage->data);
    EXPECT_EQ(this->windowServer.windowImage(WindowNumber{0xFFFFFF}), std::nullopt);

    machine.setScreenRecording(false);
    EXPECT_FALSE(this->windowServer.preflightScreenCaptureAccess());
    EXPECT_FALSE(this->windowServer.requestScreenCaptureAccess()) << "asking grants nothing";
    EXPECT_EQ(this->windowServer.windowImage(wide), std::nullopt);
}

TYPED_TEST_P(WindowServerContract, WithoutScreenRecordingOnlyOurOwnWindowsHaveTitles) {
    auto& machine = this->driver;
    const Rect frame{{100, 100}, {400, 300}};
    const auto theirs =
        machine.openWindow(machine.launchApplication("Notes"), "Secret plans", frame);
    const auto ours = machine.openWindow(machine.thisProcess(), "Settings", frame);
    machine.setScreenRecording(false);
    const auto entries = this->listed({theirs, ours});
    ASSERT_EQ(entries.size(), 2u) << "the list itself stays readable";
    for (const auto& entry : entries) {
        EXPECT_EQ(entry.title, entry.number == ours ? "Settings" : "") << entry.number;
        EXPECT_EQ(entry.bounds, frame);
    }
    EXPECT_EQ(entries.back().ownerName, "Notes");
    machine.setScreenRecording(true);
    EXPECT_EQ(this->listed({theirs}).front().title, "Secret plans");
}

TYPED_TEST_P(WindowServerContract, ScreensAreTheDisplaysSeenFromBelow) {
    const auto displays = this->windowServer.activeDisplays();
    const auto screens = this->windowServer.screens();
    ASSERT_GE(displays.size(), 2u);
    ASSERT_EQ(screens.size(), displays.size());
    const Rect primary = displays.front().second;
    EXPECT_EQ(primary.origin, (platform::Point{0, 0})) << "the menu-bar display is the origin";
    for (std::size_t index = 0; index < displays.size(); ++index) {
        SCOPED_TRACE(index);
        const Rect bounds = displays[index].second;
        const auto& screen = screens[index];
        EXPECT_EQ(screen.frame,
                  (Rect{{bounds.minX(), primary.size.height - bounds.maxY()}, bounds.size}));
        EXPECT_GE(screen.visibleFrame.minX(), screen.frame.minX());
        EXPECT_GE(screen.visibleFrame.minY(), screen.frame.minY());
        EXPECT_LE(screen.visibleFrame.maxX(), screen.frame.maxX());
        EXPECT_LT(screen.visibleFrame.maxY(), screen.frame.maxY()) << "the menu bar is on top";
        EXPECT_FALSE(screen.visibleFrame.isEmpty());
    }
    const auto main = this->windowServer.mainScreen();
    ASSERT_TRUE(main.has_value());
    EXPECT_TRUE(std::ranges::any_of(screens, [&](const auto& screen) {
        return screen.frame == main->frame && screen.visibleFrame == main->visibleFrame;
    }));
}

REGISTER_TYPED_TEST_SUITE_P(WindowServerContract, TheListDescribesEachWindow,
                            TheListRunsFrontToBackWithHigherLayersFirst,
                            WindowsOffScreenAreLeftOutOnlyWhenAsked,
                            ClosedWindowsAndQuitApplicationsLeaveTheList,
                            WindowImagesNeedScreenRecording,
                            WithoutScreenRecordingOnlyOurOwnWindowsHaveTitles,
                            ScreensAreTheDisplaysSeenFromBelow);

}  // namespace parvel::contract
