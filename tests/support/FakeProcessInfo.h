#pragma once

#include <map>
#include <string>

#include "platform/ProcessInfo.h"

namespace parvel::test_support {

// A process whose environment the test writes; the rest are fixed values.
class FakeProcessInfo final : public platform::ProcessInfo {
  public:
    std::map<std::string, std::string, std::less<>> environment;

    std::vector<std::string> arguments() const override { return {"/usr/bin/parvelmac-test"}; }
    std::optional<std::string> environmentValue(std::string_view name) const override {
        const auto found = environment.find(name);
        return found == environment.end() ? std::nullopt : std::optional(found->second);
    }
    unsigned userId() const override { return 501; }
    std::string homeDirectory() const override { return "/Users/tester"; }
    std::string temporaryDirectory() const override { return "/tmp"; }
    platform::OperatingSystemVersion operatingSystemVersion() const override { return {14, 0, 0}; }
};

}  // namespace parvel::test_support
