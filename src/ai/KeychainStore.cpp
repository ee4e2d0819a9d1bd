#include "ai/KeychainStore.h"

#include <fmt/format.h>

#include "base/Utf8.h"

namespace parvel {

namespace status = platform::keychain_status;

namespace {

// The system's own wording for the statuses a secret store reports.
std::string describeStatus(platform::KeychainStatus code) {
    switch (code) {
        case status::kDuplicateItem:
            return "The specified item already exists in the keychain.";
        case status::kItemNotFound:
            return "The specified item could not be found in the keychain.";
        case status::kInteractionNotAllowed:
            return "User interaction is not allowed.";
        case status::kNotAvailable:
            return "No keychain is available. You may need to restart your computer.";
        default:
            return fmt::format("The operation couldn\u2019t be completed. (OSStatus error {}.)",
                               code);
    }
}

}  // namespace

KeychainStore::KeychainStore(platform::Keychain& keychain) : keychain_(keychain) {}

Result<void> KeychainStore::saveAPIKey(std::string_view key, AIProvider provider) const {
    // Delete-then-add rather than update, so the item always carries exactly today's attributes.
    keychain_.deleteItem(service(provider), account(provider));
    const auto added = keychain_.addItem(service(provider), account(provider), toBytes(key));
    if (added != status::kSuccess) {
        return std::unexpected(Error{std::string(kErrorDomain), added, describeStatus(added)});
    }
    return {};
}

std::optional<std::string> KeychainStore::loadAPIKey(AIProvider provider) const {
    const auto data = keychain_.copyItemData(service(provider), account(provider));
    if (!data) {
        return std::nullopt;
    }
    auto key = toString(*data);
    if (!isValidUtf8(key)) {
        return std::nullopt;
    }
    return key;
}

std::string_view KeychainStore::service(AIProvider provider) {
    switch (provider) {
        case AIProvider::openRouter:
            return "com.tarnby.parvelmac.openrouter";
        case AIProvider::gemini:
            return "com.tarnby.parvelmac.gemini";
        case AIProvider::openAI:
            return "com.tarnby.parvelmac.openai";
    }
    return "com.tarnby.parvelmac.gemini";
}

std::string_view KeychainStore::account(AIProvider provider) {
    switch (provider) {
        case AIProvider::openRouter:
            return "OpenRouter API Key";
        case AIProvider::gemini:
            return "Gemini API Key";
        case AIProvider::openAI:
            return "OpenAI API Key";
    }
    return "Gemini API Key";
}

}  // namespace parvel
