#pragma once

#include "app/AppDelegate.h"
#include "platform/Platform.h"

namespace parvel {

// The one place that builds the application from a platform adapter's services: the application
// delegate, which creates every controller with exactly the services it needs.
class CompositionRoot {
  public:
    explicit CompositionRoot(const platform::Platform& platform)
        : platform_(platform), delegate_(platform) {}

    AppDelegate& delegate() { return delegate_; }

    // What main does: hands the delegate to the application object and turns its event loop
    // until the application quits. Returns the process's exit status.
    int run();

  private:
    const platform::Platform platform_;
    AppDelegate delegate_;
};

}  // namespace parvel
