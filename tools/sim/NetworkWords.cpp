#include "Words.h"
#include "platform/sim/SimNetworkPath.h"
#include "platform/sim/SimulatedMac.h"

namespace parvel::scenario {

// The network the Mac is on.
void addNetworkWords(Vocabulary& vocabulary) {
    vocabulary.add({{"network"},
                    "network wifi|ethernet|none [constrained]",
                    "join a network (Low Data Mode when constrained) or lose it",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 2));
                        const std::string kind = arguments[0];
                        if (kind != "wifi" && kind != "ethernet" && kind != "none") {
                            return failed("the network is wifi, ethernet or none");
                        }
                        platform::NetworkPathState path;
                        path.status = kind == "none"
                                          ? platform::NetworkPathState::Status::Unsatisfied
                                          : platform::NetworkPathState::Status::Satisfied;
                        path.usesWiFi = kind == "wifi";
                        path.usesWiredEthernet = kind == "ethernet";
                        path.isConstrained = arguments.has("constrained");
                        return compiledStep([path](Context& context) -> Outcome {
                            context.mac.network().setPath(path);
                            return {};
                        });
                    }});
}

}  // namespace parvel::scenario
