#pragma once

#include <cstdint>
#include <mutex>
#include <random>

#include "platform/Randomness.h"

namespace parvel::posix {

// Randomness from a 64-bit Mersenne Twister behind a lock. The host seeds it from the system's
// entropy; the simulated Mac and tests seed it with a fixed number, so every run draws the same
// sequence.
class SeededRandomness final : public platform::Randomness {
  public:
    explicit SeededRandomness(std::uint64_t seed);

    // 64 bits from std::random_device, for a sequence no run repeats.
    static std::uint64_t systemSeed();

    std::uint64_t next() override;

  private:
    std::mutex mutex_;
    std::mt19937_64 engine_;
};

}  // namespace parvel::posix
