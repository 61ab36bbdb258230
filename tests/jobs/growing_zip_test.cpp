// The zip of an archive deciphered as it is read: every read gives the bytes
// the whole deciphering gives, lone and parallel readers alike; the file
// takes its name only when complete and holds the whole zip then; a full
// disk, a stop or an archive cut short fail every read after them and leave
// no file behind.
#include "growing_zip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <thread>

#include "container.h"
#include "decipher_and_extract.h"
#include "failure_points.h"
#include "libzip_component.h"
#include "noise.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
using morvane::GrowingZip;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;
using Bytes = std::vector<std::uint8_t>;

const std::string kPassword = "growing pw";

// An archive of files of the given sizes in `dir` (bytes deflate cannot
// shrink, so the zip is as long as its files) and its zip deciphered whole.
struct Archive {
    Archive(const TempDirectory& folder, const std::vector<std::size_t>& sizes) : dir(folder) {
        fs::create_directories(dir.file("in"));
        std::vector<std::string> files;
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            files.push_back(dir.file("in/f" + std::to_string(i)));
            writeFile(files.back(), morvane::testing::noise(sizes[i], static_cast<std::uint32_t>(i + 7)));
        }
        morvane::LibzipComponent zip;
        clsBlowfish maker;
        EXPECT_EQ(morvane::makeCombinedArchive(zip, maker, dir.file("a.enz"), files, kPassword),
                  morvane::ContainerResult::Done);
        clsBlowfish whole;
        EXPECT_TRUE(whole.DecryptFile(dir.file("a.enz"), dir.file("whole.zip"), kPassword));
        zipBytes = readFile(dir.file("whole.zip"));
        fs::remove(dir.file("whole.zip"));
    }

    // The archive's zip with its end deciphered ahead, to be written to
    // t.zip; nothing when the end cannot be deciphered.
    std::unique_ptr<GrowingZip> growing(bool durable = false) {
        std::optional<morvane::ZipEnd> end = morvane::decipherZipEnd(cipher, dir.file("a.enz"), kPassword);
        if (!end) return nullptr;
        tailBytes = end->tail.size();
        return std::make_unique<GrowingZip>(cipher.tables(), dir.file("a.enz"), std::move(*end), dir.file("t.zip"),
                                            durable);
    }

    const TempDirectory& dir;
    clsBlowfish cipher;
    std::string zipBytes;
    std::size_t tailBytes = 0;  // of the end the last growing() deciphered
};

std::string readRange(GrowingZip& zip, std::uint64_t offset, std::size_t length, bool& ok) {
    Bytes bytes(length);
    ok = zip.read(offset, bytes.data(), bytes.size());
    return {bytes.begin(), bytes.end()};
}

// The files in `dir` other than the archive and its sources.
std::vector<std::string> othersIn(const TempDirectory& dir) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir.path()))
        if (entry.path().filename() != "a.enz" && entry.path().filename() != "in")
            names.push_back(entry.path().filename().string());
    return names;
}

TEST(GrowingZip, ReadsDecipherTheirBytesAndTheZipTakesItsNameOnlyWhenComplete) {
    TempDirectory dir("growing-reads");
    Archive a(dir, {300000, 5, 700001});
    const std::unique_ptr<GrowingZip> zip = a.growing();
    ASSERT_TRUE(zip);
    const std::size_t tail = a.tailBytes;
    ASSERT_TRUE(zip->open()) << zip->error();
    ASSERT_EQ(zip->size(), a.zipBytes.size());
    EXPECT_EQ(zip->decipheredBytes(), tail);

    // Any place, any length: at the zip's start, across block edges, one
    // byte, into the end kept in memory, the whole zip.
    std::mt19937 rng(5);
    std::vector<std::pair<std::uint64_t, std::size_t>> ranges = {{0, 1},         {0, 30},
                                                                 {3, 5},         {4, 8},
                                                                 {7, 9},         {a.zipBytes.size() - 100, 100},
                                                                 {1000, 300000}, {0, a.zipBytes.size()}};
    for (int i = 0; i < 60; ++i) {
        const std::uint64_t at = rng() % a.zipBytes.size();
        ranges.emplace_back(at, 1 + rng() % std::min<std::size_t>(a.zipBytes.size() - at, 90000));
    }
    for (const auto& [at, length] : ranges) {
        bool ok = false;
        const std::string got = readRange(*zip, at, length, ok);
        ASSERT_TRUE(ok) << at << " " << length << ": " << zip->error();
        ASSERT_EQ(got, a.zipBytes.substr(at, length)) << at << " " << length;
    }
    bool ok = true;
    readRange(*zip, a.zipBytes.size() - 10, 11, ok);
    EXPECT_FALSE(ok);  // beyond the zip

    EXPECT_FALSE(fs::exists(dir.file("t.zip")));
    EXPECT_FALSE(zip->isComplete());
    ASSERT_TRUE(zip->waitComplete()) << zip->error();
    EXPECT_TRUE(zip->isComplete());
    EXPECT_TRUE(zip->waitComplete());
    EXPECT_EQ(readFile(dir.file("t.zip")), a.zipBytes);
    EXPECT_EQ(zip->decipheredBytes(), zip->size());
    EXPECT_EQ(othersIn(dir), std::vector<std::string>{"t.zip"});  // no temporary file left
    // Reads go on after the file is complete, and leave it as it is.
    const std::string again = readRange(*zip, 12345, 6789, ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(again, a.zipBytes.substr(12345, 6789));
    EXPECT_EQ(readFile(dir.file("t.zip")), a.zipBytes);
}

TEST(GrowingZip, NothingReadMeansTheCompletionDeciphersItAll) {
    TempDirectory dir("growing-unread");
    Archive a(dir, {2500000, 100});
    const std::unique_ptr<GrowingZip> zip = a.growing(true);
    ASSERT_TRUE(zip);
    const std::size_t tail = a.tailBytes;
    ASSERT_TRUE(zip->open());
    EXPECT_EQ(zip->decipheredBytes(), tail);  // only the end, deciphered ahead
    ASSERT_TRUE(zip->waitComplete()) << zip->error();
    EXPECT_EQ(readFile(dir.file("t.zip")), a.zipBytes);
}

TEST(GrowingZip, ALoneReaderGetsThePieceAheadAndTwoReadersEachTheirOwn) {
    TempDirectory dir("growing-ahead");
    Archive a(dir, {3000000, 2000000});
    const std::unique_ptr<GrowingZip> zip = a.growing();
    ASSERT_TRUE(zip);
    ASSERT_TRUE(zip->open());
    const std::size_t piece = 256 << 10;
    bool ok = false;
    {
        // Alone: in order, then a jump back and a jump forward, each read
        // against the piece deciphered ahead of it.
        const GrowingZip::ReadingThread reading(*zip);
        std::vector<std::uint64_t> starts;
        for (std::uint64_t at = 100; at + piece < 2000000; at += piece) starts.push_back(at);
        starts.push_back(100 + piece);
        starts.push_back(1500000);
        starts.push_back(1500000 + piece);
        for (const std::uint64_t at : starts) {
            const std::string got = readRange(*zip, at, piece, ok);
            ASSERT_TRUE(ok) << at;
            ASSERT_EQ(got, a.zipBytes.substr(at, piece)) << at;
        }
    }
    // Two at once, each through its own half.
    const std::uint64_t half = a.zipBytes.size() / 2;
    std::atomic<int> wrong{0};
    const auto readHalf = [&](std::uint64_t from, std::uint64_t to) {
        const GrowingZip::ReadingThread reading(*zip);
        for (std::uint64_t at = from; at < to; at += piece) {
            bool fine = false;
            const std::size_t length = static_cast<std::size_t>(std::min<std::uint64_t>(piece, to - at));
            if (readRange(*zip, at, length, fine) != a.zipBytes.substr(at, length) || !fine) ++wrong;
        }
    };
    std::thread other(readHalf, half, a.zipBytes.size());
    readHalf(0, half);
    other.join();
    EXPECT_EQ(wrong.load(), 0);
    ASSERT_TRUE(zip->waitComplete());
    EXPECT_EQ(readFile(dir.file("t.zip")), a.zipBytes);
}

TEST(GrowingZip, AFullDiskFailsTheReadAndEveryOneAfterAndLeavesNoFile) {
    TempDirectory dir("growing-full");
    Archive a(dir, {900000});
    const std::unique_ptr<GrowingZip> zip = a.growing();
    ASSERT_TRUE(zip);
    ASSERT_TRUE(zip->open());
    bool ok = false;
    readRange(*zip, 0, 1000, ok);
    ASSERT_TRUE(ok);
    morvane::FailurePoints::arm(1, true);
    readRange(*zip, 1000, 200000, ok);
    morvane::FailurePoints::reset();
    EXPECT_FALSE(ok);
    EXPECT_EQ(zip->error(), "No space left on device");
    readRange(*zip, 0, 1000, ok);  // read before, fails now
    EXPECT_FALSE(ok);
    EXPECT_FALSE(zip->waitComplete());
    EXPECT_FALSE(zip->isComplete());
    EXPECT_TRUE(othersIn(dir).empty());
}

TEST(GrowingZip, AFailureWhileCompletingLeavesNoFile) {
    TempDirectory dir("growing-full-end");
    Archive a(dir, {1500000, 10});
    for (int k = 1; k <= 4; ++k) {
        const std::unique_ptr<GrowingZip> zip = a.growing(true);
        ASSERT_TRUE(zip);
        ASSERT_TRUE(zip->open());
        morvane::FailurePoints::arm(static_cast<std::uint64_t>(k), true);
        EXPECT_FALSE(zip->waitComplete()) << k;
        morvane::FailurePoints::reset();
        EXPECT_EQ(zip->error(), "No space left on device") << k;
        EXPECT_TRUE(othersIn(dir).empty()) << k;
    }
}

TEST(GrowingZip, AStopFailsEveryReadAndTheCompletion) {
    TempDirectory dir("growing-stop");
    Archive a(dir, {400000});
    const std::unique_ptr<GrowingZip> zip = a.growing();
    ASSERT_TRUE(zip);
    ASSERT_TRUE(zip->open());
    bool ok = false;
    readRange(*zip, 0, 300000, ok);
    ASSERT_TRUE(ok);
    zip->stop();
    readRange(*zip, 300000, 100, ok);
    EXPECT_FALSE(ok);
    EXPECT_FALSE(zip->waitComplete());
    EXPECT_EQ(zip->error(), clsBlowfish::kStoppedError);
    EXPECT_TRUE(othersIn(dir).empty());
}

TEST(GrowingZip, AnArchiveCutShortWhileItIsReadIsNamed) {
    TempDirectory dir("growing-cut");
    Archive a(dir, {600000});
    const std::unique_ptr<GrowingZip> zip = a.growing();
    ASSERT_TRUE(zip);
    ASSERT_TRUE(zip->open());
    fs::resize_file(dir.file("a.enz"), 1000);
    bool ok = true;
    readRange(*zip, 5000, 1000, ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(zip->error(), dir.file("a.enz") + " became shorter while it was being read.");
    EXPECT_FALSE(zip->waitComplete());
    EXPECT_TRUE(othersIn(dir).empty());
}

TEST(GrowingZip, AnArchiveThatCannotBeOpenedIsNamed) {
    TempDirectory dir("growing-gone");
    Archive a(dir, {1000});
    const std::unique_ptr<GrowingZip> zip = a.growing();
    ASSERT_TRUE(zip);
    fs::remove(dir.file("a.enz"));
    EXPECT_FALSE(zip->open());
    EXPECT_EQ(zip->error(), "No such file or directory");
    EXPECT_TRUE(othersIn(dir).empty());
}

}  // namespace
