// Files that are either wholly old or wholly new: a file written by an
// AtomicFile takes its name only when complete, whatever fails on the way;
// temporary names stay short; leftovers of dead processes are recognised.
#include "safe_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "failure_points.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::AtomicFile;
using morvane::FailurePoints;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

unsigned modeOf(const std::string& path) {
    struct stat info {};
    ::stat(path.c_str(), &info);
    return info.st_mode & 07777;
}

// Disarms the failure points whatever a test does.
struct Disarmed {
    Disarmed() { FailurePoints::reset(); }
    ~Disarmed() { FailurePoints::reset(); }
};

TEST(AtomicFile, TheNameAppearsOnlyWhenTheFileIsCommitted) {
    TempDirectory dir("atomic-name");
    AtomicFile file;
    ASSERT_TRUE(file.open(dir.file("report.enz")));
    ASSERT_TRUE(file.write(std::string(100000, 'r')));
    EXPECT_FALSE(fs::exists(dir.file("report.enz")));
    EXPECT_TRUE(fs::exists(file.temporaryPath()));
    EXPECT_EQ(fs::path(file.temporaryPath()).parent_path(), dir.path());
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(readFile(dir.file("report.enz")), std::string(100000, 'r'));
    EXPECT_EQ(namesIn(dir.path()), std::set<std::string>{"report.enz"});
}

TEST(AtomicFile, TheOldFileStaysWholeUntilTheNewOneTakesItsPlace) {
    TempDirectory dir("atomic-old");
    writeFile(dir.file("a.enz"), "the old archive");
    AtomicFile file;
    ASSERT_TRUE(file.open(dir.file("a.enz")));
    ASSERT_TRUE(file.write(std::string("the new")));
    EXPECT_EQ(readFile(dir.file("a.enz")), "the old archive");
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(readFile(dir.file("a.enz")), "the new");
}

TEST(AtomicFile, ADroppedFileLeavesNothingAndTheOldFileAsItWas) {
    TempDirectory dir("atomic-drop");
    writeFile(dir.file("a.enz"), "old");
    {
        AtomicFile file;
        ASSERT_TRUE(file.open(dir.file("a.enz")));
        ASSERT_TRUE(file.write(std::string("half of the new")));
    }
    EXPECT_EQ(namesIn(dir.path()), std::set<std::string>{"a.enz"});
    EXPECT_EQ(readFile(dir.file("a.enz")), "old");
}

TEST(AtomicFile, NewFilesAreOwnerOnlyFromTheFirstByte) {
    TempDirectory dir("atomic-mode");
    const mode_t mask = ::umask(0);
    AtomicFile file;
    ASSERT_TRUE(file.open(dir.file("secret.enz")));
    EXPECT_EQ(modeOf(file.temporaryPath()), 0600u);
    ASSERT_TRUE(file.write(std::string("x")));
    ASSERT_TRUE(file.commit());
    ::umask(mask);
    EXPECT_EQ(modeOf(dir.file("secret.enz")), 0600u);
}

TEST(AtomicFile, TemporaryNamesStayShortWhateverTheFinalName) {
    TempDirectory dir("atomic-long");
    const std::string longName = std::string(251, 'n') + ".enz";  // 255 bytes
    AtomicFile file;
    ASSERT_TRUE(file.open(dir.file(longName)));
    EXPECT_LE(fs::path(file.temporaryPath()).filename().string().size(), 40u);
    ASSERT_TRUE(file.write(std::string("long")));
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(readFile(dir.file(longName)), "long");
}

TEST(AtomicFile, WritesAtAnOffsetAndTruncates) {
    TempDirectory dir("atomic-offset");
    AtomicFile file;
    ASSERT_TRUE(file.open(dir.file("z.zip")));
    ASSERT_TRUE(file.write(std::string("0123456789")));
    const std::string patch = "AB";
    ASSERT_TRUE(file.writeAt(3, {reinterpret_cast<const std::uint8_t*>(patch.data()), patch.size()}));
    ASSERT_TRUE(file.truncate(8));
    ASSERT_TRUE(file.write(std::string("xy")));
    ASSERT_TRUE(file.commit(false));
    EXPECT_EQ(readFile(dir.file("z.zip")), "012AB567xy");
}

TEST(AtomicFile, AFolderThatCannotBeWrittenIsAFailureWithTheSystemsReason) {
    TempDirectory dir("atomic-missing");
    AtomicFile file;
    EXPECT_FALSE(file.open(dir.file("no/such/folder/a.enz")));
    EXPECT_EQ(file.error(), "No such file or directory");
    EXPECT_FALSE(file.write(std::string("x")));
}

// Every operation on the way can fail; each failure leaves the old file
// whole and no temporary file behind (the failed delete of a temporary file
// excepted: that leaves a temporary name, never a final one).
TEST(AtomicFile, AFailureAtAnyStepLeavesTheOldFileWhole) {
    Disarmed disarmed;
    TempDirectory dir("atomic-every-step");
    const std::string content(300000, 'n');
    // How many operations a whole write takes.
    writeFile(dir.file("a.enz"), "old");
    FailurePoints::reset();
    ASSERT_TRUE(morvane::writeFileAtomically(dir.file("a.enz"), content));
    const std::uint64_t steps = FailurePoints::passed();
    ASSERT_GE(steps, 4u);  // write, flush, rename, folder flush
    for (std::uint64_t k = 1; k <= steps; ++k) {
        SCOPED_TRACE("failing operation " + std::to_string(k));
        writeFile(dir.file("a.enz"), "old");
        FailurePoints::arm(k);
        const bool written = morvane::writeFileAtomically(dir.file("a.enz"), content);
        FailurePoints::disarm();
        const std::string now = readFile(dir.file("a.enz"));
        EXPECT_TRUE(now == "old" || now == content) << now.size();
        if (k < steps) {
            EXPECT_FALSE(written);
        }
        if (now == "old") {
            EXPECT_FALSE(written);
        }
        for (const std::string& name : namesIn(dir.path())) EXPECT_EQ(name, "a.enz");
    }
}

TEST(FailurePoints, CountEveryOperationAndFailTheArmedOne) {
    Disarmed disarmed;
    TempDirectory dir("failure-points");
    FailurePoints::reset();
    writeFile(dir.file("a"), "a");
    EXPECT_TRUE(morvane::removeFile(dir.file("a")));
    EXPECT_EQ(FailurePoints::passed(), 1u);
    writeFile(dir.file("b"), "b");
    FailurePoints::arm(1);
    EXPECT_FALSE(morvane::removeFile(dir.file("b")));
    EXPECT_EQ(errno, EACCES);
    EXPECT_TRUE(FailurePoints::triggered());
    EXPECT_TRUE(fs::exists(dir.file("b")));
    EXPECT_TRUE(morvane::removeFile(dir.file("b")));  // only once
    // A disk that stays full: writes and flushes fail from then on, renames
    // and deletes still work.
    FailurePoints::arm(2, true);
    writeFile(dir.file("c"), "c");
    writeFile(dir.file("d"), "d");
    EXPECT_TRUE(morvane::removeFile(dir.file("c")));
    EXPECT_FALSE(morvane::removeFile(dir.file("d")));
    AtomicFile file;
    ASSERT_TRUE(file.open(dir.file("e")));
    EXPECT_FALSE(file.write(std::string("e")));
    EXPECT_EQ(file.error(), "No space left on device");
    EXPECT_FALSE(file.flush());
    EXPECT_TRUE(morvane::renameFile(dir.file("d"), dir.file("f")));
    EXPECT_TRUE(morvane::removeFile(dir.file("f")));
}

TEST(FailurePoints, AMissingFileIsNoFailureToDelete) {
    TempDirectory dir("remove-missing");
    EXPECT_TRUE(morvane::removeFile(dir.file("never-made")));
}

TEST(TemporaryNames, AreShortHiddenAndRecognised) {
    const std::string name = morvane::temporaryFileName();
    EXPECT_EQ(name.rfind(".~mv" + std::to_string(::getpid()) + "-", 0), 0u) << name;
    EXPECT_LE(name.size(), 30u);
    EXPECT_TRUE(morvane::isTemporaryFileName(name));
    EXPECT_NE(morvane::temporaryFileName(), name);
    for (const char* other : {"report.txt", ".~mv.tmp", ".~mv12-.tmp", ".~mvx1-abc.tmp", "~enc~a.zip", "a.~mvpart",
                              ".~mv12-ABC.tmp", ".~mv12-abc.tmpx"})
        EXPECT_FALSE(morvane::isTemporaryFileName(other)) << other;
}

TEST(FittedFileName, LeavesNamesWithinTheLimitAndCutsLongerOnesTheSameWayEachTime) {
    EXPECT_EQ(morvane::fittedFileName("~enc~a.txt.zip"), "~enc~a.txt.zip");
    const std::string limit(255, 'x');
    EXPECT_EQ(morvane::fittedFileName(limit), limit);
    const std::string longer = "~enc~" + std::string(250, 'y') + ".zip";
    const std::string fitted = morvane::fittedFileName(longer);
    EXPECT_EQ(fitted.size(), 255u);
    EXPECT_EQ(fitted, morvane::fittedFileName(longer));
    EXPECT_EQ(fitted.substr(0, 10), longer.substr(0, 10));
    EXPECT_EQ(fitted.substr(fitted.size() - 4), ".zip");
    EXPECT_NE(fitted, morvane::fittedFileName("~enc~" + std::string(250, 'z') + ".zip"));
    // Not cut inside a character.
    std::string accents;
    while (accents.size() < 300) accents += "\xC3\xA9";
    const std::string cut = morvane::fittedFileName(accents);
    EXPECT_LE(cut.size(), 255u);
    EXPECT_NE(static_cast<unsigned char>(cut[cut.find('~') - 1]), 0xC3);
}

// A process number no process has: a child that has ended and been reaped.
pid_t deadProcess() {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(0);
    ::waitpid(child, nullptr, 0);
    return child;
}

TEST(Leftovers, TemporaryFilesOfEndedProcessesAreRemovedAndNothingElse) {
    TempDirectory dir("leftovers");
    const std::string dead = ".~mv" + std::to_string(deadProcess()) + "-abcdefgh.tmp";
    const std::string live = ".~mv1-abcdefgh.tmp";  // the init process always runs
    const std::string mine = ".~mv" + std::to_string(::getpid()) + "-abcdefgh.tmp";
    for (const std::string& name : {dead, live, mine, std::string("report.txt"), std::string("~enc~a.zip"),
                                    std::string("a.zip.~mvpart"), std::string(".~mvnotes.tmp")})
        writeFile(dir.file(name), "x");
    morvane::removeLeftovers(dir.str());
    EXPECT_EQ(namesIn(dir.path()),
              (std::set<std::string>{live, mine, "report.txt", "~enc~a.zip", "a.zip.~mvpart", ".~mvnotes.tmp"}));
}

TEST(Leftovers, AFolderOfThatNameIsLeftAlone) {
    TempDirectory dir("leftover-folder");
    const std::string dead = ".~mv" + std::to_string(deadProcess()) + "-abcdefgh.tmp";
    fs::create_directories(dir.file(dead) + "/inside");
    morvane::removeLeftovers(dir.str());
    EXPECT_TRUE(fs::is_directory(dir.file(dead) + "/inside"));
}

TEST(FlushDirectory, FlushesAFolderAndFailsForAMissingOne) {
    TempDirectory dir("flush-folder");
    EXPECT_TRUE(morvane::flushDirectory(dir.str()));
    EXPECT_FALSE(morvane::flushDirectory(dir.file("missing")));
}

TEST(FolderOf, KeepsTheClosingSeparator) {
    EXPECT_EQ(morvane::folderOf("/a/b/c.enz"), "/a/b/");
    EXPECT_EQ(morvane::folderOf("c.enz"), "");
    EXPECT_EQ(morvane::folderOf("/c.enz"), "/");
}

}  // namespace
