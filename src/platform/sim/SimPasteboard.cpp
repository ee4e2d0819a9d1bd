#include "platform/sim/SimPasteboard.h"

#include <algorithm>

#include <fmt/format.h>

#include "base/FileURL.h"
#include "platform/sim/Trace.h"

namespace parvel::sim {

namespace types = platform::pasteboard_types;

namespace {

// A short, single-line view of written text for the trace.
std::string preview(std::string_view text) {
    constexpr std::size_t kLimit = 40;
    std::string shown;
    for (const char character : text.substr(0, kLimit)) {
        shown += character == '\n' ? ' ' : character;
    }
    return text.size() > kLimit ? shown + "…" : shown;
}

std::string nameOf(const std::string& path) {
    return path.substr(path.find_last_of('/') + 1);
}

}  // namespace

std::int64_t SimPasteboard::clearContents() {
    items_.clear();
    ++changeCount_;
    ownChangeCount_ = changeCount_;
    trace_.record("pasteboard", fmt::format("cleared (change count {})", changeCount_));
    return changeCount_;
}

bool SimPasteboard::mayWrite() {
    if (ownChangeCount_ == changeCount_) {
        return true;
    }
    trace_.record("pasteboard", "write refused: the contents belong to another application");
    return false;
}

bool SimPasteboard::writeFileURLs(const std::vector<std::string>& paths) {
    if (!mayWrite()) {
        return false;
    }
    for (const auto& path : paths) {
        items_.push_back({{{std::string(types::kFileURL), toBytes(fileURLFromPath(path))}}});
        trace_.record("pasteboard", fmt::format("wrote file {}", path));
    }
    return true;
}

PasteboardItem& SimPasteboard::firstItem() {
    if (items_.empty()) {
        items_.emplace_back();
    }
    return items_.front();
}

bool SimPasteboard::setString(std::string_view value, std::string_view type) {
    return setData(toBytes(value), type);
}

bool SimPasteboard::setData(const Bytes& value, std::string_view type) {
    if (!mayWrite()) {
        return false;
    }
    auto& representations = firstItem().representations;
    const auto found =
        std::ranges::find(representations, type, &std::pair<std::string, Bytes>::first);
    if (found == representations.end()) {
        representations.emplace_back(std::string(type), value);
    } else {
        found->second = value;
    }
    const bool textual = type == types::kString || !type.starts_with("public.");
    trace_.record("pasteboard", textual
                                    ? fmt::format("set {} \"{}\"", type, preview(toString(value)))
                                    : fmt::format("set {} ({} bytes)", type, value.size()));
    return true;
}

const Bytes* SimPasteboard::find(std::string_view type) const {
    for (const auto& item : items_) {
        for (const auto& [itemType, data] : item.representations) {
            if (itemType == type) {
                return &data;
            }
        }
    }
    return nullptr;
}

std::optional<std::string> SimPasteboard::string(std::string_view type) const {
    std::optional<std::string> text;
    for (const auto& item : items_) {
        const auto found =
            std::ranges::find(item.representations, type, &std::pair<std::string, Bytes>::first);
        if (found != item.representations.end()) {
            text = text ? *text + "\n" + toString(found->second) : toString(found->second);
        }
    }
    return text;
}

std::optional<Bytes> SimPasteboard::data(std::string_view type) const {
    const Bytes* found = find(type);
    return found ? std::optional(*found) : std::nullopt;
}

std::vector<std::string> SimPasteboard::fileURLs() const {
    std::vector<std::string> paths;
    for (const auto& item : items_) {
        for (const auto& [type, data] : item.representations) {
            if (type == types::kFileURL) {
                if (auto path = pathFromFileURL(toString(data))) {
                    paths.push_back(std::move(*path));
                }
            }
        }
    }
    return paths;
}

std::vector<std::string> SimPasteboard::types() const {
    std::vector<std::string> list;
    for (const auto& item : items_) {
        for (const auto& [type, data] : item.representations) {
            if (std::ranges::find(list, type) == list.end()) {
                list.push_back(type);
            }
        }
    }
    return list;
}

void SimPasteboard::copyFromApplication(const std::string& application,
                                        std::vector<PasteboardItem> items) {
    items_ = std::move(items);
    ++changeCount_;
    trace_.record("pasteboard",
                  fmt::format("{} copied {} item{} (change count {})", application, items_.size(),
                              items_.size() == 1 ? "" : "s", changeCount_));
}

void SimPasteboard::copyText(const std::string& application, const std::string& text) {
    copyFromApplication(application, {{{{std::string(types::kString), toBytes(text)}}}});
}

void SimPasteboard::copyFiles(const std::vector<std::string>& paths) {
    std::vector<PasteboardItem> items;
    for (const auto& path : paths) {
        items.push_back({{{std::string(types::kFileURL), toBytes(fileURLFromPath(path))},
                          {std::string(types::kString), toBytes(nameOf(path))}}});
    }
    copyFromApplication("Finder", std::move(items));
}

void SimPasteboard::copyImage(const std::string& application, const Bytes& image,
                              std::string_view type) {
    copyFromApplication(application, {{{{std::string(type), image}}}});
}

}  // namespace parvel::sim
