#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "ai/ChatGPTService.h"
#include "core/SettingsKeys.h"
#include "platform/posix/CurlHttp.h"
#include "platform/sim/MemoryDefaults.h"
#include "platform/sim/MemoryLog.h"
#include "platform/sim/SimKeychain.h"
#include "support/FakeProcessInfo.h"
#include "support/LoopbackServer.h"

namespace parvel {
namespace {

namespace keys = settings_keys;
using nlohmann::json;

struct ReceivedRequest {
    std::string method;
    std::string path;
    httplib::Headers headers;
    std::string body;

    std::string header(const std::string& name) const {
        const auto found = headers.find(name);
        return found == headers.end() ? "<absent>" : found->second;
    }
};

// How the fake provider answers the next request.
struct Reply {
    int status = 200;
    std::string body;
    std::chrono::milliseconds delay{0};
    bool dropMidway = false;
};

// The three providers' APIs played by one loopback server that the base-URL overrides point at.
class ChatGPTServiceTest : public testing::Test {
  protected:
    static constexpr auto kShortTimeout = std::chrono::milliseconds(300);

    void SetUp() override {
        server.http().Post(".*", [this](const httplib::Request& request, httplib::Response& out) {
            answer(request, out);
        });
        server.start();
        for (const auto provider : kAllAIProviders) {
            processInfo.environment[std::string(baseURLEnvironmentVariable(provider))] =
                server.url();
        }
        settings.set(keys::siriChatGPTEnabledKey, true);
    }

    void select(AIProvider provider, std::string_view model, std::string_view key = "sk-test") {
        settings.set(keys::aiProviderKey, std::string(rawValue(provider)));
        settings.set(keys::chatGPTModelKey, std::string(model));
        ASSERT_TRUE(keyStore.saveAPIKey(key, provider));
    }

    void replyWith(Reply next) {
        std::scoped_lock lock(mutex);
        reply = std::move(next);
    }

    std::vector<ReceivedRequest> received() {
        std::scoped_lock lock(mutex);
        return requests;
    }

    sim::MemoryDefaults defaults;
    SettingsStore settings{defaults};
    sim::SimKeychain keychain;
    KeychainStore keyStore{keychain};
    posix::CurlHttp http;
    test_support::FakeProcessInfo processInfo;
    sim::MemoryLog log;
    test_support::LoopbackServer server;
    ChatGPTService service{settings, keyStore, http, processInfo, log, kShortTimeout};

  private:
    void answer(const httplib::Request& request, httplib::Response& out) {
        Reply current;
        {
            std::scoped_lock lock(mutex);
            requests.push_back({request.method, request.path, request.headers, request.body});
            current = reply;
        }
        std::this_thread::sleep_for(current.delay);
        out.status = current.status;
        if (!current.dropMidway) {
            out.set_content(current.body, "application/json");
            return;
        }
        out.set_content_provider(
            current.body.size() * 2, "application/json",
            [body = current.body](std::size_t, std::size_t, httplib::DataSink& sink) {
                sink.write(body.data(), body.size());
                return false;
            });
    }

    std::mutex mutex;
    Reply reply;
    std::vector<ReceivedRequest> requests;
};

TEST_F(ChatGPTServiceTest, SendsEachProviderItsRequestAndReadsItsAnswerShape) {
    const std::string question = "  Wie spät ist es? ✓\n";
    struct Case {
        AIProvider provider;
        std::string model;
        std::string path;
        std::string authHeader;
        std::string authValue;
        std::string title;
        json body;
        std::string reply;
        std::string answer;
    };
    const Case cases[] = {
        {AIProvider::openAI,
         "gpt-5.6-luna",
         "/v1/responses",
         "Authorization",
         "Bearer sk-test",
         "<absent>",
         {{"model", "gpt-5.6-luna"}, {"input", question}, {"max_output_tokens", 1200}},
         R"({"output":[{"type":"reasoning","summary":[]},
                       {"type":"message","content":[{"type":"refusal","text":"no"},
                                                    {"type":"output_text","text":""},
                                                    {"type":"output_text","text":" It is noon. "}]}]})",
         " It is noon. "},
        {AIProvider::gemini,
         "gemini-3.8-flash",
         "/v1beta/models/gemini-3.8-flash:generateContent",
         "x-goog-api-key",
         "sk-test",
         "<absent>",
         {{"contents", {{{"parts", {{{"text", question}}}}}}},
          {"generationConfig", {{"maxOutputTokens", 1200}}}},
         R"({"candidates":[{"content":{"parts":[{"text":"one"},{"inlineData":{}},{"text":"two"},
                                                {"text":"three"}]}}]})",
         "one\ntwo\nthree"},
        {AIProvider::openRouter,
         "openrouter/free",
         "/api/v1/chat/completions",
         "Authorization",
         "Bearer sk-test",
         "ParvelMac",
         {{"model", "openrouter/free"},
          {"messages", {{{"role", "user"}, {"content", question}}}},
          {"max_tokens", 1200}},
         R"({"choices":[{"message":{"role":"assistant","content":"Noon."}}]})",
         "Noon."},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(rawValue(testCase.provider));
        select(testCase.provider, testCase.model);
        replyWith({.body = testCase.reply});
        const auto before = received().size();

        const auto answer = service.ask(question);

        ASSERT_TRUE(answer.has_value()) << answer.error().description;
        EXPECT_EQ(*answer, testCase.answer);
        const auto all = received();
        ASSERT_EQ(all.size(), before + 1);
        const auto& request = all.back();
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.path, testCase.path);
        EXPECT_EQ(request.header("Content-Type"), "application/json");
        EXPECT_EQ(request.header(testCase.authHeader), testCase.authValue);
        EXPECT_EQ(request.header("X-Title"), testCase.title);
        const auto sent = json::parse(request.body);
        EXPECT_EQ(sent, testCase.body);
        EXPECT_EQ(request.body, sent.dump()) << "compact JSON";
        EXPECT_TRUE(log.contains(fmt::format("ParvelMac: {} requests go to {} ({} is set)",
                                             rawValue(testCase.provider), server.url(),
                                             baseURLEnvironmentVariable(testCase.provider))));
    }
}

TEST_F(ChatGPTServiceTest, RefusedOrUnreadableAnswersBecomeErrorsNeverGuesses) {
    const std::string invalid = "The AI provider returned a response ParvelMac could not read.";
    struct Case {
        AIProvider provider;
        int status;
        std::string body;
        Error expected;
    };
    const Error notJSON{"NSCocoaErrorDomain", 3840, ""};
    const Case cases[] = {
        {AIProvider::openAI, 401, R"({"error":"bad key"})",
         serverError("OpenAI request failed with HTTP 401.")},
        {AIProvider::openRouter, 429, "", serverError("OpenRouter request failed with HTTP 429.")},
        {AIProvider::gemini, 500, R"({"candidates":[{"content":{"parts":[{"text":"hi"}]}}]})",
         serverError("Gemini request failed with HTTP 500.")},
        {AIProvider::openRouter, 200, R"({"choices":[]})", invalidResponseError()},
        {AIProvider::openRouter, 200, R"({"choices":[{"message":{"content":""}}]})",
         invalidResponseError()},
        {AIProvider::openRouter, 200, R"({"choices":[{"message":{"content":42}}]})",
         invalidResponseError()},
        {AIProvider::openAI, 200, "[1,2]", invalidResponseError()},
        {AIProvider::openAI, 200, R"({"output":[{"type":"reasoning"}]})", invalidResponseError()},
        {AIProvider::gemini, 200, R"({"candidates":[]})", invalidResponseError()},
        {AIProvider::gemini, 200, R"({"candidates":[{"content":{"parts":[{"inlineData":{}}]}}]})",
         invalidResponseError()},
        {AIProvider::gemini, 200, "<html>Service Unavailable</html>", notJSON},
        {AIProvider::openAI, 200, "", notJSON},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.body);
        select(testCase.provider, defaultModel(testCase.provider));
        replyWith({.status = testCase.status, .body = testCase.body});

        const auto answer = service.ask("Hi");

        ASSERT_FALSE(answer.has_value());
        EXPECT_EQ(answer.error().domain, testCase.expected.domain);
        EXPECT_EQ(answer.error().code, testCase.expected.code);
        if (testCase.expected.domain == kChatGPTErrorDomain) {
            EXPECT_EQ(answer.error().description, testCase.expected.description);
        } else {
            EXPECT_TRUE(answer.error().description.starts_with(
                "The AI provider's answer is not valid JSON"))
                << answer.error().description;
        }
    }
    EXPECT_EQ(invalidResponseError().description, invalid);
}

TEST_F(ChatGPTServiceTest, TransportFailuresArriveAsTheHttpClientReportsThem) {
    select(AIProvider::gemini, "gemini-3.5-flash-lite");
    replyWith({.body = R"({"candidates":[]})", .delay = kShortTimeout * 4});
    EXPECT_EQ(service.ask("slow").error(),
              (Error{"NSURLErrorDomain", -1001, "The request timed out."}));

    replyWith({.body = R"({"candidates":[{"content":{"parts":[{"text":"cut off"}]}}]})",
               .dropMidway = true});
    EXPECT_EQ(service.ask("dropped").error().code, platform::url_error::kNetworkConnectionLost);

    processInfo.environment["PARVELMAC_GEMINI_BASE_URL"] = "http://127.0.0.1:1";
    EXPECT_EQ(service.ask("nobody listens").error().code,
              platform::url_error::kCannotConnectToHost);
}

TEST_F(ChatGPTServiceTest, SwitchedOffItReadsNoKeyAndSendsNothing) {
    select(AIProvider::gemini, "gemini-3.5-flash-lite");
    const int readsBefore = keychain.readCount();
    for (const auto& off :
         {std::optional<platform::PlistValue>(false), std::optional<platform::PlistValue>()}) {
        off ? settings.set(keys::siriChatGPTEnabledKey, *off)
            : settings.remove(keys::siriChatGPTEnabledKey);
        EXPECT_EQ(service.ask("Hi").error(), disabledError());
    }
    EXPECT_EQ(keychain.readCount(), readsBefore);
    EXPECT_TRUE(received().empty());
}

TEST_F(ChatGPTServiceTest, KeysAndModelsAreUsedExactlyAsStored) {
    replyWith({.body = R"({"candidates":[{"content":{"parts":[{"text":"ok"}]}}]})"});

    select(AIProvider::gemini, "gemini-3.5-flash-lite", "");
    EXPECT_EQ(service.ask("empty key").error(), noAPIKeyError());
    keychain.deleteItem(KeychainStore::service(AIProvider::gemini),
                        KeychainStore::account(AIProvider::gemini));
    EXPECT_EQ(service.ask("no key").error(), noAPIKeyError());
    EXPECT_TRUE(received().empty());

    select(AIProvider::gemini, "gemini-3.5-flash-lite", "   ");
    EXPECT_TRUE(service.ask("spaces")) << "a key of blanks is a key";
    EXPECT_EQ(received().size(), 1U);

    ASSERT_TRUE(keyStore.saveAPIKey("gemini-key", AIProvider::gemini));
    ASSERT_TRUE(keyStore.saveAPIKey("openrouter-key", AIProvider::openRouter));
    settings.set(keys::aiProviderKey, "Claude (Paid)");
    ASSERT_TRUE(service.ask("unknown provider"));
    EXPECT_EQ(received().back().header("x-goog-api-key"), "gemini-key");
    settings.remove(keys::aiProviderKey);
    ASSERT_TRUE(service.ask("no provider stored"));
    EXPECT_EQ(received().back().header("x-goog-api-key"), "gemini-key");

    replyWith({.body = R"({"output":[{"content":[{"type":"output_text","text":"ok"}]}]})"});
    select(AIProvider::openAI, "gemini-3.5-flash-lite");
    ASSERT_TRUE(service.ask("foreign model"));
    EXPECT_EQ(json::parse(received().back().body)["model"], "gemini-3.5-flash-lite");
    settings.remove(keys::chatGPTModelKey);
    ASSERT_TRUE(service.ask("no model stored"));
    EXPECT_EQ(json::parse(received().back().body)["model"], "gpt-5.6-luna");
}

TEST_F(ChatGPTServiceTest, RequestsThatCannotBeFormedAreNotSent) {
    select(AIProvider::gemini, "../v1/files?alt=");
    EXPECT_EQ(service.ask("Hi").error().code, platform::url_error::kBadURL);
    select(AIProvider::openAI, "gpt-5.6-luna");
    EXPECT_EQ(service.ask("broken \xff text").error().code, json_error::kUnwritable);
    EXPECT_TRUE(received().empty());
}

TEST(AIProviderTest, FallbacksDifferBetweenRequestsAndKeyPages) {
    EXPECT_EQ(requestProvider("OpenAI"), AIProvider::openAI);
    EXPECT_EQ(requestProvider("openai"), AIProvider::gemini);
    EXPECT_EQ(keyPageProvider("OpenAI"), AIProvider::openAI);
    EXPECT_EQ(keyPageProvider("openai"), AIProvider::openRouter);
    EXPECT_EQ(apiKeyPageURL(keyPageProvider("")), "https://openrouter.ai/settings/keys");
}

TEST(AIProviderTest, PublicHostsUnlessTheEnvironmentSaysOtherwise) {
    test_support::FakeProcessInfo processInfo;
    sim::MemoryLog log;
    EXPECT_EQ(apiBaseURL(AIProvider::openAI, processInfo, log), "https://api.openai.com");
    processInfo.environment["PARVELMAC_OPENAI_BASE_URL"] = "";
    EXPECT_EQ(apiBaseURL(AIProvider::openAI, processInfo, log), "https://api.openai.com");
    EXPECT_TRUE(log.lines().empty());

    processInfo.environment["PARVELMAC_OPENAI_BASE_URL"] = "http://proxy.local:8080/";
    EXPECT_EQ(apiBaseURL(AIProvider::openAI, processInfo, log), "http://proxy.local:8080");
    EXPECT_EQ(apiBaseURL(AIProvider::gemini, processInfo, log),
              "https://generativelanguage.googleapis.com");
    EXPECT_EQ(log.lines(), std::vector<std::string>{"ParvelMac: OpenAI requests go to "
                                                    "http://proxy.local:8080 "
                                                    "(PARVELMAC_OPENAI_BASE_URL is set)"});
}

}  // namespace
}  // namespace parvel
