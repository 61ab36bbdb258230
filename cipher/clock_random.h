#pragma once
// The pseudo-random source of the cipher's random first block and of text
// scrambling: a fresh generator seeded from the clock for every use.
#include <cstdint>

namespace morvane {

// Nanoseconds of the system clock: the default seed.
std::uint64_t clockSeed();

using SeedSource = std::uint64_t (*)();

class ClockRandom {
public:
    explicit ClockRandom(std::uint64_t seed) : state_(seed) {}

    // A uniform fraction in [0, 1).
    double nextFraction();

    // A fraction times 2147483647, rounded half to even: 0 to 2147483647.
    std::uint32_t nextWord();

private:
    std::uint64_t state_;
};

}  // namespace morvane
