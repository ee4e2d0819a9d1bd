#pragma once

#include <cstdint>
#include <expected>
#include <string_view>

#include "base/Bytes.h"

namespace parvel::platform {

using KeychainStatus = std::int32_t;  // OSStatus

namespace keychain_status {
inline constexpr KeychainStatus kSuccess = 0;
inline constexpr KeychainStatus kDuplicateItem = -25299;
inline constexpr KeychainStatus kItemNotFound = -25300;
inline constexpr KeychainStatus kInteractionNotAllowed = -25308;
inline constexpr KeychainStatus kNotAvailable = -25291;
}  // namespace keychain_status

// The secret store of generic passwords addressed by service and account (the macOS Keychain,
// or the desktop's Secret Service elsewhere). Item data is never logged.
class Keychain {
  public:
    virtual ~Keychain() = default;

    // SecItemDelete of the one item; kItemNotFound when there was none.
    virtual KeychainStatus deleteItem(std::string_view service, std::string_view account) = 0;
    // SecItemAdd, readable after the first unlock; kDuplicateItem when one exists already.
    virtual KeychainStatus addItem(std::string_view service, std::string_view account,
                                   const Bytes& data) = 0;
    // SecItemCopyMatching of the one item's data.
    [[nodiscard]] virtual std::expected<Bytes, KeychainStatus> copyItemData(
        std::string_view service, std::string_view account) = 0;
};

}  // namespace parvel::platform
