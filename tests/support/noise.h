#pragma once
// Bytes that do not compress (xorshift), the same for the same seed, so an
// archive is as large as its files.
#include <cstdint>
#include <string>

namespace morvane::testing {

inline std::string noise(std::size_t size, std::uint32_t seed = 0x2545F491u) {
    std::string text(size, '\0');
    std::uint32_t x = seed;
    for (char& c : text) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        c = static_cast<char>(x >> 24);
    }
    return text;
}

}  // namespace morvane::testing
