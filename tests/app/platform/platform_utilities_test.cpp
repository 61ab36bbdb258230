#include "platform_utilities.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "program_directory.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

// A child process running a copy of sleep under a chosen file name, stopped
// and reaped when the test ends.
class NamedChild {
public:
    NamedChild(const TempDirectory& dir, const std::string& name) {
        const std::string exe = dir.file(name);
        fs::copy_file("/bin/sleep", exe);
        fs::permissions(exe, fs::perms::owner_all);
        pid_ = ::fork();
        if (pid_ == 0) {
            ::execl(exe.c_str(), name.c_str(), "30", static_cast<char*>(nullptr));
            ::_exit(127);
        }
        // Wait until the child runs the copied program, not the test binary.
        for (int i = 0; i < 200; ++i) {
            std::error_code ec;
            if (fs::read_symlink("/proc/" + std::to_string(pid_) + "/exe", ec).filename() == name) break;
            ::usleep(5000);
        }
    }
    ~NamedChild() {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    pid_t pid() const { return pid_; }
    int nice() const {
        errno = 0;
        return ::getpriority(PRIO_PROCESS, static_cast<id_t>(pid_));
    }

private:
    pid_t pid_ = -1;
};

TEST(DeleteFile, DeletesAReadOnlyFile) {
    TempDirectory dir("ro");
    const std::string path = dir.file("locked.txt");
    writeFile(path, "content");
    fs::permissions(path, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    morvane::deleteFile(path);
    EXPECT_FALSE(fs::exists(path));
}

TEST(DeleteFile, DeletesAHiddenFileToo) {
    TempDirectory dir("hidden");
    const std::string path = dir.file(".hidden");
    writeFile(path, "content");
    morvane::deleteFile(path);
    EXPECT_FALSE(fs::exists(path));
}

TEST(DeleteFile, MissingFileReportsNothing) {
    TempDirectory dir("missing");
    EXPECT_NO_THROW(morvane::deleteFile(dir.file("never-made.txt")));
    EXPECT_NO_THROW(morvane::deleteFile(dir.file("no/such/dir/file.txt")));
}

TEST(DeleteFile, LeavesANonEmptyDirectoryAlone) {
    TempDirectory dir("directory");
    const std::string sub = dir.file("sub");
    fs::create_directory(sub);
    writeFile(dir.file("sub/inner.txt"), "x");
    morvane::deleteFile(sub);
    EXPECT_TRUE(fs::exists(dir.file("sub/inner.txt")));
}

TEST(DeleteFile, NeverRemovesAFolder) {
    TempDirectory dir("folders");
    const std::string empty = dir.file("empty");
    fs::create_directory(empty);
    morvane::deleteFile(empty);
    EXPECT_TRUE(fs::is_directory(empty));
    const std::string full = dir.file("full");
    fs::create_directories(full + "/inner");
    writeFile(full + "/a.txt", "a");
    writeFile(full + "/inner/b.txt", "b");
    morvane::deleteFile(full);
    EXPECT_EQ(morvane::testing::readFile(full + "/a.txt"), "a");
    EXPECT_EQ(morvane::testing::readFile(full + "/inner/b.txt"), "b");
}

TEST(DeleteFile, LeavesAReadOnlyFolderReadOnly) {
    TempDirectory dir("ro-folder");
    const std::string folder = dir.file("locked");
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    morvane::deleteFile(folder);
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_EQ(fs::status(folder).permissions() & fs::perms::owner_write, fs::perms::none);
    fs::permissions(folder, fs::perms::owner_write, fs::perm_options::add);  // so the test's folder can go
}

TEST(WindowsDirectory, IsEmptyWhereThereIsNone) { EXPECT_EQ(morvane::getWindowsDirectory(), ""); }

TEST(ProcessPriority, LevelTwoAndUnknownLevelsSelectNothing) {
    TempDirectory dir("levels");
    NamedChild child(dir, "mvlevelcheck");
    const int before = child.nice();
    EXPECT_FALSE(morvane::setProcessPriority(child.pid(), 2));
    EXPECT_FALSE(morvane::setProcessPriority(child.pid(), 6));
    EXPECT_FALSE(morvane::setProcessPriority(child.pid(), -1));
    EXPECT_EQ(child.nice(), before);
}

TEST(ProcessPriority, IdleAndBelowNormalLowerTheProcess) {
    TempDirectory dir("lower");
    NamedChild child(dir, "mvlowercheck");
    EXPECT_TRUE(morvane::setProcessPriority(child.pid(), 1));
    EXPECT_EQ(child.nice(), 10);
    EXPECT_TRUE(morvane::setProcessPriority(child.pid(), 0));
    EXPECT_EQ(child.nice(), 19);
}

TEST(ProcessPriority, HighIsAppliedWhenAllowedAndOtherwiseFailsQuietly) {
    TempDirectory dir("raise");
    NamedChild child(dir, "mvraisecheck");
    const int before = child.nice();
    if (morvane::setProcessPriority(child.pid(), 4)) {
        EXPECT_EQ(child.nice(), -10);
    } else {
        EXPECT_EQ(child.nice(), before);  // an unprivileged raise changes nothing
    }
}

TEST(ProcessPriority, NoSuchProcessIsFalse) {
    // Process ids wrap far below this value on Linux.
    EXPECT_FALSE(morvane::setProcessPriority(0x7FFFFFF0, 1));
}

TEST(PriorityByName, ChangesEveryProcessOfThatName) {
    TempDirectory dir("by-name");
    NamedChild first(dir, "mvprioritytest");
    TempDirectory other("by-name-2");
    NamedChild second(other, "mvprioritytest");
    EXPECT_TRUE(morvane::setPriorityByName("mvprioritytest", 1));
    EXPECT_EQ(first.nice(), 10);
    EXPECT_EQ(second.nice(), 10);
}

TEST(PriorityByName, OnlyTheProcessSideIsLowerCased) {
    TempDirectory dir("case");
    NamedChild child(dir, "MvMixedCase");
    EXPECT_FALSE(morvane::setPriorityByName("MvMixedCase", 1));
    EXPECT_EQ(child.nice(), 0);
    EXPECT_TRUE(morvane::setPriorityByName("mvmixedcase", 1));
    EXPECT_EQ(child.nice(), 10);
}

TEST(PriorityByName, NoMatchIsFalse) { EXPECT_FALSE(morvane::setPriorityByName("no-process-has-this-name", 1)); }

TEST(ProgramDirectory, ExecutableDirectoryHoldsTheTestProgram) {
    const fs::path exe = fs::read_symlink("/proc/self/exe");
    EXPECT_EQ(morvane::executableDirectory(), exe.parent_path().string());
}

TEST(ProgramDirectory, WritableExecutableDirectoryIsTheProgramDirectory) {
    ASSERT_TRUE(morvane::isWritableDirectory(morvane::executableDirectory()));
    EXPECT_EQ(morvane::programDirectory(), morvane::executableDirectory());
}

TEST(ProgramDirectory, WritableTestKnowsAMissingDirectory) {
    TempDirectory dir("writable");
    EXPECT_TRUE(morvane::isWritableDirectory(dir.str()));
    EXPECT_FALSE(morvane::isWritableDirectory(dir.file("absent")));
}

}  // namespace
