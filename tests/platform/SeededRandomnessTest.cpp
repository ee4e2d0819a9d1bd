#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/posix/SeededRandomness.h"

namespace parvel::posix {
namespace {

constexpr std::size_t kDraws = 256;

std::vector<std::uint64_t> draw(platform::Randomness& randomness, std::size_t count) {
    std::vector<std::uint64_t> values(count);
    std::ranges::generate(values, [&] { return randomness.next(); });
    return values;
}

TEST(SeededRandomnessTest, TheSameSeedDrawsTheSameSequenceAndAnotherSeedAnother) {
    SeededRandomness first{42};
    SeededRandomness again{42};
    SeededRandomness other{43};
    const auto sequence = draw(first, kDraws);
    EXPECT_EQ(draw(again, kDraws), sequence);
    EXPECT_NE(draw(other, kDraws), sequence);
}

// Every one of the 64 bits varies: a generator handing out 32-bit values, or a constant, fails.
TEST(SeededRandomnessTest, EveryBitIsSometimesSetAndSometimesClear) {
    SeededRandomness randomness{7};
    std::uint64_t everSet = 0;
    std::uint64_t everClear = 0;
    for (const std::uint64_t value : draw(randomness, kDraws)) {
        everSet |= value;
        everClear |= ~value;
    }
    EXPECT_EQ(everSet, ~std::uint64_t{0});
    EXPECT_EQ(everClear, ~std::uint64_t{0});
}

// As a uniform random bit generator it drives std::shuffle: the same seed, the same order.
TEST(SeededRandomnessTest, ShufflesAreReproducibleFromTheSeed) {
    std::vector<int> ordered(52);
    std::iota(ordered.begin(), ordered.end(), 0);
    const auto shuffled = [&](std::uint64_t seed) {
        SeededRandomness randomness{seed};
        auto deck = ordered;
        std::shuffle(deck.begin(), deck.end(), randomness);
        return deck;
    };
    const auto deck = shuffled(3);
    EXPECT_EQ(shuffled(3), deck);
    EXPECT_NE(deck, ordered);
    EXPECT_TRUE(std::ranges::is_permutation(deck, ordered));
}

// Draws from several threads at once share out one sequence: none lost, none repeated.
TEST(SeededRandomnessTest, ConcurrentDrawsShareOutTheSequence) {
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kPerThread = 2000;
    SeededRandomness shared{11};
    std::vector<std::vector<std::uint64_t>> drawn(kThreads);
    {
        std::vector<std::jthread> threads;
        for (auto& values : drawn) {
            threads.emplace_back([&] { values = draw(shared, kPerThread); });
        }
    }
    std::vector<std::uint64_t> all;
    for (const auto& values : drawn) {
        all.insert(all.end(), values.begin(), values.end());
    }
    SeededRandomness alone{11};
    auto expected = draw(alone, kThreads * kPerThread);
    std::ranges::sort(all);
    std::ranges::sort(expected);
    EXPECT_EQ(all, expected);
}

TEST(SeededRandomnessTest, SystemSeedsDifferFromCallToCall) {
    EXPECT_NE(SeededRandomness::systemSeed(), SeededRandomness::systemSeed());
}

}  // namespace
}  // namespace parvel::posix
