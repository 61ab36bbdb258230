#pragma once
// The zip format's record signatures and sizes, and its little-endian fields,
// as the directory reader and the read-back check meet them.
#include <cstddef>
#include <cstdint>

namespace morvane::zipformat {

inline constexpr std::uint32_t kLocalHeader = 0x04034B50;
inline constexpr std::uint32_t kCentralHeader = 0x02014B50;
inline constexpr std::uint32_t kEndRecord = 0x06054B50;
inline constexpr std::uint32_t kZip64EndRecord = 0x06064B50;
inline constexpr std::uint32_t kZip64Locator = 0x07064B50;
inline constexpr std::size_t kLocalHeaderBytes = 30;
inline constexpr std::size_t kCentralHeaderBytes = 46;
inline constexpr std::size_t kEndRecordBytes = 22;
inline constexpr std::uint16_t kMadeOnUnix = 3;  // the high byte of "version made by"
inline constexpr std::uint16_t kStored = 0;
inline constexpr std::uint16_t kDeflated = 8;
inline constexpr std::uint16_t kWinZipAes = 99;

inline std::uint16_t u16(const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] | (p[1] << 8)); }
inline std::uint32_t u32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}
inline std::uint64_t u64(const std::uint8_t* p) { return u32(p) | (static_cast<std::uint64_t>(u32(p + 4)) << 32); }

}  // namespace morvane::zipformat
