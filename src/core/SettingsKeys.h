#pragma once

#include <string_view>

// Every key of the application's settings store.
namespace parvel::settings_keys {

// Feature switches and options.
inline constexpr std::string_view startAtLoginEnabledKey = "startAtLoginEnabled";
inline constexpr std::string_view clipboardHistoryEnabledKey = "clipboardHistoryEnabled";
inline constexpr std::string_view clipboardCaptureTextKey = "clipboardCaptureText";
inline constexpr std::string_view clipboardCaptureImagesKey = "clipboardCaptureImages";
inline constexpr std::string_view clipboardCaptureFilesKey = "clipboardCaptureFiles";
inline constexpr std::string_view clipboardHistoryLimitKey = "clipboardHistoryLimit";
inline constexpr std::string_view clipboardShortcutKeyCodeKey = "clipboardShortcutKeyCode";
inline constexpr std::string_view clipboardShortcutFlagsKey = "clipboardShortcutFlags";
inline constexpr std::string_view dockWindowPreviewsEnabledKey = "dockWindowPreviewsEnabled";
inline constexpr std::string_view windowsStyleMaximizeEnabledKey = "windowsStyleMaximizeEnabled";
inline constexpr std::string_view windowsStyleDeleteEnabledKey = "windowsStyleDeleteEnabled";
inline constexpr std::string_view enableCuttingEnabledKey = "enableCuttingEnabled";
inline constexpr std::string_view quitAppsWhenLastWindowClosesEnabledKey =
    "quitAppsWhenLastWindowClosesEnabled";
inline constexpr std::string_view quitAppsNoWindowsDelayMinutesKey =
    "quitAppsNoWindowsDelayMinutes";
inline constexpr std::string_view advancedTaskSwitcherEnabledKey = "advancedTaskSwitcherEnabled";
inline constexpr std::string_view mouseSideButtonsEnabledKey = "mouseSideButtonsEnabled";
inline constexpr std::string_view autoScrollEnabledKey = "autoScrollEnabled";
inline constexpr std::string_view doubleTapDragEnabledKey = "doubleTapDragEnabled";
inline constexpr std::string_view leftOptionHookModeKey = "leftOptionHookMode";
inline constexpr std::string_view desktopEnhancementsEnabledKey = "desktopEnhancementsEnabled";
inline constexpr std::string_view desktopSortRuleKey = "desktopSortRule";
inline constexpr std::string_view hiddenFilesVisibleKey = "hiddenFilesVisible";
inline constexpr std::string_view dockProgressEnabledKey = "dockProgressEnabled";
inline constexpr std::string_view mouseEnhancementsEnabledKey = "mouseEnhancementsEnabled";
inline constexpr std::string_view mouseFocusEnabledKey = "mouseFocusEnabled";
inline constexpr std::string_view mouseAccelerationKey = "mouseAcceleration";
inline constexpr std::string_view middleClickActionKey = "middleClickAction";
inline constexpr std::string_view extraButtonActionKey = "extraButtonAction";
inline constexpr std::string_view invertMouseScrollKey = "invertMouseScroll";
inline constexpr std::string_view invertTrackpadScrollKey = "invertTrackpadScroll";
inline constexpr std::string_view keyboardRemapEnabledKey = "keyboardRemapEnabled";
inline constexpr std::string_view siriChatGPTEnabledKey = "siriChatGPTEnabled";
inline constexpr std::string_view speakChatGPTResponsesKey = "speakChatGPTResponses";
inline constexpr std::string_view aiProviderKey = "aiProvider";
inline constexpr std::string_view chatGPTModelKey = "chatGPTModel";

// Mode and battery.
inline constexpr std::string_view systemModeDefaultsKey = "systemMode";
inline constexpr std::string_view chargeLimiterEnabledKey = "batteryChargeLimiterEnabled";
inline constexpr std::string_view chargeLimiterPercentKey = "batteryChargeLimiterPercent";
inline constexpr std::string_view chargeFullOnceActiveKey = "batteryChargeFullOnceActive";
inline constexpr std::string_view chargeFullOnceStartedAtKey = "batteryChargeFullOnceStartedAt";
inline constexpr std::string_view preserveBatteryHealthEnabledKey = "preserveBatteryHealthEnabled";
inline constexpr std::string_view adapterOnlyModeEnabledKey = "adapterOnlyModeEnabled";
inline constexpr std::string_view batteryCareBaselineCapturedKey = "batteryCareBaselineCaptured";
inline constexpr std::string_view batteryCareBaselineLimiterEnabledKey =
    "batteryCareBaselineLimiterEnabled";
inline constexpr std::string_view batteryCareBaselineLimitPercentKey =
    "batteryCareBaselineLimitPercent";

// Stored state and blobs.
inline constexpr std::string_view defaultsInitializedKey = "defaultsInitialized";
inline constexpr std::string_view lastUpdateCheckDefaultsKey = "lastSuccessfulUpdateCheck";
inline constexpr std::string_view clipboardHistoryEntriesKey = "clipboardHistoryEntries";
inline constexpr std::string_view keyboardRemapRulesKey = "keyboardRemapRules";
inline constexpr std::string_view audioMixerEnabledKey = "audioMixerEnabled";
inline constexpr std::string_view audioMixerShortcutStepKey = "audioMixerShortcutStep";
inline constexpr std::string_view audioMixerIncreaseShortcutKey = "audioMixerIncreaseShortcut";
inline constexpr std::string_view audioMixerDecreaseShortcutKey = "audioMixerDecreaseShortcut";
inline constexpr std::string_view audioMixerSavedLevelsKey = "audioMixerSavedLevels";
inline constexpr std::string_view audioMixerObservedAudioAppsKey = "audioMixerObservedAudioApps";

// The system-mode baseline: what the system settings were before a mode other than Normal.
inline constexpr std::string_view systemModeBaselineCapturedKey = "systemModeBaselineCaptured";
inline constexpr std::string_view systemModeBaselineDisplayBrightnessKey =
    "systemModeBaselineDisplayBrightness";
inline constexpr std::string_view systemModeBaselineKeyboardBrightnessKey =
    "systemModeBaselineKeyboardBrightness";
inline constexpr std::string_view systemModeBaselineDockMagnificationKey =
    "systemModeBaselineDockMagnification";
inline constexpr std::string_view systemModeBaselineDockLargeSizeKey =
    "systemModeBaselineDockLargeSize";
inline constexpr std::string_view systemModeBaselineDockTileSizeKey =
    "systemModeBaselineDockTileSize";
inline constexpr std::string_view systemModeBaselineLowDataModeKey =
    "systemModeBaselineLowDataMode";
inline constexpr std::string_view systemModeBaselineLowDataModeCapturedKey =
    "systemModeBaselineLowDataModeCaptured";
inline constexpr std::string_view systemModeBaselineLowPowerBatteryKey =
    "systemModeBaselineLowPowerBattery";
inline constexpr std::string_view systemModeBaselineLowPowerACKey = "systemModeBaselineLowPowerAC";
inline constexpr std::string_view systemModeBaselineLowPowerCapturedKey =
    "systemModeBaselineLowPowerCaptured";
inline constexpr std::string_view systemModeBaselineDisplaySleepBatteryKey =
    "systemModeBaselineDisplaySleepBattery";
inline constexpr std::string_view systemModeBaselineDisplaySleepACKey =
    "systemModeBaselineDisplaySleepAC";
inline constexpr std::string_view systemModeBaselineDisplaySleepCapturedKey =
    "systemModeBaselineDisplaySleepCaptured";
inline constexpr std::string_view systemModeBaselineBluetoothKey = "systemModeBaselineBluetooth";
inline constexpr std::string_view systemModeBaselineBluetoothCapturedKey =
    "systemModeBaselineBluetoothCaptured";

// Retired keys, removed whenever they are met.
inline constexpr std::string_view quickNewFolderContextEnabledKey = "quickNewFolderContextEnabled";
inline constexpr std::string_view dockClickMinimizeEnabledKey = "dockClickMinimizeEnabled";

}  // namespace parvel::settings_keys
