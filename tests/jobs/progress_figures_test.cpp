// The progress window's figures for the whole job: "File 2 of 5", the
// overall bar, the bytes done of all, the speed and the time left, worked out
// from the job's plan, its steps and a clock the test moves.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "job_harness.h"

namespace {

using morvane::progressBytesText;
using morvane::ProgressFigures;
using morvane::ProgressWindow;
using morvane::timeLeftText;
using morvane::jobtest::Harness;
using morvane::jobtest::HookedUserInterface;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;
using namespace std::chrono_literals;

struct TestClock {
    std::chrono::steady_clock::time_point now{};
    ProgressWindow::Clock clock() {
        return [this] { return now; };
    }
};

TEST(ProgressFigures, BytesAndTimesAreWrittenForPeople) {
    EXPECT_EQ(progressBytesText(0), "0 bytes");
    EXPECT_EQ(progressBytesText(1), "1 byte");
    EXPECT_EQ(progressBytesText(1023), "1023 bytes");
    EXPECT_EQ(progressBytesText(1536), "1.5 KB");
    EXPECT_EQ(progressBytesText(300ull << 20), "300.0 MB");
    EXPECT_EQ(progressBytesText((5ull << 30) / 2), "2.5 GB");
    EXPECT_EQ(timeLeftText(0), "About 0 s left");
    EXPECT_EQ(timeLeftText(45), "About 45 s left");
    EXPECT_EQ(timeLeftText(185), "About 3 min 5 s left");
    EXPECT_EQ(timeLeftText(7800), "About 2 h 10 min left");
}

TEST(ProgressFigures, FollowTheFilesStepsAndClock) {
    TempDirectory dir("figures");
    // Two files of 100 MB and 200 MB, each packed and enciphered.
    HookedUserInterface ui;
    TestClock t;
    ProgressWindow window(ui, t.clock());
    const std::uint64_t mb = 1 << 20;
    window.beginJob();
    EXPECT_EQ(window.figures(0).fileOfAll, "");
    window.planJob(2, 300 * mb, 600 * mb);

    window.beginFile(1);
    window.nextStepBytes(100 * mb);
    window.dispZipStatus(dir.file("a"), "Zipping a...");
    window.zipTimerTick(50);
    ProgressFigures f = window.figures(window.stepPercent());
    EXPECT_EQ(f.fileOfAll, "File 1 of 2");
    EXPECT_EQ(f.overallPercent, 8);  // 50 MB of 600 MB of work
    EXPECT_EQ(f.bytes, "25.0 MB of 300.0 MB");
    EXPECT_EQ(f.speed, "");  // not before a second has passed
    EXPECT_EQ(f.timeLeft, "");

    t.now += 2s;
    window.nextStepBytes(100 * mb);
    window.dispEncStatus(dir.file("a"), "Encrypting a...");
    window.encTimerTick(100);  // the pack step done, the encipher step too
    window.beginFile(2);
    window.nextStepBytes(200 * mb);
    window.dispZipStatus(dir.file("b"), "Zipping b...");
    f = window.figures(0);
    EXPECT_EQ(f.fileOfAll, "File 2 of 2");
    EXPECT_EQ(f.overallPercent, 33);
    EXPECT_EQ(f.bytes, "100.0 MB of 300.0 MB");
    EXPECT_EQ(f.speed, "50.0 MB/s");
    EXPECT_EQ(f.timeLeft, "About 4 s left");

    t.now += 2s;
    f = window.figures(50);  // half of the second file packed
    EXPECT_EQ(f.overallPercent, 50);
    EXPECT_EQ(f.bytes, "150.0 MB of 300.0 MB");
    EXPECT_EQ(f.speed, "37.5 MB/s");
    EXPECT_EQ(f.timeLeft, "About 4 s left");
}

TEST(ProgressFigures, AStepWithoutGivenBytesCountsItsFile) {
    TempDirectory dir("figures-file");
    writeFile(dir.file("a"), std::string(1000, 'a'));
    HookedUserInterface ui;
    ProgressWindow window(ui);
    window.beginJob();
    window.planJob(1, 1000, 2000);
    window.beginFile(1);
    window.dispZipStatus(dir.file("a"), "Zipping a...");
    EXPECT_EQ(window.figures(100).overallPercent, 50);
    EXPECT_EQ(window.figures(100).bytes, "500 bytes of 1000 bytes");
}

TEST(ProgressFigures, ARealEncryptJobCountsItsFilesAndEndsWithTheWholeJob) {
    TempDirectory dir("figures-job");
    Harness h(dir);
    const std::vector<std::string> names = {"a.bin", "b.bin", "c.bin"};
    std::vector<std::string> paths;
    for (const std::string& name : names) {
        writeFile(dir.file(name), morvane::jobtest::noiseOfSize(200000));
        paths.push_back(dir.file(name));
    }
    h.list(paths);
    h.setPassword("figures");
    std::vector<std::string> filesSeen;
    int lastOverall = 0;
    bool overallWentBack = false;
    h.ui.onEventsRun = [&] {
        if (!h.status.model().loaded) return;
        h.status.encTimerTick(h.run.progressPercent);
        const ProgressFigures f = h.status.figures(h.status.stepPercent());
        if (filesSeen.empty() || filesSeen.back() != f.fileOfAll) filesSeen.push_back(f.fileOfAll);
        overallWentBack = overallWentBack || f.overallPercent < lastOverall;
        lastOverall = f.overallPercent;
        EXPECT_NE(f.bytes.find(" of 585.9 KB"), std::string::npos) << f.bytes;
    };
    h.encrypt();
    EXPECT_EQ(filesSeen, (std::vector<std::string>{"File 1 of 3", "File 2 of 3", "File 3 of 3"}));
    EXPECT_FALSE(overallWentBack);
    EXPECT_GE(lastOverall, 83);  // the last step's bar reached its end
}

}  // namespace
