#pragma once

#include "platform/WindowServer.h"

namespace parvel::sim {

class Applications;
class Displays;
class Trace;
struct Permissions;

// The window server of the simulated Mac: the world's windows front to back (higher layers
// first), generated window images behind the Screen Recording permission, displays and screens.
// Without Screen Recording the list still holds every window, but only this program's own windows
// keep their titles.
class SimWindowServer final : public platform::WindowServer {
  public:
    SimWindowServer(Applications& applications, const Displays& displays, Permissions& permissions,
                    Trace& trace, platform::ProcessId ownPid)
        : applications_(applications),
          displays_(displays),
          permissions_(permissions),
          trace_(trace),
          ownPid_(ownPid) {}

    bool preflightScreenCaptureAccess() const override;
    bool requestScreenCaptureAccess() override;
    std::vector<platform::WindowInfo> windowList(
        platform::WindowListOptions options) const override;
    std::optional<platform::Image> windowImage(platform::WindowNumber number) const override;
    std::vector<std::pair<platform::DisplayId, platform::Rect>> activeDisplays() const override;
    std::vector<platform::Screen> screens() const override;
    std::optional<platform::Screen> mainScreen() const override;

    // Window images are generated at this fraction of the window's size.
    static constexpr double kImageScale = 0.25;

  private:
    Applications& applications_;
    const Displays& displays_;
    Permissions& permissions_;
    Trace& trace_;
    platform::ProcessId ownPid_;
};

}  // namespace parvel::sim
