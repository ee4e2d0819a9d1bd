#pragma once

#include "platform/Processes.h"

namespace parvel::posix {

// Starts tools with posix_spawn (never through a shell) and reads the process table from /proc.
// Tools inherit the environment, get /dev/null as standard input and no other open descriptor.
class PosixProcesses final : public platform::Processes {
  public:
    Result<std::unique_ptr<platform::ChildProcess>> launch(
        const platform::LaunchRequest& request) override;

    platform::ProcessId currentProcessId() const override;
    std::optional<platform::ProcessId> parentProcessId(platform::ProcessId pid) const override;
    // Linux has no notion of a responsible process: always nothing.
    std::optional<platform::ProcessId> responsibleProcessId(platform::ProcessId pid) const override;
    std::optional<std::string> executablePath(platform::ProcessId pid) const override;
};

}  // namespace parvel::posix
