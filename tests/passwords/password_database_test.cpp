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

using Entries = std::vector<std::string>;

// The lines of the database as read: each entry's text, and "unreadable: "
// followed by each line that does not decipher to an entry.
Entries entriesOf(const std::vector<morvane::StoredEntry>& entries) {
    Entries texts;
    for (const morvane::StoredEntry& entry : entries)
        texts.push_back((entry.readable ? "" : "unreadable: ") + entry.text);
    return texts;
}

// Entries to rewrite the file with.
std::vector<morvane::StoredEntry> entries(std::initializer_list<const char*> texts) {
    std::vector<morvane::StoredEntry> list;
    for (const char* text : texts) list.push_back(morvane::StoredEntry::entry(text));
    return list;
}

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
    EXPECT_EQ(entriesOf(d.db.readAllEntries()), Entries{"other--!--keep"});
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
    EXPECT_EQ(entriesOf(d.db.readAllEntries()), (Entries{"a--!--1", "b--!--2"}));
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
    ASSERT_TRUE(d.db.savePasswordFile(false, entries({"b--!--2", "a--!--1"})));
    EXPECT_EQ(entriesOf(d.db.readAllEntries()), (Entries{"b--!--2", "a--!--1"}));
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
    EXPECT_TRUE(entriesOf(d.db.readAllEntries()).empty());
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
    const std::string foreignLine = foreign.EncryptString("good--!--foreign", "another key", true);
    content += foreignLine + "\r\n";                              // another key
    content += goodLine.substr(0, goodLine.size() / 2) + "\r\n";  // cut in half
    content += "ZZ not hex at all\r\n";
    content += std::string(1, '\0') + "\xff\xfe binary\r\n";
    writeFile(d.db.path(), content);
    EXPECT_EQ(d.db.lookupStoredPassword("good", RunState{}), "pw");
    // Every line is read; those that are no entry under this key stay as they are.
    EXPECT_EQ(
        entriesOf(d.db.readAllEntries()),
        (Entries{"good--!--pw", "unreadable: " + foreignLine, "unreadable: " + goodLine.substr(0, goodLine.size() / 2),
                 "unreadable: ZZ not hex at all", "unreadable: " + std::string(1, '\0') + "\xff\xfe binary"}));
}

// A file shared with another installation (another key), or damaged in
// part: the lines this program cannot read are somebody's passwords.
struct MixedFile {
    std::string foreignLine;
    std::string damagedLine = "0123456789ABCDEF damaged";
    std::string firstLine;  // "keep--!--one"
    std::string thirdLine;  // "gone--!--three"
};

MixedFile writeMixedFile(Database& d) {
    MixedFile f;
    morvane::clsBlowfish other;
    f.foreignLine = other.EncryptString("theirs--!--secret", "another installation", true);
    EXPECT_TRUE(d.db.savePasswordFile(true, {}, "keep", "one"));
    f.firstLine = fileLines(d.db.path())[0];
    f.firstLine.pop_back();  // CR
    EXPECT_TRUE(d.db.savePasswordFile(true, {}, "gone", "three"));
    f.thirdLine = fileLines(d.db.path())[1];
    f.thirdLine.pop_back();
    writeFile(d.db.path(),
              f.firstLine + "\r\n" + f.foreignLine + "\r\n\r\n" + f.thirdLine + "\r\n  \r\n" + f.damagedLine + "\r\n");
    return f;
}

TEST(PasswordDatabase, ReadingKeepsEveryLineButTheBlankOnes) {
    TempDirectory dir("mixed-read");
    Database d(dir);
    const MixedFile f = writeMixedFile(d);
    EXPECT_EQ(entriesOf(d.db.readAllEntries()), (Entries{"keep--!--one", "unreadable: " + f.foreignLine,
                                                         "gone--!--three", "unreadable: " + f.damagedLine}));
    EXPECT_EQ(PasswordDatabase::entryTexts(d.db.readAllEntries()), (Entries{"keep--!--one", "gone--!--three"}));
}

TEST(PasswordDatabase, DeleteWritesTheLinesItCannotReadBackUnchanged) {
    TempDirectory dir("mixed-delete");
    Database d(dir);
    const MixedFile f = writeMixedFile(d);
    ScriptedUserInterface ui;
    d.db.deleteStoredPassword("gone", ui, {});
    const std::vector<std::string> lines = fileLines(d.db.path());
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(decipheredLine(lines[0]), "keep--!--one");
    EXPECT_EQ(lines[1], f.foreignLine + "\r");
    EXPECT_EQ(lines[2], f.damagedLine + "\r");
    EXPECT_EQ(entriesOf(d.db.readAllEntries()),
              (Entries{"keep--!--one", "unreadable: " + f.foreignLine, "unreadable: " + f.damagedLine}));
    // The other installation still reads its entry.
    morvane::clsBlowfish other;
    EXPECT_EQ(other.DecryptString(f.foreignLine, "another installation", true), "theirs--!--secret");
}

TEST(PasswordDatabase, RewriteWritesTheLinesItCannotReadBackUnchanged) {
    TempDirectory dir("mixed-rewrite");
    Database d(dir);
    const MixedFile f = writeMixedFile(d);
    std::vector<morvane::StoredEntry> read = d.db.readAllEntries();
    ASSERT_EQ(read.size(), 4u);
    read[0] = morvane::StoredEntry::entry("keep--!--changed");
    ASSERT_TRUE(d.db.savePasswordFile(false, read));
    const std::vector<std::string> lines = fileLines(d.db.path());
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[1], f.foreignLine + "\r");
    EXPECT_EQ(lines[3], f.damagedLine + "\r");
    EXPECT_EQ(entriesOf(d.db.readAllEntries()), (Entries{"keep--!--changed", "unreadable: " + f.foreignLine,
                                                         "gone--!--three", "unreadable: " + f.damagedLine}));
}

TEST(PasswordDatabase, AnAddedEntryDoesNotRunIntoALastLineWithoutItsEnd) {
    TempDirectory dir("no-line-end");
    Database d(dir);
    morvane::clsBlowfish other;
    const std::string foreignLine = other.EncryptString("theirs--!--secret", "another installation", true);
    writeFile(d.db.path(), foreignLine);
    ASSERT_TRUE(d.db.savePasswordFile(true, {}, "mine", "pw"));
    EXPECT_EQ(entriesOf(d.db.readAllEntries()), (Entries{"unreadable: " + foreignLine, "mine--!--pw"}));
    EXPECT_EQ(d.db.lookupStoredPassword("mine", RunState{}), "pw");
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
                           : d.db.savePasswordFile(false, entries({"mail--!--one", "bank--!--two"})));
        const std::uint64_t steps = morvane::FailurePoints::passed();
        const std::string after = readFile(d.db.path());
        ASSERT_EQ(fileLines(d.db.path()).size(), 2u);
        for (std::uint64_t k = 1; k <= steps; ++k) {
            writeFile(d.db.path(), before);
            morvane::FailurePoints::arm(k);
            append ? d.db.savePasswordFile(true, {}, "bank", "two")
                   : d.db.savePasswordFile(false, entries({"mail--!--one", "bank--!--two"}));
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
