#pragma once

#include <string>
#include <string_view>

#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

class Trace;
struct Permissions;

// "/usr/bin/tccutil reset SERVICE [BUNDLE_ID]": forgets the user's privacy decisions. For this
// program (its bundle identifier, or no identifier at all) "Accessibility", "ScreenCapture",
// "ListenEvent", "BluetoothAlways" and "AppleEvents" revoke the matching permission ("All" every
// one of them); other services tccutil knows reset nothing this Mac models. An unknown service
// fails.
class TccutilTool {
  public:
    static constexpr std::string_view kPath = "/usr/bin/tccutil";

    TccutilTool(Permissions& permissions, Trace& trace, std::string ownBundleIdentifier)
        : permissions_(permissions),
          trace_(trace),
          ownBundleIdentifier_(std::move(ownBundleIdentifier)) {}

    ToolResult run(const ToolArguments& arguments);

  private:
    Permissions& permissions_;
    Trace& trace_;
    std::string ownBundleIdentifier_;
};

}  // namespace parvel::sim
