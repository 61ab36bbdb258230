// The progress window: what the display operations, the two timer ticks, the
// bar's finish and closing do to its model, and how the bar follows a real
// encrypt and decrypt job when the window's timers tick.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "job_harness.h"

namespace {

namespace fs = std::filesystem;
using morvane::ProgressWindow;
using morvane::jobtest::Harness;
using morvane::jobtest::HookedUserInterface;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

TEST(ProgressWindow, DispEncStatusShowsTheStepAndStartsTheCipherTimer) {
    TempDirectory dir("progress-enc");
    writeFile(dir.file("a.doc"), std::string(1234, 'a'));
    HookedUserInterface ui;
    ProgressWindow window(ui);
    window.dispEncStatus(dir.file("a.doc"), "Encrypting " + dir.file("a.doc") + "...");

    const auto& m = window.model();
    EXPECT_TRUE(m.loaded);
    EXPECT_EQ(m.caption, "Encrypting " + dir.file("a.doc") + "...");
    EXPECT_EQ(m.pbMax, 100);
    EXPECT_TRUE(m.tmrEncStatusOn);
    EXPECT_FALSE(m.tmrZipStatusOn);
    EXPECT_EQ(m.file, dir.file("a.doc"));
    EXPECT_EQ(m.fileSize, "1234");
    EXPECT_GE(ui.eventRuns, 1);
    EXPECT_EQ(morvane::kEncTimerIntervalMs, 20);
}

TEST(ProgressWindow, DispZipStatusShowsTheStepAndStartsTheZipTimer) {
    TempDirectory dir("progress-zip");
    writeFile(dir.file("b.bin"), std::string(70000, 'b'));
    HookedUserInterface ui;
    ProgressWindow window(ui);
    window.dispZipStatus(dir.file("b.bin"), "Zipping " + dir.file("b.bin") + "...");

    const auto& m = window.model();
    EXPECT_TRUE(m.loaded);
    EXPECT_EQ(m.caption, "Zipping " + dir.file("b.bin") + "...");
    EXPECT_EQ(m.pbMax, 100);
    EXPECT_TRUE(m.tmrZipStatusOn);
    EXPECT_FALSE(m.tmrEncStatusOn);
    EXPECT_EQ(m.file, dir.file("b.bin"));
    EXPECT_EQ(m.fileSize, "70000");
    EXPECT_GE(ui.eventRuns, 1);
    EXPECT_EQ(morvane::kZipTimerIntervalMs, 80);
}

TEST(ProgressWindow, TimerSwitchedOnStaysOnUntilTheWindowCloses) {
    TempDirectory dir("progress-both");
    writeFile(dir.file("a.doc"), "a");
    HookedUserInterface ui;
    ProgressWindow window(ui);
    window.dispZipStatus(dir.file("a.doc"), "Zipping " + dir.file("a.doc") + "...");
    window.dispEncStatus(dir.file("a.doc"), "Encrypting " + dir.file("a.doc") + "...");
    EXPECT_TRUE(window.model().tmrZipStatusOn);
    EXPECT_TRUE(window.model().tmrEncStatusOn);
    EXPECT_EQ(window.model().caption, "Encrypting " + dir.file("a.doc") + "...");

    window.closeWindow();
    EXPECT_FALSE(window.model().tmrZipStatusOn);
    EXPECT_FALSE(window.model().tmrEncStatusOn);
    EXPECT_FALSE(window.model().loaded);
}

TEST(ProgressWindow, CipherReportOf100LeavesTheBarWhereItWas) {
    HookedUserInterface ui;
    ProgressWindow window(ui);
    window.dispEncStatus("/nowhere/a.doc", "Encrypting /nowhere/a.doc...");
    window.encTimerTick(40);
    EXPECT_EQ(window.model().pbValue, 40);
    window.encTimerTick(100);
    EXPECT_EQ(window.model().pbValue, 40);
    window.encTimerTick(99);
    EXPECT_EQ(window.model().pbValue, 99);
    window.encTimerTick(100);
    EXPECT_EQ(window.model().pbValue, 99);
}

TEST(ProgressWindow, ZipTickJumpsAheadBy25AndIgnoresValuesPastTheMaximum) {
    HookedUserInterface ui;
    ProgressWindow window(ui);
    window.dispZipStatus("/nowhere/a.doc", "Zipping /nowhere/a.doc...");
    window.zipTimerTick(0);
    EXPECT_EQ(window.model().pbValue, 25);
    window.zipTimerTick(50);
    EXPECT_EQ(window.model().pbValue, 75);
    window.zipTimerTick(80);  // 105 does not fit the bar
    EXPECT_EQ(window.model().pbValue, 75);
    window.zipTimerTick(74);
    EXPECT_EQ(window.model().pbValue, 99);
    window.zipTimerTick(75);
    EXPECT_EQ(window.model().pbValue, 100);
    window.zipTimerTick(10);  // the bar is full: it no longer moves
    EXPECT_EQ(window.model().pbValue, 100);
}

TEST(ProgressWindow, ZipPercentOf99OrMoreStopsTheZipTimer) {
    HookedUserInterface ui;
    ProgressWindow window(ui);
    window.dispZipStatus("/nowhere/a.doc", "Zipping /nowhere/a.doc...");
    window.zipTimerTick(5);
    EXPECT_EQ(window.model().pbValue, 30);
    window.zipTimerTick(99);
    EXPECT_EQ(window.model().pbValue, 30);
    window.zipTimerTick(100);
    EXPECT_EQ(window.model().pbValue, 30);
    window.zipTimerTick(98);  // 123 is past the maximum
    EXPECT_EQ(window.model().pbValue, 30);
}

TEST(ProgressWindow, FinishBarFillsPausesAndReturnsToZero) {
    HookedUserInterface ui;
    ProgressWindow window(ui);
    std::vector<int> shown;
    ui.onEventsRun = [&] { shown.push_back(window.model().pbValue); };
    window.dispEncStatus("/nowhere/a.doc", "Encrypting /nowhere/a.doc...");
    window.encTimerTick(37);
    shown.clear();
    ui.pauses.clear();

    window.finishBar();
    ASSERT_FALSE(shown.empty());
    EXPECT_EQ(shown.back(), 100);  // repainted full
    EXPECT_EQ(ui.pauses, std::vector<int>{100});
    EXPECT_EQ(window.model().pbValue, 0);
    EXPECT_TRUE(window.model().loaded);
    EXPECT_TRUE(window.model().tmrEncStatusOn);
}

TEST(ProgressWindow, CloseWindowStopsBothTimersFinishesTheBarAndUnloads) {
    HookedUserInterface ui;
    ProgressWindow window(ui);
    std::vector<int> shown;
    window.dispZipStatus("/nowhere/a.doc", "Zipping /nowhere/a.doc...");
    window.dispEncStatus("/nowhere/a.doc", "Encrypting /nowhere/a.doc...");
    window.encTimerTick(60);
    ui.pauses.clear();
    ui.onEventsRun = [&] { shown.push_back(window.model().pbValue); };

    window.closeWindow();
    const auto& m = window.model();
    EXPECT_FALSE(m.tmrEncStatusOn);
    EXPECT_FALSE(m.tmrZipStatusOn);
    EXPECT_FALSE(m.loaded);
    EXPECT_EQ(m.pbValue, 0);
    EXPECT_EQ(ui.pauses, std::vector<int>{100});
    ASSERT_FALSE(shown.empty());
    EXPECT_EQ(shown.back(), 100);
}

TEST(ProgressWindow, CloseStatusLeavesTheWindowAloneInSilentRun) {
    TempDirectory dir("progress-close");
    Harness h(dir);
    auto c = h.context();
    h.status.dispEncStatus("/nowhere/a.doc", "Encrypting /nowhere/a.doc...");
    h.status.encTimerTick(12);

    h.run.silentRun = true;
    morvane::closeStatus(c);
    EXPECT_TRUE(h.status.model().loaded);
    EXPECT_TRUE(h.status.model().tmrEncStatusOn);
    EXPECT_EQ(h.status.model().pbValue, 12);

    h.run.silentRun = false;
    morvane::closeStatus(c);
    EXPECT_FALSE(h.status.model().loaded);
    EXPECT_FALSE(h.status.model().tmrEncStatusOn);
    EXPECT_EQ(h.status.model().pbValue, 0);
}

// ---------------------------------------------------------------------------
// The bar during real jobs
// ---------------------------------------------------------------------------

struct Frame {
    std::string caption;
    int bar;
    int percent;
};

// Consecutive repeats removed.
template <typename T>
std::vector<T> distinctRuns(const std::vector<T>& values) {
    std::vector<T> out;
    for (const T& v : values)
        if (out.empty() || !(out.back() == v)) out.push_back(v);
    return out;
}

std::vector<int> barsDuring(const std::vector<Frame>& frames, const std::string& caption) {
    std::vector<int> bars;
    for (const Frame& f : frames)
        if (f.caption == caption) bars.push_back(f.bar);
    return distinctRuns(bars);
}

std::vector<int> percentsDuring(const std::vector<Frame>& frames, const std::string& caption) {
    std::vector<int> percents;
    for (const Frame& f : frames)
        if (f.caption == caption && f.percent >= 0) percents.push_back(f.percent);
    return distinctRuns(percents);
}

bool strictlyIncreasing(const std::vector<int>& values) {
    for (std::size_t i = 1; i < values.size(); ++i)
        if (values[i] <= values[i - 1]) return false;
    return true;
}

TEST(ProgressWindowDuringJobs, BarFollowsPackingEncipheringDecipheringAndExtracting) {
    TempDirectory dir("progress-job");
    const std::string path = dir.file("big.bin");
    const std::string content = morvane::jobtest::noiseOfSize(3u << 20);
    writeFile(path, content);

    Harness h(dir);
    std::vector<Frame> frames;
    // The window's two timers, ticking whenever pending events run.
    h.ui.onEventsRun = [&] {
        const auto& m = h.status.model();
        if (m.tmrEncStatusOn) h.status.encTimerTick(h.run.progressPercent);
        if (m.tmrZipStatusOn) h.status.zipTimerTick(h.zip.PercentDone());
        if (m.loaded) frames.push_back({m.caption, m.pbValue, h.run.progressPercent});
    };
    h.list({path});
    h.setPassword("pw");
    h.run.progressPercent = -1;  // nothing reported yet
    h.encrypt();

    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, path + " has successfully been encrypted.");
    EXPECT_FALSE(h.status.model().loaded);

    fs::remove(path);
    h.ui.messages.clear();
    h.run.progressPercent = -1;
    h.decrypt();
    ASSERT_EQ(h.ui.messages.size(), 1u);
    EXPECT_EQ(h.ui.messages[0].text, path + ".enz has successfully been decrypted.");
    EXPECT_TRUE(readFile(path) == content);

    const std::string zipping = "Zipping " + path + "...";
    const std::string encrypting = "Encrypting " + path + "...";
    const std::string decrypting = "Decrypting " + path + ".enz...";
    const std::string unzipping = "Unzipping " + path + ".enz...";
    std::vector<std::string> captions;
    for (const Frame& f : frames) captions.push_back(f.caption);
    EXPECT_EQ(distinctRuns(captions), (std::vector<std::string>{zipping, encrypting, decrypting, unzipping}));

    // Packing: the zip timer puts the bar 25 ahead of the zip's percentage.
    const std::vector<int> packing = barsDuring(frames, zipping);
    ASSERT_FALSE(packing.empty());
    EXPECT_EQ(packing.front(), 25);

    // Enciphering: the cipher reports 0 first and 100 last, and the bar
    // follows below its maximum until the step's finish fills it.
    const std::vector<int> encPercents = percentsDuring(frames, encrypting);
    ASSERT_GE(encPercents.size(), 50u);
    EXPECT_EQ(encPercents.front(), 0);
    EXPECT_EQ(encPercents.back(), 100);
    EXPECT_TRUE(strictlyIncreasing(encPercents));
    const std::vector<int> encBars = barsDuring(frames, encrypting);
    ASSERT_GE(encBars.size(), 10u);
    EXPECT_TRUE(strictlyIncreasing(encBars));
    EXPECT_EQ(encBars.back(), 100);
    EXPECT_EQ(encBars[encBars.size() - 2], 99);

    // Deciphering the same.
    const std::vector<int> decPercents = percentsDuring(frames, decrypting);
    ASSERT_GE(decPercents.size(), 50u);
    EXPECT_EQ(decPercents.front(), 0);
    EXPECT_EQ(decPercents.back(), 100);
    EXPECT_TRUE(strictlyIncreasing(decPercents));
    const std::vector<int> decBars = barsDuring(frames, decrypting);
    ASSERT_GE(decBars.size(), 10u);
    EXPECT_TRUE(strictlyIncreasing(decBars));
    EXPECT_EQ(decBars.back(), 99);  // a report of 100 is left to the finish

    EXPECT_FALSE(barsDuring(frames, unzipping).empty());
    EXPECT_FALSE(h.status.model().loaded);
}

}  // namespace
