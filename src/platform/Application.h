#pragma once

#include "platform/Workspace.h"

namespace parvel::platform {

// What the application object tells its delegate.
class ApplicationDelegate {
  public:
    virtual ~ApplicationDelegate() = default;
    virtual void applicationDidFinishLaunching() = 0;
    // The application was opened again while running (Finder, Dock); true to handle it.
    virtual bool applicationShouldHandleReopen(bool hasVisibleWindows) = 0;
    virtual void applicationWillTerminate() = 0;
};

// The application object (NSApplication): its delegate, its event loop, activation and quitting.
class Application {
  public:
    virtual ~Application() = default;

    // Runs the application: tells the delegate it finished launching, then turns the main run
    // loop until terminate(); returns after the delegate's applicationWillTerminate.
    virtual void run(ApplicationDelegate& delegate) = 0;
    // Asks the application to quit at the next turn of the run loop.
    virtual void terminate() = 0;

    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
    virtual ActivationPolicy activationPolicy() const = 0;
    // Makes this application active.
    virtual void activate(bool ignoringOtherApps) = 0;
    // NSSound.beep.
    virtual void beep() = 0;
};

}  // namespace parvel::platform
