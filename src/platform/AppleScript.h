#pragma once

#include <expected>
#include <string>
#include <string_view>

namespace parvel::platform {

// Why a script failed, as the scripting engine reports it (NSAppleScriptErrorMessage and
// NSAppleScriptErrorNumber). -1743 is "not authorised" (Automation refused).
struct AppleScriptError {
    std::string message;
    int number = 0;
    friend bool operator==(const AppleScriptError&, const AppleScriptError&) = default;
};

// The in-process AppleScript service (NSAppleScript).
class AppleScript {
  public:
    virtual ~AppleScript() = default;

    // Compiles and runs a script; returns its result as a string (empty when it has none).
    [[nodiscard]] virtual std::expected<std::string, AppleScriptError> run(
        std::string_view source) = 0;
};

}  // namespace parvel::platform
