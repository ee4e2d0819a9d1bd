#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ai/AIProvider.h"
#include "base/Error.h"
#include "platform/Keychain.h"

namespace parvel {

// One API key per AI provider, kept in the secret store and never in the settings or a file.
// Holds no state of its own; safe from any thread.
class KeychainStore {
  public:
    // The error domain of a failed save; the code is the secret store's status.
    static constexpr std::string_view kErrorDomain = "NSOSStatusErrorDomain";

    explicit KeychainStore(platform::Keychain& keychain);

    // Replaces the provider's key with `key` exactly as given (callers trim). When the store
    // refuses the new item, the old key is gone already and the status comes back as the error.
    Result<void> saveAPIKey(std::string_view key, AIProvider provider) const;
    // The provider's key; nothing when none is stored, the store cannot be read or the stored
    // data is not UTF-8 text.
    std::optional<std::string> loadAPIKey(AIProvider provider) const;

    // Where a provider's key lives: "com.tarnby.parvelmac.gemini" / "Gemini API Key"...
    static std::string_view service(AIProvider provider);
    static std::string_view account(AIProvider provider);

  private:
    platform::Keychain& keychain_;
};

}  // namespace parvel
