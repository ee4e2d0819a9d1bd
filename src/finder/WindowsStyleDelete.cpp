#include "finder/WindowsStyleDelete.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/FileURL.h"
#include "platform/KeyCodes.h"

namespace parvel {

using platform::AXElement;
namespace key_code = platform::key_code;

namespace {

// The response box's value while no key has decided; NSModalResponseAbort, which ending the
// modal session from the key monitor returns, has the same value.
constexpr int kNoKeyDecision = -1001;
constexpr int kDeleteResponse = ui::kAlertFirstButtonReturn;
constexpr int kCancelResponse = ui::kAlertFirstButtonReturn + 1;

constexpr std::string_view kNothingSelectedMessage = "Nothing selected";
constexpr std::string_view kNothingSelectedText =
    "Select one or more items in Finder or on the Desktop, then press Delete. If an item is "
    "selected but this message still appears, allow Finder under System Settings > Privacy & "
    "Security > Automation.";
constexpr std::string_view kOneItemText = "This item will be moved to the Trash.";
constexpr std::string_view kItemsText = "These items will be moved to the Trash.\n\n";
constexpr std::string_view kFailureMessage = "Some items could not be deleted";

void showWarning(platform::Presenter& presenter, std::string_view message, std::string text) {
    presenter.runModal({ui::AlertStyle::Warning, std::string(message), std::move(text), {}, {}});
}

}  // namespace

void WindowsStyleDelete::confirmWindowsStyleDelete() {
    if (!finderIsFrontmost()) {
        return;
    }
    const auto paths = finderSelectedURLs();
    if (paths.empty()) {
        showWarning(services_.presenter, kNothingSelectedMessage,
                    std::string(kNothingSelectedText));
        return;
    }
    if (runConfirmation(confirmationAlert(paths)) == kDeleteResponse) {
        moveToTrash(paths);
    }
}

bool WindowsStyleDelete::finderIsFrontmost() const {
    const auto frontmost = services_.workspace.frontmostApplication();
    return frontmost && frontmost->bundleIdentifier == FinderSupport::kFinderIdentifier;
}

std::vector<std::string> WindowsStyleDelete::finderSelectedURLs() {
    if (auto fromScript = services_.finder.selectedURLsViaScript(); !fromScript.empty()) {
        return fromScript;
    }
    return FinderSupport::dedupe(finderSelectedURLsViaAccessibility());
}

std::vector<std::string> WindowsStyleDelete::finderSelectedURLsViaAccessibility() {
    const auto finder = services_.finder.finderApplicationElement();
    if (!finder) {
        return {};
    }
    std::vector<AXElement> chain;
    auto focused = services_.accessibility.copyAttribute(*finder, "AXFocusedUIElement");
    while (focused && std::holds_alternative<AXElement>(*focused) &&
           chain.size() < static_cast<std::size_t>(kAncestorLimit)) {
        chain.push_back(std::get<AXElement>(*focused));
        focused = services_.accessibility.copyAttribute(chain.back(), "AXParent");
    }
    std::vector<std::string> paths;
    const auto append = [&paths](std::vector<std::string> found) {
        paths.insert(paths.end(), found.begin(), found.end());
    };
    for (const auto& element : chain) {
        for (const auto& child : services_.finder.elements(element, "AXSelectedChildren")) {
            append(fileURLs(child, kExtractionDepth));
        }
        if (services_.finder.isSelected(element)) {
            append(fileURLs(element, kExtractionDepth));
        }
    }
    return paths;
}

std::vector<std::string> WindowsStyleDelete::fileURLs(const AXElement& element, int depth) {
    std::vector<std::string> paths;
    if (auto path = services_.finder.fileURL(element)) {
        paths.push_back(std::move(*path));
    }
    if (depth < 1) {
        return paths;
    }
    for (const auto& child : services_.finder.elements(element, "AXChildren")) {
        auto found = fileURLs(child, depth - 1);
        paths.insert(paths.end(), found.begin(), found.end());
    }
    return paths;
}

ui::Alert WindowsStyleDelete::confirmationAlert(const std::vector<std::string>& paths) {
    ui::Alert alert;
    alert.style = ui::AlertStyle::Warning;
    if (paths.size() == 1) {
        alert.messageText = fmt::format("Delete \u2018{}\u2019?", lastPathComponent(paths.front()));
        alert.informativeText = kOneItemText;
    } else {
        alert.messageText = fmt::format("Delete {} selected items?", paths.size());
        std::vector<std::string> lines;
        for (std::size_t index = 0; index < std::min(paths.size(), kListLimit); ++index) {
            lines.push_back("\u2022 " + lastPathComponent(paths[index]));
        }
        if (paths.size() > kListLimit) {
            lines.push_back(fmt::format("\u2026 and {} more.", paths.size() - kListLimit));
        }
        alert.informativeText = std::string(kItemsText) + fmt::format("{}", fmt::join(lines, "\n"));
    }
    alert.buttons = {{.title = "Delete", .keyEquivalent = "\r", .hasDestructiveAction = true},
                     {.title = "Cancel", .keyEquivalent = "\x1b"}};
    return alert;
}

int WindowsStyleDelete::runConfirmation(const ui::Alert& alert) {
    int keyDecision = kNoKeyDecision;
    const auto monitor = services_.events.addLocalMonitor(
        platform::maskOf(platform::EventType::KeyDown),
        [this, &keyDecision](const platform::Event& event) {
            const auto key = event.field(platform::EventField::KeyboardEventKeycode);
            if (key == key_code::kReturn || key == key_code::kKeypadEnter ||
                key == key_code::kEscape) {
                keyDecision = key == key_code::kEscape ? kCancelResponse : kDeleteResponse;
                services_.presenter.stopModal(kNoKeyDecision);
                return false;
            }
            return true;
        });
    services_.application.activate(true);
    const int modalResult = services_.presenter.runModal(alert);
    return keyDecision != kNoKeyDecision ? keyDecision : modalResult;
}

void WindowsStyleDelete::moveToTrash(const std::vector<std::string>& paths) {
    std::vector<std::string> failures;
    for (const auto& path : paths) {
        if (const auto trashed = services_.workspace.trashItem(path); !trashed) {
            failures.push_back(lastPathComponent(path) + ": " + trashed.error().description);
        }
    }
    if (!failures.empty()) {
        showWarning(services_.presenter, kFailureMessage,
                    fmt::format("{}", fmt::join(failures, "\n")));
    }
}

}  // namespace parvel
