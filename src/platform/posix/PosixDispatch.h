#pragma once

#include <cstddef>
#include <memory>

#include "platform/Dispatch.h"

namespace parvel::posix {

// Dispatch on real threads and real time: the main run loop turns on the thread that calls
// runMainLoop() (by default the one that made the dispatcher), each serial queue has a thread of
// its own, and the global queues share a small pool. Timer leeway is not used for coalescing.
class PosixDispatch final : public platform::Dispatch {
  public:
    explicit PosixDispatch(std::size_t globalThreads = 2);
    // Stops every queue thread once its work in progress is done; pending work is dropped.
    ~PosixDispatch() override;
    PosixDispatch(const PosixDispatch&) = delete;
    PosixDispatch& operator=(const PosixDispatch&) = delete;

    platform::Queue& main() override;
    platform::Queue& global(platform::QualityOfService qos) override;
    std::unique_ptr<platform::Queue> makeSerialQueue(std::string label,
                                                     platform::QualityOfService qos) override;
    bool isMainThread() const override;
    void sleep(platform::Duration duration) override;
    void runNestedMainLoopUntil(const std::function<bool()>& done) override;
    void runMainLoop() override;
    void stopMainLoop() override;
    platform::WallTime now() const override;
    platform::Duration uptime() const override;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace parvel::posix
