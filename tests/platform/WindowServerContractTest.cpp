#include "platform/SimulatedMacDriver.h"
#include "platform/WindowServerContract.h"

namespace parvel::contract {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(SimulatedMac, WindowServerContract, SimulatedMacDriver);

}  // namespace
}  // namespace parvel::contract
