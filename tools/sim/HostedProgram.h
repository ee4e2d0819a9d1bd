#pragma once

#include <memory>

#include "Scenario.h"

namespace parvel {
class CompositionRoot;
}

namespace parvel::scenario {

// ParvelMac as the scenario runner hosts it on the simulated Mac: what exists of the program is
// built from the Mac's services when it launches and dropped when it quits. Launching registers
// the settings' defaults, as the program's start-up does first.
class HostedProgram final : public ProgramHost {
  public:
    explicit HostedProgram(sim::SimulatedMac& mac);
    ~HostedProgram() override;
    HostedProgram(const HostedProgram&) = delete;
    HostedProgram& operator=(const HostedProgram&) = delete;

    void launch(const std::vector<std::string>& arguments) override;
    void quit() override;
    void reopen() override;
    bool isRunning() const override { return root_ != nullptr; }

  private:
    sim::SimulatedMac& mac_;
    std::unique_ptr<CompositionRoot> root_;
};

}  // namespace parvel::scenario
