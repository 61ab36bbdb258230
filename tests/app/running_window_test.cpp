// One running window, with the real program: a second start in association
// mode hands its file to the window already open and ends at once; a second
// start without arguments ends too and leaves the window running.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "handover_client.h"
#include "main_window_model.h"
#include "program_launch.h"
#include "scripted_user_interface.h"
#include "settings_store.h"
#include "startup.h"
#include "startup_password.h"
#include "temp_directory.h"
#include "window_handover.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using morvane::Handover;
using morvane::handoverMessage;
using morvane::testing::askRunningWindow;
using morvane::testing::builtProgram;
using morvane::testing::writeFile;

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

class RunningWindowTest : public ::testing::Test {
protected:
    morvane::testing::DashFreeDirectory base{"mvrw"};
    const std::string dir = base.str();
    const std::string program = dir + "/prog/morvane";
    const std::string configHome = dir + "/config";
    const std::string dataHome = dir + "/data";
    const std::string home = dir + "/home";
    const std::string runtime = dir + "/run";
    const std::string work = dir + "/work";
    const std::string socket = runtime + "/morvane.sock";
    pid_t first = -1;

    void SetUp() override {
        ASSERT_TRUE(fs::is_regular_file(builtProgram())) << "build the target morvane first";
        for (const std::string& d : {dir + "/prog", configHome, dataHome, home, runtime, work})
            fs::create_directories(d);
        ::chmod(runtime.c_str(), 0700);
        fs::copy_file(builtProgram(), program, fs::copy_options::overwrite_existing);
        fs::permissions(program, fs::perms::owner_all);
        // As an earlier start left it: the agreement accepted, no startup password.
        morvane::SettingsStore settings(configHome + "/morvane/registry");
        ASSERT_TRUE(settings.regWrite(morvane::kProductKey, "Agreement", "accepted"));
        morvane::StartupPassword(settings).saveStartupPassword(morvane::StartupPassword::marker());
    }

    void TearDown() override {
        if (first > 0) {
            ::kill(first, SIGKILL);
            int status = 0;
            ::waitpid(first, &status, 0);
        }
    }

    std::vector<std::string> environment() const {
        std::vector<std::string> env = morvane::testing::programEnvironment(configHome, dataHome, home);
        env.push_back("XDG_RUNTIME_DIR=" + runtime);
        env.push_back("QT_QPA_PLATFORM=offscreen");
        return env;
    }

    pid_t start(const std::vector<std::string>& args, const std::string& name) const {
        return morvane::testing::startProgram(program, args, environment(), work, dir + "/" + name + ".out",
                                              dir + "/" + name + ".err");
    }

    // The exit status of `child` when it ends before the deadline.
    static std::optional<int> exitWithin(pid_t child, std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        int status = 0;
        while (std::chrono::steady_clock::now() < deadline) {
            if (::waitpid(child, &status, WNOHANG) == child) {
                if (WIFEXITED(status)) return WEXITSTATUS(status);
                return -1;
            }
            std::this_thread::sleep_for(20ms);
        }
        return std::nullopt;
    }

    std::optional<std::string> listed() const {
        return askRunningWindow(socket, handoverMessage({Handover::Kind::ListQuery, {}}));
    }

    // Starts the first window and waits until it answers on its socket.
    void startFirstWindow() {
        first = start({}, "first");
        ASSERT_GT(first, 0);
        const auto deadline = std::chrono::steady_clock::now() + 30s;
        while (std::chrono::steady_clock::now() < deadline) {
            const std::optional<std::string> answer = listed();
            if (answer && answer->starts_with("tab ")) return;
            int status = 0;
            ASSERT_NE(::waitpid(first, &status, WNOHANG), first)
                << "the first window ended: " << morvane::testing::readFile(dir + "/first.err");
            std::this_thread::sleep_for(50ms);
        }
        FAIL() << "the first window never answered on " << socket;
    }

    // Waits for the window's list to satisfy `done`; its last answer.
    template <typename Done>
    std::string waitForList(Done done) const {
        std::string last;
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (std::chrono::steady_clock::now() < deadline) {
            if (const auto answer = listed()) {
                last = *answer;
                if (done(last)) break;
            }
            std::this_thread::sleep_for(50ms);
        }
        return last;
    }

    bool firstStillRuns() const {
        int status = 0;
        return ::waitpid(first, &status, WNOHANG) == 0;
    }
};

TEST_F(RunningWindowTest, ASecondStartHandsItsArchiveToTheOpenWindowAndEnds) {
    startFirstWindow();
    ASSERT_EQ(listed(), std::optional<std::string>("tab 0\n"));
    const std::string archive = work + "/Letters.ENZ";
    writeFile(archive, std::string(16, 'x'));

    const pid_t second = start({"-s" + archive}, "second");
    ASSERT_GT(second, 0);
    EXPECT_EQ(exitWithin(second, 10s), std::optional<int>(0)) << morvane::testing::readFile(dir + "/second.err");

    const std::string answer = waitForList([](const std::string& a) { return a.find("file ") != std::string::npos; });
    EXPECT_TRUE(answer.starts_with("tab 1\n")) << answer;
    EXPECT_EQ(lower(answer), "tab 1\nfile " + lower(archive) + "\n");
    EXPECT_TRUE(firstStillRuns());
}

TEST_F(RunningWindowTest, ARelativeFileOfASecondStartIsFoundFromItsOwnDirectory) {
    startFirstWindow();
    fs::create_directories(work + "/sub");
    writeFile(work + "/sub/notes.txt", "notes");
    // The second start runs in work/sub; the window in work.
    const pid_t second = morvane::testing::startProgram(program, {"-snotes.txt"}, environment(), work + "/sub",
                                                        dir + "/second.out", dir + "/second.err");
    ASSERT_GT(second, 0);
    EXPECT_EQ(exitWithin(second, 10s), std::optional<int>(0));
    const std::string answer = waitForList([](const std::string& a) { return a.find("file ") != std::string::npos; });
    EXPECT_EQ(lower(answer), "tab 0\nfile " + lower(work + "/sub/notes.txt") + "\n");
}

TEST_F(RunningWindowTest, ASecondStartWithoutArgumentsEndsAndTheWindowRunsOn) {
    startFirstWindow();
    const pid_t second = start({}, "second");
    ASSERT_GT(second, 0);
    EXPECT_EQ(exitWithin(second, 10s), std::optional<int>(0));
    EXPECT_TRUE(firstStillRuns());
    EXPECT_EQ(listed(), std::optional<std::string>("tab 0\n"));
}

TEST_F(RunningWindowTest, AMissingFileIsPassedOverAndAStrangeMessageIsRefused) {
    startFirstWindow();
    const pid_t second = start({"-s" + work + "/gone.enz"}, "second");
    ASSERT_GT(second, 0);
    EXPECT_EQ(exitWithin(second, 10s), std::optional<int>(0));
    // The tab follows the name, as association mode does at start; nothing is listed.
    EXPECT_EQ(waitForList([](const std::string& a) { return a.starts_with("tab 1"); }), "tab 1\n");
    EXPECT_EQ(askRunningWindow(socket, std::string("delete everything") + '\0', 2s), std::nullopt);
    EXPECT_EQ(askRunningWindow(socket, handoverMessage({Handover::Kind::Open, "relative.enz"}), 2s), std::nullopt);
    EXPECT_TRUE(firstStillRuns());
    EXPECT_EQ(listed(), std::optional<std::string>("tab 1\n"));
}

TEST_F(RunningWindowTest, TheSocketIsThisUsersOnly) {
    startFirstWindow();
    struct stat info {};
    ASSERT_EQ(::lstat(socket.c_str(), &info), 0);
    EXPECT_TRUE(S_ISSOCK(info.st_mode));
    EXPECT_EQ(info.st_uid, ::getuid());
    EXPECT_EQ(info.st_mode & 077, 0u) << std::oct << (info.st_mode & 0777);
}

TEST(WindowHandover, MessagesGoThereAndBack) {
    using morvane::readHandoverMessage;
    const Handover open{Handover::Kind::Open, "/home/a b/Letters.enz"};
    std::string message = handoverMessage(open);
    ASSERT_EQ(message.back(), '\0');
    message.pop_back();
    EXPECT_EQ(readHandoverMessage(message), std::optional<Handover>(open));
    EXPECT_EQ(readHandoverMessage("raise"), std::optional<Handover>(Handover{Handover::Kind::Raise, {}}));
    EXPECT_EQ(readHandoverMessage("list"), std::optional<Handover>(Handover{Handover::Kind::ListQuery, {}}));
    EXPECT_EQ(readHandoverMessage("open "), std::nullopt);
    EXPECT_EQ(readHandoverMessage("open x.enz"), std::nullopt);
    EXPECT_EQ(readHandoverMessage("Raise"), std::nullopt);
}

TEST(WindowHandover, ASecondStartHandsOverItsFileOrOnlyRaises) {
    using morvane::handoverFor;
    EXPECT_EQ(handoverFor("", "/w"), (Handover{Handover::Kind::Raise, {}}));
    EXPECT_EQ(handoverFor("-s/data/a.enz", "/w"), (Handover{Handover::Kind::Open, "/data/a.enz"}));
    EXPECT_EQ(handoverFor("-sdocs/../a.txt", "/w"), (Handover{Handover::Kind::Open, "/w/a.txt"}));
    EXPECT_EQ(handoverFor("-s", "/w"), (Handover{Handover::Kind::Raise, {}}));
}

TEST(WindowHandover, FilesWaitWhileTheWindowIsBusyAndComeInOrder) {
    morvane::testing::TempDirectory files("handover");
    const std::string document = files.file("report.doc");
    const std::string archive = files.file("report.enz");
    writeFile(document, "d");
    writeFile(archive, std::string(16, 'x'));
    morvane::MainWindowModel window;
    morvane::ScriptedUserInterface ui;
    morvane::HandoverQueue queue;
    queue.receive({Handover::Kind::Open, document});
    queue.receive({Handover::Kind::Raise, {}});
    queue.receive({Handover::Kind::Open, archive});
    EXPECT_FALSE(queue.takePending(window, ui, true));
    EXPECT_TRUE(window.lstFiles.empty());
    EXPECT_TRUE(queue.hasPending());
    EXPECT_TRUE(queue.takePending(window, ui, false));
    EXPECT_FALSE(queue.hasPending());
    // Each as association mode takes it: the last one's tab shows.
    EXPECT_EQ(window.currentTab, morvane::kDecryptTab);
    ASSERT_EQ(window.lstFiles.size(), 2u);
    EXPECT_EQ(lower(window.lstFiles[0].text), lower(document));
    EXPECT_EQ(lower(window.lstFiles[1].text), lower(archive) + " (encrypted zip) ");
    EXPECT_TRUE(ui.messages.empty());
}

}  // namespace
