#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/ProcessesContract.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixProcesses.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimulatedMac.h"
#include "support/TemporaryDirectory.h"

namespace parvel::contract {
namespace {

// The probe as a script of this machine's shell.
constexpr std::string_view kProbeScript = R"(#!/bin/sh
status=$1
message=$2
shift 2
for argument in "$@"; do printf '[%s]' "$argument"; done
printf '%s' "$message" >&2
exit "$status"
)";

// Puts probe files in a folder of a file system, each under a new name.
class ProbeShelf {
  public:
    ProbeShelf(platform::FileSystem& files, std::string folder)
        : files_(files), folder_(std::move(folder)) {
        if (!files_.createDirectories(folder_)) {
            throw std::runtime_error("cannot create " + folder_);
        }
    }

    std::string place(ProbeFile file) {
        const std::string path = folder_ + "/probe-" + std::to_string(++placed_);
        if (file != ProbeFile::Missing) {
            const std::uint32_t mode = file == ProbeFile::Executable ? 0755 : 0644;
            if (!files_.writeFileAtomically(path, toBytes(kProbeScript), mode)) {
                throw std::runtime_error("cannot write " + path);
            }
        }
        return path;
    }

  private:
    platform::FileSystem& files_;
    std::string folder_;
    int placed_ = 0;
};

class PosixFactory {
  public:
    platform::Processes& processes() { return processes_; }
    std::string placeProbe(ProbeFile file) { return shelf_.place(file); }
    static std::string programName() { return "processes_tests"; }

  private:
    test_support::TemporaryDirectory folder_;
    posix::PosixFileSystem files_;
    ProbeShelf shelf_{files_, folder_.path()};
    posix::PosixProcesses processes_;
};

// The simulated Mac runs the probe as an installed program: it starts only while its file is
// in the sandbox and executable.
class SimulatedMacFactory {
  public:
    platform::Processes& processes() { return *mac_.platform().processes; }
    std::string placeProbe(ProbeFile file) {
        const std::string path = shelf_.place(file);
        mac_.processes().addInstalledProgram(path, [](const sim::ToolArguments& arguments) {
            auto [status, output, error] = probeOutcome(arguments);
            return sim::ToolResult{status, std::move(output), std::move(error)};
        });
        return path;
    }
    static std::string programName() { return "ParvelMac"; }

  private:
    sim::SimulatedMac mac_;
    ProbeShelf shelf_{mac_.files(), "/usr/local/bin"};
};

using Factories = testing::Types<PosixFactory, SimulatedMacFactory>;
INSTANTIATE_TYPED_TEST_SUITE_P(Adapters, ProcessesContract, Factories);

}  // namespace
}  // namespace parvel::contract
