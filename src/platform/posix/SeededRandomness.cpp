#include "platform/posix/SeededRandomness.h"

namespace parvel::posix {

SeededRandomness::SeededRandomness(std::uint64_t seed) : engine_(seed) {}

std::uint64_t SeededRandomness::systemSeed() {
    std::random_device device;
    std::uint64_t seed = 0;
    // random_device gives 32 bits at a time.
    for (int half = 0; half < 2; ++half) {
        seed = (seed << 32) | device();
    }
    return seed;
}

std::uint64_t SeededRandomness::next() {
    const std::lock_guard lock(mutex_);
    return engine_();
}

}  // namespace parvel::posix
