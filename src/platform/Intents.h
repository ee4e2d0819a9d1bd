#pragma once

#include <expected>
#include <functional>
#include <string>
#include <vector>

namespace parvel::platform {

// One string parameter of an action.
struct IntentParameter {
    std::string name;         // the code name ("question")
    std::string title;        // "Question"
    std::string description;  // shown by the system
};

// What a successful run gives back: a value and a dialog (full text and supporting text).
struct IntentResult {
    std::string value;
    std::string dialog;
    std::string supportingText;
};

// Runs the action with its parameter values in declaration order; the error's text is what the
// system shows or speaks.
using IntentPerform =
    std::function<std::expected<IntentResult, std::string>(const std::vector<std::string>&)>;

// An action the application offers to Siri and Shortcuts, with its App Shortcut.
struct IntentDescription {
    std::string identifier;  // "AskAIIntent"
    std::string title;       // "Ask AI"
    bool opensAppWhenRun = false;
    std::string parameterSummary;  // "Ask AI: ${question}"
    std::vector<IntentParameter> parameters;
    // The App Shortcut: its short title, system image and phrases, where "${applicationName}"
    // stands for the application's name as the system speaks it.
    std::string shortcutTitle;
    std::string shortcutSystemImage;
    std::vector<std::string> phrases;
    IntentPerform perform;
};

// The intents service (App Intents and the App Shortcuts provider).
class Intents {
  public:
    virtual ~Intents() = default;
    // Offers an action and its App Shortcut to the system.
    virtual void registerIntent(IntentDescription description) = 0;
    // Asks the system to refresh the shortcuts' parameters (updateAppShortcutParameters).
    virtual void updateAppShortcutParameters() = 0;
};

}  // namespace parvel::platform
