#include "HostedProgram.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "app/CompositionRoot.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimProcessInfo.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"

namespace parvel::scenario {

HostedProgram::HostedProgram(sim::SimulatedMac& mac) : mac_(mac) {}

HostedProgram::~HostedProgram() = default;

void HostedProgram::launch(const std::vector<std::string>& arguments) {
    std::vector<std::string> argv{mac_.bundle().bundlePath() + "/Contents/MacOS/ParvelMac"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    mac_.processInfo().setArguments(argv);
    mac_.trace().record("program", fmt::format("ParvelMac starts: {}", fmt::join(argv, " ")));
    mac_.dispatch().main().async([this] {
        root_ = std::make_unique<CompositionRoot>(mac_.platform());
        root_->settings().initializeDefaults();
    });
    mac_.dispatch().runDue();
}

void HostedProgram::quit() {
    mac_.dispatch().main().async([this] {
        root_.reset();
        mac_.trace().record("program", "ParvelMac quit");
    });
    mac_.dispatch().runDue();
}

void HostedProgram::reopen() {
    mac_.trace().record("program", "ParvelMac opened again");
}

}  // namespace parvel::scenario
