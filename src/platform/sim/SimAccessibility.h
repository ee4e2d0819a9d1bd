#pragma once

#include "platform/Accessibility.h"

namespace parvel::sim {

class AccessibilityTree;
class Trace;
struct Permissions;

// Accessibility on the simulated Mac: the world's trees, behind the Accessibility permission.
// Without it every call fails with APIDisabled, as the real API does for an untrusted process.
class SimAccessibility final : public platform::Accessibility {
  public:
    SimAccessibility(AccessibilityTree& tree, Permissions& permissions, Trace& trace)
        : tree_(tree), permissions_(permissions), trace_(trace) {}

    bool isProcessTrusted() const override;
    bool isProcessTrustedPrompting() override;
    platform::AXElement applicationElement(platform::ProcessId pid) override;
    platform::AXElement systemWideElement() override;
    [[nodiscard]] platform::AXResult<platform::AXValue> copyAttribute(
        const platform::AXElement& element, std::string_view attribute) override;
    [[nodiscard]] platform::AXResult<bool> isAttributeSettable(const platform::AXElement& element,
                                                               std::string_view attribute) override;
    [[nodiscard]] platform::AXResult<void> setAttribute(const platform::AXElement& element,
                                                        std::string_view attribute,
                                                        const platform::AXValue& value) override;
    [[nodiscard]] platform::AXResult<void> performAction(const platform::AXElement& element,
                                                         std::string_view action) override;
    [[nodiscard]] platform::AXResult<platform::AXElement> elementAtPosition(
        platform::Point point) override;
    [[nodiscard]] platform::AXResult<platform::ProcessId> processId(
        const platform::AXElement& element) override;

  private:
    AccessibilityTree& tree_;
    Permissions& permissions_;
    Trace& trace_;
};

}  // namespace parvel::sim
