#include "core/SettingsStore.h"

#include <algorithm>

#include <fmt/format.h>

#include "base/Fatal.h"
#include "core/SettingsKeys.h"
#include "platform/KeyCodes.h"

namespace parvel {

namespace keys = settings_keys;
using platform::PlistValue;

namespace {

constexpr std::int64_t kDefaultClipboardKeyCode = platform::key_code::kZ;
constexpr std::int64_t kDefaultClipboardFlags = 0x60000;  // Control and Shift
constexpr std::int64_t kDefaultMixerStep = 5;
constexpr std::int64_t kMinimumMixerStep = 1;
constexpr std::int64_t kMaximumMixerStep = 25;

struct Registration {
    std::string_view key;
    PlistValue value;
};

// Written at every launch, in this order, for each key that holds nothing.
const std::vector<Registration>& registrations() {
    static const std::vector<Registration> list{
        {keys::startAtLoginEnabledKey, true},
        {keys::dockWindowPreviewsEnabledKey, false},
        {keys::clipboardCaptureTextKey, true},
        {keys::clipboardCaptureImagesKey, false},
        {keys::clipboardCaptureFilesKey, false},
        {keys::clipboardHistoryLimitKey, 20},
        {keys::doubleTapDragEnabledKey, true},
        {keys::quitAppsWhenLastWindowClosesEnabledKey, false},
        {keys::quitAppsNoWindowsDelayMinutesKey, 0},
        {keys::enableCuttingEnabledKey, true},
        {keys::advancedTaskSwitcherEnabledKey, true},
        {keys::mouseSideButtonsEnabledKey, true},
        {keys::autoScrollEnabledKey, true},
        {keys::leftOptionHookModeKey, "Launchpad"},
        {keys::systemModeDefaultsKey, "Normal"},
        {keys::chargeLimiterEnabledKey, false},
        {keys::chargeLimiterPercentKey, 80},
        {keys::chargeFullOnceActiveKey, false},
        {keys::preserveBatteryHealthEnabledKey, false},
        {keys::adapterOnlyModeEnabledKey, false},
        {keys::aiProviderKey, "Google Gemini (Free tier)"},
    };
    return list;
}

// One step of the factory settings: write a value, or remove a retired key.
struct FactoryStep {
    std::string_view key;
    std::optional<PlistValue> value;
};

// The factory settings, written over whatever is stored on an account's first launch, in this
// order; the last step marks the account as initialised.
const std::vector<FactoryStep>& factorySteps() {
    static const std::vector<FactoryStep> list{
        {keys::startAtLoginEnabledKey, true},
        {keys::siriChatGPTEnabledKey, false},
        {keys::clipboardHistoryEnabledKey, true},
        {keys::dockWindowPreviewsEnabledKey, false},
        {keys::windowsStyleMaximizeEnabledKey, true},
        {keys::windowsStyleDeleteEnabledKey, true},
        {keys::quitAppsWhenLastWindowClosesEnabledKey, false},
        {keys::quitAppsNoWindowsDelayMinutesKey, 0},
        {keys::enableCuttingEnabledKey, true},
        {keys::advancedTaskSwitcherEnabledKey, true},
        {keys::mouseSideButtonsEnabledKey, true},
        {keys::autoScrollEnabledKey, true},
        {keys::desktopEnhancementsEnabledKey, false},
        {keys::quickNewFolderContextEnabledKey, std::nullopt},
        {keys::clipboardCaptureTextKey, true},
        {keys::clipboardCaptureImagesKey, false},
        {keys::clipboardCaptureFilesKey, false},
        {keys::clipboardHistoryLimitKey, 20},
        {keys::clipboardShortcutKeyCodeKey, kDefaultClipboardKeyCode},
        {keys::clipboardShortcutFlagsKey, kDefaultClipboardFlags},
        {keys::dockClickMinimizeEnabledKey, std::nullopt},
        {keys::dockProgressEnabledKey, false},
        {keys::mouseEnhancementsEnabledKey, false},
        {keys::mouseFocusEnabledKey, false},
        {keys::keyboardRemapEnabledKey, false},
        {keys::desktopSortRuleKey, "Manual / Grid"},
        {keys::mouseAccelerationKey, "1.0×"},
        {keys::middleClickActionKey, "None"},
        {keys::extraButtonActionKey, "Back/Forward"},
        {keys::aiProviderKey, "Google Gemini (Free tier)"},
        {keys::chatGPTModelKey, "gemini-3.5-flash-lite"},
        {keys::doubleTapDragEnabledKey, true},
        {keys::leftOptionHookModeKey, "Launchpad"},
        {keys::speakChatGPTResponsesKey, true},
        {keys::defaultsInitializedKey, true},
    };
    return list;
}

}  // namespace

SettingsStore::SettingsStore(platform::Defaults& defaults, std::string domain)
    : defaults_(defaults), domain_(std::move(domain)) {}

void SettingsStore::initializeDefaults() {
    for (const auto& [key, value] : registrations()) {
        if (!contains(key)) {
            set(key, value);
        }
    }
    if (boolValue(keys::defaultsInitializedKey)) {
        return;
    }
    for (const auto& [key, value] : factorySteps()) {
        if (value) {
            set(key, *value);
        } else {
            remove(key);
        }
    }
}

std::optional<PlistValue> SettingsStore::object(std::string_view key) const {
    return defaults_.object(domain_, key);
}

bool SettingsStore::boolValue(std::string_view key) const {
    return boolOr(key, false);
}

std::int64_t SettingsStore::integer(std::string_view key) const {
    return integerOr(key, 0);
}

double SettingsStore::doubleValue(std::string_view key) const {
    const auto stored = object(key);
    return stored ? stored->asNumber().value_or(0.0) : 0.0;
}

std::string SettingsStore::string(std::string_view key) const {
    return stringOr(key, "");
}

Bytes SettingsStore::data(std::string_view key) const {
    const auto stored = object(key);
    const Bytes* bytes = stored ? stored->asData() : nullptr;
    return bytes ? *bytes : Bytes{};
}

platform::PlistDictionary SettingsStore::dictionary(std::string_view key) const {
    const auto stored = object(key);
    const auto* dictionary = stored ? stored->asDictionary() : nullptr;
    return dictionary ? *dictionary : platform::PlistDictionary{};
}

std::vector<std::string> SettingsStore::stringArray(std::string_view key) const {
    const auto stored = object(key);
    return stored ? stored->asStringArray().value_or(std::vector<std::string>{})
                  : std::vector<std::string>{};
}

std::optional<platform::PlistDate> SettingsStore::date(std::string_view key) const {
    const auto stored = object(key);
    return stored ? stored->asDate() : std::nullopt;
}

bool SettingsStore::boolOr(std::string_view key, bool fallback) const {
    const auto stored = object(key);
    return stored ? stored->asBool().value_or(fallback) : fallback;
}

std::int64_t SettingsStore::integerOr(std::string_view key, std::int64_t fallback) const {
    const auto stored = object(key);
    return stored ? stored->asInteger().value_or(fallback) : fallback;
}

std::string SettingsStore::stringOr(std::string_view key, std::string_view fallback) const {
    const auto stored = object(key);
    return stored ? stored->asString().value_or(std::string(fallback)) : std::string(fallback);
}

void SettingsStore::set(std::string_view key, PlistValue value) {
    defaults_.set(domain_, key, std::move(value));
}

void SettingsStore::remove(std::string_view key) {
    defaults_.remove(domain_, key);
}

void SettingsStore::flush() {
    defaults_.flush();
}

SystemMode SettingsStore::systemMode() const {
    return systemModeFromRawValue(string(keys::systemModeDefaultsKey)).value_or(SystemMode::normal);
}

std::uint64_t SettingsStore::clipboardShortcutFlags() const {
    const std::int64_t flags = integerOr(keys::clipboardShortcutFlagsKey, kDefaultClipboardFlags);
    if (flags < 0) {
        fatalError(fmt::format("\"{}\" holds the negative flag mask {}",
                               keys::clipboardShortcutFlagsKey, flags));
    }
    return static_cast<std::uint64_t>(flags);
}

std::int64_t SettingsStore::clipboardShortcutKeyCode() const {
    return integerOr(keys::clipboardShortcutKeyCodeKey, kDefaultClipboardKeyCode);
}

std::int64_t SettingsStore::audioMixerShortcutStep() const {
    return std::clamp(integerOr(keys::audioMixerShortcutStepKey, kDefaultMixerStep),
                      kMinimumMixerStep, kMaximumMixerStep);
}

}  // namespace parvel
