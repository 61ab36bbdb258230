#include "command_line.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "activity_log.h"
#include "clsBlowfish.h"
#include "container.h"
#include "file_list.h"
#include "job_context.h"
#include "libzip_component.h"
#include "main_window_model.h"
#include "noise.h"
#include "password_database.h"
#include "progress_window.h"
#include "recent_files.h"
#include "removal_journal.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;

using morvane::ActivityLog;
using morvane::clsBlowfish;
using morvane::ContainerResult;
using morvane::JobContext;
using morvane::kDecryptTab;
using morvane::kEncryptTab;
using morvane::LibzipComponent;
using morvane::MainWindowModel;
using morvane::MessageIcon;
using morvane::PasswordDatabase;
using morvane::ProgressWindow;
using morvane::RecentFiles;
using morvane::RunState;
using morvane::ScriptedUserInterface;

constexpr const char* kLogDate = "01/02/2024 03:04:05";
std::string fixedLogDate() { return kLogDate; }

// A directory of its own for one test, named without any "-".
struct BaseDirectory : morvane::testing::DashFreeDirectory {
    BaseDirectory() : DashFreeDirectory("mvcl") {}
};

// Every file below `root` whose name contains `part`.
std::vector<std::string> namesContaining(const std::string& root, const std::string& part) {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.path().filename().string().find(part) != std::string::npos) found.push_back(entry.path().string());
    return found;
}

using morvane::testing::noise;

// The text of the usage dialog, put together from its pieces.
std::string expectedUsage(const std::string& rejection) {
    const std::string encryptSummary =
        R"TXT(-e -p<password or password file entry. For example, -pmy_pass or -p@my_pass_entry> -s<file or files to encrypt (each file separated by a single comma). For example, -sc:\temp\1.txt, c:\temp\2.txt> -d<destination directory and filename for encrypted zip file. For example, -dc:\files\encrypted_file.enz> -o<options (each option separated by a single comma). Available options are s for stealth and d for delete source file after it has been encrypted. Stealth mode will hide any status bars during encryption. For example, -os,d for stealth mode and delete source file after it has been encrypted.>)TXT";
    const std::string decryptSummary =
        R"TXT(-d -p<password or password file entry. For example, -pmy_pass or -p@my_pass_entry > -s<file or files to decrypt (each file separated by a single comma). For example, -sc:\temp\my_encrypted_file.enz> -d<destination directory for decrypted files. For example, -dc:\temp\output\> -o<options (each option separated by a single comma). Available options are s for stealth, d for delete encrypted file after it has been decrypted and n for don't overwrite existing files when decrypting. For example, -os,n,d>)TXT";
    const std::string blankLine = "\n\n";
    return rejection + blankLine + "To run Morvane from the command line (DOS window or batch file), " +
           "you may use the following commands: " + blankLine + "Encryption Commands: " + blankLine + encryptSummary +
           blankLine + "Decryption Commands: " + blankLine + decryptSummary + blankLine +
           "For additional command line options such as using input files and wildcards, please consult the help "
           "file. You may view the help file now by pressing F1 on your keyboard.";
}

const std::string kInvalid = "Invalid command line arguments.";
const std::string kNoSources =
    R"TXT(No source files specified. Please specify the full path to the file or files you wish to encrypt. For example, c:\temp\myfile.txt.)TXT";
const std::string kNoDestination =
    R"TXT(No destination file specified. Please specify the full path to the name of the encrypted zip file you wish to store your encrypted files to. For example, c:\temp\myfile.enz.)TXT";
const std::string kBlankPassword =
    "Password cannot be blank. Please verify the password you entered after the -p argument and then try again.";
const std::string kEncryptBlankPassword =
    "Password field is blank. Please enter in a valid password with up to 56 characters in length.";
const std::string kDecryptBlankPassword =
    "Password field is blank. Please enter in a valid password to decrypt your files and then try again.";
const std::string kNoPasswordFile =
    "Unable to locate password file. Please verify you have entered in at least one password into the password "
    "database and then try again.";

std::string notLocatedEntry(const std::string& entry) {
    return "Unable to located " + entry + " is the password database. Please verify password name and then try again.";
}

// One run of the program for a command line: the window's model, the run
// state, the person, the log (with a fixed date), the zip component, the
// recent-files list, the progress window and the password database.
struct Session {
    explicit Session(const std::string& directory)
        : programDir(directory),
          log(programDir, fixedLogDate),
          recent(programDir),
          status(ui),
          passwords(programDir, log) {
        fs::create_directories(programDir);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    int run(const std::string& line) {
        JobContext job{window, state, ui, log, zip, recent, status};
        return morvane::runCommandLine(line, job, passwords);
    }
    std::vector<std::string> logLines() const { return morvane::testing::linesOf(log.logPath()); }
    static std::string logged(const std::string& message) { return std::string(kLogDate) + " " + message; }
    std::vector<std::string> rowPaths() const {
        std::vector<std::string> paths;
        for (const auto& row : window.lstFiles) paths.push_back(morvane::rowPath(row));
        return paths;
    }

    std::string programDir;
    MainWindowModel window;
    RunState state;
    ScriptedUserInterface ui;
    ActivityLog log;
    LibzipComponent zip;
    RecentFiles recent;
    ProgressWindow status;
    PasswordDatabase passwords;
};

class CommandLineTest : public ::testing::Test {
protected:
    BaseDirectory base;
    const std::string dir = base.str();
    const std::string src = dir + "/src";
    Session cl{dir + "/prog"};

    void SetUp() override { fs::create_directories(src); }

    // A source file in src.
    std::string source(const std::string& name, const std::string& content) {
        const std::string path = src + "/" + name;
        morvane::testing::writeFile(path, content);
        return path;
    }

    // An archive of `files` at `archive`, made by the archive recipe itself.
    static void makeArchive(const std::string& archive, const std::vector<std::string>& files,
                            const std::string& password) {
        LibzipComponent zip;
        clsBlowfish cipher;
        ASSERT_EQ(morvane::makeCombinedArchive(zip, cipher, archive, files, password), ContainerResult::Done);
    }

    // Opens `archive` into `outdir` by the archive recipe; true when it opened.
    static bool openArchive(const std::string& archive, const std::string& outdir, const std::string& password) {
        fs::create_directories(outdir);
        LibzipComponent zip;
        clsBlowfish cipher;
        return morvane::openArchive(zip, cipher, archive, outdir + "/", false, password) == ContainerResult::Done;
    }

    // The rejection was shown as the usage text with the dialog's title and
    // logged, and no job ran.
    void expectUsageRefusal(const std::string& rejection) {
        ASSERT_EQ(cl.ui.messages.size(), 1u);
        EXPECT_EQ(cl.ui.messages[0].text, expectedUsage(rejection));
        EXPECT_EQ(cl.ui.messages[0].title, "Invalid Command Line Arguments");
        const auto lines = cl.logLines();
        EXPECT_NE(std::find(lines.begin(), lines.end(), Session::logged(rejection)), lines.end())
            << "not logged: " << rejection;
        EXPECT_TRUE(namesContaining(dir, ".enz").empty());
        EXPECT_TRUE(cl.window.lstFiles.empty());
    }
};

// ---------------------------------------------------------------------------
// The usage text and the argument text

TEST(CommandLineUsage, UsageTextIsTheRejectionThenTheCommandsEachPieceABlankLineApart) {
    EXPECT_EQ(morvane::usageText(kInvalid), expectedUsage(kInvalid));
    EXPECT_EQ(morvane::usageText("Something else."), expectedUsage("Something else."));
    EXPECT_EQ(morvane::kUsageTitle, "Invalid Command Line Arguments");
}

TEST(CommandLineUsage, ArgumentsAreJoinedWithOneBlankWithoutTheProgramName) {
    const char* const argv[] = {"/usr/bin/morvane", "-e", "-pmy pass", "-s/a/b.txt,", "/a/c.txt", "-d/a/out"};
    EXPECT_EQ(morvane::joinArguments(6, argv), "-e -pmy pass -s/a/b.txt, /a/c.txt -d/a/out");
    EXPECT_EQ(morvane::joinArguments(1, argv), "");
}

// ---------------------------------------------------------------------------
// Rejections: shown as the usage text, logged, exit status 2

using CommandLineRejection = CommandLineTest;

TEST_F(CommandLineRejection, LineNotStartingWithEncryptOrDecryptSwitch) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-x -ppw -s" + a + " -d" + dir + "/out"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kInvalid);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(kInvalid)});
}

TEST_F(CommandLineRejection, LineWithoutSourceSwitch) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -ppw -x" + a + " -d" + dir + "/out"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kInvalid);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(kInvalid)});
}

TEST_F(CommandLineRejection, LineWithoutPasswordSwitch) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -xpw -s" + a + " -d" + dir + "/out"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kInvalid);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(kInvalid)});
}

TEST_F(CommandLineRejection, EncryptLineWithoutDestinationSwitch) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -ppw -s" + a + " -x" + dir + "/out"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kInvalid);
}

TEST_F(CommandLineRejection, DecryptLineWhoseOnlyDSwitchIsTheJob) {
    const std::string archive = dir + "/a.txt.enz";
    EXPECT_EQ(cl.run("-d -ppw -s" + archive + " -x" + dir + "/out"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kInvalid);
    EXPECT_FALSE(fs::exists(dir + "/out"));
}

TEST_F(CommandLineRejection, LineWithFewerThanFiveElements) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -ppw -s" + a), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kInvalid);
}

TEST_F(CommandLineRejection, EmptySourcesInAnEncryptJob) {
    EXPECT_EQ(cl.run("-e -ppw -s -d" + dir + "/out"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kNoSources);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(kNoSources)});
}

TEST_F(CommandLineRejection, EmptySourcesInADecryptJobSpeakOfEncrypting) {
    EXPECT_EQ(cl.run("-d -ppw -s    -d" + dir + "/out"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kNoSources);
}

TEST_F(CommandLineRejection, EmptyDestinationInAnEncryptJob) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -ppw -s" + a + " -d"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kNoDestination);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(kNoDestination)});
}

TEST_F(CommandLineRejection, EmptyDestinationInADecryptJobSpeaksOfAnEncryptedZipFile) {
    const std::string archive = dir + "/a.txt.enz";
    EXPECT_EQ(cl.run("-d -ppw -s" + archive + " -d   "), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kNoDestination);
}

TEST_F(CommandLineRejection, EmptyPassword) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -p -s" + a + " -d" + dir + "/out"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kBlankPassword);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(kBlankPassword)});
}

TEST_F(CommandLineRejection, PasswordOfBlanksOnly) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -p     -s" + a + " -d" + dir + "/out"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kBlankPassword);
}

TEST_F(CommandLineRejection, EmptyStoredPasswordName) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -p@ -s" + a + " -d" + dir + "/out"), morvane::kExitInvalidCommandLine);
    expectUsageRefusal(kBlankPassword);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(kBlankPassword)});
}

// ---------------------------------------------------------------------------
// The destination and the window's fields

using CommandLineDestination = CommandLineTest;

TEST_F(CommandLineDestination, EncryptFillsTheWindowForOneCombinedArchive) {
    const std::string a = source("a.txt", "alpha");
    cl.window.currentTab = kDecryptTab;
    const std::string line = "-e -pMiXeD -s" + a + " -d" + dir + "/out.enz";
    EXPECT_EQ(cl.run(line), morvane::kExitDone);
    EXPECT_EQ(cl.window.currentTab, kEncryptTab);
    EXPECT_TRUE(cl.window.chkCreateOneZip);
    EXPECT_EQ(cl.window.txtCombZipFile, dir + "/out.enz");
    EXPECT_EQ(cl.state.combinedArchivePath, dir + "/out.enz");
    EXPECT_EQ(cl.window.txtPassword, "MiXeD");  // taken as typed
    EXPECT_EQ(cl.window.txtVerifyPass, "MiXeD");
    EXPECT_TRUE(cl.state.commandLineRun);
    // Kept as the log may show it: the password as "*".
    EXPECT_EQ(cl.state.commandLine, "-e -p***** -s" + a + " -d" + dir + "/out.enz");
    EXPECT_FALSE(cl.state.silentRun);
    EXPECT_EQ(cl.rowPaths(), std::vector<std::string>{a});
    EXPECT_TRUE(fs::is_regular_file(dir + "/out.enz"));
    EXPECT_FALSE(fs::exists(dir + "/out.enz.enz"));
    EXPECT_TRUE(cl.ui.messages.empty());
    EXPECT_FALSE(fs::exists(cl.log.logPath()));
    EXPECT_TRUE(namesContaining(dir, "~enc~").empty());
}

TEST_F(CommandLineDestination, NameWithoutExtensionGetsEnz) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -ppw -s" + a + " -d" + dir + "/out"), morvane::kExitDone);
    EXPECT_EQ(cl.state.combinedArchivePath, dir + "/out.enz");
    EXPECT_EQ(cl.window.txtCombZipFile, dir + "/out.enz");
    EXPECT_TRUE(fs::is_regular_file(dir + "/out.enz"));
    EXPECT_FALSE(fs::exists(dir + "/out"));
    ASSERT_TRUE(openArchive(dir + "/out.enz", dir + "/check", "pw"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/a.txt"), "alpha");
}

TEST_F(CommandLineDestination, CapitalEnzIsNotTheExtensionAndGetsEnzAppended) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -ppw -s" + a + " -d" + dir + "/out.ENZ"), morvane::kExitDone);
    EXPECT_EQ(cl.state.combinedArchivePath, dir + "/out.ENZ.enz");
    EXPECT_TRUE(fs::is_regular_file(dir + "/out.ENZ.enz"));
    EXPECT_FALSE(fs::exists(dir + "/out.ENZ"));
}

TEST_F(CommandLineDestination, CapitalJobSwitchIsRecognised) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("  -E -ppw -s" + a + " -d" + dir + "/out  "), morvane::kExitDone);
    EXPECT_TRUE(fs::is_regular_file(dir + "/out.enz"));
}

TEST_F(CommandLineDestination, DecryptDestinationLosesItsTrailingSeparator) {
    const std::string a = source("a.txt", "alpha");
    const std::string b = source("b.bin", noise(70000, 7));
    const std::string archive = dir + "/arch/both.enz";
    fs::create_directories(dir + "/arch");
    makeArchive(archive, {a, b}, "pw");
    cl.window.currentTab = kEncryptTab;
    EXPECT_EQ(cl.run("-d -ppw -s" + archive + " -d" + dir + "/output/"), morvane::kExitDone);
    EXPECT_EQ(cl.window.txtDecryptTo, dir + "/output");
    EXPECT_TRUE(cl.window.chkDecOutputDir);
    EXPECT_EQ(cl.window.currentTab, kDecryptTab);
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/a.txt"), "alpha");
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/b.bin"), morvane::testing::readFile(b));
    EXPECT_TRUE(fs::exists(archive));
    EXPECT_TRUE(namesContaining(dir, "~dec~").empty());
    EXPECT_TRUE(cl.ui.messages.empty());
    EXPECT_FALSE(fs::exists(cl.log.logPath()));
}

TEST_F(CommandLineDestination, DecryptDestinationLosesOnlyOneTrailingSeparator) {
    const std::string archive = dir + "/a.txt.enz";
    makeArchive(archive, {source("a.txt", "alpha")}, "pw");
    // The deciphered zip is made inside "output/", so the directory is there already.
    fs::create_directories(dir + "/output");
    EXPECT_EQ(cl.run("-d -ppw -s" + archive + " -d" + dir + "/output//"), morvane::kExitDone);
    EXPECT_EQ(cl.window.txtDecryptTo, dir + "/output/");
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/a.txt"), "alpha");
}

TEST_F(CommandLineDestination, EncryptedFilesComeBackWhole) {
    const std::string a = source("a.txt", "alpha\r\nbeta\n");
    const std::string b = source("b.bin", noise(200000, 3));
    const std::string c = source("c.txt", "");
    fs::create_directories(dir + "/arch");
    EXPECT_EQ(cl.run("-e -pSecret9 -s" + a + ", " + b + "," + c + " -d" + dir + "/arch/all"), morvane::kExitDone);
    ASSERT_TRUE(fs::is_regular_file(dir + "/arch/all.enz"));

    Session second(dir + "/prog");
    EXPECT_EQ(second.run("-d -pSecret9 -s" + dir + "/arch/all.enz -d" + dir + "/restored/"), morvane::kExitDone);
    EXPECT_EQ(morvane::testing::readFile(dir + "/restored/a.txt"), morvane::testing::readFile(a));
    EXPECT_EQ(morvane::testing::readFile(dir + "/restored/b.bin"), morvane::testing::readFile(b));
    EXPECT_TRUE(fs::is_regular_file(dir + "/restored/c.txt"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/restored/c.txt"), "");
    EXPECT_TRUE(namesContaining(dir, "~enc~").empty());
    EXPECT_TRUE(namesContaining(dir, "~dec~").empty());
}

// "-d/out/archive-old-backups" is the archive "archive-old-backups.enz":
// once the line split there, "old" became the options and its "d" removed
// the sources.
TEST_F(CommandLineDestination, DashInsideAPathBelongsToIt) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -ppw -s" + a + " -d" + dir + "/archive-old-backups"), morvane::kExitDone);
    EXPECT_FALSE(cl.window.chkDelAfterEnc);
    EXPECT_EQ(morvane::testing::readFile(a), "alpha");
    EXPECT_TRUE(fs::is_regular_file(dir + "/archive-old-backups.enz"));
    EXPECT_FALSE(fs::exists(dir + "/archive.enz"));
}

// A "-" that begins a word inside a value makes elements that do not start
// with their switch letters in order: the line is refused.
TEST_F(CommandLineRejection, ElementsNotStartingWithTheirSwitchLettersInOrder) {
    const std::string a = source("a.txt", "alpha");
    for (const std::string& line :
         {"-e -pab -cd -s" + a + " -d" + dir + "/out", "-e -ppw -d" + dir + "/out -s" + a,
          "-e -ppw -s" + a + " -d" + dir + "/out -sd", "-e -ppw -s" + a + " -d" + dir + "/out -os -x"}) {
        Session session(dir + "/prog");
        EXPECT_EQ(session.run(line), morvane::kExitInvalidCommandLine) << line;
        ASSERT_EQ(session.ui.messages.size(), 1u) << line;
        EXPECT_EQ(session.ui.messages[0].text, expectedUsage("Invalid command line arguments.")) << line;
    }
    EXPECT_EQ(morvane::testing::readFile(a), "alpha");
    EXPECT_FALSE(fs::exists(dir + "/out.enz"));
}
// ---------------------------------------------------------------------------
// Options

using CommandLineOptions = CommandLineTest;

TEST_F(CommandLineOptions, StealthAndDeleteActAlikeHoweverWritten) {
    for (const std::string options : {"s,d", "sd", "SD", "d,s", "ds"}) {
        SCOPED_TRACE(options);
        Session session(dir + "/prog");
        const std::string a = source("a.txt", "alpha");
        const std::string archive = dir + "/out" + std::to_string(options.size()) + options + ".enz";
        EXPECT_EQ(session.run("-e -ppw -s" + a + " -d" + archive + " -o" + options), morvane::kExitDone);
        EXPECT_TRUE(session.state.silentRun);
        EXPECT_TRUE(session.window.chkDelAfterEnc);
        EXPECT_FALSE(fs::exists(a));
        EXPECT_TRUE(fs::is_regular_file(archive));
        EXPECT_TRUE(openArchive(archive, dir + "/check" + options, "pw"));
        EXPECT_EQ(morvane::testing::readFile(dir + "/check" + options + "/a.txt"), "alpha");
    }
}

TEST_F(CommandLineOptions, StealthOnlyWithExactlySixElements) {
    const std::string a = source("a.txt", "alpha");
    {
        Session session(dir + "/prog");
        EXPECT_EQ(session.run("-e -ppw -s" + a + " -d" + dir + "/six -os"), morvane::kExitDone);
        EXPECT_TRUE(session.state.silentRun);
    }
    {
        Session session(dir + "/prog");
        EXPECT_EQ(session.run("-e -ppw -s" + a + " -d" + dir + "/six -OS"), morvane::kExitDone);
        EXPECT_TRUE(session.state.silentRun);
    }
    {
        Session session(dir + "/prog");
        EXPECT_EQ(session.run("-e -ppw -s" + a + " -d" + dir + "/five"), morvane::kExitDone);
        EXPECT_FALSE(session.state.silentRun);
    }
}

TEST_F(CommandLineOptions, DeleteInAnEncryptJobRemovesTheSources) {
    const std::string a = source("a.txt", "alpha");
    const std::string b = source("b.txt", "beta");
    EXPECT_EQ(cl.run("-e -ppw -s" + a + "," + b + " -d" + dir + "/out -odn"), morvane::kExitDone);
    EXPECT_TRUE(cl.window.chkDelAfterEnc);
    EXPECT_FALSE(cl.window.chkRemoveEncFile);
    EXPECT_FALSE(cl.window.chkDontOverwrite);  // "n" belongs to decrypt jobs
    EXPECT_FALSE(fs::exists(a));
    EXPECT_FALSE(fs::exists(b));
    ASSERT_TRUE(openArchive(dir + "/out.enz", dir + "/check", "pw"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/a.txt"), "alpha");
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/b.txt"), "beta");
}

TEST_F(CommandLineOptions, OptionsElementLosesItsSwitchLetter) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -ppw -s" + a + " -d" + dir + "/out -od"), morvane::kExitDone);
    EXPECT_FALSE(cl.state.silentRun);
    EXPECT_TRUE(cl.window.chkDelAfterEnc);
    EXPECT_FALSE(fs::exists(a));
    EXPECT_TRUE(fs::is_regular_file(dir + "/out.enz"));
}
TEST_F(CommandLineOptions, WithoutDeleteTheSourcesStay) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -ppw -s" + a + " -d" + dir + "/out -os"), morvane::kExitDone);
    EXPECT_FALSE(cl.window.chkDelAfterEnc);
    EXPECT_EQ(morvane::testing::readFile(a), "alpha");
}

TEST_F(CommandLineOptions, DeleteInADecryptJobRemovesTheArchive) {
    const std::string archive = dir + "/a.txt.enz";
    makeArchive(archive, {source("a.txt", "alpha")}, "pw");
    EXPECT_EQ(cl.run("-d -ppw -s" + archive + " -d" + dir + "/output -od"), morvane::kExitDone);
    EXPECT_TRUE(cl.window.chkRemoveEncFile);
    EXPECT_FALSE(cl.window.chkDelAfterEnc);
    EXPECT_FALSE(cl.window.chkDontOverwrite);
    EXPECT_FALSE(fs::exists(archive));
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/a.txt"), "alpha");
}

TEST_F(CommandLineOptions, NoOverwriteInADecryptJobKeepsExistingFiles) {
    const std::string archive = dir + "/both.enz";
    makeArchive(archive, {source("a.txt", "alpha"), source("b.txt", "beta")}, "pw");
    morvane::testing::writeFile(dir + "/output/a.txt", "kept");
    EXPECT_EQ(cl.run("-d -ppw -s" + archive + " -d" + dir + "/output -on"), morvane::kExitDone);
    EXPECT_TRUE(cl.window.chkDontOverwrite);
    EXPECT_FALSE(cl.window.chkRemoveEncFile);
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/a.txt"), "kept");
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/b.txt"), "beta");
    EXPECT_TRUE(fs::exists(archive));
}

TEST_F(CommandLineOptions, WithoutNoOverwriteExistingFilesAreReplaced) {
    const std::string archive = dir + "/both.enz";
    makeArchive(archive, {source("a.txt", "alpha")}, "pw");
    morvane::testing::writeFile(dir + "/output/a.txt", "old");
    EXPECT_EQ(cl.run("-d -ppw -s" + archive + " -d" + dir + "/output"), morvane::kExitDone);
    EXPECT_FALSE(cl.window.chkDontOverwrite);
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/a.txt"), "alpha");
}

// ---------------------------------------------------------------------------
// Sources: wildcard, "@" list file, comma list

using CommandLineSources = CommandLineTest;

TEST_F(CommandLineSources, WildcardTakesEveryMatchOfTheDirectory) {
    const std::string a = source("a.txt", "alpha");
    const std::string b = source("b.txt", "beta");
    source("c.log", "gamma");
    EXPECT_EQ(cl.run("-e -ppw -s" + src + "/*.txt -d" + dir + "/out"), morvane::kExitDone);
    auto rows = cl.rowPaths();
    std::sort(rows.begin(), rows.end());
    EXPECT_EQ(rows, (std::vector<std::string>{a, b}));
    ASSERT_TRUE(openArchive(dir + "/out.enz", dir + "/check", "pw"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/a.txt"), "alpha");
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/b.txt"), "beta");
    EXPECT_FALSE(fs::exists(dir + "/check/c.log"));
}

TEST_F(CommandLineSources, WildcardInADecryptJobKeepsOnlyEnzNames) {
    fs::create_directories(dir + "/arch");
    makeArchive(dir + "/arch/one.enz", {source("a.txt", "alpha")}, "pw");
    makeArchive(dir + "/arch/two.enz", {source("b.txt", "beta")}, "pw");
    morvane::testing::writeFile(dir + "/arch/notes.enz.txt", "not an archive");
    morvane::testing::writeFile(dir + "/arch/readme.txt", "not an archive either");
    EXPECT_EQ(cl.run("-d -ppw -s" + dir + "/arch/* -d" + dir + "/output"), morvane::kExitDone);
    auto rows = cl.rowPaths();
    std::sort(rows.begin(), rows.end());
    EXPECT_EQ(rows, (std::vector<std::string>{dir + "/arch/one.enz", dir + "/arch/two.enz"}));
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/a.txt"), "alpha");
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/b.txt"), "beta");
    EXPECT_TRUE(cl.ui.messages.empty());
}

TEST_F(CommandLineSources, WildcardWithoutMatchIsLoggedAndEndsTheRun) {
    source("a.txt", "alpha");
    const std::string line = "-e -ppw -s" + src + "/*.doc -d" + dir + "/out";
    EXPECT_EQ(cl.run(line), morvane::kExitFailed);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(
                                 "No files matched your criteria for the following command line argument: -e -p** -s" +
                                 src + "/*.doc -d" + dir + "/out")});
    EXPECT_TRUE(cl.ui.messages.empty());
    EXPECT_TRUE(cl.window.lstFiles.empty());
    EXPECT_FALSE(fs::exists(dir + "/out.enz"));
}

TEST_F(CommandLineSources, WildcardOfADecryptJobMatchingNoEnzIsNoMatch) {
    source("a.txt", "alpha");
    const std::string line = "-d -ppw -s" + src + "/* -d" + dir + "/output";
    EXPECT_EQ(cl.run(line), morvane::kExitFailed);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(
                                 "No files matched your criteria for the following command line argument: -d -p** -s" +
                                 src + "/* -d" + dir + "/output")});
    EXPECT_TRUE(cl.ui.messages.empty());
    EXPECT_FALSE(fs::exists(dir + "/output"));
}

TEST_F(CommandLineSources, MissingListFileIsShownAndLoggedAndTheJobRunsWithoutFiles) {
    const std::string list = dir + "/list.txt";
    EXPECT_EQ(cl.run("-e -ppw -s@" + list + " -d" + dir + "/out"), morvane::kExitFailed);
    ASSERT_EQ(cl.ui.messages.size(), 1u);
    EXPECT_EQ(cl.ui.messages[0].text,
              "Unable to locate " + list + " Please verify your input file and then try again. ");
    EXPECT_EQ(cl.ui.messages[0].icon, MessageIcon::Exclamation);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(
                                 "Unable to locate " + list + ". Please verify your input file and then try again.")});
    EXPECT_TRUE(cl.window.lstFiles.empty());
    EXPECT_FALSE(fs::exists(dir + "/out.enz"));
}

TEST_F(CommandLineSources, ListFileEntriesAreTrimmedAndMissingOnesLogged) {
    const std::string a = source("a.txt", "alpha");
    const std::string b = source("b.txt", "beta");
    const std::string missing = src + "/missing.txt";
    const std::string list = dir + "/list.txt";
    morvane::testing::writeFile(list, "   " + a + "  \r\n\r\n" + missing + "\r\n   \r\n" + b + "\n");
    EXPECT_EQ(cl.run("-e -ppw -s@" + list + " -d" + dir + "/out"), morvane::kExitFailed);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(
                                 "Unable to locate " + missing +
                                 ". This file will be removed from the list of files to be encrypted.")});
    EXPECT_TRUE(cl.ui.messages.empty());
    EXPECT_EQ(cl.rowPaths(), (std::vector<std::string>{a, b}));
    ASSERT_TRUE(openArchive(dir + "/out.enz", dir + "/check", "pw"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/a.txt"), "alpha");
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/b.txt"), "beta");
}

TEST_F(CommandLineSources, ListFileOfADecryptJobDropsMissingAndPlainFiles) {
    fs::create_directories(dir + "/arch");
    const std::string archive = dir + "/arch/one.enz";
    makeArchive(archive, {source("a.txt", "alpha")}, "pw");
    const std::string missing = dir + "/arch/gone.enz";
    const std::string plain = source("plain.txt", "plain");
    const std::string list = dir + "/list.txt";
    morvane::testing::writeFile(list, missing + "\n" + plain + "\n" + archive + "\n");
    EXPECT_EQ(cl.run("-d -ppw -s@" + list + " -d" + dir + "/output"), morvane::kExitFailed);
    EXPECT_EQ(cl.logLines(),
              (std::vector<std::string>{
                  Session::logged("Unable to locate " + missing +
                                  ". This file will be removed from the list of files to be encrypted."),
                  Session::logged(plain +
                                  " is not an encrypted zip file. This file will be removed from the list of files to "
                                  "be decrypted.")}));
    EXPECT_EQ(cl.rowPaths(), std::vector<std::string>{archive});
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/a.txt"), "alpha");
    EXPECT_FALSE(fs::exists(dir + "/output/plain.txt"));
}

TEST_F(CommandLineSources, EmptyListFileRunsAJobWithoutFiles) {
    const std::string list = dir + "/list.txt";
    morvane::testing::writeFile(list, "");
    EXPECT_EQ(cl.run("-e -ppw -s@" + list + " -d" + dir + "/out"), morvane::kExitDone);
    EXPECT_TRUE(cl.window.lstFiles.empty());
    EXPECT_TRUE(cl.ui.messages.empty());
    EXPECT_TRUE(cl.logLines().empty());
    EXPECT_FALSE(fs::exists(dir + "/out.enz"));
}

TEST_F(CommandLineSources, BinaryListFileLogsItsLinesAsMissingFiles) {
    std::string content;
    for (int round = 0; round < 4; ++round)
        for (int byte = 0; byte < 256; ++byte) content += static_cast<char>(byte);
    content += noise(3000, 11);
    const std::string list = dir + "/list.bin";
    morvane::testing::writeFile(list, content);
    EXPECT_EQ(cl.run("-d -ppw -s@" + list + " -d" + dir + "/output"), morvane::kExitFailed);
    EXPECT_TRUE(cl.window.lstFiles.empty());
    EXPECT_TRUE(cl.ui.messages.empty());
    const auto lines = cl.logLines();
    ASSERT_FALSE(lines.empty());
    const std::string ending = ". This file will be removed from the list of files to be encrypted.";
    for (const std::string& line : lines) {
        ASSERT_GE(line.size(), ending.size());
        EXPECT_EQ(line.substr(line.size() - ending.size()), ending);
    }
    EXPECT_FALSE(fs::exists(dir + "/output"));
}

TEST_F(CommandLineSources, CommaListLogsMissingFilesAndEncryptsTheOthers) {
    const std::string a = source("a.txt", "alpha");
    const std::string b = source("b.txt", "beta");
    const std::string missing = src + "/missing.txt";
    EXPECT_EQ(cl.run("-e -ppw -s" + a + ", " + missing + "," + b + " -d" + dir + "/out"), morvane::kExitFailed);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged("Unable to locate " + missing +
                                                                      ". This file will not be encrypted.")});
    EXPECT_TRUE(cl.ui.messages.empty());
    EXPECT_EQ(cl.rowPaths(), (std::vector<std::string>{a, b}));
    ASSERT_TRUE(openArchive(dir + "/out.enz", dir + "/check", "pw"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/b.txt"), "beta");
}

TEST_F(CommandLineSources, CommaListNamesKeepTheirInnerBlanks) {
    const std::string a = source("my notes.txt", "alpha");
    const std::string b = source("b.txt", "beta");
    EXPECT_EQ(cl.run("-e -ppw -s  " + a + "  ,   " + b + "   -d" + dir + "/out"), morvane::kExitDone);
    EXPECT_EQ(cl.rowPaths(), (std::vector<std::string>{a, b}));
    ASSERT_TRUE(openArchive(dir + "/out.enz", dir + "/check", "pw"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/my notes.txt"), "alpha");
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/b.txt"), "beta");
}

TEST_F(CommandLineSources, CommaListOfADecryptJobSaysDecrypted) {
    const std::string archive = dir + "/one.enz";
    makeArchive(archive, {source("a.txt", "alpha")}, "pw");
    const std::string missing = dir + "/gone.enz";
    EXPECT_EQ(cl.run("-d -ppw -s" + missing + ", " + archive + " -d" + dir + "/output"), morvane::kExitFailed);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged("Unable to locate " + missing +
                                                                      ". This file will not be decrypted.")});
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/a.txt"), "alpha");
}

TEST_F(CommandLineSources, NoneOfOneNameExists) {
    const std::string x = src + "/x.txt";
    EXPECT_EQ(cl.run("-e -ppw -s" + x + " -d" + dir + "/out"), morvane::kExitFailed);
    ASSERT_EQ(cl.ui.messages.size(), 1u);
    EXPECT_EQ(cl.ui.messages[0].text, expectedUsage("Unable to locate " + x + ". This file has not been encrypted."));
    EXPECT_EQ(cl.ui.messages[0].title, "Invalid Command Line Arguments");
    const auto lines = cl.logLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], Session::logged("Unable to locate " + x + ". This file will not be encrypted."));
    EXPECT_FALSE(fs::exists(dir + "/out.enz"));
}

TEST_F(CommandLineSources, NoneOfTwoNamesExists) {
    const std::string x = src + "/x.txt", y = src + "/y.txt";
    EXPECT_EQ(cl.run("-e -ppw -s" + x + ", " + y + " -d" + dir + "/out"), morvane::kExitFailed);
    ASSERT_EQ(cl.ui.messages.size(), 1u);
    EXPECT_EQ(cl.ui.messages[0].text,
              expectedUsage("Unable to locate " + x + " and " + y + ". No files have been encrypted."));
    const auto lines = cl.logLines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0], Session::logged("Unable to locate " + x + ". This file will not be encrypted."));
    EXPECT_EQ(lines[1], Session::logged("Unable to locate " + y + ". This file will not be encrypted."));
    EXPECT_FALSE(fs::exists(dir + "/out.enz"));
}

TEST_F(CommandLineSources, NoneOfThreeNamesExists) {
    const std::string x = src + "/x.txt", y = src + "/y.txt", z = src + "/z.txt";
    EXPECT_EQ(cl.run("-e -ppw -s" + x + "," + y + ", " + z + " -d" + dir + "/out"), morvane::kExitFailed);
    ASSERT_EQ(cl.ui.messages.size(), 1u);
    EXPECT_EQ(cl.ui.messages[0].text,
              expectedUsage("Unable to locate " + x + ", " + y + " and " + z + ". These files will not be encrypted."));
    EXPECT_FALSE(fs::exists(dir + "/out.enz"));
}

TEST_F(CommandLineSources, NoneOfFourNamesExistsInADecryptJob) {
    const std::string w = dir + "/w.enz", x = dir + "/x.enz", y = dir + "/y.enz", z = dir + "/z.enz";
    EXPECT_EQ(cl.run("-d -ppw -s" + w + ", " + x + ", " + y + ", " + z + " -d" + dir + "/output"),
              morvane::kExitFailed);
    ASSERT_EQ(cl.ui.messages.size(), 1u);
    EXPECT_EQ(cl.ui.messages[0].text, expectedUsage("Unable to locate " + w + ", " + x + ", " + y + " and " + z +
                                                    ". These files will not be decrypted."));
    const auto lines = cl.logLines();
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[3], Session::logged("Unable to locate " + z + ". This file will not be decrypted."));
}

TEST_F(CommandLineSources, NoneOfOneOrTwoNamesExistsInADecryptJob) {
    const std::string x = dir + "/x.enz", y = dir + "/y.enz";
    {
        Session session(dir + "/prog");
        EXPECT_EQ(session.run("-d -ppw -s" + x + " -d" + dir + "/output"), morvane::kExitFailed);
        ASSERT_EQ(session.ui.messages.size(), 1u);
        EXPECT_EQ(session.ui.messages[0].text,
                  expectedUsage("Unable to locate " + x + ". This file has not been decrypted."));
    }
    {
        Session session(dir + "/prog");
        EXPECT_EQ(session.run("-d -ppw -s" + x + "," + y + " -d" + dir + "/output"), morvane::kExitFailed);
        ASSERT_EQ(session.ui.messages.size(), 1u);
        EXPECT_EQ(session.ui.messages[0].text,
                  expectedUsage("Unable to locate " + x + " and " + y + ". No files have been decrypted."));
    }
}

// ---------------------------------------------------------------------------
// Stored passwords

using CommandLineStoredPassword = CommandLineTest;

TEST_F(CommandLineStoredPassword, FoundEntryFillsBothFieldsAndTheJobRuns) {
    ASSERT_TRUE(cl.passwords.savePasswordFile(true, {}, "other", "nothere"));
    ASSERT_TRUE(cl.passwords.savePasswordFile(true, {}, "office", "BlueSky42"));
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -p@office -s" + a + " -d" + dir + "/out"), morvane::kExitDone);
    EXPECT_EQ(cl.window.txtPassword, "BlueSky42");
    EXPECT_EQ(cl.window.txtVerifyPass, "BlueSky42");
    EXPECT_TRUE(cl.ui.messages.empty());
    ASSERT_TRUE(fs::is_regular_file(dir + "/out.enz"));
    EXPECT_FALSE(openArchive(dir + "/out.enz", dir + "/wrong", "office"));
    ASSERT_TRUE(openArchive(dir + "/out.enz", dir + "/check", "BlueSky42"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/a.txt"), "alpha");
}

TEST_F(CommandLineStoredPassword, FoundEntryDecrypts) {
    ASSERT_TRUE(cl.passwords.savePasswordFile(true, {}, "home", "Tr0ub4dor"));
    const std::string archive = dir + "/one.enz";
    makeArchive(archive, {source("a.txt", "alpha")}, "Tr0ub4dor");
    EXPECT_EQ(cl.run("-d -p@home -s" + archive + " -d" + dir + "/output"), morvane::kExitDone);
    EXPECT_EQ(morvane::testing::readFile(dir + "/output/a.txt"), "alpha");
}

TEST_F(CommandLineStoredPassword, UnknownEntryIsLoggedAndShownAndTheJobRefusesTheBlankPassword) {
    ASSERT_TRUE(cl.passwords.savePasswordFile(true, {}, "office", "BlueSky42"));
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -p@Office -s" + a + " -d" + dir + "/out"), morvane::kExitFailed);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(notLocatedEntry("Office"))});
    ASSERT_EQ(cl.ui.messages.size(), 2u);
    EXPECT_EQ(cl.ui.messages[0].text, notLocatedEntry("Office"));
    EXPECT_EQ(cl.ui.messages[0].icon, MessageIcon::Exclamation);
    EXPECT_EQ(cl.ui.messages[1].text, kEncryptBlankPassword);
    EXPECT_EQ(cl.window.txtPassword, "");
    EXPECT_EQ(cl.window.txtVerifyPass, "");
    EXPECT_FALSE(fs::exists(dir + "/out.enz"));
    EXPECT_EQ(morvane::testing::readFile(a), "alpha");
}

TEST_F(CommandLineStoredPassword, WithoutADatabaseTheMissingFileIsLoggedToo) {
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -p@office -s" + a + " -d" + dir + "/out"), morvane::kExitFailed);
    EXPECT_EQ(cl.logLines(),
              (std::vector<std::string>{Session::logged(kNoPasswordFile), Session::logged(notLocatedEntry("office"))}));
    ASSERT_EQ(cl.ui.messages.size(), 2u);
    EXPECT_EQ(cl.ui.messages[0].text, notLocatedEntry("office"));
    EXPECT_EQ(cl.ui.messages[1].text, kEncryptBlankPassword);
    EXPECT_FALSE(fs::exists(dir + "/out.enz"));
}

TEST_F(CommandLineStoredPassword, UnknownEntryInADecryptJob) {
    ASSERT_TRUE(cl.passwords.savePasswordFile(true, {}, "office", "BlueSky42"));
    const std::string archive = dir + "/one.enz";
    makeArchive(archive, {source("a.txt", "alpha")}, "BlueSky42");
    EXPECT_EQ(cl.run("-d -p@home -s" + archive + " -d" + dir + "/output"), morvane::kExitFailed);
    ASSERT_EQ(cl.ui.messages.size(), 2u);
    EXPECT_EQ(cl.ui.messages[0].text, notLocatedEntry("home"));
    EXPECT_EQ(cl.ui.messages[1].text, kDecryptBlankPassword);
    EXPECT_FALSE(fs::exists(dir + "/output/a.txt"));
}

// Any "@" in the password element makes it a name, taken from the element's
// second character on.
TEST_F(CommandLineStoredPassword, AtSignInsideAPasswordMakesItAnEntryName) {
    ASSERT_TRUE(cl.passwords.savePasswordFile(true, {}, "office", "BlueSky42"));
    const std::string a = source("a.txt", "alpha");
    EXPECT_EQ(cl.run("-e -pab@c -s" + a + " -d" + dir + "/out"), morvane::kExitFailed);
    EXPECT_EQ(cl.logLines(), std::vector<std::string>{Session::logged(notLocatedEntry("b@c"))});
    EXPECT_FALSE(fs::exists(dir + "/out.enz"));
}

// ---------------------------------------------------------------------------
// Exit status

using CommandLineExitStatus = CommandLineTest;

TEST_F(CommandLineExitStatus, WrongPasswordIsLoggedWithTheWholeCommandLineButNotThePassword) {
    const std::string archive = dir + "/one.enz";
    makeArchive(archive, {source("a.txt", "alpha")}, "right");
    const std::string line = "-d -pwrong -s" + archive + " -d" + dir + "/output";
    EXPECT_EQ(cl.run(line), morvane::kExitFailed);
    EXPECT_EQ(cl.logLines(),
              std::vector<std::string>{Session::logged(
                  "Invalid password for the following command line: -d -p***** -s" + archive + " -d" + dir +
                  "/output. Please verify password on ALL of the files you encrypted and then "
                  "try again.")});
    EXPECT_TRUE(cl.ui.messages.empty());
    EXPECT_FALSE(fs::exists(dir + "/output/a.txt"));
    EXPECT_TRUE(namesContaining(dir, "~dec~").empty());
    EXPECT_TRUE(fs::exists(archive));
}

// A job killed after its last source was removed, before it deleted its
// record of the removal: the same command again finds no source, and still
// the record goes, with every source in the archive.
TEST_F(CommandLineExitStatus, AStoppedRemovalIsFinishedBeforeTheSourcesAreLookedFor) {
    const std::string archive = dir + "/all.enz";
    const std::vector<std::string> sources = {source("a.txt", "alpha"), source("b.txt", "beta")};
    makeArchive(archive, sources, "pw");
    const std::string record = morvane::removalJournalPath(archive);
    std::string error;
    ASSERT_TRUE(morvane::beginRemoval(record, sources, error)) << error;
    fs::remove(sources[0]);  // the job was stopped after its first deletion
    const std::string line = "-e -ppw -s" + sources[0] + ", " + sources[1] + " -d" + archive + " -od";
    EXPECT_EQ(cl.run(line), morvane::kExitFailed);
    EXPECT_FALSE(fs::exists(sources[1]));
    EXPECT_FALSE(fs::exists(record));
    EXPECT_TRUE(openArchive(archive, dir + "/check", "pw"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/a.txt"), "alpha");
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/b.txt"), "beta");
    const auto lines = cl.logLines();
    EXPECT_NE(std::find(lines.begin(), lines.end(),
                        Session::logged(sources[1] + " has been removed: it is in " + archive +
                                        ", and the job that encrypted it was stopped before it had removed it.")),
              lines.end());
}

// Missing output folders are made, with their parents, as zip tools do.
TEST_F(CommandLineExitStatus, MissingOutputFoldersAreMade) {
    const std::string archive = dir + "/one.enz";
    makeArchive(archive, {source("a.txt", "alpha")}, "pw");
    const std::string line = "-d -ppw -s" + archive + " -d" + dir + "/nothere/out";
    EXPECT_EQ(cl.run(line), morvane::kExitDone);
    EXPECT_TRUE(cl.logLines().empty());
    EXPECT_TRUE(cl.ui.messages.empty());
    EXPECT_EQ(morvane::testing::readFile(dir + "/nothere/out/a.txt"), "alpha");
    EXPECT_TRUE(namesContaining(dir, "~dec~").empty());
}
TEST_F(CommandLineExitStatus, AlreadyEncryptedSourceIsLoggedSkippedAndCountsAsAFailure) {
    const std::string a = source("a.txt", "alpha");
    const std::string old = source("old.enz", "whatever");
    EXPECT_EQ(cl.run("-e -ppw -s" + old + "," + a + " -d" + dir + "/out"), morvane::kExitFailed);
    const auto lines = cl.logLines();
    ASSERT_EQ(lines.size(), 1u);
    const std::string start = Session::logged(old);
    const std::string ending =
        " is already encrypted. This file has been removed from the list of files to be encrypted.";
    EXPECT_EQ(lines[0].substr(0, start.size()), start);
    ASSERT_GE(lines[0].size(), ending.size());
    EXPECT_EQ(lines[0].substr(lines[0].size() - ending.size()), ending);
    ASSERT_TRUE(openArchive(dir + "/out.enz", dir + "/check", "pw"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/check/a.txt"), "alpha");
}

}  // namespace
