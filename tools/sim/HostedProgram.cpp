#include "HostedProgram.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "app/CompositionRoot.h"
#include "base/FileURL.h"
#include "platform/sim/SimApplication.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimProcessInfo.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"
#include "platform/sim/tools/OpenTool.h"
#include "platform/sim/tools/SystemTools.h"

namespace parvel::scenario {

namespace {

// How quitting lets virtual time pass while the process's objects are still going away.
constexpr platform::Duration kEndingStep = platform::seconds(0.05);
constexpr int kEndingSteps = 200;

}  // namespace

HostedProgram::HostedProgram(sim::SimulatedMac& mac) : mac_(mac) {
    mac_.systemTools().onOpenApplication(
        [this](const sim::OpenRequest& request) { return openRequested(request); });
}

HostedProgram::~HostedProgram() {
    mac_.systemTools().onOpenApplication(nullptr);
    mac_.dispatch().shutdown();
}

void HostedProgram::launch(const std::vector<std::string>& arguments) {
    mac_.dispatch().main().async([this, arguments] { startProcess(arguments); });
    mac_.dispatch().runDue();
}

// Ending the process waits for work still running on its queues (a mode job in a timed wait,
// say), as joining their threads would; virtual time moves on until it has ended.
void HostedProgram::quit() {
    mac_.dispatch().main().async([this] { mac_.application().terminate(); });
    mac_.dispatch().runDue();
    for (int step = 0; ending_ && step < kEndingSteps; ++step) {
        mac_.dispatch().advance(kEndingStep);
    }
}

void HostedProgram::reopen() {
    mac_.application().reopen();
}

void HostedProgram::startProcess(const std::vector<std::string>& arguments) {
    if (launches_ > 0) {
        mac_.startNewProgramProcess();
    }
    ++launches_;
    std::vector<std::string> argv{mac_.bundle().bundlePath() + "/Contents/MacOS/ParvelMac"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    mac_.processInfo().setArguments(argv);
    mac_.trace().record("program", fmt::format("ParvelMac starts: {}", fmt::join(argv, " ")));
    root_ = std::make_unique<CompositionRoot>(mac_.platform());
    // The delegate is still on the stack when termination is reported, so it goes afterwards.
    mac_.application().onTerminated(
        [this] { mac_.dispatch().main().async([this] { endProcess(); }); });
    mac_.application().launch(root_->delegate());
}

void HostedProgram::endProcess() {
    ending_ = true;
    root_.reset();
    ending_ = false;
    mac_.endProgramProcess();
    mac_.trace().record("program", "ParvelMac's process ended");
}

// Opening the bundle while no process runs starts one with the request's arguments; a running
// one is left alone unless a new instance was asked for (the gate's relaunch waits for the old
// process to end first, so that does not arise).
bool HostedProgram::openRequested(const sim::OpenRequest& request) {
    if (standardizedPath(request.applicationPath) != standardizedPath(mac_.bundle().bundlePath())) {
        return false;
    }
    if (isRunning() && !request.newInstance) {
        return true;
    }
    mac_.dispatch().main().async([this, arguments = request.arguments] {
        if (!isRunning()) {
            startProcess(arguments);
        }
    });
    return true;
}

}  // namespace parvel::scenario
