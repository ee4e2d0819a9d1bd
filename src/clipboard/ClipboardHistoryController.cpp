#include "clipboard/ClipboardHistoryController.h"

#include <algorithm>

#include "base/Base64.h"
#include "base/Unicode.h"
#include "base/Utf8.h"
#include "core/SettingsKeys.h"

namespace parvel {

namespace keys = settings_keys;
namespace types = platform::pasteboard_types;
using Kind = ClipboardEntry::Kind;

ClipboardHistoryController::ClipboardHistoryController(Services services)
    : services_(services),
      lastChangeCount_(services.pasteboard.changeCount()),
      windowController_(services.presenter) {
    load();
    refreshWindow();
    windowController_.onSelect =
        lifetime_.guard([this](const ClipboardEntry& entry) { restore(entry); });
}

void ClipboardHistoryController::setEnabled(bool enabled) {
    enabled_ = enabled;
    if (!enabled) {
        timer_.cancel();
        return;
    }
    if (timer_) {
        return;
    }
    lastChangeCount_ = services_.pasteboard.changeCount();
    timer_ = services_.dispatch.main().scheduleRepeating(
        {.startDelay = kPollInterval, .interval = kPollInterval},
        lifetime_.guard([this] { poll(); }));
}

void ClipboardHistoryController::poll() {
    if (!enabled_) {
        return;
    }
    const std::int64_t changeCount = services_.pasteboard.changeCount();
    if (changeCount == lastChangeCount_) {
        return;
    }
    // From here this change is consumed, whatever it holds.
    lastChangeCount_ = changeCount;
    if (auto entry = capture()) {
        add(std::move(*entry));
    }
}

std::optional<ClipboardEntry> ClipboardHistoryController::capture() {
    const auto& settings = services_.settings;
    const auto& pasteboard = services_.pasteboard;
    const platform::WallTime now = services_.dispatch.now();
    if (settings.boolOr(keys::clipboardCaptureFilesKey, false)) {
        if (const auto paths = pasteboard.fileURLs(); !paths.empty()) {
            return ClipboardEntry::files(paths, now, services_.randomness);
        }
    }
    if (settings.boolOr(keys::clipboardCaptureTextKey, true)) {
        if (auto text = pasteboard.string(types::kString);
            text && isValidUtf8(*text) && !isBlank(*text)) {
            return ClipboardEntry::text(std::move(*text), now, services_.randomness);
        }
    }
    if (settings.boolOr(keys::clipboardCaptureImagesKey, false)) {
        auto image = pasteboard.data(types::kPNG);
        if (!image) {
            image = pasteboard.data(types::kTIFF);
        }
        if (image) {
            return ClipboardEntry::image(*image, now, services_.randomness);
        }
    }
    return std::nullopt;
}

void ClipboardHistoryController::add(ClipboardEntry entry) {
    if (!entries_.empty() && entries_.front().kind == entry.kind &&
        entries_.front().payloadText() == entry.payloadText()) {
        return;
    }
    entries_.insert(entries_.begin(), std::move(entry));
    if (entries_.size() > limit()) {
        entries_.resize(limit());
    }
    save();
    refreshWindow();
}

// A limit below 1, or none stored, keeps one entry.
std::size_t ClipboardHistoryController::limit() const {
    return static_cast<std::size_t>(
        std::max<std::int64_t>(1, services_.settings.integer(keys::clipboardHistoryLimitKey)));
}

void ClipboardHistoryController::save() {
    services_.settings.set(keys::clipboardHistoryEntriesKey, encodeClipboardEntries(entries_));
}

// Unreadable stored data gives an empty history and stays where it is until the next save.
void ClipboardHistoryController::load() {
    const Bytes stored = services_.settings.data(keys::clipboardHistoryEntriesKey);
    if (stored.empty()) {
        return;
    }
    const std::string_view json(reinterpret_cast<const char*>(stored.data()), stored.size());
    if (auto decoded = decodeClipboardEntries(json)) {
        entries_ = std::move(*decoded);
    }
}

void ClipboardHistoryController::restore(const ClipboardEntry& entry) {
    auto& pasteboard = services_.pasteboard;
    pasteboard.clearContents();
    switch (entry.kind) {
        case Kind::text:
            pasteboard.setString(entry.payloadText(), types::kString);
            break;
        case Kind::image:
            // Written as PNG whatever it was captured as.
            if (const auto bytes = base64Decoded(entry.payloadText())) {
                pasteboard.setData(*bytes, types::kPNG);
            }
            break;
        case Kind::files:
            pasteboard.writeFileURLs(entry.filePaths());
            break;
    }
    // The restored item is ours: the next poll must not capture it again.
    lastChangeCount_ = pasteboard.changeCount();
}

void ClipboardHistoryController::showHistory() {
    if (windowController_.isVisible()) {
        windowController_.hide();
        return;
    }
    refreshWindow();
    windowController_.show();
    services_.application.activate(true);
}

void ClipboardHistoryController::refreshWindow() {
    windowController_.entries = entries_;
    windowController_.applyFilter();
}

}  // namespace parvel
