// The two-core deflater: its pieces join into one stream that zlib reads
// back, incompressible halves go into stored blocks without being deflated,
// and text still shrinks.
#include "parallel_deflate.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include "zlib_inflate.h"

namespace {

using morvane::appendStoredBlocks;
using morvane::ParallelDeflater;
using morvane::storedBlocksSize;
using Bytes = std::vector<std::uint8_t>;

Bytes randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 rng(seed);
    Bytes out(size);
    for (auto& b : out) b = static_cast<std::uint8_t>(rng());
    return out;
}

Bytes text(std::size_t size, unsigned seed) {
    static const char* const words[] = {"ledger ", "entry ", "closed ", "2026-11-23 ", "user=anna ", "ok\n", "retry "};
    std::mt19937 rng(seed);
    Bytes out;
    while (out.size() < size) {
        const std::string word = words[rng() % 7];
        out.insert(out.end(), word.begin(), word.end());
    }
    out.resize(size);
    return out;
}

// The raw deflate stream inflated by zlib; fails the test when zlib finds the
// stream damaged, unfinished, or followed by other bytes.
Bytes inflated(const Bytes& stream) {
    Bytes out;
    EXPECT_TRUE(morvane::testing::zlibInflates(stream, out)) << "no whole stream";
    return out;
}

// Deflates `input` in pieces of `pieceBytes`.
Bytes deflatedInPieces(const Bytes& input, std::size_t pieceBytes, int level = 4) {
    ParallelDeflater deflater(level);
    EXPECT_TRUE(deflater.reset());
    Bytes out;
    std::size_t at = 0;
    do {
        const std::size_t length = std::min(pieceBytes, input.size() - at);
        const bool last = at + length == input.size();
        EXPECT_TRUE(deflater.deflatePiece({input.data() + at, length}, last, out));
        at += length;
    } while (at < input.size());
    return out;
}

TEST(StoredBlocks, EveryLengthReadsBackAndTakesItsStatedSize) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{65534}, std::size_t{65535},
                                     std::size_t{65536}, std::size_t{131070}, std::size_t{200001}}) {
        const Bytes input = randomBytes(length, static_cast<unsigned>(length));
        Bytes stream;
        appendStoredBlocks(input, true, stream);
        EXPECT_EQ(stream.size(), storedBlocksSize(length)) << length;
        EXPECT_EQ(inflated(stream), input) << length;
    }
}

TEST(StoredBlocks, NonFinalBlocksAreFollowedByTheRestOfTheStream) {
    const Bytes first = randomBytes(70000, 1), second = randomBytes(100, 2);
    Bytes stream;
    appendStoredBlocks(first, false, stream);
    appendStoredBlocks(second, true, stream);
    Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    EXPECT_EQ(inflated(stream), both);
}

TEST(ParallelDeflater, IncompressibleHalvesAreStoredNotDeflated) {
    // One piece of random bytes: both halves go out as stored blocks, exactly
    // as appendStoredBlocks lays them out (zlib would cut its own blocks
    // elsewhere), so the piece cost no deflate time.
    const Bytes input = randomBytes(1 << 20, 3);
    Bytes expected;
    appendStoredBlocks({input.data(), input.size() / 2}, false, expected);
    appendStoredBlocks({input.data() + input.size() / 2, input.size() / 2}, true, expected);
    const Bytes stream = deflatedInPieces(input, 1 << 20);
    EXPECT_EQ(stream, expected);
    EXPECT_EQ(inflated(stream), input);
}

TEST(ParallelDeflater, TextStillShrinks) {
    const Bytes input = text(3 << 20, 4);
    const Bytes stream = deflatedInPieces(input, 1 << 20);
    EXPECT_LT(stream.size(), input.size() / 3);
    EXPECT_EQ(inflated(stream), input);
}

TEST(ParallelDeflater, TextAndRandomHalvesMixedReadBackAsOneStream) {
    // Pieces whose halves change between text and random bytes in every
    // order, with small pieces, odd sizes and a last piece of each kind.
    for (const std::size_t pieceBytes : {std::size_t{40000}, std::size_t{1 << 16}, std::size_t{300007}}) {
        Bytes input;
        for (unsigned part = 0; part < 9; ++part) {
            const std::size_t length = pieceBytes / 2 + part * 977;
            const Bytes next = part % 3 == 1 ? randomBytes(length, part) : text(length, part);
            input.insert(input.end(), next.begin(), next.end());
        }
        const Bytes stream = deflatedInPieces(input, pieceBytes);
        EXPECT_EQ(inflated(stream), input) << pieceBytes;
        EXPECT_LE(stream.size(), storedBlocksSize(input.size()) + 64) << pieceBytes;
    }
}

TEST(ParallelDeflater, ALastPieceOfRandomBytesEndsTheStream) {
    Bytes input = text(1 << 20, 5);
    const Bytes tail = randomBytes(100000, 6);
    input.insert(input.end(), tail.begin(), tail.end());
    EXPECT_EQ(inflated(deflatedInPieces(input, 1 << 20)), input);
}

TEST(ParallelDeflater, AnEmptyStreamIsOneFinalBlock) { EXPECT_TRUE(inflated(deflatedInPieces({}, 1 << 20)).empty()); }

}  // namespace
