#pragma once
// Byte-order helpers. Block halves travel most significant byte first; the
// size descriptor and the random words of a cipher buffer least significant
// byte first.
#include <cstdint>

namespace morvane {

inline std::uint32_t loadBigEndian32(const std::uint8_t* p) {
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) | std::uint32_t{p[3]};
}

inline void storeBigEndian32(std::uint8_t* p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v >> 24);
    p[1] = static_cast<std::uint8_t>(v >> 16);
    p[2] = static_cast<std::uint8_t>(v >> 8);
    p[3] = static_cast<std::uint8_t>(v);
}

inline std::uint32_t loadLittleEndian32(const std::uint8_t* p) {
    return std::uint32_t{p[0]} | (std::uint32_t{p[1]} << 8) | (std::uint32_t{p[2]} << 16) | (std::uint32_t{p[3]} << 24);
}

inline void storeLittleEndian32(std::uint8_t* p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
    p[2] = static_cast<std::uint8_t>(v >> 16);
    p[3] = static_cast<std::uint8_t>(v >> 24);
}

inline void storeLittleEndian64(std::uint8_t* p, std::uint64_t v) {
    storeLittleEndian32(p, static_cast<std::uint32_t>(v));
    storeLittleEndian32(p + 4, static_cast<std::uint32_t>(v >> 32));
}

}  // namespace morvane
