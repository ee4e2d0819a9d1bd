#pragma once

#include "app/ProcessRunner.h"
#include "app/SettingsStore.h"
#include "platform/Platform.h"

namespace parvel {

// The one place that builds the application's objects from a platform adapter's services and
// hands each exactly the services it needs. The application delegate and its controllers join
// here as they are built.
class CompositionRoot {
  public:
    explicit CompositionRoot(const platform::Platform& platform);

    SettingsStore& settings() { return settings_; }
    const ProcessRunner& processRunner() const { return processRunner_; }

  private:
    SettingsStore settings_;
    ProcessRunner processRunner_;
};

}  // namespace parvel
