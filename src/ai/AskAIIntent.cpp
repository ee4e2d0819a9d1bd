#include "ai/AskAIIntent.h"

namespace parvel {

namespace {

constexpr std::string_view kMissingQuestion = "Ask AI needs exactly one question.";

}  // namespace

AskAIIntent::AskAIIntent(const ChatGPTService& service) : service_(service) {}

platform::IntentDescription AskAIIntent::description() const {
    platform::IntentDescription description;
    description.identifier = kIdentifier;
    description.title = "Ask AI";
    description.opensAppWhenRun = false;
    description.parameterSummary = "Ask AI: ${question}";
    description.parameters = {{.name = "question",
                               .title = "Question",
                               .description = "What you want to ask your selected AI provider."}};
    description.shortcutTitle = "Ask AI";
    description.shortcutSystemImage = "bubble.left.and.text.bubble.right";
    description.phrases = {
        "Ask ${applicationName}",         "Ask ${applicationName} a question",
        "Use ${applicationName} AI",      "Talk to ${applicationName}",
        "Ask AI with ${applicationName}",
    };
    // Captures the service, not this object, so the registration may outlive the description.
    description.perform = [intent =
                               AskAIIntent(service_)](const std::vector<std::string>& parameters)
        -> std::expected<platform::IntentResult, std::string> {
        if (parameters.size() != 1) {
            return std::unexpected(std::string(kMissingQuestion));
        }
        return intent.perform(parameters.front());
    };
    return description;
}

std::expected<platform::IntentResult, std::string> AskAIIntent::perform(
    std::string_view question) const {
    auto answer = service_.ask(question);
    if (!answer) {
        return std::unexpected(std::move(answer.error().description));
    }
    return platform::IntentResult{
        .value = *answer, .dialog = *answer, .supportingText = std::string(kSupportingText)};
}

}  // namespace parvel
