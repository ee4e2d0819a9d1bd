#pragma once

#include <memory>
#include <vector>

#include "platform/NetworkPath.h"

namespace parvel::sim {

class Trace;

// The network of the simulated Mac. Monitors get the current path when they start and every
// change after it, on their queue.
class SimNetworkPath final : public platform::NetworkPath {
  public:
    explicit SimNetworkPath(Trace& trace);
    ~SimNetworkPath() override;

    std::unique_ptr<platform::PathMonitor> makeMonitor() override;

    const platform::NetworkPathState& path() const { return path_; }
    // The Mac joins another network, loses it, or the network's Low Data Mode changes.
    void setPath(platform::NetworkPathState path);

    // A Wi-Fi network in working order.
    static platform::NetworkPathState wifi(bool constrained = false);

  private:
    class Monitor;
    platform::NetworkPathState path_;
    std::vector<std::weak_ptr<Monitor>> monitors_;
    Trace& trace_;
};

}  // namespace parvel::sim
