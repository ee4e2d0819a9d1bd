#pragma once

#include <functional>
#include <memory>

namespace parvel::platform {

class Queue;

// The current network path (NWPath).
struct NetworkPathState {
    enum class Status { Satisfied, Unsatisfied, RequiresConnection };
    Status status = Status::Unsatisfied;
    bool usesWiFi = false;
    bool usesWiredEthernet = false;
    bool isConstrained = false;  // Low Data Mode is on for the network in use
    bool isExpensive = false;
    friend bool operator==(const NetworkPathState&, const NetworkPathState&) = default;
};

// A path monitor over all interfaces (NWPathMonitor).
class PathMonitor {
  public:
    virtual ~PathMonitor() = default;
    // Starts delivering path updates to `handler` on `queue`, the current path first.
    virtual void start(Queue& queue, std::function<void(const NetworkPathState&)> handler) = 0;
    // The latest path seen (unsatisfied before the first update).
    virtual NetworkPathState currentPath() const = 0;
    // Stops the updates for good.
    virtual void cancel() = 0;
};

// The network-path service.
class NetworkPath {
  public:
    virtual ~NetworkPath() = default;
    virtual std::unique_ptr<PathMonitor> makeMonitor() = 0;
};

}  // namespace parvel::platform
