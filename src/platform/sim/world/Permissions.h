#pragma once

#include <map>
#include <string>
#include <vector>

namespace parvel::sim {

// The user's answer to an Automation request for one target application.
enum class AutomationState { NotDetermined, Allowed, Denied };

// The privacy permissions of this program on the simulated Mac. Tests and scenarios grant and
// revoke them at any time; the services read them at the moment of each call, as the real
// system does. Everything starts granted except Automation, which is asked for on first use.
struct Permissions {
    bool accessibility = true;
    bool screenRecording = true;
    bool inputMonitoring = true;
    bool systemAudioRecording = true;
    bool bluetooth = true;
    std::map<std::string, AutomationState> automation;  // by target bundle identifier
    // What the user answers when the system asks for Automation of a target.
    AutomationState automationAnswer = AutomationState::Allowed;

    // Requests the program made, for tests to observe.
    int accessibilityPrompts = 0;
    int screenCaptureRequests = 0;
    std::vector<std::string> automationPrompts;

    // Whether a script may be sent to the target, asking the user the first time.
    bool allowsAutomation(const std::string& bundleIdentifier) {
        auto& state = automation[bundleIdentifier];
        if (state == AutomationState::NotDetermined) {
            automationPrompts.push_back(bundleIdentifier);
            state = automationAnswer;
        }
        return state == AutomationState::Allowed;
    }
};

}  // namespace parvel::sim
