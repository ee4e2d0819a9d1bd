#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/Geometry.h"
#include "platform/Processes.h"

namespace parvel::platform {

// A handle on one element of an application's accessibility tree (or the system-wide element).
// The token is the adapter's stable name for that UI element: two handles on the same element
// compare equal and hash alike.
struct AXElement {
    std::uint64_t token = 0;
    ProcessId processId = 0;  // 0 for the system-wide element
    friend bool operator==(const AXElement& a, const AXElement& b) { return a.token == b.token; }
};

// A file or web URL as an attribute value ("AXURL").
struct AXURL {
    std::string absoluteString;
    friend bool operator==(const AXURL&, const AXURL&) = default;
};

// An attribute value: none, a Bool, a number, a string, a point/size/rect (AXValue), a URL, an
// element or a list of elements.
using AXValue = std::variant<std::monostate, bool, std::int64_t, double, std::string, Point, Size,
                             Rect, AXURL, AXElement, std::vector<AXElement>>;

// The accessibility API's error codes (AXError).
enum class AXError : int {
    Failure = -25200,
    IllegalArgument = -25201,
    InvalidUIElement = -25202,
    CannotComplete = -25204,
    AttributeUnsupported = -25205,
    ActionUnsupported = -25206,
    NotImplemented = -25208,
    APIDisabled = -25211,
    NoValue = -25212,
};

template <typename T>
using AXResult = std::expected<T, AXError>;

// The accessibility service: trust, elements, attributes, actions and hit testing.
class Accessibility {
  public:
    virtual ~Accessibility() = default;

    // AXIsProcessTrusted: may this process use accessibility (never prompts).
    virtual bool isProcessTrusted() const = 0;
    // AXIsProcessTrustedWithOptions with the prompt option: shows the system's request.
    virtual bool isProcessTrustedPrompting() = 0;

    // The application element of a process (AXUIElementCreateApplication).
    virtual AXElement applicationElement(ProcessId pid) = 0;
    // The system-wide element (AXUIElementCreateSystemWide).
    virtual AXElement systemWideElement() = 0;

    // Reads an attribute ("AXWindows", "AXRole", "AXPosition"...).
    [[nodiscard]] virtual AXResult<AXValue> copyAttribute(const AXElement& element,
                                                          std::string_view attribute) = 0;
    // Whether an attribute can be written.
    [[nodiscard]] virtual AXResult<bool> isAttributeSettable(const AXElement& element,
                                                             std::string_view attribute) = 0;
    // Writes an attribute ("AXFullScreen", "AXMinimized", "AXFocusedWindow"...).
    [[nodiscard]] virtual AXResult<void> setAttribute(const AXElement& element,
                                                      std::string_view attribute,
                                                      const AXValue& value) = 0;
    // Performs an action ("AXRaise").
    [[nodiscard]] virtual AXResult<void> performAction(const AXElement& element,
                                                       std::string_view action) = 0;
    // The deepest element at a point in window-server coordinates (top-left origin).
    [[nodiscard]] virtual AXResult<AXElement> elementAtPosition(Point point) = 0;
    // The process an element belongs to.
    [[nodiscard]] virtual AXResult<ProcessId> processId(const AXElement& element) = 0;
};

}  // namespace parvel::platform

template <>
struct std::hash<parvel::platform::AXElement> {
    std::size_t operator()(const parvel::platform::AXElement& element) const noexcept {
        return std::hash<std::uint64_t>{}(element.token);
    }
};
