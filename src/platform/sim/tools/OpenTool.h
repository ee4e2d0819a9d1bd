#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

class Applications;
class SimWorkspace;
class Trace;
struct AppSpec;

// An application bundle `open` was asked to start by its path: this program itself, relaunched
// or started by its login agent.
struct OpenRequest {
    std::string applicationPath;
    bool newInstance = false;            // -n
    bool background = false;             // -g: not brought to the front
    bool hidden = false;                 // -j: launched hidden
    std::vector<std::string> arguments;  // everything after --args
    friend bool operator==(const OpenRequest&, const OpenRequest&) = default;
};

// "/usr/bin/open":
//   open [-n] [-g] [-j] -a NAME|PATH [--args ARGUMENTS...]   (flags may be combined: "-gja")
//   open URL | PATH...
// A NAME is looked up in a small catalogue of the Mac's own applications and launched, or
// activated when it already runs (-n starts another instance). An application opened in the
// background (-g) while it runs is neither activated nor sent a reopen event. A path to an
// application bundle goes to the handler given to onOpenApplication(); URLs go to the workspace,
// other paths open as documents.
class OpenTool {
  public:
    static constexpr std::string_view kPath = "/usr/bin/open";

    OpenTool(Applications& applications, SimWorkspace& workspace, platform::FileSystem& files,
             Trace& trace)
        : applications_(applications), workspace_(workspace), files_(files), trace_(trace) {}

    ToolResult run(const ToolArguments& arguments);
    // Receives every request to open an application bundle by path; answers whether it started.
    void onOpenApplication(std::function<bool(const OpenRequest&)> handler) {
        openApplication_ = std::move(handler);
    }

  private:
    ToolResult openApplication(const std::string& application, const OpenRequest& flags);
    ToolResult openNamed(const AppSpec& application, const OpenRequest& flags);
    ToolResult openBundle(const std::string& path, const OpenRequest& flags);
    ToolResult openOperand(const std::string& operand, const OpenRequest& flags);

    Applications& applications_;
    SimWorkspace& workspace_;
    platform::FileSystem& files_;
    Trace& trace_;
    std::function<bool(const OpenRequest&)> openApplication_;
};

}  // namespace parvel::sim
