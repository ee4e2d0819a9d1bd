#pragma once

#include "platform/Keychain.h"

namespace parvel::posix {

// Generic passwords in the desktop's Secret Service (GNOME Keyring, KWallet...) through libsecret,
// in the default collection, addressed by "service" and "account" attributes. The data is stored
// as the secret's bytes. The three operations keep the Keychain's statuses: adding an item that
// exists answers kDuplicateItem, a missing item kItemNotFound, a locked collection
// kInteractionNotAllowed and an unreachable service kNotAvailable. Blocking; any thread.
class SecretServiceKeychain final : public platform::Keychain {
  public:
    platform::KeychainStatus deleteItem(std::string_view service,
                                        std::string_view account) override;
    // Checks for an existing item first, because the Secret Service itself would replace it;
    // two processes adding the same item at the same moment can still both succeed.
    platform::KeychainStatus addItem(std::string_view service, std::string_view account,
                                     const Bytes& data) override;
    [[nodiscard]] std::expected<Bytes, platform::KeychainStatus> copyItemData(
        std::string_view service, std::string_view account) override;
};

}  // namespace parvel::posix
