#include "console_user_interface.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "temp_directory.h"

namespace {

using morvane::ConsoleUserInterface;
using morvane::MessageIcon;
using morvane::ProgressWindow;

// A pseudo-terminal: what the program writes to its slave side is read back
// from the master side.
struct Terminal {
    Terminal() {
        master = ::posix_openpt(O_RDWR | O_NOCTTY);
        if (master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0)
            slave = std::fopen(::ptsname(master), "w");
    }
    ~Terminal() {
        if (slave) std::fclose(slave);
        if (master >= 0) ::close(master);
    }
    std::string read() {
        std::fflush(slave);
        std::string text;
        char buffer[4096];
        ::fcntl(master, F_SETFL, O_NONBLOCK);
        for (ssize_t got; (got = ::read(master, buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<std::size_t>(got));
        return text;
    }
    int master = -1;
    std::FILE* slave = nullptr;
};

TEST(ConsoleProgress, ALineFollowsTheJobOnATerminal) {
    Terminal terminal;
    ASSERT_NE(terminal.slave, nullptr);
    ConsoleUserInterface console(terminal.slave, nullptr);
    ProgressWindow status(console);
    std::int32_t percent = 0;
    console.followProgress(&status, &percent);
    status.dispEncStatus("/no/such/file", "Encrypting /data/a.txt...");
    percent = 42;
    console.letEventsRun();
    console.endProgressLine();
    const std::string shown = terminal.read();
    EXPECT_NE(shown.find("Encrypting /data/a.txt... 0%"), std::string::npos) << shown;
    EXPECT_NE(shown.find("Encrypting /data/a.txt... 42%"), std::string::npos) << shown;
}

TEST(ConsoleProgress, TheLineShowsTheWholeJobsFigures) {
    Terminal terminal;
    ASSERT_NE(terminal.slave, nullptr);
    ConsoleUserInterface console(terminal.slave, nullptr);
    std::chrono::steady_clock::time_point now{};
    ProgressWindow status(console, [&now] { return now; });
    std::int32_t percent = 0;
    console.followProgress(&status, &percent);
    status.beginJob();
    status.planJob(2, 40u << 20, 80u << 20);
    status.beginFile(2);
    status.nextStepBytes(20u << 20);
    status.dispEncStatus("/no/such/file", "Encrypting /data/b.txt...");
    now += std::chrono::seconds(2);
    percent = 50;
    console.letEventsRun();
    console.endProgressLine();
    const std::string shown = terminal.read();
    EXPECT_NE(shown.find("Encrypting /data/b.txt... 50% | File 2 of 2 | 12% in all | 5.0 MB of 40.0 MB | 2.5 MB/s | "
                         "About 14 s left"),
              std::string::npos)
        << shown;
}

TEST(ConsoleProgress, NoLineWhenStandardErrorIsNotATerminal) {
    morvane::testing::TempDirectory dir("console");
    std::FILE* file = std::fopen(dir.file("err.txt").c_str(), "w");
    ASSERT_NE(file, nullptr);
    {
        ConsoleUserInterface console(file, nullptr);
        ProgressWindow status(console);
        std::int32_t percent = 50;
        console.followProgress(&status, &percent);
        status.dispEncStatus("/x", "Encrypting /x...");
        console.letEventsRun();
        console.showMessage("Something to say.", MessageIcon::Exclamation);
        EXPECT_EQ(console.messagesShown(), 1);
    }
    std::fclose(file);
    EXPECT_EQ(morvane::testing::readFile(dir.file("err.txt")), "Something to say.\n");
}

TEST(ConsoleQuestions, WithoutATerminalTheAnswerIsNo) {
    morvane::testing::TempDirectory dir("console-question");
    std::FILE* in = std::fopen("/dev/null", "r");
    std::FILE* out = std::fopen(dir.file("err.txt").c_str(), "w");
    ConsoleUserInterface console(out, in);
    EXPECT_FALSE(console.interactive());
    EXPECT_FALSE(console.askYesNo("Do you accept this agreement?"));
    std::fclose(in);
    std::fclose(out);
    EXPECT_EQ(morvane::testing::readFile(dir.file("err.txt")), "");  // nothing asked that cannot be answered
}

}  // namespace
