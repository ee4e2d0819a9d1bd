// The keyboard tap's decision runs for every key press on the Mac, inside an active filter the
// system disables when it is slow. Target: a key-down or flags-changed event that needs no
// accessibility work is decided in well under a microsecond (median).

#include <benchmark/benchmark.h>

#include "finder/FinderSupport.h"
#include "finder/FinderUpgradeController.h"
#include "input/GlobalShortcutController.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/world/Finder.h"

namespace parvel {
namespace {

using platform::Event;
using platform::EventType;
namespace flags = platform::event_flags;

Event keyEvent(EventType type, std::int64_t keyCode, platform::EventFlags eventFlags) {
    Event event;
    event.type = type;
    event.flags = eventFlags;
    event.setField(platform::EventField::KeyboardEventKeycode, keyCode);
    return event;
}

struct ShortcutsOnTheSimulatedMac {
    sim::SimulatedMac mac;
    GlobalShortcutController shortcuts{{*mac.platform().accessibility, *mac.platform().events,
                                        *mac.platform().workspace, *mac.platform().dispatch}};

    ShortcutsOnTheSimulatedMac() {
        shortcuts.clipboardEnabled = true;
        shortcuts.windowsDeleteEnabled = true;
        shortcuts.clipboardKeyCode = 6;
        shortcuts.clipboardFlags = flags::kControl | flags::kShift;
        shortcuts.leftOptionMode = LeftOptionMode::spotlight;
        mac.finder().openWindow(mac.homeDirectory() + "/Documents");
    }
};

void decide(benchmark::State& state, const Event& event) {
    ShortcutsOnTheSimulatedMac fixture;
    for (auto _ : state) {
        benchmark::DoNotOptimize(fixture.shortcuts.handle(event.type, event));
    }
}

// A letter typed with Shift: no shortcut, no accessibility query.
void BM_HandleOrdinaryKeyDown(benchmark::State& state) {
    decide(state, keyEvent(EventType::KeyDown, 0, flags::kShift));
}
BENCHMARK(BM_HandleOrdinaryKeyDown);

// Shift pressed alone: a flags-changed event of a key that is not the left Option key.
void BM_HandleFlagsChanged(benchmark::State& state) {
    decide(state, keyEvent(EventType::FlagsChanged, 56, flags::kShift));
}
BENCHMARK(BM_HandleFlagsChanged);

// Command+Z in Finder: Finder's frontmost and text-editing probes run, then the key passes.
void BM_HandleCommandKeyWithFinderProbes(benchmark::State& state) {
    decide(state, keyEvent(EventType::KeyDown, 6, flags::kCommand));
}
BENCHMARK(BM_HandleCommandKeyWithFinderProbes);

// The paste question asked inside the tap while a copy is pending and nothing has changed.
void BM_HasManagedTransferUnchanged(benchmark::State& state) {
    sim::SimulatedMac mac;
    FinderSupport finder{{*mac.platform().appleScript, *mac.platform().accessibility,
                          *mac.platform().workspace, *mac.platform().processInfo}};
    FinderUpgradeController transfers{{finder, *mac.platform().pasteboard, mac.files(),
                                       *mac.platform().presenter, *mac.platform().workspace,
                                       *mac.platform().application}};
    const std::string file = mac.homeDirectory() + "/Documents/a.txt";
    (void)mac.files().writeFileAtomically(file, Bytes{'a'});
    mac.finder().openWindow(mac.homeDirectory() + "/Documents");
    mac.finder().select({file});
    if (!transfers.captureSelection(TransferOperation::copy)) {
        state.SkipWithError("nothing captured");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(transfers.hasManagedTransfer());
    }
}
BENCHMARK(BM_HasManagedTransferUnchanged);

}  // namespace
}  // namespace parvel
