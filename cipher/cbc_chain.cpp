#include "cbc_chain.h"

#include "byte_order.h"

namespace morvane::blowfish {
namespace {

// Blocks deciphered side by side: enough to hide the latency of the S-box
// look-ups of one block behind the others.
constexpr std::size_t kLanes = 4;

inline void decipherLanes(const Tables& t, std::uint32_t (&L)[kLanes], std::uint32_t (&R)[kLanes]) {
    std::uint32_t l[kLanes], r[kLanes];
#pragma GCC unroll 4
    for (std::size_t k = 0; k < kLanes; ++k) {
        r[k] = L[k] ^ t.P[17];
        l[k] = R[k] ^ t.P[16];
    }
#pragma GCC unroll 8
    for (int i = 14; i >= 0; i -= 2) {
#pragma GCC unroll 4
        for (std::size_t k = 0; k < kLanes; ++k) l[k] ^= roundFunction(t, r[k]);
#pragma GCC unroll 4
        for (std::size_t k = 0; k < kLanes; ++k) r[k] ^= t.P[i + 1] ^ roundFunction(t, l[k]);
#pragma GCC unroll 4
        for (std::size_t k = 0; k < kLanes; ++k) l[k] ^= t.P[i];
    }
#pragma GCC unroll 4
    for (std::size_t k = 0; k < kLanes; ++k) {
        L[k] = l[k];
        R[k] = r[k];
    }
}

// The chain itself; `nextPlain` yields the plaintext halves of the block at p.
// Between two blocks the previous ciphertext's left half (r ^ P[17]) meets
// the next plaintext half and P[0]; those two are combined first, so a single
// XOR joins the blocks on the chain and the ciphertext store stays off it.
template <class NextPlain>
inline void encipherChain(const Tables& t, std::span<std::uint8_t> blocks, ChainBlock& previous, NextPlain nextPlain) {
    std::uint8_t* p = blocks.data();
    const std::size_t count = blocks.size() / 8;
    const std::uint32_t whitenEdge = t.P[17] ^ t.P[0];
    std::uint32_t r = previous.L ^ t.P[17];  // previous ciphertext left half, without P[17]
    std::uint32_t l = previous.R;            // previous ciphertext right half
    for (std::size_t b = 0; b < count; ++b, p += 8) {
        std::uint32_t plainL, plainR;
        nextPlain(p, plainL, plainR);
        std::uint32_t nextL = r ^ foldWord(plainL ^ whitenEdge);
        std::uint32_t nextR = l ^ plainR;
        encipherRounds(t, nextL, nextR);
        l = nextL;
        r = nextR;
        storeBigEndian32(p, r ^ t.P[17]);
        storeBigEndian32(p + 4, l);
    }
    previous = {r ^ t.P[17], l};
}

}  // namespace

void cbcEncipher(const Tables& t, std::span<std::uint8_t> blocks, ChainBlock& previous) {
    encipherChain(t, blocks, previous, [](const std::uint8_t* p, std::uint32_t& L, std::uint32_t& R) {
        L = loadBigEndian32(p);
        R = loadBigEndian32(p + 4);
    });
}

void cbcEncipherShifted(const Tables& t, std::span<std::uint8_t> blocks, ShiftQueue& queue, ChainBlock& previous) {
    std::uint32_t q0 = queue.words[0], q1 = queue.words[1], q2 = queue.words[2];
    encipherChain(t, blocks, previous, [&](const std::uint8_t* p, std::uint32_t& L, std::uint32_t& R) {
        L = q0;
        R = q1;
        q0 = q2;
        q1 = loadBigEndian32(p);
        q2 = loadBigEndian32(p + 4);
    });
    queue = {{q0, q1, q2}};
}

BlocksAround::BlocksAround(std::uint64_t offset, std::size_t length)
    : from(0), first(offset / 8 * 8), end((offset + length + 7) / 8 * 8), offset(offset), length(length) {
    from = first == 0 ? 0 : first - 8;
}

std::span<const std::uint8_t> cbcDecipherAround(const Tables& t, const BlocksAround& around,
                                                std::span<std::uint8_t> read) {
    ChainBlock previous;
    std::span<std::uint8_t> run = read;
    if (around.first != 0) {
        previous = {loadBigEndian32(read.data()), loadBigEndian32(read.data() + 4)};
        run = run.subspan(8);
    }
    cbcDecipher(t, run, previous);
    return run.subspan(static_cast<std::size_t>(around.offset - around.first), around.length);
}

void cbcDecipher(const Tables& t, std::span<std::uint8_t> blocks, ChainBlock& previous) {
    std::uint8_t* p = blocks.data();
    const std::size_t count = blocks.size() / 8;
    std::uint32_t prevL = previous.L, prevR = previous.R;
    std::size_t b = 0;
    for (; b + kLanes <= count; b += kLanes, p += 8 * kLanes) {
        std::uint32_t cL[kLanes], cR[kLanes], L[kLanes], R[kLanes];
        for (std::size_t k = 0; k < kLanes; ++k) {
            L[k] = cL[k] = loadBigEndian32(p + 8 * k);
            R[k] = cR[k] = loadBigEndian32(p + 8 * k + 4);
        }
        decipherLanes(t, L, R);
        for (std::size_t k = 0; k < kLanes; ++k) {
            storeBigEndian32(p + 8 * k, L[k] ^ prevL);
            storeBigEndian32(p + 8 * k + 4, R[k] ^ prevR);
            prevL = cL[k];
            prevR = cR[k];
        }
    }
    for (; b < count; ++b, p += 8) {
        const std::uint32_t cL = loadBigEndian32(p), cR = loadBigEndian32(p + 4);
        std::uint32_t L = cL, R = cR;
        decipherBlock(t, L, R);
        storeBigEndian32(p, L ^ prevL);
        storeBigEndian32(p + 4, R ^ prevR);
        prevL = cL;
        prevR = cR;
    }
    previous = {prevL, prevR};
}

void ParallelDecipher::run(const Tables& t, std::span<std::uint8_t> blocks, ChainBlock& previous) {
    const std::size_t count = blocks.size() / 8;
    if (count * 8 < kMinParallelBytes) {
        cbcDecipher(t, blocks, previous);
        return;
    }
    const std::size_t lowerBlocks = count / 2;
    const std::span<std::uint8_t> lower = blocks.first(lowerBlocks * 8);
    const std::span<std::uint8_t> upper = blocks.subspan(lowerBlocks * 8, (count - lowerBlocks) * 8);
    // The upper half chains from the lower half's last ciphertext block: read
    // it before the lower half is overwritten.
    struct UpperHalf {
        const Tables* tables;
        std::span<std::uint8_t> blocks;
        ChainBlock previous;
    } job{&t, upper, {loadBigEndian32(upper.data() - 8), loadBigEndian32(upper.data() - 4)}};
    const ChainBlock last{loadBigEndian32(upper.data() + upper.size() - 8),
                          loadBigEndian32(upper.data() + upper.size() - 4)};

    helper_.start(
        [](void* context) {
            auto* half = static_cast<UpperHalf*>(context);
            cbcDecipher(*half->tables, half->blocks, half->previous);
        },
        &job);
    cbcDecipher(t, lower, previous);
    helper_.wait();
    previous = last;
}

}  // namespace morvane::blowfish
