// The zip component over libzip: packing into new and existing archives,
// the archive kept open between calls, extraction with and without "-n",
// failures that must leave files as they were, hostile member names and
// progress reports. Archives are read back with libzip directly and, for the
// encryption method, listed by 7-Zip.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "child_process.h"
#include "libzip_component.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::LibzipComponent;
using morvane::testing::ChildResult;
using morvane::testing::readFile;
using morvane::testing::runChild;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

// A Windows-1252 password with bytes above 127, as the container makes them.
const std::string kPassword = "\xF3\xE5\xE3\xF2\xE5\xF4 \xC1\xD8 7";
const std::string kOtherPassword = "\xF3\xE5\xE3\xF2\xE5\xF4 \xC1\xD8 8";

std::string dirOf(const TempDirectory& dir) { return dir.str() + "/"; }

// Bytes of every value in an order that does not repeat.
std::string binaryContent(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(random() & 0xFF);
    return bytes;
}

// Text that compresses well but is not trivially repetitive.
std::string textContent(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string text;
    text.reserve(size + 64);
    while (text.size() < size) text += "line " + std::to_string(random() % 100000) + " of the report\n";
    text.resize(size);
    return text;
}

std::set<std::string> listDirectory(const fs::path& dir) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.insert(entry.path().filename().string());
    return names;
}

// Every member of the archive read whole with `password`; nothing when the
// archive cannot be opened or any member cannot be read.
std::optional<std::map<std::string, std::string>> readZip(const std::string& path, const std::string& password) {
    int error = 0;
    zip_t* archive = zip_open(path.c_str(), ZIP_RDONLY, &error);
    if (archive == nullptr) return std::nullopt;
    if (!password.empty()) zip_set_default_password(archive, password.c_str());
    std::map<std::string, std::string> members;
    bool ok = true;
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    for (zip_int64_t i = 0; ok && i < count; ++i) {
        const char* name = zip_get_name(archive, static_cast<zip_uint64_t>(i), 0);
        zip_file_t* member = zip_fopen_index(archive, static_cast<zip_uint64_t>(i), 0);
        if (name == nullptr || member == nullptr) {
            ok = false;
            break;
        }
        std::string content;
        char buffer[65536];
        for (;;) {
            const zip_int64_t got = zip_fread(member, buffer, sizeof buffer);
            if (got < 0) ok = false;
            if (got <= 0) break;
            content.append(buffer, static_cast<std::size_t>(got));
        }
        if (zip_fclose(member) != 0) ok = false;
        members[name] = content;
    }
    zip_discard(archive);
    if (!ok) return std::nullopt;
    return members;
}

struct MemberSpec {
    std::string name;
    std::string content;
    bool store = false;
};

// Writes an archive with libzip itself, members given as they are (names are
// not checked), without encryption unless a password is given (AES-256).
bool writeZip(const std::string& path, const std::vector<MemberSpec>& members, const std::string& password = {}) {
    int error = 0;
    zip_t* archive = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (archive == nullptr) return false;
    for (const MemberSpec& m : members) {
        zip_source_t* source = zip_source_buffer(archive, m.content.data(), m.content.size(), 0);
        if (source == nullptr) {
            zip_discard(archive);
            return false;
        }
        const zip_int64_t index = zip_file_add(archive, m.name.c_str(), source, ZIP_FL_ENC_GUESS);
        if (index < 0) {
            zip_source_free(source);
            zip_discard(archive);
            return false;
        }
        const auto entry = static_cast<zip_uint64_t>(index);
        if (m.store && zip_set_file_compression(archive, entry, ZIP_CM_STORE, 0) != 0) {
            zip_discard(archive);
            return false;
        }
        if (!password.empty() && zip_file_set_encryption(archive, entry, ZIP_EM_AES_256, password.c_str()) != 0) {
            zip_discard(archive);
            return false;
        }
    }
    return zip_close(archive) == 0;
}

// The "Method = ..." lines of 7-Zip's technical listing, one per member.
std::vector<std::string> methodsListedBy7zip(const std::string& zipPath, const std::string& password) {
    const ChildResult listing = runChild({"7zz", "l", "-slt", "-p" + password, zipPath});
    EXPECT_EQ(listing.status, 0) << listing.out << listing.err;
    std::vector<std::string> methods;
    std::size_t pos = 0;
    while ((pos = listing.out.find("\nMethod = ", pos)) != std::string::npos) {
        pos += 10;
        const std::size_t end = listing.out.find('\n', pos);
        methods.push_back(listing.out.substr(pos, end - pos));
    }
    return methods;
}

// A source directory with files and an archive directory beside it.
class ZipComponentTest : public ::testing::Test {
protected:
    TempDirectory src{"zip-src"};
    TempDirectory dst{"zip-dst"};
    TempDirectory out{"zip-out"};

    std::string source(const std::string& name, const std::string& content) {
        writeFile(src.file(name), content);
        return name;
    }
    std::string archive(const std::string& name = "pack.zip") const { return dst.file(name); }

    // An archive of these members made by the component with kPassword.
    void pack(const std::map<std::string, std::string>& files, const std::string& zipName = "pack.zip") {
        LibzipComponent zip;
        zip.ZipMode(3);
        zip.SetZipPassword(kPassword);
        for (const auto& [name, content] : files) {
            source(name, content);
            ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"" + name + "\"", dirOf(dst), zipName, "-4")) << name;
        }
        ASSERT_TRUE(zip.CommitArchive());
    }
};

// --- Packing ----------------------------------------------------------------

TEST_F(ZipComponentTest, ZipFilesCreatesTheArchiveWithTheFileUnderItsPassword) {
    const std::string content = textContent(50000, 1);
    source("report.doc", content);
    LibzipComponent zip;
    zip.ZipMode(3);
    zip.SetZipPassword(kPassword);
    ASSERT_FALSE(fs::exists(archive()));
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"report.doc\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());

    const auto members = readZip(archive(), kPassword);
    ASSERT_TRUE(members.has_value());
    ASSERT_EQ(members->size(), 1u);
    EXPECT_EQ(members->count("report.doc"), 1u);
    EXPECT_EQ(members->at("report.doc"), content);
    // The source stays where it was, unchanged.
    EXPECT_EQ(readFile(src.file("report.doc")), content);
}

TEST_F(ZipComponentTest, MembersDoNotOpenWithAnotherPasswordOrWithoutOne) {
    pack({{"a.txt", textContent(4000, 2)}});
    EXPECT_FALSE(readZip(archive(), kOtherPassword).has_value());
    EXPECT_FALSE(readZip(archive(), "").has_value());
}

TEST_F(ZipComponentTest, MemberNameIsTheBareFileName) {
    const fs::path deep = src.path() / "deep" / "er";
    fs::create_directories(deep);
    writeFile((deep / "name with blanks.txt").string(), "inside");
    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    ASSERT_TRUE(zip.ZipFiles(deep.string() + "/", "\"name with blanks.txt\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());

    int error = 0;
    zip_t* za = zip_open(archive().c_str(), ZIP_RDONLY, &error);
    ASSERT_NE(za, nullptr);
    ASSERT_EQ(zip_get_num_entries(za, 0), 1);
    EXPECT_STREQ(zip_get_name(za, 0, 0), "name with blanks.txt");
    zip_discard(za);
}

TEST_F(ZipComponentTest, PackedMembersUseWinZipAes256AndDeflate) {
    const std::string ascii = "Plain Ascii 42";
    source("a.txt", textContent(30000, 3));
    source("b.bin", binaryContent(20000, 4));
    LibzipComponent zip;
    zip.SetZipPassword(ascii);
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"a.txt\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"b.bin\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());

    const std::vector<std::string> methods = methodsListedBy7zip(archive(), ascii);
    ASSERT_EQ(methods.size(), 2u);
    for (const std::string& method : methods) EXPECT_EQ(method, "AES-256 Deflate");

    int error = 0;
    zip_t* za = zip_open(archive().c_str(), ZIP_RDONLY, &error);
    ASSERT_NE(za, nullptr);
    for (zip_uint64_t i = 0; i < 2; ++i) {
        zip_stat_t stat;
        ASSERT_EQ(zip_stat_index(za, i, 0, &stat), 0);
        EXPECT_EQ(stat.encryption_method, ZIP_EM_AES_256);
        EXPECT_EQ(stat.comp_method, ZIP_CM_DEFLATE);
    }
    zip_discard(za);
}

TEST_F(ZipComponentTest, TwoCallsGiveTwoMembers) {
    const std::string a = textContent(10000, 5), b = binaryContent(7000, 6);
    pack({{"a.txt", a}, {"b.bin", b}});
    const auto members = readZip(archive(), kPassword);
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(*members, (std::map<std::string, std::string>{{"a.txt", a}, {"b.bin", b}}));
}

TEST_F(ZipComponentTest, AnArchiveOfAnEarlierRunIsReplacedNotAddedTo) {
    // Every job begins its archive empty: nothing of an earlier run's
    // archive of the same name (another password, another job) gets in.
    const std::string a = textContent(10000, 7), b = textContent(9000, 8);
    source("a.txt", a);
    source("b.txt", b);
    {
        LibzipComponent first;
        first.SetZipPassword(kPassword);
        ASSERT_TRUE(first.ZipFiles(dirOf(src), "\"a.txt\"", dirOf(dst), "pack.zip", "-4"));
        ASSERT_TRUE(first.CommitArchive());
    }
    LibzipComponent second;
    second.SetZipPassword(kPassword);
    ASSERT_TRUE(second.ZipFiles(dirOf(src), "\"b.txt\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(second.CommitArchive());

    const auto members = readZip(archive(), kPassword);
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(*members, (std::map<std::string, std::string>{{"b.txt", b}}));
}

TEST_F(ZipComponentTest, EmptyFileIsPackedAndRead) {
    pack({{"empty.txt", ""}});
    const auto members = readZip(archive(), kPassword);
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(*members, (std::map<std::string, std::string>{{"empty.txt", ""}}));
}

// --- Packing failures leave the archive as it was ---------------------------

TEST_F(ZipComponentTest, MissingSourceFailsAndLeavesTheArchiveAsItWas) {
    pack({{"a.txt", "first member"}});
    const std::string before = readFile(archive());
    ASSERT_FALSE(before.empty());

    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    EXPECT_FALSE(zip.ZipFiles(dirOf(src), "\"missing.txt\"", dirOf(dst), "pack.zip", "-4"));
    EXPECT_EQ(readFile(archive()), before);
    EXPECT_TRUE(zip.CommitArchive());
    EXPECT_EQ(readFile(archive()), before);
    EXPECT_EQ(listDirectory(dst.path()), (std::set<std::string>{"pack.zip"}));
}

TEST_F(ZipComponentTest, MissingSourceAfterAnAddedFileKeepsTheAddedFile) {
    source("a.txt", "kept");
    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"a.txt\"", dirOf(dst), "pack.zip", "-4"));
    EXPECT_FALSE(zip.ZipFiles(dirOf(src), "\"missing.txt\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());
    const auto members = readZip(archive(), kPassword);
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(*members, (std::map<std::string, std::string>{{"a.txt", "kept"}}));
}

TEST_F(ZipComponentTest, DirectoryAsSourceFailsAndLeavesTheArchiveAsItWas) {
    pack({{"a.txt", "first member"}});
    const std::string before = readFile(archive());
    fs::create_directories(src.path() / "folder");

    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    EXPECT_FALSE(zip.ZipFiles(dirOf(src), "\"folder\"", dirOf(dst), "pack.zip", "-4"));
    EXPECT_TRUE(zip.CommitArchive());
    EXPECT_EQ(readFile(archive()), before);
}

TEST_F(ZipComponentTest, MissingDestinationDirectoryFails) {
    source("a.txt", "content");
    const std::string missingDir = dst.str() + "/not-there/";
    {
        LibzipComponent zip;
        zip.SetZipPassword(kPassword);
        EXPECT_FALSE(zip.ZipFiles(dirOf(src), "\"a.txt\"", missingDir, "pack.zip", "-4"));
        zip.CommitArchive();
    }
    EXPECT_FALSE(fs::exists(dst.path() / "not-there"));
    EXPECT_TRUE(listDirectory(dst.path()).empty());
}

TEST_F(ZipComponentTest, AnExistingFileStaysAsItWasUntilTheNewArchiveIsComplete) {
    source("a.txt", "content");
    const std::string notZip = "This is a plain text file, not a zip archive.\n";
    writeFile(archive(), notZip);
    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"a.txt\"", dirOf(dst), "pack.zip", "-4"));
    EXPECT_EQ(readFile(archive()), notZip);
    ASSERT_TRUE(zip.CommitArchive());
    const auto members = readZip(archive(), kPassword);
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(*members, (std::map<std::string, std::string>{{"a.txt", "content"}}));
    EXPECT_EQ(listDirectory(dst.path()), (std::set<std::string>{"pack.zip"}));
}

// --- The archive kept open between calls ------------------------------------

TEST_F(ZipComponentTest, ManyConsecutiveCallsThenCommitGiveEveryMember) {
    std::map<std::string, std::string> expected;
    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    for (int i = 0; i < 25; ++i) {
        const std::string name = "file" + std::to_string(i) + ".txt";
        const std::string content = textContent(1000 + 37 * i, 100 + i);
        source(name, content);
        expected[name] = content;
        ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"" + name + "\"", dirOf(dst), "pack.zip", "-4")) << name;
    }
    ASSERT_TRUE(zip.CommitArchive());
    const auto members = readZip(archive(), kPassword);
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(*members, expected);
}

TEST_F(ZipComponentTest, ZipFilesOnAnotherArchiveCommitsTheFirst) {
    source("a.txt", "for the first archive");
    source("b.txt", "for the second archive");
    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"a.txt\"", dirOf(dst), "first.zip", "-4"));
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"b.txt\"", dirOf(dst), "second.zip", "-4"));

    // The first archive is complete on disk before the second is committed.
    const auto first = readZip(archive("first.zip"), kPassword);
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(*first, (std::map<std::string, std::string>{{"a.txt", "for the first archive"}}));

    ASSERT_TRUE(zip.CommitArchive());
    const auto second = readZip(archive("second.zip"), kPassword);
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(*second, (std::map<std::string, std::string>{{"b.txt", "for the second archive"}}));
}

TEST_F(ZipComponentTest, DroppingTheComponentLeavesNoHalfMadeArchive) {
    source("a.txt", "one");
    source("b.txt", "two");
    {
        LibzipComponent zip;
        zip.SetZipPassword(kPassword);
        ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"a.txt\"", dirOf(dst), "pack.zip", "-4"));
        ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"b.txt\"", dirOf(dst), "pack.zip", "-4"));
    }
    EXPECT_TRUE(listDirectory(dst.path()).empty());
}

TEST_F(ZipComponentTest, DiscardArchiveDropsWhatIsPendingAndTheNextArchiveBeginsEmpty) {
    source("a.txt", "one");
    source("b.txt", "two");
    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"a.txt\"", dirOf(dst), "pack.zip", "-4"));
    zip.DiscardArchive();
    EXPECT_TRUE(listDirectory(dst.path()).empty());
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"b.txt\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());
    const auto members = readZip(archive(), kPassword);
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(*members, (std::map<std::string, std::string>{{"b.txt", "two"}}));
    EXPECT_EQ(zip.PackedMembers().size(), 1u);
    EXPECT_EQ(zip.PackedMembers()[0].name, "b.txt");
    EXPECT_EQ(zip.PackedMembers()[0].size, 3u);
}

TEST_F(ZipComponentTest, CommitWithNothingPendingSucceedsAndWritesNothing) {
    LibzipComponent zip;
    EXPECT_TRUE(zip.CommitArchive());
    EXPECT_TRUE(listDirectory(dst.path()).empty());
}

TEST_F(ZipComponentTest, SameNameAddedTwiceKeepsTheLaterFile) {
    TempDirectory other("zip-src-2");
    source("same.txt", "from the first directory");
    writeFile(other.file("same.txt"), "from the second directory");
    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"same.txt\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(zip.ZipFiles(dirOf(other), "\"same.txt\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());
    const auto members = readZip(archive(), kPassword);
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(*members, (std::map<std::string, std::string>{{"same.txt", "from the second directory"}}));
}

// --- Extraction -------------------------------------------------------------

TEST_F(ZipComponentTest, UnzipExtractsEveryMemberByteIdentical) {
    const std::map<std::string, std::string> files = {
        {"a.txt", textContent(40000, 9)}, {"b.bin", binaryContent(70000, 10)}, {"empty", ""}};
    pack(files);
    LibzipComponent zip;
    zip.ZipMode(3);
    zip.SetUnzipPassword(kPassword);
    ASSERT_TRUE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));
    EXPECT_EQ(listDirectory(out.path()), (std::set<std::string>{"a.txt", "b.bin", "empty"}));
    for (const auto& [name, content] : files) EXPECT_EQ(readFile(out.file(name)), content) << name;
}

TEST_F(ZipComponentTest, UnzipAcceptsTheDestinationWithoutClosingSeparator) {
    pack({{"a.txt", "alpha"}});
    LibzipComponent zip;
    zip.SetUnzipPassword(kPassword);
    ASSERT_TRUE(zip.UnzipFiles(archive(), "*.*", out.str(), ""));
    EXPECT_EQ(readFile(out.file("a.txt")), "alpha");
    EXPECT_EQ(listDirectory(out.path()), (std::set<std::string>{"a.txt"}));
}

TEST_F(ZipComponentTest, NoOverwriteKeepsAnExistingFileAndExtractsTheOthers) {
    pack({{"a.txt", "new a"}, {"b.txt", "new b"}});
    writeFile(out.file("a.txt"), "old a, kept");
    const auto oldTime = fs::file_time_type::clock::now() - std::chrono::hours(24 * 400);
    fs::last_write_time(out.file("a.txt"), oldTime);
    const auto timeBefore = fs::last_write_time(out.file("a.txt"));

    LibzipComponent zip;
    zip.SetUnzipPassword(kPassword);
    EXPECT_TRUE(zip.UnzipFiles(archive(), "*.*", dirOf(out), "-n"));
    EXPECT_EQ(readFile(out.file("a.txt")), "old a, kept");
    EXPECT_EQ(fs::last_write_time(out.file("a.txt")), timeBefore);
    EXPECT_EQ(readFile(out.file("b.txt")), "new b");
    EXPECT_EQ(listDirectory(out.path()), (std::set<std::string>{"a.txt", "b.txt"}));
}

TEST_F(ZipComponentTest, WithoutNoOverwriteAnExistingFileIsReplaced) {
    pack({{"a.txt", "new content of a"}});
    writeFile(out.file("a.txt"), "old content that is longer than the new one");
    LibzipComponent zip;
    zip.SetUnzipPassword(kPassword);
    EXPECT_TRUE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));
    EXPECT_EQ(readFile(out.file("a.txt")), "new content of a");
    EXPECT_EQ(listDirectory(out.path()), (std::set<std::string>{"a.txt"}));
}

TEST_F(ZipComponentTest, WrongPasswordFailsAndWritesNothing) {
    pack({{"a.txt", textContent(20000, 11)}, {"b.bin", binaryContent(20000, 12)}});
    LibzipComponent zip;
    zip.SetUnzipPassword(kOtherPassword);
    EXPECT_FALSE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));
    EXPECT_TRUE(listDirectory(out.path()).empty());
}

TEST_F(ZipComponentTest, NoPasswordFailsOnAnEncryptedArchiveAndWritesNothing) {
    pack({{"a.txt", textContent(20000, 13)}});
    LibzipComponent zip;
    EXPECT_FALSE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));
    EXPECT_TRUE(listDirectory(out.path()).empty());
}

TEST_F(ZipComponentTest, WrongPasswordKeepsTheExistingFileContent) {
    pack({{"a.txt", "new content"}});
    writeFile(out.file("a.txt"), "old content");
    LibzipComponent zip;
    zip.SetUnzipPassword(kOtherPassword);
    EXPECT_FALSE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));
    EXPECT_EQ(readFile(out.file("a.txt")), "old content");
    EXPECT_EQ(listDirectory(out.path()), (std::set<std::string>{"a.txt"}));
}

TEST_F(ZipComponentTest, FileThatIsNoZipFailsAndWritesNothing) {
    writeFile(archive("fake.zip"), "PK but not really a zip archive at all" + binaryContent(5000, 14));
    LibzipComponent zip;
    zip.SetUnzipPassword(kPassword);
    EXPECT_FALSE(zip.UnzipFiles(archive("fake.zip"), "*.*", dirOf(out), ""));
    EXPECT_TRUE(listDirectory(out.path()).empty());
}

TEST_F(ZipComponentTest, MissingArchiveFails) {
    LibzipComponent zip;
    zip.SetUnzipPassword(kPassword);
    EXPECT_FALSE(zip.UnzipFiles(archive("absent.zip"), "*.*", dirOf(out), ""));
    EXPECT_TRUE(listDirectory(out.path()).empty());
}

TEST_F(ZipComponentTest, DamagedEncryptedDeflatedMemberFailsWithoutPartialFile) {
    // Large enough that part of it would be written before the damage is met.
    const std::string content = textContent(3 << 20, 15) + binaryContent(1 << 20, 16);
    pack({{"big.dat", content}});
    std::string bytes = readFile(archive());
    ASSERT_GT(bytes.size(), 100000u);
    // One member only: the middle of the file lies inside its data.
    for (std::size_t i = bytes.size() / 2; i < bytes.size() / 2 + 8; ++i) bytes[i] = static_cast<char>(bytes[i] ^ 0x5A);
    writeFile(archive(), bytes);
    writeFile(out.file("big.dat"), "the previous big.dat");

    LibzipComponent zip;
    zip.SetUnzipPassword(kPassword);
    EXPECT_FALSE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));
    EXPECT_EQ(readFile(out.file("big.dat")), "the previous big.dat");
    EXPECT_EQ(listDirectory(out.path()), (std::set<std::string>{"big.dat"}));
}

TEST_F(ZipComponentTest, DamagedStoredMemberFailsWithoutPartialFile) {
    const std::string intact = "an intact first member\n";
    std::string damaged = binaryContent(3 << 20, 17);
    const std::string marker = "<<-- the middle of the stored member -->>";
    damaged.replace(damaged.size() / 2, marker.size(), marker);
    ASSERT_TRUE(writeZip(archive(), {{"first.txt", intact, true}, {"second.bin", damaged, true}}));

    std::string bytes = readFile(archive());
    const std::size_t at = bytes.find(marker);
    ASSERT_NE(at, std::string::npos);
    bytes[at + 5] = static_cast<char>(bytes[at + 5] ^ 0x01);
    writeFile(archive(), bytes);

    LibzipComponent zip;
    EXPECT_FALSE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));
    // The damaged member leaves nothing behind; the intact one, if it was
    // written before, is whole.
    const std::set<std::string> left = listDirectory(out.path());
    EXPECT_EQ(left.count("second.bin"), 0u);
    EXPECT_TRUE(left.empty() || left == std::set<std::string>{"first.txt"});
    if (left.count("first.txt")) {
        EXPECT_EQ(readFile(out.file("first.txt")), intact);
    }
}

TEST_F(ZipComponentTest, UnencryptedArchiveIsExtractedWithAPasswordSet) {
    ASSERT_TRUE(writeZip(archive(), {{"plain.txt", "no password here", false}}));
    LibzipComponent zip;
    zip.SetUnzipPassword(kPassword);
    ASSERT_TRUE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));
    EXPECT_EQ(readFile(out.file("plain.txt")), "no password here");
}

// --- Hostile member names ---------------------------------------------------

TEST(ZipComponentHostile, MembersLeadingOutsideAreSkippedAndLogged) {
    TempDirectory root("hostile-root");
    TempDirectory absolute("hostile-abs");
    const fs::path dest = root.path() / "dest";
    fs::create_directories(dest);
    const std::string absoluteName = absolute.str() + "/abs.txt";
    ASSERT_EQ(absoluteName.front(), '/');
    const std::string zipPath = root.file("hostile.zip");
    ASSERT_TRUE(writeZip(zipPath,
                         {{"../evil.txt", "escaped upwards"},
                          {absoluteName, "escaped to an absolute path"},
                          {"sub/../../up.txt", "escaped through a sub-directory"},
                          {"ok.txt", "an honest member"}},
                         kPassword));

    LibzipComponent zip;
    zip.SetUnzipPassword(kPassword);
    EXPECT_TRUE(zip.UnzipFiles(zipPath, "*.*", dest.string() + "/", ""));
    std::vector<std::string> lines;
    for (const morvane::UnwrittenMember& member : zip.LastExtraction().unwritten) {
        EXPECT_EQ(member.reason, morvane::UnwrittenMember::Reason::UnsafeName) << member.name;
        lines.push_back(member.name);
    }

    EXPECT_EQ(readFile((dest / "ok.txt").string()), "an honest member");
    EXPECT_EQ(listDirectory(dest), (std::set<std::string>{"ok.txt"}));
    EXPECT_EQ(listDirectory(root.path()), (std::set<std::string>{"dest", "hostile.zip"}));
    EXPECT_FALSE(fs::exists(absoluteName));
    EXPECT_TRUE(listDirectory(absolute.path()).empty());

    for (const std::string& name : {std::string("../evil.txt"), absoluteName, std::string("sub/../../up.txt")}) {
        const bool logged = std::any_of(lines.begin(), lines.end(), [&name](const std::string& line) {
            return line.find(name) != std::string::npos;
        });
        EXPECT_TRUE(logged) << "the report does not name " << name;
    }
    EXPECT_EQ(lines.size(), 3u);
}

// --- Progress ---------------------------------------------------------------

// A new archive is written as each file is added, so packing reports its
// progress while ZipFiles runs.
TEST_F(ZipComponentTest, ProgressRisesWhileANewArchiveIsPackedAndEndsAt100) {
    source("big.bin", binaryContent(3 << 20, 18) + textContent(2 << 20, 19));
    LibzipComponent zip;
    std::vector<int> seen;
    zip.Progress = [&seen](int percent) { seen.push_back(percent); };
    zip.SetZipPassword(kPassword);
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"big.bin\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());

    EXPECT_EQ(zip.PercentDone(), 100);
    ASSERT_FALSE(seen.empty());
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end())) << ::testing::PrintToString(seen);
    EXPECT_EQ(seen.back(), 100);
    EXPECT_GE(std::count_if(seen.begin(), seen.end(), [](int p) { return p > 0 && p < 100; }), 3)
        << "too few reports while the file was packed: " << ::testing::PrintToString(seen);
    for (int p : seen) EXPECT_TRUE(p >= 0 && p <= 100) << p;
}

// Adding to an existing archive goes through the zip library, which does the
// work when the archive is committed: the reports come then.

TEST_F(ZipComponentTest, ProgressRisesDuringExtractionAndEndsAt100) {
    pack({{"big.bin", binaryContent(3 << 20, 20)}, {"more.txt", textContent(2 << 20, 21)}});
    LibzipComponent zip;
    std::vector<int> seen;
    zip.Progress = [&seen](int percent) { seen.push_back(percent); };
    zip.SetUnzipPassword(kPassword);
    ASSERT_TRUE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));

    EXPECT_EQ(zip.PercentDone(), 100);
    ASSERT_FALSE(seen.empty());
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end())) << ::testing::PrintToString(seen);
    EXPECT_EQ(seen.back(), 100);
    EXPECT_TRUE(std::any_of(seen.begin(), seen.end(), [](int p) { return p > 0 && p < 100; }))
        << "no report between start and end: " << ::testing::PrintToString(seen);
    for (int p : seen) EXPECT_TRUE(p >= 0 && p <= 100) << p;
}

TEST_F(ZipComponentTest, PercentDoneIs100AfterEachPackingCommit) {
    source("a.txt", "a");
    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"a.txt\"", dirOf(dst), "pack.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());
    EXPECT_EQ(zip.PercentDone(), 100);
    ASSERT_TRUE(zip.ZipFiles(dirOf(src), "\"a.txt\"", dirOf(dst), "again.zip", "-4"));
    ASSERT_TRUE(zip.CommitArchive());
    EXPECT_EQ(zip.PercentDone(), 100);
}

// --- Stopping ---------------------------------------------------------------

TEST_F(ZipComponentTest, StopWorkDuringExtractionLeavesNoPartialFile) {
    pack({{"big.bin", binaryContent(4 << 20, 22)}});
    LibzipComponent zip;
    zip.Progress = [&zip](int) { zip.StopWork(); };
    zip.SetUnzipPassword(kPassword);
    EXPECT_FALSE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));
    EXPECT_TRUE(listDirectory(out.path()).empty());

    // The next operation runs again.
    zip.Progress = nullptr;
    ASSERT_TRUE(zip.UnzipFiles(archive(), "*.*", dirOf(out), ""));
    EXPECT_EQ(readFile(out.file("big.bin")), binaryContent(4 << 20, 22));
}

TEST_F(ZipComponentTest, StopWorkWhilePackingLeavesTheOldArchiveAsItWas) {
    pack({{"a.txt", "already there"}});
    const std::string before = readFile(archive());
    source("big.bin", binaryContent(4 << 20, 23));

    LibzipComponent zip;
    zip.SetZipPassword(kPassword);
    zip.Progress = [&zip](int) { zip.StopWork(); };
    EXPECT_FALSE(zip.ZipFiles(dirOf(src), "\"big.bin\"", dirOf(dst), "pack.zip", "-4"));
    zip.DiscardArchive();
    EXPECT_EQ(readFile(archive()), before);
    EXPECT_EQ(listDirectory(dst.path()), (std::set<std::string>{"pack.zip"}));
}

}  // namespace
