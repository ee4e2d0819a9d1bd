#include "platform/sim/SimKeychain.h"

#include <fmt/format.h>

#include "platform/sim/Trace.h"

namespace parvel::sim {

namespace status = platform::keychain_status;
using platform::KeychainStatus;

SimKeychain::SimKeychain(Trace* trace) : trace_(trace) {}

KeychainStatus SimKeychain::deleteItem(std::string_view service, std::string_view account) {
    KeychainStatus result = status::kSuccess;
    {
        std::scoped_lock lock(mutex_);
        if (locked_) {
            result = status::kInteractionNotAllowed;
        } else if (items_.erase(keyOf(service, account)) == 0) {
            result = status::kItemNotFound;
        }
    }
    record("delete", service, account, result);
    return result;
}

KeychainStatus SimKeychain::addItem(std::string_view service, std::string_view account,
                                    const Bytes& data) {
    KeychainStatus result = status::kSuccess;
    {
        std::scoped_lock lock(mutex_);
        if (locked_) {
            result = status::kInteractionNotAllowed;
        } else if (nextAddFailure_) {
            result = *std::exchange(nextAddFailure_, std::nullopt);
        } else if (!items_.try_emplace(keyOf(service, account), data).second) {
            result = status::kDuplicateItem;
        }
    }
    record("add", service, account, result);
    return result;
}

std::expected<Bytes, KeychainStatus> SimKeychain::copyItemData(std::string_view service,
                                                               std::string_view account) {
    std::expected<Bytes, KeychainStatus> result = std::unexpected(status::kItemNotFound);
    {
        std::scoped_lock lock(mutex_);
        ++readCount_;
        const auto found = items_.find(keyOf(service, account));
        if (locked_) {
            result = std::unexpected(status::kInteractionNotAllowed);
        } else if (found != items_.end()) {
            result = found->second;
        }
    }
    record("read", service, account, result ? status::kSuccess : result.error());
    return result;
}

void SimKeychain::failNextAdd(KeychainStatus failure) {
    std::scoped_lock lock(mutex_);
    nextAddFailure_ = failure;
}

void SimKeychain::setLocked(bool locked) {
    std::scoped_lock lock(mutex_);
    locked_ = locked;
}

std::size_t SimKeychain::itemCount() const {
    std::scoped_lock lock(mutex_);
    return items_.size();
}

bool SimKeychain::containsItem(std::string_view service, std::string_view account) const {
    std::scoped_lock lock(mutex_);
    return items_.contains(keyOf(service, account));
}

int SimKeychain::readCount() const {
    std::scoped_lock lock(mutex_);
    return readCount_;
}

SimKeychain::ItemKey SimKeychain::keyOf(std::string_view service, std::string_view account) {
    return {std::string(service), std::string(account)};
}

void SimKeychain::record(std::string_view operation, std::string_view service,
                         std::string_view account, KeychainStatus result) {
    if (trace_ == nullptr) {
        return;
    }
    const auto outcome = result == status::kSuccess ? "" : fmt::format(" -> {}", result);
    trace_->record("keychain", fmt::format("{} {} / {}{}", operation, service, account, outcome));
}

}  // namespace parvel::sim
