#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "ai/AskAIIntent.h"
#include "core/SettingsKeys.h"
#include "platform/sim/MemoryDefaults.h"
#include "platform/sim/MemoryLog.h"
#include "platform/sim/SimIntents.h"
#include "platform/sim/SimKeychain.h"
#include "support/FakeProcessInfo.h"

namespace parvel {
namespace {

namespace keys = settings_keys;

// Answers every request with one canned response and keeps the requests.
class CannedHttp final : public platform::Http {
  public:
    Result<platform::HttpResponse> send(const platform::HttpRequest& request) override {
        requests.push_back(request);
        return response;
    }

    platform::HttpResponse response;
    std::vector<platform::HttpRequest> requests;
};

class AskAIIntentTest : public testing::Test {
  protected:
    void SetUp() override {
        settings.initializeDefaults();
        ASSERT_TRUE(keyStore.saveAPIKey("sk-gemini", AIProvider::gemini));
        intents.registerIntent(AskAIIntent(service).description());
    }

    void answerWith(const std::string& text) {
        http.response.statusCode = 200;
        http.response.body =
            nlohmann::json{{"candidates", {{{"content", {{"parts", {{{"text", text}}}}}}}}}}.dump();
    }

    std::expected<platform::IntentResult, std::string> run(const std::string& question) {
        return intents.perform(AskAIIntent::kIdentifier, {question});
    }

    sim::MemoryDefaults defaults;
    SettingsStore settings{defaults};
    sim::SimKeychain keychain;
    KeychainStore keyStore{keychain};
    CannedHttp http;
    test_support::FakeProcessInfo processInfo;
    sim::MemoryLog log;
    ChatGPTService service{settings, keyStore, http, processInfo, log};
    sim::SimIntents intents;
};

TEST_F(AskAIIntentTest, OffersOneBackgroundActionWithItsShortcutPhrases) {
    const auto registered = intents.registeredIntents();
    ASSERT_EQ(registered.size(), 1U);
    const auto& action = registered.front();
    EXPECT_EQ(action.identifier, "AskAIIntent");
    EXPECT_EQ(action.title, "Ask AI");
    EXPECT_FALSE(action.opensAppWhenRun);
    EXPECT_EQ(action.parameterSummary, "Ask AI: ${question}");
    ASSERT_EQ(action.parameters.size(), 1U);
    EXPECT_EQ(action.parameters[0].name, "question");
    EXPECT_EQ(action.parameters[0].title, "Question");
    EXPECT_EQ(action.parameters[0].description, "What you want to ask your selected AI provider.");
    EXPECT_EQ(action.shortcutTitle, "Ask AI");
    EXPECT_EQ(action.shortcutSystemImage, "bubble.left.and.text.bubble.right");
    EXPECT_EQ(action.phrases, (std::vector<std::string>{
                                  "Ask ${applicationName}", "Ask ${applicationName} a question",
                                  "Use ${applicationName} AI", "Talk to ${applicationName}",
                                  "Ask AI with ${applicationName}"}));
}

TEST_F(AskAIIntentTest, TheSwitchIsReadAtEachRunWithoutARefresh) {
    answerWith("  Forty-two.\n");
    const auto off = run("What is six times seven?");
    EXPECT_EQ(off, std::unexpected(std::string("Siri + ChatGPT is disabled in ParvelMac.")));
    EXPECT_TRUE(http.requests.empty());

    settings.set(keys::siriChatGPTEnabledKey, true);
    const auto on = run("  What is six times seven? ");

    ASSERT_TRUE(on.has_value()) << on.error();
    EXPECT_EQ(on->value, "  Forty-two.\n");
    EXPECT_EQ(on->dialog, on->value);
    EXPECT_EQ(on->supportingText, "Answered through ParvelMac.");
    ASSERT_EQ(http.requests.size(), 1U);
    EXPECT_NE(http.requests[0].body.find(R"("text":"  What is six times seven? ")"),
              std::string::npos);
    EXPECT_EQ(intents.shortcutParameterUpdateCount(), 0);
}

TEST_F(AskAIIntentTest, FailuresReachTheSystemAsTheirDescription) {
    settings.set(keys::siriChatGPTEnabledKey, true);
    http.response.statusCode = 401;
    EXPECT_EQ(run("Hi"), std::unexpected(std::string("Gemini request failed with HTTP 401.")));

    settings.set(keys::aiProviderKey, "OpenAI");
    EXPECT_EQ(run("Hi"),
              std::unexpected(std::string("No API key is saved for the selected AI provider.")));
    EXPECT_FALSE(intents.perform(AskAIIntent::kIdentifier, {}).has_value());
}

}  // namespace
}  // namespace parvel
