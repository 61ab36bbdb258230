// Progress of enciphering and deciphering: whole percents, reported when the
// block offset reaches a threshold that moves one percent ahead each time.
// The events are compared with the rule applied block by block.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "clsBlowfish.h"
#include "progress_meter.h"

namespace {

using morvane::clsBlowfish;
using Bytes = std::vector<std::uint8_t>;
using Events = std::vector<std::int32_t>;

std::uint64_t halfEven(double v) {
    // The default floating-point rounding mode rounds halves to the even neighbour.
    EXPECT_EQ(std::fegetround(), FE_TONEAREST);
    return static_cast<std::uint64_t>(std::nearbyint(v));
}

// The percents reported while the blocks of a T-byte pass are processed one
// by one (whole blocks only), without the final 100.
Events blockByBlock(std::uint64_t total) {
    Events events;
    std::uint64_t threshold = 0;
    for (std::uint64_t i = 0; i + 8 <= total; i += 8) {
        if (i >= threshold) {
            const auto percent =
                static_cast<std::int32_t>(std::floor(static_cast<double>(i) / static_cast<double>(total) * 100.0));
            threshold = halfEven(static_cast<double>(percent + 1) / 100.0 * static_cast<double>(total) + 1.0);
            events.push_back(percent);
        }
    }
    return events;
}

Events withFinalHundred(Events events) {
    if (events.empty() || events.back() != 100) events.push_back(100);
    return events;
}

std::uint64_t cipherLength(std::uint64_t n) {
    std::uint64_t t = n + 12;
    if (t % 8 != 0) t += 8 - t % 8;
    return t;
}

void expectWellFormed(const Events& events, bool success) {
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front(), 0);
    for (std::size_t i = 1; i < events.size(); ++i) {
        EXPECT_LT(events[i - 1], events[i]) << "event " << i;
    }
    for (const auto p : events) {
        EXPECT_GE(p, 0);
        EXPECT_LE(p, 100);
    }
    if (success) {
        EXPECT_EQ(events.back(), 100);
    } else {
        EXPECT_NE(events.back(), 100);
    }
}

Bytes patternBytes(std::size_t n) {
    Bytes b(n);
    for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<std::uint8_t>(i * 131 + 7);
    return b;
}

// Enciphers and deciphers n bytes and checks both event sequences.
void checkSize(std::uint64_t n) {
    SCOPED_TRACE("n = " + std::to_string(n));
    const std::uint64_t total = cipherLength(n);
    const Events expected = withFinalHundred(blockByBlock(total));

    const Bytes plain = patternBytes(static_cast<std::size_t>(n));
    Bytes b = plain;
    Events enc;
    clsBlowfish e;
    e.Progress = [&](std::int32_t p) { enc.push_back(p); };
    e.encipherBuffer(b, "progress");
    ASSERT_EQ(b.size(), total);
    EXPECT_EQ(enc, expected);
    expectWellFormed(enc, true);

    Events dec;
    clsBlowfish d;
    d.Progress = [&](std::int32_t p) { dec.push_back(p); };
    d.decipherBuffer(b, "progress");
    ASSERT_EQ(b, plain);
    EXPECT_EQ(dec, expected);
}

TEST(ProgressReference, HandWorkedPasses) {
    // 16 bytes: blocks at 0 and 8; the second is at 50 percent, past the
    // threshold round(1/100 * 16 + 1) = 1.
    EXPECT_EQ(blockByBlock(16), (Events{0, 50}));
    // 24 bytes: thresholds 1 and round(0.34 * 24 + 1) = 9.
    EXPECT_EQ(blockByBlock(24), (Events{0, 33, 66}));
    // 40 bytes: every block is a fifth of the pass.
    EXPECT_EQ(blockByBlock(40), (Events{0, 20, 40, 60, 80}));
    EXPECT_EQ(blockByBlock(8), (Events{0}));
    EXPECT_EQ(blockByBlock(0), Events{});
}

TEST(ProgressCipher, SmallSizesFollowTheThresholdRule) {
    for (std::uint64_t n = 0; n <= 100; ++n) checkSize(n);
}

TEST(ProgressCipher, SizesAroundBlockEdges) {
    for (const std::uint64_t base : {796u, 800u, 8180u, 8192u, 32756u, 32764u, 65524u, 99992u}) {
        for (std::uint64_t n = base - 9; n <= base + 9; ++n) checkSize(n);
    }
}

TEST(ProgressCipher, LargeSizes) {
    checkSize(100000);
    checkSize(1048576 - 12);
    checkSize(1048576 - 4);
    checkSize(3 * 1048576 + 5);
}

TEST(ProgressCipher, WrongKeyHasNoHundred) {
    for (const std::uint64_t n : {0u, 1u, 37u, 1000u, 50000u}) {
        SCOPED_TRACE("n = " + std::to_string(n));
        Bytes b = patternBytes(n);
        clsBlowfish e;
        e.encipherBuffer(b, "right");
        // The failed check is all but certain for a wrong key; it is checked
        // rather than assumed, since the events depend on it.
        clsBlowfish d;
        Events dec;
        d.Progress = [&](std::int32_t p) { dec.push_back(p); };
        d.decipherBuffer(b, "wrong");
        ASSERT_EQ(b.size(), cipherLength(n)) << "the wrong key passed the size check by chance";
        EXPECT_EQ(dec, blockByBlock(cipherLength(n)));
        expectWellFormed(dec, false);
    }
}

TEST(ProgressCipher, DamagedLengthHasNoHundred) {
    Bytes b = patternBytes(20000);
    clsBlowfish e;
    e.encipherBuffer(b, "damaged");
    const std::size_t total = b.size();

    Bytes shorter(b.begin(), b.end() - 8);
    clsBlowfish d1;
    Events ev1;
    d1.Progress = [&](std::int32_t p) { ev1.push_back(p); };
    d1.decipherBuffer(shorter, "damaged");
    EXPECT_EQ(shorter.size(), total - 8);
    EXPECT_EQ(ev1, blockByBlock(total - 8));
    expectWellFormed(ev1, false);

    Bytes longer = b;
    longer.insert(longer.end(), 16, 0);
    clsBlowfish d2;
    Events ev2;
    d2.Progress = [&](std::int32_t p) { ev2.push_back(p); };
    d2.decipherBuffer(longer, "damaged");
    EXPECT_EQ(longer.size(), total + 16);
    EXPECT_EQ(ev2, blockByBlock(total + 16));
    expectWellFormed(ev2, false);

    Bytes ragged = b;
    ragged.push_back(0);
    clsBlowfish d3;
    Events ev3;
    d3.Progress = [&](std::int32_t p) { ev3.push_back(p); };
    d3.decipherBuffer(ragged, "damaged");
    EXPECT_EQ(ragged.size(), total + 1);
    expectWellFormed(ev3, false);
}

TEST(ProgressCipher, NoHandlerIsFine) {
    Bytes b = patternBytes(5000);
    clsBlowfish e, d;
    e.encipherBuffer(b, "quiet");
    d.decipherBuffer(b, "quiet");
    EXPECT_EQ(b, patternBytes(5000));
}

// ---------------------------------------------------------------------------
// The meter itself, handed runs of blocks in different groupings.

Events meterEvents(std::uint64_t total, const std::vector<std::uint64_t>& lastOffsets, bool finish) {
    Events events;
    const morvane::blowfish::ProgressHandler handler = [&](std::int32_t p) { events.push_back(p); };
    morvane::blowfish::ProgressMeter meter(total, handler);
    for (const auto offset : lastOffsets) meter.blocksDone(offset);
    if (finish) meter.finish();
    return events;
}

std::vector<std::uint64_t> everyBlock(std::uint64_t total) {
    std::vector<std::uint64_t> offsets;
    for (std::uint64_t i = 0; i + 8 <= total; i += 8) offsets.push_back(i);
    return offsets;
}

std::vector<std::uint64_t> randomRuns(std::uint64_t total, std::mt19937& rng, std::uint64_t maxBlocks) {
    std::vector<std::uint64_t> offsets;
    const std::uint64_t blocks = total / 8;
    std::uint64_t done = 0;
    while (done < blocks) {
        done = std::min(blocks, done + 1 + rng() % maxBlocks);
        offsets.push_back(done * 8 - 8);
    }
    return offsets;
}

TEST(ProgressMeter, GroupingsGiveTheBlockByBlockEvents) {
    std::mt19937 rng(61);
    std::vector<std::uint64_t> totals;
    for (std::uint64_t t = 8; t <= 2000; t += 8) totals.push_back(t);
    for (const std::uint64_t t : {8000u, 80000u, 1048576u, 1048584u, 3u * 1048576u + 24u}) totals.push_back(t);
    for (const std::uint64_t total : totals) {
        SCOPED_TRACE("T = " + std::to_string(total));
        const Events expected = blockByBlock(total);
        ASSERT_EQ(meterEvents(total, everyBlock(total), false), expected);
        ASSERT_EQ(meterEvents(total, {total - 8}, false), expected);
        ASSERT_EQ(meterEvents(total, randomRuns(total, rng, 3), false), expected);
        ASSERT_EQ(meterEvents(total, randomRuns(total, rng, 1 + total / 80), false), expected);
        ASSERT_EQ(meterEvents(total, randomRuns(total, rng, 1 + total / 8), false), expected);
        ASSERT_EQ(meterEvents(total, randomRuns(total, rng, 131072), true), withFinalHundred(expected));
    }
}

TEST(ProgressMeter, FinishReportsHundredOnce) {
    EXPECT_EQ(meterEvents(800, {792}, true), withFinalHundred(blockByBlock(800)));

    Events events;
    const morvane::blowfish::ProgressHandler handler = [&](std::int32_t p) { events.push_back(p); };
    morvane::blowfish::ProgressMeter meter(64, handler);
    meter.blocksDone(56);
    meter.finish();
    meter.finish();
    EXPECT_EQ(events, withFinalHundred(blockByBlock(64)));
    EXPECT_EQ(std::count(events.begin(), events.end(), 100), 1);
}

TEST(ProgressMeter, RepeatedOffsetReportsNothingNew) {
    const Events once = meterEvents(4000, {1000, 1000, 1000}, false);
    const Events single = meterEvents(4000, {1000}, false);
    EXPECT_EQ(once, single);
}

TEST(ProgressMeter, EmptyHandlerIsFine) {
    const morvane::blowfish::ProgressHandler none;
    morvane::blowfish::ProgressMeter meter(800, none);
    EXPECT_NO_THROW(meter.blocksDone(792));
    EXPECT_NO_THROW(meter.finish());
}

TEST(ProgressMeter, RoundHalfEvenTies) {
    EXPECT_EQ(morvane::blowfish::roundHalfEven(0.5), 0u);
    EXPECT_EQ(morvane::blowfish::roundHalfEven(1.5), 2u);
    EXPECT_EQ(morvane::blowfish::roundHalfEven(2.5), 2u);
    EXPECT_EQ(morvane::blowfish::roundHalfEven(3.5), 4u);
    EXPECT_EQ(morvane::blowfish::roundHalfEven(2.4999), 2u);
    EXPECT_EQ(morvane::blowfish::roundHalfEven(2.5001), 3u);
    EXPECT_EQ(morvane::blowfish::roundHalfEven(7.0), 7u);
    EXPECT_EQ(morvane::blowfish::roundHalfEven(1048577.5), 1048578u);
    EXPECT_EQ(morvane::blowfish::roundHalfEven(1048576.5), 1048576u);
}

}  // namespace
