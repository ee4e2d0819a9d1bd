#include "platform/DispatchContract.h"
#include "platform/posix/PosixDispatch.h"
#include "platform/sim/VirtualDispatch.h"

namespace parvel::contract {
namespace {

struct VirtualDriver {
    sim::VirtualDispatch dispatch;
    void runFor(Duration duration) { dispatch.advance(duration); }
};

struct PosixDriver {
    posix::PosixDispatch dispatch;
    void runFor(Duration duration) {
        dispatch.main().asyncAfter(duration, [this] { dispatch.stopMainLoop(); });
        dispatch.runMainLoop();
    }
};

using Drivers = testing::Types<VirtualDriver, PosixDriver>;
INSTANTIATE_TYPED_TEST_SUITE_P(Adapters, DispatchContract, Drivers);

}  // namespace
}  // namespace parvel::contract
