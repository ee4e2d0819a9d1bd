#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Accessibility.h"

// What every Accessibility adapter must do with other applications' windows. A driver type gives
// the adapter and the applications of its machine:
//   platform::Accessibility& accessibility;
//   ProcessId launchApplication(const std::string& name);   // started and frontmost
//   WindowNumber openWindow(ProcessId, const std::string& title, Rect frame);
//   void closeWindow(WindowNumber);
//   void quitApplication(ProcessId);
//   void setAccessibilityTrusted(bool trusted);
// Frames are in window-server coordinates (top-left origin), as Accessibility reports them. This
// process is trusted when a test starts.
namespace parvel::contract {

using platform::AXElement;
using platform::AXError;
using platform::AXValue;
using platform::Point;
using platform::ProcessId;
using platform::Rect;
using platform::Size;

template <typename Driver>
class AccessibilityContract : public testing::Test {
  protected:
    Driver driver;
    platform::Accessibility& accessibility = driver.accessibility;

    platform::AXResult<AXValue> read(const AXElement& element, std::string_view attribute) {
        return accessibility.copyAttribute(element, attribute);
    }
    // An attribute that must be there, as its one expected kind.
    template <typename T>
    T value(const AXElement& element, std::string_view attribute) {
        const auto result = read(element, attribute);
        EXPECT_TRUE(result.has_value()) << attribute << ": error " << int(result.error());
        const T* found = result ? std::get_if<T>(&*result) : nullptr;
        EXPECT_NE(found, nullptr) << attribute << " is not of the expected kind";
        return found ? *found : T{};
    }
    std::vector<AXElement> windowsOf(ProcessId pid) {
        return value<std::vector<AXElement>>(accessibility.applicationElement(pid), "AXWindows");
    }
    std::string titleOf(const AXElement& element) { return value<std::string>(element, "AXTitle"); }
    Rect frameOf(const AXElement& element) {
        return {value<Point>(element, "AXPosition"), value<Size>(element, "AXSize")};
    }
};

TYPED_TEST_SUITE_P(AccessibilityContract);

TYPED_TEST_P(AccessibilityContract, AnUntrustedProcessGetsAPIDisabledFromEveryCall) {
    auto& service = this->accessibility;
    const auto pid = this->driver.launchApplication("Notes");
    this->driver.openWindow(pid, "Groceries", {{100, 100}, {400, 300}});
    const AXElement application = service.applicationElement(pid);
    const AXElement window = this->windowsOf(pid).front();
    this->driver.setAccessibilityTrusted(false);

    EXPECT_FALSE(service.isProcessTrusted());
    EXPECT_FALSE(service.isProcessTrustedPrompting()) << "asking grants nothing";
    using Call = std::function<std::optional<AXError>()>;
    const auto errorOf = [](const auto& result) {
        return result ? std::nullopt : std::optional(result.error());
    };
    const std::pair<const char*, Call> calls[] = {
        {"read", [&] { return errorOf(service.copyAttribute(application, "AXTitle")); }},
        {"read system-wide",
         [&] {
             return errorOf(
                 service.copyAttribute(service.systemWideElement(), "AXFocusedApplication"));
         }},
        {"settable", [&] { return errorOf(service.isAttributeSettable(window, "AXSize")); }},
        {"write",
         [&] {
             return errorOf(service.setAttribute(window, "AXPosition", Point{0, 50}));
         }},
        {"action", [&] { return errorOf(service.performAction(window, "AXRaise")); }},
        {"hit test",
         [&] {
             return errorOf(service.elementAtPosition({150, 150}));
         }},
    };
    for (const auto& [name, call] : calls) {
        EXPECT_EQ(call(), AXError::APIDisabled) << name;
    }

    this->driver.setAccessibilityTrusted(true);
    EXPECT_TRUE(service.isProcessTrusted());
    EXPECT_EQ(this->frameOf(window), (Rect{{100, 100}, {400, 300}})) << "the write did not happen";
}

TYPED_TEST_P(AccessibilityContract, AnApplicationElementListsItsWindowsFrontToBack) {
    auto& machine = this->driver;
    const auto pid = machine.launchApplication("Notes");
    machine.openWindow(pid, "First", {{10, 40}, {300, 200}});
    machine.openWindow(pid, "Second", {{20, 50}, {300, 200}});
    machine.openWindow(pid, "Third", {{30, 60}, {300, 200}});
    const AXElement application = this->accessibility.applicationElement(pid);
    EXPECT_EQ(this->template value<std::string>(application, "AXRole"), "AXApplication");
    EXPECT_EQ(this->titleOf(application), "Notes");
    EXPECT_EQ(this->template value<bool>(application, "AXFrontmost"), true);

    std::vector<std::string> titles;
    for (const auto& window : this->windowsOf(pid)) {
        titles.push_back(this->titleOf(window));
    }
    EXPECT_EQ(titles, (std::vector<std::string>{"Third", "Second", "First"}));
    EXPECT_EQ(this->template value<AXElement>(application, "AXFocusedWindow"),
              this->windowsOf(pid).front());
}

TYPED_TEST_P(AccessibilityContract, WindowElementsDescribeTheirWindows) {
    struct Case {
        std::string title;
        Rect frame;
    };
    const Case cases[] = {
        {"Origin", {{0, 25}, {500, 400}}},
        {"Fractional", {{100.5, 200.25}, {333.5, 222.75}}},
        {"On the second display", {{1600, 40}, {800, 600}}},
    };
    const auto pid = this->driver.launchApplication("Notes");
    for (const auto& [title, frame] : cases) {
        this->driver.openWindow(pid, title, frame);
        const AXElement window = this->windowsOf(pid).front();
        SCOPED_TRACE(title);
        EXPECT_EQ(this->template value<std::string>(window, "AXRole"), "AXWindow");
        EXPECT_EQ(this->titleOf(window), title);
        EXPECT_EQ(this->frameOf(window), frame);
        EXPECT_EQ(this->template value<bool>(window, "AXMinimized"), false);
        EXPECT_EQ(this->template value<AXElement>(window, "AXParent"),
                  this->accessibility.applicationElement(pid));
        EXPECT_EQ(this->accessibility.processId(window), pid);
    }
}

TYPED_TEST_P(AccessibilityContract, ElementsOfTheSameWindowAreEqualAndHashAlike) {
    const auto pid = this->driver.launchApplication("Notes");
    this->driver.openWindow(pid, "First", {{10, 40}, {300, 200}});
    this->driver.openWindow(pid, "Second", {{20, 50}, {300, 200}});
    const auto once = this->windowsOf(pid);
    const auto again = this->windowsOf(pid);
    ASSERT_EQ(once.size(), 2u);
    EXPECT_EQ(once, again);
    EXPECT_EQ(std::hash<AXElement>{}(once[0]), std::hash<AXElement>{}(again[0]));
    EXPECT_FALSE(once[0] == once[1]);
    EXPECT_EQ(this->accessibility.applicationElement(pid),
              this->accessibility.applicationElement(pid));
    EXPECT_FALSE(this->accessibility.applicationElement(pid) == once[0]);
}

TYPED_TEST_P(AccessibilityContract, WritesMoveResizeMinimiseAndFillTheScreen) {
    auto& service = this->accessibility;
    const auto pid = this->driver.launchApplication("Notes");
    this->driver.openWindow(pid, "Back", {{10, 40}, {300, 200}});
    this->driver.openWindow(pid, "Front", {{20, 50}, {300, 200}});
    const auto windows = this->windowsOf(pid);
    const AXElement front = windows[0];
    const AXElement back = windows[1];

    for (const auto attribute : {"AXPosition", "AXSize", "AXMinimized", "AXFullScreen"}) {
        EXPECT_EQ(service.isAttributeSettable(front, attribute), true) << attribute;
    }
    EXPECT_EQ(service.isAttributeSettable(front, "AXRole"), false);

    ASSERT_TRUE(service.setAttribute(front, "AXPosition", Point{200, 120}).has_value());
    ASSERT_TRUE(service.setAttribute(front, "AXSize", Size{640, 480}).has_value());
    EXPECT_EQ(this->frameOf(front), (Rect{{200, 120}, {640, 480}}));

    ASSERT_TRUE(service.setAttribute(front, "AXMinimized", true).has_value());
    EXPECT_EQ(this->template value<bool>(front, "AXMinimized"), true);
    const AXElement application = service.applicationElement(pid);
    EXPECT_EQ(this->template value<AXElement>(application, "AXFocusedWindow"), back)
        << "a minimised window gives up the focus";
    ASSERT_TRUE(service.setAttribute(front, "AXMinimized", false).has_value());
    EXPECT_EQ(this->template value<bool>(front, "AXMinimized"), false);

    ASSERT_TRUE(service.setAttribute(back, "AXFullScreen", true).has_value());
    EXPECT_EQ(this->template value<bool>(back, "AXFullScreen"), true);
    ASSERT_TRUE(service.setAttribute(back, "AXFullScreen", false).has_value());
    EXPECT_EQ(this->template value<bool>(back, "AXFullScreen"), false);
    EXPECT_EQ(this->frameOf(back), (Rect{{10, 40}, {300, 200}})) << "leaving restores the frame";
}

TYPED_TEST_P(AccessibilityContract, WritesOfTheWrongKindFailAndChangeNothing) {
    struct Case {
        const char* attribute;
        AXValue value;
        std::optional<AXError> error;  // nothing where any error will do
    };
    const Case cases[] = {
        {"AXPosition", Size{10, 10}, AXError::IllegalArgument},
        {"AXSize", Point{10, 10}, AXError::IllegalArgument},
        {"AXMinimized", std::string("yes"), AXError::IllegalArgument},
        {"AXSize", std::monostate{}, AXError::IllegalArgument},
        {"AXRole", std::string("AXButton"), std::nullopt},
        {"AXTitle", std::string("Renamed"), std::nullopt},
    };
    const Rect frame{{10, 40}, {300, 200}};
    const auto pid = this->driver.launchApplication("Notes");
    this->driver.openWindow(pid, "Notes", frame);
    const AXElement window = this->windowsOf(pid).front();
    for (const auto& [attribute, value, error] : cases) {
        const auto written = this->accessibility.setAttribute(window, attribute, value);
        ASSERT_FALSE(written.has_value()) << attribute;
        if (error) {
            EXPECT_EQ(written.error(), *error) << attribute;
        }
    }
    EXPECT_EQ(this->frameOf(window), frame);
    EXPECT_EQ(this->template value<bool>(window, "AXMinimized"), false);
    EXPECT_EQ(this->template value<std::string>(window, "AXRole"), "AXWindow");
    EXPECT_EQ(this->titleOf(window), "Notes");
}

TYPED_TEST_P(AccessibilityContract, UnknownAttributesAndActionsAreUnsupported) {
    auto& service = this->accessibility;
    const auto pid = this->driver.launchApplication("Notes");
    this->driver.openWindow(pid, "Back", {{10, 40}, {300, 200}});
    this->driver.openWindow(pid, "Front", {{20, 50}, {300, 200}});
    const AXElement back = this->windowsOf(pid).back();
    EXPECT_EQ(service.copyAttribute(back, "AXNoSuchAttribute"),
              std::unexpected(AXError::AttributeUnsupported));
    EXPECT_EQ(service.copyAttribute(service.systemWideElement(), "AXNoSuchAttribute"),
              std::unexpected(AXError::AttributeUnsupported));
    EXPECT_EQ(service.performAction(back, "AXNoSuchAction"),
              std::unexpected(AXError::ActionUnsupported));
    EXPECT_EQ(this->windowsOf(pid).back(), back) << "a failed action moves nothing";
    ASSERT_TRUE(service.performAction(back, "AXRaise").has_value());
    EXPECT_EQ(this->windowsOf(pid).front(), back);
}

TYPED_TEST_P(AccessibilityContract, FocusFollowsTheFrontmostApplicationAndItsMainWindow) {
    auto& service = this->accessibility;
    const auto notes = this->driver.launchApplication("Notes");
    this->driver.openWindow(notes, "Back", {{10, 40}, {300, 200}});
    this->driver.openWindow(notes, "Front", {{20, 50}, {300, 200}});
    const auto mail = this->driver.launchApplication("Mail");
    const AXElement systemWide = service.systemWideElement();
    const AXElement notesApp = service.applicationElement(notes);
    const AXElement mailApp = service.applicationElement(mail);
    EXPECT_EQ(this->template value<AXElement>(systemWide, "AXFocusedApplication"), mailApp);

    ASSERT_TRUE(service.setAttribute(notesApp, "AXFrontmost", true).has_value());
    EXPECT_EQ(this->template value<AXElement>(systemWide, "AXFocusedApplication"), notesApp);
    EXPECT_EQ(this->template value<bool>(notesApp, "AXFrontmost"), true);
    EXPECT_EQ(this->template value<bool>(mailApp, "AXFrontmost"), false);

    const auto windows = this->windowsOf(notes);
    const AXElement back = windows[1];
    EXPECT_EQ(this->template value<bool>(back, "AXMain"), false);
    ASSERT_TRUE(service.setAttribute(back, "AXMain", true).has_value());
    EXPECT_EQ(this->template value<bool>(back, "AXMain"), true);
    EXPECT_EQ(this->template value<bool>(windows[0], "AXMain"), false);
    EXPECT_EQ(this->template value<AXElement>(notesApp, "AXFocusedWindow"), back);
    EXPECT_EQ(this->template value<AXElement>(notesApp, "AXMainWindow"), back);
}

TYPED_TEST_P(AccessibilityContract, HitTestingFindsTheFrontWindowUnderAPoint) {
    auto& service = this->accessibility;
    const auto notes = this->driver.launchApplication("Notes");
    this->driver.openWindow(notes, "Notes", {{100, 100}, {400, 300}});
    const auto mail = this->driver.launchApplication("Mail");
    this->driver.openWindow(mail, "Inbox", {{300, 200}, {400, 300}});
    const auto ownerAt = [&](Point point) -> std::optional<ProcessId> {
        const auto hit = service.elementAtPosition(point);
        if (!hit) {
            return std::nullopt;
        }
        const auto pid = service.processId(*hit);
        return pid ? std::optional(*pid) : std::nullopt;
    };
    struct Case {
        Point point;
        ProcessId owner;
    };
    const Case before[] = {{{150, 150}, notes}, {{400, 250}, mail}, {{650, 450}, mail}};
    for (const auto& [point, owner] : before) {
        EXPECT_EQ(ownerAt(point), owner) << point.x << "," << point.y;
    }
    ASSERT_TRUE(service.performAction(this->windowsOf(notes).front(), "AXRaise").has_value());
    const Case after[] = {{{150, 150}, notes}, {{400, 250}, notes}, {{650, 450}, mail}};
    for (const auto& [point, owner] : after) {
        EXPECT_EQ(ownerAt(point), owner) << point.x << "," << point.y;
    }
}

TYPED_TEST_P(AccessibilityContract, ElementsOfClosedWindowsAndQuitApplicationsAreInvalid) {
    auto& machine = this->driver;
    const auto pid = machine.launchApplication("Notes");
    const auto closing = machine.openWindow(pid, "Closing", {{10, 40}, {300, 200}});
    machine.openWindow(pid, "Staying", {{20, 50}, {300, 200}});
    const auto windows = this->windowsOf(pid);
    const AXElement closed = windows[1];
    const AXElement staying = windows[0];
    machine.closeWindow(closing);
    EXPECT_EQ(this->read(closed, "AXTitle"), std::unexpected(AXError::InvalidUIElement));
    EXPECT_EQ(this->windowsOf(pid), std::vector<AXElement>{staying});

    const AXElement application = this->accessibility.applicationElement(pid);
    machine.quitApplication(pid);
    for (const auto& element : {application, staying}) {
        const auto role = this->read(element, "AXRole");
        ASSERT_FALSE(role.has_value());
        EXPECT_TRUE(role.error() == AXError::InvalidUIElement ||
                    role.error() == AXError::CannotComplete)
            << int(role.error());
    }
}

REGISTER_TYPED_TEST_SUITE_P(
    AccessibilityContract, AnUntrustedProcessGetsAPIDisabledFromEveryCall,
    AnApplicationElementListsItsWindowsFrontToBack, WindowElementsDescribeTheirWindows,
    ElementsOfTheSameWindowAreEqualAndHashAlike, WritesMoveResizeMinimiseAndFillTheScreen,
    WritesOfTheWrongKindFailAndChangeNothing, UnknownAttributesAndActionsAreUnsupported,
    FocusFollowsTheFrontmostApplicationAndItsMainWindow, HitTestingFindsTheFrontWindowUnderAPoint,
    ElementsOfClosedWindowsAndQuitApplicationsAreInvalid);

}  // namespace parvel::contract
