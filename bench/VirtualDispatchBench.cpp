#include <vector>

#include <benchmark/benchmark.h>

#include "platform/sim/VirtualDispatch.h"

namespace parvel::sim {
namespace {

using platform::QualityOfService;
using platform::seconds;

// One virtual hour of the application's steady polling: the mixer's 0.1 s volume poll, the Dock's
// 0.25 s previews, the quit controllers' 0.8 s and 2 s polls on their own queues, the clipboard's
// 1.2 s poll and the menu's 15 s refresh. The scenario runner needs this well under a second.
void VirtualHourOfPolling(benchmark::State& state) {
    for (auto _ : state) {
        VirtualDispatch dispatch;
        auto quitLastWindow = dispatch.makeSerialQueue("com.tarnby.parvelmac.quitLastWindow",
                                                       QualityOfService::Utility);
        auto quitNoWindows = dispatch.makeSerialQueue("com.tarnby.parvelmac.quitNoWindowsDelay",
                                                      QualityOfService::Utility);
        std::int64_t ticks = 0;
        const auto tick = [&ticks] { ++ticks; };
        std::vector<platform::Scheduled> timers;
        for (const double period : {0.1, 0.25, 1.2, 15.0}) {
            timers.push_back(dispatch.main().scheduleRepeating(
                {.startDelay = seconds(period), .interval = seconds(period)}, tick));
        }
        timers.push_back(quitLastWindow->scheduleRepeating(
            {.startDelay = seconds(0.8), .interval = seconds(0.8)}, tick));
        timers.push_back(quitNoWindows->scheduleRepeating(
            {.startDelay = seconds(2), .interval = seconds(2)}, tick));
        dispatch.advance(std::chrono::hours(1));
        benchmark::DoNotOptimize(ticks);
        state.counters["firings"] = static_cast<double>(ticks);
    }
}
BENCHMARK(VirtualHourOfPolling)->Unit(benchmark::kMillisecond);

// A work item that sleeps hands the baton to another thread and back: the cost of one blocking
// sleep in virtual time.
void BlockingSleepHandOff(benchmark::State& state) {
    VirtualDispatch dispatch;
    auto queue = dispatch.makeSerialQueue("com.tarnby.parvelmac.systemMode",
                                          QualityOfService::UserInitiated);
    for (auto _ : state) {
        queue->async([&dispatch] { dispatch.sleep(seconds(0.8)); });
        dispatch.advance(seconds(1));
    }
}
BENCHMARK(BlockingSleepHandOff)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace parvel::sim
