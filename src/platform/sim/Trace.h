#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Time.h"

namespace parvel::sim {

class VirtualDispatch;

// One thing that crossed the platform boundary, at a virtual time.
struct TraceLine {
    platform::Duration at{};
    std::string category;  // "process", "script", "defaults", "window", "alert", "event"...
    std::string text;
    friend bool operator==(const TraceLine&, const TraceLine&) = default;
};

// The simulated Mac's record of everything the program did to it and everything it was shown:
// processes run, scripts sent, defaults written, windows and alerts, events, files, log lines.
// Lines carry the virtual time, so the same run prints the same trace byte for byte. Secrets
// (API keys) never go in.
class Trace {
  public:
    explicit Trace(const VirtualDispatch& clock) : clock_(clock) {}

    void record(std::string_view category, std::string text);

    std::vector<TraceLine> lines() const;
    // Lines of one category, their text only.
    std::vector<std::string> texts(std::string_view category) const;
    // Called for every new line, e.g. to print the trace as it grows.
    void onLine(std::function<void(const TraceLine&)> observer);

    // "  12.345  process   /usr/bin/killall Dock"
    static std::string format(const TraceLine& line);

  private:
    const VirtualDispatch& clock_;
    mutable std::mutex mutex_;
    std::vector<TraceLine> lines_;
    std::function<void(const TraceLine&)> observer_;
};

}  // namespace parvel::sim
