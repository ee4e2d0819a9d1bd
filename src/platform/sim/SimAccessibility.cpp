#include "platform/sim/SimAccessibility.h"

#include "platform/sim/Trace.h"
#include "platform/sim/world/AccessibilityTree.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::sim {

using platform::AXError;

namespace {
const auto kDisabled = std::unexpected(AXError::APIDisabled);
}  // namespace

bool SimAccessibility::isProcessTrusted() const {
    return permissions_.accessibility;
}

bool SimAccessibility::isProcessTrustedPrompting() {
    if (!permissions_.accessibility) {
        ++permissions_.accessibilityPrompts;
        trace_.record("privacy", "asked the user to allow Accessibility");
    }
    return permissions_.accessibility;
}

platform::AXElement SimAccessibility::applicationElement(platform::ProcessId pid) {
    return tree_.application(pid);
}

platform::AXElement SimAccessibility::systemWideElement() {
    return tree_.systemWide();
}

platform::AXResult<platform::AXValue> SimAccessibility::copyAttribute(
    const platform::AXElement& element, std::string_view attribute) {
    if (!permissions_.accessibility) {
        return kDisabled;
    }
    return tree_.read(element, attribute);
}

platform::AXResult<bool> SimAccessibility::isAttributeSettable(const platform::AXElement& element,
                                                               std::string_view attribute) {
    if (!permissions_.accessibility) {
        return kDisabled;
    }
    return tree_.isSettable(element, attribute);
}

platform::AXResult<void> SimAccessibility::setAttribute(const platform::AXElement& element,
                                                        std::string_view attribute,
                                                        const platform::AXValue& value) {
    if (!permissions_.accessibility) {
        return kDisabled;
    }
    return tree_.write(element, attribute, value);
}

platform::AXResult<void> SimAccessibility::performAction(const platform::AXElement& element,
                                                         std::string_view action) {
    if (!permissions_.accessibility) {
        return kDisabled;
    }
    return tree_.perform(element, action);
}

platform::AXResult<platform::AXElement> SimAccessibility::elementAtPosition(platform::Point point) {
    if (!permissions_.accessibility) {
        return kDisabled;
    }
    return tree_.hitTest(point);
}

platform::AXResult<platform::ProcessId> SimAccessibility::processId(
    const platform::AXElement& element) {
    if (!permissions_.accessibility) {
        return kDisabled;
    }
    return tree_.processOf(element);
}

}  // namespace parvel::sim
