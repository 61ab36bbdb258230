// decryptFiles driven through the window model over real archives: the checks,
// wrong passwords in the window and from the command line, decipher failures,
// output directories, the overwrite and remove options, and the messages.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "job_harness.h"

namespace {

namespace fs = std::filesystem;
using morvane::kApplicationTitle;
using morvane::ListRow;
using morvane::MessageIcon;
using morvane::ScriptedUserInterface;
using morvane::jobtest::Harness;
using morvane::jobtest::makeArchive;
using morvane::jobtest::namesContaining;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

using Message = ScriptedUserInterface::Message;

const std::string kNoFilesText =
    "No files have been selected to decrypt. Please select the \"Add Files\" button to select the files you wish to "
    "decrypt. Please note, these files must contain a .enz file extension.";
const std::string kBlankPasswordText =
    "Password field is blank. Please enter in a valid password to decrypt your files and then try again.";
const std::string kMismatchText =
    "Your password entered in the \"Verify Password\" field does not match the password you entered in the "
    "\"Password\" field. Please verify password and then try again.";
const std::string kManyDoneText = "Your files successfully been decrypted.";

std::string notAnArchiveText(const std::string& entry) {
    return entry +
           " is not an encrypted zip file. An encrypted zip file must end with a .enz file extension. Please verify "
           "file and then try again.";
}
std::string unableToLocateText(const std::string& path) {
    return "Unable to locate " + path +
           ". Please remove this file from the list of  file to be decrypted and then try again.";
}
std::string invalidPasswordText(const std::string& entry) {
    return "Invalid password while trying to decrypt " + entry + ". Please verify password and then try again.";
}
std::string invalidPasswordLine(const std::string& commandLine) {
    return "Invalid password for the following command line: " + commandLine +
           ". Please verify password on ALL of the files you encrypted and then try again.";
}
std::string oneDoneText(const std::string& path) { return path + " has successfully been decrypted."; }

// The current directory, put back when the test ends however it ends.
class CurrentDirectoryGuard {
public:
    explicit CurrentDirectoryGuard(const fs::path& to) : saved_(fs::current_path()) { fs::current_path(to); }
    ~CurrentDirectoryGuard() {
        std::error_code ec;
        fs::current_path(saved_, ec);
    }
    CurrentDirectoryGuard(const CurrentDirectoryGuard&) = delete;
    CurrentDirectoryGuard& operator=(const CurrentDirectoryGuard&) = delete;

private:
    fs::path saved_;
};

// ---------------------------------------------------------------------------
// Checks
// ---------------------------------------------------------------------------

TEST(DecryptJobChecks, EmptyListInWindowSaysNoFilesSelected) {
    TempDirectory dir("dec-empty");
    Harness h(dir);
    h.setPassword("pw");
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{kNoFilesText, "No Files Selected", MessageIcon::Information}));
}

TEST(DecryptJobChecks, EmptyListInCommandLineRunEndsSilently) {
    TempDirectory dir("dec-empty-cl");
    Harness h(dir);
    h.run.commandLineRun = true;
    h.setPassword("pw");
    h.decrypt();

    EXPECT_TRUE(h.ui.messages.empty());
    EXPECT_TRUE(h.ui.focusRequests.empty());
    EXPECT_FALSE(h.logExists());
}

TEST(DecryptJobChecks, BlankPasswordIsRefused) {
    TempDirectory dir("dec-blank");
    const std::string archive = makeArchive(dir.file("a.txt"), "alpha", "pw");
    ASSERT_FALSE(archive.empty());
    Harness h(dir);
    h.list({archive});
    h.setPassword("    ");
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0],
              (Message{kBlankPasswordText, std::string(kApplicationTitle), MessageIcon::Information}));
    EXPECT_EQ(h.ui.focusRequests, std::vector<std::string>{"txtPassword"});
    EXPECT_EQ(h.window.txtPassword, "");
    EXPECT_FALSE(fs::exists(dir.file("a.txt")));
}

TEST(DecryptJobChecks, VerifyFieldMustMatch) {
    TempDirectory dir("dec-verify");
    const std::string archive = makeArchive(dir.file("a.txt"), "alpha", "pw");
    ASSERT_FALSE(archive.empty());
    Harness h(dir);
    h.list({archive});
    h.window.txtPassword = "pw";
    h.window.txtVerifyPass = "";
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{kMismatchText, std::string(kApplicationTitle), MessageIcon::Exclamation}));
    EXPECT_EQ(h.ui.focusRequests, std::vector<std::string>{"txtPassword"});
    EXPECT_FALSE(fs::exists(dir.file("a.txt")));
}

TEST(DecryptJobChecks, EntryWithoutEnzIsRefusedInWindow) {
    TempDirectory dir("dec-not-archive");
    writeFile(dir.file("plain.txt"), "plain");
    Harness h(dir);
    h.list({dir.file("plain.txt")});
    h.setPassword("pw");
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{notAnArchiveText(dir.file("plain.txt")), std::string(kApplicationTitle),
                                         MessageIcon::Exclamation}));
    EXPECT_EQ(readFile(dir.file("plain.txt")), "plain");
    EXPECT_FALSE(h.status.model().loaded);
}

TEST(DecryptJobChecks, EntryWithoutEnzIsShownAlsoInCommandLineRun) {
    TempDirectory dir("dec-not-archive-cl");
    const std::string archive = makeArchive(dir.file("a.txt"), "alpha", "pw");
    ASSERT_FALSE(archive.empty());
    writeFile(dir.file("plain.txt"), "plain");
    Harness h(dir);
    h.run.commandLineRun = true;
    h.list({archive, dir.file("plain.txt")});
    h.setPassword("pw");
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, notAnArchiveText(dir.file("plain.txt")));
    EXPECT_EQ(h.ui.messages[0].icon, MessageIcon::Exclamation);
    // The archive before it was opened.
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
}

TEST(DecryptJobChecks, MissingArchiveInWindowIsNamedWithTheTwoBlanks) {
    TempDirectory dir("dec-missing");
    const std::string archive = makeArchive(dir.file("a.txt"), "alpha", "pw");
    ASSERT_FALSE(archive.empty());
    Harness h(dir);
    h.list({archive});
    fs::remove(archive);
    h.setPassword("pw");
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0],
              (Message{unableToLocateText(archive), std::string(kApplicationTitle), MessageIcon::Exclamation}));
    EXPECT_TRUE(namesContaining(dir.path(), "~dec~").empty());
}

TEST(DecryptJobChecks, AnArchiveMissingAfterOthersWereDoneClosesTheProgressWindow) {
    TempDirectory dir("dec-missing-later");
    const std::string first = makeArchive(dir.file("a.txt"), "alpha", "pw");
    const std::string second = makeArchive(dir.file("b.txt"), "beta", "pw");
    ASSERT_FALSE(first.empty());
    ASSERT_FALSE(second.empty());
    Harness h(dir);
    h.list({first, second});
    fs::remove(second);
    h.setPassword("pw");
    bool shownDuringTheJob = false;
    h.ui.onEventsRun = [&] { shownDuringTheJob = shownDuringTheJob || h.status.model().loaded; };
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, unableToLocateText(second));
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_TRUE(shownDuringTheJob);
    EXPECT_FALSE(h.status.model().loaded);
    EXPECT_FALSE(h.status.model().tmrEncStatusOn);
    EXPECT_FALSE(h.status.model().tmrZipStatusOn);
    EXPECT_FALSE(h.window.jobRunning);
}

// A row without "(encrypted zip)" (the list marks only names ending in
// ".enz" as written) is the archive's path as it stands.
TEST(DecryptJobChecks, RowWithoutTheMarkerIsTheArchivesPath) {
    TempDirectory dir("dec-no-marker");
    const std::string archive = makeArchive(dir.file("a.txt"), "alpha", "pw");
    ASSERT_FALSE(archive.empty());
    const std::string capitals = dir.file("A.ENZ");
    fs::rename(archive, capitals);
    Harness h(dir);
    h.window.lstFiles.push_back(ListRow{capitals + "  ", "", ""});
    h.setPassword("pw");
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, capitals + " has successfully been decrypted.");
    EXPECT_FALSE(h.logExists());
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_FALSE(h.window.jobRunning);
}

TEST(DecryptJobChecks, UpperCaseExtensionIsAccepted) {
    TempDirectory dir("dec-upper");
    const std::string made = makeArchive(dir.file("x.txt"), "upper case archive", "pw");
    ASSERT_FALSE(made.empty());
    fs::rename(made, dir.file("x.ENZ"));
    Harness h(dir);
    h.window.lstFiles.push_back(ListRow{dir.file("x.ENZ") + " (encrypted zip)", "", ""});
    h.setPassword("pw");
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, oneDoneText(dir.file("x.ENZ")));
    EXPECT_EQ(readFile(dir.file("x.txt")), "upper case archive");
    EXPECT_TRUE(namesContaining(dir.path(), "~dec~").empty());
}

// ---------------------------------------------------------------------------
// Archives opened
// ---------------------------------------------------------------------------

TEST(DecryptJobArchives, OneArchiveRestoresItsFileAndRecordsRecentEntry) {
    TempDirectory dir("dec-one");
    const std::string archive = makeArchive(dir.file("report.doc"), "quarterly figures", "s3cret");
    ASSERT_FALSE(archive.empty());
    Harness h(dir);
    h.list({archive});
    const auto rowsBefore = h.window.lstFiles;
    h.setPassword("  s3cret ");
    h.decrypt();

    EXPECT_EQ(h.window.txtPassword, "s3cret");
    EXPECT_EQ(h.window.txtVerifyPass, "s3cret");
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0],
              (Message{oneDoneText(archive), std::string(kApplicationTitle), MessageIcon::Information}));
    EXPECT_EQ(h.recentLines(), std::vector<std::string>{"Decrypt " + archive});
    EXPECT_EQ(readFile(dir.file("report.doc")), "quarterly figures");
    EXPECT_TRUE(fs::exists(archive));
    EXPECT_TRUE(namesContaining(dir.path(), "~dec~").empty());
    EXPECT_EQ(h.window.lstFiles, rowsBefore);  // the list is not rebuilt
    EXPECT_FALSE(h.status.model().loaded);
    // The end of the run waits 300 ms for each of the two timers.
    EXPECT_EQ(std::count(h.ui.pauses.begin(), h.ui.pauses.end(), 300), 2);
    EXPECT_FALSE(h.window.jobRunning);
}

TEST(DecryptJobArchives, SeveralArchivesShowTheCommonMessage) {
    TempDirectory dir("dec-several");
    fs::create_directories(dir.file("other"));
    const std::string a = makeArchive(dir.file("a.txt"), "alpha", "pw");
    const std::string b = makeArchive(dir.file("other") + "/b.txt", "beta", "pw");
    ASSERT_FALSE(a.empty());
    ASSERT_FALSE(b.empty());
    Harness h(dir);
    h.list({a, b});
    h.setPassword("pw");
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{kManyDoneText, std::string(kApplicationTitle), MessageIcon::Information}));
    EXPECT_FALSE(fs::exists(h.recent.path()));
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_EQ(readFile(dir.file("other") + "/b.txt"), "beta");
    EXPECT_TRUE(namesContaining(dir.path(), "~dec~").empty());
}

TEST(DecryptJobArchives, WrongPasswordInWindowNamesTheEntryAndExtractsNothing) {
    TempDirectory dir("dec-wrong");
    const std::string archive = makeArchive(dir.file("a.txt"), "alpha", "right");
    ASSERT_FALSE(archive.empty());
    Harness h(dir);
    h.list({archive});
    h.setPassword("wrong");
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{invalidPasswordText(archive + " (encrypted zip)"),
                                         std::string(kApplicationTitle), MessageIcon::Exclamation}));
    EXPECT_FALSE(fs::exists(dir.file("a.txt")));
    EXPECT_TRUE(namesContaining(dir.path(), "~dec~").empty());
    EXPECT_TRUE(namesContaining(dir.path(), ".~mvpart").empty());
    EXPECT_TRUE(fs::exists(archive));
    EXPECT_FALSE(fs::exists(h.recent.path()));
    EXPECT_FALSE(h.status.model().loaded);
}

TEST(DecryptJobArchives, FilesOfEarlierArchivesStayAfterALaterWrongPassword) {
    TempDirectory dir("dec-wrong-later");
    const std::string a = makeArchive(dir.file("a.txt"), "alpha", "pw");
    const std::string b = makeArchive(dir.file("b.txt"), "beta", "another");
    const std::string c = makeArchive(dir.file("c.txt"), "gamma", "pw");
    ASSERT_FALSE(a.empty() || b.empty() || c.empty());
    Harness h(dir);
    h.list({a, b, c});
    h.setPassword("pw");
    h.decrypt();

    // A row added after the first carries the marker with a blank after it.
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, invalidPasswordText(b + " (encrypted zip) "));
    EXPECT_EQ(h.ui.messages[0].icon, MessageIcon::Exclamation);
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_FALSE(fs::exists(dir.file("b.txt")));
    EXPECT_FALSE(fs::exists(dir.file("c.txt")));
    EXPECT_TRUE(namesContaining(dir.path(), "~dec~").empty());
}

TEST(DecryptJobArchives, DontOverwriteKeepsAnExistingFile) {
    TempDirectory dir("dec-keep");
    const std::string archive = makeArchive(dir.file("a.txt"), "archived version", "pw");
    ASSERT_FALSE(archive.empty());
    writeFile(dir.file("a.txt"), "edited since");
    Harness h(dir);
    h.list({archive});
    h.setPassword("pw");
    h.window.chkDontOverwrite = true;
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, oneDoneText(archive));
    EXPECT_EQ(readFile(dir.file("a.txt")), "edited since");
}

TEST(DecryptJobArchives, WithoutDontOverwriteAnExistingFileIsReplaced) {
    TempDirectory dir("dec-replace");
    const std::string archive = makeArchive(dir.file("a.txt"), "archived version", "pw");
    ASSERT_FALSE(archive.empty());
    writeFile(dir.file("a.txt"), "edited since");
    Harness h(dir);
    h.list({archive});
    h.setPassword("pw");
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, oneDoneText(archive));
    EXPECT_EQ(readFile(dir.file("a.txt")), "archived version");
}

TEST(DecryptJobArchives, RemoveEncryptedFileDeletesEachArchiveAfterExtraction) {
    TempDirectory dir("dec-remove");
    const std::string a = makeArchive(dir.file("a.txt"), "alpha", "pw");
    const std::string b = makeArchive(dir.file("b.txt"), "beta", "pw");
    ASSERT_FALSE(a.empty() || b.empty());
    Harness h(dir);
    h.list({a, b});
    h.setPassword("pw");
    h.window.chkRemoveEncFile = true;
    h.decrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, kManyDoneText);
    EXPECT_FALSE(fs::exists(a));
    EXPECT_FALSE(fs::exists(b));
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_EQ(readFile(dir.file("b.txt")), "beta");
}

// Deciphering reads the archive and writes the deciphered zip; when that
// fails it is no wrong password: the job says what failed and goes on with
// the next archive.
TEST(DecryptJobArchives, DecipherFailureInWindowSaysWhatFailedAndTheOthersAreOpened) {
    TempDirectory dir("dec-decipher-fails");
    const std::string a = makeArchive(dir.file("a.txt"), "alpha", "pw");
    const std::string b = makeArchive(dir.file("b.txt"), "beta", "pw");
    ASSERT_FALSE(a.empty() || b.empty());
    // The temporary zip's place is taken by a directory that cannot be
    // deleted, so deciphering cannot write there.
    const std::string blocked = dir.file("~dec~a.txt.enz.zip");
    fs::create_directories(blocked);
    writeFile(blocked + "/keep", "x");
    Harness h(dir);
    h.list({a, b});
    h.setPassword("pw");
    h.window.chkRemoveEncFile = true;
    h.decrypt();

    const std::string failure =
        "Failed to decrypt " + a + ": unable to write " + blocked + ": Is a directory. No files have been changed.";
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(failure)});
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{failure, std::string(kApplicationTitle), MessageIcon::Exclamation}));
    EXPECT_EQ(h.ui.messages[0].text.find("password"), std::string::npos);
    EXPECT_TRUE(fs::exists(a));
    EXPECT_FALSE(fs::exists(dir.file("a.txt")));
    // The next archive is opened, and goes as asked.
    EXPECT_FALSE(fs::exists(b));
    EXPECT_EQ(readFile(dir.file("b.txt")), "beta");
    EXPECT_TRUE(fs::is_directory(blocked));
}

TEST(DecryptJobArchives, OutputDirectoryWithoutClosingSeparatorPutsTheTemporaryZipInItsParent) {
    TempDirectory dir("dec-outdir");
    fs::create_directories(dir.file("src"));
    fs::create_directories(dir.file("restore"));
    const std::string archive = makeArchive(dir.file("src") + "/a.txt", "alpha", "pw");
    ASSERT_FALSE(archive.empty());
    Harness h(dir);
    const std::string expectedTemp = dir.file("restore~dec~a.txt.enz.zip");
    bool tempSeenWhileUnzipping = false;
    h.ui.onEventsRun = [&] {
        if (h.status.model().caption.rfind("Unzipping ", 0) == 0 && fs::exists(expectedTemp))
            tempSeenWhileUnzipping = true;
    };
    h.list({archive});
    h.setPassword("pw");
    h.window.chkDecOutputDir = true;
    h.window.txtDecryptTo = "  " + dir.file("restore") + " ";
    h.decrypt();

    EXPECT_EQ(h.window.txtDecryptTo, dir.file("restore"));
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, oneDoneText(archive));
    EXPECT_TRUE(tempSeenWhileUnzipping);
    EXPECT_FALSE(fs::exists(expectedTemp));
    EXPECT_EQ(readFile(dir.file("restore") + "/a.txt"), "alpha");
    EXPECT_FALSE(fs::exists(dir.file("src") + "/a.txt"));
    EXPECT_TRUE(namesContaining(dir.path(), "~dec~").empty());
}

TEST(DecryptJobArchives, EmptyOutputDirectoryMeansTheCurrentDirectory) {
    TempDirectory dir("dec-cwd");
    fs::create_directories(dir.file("src"));
    fs::create_directories(dir.file("here"));
    const std::string archive = makeArchive(dir.file("src") + "/a.txt", "alpha", "pw");
    ASSERT_FALSE(archive.empty());
    Harness h(dir);
    const std::string expectedTemp = dir.file("here") + "/~dec~a.txt.enz.zip";
    bool tempSeenWhileUnzipping = false;
    h.ui.onEventsRun = [&] {
        if (h.status.model().caption.rfind("Unzipping ", 0) == 0 && fs::exists(expectedTemp))
            tempSeenWhileUnzipping = true;
    };
    h.list({archive});
    h.setPassword("pw");
    h.window.chkDecOutputDir = true;
    h.window.txtDecryptTo = "";
    {
        CurrentDirectoryGuard cwd(dir.file("here"));
        h.decrypt();
    }

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, oneDoneText(archive));
    EXPECT_TRUE(tempSeenWhileUnzipping);
    EXPECT_EQ(readFile(dir.file("here") + "/a.txt"), "alpha");
    EXPECT_FALSE(fs::exists(dir.file("src") + "/a.txt"));
    EXPECT_TRUE(namesContaining(dir.path(), "~dec~").empty());
}

// ---------------------------------------------------------------------------
// Command-line runs
// ---------------------------------------------------------------------------

TEST(DecryptJobCommandLine, WrongKeyForOneOfThreeLogsTheCommandLineAndStops) {
    TempDirectory dir("dec-cl-wrong");
    const std::string a = makeArchive(dir.file("a.txt"), "alpha", "pw");
    const std::string b = makeArchive(dir.file("b.txt"), "beta", "not the same");
    const std::string c = makeArchive(dir.file("c.txt"), "gamma", "pw");
    ASSERT_FALSE(a.empty() || b.empty() || c.empty());
    Harness h(dir);
    h.run.commandLineRun = true;
    h.run.commandLine = "-d -ppw \"" + a + "\" \"" + b + "\" \"" + c + "\"";
    h.list({a, b, c});
    h.setPassword("pw");
    h.decrypt();

    EXPECT_TRUE(h.ui.messages.empty());
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(invalidPasswordLine(h.run.commandLine))});
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_FALSE(fs::exists(dir.file("b.txt")));
    EXPECT_FALSE(fs::exists(dir.file("c.txt")));
    EXPECT_TRUE(fs::exists(c));
    EXPECT_TRUE(namesContaining(dir.path(), "~dec~").empty());
    EXPECT_FALSE(h.status.model().loaded);
}

TEST(DecryptJobCommandLine, DecipherFailureIsSaidAndTheOthersAreOpened) {
    TempDirectory dir("dec-cl-decipher-fails");
    const std::string a = makeArchive(dir.file("a.txt"), "alpha", "pw");
    const std::string b = makeArchive(dir.file("b.txt"), "beta", "pw");
    const std::string c = makeArchive(dir.file("c.txt"), "gamma", "pw");
    ASSERT_FALSE(a.empty() || b.empty() || c.empty());
    Harness h(dir);
    h.run.commandLineRun = true;
    h.run.commandLine = "-d -ppw " + dir.str() + "/*.enz";
    h.list({a, b, c});
    fs::remove(b);  // no existence check from the command line: deciphering fails
    h.setPassword("pw");
    h.decrypt();

    const std::string failure = "Failed to decrypt " + b + ": it no longer exists. No files have been changed.";
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, failure);
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(failure)});
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_FALSE(fs::exists(dir.file("b.txt")));
    EXPECT_EQ(readFile(dir.file("c.txt")), "gamma");
    EXPECT_FALSE(fs::exists(h.recent.path()));
}

}  // namespace
