#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <stdlib.h>

#include "platform/ProcessInfoContract.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixProcessInfo.h"
#include "platform/posix/PosixProcesses.h"
#include "platform/sim/SimProcessInfo.h"
#include "platform/sim/SimulatedMac.h"

namespace parvel::contract {
namespace {

class PosixFactory {
  public:
    ~PosixFactory() {
        for (const auto& name : set_) {
            ::unsetenv(name.c_str());
        }
    }

    platform::ProcessInfo& processInfo() { return processInfo_; }
    platform::Processes& processes() { return processes_; }
    platform::FileSystem& files() { return files_; }
    void setEnvironmentValue(const std::string& name, const std::string& value) {
        ASSERT_EQ(::setenv(name.c_str(), value.c_str(), 1), 0) << name;
        set_.push_back(name);
    }
    // The real user id, from the kernel's status of this process.
    static unsigned loggedInUserId() {
        std::ifstream status("/proc/self/status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("Uid:")) {
                unsigned real = 0;
                std::istringstream(line.substr(4)) >> real;
                return real;
            }
        }
        ADD_FAILURE() << "no Uid line in /proc/self/status";
        return 0;
    }

  private:
    posix::PosixProcessInfo processInfo_;
    posix::PosixProcesses processes_;
    posix::PosixFileSystem files_;
    std::vector<std::string> set_;
};

class SimulatedMacFactory {
  public:
    platform::ProcessInfo& processInfo() { return *mac_.platform().processInfo; }
    platform::Processes& processes() { return *mac_.platform().processes; }
    platform::FileSystem& files() { return mac_.files(); }
    void setEnvironmentValue(const std::string& name, const std::string& value) {
        mac_.processInfo().setEnvironmentValue(name, value);
    }
    static unsigned loggedInUserId() { return kUserId; }

  private:
    static constexpr unsigned kUserId = 502;
    sim::SimulatedMac mac_{{.userName = "contract", .userId = kUserId}};
};

using Factories = testing::Types<PosixFactory, SimulatedMacFactory>;
INSTANTIATE_TYPED_TEST_SUITE_P(Adapters, ProcessInfoContract, Factories);

}  // namespace
}  // namespace parvel::contract
