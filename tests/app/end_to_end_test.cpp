// The real program, copied into a program directory of its own and run as a
// child process with its settings and data places in temporary directories,
// standard input from /dev/null and standard error captured.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "activity_log.h"
#include "noise.h"
#include "password_database.h"
#include "program_launch.h"
#include "settings_store.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::testing::builtProgram;

// A directory of its own for one test, named without any "-".
struct BaseDirectory : morvane::testing::DashFreeDirectory {
    BaseDirectory() : DashFreeDirectory("mvee") {}
};

bool endsWith(const std::string& text, const std::string& ending) {
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

std::vector<std::string> namesContaining(const std::string& root, const std::string& part) {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.path().filename().string().find(part) != std::string::npos) found.push_back(entry.path().string());
    return found;
}

using morvane::testing::noise;

std::string joined(const std::vector<std::string>& args) {
    std::string line;
    for (const std::string& arg : args) line += (line.empty() ? "" : " ") + arg;
    return line;
}

// The usage text of the usage dialog, put together from its pieces.
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

struct Outcome {
    bool exited = false;
    int status = -1;
    std::string err;
};

class EndToEndTest : public ::testing::Test {
protected:
    BaseDirectory base;
    const std::string dir = base.str();
    const std::string programDir = dir + "/prog";
    const std::string program = programDir + "/morvane";
    const std::string configHome = dir + "/config";
    const std::string dataHome = dir + "/data";
    const std::string home = dir + "/home";
    const std::string work = dir + "/work";
    const std::string src = dir + "/src";
    const std::string settingsFile = configHome + "/morvane/registry";

    void SetUp() override {
        const fs::path built = builtProgram();
        ASSERT_TRUE(fs::is_regular_file(built))
            << "the program " << built << " was not found beside the test programs; build the target morvane";
        for (const std::string& d : {programDir, configHome, dataHome, home, work, src, dir + "/arch"})
            fs::create_directories(d);
        fs::copy_file(built, program, fs::copy_options::overwrite_existing);
        fs::permissions(program, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec);
    }

    // The agreement as an earlier start left it accepted.
    void acceptAgreement() { morvane::testing::writeFile(settingsFile, "software\\\\Morvane\tAgreement\taccepted\n"); }

    std::string source(const std::string& name, const std::string& content) {
        const std::string path = src + "/" + name;
        morvane::testing::writeFile(path, content);
        return path;
    }

    std::string logPath() const { return programDir + "/morvane.log"; }

    // How many lines of the log end with " " + message.
    int logged(const std::string& message) const {
        const auto lines = morvane::testing::linesOf(logPath());
        return static_cast<int>(std::count_if(lines.begin(), lines.end(),
                                              [&](const std::string& l) { return endsWith(l, " " + message); }));
    }

    Outcome run(const std::vector<std::string>& args) {
        const std::string errFile = dir + "/stderr.txt";
        Outcome outcome;
        const pid_t child = morvane::testing::startProgram(
            program, args, morvane::testing::programEnvironment(configHome, dataHome, home), work, dir + "/stdout.txt",
            errFile);
        if (child < 0) {
            ADD_FAILURE() << "fork failed";
            return outcome;
        }
        int status = 0;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        for (;;) {
            const pid_t done = ::waitpid(child, &status, WNOHANG);
            if (done == child) break;
            if (std::chrono::steady_clock::now() > deadline) {
                ::kill(child, SIGKILL);
                ::waitpid(child, &status, 0);
                ADD_FAILURE() << "the program did not end within 60 s: " << joined(args);
                return outcome;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        outcome.exited = WIFEXITED(status);
        outcome.status = outcome.exited ? WEXITSTATUS(status) : -1;
        outcome.err = morvane::testing::readFile(errFile);
        return outcome;
    }
};

using EndToEndJob = EndToEndTest;

TEST_F(EndToEndJob, SeveralFilesIntoOneArchiveAndBackByteForByte) {
    acceptAgreement();
    const std::string a = source("a.txt", "alpha\nbeta\r\n");
    const std::string b = source("b.bin", noise(300000, 5));
    const std::string c = source("c.dat", noise(1000, 9));

    const Outcome encrypted = run({"-e", "-pSecret9", "-s" + a + ",", b + ",", c, "-d" + dir + "/arch/all"});
    ASSERT_TRUE(encrypted.exited);
    EXPECT_EQ(encrypted.status, 0) << encrypted.err;
    EXPECT_EQ(encrypted.err, "");
    EXPECT_TRUE(fs::is_regular_file(dir + "/arch/all.enz"));
    EXPECT_TRUE(namesContaining(dir, "~enc~").empty());
    EXPECT_TRUE(fs::exists(a));  // sources stay without "d"

    const Outcome decrypted = run({"-d", "-pSecret9", "-s" + dir + "/arch/all.enz", "-d" + dir + "/out/"});
    ASSERT_TRUE(decrypted.exited);
    EXPECT_EQ(decrypted.status, 0) << decrypted.err;
    EXPECT_EQ(decrypted.err, "");
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/a.txt"), morvane::testing::readFile(a));
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/b.bin"), morvane::testing::readFile(b));
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/c.dat"), morvane::testing::readFile(c));
    EXPECT_TRUE(namesContaining(dir, "~dec~").empty());
    EXPECT_TRUE(fs::exists(dir + "/arch/all.enz"));

    // Where the program runs from, for others to read.
    EXPECT_EQ(morvane::SettingsStore(settingsFile).regRead("Path", "software\\Morvane"), programDir);
}

TEST_F(EndToEndJob, StoredPasswordByName) {
    acceptAgreement();
    {
        morvane::ActivityLog log(programDir);
        morvane::PasswordDatabase passwords(programDir, log);
        ASSERT_TRUE(passwords.savePasswordFile(true, {}, "work", "Tr0ub4dor"));
    }
    const std::string a = source("a.txt", "stored");
    const Outcome encrypted = run({"-e", "-p@work", "-s" + a, "-d" + dir + "/arch/a", "-os"});
    ASSERT_TRUE(encrypted.exited);
    EXPECT_EQ(encrypted.status, 0) << encrypted.err;
    ASSERT_TRUE(fs::is_regular_file(dir + "/arch/a.enz"));

    const Outcome wrong = run({"-d", "-pwork", "-s" + dir + "/arch/a.enz", "-d" + dir + "/wrong"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_FALSE(fs::exists(dir + "/wrong/a.txt"));

    const Outcome decrypted = run({"-d", "-pTr0ub4dor", "-s" + dir + "/arch/a.enz", "-d" + dir + "/out"});
    EXPECT_EQ(decrypted.status, 0) << decrypted.err;
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/a.txt"), "stored");
}

TEST_F(EndToEndJob, UnknownStoredPasswordNameFails) {
    acceptAgreement();
    const std::string a = source("a.txt", "stored");
    const Outcome outcome = run({"-e", "-p@nobody", "-s" + a, "-d" + dir + "/arch/a"});
    EXPECT_EQ(outcome.status, 1);
    const std::string notLocated =
        "Unable to located nobody is the password database. Please verify password name and then try again.";
    EXPECT_NE(outcome.err.find(notLocated + "\n"), std::string::npos) << outcome.err;
    EXPECT_EQ(logged(notLocated), 1);
    EXPECT_FALSE(fs::exists(dir + "/arch/a.enz"));
}

TEST_F(EndToEndJob, WildcardsForBothJobs) {
    acceptAgreement();
    source("a.txt", "alpha");
    source("b.txt", "beta");
    source("c.log", "gamma");
    const Outcome first = run({"-e", "-ppw", "-s" + src + "/*.txt", "-d" + dir + "/arch/texts"});
    EXPECT_EQ(first.status, 0) << first.err;
    const Outcome second = run({"-e", "-ppw", "-s" + src + "/*.log", "-d" + dir + "/arch/logs.enz"});
    EXPECT_EQ(second.status, 0) << second.err;
    morvane::testing::writeFile(dir + "/arch/readme.txt", "not an archive");

    const Outcome decrypted = run({"-d", "-ppw", "-s" + dir + "/arch/*", "-d" + dir + "/out"});
    EXPECT_EQ(decrypted.status, 0) << decrypted.err;
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/a.txt"), "alpha");
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/b.txt"), "beta");
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/c.log"), "gamma");
    EXPECT_FALSE(fs::exists(dir + "/out/readme.txt"));
}

TEST_F(EndToEndJob, WildcardWithoutMatchFails) {
    acceptAgreement();
    source("a.txt", "alpha");
    const std::vector<std::string> args = {"-e", "-ppw", "-s" + src + "/*.doc", "-d" + dir + "/arch/none"};
    const Outcome outcome = run(args);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(logged("No files matched your criteria for the following command line argument: -e -p** -s" + src +
                     "/*.doc -d" + dir + "/arch/none"),
              1);
    EXPECT_FALSE(fs::exists(dir + "/arch/none.enz"));
}

TEST_F(EndToEndJob, ListFileWithAMissingEntry) {
    acceptAgreement();
    const std::string a = source("a.txt", "alpha");
    const std::string b = source("b.txt", "beta");
    const std::string missing = src + "/missing.txt";
    morvane::testing::writeFile(dir + "/list.txt", a + "\n" + missing + "\n" + b + "\n");
    const Outcome outcome = run({"-e", "-ppw", "-s@" + dir + "/list.txt", "-d" + dir + "/arch/listed"});
    ASSERT_TRUE(outcome.exited);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(
        logged("Unable to locate " + missing + ". This file will be removed from the list of files to be encrypted."),
        1);
    ASSERT_TRUE(fs::is_regular_file(dir + "/arch/listed.enz"));
    const Outcome decrypted = run({"-d", "-ppw", "-s" + dir + "/arch/listed.enz", "-d" + dir + "/out"});
    EXPECT_EQ(decrypted.status, 0) << decrypted.err;
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/a.txt"), "alpha");
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/b.txt"), "beta");
}

TEST_F(EndToEndJob, DeleteOptionRemovesSourcesThenArchives) {
    acceptAgreement();
    const std::string a = source("a.txt", "alpha");
    const std::string b = source("b.txt", "beta");
    const Outcome encrypted = run({"-e", "-ppw", "-s" + a + ",", b, "-d" + dir + "/arch/gone", "-od"});
    EXPECT_EQ(encrypted.status, 0) << encrypted.err;
    EXPECT_FALSE(fs::exists(a));
    EXPECT_FALSE(fs::exists(b));
    ASSERT_TRUE(fs::is_regular_file(dir + "/arch/gone.enz"));

    const Outcome decrypted = run({"-d", "-ppw", "-s" + dir + "/arch/gone.enz", "-d" + dir + "/out", "-od"});
    EXPECT_EQ(decrypted.status, 0) << decrypted.err;
    EXPECT_FALSE(fs::exists(dir + "/arch/gone.enz"));
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/a.txt"), "alpha");
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/b.txt"), "beta");
}

TEST_F(EndToEndJob, NoOverwriteOptionKeepsExistingFiles) {
    acceptAgreement();
    const std::string a = source("a.txt", "alpha");
    const std::string b = source("b.txt", "beta");
    ASSERT_EQ(run({"-e", "-ppw", "-s" + a + ",", b, "-d" + dir + "/arch/both"}).status, 0);
    morvane::testing::writeFile(dir + "/out/a.txt", "mine");
    const Outcome kept = run({"-d", "-ppw", "-s" + dir + "/arch/both.enz", "-d" + dir + "/out", "-on"});
    EXPECT_EQ(kept.status, 0) << kept.err;
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/a.txt"), "mine");
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/b.txt"), "beta");

    const Outcome replaced = run({"-d", "-ppw", "-s" + dir + "/arch/both.enz", "-d" + dir + "/out"});
    EXPECT_EQ(replaced.status, 0) << replaced.err;
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/a.txt"), "alpha");
}

TEST_F(EndToEndJob, WrongPasswordIsLoggedWithTheWholeCommandLineButNotThePassword) {
    acceptAgreement();
    const std::string a = source("a.txt", "alpha");
    ASSERT_EQ(run({"-e", "-pright", "-s" + a, "-d" + dir + "/arch/one"}).status, 0);
    const std::vector<std::string> args = {"-d", "-pwrong", "-s" + dir + "/arch/one.enz", "-d" + dir + "/out"};
    const Outcome outcome = run(args);
    ASSERT_TRUE(outcome.exited);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(logged("Invalid password for the following command line: -d -p***** -s" + dir + "/arch/one.enz -d" + dir +
                     "/out. Please verify password on ALL of the files you encrypted and then try again."),
              1)
        << morvane::testing::readFile(logPath());
    EXPECT_EQ(morvane::testing::readFile(logPath()).find("wrong"), std::string::npos);
    EXPECT_FALSE(fs::exists(dir + "/out/a.txt"));
    EXPECT_TRUE(namesContaining(dir, "~dec~").empty());
}

TEST_F(EndToEndJob, InvalidCommandLineShowsTheUsageText) {
    acceptAgreement();
    const Outcome outcome = run({"-e", "-ppw"});
    ASSERT_TRUE(outcome.exited);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, expectedUsage("Invalid command line arguments.") + "\n");
    EXPECT_EQ(logged("Invalid command line arguments."), 1);
}

// A "-" inside a value belongs to it: "-pab-c" is the password "ab-c".
TEST_F(EndToEndJob, DashInsidePasswordBelongsToIt) {
    acceptAgreement();
    const std::string a = source("a.txt", "alpha");
    const Outcome made = run({"-e", "-pab-c", "-s" + a, "-d" + dir + "/arch/x"});
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(made.err, "");
    ASSERT_TRUE(fs::is_regular_file(dir + "/arch/x.enz"));
    const Outcome wrong = run({"-d", "-pab", "-s" + dir + "/arch/x.enz", "-d" + dir + "/out"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_FALSE(fs::exists(dir + "/out/a.txt"));
    const Outcome opened = run({"-d", "-pab-c", "-s" + dir + "/arch/x.enz", "-d" + dir + "/out"});
    EXPECT_EQ(opened.status, 0) << opened.err;
    EXPECT_EQ(morvane::testing::readFile(dir + "/out/a.txt"), "alpha");
}

// A "-" that begins a word inside a value cannot be told from a switch: the
// line is refused, never guessed at.
TEST_F(EndToEndJob, DashBeginningAWordInsideAValueRefusesTheLine) {
    acceptAgreement();
    const std::string a = source("a.txt", "alpha");
    const Outcome outcome = run({"-e", "-pab", "-zq7", "-s" + a, "-d" + dir + "/arch/x"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, expectedUsage("Invalid command line arguments.") + "\n");
    EXPECT_FALSE(fs::exists(dir + "/arch/x.enz"));
    EXPECT_FALSE(fs::exists(a + ".enz"));
    EXPECT_EQ(morvane::testing::readFile(a), "alpha");
}

using EndToEndFirstRun = EndToEndTest;

TEST_F(EndToEndFirstRun, WithoutATerminalTheAgreementIsDeclinedAndNothingIsWritten) {
    const std::string a = source("a.txt", "alpha");
    const Outcome outcome = run({"-e", "-ppw", "-s" + a, "-d" + dir + "/arch/first"});
    ASSERT_TRUE(outcome.exited);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_FALSE(outcome.err.empty());
    EXPECT_FALSE(fs::exists(dir + "/arch/first.enz"));
    const morvane::SettingsStore settings(settingsFile);
    EXPECT_NE(settings.regRead("Agreement", "software\\Morvane"), "accepted");
    EXPECT_EQ(settings.regRead("Path", "software\\Morvane"), "");
    EXPECT_FALSE(fs::exists(dataHome + "/applications/morvane.desktop"));
    EXPECT_FALSE(fs::exists(logPath()));

    // Still not accepted: the next start declines again.
    const Outcome again = run({"-e", "-ppw", "-s" + a, "-d" + dir + "/arch/first"});
    EXPECT_EQ(again.status, 1);
    EXPECT_FALSE(fs::exists(dir + "/arch/first.enz"));
}

TEST_F(EndToEndFirstRun, AcceptedAgreementLetsTheJobRun) {
    acceptAgreement();
    const std::string a = source("a.txt", "alpha");
    const Outcome outcome = run({"-e", "-ppw", "-s" + a, "-d" + dir + "/arch/first"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(fs::is_regular_file(dir + "/arch/first.enz"));
}

}  // namespace
