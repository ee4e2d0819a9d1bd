#pragma once

#include <string>
#include <vector>

#include "platform/Accessibility.h"
#include "platform/Events.h"
#include "platform/Pasteboard.h"
#include "platform/WindowServer.h"
#include "platform/sim/SimEvents.h"
#include "platform/sim/SimPasteboard.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Displays.h"
#include "platform/sim/world/Finder.h"
#include "platform/sim/world/Permissions.h"

// The simulated Mac as the driver of the Events, WindowServer, Accessibility and Pasteboard
// contracts: its services, and its world moved the way a user and other applications would.
namespace parvel::contract {

class SimulatedMacDriver {
  public:
    SimulatedMacDriver() {
        // A second display to the right of the built-in one, its top a little higher.
        mac.displays().set(
            {sim::SimDisplay{}, sim::SimDisplay{2, {{1512, -98}, {1920, 1080}}, 25, 0}});
        activateOtherApplication();
    }

    sim::SimulatedMac mac;
    platform::Events& events = *mac.platform().events;
    platform::WindowServer& windowServer = *mac.platform().windowServer;
    platform::Accessibility& accessibility = *mac.platform().accessibility;
    platform::Pasteboard& pasteboard = *mac.platform().pasteboard;

    // Input enters on the main queue, as the system delivers it.
    void input(const platform::Event& event) {
        mac.dispatch().main().async([this, event] { mac.events().inject(event); });
        settle();
    }
    void settle() { mac.dispatch().runDue(); }
    void setInputPermissions(bool inputMonitoring, bool accessibilityTrusted) {
        mac.permissions().inputMonitoring = inputMonitoring;
        mac.permissions().accessibility = accessibilityTrusted;
    }
    void disableTapsBySystem(platform::EventType reason) { mac.events().disableTaps(reason); }
    void activateThisApplication() { mac.applications().activate(thisProcess()); }
    void activateOtherApplication() { mac.applications().activate(mac.finder().pid()); }
    std::vector<platform::Event> deliveredToFrontmost() {
        const auto frontmost = mac.applications().frontmost();
        const sim::SimApp* app = frontmost ? mac.applications().find(*frontmost) : nullptr;
        return app ? app->receivedEvents : std::vector<platform::Event>{};
    }
    double primaryDisplayHeight() { return mac.displays().all().front().bounds.size.height; }

    platform::ProcessId thisProcess() const { return sim::SimulatedMac::kOwnPid; }
    platform::ProcessId launchApplication(const std::string& name) {
        return mac.applications().launch({"com.example." + name, name});
    }
    platform::WindowNumber openWindow(platform::ProcessId owner, const std::string& title,
                                      platform::Rect frame, int layer = 0) {
        return mac.applications().openWindow(owner, {title, frame, "AXStandardWindow", layer});
    }
    void closeWindow(platform::WindowNumber number) { mac.applications().closeWindow(number); }
    void raiseWindow(platform::WindowNumber number) { mac.applications().raise(number); }
    void minimizeWindow(platform::WindowNumber number) {
        mac.applications().setMinimized(number, true);
    }
    void hideApplication(platform::ProcessId pid) { mac.applications().hide(pid); }
    void activateApplication(platform::ProcessId pid) { mac.applications().activate(pid); }
    void quitApplication(platform::ProcessId pid) { mac.applications().requestQuit(pid); }
    void setScreenRecording(bool granted) { mac.permissions().screenRecording = granted; }
    void setAccessibilityTrusted(bool trusted) { mac.permissions().accessibility = trusted; }

    void copyText(const std::string& text) { mac.pasteboard().copyText("TextEdit", text); }
    void copyFilesInFinder(const std::vector<std::string>& paths) {
        mac.pasteboard().copyFiles(paths);
    }
};

}  // namespace parvel::contract
