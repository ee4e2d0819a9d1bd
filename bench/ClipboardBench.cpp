// Clipboard history costs, on the real file system and preferences store:
// - saving 200 entries of which 20 are 1 MB images must cost at most about three times writing
//   the same number of bytes raw (the "ratio" counter);
// - a poll when nothing was copied is one change-count comparison;
// - the controller holding that history stays within about twice its payload bytes
//   ("held_per_payload_byte": heap bytes the controller holds per payload byte).

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <malloc.h>

#include "clipboard/ClipboardHistoryController.h"
#include "core/SettingsKeys.h"
#include "core/SettingsStore.h"
#include "platform/posix/PlistDefaults.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/sim/MemoryLog.h"
#include "platform/sim/SimulatedMac.h"
#include "support/TemporaryDirectory.h"

namespace parvel {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kEntries = 200;
constexpr std::size_t kImages = 20;
constexpr std::size_t kImageBytes = 1024 * 1024;

std::vector<ClipboardEntry> typicalHistory(platform::WallTime now,
                                           platform::Randomness& randomness) {
    std::vector<ClipboardEntry> entries;
    for (std::size_t index = 0; index < kEntries; ++index) {
        if (index % (kEntries / kImages) == 0) {
            Bytes image(kImageBytes);
            for (std::size_t byte = 0; byte < image.size(); ++byte) {
                image[byte] = static_cast<std::uint8_t>((byte * 31 + index) % 251);
            }
            entries.push_back(ClipboardEntry::image(image, now, randomness));
        } else {
            entries.push_back(ClipboardEntry::text(
                "Copied line " + std::to_string(index) + " with some words in it", now,
                randomness));
        }
    }
    return entries;
}

std::size_t payloadBytes(const std::vector<ClipboardEntry>& entries) {
    std::size_t total = 0;
    for (const auto& entry : entries) {
        total += entry.payloadText().size();
    }
    return total;
}

// Heap bytes in use: what the program holds, whatever the allocator keeps cached.
std::size_t heapBytesInUse() {
    const auto info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

// A controller over the real preferences store with the typical history already stored.
struct StoredHistory {
    sim::SimulatedMac mac;
    test_support::TemporaryDirectory folder;
    posix::PosixFileSystem files{folder.path()};
    sim::MemoryLog log;
    posix::PlistDefaults defaults{"/Preferences", files, log};
    SettingsStore settings{defaults};
    std::vector<ClipboardEntry> entries =
        typicalHistory(mac.dispatch().now(), *mac.platform().randomness);

    StoredHistory() {
        settings.set(settings_keys::clipboardHistoryLimitKey, static_cast<std::int64_t>(kEntries));
        settings.set(settings_keys::clipboardHistoryEntriesKey, encodeClipboardEntries(entries));
    }
    ClipboardHistoryController::Services services() {
        return {*mac.platform().pasteboard,
                settings,
                mac.dispatch(),
                *mac.platform().presenter,
                *mac.platform().application,
                *mac.platform().randomness};
    }
};

// A new copy at the limit: the entry goes in, the oldest goes, the whole history is stored.
void BM_CaptureVersusRawWrite(benchmark::State& state) {
    StoredHistory stored;
    ClipboardHistoryController history(stored.services());
    Clock::duration saving{};
    Clock::duration writing{};
    std::size_t bytes = 0;
    int copy = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        history.add(ClipboardEntry::text("Copy " + std::to_string(++copy),
                                         stored.mac.dispatch().now(),
                                         *stored.mac.platform().randomness));
        const auto saved = Clock::now();
        const Bytes raw = encodeClipboardEntries(history.entries());
        bytes = raw.size();
        const auto encoded = Clock::now();
        benchmark::DoNotOptimize(stored.files.writeFileAtomically("/raw", raw));
        writing += Clock::now() - encoded;
        saving += saved - start;
    }
    const auto perIteration = [&state](Clock::duration total) {
        return std::chrono::duration<double, std::milli>(total).count() /
               static_cast<double>(state.iterations());
    };
    state.counters["bytes"] = static_cast<double>(bytes);
    state.counters["save_ms"] = perIteration(saving);
    state.counters["raw_ms"] = perIteration(writing);
    state.counters["ratio"] = perIteration(saving) / perIteration(writing);
}
BENCHMARK(BM_CaptureVersusRawWrite)->Unit(benchmark::kMillisecond)->Iterations(10);

void BM_PollWhenNothingChanged(benchmark::State& state) {
    StoredHistory stored;
    ClipboardHistoryController history(stored.services());
    history.setEnabled(true);
    for (auto _ : state) {
        history.poll();
    }
}
BENCHMARK(BM_PollWhenNothingChanged);

void BM_MemoryHeldByTheHistory(benchmark::State& state) {
    for (auto _ : state) {
        StoredHistory stored;
        const std::size_t payload = payloadBytes(stored.entries);
        stored.entries.clear();
        stored.entries.shrink_to_fit();
        const std::size_t before = heapBytesInUse();
        std::optional<ClipboardHistoryController> history(std::in_place, stored.services());
        const std::size_t after = heapBytesInUse();
        state.counters["payload_mb"] = static_cast<double>(payload) / 1e6;
        state.counters["held_per_payload_byte"] =
            static_cast<double>(after - before) / static_cast<double>(payload);
    }
}
BENCHMARK(BM_MemoryHeldByTheHistory)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
}  // namespace parvel
