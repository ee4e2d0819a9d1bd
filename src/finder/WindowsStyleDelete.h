#pragma once

namespace parvel {

// Windows-style Delete in Finder: confirms, then moves the selection to the Trash.
// Until its feature is built it only keeps the state it is given.
class WindowsStyleDelete {
  public:
    void confirmWindowsStyleDelete() {}
};

}  // namespace parvel
