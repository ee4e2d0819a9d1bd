#pragma once

#include <memory>

#include "Scenario.h"

namespace parvel {
class CompositionRoot;
}

namespace parvel::sim {
struct OpenRequest;
}

namespace parvel::scenario {

// ParvelMac as the scenario runner hosts it on the simulated Mac: each launch is a new process
// of the program, built from the Mac's services (its composition root and application delegate)
// and handed to the Mac's application object; it ends when the application terminates. Opening
// the bundle with `open` (the permission gate's relaunch, a login agent) starts a process too,
// unless one runs and the request is for the background.
class HostedProgram final : public ProgramHost {
  public:
    explicit HostedProgram(sim::SimulatedMac& mac);
    ~HostedProgram() override;
    HostedProgram(const HostedProgram&) = delete;
    HostedProgram& operator=(const HostedProgram&) = delete;

    void launch(const std::vector<std::string>& arguments) override;
    void quit() override;
    void reopen() override;
    // A process whose objects are still being destroyed counts as running.
    bool isRunning() const override { return root_ != nullptr || ending_; }

    // How many processes of the program have started.
    int launches() const { return launches_; }

  private:
    void startProcess(const std::vector<std::string>& arguments);
    void endProcess();
    bool openRequested(const sim::OpenRequest& request);

    sim::SimulatedMac& mac_;
    std::unique_ptr<CompositionRoot> root_;
    int launches_ = 0;
    bool ending_ = false;
};

}  // namespace parvel::scenario
