#include "platform/sim/SimWorkspace.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/FileURL.h"
#include "platform/sim/Trace.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Finder.h"

namespace parvel::sim {

using platform::ProcessId;
using platform::RunningApplication;

namespace {

// URL schemes some application on the simulated Mac opens.
constexpr std::string_view kOpenableSchemes[] = {
    "x-apple.systempreferences:", "shortcuts:", "https:", "http:", "file:", "mailto:"};

class Registration final : public platform::Observation {
  public:
    explicit Registration(std::shared_ptr<void> token) : token_(std::move(token)) {}

  private:
    std::shared_ptr<void> token_;
};

std::string nameOf(std::string_view path) {
    return std::string(path.substr(path.find_last_of('/') + 1));
}

// "report.pdf" → "report 2.pdf", "Photos" → "Photos 2", the way Finder names a second item.
std::string numberedName(const std::string& name, int number) {
    const auto dot = name.find_last_of('.');
    if (dot == std::string::npos || dot == 0) {
        return fmt::format("{} {}", name, number);
    }
    return fmt::format("{} {}{}", name.substr(0, dot), number, name.substr(dot));
}

}  // namespace

SimWorkspace::SimWorkspace(Applications& applications, Finder& finder, platform::FileSystem& files,
                           Trace& trace, std::string trashFolder)
    : applications_(applications),
      finder_(finder),
      files_(files),
      trace_(trace),
      trashFolder_(std::move(trashFolder)) {}

std::vector<RunningApplication> SimWorkspace::runningApplications() const {
    std::vector<RunningApplication> list;
    for (const auto* app : applications_.running()) {
        list.push_back(applications_.describe(*app));
    }
    return list;
}

std::optional<RunningApplication> SimWorkspace::frontmostApplication() const {
    const auto pid = applications_.frontmost();
    return pid ? application(*pid) : std::nullopt;
}

std::vector<RunningApplication> SimWorkspace::runningApplications(
    std::string_view bundleIdentifier) const {
    std::vector<RunningApplication> list;
    for (const auto* app : applications_.withBundleIdentifier(bundleIdentifier)) {
        list.push_back(applications_.describe(*app));
    }
    return list;
}

std::optional<RunningApplication> SimWorkspace::application(ProcessId pid) const {
    const SimApp* app = applications_.find(pid);
    return app ? std::optional(applications_.describe(*app)) : std::nullopt;
}

bool SimWorkspace::activate(ProcessId pid, bool) {
    return applications_.activate(pid);
}

bool SimWorkspace::unhide(ProcessId pid) {
    return applications_.unhide(pid);
}

bool SimWorkspace::terminate(ProcessId pid) {
    return applications_.requestQuit(pid);
}

std::unique_ptr<platform::Observation> SimWorkspace::observe(
    std::vector<platform::WorkspaceNotification> notifications,
    platform::WorkspaceObserver observer) {
    return std::make_unique<Registration>(
        applications_.observe(std::move(notifications), std::move(observer)));
}

bool SimWorkspace::openURL(std::string_view url) {
    const bool openable = std::ranges::any_of(
        kOpenableSchemes, [&](std::string_view scheme) { return url.starts_with(scheme); });
    trace_.record("url", fmt::format("open {}{}", url, openable ? "" : " (no application)"));
    if (openable) {
        openedURLs_.emplace_back(url);
    }
    return openable;
}

bool SimWorkspace::openFile(std::string_view path) {
    const std::string file(path);
    for (const auto& [extension, handler] : fileHandlers_) {
        if (file.ends_with(extension)) {
            openedFiles_.push_back(file);
            trace_.record("url", fmt::format("open file {}", file));
            return handler(file);
        }
    }
    const bool exists = files_.exists(file);
    trace_.record("url", fmt::format("open file {}{}", file, exists ? "" : " (missing)"));
    if (exists) {
        openedFiles_.push_back(file);
    }
    return exists;
}

void SimWorkspace::revealInFileViewer(const std::vector<std::string>& paths) {
    trace_.record("url", fmt::format("reveal {}", fmt::join(paths, ", ")));
    if (paths.empty()) {
        return;
    }
    const std::string& first = paths.front();
    finder_.openWindow(first.substr(0, std::max<std::size_t>(first.find_last_of('/'), 1)));
    finder_.select(paths);
}

Result<std::string> SimWorkspace::trashItem(std::string_view path) {
    if (!files_.exists(path) && files_.kind(path) == platform::FileKind::Missing) {
        return std::unexpected(posixError(ENOENT));
    }
    if (auto created = files_.createDirectories(trashFolder_); !created) {
        return std::unexpected(created.error());
    }
    const std::string name = nameOf(path);
    std::string destination = trashFolder_ + "/" + name;
    for (int number = 2; files_.kind(destination) != platform::FileKind::Missing; ++number) {
        destination = trashFolder_ + "/" + numberedName(name, number);
    }
    if (auto moved = files_.moveItem(path, destination); !moved) {
        trace_.record("file", fmt::format("trash {} failed: {}", path, moved.error().description));
        return std::unexpected(moved.error());
    }
    trace_.record("file", fmt::format("trashed {} as {}", path, destination));
    return destination;
}

bool SimWorkspace::isFinderExtensionEnabled(std::string_view extensionIdentifier) const {
    return enabledExtensions_.contains(std::string(extensionIdentifier));
}

void SimWorkspace::showFinderExtensionManagement() {
    trace_.record("url", "show Finder extension management");
}

void SimWorkspace::onOpenFile(std::string extension,
                              std::function<bool(const std::string&)> handler) {
    fileHandlers_.emplace_back(std::move(extension), std::move(handler));
}

void SimWorkspace::setFinderExtensionEnabled(const std::string& identifier, bool enabled) {
    if (enabled) {
        enabledExtensions_.insert(identifier);
    } else {
        enabledExtensions_.erase(identifier);
    }
}

}  // namespace parvel::sim
