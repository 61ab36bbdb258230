// Extraction all or nothing: members are written under temporary names and
// checked before any of them joins or replaces a file; nothing is written
// through a link or outside the destination; permission bits come back.
#include "zip_extractor.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "failure_points.h"
#include "job_harness.h"
#include "libzip_component.h"
#include "temp_directory.h"
#include "zip_reader.h"
#include "zip_writer.h"

namespace {

namespace fs = std::filesystem;
using morvane::ExtractionReport;
using morvane::FailurePoints;
using morvane::LibzipComponent;
using morvane::UnwrittenMember;
using morvane::ZipWriter;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;
using Failure = ExtractionReport::Failure;
using Reason = UnwrittenMember::Reason;

const std::string kPassword = "zip \xE9 password";

struct Member {
    std::string name;
    std::string content;
    unsigned mode = 0644;
};

std::string noise(std::size_t size, unsigned seed) { return morvane::jobtest::noiseOfSize(size, seed); }

// An archive of the members as the program packs them (WinZip AES, deflate),
// each from a source file with the member's permission bits.
void makeZip(const TempDirectory& dir, const std::string& zipPath, const std::vector<Member>& members,
             const std::string& password = kPassword) {
    auto writer = ZipWriter::create(zipPath);
    ASSERT_TRUE(writer);
    int n = 0;
    for (const Member& m : members) {
        const std::string source = dir.file("source" + std::to_string(n++));
        writeFile(source, m.content);
        ASSERT_EQ(::chmod(source.c_str(), m.mode), 0);
        ASSERT_EQ(writer->addFile(source, m.name, 4, password, {}, {}), ZipWriter::AddResult::Added) << m.name;
        fs::remove(source);
    }
    ASSERT_TRUE(writer->commit());
}

// Every file, folder and link below `root`, with the content of files.
std::map<std::string, std::string> snapshot(const fs::path& root) {
    std::map<std::string, std::string> seen;
    for (auto it = fs::recursive_directory_iterator(root); it != fs::recursive_directory_iterator(); ++it) {
        const std::string relative = fs::relative(it->path(), root).string();
        if (it->is_symlink()) {
            seen[relative] = "link to " + fs::read_symlink(it->path()).string();
        } else if (it->is_directory()) {
            seen[relative] = "folder";
        } else {
            seen[relative] = readFile(it->path().string());
        }
    }
    return seen;
}

unsigned modeOf(const std::string& path) {
    struct stat info {};
    ::lstat(path.c_str(), &info);
    return info.st_mode & 07777;
}

ExtractionReport extract(const std::string& zipPath, const std::string& destination, bool keepExisting = false,
                         const std::string& password = kPassword) {
    morvane::ExtractionRequest request;
    request.zipPath = zipPath;
    request.destination = destination;
    request.keepExisting = keepExisting;
    request.password = password;
    return morvane::extractArchive(request);
}

// The offset of the first central directory entry.
std::size_t centralDirectoryOf(const std::string& bytes) {
    const std::size_t end = bytes.rfind(std::string("PK\x05\x06", 4));
    return static_cast<unsigned char>(bytes[end + 16]) | static_cast<unsigned char>(bytes[end + 17]) << 8 |
           static_cast<unsigned char>(bytes[end + 18]) << 16 | static_cast<unsigned char>(bytes[end + 19]) << 24;
}

class ZipExtractor : public ::testing::Test {
protected:
    TempDirectory dir{"extractor"};
    const std::string zip = dir.file("in.zip");
    const std::string out = dir.file("out");
    void SetUp() override { fs::create_directories(out); }

    // The destination already holds files of the members' names.
    void existingFiles() {
        writeFile(out + "/a.txt", "my own a");
        writeFile(out + "/b.bin", "my own b");
        writeFile(out + "/c.log", "my own c");
    }
};

TEST_F(ZipExtractor, EveryMemberComesBackWhole) {
    makeZip(dir, zip, {{"a.txt", "alpha"}, {"b.bin", noise(300000, 1)}, {"c.log", ""}});
    const ExtractionReport report = extract(zip, out);
    EXPECT_EQ(report.failure, Failure::None) << report.detail;
    EXPECT_EQ(snapshot(out),
              (std::map<std::string, std::string>{{"a.txt", "alpha"}, {"b.bin", noise(300000, 1)}, {"c.log", ""}}));
    EXPECT_EQ(report.written, (std::vector<std::string>{"a.txt", "b.bin", "c.log"}));
    EXPECT_TRUE(report.unwritten.empty());
}

// A damaged last member is found before any member takes its name: the
// files already there stay as they were, and nothing is left behind.
TEST_F(ZipExtractor, ADamagedMemberChangesNothingThatExisted) {
    makeZip(dir, zip, {{"a.txt", "alpha"}, {"b.bin", noise(200000, 2)}, {"c.log", noise(100000, 3)}});
    std::string bytes = readFile(zip);
    const std::size_t directory = centralDirectoryOf(bytes);
    bytes[directory - 40] = static_cast<char>(bytes[directory - 40] ^ 0x10);  // in c.log's data
    writeFile(zip, bytes);
    existingFiles();
    const auto before = snapshot(out);
    const ExtractionReport report = extract(zip, out);
    EXPECT_EQ(report.failure, Failure::Damaged);
    EXPECT_NE(report.detail.find("c.log"), std::string::npos) << report.detail;
    EXPECT_TRUE(report.written.empty());
    EXPECT_EQ(snapshot(out), before);
}

// A name changed in the archive's directory (a bit flipped on the disk) is
// damage, even when it turns a file into a folder: never a member under
// another name, nor a folder in a file's place.
TEST_F(ZipExtractor, ANameChangedInTheDirectoryIsDamage) {
    makeZip(dir, zip, {{"a.txt", "alpha"}, {"b.bin", noise(700, 8)}});
    const std::string whole = readFile(zip);
    const std::size_t second = whole.rfind("b.bin");  // in the directory, after the members' own headers
    ASSERT_GT(second, centralDirectoryOf(whole));
    for (const char changed : {'c', '/'}) {
        SCOPED_TRACE(changed);
        std::string bytes = whole;
        bytes[second + 4] = changed;  // "b.bic", or the folder "b.bi/"
        writeFile(zip, bytes);
        existingFiles();
        const auto before = snapshot(out);
        const ExtractionReport report = extract(zip, out);
        EXPECT_EQ(report.failure, Failure::Damaged) << report.detail;
        EXPECT_EQ(snapshot(out), before);
    }
}

TEST_F(ZipExtractor, AWrongPasswordChangesNothing) {
    makeZip(dir, zip, {{"a.txt", "alpha"}, {"b.bin", "beta"}});
    existingFiles();
    const auto before = snapshot(out);
    EXPECT_EQ(extract(zip, out, false, "another password").failure, Failure::WrongPassword);
    EXPECT_EQ(snapshot(out), before);
}

TEST_F(ZipExtractor, BytesThatAreNoZipAreSaidSo) {
    writeFile(zip, noise(5000, 4));
    EXPECT_EQ(extract(zip, out).failure, Failure::NotAZip);
    EXPECT_TRUE(snapshot(out).empty());
}

// A member that inflates past the size its archive records is refused; the
// bytes beyond that size are never written.
TEST_F(ZipExtractor, AMemberLargerThanItsRecordedSizeIsRefused) {
    makeZip(dir, zip, {{"a.txt", std::string(100000, 'a')}});
    std::string bytes = readFile(zip);
    const std::size_t entry = centralDirectoryOf(bytes);
    bytes[entry + 24] = static_cast<char>(0x10);  // 100000 recorded as 0x186A0 -> 0x18610
    writeFile(zip, bytes);
    const ExtractionReport report = extract(zip, out);
    EXPECT_EQ(report.failure, Failure::Damaged);
    EXPECT_NE(report.detail.find("more than its recorded size"), std::string::npos) << report.detail;
    EXPECT_TRUE(snapshot(out).empty());
}

TEST_F(ZipExtractor, AFolderInTheWayStopsEverythingBeforeAnythingIsWritten) {
    makeZip(dir, zip, {{"a.txt", "alpha"}, {"b.bin", "beta"}});
    fs::create_directories(out + "/b.bin");
    const auto before = snapshot(out);
    const ExtractionReport report = extract(zip, out);
    EXPECT_EQ(report.failure, Failure::CannotWrite);
    EXPECT_NE(report.detail.find(out + "/b.bin"), std::string::npos) << report.detail;
    EXPECT_EQ(snapshot(out), before);
}

// A disk that fills up while the members are written: nothing that existed
// changes, nothing is left.
TEST_F(ZipExtractor, AWriteFailureChangesNothingAndLeavesNothing) {
    makeZip(dir, zip, {{"a.txt", "alpha"}, {"b.bin", noise(600000, 5)}, {"c.log", "gamma"}});
    existingFiles();
    const auto before = snapshot(out);
    for (std::uint64_t k = 1; k <= 3; ++k) {
        FailurePoints::arm(k, true);
        const ExtractionReport report = extract(zip, out);
        FailurePoints::reset();
        EXPECT_EQ(report.failure, Failure::CannotWrite) << k;
        EXPECT_NE(report.detail.find("No space left on device"), std::string::npos) << report.detail;
        EXPECT_EQ(snapshot(out), before) << k;
    }
}

// The temporary files of members being written in `folder`.
std::size_t temporaryFilesIn(const std::string& folder) {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind(".~mv", 0) == 0 && name.size() > 4 && name.substr(name.size() - 4) == ".tmp") ++count;
    }
    return count;
}

// Two members are written by two threads at once: when the calling thread
// first reports progress, in the middle of its own member, the other
// member's file is already being written. Progress is reported on the
// calling thread only, since a window may show it.
TEST_F(ZipExtractor, TwoMembersAreWrittenAtOnceAndProgressComesFromTheCallingThread) {
    if (std::thread::hardware_concurrency() < 2) GTEST_FAIL() << "needs two processors to write two members at once";
    makeZip(dir, zip, {{"a.bin", noise(2 << 20, 11)}, {"b.bin", noise(2 << 20, 12)}});
    morvane::ExtractionRequest request;
    request.zipPath = zip;
    request.destination = out;
    request.password = kPassword;
    const std::thread::id caller = std::this_thread::get_id();
    bool first = true, fromAnotherThread = false;
    std::size_t filesAtFirstReport = 0;
    std::vector<int> percents;
    request.progress = [&](int percent) {
        if (std::this_thread::get_id() != caller) fromAnotherThread = true;
        percents.push_back(percent);
        if (!first) return;
        first = false;
        // This thread stands still in the middle of its member: the other
        // member's file appears only if another thread writes it.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while ((filesAtFirstReport = temporaryFilesIn(out)) < 2 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    };
    const ExtractionReport report = morvane::extractArchive(request);
    EXPECT_EQ(report.failure, Failure::None) << report.detail;
    EXPECT_EQ(filesAtFirstReport, 2u) << "the second member was not begun while the first was being written";
    EXPECT_FALSE(fromAnotherThread);
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
    ASSERT_FALSE(percents.empty());
    EXPECT_EQ(percents.back(), 100);
    EXPECT_EQ(snapshot(out),
              (std::map<std::string, std::string>{{"a.bin", noise(2 << 20, 11)}, {"b.bin", noise(2 << 20, 12)}}));
    EXPECT_EQ(report.written, (std::vector<std::string>{"a.bin", "b.bin"}));
}

// A damaged member stops the member being written beside it; the damaged
// one is named, and nothing is left of either.
TEST_F(ZipExtractor, ADamagedMemberStopsTheOtherThreadAndIsTheOneNamed) {
    makeZip(dir, zip, {{"a.bin", noise(3 << 20, 21)}, {"b.bin", noise(3 << 20, 22)}, {"c.bin", noise(3 << 20, 23)}});
    std::string bytes = readFile(zip);
    const std::size_t directory = centralDirectoryOf(bytes);
    const std::size_t inB = directory - (3 << 20) - (3 << 20) / 2;  // the middle of b.bin's data
    bytes[inB] = static_cast<char>(bytes[inB] ^ 0x01);
    writeFile(zip, bytes);
    existingFiles();
    const auto before = snapshot(out);
    const ExtractionReport report = extract(zip, out);
    EXPECT_EQ(report.failure, Failure::Damaged);
    EXPECT_NE(report.detail.find("b.bin"), std::string::npos) << report.detail;
    EXPECT_TRUE(report.written.empty());
    EXPECT_EQ(snapshot(out), before);
}

TEST_F(ZipExtractor, KeepExistingLeavesAFileOrALinkOfTheNameAndSaysWhich) {
    makeZip(dir, zip, {{"a.txt", "alpha"}, {"b.bin", "beta"}, {"c.log", "gamma"}});
    writeFile(out + "/a.txt", "mine");
    fs::create_symlink(dir.file("nowhere"), out + "/c.log");  // a link that leads nowhere is still there
    const ExtractionReport report = extract(zip, out, true);
    EXPECT_EQ(report.failure, Failure::None);
    EXPECT_EQ(readFile(out + "/a.txt"), "mine");
    EXPECT_EQ(readFile(out + "/b.bin"), "beta");
    EXPECT_TRUE(fs::is_symlink(out + "/c.log"));
    EXPECT_EQ(report.written, std::vector<std::string>{"b.bin"});
    ASSERT_EQ(report.unwritten.size(), 2u);
    EXPECT_EQ(report.unwritten[0].name, "a.txt");
    EXPECT_EQ(report.unwritten[0].reason, Reason::KeptExisting);
    EXPECT_EQ(report.unwritten[1].name, "c.log");
    EXPECT_EQ(report.unwritten[1].reason, Reason::KeptExisting);
}

// An existing link of a member's name is replaced by the member; what it
// pointed at is never written.
TEST_F(ZipExtractor, AnExistingLinkIsReplacedNeverFollowed) {
    makeZip(dir, zip, {{"a.txt", "alpha"}});
    writeFile(dir.file("outside/target"), "not to be touched");
    fs::create_symlink(dir.file("outside/target"), out + "/a.txt");
    ASSERT_EQ(extract(zip, out).failure, Failure::None);
    EXPECT_FALSE(fs::is_symlink(out + "/a.txt"));
    EXPECT_EQ(readFile(out + "/a.txt"), "alpha");
    EXPECT_EQ(readFile(dir.file("outside/target")), "not to be touched");
}

TEST_F(ZipExtractor, APathThroughAFolderLinkIsNotWritten) {
    makeZip(dir, zip, {{"sub/x.txt", "through the link"}, {"ok.txt", "fine"}, {"deep/er/y.txt", "made"}});
    fs::create_directories(dir.file("outside"));
    fs::create_directory_symlink(dir.file("outside"), out + "/sub");
    const ExtractionReport report = extract(zip, out);
    EXPECT_EQ(report.failure, Failure::None) << report.detail;
    EXPECT_TRUE(fs::is_empty(dir.file("outside")));
    EXPECT_EQ(readFile(out + "/ok.txt"), "fine");
    EXPECT_EQ(readFile(out + "/deep/er/y.txt"), "made");
    ASSERT_EQ(report.unwritten.size(), 1u);
    EXPECT_EQ(report.unwritten[0].name, "sub/x.txt");
    EXPECT_EQ(report.unwritten[0].reason, Reason::ThroughLink);
}

TEST_F(ZipExtractor, LinkMembersAreNeverMade) {
    fs::create_symlink("/etc/passwd", dir.file("ln"));
    writeFile(dir.file("plain.txt"), "plain");
    const std::string command = "cd '" + dir.str() + "' && zip -q -y links.zip ln plain.txt";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const ExtractionReport report = extract(dir.file("links.zip"), out, false, "");
    EXPECT_EQ(report.failure, Failure::None) << report.detail;
    EXPECT_EQ(snapshot(out), (std::map<std::string, std::string>{{"plain.txt", "plain"}}));
    ASSERT_EQ(report.unwritten.size(), 1u);
    EXPECT_EQ(report.unwritten[0].name, "ln");
    EXPECT_EQ(report.unwritten[0].reason, Reason::Link);
}

TEST_F(ZipExtractor, PermissionBitsComeBackWithoutSetUserOrSetGroup) {
    makeZip(dir, zip,
            {{"key", "secret", 0600}, {"run.sh", "#!/bin/sh\n", 0755}, {"setuid", "s", 04755}, {"setgid", "g", 02750}});
    ASSERT_EQ(extract(zip, out).failure, Failure::None);
    EXPECT_EQ(modeOf(out + "/key"), 0600u);
    EXPECT_EQ(modeOf(out + "/run.sh"), 0755u);
    EXPECT_EQ(modeOf(out + "/setuid"), 0755u);
    EXPECT_EQ(modeOf(out + "/setgid"), 0750u);
}

// Until every member is complete, what is written is owner-only.
TEST_F(ZipExtractor, MembersAreOwnerOnlyUntilTheyAreComplete) {
    makeZip(dir, zip, {{"public.txt", noise(3 << 20, 6), 0644}});
    LibzipComponent component;
    component.SetUnzipPassword(kPassword);
    std::set<unsigned> modesSeen;
    component.Progress = [&](int) {
        for (const auto& entry : fs::directory_iterator(out))
            if (entry.path().filename().string().rfind(".~mv", 0) == 0) modesSeen.insert(modeOf(entry.path()));
    };
    ASSERT_TRUE(component.UnzipFiles(zip, "*.*", out, ""));
    EXPECT_EQ(modesSeen, std::set<unsigned>{0600u});
    EXPECT_EQ(modeOf(out + "/public.txt"), 0644u);
}

TEST_F(ZipExtractor, ANameThatIsNotUtf8ComesBackAsTheSameBytes) {
    const std::string latin1 = "caf\xE9 \xFC.txt";
    makeZip(dir, zip, {{latin1, "bytes"}, {"r\xC3\xA9sum\xC3\xA9.txt", "utf-8"}});
    // The UTF-8 flag only on the name that is UTF-8.
    std::string error;
    auto reader = morvane::ZipReader::open(zip, error);
    ASSERT_TRUE(reader) << error;
    ASSERT_EQ(reader->entries().size(), 2u);
    EXPECT_EQ(reader->entries()[0].flags & 0x0800, 0);
    EXPECT_EQ(reader->entries()[1].flags & 0x0800, 0x0800);
    ASSERT_EQ(extract(zip, out).failure, Failure::None);
    EXPECT_EQ(readFile(out + "/" + latin1), "bytes");
    EXPECT_EQ(readFile(out + "/r\xC3\xA9sum\xC3\xA9.txt"), "utf-8");
}

TEST_F(ZipExtractor, ANameTheFileSystemCannotTakeIsNotWritten) {
    makeZip(dir, zip, {{std::string(300, 'n'), "too long"}, {"short.txt", "fine"}});
    const ExtractionReport report = extract(zip, out);
    EXPECT_EQ(report.failure, Failure::None);
    EXPECT_EQ(snapshot(out), (std::map<std::string, std::string>{{"short.txt", "fine"}}));
    ASSERT_EQ(report.unwritten.size(), 1u);
    EXPECT_EQ(report.unwritten[0].reason, Reason::NameTooLong);
}

TEST_F(ZipExtractor, AMissingDestinationIsMadeAndRemovedAgainWhenNothingCanBeWritten) {
    makeZip(dir, zip, {{"a.txt", "alpha"}});
    EXPECT_EQ(extract(zip, dir.file("new/deeper")).failure, Failure::None);
    EXPECT_EQ(readFile(dir.file("new/deeper/a.txt")), "alpha");
    EXPECT_EQ(extract(zip, dir.file("other/deeper"), false, "wrong").failure, Failure::WrongPassword);
    EXPECT_FALSE(fs::exists(dir.file("other")));
}

TEST_F(ZipExtractor, LeftoversOfAKilledExtractionAreRemovedByTheNextOne) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(0);
    ::waitpid(child, nullptr, 0);
    const std::string leftover = ".~mv" + std::to_string(child) + "-abcdefgh.tmp";
    writeFile(out + "/" + leftover, "half a member");
    makeZip(dir, zip, {{"a.txt", "alpha"}});
    ASSERT_EQ(extract(zip, out).failure, Failure::None);
    EXPECT_EQ(snapshot(out), (std::map<std::string, std::string>{{"a.txt", "alpha"}}));
}

TEST_F(ZipExtractor, TooLittleFreeSpaceIsRefusedBeforeAnythingIsWritten) {
    if (::geteuid() != 0) GTEST_FAIL() << "needs root to mount a small tmpfs";
    const std::string small = dir.file("small");
    fs::create_directories(small);
    ASSERT_EQ(std::system(("mount -t tmpfs -o size=1m tmpfs '" + small + "'").c_str()), 0);
    makeZip(dir, zip, {{"a.txt", "alpha"}, {"big.bin", noise(3 << 20, 7)}});
    writeFile(small + "/a.txt", "mine");
    const ExtractionReport report = extract(zip, small);
    const auto after = snapshot(small);
    std::system(("umount '" + small + "'").c_str());
    EXPECT_EQ(report.failure, Failure::NoSpace);
    EXPECT_GT(report.bytesNeeded, report.bytesFree);
    EXPECT_EQ(after, (std::map<std::string, std::string>{{"a.txt", "mine"}}));
}

}  // namespace
