#include "platform/PasteboardContract.h"
#include "platform/SimulatedMacDriver.h"

namespace parvel::contract {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(SimulatedMac, PasteboardContract, SimulatedMacDriver);

}  // namespace
}  // namespace parvel::contract
