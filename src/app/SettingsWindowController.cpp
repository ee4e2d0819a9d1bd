#include "app/SettingsWindowController.h"

#include <algorithm>

#include "app/InstalledComponents.h"
#include "app/SystemSettingsURLs.h"
#include "core/SettingsKeys.h"

namespace parvel {

namespace urls = system_settings_urls;
using ui::Color;
using ui::Font;

namespace {

constexpr platform::Size kWindowSize{820, 560};
constexpr double kSidebarWidth = 220;
constexpr Font kPageTitleFont{22, Font::Weight::Bold};
constexpr Font kRowTitleFont{13, Font::Weight::Bold};
constexpr std::string_view kTccutil = "/usr/bin/tccutil";
constexpr std::string_view kBundleIdentifier = "com.tarnby.parvelmac";

ui::ViewPtr statusLabel(std::string identifier) {
    auto label = ui::makeLabel("Required", {}, Color::systemOrange());
    label->identifier = std::move(identifier);
    return label;
}

void showGranted(const ui::ViewPtr& label, bool granted, std::string_view grantedText,
                 std::string_view missingText) {
    label->text = granted ? grantedText : missingText;
    label->color = granted ? Color::systemGreen() : Color::systemOrange();
}

}  // namespace

const std::vector<SettingsWindowController::SectionInfo>&
SettingsWindowController::sidebarSections() {
    static const std::vector<SectionInfo> sections = {
        {Section::general, "General", "Core ParvelMac behaviour and everyday Mac conveniences.",
         "gearshape.fill"},
        {Section::battery, "Battery",
         "Battery charge limiting, charging state and charging controls.", "battery.100percent"},
        {Section::desktopDock, "Desktop and Dock",
         "Desktop and Dock enhancements, previews and app-window behaviour.", "display.2"},
        {Section::keyboard, "Keyboard",
         "Keyboard, mouse-button navigation, remapping, and Option-key behaviour.",
         "keyboard.fill"},
        {Section::productivity, "Productivity", "Clipboard history and capture preferences.",
         "square.stack.3d.up.fill"},
        {Section::audio, "Audio", "Control the volume of individual apps and your system output.",
         "speaker.wave.3.fill"},
        {Section::ai, "AI and Siri",
         "Connect Siri to Google Gemini or another supported AI provider.", "sparkles"},
        {Section::permissions, "Permissions", "Startup and the macOS permissions ParvelMac needs.",
         "lock.shield.fill"},
    };
    return sections;
}

SettingsWindowController::Section SettingsWindowController::sectionFromRawValue(int raw) {
    const int last = static_cast<int>(sidebarSections().size()) - 1;
    return static_cast<Section>(std::clamp(raw, 0, last));
}

SettingsWindowController::SettingsWindowController(Services services) : services_(services) {
    buildWindow();
    buildPage();
}

void SettingsWindowController::buildWindow() {
    window_ = std::make_shared<ui::Window>();
    window_->identifier = "settings";
    window_->title = "ParvelMac";
    window_->contentSize = kWindowSize;
    window_->style.resizable = true;
    window_->style.miniaturizable = true;
    window_->style.fullSizeContentView = true;
    window_->style.titlebarAppearsTransparent = true;
    window_->hidesOnClose = true;
    window_->onClose = lifetime_.guard([this] {
        if (onWindowClosed) {
            onWindowClosed();
        }
    });

    sidebar_ = std::make_shared<ui::View>();
    sidebar_->kind = ui::ViewKind::Table;
    sidebar_->identifier = "sidebar";
    sidebar_->size = platform::Size{kSidebarWidth, kWindowSize.height};
    for (const auto& info : sidebarSections()) {
        sidebar_->items.emplace_back(info.title);
    }
    sidebar_->onAction =
        lifetime_.guard([this] { select(sectionFromRawValue(sidebar_->selectedIndex)); });

    startAtLoginSwitch_ = ui::makeSwitch(false, lifetime_.guard([this] {
        if (onStartAtLoginChanged) {
            onStartAtLoginChanged(startAtLoginSwitch_->isOn);
        }
    }));
    startAtLoginSwitch_->identifier = "start-at-login";
    accessibilityStatus_ = statusLabel("accessibility-status");
    screenRecordingStatus_ = statusLabel("screen-recording-status");
    inputMonitoringStatus_ = statusLabel("input-monitoring-status");
    finderExtensionStatus_ = statusLabel("finder-extension-status");

    page_ = ui::makeStack(ui::Axis::Vertical, 12, {});
    page_->identifier = "page";
    window_->content = ui::makeStack(ui::Axis::Horizontal, 0, {sidebar_, page_});
}

void SettingsWindowController::select(Section section) {
    selectedSection_ = section;
    sidebar_->selectedIndex = static_cast<int>(section);
    buildPage();
}

void SettingsWindowController::buildPage() {
    const auto& info = sidebarSections().at(static_cast<std::size_t>(selectedSection_));
    page_->children = {ui::makeLabel(std::string(info.title), kPageTitleFont),
                       ui::makeLabel(std::string(info.subtitle), {}, Color::secondaryLabel())};
    if (selectedSection_ == Section::permissions) {
        page_->children.push_back(permissionsPage());
    }
}

ui::ViewPtr SettingsWindowController::row(const std::string& title, const std::string& detail,
                                          std::vector<ui::ViewPtr> controls) {
    auto text = ui::makeStack(
        ui::Axis::Vertical, 2,
        {ui::makeLabel(title, kRowTitleFont), ui::makeLabel(detail, {}, Color::secondaryLabel())});
    controls.insert(controls.begin(), text);
    auto line = ui::makeStack(ui::Axis::Horizontal, 12, std::move(controls));
    line->identifier = title;
    return line;
}

ui::ViewPtr SettingsWindowController::permissionsPage() {
    startAtLoginSwitch_->isOn =
        services_.settings.boolOr(settings_keys::startAtLoginEnabledKey, true);
    refreshPermissionStatus();
    const auto open = [this](std::string_view url) {
        return lifetime_.guard([this, url] { services_.workspace.openURL(url); });
    };
    auto card = ui::makeStack(
        ui::Axis::Vertical, 10,
        {row("Start ParvelMac at Login",
             "Launch ParvelMac silently in the background after you sign in so enabled "
             "enhancements are available immediately.",
             {startAtLoginSwitch_}),
         row("Accessibility",
             "Required for full-screen maximise and window management. If macOS shows ParvelMac "
             "enabled but this still says Required, use Open Settings to repair the stale "
             "approval for the current build.",
             {accessibilityStatus_, ui::makeButton("Open Settings\u2026", lifetime_.guard([this] {
                  openAccessibilitySettings();
              }))}),
         row("Screen Recording", "Required for Dock window thumbnails.",
             {screenRecordingStatus_,
              ui::makeButton("Open Settings\u2026", open(urls::kScreenRecording))}),
         row("Input Monitoring",
             "Required for Windows-style Delete, Desktop quick-create actions and global "
             "shortcuts.",
             {inputMonitoringStatus_,
              ui::makeButton("Open Settings\u2026", open(urls::kInputMonitoring))}),
         row("Finder Extension",
             "Required for native Finder context-menu actions such as New Text File, Paste Item "
             "and Cut. macOS must enable this extension for the items to appear.",
             {finderExtensionStatus_, ui::makeButton("Open Settings\u2026", lifetime_.guard([this] {
                  services_.workspace.showFinderExtensionManagement();
              }))})});
    card->identifier = "permissions-card";
    return card;
}

// A stale approval left by an older build makes macOS show ParvelMac as allowed while it is not;
// resetting it first lets the prompt register the current build.
void SettingsWindowController::openAccessibilitySettings() {
    if (!services_.accessibility.isProcessTrusted()) {
        services_.runner.runProcess(kTccutil,
                                    {"reset", "Accessibility", std::string(kBundleIdentifier)});
        services_.accessibility.isProcessTrustedPrompting();
    }
    services_.workspace.openURL(urls::kAccessibility);
}

void SettingsWindowController::refreshPermissionStatus() {
    showGranted(accessibilityStatus_, services_.accessibility.isProcessTrusted(), "Enabled",
                "Required");
    showGranted(screenRecordingStatus_, services_.windowServer.preflightScreenCaptureAccess(),
                "Enabled", "Required");
    showGranted(inputMonitoringStatus_, services_.events.preflightListenEventAccess(), "Enabled",
                "Required");
    showGranted(
        finderExtensionStatus_,
        services_.workspace.isFinderExtensionEnabled(InstalledComponents::kFinderSyncIdentifier),
        "Enabled", "Disabled");
}

void SettingsWindowController::prepareForPresentation() {
    buildPage();
}

}  // namespace parvel
