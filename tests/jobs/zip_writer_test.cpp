// The archive writer for new archives, read back by this program and by the
// real zip programs, around every edge of its two-core deflate.
#include "zip_writer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <random>
#include <set>

#include "libzip_component.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::LibzipComponent;
using morvane::ZipWriter;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

// The names of a folder's entries.
std::set<std::string> entryNames(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

// Text that deflates well, and bytes that do not, mixed.
std::string content(std::size_t size, unsigned seed) {
    std::mt19937 rng(seed);
    static const std::array<std::string, 6> words = {"alpha ", "bravo ", "charlie ", "delta\n", "echo ", "foxtrot "};
    std::string out;
    out.reserve(size);
    while (out.size() < size) {
        if (rng() % 5 == 0) {
            for (int i = 0; i < 64 && out.size() < size; ++i) out += static_cast<char>(rng());
        } else {
            out += words[rng() % words.size()];
        }
    }
    out.resize(size);
    return out;
}

int run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()); }

const std::size_t kSizes[] = {0,      1,       19,      20,      65535,       65536,      65537,
                              131072, 1048575, 1048576, 1048577, 2097152 + 7, 3145728 - 1};

TEST(ZipWriter, AesArchivesReadBackByThisProgramAndBySevenZip) {
    TempDirectory dir("writer-aes");
    fs::create_directories(dir.file("in"));
    fs::create_directories(dir.file("out"));
    for (std::size_t size : kSizes) writeFile(dir.file("in/f" + std::to_string(size)), content(size, 7 + size));
    {
        LibzipComponent zip;
        zip.SetZipPassword("Pass word 1");
        for (std::size_t size : kSizes)
            ASSERT_TRUE(
                zip.ZipFiles(dir.file("in/"), "\"f" + std::to_string(size) + "\"", dir.file(""), "a.zip", "-4"));
        ASSERT_TRUE(zip.CommitArchive());
        zip.SetUnzipPassword("Pass word 1");
        ASSERT_TRUE(zip.UnzipFiles(dir.file("a.zip"), "*.*", dir.file("out"), ""));
    }
    for (std::size_t size : kSizes) {
        const std::string name = "f" + std::to_string(size);
        EXPECT_EQ(readFile(dir.file("out/" + name)), readFile(dir.file("in/" + name))) << name;
    }
    EXPECT_EQ(run("7zz t -p'Pass word 1' '" + dir.file("a.zip") + "'"), 0);
    EXPECT_NE(run("7zz t -p'wrong' '" + dir.file("a.zip") + "'"), 0);
}

TEST(ZipWriter, UnencryptedArchivesPassInfoZipsOwnTest) {
    TempDirectory dir("writer-plain");
    fs::create_directories(dir.file("in"));
    for (std::size_t size : kSizes) writeFile(dir.file("in/f" + std::to_string(size)), content(size, 99 + size));
    LibzipComponent zip;
    for (std::size_t size : kSizes)
        ASSERT_TRUE(zip.ZipFiles(dir.file("in/"), "\"f" + std::to_string(size) + "\"", dir.file(""), "p.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());
    EXPECT_EQ(run("unzip -t '" + dir.file("p.zip") + "'"), 0);
    EXPECT_EQ(run("unzip -q -d '" + dir.file("x") + "' '" + dir.file("p.zip") + "'"), 0);
    for (std::size_t size : kSizes) {
        const std::string name = "f" + std::to_string(size);
        EXPECT_EQ(readFile(dir.file("x/" + name)), readFile(dir.file("in/" + name))) << name;
    }
}

TEST(ZipWriter, LevelZeroStoresTheBytes) {
    TempDirectory dir("writer-store");
    const std::string text(5000, 'a');  // deflate would shrink it to almost nothing
    writeFile(dir.file("s.txt"), text);
    LibzipComponent zip;
    ASSERT_TRUE(zip.ZipFiles(dir.file(""), "\"s.txt\"", dir.file(""), "s.zip", "-0"));
    ASSERT_TRUE(zip.CommitArchive());
    EXPECT_GT(fs::file_size(dir.file("s.zip")), text.size());
    EXPECT_EQ(run("unzip -t '" + dir.file("s.zip") + "'"), 0);
}

TEST(ZipWriter, NonAsciiNamesAreMarkedUtf8) {
    TempDirectory dir("writer-names");
    writeFile(dir.file("résumé ü.txt"), "x");
    LibzipComponent zip;
    zip.SetZipPassword("pw");
    ASSERT_TRUE(zip.ZipFiles(dir.file(""), "\"résumé ü.txt\"", dir.file(""), "n.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());
    fs::create_directories(dir.file("out"));
    EXPECT_EQ(run("cd '" + dir.file("out") + "' && 7zz x -ppw '" + dir.file("n.zip") + "'"), 0);
    EXPECT_EQ(readFile(dir.file("out/résumé ü.txt")), "x");
}

TEST(ZipWriter, FailedAddLeavesTheEntriesBeforeIt) {
    TempDirectory dir("writer-fail");
    writeFile(dir.file("one.txt"), content(200000, 1));
    auto writer = ZipWriter::create(dir.file("w.zip"));
    ASSERT_TRUE(writer);
    ASSERT_EQ(writer->addFile(dir.file("one.txt"), "one.txt", 4, "pw", {}, {}), ZipWriter::AddResult::Added);
    EXPECT_EQ(writer->addFile(dir.file("missing.txt"), "missing.txt", 4, "pw", {}, {}), ZipWriter::AddResult::Failed);
    // Stopped half-way through the second file: it is cut off again.
    writeFile(dir.file("two.txt"), content(3 << 20, 2));
    int calls = 0;
    EXPECT_EQ(writer->addFile(dir.file("two.txt"), "two.txt", 4, "pw", {}, [&calls] { return ++calls > 1; }),
              ZipWriter::AddResult::Failed);
    ASSERT_TRUE(writer->commit());
    EXPECT_EQ(entryNames(dir.path()), (std::set<std::string>{"one.txt", "two.txt", "w.zip"}));
    LibzipComponent zip;
    zip.SetUnzipPassword("pw");
    fs::create_directories(dir.file("out"));
    ASSERT_TRUE(zip.UnzipFiles(dir.file("w.zip"), "*.*", dir.file("out"), ""));
    EXPECT_EQ(readFile(dir.file("out/one.txt")), readFile(dir.file("one.txt")));
    EXPECT_FALSE(fs::exists(dir.file("out/two.txt")));
    EXPECT_EQ(run("7zz t -ppw '" + dir.file("w.zip") + "'"), 0);
}

TEST(ZipWriter, CommitWithoutEntriesMakesNoArchive) {
    TempDirectory dir("writer-empty");
    auto writer = ZipWriter::create(dir.file("e.zip"));
    ASSERT_TRUE(writer);
    ASSERT_TRUE(writer->commit());
    EXPECT_TRUE(entryNames(dir.path()).empty());
}

}  // namespace

namespace {

// More entries than the classic end record can count: the archive then ends
// with zip64 records, which the real zip programs and this program read.
TEST(ZipWriterZip64, MoreThan65535EntriesAreCountedInZip64Records) {
    TempDirectory dir("writer-zip64");
    writeFile(dir.file("tiny.txt"), "t");
    constexpr int kEntries = 65536 + 10;
    {
        auto writer = ZipWriter::create(dir.file("many.zip"));
        ASSERT_TRUE(writer);
        for (int i = 0; i < kEntries; ++i)
            ASSERT_EQ(writer->addFile(dir.file("tiny.txt"), "e" + std::to_string(i), 0, "", {}, {}),
                      ZipWriter::AddResult::Added)
                << i;
        ASSERT_TRUE(writer->commit());
    }
    const std::string archive = readFile(dir.file("many.zip"));
    EXPECT_NE(archive.find(std::string("PK\x06\x06", 4)), std::string::npos);  // zip64 end record
    EXPECT_NE(archive.find(std::string("PK\x06\x07", 4)), std::string::npos);  // and its locator
    EXPECT_EQ(run("7zz t '" + dir.file("many.zip") + "'"), 0);
    LibzipComponent zip;
    fs::create_directories(dir.file("out"));
    ASSERT_TRUE(zip.UnzipFiles(dir.file("many.zip"), "*.*", dir.file("out"), ""));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.file("out")), fs::directory_iterator()), kEntries);
    EXPECT_EQ(readFile(dir.file("out/e65545")), "t");
}

// The same name added again replaces the entry: one name, the last content.
TEST(ZipWriter, SameNameTwiceKeepsTheLastContent) {
    TempDirectory dir("writer-same");
    writeFile(dir.file("a1"), "first");
    writeFile(dir.file("a2"), "second");
    auto writer = ZipWriter::create(dir.file("s.zip"));
    ASSERT_TRUE(writer);
    ASSERT_EQ(writer->addFile(dir.file("a1"), "same.txt", 4, "pw", {}, {}), ZipWriter::AddResult::Added);
    ASSERT_EQ(writer->addFile(dir.file("a2"), "same.txt", 4, "pw", {}, {}), ZipWriter::AddResult::Added);
    ASSERT_TRUE(writer->commit());
    LibzipComponent zip;
    zip.SetUnzipPassword("pw");
    fs::create_directories(dir.file("out"));
    ASSERT_TRUE(zip.UnzipFiles(dir.file("s.zip"), "*.*", dir.file("out"), ""));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.file("out")), fs::directory_iterator()), 1);
    EXPECT_EQ(readFile(dir.file("out/same.txt")), "second");
}

}  // namespace

namespace {

// Data that deflates to almost nothing inflates in many output buffers from
// little input: the last of its output must come out even when the input is
// used up before the output buffer was emptied.
TEST(ZipWriterInflate, HighlyCompressibleDataComesBackWhole) {
    TempDirectory dir("writer-zeros");
    fs::create_directories(dir.file("in"));
    std::vector<std::string> names;
    for (std::size_t blocks = 1; blocks <= 6; ++blocks) {
        for (const long delta : {-300L, -1L, 0L, 1L, 257L, 4096L}) {
            const std::size_t size = blocks * (256 * 1024) + static_cast<std::size_t>(delta);
            const std::string name = "z" + std::to_string(size);
            std::string data(size, '\0');
            data.back() = 'x';
            writeFile(dir.file("in/" + name), data);
            names.push_back(name);
        }
    }
    LibzipComponent zip;
    zip.SetZipPassword("pw");
    for (const std::string& name : names)
        ASSERT_TRUE(zip.ZipFiles(dir.file("in/"), "\"" + name + "\"", dir.file(""), "z.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());
    EXPECT_EQ(run("7zz t -ppw '" + dir.file("z.zip") + "'"), 0);  // the archive itself is sound
    zip.SetUnzipPassword("pw");
    fs::create_directories(dir.file("out"));
    ASSERT_TRUE(zip.UnzipFiles(dir.file("z.zip"), "*.*", dir.file("out"), ""));
    for (const std::string& name : names)
        EXPECT_EQ(readFile(dir.file("out/" + name)), readFile(dir.file("in/" + name))) << name;
}

}  // namespace

namespace {

// Files made of random mixtures of long runs, text and random bytes, of many
// sizes, through the writer and back.
TEST(ZipWriterRoundTrip, RandomMixturesComeBackByteForByte) {
    TempDirectory dir("writer-random");
    fs::create_directories(dir.file("in"));
    std::mt19937 rng(20261121);
    std::vector<std::string> names;
    for (int file = 0; file < 40; ++file) {
        std::string data;
        const std::size_t size = rng() % (3 << 20);
        while (data.size() < size) {
            const std::size_t piece = 1 + rng() % 200000;
            switch (rng() % 3) {
                case 0:
                    data.append(piece, static_cast<char>(rng() % 4));
                    break;  // a long run
                case 1:
                    data += content(piece, static_cast<unsigned>(rng()));
                    break;
                default:
                    for (std::size_t i = 0; i < piece; ++i) data += static_cast<char>(rng());
            }
        }
        data.resize(size);
        const std::string name = "r" + std::to_string(file);
        writeFile(dir.file("in/" + name), data);
        names.push_back(name);
    }
    LibzipComponent zip;
    zip.SetZipPassword("round trip");
    for (const std::string& name : names)
        ASSERT_TRUE(zip.ZipFiles(dir.file("in/"), "\"" + name + "\"", dir.file(""), "r.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());
    EXPECT_EQ(run("7zz t -p'round trip' '" + dir.file("r.zip") + "'"), 0);
    zip.SetUnzipPassword("round trip");
    fs::create_directories(dir.file("out"));
    ASSERT_TRUE(zip.UnzipFiles(dir.file("r.zip"), "*.*", dir.file("out"), ""));
    for (const std::string& name : names)
        EXPECT_EQ(readFile(dir.file("out/" + name)), readFile(dir.file("in/" + name))) << name;
}

}  // namespace

namespace {

TEST(ZipWriter, StoredPiecesOfIncompressibleFilesAreReadByTheZipPrograms) {
    // Random bytes, then text, then random bytes again: the random pieces go
    // into stored blocks within the deflated member, and every reader takes
    // the member as one stream.
    TempDirectory dir("writer-stored-pieces");
    std::mt19937 rng(11);
    std::string data;
    for (int i = 0; i < (3 << 19); ++i) data += static_cast<char>(rng());
    data += content(1 << 20, 12);
    for (int i = 0; i < 700001; ++i) data += static_cast<char>(rng());
    writeFile(dir.file("mixed.bin"), data);
    {
        LibzipComponent zip;
        ASSERT_TRUE(zip.ZipFiles(dir.file(""), "\"mixed.bin\"", dir.file(""), "plain.zip", "-4"));
        ASSERT_TRUE(zip.CommitArchive());
        zip.SetZipPassword("Pass word 2");
        ASSERT_TRUE(zip.ZipFiles(dir.file(""), "\"mixed.bin\"", dir.file(""), "aes.zip", "-4"));
        ASSERT_TRUE(zip.CommitArchive());
    }
    // Not larger than the bytes themselves by more than the zip's own records.
    EXPECT_LT(fs::file_size(dir.file("plain.zip")), data.size() + 1024);
    EXPECT_EQ(run("unzip -t '" + dir.file("plain.zip") + "'"), 0);
    EXPECT_EQ(run("7zz t -p'Pass word 2' '" + dir.file("aes.zip") + "'"), 0);
    EXPECT_EQ(run("7zz x -p'Pass word 2' -o'" + dir.file("x") + "' '" + dir.file("aes.zip") + "'"), 0);
    EXPECT_EQ(readFile(dir.file("x/mixed.bin")), data);
}

}  // namespace
