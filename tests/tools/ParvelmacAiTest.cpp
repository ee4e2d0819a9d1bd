#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/LoopbackServer.h"
#include "support/SecretServiceSession.h"
#include "support/Subprocess.h"
#include "support/TemporaryDirectory.h"

namespace parvel {
namespace {

using test_support::Subprocess;

// parvelmac-ai as a person runs it: its own process, a private Secret Service, a preferences
// folder of the test's and an OpenAI stand-in on a loopback port.
class ParvelmacAiTest : public testing::Test {
  protected:
    void SetUp() override {
        openAI.http().Post(
            "/v1/responses", [this](const httplib::Request& request, httplib::Response& response) {
                std::scoped_lock lock(mutex);
                requests.push_back(request);
                response.set_content(
                    R"({"output":[{"content":[{"type":"output_text","text":"Forty-two."}]}]})",
                    "application/json");
            });
        openAI.start();
    }

    Subprocess::Outcome run(std::vector<std::string> arguments, const std::string& input = {}) {
        arguments.insert(arguments.begin(), PARVELMAC_AI_PATH);
        return Subprocess(
                   arguments,
                   {secretService.busVariable(), "HOME=" + home.path(),
                    "XDG_CONFIG_HOME=" + home.path(), "PARVELMAC_PREFERENCES=" + preferences.path(),
                    "PARVELMAC_OPENAI_BASE_URL=" + openAI.url()},
                   input)
            .finish();
    }

    std::vector<httplib::Request> received() {
        std::scoped_lock lock(mutex);
        return requests;
    }

    test_support::SecretServiceSession secretService;
    test_support::TemporaryDirectory home;
    test_support::TemporaryDirectory preferences;
    test_support::LoopbackServer openAI;
    std::mutex mutex;
    std::vector<httplib::Request> requests;
};

TEST_F(ParvelmacAiTest, SetsUpAndAsksLikeTheSettingsWindowAndSiri) {
    const auto fresh = run({"settings", "show"});
    EXPECT_EQ(fresh.status, 0) << fresh.error;
    EXPECT_NE(fresh.output.find("Ask AI:          off"), std::string::npos) << fresh.output;
    EXPECT_NE(fresh.output.find("Google Gemini (Free tier)"), std::string::npos);

    const auto disabled = run({"ask", "What is six times seven?"});
    EXPECT_NE(disabled.status, 0);
    EXPECT_EQ(disabled.output, "");
    EXPECT_EQ(disabled.error, "Siri + ChatGPT is disabled in ParvelMac.\n");

    EXPECT_EQ(run({"settings", "enable"}).status, 0);
    const auto provider = run({"settings", "provider", "openai"});
    EXPECT_EQ(provider.output, "AI provider: OpenAI, model gpt-5.6-luna.\n") << provider.error;
    const auto key = run({"key", "set"}, "  sk-cli-key \n");
    EXPECT_EQ(key.status, 0) << key.error;
    EXPECT_EQ(key.output, "API key saved securely in Keychain.\n");

    const auto answer = run({"ask", "What is six times seven?"});

    EXPECT_EQ(answer.status, 0) << answer.error;
    EXPECT_EQ(answer.output, "Forty-two.\nAnswered through ParvelMac.\n");
    EXPECT_EQ(answer.error, "ParvelMac: OpenAI requests go to " + openAI.url() +
                                " (PARVELMAC_OPENAI_BASE_URL is set)\n");
    ASSERT_EQ(received().size(), 1U);
    EXPECT_EQ(received()[0].get_header_value("Authorization"), "Bearer sk-cli-key");
    EXPECT_NE(received()[0].body.find(R"("input":"What is six times seven?")"), std::string::npos);

    std::ifstream stored(preferences.path() + "/com.tarnby.parvelmac.plist", std::ios::binary);
    const std::string plist((std::istreambuf_iterator<char>(stored)),
                            std::istreambuf_iterator<char>());
    EXPECT_NE(plist.find("OpenAI"), std::string::npos);
    EXPECT_EQ(plist.find("sk-cli-key"), std::string::npos) << "keys never go to the settings";
}

TEST_F(ParvelmacAiTest, RefusesWhatItCannotUse) {
    struct Case {
        std::vector<std::string> arguments;
        std::string input;
        int status;
        std::string error;
    };
    const Case cases[] = {
        {{"key", "set"}, " \n\t\n", 1, "Enter an API key first.\n"},
        {{"key", "set", "--provider", "claude"},
         "sk-x",
         2,
         "Unknown AI provider \u201cclaude\u201d: use openai, gemini or openrouter.\n"},
        {{"settings", "provider", "Claude"},
         "",
         2,
         "Unknown AI provider \u201cClaude\u201d: use openai, gemini or openrouter.\n"},
        {{"ask"}, "", 2, ""},
        {{}, "", 2, ""},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.arguments.empty() ? "" : testCase.arguments.front());
        const auto outcome = run(testCase.arguments, testCase.input);
        EXPECT_EQ(outcome.status, testCase.status) << outcome.error;
        if (!testCase.error.empty()) {
            EXPECT_EQ(outcome.error, testCase.error);
        }
    }
    const auto help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.output.find("Exit status:"), std::string::npos);
}

}  // namespace
}  // namespace parvel
