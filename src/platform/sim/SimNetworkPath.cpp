#include "platform/sim/SimNetworkPath.h"

#include <fmt/format.h>

#include "platform/Dispatch.h"
#include "platform/sim/Trace.h"

namespace parvel::sim {

using platform::NetworkPathState;

class SimNetworkPath::Monitor final : public platform::PathMonitor,
                                      public std::enable_shared_from_this<Monitor> {
  public:
    explicit Monitor(NetworkPathState current) : latest_(current) {}

    void start(platform::Queue& queue,
               std::function<void(const NetworkPathState&)> handler) override {
        queue_ = &queue;
        handler_ = std::move(handler);
        deliver(latest_);
    }
    NetworkPathState currentPath() const override {
        return started() ? latest_ : NetworkPathState{};
    }
    void cancel() override { cancelled_ = true; }

    void deliver(const NetworkPathState& path) {
        latest_ = path;
        if (!started() || cancelled_) {
            return;
        }
        queue_->async([weak = weak_from_this(), path] {
            if (const auto self = weak.lock(); self && !self->cancelled_) {
                self->handler_(path);
            }
        });
    }

  private:
    bool started() const { return queue_ != nullptr; }

    NetworkPathState latest_;
    platform::Queue* queue_ = nullptr;
    std::function<void(const NetworkPathState&)> handler_;
    bool cancelled_ = false;
};

namespace {

// Hands out a monitor owned jointly with the network, so the network can reach it while the caller
// holds it and let it go once the caller drops it.
class MonitorOwner final : public platform::PathMonitor {
  public:
    explicit MonitorOwner(std::shared_ptr<platform::PathMonitor> monitor)
        : monitor_(std::move(monitor)) {}
    void start(platform::Queue& queue,
               std::function<void(const NetworkPathState&)> handler) override {
        monitor_->start(queue, std::move(handler));
    }
    NetworkPathState currentPath() const override { return monitor_->currentPath(); }
    void cancel() override { monitor_->cancel(); }

  private:
    std::shared_ptr<platform::PathMonitor> monitor_;
};

}  // namespace

SimNetworkPath::SimNetworkPath(Trace& trace) : path_(wifi()), trace_(trace) {}

SimNetworkPath::~SimNetworkPath() = default;

NetworkPathState SimNetworkPath::wifi(bool constrained) {
    return {NetworkPathState::Status::Satisfied, true, false, constrained, false};
}

std::unique_ptr<platform::PathMonitor> SimNetworkPath::makeMonitor() {
    auto monitor = std::make_shared<Monitor>(path_);
    monitors_.push_back(monitor);
    return std::make_unique<MonitorOwner>(std::move(monitor));
}

void SimNetworkPath::setPath(NetworkPathState path) {
    path_ = path;
    const char* status =
        path.status == NetworkPathState::Status::Satisfied ? "satisfied" : "unsatisfied";
    trace_.record("network", fmt::format("path {}{}{}{}", status, path.usesWiFi ? ", Wi-Fi" : "",
                                         path.usesWiredEthernet ? ", Ethernet" : "",
                                         path.isConstrained ? ", Low Data Mode" : ""));
    std::erase_if(monitors_, [](const auto& weak) { return weak.expired(); });
    for (const auto& weak : monitors_) {
        if (const auto monitor = weak.lock()) {
            monitor->deliver(path);
        }
    }
}

}  // namespace parvel::sim
