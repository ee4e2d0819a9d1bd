#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace parvel {

// The keyboard tap: the clipboard shortcut, Windows-style Delete, Finder's Cut, Copy and Paste
// keys, and the left Option key. Created with the clipboard shortcut off and the left-Option mode
// "Default"; the application delegate configures it and installs the callbacks.
// Until its feature is built it keeps the state the application delegate gives it.
class GlobalShortcutController {
  public:
    bool clipboardEnabled = false;
    bool windowsDeleteEnabled = false;
    bool cuttingEnabled = true;
    std::int64_t clipboardKeyCode = 6;
    std::uint64_t clipboardFlags = 0x60000;
    std::string leftOptionMode = "Default";

    std::function<void()> onClipboard;
    std::function<void()> onWindowsDelete;
    std::function<bool()> shouldHandleFinderPaste;
    std::function<void(const std::string& action)> onFinderFileShortcut;
    std::function<void(const std::string& mode)> onLeftOptionAction;

    void start() { running_ = true; }
    void stop() { running_ = false; }
    bool isRunning() const { return running_; }

  private:
    bool running_ = false;
};

}  // namespace parvel
