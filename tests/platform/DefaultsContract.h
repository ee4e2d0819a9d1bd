#pragma once

#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "platform/Defaults.h"
#include "support/TemporaryDirectory.h"

// What every Defaults adapter must do. A factory type gives the adapter: `make()` (static or not)
// returns a fresh, empty store. A factory that needs per-test state, such as a directory, keeps
// it in members; the fixture holds one factory for the length of each test.
namespace parvel::contract {

using platform::PlistArray;
using platform::PlistDate;
using platform::PlistDictionary;
using platform::PlistValue;

using test_support::TemporaryDirectory;

// One value of every type, including the edges a store might mangle.
inline std::vector<std::pair<std::string, PlistValue>> valuesOfEveryType() {
    return {
        {"false", false},
        {"true", true},
        {"negative", -5},
        {"smallest", std::numeric_limits<std::int64_t>::min()},
        {"largest", std::numeric_limits<std::int64_t>::max()},
        {"whole real", 2.0},
        {"negative real", -0.5},
        {"empty string", ""},
        {"text", "Grüße ✓ 🎧"},
        {"date", PlistDate{726'000'000.123456}},
        {"date before 2001", PlistDate{-86'400.5}},
        {"empty data", Bytes{}},
        {"data", Bytes{0x00, 0xFF, 0x7F}},
        {"empty array", PlistArray{}},
        {"empty dictionary", PlistDictionary{}},
        {"nested", PlistArray{1, "two", PlistDictionary{{"three", PlistArray{3.5, true}}}}},
    };
}

template <typename Factory>
class DefaultsContract : public testing::Test {
  protected:
    static constexpr std::string_view kDomain = "com.example.contract";

    Factory factory;
    std::unique_ptr<platform::Defaults> store = factory.make();
    platform::Defaults& defaults = *store;
};

TYPED_TEST_SUITE_P(DefaultsContract);

TYPED_TEST_P(DefaultsContract, EveryValueTypeReadsBackExactlyAsStored) {
    const auto values = valuesOfEveryType();
    for (const auto& [key, value] : values) {
        this->defaults.set(this->kDomain, key, value);
    }
    for (const auto& [key, value] : values) {
        const auto stored = this->defaults.object(this->kDomain, key);
        ASSERT_TRUE(stored.has_value()) << key;
        EXPECT_EQ(*stored, value) << key << ": read " << describe(*stored);
    }
}

TYPED_TEST_P(DefaultsContract, AbsentFalseZeroAndEmptyStringAreTold) {
    this->defaults.set(this->kDomain, "false", false);
    this->defaults.set(this->kDomain, "zero", 0);
    this->defaults.set(this->kDomain, "empty", "");

    EXPECT_FALSE(this->defaults.object(this->kDomain, "absent").has_value());
    EXPECT_EQ(this->defaults.object(this->kDomain, "false"), PlistValue(false));
    EXPECT_EQ(this->defaults.object(this->kDomain, "zero"), PlistValue(0));
    EXPECT_EQ(this->defaults.object(this->kDomain, "empty"), PlistValue(""));
}

TYPED_TEST_P(DefaultsContract, StoringAnotherTypeReplacesTheValue) {
    const std::vector<PlistValue> sequence{5, "five", 5.0, true, PlistArray{5}, Bytes{5}};
    for (const auto& value : sequence) {
        this->defaults.set(this->kDomain, "key", value);
        EXPECT_EQ(this->defaults.object(this->kDomain, "key"), value) << describe(value);
    }
}

TYPED_TEST_P(DefaultsContract, RemoveDeletesOnlyThatKeyAndIgnoresAbsentOnes) {
    this->defaults.set(this->kDomain, "gone", 1);
    this->defaults.set(this->kDomain, "kept", 2);
    this->defaults.remove(this->kDomain, "gone");
    this->defaults.remove(this->kDomain, "never stored");

    EXPECT_FALSE(this->defaults.object(this->kDomain, "gone").has_value());
    EXPECT_EQ(this->defaults.snapshot(this->kDomain), (PlistDictionary{{"kept", 2}}));
}

TYPED_TEST_P(DefaultsContract, DomainsAreIndependentAndSnapshotsHoldOnlyTheirOwnKeys) {
    this->defaults.set("com.example.one", "shared", 1);
    this->defaults.set("com.example.one", "only one", true);
    this->defaults.set("com.example.two", "shared", "two");
    this->defaults.remove("com.example.one", "shared");

    EXPECT_EQ(this->defaults.snapshot("com.example.one"), (PlistDictionary{{"only one", true}}));
    EXPECT_EQ(this->defaults.snapshot("com.example.two"), (PlistDictionary{{"shared", "two"}}));
    EXPECT_TRUE(this->defaults.snapshot("com.example.unknown").empty());
}

TYPED_TEST_P(DefaultsContract, ConcurrentWritersOfOneDomainLoseNothing) {
    constexpr int kWriters = 2;
    constexpr int kKeysEach = 500;
    std::vector<std::thread> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back([this, writer] {
            for (int index = 0; index < kKeysEach; ++index) {
                this->defaults.set(this->kDomain,
                                   std::to_string(writer) + "-" + std::to_string(index), index);
            }
        });
    }
    for (auto& writer : writers) {
        writer.join();
    }

    const auto all = this->defaults.snapshot(this->kDomain);
    ASSERT_EQ(all.size(), std::size_t{kWriters * kKeysEach});
    for (int writer = 0; writer < kWriters; ++writer) {
        for (int index = 0; index < kKeysEach; ++index) {
            EXPECT_EQ(all.at(std::to_string(writer) + "-" + std::to_string(index)),
                      PlistValue(index));
        }
    }
}

REGISTER_TYPED_TEST_SUITE_P(DefaultsContract, EveryValueTypeReadsBackExactlyAsStored,
                            AbsentFalseZeroAndEmptyStringAreTold,
                            StoringAnotherTypeReplacesTheValue,
                            RemoveDeletesOnlyThatKeyAndIgnoresAbsentOnes,
                            DomainsAreIndependentAndSnapshotsHoldOnlyTheirOwnKeys,
                            ConcurrentWritersOfOneDomainLoseNothing);

}  // namespace parvel::contract
