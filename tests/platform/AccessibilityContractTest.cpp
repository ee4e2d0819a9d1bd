#include "platform/AccessibilityContract.h"
#include "platform/SimulatedMacDriver.h"

namespace parvel::contract {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(SimulatedMac, AccessibilityContract, SimulatedMacDriver);

}  // namespace
}  // namespace parvel::contract
