#include "clock_random.h"

#include <chrono>

#include "progress_meter.h"

namespace morvane {

std::uint64_t clockSeed() {
    return static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count()) ^
           static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

double ClockRandom::nextFraction() {
    // splitmix64: a full-period 64-bit sequence; 53 bits make the fraction.
    state_ += 0x9E3779B97F4A7C15ULL;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    z ^= z >> 31;
    return static_cast<double>(z >> 11) * 0x1.0p-53;
}

std::uint32_t ClockRandom::nextWord() {
    return static_cast<std::uint32_t>(blowfish::roundHalfEven(nextFraction() * 2147483647.0));
}

}  // namespace morvane
