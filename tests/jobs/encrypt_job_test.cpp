// encryptFiles driven through the window model over real files: every check
// that stops or skips a file, the per-file and combined archives, deleting
// sources, the Windows-directory guard, and what the person and the log see.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "job_harness.h"

namespace {

namespace fs = std::filesystem;
using morvane::kApplicationTitle;
using morvane::MessageIcon;
using morvane::ScriptedUserInterface;
using morvane::jobtest::Harness;
using morvane::jobtest::namesContaining;
using morvane::jobtest::openedContent;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

using Message = ScriptedUserInterface::Message;

const std::string kNoFilesText =
    "No files have been selected to encrypt. Please select the \"Add Files\" button to select the files you wish to "
    "encrypt.";
const std::string kBlankPasswordText =
    "Password field is blank. Please enter in a valid password with up to 56 characters in length.";
const std::string kMismatchText =
    "Your password entered in the \"Verify Password\" field does not match the password you entered in the "
    "\"Password\" field. Please verify password and then try again.";
const std::string kManyDoneText = "Your files have successfully been encrypted.";
const std::string kWindowsDirQuestion =
    "Are you sure you want to remove the files contained in your Windows directory after they have been encrypted? "
    "If you remove these files, your system may fail to function properly.";

std::string alreadyEncryptedText(const std::string& path) {
    return path +
           " is already encrypted. If you wish to decrypt this file, then select the \"Decrypt Now\" button below, "
           "otherwise delete this file from the list of files you wish to encrypt and then click the \"Encrypt Now\" "
           "button again.";
}
std::string alreadyEncryptedLine(const std::string& path) {
    return path + " is already encrypted. This file has been removed from the list of files to be encrypted.";
}
std::string unableToLocateText(const std::string& path) {
    return "Unable to locate " + path +
           ". Please remove this file from the list of  file to be encrypted and then try again.";
}
std::string systemFileText(const std::string& path) {
    return path +
           " is a system file. If you wish to encrypt system files, please select \"Allow hidden and system files to "
           "be encrypted\" under the zip options menu and then try encrypting your files again.";
}
std::string hiddenFileText(const std::string& path) {
    return path +
           " is a hidden file. If you wish to encrypt hidden files, please select \"Allow hidden and system files to "
           "be encrypted\" under the zip options menu and then try encrypting your files again.";
}
std::string oneDoneText(const std::string& path) { return path + " has successfully been encrypted."; }
std::string compressFailedLine(const std::string& name) {
    return "Failed to compress \"" + name + "\". Please verify file and then try again. ";
}
std::string createFailedText(const std::string& path) {
    return "Failed to create " + path + ". Please verify file and then try again.";
}
std::string encryptFailedText(const std::string& path) {
    return "Failed to encrypt " + path + ". Please verify file and then try again.";
}

// ---------------------------------------------------------------------------
// Checks before any file is touched
// ---------------------------------------------------------------------------

TEST(EncryptJobChecks, EmptyListInCommandLineRunEndsSilently) {
    TempDirectory dir("enc-empty-cl");
    Harness h(dir);
    h.run.commandLineRun = true;
    h.setPassword("  pw  ");
    h.encrypt();

    EXPECT_TRUE(h.ui.messages.empty());
    EXPECT_TRUE(h.ui.questions.empty());
    EXPECT_TRUE(h.ui.focusRequests.empty());
    EXPECT_FALSE(h.logExists());
    EXPECT_FALSE(h.status.model().loaded);
    // The job ends before it looks at the password fields.
    EXPECT_EQ(h.window.txtPassword, "  pw  ");
}

TEST(EncryptJobChecks, EmptyListInWindowSaysNoFilesSelected) {
    TempDirectory dir("enc-empty");
    Harness h(dir);
    h.setPassword("pw");
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{kNoFilesText, "No Files Selected", MessageIcon::Information}));
    EXPECT_FALSE(h.logExists());
}

TEST(EncryptJobChecks, PasswordOfBlanksCountsAsBlank) {
    TempDirectory dir("enc-blank");
    writeFile(dir.file("a.txt"), "alpha");
    Harness h(dir);
    h.list({dir.file("a.txt")});
    h.setPassword("     ");
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0],
              (Message{kBlankPasswordText, std::string(kApplicationTitle), MessageIcon::Information}));
    EXPECT_EQ(h.ui.focusRequests, std::vector<std::string>{"txtPassword"});
    EXPECT_EQ(h.window.txtPassword, "");
    EXPECT_EQ(h.window.txtVerifyPass, "");
    EXPECT_FALSE(fs::exists(dir.file("a.txt.enz")));
    EXPECT_TRUE(namesContaining(dir.path(), "~enc~").empty());
}

TEST(EncryptJobChecks, BlankPasswordIsShownAlsoInCommandLineRun) {
    TempDirectory dir("enc-blank-cl");
    writeFile(dir.file("a.txt"), "alpha");
    Harness h(dir);
    h.run.commandLineRun = true;
    h.list({dir.file("a.txt")});
    h.setPassword("");
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, kBlankPasswordText);
    EXPECT_EQ(h.ui.messages[0].icon, MessageIcon::Information);
    EXPECT_EQ(h.ui.focusRequests, std::vector<std::string>{"txtPassword"});
    EXPECT_FALSE(fs::exists(dir.file("a.txt.enz")));
}

TEST(EncryptJobChecks, VerifyFieldMustMatchExactly) {
    TempDirectory dir("enc-verify");
    writeFile(dir.file("a.txt"), "alpha");
    Harness h(dir);
    h.list({dir.file("a.txt")});
    h.window.txtPassword = " Secret ";
    h.window.txtVerifyPass = "secret";
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{kMismatchText, std::string(kApplicationTitle), MessageIcon::Exclamation}));
    EXPECT_EQ(h.ui.focusRequests, std::vector<std::string>{"txtPassword"});
    EXPECT_EQ(h.window.txtPassword, "Secret");
    EXPECT_EQ(h.window.txtVerifyPass, "secret");
    EXPECT_FALSE(fs::exists(dir.file("a.txt.enz")));
}

TEST(EncryptJobChecks, VerifyMismatchIsShownAlsoInCommandLineRun) {
    TempDirectory dir("enc-verify-cl");
    writeFile(dir.file("a.txt"), "alpha");
    Harness h(dir);
    h.run.commandLineRun = true;
    h.list({dir.file("a.txt")});
    h.window.txtPassword = "one";
    h.window.txtVerifyPass = "two";
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, kMismatchText);
    EXPECT_EQ(h.ui.messages[0].icon, MessageIcon::Exclamation);
    EXPECT_EQ(h.ui.focusRequests, std::vector<std::string>{"txtPassword"});
    EXPECT_FALSE(fs::exists(dir.file("a.txt.enz")));
}

TEST(EncryptJobChecks, PasswordOutsideTheCodePageIsRefusedByName) {
    TempDirectory dir("enc-codepage");
    writeFile(dir.file("a.txt"), "alpha");
    Harness h(dir);
    h.list({dir.file("a.txt")});
    const std::string macronA = "\xC4\x81";  // U+0101, not in Windows-1252
    h.setPassword("p" + macronA + "ss");
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_NE(h.ui.messages[0].text.find(macronA), std::string::npos) << h.ui.messages[0].text;
    EXPECT_FALSE(fs::exists(dir.file("a.txt.enz")));
    EXPECT_TRUE(namesContaining(dir.path(), "~enc~").empty());
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_EQ(h.window.lstFiles[0].text, dir.file("a.txt"));
}

TEST(EncryptJobChecks, UnexpectedErrorIsLoggedWithItsNumber) {
    // "€" is code 128 in Windows-1252: the zip password cannot be derived
    // from a password that starts with it.
    TempDirectory dir("enc-error");
    writeFile(dir.file("a.txt"), "alpha");
    Harness h(dir);
    h.list({dir.file("a.txt")});
    h.setPassword(
        "\xE2\x82\xAC"
        "uro");
    h.encrypt();

    EXPECT_TRUE(h.ui.messages.empty());
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(
                                "Error in encryptFiles routine. Error: Invalid procedure call or argument 5.")});
    EXPECT_FALSE(fs::exists(dir.file("a.txt.enz")));
    EXPECT_TRUE(namesContaining(dir.path(), "~enc~").empty());
    EXPECT_FALSE(h.window.jobRunning);
}

// ---------------------------------------------------------------------------
// Checks on each listed file
// ---------------------------------------------------------------------------

TEST(EncryptJobFiles, AlreadyEncryptedEntryStopsTheJobInWindow) {
    TempDirectory dir("enc-already");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("notes.enz.txt"), "notes");
    writeFile(dir.file("b.txt"), "beta");
    Harness h(dir);
    h.list({dir.file("a.txt"), dir.file("notes.enz.txt"), dir.file("b.txt")});
    h.setPassword("pw");
    h.encrypt();

    // The entry's path is its row text, trimmed: the marker the list gives
    // any path with ".enz" in it comes along.
    const std::string entry = dir.file("notes.enz.txt") + " (encrypted zip)";
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0],
              (Message{alreadyEncryptedText(entry), std::string(kApplicationTitle), MessageIcon::Exclamation}));
    // The file before it is done; the file after it is not touched.
    EXPECT_TRUE(fs::exists(dir.file("a.txt.enz")));
    EXPECT_FALSE(fs::exists(dir.file("notes.enz.txt.enz")));
    EXPECT_FALSE(fs::exists(dir.file("b.txt.enz")));
    EXPECT_EQ(readFile(dir.file("notes.enz.txt")), "notes");
    EXPECT_EQ(h.window.lstFiles[0].text, dir.file("a.txt") + ".enz");
    EXPECT_FALSE(h.status.model().loaded);
}

TEST(EncryptJobFiles, MissingFileInWindowIsNamedWithTheTwoBlanks) {
    TempDirectory dir("enc-missing");
    writeFile(dir.file("gone.txt"), "soon gone");
    Harness h(dir);
    h.list({dir.file("gone.txt")});
    fs::remove(dir.file("gone.txt"));
    h.setPassword("pw");
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{unableToLocateText(dir.file("gone.txt")), std::string(kApplicationTitle),
                                         MessageIcon::Exclamation}));
    EXPECT_FALSE(fs::exists(dir.file("gone.txt.enz")));
    EXPECT_TRUE(namesContaining(dir.path(), "~enc~").empty());
}

TEST(EncryptJobFiles, AFileMissingAfterOthersWereDoneClosesTheProgressWindow) {
    TempDirectory dir("enc-missing-later");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("gone.txt"), "soon gone");
    Harness h(dir);
    h.list({dir.file("a.txt"), dir.file("gone.txt")});
    fs::remove(dir.file("gone.txt"));
    h.setPassword("pw");
    bool shownDuringTheJob = false;
    h.ui.onEventsRun = [&] { shownDuringTheJob = shownDuringTheJob || h.status.model().loaded; };
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, unableToLocateText(dir.file("gone.txt")));
    EXPECT_TRUE(fs::exists(dir.file("a.txt.enz")));
    EXPECT_TRUE(shownDuringTheJob);
    EXPECT_FALSE(h.status.model().loaded);
    EXPECT_FALSE(h.status.model().tmrEncStatusOn);
    EXPECT_FALSE(h.status.model().tmrZipStatusOn);
    EXPECT_FALSE(h.window.jobRunning);
}

TEST(EncryptJobFiles, PathContainingSysIsRefusedAsSystemFile) {
    TempDirectory dir("enc-sysword");
    fs::create_directories(dir.file("sysinfo"));
    const std::string path = dir.file("sysinfo") + "/report.txt";
    writeFile(path, "an ordinary file");
    Harness h(dir);
    h.list({path});
    h.setPassword("pw");
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0],
              (Message{systemFileText(path), std::string(kApplicationTitle), MessageIcon::Exclamation}));
    EXPECT_FALSE(fs::exists(path + ".enz"));
    EXPECT_TRUE(namesContaining(dir.path(), "~enc~").empty());
    EXPECT_FALSE(h.status.model().loaded);
}

TEST(EncryptJobFiles, PathContainingSysIsEncryptedWhenHiddenAndSystemFilesAreAllowed) {
    TempDirectory dir("enc-sysword-allowed");
    fs::create_directories(dir.file("sysinfo"));
    const std::string path = dir.file("sysinfo") + "/report.txt";
    writeFile(path, "an ordinary file");
    Harness h(dir);
    h.list({path});
    h.setPassword("pw");
    h.window.chkHiddenSystemFiles = true;
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, oneDoneText(path));
    EXPECT_EQ(openedContent(path + ".enz", "pw", dir.file("out"), "report.txt"), "an ordinary file");
}

TEST(EncryptJobFiles, WritableDotFileIsRefusedAsHidden) {
    TempDirectory dir("enc-hidden");
    const std::string path = dir.file(".profile-copy");
    writeFile(path, "hidden content");
    Harness h(dir);
    h.list({path});
    h.setPassword("pw");
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0],
              (Message{hiddenFileText(path), std::string(kApplicationTitle), MessageIcon::Exclamation}));
    EXPECT_FALSE(fs::exists(path + ".enz"));
    EXPECT_TRUE(namesContaining(dir.path(), "~enc~").empty());
    EXPECT_FALSE(h.status.model().loaded);
}

TEST(EncryptJobFiles, HiddenReadOnlyFileIsNotCaughtByTheHiddenCheck) {
    TempDirectory dir("enc-hidden-ro");
    const std::string path = dir.file(".readonly-notes");
    writeFile(path, "read-only hidden content");
    fs::permissions(path, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    Harness h(dir);
    h.list({path});
    h.setPassword("pw");
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, oneDoneText(path));
    EXPECT_EQ(openedContent(path + ".enz", "pw", dir.file("out"), ".readonly-notes"), "read-only hidden content");
    EXPECT_TRUE(fs::exists(path));
}

TEST(EncryptJobFiles, CommandLineRunLogsAndSkipsAnAlreadyEncryptedEntry) {
    TempDirectory dir("enc-already-cl");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("notes.enz.txt"), "notes");
    writeFile(dir.file("b.txt"), "beta");
    Harness h(dir);
    h.run.commandLineRun = true;
    h.list({dir.file("a.txt"), dir.file("notes.enz.txt"), dir.file("b.txt")});
    h.setPassword("pw");
    h.encrypt();

    EXPECT_TRUE(h.ui.messages.empty());
    const std::string entry = dir.file("notes.enz.txt") + " (encrypted zip)";
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(alreadyEncryptedLine(entry))});
    EXPECT_EQ(openedContent(dir.file("a.txt.enz"), "pw", dir.file("out-a"), "a.txt"), "alpha");
    EXPECT_EQ(openedContent(dir.file("b.txt.enz"), "pw", dir.file("out-b"), "b.txt"), "beta");
    EXPECT_FALSE(fs::exists(dir.file("notes.enz.txt.enz")));
    EXPECT_EQ(readFile(dir.file("notes.enz.txt")), "notes");
    EXPECT_TRUE(namesContaining(dir.path(), "~enc~").empty());
}

// ---------------------------------------------------------------------------
// Deleting files of the Windows directory
// ---------------------------------------------------------------------------

TEST(EncryptJobWindowsDirectory, AnsweringNoEncryptsWithoutDeleting) {
    TempDirectory dir("enc-windir-no");
    const std::string windows = dir.file("windows");
    fs::create_directories(windows);
    writeFile(windows + "/notepad.exe", "program one");
    writeFile(windows + "/write.exe", "program two");
    Harness h(dir);
    h.run.windowsDirectory = windows;
    h.list({windows + "/notepad.exe", windows + "/write.exe"});
    h.setPassword("pw");
    h.window.chkDelAfterEnc = true;
    h.ui.answers = {false};
    h.encrypt();

    ASSERT_EQ(h.ui.questions.size(), 1u);
    EXPECT_EQ(h.ui.questions[0].text, kWindowsDirQuestion);
    EXPECT_EQ(h.ui.questions[0].title, std::string(kApplicationTitle));
    EXPECT_FALSE(h.window.chkDelAfterEnc);
    EXPECT_EQ(readFile(windows + "/notepad.exe"), "program one");
    EXPECT_EQ(readFile(windows + "/write.exe"), "program two");
    EXPECT_TRUE(fs::exists(windows + "/notepad.exe.enz"));
    EXPECT_TRUE(fs::exists(windows + "/write.exe.enz"));
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, kManyDoneText);
}

TEST(EncryptJobWindowsDirectory, AnsweringYesDeletesAfterEncrypting) {
    TempDirectory dir("enc-windir-yes");
    const std::string windows = dir.file("windows");
    fs::create_directories(windows);
    writeFile(windows + "/notepad.exe", "program one");
    Harness h(dir);
    h.run.windowsDirectory = windows;
    h.list({windows + "/notepad.exe"});
    h.setPassword("pw");
    h.window.chkDelAfterEnc = true;
    h.ui.answers = {true};
    h.encrypt();

    ASSERT_EQ(h.ui.questions.size(), 1u);
    EXPECT_TRUE(h.window.chkDelAfterEnc);
    EXPECT_FALSE(fs::exists(windows + "/notepad.exe"));
    EXPECT_EQ(openedContent(windows + "/notepad.exe.enz", "pw", dir.file("out"), "notepad.exe"), "program one");
}

TEST(EncryptJobWindowsDirectory, FilesOutsideItAskNothing) {
    TempDirectory dir("enc-windir-other");
    fs::create_directories(dir.file("windows"));
    writeFile(dir.file("a.txt"), "alpha");
    Harness h(dir);
    h.run.windowsDirectory = dir.file("windows");
    h.list({dir.file("a.txt")});
    h.setPassword("pw");
    h.window.chkDelAfterEnc = true;
    h.encrypt();

    EXPECT_TRUE(h.ui.questions.empty());
    EXPECT_FALSE(fs::exists(dir.file("a.txt")));
    EXPECT_TRUE(fs::exists(dir.file("a.txt.enz")));
}

TEST(EncryptJobWindowsDirectory, CommandLineRunClearsTheOptionAndLogs) {
    TempDirectory dir("enc-windir-cl");
    const std::string windows = dir.file("windows");
    fs::create_directories(windows);
    writeFile(windows + "/notepad.exe", "program one");
    Harness h(dir);
    h.run.commandLineRun = true;
    h.run.windowsDirectory = windows;
    h.list({windows + "/notepad.exe"});
    h.setPassword("pw");
    h.window.chkDelAfterEnc = true;
    h.encrypt();

    EXPECT_TRUE(h.ui.questions.empty());
    EXPECT_TRUE(h.ui.messages.empty());
    EXPECT_FALSE(h.window.chkDelAfterEnc);
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(
                                "Deletion of files contained in the " + windows +
                                " directory is not allowed when running Morvane from the command line.")});
    EXPECT_EQ(readFile(windows + "/notepad.exe"), "program one");
    EXPECT_TRUE(fs::exists(windows + "/notepad.exe.enz"));
}

TEST(EncryptJobWindowsDirectory, CheckAsksOnceAndSkipsArchiveRows) {
    TempDirectory dir("enc-windir-check");
    const std::string windows = dir.file("windows");
    fs::create_directories(windows);
    writeFile(windows + "/old.txt.enz", "an archive");
    writeFile(windows + "/a.ini", "one");
    writeFile(windows + "/b.ini", "two");
    Harness h(dir);
    h.run.windowsDirectory = windows;
    h.list({windows + "/old.txt.enz"});
    auto c = h.context();
    h.window.chkDelAfterEnc = true;
    morvane::checkWinDirDelete(c);
    EXPECT_TRUE(h.ui.questions.empty());  // an archive row is not a Windows file
    EXPECT_TRUE(h.window.chkDelAfterEnc);

    h.list({windows + "/a.ini", windows + "/b.ini"});
    h.ui.answers = {false, false};
    morvane::checkWinDirDelete(c);
    EXPECT_EQ(h.ui.questions.size(), 1u);
    EXPECT_FALSE(h.window.chkDelAfterEnc);
}

// ---------------------------------------------------------------------------
// Per-file archives
// ---------------------------------------------------------------------------

TEST(EncryptJobPerFile, OneFileSucceedsRecordsRecentEntryAndRebuildsTheList) {
    TempDirectory dir("enc-one");
    writeFile(dir.file("report.doc"), "quarterly figures");
    Harness h(dir);
    h.list({dir.file("report.doc")});
    h.setPassword("  s3cret  ");
    h.encrypt();

    EXPECT_EQ(h.window.txtPassword, "s3cret");
    EXPECT_EQ(h.window.txtVerifyPass, "s3cret");
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0],
              (Message{oneDoneText(dir.file("report.doc")), std::string(kApplicationTitle), MessageIcon::Information}));
    EXPECT_EQ(h.recentLines(), std::vector<std::string>{"Encrypt " + dir.file("report.doc")});

    ASSERT_EQ(h.window.lstFiles.size(), 1u);
    EXPECT_EQ(h.window.lstFiles[0].text, dir.file("report.doc.enz") + " (encrypted zip)");
    EXPECT_EQ(h.window.lstFiles[0].type, "Encrypted zip file");
    EXPECT_FALSE(h.window.lstFiles[0].size.empty());

    EXPECT_EQ(readFile(dir.file("report.doc")), "quarterly figures");
    EXPECT_TRUE(namesContaining(dir.path(), "~enc~").empty());
    EXPECT_FALSE(h.status.model().loaded);
    EXPECT_FALSE(h.window.jobRunning);
    EXPECT_EQ(openedContent(dir.file("report.doc.enz"), "s3cret", dir.file("out"), "report.doc"), "quarterly figures");
}

TEST(EncryptJobPerFile, SeveralFilesShowTheCommonMessage) {
    TempDirectory dir("enc-several");
    fs::create_directories(dir.file("second"));
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("second") + "/b.txt", "beta");
    writeFile(dir.file("c.txt"), "");
    Harness h(dir);
    h.list({dir.file("a.txt"), dir.file("second") + "/b.txt", dir.file("c.txt")});
    h.setPassword("pw");
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{kManyDoneText, std::string(kApplicationTitle), MessageIcon::Information}));
    EXPECT_FALSE(fs::exists(h.recent.path()));
    ASSERT_EQ(h.window.lstFiles.size(), 3u);
    for (const auto& row : h.window.lstFiles) EXPECT_NE(row.text.find(".enz (encrypted zip)"), std::string::npos);
    EXPECT_EQ(openedContent(dir.file("a.txt.enz"), "pw", dir.file("out"), "a.txt"), "alpha");
    EXPECT_EQ(openedContent(dir.file("second") + "/b.txt.enz", "pw", dir.file("out"), "b.txt"), "beta");
    EXPECT_TRUE(fs::exists(dir.file("c.txt.enz")));
    EXPECT_TRUE(namesContaining(dir.path(), "~enc~").empty());
}

TEST(EncryptJobPerFile, DeleteAfterEncryptRemovesEachSource) {
    TempDirectory dir("enc-delete");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("b.txt"), "beta");
    Harness h(dir);
    h.list({dir.file("a.txt"), dir.file("b.txt")});
    h.setPassword("pw");
    h.window.chkDelAfterEnc = true;
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, kManyDoneText);
    EXPECT_FALSE(fs::exists(dir.file("a.txt")));
    EXPECT_FALSE(fs::exists(dir.file("b.txt")));
    EXPECT_EQ(openedContent(dir.file("a.txt.enz"), "pw", dir.file("out"), "a.txt"), "alpha");
    EXPECT_EQ(openedContent(dir.file("b.txt.enz"), "pw", dir.file("out"), "b.txt"), "beta");
}

TEST(EncryptJobPerFile, EncryptingTwiceOverwritesTheArchive) {
    TempDirectory dir("enc-twice");
    writeFile(dir.file("a.txt"), morvane::jobtest::noiseOfSize(20000));
    Harness h(dir);
    h.list({dir.file("a.txt")});
    h.setPassword("first");
    h.encrypt();
    ASSERT_TRUE(fs::exists(dir.file("a.txt.enz")));
    const auto firstSize = fs::file_size(dir.file("a.txt.enz"));

    writeFile(dir.file("a.txt"), "short second version");
    h.window.lstFiles.clear();
    h.list({dir.file("a.txt")});
    h.setPassword("second");
    h.ui.messages.clear();
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, oneDoneText(dir.file("a.txt")));
    EXPECT_LT(fs::file_size(dir.file("a.txt.enz")), firstSize);
    EXPECT_EQ(openedContent(dir.file("a.txt.enz"), "second", dir.file("out"), "a.txt"), "short second version");
}

TEST(EncryptJobPerFile, EncipherFailureStopsAndLeavesSourcesNotDeletedByChoice) {
    TempDirectory dir("enc-encipher-fails");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("b.txt"), "beta");
    writeFile(dir.file("c.txt"), "gamma");
    fs::create_directories(dir.file("b.txt.enz"));  // where b's archive should go
    Harness h(dir);
    h.list({dir.file("a.txt"), dir.file("b.txt"), dir.file("c.txt")});
    h.setPassword("pw");
    h.window.chkDelAfterEnc = true;
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{encryptFailedText(dir.file("b.txt")), std::string(kApplicationTitle),
                                         MessageIcon::Exclamation}));
    EXPECT_FALSE(h.logExists());
    // a was done and deleted by choice; b and c stay as they were.
    EXPECT_FALSE(fs::exists(dir.file("a.txt")));
    EXPECT_EQ(openedContent(dir.file("a.txt.enz"), "pw", dir.file("out"), "a.txt"), "alpha");
    EXPECT_EQ(readFile(dir.file("b.txt")), "beta");
    EXPECT_EQ(readFile(dir.file("c.txt")), "gamma");
    EXPECT_FALSE(fs::exists(dir.file("c.txt.enz")));
    // The temporary zip is deleted by its bare name, so the one beside the
    // source stays when the current directory is elsewhere.
    ASSERT_NE(fs::current_path(), dir.path());
    EXPECT_TRUE(fs::exists(dir.file("~enc~b.txt.zip")));
    // The list shows which files are done.
    ASSERT_EQ(h.window.lstFiles.size(), 3u);
    EXPECT_EQ(h.window.lstFiles[0].text, dir.file("a.txt") + ".enz");
    EXPECT_EQ(h.window.lstFiles[1].text, dir.file("b.txt"));
    EXPECT_FALSE(h.status.model().loaded);
    EXPECT_FALSE(fs::exists(h.recent.path()));
}

TEST(EncryptJobPerFile, SilentRunOpensNoProgressWindow) {
    TempDirectory dir("enc-silent");
    writeFile(dir.file("a.txt"), morvane::jobtest::noiseOfSize(300000));
    Harness h(dir);
    bool everLoaded = false;
    h.ui.onEventsRun = [&] { everLoaded = everLoaded || h.status.model().loaded; };
    h.run.commandLineRun = true;
    h.run.silentRun = true;
    h.list({dir.file("a.txt")});
    h.setPassword("pw");
    h.encrypt();

    EXPECT_TRUE(fs::exists(dir.file("a.txt.enz")));
    EXPECT_GT(h.ui.eventRuns, 0);  // the cipher's reports still let events run
    EXPECT_FALSE(everLoaded);
    EXPECT_FALSE(h.status.model().loaded);
    EXPECT_EQ(h.status.model().caption, "");
    EXPECT_TRUE(h.ui.pauses.empty());
    EXPECT_TRUE(h.ui.messages.empty());
}

// ---------------------------------------------------------------------------
// One combined archive
// ---------------------------------------------------------------------------

TEST(EncryptJobCombined, OneArchiveHoldsEveryFileAndSourcesAreDeleted) {
    TempDirectory dir("enc-combined");
    fs::create_directories(dir.file("src"));
    fs::create_directories(dir.file("archives"));
    writeFile(dir.file("src") + "/a.txt", "alpha");
    writeFile(dir.file("src") + "/b.txt", "beta");
    writeFile(dir.file("c.txt"), "gamma");
    Harness h(dir);
    h.list({dir.file("src") + "/a.txt", dir.file("src") + "/b.txt", dir.file("c.txt")});
    h.setPassword("pw");
    h.window.chkCreateOneZip = true;
    h.window.chkDelAfterEnc = true;
    h.run.combinedArchivePath = dir.file("archives") + "/all.enz";
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, kManyDoneText);
    EXPECT_FALSE(fs::exists(dir.file("src") + "/a.txt"));
    EXPECT_FALSE(fs::exists(dir.file("src") + "/b.txt"));
    EXPECT_FALSE(fs::exists(dir.file("c.txt")));
    EXPECT_FALSE(fs::exists(dir.file("src") + "/a.txt.enz"));
    EXPECT_TRUE(namesContaining(dir.path(), "~enc~").empty());
    const std::string out = dir.file("out");
    EXPECT_EQ(openedContent(h.run.combinedArchivePath, "pw", out, "a.txt"), "alpha");
    EXPECT_EQ(readFile(out + "/b.txt"), "beta");
    EXPECT_EQ(readFile(out + "/c.txt"), "gamma");
}

TEST(EncryptJobCombined, LeftoverTemporaryZipOfAnInterruptedRunIsReplaced) {
    TempDirectory dir("enc-combined-leftover");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("b.txt"), "beta");
    writeFile(dir.file("~enc~all.enz.zip"), "not a zip archive at all");
    Harness h(dir);
    h.list({dir.file("a.txt"), dir.file("b.txt")});
    h.setPassword("pw");
    h.window.chkCreateOneZip = true;
    h.run.combinedArchivePath = dir.file("all.enz");
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, kManyDoneText);
    EXPECT_FALSE(fs::exists(dir.file("~enc~all.enz.zip")));
    EXPECT_EQ(openedContent(dir.file("all.enz"), "pw", dir.file("out"), "a.txt"), "alpha");
    EXPECT_EQ(readFile(dir.file("out") + "/b.txt"), "beta");
}

TEST(EncryptJobCombined, FailedEncipheringWithRemoveSourceKeepsEverySource) {
    TempDirectory dir("enc-combined-fails");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("b.txt"), "beta");
    writeFile(dir.file("c.txt"), "gamma");
    fs::create_directories(dir.file("all.enz"));  // the archive cannot be written there
    Harness h(dir);
    h.list({dir.file("a.txt"), dir.file("b.txt"), dir.file("c.txt")});
    h.setPassword("pw");
    h.window.chkCreateOneZip = true;
    h.window.chkDelAfterEnc = true;
    h.run.combinedArchivePath = dir.file("all.enz");
    h.encrypt();

    const std::string failure = createFailedText(dir.file("all.enz"));
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(failure)});
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0], (Message{failure, std::string(kApplicationTitle), MessageIcon::Exclamation}));
    EXPECT_FALSE(fs::exists(dir.file("~enc~all.enz.zip")));
    // Sources go only once their archive is in place and read back: all stay.
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_EQ(readFile(dir.file("b.txt")), "beta");
    EXPECT_EQ(readFile(dir.file("c.txt")), "gamma");
    EXPECT_TRUE(fs::is_directory(dir.file("all.enz")));
    EXPECT_TRUE(fs::is_empty(dir.file("all.enz")));
    EXPECT_FALSE(h.status.model().loaded);
}

TEST(EncryptJobCombined, FailedEncipheringInCommandLineRunIsOnlyLogged) {
    TempDirectory dir("enc-combined-fails-cl");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("b.txt"), "beta");
    fs::create_directories(dir.file("all.enz"));
    Harness h(dir);
    h.run.commandLineRun = true;
    h.list({dir.file("a.txt"), dir.file("b.txt")});
    h.setPassword("pw");
    h.window.chkCreateOneZip = true;
    h.run.combinedArchivePath = dir.file("all.enz");
    h.encrypt();

    EXPECT_TRUE(h.ui.messages.empty());
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(createFailedText(dir.file("all.enz")))});
    EXPECT_FALSE(fs::exists(dir.file("~enc~all.enz.zip")));
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_EQ(readFile(dir.file("b.txt")), "beta");
}

TEST(EncryptJobCombined, ThirdFileFailingToPackMakesNoArchiveAndKeepsTheTemporaryZip) {
    TempDirectory dir("enc-combined-pack-fails");
    writeFile(dir.file("a.txt"), "alpha");
    writeFile(dir.file("b.txt"), "beta");
    writeFile(dir.file("c.txt"), "gamma");
    Harness h(dir);
    h.run.commandLineRun = true;  // no existence check: the vanished file fails at packing
    h.list({dir.file("a.txt"), dir.file("b.txt"), dir.file("c.txt")});
    fs::remove(dir.file("c.txt"));
    h.setPassword("pw");
    h.window.chkCreateOneZip = true;
    h.run.combinedArchivePath = dir.file("all.enz");
    h.encrypt();

    EXPECT_TRUE(h.ui.messages.empty());
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(compressFailedLine("c.txt"))});
    EXPECT_FALSE(fs::exists(dir.file("all.enz")));
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_EQ(readFile(dir.file("b.txt")), "beta");

    // The temporary zip stays with the two files added before.
    const std::string tempZip = dir.file("~enc~all.enz.zip");
    ASSERT_TRUE(fs::exists(tempZip));
    morvane::LibzipComponent zip;
    zip.SetUnzipPassword(morvane::zipPassword("pw"));
    fs::create_directories(dir.file("peek"));
    ASSERT_TRUE(zip.UnzipFiles(tempZip, "*.*", dir.file("peek") + "/", ""));
    EXPECT_EQ(readFile(dir.file("peek") + "/a.txt"), "alpha");
    EXPECT_EQ(readFile(dir.file("peek") + "/b.txt"), "beta");
    EXPECT_FALSE(fs::exists(dir.file("peek") + "/c.txt"));
}

TEST(EncryptJobPerFile, PackFailureInWindowIsLoggedWithoutMessage) {
    TempDirectory dir("enc-pack-fails");
    writeFile(dir.file("a.txt"), "alpha");
    Harness h(dir);
    h.list({dir.file("a.txt")});
    // The per-file temporary zip's name is taken by something that is no zip.
    fs::create_directories(dir.file("~enc~a.txt.zip"));
    writeFile(dir.file("~enc~a.txt.zip") + "/inside", "x");
    h.setPassword("pw");
    h.encrypt();

    EXPECT_TRUE(h.ui.messages.empty());
    EXPECT_EQ(h.logLines(), std::vector<std::string>{Harness::logLine(compressFailedLine("a.txt"))});
    EXPECT_FALSE(fs::exists(dir.file("a.txt.enz")));
    EXPECT_EQ(readFile(dir.file("a.txt")), "alpha");
    EXPECT_FALSE(h.status.model().loaded);
}

}  // namespace
