#pragma once

#include <optional>
#include <string_view>

namespace parvel {

// The three system modes; the raw value is what the menu shows and the settings store keeps.
enum class SystemMode { normal, batterySaver, performance };

inline constexpr SystemMode kAllSystemModes[] = {SystemMode::normal, SystemMode::batterySaver,
                                                 SystemMode::performance};

std::string_view rawValue(SystemMode mode);
// The mode whose raw value is exactly `raw`, if any.
std::optional<SystemMode> systemModeFromRawValue(std::string_view raw);

}  // namespace parvel
