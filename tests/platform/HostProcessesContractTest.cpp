#include "platform/HostProcessesContract.h"
#include "platform/posix/PosixProcesses.h"

namespace parvel::contract {
namespace {

struct PosixFactory {
    static std::unique_ptr<platform::Processes> make() {
        return std::make_unique<posix::PosixProcesses>();
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Posix, HostProcessesContract, PosixFactory);

}  // namespace
}  // namespace parvel::contract
