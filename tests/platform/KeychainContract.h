#pragma once

#include <memory>
#include <span>
#include <string>

#include <gtest/gtest.h>

#include "platform/Keychain.h"

// What every Keychain adapter must do. A factory type gives `make()` (static or not), returning a
// keychain in which the contract's items do not exist yet.
namespace parvel::contract {

namespace status = platform::keychain_status;

template <typename Factory>
class KeychainContract : public testing::Test {
  protected:
    static constexpr std::string_view kService = "com.example.contract";
    static constexpr std::string_view kOtherService = "com.example.contract.other";
    static constexpr std::string_view kAccount = "Contract Key";
    static constexpr std::string_view kOtherAccount = "Other Key";

    // A persistent store keeps items between tests: each test leaves none of its own behind.
    void TearDown() override {
        for (const auto service : {kService, kOtherService}) {
            for (const auto account : {kAccount, kOtherAccount}) {
                keychain.deleteItem(service, account);
            }
        }
    }

    Factory factory;
    std::unique_ptr<platform::Keychain> store = factory.make();
    platform::Keychain& keychain = *store;
};

TYPED_TEST_SUITE_P(KeychainContract);

TYPED_TEST_P(KeychainContract, DataReadsBackByteForByte) {
    const Bytes values[] = {toBytes("sk-proj-abc123"), toBytes("schlüssel 🔑"), Bytes{},
                            Bytes{0x00, 0xFF, 0x80, 0x0A}, Bytes(4096, 0x5A)};
    for (const auto& value : values) {
        ASSERT_EQ(this->keychain.addItem(this->kService, this->kAccount, value), status::kSuccess);
        EXPECT_EQ(this->keychain.copyItemData(this->kService, this->kAccount), value);
        EXPECT_EQ(this->keychain.deleteItem(this->kService, this->kAccount), status::kSuccess);
    }
}

TYPED_TEST_P(KeychainContract, AddingOverAnItemIsRefusedAndKeepsIt) {
    ASSERT_EQ(this->keychain.addItem(this->kService, this->kAccount, toBytes("first")),
              status::kSuccess);
    EXPECT_EQ(this->keychain.addItem(this->kService, this->kAccount, toBytes("second")),
              status::kDuplicateItem);
    EXPECT_EQ(this->keychain.copyItemData(this->kService, this->kAccount), toBytes("first"));
}

TYPED_TEST_P(KeychainContract, MissingItemsAreReportedAsNotFound) {
    EXPECT_EQ(this->keychain.copyItemData(this->kService, this->kAccount),
              std::unexpected(status::kItemNotFound));
    EXPECT_EQ(this->keychain.deleteItem(this->kService, this->kAccount), status::kItemNotFound);

    ASSERT_EQ(this->keychain.addItem(this->kService, this->kAccount, toBytes("key")),
              status::kSuccess);
    EXPECT_EQ(this->keychain.deleteItem(this->kService, this->kAccount), status::kSuccess);
    EXPECT_EQ(this->keychain.copyItemData(this->kService, this->kAccount),
              std::unexpected(status::kItemNotFound));
    EXPECT_EQ(this->keychain.deleteItem(this->kService, this->kAccount), status::kItemNotFound);
}

TYPED_TEST_P(KeychainContract, ServiceAndAccountTogetherAddressAnItem) {
    const std::pair<std::string_view, std::string_view> addresses[] = {
        {this->kService, this->kAccount},
        {this->kService, this->kOtherAccount},
        {this->kOtherService, this->kAccount},
    };
    const auto dataOf = [](std::string_view service, std::string_view account) {
        return toBytes(std::string(service) + "|" + std::string(account));
    };
    for (const auto& [service, account] : addresses) {
        ASSERT_EQ(this->keychain.addItem(service, account, dataOf(service, account)),
                  status::kSuccess);
    }
    EXPECT_EQ(this->keychain.deleteItem(this->kService, this->kAccount), status::kSuccess);
    for (const auto& [service, account] : std::span(addresses).subspan(1)) {
        EXPECT_EQ(this->keychain.copyItemData(service, account), dataOf(service, account));
    }
    EXPECT_EQ(this->keychain.copyItemData(this->kOtherService, this->kOtherAccount),
              std::unexpected(status::kItemNotFound));
}

REGISTER_TYPED_TEST_SUITE_P(KeychainContract, DataReadsBackByteForByte,
                            AddingOverAnItemIsRefusedAndKeepsIt, MissingItemsAreReportedAsNotFound,
                            ServiceAndAccountTogetherAddressAnItem);

}  // namespace parvel::contract
