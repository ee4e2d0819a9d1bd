#pragma once

#include <string_view>

// The panes of System Settings where the user grants ParvelMac's permissions.
namespace parvel::system_settings_urls {

inline constexpr std::string_view kAccessibility =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";
inline constexpr std::string_view kScreenRecording =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";
inline constexpr std::string_view kInputMonitoring =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_ListenEvent";
inline constexpr std::string_view kAutomation =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Automation";

}  // namespace parvel::system_settings_urls
