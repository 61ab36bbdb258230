// Opening an archive while it is deciphered: the directory comes from
// memory, the whole open gives the files back, reports the deciphering and
// then the extraction on the calling thread, stops when asked, falls back to
// one step after the other where it must, and leaves nothing when the
// deciphering fails.
#include "decipher_and_extract.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <random>
#include <thread>

#include "container.h"
#include "failure_points.h"
#include "growing_zip.h"
#include "libzip_component.h"
#include "noise.h"
#include "safe_file.h"
#include "temp_directory.h"
#include "zip_reader.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
using morvane::decipherAndExtract;
using morvane::GrowingZip;
using morvane::LibzipComponent;
using morvane::testing::noise;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;
using Bytes = std::vector<std::uint8_t>;

std::string content(std::size_t size, unsigned seed) {
    std::mt19937 rng(seed);
    std::string out;
    while (out.size() < size) out += (rng() % 3 == 0) ? std::string(1, static_cast<char>(rng())) : "words and more ";
    out.resize(size);
    return out;
}

// The zip component and cipher of one opening, set as the decrypt job sets
// them; run() opens a.enz of the folder into out/ through t.zip.
struct Opening {
    explicit Opening(const std::string& zipPassword) {
        zip.SetUnzipPassword(zipPassword);
        cipher.flushOutput = false;
    }
    morvane::OpenedArchive run(const TempDirectory& dir, const std::string& key,
                               const std::function<void()>& deciphered = {}) {
        return decipherAndExtract(cipher, zip, dir.file("a.enz"), dir.file("t.zip"), key, dir.file("out"), "",
                                  deciphered);
    }
    LibzipComponent zip;
    clsBlowfish cipher;
};

// Packs the files into an archive with the program's recipe.
void makeArchive(const TempDirectory& dir, const std::vector<std::string>& names, const std::string& password) {
    LibzipComponent zip;
    clsBlowfish cipher;
    std::vector<std::string> files;
    for (const std::string& name : names) files.push_back(dir.file("in/" + name));
    ASSERT_EQ(morvane::makeCombinedArchive(zip, cipher, dir.file("a.enz"), files, password),
              morvane::ContainerResult::Done);
}

TEST(DecipherAndExtract, EveryFileComesBackAndTheTemporaryZipWasWrittenWhole) {
    TempDirectory dir("open-overlap");
    fs::create_directories(dir.file("in"));
    std::vector<std::string> names;
    for (unsigned i = 0; i < 6; ++i) {
        names.push_back("f" + std::to_string(i));
        writeFile(dir.file("in/" + names.back()), content(700000 * i + 5, i));
    }
    makeArchive(dir, names, "pass 1");
    Opening o(morvane::zipPassword("pass 1"));
    bool zipWhole = false;
    const auto opened = o.run(dir, "pass 1", [&] {
        // The temporary zip is in place when deciphering ends.
        clsBlowfish check;
        zipWhole = check.DecryptFile(dir.file("a.enz"), dir.file("c.zip"), "pass 1") &&
                   readFile(dir.file("c.zip")) == readFile(dir.file("t.zip"));
    });
    EXPECT_TRUE(opened.deciphered);
    EXPECT_TRUE(opened.extracted) << o.zip.LastExtraction().detail;
    EXPECT_TRUE(zipWhole);
    for (const std::string& name : names)
        EXPECT_EQ(readFile(dir.file("out/" + name)), readFile(dir.file("in/" + name)));
}

TEST(DecipherAndExtract, TheMembersAreKnownBeforeAnyOfTheZipIsWritten) {
    // Extraction can only follow the deciphering if reading the directory
    // waits for none of the zip's bytes to reach the file.
    TempDirectory dir("open-end-first");
    fs::create_directories(dir.file("in"));
    std::vector<std::string> names;
    for (unsigned i = 0; i < 3; ++i) {
        names.push_back("e" + std::to_string(i));
        writeFile(dir.file("in/" + names.back()), noise(400000, 20 + i));  // far more than 64 KiB in all
    }
    makeArchive(dir, names, "end");
    clsBlowfish cipher;
    std::optional<morvane::ZipEnd> end = morvane::decipherZipEnd(cipher, dir.file("a.enz"), "end");
    ASSERT_TRUE(end);
    const std::size_t tail = end->tail.size();
    GrowingZip growing(cipher.tables(), dir.file("a.enz"), std::move(*end), dir.file("t.zip"), false);
    ASSERT_TRUE(growing.open());
    std::string error;
    std::unique_ptr<morvane::ZipReader> reader = morvane::ZipReader::open(growing, error);
    ASSERT_TRUE(reader) << error;
    EXPECT_EQ(reader->entries().size(), names.size());
    EXPECT_EQ(growing.decipheredBytes(), tail);
    EXPECT_LT(tail, growing.size() / 10);
    EXPECT_FALSE(fs::exists(dir.file("t.zip")));
}

TEST(DecipherAndExtract, OneLargeFileComesBack) {
    // One member: one thread reads it, with the next piece deciphered ahead.
    TempDirectory dir("open-one");
    fs::create_directories(dir.file("in"));
    writeFile(dir.file("in/big"), content(5000000, 31));
    makeArchive(dir, {"big"}, "one");
    Opening o(morvane::zipPassword("one"));
    const auto opened = o.run(dir, "one");
    EXPECT_TRUE(opened.deciphered) << o.cipher.LastError;
    EXPECT_TRUE(opened.extracted) << o.zip.LastExtraction().detail;
    EXPECT_EQ(readFile(dir.file("out/big")), readFile(dir.file("in/big")));
    clsBlowfish check;
    ASSERT_TRUE(check.DecryptFile(dir.file("a.enz"), dir.file("c.zip"), "one"));
    EXPECT_EQ(readFile(dir.file("t.zip")), readFile(dir.file("c.zip")));
}

TEST(DecipherAndExtract, TheDecipheringThenTheExtractionIsReportedOnTheCallingThread) {
    TempDirectory dir("open-progress");
    fs::create_directories(dir.file("in"));
    std::vector<std::string> names;
    for (unsigned i = 0; i < 3; ++i) {
        names.push_back("p" + std::to_string(i));
        writeFile(dir.file("in/" + names.back()), content(2000000, 50 + i));
    }
    makeArchive(dir, names, "pr");
    Opening o(morvane::zipPassword("pr"));
    const std::thread::id caller = std::this_thread::get_id();
    std::vector<std::string> events;
    bool elsewhere = false;
    o.cipher.Progress = [&](std::int32_t percent) {
        elsewhere = elsewhere || std::this_thread::get_id() != caller;
        events.push_back("cipher " + std::to_string(percent));
    };
    o.zip.Progress = [&](int percent) {
        elsewhere = elsewhere || std::this_thread::get_id() != caller;
        events.push_back("zip " + std::to_string(percent));
    };
    const auto opened = o.run(dir, "pr", [&] { events.push_back("deciphered"); });
    EXPECT_TRUE(opened.deciphered);
    EXPECT_TRUE(opened.extracted) << o.zip.LastExtraction().detail;
    EXPECT_FALSE(elsewhere);
    // The cipher's percents from 0 to 100, rising, then "deciphered" once,
    // then the zip's, ending at 100.
    ASSERT_GE(events.size(), 4u);
    EXPECT_EQ(events.front(), "cipher 0");
    const auto announced = std::find(events.begin(), events.end(), "deciphered");
    ASSERT_NE(announced, events.end());
    EXPECT_EQ(std::count(events.begin(), events.end(), "deciphered"), 1);
    EXPECT_EQ(*(announced - 1), "cipher 100");
    int last = -1;
    for (auto it = events.begin(); it != announced; ++it) {
        ASSERT_EQ(it->rfind("cipher ", 0), 0u) << *it;
        const int percent = std::stoi(it->substr(7));
        EXPECT_GT(percent, last);
        last = percent;
    }
    for (auto it = announced + 1; it != events.end(); ++it) EXPECT_EQ(it->rfind("zip ", 0), 0u) << *it;
    EXPECT_EQ(events.back(), "zip 100");
}

TEST(DecipherAndExtract, AStopWhileDecipheringLeavesNothing) {
    TempDirectory dir("open-stop");
    fs::create_directories(dir.file("in"));
    for (unsigned i = 0; i < 2; ++i) writeFile(dir.file("in/s" + std::to_string(i)), content(3000000, 60 + i));
    makeArchive(dir, {"s0", "s1"}, "st");
    Opening o(morvane::zipPassword("st"));
    o.cipher.Progress = [&](std::int32_t) { o.cipher.StopWork(); };  // the person presses Cancel at once
    const auto opened = o.run(dir, "st");
    EXPECT_FALSE(opened.deciphered);
    EXPECT_FALSE(opened.extracted);
    EXPECT_EQ(o.cipher.LastError, clsBlowfish::kStoppedError);
    EXPECT_FALSE(fs::exists(dir.file("t.zip")));
    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(dir.path())) left.push_back(entry.path().filename());
    std::sort(left.begin(), left.end());
    if (fs::exists(dir.file("out"))) {
        EXPECT_TRUE(fs::is_empty(dir.file("out")));
        left.erase(std::find(left.begin(), left.end(), "out"));
    }
    EXPECT_EQ(left, (std::vector<std::string>{"a.enz", "in"}));
}

TEST(DecipherAndExtract, AZipThatDoesNotOpenIsStillDecipheredWholeReportedAndStoppable) {
    // The archive's key is right but the zip password is not: extraction
    // fails at the first member, and the rest of the zip is deciphered after
    // it, with the cipher's events and its stop on the calling thread.
    TempDirectory dir("open-zip-wrong");
    fs::create_directories(dir.file("in"));
    writeFile(dir.file("in/w0"), noise(24000000, 70));
    writeFile(dir.file("in/w1"), noise(24000000, 71));
    makeArchive(dir, {"w0", "w1"}, "key");
    clsBlowfish check;
    ASSERT_TRUE(check.DecryptFile(dir.file("a.enz"), dir.file("c.zip"), "key"));
    const std::thread::id caller = std::this_thread::get_id();
    {
        Opening o("not the zip password");
        std::vector<int> percents;
        bool elsewhere = false;
        o.cipher.Progress = [&](std::int32_t percent) {
            elsewhere = elsewhere || std::this_thread::get_id() != caller;
            percents.push_back(percent);
        };
        const auto opened = o.run(dir, "key");
        EXPECT_TRUE(opened.deciphered) << o.cipher.LastError;
        EXPECT_FALSE(opened.extracted);
        EXPECT_EQ(o.zip.LastExtraction().failure, morvane::ExtractionReport::Failure::WrongPassword);
        EXPECT_EQ(readFile(dir.file("t.zip")), readFile(dir.file("c.zip")));
        EXPECT_FALSE(elsewhere);
        ASSERT_GE(percents.size(), 4u);  // several while the rest is deciphered
        EXPECT_EQ(percents.front(), 0);
        EXPECT_EQ(percents.back(), 100);
        EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
        fs::remove(dir.file("t.zip"));
    }
    {
        // Stopped once the deciphering after the failed extraction is under
        // way (the zip's end alone is far below 1 %).
        Opening o("not the zip password");
        o.cipher.Progress = [&](std::int32_t percent) {
            if (percent >= 1) o.cipher.StopWork();
        };
        const auto opened = o.run(dir, "key");
        EXPECT_FALSE(opened.deciphered);
        EXPECT_EQ(o.cipher.LastError, clsBlowfish::kStoppedError);
        EXPECT_FALSE(fs::exists(dir.file("t.zip")));
        for (const auto& entry : fs::directory_iterator(dir.path()))
            EXPECT_FALSE(morvane::isTemporaryFileName(entry.path().filename().string())) << entry.path();
    }
}

TEST(DecipherAndExtract, ATemporaryZipThatCannotTakeItsNamePutsNoFileInPlace) {
    // Every byte reaches the temporary file and extraction reads them all,
    // but the file cannot take its name (a folder is there): the deciphering
    // failed, and not one member may take its place.
    TempDirectory dir("open-no-rename");
    fs::create_directories(dir.file("in"));
    writeFile(dir.file("in/r0"), content(300000, 40));
    writeFile(dir.file("in/r1"), content(200000, 41));
    makeArchive(dir, {"r0", "r1"}, "pw");
    fs::create_directories(dir.file("t.zip"));
    writeFile(dir.file("t.zip/keep"), "x");
    Opening o(morvane::zipPassword("pw"));
    const auto opened = o.run(dir, "pw");
    EXPECT_FALSE(opened.deciphered);
    EXPECT_FALSE(opened.extracted);
    EXPECT_FALSE(fs::exists(dir.file("out/r0")));
    EXPECT_FALSE(fs::exists(dir.file("out/r1")));
    if (fs::exists(dir.file("out"))) {
        EXPECT_TRUE(fs::is_empty(dir.file("out")));
    }
}

TEST(DecipherAndExtract, AWrongPasswordIsAZipThatDoesNotOpen) {
    TempDirectory dir("open-wrong");
    fs::create_directories(dir.file("in"));
    writeFile(dir.file("in/a"), content(100000, 3));
    makeArchive(dir, {"a"}, "right");
    LibzipComponent zip;
    zip.SetUnzipPassword(morvane::zipPassword("wrong"));
    clsBlowfish cipher;
    const auto opened =
        decipherAndExtract(cipher, zip, dir.file("a.enz"), dir.file("t.zip"), "wrong", dir.file("out"), "");
    EXPECT_TRUE(opened.deciphered);  // the whole deciphered length, as ever
    EXPECT_FALSE(opened.extracted);
    EXPECT_EQ(zip.LastExtraction().failure, morvane::ExtractionReport::Failure::NotAZip);
    EXPECT_FALSE(fs::exists(dir.file("out/a")));
}

TEST(DecipherAndExtract, AZipWithACommentIsOpenedOneStepAfterTheOther) {
    TempDirectory dir("open-comment");
    fs::create_directories(dir.file("in"));
    writeFile(dir.file("in/a"), content(300000, 4));
    // Info-ZIP's zip with a comment, enciphered as an archive is.
    ASSERT_EQ(
        std::system(("cd '" + dir.file("in") + "' && echo note | zip -q -z -P '" + "zp" + "' ../c.zip a").c_str()), 0);
    clsBlowfish cipher;
    ASSERT_TRUE(cipher.EncryptFile(dir.file("c.zip"), dir.file("c.enz"), "key"));
    LibzipComponent zip;
    zip.SetUnzipPassword("zp");
    const auto opened =
        decipherAndExtract(cipher, zip, dir.file("c.enz"), dir.file("t.zip"), "key", dir.file("out"), "");
    EXPECT_TRUE(opened.deciphered);
    EXPECT_TRUE(opened.extracted) << zip.LastExtraction().detail;
    EXPECT_EQ(readFile(dir.file("out/a")), readFile(dir.file("in/a")));
}

TEST(DecipherAndExtract, AFailureWhileDecipheringWritesNoFile) {
    TempDirectory dir("open-fail");
    fs::create_directories(dir.file("in"));
    std::vector<std::string> names;
    for (unsigned i = 0; i < 4; ++i) {
        names.push_back("m" + std::to_string(i));
        writeFile(dir.file("in/" + names.back()), content(900000, 10 + i));
    }
    makeArchive(dir, names, "pw");
    // The disk fills up at each of the first writes in turn (the temporary
    // zip's and the extraction's, both under way at once): the destination
    // stays as it was, and a temporary zip that failed is not left behind.
    for (int k = 1; k <= 8; ++k) {
        fs::remove_all(dir.file("out"));
        fs::create_directories(dir.file("out"));
        writeFile(dir.file("out/m0"), "old");
        Opening o(morvane::zipPassword("pw"));
        morvane::FailurePoints::arm(static_cast<std::uint64_t>(k), true);
        const auto opened = o.run(dir, "pw");
        morvane::FailurePoints::reset();
        EXPECT_FALSE(opened.extracted) << k;
        std::vector<std::string> left;
        for (const auto& entry : fs::directory_iterator(dir.file("out"))) left.push_back(entry.path().filename());
        EXPECT_EQ(left, std::vector<std::string>{"m0"}) << k;
        EXPECT_EQ(readFile(dir.file("out/m0")), "old") << k;
        if (!opened.deciphered) {
            EXPECT_FALSE(fs::exists(dir.file("t.zip"))) << k;
        }
        fs::remove(dir.file("t.zip"));
    }
}

}  // namespace
