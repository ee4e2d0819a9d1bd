#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>

#include "platform/Defaults.h"
#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

// "/usr/bin/defaults" over the defaults service the program shares with the rest of the Mac:
//   [-currentHost] read DOMAIN [KEY]
//   [-currentHost] write DOMAIN KEY [-bool|-boolean|-int|-integer|-float|-string] VALUE
//   [-currentHost] delete DOMAIN [KEY]
// "NSGlobalDomain", "-g" and "-globalDomain" name the global domain. The -currentHost variant of
// domain D is stored in the service as domain "ByHost.D" (the real tool keeps it in
// ~/Library/Preferences/ByHost/D.<hardware UUID>.plist). Messages are the real tool's without the
// timestamped log prefix it puts before some of them.
class DefaultsTool {
  public:
    static constexpr std::string_view kPath = "/usr/bin/defaults";
    static constexpr std::string_view kGlobalDomain = "NSGlobalDomain";
    static constexpr std::string_view kByHostPrefix = "ByHost.";

    explicit DefaultsTool(platform::Defaults& defaults) : defaults_(defaults) {}

    ToolResult run(const ToolArguments& arguments);

    // Makes every write and delete to a domain, named as stored ("ByHost.D" for -currentHost),
    // fail with this status and standard-error text (possibly empty) and change nothing, the way
    // a managed or unwritable preferences file refuses changes.
    void failWrites(std::string domain, int status, std::string error);
    void restoreWrites(std::string_view domain);

  private:
    struct Target {
        std::string domain;  // as stored in the service
        std::string shown;   // as the real tool names it in messages
    };

    ToolResult read(const Target& target, std::span<const std::string> keys);
    ToolResult write(const Target& target, std::span<const std::string> operands);
    ToolResult remove(const Target& target, std::span<const std::string> keys);
    static Target targetOf(std::string_view domain, bool currentHost);

    platform::Defaults& defaults_;
    std::map<std::string, ToolResult, std::less<>> writeFailures_;
};

}  // namespace parvel::sim
