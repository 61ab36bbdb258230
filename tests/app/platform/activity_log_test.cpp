#include "activity_log.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "failure_points.h"
#include "temp_directory.h"

namespace {

using morvane::ActivityLog;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

std::string fixedDate() { return "21/11/2026 08:30:00"; }

unsigned modeOf(const std::string& path) {
    return static_cast<unsigned>(std::filesystem::status(path).permissions()) & 0777u;
}

struct Disarmed {
    ~Disarmed() { morvane::FailurePoints::reset(); }
};
using morvane::FailurePoints;

TEST(ActivityLog, LineIsDateBlankMessageAndLineBreak) {
    TempDirectory dir("line");
    ActivityLog log(dir.str(), fixedDate);
    log.writeLog("first");
    log.writeLog("second line");
    EXPECT_EQ(readFile(log.logPath()), "21/11/2026 08:30:00 first\n21/11/2026 08:30:00 second line\n");
}

TEST(ActivityLog, LivesInTheProgramDirectory) {
    TempDirectory dir("paths");
    ActivityLog log(dir.str());
    EXPECT_EQ(log.logPath(), dir.str() + "/morvane.log");
    EXPECT_EQ(log.archivePath(), dir.str() + "/morvane.err.old");
}

TEST(ActivityLog, GeneralDateTextHoldsDateAndTime) {
    const std::string text = ActivityLog::generalDateText();
    // The C locale writes the date as mm/dd/yy and the time as hh:mm:ss.
    EXPECT_TRUE(std::regex_match(text, std::regex(R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d)"))) << text;
}

TEST(ActivityLog, DefaultLineStartsWithTheGeneralDate) {
    TempDirectory dir("default-date");
    ActivityLog log(dir.str());
    log.writeLog("Job done.");
    const std::string content = readFile(log.logPath());
    EXPECT_TRUE(std::regex_match(content, std::regex(R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d Job done\.\n)"))) << content;
}

TEST(ActivityLog, LogOfExactlyTwoMillionBytesIsNotArchived) {
    TempDirectory dir("exact");
    ActivityLog log(dir.str(), fixedDate);
    const std::string old(ActivityLog::kArchiveThreshold, 'x');
    writeFile(log.logPath(), old);
    log.writeLog("next");
    EXPECT_FALSE(std::filesystem::exists(log.archivePath()));
    EXPECT_EQ(readFile(log.logPath()), old + "21/11/2026 08:30:00 next\n");
}

TEST(ActivityLog, OneByteLongerIsArchivedBeforeTheNextLine) {
    TempDirectory dir("over");
    ActivityLog log(dir.str(), fixedDate);
    const std::string old(ActivityLog::kArchiveThreshold + 1, 'y');
    writeFile(log.logPath(), old);
    log.writeLog("the line that caused it");
    EXPECT_EQ(readFile(log.archivePath()), old);
    EXPECT_EQ(readFile(log.logPath()),
              "21/11/2026 08:30:00 *** Archived morvane.err to morvane.err.old ***\n"
              "21/11/2026 08:30:00 the line that caused it\n");
}

TEST(ActivityLog, ArchiveKeepsOneGenerationOnly) {
    TempDirectory dir("generation");
    ActivityLog log(dir.str(), fixedDate);
    writeFile(log.archivePath(), "an older archive");
    const std::string old(ActivityLog::kArchiveThreshold + 10, 'z');
    writeFile(log.logPath(), old);
    log.writeLog("x");
    EXPECT_EQ(readFile(log.archivePath()), old);
}

TEST(ActivityLog, ReadOnlyLogIsStillArchivedAndReplaced) {
    TempDirectory dir("read-only");
    ActivityLog log(dir.str(), fixedDate);
    writeFile(log.logPath(), std::string(ActivityLog::kArchiveThreshold + 1, 'r'));
    std::filesystem::permissions(log.logPath(), std::filesystem::perms::owner_write,
                                 std::filesystem::perm_options::remove);
    log.writeLog("after");
    EXPECT_EQ(readFile(log.logPath()),
              "21/11/2026 08:30:00 *** Archived morvane.err to morvane.err.old ***\n21/11/2026 08:30:00 after\n");
}

TEST(ActivityLog, MissingDirectorySwallowsTheLine) {
    TempDirectory dir("missing");
    ActivityLog log(dir.file("no/such/folder"), fixedDate);
    EXPECT_NO_THROW(log.writeLog("lost"));
    EXPECT_FALSE(std::filesystem::exists(log.logPath()));
}

TEST(ActivityLog, LogThatIsADirectorySwallowsTheLine) {
    TempDirectory dir("dir-as-log");
    ActivityLog log(dir.str(), fixedDate);
    std::filesystem::create_directory(log.logPath());
    EXPECT_NO_THROW(log.writeLog("lost"));
    EXPECT_TRUE(std::filesystem::is_directory(log.logPath()));
}

// The log names the user's files: nobody else may read it.
TEST(ActivityLog, TheLogIsOwnerOnlyAlsoWhenItWasNot) {
    TempDirectory dir("owner-only");
    ActivityLog log(dir.str(), fixedDate);
    log.writeLog("first");
    EXPECT_EQ(modeOf(log.logPath()), 0600u);
    std::filesystem::permissions(log.logPath(),
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write |
                                     std::filesystem::perms::group_read | std::filesystem::perms::others_read);
    log.writeLog("second");
    EXPECT_EQ(modeOf(log.logPath()), 0600u);
}

// The archive takes the log's place by a rename: every line of the old log
// is in it, and an archive that cannot be made loses no line either.
TEST(ActivityLog, ArchivingLosesNoLineOfTheOldLog) {
    TempDirectory dir("rename");
    ActivityLog log(dir.str(), fixedDate);
    std::string old;
    for (int i = 0; old.size() <= ActivityLog::kArchiveThreshold; ++i) old += "line " + std::to_string(i) + "\n";
    writeFile(log.logPath(), old);
    Disarmed disarmed;
    FailurePoints::arm(1);  // the rename fails
    log.writeLog("while the archive cannot be made");
    FailurePoints::disarm();
    EXPECT_FALSE(std::filesystem::exists(log.archivePath()));
    EXPECT_EQ(readFile(log.logPath()), old + "21/11/2026 08:30:00 while the archive cannot be made\n");
    log.writeLog("then");
    EXPECT_EQ(readFile(log.archivePath()), old + "21/11/2026 08:30:00 while the archive cannot be made\n");
    EXPECT_EQ(readFile(log.logPath()),
              "21/11/2026 08:30:00 *** Archived morvane.err to morvane.err.old ***\n21/11/2026 08:30:00 then\n");
}

// On a full disk the line being written is lost, whole, and nothing else.
TEST(ActivityLog, AFullDiskLosesOnlyTheLineBeingWritten) {
    TempDirectory dir("full");
    ActivityLog log(dir.str(), fixedDate);
    log.writeLog("before");
    Disarmed disarmed;
    FailurePoints::arm(1, true);
    log.writeLog("lost on a full disk");
    FailurePoints::disarm();
    log.writeLog("after");
    EXPECT_EQ(readFile(log.logPath()), "21/11/2026 08:30:00 before\n21/11/2026 08:30:00 after\n");
}

TEST(ViewLog, WithoutALogTellsItIsEmptyAndOpensNothing) {
    TempDirectory dir("view-empty");
    ActivityLog log(dir.str());
    const morvane::ViewLogDecision decision = morvane::viewLog(log);
    EXPECT_FALSE(decision.openLog);
    EXPECT_EQ(decision.message, "Log file is currently empty.");
    EXPECT_TRUE(decision.path.empty());
}

TEST(ViewLog, WithALogOpensIt) {
    TempDirectory dir("view-log");
    ActivityLog log(dir.str(), fixedDate);
    log.writeLog("something");
    const morvane::ViewLogDecision decision = morvane::viewLog(log);
    EXPECT_TRUE(decision.openLog);
    EXPECT_EQ(decision.path, log.logPath());
    EXPECT_TRUE(decision.message.empty());
}

}  // namespace
