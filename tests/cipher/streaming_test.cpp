// The file cipher streams files in bounded chunks. Whatever the chunk size,
// the file it writes and the percentages it reports must be those of the
// whole-buffer operations (encipherBuffer / decipherBuffer over the whole
// file content), including after a failed size check.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "clsBlowfish.h"
#include "scratch_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kKey = "streaming key";
constexpr const char* kWrongKey = "streaming kex";
constexpr std::size_t kChunk = clsBlowfish::kFileChunkBytes;

struct ScratchDir : morvane::testing::ScratchDirectory {
    ScratchDir() : ScratchDirectory("stream") {}
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

// One pool of random bytes; plaintexts are its prefixes.
const Bytes& pool() {
    static const Bytes bytes = [] {
        std::mt19937 gen(20240601);
        Bytes b(3 * kChunk + 64);
        for (auto& x : b) x = static_cast<std::uint8_t>(gen());
        return b;
    }();
    return bytes;
}

Bytes prefix(std::size_t n) { return Bytes(pool().begin(), pool().begin() + static_cast<std::ptrdiff_t>(n)); }

std::uint64_t fixedSeed() { return 0x0123456789ABCDEFULL; }

struct Outcome {
    bool ok = false;
    Bytes bytes;
    std::vector<int> percents;
};

void record(clsBlowfish& c, Outcome& o) {
    c.Progress = [&o](std::int32_t p) { o.percents.push_back(p); };
}

Outcome encipherWhole(const Bytes& plain, const std::string& key) {
    Outcome o;
    clsBlowfish c;
    c.setSeedSource(fixedSeed);
    record(c, o);
    o.bytes = plain;
    c.encipherBuffer(o.bytes, key);
    o.ok = true;
    return o;
}

Outcome decipherWhole(const Bytes& cipher, const std::string& key) {
    Outcome o;
    clsBlowfish c;
    record(c, o);
    o.bytes = cipher;
    c.decipherBuffer(o.bytes, key);
    o.ok = true;
    return o;
}

// chunkBytes 0: the public EncryptFile / DecryptFile.
Outcome encryptStreamed(const ScratchDir& d, const Bytes& plain, const std::string& key, std::size_t chunkBytes) {
    Outcome o;
    writeBytes(d.path("plain"), plain);
    clsBlowfish c;
    c.setSeedSource(fixedSeed);
    record(c, o);
    o.ok = chunkBytes == 0 ? c.EncryptFile(d.path("plain"), d.path("cipher"), key)
                           : c.encryptFileInChunks(d.path("plain"), d.path("cipher"), key, chunkBytes);
    o.bytes = readBytes(d.path("cipher"));
    return o;
}

Outcome decryptStreamed(const ScratchDir& d, const Bytes& cipher, const std::string& key, std::size_t chunkBytes) {
    Outcome o;
    writeBytes(d.path("cipher"), cipher);
    clsBlowfish c;
    record(c, o);
    o.ok = chunkBytes == 0 ? c.DecryptFile(d.path("cipher"), d.path("plain"), key)
                           : c.decryptFileInChunks(d.path("cipher"), d.path("plain"), key, chunkBytes);
    o.bytes = readBytes(d.path("plain"));
    return o;
}

// The progress rule worked block by block over a buffer of `total` bytes.
std::vector<int> percentsByRule(std::uint64_t total, bool finished) {
    std::vector<int> out;
    double threshold = 0;
    for (std::uint64_t i = 0; i + 8 <= total; i += 8) {
        if (static_cast<double>(i) < threshold) continue;
        const int p = static_cast<int>(std::floor(static_cast<double>(i) / static_cast<double>(total) * 100.0));
        threshold = std::nearbyint((p + 1) / 100.0 * static_cast<double>(total) + 1.0);  // ties to even
        out.push_back(p);
    }
    if (finished && (out.empty() || out.back() != 100)) out.push_back(100);
    return out;
}

// Compares without printing megabytes when they differ.
void expectSameOutcome(const Outcome& streamed, const Outcome& whole) {
    EXPECT_TRUE(streamed.ok);
    ASSERT_EQ(streamed.bytes.size(), whole.bytes.size());
    if (streamed.bytes != whole.bytes) {
        std::size_t first = 0;
        while (streamed.bytes[first] == whole.bytes[first]) ++first;
        ADD_FAILURE() << "bytes differ, first at offset " << first;
    }
    EXPECT_EQ(streamed.percents, whole.percents);
}

Bytes cbcEncipherByHand(const Bytes& laid, const std::string& key) {
    clsBlowfish engine;
    engine.key(key);
    Bytes out = laid;
    std::uint32_t prevL = 0, prevR = 0;
    auto load = [](const std::uint8_t* p) {
        return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) | p[3];
    };
    auto store = [](std::uint8_t* p, std::uint32_t v) {
        for (int k = 0; k < 4; ++k) p[k] = static_cast<std::uint8_t>(v >> (24 - 8 * k));
    };
    for (std::size_t i = 0; i + 8 <= out.size(); i += 8) {
        std::uint32_t L = load(&out[i]) ^ prevL, R = load(&out[i + 4]) ^ prevR;
        engine.encipherBlock(L, R);
        store(&out[i], L);
        store(&out[i + 4], R);
        prevL = L;
        prevR = R;
    }
    return out;
}

// A cipher buffer of `total` bytes whose size descriptor says `n`.
Bytes bufferClaiming(std::size_t total, std::uint32_t n) {
    Bytes laid = prefix(total);
    for (int k = 0; k < 4; ++k) laid[8 + k] = static_cast<std::uint8_t>(n >> (8 * k));
    return cbcEncipherByHand(laid, kKey);
}

std::vector<std::size_t> sizesAround(std::size_t chunk) {
    std::vector<std::size_t> sizes;
    for (std::size_t n = 0; n <= 70; ++n) sizes.push_back(n);
    for (std::size_t edge : {chunk, 2 * chunk})
        for (std::size_t n = edge > 20 ? edge - 20 : 0; n <= edge + 20; ++n) sizes.push_back(n);
    sizes.push_back(3 * chunk + 5);
    return sizes;
}

// ---------------------------------------------------------------------------
// Small chunks: many chunk edges for little work.

class StreamingSmallChunks : public ::testing::TestWithParam<std::size_t> {};

TEST_P(StreamingSmallChunks, EncryptWritesTheWholeBufferEnciphering) {
    ScratchDir d;
    const std::size_t chunk = GetParam();
    for (std::size_t n : sizesAround(chunk)) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const Bytes plain = prefix(n);
        const Outcome whole = encipherWhole(plain, kKey);
        expectSameOutcome(encryptStreamed(d, plain, kKey, chunk), whole);
        EXPECT_EQ(whole.percents, percentsByRule(whole.bytes.size(), true));
    }
}

TEST_P(StreamingSmallChunks, DecryptWithTheRightKeyWritesThePlaintext) {
    ScratchDir d;
    const std::size_t chunk = GetParam();
    for (std::size_t n : sizesAround(chunk)) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const Bytes plain = prefix(n);
        const Bytes cipher = encipherWhole(plain, kKey).bytes;
        const Outcome whole = decipherWhole(cipher, kKey);
        ASSERT_EQ(whole.bytes, plain);
        expectSameOutcome(decryptStreamed(d, cipher, kKey, chunk), whole);
        EXPECT_EQ(whole.percents, percentsByRule(cipher.size(), true));
    }
}

TEST_P(StreamingSmallChunks, DecryptWithAWrongKeyWritesTheWholeDecipheredLength) {
    ScratchDir d;
    const std::size_t chunk = GetParam();
    for (std::size_t n : sizesAround(chunk)) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const Bytes cipher = encipherWhole(prefix(n), kKey).bytes;
        const Outcome whole = decipherWhole(cipher, kWrongKey);
        ASSERT_EQ(whole.bytes.size(), cipher.size());
        expectSameOutcome(decryptStreamed(d, cipher, kWrongKey, chunk), whole);
        EXPECT_EQ(whole.percents, percentsByRule(cipher.size(), false));
    }
}

TEST_P(StreamingSmallChunks, DecryptOfArbitraryLengthsMatchesTheBuffer) {
    // Lengths below 16 or not a multiple of 8 fail the size check; the others
    // hold random bytes, which fail it too but go through every block.
    ScratchDir d;
    const std::size_t chunk = GetParam();
    for (std::size_t length : sizesAround(chunk)) {
        SCOPED_TRACE("length = " + std::to_string(length));
        const Bytes junk = prefix(length);
        const Outcome whole = decipherWhole(junk, kKey);
        ASSERT_EQ(whole.bytes.size(), length);
        expectSameOutcome(decryptStreamed(d, junk, kKey, chunk), whole);
    }
}

TEST_P(StreamingSmallChunks, DecryptOfDamagedSizeDescriptorsMatchesTheBuffer) {
    ScratchDir d;
    const std::size_t chunk = GetParam();
    for (std::size_t total : {std::size_t{16}, std::size_t{24}, std::size_t{64}, chunk, chunk + 8, 2 * chunk + 16}) {
        const auto t = static_cast<std::uint32_t>(total);
        for (std::uint32_t n : {t - 11, t - 20, t, t + 1, 0xFFFFFFFFu, 0x80000000u}) {
            SCOPED_TRACE("T = " + std::to_string(total) + ", n = " + std::to_string(n));
            const Bytes cipher = bufferClaiming(total, n);
            const Outcome whole = decipherWhole(cipher, kKey);
            ASSERT_EQ(whole.bytes.size(), total);
            expectSameOutcome(decryptStreamed(d, cipher, kKey, chunk), whole);
            EXPECT_EQ(whole.percents, percentsByRule(total, false));
        }
    }
}

TEST_P(StreamingSmallChunks, DecryptOfSizeDescriptorsAtTheLimitsMatchesTheBuffer) {
    // T - n of exactly 12 and 19 still fit.
    ScratchDir d;
    const std::size_t chunk = GetParam();
    for (std::size_t total : {std::size_t{24}, std::size_t{32}, chunk + 8, 2 * chunk + 16}) {
        const auto t = static_cast<std::uint32_t>(total);
        for (std::uint32_t n : {t - 12, t - 19}) {
            SCOPED_TRACE("T = " + std::to_string(total) + ", n = " + std::to_string(n));
            const Bytes cipher = bufferClaiming(total, n);
            const Outcome whole = decipherWhole(cipher, kKey);
            ASSERT_EQ(whole.bytes, Bytes(pool().begin() + 12, pool().begin() + 12 + n));
            expectSameOutcome(decryptStreamed(d, cipher, kKey, chunk), whole);
            EXPECT_EQ(whole.percents, percentsByRule(total, true));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(StreamingChunkBytes, StreamingSmallChunks, ::testing::Values(16, 24, 64, 4096));

TEST(StreamingOddChunkSizes, ChunkSizesThatAreNotWholeBlocksGiveTheSameFiles) {
    ScratchDir d;
    for (std::size_t chunk : {std::size_t{1}, std::size_t{7}, std::size_t{20}, std::size_t{100}}) {
        for (std::size_t n : {0u, 3u, 4u, 5u, 27u, 28u, 29u, 100u, 333u}) {
            SCOPED_TRACE("chunk = " + std::to_string(chunk) + ", n = " + std::to_string(n));
            const Bytes plain = prefix(n);
            const Outcome whole = encipherWhole(plain, kKey);
            expectSameOutcome(encryptStreamed(d, plain, kKey, chunk), whole);
            expectSameOutcome(decryptStreamed(d, whole.bytes, kKey, chunk), decipherWhole(whole.bytes, kKey));
            Bytes ragged = whole.bytes;
            ragged.push_back(0x42);
            expectSameOutcome(decryptStreamed(d, ragged, kKey, chunk), decipherWhole(ragged, kKey));
        }
    }
}

// ---------------------------------------------------------------------------
// Chunks large enough for deciphering on two cores.

TEST(StreamingTwoCoreChunks, DecryptOfLongRunsMatchesTheBuffer) {
    ScratchDir d;
    for (std::size_t chunk : {std::size_t{40000}, std::size_t{65536}}) {
        for (std::size_t n : {std::size_t{32 * 1024}, std::size_t{39990}, std::size_t{100003}, std::size_t{200000}}) {
            SCOPED_TRACE("chunk = " + std::to_string(chunk) + ", n = " + std::to_string(n));
            const Bytes plain = prefix(n);
            const Bytes cipher = encipherWhole(plain, kKey).bytes;
            const Outcome right = decipherWhole(cipher, kKey);
            ASSERT_EQ(right.bytes, plain);
            expectSameOutcome(decryptStreamed(d, cipher, kKey, chunk), right);
            expectSameOutcome(decryptStreamed(d, cipher, kWrongKey, chunk), decipherWhole(cipher, kWrongKey));
        }
    }
}

// ---------------------------------------------------------------------------
// The real chunk size, through EncryptFile and DecryptFile.

TEST(StreamingFileChunk, ChunkIsBoundedAndWholeBlocks) {
    EXPECT_EQ(kChunk % 8, 0u);
    EXPECT_GE(kChunk, 16u);
    EXPECT_LE(kChunk, std::size_t{64} << 20);
}

TEST(StreamingFileChunk, EncryptAroundTheChunkSize) {
    // T crosses the chunk size between n = kChunk - 20 and kChunk + 20.
    ScratchDir d;
    for (std::size_t n = kChunk - 20; n <= kChunk + 20; ++n) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const Bytes plain = prefix(n);
        const Outcome whole = encipherWhole(plain, kKey);
        expectSameOutcome(encryptStreamed(d, plain, kKey, 0), whole);
        EXPECT_EQ(whole.percents, percentsByRule(whole.bytes.size(), true));
    }
}

TEST(StreamingFileChunk, DecryptAroundTheChunkSize) {
    ScratchDir d;
    for (std::size_t n = kChunk - 20; n <= kChunk + 20; n += 4) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const Bytes plain = prefix(n);
        const Bytes cipher = encipherWhole(plain, kKey).bytes;
        const Outcome whole = decipherWhole(cipher, kKey);
        ASSERT_EQ(whole.bytes, plain);
        expectSameOutcome(decryptStreamed(d, cipher, kKey, 0), whole);
        EXPECT_EQ(whole.percents, percentsByRule(cipher.size(), true));
    }
}

TEST(StreamingFileChunk, DecryptWithAWrongKeyAroundTheChunkSize) {
    ScratchDir d;
    for (std::size_t n : {kChunk - 20, kChunk - 12, kChunk - 4, kChunk + 4}) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const Bytes cipher = encipherWhole(prefix(n), kKey).bytes;
        const Outcome whole = decipherWhole(cipher, kWrongKey);
        expectSameOutcome(decryptStreamed(d, cipher, kWrongKey, 0), whole);
        EXPECT_EQ(whole.percents, percentsByRule(cipher.size(), false));
    }
}

TEST(StreamingFileChunk, DecryptOfRaggedLengthsAroundTheChunkSize) {
    ScratchDir d;
    for (std::size_t length : {kChunk - 3, kChunk + 1, kChunk + 5, kChunk + 7}) {
        SCOPED_TRACE("length = " + std::to_string(length));
        const Bytes junk = prefix(length);
        const Outcome whole = decipherWhole(junk, kKey);
        ASSERT_EQ(whole.bytes.size(), length);
        expectSameOutcome(decryptStreamed(d, junk, kKey, 0), whole);
    }
}

TEST(StreamingFileChunk, DamagedSizeDescriptorOverSeveralChunks) {
    ScratchDir d;
    const std::size_t total = 2 * kChunk + 24;
    const Bytes cipher = bufferClaiming(total, static_cast<std::uint32_t>(total - 20));
    const Outcome whole = decipherWhole(cipher, kKey);
    ASSERT_EQ(whole.bytes.size(), total);
    expectSameOutcome(decryptStreamed(d, cipher, kKey, 0), whole);
    EXPECT_EQ(whole.percents, percentsByRule(total, false));
}

TEST(StreamingFileChunk, SeveralChunksBothWays) {
    ScratchDir d;
    for (std::size_t n : {2 * kChunk, 3 * kChunk + 5}) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const Bytes plain = prefix(n);
        const Outcome enciphered = encipherWhole(plain, kKey);
        expectSameOutcome(encryptStreamed(d, plain, kKey, 0), enciphered);
        EXPECT_EQ(enciphered.percents, percentsByRule(enciphered.bytes.size(), true));
        const Outcome deciphered = decipherWhole(enciphered.bytes, kKey);
        ASSERT_EQ(deciphered.bytes, plain);
        expectSameOutcome(decryptStreamed(d, enciphered.bytes, kKey, 0), deciphered);
        expectSameOutcome(decryptStreamed(d, enciphered.bytes, kWrongKey, 0),
                          decipherWhole(enciphered.bytes, kWrongKey));
    }
}

// The progress window follows the work: reports come while the output is
// being written (under its temporary name: the final name appears only when
// the file is complete), not all at the end.
TEST(StreamingFileChunk, ReportsArriveWhileTheFileIsWritten) {
    ScratchDir d;
    const Bytes plain = prefix(3 * kChunk + 5);
    writeBytes(d.path("plain"), plain);
    for (bool encrypt : {true, false}) {
        SCOPED_TRACE(encrypt ? "encrypt" : "decrypt");
        const std::string out = d.path(encrypt ? "cipher" : "back");
        std::vector<std::uintmax_t> sizes;
        bool finalNameSeenEarly = false;
        clsBlowfish c;
        c.Progress = [&](std::int32_t percent) {
            if (percent < 100 && fs::exists(out)) finalNameSeenEarly = true;
            std::uintmax_t size = 0;
            for (const auto& entry : fs::directory_iterator(fs::path(out).parent_path()))
                if (entry.path().filename().string().rfind(".~mv", 0) == 0) size = entry.file_size();
            sizes.push_back(size);
        };
        ASSERT_TRUE(encrypt ? c.EncryptFile(d.path("plain"), out, kKey) : c.DecryptFile(d.path("cipher"), out, kKey));
        const auto final = fs::file_size(out);
        ASSERT_FALSE(sizes.empty());
        EXPECT_LT(sizes.front(), final);
        EXPECT_TRUE(std::is_sorted(sizes.begin(), sizes.end()));
        EXPECT_GE(std::set<std::uintmax_t>(sizes.begin(), sizes.end()).size(), 3u);
        EXPECT_FALSE(finalNameSeenEarly);
    }
    EXPECT_EQ(readBytes(d.path("back")), plain);
}

TEST(StreamingFileChunk, EmptyKeyOnAFreshObjectMatchesTheBuffer) {
    ScratchDir d;
    const Bytes plain = prefix(1000);
    const Outcome whole = encipherWhole(plain, "");
    expectSameOutcome(encryptStreamed(d, plain, "", 0), whole);
    expectSameOutcome(decryptStreamed(d, whole.bytes, "", 0), decipherWhole(whole.bytes, ""));
}

}  // namespace

namespace {

TEST(DecipherInto, TheSinkWorksBesideTheDecipheringAndGetsEveryPieceInOrder) {
    // Pieces reach the sink on a thread of their own, one at a time and in
    // order, while `between` runs on the caller's thread after each piece.
    morvane::testing::ScratchDirectory dir("stream-sink");
    std::mt19937 rng(31);
    std::string plain(5 * clsBlowfish::kFileChunkBytes + 777, '\0');
    for (char& c : plain) c = static_cast<char>(rng());
    const std::string in = dir.file("plain.bin", plain);
    clsBlowfish cipher;
    ASSERT_TRUE(cipher.EncryptFile(in, dir.path("plain.enc"), "sink key"));

    const std::thread::id caller = std::this_thread::get_id();
    std::string received;
    std::set<std::thread::id> sinkThreads;
    std::atomic<int> inSink{0};
    bool overlapped = false;
    int betweens = 0;
    bool betweenOnCaller = true;
    ASSERT_TRUE(cipher.decipherFileInto(
        dir.path("plain.enc"), "sink key",
        [&](std::span<const std::uint8_t> piece) {
            overlapped = overlapped || ++inSink > 1;
            sinkThreads.insert(std::this_thread::get_id());
            received.append(reinterpret_cast<const char*>(piece.data()), piece.size());
            --inSink;
            return true;
        },
        [&] {
            ++betweens;
            betweenOnCaller = betweenOnCaller && std::this_thread::get_id() == caller;
        }));
    EXPECT_EQ(received, plain);
    EXPECT_FALSE(overlapped);
    EXPECT_EQ(sinkThreads.size(), 1u);
    EXPECT_EQ(sinkThreads.count(caller), 0u);
    EXPECT_TRUE(betweenOnCaller);
    EXPECT_EQ(betweens, 6);
}

TEST(DecipherInto, ASinkThatSaysStopEndsTheDeciphering) {
    morvane::testing::ScratchDirectory dir("stream-stop");
    const std::string in = dir.file("p.bin", std::string(3 * clsBlowfish::kFileChunkBytes, 'p'));
    clsBlowfish cipher;
    ASSERT_TRUE(cipher.EncryptFile(in, dir.path("p.enc"), "k"));
    int pieces = 0;
    EXPECT_FALSE(
        cipher.decipherFileInto(dir.path("p.enc"), "k", [&](std::span<const std::uint8_t>) { return ++pieces < 2; }));
    EXPECT_EQ(pieces, 2);
}

}  // namespace
