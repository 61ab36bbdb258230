// The real program run as a script would run it: every run that fails says
// why on standard error, in the words of the log; a "-" inside a value
// belongs to it; X.ENZ opens; missing folders are made or named; a full
// disk, a file in the way and a damaged archive are no wrong password, and
// the other archives of the job are still opened.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "program_launch.h"
#include "scratch_directory.h"
#include "small_disk.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::testing::builtProgram;
using morvane::testing::linesOf;
using morvane::testing::readFile;
using morvane::testing::writeFile;

struct Outcome {
    bool exited = false;
    int status = -1;
    std::string err;
};

std::vector<std::string> linesOfText(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const auto end = text.find('\n', start);
        lines.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return lines;
}

std::string noise(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(random() & 0xFF);
    return bytes;
}

class FailuresSaid : public ::testing::Test {
protected:
    morvane::testing::DashFreeDirectory base{"mvfs"};
    const std::string dir = base.str();
    const std::string programDir = dir + "/prog";
    const std::string program = programDir + "/morvane";
    const std::string configHome = dir + "/config";
    const std::string dataHome = dir + "/data";
    const std::string home = dir + "/home";
    const std::string work = dir + "/work";
    const std::string src = dir + "/src";

    void SetUp() override {
        ASSERT_TRUE(fs::is_regular_file(builtProgram())) << "build the target morvane first";
        for (const std::string& d : {programDir, configHome, dataHome, home, work, src}) fs::create_directories(d);
        fs::copy_file(builtProgram(), program, fs::copy_options::overwrite_existing);
        fs::permissions(program, fs::perms::owner_all);
        // The agreement as an earlier start left it accepted.
        writeFile(configHome + "/morvane/registry", "software\\\\Morvane\tAgreement\taccepted\n");
    }

    std::string logPath() const { return programDir + "/morvane.log"; }

    // The log's lines without their date and time, which end at the first
    // blank after the time ("dd/mm/yyyy hh:mm:ss message").
    std::vector<std::string> loggedMessages() const {
        std::vector<std::string> messages;
        for (const std::string& line : linesOf(logPath())) {
            const auto date = line.find(' ');
            const auto time = date == std::string::npos ? std::string::npos : line.find(' ', date + 1);
            messages.push_back(time == std::string::npos ? line : line.substr(time + 1));
        }
        return messages;
    }

    std::string source(const std::string& name, const std::string& content) {
        const std::string path = src + "/" + name;
        writeFile(path, content);
        return path;
    }

    Outcome run(const std::vector<std::string>& args, std::vector<std::string> environment = {}) {
        if (environment.empty()) environment = morvane::testing::programEnvironment(configHome, dataHome, home);
        const std::string errFile = dir + "/stderr.txt";
        Outcome outcome;
        const pid_t child =
            morvane::testing::startProgram(program, args, environment, work, dir + "/stdout.txt", errFile);
        if (child < 0) {
            ADD_FAILURE() << "fork failed";
            return outcome;
        }
        int status = 0;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (::waitpid(child, &status, WNOHANG) != child) {
            if (std::chrono::steady_clock::now() > deadline) {
                ::kill(child, SIGKILL);
                ::waitpid(child, &status, 0);
                ADD_FAILURE() << "the program did not end within 60 s";
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        outcome.exited = WIFEXITED(status);
        outcome.status = outcome.exited ? WEXITSTATUS(status) : -1;
        outcome.err = readFile(errFile);
        return outcome;
    }

    // A run whose log lines all stood on standard error, word for word and
    // in their order, and which said something when it failed.
    Outcome runSaid(const std::vector<std::string>& args) {
        fs::remove(logPath());
        const Outcome outcome = run(args);
        const std::vector<std::string> said = linesOfText(outcome.err);
        std::size_t next = 0;
        for (const std::string& message : loggedMessages()) {
            while (next < said.size() && said[next] != message) ++next;
            EXPECT_LT(next, said.size()) << "logged but not said on standard error: " << message
                                         << "\nstandard error:\n"
                                         << outcome.err;
            if (next < said.size()) ++next;
        }
        if (outcome.status != 0) {
            EXPECT_FALSE(outcome.err.empty()) << "a failed run said nothing";
        }
        return outcome;
    }

    // An archive made by the program itself.
    std::string archiveOf(const std::vector<std::string>& files, const std::string& archive,
                          const std::string& password = "Secret9") {
        std::string list;
        for (const std::string& file : files) list += (list.empty() ? "" : ",") + file;
        const Outcome made = run({"-e", "-p" + password, "-s" + list, "-d" + archive});
        EXPECT_EQ(made.status, 0) << made.err;
        return archive;
    }
};

// --- Standard error says what the log says --------------------------------

TEST_F(FailuresSaid, AWrongPasswordIsSaidOnStandardError) {
    const std::string archive = archiveOf({source("a.txt", "alpha")}, dir + "/a.enz");
    const Outcome outcome = runSaid({"-d", "-pWrong7", "-s" + archive, "-d" + dir + "/out"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "Invalid password for the following command line: -d -p****** -s" + archive + " -d" + dir +
                               "/out. Please verify password on ALL of the files you encrypted and then try "
                               "again.\n");
    EXPECT_TRUE(fs::exists(archive));
}

TEST_F(FailuresSaid, AWildcardWithoutAMatchIsSaid) {
    const Outcome outcome = runSaid({"-e", "-ppw", "-s" + src + "/*.none", "-d" + dir + "/x"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "No files matched your criteria for the following command line argument: -e -p** -s" + src +
                               "/*.none -d" + dir + "/x\n");
}

TEST_F(FailuresSaid, AListFileWithAMissingLineSaysWhichLine) {
    const std::string a = source("a.txt", "alpha");
    const std::string list = source("list.txt", a + "\n" + src + "/gone.txt\n");
    const Outcome outcome = runSaid({"-e", "-ppw", "-s@" + list, "-d" + dir + "/x"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "Unable to locate " + src +
                               "/gone.txt. This file will be removed from the list of files to be encrypted.\n");
    EXPECT_TRUE(fs::is_regular_file(dir + "/x.enz"));
}

TEST_F(FailuresSaid, ATrailingCommaIsSaid) {
    const std::string a = source("a.txt", "alpha");
    const Outcome outcome = runSaid({"-e", "-ppw", "-s" + a + ",", "-d" + dir + "/x"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "Unable to locate . This file will not be encrypted.\n");
}

TEST_F(FailuresSaid, AnInvalidLineShowsTheUsageOnceOnStandardError) {
    const Outcome outcome = runSaid({"-x"});
    EXPECT_EQ(outcome.status, 2);
    const std::vector<std::string> lines = linesOfText(outcome.err);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0], "Invalid command line arguments.");
    EXPECT_EQ(lines[1], "");
    EXPECT_EQ(lines[2],
              "To run Morvane from the command line (DOS window or batch file), you may use the following "
              "commands: ");
    EXPECT_EQ(outcome.err.find("Invalid command line arguments.", 1), std::string::npos) << outcome.err;
}

// --- Failures that are no wrong password --------------------------------------

TEST_F(FailuresSaid, AFullDiskIsSaidAndTheNextArchiveIsStillOpened) {
    morvane::testing::SmallDisk disk;
    if (!disk.mount(dir + "/disk", "2m")) GTEST_FAIL() << "needs root to mount a small tmpfs: " << disk.error();
    const std::string big = archiveOf({source("big.bin", noise(3 << 20, 1))}, dir + "/big.enz");
    const std::string small = archiveOf({source("small.txt", "small")}, dir + "/small.enz");
    const Outcome outcome = runSaid({"-d", "-pSecret9", "-s" + big + "," + small, "-d" + disk.path() + "/out"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.find("Invalid password"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(big), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("space"), std::string::npos) << outcome.err;
    EXPECT_FALSE(fs::exists(disk.path() + "/out/big.bin"));
    EXPECT_EQ(readFile(disk.path() + "/out/small.txt"), "small");
    EXPECT_TRUE(fs::exists(big));
}

TEST_F(FailuresSaid, AFileInTheWayOfTheOutputIsSaidAndTheNextArchiveIsStillOpened) {
    const std::string a = archiveOf({source("a.txt", "alpha")}, dir + "/a.enz");
    writeFile(dir + "/inway", "a file where the output folder should be");
    const std::string b = archiveOf({source("b.txt", "beta")}, dir + "/b.enz");
    const Outcome first = runSaid({"-d", "-pSecret9", "-s" + a + "," + b, "-d" + dir + "/inway"});
    EXPECT_EQ(first.status, 1);
    EXPECT_EQ(first.err.find("Invalid password"), std::string::npos) << first.err;
    EXPECT_NE(first.err.find(a), std::string::npos) << first.err;
    EXPECT_NE(first.err.find(b), std::string::npos) << first.err;  // tried too
    EXPECT_EQ(readFile(dir + "/inway"), "a file where the output folder should be");
    EXPECT_TRUE(fs::exists(a));
    EXPECT_TRUE(fs::exists(b));
}

TEST_F(FailuresSaid, ADamagedArchiveIsSaidAndTheNextArchiveIsStillOpened) {
    const std::string damaged = archiveOf({source("d.bin", noise(256 << 10, 2))}, dir + "/d.enz");
    const std::string good = archiveOf({source("g.txt", "good")}, dir + "/g.enz");
    std::string bytes = readFile(damaged);
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 0x10);
    writeFile(damaged, bytes);
    const Outcome outcome = runSaid({"-d", "-pSecret9", "-s" + damaged + "," + good, "-d" + dir + "/out"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.find("Invalid password"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(damaged + " is damaged"), std::string::npos) << outcome.err;
    EXPECT_FALSE(fs::exists(dir + "/out/d.bin"));
    EXPECT_EQ(readFile(dir + "/out/g.txt"), "good");
}

// --- A "-" inside a value ----------------------------------------------------

TEST_F(FailuresSaid, ADashInsideThePathOfTheArchiveBelongsToIt) {
    const std::string a = source("a.txt", "alpha");
    fs::create_directories(dir + "/out");
    const Outcome outcome = runSaid({"-e", "-ppw", "-s" + a, "-d" + dir + "/out/archive-old-backups"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(readFile(a), "alpha");
    EXPECT_TRUE(fs::is_regular_file(dir + "/out/archive-old-backups.enz"));
    EXPECT_FALSE(fs::exists(dir + "/out/archive.enz"));
}

TEST_F(FailuresSaid, ADashInsideAPasswordBelongsToIt) {
    const std::string archive = archiveOf({source("a.txt", "alpha")}, dir + "/a.enz", "ab-cd");
    const Outcome outcome = runSaid({"-d", "-pab-cd", "-s" + archive, "-d" + dir + "/out"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(readFile(dir + "/out/a.txt"), "alpha");
}

// --- Capital ".ENZ" ------------------------------------------------------------

TEST_F(FailuresSaid, CapitalEnzOpensThroughTheWildcardAndTheListFile) {
    fs::create_directories(dir + "/in");
    const std::string made = archiveOf({source("a.txt", "alpha")}, dir + "/in/X");
    fs::rename(made + ".enz", dir + "/in/X.ENZ");
    const Outcome wildcard = runSaid({"-d", "-pSecret9", "-s" + dir + "/in/*.ENZ", "-d" + dir + "/one"});
    EXPECT_EQ(wildcard.status, 0) << wildcard.err;
    EXPECT_EQ(readFile(dir + "/one/a.txt"), "alpha");
    const std::string list = source("list.txt", dir + "/in/X.ENZ\n");
    const Outcome listed = runSaid({"-d", "-pSecret9", "-s@" + list, "-d" + dir + "/two"});
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_EQ(readFile(dir + "/two/a.txt"), "alpha");
}

// --- Missing folders ---------------------------------------------------------

TEST_F(FailuresSaid, ADecryptMakesMissingOutputFolders) {
    const std::string archive = archiveOf({source("a.txt", "alpha")}, dir + "/a.enz");
    const Outcome outcome = runSaid({"-d", "-pSecret9", "-s" + archive, "-d" + dir + "/new/nested/out/"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(readFile(dir + "/new/nested/out/a.txt"), "alpha");
}

TEST_F(FailuresSaid, AnEncryptIntoAMissingFolderSaysItDoesNotExist) {
    const std::string a = source("a.txt", "alpha");
    const Outcome outcome = runSaid({"-e", "-ppw", "-s" + a, "-d" + dir + "/missing/x", "-od"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, dir +
                               "/missing does not exist. Please create the folder or choose another one for the "
                               "encrypted zip file, and then try again.\n");
    EXPECT_EQ(readFile(a), "alpha");
    EXPECT_FALSE(fs::exists(dir + "/missing"));
}

TEST_F(FailuresSaid, AFolderGivenAsASourceIsSaidToBeOne) {
    fs::create_directories(src + "/folder");
    const Outcome outcome = runSaid({"-e", "-ppw", "-s" + src + "/folder", "-d" + dir + "/x"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, src +
                               "/folder is a folder, not a file. Only files can be encrypted: this folder will not "
                               "be encrypted.\n");
    EXPECT_FALSE(fs::exists(dir + "/x.enz"));
}

TEST_F(FailuresSaid, AnArchiveNameThatIsAFolderIsRefusedWithTheExpectedForm) {
    const std::string a = source("a.txt", "alpha");
    fs::create_directories(dir + "/backup");
    for (const std::string& destination : {dir + "/backup/", dir + "/backup"}) {
        const Outcome outcome = runSaid({"-e", "-ppw", "-s" + a, "-d" + destination, "-od"});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, destination +
                                   " is a folder. Please give the full path and name of the encrypted zip file, for "
                                   "example -d/backup/files.enz.\n");
    }
    EXPECT_FALSE(fs::exists(dir + "/backup/.enz"));
    EXPECT_FALSE(fs::exists(dir + "/backup.enz"));
    EXPECT_EQ(readFile(a), "alpha");
}

// --- The usage window and the terminal -------------------------------------

// With standard error on a terminal the usage goes there and the program
// ends at once, although the session looks like a desktop: no window waits
// for someone to press OK. (A display the platform cannot reach would make a
// window fail; the program must not even try.)
TEST_F(FailuresSaid, OnATerminalTheUsageIsWrittenAndTheProgramEnds) {
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0) << "no pseudo-terminal on this machine";
    ASSERT_EQ(::grantpt(master), 0);
    ASSERT_EQ(::unlockpt(master), 0);
    const std::string terminal = ::ptsname(master);
    std::vector<std::string> environment = morvane::testing::programEnvironment(configHome, dataHome, home);
    environment.push_back("QT_QPA_PLATFORM=xcb");
    environment.push_back("DISPLAY=:97");
    std::vector<char*> envp;
    for (std::string& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid();
        const int tty = ::open(terminal.c_str(), O_RDWR);
        const int in = ::open("/dev/null", O_RDONLY);
        if (tty < 0 || in < 0 || ::dup2(in, 0) < 0 || ::dup2(in, 1) < 0 || ::dup2(tty, 2) < 0) ::_exit(126);
        char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>("-x"), nullptr};
        ::execve(program.c_str(), argv, envp.data());
        ::_exit(127);
    }
    ASSERT_GT(child, 0);
    std::string said;
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    ::fcntl(master, F_SETFL, O_NONBLOCK);
    for (bool ended = false; !ended;) {
        char buffer[4096];
        for (ssize_t got; (got = ::read(master, buffer, sizeof buffer)) > 0;) said.append(buffer, got);
        ended = ::waitpid(child, &status, WNOHANG) == child;
        if (!ended && std::chrono::steady_clock::now() > deadline) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            ADD_FAILURE() << "the program waited instead of ending";
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    char buffer[4096];
    for (ssize_t got; (got = ::read(master, buffer, sizeof buffer)) > 0;) said.append(buffer, got);
    ::close(master);
    ASSERT_TRUE(WIFEXITED(status)) << "the program did not end by itself:\n" << said;
    EXPECT_EQ(WEXITSTATUS(status), 2);
    EXPECT_NE(said.find("Invalid command line arguments."), std::string::npos) << said;
    EXPECT_NE(said.find("Decryption Commands: "), std::string::npos) << said;
}

}  // namespace
