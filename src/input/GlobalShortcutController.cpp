#include "input/GlobalShortcutController.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <variant>

#include "finder/FinderSupport.h"
#include "platform/KeyCodes.h"

namespace parvel {

using platform::EventFlags;
using platform::EventType;
namespace flags = platform::event_flags;
namespace key_code = platform::key_code;

namespace {

constexpr std::string_view kFinderIdentifier = FinderSupport::kFinderIdentifier;
constexpr platform::Duration kRetryInterval = platform::seconds(2.0);
constexpr platform::Duration kDeleteDebounce = platform::seconds(0.35);

constexpr std::array<std::string_view, 4> kTextEditingRoles = {"AXTextField", "AXTextArea",
                                                               "AXSearchField", "AXComboBox"};

std::int64_t keyCodeOf(const platform::Event& event) {
    return event.field(platform::EventField::KeyboardEventKeycode);
}

constexpr std::pair<std::string_view, LeftOptionMode> kLeftOptionModeNames[] = {
    {"Default", LeftOptionMode::systemDefault},
    {"Launchpad", LeftOptionMode::launchpad},
    {"Spotlight", LeftOptionMode::spotlight},
};

}  // namespace

LeftOptionMode leftOptionModeNamed(std::string_view name) {
    for (const auto& [modeName, mode] : kLeftOptionModeNames) {
        if (modeName == name) {
            return mode;
        }
    }
    return LeftOptionMode::unrecognised;
}

GlobalShortcutController::GlobalShortcutController(Services services) : services_(services) {}

GlobalShortcutController::~GlobalShortcutController() = default;

void GlobalShortcutController::start() {
    if (secureInputSuspended) {
        return;
    }
    if (!services_.accessibility.isProcessTrusted()) {
        retryTimer_.cancel();
        fallbackKeyMonitor_.reset();
        return;
    }
    if (tap_) {
        tap_->setEnabled(true);
        retryTimer_.cancel();
        installFallbackKeyMonitorIfNeeded();
        return;
    }
    // The tap is owned by this controller and goes before it, so its callback may use `this`.
    auto created = services_.events.createTap(
        {.placement = platform::TapPlacement::HeadInsert,
         .options = platform::TapOptions::Default,
         .mask = platform::maskOf(EventType::KeyDown, EventType::FlagsChanged),
         .callback = [this](platform::Event& event) {
             return handle(event.type, event) ? platform::TapVerdict::Swallow
                                              : platform::TapVerdict::Pass;
         }});
    if (created) {
        tap_ = std::move(*created);
        tap_->setEnabled(true);
        retryTimer_.cancel();
    } else if (!retryTimer_) {
        retryTimer_ = services_.dispatch.main().scheduleRepeating(
            {.startDelay = kRetryInterval, .interval = kRetryInterval, .commonModes = true},
            lifetime_.guard([this] {
                if (!tap_) {
                    start();
                }
            }));
    }
    installFallbackKeyMonitorIfNeeded();
}

void GlobalShortcutController::stop() {
    retryTimer_.cancel();
    if (tap_) {
        tap_->setEnabled(false);
    }
    tap_.reset();
    fallbackKeyMonitor_.reset();
    leftOptionDown_ = false;
}

GlobalShortcutController::State GlobalShortcutController::state() const {
    if (tap_) {
        return State::running;
    }
    return retryTimer_ ? State::waiting : State::stopped;
}

void GlobalShortcutController::installFallbackKeyMonitorIfNeeded() {
    if (fallbackKeyMonitor_) {
        return;
    }
    fallbackKeyMonitor_ = services_.events.addGlobalMonitor(
        platform::maskOf(EventType::KeyDown), lifetime_.guard([this](const platform::Event& event) {
            (void)triggerDeleteIfAppropriate(keyCodeOf(event), event.flags);
        }));
}

bool GlobalShortcutController::handle(EventType type, const platform::Event& event) {
    if (secureInputSuspended) {
        return false;
    }
    switch (type) {
        case EventType::TapDisabledByTimeout:
        case EventType::TapDisabledByUserInput:
            if (tap_) {
                tap_->setEnabled(true);
            }
            return false;
        case EventType::KeyDown:
            return handleKeyDown(event);
        case EventType::FlagsChanged:
            return handleLeftOption(event);
        default:
            return false;
    }
}

bool GlobalShortcutController::handleKeyDown(const platform::Event& event) {
    const std::int64_t keyCode = keyCodeOf(event);
    const EventFlags modifiers = event.flags & kModifierMask;
    if (clipboardEnabled && keyCode == clipboardKeyCode && modifiers == clipboardFlags) {
        runOnMain([this] {
            if (onClipboard) {
                onClipboard();
            }
        });
        return true;
    }
    if (cuttingEnabled && modifiers == flags::kCommand && finderIsFrontmost() &&
        !finderIsEditingText() && handleFinderFileKey(keyCode)) {
        return true;
    }
    // Delete always reaches Finder too; the trigger only adds the confirmation.
    (void)triggerDeleteIfAppropriate(keyCode, event.flags);
    return false;
}

bool GlobalShortcutController::handleFinderFileKey(std::int64_t keyCode) {
    const auto shortcut = finderFileShortcutFor(keyCode);
    if (!shortcut) {
        return false;
    }
    runOnMain([this, shortcut = *shortcut] {
        if (onFinderFileShortcut) {
            onFinderFileShortcut(shortcut);
        }
    });
    return true;
}

// Command+V is taken over only while a cut or copy of ours waits; otherwise Finder pastes.
std::optional<FinderFileShortcut> GlobalShortcutController::finderFileShortcutFor(
    std::int64_t keyCode) const {
    switch (keyCode) {
        case key_code::kX:
            return FinderFileShortcut::cut;
        case key_code::kC:
            return FinderFileShortcut::copy;
        case key_code::kV:
            if (shouldHandleFinderPaste && shouldHandleFinderPaste()) {
                return FinderFileShortcut::paste;
            }
            return std::nullopt;
        default:
            return std::nullopt;
    }
}

// Fires on the press of the left Option key only, once per press; its flags-changed events never
// reach other applications unless the key keeps its system behaviour.
bool GlobalShortcutController::handleLeftOption(const platform::Event& event) {
    if (keyCodeOf(event) != key_code::kLeftOption ||
        leftOptionMode == LeftOptionMode::systemDefault) {
        return false;
    }
    if ((event.flags & flags::kAlternate) == 0) {
        leftOptionDown_ = false;
        return true;
    }
    if (leftOptionDown_) {
        return true;
    }
    leftOptionDown_ = true;
    runOnMain([this, mode = leftOptionMode] {
        if (onLeftOptionAction) {
            onLeftOptionAction(mode);
        }
    });
    return true;
}

bool GlobalShortcutController::triggerDeleteIfAppropriate(std::int64_t keyCode,
                                                          EventFlags eventFlags) {
    if ((keyCode != key_code::kForwardDelete && keyCode != key_code::kDelete) ||
        (eventFlags & (flags::kCommand | flags::kControl)) != 0) {
        return false;
    }
    if (!windowsDeleteEnabled || (eventFlags & flags::kAlternate) != 0) {
        return false;
    }
    const auto frontmost = services_.workspace.frontmostApplication();
    if (!frontmost || frontmost->bundleIdentifier != kFinderIdentifier) {
        return false;
    }
    const platform::WallTime now = services_.dispatch.now();
    if (!lastDeleteTrigger_ || now - *lastDeleteTrigger_ > kDeleteDebounce) {
        lastDeleteTrigger_ = now;
        runOnMain([this] {
            // The user may have started renaming since the key press.
            if (!finderIsEditingText() && onWindowsDelete) {
                onWindowsDelete();
            }
        });
    }
    return true;
}

bool GlobalShortcutController::finderIsFrontmost() {
    if (const auto frontmost = services_.workspace.frontmostApplication();
        frontmost && frontmost->bundleIdentifier == kFinderIdentifier) {
        return true;
    }
    auto& accessibility = services_.accessibility;
    const auto focused =
        accessibility.copyAttribute(accessibility.systemWideElement(), "AXFocusedApplication");
    if (!focused || !std::holds_alternative<platform::AXElement>(*focused)) {
        return false;
    }
    const auto pid = accessibility.processId(std::get<platform::AXElement>(*focused));
    if (!pid) {
        return false;
    }
    const auto application = services_.workspace.application(*pid);
    return application && application->bundleIdentifier == kFinderIdentifier;
}

bool GlobalShortcutController::finderIsEditingText() {
    auto& accessibility = services_.accessibility;
    const auto focused =
        accessibility.copyAttribute(accessibility.systemWideElement(), "AXFocusedUIElement");
    if (!focused || !std::holds_alternative<platform::AXElement>(*focused)) {
        return false;
    }
    const auto role =
        accessibility.copyAttribute(std::get<platform::AXElement>(*focused), "AXRole");
    if (!role || !std::holds_alternative<std::string>(*role)) {
        return false;
    }
    const auto& name = std::get<std::string>(*role);
    return std::ranges::find(kTextEditingRoles, name) != kTextEditingRoles.end();
}

void GlobalShortcutController::runOnMain(std::function<void()> action) {
    services_.dispatch.main().async(lifetime_.guard(std::move(action)));
}

}  // namespace parvel
