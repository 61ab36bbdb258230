// The cipher buffer: random first block, little-endian size descriptor,
// plaintext and zero pad, enciphered in CBC mode over big-endian block halves.
// The deciphering side is checked against a plain CBC written here over the
// object's own block operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "clock_random.h"
#include "clsBlowfish.h"

namespace {

using morvane::clsBlowfish;
using Bytes = std::vector<std::uint8_t>;

std::uint32_t readBig(const Bytes& b, std::size_t at) {
    return (std::uint32_t{b[at]} << 24) | (std::uint32_t{b[at + 1]} << 16) | (std::uint32_t{b[at + 2]} << 8) |
           std::uint32_t{b[at + 3]};
}

void writeBig(Bytes& b, std::size_t at, std::uint32_t v) {
    b[at] = static_cast<std::uint8_t>(v >> 24);
    b[at + 1] = static_cast<std::uint8_t>(v >> 16);
    b[at + 2] = static_cast<std::uint8_t>(v >> 8);
    b[at + 3] = static_cast<std::uint8_t>(v);
}

std::uint32_t readLittle(const Bytes& b, std::size_t at) {
    return std::uint32_t{b[at]} | (std::uint32_t{b[at + 1]} << 8) | (std::uint32_t{b[at + 2]} << 16) |
           (std::uint32_t{b[at + 3]} << 24);
}

// Plain CBC deciphering of every whole block, with an initial value of zero.
Bytes cbcDecipherAll(const clsBlowfish& c, Bytes data) {
    std::uint32_t prevL = 0, prevR = 0;
    for (std::size_t i = 0; i + 8 <= data.size(); i += 8) {
        const std::uint32_t cl = readBig(data, i), cr = readBig(data, i + 4);
        std::uint32_t L = cl, R = cr;
        c.decipherBlock(L, R);
        writeBig(data, i, L ^ prevL);
        writeBig(data, i + 4, R ^ prevR);
        prevL = cl;
        prevR = cr;
    }
    return data;
}

// Plain CBC enciphering of a buffer whose length is a multiple of 8.
Bytes cbcEncipherAll(const clsBlowfish& c, Bytes data) {
    std::uint32_t prevL = 0, prevR = 0;
    for (std::size_t i = 0; i + 8 <= data.size(); i += 8) {
        std::uint32_t L = readBig(data, i) ^ prevL, R = readBig(data, i + 4) ^ prevR;
        c.encipherBlock(L, R);
        writeBig(data, i, L);
        writeBig(data, i + 4, R);
        prevL = L;
        prevR = R;
    }
    return data;
}

struct Expected {
    Bytes bytes;
    bool sizeFits;
};

// What deciphering a cipher buffer of multiple-of-8 length must give: the
// plaintext when the size descriptor fits the length, else everything.
Expected referenceDecipher(const clsBlowfish& c, const Bytes& cipher) {
    Bytes plain = cbcDecipherAll(c, cipher);
    const std::uint64_t total = cipher.size();
    if (total >= 16 && total % 8 == 0) {
        const std::uint64_t n = readLittle(plain, 8);
        if (total >= n + 12 && total <= n + 19) {
            return {Bytes(plain.begin() + 12, plain.begin() + 12 + static_cast<std::ptrdiff_t>(n)), true};
        }
    }
    return {plain, false};
}

Bytes randomBytes(std::mt19937& rng, std::size_t n) {
    Bytes b(n);
    for (auto& x : b) x = static_cast<std::uint8_t>(rng());
    return b;
}

std::size_t cipherLength(std::size_t n) {
    std::size_t t = n + 12;
    if (t % 8 != 0) t += 8 - t % 8;
    return t;
}

std::uint64_t gPinnedSeed = 0x1234'5678'9ABC'DEF0ULL;
std::uint64_t pinnedSeed() { return gPinnedSeed; }

bool hasHundred(const std::vector<std::int32_t>& events) {
    return std::find(events.begin(), events.end(), 100) != events.end();
}

// ---------------------------------------------------------------------------

TEST(CipherBufferLength, EmptyFourAndFiveBytes) {
    clsBlowfish c;
    EXPECT_EQ(c.EncryptString("", "key").size(), 16u);
    EXPECT_EQ(c.EncryptString("abcd", "key").size(), 16u);
    EXPECT_EQ(c.EncryptString("abcde", "key").size(), 24u);

    Bytes empty;
    c.encipherBuffer(empty, "key");
    EXPECT_EQ(empty.size(), 16u);
}

TEST(CipherBufferLength, EveryLengthIsPlaintextPlus12RoundedUpTo8) {
    clsBlowfish c;
    c.key("lengths");
    std::mt19937 rng(21);
    for (std::size_t n = 0; n <= 300; ++n) {
        Bytes b = randomBytes(rng, n);
        c.encipherBuffer(b);
        ASSERT_EQ(b.size(), cipherLength(n)) << "n = " << n;
        ASSERT_EQ(b.size() % 8, 0u);
        ASSERT_GE(b.size() - n, 12u);
        ASSERT_LE(b.size() - n, 19u);
    }
}

TEST(CipherBufferLayout, HeaderSizePlaintextAndZeroPad) {
    gPinnedSeed = 987654321;
    std::mt19937 rng(22);
    for (const std::size_t n : {0u, 1u, 3u, 4u, 5u, 11u, 12u, 13u, 20u, 100u, 1000u}) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const Bytes plain = randomBytes(rng, n);
        clsBlowfish c;
        c.setSeedSource(pinnedSeed);
        Bytes b = plain;
        c.encipherBuffer(b, "layout key");

        clsBlowfish reader;
        reader.key("layout key");
        const Bytes laid = cbcDecipherAll(reader, b);
        ASSERT_EQ(laid.size(), cipherLength(n));
        const std::uint32_t word1 = readLittle(laid, 0), word2 = readLittle(laid, 4);
        EXPECT_LE(word1, 2147483647u);
        EXPECT_LE(word2, 2147483647u);
        // Both words come from one generator seeded at the start of this enciphering.
        morvane::ClockRandom random(gPinnedSeed);
        EXPECT_EQ(word1, random.nextWord());
        EXPECT_EQ(word2, random.nextWord());
        EXPECT_EQ(readLittle(laid, 8), n);
        EXPECT_TRUE(std::equal(plain.begin(), plain.end(), laid.begin() + 12));
        for (std::size_t i = 12 + n; i < laid.size(); ++i) EXPECT_EQ(laid[i], 0) << "pad byte " << i;
    }
}

TEST(CipherBufferLayout, SizeDescriptorLittleEndianWhileBlockWordsBigEndian) {
    clsBlowfish c;
    const std::string cipher = c.EncryptString("Q", "endian");
    ASSERT_EQ(cipher.size(), 16u);

    clsBlowfish reader;
    reader.key("endian");
    const Bytes laid = cbcDecipherAll(reader, Bytes(cipher.begin(), cipher.end()));
    EXPECT_EQ(laid[8], 0x01);
    EXPECT_EQ(laid[9], 0x00);
    EXPECT_EQ(laid[10], 0x00);
    EXPECT_EQ(laid[11], 0x00);
    EXPECT_EQ(laid[12], 'Q');
    EXPECT_EQ(laid[13], 0);
    EXPECT_EQ(laid[14], 0);
    EXPECT_EQ(laid[15], 0);
}

TEST(CipherBufferLayout, HandMadeBufferIsReadBack) {
    clsBlowfish maker;
    maker.key("hand made");

    // 300 plaintext bytes: descriptor 2C 01 00 00, then the text, then zero pad.
    std::mt19937 rng(23);
    const Bytes text = randomBytes(rng, 300);
    Bytes laid(cipherLength(text.size()), 0);
    laid[0] = 0x12;
    laid[1] = 0x34;
    laid[2] = 0x56;
    laid[3] = 0x78;
    laid[4] = 0x01;
    laid[8] = 0x2C;
    laid[9] = 0x01;
    std::copy(text.begin(), text.end(), laid.begin() + 12);
    Bytes cipher = cbcEncipherAll(maker, laid);

    clsBlowfish c;
    std::vector<std::int32_t> events;
    c.Progress = [&](std::int32_t p) { events.push_back(p); };
    c.decipherBuffer(cipher, "hand made");
    EXPECT_EQ(cipher, text);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back(), 100);

    // The same size written most significant byte first (00 00 01 2C) does not fit.
    Bytes wrongOrder = laid;
    wrongOrder[8] = 0x00;
    wrongOrder[9] = 0x00;
    wrongOrder[10] = 0x01;
    wrongOrder[11] = 0x2C;
    Bytes cipher2 = cbcEncipherAll(maker, wrongOrder);
    clsBlowfish c2;
    c2.decipherBuffer(cipher2, "hand made");
    EXPECT_EQ(cipher2, wrongOrder);
}

TEST(CipherBufferLayout, EncipheredBufferMatchesPlainCbcOfItsLayout) {
    // Deciphering the ciphertext by hand and enciphering the result by hand
    // again must give the very same bytes: the chain runs over big-endian
    // halves from a zero initial value.
    std::mt19937 rng(24);
    clsBlowfish c;
    c.key("chain");
    for (const std::size_t n : {0u, 7u, 64u, 5000u}) {
        Bytes b = randomBytes(rng, n);
        c.encipherBuffer(b);
        const Bytes laid = cbcDecipherAll(c, b);
        EXPECT_EQ(cbcEncipherAll(c, laid), b) << "n = " << n;
    }
}

TEST(CipherBufferRandom, SameTextTwiceDiffersAndBothDecipher) {
    clsBlowfish c;
    const std::string a = c.EncryptString("the same text", "same key");
    const std::string b = c.EncryptString("the same text", "same key");
    EXPECT_EQ(a.size(), b.size());
    EXPECT_NE(a, b);
    EXPECT_NE(a.substr(0, 8), b.substr(0, 8));
    clsBlowfish d1, d2;
    EXPECT_EQ(d1.DecryptString(a, "same key"), "the same text");
    EXPECT_EQ(d2.DecryptString(b, "same key"), "the same text");
}

TEST(CipherBufferRandom, GeneratorIsReseededForEveryEnciphering) {
    clsBlowfish c;
    c.setSeedSource(pinnedSeed);
    gPinnedSeed = 42;
    const std::string first = c.EncryptString("reseeded", "k");
    const std::string second = c.EncryptString("reseeded", "k");
    EXPECT_EQ(first, second);
    gPinnedSeed = 43;
    const std::string third = c.EncryptString("reseeded", "k");
    EXPECT_NE(first, third);
}

TEST(CipherBufferRandom, RandomWordsStayWithinRange) {
    std::uint32_t largest = 0;
    for (std::uint64_t seed = 0; seed < 2000; ++seed) {
        morvane::ClockRandom random(seed * 0x9E3779B97F4A7C15ULL);
        for (int i = 0; i < 2; ++i) {
            const double f = random.nextFraction();
            ASSERT_GE(f, 0.0);
            ASSERT_LT(f, 1.0);
        }
        morvane::ClockRandom words(seed);
        const std::uint32_t w = words.nextWord();
        ASSERT_LE(w, 2147483647u);
        largest = std::max(largest, w);
    }
    EXPECT_GT(largest, 2147483647u / 2);
}

TEST(CipherBufferDecipher, AgreesWithPlainCbcForRandomCiphertexts) {
    std::mt19937 rng(25);
    std::vector<std::size_t> lengths;
    for (std::size_t t = 16; t <= 512; t += 8) lengths.push_back(t);
    for (const std::size_t t : {32760u, 32768u, 32776u, 40000u, 65536u, 200000u, 1048576u + 24u}) lengths.push_back(t);
    clsBlowfish reader;
    reader.key("random ciphertexts");
    for (const std::size_t t : lengths) {
        SCOPED_TRACE("length " + std::to_string(t));
        const Bytes cipher = randomBytes(rng, t);
        const Expected expected = referenceDecipher(reader, cipher);
        clsBlowfish c;
        std::vector<std::int32_t> events;
        c.Progress = [&](std::int32_t p) { events.push_back(p); };
        Bytes b = cipher;
        c.decipherBuffer(b, "random ciphertexts");
        ASSERT_EQ(b, expected.bytes);
        EXPECT_EQ(hasHundred(events), expected.sizeFits);
    }
}

TEST(CipherBufferDecipher, AgreesWithPlainCbcForValidCiphertexts) {
    std::mt19937 rng(26);
    clsBlowfish reader;
    reader.key("valid ciphertexts");
    for (const std::size_t n :
         {0u, 1u, 100u, 32756u, 40000u, 200000u, 1048564u, 1048565u, 1048572u, 1048580u, 1048576u + 100u}) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const Bytes plain = randomBytes(rng, n);
        Bytes cipher = plain;
        clsBlowfish e;
        e.encipherBuffer(cipher, "valid ciphertexts");
        const Expected expected = referenceDecipher(reader, cipher);
        ASSERT_TRUE(expected.sizeFits);
        ASSERT_EQ(expected.bytes, plain);
        clsBlowfish d;
        d.decipherBuffer(cipher, "valid ciphertexts");
        ASSERT_EQ(cipher, plain);
    }
}

TEST(CipherBufferDecipher, OneObjectDeciphersManyBuffers) {
    // The object keeps its second core between buffers; each buffer is still
    // deciphered on its own chain.
    std::mt19937 rng(27);
    clsBlowfish e, d;
    e.key("many");
    d.key("many");
    for (const std::size_t n : {50000u, 10u, 70000u, 33000u}) {
        const Bytes plain = randomBytes(rng, n);
        Bytes b = plain;
        e.encipherBuffer(b);
        d.decipherBuffer(b);
        ASSERT_EQ(b, plain) << "n = " << n;
    }
}

TEST(CipherBufferDecipher, WrongKeyGivesFullLengthWithoutError) {
    gPinnedSeed = 2024;
    clsBlowfish e;
    e.setSeedSource(pinnedSeed);
    const std::string plain = "a message for the right key only";
    const std::string cipher = e.EncryptString(plain, "right key");
    ASSERT_EQ(cipher.size(), cipherLength(plain.size()));

    clsBlowfish wrong;
    std::vector<std::int32_t> events;
    wrong.Progress = [&](std::int32_t p) { events.push_back(p); };
    std::string result;
    EXPECT_NO_THROW(result = wrong.DecryptString(cipher, "wrong key"));
    EXPECT_EQ(result.size(), cipher.size());
    EXPECT_FALSE(hasHundred(events));

    clsBlowfish reader;
    reader.key("wrong key");
    const Bytes expected = cbcDecipherAll(reader, Bytes(cipher.begin(), cipher.end()));
    EXPECT_EQ(Bytes(result.begin(), result.end()), expected);

    clsBlowfish right;
    EXPECT_EQ(right.DecryptString(cipher, "right key"), plain);
}

TEST(CipherBufferDecipher, LengthsNotMultipleOf8OrUnder16FailTheSizeCheck) {
    std::mt19937 rng(28);
    for (std::size_t t = 0; t <= 80; ++t) {
        if (t >= 16 && t % 8 == 0) continue;
        const Bytes cipher = randomBytes(rng, t);
        clsBlowfish c;
        std::vector<std::int32_t> events;
        c.Progress = [&](std::int32_t p) { events.push_back(p); };
        Bytes b = cipher;
        EXPECT_NO_THROW(c.decipherBuffer(b, "odd lengths"));
        EXPECT_EQ(b.size(), t);
        EXPECT_FALSE(hasHundred(events)) << "length " << t;
    }
}

TEST(CipherBufferDecipher, ValidCiphertextWithStrayBytesFailsTheSizeCheck) {
    // 12 plaintext bytes give 24 cipher bytes; with 1 to 7 stray bytes the
    // descriptor alone would still look acceptable, the length does not.
    clsBlowfish e;
    const std::string cipher = e.EncryptString("twelve bytes", "stray");
    ASSERT_EQ(cipher.size(), 24u);
    for (std::size_t extra = 1; extra <= 7; ++extra) {
        Bytes b(cipher.begin(), cipher.end());
        b.resize(b.size() + extra, 0x5A);
        clsBlowfish d;
        std::vector<std::int32_t> events;
        d.Progress = [&](std::int32_t p) { events.push_back(p); };
        d.decipherBuffer(b, "stray");
        EXPECT_EQ(b.size(), 24 + extra);
        EXPECT_FALSE(hasHundred(events)) << "extra " << extra;
    }
}

TEST(CipherBufferDecipher, DamagedLengthKeepsWholeDecipheredBuffer) {
    std::mt19937 rng(29);
    const Bytes plain = randomBytes(rng, 77);
    Bytes cipher = plain;
    clsBlowfish e;
    e.encipherBuffer(cipher, "damaged");
    clsBlowfish reader;
    reader.key("damaged");

    Bytes shorter(cipher.begin(), cipher.end() - 8);
    const Bytes expectShort = cbcDecipherAll(reader, shorter);
    clsBlowfish d1;
    d1.decipherBuffer(shorter, "damaged");
    EXPECT_EQ(shorter, expectShort);

    Bytes longer = cipher;
    longer.insert(longer.end(), 8, 0xA5);
    const Bytes expectLong = cbcDecipherAll(reader, longer);
    clsBlowfish d2;
    d2.decipherBuffer(longer, "damaged");
    EXPECT_EQ(longer, expectLong);
    EXPECT_EQ(longer.size(), cipher.size() + 8);
}

TEST(CipherBufferKey, EmptyKeyLeavesTheKeyInForce) {
    clsBlowfish e;
    e.key("in force");
    std::mt19937 rng(30);
    const Bytes plain = randomBytes(rng, 40);
    Bytes b = plain;
    e.encipherBuffer(b);
    e.encipherBuffer(b, "");  // enciphered twice under the same key

    clsBlowfish d;
    d.key("in force");
    d.decipherBuffer(b, "");
    d.decipherBuffer(b);
    EXPECT_EQ(b, plain);
}

TEST(CipherBufferKey, BufferKeyIsSetOnTheObject) {
    clsBlowfish viaBuffer, direct;
    Bytes b(3, 0);
    viaBuffer.encipherBuffer(b, "set through the buffer");
    direct.key("set through the buffer");
    EXPECT_EQ(viaBuffer.tables().P, direct.tables().P);
    EXPECT_EQ(viaBuffer.tables().S, direct.tables().S);
}

TEST(CipherBufferKey, UnkeyedObjectsRoundTrip) {
    clsBlowfish e, d;
    const std::string cipher = e.EncryptString("no key at all");
    EXPECT_EQ(d.DecryptString(cipher), "no key at all");
    clsBlowfish keyed;
    EXPECT_NE(keyed.DecryptString(cipher, "some key"), "no key at all");
}

TEST(CipherBufferText, AllByteValuesAndLongTextsRoundTrip) {
    std::string all;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    std::mt19937 rng(31);
    std::string longText(50000, '\0');
    for (auto& ch : longText) ch = static_cast<char>(rng());
    for (const std::string& text : {all, longText, std::string(1, '\0'), std::string("\x80\x81\xFF")}) {
        clsBlowfish e, d, eh, dh;
        const std::string cipher = e.EncryptString(text, "k\xE9y");
        EXPECT_EQ(cipher.size(), cipherLength(text.size()));
        EXPECT_EQ(d.DecryptString(cipher, "k\xE9y"), text);
        const std::string hex = eh.EncryptString(text, "k\xE9y", true);
        EXPECT_EQ(hex.size(), 2 * cipherLength(text.size()));
        EXPECT_EQ(dh.DecryptString(hex, "k\xE9y", true), text);
    }
}

}  // namespace
