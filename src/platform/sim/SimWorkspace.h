#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/Workspace.h"

namespace parvel::sim {

class Applications;
class Finder;
class Trace;

// The workspace of the simulated Mac: running applications from the world, opened URLs and files
// recorded, files revealed in Finder, and a real Trash folder in the sandbox.
class SimWorkspace final : public platform::Workspace {
  public:
    SimWorkspace(Applications& applications, Finder& finder, platform::FileSystem& files,
                 Trace& trace, std::string trashFolder);

    std::vector<platform::RunningApplication> runningApplications() const override;
    std::optional<platform::RunningApplication> frontmostApplication() const override;
    std::vector<platform::RunningApplication> runningApplications(
        std::string_view bundleIdentifier) const override;
    std::optional<platform::RunningApplication> application(platform::ProcessId pid) const override;
    bool activate(platform::ProcessId pid, bool ignoringOtherApps) override;
    bool unhide(platform::ProcessId pid) override;
    bool terminate(platform::ProcessId pid) override;
    std::unique_ptr<platform::Observation> observe(
        std::vector<platform::WorkspaceNotification> notifications,
        platform::WorkspaceObserver observer) override;
    bool openURL(std::string_view url) override;
    bool openFile(std::string_view path) override;
    void revealInFileViewer(const std::vector<std::string>& paths) override;
    Result<std::string> trashItem(std::string_view path) override;
    bool isFinderExtensionEnabled(std::string_view extensionIdentifier) const override;
    void showFinderExtensionManagement() override;

    // What the program opened, in order.
    const std::vector<std::string>& openedURLs() const { return openedURLs_; }
    const std::vector<std::string>& openedFiles() const { return openedFiles_; }
    // Handles a file the program opens by its extension (".command" runs in Terminal); without a
    // handler a file that exists opens and one that does not fails.
    void onOpenFile(std::string extension, std::function<bool(const std::string&)> handler);
    void setFinderExtensionEnabled(const std::string& identifier, bool enabled);

  private:
    Applications& applications_;
    Finder& finder_;
    platform::FileSystem& files_;
    Trace& trace_;
    std::string trashFolder_;
    std::vector<std::string> openedURLs_;
    std::vector<std::string> openedFiles_;
    std::vector<std::pair<std::string, std::function<bool(const std::string&)>>> fileHandlers_;
    std::set<std::string> enabledExtensions_;
};

}  // namespace parvel::sim
