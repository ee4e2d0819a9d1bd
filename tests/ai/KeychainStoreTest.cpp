#include <gtest/gtest.h>

#include "ai/KeychainStore.h"
#include "platform/sim/SimKeychain.h"
#include "platform/sim/Trace.h"
#include "platform/sim/VirtualDispatch.h"

namespace parvel {
namespace {

class KeychainStoreTest : public testing::Test {
  protected:
    sim::VirtualDispatch clock;
    sim::Trace trace{clock};
    sim::SimKeychain keychain{&trace};
    KeychainStore store{keychain};
};

TEST_F(KeychainStoreTest, EachProviderHasOneItemAtItsOwnAddress) {
    struct Case {
        AIProvider provider;
        std::string service;
        std::string account;
    };
    const Case cases[] = {
        {AIProvider::openRouter, "com.tarnby.parvelmac.openrouter", "OpenRouter API Key"},
        {AIProvider::gemini, "com.tarnby.parvelmac.gemini", "Gemini API Key"},
        {AIProvider::openAI, "com.tarnby.parvelmac.openai", "OpenAI API Key"},
    };
    for (const auto& testCase : cases) {
        ASSERT_TRUE(store.saveAPIKey("first " + testCase.service, testCase.provider));
        ASSERT_TRUE(store.saveAPIKey("second " + testCase.service, testCase.provider));
        EXPECT_TRUE(keychain.containsItem(testCase.service, testCase.account));
    }
    EXPECT_EQ(keychain.itemCount(), 3U);
    for (const auto& testCase : cases) {
        EXPECT_EQ(store.loadAPIKey(testCase.provider), "second " + testCase.service);
    }
}

TEST_F(KeychainStoreTest, KeysComeBackExactlyAsSaved) {
    for (const std::string key : {"", "   ", "schlüssel-🔑-ключ", "sk-or-v1-0123456789abcdef"}) {
        ASSERT_TRUE(store.saveAPIKey(key, AIProvider::gemini));
        EXPECT_EQ(store.loadAPIKey(AIProvider::gemini), key);
    }
}

TEST_F(KeychainStoreTest, ARefusedSaveReportsTheStatusAndTheOldKeyIsGone) {
    ASSERT_TRUE(store.saveAPIKey("old", AIProvider::openAI));
    keychain.failNextAdd(-25293);

    const auto saved = store.saveAPIKey("new", AIProvider::openAI);

    ASSERT_FALSE(saved.has_value());
    EXPECT_EQ(saved.error(),
              (Error{"NSOSStatusErrorDomain", -25293,
                     "The operation couldn\u2019t be completed. (OSStatus error -25293.)"}));
    EXPECT_EQ(store.loadAPIKey(AIProvider::openAI), std::nullopt);
}

TEST_F(KeychainStoreTest, UnreadableItemsLoadAsNoKey) {
    keychain.addItem("com.tarnby.parvelmac.gemini", "Gemini API Key", Bytes{0x73, 0x6B, 0xFF});
    EXPECT_EQ(store.loadAPIKey(AIProvider::gemini), std::nullopt) << "not UTF-8";
    EXPECT_EQ(store.loadAPIKey(AIProvider::openAI), std::nullopt) << "never saved";

    ASSERT_TRUE(store.saveAPIKey("key", AIProvider::openAI));
    keychain.setLocked(true);
    EXPECT_EQ(store.loadAPIKey(AIProvider::openAI), std::nullopt) << "locked";
    EXPECT_EQ(store.saveAPIKey("key", AIProvider::openAI).error().code, -25308);
}

TEST_F(KeychainStoreTest, TheTraceNamesItemsButNeverHoldsAKey) {
    ASSERT_TRUE(store.saveAPIKey("sk-secret", AIProvider::gemini));
    store.loadAPIKey(AIProvider::gemini);

    EXPECT_EQ(trace.texts("keychain"),
              (std::vector<std::string>{
                  "delete com.tarnby.parvelmac.gemini / Gemini API Key -> -25300",
                  "add com.tarnby.parvelmac.gemini / Gemini API Key",
                  "read com.tarnby.parvelmac.gemini / Gemini API Key",
              }));
    for (const auto& line : trace.lines()) {
        EXPECT_EQ(line.text.find("sk-secret"), std::string::npos) << line.text;
    }
}

}  // namespace
}  // namespace parvel
