#pragma once
// The zip CRC-32 (the reflected IEEE polynomial, as zlib's crc32), computed
// by ISA-L, which folds the data with carry-less multiplication where the
// processor has it: every byte packed, extracted and read back goes through
// it, and zlib's table-driven loop costs several times as much.
#include <isa-l/crc.h>

#include <cstdint>
#include <span>

namespace morvane {

// `crc` continued over `bytes`; 0 starts a new CRC.
inline std::uint32_t updateCrc32(std::uint32_t crc, std::span<const std::uint8_t> bytes) {
    return bytes.empty() ? crc : ::crc32_gzip_refl(crc, bytes.data(), bytes.size());
}

}  // namespace morvane
