#include "password_database.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "clsBlowfish.h"
#include "codepage.h"
#include "failure_points.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::MessageIcon;
using morvane::PasswordDatabase;
using morvane::RunState;
using morvane::ScriptedUserInterface;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

std::string fixedDate() { return "DATE"; }

struct Database {
    explicit Database(const TempDirectory& dir) : log(dir.str(), fixedDate), db(dir.str(), log) {}
    morvane::ActivityLog log;
    PasswordDatabase db;
};

std::vector<std::string> fileLines(const std::string& path) {
    std::vector<std::string> lines;
    std::istringstream in(readFile(path));
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

// The plain text of a line, deciphered independently of the database code.
std::string decipheredLine(std::string line) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    morvane::clsBlowfish cipher;
    return cipher.DecryptString(line, PasswordDatabase::databaseKey(), true);
}

TEST(PasswordDatabase, KeyHasTwelveCharacters) { EXPECT_EQ(PasswordDatabase::databaseKey().size(), 12u); }

TEST(PasswordDatabase, LivesInTheProgramDirectory) {
    TempDirectory dir("path");
    Database d(dir);
    EXPECT_EQ(d.db.path(), dir.str() + "/mvsp.dat");
}

TEST(PasswordDatabase, EachEntryIsOneHexLineEndingCrLf) {
    TempDirectory dir("lines");
    Database d(dir);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "mail", "s3cret"));
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "bank", "p w"));
    const std::string content = readFile(d.db.path());
    const std::vector<std::string> lines = fileLines(d.db.path());
    ASSERT_EQ(lines.size(), 2u);
    for (const std::string& line : lines) {
        ASSERT_EQ(line.back(), '\r');
        EXPECT_EQ(line.find_first_not_of("0123456789ABCDEF"), line.size() - 1) << line;
    }
    EXPECT_EQ(decipheredLine(lines[0]), "mail--!--s3cret");
    EXPECT_EQ(decipheredLine(lines[1]), "bank--!--p w");
}

TEST(PasswordDatabase, LookupFindsByExactName) {
    TempDirectory dir("lookup");
    Database d(dir);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "Mail", "first"));
    RunState run;
    EXPECT_EQ(d.db.lookupStoredPassword("Mail", run), "first");
    EXPECT_EQ(d.db.lookupStoredPassword("mail", run), "");  // names compare with case
    EXPECT_EQ(d.db.lookupStoredPassword("Mai", run), "");
}

TEST(PasswordDatabase, PasswordWithBlanksAtItsEndsComesBackTrimmed) {
    TempDirectory dir("trim");
    Database d(dir);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "x", "  padded pw  "));
    EXPECT_EQ(d.db.lookupStoredPassword("x", RunState{}), "padded pw");
}

TEST(PasswordDatabase, FirstOfTwoSameNamesWinsAndDeleteRemovesBoth) {
    TempDirectory dir("same-name");
    Database d(dir);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "dup", "one"));
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "other", "keep"));
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "dup", "two"));
    EXPECT_EQ(d.db.lookupStoredPassword("dup", RunState{}), "one");

    ScriptedUserInterface ui;
    int refreshed = 0;
    d.db.deleteStoredPassword("dup", ui, [&refreshed] { ++refreshed; });
    EXPECT_EQ(refreshed, 1);
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].text, "dup has been deleted.");
    EXPECT_EQ(ui.messages[0].icon, MessageIcon::Information);
    EXPECT_EQ(d.db.readAllEntries(), std::vector<std::string>{"other--!--keep"});
    EXPECT_EQ(d.db.lookupStoredPassword("dup", RunState{}), "");
}

TEST(PasswordDatabase, BlankLinesAreSkippedByReadingAndDroppedByDelete) {
    TempDirectory dir("blank");
    Database d(dir);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "a", "1"));
    std::string content = readFile(d.db.path());
    content += "\r\n   \r\n";
    writeFile(d.db.path(), content);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "b", "2"));
    EXPECT_EQ(d.db.readAllEntries(), (std::vector<std::string>{"a--!--1", "b--!--2"}));
    EXPECT_EQ(d.db.lookupStoredPassword("b", RunState{}), "2");  // a blank line before it matches nothing
    ScriptedUserInterface ui;
    d.db.deleteStoredPassword("a", ui, {});
    EXPECT_EQ(fileLines(d.db.path()).size(), 1u);
}

TEST(PasswordDatabase, EachSaveOfTheSameEntryWritesADifferentLine) {
    TempDirectory dir("random");
    Database d(dir);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "n", "p"));
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "n", "p"));
    const std::vector<std::string> lines = fileLines(d.db.path());
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0], lines[1]);
}

TEST(PasswordDatabase, RewriteReplacesTheWholeFileInOrder) {
    TempDirectory dir("rewrite");
    Database d(dir);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "old", "x"));
    ASSERT_TRUE(d.db.savePasswordFile(false, {"b--!--2", "a--!--1"}));
    EXPECT_EQ(d.db.readAllEntries(), (std::vector<std::string>{"b--!--2", "a--!--1"}));
    EXPECT_FALSE(fs::exists(d.db.path() + ".~mvnew"));
}

TEST(PasswordDatabase, MissingFileIsAnEmptyDatabase) {
    TempDirectory dir("missing");
    Database d(dir);
    RunState window;
    EXPECT_EQ(d.db.lookupStoredPassword("any", window), "");
    EXPECT_FALSE(fs::exists(d.log.logPath()));  // silent in the window
    RunState commandLine;
    commandLine.commandLineRun = true;
    EXPECT_EQ(d.db.lookupStoredPassword("any", commandLine), "");
    EXPECT_EQ(readFile(d.log.logPath()),
              "DATE Unable to locate password file. Please verify you have entered in at least one password into "
              "the password database and then try again.\n");
    EXPECT_TRUE(d.db.readAllEntries().empty());
}

TEST(PasswordDatabase, DeleteWithoutAFileTellsAndChangesNothing) {
    TempDirectory dir("delete-missing");
    Database d(dir);
    ScriptedUserInterface ui;
    d.db.deleteStoredPassword("x", ui, {});
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].text, "Unable to locate " + d.db.path() + ". Password not deleted.");
    EXPECT_EQ(ui.messages[0].icon, MessageIcon::Exclamation);
    EXPECT_FALSE(fs::exists(d.db.path()));
}

TEST(PasswordDatabase, DamagedForeignAndTruncatedLinesNeverMatchNorCrash) {
    TempDirectory dir("damaged");
    Database d(dir);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "good", "pw"));
    std::string content = readFile(d.db.path());
    const std::string goodLine = content.substr(0, content.find('\r'));
    morvane::clsBlowfish foreign;
    content += foreign.EncryptString("good--!--foreign", "another key", true) + "\r\n";  // another key
    content += goodLine.substr(0, goodLine.size() / 2) + "\r\n";                         // cut in half
    content += "ZZ not hex at all\r\n";
    content += std::string(1, '\0') + "\xff\xfe binary\r\n";
    writeFile(d.db.path(), content);
    EXPECT_EQ(d.db.lookupStoredPassword("good", RunState{}), "pw");
    EXPECT_EQ(d.db.readAllEntries(), std::vector<std::string>{"good--!--pw"});
}

TEST(PasswordDatabase, EntriesOutsideTheCodePageAreRefused) {
    TempDirectory dir("codepage");
    Database d(dir);
    EXPECT_FALSE(d.db.savePasswordFile(true, {}, "name", "pa→ss"));
    EXPECT_FALSE(fs::exists(d.db.path()));
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "café", "€uro"));
    EXPECT_EQ(d.db.lookupStoredPassword("café", RunState{}), "€uro");
}

// The file is either the old one or the new one, whatever fails on the way,
// and it is owner-only.
TEST(PasswordDatabase, EveryFailureLeavesTheOldFileWhole) {
    TempDirectory dir("mvsp-failures");
    Database d(dir);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "mail", "one"));
    const std::string before = readFile(d.db.path());
    for (const bool append : {true, false}) {
        morvane::FailurePoints::reset();
        ASSERT_TRUE(append ? d.db.savePasswordFile(true, {}, "bank", "two")
                           : d.db.savePasswordFile(false, {"mail--!--one", "bank--!--two"}));
        const std::uint64_t steps = morvane::FailurePoints::passed();
        const std::string after = readFile(d.db.path());
        ASSERT_EQ(fileLines(d.db.path()).size(), 2u);
        for (std::uint64_t k = 1; k <= steps; ++k) {
            writeFile(d.db.path(), before);
            morvane::FailurePoints::arm(k);
            append ? d.db.savePasswordFile(true, {}, "bank", "two")
                   : d.db.savePasswordFile(false, {"mail--!--one", "bank--!--two"});
            morvane::FailurePoints::reset();
            const std::string now = readFile(d.db.path());
            // The old file, or one that holds both entries (the new line of an
            // append is enciphered afresh each time, so the bytes differ).
            EXPECT_TRUE(now == before || (now.starts_with(before) && fileLines(d.db.path()).size() == 2) ||
                        (!append && now.size() == after.size()))
                << k;
            for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
                EXPECT_TRUE(entry.path().filename() == "mvsp.dat" || entry.path().filename() == "morvane.log")
                    << entry.path();
        }
    }
    EXPECT_EQ(std::filesystem::status(d.db.path()).permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

}  // namespace
