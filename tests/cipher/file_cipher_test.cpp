// EncryptFile and DecryptFile as the jobs use them: the file on disk is one
// cipher buffer, existing outputs are replaced whatever their attributes,
// failures come back as False with LastError, and odd inputs behave.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "clsBlowfish.h"
#include "file_attributes.h"
#include "scratch_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kKey = "correct horse battery";

struct ScratchDir : morvane::testing::ScratchDirectory {
    ScratchDir() : ScratchDirectory("filecipher") {}
};

void writeBytes(const std::string& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(out.good()) << path;
}

Bytes readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

Bytes randomBytes(std::size_t n, std::uint32_t seed) {
    std::mt19937 gen(seed);
    Bytes out(n);
    for (auto& b : out) b = static_cast<std::uint8_t>(gen());
    return out;
}

Bytes textBytes(const std::string& s) { return Bytes(s.begin(), s.end()); }

std::uint64_t fixedSeed() { return 0x5EED5EED12345678ULL; }

// Smallest multiple of 8 that holds the 12 header bytes and n plaintext bytes.
std::uint64_t cipherLength(std::uint64_t n) {
    std::uint64_t t = n + 12;
    while (t % 8 != 0) ++t;
    return t;
}

std::uint32_t loadBig(const std::uint8_t* p) {
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) | p[3];
}

void storeBig(std::uint8_t* p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v >> 24);
    p[1] = static_cast<std::uint8_t>(v >> 16);
    p[2] = static_cast<std::uint8_t>(v >> 8);
    p[3] = static_cast<std::uint8_t>(v);
}

// Block-by-block CBC deciphering with the engine alone, so that the layout
// of a file can be read without going through the file or buffer code.
Bytes cbcDecipherByHand(const Bytes& cipher, const std::string& key) {
    clsBlowfish engine;
    engine.key(key);
    Bytes plain = cipher;
    std::uint32_t prevL = 0, prevR = 0;
    for (std::size_t i = 0; i + 8 <= plain.size(); i += 8) {
        const std::uint32_t cL = loadBig(&cipher[i]), cR = loadBig(&cipher[i + 4]);
        std::uint32_t L = cL, R = cR;
        engine.decipherBlock(L, R);
        storeBig(&plain[i], L ^ prevL);
        storeBig(&plain[i + 4], R ^ prevR);
        prevL = cL;
        prevR = cR;
    }
    return plain;
}

std::uint32_t loadLittle(const std::uint8_t* p) {
    return std::uint32_t{p[0]} | (std::uint32_t{p[1]} << 8) | (std::uint32_t{p[2]} << 16) | (std::uint32_t{p[3]} << 24);
}

// Checks that `cipher` is the cipher buffer of `plain` under `key`.
void expectCipherBufferOf(const Bytes& cipher, const Bytes& plain, const std::string& key) {
    ASSERT_EQ(cipher.size(), cipherLength(plain.size()));
    const Bytes laid = cbcDecipherByHand(cipher, key);
    EXPECT_LE(loadLittle(&laid[0]), 2147483647u);
    EXPECT_LE(loadLittle(&laid[4]), 2147483647u);
    EXPECT_EQ(loadLittle(&laid[8]), plain.size());
    EXPECT_TRUE(std::equal(plain.begin(), plain.end(), laid.begin() + 12));
    EXPECT_TRUE(std::all_of(laid.begin() + 12 + static_cast<std::ptrdiff_t>(plain.size()), laid.end(),
                            [](std::uint8_t b) { return b == 0; }));
}

struct Recorder {
    std::vector<int> percents;
    void attach(clsBlowfish& c) {
        c.Progress = [this](std::int32_t p) { percents.push_back(p); };
    }
};

using morvane::testing::ownerMayWrite;
using morvane::testing::removeOwnerWrite;

// ---------------------------------------------------------------------------
// Lengths and layout

TEST(FileCipherLength, OneByteFileGivesSixteenBytes) {
    ScratchDir d;
    writeBytes(d.path("in"), {0x41});
    clsBlowfish c;
    ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("out"), kKey));
    EXPECT_EQ(fs::file_size(d.path("out")), 16u);
}

TEST(FileCipherLength, FiveByteFileGivesTwentyFourBytes) {
    ScratchDir d;
    writeBytes(d.path("in"), textBytes("hello"));
    clsBlowfish c;
    ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("out"), kKey));
    EXPECT_EQ(fs::file_size(d.path("out")), 24u);
}

TEST(FileCipherLength, FourByteFileGivesSixteenBytes) {
    ScratchDir d;
    writeBytes(d.path("in"), textBytes("abcd"));
    clsBlowfish c;
    ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("out"), kKey));
    EXPECT_EQ(fs::file_size(d.path("out")), 16u);
}

TEST(FileCipherLength, EveryLengthUpToSeventyIsRoundedUpWithTwelveHeaderBytes) {
    ScratchDir d;
    for (std::size_t n = 0; n <= 70; ++n) {
        writeBytes(d.path("in"), randomBytes(n, static_cast<std::uint32_t>(n)));
        clsBlowfish c;
        ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("out"), kKey)) << n;
        const auto t = fs::file_size(d.path("out"));
        EXPECT_EQ(t, cipherLength(n)) << n;
        EXPECT_GE(t - n, 12u) << n;
        EXPECT_LE(t - n, 19u) << n;
    }
}

TEST(FileCipherLayout, FileIsOneCipherBufferOverTheContent) {
    ScratchDir d;
    for (std::size_t n : {0u, 1u, 4u, 5u, 12u, 13u, 100u, 1000u}) {
        const Bytes plain = randomBytes(n, 77 + static_cast<std::uint32_t>(n));
        writeBytes(d.path("in"), plain);
        clsBlowfish c;
        ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("out"), kKey)) << n;
        SCOPED_TRACE(n);
        expectCipherBufferOf(readBytes(d.path("out")), plain, kKey);
    }
}

TEST(FileCipherLayout, SameContentTwiceGivesDifferentFilesThatBothDecipher) {
    ScratchDir d;
    const Bytes plain = textBytes("the same archive, twice");
    writeBytes(d.path("in"), plain);
    clsBlowfish first, second;
    ASSERT_TRUE(first.EncryptFile(d.path("in"), d.path("a"), kKey));
    ASSERT_TRUE(second.EncryptFile(d.path("in"), d.path("b"), kKey));
    EXPECT_NE(readBytes(d.path("a")), readBytes(d.path("b")));
    for (const char* name : {"a", "b"}) {
        clsBlowfish back;
        ASSERT_TRUE(back.DecryptFile(d.path(name), d.path("back"), kKey));
        EXPECT_EQ(readBytes(d.path("back")), plain) << name;
    }
}

TEST(FileCipherLayout, PinnedSeedGivesTheSameFileTwice) {
    ScratchDir d;
    writeBytes(d.path("in"), textBytes("pinned"));
    clsBlowfish first, second;
    first.setSeedSource(fixedSeed);
    second.setSeedSource(fixedSeed);
    ASSERT_TRUE(first.EncryptFile(d.path("in"), d.path("a"), kKey));
    ASSERT_TRUE(second.EncryptFile(d.path("in"), d.path("b"), kKey));
    EXPECT_EQ(readBytes(d.path("a")), readBytes(d.path("b")));
}

TEST(FileCipherLayout, InputIsLeftUnchanged) {
    ScratchDir d;
    const Bytes plain = randomBytes(333, 3);
    writeBytes(d.path("in"), plain);
    clsBlowfish c;
    ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("out"), kKey));
    EXPECT_EQ(readBytes(d.path("in")), plain);
    const Bytes cipher = readBytes(d.path("out"));
    clsBlowfish back;
    ASSERT_TRUE(back.DecryptFile(d.path("out"), d.path("plain"), kKey));
    EXPECT_EQ(readBytes(d.path("out")), cipher);
}

// ---------------------------------------------------------------------------
// Empty files and the size check

TEST(FileCipherEmpty, EmptyFileGivesSixteenBytesAndDeciphersToEmptyFile) {
    ScratchDir d;
    writeBytes(d.path("in"), {});
    clsBlowfish c;
    ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("out"), kKey));
    const Bytes cipher = readBytes(d.path("out"));
    ASSERT_EQ(cipher.size(), 16u);
    expectCipherBufferOf(cipher, {}, kKey);

    clsBlowfish back;
    Recorder progress;
    progress.attach(back);
    ASSERT_TRUE(back.DecryptFile(d.path("out"), d.path("back"), kKey));
    ASSERT_TRUE(fs::is_regular_file(d.path("back")));
    EXPECT_EQ(fs::file_size(d.path("back")), 0u);
    ASSERT_FALSE(progress.percents.empty());
    EXPECT_EQ(progress.percents.front(), 0);
    EXPECT_EQ(progress.percents.back(), 100);
}

TEST(FileCipherEmpty, EmptyFileReportsZeroFirstAndHundredLast) {
    ScratchDir d;
    writeBytes(d.path("in"), {});
    clsBlowfish c;
    Recorder progress;
    progress.attach(c);
    ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("out"), kKey));
    // Sixteen bytes are two blocks: 0 after the first, 50 after the second, then 100.
    EXPECT_EQ(progress.percents, (std::vector<int>{0, 50, 100}));
}

class FileCipherSizeCheck : public ::testing::TestWithParam<std::size_t> {};

// An enciphered file of this length cannot hold a cipher buffer: it is
// deciphered as far as it goes and written whole, like a wrong key.
TEST_P(FileCipherSizeCheck, ShortOrRaggedFileIsWrittenAtItsOwnLength) {
    ScratchDir d;
    const std::size_t length = GetParam();
    writeBytes(d.path("in"), randomBytes(length, 900 + static_cast<std::uint32_t>(length)));
    clsBlowfish c;
    Recorder progress;
    progress.attach(c);
    c.LastError = "left from before";
    ASSERT_TRUE(c.DecryptFile(d.path("in"), d.path("out"), kKey));
    ASSERT_TRUE(fs::is_regular_file(d.path("out")));
    EXPECT_EQ(fs::file_size(d.path("out")), length);
    EXPECT_EQ(std::count(progress.percents.begin(), progress.percents.end(), 100), 0);
    EXPECT_EQ(c.LastError, "left from before");
}

INSTANTIATE_TEST_SUITE_P(FileCipherLengths, FileCipherSizeCheck,
                         ::testing::Values(0, 1, 7, 8, 9, 15, 17, 20, 23, 25, 31, 33, 41, 1001, 4099));

TEST(FileCipherRaggedInput, WholeBlocksAreDecipheredAndTheRestKept) {
    // The 24 whole bytes of a 27-byte file are deciphered as the blocks of a
    // cipher buffer; the three bytes after them stay as they were.
    ScratchDir d;
    const Bytes plain = textBytes("abcdefghij");  // a 24-byte cipher buffer
    writeBytes(d.path("in"), plain);
    clsBlowfish enc;
    ASSERT_TRUE(enc.EncryptFile(d.path("in"), d.path("enz"), kKey));
    Bytes ragged = readBytes(d.path("enz"));
    ASSERT_EQ(ragged.size(), 24u);
    ragged.insert(ragged.end(), {0xAA, 0xBB, 0xCC});
    writeBytes(d.path("ragged"), ragged);

    clsBlowfish dec;
    ASSERT_TRUE(dec.DecryptFile(d.path("ragged"), d.path("out"), kKey));
    const Bytes out = readBytes(d.path("out"));
    ASSERT_EQ(out.size(), 27u);
    EXPECT_EQ(loadLittle(&out[8]), plain.size());
    EXPECT_TRUE(std::equal(plain.begin(), plain.end(), out.begin() + 12));
    EXPECT_EQ(out[24], 0xAA);
    EXPECT_EQ(out[25], 0xBB);
    EXPECT_EQ(out[26], 0xCC);
}

// ---------------------------------------------------------------------------
// Wrong key

TEST(FileCipherWrongKey, TrueAndOutputAsLongAsTheInput) {
    ScratchDir d;
    for (std::size_t n : {0u, 1u, 5u, 64u, 1000u, 70000u}) {
        writeBytes(d.path("in"), randomBytes(n, 11 + static_cast<std::uint32_t>(n)));
        clsBlowfish enc;
        ASSERT_TRUE(enc.EncryptFile(d.path("in"), d.path("enz"), kKey)) << n;
        clsBlowfish dec;
        Recorder progress;
        progress.attach(dec);
        EXPECT_TRUE(dec.DecryptFile(d.path("enz"), d.path("out"), "wrong password")) << n;
        EXPECT_EQ(fs::file_size(d.path("out")), fs::file_size(d.path("enz"))) << n;
        EXPECT_EQ(fs::file_size(d.path("out")), cipherLength(n)) << n;
        EXPECT_EQ(std::count(progress.percents.begin(), progress.percents.end(), 100), 0) << n;
    }
}

TEST(FileCipherWrongKey, OutputIsTheWholeDecipheredBuffer) {
    ScratchDir d;
    const Bytes plain = randomBytes(40, 5);
    writeBytes(d.path("in"), plain);
    clsBlowfish enc;
    ASSERT_TRUE(enc.EncryptFile(d.path("in"), d.path("enz"), kKey));
    clsBlowfish dec;
    ASSERT_TRUE(dec.DecryptFile(d.path("enz"), d.path("out"), "not it"));
    EXPECT_EQ(readBytes(d.path("out")), cbcDecipherByHand(readBytes(d.path("enz")), "not it"));
}

// ---------------------------------------------------------------------------
// Round trips

TEST(FileCipherRoundTrip, EveryLengthUpToThreeHundred) {
    ScratchDir d;
    for (std::size_t n = 0; n <= 300; ++n) {
        const Bytes plain = randomBytes(n, 1000 + static_cast<std::uint32_t>(n));
        writeBytes(d.path("in"), plain);
        clsBlowfish enc;
        ASSERT_TRUE(enc.EncryptFile(d.path("in"), d.path("enz"), kKey)) << n;
        clsBlowfish dec;
        ASSERT_TRUE(dec.DecryptFile(d.path("enz"), d.path("out"), kKey)) << n;
        ASSERT_EQ(readBytes(d.path("out")), plain) << n;
    }
}

TEST(FileCipherRoundTrip, LargerFilesUpToAFewMebibytes) {
    ScratchDir d;
    const std::size_t mib = 1 << 20;
    for (std::size_t n : {std::size_t{1000}, std::size_t{4095}, std::size_t{32 * 1024 + 3}, std::size_t{65539},
                          std::size_t{500000}, mib - 13, mib - 12, mib, mib + 1, 2 * mib + 12345, 3 * mib + 7}) {
        const Bytes plain = randomBytes(n, static_cast<std::uint32_t>(n));
        writeBytes(d.path("in"), plain);
        clsBlowfish enc;
        Recorder encProgress;
        encProgress.attach(enc);
        ASSERT_TRUE(enc.EncryptFile(d.path("in"), d.path("enz"), kKey)) << n;
        EXPECT_EQ(fs::file_size(d.path("enz")), cipherLength(n)) << n;
        clsBlowfish dec;
        Recorder decProgress;
        decProgress.attach(dec);
        ASSERT_TRUE(dec.DecryptFile(d.path("enz"), d.path("out"), kKey)) << n;
        EXPECT_EQ(readBytes(d.path("out")), plain) << n;
        for (const auto* seq : {&encProgress.percents, &decProgress.percents}) {
            ASSERT_FALSE(seq->empty()) << n;
            EXPECT_EQ(seq->front(), 0) << n;
            EXPECT_EQ(seq->back(), 100) << n;
            EXPECT_TRUE(std::adjacent_find(seq->begin(), seq->end(), std::greater_equal<int>()) == seq->end()) << n;
        }
    }
}

TEST(FileCipherRoundTrip, EmptyKeyKeepsTheKeyInForce) {
    ScratchDir d;
    const Bytes plain = textBytes("keyed once, used twice");
    writeBytes(d.path("in"), plain);
    clsBlowfish enc;
    enc.key(kKey);
    ASSERT_TRUE(enc.EncryptFile(d.path("in"), d.path("enz"), ""));
    clsBlowfish dec;
    ASSERT_TRUE(dec.DecryptFile(d.path("enz"), d.path("out"), kKey));
    EXPECT_EQ(readBytes(d.path("out")), plain);
}

TEST(FileCipherRoundTrip, NonAsciiPaths) {
    ScratchDir d;
    const Bytes plain = textBytes("r\xC3\xA9sum\xC3\xA9");
    const std::string in = d.path("r\xC3\xA9sum\xC3\xA9 \xE2\x82\xAC.doc");
    const std::string enz = in + ".enz";
    const std::string out = d.path("\xC3\xBF back.doc");
    writeBytes(in, plain);
    clsBlowfish enc;
    ASSERT_TRUE(enc.EncryptFile(in, enz, kKey)) << enc.LastError;
    clsBlowfish dec;
    ASSERT_TRUE(dec.DecryptFile(enz, out, kKey)) << dec.LastError;
    EXPECT_EQ(readBytes(out), plain);
}

// ---------------------------------------------------------------------------
// Existing outputs

TEST(FileCipherExistingOutput, ReadOnlyOutputIsDeletedAndReplaced) {
    ScratchDir d;
    const Bytes plain = textBytes("new content");
    writeBytes(d.path("in"), plain);
    const Bytes old = randomBytes(500, 8);
    writeBytes(d.path("out.enz"), old);
    // A second name of the old file shows whether it was deleted (the second
    // name keeps the old bytes) or written over (the second name would change).
    fs::create_hard_link(d.path("out.enz"), d.path("old-name"));
    removeOwnerWrite(d.path("out.enz"));
    ASSERT_EQ(morvane::fileattr::getAttributes(d.path("out.enz")), 33u);

    clsBlowfish c;
    ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("out.enz"), kKey)) << c.LastError;
    const Bytes cipher = readBytes(d.path("out.enz"));
    EXPECT_EQ(cipher.size(), 24u);
    expectCipherBufferOf(cipher, plain, kKey);
    EXPECT_TRUE(ownerMayWrite(d.path("out.enz")));
    EXPECT_EQ(morvane::fileattr::getAttributes(d.path("out.enz")), 32u);
    EXPECT_EQ(readBytes(d.path("old-name")), old);
    EXPECT_EQ(fs::hard_link_count(d.path("old-name")), 1u);
}

TEST(FileCipherExistingOutput, ReadOnlyOutputOfDecryptIsReplaced) {
    ScratchDir d;
    const Bytes plain = textBytes("archive bytes");
    writeBytes(d.path("in"), plain);
    clsBlowfish enc;
    ASSERT_TRUE(enc.EncryptFile(d.path("in"), d.path("in.enz"), kKey));
    writeBytes(d.path("out.zip"), randomBytes(4000, 9));
    removeOwnerWrite(d.path("out.zip"));

    clsBlowfish dec;
    ASSERT_TRUE(dec.DecryptFile(d.path("in.enz"), d.path("out.zip"), kKey)) << dec.LastError;
    EXPECT_EQ(readBytes(d.path("out.zip")), plain);
    EXPECT_TRUE(ownerMayWrite(d.path("out.zip")));
}

TEST(FileCipherExistingOutput, HiddenLongerOutputIsReplacedWholeAndNeverWrittenInto) {
    ScratchDir d;
    const Bytes plain = textBytes("short");
    writeBytes(d.path("in"), plain);
    const Bytes old(5000, 0x5A);
    writeBytes(d.path(".out.enz"), old);
    fs::create_hard_link(d.path(".out.enz"), d.path("other-name"));
    ASSERT_EQ(morvane::fileattr::getAttributes(d.path(".out.enz")), 34u);

    clsBlowfish c;
    ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path(".out.enz"), kKey)) << c.LastError;
    const Bytes cipher = readBytes(d.path(".out.enz"));
    ASSERT_EQ(cipher.size(), 24u);
    expectCipherBufferOf(cipher, plain, kKey);
    // The new file took the name when complete; the old one (still seen
    // through its other name) was never written into.
    EXPECT_EQ(readBytes(d.path("other-name")), old);
}

TEST(FileCipherExistingOutput, HiddenLongerOutputOfDecryptIsTruncated) {
    ScratchDir d;
    const Bytes plain = randomBytes(100, 10);
    writeBytes(d.path("in"), plain);
    clsBlowfish enc;
    ASSERT_TRUE(enc.EncryptFile(d.path("in"), d.path("in.enz"), kKey));
    writeBytes(d.path(".restored"), Bytes(100000, 0xEE));

    clsBlowfish dec;
    ASSERT_TRUE(dec.DecryptFile(d.path("in.enz"), d.path(".restored"), kKey)) << dec.LastError;
    EXPECT_EQ(readBytes(d.path(".restored")), plain);
}

TEST(FileCipherExistingOutput, HiddenOutputWithWrongKeyHoldsOnlyTheDecipheredLength) {
    ScratchDir d;
    writeBytes(d.path("in"), randomBytes(30, 12));
    clsBlowfish enc;
    ASSERT_TRUE(enc.EncryptFile(d.path("in"), d.path("in.enz"), kKey));
    writeBytes(d.path(".restored"), Bytes(777, 0x11));
    clsBlowfish dec;
    ASSERT_TRUE(dec.DecryptFile(d.path("in.enz"), d.path(".restored"), "wrong"));
    EXPECT_EQ(fs::file_size(d.path(".restored")), fs::file_size(d.path("in.enz")));
}

TEST(FileCipherExistingOutput, LongerNormalOutputIsReplacedWhole) {
    ScratchDir d;
    writeBytes(d.path("in"), textBytes("x"));
    writeBytes(d.path("out"), Bytes(10000, 0x77));
    clsBlowfish c;
    ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("out"), kKey));
    EXPECT_EQ(fs::file_size(d.path("out")), 16u);
}

// ---------------------------------------------------------------------------
// Input and output are the same file

TEST(FileCipherSamePath, FileIsReplacedByItsEncipheringAndBack) {
    ScratchDir d;
    for (std::size_t n : {0u, 1u, 13u, 5000u, 70000u}) {
        const Bytes plain = randomBytes(n, 60 + static_cast<std::uint32_t>(n));
        const std::string p = d.path("doc.bin");
        writeBytes(p, plain);

        clsBlowfish reference;
        reference.setSeedSource(fixedSeed);
        Bytes expected = plain;
        reference.encipherBuffer(expected, kKey);

        clsBlowfish enc;
        enc.setSeedSource(fixedSeed);
        ASSERT_TRUE(enc.EncryptFile(p, p, kKey)) << n << ": " << enc.LastError;
        EXPECT_EQ(readBytes(p), expected) << n;

        clsBlowfish dec;
        ASSERT_TRUE(dec.DecryptFile(p, p, kKey)) << n << ": " << dec.LastError;
        EXPECT_EQ(readBytes(p), plain) << n;

        // Nothing is left beside the file.
        EXPECT_EQ(std::distance(fs::directory_iterator(d.root()), fs::directory_iterator()), 1) << n;
    }
}

TEST(FileCipherSamePath, HiddenFileIsReplacedByItsEncipheringAndBack) {
    // A hidden file is not deleted before writing, so it must not be
    // truncated while it is still being read either.
    ScratchDir d;
    for (std::size_t n : {1u, 100u, 70000u}) {
        const Bytes plain = randomBytes(n, 63 + static_cast<std::uint32_t>(n));
        const std::string p = d.path(".doc.bin");
        writeBytes(p, plain);
        clsBlowfish enc;
        ASSERT_TRUE(enc.EncryptFile(p, p, kKey)) << n << ": " << enc.LastError;
        ASSERT_EQ(fs::file_size(p), cipherLength(n)) << n;
        expectCipherBufferOf(readBytes(p), plain, kKey);
        clsBlowfish dec;
        ASSERT_TRUE(dec.DecryptFile(p, p, kKey)) << n << ": " << dec.LastError;
        EXPECT_EQ(readBytes(p), plain) << n;
        EXPECT_EQ(std::distance(fs::directory_iterator(d.root()), fs::directory_iterator()), 1) << n;
    }
}

TEST(FileCipherSamePath, SameFileByAnotherSpelling) {
    ScratchDir d;
    const Bytes plain = randomBytes(3000, 61);
    writeBytes(d.path("doc.bin"), plain);
    const std::string other = (d.root() / "." / "doc.bin").string();
    clsBlowfish enc;
    ASSERT_TRUE(enc.EncryptFile(d.path("doc.bin"), other, kKey)) << enc.LastError;
    ASSERT_EQ(fs::file_size(d.path("doc.bin")), cipherLength(plain.size()));
    expectCipherBufferOf(readBytes(d.path("doc.bin")), plain, kKey);
    clsBlowfish dec;
    ASSERT_TRUE(dec.DecryptFile(other, d.path("doc.bin"), kKey)) << dec.LastError;
    EXPECT_EQ(readBytes(d.path("doc.bin")), plain);
}

TEST(FileCipherSamePath, WrongKeyInPlaceKeepsTheWholeLength) {
    ScratchDir d;
    const std::string p = d.path("doc.enz");
    writeBytes(p, randomBytes(50, 62));
    clsBlowfish enc;
    ASSERT_TRUE(enc.EncryptFile(p, p, kKey));
    const Bytes cipher = readBytes(p);
    clsBlowfish dec;
    ASSERT_TRUE(dec.DecryptFile(p, p, "wrong"));
    EXPECT_EQ(readBytes(p), cbcDecipherByHand(cipher, "wrong"));
}

// ---------------------------------------------------------------------------
// Failures

TEST(FileCipherFailure, MissingInputForEncrypt) {
    ScratchDir d;
    const std::string in = d.path("missing.doc");
    clsBlowfish c;
    Recorder progress;
    progress.attach(c);
    EXPECT_FALSE(c.EncryptFile(in, d.path("out"), kKey));
    EXPECT_EQ(c.LastError, "Unable to locate " + in + ".");
    EXPECT_FALSE(fs::exists(d.path("out")));
    EXPECT_TRUE(progress.percents.empty());
}

TEST(FileCipherFailure, MissingInputForDecrypt) {
    ScratchDir d;
    const std::string in = d.path("missing.enz");
    clsBlowfish c;
    EXPECT_FALSE(c.DecryptFile(in, d.path("out"), kKey));
    EXPECT_EQ(c.LastError, "Unable to locate " + in + ".");
    EXPECT_FALSE(fs::exists(d.path("out")));
}

// Runs a test from inside a directory and goes back afterwards.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const fs::path& dir) : previous_(fs::current_path()) { fs::current_path(dir); }
    ~WorkingDirectory() { fs::current_path(previous_); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    fs::path previous_;
};

TEST(FileCipherFailure, MissingInputPathIsQuotedAsGiven) {
    ScratchDir d;
    WorkingDirectory here(d.root());
    clsBlowfish c;
    EXPECT_FALSE(c.EncryptFile("./sub/../r\xC3\xA9sum\xC3\xA9.doc", "out", kKey));
    EXPECT_EQ(c.LastError, "Unable to locate ./sub/../r\xC3\xA9sum\xC3\xA9.doc.");
    EXPECT_FALSE(c.DecryptFile("no folder/x.enz", "out", kKey));
    EXPECT_EQ(c.LastError, "Unable to locate no folder/x.enz.");
    EXPECT_FALSE(fs::exists(d.path("out")));
}

TEST(FileCipherFailure, DirectoryAsInputCannotBeLocated) {
    ScratchDir d;
    fs::create_directory(d.path("folder"));
    clsBlowfish c;
    EXPECT_FALSE(c.EncryptFile(d.path("folder"), d.path("out"), kKey));
    EXPECT_EQ(c.LastError, "Unable to locate " + d.path("folder") + ".");
    EXPECT_FALSE(c.DecryptFile(d.path("folder"), d.path("out"), kKey));
    EXPECT_EQ(c.LastError, "Unable to locate " + d.path("folder") + ".");
    EXPECT_FALSE(fs::exists(d.path("out")));
}

TEST(FileCipherFailure, OutputIsADirectory) {
    ScratchDir d;
    const Bytes plain = randomBytes(100, 13);
    writeBytes(d.path("in"), plain);
    fs::create_directory(d.path("folder"));
    writeBytes(d.path("folder/inside"), textBytes("kept"));

    clsBlowfish enc;
    EXPECT_FALSE(enc.EncryptFile(d.path("in"), d.path("folder"), kKey));
    EXPECT_FALSE(enc.LastError.empty());
    EXPECT_TRUE(fs::is_directory(d.path("folder")));
    EXPECT_EQ(readBytes(d.path("folder/inside")), textBytes("kept"));
    EXPECT_EQ(readBytes(d.path("in")), plain);

    clsBlowfish dec;
    EXPECT_FALSE(dec.DecryptFile(d.path("in"), d.path("folder"), kKey));
    EXPECT_FALSE(dec.LastError.empty());
    EXPECT_TRUE(fs::is_directory(d.path("folder")));
    EXPECT_EQ(readBytes(d.path("in")), plain);
}

TEST(FileCipherFailure, EmptyDirectoryAsOutputIsNotRemoved) {
    ScratchDir d;
    writeBytes(d.path("in"), textBytes("abc"));
    fs::create_directory(d.path("empty-folder"));
    clsBlowfish c;
    EXPECT_FALSE(c.EncryptFile(d.path("in"), d.path("empty-folder"), kKey));
    EXPECT_FALSE(c.LastError.empty());
    EXPECT_TRUE(fs::is_directory(d.path("empty-folder")));
}

TEST(FileCipherFailure, OutputBelowARegularFile) {
    ScratchDir d;
    const Bytes plain = randomBytes(64, 14);
    writeBytes(d.path("in"), plain);
    writeBytes(d.path("file"), textBytes("not a folder"));

    clsBlowfish enc;
    EXPECT_FALSE(enc.EncryptFile(d.path("in"), d.path("file/out.enz"), kKey));
    EXPECT_FALSE(enc.LastError.empty());
    EXPECT_EQ(readBytes(d.path("in")), plain);
    EXPECT_EQ(readBytes(d.path("file")), textBytes("not a folder"));

    clsBlowfish dec;
    EXPECT_FALSE(dec.DecryptFile(d.path("in"), d.path("file/out.zip"), kKey));
    EXPECT_FALSE(dec.LastError.empty());
    EXPECT_EQ(readBytes(d.path("in")), plain);
}

TEST(FileCipherFailure, OutputInMissingFolder) {
    ScratchDir d;
    writeBytes(d.path("in"), textBytes("abc"));
    clsBlowfish c;
    EXPECT_FALSE(c.EncryptFile(d.path("in"), d.path("no-such-folder/out.enz"), kKey));
    EXPECT_FALSE(c.LastError.empty());
    EXPECT_FALSE(fs::exists(d.path("no-such-folder")));
}

TEST(FileCipherFailure, LastErrorIsNotClearedBySuccess) {
    ScratchDir d;
    writeBytes(d.path("in"), textBytes("abc"));
    clsBlowfish c;
    EXPECT_FALSE(c.EncryptFile(d.path("missing"), d.path("out"), kKey));
    const std::string reason = c.LastError;
    ASSERT_EQ(reason, "Unable to locate " + d.path("missing") + ".");
    EXPECT_TRUE(c.EncryptFile(d.path("in"), d.path("out"), kKey));
    EXPECT_EQ(c.LastError, reason);
    EXPECT_TRUE(c.DecryptFile(d.path("out"), d.path("back"), kKey));
    EXPECT_EQ(c.LastError, reason);
}

TEST(FileCipherFailure, ObjectStillWorksAfterAFailure) {
    ScratchDir d;
    const Bytes plain = randomBytes(200, 15);
    writeBytes(d.path("in"), plain);
    fs::create_directory(d.path("folder"));
    clsBlowfish enc;
    ASSERT_FALSE(enc.EncryptFile(d.path("in"), d.path("folder"), kKey));
    ASSERT_TRUE(enc.EncryptFile(d.path("in"), d.path("enz"), kKey));
    clsBlowfish dec;
    ASSERT_FALSE(dec.DecryptFile(d.path("enz"), d.path("folder"), kKey));
    ASSERT_TRUE(dec.DecryptFile(d.path("enz"), d.path("out"), kKey));
    EXPECT_EQ(readBytes(d.path("out")), plain);
}

std::size_t openDescriptors() {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

TEST(FileCipherFailure, FilesAreClosedOnEveryOutcome) {
    ScratchDir d;
    writeBytes(d.path("in"), randomBytes(5000, 16));
    writeBytes(d.path("file"), textBytes("x"));
    fs::create_directory(d.path("folder"));
    {
        clsBlowfish warmUp;  // whatever is opened once per process is open before counting
        ASSERT_TRUE(warmUp.EncryptFile(d.path("in"), d.path("enz"), kKey));
        ASSERT_TRUE(warmUp.DecryptFile(d.path("enz"), d.path("out"), kKey));
    }
    const std::size_t before = openDescriptors();
    for (int round = 0; round < 3; ++round) {
        clsBlowfish c;
        EXPECT_FALSE(c.EncryptFile(d.path("in"), d.path("folder"), kKey));
        EXPECT_FALSE(c.EncryptFile(d.path("in"), d.path("file/out"), kKey));
        EXPECT_FALSE(c.DecryptFile(d.path("enz"), d.path("folder"), kKey));
        EXPECT_FALSE(c.DecryptFile(d.path("enz"), d.path("file/out"), kKey));
        EXPECT_FALSE(c.EncryptFile(d.path("missing"), d.path("out"), kKey));
        EXPECT_TRUE(c.EncryptFile(d.path("in"), d.path("enz"), kKey));
        EXPECT_TRUE(c.DecryptFile(d.path("enz"), d.path("out"), "wrong"));
    }
    EXPECT_EQ(openDescriptors(), before);
}

// ---------------------------------------------------------------------------
// The 32-bit size descriptor

// Should the refusal ever be skipped, the first progress report stops the
// run, so that a failing test does not go on to write gibibytes.
struct EncipheringStarted {};

void stopAtFirstReport(clsBlowfish& c, std::vector<int>& percents) {
    c.Progress = [&percents](std::int32_t p) {
        percents.push_back(p);
        throw EncipheringStarted{};
    };
}

std::string sparseFile(const ScratchDir& d, const std::string& name, std::uintmax_t length) {
    const std::string path = d.path(name);
    { std::ofstream(path, std::ios::binary); }
    fs::resize_file(path, length);  // sparse: no data blocks are written
    return path;
}

TEST(FileCipherTooLarge, PlaintextOverFourGibibytesIsRefused) {
    ScratchDir d;
    const std::string in = sparseFile(d, "huge.zip", 4294967296ULL);
    clsBlowfish c;
    std::vector<int> percents;
    stopAtFirstReport(c, percents);
    bool result = true;
    EXPECT_NO_THROW(result = c.EncryptFile(in, d.path("huge.enz"), kKey));
    EXPECT_FALSE(result);
    EXPECT_FALSE(c.LastError.empty());
    EXPECT_NE(c.LastError.find(in), std::string::npos) << c.LastError;
    EXPECT_FALSE(fs::exists(d.path("huge.enz")));
    EXPECT_TRUE(percents.empty());
    EXPECT_EQ(fs::file_size(in), 4294967296ULL);
}

TEST(FileCipherTooLarge, RefusalLeavesAnExistingOutputAlone) {
    ScratchDir d;
    const std::string in = sparseFile(d, "huge.zip", clsBlowfish::kMaxPlaintextBytes + 1);
    const Bytes old = textBytes("an earlier archive");
    writeBytes(d.path("huge.enz"), old);
    clsBlowfish c;
    std::vector<int> percents;
    stopAtFirstReport(c, percents);
    bool result = true;
    EXPECT_NO_THROW(result = c.EncryptFile(in, d.path("huge.enz"), kKey));
    EXPECT_FALSE(result);
    EXPECT_NE(c.LastError.find(in), std::string::npos) << c.LastError;
    EXPECT_EQ(readBytes(d.path("huge.enz")), old);
}

TEST(FileCipherTooLarge, RefusalAlsoWithSmallChunks) {
    ScratchDir d;
    const std::string in = sparseFile(d, "huge.zip", 5000000000ULL);
    clsBlowfish c;
    std::vector<int> percents;
    stopAtFirstReport(c, percents);
    bool result = true;
    EXPECT_NO_THROW(result = c.encryptFileInChunks(in, d.path("huge.enz"), kKey, 64));
    EXPECT_FALSE(result);
    EXPECT_NE(c.LastError.find(in), std::string::npos) << c.LastError;
    EXPECT_FALSE(fs::exists(d.path("huge.enz")));
}

TEST(FileCipherTooLarge, LimitIsTheLargestThirtyTwoBitValue) {
    EXPECT_EQ(clsBlowfish::kMaxPlaintextBytes, 4294967295ULL);
}

}  // namespace
