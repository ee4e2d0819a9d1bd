#pragma once

namespace parvel {

// What every feature controller offers the application delegate: a switch it sets from the
// settings, and start() / stop(). start() runs the feature only while it is enabled; stop() ends
// whatever start() began.
class FeatureController {
  public:
    virtual ~FeatureController() = default;

    bool isEnabled() const { return enabled_; }
    virtual void setEnabled(bool enabled) { enabled_ = enabled; }
    bool isRunning() const { return running_; }

    virtual void start() { running_ = enabled_; }
    virtual void stop() { running_ = false; }

  private:
    bool enabled_ = false;
    bool running_ = false;
};

}  // namespace parvel
