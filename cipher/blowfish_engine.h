#pragma once
// The Blowfish engine: 16 rounds over an 18-word P-array and four S-boxes.
//
// The four S-boxes are views on one table of 1024 words: S-box k, entry x is
// table word k + 4x. The table is loaded with the published constants in their
// published (box after box) order, so the boxes start out holding the
// published words dealt out in turn. This layout is what every archive and
// text this program has ever written was made with; a "corrected" layout
// would read none of them.
#include <array>
#include <cstdint>
#include <span>

#include "blowfish_constants.h"

namespace morvane::blowfish {

struct Tables {
    std::array<std::uint32_t, kPWords> P;
    std::array<std::uint32_t, kSWords> S;
};

// Tables as a fresh cipher object starts with them.
Tables initialTables();

// S-box k, entry x.
inline std::uint32_t sBox(const Tables& t, unsigned k, std::uint32_t x) { return t.S[k + 4 * x]; }

// Keeps the compiler from re-associating an XOR with a P word back onto the
// dependency chain of a round.
inline std::uint32_t foldWord(std::uint32_t w) {
#if defined(__GNUC__)
    asm("" : "+r"(w));
#endif
    return w;
}

// F: ((S0[a] + S1[b]) xor S2[c]) + S3[d], with a the most significant byte.
inline std::uint32_t roundFunction(const Tables& t, std::uint32_t x) {
    const std::uint32_t a = x >> 24, b = (x >> 16) & 0xFF, c = (x >> 8) & 0xFF, d = x & 0xFF;
    return ((sBox(t, 0, a) + sBox(t, 1, b)) ^ sBox(t, 2, c)) + sBox(t, 3, d);
}

// The 16 rounds on a block whose left half already carries P[0]. Each round:
// L ^= P[i]; R ^= F(L); R ^= P[i+1]; L ^= F(R). The P word is folded into the
// half that is not being computed, so only one XOR follows each F on the
// block's dependency chain (CBC enciphering is one long chain). On return l
// carries P[16] and r still lacks P[17].
inline void encipherRounds(const Tables& t, std::uint32_t& l, std::uint32_t& r) {
#pragma GCC unroll 8
    for (unsigned i = 0; i < 16; i += 2) {
        r = foldWord(r ^ t.P[i + 1]) ^ roundFunction(t, l);
        l = foldWord(l ^ t.P[i + 2]) ^ roundFunction(t, r);
    }
}

inline void encipherBlock(const Tables& t, std::uint32_t& L, std::uint32_t& R) {
    std::uint32_t l = L ^ t.P[0], r = R;
    encipherRounds(t, l, r);
    R = l;
    L = r ^ t.P[17];
}

inline void decipherBlock(const Tables& t, std::uint32_t& L, std::uint32_t& R) {
    std::uint32_t r = L ^ t.P[17];
    std::uint32_t l = R ^ t.P[16];
    for (int i = 14; i >= 0; i -= 2) {
        l ^= roundFunction(t, r);
        r ^= t.P[i + 1];
        r ^= roundFunction(t, l);
        l ^= t.P[i];
    }
    L = l;
    R = r;
}

// Mixes the key bytes into the tables as they stand (not into fresh
// constants), then re-derives P and every S-box entry. An empty key is never
// scheduled by the cipher object, so `keyBytes` is not empty here.
void scheduleKey(Tables& t, std::span<const std::uint8_t> keyBytes);

}  // namespace morvane::blowfish
