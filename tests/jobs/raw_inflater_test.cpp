// The streaming inflater against zlib's deflate: every way of cutting the
// stream and the output, damage, and bytes after the end.
#include "raw_inflater.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include "zlib_inflate.h"

namespace {

using morvane::RawInflater;
using Bytes = std::vector<std::uint8_t>;

Bytes sample(std::size_t size, unsigned seed) {
    std::mt19937 rng(seed);
    Bytes out;
    while (out.size() < size) {
        if (rng() % 7 == 0) {
            for (int i = 0; i < 50; ++i) out.push_back(static_cast<std::uint8_t>(rng()));
        } else {
            static const std::string words[] = {"amber ", "basalt ", "cedar\n", "dune ", "ember "};
            const std::string& w = words[rng() % 5];
            out.insert(out.end(), w.begin(), w.end());
        }
    }
    out.resize(size);
    return out;
}

Bytes deflated(const Bytes& input, int level) {
    z_stream z{};
    EXPECT_EQ(deflateInit2(&z, level, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
    Bytes out(deflateBound(&z, input.size()) + 16);
    z.next_in = const_cast<Bytef*>(input.data());
    z.avail_in = static_cast<uInt>(input.size());
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
    out.resize(out.size() - z.avail_out);
    deflateEnd(&z);
    return out;
}

// Feeds `stream` in pieces of random sizes up to `largest`; the inflated
// bytes in `out`, the last feed's answer returned.
bool inflateInPieces(RawInflater& inflater, const Bytes& stream, std::size_t largest, unsigned seed, Bytes& out) {
    std::mt19937 rng(seed);
    std::size_t at = 0;
    bool fed = true;
    while (at < stream.size() && fed) {
        const std::size_t length = std::min<std::size_t>(stream.size() - at, 1 + rng() % largest);
        fed = inflater.feed({stream.data() + at, length}, [&](std::span<const std::uint8_t> bytes) {
            out.insert(out.end(), bytes.begin(), bytes.end());
            return true;
        });
        at += length;
    }
    return fed;
}

TEST(RawInflater, EveryCutOfTheStreamGivesTheBytesBack) {
    RawInflater inflater;
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, std::size_t{1000}, std::size_t{70000}, std::size_t{3000001}}) {
        for (const int level : {0, 1, 4, 9}) {
            const Bytes input = sample(size, static_cast<unsigned>(size + level));
            const Bytes stream = deflated(input, level);
            for (const std::size_t largest : {std::size_t{1}, std::size_t{13}, std::size_t{100000}}) {
                if (largest == 1 && size > 70000) continue;  // byte by byte is covered by the smaller sizes
                inflater.reset();
                Bytes out;
                EXPECT_TRUE(inflateInPieces(inflater, stream, largest, 5, out)) << size << " " << level;
                EXPECT_TRUE(inflater.ended());
                EXPECT_EQ(out, input) << size << " level " << level << " pieces " << largest;
            }
        }
    }
}

TEST(RawInflater, AStreamCutShortHasNotEnded) {
    const Bytes input = sample(200000, 1);
    Bytes stream = deflated(input, 4);
    stream.resize(stream.size() / 2);
    RawInflater inflater;
    Bytes out;
    EXPECT_TRUE(inflateInPieces(inflater, stream, 4096, 2, out));
    EXPECT_FALSE(inflater.ended());
    EXPECT_LT(out.size(), input.size());
}

TEST(RawInflater, BytesAfterTheEndAreDamage) {
    const Bytes input = sample(100000, 3);
    for (const std::size_t extra : {std::size_t{1}, std::size_t{2}, std::size_t{9}, std::size_t{5000}}) {
        Bytes stream = deflated(input, 4);
        stream.insert(stream.end(), extra, 0x5A);
        for (const std::size_t largest : {std::size_t{7}, std::size_t{1 << 20}}) {
            RawInflater inflater;
            Bytes out;
            EXPECT_FALSE(inflateInPieces(inflater, stream, largest, 4, out)) << extra << " " << largest;
        }
    }
}

using morvane::testing::zlibInflates;

TEST(RawInflater, DamagedStreamsAreJudgedAsZlibJudgesThem) {
    // Bit flips and cuts: where zlib reads a whole stream, the same bytes
    // come out; where zlib refuses or finds no end, so does this inflater.
    for (const unsigned seed : {6u, 9u}) {
        Bytes input = sample(300000, seed);
        if (seed == 9) input.assign(300000, 'q');  // long matches only
        const Bytes stream = deflated(input, 4);
        std::mt19937 rng(seed);
        int refusals = 0;
        for (int trial = 0; trial < 300; ++trial) {
            Bytes damaged = stream;
            if (trial % 3 == 0)
                damaged.resize(rng() % damaged.size());
            else
                damaged[rng() % damaged.size()] ^= static_cast<std::uint8_t>(1u << (rng() % 8));
            Bytes expected;
            const bool zlibWhole = zlibInflates(damaged, expected);
            RawInflater inflater;
            Bytes out;
            const bool whole = inflateInPieces(inflater, damaged, 65536, trial, out) && inflater.ended();
            EXPECT_EQ(whole, zlibWhole) << "seed " << seed << " trial " << trial;
            if (whole && zlibWhole) {
                EXPECT_EQ(out, expected) << "seed " << seed << " trial " << trial;
            }
            refusals += whole ? 0 : 1;
        }
        EXPECT_GT(refusals, 100) << seed;  // the cuts at least
    }
}

TEST(RawInflater, OutputThatSaysStopStopsTheFeed) {
    const Bytes stream = deflated(sample(500000, 8), 4);
    RawInflater inflater;
    int calls = 0;
    EXPECT_FALSE(inflater.feed(stream, [&](std::span<const std::uint8_t>) { return ++calls < 1; }));
    EXPECT_EQ(calls, 1);
}

}  // namespace
