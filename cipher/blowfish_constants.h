#pragma once
// The published Blowfish constants, in their published order.
#include <array>
#include <cstddef>
#include <cstdint>

namespace morvane::blowfish {

inline constexpr std::size_t kPWords = 18;
inline constexpr std::size_t kSWords = 1024;

extern const std::array<std::uint32_t, kPWords> kInitialP;
extern const std::array<std::uint32_t, kSWords> kInitialS;

}  // namespace morvane::blowfish
