// Two jobs never write the same names at once: a name one job holds is
// refused to another, in this process or any other, until the first lets it
// go, also when the first ends by a kill.
#include "job_lock.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::JobLocks;
using morvane::testing::TempDirectory;
using Outcome = JobLocks::Outcome;
using namespace std::chrono_literals;

TEST(JobLocks, ANameHeldByOneJobIsRefusedToAnother) {
    TempDirectory dir("lock-held");
    JobLocks first, second;
    EXPECT_EQ(first.lock(dir.file("all.enz"), 0ms), Outcome::Free);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(second.lock(dir.file("all.enz"), 300ms), Outcome::Busy);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
    EXPECT_EQ(second.lock(dir.file("other.enz"), 0ms), Outcome::Free);
    first.releaseAll();
    EXPECT_EQ(second.lock(dir.file("all.enz"), 0ms), Outcome::Free);
}

TEST(JobLocks, AJobThatHoldsANameTakesItAgain) {
    TempDirectory dir("lock-again");
    JobLocks locks;
    EXPECT_EQ(locks.lock(dir.file("a.enz"), 0ms), Outcome::Free);
    EXPECT_EQ(locks.lock(dir.file("a.enz"), 0ms), Outcome::Free);
}

TEST(JobLocks, TwoSpellingsOfOneNameMeetAtOneLock) {
    TempDirectory dir("lock-spellings");
    fs::create_directories(dir.file("real"));
    fs::create_directory_symlink(dir.file("real"), dir.file("link"));
    JobLocks first, second;
    EXPECT_EQ(first.lock(dir.file("real") + "/a.enz", 0ms), Outcome::Free);
    EXPECT_EQ(second.lock(dir.file("link") + "/a.enz", 0ms), Outcome::Busy);
    EXPECT_EQ(second.lock(dir.file("real") + "/./a.enz", 0ms), Outcome::Busy);
    EXPECT_EQ(second.lock(dir.file("real") + "/A.enz", 0ms), Outcome::Free);  // another name
}

TEST(JobLocks, ANameLetGoWhileWaitingIsSaidSo) {
    TempDirectory dir("lock-wait");
    JobLocks first, second;
    ASSERT_EQ(first.lock(dir.file("a.enz"), 0ms), Outcome::Free);
    std::thread letGo([&first] {
        std::this_thread::sleep_for(200ms);
        first.releaseAll();
    });
    EXPECT_EQ(second.lock(dir.file("a.enz"), 5000ms), Outcome::FreedWhileWaiting);
    letGo.join();
}

TEST(JobLocks, AnotherProcessHoldsTheNameUntilItIsKilled) {
    TempDirectory dir("lock-process");
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        JobLocks held;
        const bool got = held.lock(dir.file("a.enz"), 0ms) == Outcome::Free;
        const char signal = got ? 'y' : 'n';
        if (::write(ready[1], &signal, 1) != 1) ::_exit(1);
        ::pause();
        ::_exit(0);
    }
    char signal = 0;
    ASSERT_EQ(::read(ready[0], &signal, 1), 1);
    ASSERT_EQ(signal, 'y');
    JobLocks mine;
    EXPECT_EQ(mine.lock(dir.file("a.enz"), 100ms), Outcome::Busy);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_EQ(mine.lock(dir.file("a.enz"), 1000ms), Outcome::Free);
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST(JobLocks, TheLockFolderIsTheUsersOwn) {
    TempDirectory dir("lock-folder");
    JobLocks locks;
    ASSERT_EQ(locks.lock(dir.file("a.enz"), 0ms), Outcome::Free);
    const fs::path folder = JobLocks::lockFolder();
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_EQ(fs::status(folder).permissions() & (fs::perms::group_all | fs::perms::others_all), fs::perms::none);
}

}  // namespace
