#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/Accessibility.h"
#include "platform/WindowServer.h"

namespace parvel::sim {

class Applications;
class Displays;
class Trace;

using AXToken = std::uint64_t;

// A node of some application's accessibility tree that is not an application or a window: a
// list, a row, a Dock item, a text field. Its attributes are plain values unless a hook says
// otherwise.
struct AXNodeSpec {
    std::string role;
    std::string subrole;
    std::string title;
    std::map<std::string, platform::AXValue> attributes;
    std::set<std::string> settable;
    std::vector<std::string> actions;
};

// Every application's accessibility tree, the system-wide element and hit testing, answered
// from the applications and windows of the simulated Mac:
// - an application element has "AXRole" "AXApplication", "AXTitle", "AXWindows" (front to
//   back), "AXMainWindow"/"AXFocusedWindow" (its frontmost window that is not minimised),
//   "AXFocusedUIElement", "AXFrontmost", "AXHidden" and "AXChildren" (windows, then other nodes);
// - a window element has "AXRole" "AXWindow", its subrole, title, "AXPosition", "AXSize",
//   "AXMinimized", "AXFullScreen", "AXZoomed", "AXMain", "AXFocused", "AXParent", "AXChildren",
//   and the action "AXRaise"; writing "AXMinimized", "AXFullScreen", "AXMain", "AXPosition" or
//   "AXSize" changes the window;
// - the system-wide element has "AXFocusedApplication" and "AXFocusedUIElement".
// Elements of a quit application or a closed window are invalid. Any read or write can be made
// to fail, per element and attribute, to exercise the callers' "unknown" paths.
class AccessibilityTree {
  public:
    AccessibilityTree(Applications& applications, const Displays& displays, Trace& trace);

    platform::AXElement systemWide() const;
    platform::AXElement application(platform::ProcessId pid);
    platform::AXElement window(platform::WindowNumber number);
    platform::AXElement element(AXToken token) const;

    // Adds a node under an application element (parent 0), a window element or another node.
    AXToken addNode(platform::ProcessId pid, AXToken parent, AXNodeSpec spec);
    // Removes a node and everything below it.
    void removeNode(AXToken token);
    void setAttribute(AXToken token, const std::string& attribute, platform::AXValue value);
    std::optional<platform::AXValue> attribute(AXToken token, const std::string& attribute) const;
    // Called before any attribute of a node is read, so a model can bring the node and its
    // children up to date.
    void onBeforeRead(AXToken token, std::function<void()> refresh);
    // Called when a settable attribute of a node is written.
    void onWrite(AXToken token,
                 std::function<void(const std::string& attribute, const platform::AXValue&)> hook);
    // The element an application reports as focused ("AXFocusedUIElement"); 0 for its window.
    void setFocusedElement(platform::ProcessId pid, AXToken token);
    std::vector<AXToken> children(AXToken token) const;

    // Failure injection: every operation on the element, or on one attribute of it, fails.
    void failElement(AXToken token, platform::AXError error);
    void failAttribute(AXToken token, const std::string& attribute, platform::AXError error);
    void clearFailures();

    [[nodiscard]] platform::AXResult<platform::AXValue> read(const platform::AXElement& element,
                                                             std::string_view attribute);
    [[nodiscard]] platform::AXResult<bool> isSettable(const platform::AXElement& element,
                                                      std::string_view attribute);
    [[nodiscard]] platform::AXResult<void> write(const platform::AXElement& element,
                                                 std::string_view attribute,
                                                 const platform::AXValue& value);
    [[nodiscard]] platform::AXResult<void> perform(const platform::AXElement& element,
                                                   std::string_view action);
    [[nodiscard]] platform::AXResult<platform::AXElement> hitTest(platform::Point point);
    [[nodiscard]] platform::AXResult<platform::ProcessId> processOf(
        const platform::AXElement& element);

    // The token of a window element or application element, e.g. to attach nodes under it.
    AXToken tokenOfWindow(platform::WindowNumber number);
    AXToken tokenOfApplication(platform::ProcessId pid);

  private:
    enum class Kind { SystemWide, Application, Window, Node };
    struct Node {
        Node() = default;
        Node(Kind nodeKind, platform::ProcessId owner, platform::WindowNumber number = 0)
            : kind(nodeKind), pid(owner), window(number) {}

        Kind kind = Kind::Node;
        platform::ProcessId pid = 0;
        platform::WindowNumber window = 0;
        AXToken parent = 0;
        AXNodeSpec spec;
        std::vector<AXToken> children;
        std::function<void()> beforeRead;
        std::function<void(const std::string&, const platform::AXValue&)> writeHook;
    };

    Node* live(AXToken token);
    std::optional<platform::AXError> injectedFailure(AXToken token,
                                                     std::string_view attribute) const;
    [[nodiscard]] platform::AXResult<platform::AXValue> readApplication(Node& node,
                                                                        std::string_view attribute);
    [[nodiscard]] platform::AXResult<platform::AXValue> readWindow(Node& node,
                                                                   std::string_view attribute);
    [[nodiscard]] platform::AXResult<platform::AXValue> readNode(AXToken token, Node& node,
                                                                 std::string_view attribute);
    [[nodiscard]] platform::AXResult<platform::AXValue> readSystemWide(std::string_view attribute);
    [[nodiscard]] platform::AXResult<void> writeWindow(Node& node, std::string_view attribute,
                                                       const platform::AXValue& value);
    [[nodiscard]] platform::AXResult<platform::AXValue> focusedElementOf(platform::ProcessId pid);
    std::vector<platform::AXElement> elements(const std::vector<AXToken>& tokens) const;
    std::optional<AXToken> deepestContaining(AXToken token, platform::Point point);

    Applications& applications_;
    const Displays& displays_;
    Trace& trace_;
    std::map<AXToken, Node> nodes_;
    std::map<platform::ProcessId, AXToken> applicationTokens_;
    std::map<platform::WindowNumber, AXToken> windowTokens_;
    std::map<platform::ProcessId, AXToken> focusedElements_;
    std::map<AXToken, platform::AXError> elementFailures_;
    std::map<std::pair<AXToken, std::string>, platform::AXError, std::less<>> attributeFailures_;
    AXToken nextToken_ = 2;
};

}  // namespace parvel::sim
