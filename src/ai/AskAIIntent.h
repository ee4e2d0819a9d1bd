#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "ai/ChatGPTService.h"
#include "platform/Intents.h"

namespace parvel {

// The "Ask AI" action that Siri and Shortcuts run in the background: one question in, the
// provider's answer out as the action's value and dialog. The Ask AI switch is checked by the
// service, so the action stays offered while the feature is off and a run then fails.
class AskAIIntent {
  public:
    static constexpr std::string_view kIdentifier = "AskAIIntent";
    static constexpr std::string_view kSupportingText = "Answered through ParvelMac.";

    // The service must outlive every registration of the action.
    explicit AskAIIntent(const ChatGPTService& service);

    // The action's metadata and App Shortcut, ready for Intents::registerIntent; its perform
    // takes the question as its one parameter.
    platform::IntentDescription description() const;
    // Asks the question as it is; a failure becomes the error's description, which the system
    // shows or speaks.
    [[nodiscard]] std::expected<platform::IntentResult, std::string> perform(
        std::string_view question) const;

  private:
    const ChatGPTService& service_;
};

}  // namespace parvel
