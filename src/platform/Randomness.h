#pragma once

#include <cstdint>
#include <limits>

namespace parvel::platform {

// Random bits, for whatever differs from run to run on a real Mac: identifiers, shuffles. Behaviour
// draws them only from here, as it reads the time only from Dispatch, so that the simulated Mac and
// tests can fix the sequence and a run replays exactly.
//
// It is also a uniform random bit generator: std::shuffle and the <random> distributions take it
// as it is.
class Randomness {
  public:
    using result_type = std::uint64_t;

    virtual ~Randomness() = default;

    // 64 uniformly distributed bits. Callable from any thread.
    virtual std::uint64_t next() = 0;

    static constexpr result_type min() { return 0; }
    static constexpr result_type max() { return std::numeric_limits<result_type>::max(); }
    result_type operator()() { return next(); }
};

}  // namespace parvel::platform
