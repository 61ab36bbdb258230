// Cancelling a job: the person presses Cancel while the window's events run
// (here at the k-th time they run, for every k of a whole job, sampled), and
// afterwards every source is there or is whole in a finished archive, nothing
// half made or temporary is left, and the job said it was cancelled.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "job_harness.h"

namespace {

namespace fs = std::filesystem;
using morvane::ScriptedUserInterface;
using morvane::jobtest::Harness;
using morvane::jobtest::makeArchive;
using morvane::jobtest::noiseOfSize;
using morvane::jobtest::openedContent;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

const std::string kPassword = "Cancel me 7";
const std::string kEncryptionCancelled = "Encryption cancelled by the user.";
const std::string kDecryptionCancelled = "Decryption cancelled by the user.";

// The names in `folder` (not below it).
std::set<std::string> namesIn(const std::string& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

bool said(const Harness& h, const std::string& text) {
    const auto& messages = h.ui.messages;
    return std::any_of(messages.begin(), messages.end(),
                       [&](const ScriptedUserInterface::Message& m) { return m.text == text; });
}

bool logged(const Harness& h, const std::string& text) {
    const auto lines = h.logExists() ? h.logLines() : std::vector<std::string>{};
    return std::find(lines.begin(), lines.end(), Harness::logLine(text)) != lines.end();
}

// The points at which to press Cancel: the first few event runs, the last
// few, and about forty spread between.
std::vector<int> cancelPoints(int eventRuns) {
    std::set<int> points;
    for (int k = 1; k <= std::min(eventRuns, 6); ++k) points.insert(k);
    for (int k = std::max(1, eventRuns - 4); k <= eventRuns + 1; ++k) points.insert(k);
    const int stride = std::max(1, eventRuns / 40);
    for (int k = 1; k <= eventRuns; k += stride) points.insert(k);
    return {points.begin(), points.end()};
}

// One run of a job with Cancel pressed at the k-th event run (never when k is 0).
struct CancelAt {
    explicit CancelAt(Harness& h, int k) {
        h.ui.onEventsRun = [&h, k, runs = 0]() mutable {
            if (++runs == k) h.status.requestCancel();
        };
    }
};

class CancelEncrypt : public ::testing::Test {
protected:
    const std::vector<std::pair<std::string, std::string>> files = {{"alpha.bin", noiseOfSize(700000, 11)},
                                                                    {"beta.txt", std::string(500000, 'b')},
                                                                    {"gamma.bin", noiseOfSize(400000, 3)}};

    // A fresh folder of sources and a harness for it.
    struct Run {
        TempDirectory dir{"cancel-enc"};
        std::string data = dir.file("data");
        Harness h{dir};
    };

    void writeSources(Run& r) const {
        fs::create_directories(r.data);
        std::vector<std::string> paths;
        for (const auto& [name, content] : files) {
            writeFile(r.data + "/" + name, content);
            paths.push_back(r.data + "/" + name);
        }
        r.h.list(paths);
        r.h.setPassword(kPassword);
        r.h.window.chkDelAfterEnc = true;
    }
};

TEST_F(CancelEncrypt, CombinedWithRemoveSourceKeepsEverySourceWhenCancelledAnywhere) {
    int eventRuns = 0;
    {
        Run r;
        writeSources(r);
        r.h.window.chkCreateOneZip = true;
        r.h.run.combinedArchivePath = r.data + "/all.enz";
        r.h.encrypt();
        eventRuns = r.h.ui.eventRuns;
        ASSERT_FALSE(fs::exists(r.data + "/alpha.bin"));  // the job runs whole when nobody cancels
        ASSERT_GT(eventRuns, 20);
    }
    int cancelled = 0;
    for (const int k : cancelPoints(eventRuns)) {
        SCOPED_TRACE("Cancel at event run " + std::to_string(k) + " of " + std::to_string(eventRuns));
        Run r;
        writeSources(r);
        r.h.window.chkCreateOneZip = true;
        const std::string archive = r.data + "/all.enz";
        r.h.run.combinedArchivePath = archive;
        CancelAt cancel(r.h, k);
        r.h.encrypt();

        EXPECT_FALSE(r.h.window.jobRunning);
        EXPECT_FALSE(r.h.status.model().loaded);  // the progress window has closed
        if (said(r.h, kEncryptionCancelled)) {
            ++cancelled;
            EXPECT_TRUE(logged(r.h, kEncryptionCancelled));
            EXPECT_TRUE(r.h.status.jobCancelled());
            // Every source as it was, and nothing else: no archive, no temporary.
            std::set<std::string> expected;
            for (const auto& [name, content] : files) {
                expected.insert(name);
                EXPECT_EQ(readFile(r.data + "/" + name), content) << name;
            }
            EXPECT_EQ(namesIn(r.data), expected);
            EXPECT_EQ(r.h.ui.messages.size(), 1u);
        } else {
            // Pressed after the last step that could stop: the job finished.
            EXPECT_FALSE(r.h.status.jobCancelled());
            EXPECT_EQ(namesIn(r.data), std::set<std::string>{"all.enz"});
            for (const auto& [name, content] : files)
                EXPECT_EQ(openedContent(archive, kPassword, r.dir.file("out"), name), content) << name;
        }
    }
    // Cancel pressed at all but the very last runs stops the job.
    EXPECT_GE(cancelled, static_cast<int>(cancelPoints(eventRuns).size()) - 6);
}

TEST_F(CancelEncrypt, OneArchivePerFileWithRemoveSourceKeepsEachFileWholeSomewhere) {
    int eventRuns = 0;
    {
        Run r;
        writeSources(r);
        r.h.encrypt();
        eventRuns = r.h.ui.eventRuns;
        ASSERT_GT(eventRuns, 20);
    }
    int cancelled = 0, someDone = 0;
    for (const int k : cancelPoints(eventRuns)) {
        SCOPED_TRACE("Cancel at event run " + std::to_string(k) + " of " + std::to_string(eventRuns));
        Run r;
        writeSources(r);
        CancelAt cancel(r.h, k);
        r.h.encrypt();

        const bool wasCancelled = said(r.h, kEncryptionCancelled);
        cancelled += wasCancelled ? 1 : 0;
        EXPECT_EQ(wasCancelled, logged(r.h, kEncryptionCancelled));
        EXPECT_FALSE(r.h.status.model().loaded);
        // Each file is either still its source, untouched and without an
        // archive, or gone into a finished archive that gives it back.
        std::set<std::string> expected;
        int done = 0;
        for (const auto& [name, content] : files) {
            const std::string source = r.data + "/" + name;
            if (fs::exists(source)) {
                expected.insert(name);
                EXPECT_EQ(readFile(source), content) << name;
            } else {
                ++done;
                expected.insert(name + ".enz");
                EXPECT_EQ(openedContent(source + ".enz", kPassword, r.dir.file("out"), name), content) << name;
            }
        }
        EXPECT_EQ(namesIn(r.data), expected);
        if (wasCancelled && done > 0 && done < 3) ++someDone;
        if (!wasCancelled) {
            EXPECT_EQ(done, 3);
        }
    }
    EXPECT_GE(cancelled, static_cast<int>(cancelPoints(eventRuns).size()) - 6);
    EXPECT_GT(someDone, 0);  // a cancel between files keeps the files done
}

TEST_F(CancelEncrypt, CancelBeforeTheJobReachesAFileChangesNothing) {
    Run r;
    writeSources(r);
    r.h.window.chkCreateOneZip = true;
    r.h.run.combinedArchivePath = r.data + "/all.enz";
    CancelAt cancel(r.h, 1);
    r.h.encrypt();
    ASSERT_EQ(r.h.ui.messages.size(), 1u);
    EXPECT_EQ(r.h.ui.messages[0],
              (ScriptedUserInterface::Message{kEncryptionCancelled, "Morvane", morvane::MessageIcon::Information}));
    EXPECT_EQ(r.h.logLines(), std::vector<std::string>{Harness::logLine(kEncryptionCancelled)});
    EXPECT_EQ(namesIn(r.data), (std::set<std::string>{"alpha.bin", "beta.txt", "gamma.bin"}));
}

// The moment before the sources go: the combined archive is written (under
// its temporary name) and enciphered whole, and is being read back.
TEST_F(CancelEncrypt, CancelWhileTheArchiveIsReadBackRemovesNoSource) {
    Run r;
    writeSources(r);
    r.h.window.chkCreateOneZip = true;
    r.h.run.combinedArchivePath = r.data + "/all.enz";
    bool pressed = false;
    r.h.ui.onEventsRun = [&] {
        if (pressed || r.h.run.progressPercent != 100 || !r.h.status.model().caption.starts_with("Encrypting ")) return;
        for (const std::string& name : namesIn(r.data))
            if (name.rfind(".~mv", 0) == 0) {
                pressed = true;
                r.h.status.requestCancel();
            }
    };
    r.h.encrypt();
    ASSERT_TRUE(pressed);
    EXPECT_TRUE(said(r.h, kEncryptionCancelled));
    for (const auto& [name, content] : files) EXPECT_EQ(readFile(r.data + "/" + name), content) << name;
    EXPECT_EQ(namesIn(r.data), (std::set<std::string>{"alpha.bin", "beta.txt", "gamma.bin"}));
}

TEST(CancelDecrypt, WithRemoveArchiveEveryArchiveOrAllItsFilesStay) {
    const std::vector<std::pair<std::string, std::string>> files = {{"one.bin", noiseOfSize(600000, 5)},
                                                                    {"two.txt", std::string(400000, 't')},
                                                                    {"three.bin", noiseOfSize(500000, 9)}};
    const auto prepare = [&](TempDirectory& dir, Harness& h) {
        const std::string data = dir.file("data");
        fs::create_directories(data);
        std::vector<std::string> archives;
        for (const auto& [name, content] : files)
            archives.push_back(makeArchive(data + "/" + name, content, kPassword));
        h.list(archives);
        h.setPassword(kPassword);
        h.window.chkRemoveEncFile = true;
        h.window.chkDecOutputDir = true;
        h.window.txtDecryptTo = dir.file("restored");
    };
    int eventRuns = 0;
    {
        TempDirectory dir("cancel-dec");
        Harness h(dir);
        prepare(dir, h);
        h.decrypt();
        eventRuns = h.ui.eventRuns;
        ASSERT_EQ(namesIn(dir.file("data")), std::set<std::string>{});
        ASSERT_GT(eventRuns, 20);
    }
    int cancelled = 0;
    for (const int k : cancelPoints(eventRuns)) {
        SCOPED_TRACE("Cancel at event run " + std::to_string(k) + " of " + std::to_string(eventRuns));
        TempDirectory dir("cancel-dec");
        Harness h(dir);
        prepare(dir, h);
        CancelAt cancel(h, k);
        h.decrypt();

        const bool wasCancelled = said(h, kDecryptionCancelled);
        cancelled += wasCancelled ? 1 : 0;
        EXPECT_EQ(wasCancelled, logged(h, kDecryptionCancelled));
        EXPECT_FALSE(h.status.model().loaded);
        const std::string restored = dir.file("restored");
        const std::set<std::string> out = fs::exists(restored) ? namesIn(restored) : std::set<std::string>{};
        std::set<std::string> archivesLeft, expectedOut;
        for (const auto& [name, content] : files) {
            // A file is written whole or not at all.
            if (out.count(name) != 0) {
                expectedOut.insert(name);
                EXPECT_EQ(readFile(restored + "/" + name), content) << name;
            }
            // An archive goes only when its file is in place.
            if (fs::exists(dir.file("data") + "/" + name + ".enz")) {
                archivesLeft.insert(name + ".enz");
            } else {
                EXPECT_EQ(out.count(name), 1u) << name << ": its archive went without it";
            }
        }
        EXPECT_EQ(out, expectedOut);  // nothing else in the folder: no temporary, no half-made file
        EXPECT_EQ(namesIn(dir.file("data")), archivesLeft);
        // No deciphered zip beside the output folder.
        for (const std::string& name : namesIn(dir.path().string()))
            EXPECT_EQ(name.find("~dec~"), std::string::npos) << name;
        if (!wasCancelled) {
            EXPECT_TRUE(archivesLeft.empty());
        }
    }
    EXPECT_GE(cancelled, static_cast<int>(cancelPoints(eventRuns).size()) - 6);
}

}  // namespace
