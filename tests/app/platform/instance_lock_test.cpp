#include "instance_lock.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "temp_directory.h"

namespace {

using morvane::InstanceLock;
using morvane::testing::TempDirectory;

// Whether another process could take the lock now.
bool anotherProcessGetsIt(const std::string& path) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(InstanceLock::acquire(path) ? 0 : 1);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(InstanceLock, SecondInstanceFindsItTakenUntilTheFirstEnds) {
    TempDirectory dir("lock");
    const std::string path = dir.file("morvane.lock");
    {
        auto first = InstanceLock::acquire(path);
        ASSERT_TRUE(first);
        EXPECT_FALSE(anotherProcessGetsIt(path));
    }
    EXPECT_TRUE(anotherProcessGetsIt(path));
}

TEST(InstanceLock, ProcessThatDiesReleasesIt) {
    TempDirectory dir("lock-dies");
    const std::string path = dir.file("morvane.lock");
    const pid_t holder = ::fork();
    if (holder == 0) {
        auto lock = InstanceLock::acquire(path);
        ::_exit(lock ? 0 : 1);  // ends without releasing it by hand
    }
    int status = 0;
    ::waitpid(holder, &status, 0);
    ASSERT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(InstanceLock::acquire(path) != nullptr);
}

TEST(InstanceLock, UnusablePlaceStillLetsTheWindowOpen) {
    TempDirectory dir("lock-bad");
    const std::string path = dir.file("no/such/dir/morvane.lock");
    EXPECT_NE(InstanceLock::acquire(path), nullptr);
    auto first = InstanceLock::acquire(path);
    EXPECT_NE(first, nullptr);
    EXPECT_TRUE(anotherProcessGetsIt(path));
}

}  // namespace
