#pragma once

namespace parvel {

// The update check: the feed every 12 hours and on request.
// Until its feature is built it only keeps the state it is given.
class UpdateController {
  public:
    void scheduleUpdateChecks(bool backgroundLaunch) {
        scheduled_ = true;
        backgroundLaunch_ = backgroundLaunch;
    }
    bool isScheduled() const { return scheduled_; }

  private:
    bool scheduled_ = false;
    bool backgroundLaunch_ = false;
};

}  // namespace parvel
