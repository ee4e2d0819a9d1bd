#pragma once

#include <optional>
#include <ranges>
#include <string>
#include <string_view>

#include "core/ProcessRunner.h"

namespace parvel {

// One window, Dock or accessibility default that the modes other than Normal change to cut
// animations, with the type flag the defaults tool writes it with.
struct AnimationDefault {
    // Where a row departs from the others (see the table).
    enum class Exception { none, recordedWithTheDock, offInPerformanceOnly };

    std::string_view domain;
    std::string_view key;
    std::string_view type;
    // What Battery Saver and Performance write.
    std::string_view offValue;
    // The system's own behaviour, which Normal puts back when no baseline was ever recorded;
    // none deletes the default so that the system's default returns.
    std::optional<std::string_view> normalValue;
    Exception exception = Exception::none;

    bool isRecordedInBaseline() const { return exception != Exception::recordedWithTheDock; }
    bool isOffInPerformanceOnly() const { return exception == Exception::offInPerformanceOnly; }
    // The defaults tool's arguments that write `value` with the row's type, or delete the default
    // when there is none.
    ProcessRunner::Arguments command(std::optional<std::string_view> value) const {
        if (!value) {
            return {"delete", std::string(domain), std::string(key)};
        }
        return {"write", std::string(domain), std::string(key), std::string(type),
                std::string(*value)};
    }
};

// Every list of animation defaults runs in this order, with two rows apart on purpose: Dock
// magnification is switched off by both modes but recorded with the Dock sizes rather than as an
// animation row, and Normal without a baseline leaves it alone; App Nap is disabled only by
// Performance (Battery Saver deletes the default instead), and the modes write it after the rest.
inline constexpr AnimationDefault kAnimationDefaults[] = {
    {"NSGlobalDomain", "NSAutomaticWindowAnimationsEnabled", "-bool", "false", "true"},
    {"NSGlobalDomain", "NSWindowResizeTime", "-float", "0.001", std::nullopt},
    {"NSGlobalDomain", "NSScrollAnimationEnabled", "-bool", "false", "true"},
    {"NSGlobalDomain", "NSAppSleepDisabled", "-bool", "true", std::nullopt,
     AnimationDefault::Exception::offInPerformanceOnly},
    {"com.apple.dock", "launchanim", "-bool", "false", "true"},
    {"com.apple.dock", "expose-animation-duration", "-float", "0", std::nullopt},
    {"com.apple.dock", "magnification", "-bool", "false", std::nullopt,
     AnimationDefault::Exception::recordedWithTheDock},
    {"com.apple.dock", "mineffect", "-string", "scale", "genie"},
    {"com.apple.universalaccess", "reduceMotion", "-bool", "true", "false"},
};

// The rows the baseline records and Normal without a baseline puts back, in order.
inline auto animationDefaultsInBaseline() {
    return kAnimationDefaults | std::views::filter(&AnimationDefault::isRecordedInBaseline);
}

}  // namespace parvel
