#include "platform/sim/world/AccessibilityTree.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/sim/Trace.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Displays.h"

namespace parvel::sim {

using platform::AXElement;
using platform::AXError;
using platform::AXResult;
using platform::AXValue;
using platform::ProcessId;

namespace {

constexpr AXToken kSystemWideToken = 1;

std::unexpected<AXError> failure(AXError error) {
    return std::unexpected(error);
}

template <typename T>
const T* valueAs(const AXValue& value) {
    return std::get_if<T>(&value);
}

}  // namespace

AccessibilityTree::AccessibilityTree(Applications& applications, const Displays& displays,
                                     Trace& trace)
    : applications_(applications), displays_(displays), trace_(trace) {
    nodes_[kSystemWideToken] = Node{Kind::SystemWide, 0};
}

AXElement AccessibilityTree::systemWide() const {
    return AXElement{kSystemWideToken, 0};
}

AXElement AccessibilityTree::application(ProcessId pid) {
    return AXElement{tokenOfApplication(pid), pid};
}

AXElement AccessibilityTree::window(platform::WindowNumber number) {
    const AXToken token = tokenOfWindow(number);
    return AXElement{token, nodes_[token].pid};
}

AXElement AccessibilityTree::element(AXToken token) const {
    const auto found = nodes_.find(token);
    return AXElement{token, found == nodes_.end() ? 0 : found->second.pid};
}

AXToken AccessibilityTree::tokenOfApplication(ProcessId pid) {
    const auto [entry, created] = applicationTokens_.try_emplace(pid, nextToken_);
    if (created) {
        Node node{Kind::Application, pid};
        node.spec.role = "AXApplication";
        nodes_[nextToken_++] = std::move(node);
    }
    return entry->second;
}

AXToken AccessibilityTree::tokenOfWindow(platform::WindowNumber number) {
    const auto [entry, created] = windowTokens_.try_emplace(number, nextToken_);
    if (created) {
        const SimWindow* simWindow = applications_.window(number);
        Node node{Kind::Window, simWindow ? simWindow->owner : 0, number};
        node.spec.role = "AXWindow";
        nodes_[nextToken_++] = std::move(node);
    }
    return entry->second;
}

AXToken AccessibilityTree::addNode(ProcessId pid, AXToken parent, AXNodeSpec spec) {
    const AXToken token = nextToken_++;
    const AXToken parentToken = parent == 0 ? tokenOfApplication(pid) : parent;
    Node node{Kind::Node, pid};
    node.parent = parentToken;
    node.spec = std::move(spec);
    nodes_[token] = std::move(node);
    nodes_[parentToken].children.push_back(token);
    return token;
}

void AccessibilityTree::removeNode(AXToken token) {
    const auto found = nodes_.find(token);
    if (found == nodes_.end() || found->second.kind != Kind::Node) {
        return;
    }
    for (const AXToken child : std::vector<AXToken>(found->second.children)) {
        removeNode(child);
    }
    if (const auto parent = nodes_.find(found->second.parent); parent != nodes_.end()) {
        std::erase(parent->second.children, token);
    }
    nodes_.erase(token);
}

void AccessibilityTree::setAttribute(AXToken token, const std::string& attribute, AXValue value) {
    if (const auto found = nodes_.find(token); found != nodes_.end()) {
        found->second.spec.attributes[attribute] = std::move(value);
    }
}

std::optional<AXValue> AccessibilityTree::attribute(AXToken token,
                                                    const std::string& attribute) const {
    const auto found = nodes_.find(token);
    if (found == nodes_.end()) {
        return std::nullopt;
    }
    const auto value = found->second.spec.attributes.find(attribute);
    return value == found->second.spec.attributes.end() ? std::nullopt
                                                        : std::optional<AXValue>(value->second);
}

void AccessibilityTree::onBeforeRead(AXToken token, std::function<void()> refresh) {
    nodes_[token].beforeRead = std::move(refresh);
}

void AccessibilityTree::onWrite(AXToken token,
                                std::function<void(const std::string&, const AXValue&)> hook) {
    nodes_[token].writeHook = std::move(hook);
}

void AccessibilityTree::setFocusedElement(ProcessId pid, AXToken token) {
    if (token == 0) {
        focusedElements_.erase(pid);
    } else {
        focusedElements_[pid] = token;
    }
}

std::vector<AXToken> AccessibilityTree::children(AXToken token) const {
    const auto found = nodes_.find(token);
    return found == nodes_.end() ? std::vector<AXToken>{} : found->second.children;
}

void AccessibilityTree::failElement(AXToken token, AXError error) {
    elementFailures_[token] = error;
}

void AccessibilityTree::failAttribute(AXToken token, const std::string& attribute, AXError error) {
    attributeFailures_[{token, attribute}] = error;
}

void AccessibilityTree::clearFailures() {
    elementFailures_.clear();
    attributeFailures_.clear();
}

// The node behind a token, or nothing once its application quit or its window closed.
AccessibilityTree::Node* AccessibilityTree::live(AXToken token) {
    const auto found = nodes_.find(token);
    if (found == nodes_.end()) {
        return nullptr;
    }
    Node& node = found->second;
    if (node.kind == Kind::Window) {
        const SimWindow* simWindow = applications_.window(node.window);
        if (simWindow == nullptr) {
            return nullptr;
        }
        // A relaunched application keeps its windows under its new process id.
        node.pid = simWindow->owner;
    }
    if (node.kind != Kind::SystemWide) {
        const SimApp* app = applications_.find(node.pid);
        if (app == nullptr || app->terminated) {
            return nullptr;
        }
    }
    return &node;
}

std::optional<AXError> AccessibilityTree::injectedFailure(AXToken token,
                                                          std::string_view attribute) const {
    if (const auto found = elementFailures_.find(token); found != elementFailures_.end()) {
        return found->second;
    }
    const auto found = attributeFailures_.find(std::pair{token, std::string(attribute)});
    if (found != attributeFailures_.end()) {
        return found->second;
    }
    return std::nullopt;
}

AXResult<AXValue> AccessibilityTree::read(const AXElement& element, std::string_view attribute) {
    if (const auto injected = injectedFailure(element.token, attribute)) {
        return failure(*injected);
    }
    Node* node = live(element.token);
    if (node == nullptr) {
        return failure(AXError::InvalidUIElement);
    }
    if (node->beforeRead) {
        node->beforeRead();
        node = live(element.token);
        if (node == nullptr) {
            return failure(AXError::InvalidUIElement);
        }
    }
    switch (node->kind) {
        case Kind::SystemWide:
            return readSystemWide(attribute);
        case Kind::Application:
            return readApplication(*node, attribute);
        case Kind::Window:
            return readWindow(*node, attribute);
        case Kind::Node:
            return readNode(element.token, *node, attribute);
    }
    return failure(AXError::Failure);
}

AXResult<AXValue> AccessibilityTree::readSystemWide(std::string_view attribute) {
    const auto frontmost = applications_.frontmost();
    if (attribute == "AXRole") {
        return AXValue(std::string("AXSystemWide"));
    }
    if (attribute == "AXFocusedApplication") {
        if (!frontmost) {
            return failure(AXError::NoValue);
        }
        return AXValue(application(*frontmost));
    }
    if (attribute == "AXFocusedUIElement") {
        if (!frontmost) {
            return failure(AXError::NoValue);
        }
        return focusedElementOf(*frontmost);
    }
    return failure(AXError::AttributeUnsupported);
}

AXResult<AXValue> AccessibilityTree::focusedElementOf(ProcessId pid) {
    if (const auto found = focusedElements_.find(pid); found != focusedElements_.end()) {
        if (live(found->second) != nullptr) {
            return AXValue(element(found->second));
        }
    }
    if (const SimWindow* focused = applications_.focusedWindow(pid)) {
        return AXValue(window(focused->number));
    }
    return failure(AXError::NoValue);
}

AXResult<AXValue> AccessibilityTree::readApplication(Node& node, std::string_view attribute) {
    const SimApp* app = applications_.find(node.pid);
    if (attribute == "AXRole") {
        return AXValue(std::string("AXApplication"));
    }
    if (attribute == "AXTitle") {
        return AXValue(app->spec.name);
    }
    if (attribute == "AXFrontmost") {
        return AXValue(applications_.frontmost() == node.pid);
    }
    if (attribute == "AXHidden") {
        return AXValue(app->hidden);
    }
    if (attribute == "AXWindows" || attribute == "AXChildren") {
        std::vector<AXElement> list;
        for (const auto* simWindow : applications_.windowsOf(node.pid)) {
            list.push_back(window(simWindow->number));
        }
        if (attribute == "AXChildren") {
            const auto others = elements(node.children);
            list.insert(list.end(), others.begin(), others.end());
        }
        return AXValue(std::move(list));
    }
    if (attribute == "AXMainWindow" || attribute == "AXFocusedWindow") {
        if (const SimWindow* focused = applications_.focusedWindow(node.pid)) {
            return AXValue(window(focused->number));
        }
        return failure(AXError::NoValue);
    }
    if (attribute == "AXFocusedUIElement") {
        return focusedElementOf(node.pid);
    }
    return failure(AXError::AttributeUnsupported);
}

AXResult<AXValue> AccessibilityTree::readWindow(Node& node, std::string_view attribute) {
    const SimWindow& simWindow = *applications_.window(node.window);
    const SimWindow* focused = applications_.focusedWindow(node.pid);
    const bool isMain = focused != nullptr && focused->number == simWindow.number;
    if (attribute == "AXRole") {
        return AXValue(std::string("AXWindow"));
    }
    if (attribute == "AXSubrole") {
        return AXValue(simWindow.subrole);
    }
    if (attribute == "AXTitle") {
        return AXValue(simWindow.title);
    }
    if (attribute == "AXPosition") {
        return AXValue(simWindow.frame.origin);
    }
    if (attribute == "AXSize") {
        return AXValue(simWindow.frame.size);
    }
    if (attribute == "AXMinimized") {
        return AXValue(simWindow.minimized);
    }
    if (attribute == "AXFullScreen") {
        return AXValue(simWindow.fullScreen);
    }
    if (attribute == "AXZoomed") {
        return AXValue(simWindow.zoomed);
    }
    if (attribute == "AXMain" || attribute == "AXFocused") {
        return AXValue(isMain);
    }
    if (attribute == "AXParent") {
        return AXValue(application(node.pid));
    }
    if (attribute == "AXChildren") {
        return AXValue(elements(node.children));
    }
    return failure(AXError::AttributeUnsupported);
}

AXResult<AXValue> AccessibilityTree::readNode(AXToken token, Node& node,
                                              std::string_view attribute) {
    if (attribute == "AXRole") {
        return AXValue(node.spec.role);
    }
    if (attribute == "AXSubrole" && !node.spec.subrole.empty()) {
        return AXValue(node.spec.subrole);
    }
    if (attribute == "AXTitle" && !node.spec.title.empty()) {
        return AXValue(node.spec.title);
    }
    if (attribute == "AXParent") {
        return AXValue(element(node.parent));
    }
    if (attribute == "AXChildren") {
        return AXValue(elements(nodes_.at(token).children));
    }
    const auto found = node.spec.attributes.find(std::string(attribute));
    if (found == node.spec.attributes.end()) {
        return failure(AXError::AttributeUnsupported);
    }
    if (std::holds_alternative<std::monostate>(found->second)) {
        return failure(AXError::NoValue);
    }
    return found->second;
}

std::vector<AXElement> AccessibilityTree::elements(const std::vector<AXToken>& tokens) const {
    std::vector<AXElement> list;
    for (const AXToken token : tokens) {
        list.push_back(element(token));
    }
    return list;
}

AXResult<bool> AccessibilityTree::isSettable(const AXElement& element, std::string_view attribute) {
    if (const auto injected = injectedFailure(element.token, attribute)) {
        return failure(*injected);
    }
    Node* node = live(element.token);
    if (node == nullptr) {
        return failure(AXError::InvalidUIElement);
    }
    if (node->kind == Kind::Window) {
        const SimWindow& simWindow = *applications_.window(node->window);
        if (attribute == "AXMinimized") {
            return simWindow.canMinimize;
        }
        if (attribute == "AXFullScreen") {
            return simWindow.canFullScreen;
        }
        return attribute == "AXMain" || attribute == "AXFocused" || attribute == "AXPosition" ||
               attribute == "AXSize";
    }
    if (node->kind == Kind::Application) {
        return attribute == "AXFocusedWindow" || attribute == "AXFrontmost";
    }
    return node->spec.settable.contains(std::string(attribute));
}

AXResult<void> AccessibilityTree::write(const AXElement& element, std::string_view attribute,
                                        const AXValue& value) {
    const auto settable = isSettable(element, attribute);
    if (!settable) {
        return failure(settable.error());
    }
    if (!*settable) {
        return failure(AXError::AttributeUnsupported);
    }
    Node& node = *live(element.token);
    trace_.record("ax",
                  fmt::format("set {} of element {} (pid {})", attribute, element.token, node.pid));
    if (node.kind == Kind::Window) {
        return writeWindow(node, attribute, value);
    }
    if (node.kind == Kind::Application) {
        if (attribute == "AXFrontmost") {
            const bool* frontmost = valueAs<bool>(value);
            if (frontmost == nullptr) {
                return failure(AXError::IllegalArgument);
            }
            if (*frontmost) {
                applications_.activate(node.pid);
            }
            return {};
        }
        const AXElement* target = valueAs<AXElement>(value);
        Node* targetNode = target ? live(target->token) : nullptr;
        if (targetNode == nullptr || targetNode->kind != Kind::Window ||
            targetNode->pid != node.pid) {
            return failure(AXError::IllegalArgument);
        }
        applications_.raise(targetNode->window);
        return {};
    }
    node.spec.attributes[std::string(attribute)] = value;
    if (node.writeHook) {
        node.writeHook(std::string(attribute), value);
    }
    return {};
}

AXResult<void> AccessibilityTree::writeWindow(Node& node, std::string_view attribute,
                                              const AXValue& value) {
    SimWindow& simWindow = *applications_.window(node.window);
    if (attribute == "AXPosition" || attribute == "AXSize") {
        if (const auto* point = valueAs<platform::Point>(value);
            point && attribute == "AXPosition") {
            simWindow.frame.origin = *point;
            return {};
        }
        if (const auto* size = valueAs<platform::Size>(value); size && attribute == "AXSize") {
            simWindow.frame.size = *size;
            return {};
        }
        return failure(AXError::IllegalArgument);
    }
    const bool* flag = valueAs<bool>(value);
    if (flag == nullptr) {
        return failure(AXError::IllegalArgument);
    }
    if (attribute == "AXMinimized") {
        applications_.setMinimized(simWindow.number, *flag);
    } else if (attribute == "AXFullScreen") {
        const SimDisplay* display = displays_.displayAt(simWindow.frame.origin);
        applications_.setFullScreen(simWindow.number, *flag,
                                    display ? display->bounds : simWindow.frame);
    } else if (*flag) {
        applications_.raise(simWindow.number);
    }
    return {};
}

AXResult<void> AccessibilityTree::perform(const AXElement& element, std::string_view action) {
    if (const auto injected = injectedFailure(element.token, action)) {
        return failure(*injected);
    }
    Node* node = live(element.token);
    if (node == nullptr) {
        return failure(AXError::InvalidUIElement);
    }
    if (node->kind == Kind::Window && action == "AXRaise") {
        trace_.record("ax", fmt::format("AXRaise window {}", node->window));
        applications_.raise(node->window);
        return {};
    }
    if (node->kind == Kind::Node &&
        std::ranges::find(node->spec.actions, action) != node->spec.actions.end()) {
        trace_.record("ax", fmt::format("{} on element {}", action, element.token));
        return {};
    }
    return failure(AXError::ActionUnsupported);
}

std::optional<AXToken> AccessibilityTree::deepestContaining(AXToken token, platform::Point point) {
    for (const AXToken child : nodes_[token].children) {
        const Node& node = nodes_[child];
        const auto position = node.spec.attributes.find("AXPosition");
        const auto size = node.spec.attributes.find("AXSize");
        if (const auto deeper = deepestContaining(child, point)) {
            return deeper;
        }
        if (position == node.spec.attributes.end() || size == node.spec.attributes.end()) {
            continue;
        }
        const auto* origin = valueAs<platform::Point>(position->second);
        const auto* extent = valueAs<platform::Size>(size->second);
        if (origin && extent && platform::Rect{*origin, *extent}.contains(point)) {
            return child;
        }
    }
    return std::nullopt;
}

AXResult<AXElement> AccessibilityTree::hitTest(platform::Point point) {
    for (const SimWindow* simWindow : applications_.windowsFrontToBack()) {
        if (!simWindow->onScreen || !simWindow->frame.contains(point)) {
            continue;
        }
        const AXToken windowToken = tokenOfWindow(simWindow->number);
        if (const auto inside = deepestContaining(windowToken, point)) {
            return element(*inside);
        }
        if (const auto inApplication =
                deepestContaining(tokenOfApplication(simWindow->owner), point)) {
            return element(*inApplication);
        }
        return element(windowToken);
    }
    return failure(AXError::NoValue);
}

AXResult<ProcessId> AccessibilityTree::processOf(const AXElement& element) {
    Node* node = live(element.token);
    if (node == nullptr) {
        return failure(AXError::InvalidUIElement);
    }
    return node->pid;
}

}  // namespace parvel::sim
