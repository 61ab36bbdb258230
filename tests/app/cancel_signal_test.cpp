// The real program as a batch file runs it: an interrupt (Ctrl+C) or a
// termination signal stops a command-line job, which removes what it was
// making, keeps every source, says so on standard error and in the log, and
// exits with 130 or 143. A wrong password on a large archive is told without
// the archive being deciphered into a zip.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "clsBlowfish.h"
#include "container.h"
#include "libzip_component.h"
#include "noise.h"
#include "program_launch.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::testing::readFile;
using morvane::testing::writeFile;
using Clock = std::chrono::steady_clock;

const std::string kPassword = "Signal9";

using morvane::testing::noise;

std::set<std::string> namesIn(const std::string& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

class RealProgram : public ::testing::Test {
protected:
    morvane::testing::DashFreeDirectory base{"mvcs"};
    const std::string dir = base.str();
    const std::string programDir = dir + "/prog";
    const std::string program = programDir + "/morvane";
    const std::string work = dir + "/work";
    const std::string errFile = dir + "/stderr.txt";

    void SetUp() override {
        const fs::path built = morvane::testing::builtProgram();
        ASSERT_TRUE(fs::is_regular_file(built)) << built;
        for (const std::string& d : {programDir, dir + "/config", dir + "/data", dir + "/home", work})
            fs::create_directories(d);
        fs::copy_file(built, program, fs::copy_options::overwrite_existing);
        fs::permissions(program, fs::perms::owner_all);
        writeFile(dir + "/config/morvane/registry", "software\\\\Morvane\tAgreement\taccepted\n");
    }

    pid_t start(const std::vector<std::string>& args) {
        return morvane::testing::startProgram(
            program, args, morvane::testing::programEnvironment(dir + "/config", dir + "/data", dir + "/home"), work,
            dir + "/stdout.txt", errFile);
    }

    // The exit status, or -1 when the program did not exit by itself.
    static int waitFor(pid_t child) {
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::vector<std::string> logLines() const {
        std::vector<std::string> lines;
        std::string line;
        for (const char c : readFile(programDir + "/morvane.log")) {
            if (c == '\n') {
                lines.push_back(line);
                line.clear();
            } else if (c != '\r') {
                line += c;
            }
        }
        return lines;
    }

    // An archive of `size` noise bytes made as the program makes one per file,
    // in `folder` (made here), without its source; the archive's path.
    static std::string archiveOfNoise(const std::string& folder, const std::string& name, std::size_t size,
                                      unsigned seed) {
        fs::create_directories(folder);
        const std::string source = folder + "/" + name;
        writeFile(source, noise(size, seed));
        morvane::LibzipComponent zip;
        morvane::clsBlowfish cipher;
        EXPECT_EQ(morvane::makePerFileArchive(zip, cipher, source, kPassword), morvane::ContainerResult::Done);
        fs::remove(source);
        return source + ".enz";
    }

    // Encrypts two large sources into one archive with "remove source", and
    // sends `signal` as soon as the job writes in their folder.
    void encryptAndSignal(int signal, int expectedStatus, const std::string& options = "-od") {
        const std::string data = work + "/src";
        fs::create_directories(data);
        const std::string a = data + "/big.bin", b = data + "/other.bin";
        const std::string contentA = noise(48u << 20, 1), contentB = noise(8u << 20, 2);
        writeFile(a, contentA);
        writeFile(b, contentB);
        const int watch = ::inotify_init1(IN_CLOEXEC);
        ASSERT_GE(watch, 0);
        ASSERT_GE(::inotify_add_watch(watch, data.c_str(), IN_CREATE | IN_MOVED_TO), 0);

        const pid_t child = start({"-e", "-p" + kPassword, "-s" + a + ", " + b, "-d" + data + "/all.enz", options});
        ASSERT_GT(child, 0);
        // The job has begun once it makes its first file beside the sources.
        alignas(inotify_event) char buffer[4096];
        ASSERT_GT(::read(watch, buffer, sizeof buffer), 0);
        ::close(watch);
        ASSERT_EQ(::kill(child, signal), 0);
        const int status = waitFor(child);

        EXPECT_EQ(status, expectedStatus) << readFile(errFile);
        EXPECT_EQ(readFile(a), contentA);
        EXPECT_EQ(readFile(b), contentB);
        EXPECT_EQ(namesIn(data), (std::set<std::string>{"big.bin", "other.bin"}));  // no archive, no temporary
        // Said once on standard error: the log line, not repeated by the message.
        const std::string err = readFile(errFile);
        const auto said = err.find("Encryption cancelled by the user.\n");
        EXPECT_NE(said, std::string::npos) << err;
        EXPECT_EQ(err.find("Encryption cancelled by the user.", said + 1), std::string::npos) << err;
        const auto lines = logLines();
        ASSERT_FALSE(lines.empty());
        EXPECT_NE(lines.back().find(" Encryption cancelled by the user."), std::string::npos) << lines.back();
    }
};

TEST_F(RealProgram, InterruptStopsAnEncryptionWithRemoveSourceAndExitsWith130) { encryptAndSignal(SIGINT, 130); }

TEST_F(RealProgram, TerminationStopsAnEncryptionWithRemoveSourceAndExitsWith143) { encryptAndSignal(SIGTERM, 143); }

TEST_F(RealProgram, InterruptStopsASilentEncryptionToo) { encryptAndSignal(SIGINT, 130, "-os,d"); }

TEST_F(RealProgram, InterruptStopsADecryptionWithRemoveArchiveAndKeepsTheArchive) {
    const std::string archive = archiveOfNoise(work + "/arch", "big.bin", 48u << 20, 3);
    ASSERT_FALSE(HasFailure());
    const std::string archiveBytes = readFile(archive);
    const std::string out = work + "/out";
    const int watch = ::inotify_init1(IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(::inotify_add_watch(watch, work.c_str(), IN_CREATE | IN_MOVED_TO), 0);

    const pid_t child = start({"-d", "-p" + kPassword, "-s" + archive, "-d" + out, "-od"});
    ASSERT_GT(child, 0);
    alignas(inotify_event) char buffer[4096];
    ASSERT_GT(::read(watch, buffer, sizeof buffer), 0);
    ::close(watch);
    ASSERT_EQ(::kill(child, SIGINT), 0);
    EXPECT_EQ(waitFor(child), 130) << readFile(errFile);
    EXPECT_EQ(readFile(archive), archiveBytes);
    EXPECT_FALSE(fs::exists(out + "/big.bin"));
    for (const std::string& name : namesIn(work)) {
        EXPECT_EQ(name.find("~dec~"), std::string::npos) << name;
        EXPECT_NE(name.rfind(".~mv", 0), 0u) << name;
    }
    if (fs::exists(out)) {
        EXPECT_EQ(namesIn(out), std::set<std::string>{});
    }
    EXPECT_NE(readFile(errFile).find("Decryption cancelled by the user.\n"), std::string::npos) << readFile(errFile);
}

TEST_F(RealProgram, WrongPasswordOnALargeArchiveIsToldWithoutDecipheringIt) {
    const std::string data = work + "/wrong";
    const std::string archive = archiveOfNoise(data, "large.bin", 40u << 20, 4);
    ASSERT_FALSE(HasFailure());
    // Every file made in the folders the deciphered zip could go to.
    const int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    ASSERT_GE(watch, 0);
    ASSERT_GE(::inotify_add_watch(watch, data.c_str(), IN_CREATE | IN_MOVED_TO), 0);
    ASSERT_GE(::inotify_add_watch(watch, work.c_str(), IN_CREATE | IN_MOVED_TO), 0);

    const std::vector<std::string> args = {"-d", "-pWrong9", "-s" + archive, "-d" + data + "/"};
    const pid_t child = start(args);
    ASSERT_GT(child, 0);
    EXPECT_EQ(waitFor(child), 1) << readFile(errFile);

    std::vector<std::string> made;
    alignas(inotify_event) char buffer[16384];
    for (ssize_t length; (length = ::read(watch, buffer, sizeof buffer)) > 0;) {
        for (ssize_t at = 0; at < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            if (event->len > 0) made.emplace_back(event->name);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
    ::close(watch);
    for (const std::string& name : made) {
        EXPECT_EQ(name.find("~dec~"), std::string::npos) << name << " was made: the archive was deciphered";
        EXPECT_NE(name.rfind(".~mv", 0), 0u) << name << " was made: the archive was deciphered";
    }
    const std::string expected = "Invalid password for the following command line: -d -p****** -s" + archive + " -d" +
                                 data +
                                 "/. Please verify password on ALL of the files you encrypted and then try again.";
    const auto lines = logLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].substr(lines[0].size() - expected.size()), expected);
    EXPECT_EQ(readFile(errFile), expected + "\n");
    EXPECT_TRUE(fs::exists(archive));
}

}  // namespace
