#include "finder/FinderSupport.h"

#include <algorithm>
#include <unordered_set>
#include <variant>

#include "base/FileURL.h"

namespace parvel {

using platform::AXElement;
using platform::AXValue;

namespace {

constexpr std::string_view kDesktopFolder = "/Desktop";

std::optional<std::string> pathOfFileURLValue(const AXValue& value) {
    std::string_view url;
    if (const auto* object = std::get_if<platform::AXURL>(&value)) {
        url = object->absoluteString;
    } else if (const auto* text = std::get_if<std::string>(&value)) {
        url = *text;
    } else {
        return std::nullopt;
    }
    auto path = pathFromFileURL(url);
    if (!path) {
        return std::nullopt;
    }
    return FinderSupport::withoutTrailingSlash(std::move(*path));
}

}  // namespace

std::vector<std::string> FinderSupport::selectedURLs() {
    if (auto fromScript = selectedURLsViaScript(); !fromScript.empty()) {
        return fromScript;
    }
    return dedupe(selectedURLsViaAccessibility());
}

std::vector<std::string> FinderSupport::selectedURLsViaScript() {
    const auto result = services_.appleScript.run(kSelectionScript);
    if (!result) {
        return {};
    }
    std::vector<std::string> paths;
    std::size_t start = 0;
    while (start < result->size()) {
        const std::size_t end = std::min(result->find('\n', start), result->size());
        if (end > start) {
            paths.push_back(withoutTrailingSlash(result->substr(start, end - start)));
        }
        start = end + 1;
    }
    return dedupe(paths);
}

std::vector<std::string> FinderSupport::selectedURLsViaAccessibility() {
    const auto finder = finderApplicationElement();
    if (!finder) {
        return {};
    }
    const auto windows = services_.accessibility.copyAttribute(*finder, "AXWindows");
    if (!windows || !std::holds_alternative<std::vector<AXElement>>(*windows)) {
        return {};
    }
    std::vector<std::string> paths;
    for (const auto& window : std::get<std::vector<AXElement>>(*windows)) {
        auto found = selectedFileURLsRecursively(window, kWindowSearchDepth);
        paths.insert(paths.end(), found.begin(), found.end());
    }
    return dedupe(paths);
}

std::vector<std::string> FinderSupport::selectedFileURLsRecursively(const AXElement& element,
                                                                    int depth) {
    std::vector<std::string> paths;
    if (depth < 0) {
        return paths;
    }
    if (isSelected(element)) {
        if (auto path = fileURL(element)) {
            paths.push_back(std::move(*path));
        }
    }
    for (const auto& child : elements(element, "AXSelectedChildren")) {
        if (auto path = fileURL(child)) {
            paths.push_back(std::move(*path));
        }
    }
    if (depth > 0) {
        for (const auto& child : elements(element, "AXChildren")) {
            auto found = selectedFileURLsRecursively(child, depth - 1);
            paths.insert(paths.end(), found.begin(), found.end());
        }
    }
    return paths;
}

std::string FinderSupport::currentDirectory() {
    if (const auto result = services_.appleScript.run(kCurrentDirectoryScript);
        result && !result->empty()) {
        return withoutTrailingSlash(*result);
    }
    return services_.processInfo.homeDirectory() + std::string(kDesktopFolder);
}

std::optional<AXElement> FinderSupport::finderApplicationElement() {
    if (!services_.accessibility.isProcessTrusted()) {
        return std::nullopt;
    }
    const auto running = services_.workspace.runningApplications(kFinderIdentifier);
    if (running.empty()) {
        return std::nullopt;
    }
    return services_.accessibility.applicationElement(running.front().processId);
}

std::optional<std::string> FinderSupport::fileURL(const AXElement& element) {
    const auto value = services_.accessibility.copyAttribute(element, "AXURL");
    return value ? pathOfFileURLValue(*value) : std::nullopt;
}

std::vector<AXElement> FinderSupport::elements(const AXElement& element,
                                               std::string_view attribute) {
    auto value = services_.accessibility.copyAttribute(element, attribute);
    if (!value || !std::holds_alternative<std::vector<AXElement>>(*value)) {
        return {};
    }
    return std::get<std::vector<AXElement>>(std::move(*value));
}

bool FinderSupport::isSelected(const AXElement& element) {
    const auto value = services_.accessibility.copyAttribute(element, "AXSelected");
    return value && std::holds_alternative<bool>(*value) && std::get<bool>(*value);
}

std::vector<std::string> FinderSupport::dedupe(const std::vector<std::string>& paths) {
    std::vector<std::string> unique;
    std::unordered_set<std::string> seen;
    for (const auto& path : paths) {
        if (seen.insert(standardizedPath(path)).second) {
            unique.push_back(path);
        }
    }
    return unique;
}

std::string FinderSupport::withoutTrailingSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

}  // namespace parvel
