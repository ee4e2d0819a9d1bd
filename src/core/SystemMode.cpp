#include "core/SystemMode.h"

namespace parvel {

std::string_view rawValue(SystemMode mode) {
    switch (mode) {
        case SystemMode::normal:
            return "Normal";
        case SystemMode::batterySaver:
            return "Battery Saver";
        case SystemMode::performance:
            return "Performance";
    }
    return "Normal";
}

std::optional<SystemMode> systemModeFromRawValue(std::string_view raw) {
    for (const auto mode : kAllSystemModes) {
        if (rawValue(mode) == raw) {
            return mode;
        }
    }
    return std::nullopt;
}

}  // namespace parvel
