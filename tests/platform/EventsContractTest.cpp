#include "platform/EventsContract.h"
#include "platform/SimulatedMacDriver.h"

namespace parvel::contract {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(SimulatedMac, EventsContract, SimulatedMacDriver);

}  // namespace
}  // namespace parvel::contract
