#include "blowfish_engine.h"

namespace morvane::blowfish {

Tables initialTables() {
    Tables t;
    t.P = kInitialP;
    t.S = kInitialS;
    return t;
}

void scheduleKey(Tables& t, std::span<const std::uint8_t> keyBytes) {
    const std::size_t n = keyBytes.size();
    std::size_t j = 0;
    for (std::size_t i = 0; i < kPWords; ++i) {
        std::uint32_t w = 0;
        for (int k = 0; k < 4; ++k) {
            w = (w << 8) | keyBytes[j];
            if (++j == n) j = 0;
        }
        t.P[i] ^= w;
    }

    std::uint32_t L = 0, R = 0;
    for (std::size_t i = 0; i < kPWords; i += 2) {
        encipherBlock(t, L, R);
        t.P[i] = L;
        t.P[i + 1] = R;
    }
    for (unsigned k = 0; k < 4; ++k) {
        for (std::uint32_t x = 0; x < 256; x += 2) {
            encipherBlock(t, L, R);
            t.S[k + 4 * x] = L;
            t.S[k + 4 * (x + 1)] = R;
        }
    }
}

}  // namespace morvane::blowfish
