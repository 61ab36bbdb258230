// Opening an archive while it is deciphered: the growing zip's reads wait
// for the writer and fail with it, the directory comes from memory, and the
// whole open gives the files back, falls back to one step after the other
// where it must, and leaves nothing when the deciphering fails.
#include "decipher_and_extract.h"

#include <gtest/gtest.h>

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
#include "safe_file.h"
#include "temp_directory.h"
#include "zip_reader.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
using morvane::decipherAndExtract;
using morvane::GrowingZip;
using morvane::LibzipComponent;
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

TEST(GrowingZip, ReadsWaitForTheWriterAndTheEndComesFromMemory) {
    TempDirectory dir("growing-wait");
    const std::string data = content(1000, 1);
    writeFile(dir.file("part.tmp"), data.substr(0, 600));
    GrowingZip zip(1000, 900, Bytes(data.begin() + 900, data.end()), dir.file("final.zip"));

    Bytes end(100);
    ASSERT_TRUE(zip.read(900, end.data(), end.size()));  // no writer needed
    EXPECT_EQ(std::string(end.begin(), end.end()), data.substr(900));

    std::atomic<bool> done{false};
    Bytes middle(200);
    std::thread reader([&] {
        EXPECT_TRUE(zip.read(400, middle.data(), middle.size()));
        done = true;
    });
    zip.written(500, dir.file("part.tmp"));  // not far enough yet
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(done.load());
    zip.written(600, dir.file("part.tmp"));
    reader.join();
    EXPECT_EQ(std::string(middle.begin(), middle.end()), data.substr(400, 200));
}

TEST(GrowingZip, AFailedWriterFailsEveryWaitingRead) {
    TempDirectory dir("growing-fail");
    writeFile(dir.file("part.tmp"), std::string(100, 'x'));
    GrowingZip zip(1000, 1000, {}, dir.file("final.zip"));
    zip.written(100, dir.file("part.tmp"));
    std::atomic<int> result{-1};
    std::thread reader([&] {
        Bytes bytes(50);
        result = zip.read(500, bytes.data(), bytes.size()) ? 1 : 0;
    });
    zip.finished(false);
    reader.join();
    EXPECT_EQ(result.load(), 0);
    EXPECT_FALSE(zip.waitComplete());
    Bytes early(10);
    EXPECT_FALSE(zip.read(0, early.data(), early.size()));
}

TEST(GrowingZip, AFileRenamedBeforeItsFirstReadIsReadUnderItsFinalName) {
    TempDirectory dir("growing-renamed");
    const std::string data = content(300, 2);
    writeFile(dir.file("final.zip"), data);
    GrowingZip zip(300, 300, {}, dir.file("final.zip"));
    zip.written(300, dir.file("gone.tmp"));  // renamed since
    zip.finished(true);
    Bytes bytes(300);
    ASSERT_TRUE(zip.read(0, bytes.data(), bytes.size()));
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), data);
    EXPECT_FALSE(zip.read(250, bytes.data(), 100));  // beyond the zip
}

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
    LibzipComponent zip;
    zip.SetUnzipPassword(morvane::zipPassword("pass 1"));
    clsBlowfish cipher;
    cipher.flushOutput = false;
    bool zipWhole = false;
    const auto opened =
        decipherAndExtract(cipher, zip, dir.file("a.enz"), dir.file("t.zip"), "pass 1", dir.file("out"), "", [&] {
            // The temporary zip is in place when deciphering ends.
            clsBlowfish check;
            zipWhole = check.DecryptFile(dir.file("a.enz"), dir.file("c.zip"), "pass 1") &&
                       readFile(dir.file("c.zip")) == readFile(dir.file("t.zip"));
        });
    EXPECT_TRUE(opened.deciphered);
    EXPECT_TRUE(opened.extracted) << zip.LastExtraction().detail;
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
        writeFile(dir.file("in/" + names.back()), content(400000, 20 + i));  // more than 64 KiB in all
    }
    makeArchive(dir, names, "end");
    clsBlowfish cipher;
    std::optional<morvane::ZipEnd> end = morvane::decipherZipEnd(cipher, dir.file("a.enz"), "end");
    ASSERT_TRUE(end);
    GrowingZip growing(end->size, end->tailStart, std::move(end->tail), dir.file("t.zip"));
    auto opening = std::async(std::launch::async, [&] {
        std::string error;
        std::unique_ptr<morvane::ZipReader> reader = morvane::ZipReader::open(growing, error);
        return reader ? reader->entries().size() : std::size_t{0};
    });
    const bool openedAtOnce = opening.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    growing.finished(false);  // lets a reader that waited go
    EXPECT_TRUE(openedAtOnce);
    EXPECT_EQ(opening.get(), names.size());
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
    LibzipComponent zip;
    zip.SetUnzipPassword(morvane::zipPassword("pw"));
    clsBlowfish cipher;
    cipher.flushOutput = false;
    const auto opened =
        decipherAndExtract(cipher, zip, dir.file("a.enz"), dir.file("t.zip"), "pw", dir.file("out"), "");
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
        LibzipComponent zip;
        zip.SetUnzipPassword(morvane::zipPassword("pw"));
        clsBlowfish cipher;
        cipher.flushOutput = false;
        morvane::FailurePoints::arm(static_cast<std::uint64_t>(k), true);
        const auto opened =
            decipherAndExtract(cipher, zip, dir.file("a.enz"), dir.file("t.zip"), "pw", dir.file("out"), "");
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
