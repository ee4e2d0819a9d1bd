#include "platform/sim/world/Finder.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/FileURL.h"
#include "platform/sim/Trace.h"
#include "platform/sim/world/Applications.h"

namespace parvel::sim {

using platform::AXElement;
using platform::AXValue;
using platform::FileKind;

namespace {

std::string parentOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
    return path.substr(path.find_last_of('/') + 1);
}

// Each new Finder window opens a little below and right of the previous one.
platform::Rect cascadedFrame(std::size_t index) {
    const double offset = 24.0 * static_cast<double>(index % 10);
    return {{120 + offset, 80 + offset}, {920, 560}};
}

}  // namespace

Finder::Finder(Applications& applications, AccessibilityTree& tree, platform::FileSystem& files,
               platform::Defaults& defaults, Trace& trace, std::string homeDirectory)
    : applications_(applications),
      tree_(tree),
      files_(files),
      defaults_(defaults),
      trace_(trace),
      home_(std::move(homeDirectory)) {}

void Finder::launch() {
    pid_ = applications_.launch({std::string(kBundleIdentifier),
                                 "Finder",
                                 platform::ActivationPolicy::Regular,
                                 QuitBehaviour::Refuse,
                                 {},
                                 "/System/Library/CoreServices/Finder.app/Contents/MacOS/Finder"});
    readPreferences();
    buildDesktop();
    focusDesktop();
}

void Finder::readPreferences() {
    const auto stored = defaults_.object(kDomain, "AppleShowAllFiles");
    showsAllFiles_ = stored && stored->asBool().value_or(false);
}

void Finder::buildDesktop() {
    const AXToken scrollArea = tree_.addNode(
        pid_, 0, {"AXScrollArea", "", "", {{"AXDescription", std::string("desktop")}}, {}, {}});
    desktop_ = Listing{};
    desktop_.folder = desktopFolder();
    desktop_.container = tree_.addNode(
        pid_, scrollArea,
        {"AXGroup", "", "", {{"AXSelectedChildren", AXValue(std::vector<AXElement>{})}}, {}, {}});
    tree_.onBeforeRead(desktop_.container, [this] { sync(desktop_); });
    sync(desktop_);
}

void Finder::buildWindowTree(platform::WindowNumber number, const std::string& folder) {
    const AXToken windowToken = tree_.tokenOfWindow(number);
    const AXToken split = tree_.addNode(pid_, windowToken, {"AXSplitGroup", "", "", {}, {}, {}});
    const AXToken scroll = tree_.addNode(pid_, split, {"AXScrollArea", "", "", {}, {}, {}});
    Listing& listing = windows_[number];
    listing = Listing{};
    listing.folder = folder;
    listing.container = tree_.addNode(
        pid_, scroll,
        {"AXOutline", "", "", {{"AXSelectedChildren", AXValue(std::vector<AXElement>{})}}, {}, {}});
    tree_.onBeforeRead(listing.container, [this, number] {
        if (const auto found = windows_.find(number); found != windows_.end()) {
            sync(found->second);
        }
    });
    sync(listing);
}

platform::WindowNumber Finder::openWindow(const std::string& folder) {
    const auto number = applications_.openWindow(
        pid_, {nameOf(folder), cascadedFrame(windows_.size()), "AXStandardWindow", 0, 1.0, false});
    buildWindowTree(number, folder);
    trace_.record("finder", fmt::format("window {} shows {}", number, folder));
    desktopFocused_ = false;
    applications_.activate(pid_);
    tree_.setFocusedElement(pid_, windows_[number].container);
    return number;
}

void Finder::closeWindow(platform::WindowNumber number) {
    const auto found = windows_.find(number);
    if (found == windows_.end()) {
        return;
    }
    windows_.erase(found);
    applications_.closeWindow(number);
    if (windows_.empty()) {
        focusDesktop();
    }
}

void Finder::focusDesktop() {
    desktopFocused_ = true;
    renaming_.reset();
    applications_.activate(pid_);
    tree_.setFocusedElement(pid_, desktop_.container);
    trace_.record("finder", "the Desktop has the focus");
}

Finder::Listing* Finder::activeListing() {
    if (!desktopFocused_) {
        for (const auto* simWindow : applications_.windowsOf(pid_)) {
            if (const auto found = windows_.find(simWindow->number); found != windows_.end()) {
                return &found->second;
            }
        }
    }
    return &desktop_;
}

const Finder::Listing* Finder::activeListing() const {
    return const_cast<Finder*>(this)->activeListing();
}

void Finder::select(const std::vector<std::string>& paths) {
    Listing& listing = *activeListing();
    listing.selected.clear();
    for (const auto& path : paths) {
        const std::string standard = standardizedPath(path);
        if (parentOf(standard) == standardizedPath(listing.folder) && files_.exists(standard)) {
            listing.selected.insert(standard);
        }
    }
    sync(listing);
    std::vector<std::string> names;
    for (const auto& path : listing.selected) {
        names.push_back(nameOf(path));
    }
    trace_.record("finder",
                  fmt::format("selected in {}: {}", listing.folder, fmt::join(names, ", ")));
}

void Finder::startRenaming(const std::string& path) {
    Listing& listing = *activeListing();
    sync(listing);
    const auto row = listing.rows.find(standardizedPath(path));
    if (row == listing.rows.end()) {
        return;
    }
    AXToken field = row->second;
    while (!tree_.children(field).empty()) {
        field = tree_.children(field).front();
    }
    renaming_ = row->first;
    tree_.setFocusedElement(pid_, field);
    trace_.record("finder", fmt::format("editing the name of {}", row->first));
}

void Finder::finishRenaming() {
    renaming_.reset();
    tree_.setFocusedElement(pid_, activeListing()->container);
}

std::vector<std::string> Finder::selection() {
    Listing& listing = *activeListing();
    sync(listing);
    std::vector<std::string> paths;
    for (const auto& [path, token] : listing.rows) {
        if (listing.selected.contains(path)) {
            paths.push_back(scriptPath(path));
        }
    }
    return paths;
}

std::string Finder::insertionLocation() const {
    return scriptPath(activeListing()->folder);
}

std::optional<std::string> Finder::frontWindowFolder() const {
    for (const auto* simWindow : applications_.windowsOf(pid_)) {
        if (const auto found = windows_.find(simWindow->number); found != windows_.end()) {
            return found->second.folder;
        }
    }
    return std::nullopt;
}

std::string Finder::scriptPath(const std::string& path) const {
    return files_.isDirectory(path) && path != "/" ? path + "/" : path;
}

void Finder::sync(Listing& listing) {
    const auto entries = files_.listDirectory(listing.folder);
    std::map<std::string, FileKind> present;
    if (entries) {
        for (const auto& entry : *entries) {
            if (showsAllFiles_ || !entry.name.starts_with('.')) {
                present[standardizedPath(listing.folder + "/" + entry.name)] = entry.kind;
            }
        }
    }
    for (auto it = listing.rows.begin(); it != listing.rows.end();) {
        if (present.contains(it->first)) {
            ++it;
            continue;
        }
        tree_.removeNode(it->second);
        listing.selected.erase(it->first);
        it = listing.rows.erase(it);
    }
    std::vector<AXElement> selected;
    for (const auto& [path, kind] : present) {
        auto row = listing.rows.find(path);
        if (row == listing.rows.end()) {
            row = listing.rows.emplace(path, addItem(listing, path, kind)).first;
        }
        const bool isSelected = listing.selected.contains(path);
        tree_.setAttribute(row->second, "AXSelected", isSelected);
        if (isSelected) {
            selected.push_back(tree_.element(row->second));
        }
    }
    tree_.setAttribute(listing.container, "AXSelectedChildren", std::move(selected));
}

AXToken Finder::addItem(Listing& listing, const std::string& path, FileKind kind) {
    const std::string url = fileURLFromPath(kind == FileKind::Directory ? path + "/" : path);
    const bool onDesktop = &listing == &desktop_;
    const AXToken item = tree_.addNode(pid_, listing.container,
                                       {onDesktop ? "AXImage" : "AXRow",
                                        "",
                                        onDesktop ? nameOf(path) : "",
                                        {{"AXSelected", false}, {"AXURL", platform::AXURL{url}}},
                                        {"AXSelected"},
                                        {}});
    tree_.onWrite(item, [this, &listing, path](const std::string& attribute, const AXValue& value) {
        if (const bool* selected = std::get_if<bool>(&value);
            selected && attribute == "AXSelected") {
            if (*selected) {
                listing.selected.insert(path);
            } else {
                listing.selected.erase(path);
            }
        }
    });
    const AXToken cell =
        onDesktop ? item : tree_.addNode(pid_, item, {"AXCell", "", "", {}, {}, {}});
    tree_.addNode(pid_, cell,
                  {"AXTextField", "", "", {{"AXValue", nameOf(path)}}, {"AXValue"}, {}});
    return item;
}

void Finder::relaunched(platform::ProcessId pid) {
    pid_ = pid;
    readPreferences();
    const std::vector<std::pair<platform::WindowNumber, std::string>> open = [this] {
        std::vector<std::pair<platform::WindowNumber, std::string>> list;
        for (const auto& [number, listing] : windows_) {
            list.emplace_back(number, listing.folder);
        }
        return list;
    }();
    for (const auto& [number, folder] : open) {
        for (const AXToken child : tree_.children(tree_.tokenOfWindow(number))) {
            tree_.removeNode(child);
        }
        buildWindowTree(number, folder);
    }
    buildDesktop();
    desktopFocused_ = true;
    tree_.setFocusedElement(pid_, desktop_.container);
}

}  // namespace parvel::sim
