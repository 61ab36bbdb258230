// Scenario tests of the recent-files list: recent.lst in the program
// directory, the File menu built from it, and reopening an entry.
#include "recent_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "failure_points.h"
#include "file_list.h"
#include "main_window_model.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

using morvane::kDecryptTab;
using morvane::kEncryptTab;
using morvane::ListRow;
using morvane::MainWindowModel;
using morvane::MessageIcon;
using morvane::RecentFiles;
using morvane::ScriptedUserInterface;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

namespace fs = std::filesystem;

struct RecentFixture {
    TempDirectory programDir{"recent"};
    TempDirectory files{"recent-files"};
    RecentFiles recent{programDir.str()};
    MainWindowModel window;
    ScriptedUserInterface ui;

    std::string listFile() const { return programDir.file("recent.lst"); }
    bool listExists() const { return fs::exists(listFile()); }
    void record(const std::string& entry) { recent.updateRecentList(window, entry); }

    std::string makeFile(const std::string& name, std::size_t size = 10) const {
        const std::string path = files.file(name);
        writeFile(path, std::string(size, 'r'));
        return path;
    }
};

// The captions of the visible menu elements, in menu order.
std::vector<std::string> visibleCaptions(const MainWindowModel& window) {
    std::vector<std::string> captions;
    for (const auto& item : window.mnuRecent)
        if (item.visible) captions.push_back(item.caption);
    return captions;
}

void expectMenuShown(const MainWindowModel& window, bool shown) {
    EXPECT_EQ(window.mnuSep1Visible, shown);
    EXPECT_EQ(window.mnuSep2Visible, shown);
    EXPECT_EQ(window.mnuClearRecentVisible, shown);
}

// --- The file ----------------------------------------------------------------------

TEST(RecentFilesStore, LivesInTheProgramDirectory) {
    RecentFixture f;
    EXPECT_EQ(f.recent.path(), f.programDir.str() + "/recent.lst");
}

TEST(RecentFilesStore, FirstEntryIsOneLineEndingWithCrLf) {
    RecentFixture f;
    f.record("Encrypt /home/ann/report.doc");
    EXPECT_EQ(readFile(f.listFile()), "Encrypt /home/ann/report.doc\r\n");
}

TEST(RecentFilesStore, NewestEntryComesFirst) {
    RecentFixture f;
    f.record("Encrypt /a/one.txt");
    f.record("Decrypt /a/two.txt.enz");
    f.record("Encrypt /a/three.txt");
    EXPECT_EQ(readFile(f.listFile()), "Encrypt /a/three.txt\r\nDecrypt /a/two.txt.enz\r\nEncrypt /a/one.txt\r\n");
    EXPECT_EQ(f.recent.readEntries(),
              (std::vector<std::string>{"Encrypt /a/three.txt", "Decrypt /a/two.txt.enz", "Encrypt /a/one.txt"}));
}

TEST(RecentFilesStore, SameEntryTwiceLeavesOneLineAtTheTop) {
    RecentFixture f;
    f.record("Encrypt /a/one.txt");
    f.record("Encrypt /a/two.txt");
    f.record("Encrypt /a/three.txt");
    f.record("Encrypt /a/one.txt");
    EXPECT_EQ(readFile(f.listFile()), "Encrypt /a/one.txt\r\nEncrypt /a/three.txt\r\nEncrypt /a/two.txt\r\n");
}

TEST(RecentFilesStore, SameEntryRecordedTwiceInARow) {
    RecentFixture f;
    f.record("Decrypt /a/x.enz");
    f.record("Decrypt /a/x.enz");
    EXPECT_EQ(readFile(f.listFile()), "Decrypt /a/x.enz\r\n");
    EXPECT_EQ(visibleCaptions(f.window), (std::vector<std::string>{"1. Decrypt /a/x.enz"}));
}

TEST(RecentFilesStore, EleventhEntryDropsTheOldest) {
    RecentFixture f;
    for (int i = 1; i <= 10; ++i) f.record("Encrypt /a/file" + std::to_string(i) + ".txt");
    std::string expected;
    for (int i = 10; i >= 1; --i) expected += "Encrypt /a/file" + std::to_string(i) + ".txt\r\n";
    ASSERT_EQ(readFile(f.listFile()), expected);

    f.record("Encrypt /a/file11.txt");
    expected.clear();
    for (int i = 11; i >= 2; --i) expected += "Encrypt /a/file" + std::to_string(i) + ".txt\r\n";
    EXPECT_EQ(readFile(f.listFile()), expected);
    ASSERT_EQ(visibleCaptions(f.window).size(), 10u);
    EXPECT_EQ(f.window.mnuRecent[0].caption, "1. Encrypt /a/file11.txt");
    EXPECT_EQ(f.window.mnuRecent[9].caption, "10. Encrypt /a/file2.txt");
}

TEST(RecentFilesStore, RepeatingAnEntryOfAFullListLosesNothing) {
    RecentFixture f;
    for (int i = 1; i <= 10; ++i) f.record("Encrypt /a/file" + std::to_string(i) + ".txt");
    f.record("Encrypt /a/file5.txt");
    const std::vector<std::string> expected = {"Encrypt /a/file5.txt", "Encrypt /a/file10.txt", "Encrypt /a/file9.txt",
                                               "Encrypt /a/file8.txt", "Encrypt /a/file7.txt",  "Encrypt /a/file6.txt",
                                               "Encrypt /a/file4.txt", "Encrypt /a/file3.txt",  "Encrypt /a/file2.txt",
                                               "Encrypt /a/file1.txt"};
    EXPECT_EQ(f.recent.readEntries(), expected);
}

TEST(RecentFilesStore, DuplicateTestIsCaseSensitive) {
    RecentFixture f;
    f.record("Encrypt /X/A.TXT");
    f.record("Encrypt /x/a.txt");
    EXPECT_EQ(readFile(f.listFile()), "Encrypt /x/a.txt\r\nEncrypt /X/A.TXT\r\n");
    EXPECT_EQ(visibleCaptions(f.window), (std::vector<std::string>{"1. Encrypt /x/a.txt", "2. Encrypt /X/A.TXT"}));
}

TEST(RecentFilesStore, EncryptAndDecryptOfOnePathAreTwoEntries) {
    RecentFixture f;
    f.record("Encrypt /a/x.txt");
    f.record("Decrypt /a/x.txt");
    EXPECT_EQ(readFile(f.listFile()), "Decrypt /a/x.txt\r\nEncrypt /a/x.txt\r\n");
}

TEST(RecentFilesStore, EmptyEntryDoesNotCreateTheFile) {
    RecentFixture f;
    f.record("");
    EXPECT_FALSE(f.listExists());
    expectMenuShown(f.window, false);
    EXPECT_TRUE(visibleCaptions(f.window).empty());
}

TEST(RecentFilesStore, EmptyEntryShowsTheFileWithoutRewritingIt) {
    RecentFixture f;
    // Blanks around lines and empty lines, as a hand-edited list may hold.
    const std::string content = "  Encrypt /a/with blank.txt  \r\n\r\n   \r\nDecrypt /a/x.enz\r\n";
    writeFile(f.listFile(), content);
    f.record("");
    EXPECT_EQ(readFile(f.listFile()), content);
    expectMenuShown(f.window, true);
    EXPECT_EQ(visibleCaptions(f.window),
              (std::vector<std::string>{"1. Encrypt /a/with blank.txt", "2. Decrypt /a/x.enz"}));
}

TEST(RecentFilesStore, LinesBeyondTenAreIgnored) {
    RecentFixture f;
    std::string content;
    for (int i = 1; i <= 12; ++i) content += "Encrypt /a/f" + std::to_string(i) + "\r\n";
    writeFile(f.listFile(), content);
    f.record("");
    ASSERT_EQ(visibleCaptions(f.window).size(), 10u);
    EXPECT_EQ(f.window.mnuRecent[9].caption, "10. Encrypt /a/f10");

    f.record("Decrypt /a/new.enz");
    std::string expected = "Decrypt /a/new.enz\r\n";
    for (int i = 1; i <= 9; ++i) expected += "Encrypt /a/f" + std::to_string(i) + "\r\n";
    EXPECT_EQ(readFile(f.listFile()), expected);
}

TEST(RecentFilesStore, NoTemporaryFileIsLeftBeside) {
    RecentFixture f;
    for (int i = 0; i < 12; ++i) f.record("Encrypt /a/f" + std::to_string(i));
    f.record("Encrypt /a/f3");
    f.record("");
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(f.programDir.path()))
        names.push_back(entry.path().filename().string());
    EXPECT_EQ(names, (std::vector<std::string>{"recent.lst"}));
}

// --- The menu ------------------------------------------------------------------------

TEST(RecentFilesMenu, CaptionsAreNumberedEntriesWithSeparators) {
    RecentFixture f;
    expectMenuShown(f.window, false);
    f.record("Encrypt /a/one.txt");
    f.record("Decrypt /a/two.enz");
    expectMenuShown(f.window, true);
    EXPECT_EQ(f.window.mnuRecent[0].caption, "1. Decrypt /a/two.enz");
    EXPECT_EQ(f.window.mnuRecent[1].caption, "2. Encrypt /a/one.txt");
    EXPECT_TRUE(f.window.mnuRecent[0].visible);
    EXPECT_TRUE(f.window.mnuRecent[1].visible);
    for (std::size_t i = 2; i < f.window.mnuRecent.size(); ++i) EXPECT_FALSE(f.window.mnuRecent[i].visible) << i;
}

TEST(RecentFilesMenu, FileOfBlankLinesShowsNothing) {
    RecentFixture f;
    writeFile(f.listFile(), "\r\n   \r\n");
    f.record("");
    expectMenuShown(f.window, false);
    EXPECT_TRUE(visibleCaptions(f.window).empty());
}

TEST(RecentFilesMenu, ClearingHidesSeparatorsAndEntries) {
    RecentFixture f;
    f.record("Encrypt /a/one.txt");
    f.record("Encrypt /a/two.txt");
    f.record("Encrypt /a/three.txt");
    ASSERT_TRUE(f.window.mnuSep1Visible);
    f.recent.clearRecentList(f.window);
    EXPECT_FALSE(f.listExists());
    expectMenuShown(f.window, false);
    EXPECT_TRUE(visibleCaptions(f.window).empty());
}

TEST(RecentFilesMenu, RecordingAfterClearingStartsAfresh) {
    RecentFixture f;
    f.record("Encrypt /a/one.txt");
    f.record("Encrypt /a/two.txt");
    f.recent.clearRecentList(f.window);
    f.record("Decrypt /a/three.enz");
    EXPECT_EQ(readFile(f.listFile()), "Decrypt /a/three.enz\r\n");
    expectMenuShown(f.window, true);
    EXPECT_EQ(visibleCaptions(f.window), (std::vector<std::string>{"1. Decrypt /a/three.enz"}));
}

// --- Opening an entry ------------------------------------------------------------------

TEST(RecentFilesOpen, EncryptEntrySelectsTabZeroAndAddsTheFile) {
    RecentFixture f;
    const std::string path = f.makeFile("report.txt", 20);
    f.record("Encrypt " + path);
    f.window.currentTab = kDecryptTab;
    f.recent.openRecentEntry(f.window, f.ui, 0);
    EXPECT_EQ(f.window.currentTab, kEncryptTab);
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{path, "20 Bytes", "Text file"}));
    EXPECT_TRUE(f.ui.messages.empty());
}

TEST(RecentFilesOpen, DecryptEntrySelectsTabOne) {
    RecentFixture f;
    const std::string path = f.makeFile("report.txt.enz", 32);
    f.record("Decrypt " + path);
    f.window.currentTab = kEncryptTab;
    f.recent.openRecentEntry(f.window, f.ui, 0);
    EXPECT_EQ(f.window.currentTab, kDecryptTab);
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{path + " (encrypted zip)", "32 Bytes", "Encrypted zip file"}));
}

TEST(RecentFilesOpen, EntryFurtherDownTheMenu) {
    RecentFixture f;
    const std::string first = f.makeFile("first.txt", 1);
    const std::string second = f.makeFile("second.txt", 2);
    f.record("Encrypt " + first);
    f.record("Decrypt " + second);
    // Element 1 is the older entry.
    f.recent.openRecentEntry(f.window, f.ui, 1);
    EXPECT_EQ(f.window.currentTab, kEncryptTab);
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0].text, first);
}

TEST(RecentFilesOpen, PathWithBlanksOpensCorrectly) {
    RecentFixture f;
    fs::create_directories(f.files.path() / "my documents");
    const std::string path = f.makeFile("my documents/annual report.txt", 5);
    f.record("Encrypt " + path);
    f.recent.openRecentEntry(f.window, f.ui, 0);
    EXPECT_TRUE(f.ui.messages.empty());
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{path, "5 Bytes", "Text file"}));
}

TEST(RecentFilesOpen, AppendsToTheListAndSkipsDuplicates) {
    RecentFixture f;
    const std::string listed = f.makeFile("listed.txt", 3);
    const std::string other = f.makeFile("other.txt", 4);
    morvane::populateList(f.window, listed, true);
    f.record("Encrypt " + listed);
    f.recent.openRecentEntry(f.window, f.ui, 0);
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0].text, listed);

    f.record("Encrypt " + other);
    f.recent.openRecentEntry(f.window, f.ui, 0);
    ASSERT_EQ(f.window.lstFiles.size(), 2u);
    EXPECT_EQ(f.window.lstFiles[0].text, listed);
    EXPECT_EQ(f.window.lstFiles[1].text, other);
    EXPECT_TRUE(f.ui.messages.empty());
}

TEST(RecentFilesOpen, MissingFileIsReportedAndListLeftAsItWas) {
    RecentFixture f;
    const std::string listed = f.makeFile("listed.txt", 3);
    morvane::populateList(f.window, listed, true);
    const auto rowsBefore = f.window.lstFiles;
    const auto panelsBefore = f.window.sbStatusBar;
    const std::string gone = f.files.file("gone away.enz");
    f.record("Decrypt " + gone);

    f.recent.openRecentEntry(f.window, f.ui, 0);

    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_EQ(f.ui.messages[0].text, "Unable to locate " + gone + ".");
    EXPECT_EQ(f.ui.messages[0].title, "Morvane");
    EXPECT_EQ(f.ui.messages[0].icon, MessageIcon::Information);
    EXPECT_EQ(f.window.lstFiles, rowsBefore);
    EXPECT_EQ(f.window.sbStatusBar, panelsBefore);
    EXPECT_EQ(f.window.currentTab, kDecryptTab);
}

TEST(RecentFilesOpen, OpeningDoesNotChangeTheRecordedList) {
    RecentFixture f;
    const std::string a = f.makeFile("a.txt");
    const std::string b = f.makeFile("b.txt");
    f.record("Encrypt " + a);
    f.record("Encrypt " + b);
    const std::string before = readFile(f.listFile());
    f.recent.openRecentEntry(f.window, f.ui, 1);
    EXPECT_EQ(readFile(f.listFile()), before);
}

// The list is either the old one or the new one, whatever fails on the way.
TEST(RecentFilesStore, EveryFailureLeavesTheOldListWhole) {
    RecentFixture f;
    f.record("Encrypt /a");
    const std::string before = readFile(f.listFile());
    morvane::FailurePoints::reset();
    f.record("Decrypt /b");
    const std::string after = readFile(f.listFile());
    const std::uint64_t steps = morvane::FailurePoints::passed();
    ASSERT_GE(steps, 4u);
    for (std::uint64_t k = 1; k <= steps; ++k) {
        writeFile(f.listFile(), before);
        morvane::FailurePoints::arm(k);
        f.record("Decrypt /b");
        morvane::FailurePoints::reset();
        const std::string now = readFile(f.listFile());
        EXPECT_TRUE(now == before || now == after) << k;
        for (const auto& entry : fs::directory_iterator(f.programDir.path()))
            EXPECT_EQ(entry.path().filename(), "recent.lst");
    }
}

}  // namespace
