#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/Keychain.h"

namespace parvel::sim {

class Trace;

// The simulated Mac's login keychain: generic-password items by service and account, in memory.
// Tests and scenarios can make it refuse the next add or lock it, and look at what it holds.
// Operations go to the trace (when given) with their service and account, never their data.
class SimKeychain final : public platform::Keychain {
  public:
    explicit SimKeychain(Trace* trace = nullptr);

    platform::KeychainStatus deleteItem(std::string_view service,
                                        std::string_view account) override;
    platform::KeychainStatus addItem(std::string_view service, std::string_view account,
                                     const Bytes& data) override;
    [[nodiscard]] std::expected<Bytes, platform::KeychainStatus> copyItemData(
        std::string_view service, std::string_view account) override;

    // The next add fails with `status` and stores nothing; later adds work again.
    void failNextAdd(platform::KeychainStatus status);
    // A locked keychain refuses every operation with kInteractionNotAllowed, as it does for
    // background work before the first unlock.
    void setLocked(bool locked);

    std::size_t itemCount() const;
    bool containsItem(std::string_view service, std::string_view account) const;
    // How many times item data was asked for, answered or not.
    int readCount() const;

  private:
    using ItemKey = std::pair<std::string, std::string>;

    static ItemKey keyOf(std::string_view service, std::string_view account);
    void record(std::string_view operation, std::string_view service, std::string_view account,
                platform::KeychainStatus status);

    Trace* trace_;
    mutable std::mutex mutex_;
    std::map<ItemKey, Bytes> items_;
    std::optional<platform::KeychainStatus> nextAddFailure_;
    bool locked_ = false;
    int readCount_ = 0;
};

}  // namespace parvel::sim
