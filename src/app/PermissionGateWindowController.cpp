#include "app/PermissionGateWindowController.h"

#include "app/SystemSettingsURLs.h"

namespace parvel {

namespace urls = system_settings_urls;
using ui::Color;
using ui::Font;

namespace {

constexpr platform::Size kContentSize{620, 500};
constexpr double kSpacing = 16;
constexpr ui::Insets kInsets{26, 28, 24, 28};
constexpr Font kTitleFont{24, Font::Weight::Bold};
constexpr Font kNoteFont{11, Font::Weight::Regular};
constexpr platform::Duration kRefreshInterval = platform::seconds(0.8);

constexpr std::string_view kFinderNameScript = "tell application \"Finder\" to get name";
constexpr std::string_view kMenuBarScript =
    "tell application \"System Events\" to get autohide menu bar of dock preferences";
constexpr std::string_view kRelaunchScript = "sleep 1; /usr/bin/open -n -a \"$1\"";
constexpr std::string_view kRelaunchScriptName = "parvel-relaunch";

constexpr std::string_view kExplanation =
    "ParvelMac will not change system settings or start background features until Accessibility, "
    "Screen Recording and Input Monitoring have all been granted. Other optional permissions are "
    "requested only when their features are used.";
constexpr std::string_view kRestartNote =
    "macOS may not report newly granted Accessibility or Screen Recording access to an app that "
    "was already running. After granting permissions, restart ParvelMac to activate its features. "
    "Nothing will start automatically in this session.";
constexpr std::string_view kLockedText =
    "All features are locked until the required permissions are granted and ParvelMac is "
    "restarted.";
constexpr std::string_view kAllGrantedText =
    "All required permissions enabled. Restart ParvelMac to activate its features.";
constexpr std::string_view kMissingText =
    "Features are disabled. Grant all required permissions, then restart ParvelMac.";
constexpr std::string_view kRestartingText = "Restarting ParvelMac to verify permissions\u2026";
constexpr std::string_view kRestartFailedText =
    "Unable to restart automatically. Quit and reopen ParvelMac manually.";

}  // namespace

PermissionGateWindowController::PermissionGateWindowController(Services services)
    : services_(services) {
    buildUI();
}

void PermissionGateWindowController::buildUI() {
    window_ = std::make_shared<ui::Window>();
    window_->identifier = "permission-gate";
    window_->title = "ParvelMac Setup";
    window_->contentSize = kContentSize;
    window_->style.titled = true;
    window_->style.closable = true;

    accessibilityStatus_ = ui::makeLabel("Checking\u2026");
    accessibilityStatus_->identifier = "accessibility-status";
    screenStatus_ = ui::makeLabel("Checking\u2026");
    screenStatus_->identifier = "screen-recording-status";
    inputStatus_ = ui::makeLabel("Checking\u2026");
    inputStatus_->identifier = "input-monitoring-status";
    continueLabel_ = ui::makeLabel(std::string(kLockedText));
    continueLabel_->identifier = "continue-status";
    relaunchButton_ =
        ui::makeButton("Restart ParvelMac", lifetime_.guard([this] { recheckAndRelaunch(); }));
    relaunchButton_->identifier = "restart";

    auto stack = ui::makeStack(
        ui::Axis::Vertical, kSpacing,
        {ui::makeLabel("Allow ParvelMac permissions", kTitleFont),
         ui::makeLabel(std::string(kExplanation), {}, Color::secondaryLabel()),
         permissionRow("Accessibility", "Full-screen maximize and Dock interaction",
                       accessibilityStatus_,
                       ui::makeButton("Open Accessibility Settings",
                                      lifetime_.guard([this] { openAccessibility(); }))),
         permissionRow("Screen Recording", "Live Dock window thumbnails", screenStatus_,
                       ui::makeButton("Open Screen Recording Settings",
                                      lifetime_.guard([this] { openScreenRecording(); }))),
         permissionRow("Input Monitoring", "Global shortcuts, volume keys and keyboard controls",
                       inputStatus_,
                       ui::makeButton("Open Input Monitoring Settings",
                                      lifetime_.guard([this] { openInputMonitoring(); }))),
         ui::makeLabel(std::string(kRestartNote), kNoteFont, Color::secondaryLabel()),
         continueLabel_, relaunchButton_});
    stack->alignment = ui::Alignment::Leading;
    stack->insets = kInsets;
    window_->content = stack;
}

ui::ViewPtr PermissionGateWindowController::permissionRow(const std::string& title,
                                                          const std::string& detail,
                                                          const ui::ViewPtr& status,
                                                          const ui::ViewPtr& button) {
    auto text = ui::makeStack(ui::Axis::Vertical, 2,
                              {ui::makeLabel(title, {13, Font::Weight::Semibold}),
                               ui::makeLabel(detail, {}, Color::secondaryLabel())});
    auto row = ui::makeStack(ui::Axis::Horizontal, 12, {text, status, button});
    row->identifier = title;
    return row;
}

void PermissionGateWindowController::begin() {
    services_.presenter.showWindow(window_, true, true);
    services_.application.activate(true);
    refresh();
    timer_ = services_.dispatch.main().scheduleRepeating(
        {.startDelay = kRefreshInterval, .interval = kRefreshInterval, .commonModes = true},
        lifetime_.guard([this] { refresh(); }));
}

void PermissionGateWindowController::showStatus(const ui::ViewPtr& label, bool granted) {
    label->text = granted ? "Allowed" : "Required";
    label->color = granted ? Color::systemGreen() : Color::systemOrange();
}

void PermissionGateWindowController::refresh() {
    const bool accessibility = services_.accessibility.isProcessTrusted();
    const bool screenRecording = services_.windowServer.preflightScreenCaptureAccess();
    const bool inputMonitoring = services_.events.preflightListenEventAccess();
    showStatus(accessibilityStatus_, accessibility);
    showStatus(screenStatus_, screenRecording);
    showStatus(inputStatus_, inputMonitoring);
    const bool allGranted = accessibility && screenRecording && inputMonitoring;
    continueLabel_->text = allGranted ? kAllGrantedText : kMissingText;
    continueLabel_->color = allGranted ? Color::systemGreen() : Color::secondaryLabel();
}

void PermissionGateWindowController::open(std::string_view url) {
    services_.workspace.openURL(url);
}

void PermissionGateWindowController::openAccessibility() {
    open(urls::kAccessibility);
}

void PermissionGateWindowController::openScreenRecording() {
    if (!services_.windowServer.preflightScreenCaptureAccess()) {
        services_.windowServer.requestScreenCaptureAccess();
    }
    open(urls::kScreenRecording);
}

void PermissionGateWindowController::openInputMonitoring() {
    open(urls::kInputMonitoring);
}

bool PermissionGateWindowController::finderAutomationAllowed(bool promptIfNeeded) {
    if (promptIfNeeded) {
        didRequestFinder_ = true;
    }
    return services_.appleScript.run(kFinderNameScript).has_value();
}

bool PermissionGateWindowController::systemEventsAutomationAllowed(bool promptIfNeeded) {
    if (promptIfNeeded) {
        didRequestSystemEvents_ = true;
    }
    return services_.appleScript.run(kMenuBarScript).has_value();
}

void PermissionGateWindowController::requestFinderAccess() {
    didRequestFinder_ = false;
    finderAutomationAllowed(true);
    if (!finderAutomationAllowed(false)) {
        open(urls::kAutomation);
    }
    refresh();
}

void PermissionGateWindowController::requestSystemEventsAccess() {
    didRequestSystemEvents_ = false;
    systemEventsAutomationAllowed(true);
    if (!systemEventsAutomationAllowed(false)) {
        open(urls::kAutomation);
    }
    refresh();
}

void PermissionGateWindowController::recheckAndRelaunch() {
    timer_.cancel();
    continueLabel_->text = kRestartingText;
    continueLabel_->color = Color::secondaryLabel();
    // The bundle path travels as "$1", never spliced into the script, so any path is safe.
    const auto started = services_.runner.launchDetached(
        "/bin/sh", {"-c", std::string(kRelaunchScript), std::string(kRelaunchScriptName),
                    services_.bundle.bundlePath()});
    if (started) {
        services_.application.terminate();
        return;
    }
    // The status rows are refreshed first so that the failure stays in view.
    refresh();
    continueLabel_->text = kRestartFailedText;
    continueLabel_->color = Color::systemOrange();
}

}  // namespace parvel
