// No job ever loses a file. The real program, copied into a program directory
// of its own, runs as a child process the way a batch file runs it, and meets
// full disks, kill -9 at any moment, a second job to the same archive, odd
// file names, damaged archives and links in the folder it extracts to.
// Afterwards every file of the user is still there, unchanged, or comes back
// whole out of an archive; nothing the program writes is ever found half
// written; leftovers of a killed job are gone after the next run.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "clsBlowfish.h"
#include "container.h"
#include "noise.h"
#include "program_launch.h"
#include "small_disk.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::testing::builtProgram;
using morvane::testing::linesOf;
using morvane::testing::readFile;
using morvane::testing::writeFile;
using Clock = std::chrono::steady_clock;
using morvane::testing::SmallDisk;

const std::string kPassword = "Secret9";
const std::string kArchivedLine = "*** Archived morvane.err to morvane.err.old ***";

// A directory of its own for one test, named without any "-".
struct BaseDirectory : morvane::testing::DashFreeDirectory {
    BaseDirectory() : DashFreeDirectory("mvnl") {}
};

bool startsWith(const std::string& text, const std::string& start) { return text.rfind(start, 0) == 0; }

bool endsWith(const std::string& text, const std::string& ending) {
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// Bytes that do not compress.
std::string noise(std::size_t size, std::uint32_t seed) {
    return morvane::testing::noise(size, seed * 2654435761u + 1);
}

// Text that compresses, as most documents do.
std::string words(std::size_t size, std::uint32_t seed) {
    static const char* const kWords[] = {"alpha ", "beta ", "gamma\n", "delta ", "the ", "files ", "kept\n", "and "};
    std::mt19937 random(seed);
    std::string text;
    while (text.size() < size) text += kWords[random() % 8];
    text.resize(size);
    return text;
}

// The name of a file the program writes for a while only: its short
// temporary files, and the temporary zips of combined and decrypt jobs.
bool isTemporaryName(const std::string& name) {
    return (startsWith(name, ".~mv") && endsWith(name, ".tmp")) || contains(name, "~enc~") || contains(name, "~dec~");
}

// Every temporary file anywhere below `root`.
std::vector<std::string> leftoversUnder(const std::string& root) {
    std::vector<std::string> found;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(root, fs::directory_options::skip_permission_denied, ec), end;
         !ec && it != end; it.increment(ec))
        if (isTemporaryName(it->path().filename().string())) found.push_back(it->path().string());
    return found;
}

std::string listed(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text.empty() ? "(none)" : text;
}

// What a folder holds: each file's path below it with its bytes; folders and
// links marked as such. Temporary files are left out when `withTemporary` is
// false.
using Tree = std::map<std::string, std::string>;
const std::string kFolderMark = std::string("\x01") + "folder";
const std::string kLinkMark = std::string("\x01") + "link to ";

Tree treeOf(const std::string& root, bool withTemporary = true) {
    Tree tree;
    std::error_code ec;
    if (!fs::is_directory(fs::symlink_status(root, ec))) return tree;
    for (fs::recursive_directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (!withTemporary && isTemporaryName(name)) continue;
        const std::string relative = fs::relative(it->path(), root, ec).string();
        const fs::file_status status = it->symlink_status(ec);
        if (fs::is_symlink(status))
            tree[relative] = kLinkMark + fs::read_symlink(it->path(), ec).string();
        else if (fs::is_directory(status))
            tree[relative] = kFolderMark;
        else
            tree[relative] = readFile(it->path().string());
    }
    return tree;
}

std::string described(const Tree& tree) {
    std::string text;
    for (const auto& [name, content] : tree) {
        text += (text.empty() ? "" : ", ") + name;
        if (startsWith(content, "\x01"))
            text += " (" + content.substr(1) + ")";
        else
            text += " (" + std::to_string(content.size()) + " bytes)";
    }
    return text.empty() ? "(nothing)" : text;
}

// Compares bytes without printing megabytes when they differ.
::testing::AssertionResult sameBytes(const std::string& actual, const std::string& expected) {
    if (actual == expected) return ::testing::AssertionSuccess();
    std::size_t at = 0;
    while (at < actual.size() && at < expected.size() && actual[at] == expected[at]) ++at;
    return ::testing::AssertionFailure() << actual.size() << " bytes where " << expected.size()
                                         << " were expected, first difference at byte " << at;
}

::testing::AssertionResult sameTree(const Tree& actual, const Tree& expected) {
    if (actual == expected) return ::testing::AssertionSuccess();
    auto failure = ::testing::AssertionFailure();
    failure << "holds " << described(actual) << "; expected " << described(expected);
    for (const auto& [name, content] : expected) {
        const auto found = actual.find(name);
        if (found != actual.end() && found->second != content)
            failure << "; " << name << ": " << sameBytes(found->second, content).message();
    }
    return failure;
}

std::string joined(const std::vector<std::string>& args) {
    std::string line;
    for (const std::string& arg : args) line += (line.empty() ? "" : " ") + arg;
    return line;
}

int modeOf(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return -1;
    return static_cast<int>(info.st_mode & 07777);
}

std::string octal(int mode) {
    char text[16];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode));
    return text;
}

// Changes inside folders as they happen, to kill a job at a moment of its own.
class FolderWatch {
public:
    FolderWatch() : descriptor_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}
    ~FolderWatch() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    int add(const std::string& folder, std::uint32_t mask) {
        return ::inotify_add_watch(descriptor_, folder.c_str(), mask);
    }
    // Hands each pending change (watch, kind, name) to `seen`.
    template <class Seen>
    void drain(Seen seen) {
        alignas(inotify_event) char buffer[16384];
        for (;;) {
            const ssize_t length = ::read(descriptor_, buffer, sizeof buffer);
            if (length <= 0) return;
            for (ssize_t at = 0; at < length;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
                seen(event->wd, event->mask, std::string(event->len > 0 ? event->name : ""));
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
    }

private:
    int descriptor_;
};

// When a killed run is stopped: after a time, or at the n-th change of a
// kind in a folder to a name that begins with `namePart`.
struct KillPoint {
    std::string label;
    std::chrono::microseconds after{-1};
    std::string folder;
    std::uint32_t change = 0;
    std::string namePart;
    int occurrence = 0;
};

KillPoint killAfter(std::chrono::microseconds after) {
    return {"after " + std::to_string(after.count() / 1000) + " ms", after, {}, 0, {}, 0};
}

KillPoint killAt(const std::string& label, const std::string& folder, std::uint32_t change, const std::string& namePart,
                 int occurrence) {
    return {label, std::chrono::microseconds(-1), folder, change, namePart, occurrence};
}

struct Outcome {
    bool exited = false;
    int status = -1;
    bool killed = false;
    std::string err;
    std::chrono::microseconds took{0};
};

// One started program.
struct Child {
    pid_t pid = -1;
    std::string errFile;
    std::vector<std::string> args;
    Clock::time_point started;
    bool reaped = false;
    int waitStatus = 0;
    Clock::time_point ended;
};

class NothingLostTest : public ::testing::Test {
protected:
    BaseDirectory base;
    const std::string dir = base.str();
    std::string programDir = dir + "/prog";
    std::string program = programDir + "/morvane";
    const std::string configHome = dir + "/config";
    const std::string dataHome = dir + "/data";
    const std::string home = dir + "/home";
    const std::string work = dir + "/work";
    const std::string settingsFile = configHome + "/morvane/registry";
    int children = 0;
    int checks = 0;

    void SetUp() override {
        const fs::path built = builtProgram();
        ASSERT_TRUE(fs::is_regular_file(built))
            << "the program " << built << " was not found beside the test programs; build the target morvane";
        for (const std::string& d : {programDir, configHome, dataHome, home, work}) fs::create_directories(d);
        installProgram(programDir);
        // The agreement as an earlier start left it accepted.
        writeFile(settingsFile, "software\\\\Morvane\tAgreement\taccepted\n");
    }

    // The program copied into `folder`, which becomes its program directory
    // (where its log is written).
    void installProgram(const std::string& folder) {
        programDir = folder;
        program = folder + "/morvane";
        fs::create_directories(folder);
        fs::copy_file(builtProgram(), program, fs::copy_options::overwrite_existing);
        fs::permissions(program, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec);
    }

    std::string logPath() const { return programDir + "/morvane.log"; }
    std::string oldLogPath() const { return programDir + "/morvane.err.old"; }
    std::size_t logLines() const { return linesOf(logPath()).size(); }

    // How many lines of the log end with " " + message.
    int logged(const std::string& message) const {
        const auto lines = linesOf(logPath());
        return static_cast<int>(std::count_if(lines.begin(), lines.end(),
                                              [&](const std::string& l) { return endsWith(l, " " + message); }));
    }

    Child start(const std::vector<std::string>& args) {
        Child child;
        child.args = args;
        child.errFile = dir + "/stderr" + std::to_string(++children) + ".txt";
        child.started = Clock::now();
        child.pid = morvane::testing::startProgram(program, args,
                                                   morvane::testing::programEnvironment(configHome, dataHome, home),
                                                   work, dir + "/stdout.txt", child.errFile);
        if (child.pid < 0) ADD_FAILURE() << "fork failed";
        return child;
    }

    // Whether the child still runs (its end is noted when it has ended).
    static bool running(Child& child) {
        if (child.reaped || child.pid < 0) return false;
        if (::waitpid(child.pid, &child.waitStatus, WNOHANG) == child.pid) {
            child.reaped = true;
            child.ended = Clock::now();
            return false;
        }
        return true;
    }

    Outcome finish(Child& child) {
        Outcome outcome;
        if (child.pid < 0) return outcome;
        const auto deadline = child.started + std::chrono::seconds(90);
        while (running(child)) {
            if (Clock::now() > deadline) {
                ::kill(child.pid, SIGKILL);
                ::waitpid(child.pid, &child.waitStatus, 0);
                child.reaped = true;
                child.ended = Clock::now();
                ADD_FAILURE() << "the program did not end within 90 s: " << joined(child.args);
                break;
            }
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
        outcome.exited = WIFEXITED(child.waitStatus);
        outcome.status = outcome.exited ? WEXITSTATUS(child.waitStatus) : -1;
        outcome.killed = WIFSIGNALED(child.waitStatus) && WTERMSIG(child.waitStatus) == SIGKILL;
        outcome.err = readFile(child.errFile);
        outcome.took = std::chrono::duration_cast<std::chrono::microseconds>(child.ended - child.started);
        return outcome;
    }

    Outcome run(const std::vector<std::string>& args) {
        Child child = start(args);
        return finish(child);
    }

    // Runs the program and kills it (SIGKILL) at `point`; when the job ends
    // first it is not killed. `seen` counts the changes of the point's kind
    // (for a point whose occurrence is 0: a run never killed, only counted).
    Outcome runKilledAt(const std::vector<std::string>& args, const KillPoint& point, int* seen = nullptr) {
        FolderWatch watch;
        const int watched = point.change != 0 ? watch.add(point.folder, point.change) : -1;
        if (point.change != 0 && watched < 0) ADD_FAILURE() << "cannot watch " << point.folder;
        Child child = start(args);
        int count = 0;
        bool sent = false;
        while (!sent && running(child)) {
            if (point.change == 0) {
                const auto due = child.started + point.after;
                if (Clock::now() >= due) {
                    ::kill(child.pid, SIGKILL);
                    sent = true;
                } else {
                    std::this_thread::sleep_for(
                        std::min<Clock::duration>(due - Clock::now(), std::chrono::microseconds(200)));
                }
            } else {
                // Reads the changes as they come, without sleeping: some
                // moments (between two deletions) last a few microseconds.
                watch.drain([&](int wd, std::uint32_t mask, const std::string& name) {
                    if (sent || wd != watched || (mask & point.change) == 0 || !startsWith(name, point.namePart))
                        return;
                    ++count;
                    if (point.occurrence > 0 && count == point.occurrence) {
                        ::kill(child.pid, SIGKILL);
                        sent = true;
                    }
                });
            }
            if (Clock::now() > child.started + std::chrono::seconds(90)) break;
        }
        if (point.change != 0 && !sent)
            watch.drain([&](int wd, std::uint32_t mask, const std::string& name) {
                if (wd == watched && (mask & point.change) != 0 && startsWith(name, point.namePart)) ++count;
            });
        if (seen != nullptr) *seen = count;
        return finish(child);
    }

    // What the archive gives back when the program opens it into a fresh
    // folder; nothing when it cannot be opened.
    std::optional<Tree> contentsOfArchive(const std::string& archive) {
        const std::string check = dir + "/check" + std::to_string(++checks);
        const Outcome opened = run({"-d", "-p" + kPassword, "-s" + archive, "-d" + check});
        std::optional<Tree> tree;
        if (opened.exited && opened.status == 0) tree = treeOf(check);
        std::error_code ec;
        fs::remove_all(check, ec);
        return tree;
    }

    // Writes the files of `tree` into `folder`.
    static void writeTree(const std::string& folder, const Tree& tree) {
        for (const auto& [name, content] : tree) writeFile(folder + "/" + name, content);
    }

    // The arguments of a combined encryption of every file of `sources` in
    // `folder` into `archive`.
    static std::vector<std::string> encryptArgs(const std::string& folder, const Tree& sources,
                                                const std::string& archive, const std::string& options) {
        std::vector<std::string> args = {"-e", "-p" + kPassword};
        std::size_t i = 0;
        for (const auto& entry : sources) {
            const std::string path = folder + "/" + entry.first;
            const std::string item = (i == 0 ? "-s" : "") + path + (i + 1 < sources.size() ? "," : "");
            args.push_back(item);
            ++i;
        }
        args.push_back("-d" + archive);
        if (!options.empty()) args.push_back("-o" + options);
        return args;
    }

    // An archive of `sources` made by the program; its bytes.
    std::string archiveOf(const Tree& sources, const std::string& name) {
        const std::string folder = dir + "/made" + std::to_string(++checks);
        writeTree(folder + "/src", sources);
        const std::string archive = folder + "/" + name;
        const Outcome made = run(encryptArgs(folder + "/src", sources, archive, ""));
        EXPECT_EQ(made.status, 0) << made.err;
        const std::string bytes = readFile(archive);
        std::error_code ec;
        fs::remove_all(folder, ec);
        return bytes;
    }

    // After a combined encryption of `originals` from `folder` into
    // `archive`: every original is there unchanged or comes back whole out
    // of the archive, and the archive, when there is one, is complete: the
    // new one, or the one that was there before (`before`).
    void expectNothingLost(const std::string& folder, const Tree& originals, const std::string& archive,
                           const std::optional<Tree>& before, bool* archiveIsNew = nullptr) {
        std::optional<Tree> held;
        if (fs::exists(archive)) {
            held = contentsOfArchive(archive);
            EXPECT_TRUE(held.has_value()) << archive << " is there but cannot be opened: it is not complete";
            if (held) {
                EXPECT_TRUE(*held == originals || (before && *held == *before))
                    << archive << " is neither the new archive nor the one before it: it holds " << described(*held);
            }
        }
        if (archiveIsNew != nullptr) *archiveIsNew = held && *held == originals;
        for (const auto& [name, content] : originals) {
            const std::string path = folder + "/" + name;
            if (fs::exists(path)) {
                EXPECT_TRUE(sameBytes(readFile(path), content)) << path << " was changed";
            } else {
                const bool restored = held && held->count(name) == 1 && (*held)[name] == content;
                EXPECT_TRUE(restored) << path << " is LOST: it was deleted and "
                                      << (held ? archive + " holds " + described(*held)
                                               : archive + " is missing or cannot be opened");
            }
        }
        std::error_code ec;
        for (const auto& entry : fs::directory_iterator(folder, ec)) {
            const std::string name = entry.path().filename().string();
            EXPECT_TRUE(originals.count(name) == 1 || isTemporaryName(name))
                << entry.path() << " appeared among the sources";
        }
    }

    // Whether every file of `originals` is in `folder`.
    static bool allThere(const std::string& folder, const Tree& originals) {
        return std::all_of(originals.begin(), originals.end(),
                           [&](const auto& entry) { return fs::exists(folder + "/" + entry.first); });
    }
};

// --- Full disk -----------------------------------------------------------------

class NothingLostFullDisk : public NothingLostTest {
protected:
    SmallDisk disk;

    bool mountDisk(const std::string& size = "4m") { return disk.mount(dir + "/disk", size); }

    void encryptOnAFullDisk(bool removeSources, bool archiveBefore) {
        if (!mountDisk()) GTEST_FAIL() << "needs root to mount a small tmpfs: " << disk.error();
        const std::string src = disk.path() + "/src";
        const std::string arch = disk.path() + "/arch";
        const std::string archive = arch + "/all.enz";
        const Tree originals = {{"a.bin", noise(60000, 1)}, {"b.bin", noise(40000, 2)}, {"c.txt", words(3000, 3)}};
        const Tree older = {{"a.bin", words(9000, 4)}, {"b.bin", noise(5000, 5)}, {"c.txt", "older"}};
        const std::string olderArchive = archiveBefore ? archiveOf(older, "all.enz") : std::string();
        const std::optional<Tree> before = archiveBefore ? std::optional<Tree>(older) : std::nullopt;
        const auto args = encryptArgs(src, originals, archive, removeSources ? "d" : "");

        // The job holds a temporary zip and the archive at once: about twice
        // the sources. The steps go beyond that.
        std::uint64_t data = 0;
        for (const auto& entry : originals) data += entry.second.size();
        const std::uint64_t top = 3 * data + 64 * 1024;
        const int steps = 25;
        int failed = 0, succeeded = 0;
        for (int step = 0; step < steps; ++step) {
            const std::uint64_t leave = top * static_cast<std::uint64_t>(step) / (steps - 1) / 4096 * 4096;
            disk.clear();
            writeTree(src, originals);
            fs::create_directories(arch);
            if (archiveBefore) writeFile(archive, olderArchive);
            const std::uint64_t free = disk.fillLeaving(leave);
            SCOPED_TRACE("free space " + std::to_string(free) + " bytes (step " + std::to_string(step) + ")");
            const std::size_t linesBefore = logLines();
            const Outcome outcome = run(args);
            disk.removeFiller();
            ASSERT_TRUE(outcome.exited) << joined(args);
            (outcome.status == 0 ? succeeded : failed)++;

            bool archiveIsNew = false;
            expectNothingLost(src, originals, archive, before, &archiveIsNew);
            if (outcome.status != 0) {
                EXPECT_EQ(outcome.status, 1);
                EXPECT_TRUE(!outcome.err.empty() || logLines() > linesBefore) << "the job failed without saying so";
                for (const auto& entry : originals)
                    EXPECT_TRUE(fs::exists(src + "/" + entry.first))
                        << entry.first << " was deleted by a job that failed";
            } else {
                EXPECT_TRUE(archiveIsNew) << "the job succeeded but " << archive << " does not hold its files";
                for (const auto& entry : originals)
                    EXPECT_EQ(fs::exists(src + "/" + entry.first), !removeSources) << entry.first;
            }

            // With room again, the same command does the job and leaves nothing behind.
            if (allThere(src, originals)) {
                const Outcome again = run(args);
                EXPECT_EQ(again.status, 0) << "the same command on a disk with room: " << again.err;
                expectNothingLost(src, originals, archive, before, &archiveIsNew);
                EXPECT_TRUE(archiveIsNew);
            }
            EXPECT_EQ(leftoversUnder(disk.path()), std::vector<std::string>{})
                << "temporary files left: " << listed(leftoversUnder(disk.path()));
            if (::testing::Test::HasFatalFailure()) return;
        }
        EXPECT_GT(failed, 0) << "the disk never ran out: the steps do not test a full disk";
        EXPECT_GT(succeeded, 0) << "the job never had room enough: the steps do not reach a disk with room";
    }

    void decryptOnAFullDisk(bool removeArchive) {
        if (!mountDisk()) GTEST_FAIL() << "needs root to mount a small tmpfs: " << disk.error();
        const std::string arch = disk.path() + "/arch";
        const std::string archive = arch + "/all.enz";
        const std::string out = disk.path() + "/out";
        const Tree members = {{"a.bin", noise(60000, 11)}, {"b.bin", noise(40000, 12)}, {"c.txt", words(3000, 13)}};
        const Tree existing = {{"a.bin", "the user's own a.bin"}, {"keep.txt", "a file of the user"}};
        const std::string archiveBytes = archiveOf(members, "all.enz");
        std::vector<std::string> args = {"-d", "-p" + kPassword, "-s" + archive, "-d" + out};
        if (removeArchive) args.push_back("-od");
        Tree written = existing;  // the folder once every member is written
        for (const auto& entry : members) written[entry.first] = entry.second;

        std::uint64_t data = 0;
        for (const auto& entry : members) data += entry.second.size();
        const std::uint64_t top = 3 * data + 64 * 1024;
        const int steps = 25;
        int failed = 0, succeeded = 0;
        for (int step = 0; step < steps; ++step) {
            const std::uint64_t leave = top * static_cast<std::uint64_t>(step) / (steps - 1) / 4096 * 4096;
            disk.clear();
            writeFile(archive, archiveBytes);
            writeTree(out, existing);
            const std::uint64_t free = disk.fillLeaving(leave);
            SCOPED_TRACE("free space " + std::to_string(free) + " bytes (step " + std::to_string(step) + ")");
            const Outcome outcome = run(args);
            disk.removeFiller();
            ASSERT_TRUE(outcome.exited) << joined(args);
            (outcome.status == 0 ? succeeded : failed)++;

            const Tree now = treeOf(out, false);
            if (outcome.status != 0) {
                EXPECT_EQ(outcome.status, 1);
                // All or nothing: a failed extraction changed nothing.
                EXPECT_TRUE(sameTree(now, existing)) << "after a failed extraction " << out;
                EXPECT_TRUE(sameBytes(readFile(archive), archiveBytes)) << archive << " after a failed job";
            } else {
                EXPECT_TRUE(sameTree(now, written)) << out;
                EXPECT_EQ(fs::exists(archive), !removeArchive) << archive;
            }
            for (const auto& [name, content] : existing) {
                const auto found = now.find(name);
                EXPECT_TRUE(found != now.end() && (found->second == content ||
                                                   (members.count(name) == 1 && found->second == members.at(name))))
                    << out << "/" << name << " is neither the user's file nor the archive's";
            }
            if (fs::exists(archive))
                EXPECT_TRUE(sameBytes(readFile(archive), archiveBytes)) << archive << " was changed";
            else
                EXPECT_TRUE(sameTree(now, written)) << archive << " is gone but not every member was written";

            if (fs::exists(archive)) {
                const Outcome again = run(args);
                EXPECT_EQ(again.status, 0) << "the same command on a disk with room: " << again.err;
                EXPECT_TRUE(sameTree(treeOf(out), written)) << out << " after the same command with room";
                EXPECT_EQ(fs::exists(archive), !removeArchive);
            }
            EXPECT_EQ(leftoversUnder(disk.path()), std::vector<std::string>{})
                << "temporary files left: " << listed(leftoversUnder(disk.path()));
            if (::testing::Test::HasFatalFailure()) return;
        }
        EXPECT_GT(failed, 0) << "the disk never ran out: the steps do not test a full disk";
        EXPECT_GT(succeeded, 0) << "the job never had room enough: the steps do not reach a disk with room";
    }
};

TEST_F(NothingLostFullDisk, CombinedEncryptionKeepsEverySource) { encryptOnAFullDisk(false, false); }

TEST_F(NothingLostFullDisk, CombinedEncryptionWithDeleteRemovesSourcesOnlyOnceTheArchiveIsComplete) {
    encryptOnAFullDisk(true, false);
}

TEST_F(NothingLostFullDisk, ReencryptionKeepsTheOldArchiveUntilTheNewOneIsComplete) { encryptOnAFullDisk(true, true); }

TEST_F(NothingLostFullDisk, DecryptionChangesNothingUnlessItWritesEverything) { decryptOnAFullDisk(false); }

TEST_F(NothingLostFullDisk, DecryptionWithDeleteKeepsTheArchiveUnlessEverythingWasWritten) { decryptOnAFullDisk(true); }

// A batch file's decryption that runs out of space tells why, whichever
// part of the job found the disk full.
TEST_F(NothingLostFullDisk, DecryptionThatRunsOutOfSpaceSaysSo) {
    if (!mountDisk()) GTEST_FAIL() << "needs root to mount a small tmpfs: " << disk.error();
    const Tree members = {{"a.bin", noise(60000, 31)}, {"b.bin", noise(40000, 32)}};
    const std::string bytes = archiveOf(members, "all.enz");
    const std::string archive = disk.path() + "/arch/all.enz";
    const std::string out = disk.path() + "/out";
    // No room at all; room for half the deciphered archive; room for it but
    // not for the files it holds.
    for (const std::uint64_t leave :
         {std::uint64_t{0}, bytes.size() / 2 / 4096 * 4096, (bytes.size() + 3 * 4096) / 4096 * 4096}) {
        for (const bool removeArchive : {false, true}) {
            disk.clear();
            writeFile(archive, bytes);
            const std::uint64_t free = disk.fillLeaving(leave);
            SCOPED_TRACE("free space " + std::to_string(free) + " bytes" + (removeArchive ? ", with -od" : ""));
            std::vector<std::string> args = {"-d", "-p" + kPassword, "-s" + archive, "-d" + out};
            if (removeArchive) args.push_back("-od");
            const std::size_t linesBefore = logLines();
            const Outcome outcome = run(args);
            disk.removeFiller();
            ASSERT_TRUE(outcome.exited);
            EXPECT_EQ(outcome.status, 1);
            EXPECT_TRUE(!outcome.err.empty() || logLines() > linesBefore)
                << "the job failed without a word on standard error or in the log";
            EXPECT_TRUE(sameBytes(readFile(archive), bytes)) << archive;
        }
    }
}

// --- kill -9 ---------------------------------------------------------------------

class NothingLostKill : public NothingLostTest {
protected:
    const std::string area = dir + "/k";
    const std::string src = area + "/src";
    const std::string arch = area + "/arch";
    const std::string archive = arch + "/all.enz";
    const std::string out = area + "/out";

    static Tree bigFiles() {
        Tree files;
        for (int i = 1; i <= 4; ++i) files["f" + std::to_string(i) + ".bin"] = noise(3000000, 100 + i);
        return files;
    }
    void clearArea() const {
        std::error_code ec;
        fs::remove_all(area, ec);
        fs::create_directories(src);
        fs::create_directories(arch);
    }
    // Kill times spread over a run that takes `whole`.
    static std::vector<KillPoint> spreadOver(std::chrono::microseconds whole, int count) {
        std::vector<KillPoint> points;
        for (int i = 1; i <= count; ++i) points.push_back(killAfter(whole * i / (count + 1)));
        return points;
    }
};

TEST_F(NothingLostKill, CombinedEncryptionWithDeleteKilledAtAnyMoment) {
    const Tree originals = bigFiles();
    const Tree older = {
        {"f1.bin", "older one"}, {"f2.bin", noise(7000, 9)}, {"f3.bin", "older three"}, {"f4.bin", words(5000, 9)}};
    const std::string olderArchive = archiveOf(older, "all.enz");
    const auto args = encryptArgs(src, originals, archive, "d");

    // One run to the end: how long the job takes, and how often its
    // temporary files are written to.
    clearArea();
    writeTree(src, originals);
    int writes = 0;
    const Outcome whole = runKilledAt(args, killAt("count", arch, IN_MODIFY, ".~mv", 0), &writes);
    ASSERT_EQ(whole.status, 0) << whole.err;
    expectNothingLost(src, originals, archive, std::nullopt);

    std::vector<KillPoint> points = spreadOver(whole.took * 11 / 10, 14);
    points.push_back(killAt("temporary file made", arch, IN_CREATE, ".~mv", 1));
    for (int part = 1; part <= 3 && writes >= 8; ++part)
        points.push_back(
            killAt("while writing (" + std::to_string(part) + "/4)", arch, IN_MODIFY, ".~mv", writes * part / 4));
    points.push_back(killAt("temporary zip complete", arch, IN_MOVED_TO, "~enc~", 1));
    points.push_back(killAt("second temporary file made", arch, IN_CREATE, ".~mv", 2));
    points.push_back(killAt("archive in place", arch, IN_MOVED_TO, "all.enz", 1));
    points.push_back(killAt("temporary zip deleted", arch, IN_DELETE, "~enc~", 1));
    points.push_back(killAt("first source deleted", src, IN_DELETE, "", 1));
    points.push_back(killAt("second source deleted", src, IN_DELETE, "", 2));
    points.push_back(killAt("third source deleted", src, IN_DELETE, "", 3));

    int killed = 0, betweenDeletions = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        // Every other run re-encrypts over an archive that is already there.
        const bool archiveBefore = i % 2 == 1;
        SCOPED_TRACE("killed " + points[i].label + (archiveBefore ? ", over an older archive" : ""));
        clearArea();
        writeTree(src, originals);
        if (archiveBefore) writeFile(archive, olderArchive);
        const std::optional<Tree> before = archiveBefore ? std::optional<Tree>(older) : std::nullopt;
        const Outcome outcome = runKilledAt(args, points[i]);
        if (outcome.killed) ++killed;
        const auto left = std::count_if(originals.begin(), originals.end(),
                                        [&](const auto& entry) { return fs::exists(src + "/" + entry.first); });
        if (left > 0 && left < static_cast<long>(originals.size())) ++betweenDeletions;
        {
            SCOPED_TRACE("just after the kill");
            expectNothingLost(src, originals, archive, before);
        }

        // The batch file runs again.
        SCOPED_TRACE("after the same command ran again");
        const bool sourcesThere = allThere(src, originals);
        const Outcome again = run(args);
        if (sourcesThere) {
            EXPECT_EQ(again.status, 0) << again.err;
        }
        expectNothingLost(src, originals, archive, before);
        EXPECT_EQ(leftoversUnder(area), std::vector<std::string>{})
            << "temporary files left after the next run: " << listed(leftoversUnder(area));
    }
    std::printf(
        "[          ] %d of %zu runs killed before they ended, %d of them between two deletions (a whole "
        "run took %lld ms)\n",
        killed, points.size(), betweenDeletions, static_cast<long long>(whole.took.count() / 1000));
    EXPECT_GE(killed, 15) << "too few runs were killed before they ended";
}

TEST_F(NothingLostKill, DecryptionWithDeleteKilledAtAnyMoment) {
    const Tree members = bigFiles();
    const Tree existing = {{"f1.bin", "the user's own f1.bin"}, {"keep.txt", "a file of the user"}};
    Tree written = existing;
    for (const auto& entry : members) written[entry.first] = entry.second;
    const std::string archiveBytes = archiveOf(members, "all.enz");
    const std::vector<std::string> args = {"-d", "-p" + kPassword, "-s" + archive, "-d" + out, "-od"};
    const auto prepare = [&] {
        clearArea();
        writeFile(archive, archiveBytes);
        writeTree(out, existing);
    };

    prepare();
    int writes = 0;
    const Outcome whole = runKilledAt(args, killAt("count", out, IN_MODIFY, ".~mv", 0), &writes);
    ASSERT_EQ(whole.status, 0) << whole.err;
    ASSERT_TRUE(sameTree(treeOf(out), written));

    std::vector<KillPoint> points = spreadOver(whole.took * 11 / 10, 12);
    points.push_back(killAt("temporary zip begun", area, IN_CREATE, ".~mv", 1));
    points.push_back(killAt("temporary zip complete", area, IN_MOVED_TO, "out~dec~", 1));
    points.push_back(killAt("first member begun", out, IN_CREATE, ".~mv", 1));
    points.push_back(killAt("third member begun", out, IN_CREATE, ".~mv", 3));
    for (int part = 1; part <= 3 && writes >= 8; ++part)
        points.push_back(killAt("while writing members (" + std::to_string(part) + "/4)", out, IN_MODIFY, ".~mv",
                                writes * part / 4));
    points.push_back(killAt("first member in place", out, IN_MOVED_TO, "", 1));
    points.push_back(killAt("second member in place", out, IN_MOVED_TO, "", 2));
    points.push_back(killAt("temporary zip deleted", area, IN_DELETE, "out~dec~", 1));
    points.push_back(killAt("archive deleted", arch, IN_DELETE, "all.enz", 1));

    int killed = 0;
    for (const KillPoint& point : points) {
        SCOPED_TRACE("killed " + point.label);
        prepare();
        const Outcome outcome = runKilledAt(args, point);
        if (outcome.killed) ++killed;

        SCOPED_TRACE("just after the kill");
        const Tree now = treeOf(out, false);
        for (const auto& [name, content] : now) {
            const bool old = existing.count(name) == 1 && existing.at(name) == content;
            const bool whole = members.count(name) == 1 && members.at(name) == content;
            EXPECT_TRUE(old || whole) << out << "/" << name << " is neither the user's file nor the archive's ("
                                      << content.size() << " bytes)";
        }
        for (const auto& entry : existing) EXPECT_EQ(now.count(entry.first), 1u) << entry.first << " is gone";
        if (fs::exists(archive))
            EXPECT_TRUE(sameBytes(readFile(archive), archiveBytes)) << archive << " was changed";
        else
            EXPECT_TRUE(sameTree(now, written)) << archive << " is gone but not every member was written";

        if (fs::exists(archive)) {
            const Outcome again = run(args);
            EXPECT_EQ(again.status, 0) << again.err;
            EXPECT_FALSE(fs::exists(archive));
        }
        EXPECT_TRUE(sameTree(treeOf(out), written)) << out << " after the next run";
        EXPECT_EQ(leftoversUnder(area), std::vector<std::string>{})
            << "temporary files left after the next run: " << listed(leftoversUnder(area));
    }
    std::printf("[          ] %d of %zu runs killed before they ended (a whole run took %lld ms)\n", killed,
                points.size(), static_cast<long long>(whole.took.count() / 1000));
    EXPECT_GE(killed, 15) << "too few runs were killed before they ended";
}

// --- Two jobs at once ------------------------------------------------------------

class NothingLostTwoJobs : public NothingLostTest {
protected:
    void sameArchive(std::chrono::milliseconds stagger, std::size_t bytesPerFile) {
        const std::string srcA = dir + "/one", srcB = dir + "/two";
        const std::string archive = dir + "/arch/all.enz";
        fs::create_directories(dir + "/arch");
        Tree filesA, filesB;
        for (int i = 1; i <= 4; ++i) filesA["a" + std::to_string(i) + ".bin"] = noise(bytesPerFile, 200 + i);
        filesB = {{"b1.bin", noise(100000, 301)}, {"b2.txt", words(20000, 302)}};
        writeTree(srcA, filesA);
        writeTree(srcB, filesB);
        const auto argsA = encryptArgs(srcA, filesA, archive, "d");
        const auto argsB = encryptArgs(srcB, filesB, archive, "d");

        Child first = start(argsA);
        if (stagger.count() > 0) std::this_thread::sleep_for(stagger);
        const bool firstStillRuns = running(first);
        Child second = start(argsB);
        const Outcome a = finish(first);
        const Outcome b = finish(second);
        ASSERT_TRUE(a.exited && b.exited);

        EXPECT_LE((a.status == 0) + (b.status == 0), 1) << "both jobs reported success";
        for (const Outcome* o : {&a, &b}) {
            if (o->status != 0) {
                EXPECT_FALSE(o->err.empty()) << "a job failed without saying why";
            }
        }

        std::optional<Tree> held;
        if (fs::exists(archive)) {
            held = contentsOfArchive(archive);
            ASSERT_TRUE(held.has_value()) << archive << " cannot be opened";
            EXPECT_TRUE(*held == filesA || *held == filesB)
                << archive << " holds neither job's files alone: " << described(*held);
        }
        for (const auto& [folder, files] : {std::pair{&srcA, &filesA}, std::pair{&srcB, &filesB}})
            for (const auto& [name, content] : *files) {
                const std::string path = *folder + "/" + name;
                if (fs::exists(path))
                    EXPECT_TRUE(sameBytes(readFile(path), content)) << path;
                else
                    EXPECT_TRUE(held && held->count(name) == 1 && held->at(name) == content) << path << " is LOST";
            }
        EXPECT_EQ(leftoversUnder(dir), std::vector<std::string>{});

        if (stagger.count() > 0) {
            ASSERT_TRUE(firstStillRuns) << "the first job ended before the second began; the test needs larger files";
            EXPECT_EQ(a.status, 0) << a.err;
            EXPECT_TRUE(held && *held == filesA) << "the first job's archive does not hold the first job's files";
            EXPECT_EQ(b.status, 1);
            EXPECT_TRUE(contains(b.err, archive + " is being written by another Morvane job. Please wait until that "
                                                  "job has finished and then try again.") ||
                        contains(b.err, archive + " was being written by another Morvane job while this one waited. "
                                                  "Please check it and then try again."))
                << b.err;
            for (const auto& entry : filesB) EXPECT_TRUE(fs::exists(srcB + "/" + entry.first)) << entry.first;
        }
    }
};

TEST_F(NothingLostTwoJobs, StartedTogetherToOneArchive) { sameArchive(std::chrono::milliseconds(0), 4000000); }

TEST_F(NothingLostTwoJobs, SecondStarted100MillisecondsLater) { sameArchive(std::chrono::milliseconds(100), 4000000); }

TEST_F(NothingLostTwoJobs, SecondStartedOneSecondLater) { sameArchive(std::chrono::milliseconds(1000), 40000000); }

// --- Names -------------------------------------------------------------------------

class NothingLostNames : public NothingLostTest {
protected:
    const std::string src = dir + "/src";
    const std::string arch = dir + "/arch";
    const std::string out = dir + "/out";

    void SetUp() override {
        NothingLostTest::SetUp();
        fs::create_directories(src);
        fs::create_directories(arch);
    }

    // A command refused before anything is packed or deleted.
    void expectRefusedUntouched(const std::vector<std::string>& args, const Tree& sources, const std::string& message,
                                const std::string& archive) {
        const Outcome outcome = run(args);
        ASSERT_TRUE(outcome.exited);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(contains(outcome.err, message)) << "standard error: " << outcome.err;
        EXPECT_EQ(logged(message), 1) << readFile(logPath());
        EXPECT_FALSE(fs::exists(archive));
        EXPECT_TRUE(sameTree(treeOf(src), sources)) << src;
        EXPECT_EQ(leftoversUnder(dir), std::vector<std::string>{});
    }
};

TEST_F(NothingLostNames, NameThatIsNotUtf8ComesBackWithTheSameBytes) {
    const std::string name = "caf\xE9 notes.txt";
    const Tree sources = {{name, "latin one"}, {"plain.txt", "plain"}};
    writeTree(src, sources);
    const std::string archive = arch + "/names.enz";
    const Outcome encrypted = run(encryptArgs(src, sources, archive, "d"));
    EXPECT_EQ(encrypted.status, 0) << encrypted.err;
    EXPECT_FALSE(fs::exists(src + "/" + name));
    const Outcome decrypted = run({"-d", "-p" + kPassword, "-s" + archive, "-d" + out, "-od"});
    EXPECT_EQ(decrypted.status, 0) << decrypted.err;
    EXPECT_TRUE(sameTree(treeOf(out), sources)) << out;
    EXPECT_FALSE(fs::exists(archive));
}

TEST_F(NothingLostNames, NameOf250BytesComesBack) {
    const std::string name = std::string(246, 'n') + ".txt";
    ASSERT_EQ(name.size(), 250u);
    const Tree sources = {{name, "a long name"}};
    writeTree(src, sources);
    // The archive's own name has 250 bytes too: its temporary zips' names
    // would be longer than any file name can be.
    const std::string archive = arch + "/" + std::string(246, 'z') + ".enz";
    const Outcome encrypted = run(encryptArgs(src, sources, archive.substr(0, archive.size() - 4), "d"));
    EXPECT_EQ(encrypted.status, 0) << encrypted.err;
    ASSERT_TRUE(fs::exists(archive));
    EXPECT_FALSE(fs::exists(src + "/" + name));
    const Outcome decrypted = run({"-d", "-p" + kPassword, "-s" + archive, "-d" + out, "-od"});
    EXPECT_EQ(decrypted.status, 0) << decrypted.err;
    EXPECT_TRUE(sameTree(treeOf(out), sources)) << out;
    EXPECT_FALSE(fs::exists(archive));
    EXPECT_EQ(leftoversUnder(dir), std::vector<std::string>{});
}

TEST_F(NothingLostNames, DriveLetterNameIsRefusedBeforeAnythingIsPacked) {
    const Tree sources = {{"a.txt", "alpha"}, {"c:notes.txt", "notes"}};
    writeTree(src, sources);
    const std::string archive = arch + "/drive.enz";
    expectRefusedUntouched(encryptArgs(src, sources, archive, "d"), sources,
                           src +
                               "/c:notes.txt cannot be encrypted: its name begins with a drive letter and a colon, so "
                               "it could not be restored under the same name. Please rename the file and then try "
                               "again.",
                           archive);
}

TEST_F(NothingLostNames, BackslashNameIsRefusedBeforeAnythingIsPacked) {
    const Tree sources = {{"..\\x", "up and over"}, {"a.txt", "alpha"}};
    writeTree(src, sources);
    const std::string archive = arch + "/slash.enz";
    expectRefusedUntouched(encryptArgs(src, sources, archive, "d"), sources,
                           src +
                               "/..\\x cannot be encrypted: its name contains a backslash (\\), which archives take "
                               "for a folder separator, so it could not be restored under the same name. Please "
                               "rename the file and then try again.",
                           archive);
}

TEST_F(NothingLostNames, SameNameFromTwoFoldersIsRefused) {
    const Tree sources = {{"a.txt", "first a"}, {"other/a.txt", "second a"}, {"b.txt", "beta"}};
    writeTree(src, sources);
    Tree all = sources;
    all["other"] = kFolderMark;
    const std::string archive = arch + "/twice.enz";
    const std::vector<std::string> args = {
        "-e", "-p" + kPassword, "-s" + src + "/a.txt,", src + "/b.txt,", src + "/other/a.txt", "-d" + archive, "-od"};
    expectRefusedUntouched(args, all,
                           src + "/a.txt and " + src +
                               "/other/a.txt have the same name, and one encrypted file cannot hold two files of the "
                               "same name. Please rename one of them or encrypt them into separate files, and then try "
                               "again.",
                           archive);
}

TEST_F(NothingLostNames, SameFileListedTwiceLosesNothing) {
    const Tree sources = {{"a.txt", "alpha"}, {"b.txt", "beta"}};
    writeTree(src, sources);
    const std::string archive = arch + "/same.enz";
    const Outcome outcome =
        run({"-e", "-p" + kPassword, "-s" + src + "/a.txt,", src + "//a.txt,", src + "/b.txt", "-d" + archive, "-od"});
    ASSERT_TRUE(outcome.exited);
    if (outcome.status != 0) {
        EXPECT_FALSE(outcome.err.empty()) << "refused without saying why";
    }
    expectNothingLost(src, sources, archive, std::nullopt);
    EXPECT_EQ(leftoversUnder(dir), std::vector<std::string>{});
}

// --- Damaged archives ---------------------------------------------------------------

class NothingLostDamagedArchive : public NothingLostTest {
protected:
    const std::string area = dir + "/dmg";
    const std::string archive = area + "/arch/t.enz";
    const std::string out = area + "/out";
    const Tree members = {{"a.txt", words(500, 21)}, {"b.bin", noise(300, 22)}};
    const Tree existing = {{"a.txt", "the user's own a.txt"}, {"b.bin", "the user's own b.bin"}};
    std::string good;

    void SetUp() override {
        NothingLostTest::SetUp();
        good = archiveOf(members, "t.enz");
        ASSERT_FALSE(good.empty());
    }

    // Opens `damaged` into a folder that holds files of the members' names.
    // Nothing changes, nothing is left behind, the archive stays as it is;
    // a run that succeeds anyway gave back exactly the original files.
    // What went wrong, or nothing; `refused` tells whether the job failed.
    std::string openDamaged(const std::string& damaged, bool& refused) {
        std::error_code ec;
        fs::remove_all(out, ec);
        writeFile(archive, damaged);
        writeTree(out, existing);
        const Outcome outcome = run({"-d", "-p" + kPassword, "-s" + archive, "-d" + out});
        refused = outcome.status != 0;
        if (!outcome.exited) return "the program did not exit";
        std::string problem;
        const Tree now = treeOf(out);
        if (outcome.status == 0) {
            if (now != members) problem += "it succeeded, and " + out + " holds " + described(now) + "; ";
        } else {
            if (outcome.status != 1) problem += "exit status " + std::to_string(outcome.status) + "; ";
            if (now != existing) problem += out + " was changed: it holds " + described(now) + "; ";
        }
        if (readFile(archive) != damaged) problem += "the archive was changed; ";
        const Tree around = treeOf(area);
        if (around.size() != 3 + now.size()) problem += "left behind: " + described(around) + "; ";
        return problem;
    }

    // Runs every damaged archive and reports those that were not handled.
    void expectEachChangesNothing(const std::vector<std::pair<std::string, std::string>>& damagedArchives) {
        int refused = 0;
        std::vector<std::string> problems;
        for (const auto& [what, damaged] : damagedArchives) {
            bool failed = false;
            const std::string problem = openDamaged(damaged, failed);
            refused += failed;
            if (!problem.empty()) problems.push_back(what + ": " + problem);
        }
        std::string shown;
        for (std::size_t i = 0; i < problems.size() && i < 12; ++i) shown += "\n  " + problems[i];
        EXPECT_TRUE(problems.empty()) << problems.size() << " of " << damagedArchives.size()
                                      << " damaged archives were not handled (the archive is " << good.size()
                                      << " bytes):" << shown;
        EXPECT_GT(refused, 0) << "no damaged archive was refused";
    }
};

TEST_F(NothingLostDamagedArchive, EveryTruncationChangesNothing) {
    std::vector<std::pair<std::string, std::string>> damaged;
    for (std::size_t length = 0; length < good.size(); ++length)
        damaged.emplace_back("cut to " + std::to_string(length) + " bytes", good.substr(0, length));
    expectEachChangesNothing(damaged);
}

TEST_F(NothingLostDamagedArchive, BitFlipsChangeNothing) {
    std::mt19937 random(20240611);
    std::vector<std::pair<std::string, std::string>> damaged;
    for (int flip = 0; flip < 300; ++flip) {
        const std::size_t bit = random() % (good.size() * 8);
        std::string bytes = good;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << (bit % 8)));
        damaged.emplace_back("bit " + std::to_string(bit % 8) + " of byte " + std::to_string(bit / 8), bytes);
    }
    expectEachChangesNothing(damaged);
}

// --- Links in the destination --------------------------------------------------------

class NothingLostLinks : public NothingLostTest {};

TEST_F(NothingLostLinks, MemberThroughAFolderLinkIsNotWritten) {
    // An archive of another zip tool with a member in a folder, protected by
    // the zip password of Morvane archives and enciphered as they are.
    const std::string stage = dir + "/stage";
    writeFile(stage + "/sub/x", "inside the folder");
    writeFile(stage + "/y.txt", "at the top");
    const morvane::testing::ChildResult zipped = morvane::testing::runChild(
        {"zip", "-q", "-P", morvane::zipPassword(kPassword), "-r", "in.zip", "sub", "y.txt"}, stage);
    ASSERT_EQ(zipped.status, 0) << "zip (Debian package zip) is needed: " << zipped.err;
    const std::string archive = dir + "/arch/link.enz";
    fs::create_directories(dir + "/arch");
    morvane::clsBlowfish cipher;
    ASSERT_TRUE(cipher.EncryptFile(stage + "/in.zip", archive, kPassword));
    const std::string archiveBytes = readFile(archive);

    const std::string outside = dir + "/outside";
    writeFile(outside + "/keep.txt", "outside");
    const std::string out = dir + "/out";
    fs::create_directories(out);
    fs::create_directory_symlink(outside, out + "/sub");

    const Outcome outcome = run({"-d", "-p" + kPassword, "-s" + archive, "-d" + out, "-od"});
    ASSERT_TRUE(outcome.exited);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(logged("sub/x in " + archive + " was not extracted: its path leads through a link."), 1)
        << readFile(logPath());
    EXPECT_TRUE(sameTree(treeOf(outside), Tree{{"keep.txt", "outside"}})) << outside;
    EXPECT_EQ(readFile(out + "/y.txt"), "at the top");
    EXPECT_TRUE(fs::is_symlink(out + "/sub"));
    // Not every member was written: the archive stays.
    EXPECT_TRUE(sameBytes(readFile(archive), archiveBytes)) << archive;
    EXPECT_TRUE(contains(outcome.err, "Not every file in " + archive + " was written")) << outcome.err;
    EXPECT_EQ(leftoversUnder(dir), std::vector<std::string>{});
}

TEST_F(NothingLostLinks, FileLinkInTheDestinationIsReplacedNotFollowed) {
    const Tree sources = {{"a.txt", "alpha from the archive"}, {"b.txt", "beta"}};
    const std::string archive = dir + "/arch/all.enz";
    writeFile(archive, archiveOf(sources, "all.enz"));
    const std::string target = dir + "/outside/target";
    writeFile(target, "the file the link points to");
    const std::string out = dir + "/out";
    fs::create_directories(out);
    fs::create_symlink(target, out + "/a.txt");

    const Outcome outcome = run({"-d", "-p" + kPassword, "-s" + archive, "-d" + out});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_FALSE(fs::is_symlink(out + "/a.txt"));
    EXPECT_TRUE(sameTree(treeOf(out), sources)) << out;
    EXPECT_EQ(readFile(target), "the file the link points to");
    EXPECT_TRUE(sameTree(treeOf(dir + "/outside"), Tree{{"target", "the file the link points to"}}));
}

// --- Keeping existing files -------------------------------------------------------------

class NothingLostKeepExisting : public NothingLostTest {};

TEST_F(NothingLostKeepExisting, ArchiveIsKeptWhenAFileOfAMembersNameWasKept) {
    const Tree sources = {{"a.txt", "alpha"}, {"b.txt", "beta"}};
    const std::string archive = dir + "/arch/both.enz";
    const std::string bytes = archiveOf(sources, "both.enz");
    writeFile(archive, bytes);
    const std::string out = dir + "/out";
    writeFile(out + "/a.txt", "mine");

    const Outcome outcome = run({"-d", "-p" + kPassword, "-s" + archive, "-d" + out, "-on,d"});
    ASSERT_TRUE(outcome.exited);
    EXPECT_EQ(outcome.status, 1);
    const std::string message = "Not every file in " + archive +
                                " was written: a.txt was not extracted: a file of its name exists and was kept. The "
                                "encrypted file has been kept.";
    EXPECT_EQ(logged(message), 1) << readFile(logPath());
    EXPECT_TRUE(contains(outcome.err, message)) << outcome.err;
    EXPECT_TRUE(sameBytes(readFile(archive), bytes)) << archive;
    EXPECT_TRUE(sameTree(treeOf(out), Tree{{"a.txt", "mine"}, {"b.txt", "beta"}}));
    EXPECT_EQ(leftoversUnder(dir), std::vector<std::string>{});
}

// --- Permissions ---------------------------------------------------------------------------

class NothingLostPermissions : public NothingLostTest {};

TEST_F(NothingLostPermissions, PermissionBitsComeBackWithoutSetUserOrSetGroup) {
    const std::string src = dir + "/src";
    const std::map<std::string, int> modes = {
        {"private.txt", 0600}, {"tool.sh", 0755}, {"setuser.sh", 04755}, {"setgroup.sh", 02755}, {"shared.txt", 0644}};
    Tree sources;
    for (const auto& [name, mode] : modes) {
        sources[name] = "content of " + name;
        writeFile(src + "/" + name, sources[name]);
        ASSERT_EQ(::chmod((src + "/" + name).c_str(), static_cast<mode_t>(mode)), 0);
        ASSERT_EQ(modeOf(src + "/" + name), mode);
    }
    const std::string archive = dir + "/arch/modes.enz";
    fs::create_directories(dir + "/arch");
    const Outcome encrypted = run(encryptArgs(src, sources, archive, ""));
    EXPECT_EQ(encrypted.status, 0) << encrypted.err;
    EXPECT_EQ(octal(modeOf(archive)), "0600") << "a new archive is owner-only";

    const std::string out = dir + "/out";
    const Outcome decrypted = run({"-d", "-p" + kPassword, "-s" + archive, "-d" + out});
    EXPECT_EQ(decrypted.status, 0) << decrypted.err;
    EXPECT_TRUE(sameTree(treeOf(out), sources));
    for (const auto& [name, mode] : modes)
        EXPECT_EQ(octal(modeOf(out + "/" + name)), octal(mode & 0777)) << name << " was " << octal(mode);
}

TEST_F(NothingLostPermissions, LogIsOwnerOnly) {
    // A job that logs a line makes the log.
    const std::vector<std::string> missing = {"-e", "-p" + kPassword, "-s" + dir + "/missing.txt",
                                              "-d" + dir + "/none.enz"};
    EXPECT_EQ(run(missing).status, 1);
    ASSERT_TRUE(fs::exists(logPath()));
    EXPECT_EQ(octal(modeOf(logPath())), "0600");

    // A log others could read becomes owner-only with the next line.
    ASSERT_EQ(::chmod(logPath().c_str(), 0644), 0);
    EXPECT_EQ(run(missing).status, 1);
    EXPECT_EQ(octal(modeOf(logPath())), "0600");
}

// --- The log ---------------------------------------------------------------------------------

class NothingLostLog : public NothingLostTest {
protected:
    // Whole lines of an earlier log, `size` bytes exactly (the last line
    // padded to fit).
    static std::string oldLines(std::size_t size) {
        std::string text;
        for (int n = 0; size - text.size() >= 200; ++n) {
            char line[96];
            std::snprintf(line, sizeof line, "01/02/26 10:00:00 Unable to locate /old/file%06d.txt. Old line.\n", n);
            text += line;
        }
        const std::string begin = "01/02/26 10:00:00 Unable to locate /old/", end = ". Old line.\n";
        text += begin + std::string(size - text.size() - begin.size() - end.size(), 'x') + end;
        return text;
    }
    // A job that logs a line or two.
    std::vector<std::string> missingSource() const {
        return {"-e", "-p" + kPassword, "-s" + dir + "/missing.txt", "-d" + dir + "/none.enz"};
    }
};

TEST_F(NothingLostLog, WrongPasswordIsLoggedWithoutThePassword) {
    const Tree sources = {{"a.txt", "alpha"}};
    const std::string archive = dir + "/arch/one.enz";
    writeFile(archive, archiveOf(sources, "one.enz"));
    const std::string out = dir + "/out";
    writeFile(out + "/a.txt", "mine");
    const Outcome outcome = run({"-d", "-pwrongpassword", "-s" + archive, "-d" + out});
    ASSERT_TRUE(outcome.exited);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(logged("Invalid password for the following command line: -d -p************* -s" + archive + " -d" + out +
                     ". Please verify password on ALL of the files you encrypted and then try again."),
              1)
        << readFile(logPath());
    EXPECT_FALSE(contains(readFile(logPath()), "wrongpassword")) << "the log holds the password";
    EXPECT_FALSE(contains(outcome.err, "wrongpassword")) << "standard error shows the password";
    EXPECT_TRUE(sameTree(treeOf(out), Tree{{"a.txt", "mine"}}));
    EXPECT_EQ(leftoversUnder(dir), std::vector<std::string>{});
}

TEST_F(NothingLostLog, LongLogIsArchivedWithEveryLine) {
    const std::string old = oldLines(2000100);
    writeFile(logPath(), old);
    ASSERT_EQ(::chmod(logPath().c_str(), 0600), 0);
    EXPECT_EQ(run(missingSource()).status, 1);
    EXPECT_TRUE(sameBytes(readFile(oldLogPath()), old)) << oldLogPath();
    const auto lines = linesOf(logPath());
    ASSERT_GE(lines.size(), 2u);
    EXPECT_TRUE(endsWith(lines[0], " " + kArchivedLine)) << lines[0];
    EXPECT_TRUE(contains(lines[1], "Unable to locate " + dir + "/missing.txt")) << lines[1];
    EXPECT_TRUE(endsWith(readFile(logPath()), "\n"));
}

TEST_F(NothingLostLog, FullDiskNeverCostsAnOldLineOrLeavesHalfALine) {
    // Room for the program itself (a sanitizer build is large) and the logs.
    SmallDisk disk;
    const std::uintmax_t programBytes = fs::file_size(builtProgram());
    const std::string size = std::to_string(programBytes / (1 << 20) + 8) + "m";
    if (!disk.mount(dir + "/progdisk", size)) GTEST_FAIL() << "needs root to mount a small tmpfs: " << disk.error();
    installProgram(disk.path());

    // Whole lines only: the file is empty or ends with a line break, and
    // every line is a line the program writes or an old one.
    const auto expectWholeLines = [](const std::string& text, const std::string& what) {
        EXPECT_TRUE(text.empty() || text.back() == '\n') << what << " ends in half a line";
        std::size_t at = 0;
        while (at < text.size()) {
            const std::size_t end = text.find('\n', at);
            const std::string line = text.substr(at, end == std::string::npos ? std::string::npos : end - at);
            EXPECT_TRUE(endsWith(line, "Old line.") || endsWith(line, "encrypted.") || endsWith(line, kArchivedLine))
                << what << " holds a broken line: " << line;
            if (end == std::string::npos) break;
            at = end + 1;
        }
    };

    struct Case {
        std::size_t logSize;  // about
        int freePages;
    };
    std::vector<Case> cases;
    // Over the archiving size: the log is renamed, the first line of the new
    // log may not fit.
    for (int pages : {0, 1}) cases.push_back({2000100, pages});
    // Below it: the line may fit in what is left of the log's last page, or not.
    for (std::size_t tail : {0u, 1u, 40u, 90u, 150u, 300u}) cases.push_back({4096 * 100 - tail, 0});

    for (const Case& c : cases) {
        SCOPED_TRACE("log of " + std::to_string(c.logSize) + " bytes, " + std::to_string(c.freePages) + " free pages");
        disk.removeFiller();
        std::error_code ec;
        fs::remove(logPath(), ec);
        fs::remove(oldLogPath(), ec);
        const std::string old = oldLines(c.logSize);
        ASSERT_EQ(old.size(), c.logSize);
        writeFile(logPath(), old);
        disk.fillLeaving(static_cast<std::uint64_t>(c.freePages) * 4096);
        ASSERT_LE(disk.freeBytes(), static_cast<std::uint64_t>(c.freePages) * 4096);

        const Outcome outcome = run(missingSource());
        EXPECT_TRUE(outcome.exited);
        EXPECT_EQ(outcome.status, 1);
        const std::string log = readFile(logPath());
        const std::string archived = readFile(oldLogPath());
        if (fs::exists(oldLogPath())) {
            EXPECT_TRUE(sameBytes(archived, old)) << "morvane.err.old is not the old log";
            EXPECT_GT(old.size(), 2000000u) << "a log below the size was archived";
        } else {
            EXPECT_TRUE(startsWith(log, old))
                << "morvane.log lost old lines: " << log.size() << " bytes of " << old.size();
            EXPECT_LE(old.size(), 2000000u) << "the log over the size was not archived";
        }
        expectWholeLines(log, "morvane.log");
        expectWholeLines(archived, "morvane.err.old");
    }
    disk.removeFiller();
}

}  // namespace
