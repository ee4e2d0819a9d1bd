#pragma once

#include <chrono>
#include <cmath>

namespace parvel::platform {

// Every interval in the program: timers, delays, timeouts and uptime.
using Duration = std::chrono::nanoseconds;

// Wall-clock time (Foundation's Date).
using WallClock = std::chrono::system_clock;
using WallTime = WallClock::time_point;

// Converts a number of seconds as the behaviour is written down (0.05, 1.0 / 60.0) to a Duration.
constexpr Duration seconds(double value) {
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(value));
}

constexpr double toSeconds(Duration value) {
    return std::chrono::duration<double>(value).count();
}

// Seconds from the Unix epoch to Foundation's reference date, 2001-01-01 00:00:00 UTC.
inline constexpr double kReferenceDateUnixSeconds = 978307200.0;

// A wall-clock time as seconds since 2001-01-01 UTC, the way Foundation stores dates.
inline double secondsSinceReferenceDate(WallTime time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count() -
           kReferenceDateUnixSeconds;
}

inline WallTime wallTimeFromReferenceDate(double secondsSince2001) {
    return WallTime(std::chrono::duration_cast<WallClock::duration>(
        std::chrono::duration<double>(secondsSince2001 + kReferenceDateUnixSeconds)));
}

}  // namespace parvel::platform
