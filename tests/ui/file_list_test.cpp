// Scenario tests of the file list lstFiles: the file-open dialog's result,
// duplicate detection, the "(encrypted zip)" marker, the size and type
// columns, toolbar button 3 and the status bar summary. Every test works on
// real files in a fresh temporary directory.
#include "file_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "activity_log.h"
#include "main_window_model.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

using morvane::ActivityLog;
using morvane::FileOpenResult;
using morvane::ListRow;
using morvane::MainWindowModel;
using morvane::MessageIcon;
using morvane::RunState;
using morvane::ScriptedUserInterface;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

namespace fs = std::filesystem;

const std::string kSep = "~-!-~";

std::string fixedDate() { return "01/02/2024 10:00:00"; }

// Creates a file of `size` bytes and returns its path.
std::string makeFile(const TempDirectory& dir, const std::string& name, std::size_t size = 10) {
    const std::string path = dir.file(name);
    writeFile(path, std::string(size, 'x'));
    return path;
}

std::vector<std::string> rowTexts(const MainWindowModel& window) {
    std::vector<std::string> texts;
    for (const ListRow& row : window.lstFiles) texts.push_back(row.text);
    return texts;
}

bool hasNoCapitals(const std::string& s) {
    return std::none_of(s.begin(), s.end(), [](char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; });
}

// The dialog's result for several files: the directory, then each name,
// separated by NUL characters.
std::string multipleChoice(const std::string& directory, const std::vector<std::string>& names) {
    std::string result = directory;
    for (const std::string& name : names) {
        result += '\0';
        result += name;
    }
    return result;
}

// The lines of the activity log, each without its line break.
std::vector<std::string> logLines(const ActivityLog& log) {
    const std::string content = readFile(log.logPath());
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < content.size()) {
        auto end = content.find('\n', start);
        if (end == std::string::npos) end = content.size();
        std::string line = content.substr(start, end - start);
        if (line.ends_with('\r')) line.pop_back();
        lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

// A window, a scripted person, a log and the run state, as the main window
// hands them to addFiles.
struct ListFixture {
    TempDirectory dir{"filelist"};
    TempDirectory logDir{"filelist-log"};
    MainWindowModel window;
    ScriptedUserInterface ui;
    ActivityLog log{logDir.str(), fixedDate};
    RunState run;

    void chooseOnce(const std::string& fileName) { ui.openResults.push_back(FileOpenResult{fileName, false}); }
    void add(const std::string& kind = "*") { morvane::addFiles(window, ui, log, run, kind); }
};

// --- Encryption strength -----------------------------------------------------

TEST(FileListStrength, FiftySixCharactersGive448Bits) {
    EXPECT_EQ(morvane::encryptionStrengthText(std::string(56, 'p')), "Encryption Strength: 448 Bit ");
}

TEST(FileListStrength, SevenCharactersGive56Bits) {
    EXPECT_EQ(morvane::encryptionStrengthText("abcdefg"), "Encryption Strength: 56 Bit ");
}

TEST(FileListStrength, EmptyPasswordGivesZero) {
    EXPECT_EQ(morvane::encryptionStrengthText(""), "Encryption Strength: 0 Bit ");
}

TEST(FileListStrength, BlanksCountAsCharacters) {
    EXPECT_EQ(morvane::encryptionStrengthText("  a  "), "Encryption Strength: 40 Bit ");
    EXPECT_EQ(morvane::encryptionStrengthText(" "), "Encryption Strength: 8 Bit ");
}

TEST(FileListStrength, CountsCharactersNotBytes) {
    // "é" and "€" are two and three bytes in UTF-8 but one character each.
    EXPECT_EQ(morvane::encryptionStrengthText("é€a"), "Encryption Strength: 24 Bit ");
}

TEST(FileListStrength, PasswordChangeSetsPanelThree) {
    MainWindowModel window;
    window.txtPassword = "secret";
    morvane::passwordChanged(window);
    EXPECT_EQ(window.sbStatusBar[2], "Encryption Strength: 48 Bit ");
    window.txtPassword.clear();
    morvane::passwordChanged(window);
    EXPECT_EQ(window.sbStatusBar[2], "Encryption Strength: 0 Bit ");
}

// --- The dialog ----------------------------------------------------------------

TEST(FileListDialog, AllFilesFilterForKindStar) {
    ListFixture f;
    f.window.dlgSrcFilesTitle = "Add Files to Encrypt";
    f.add("*");
    ASSERT_EQ(f.ui.openRequests.size(), 1u);
    EXPECT_EQ(f.ui.openRequests[0].title, "Add Files to Encrypt");
    EXPECT_EQ(f.ui.openRequests[0].filter, "All Files|*.*");
    EXPECT_TRUE(f.ui.openRequests[0].allowMultiple);
}

TEST(FileListDialog, EncryptedZipFilterForAnyOtherKind) {
    ListFixture f;
    f.window.dlgSrcFilesTitle = "Add Files to Decrypt";
    f.add("enz");
    f.add(".enz");
    ASSERT_EQ(f.ui.openRequests.size(), 2u);
    for (const auto& request : f.ui.openRequests) {
        EXPECT_EQ(request.title, "Add Files to Decrypt");
        EXPECT_EQ(request.filter, "Encrypted Zip Files|*.enz");
        EXPECT_TRUE(request.allowMultiple);
    }
}

TEST(FileListDialog, TitleIsWhateverTheDialogLastHeld) {
    ListFixture f;
    f.window.dlgSrcFilesTitle = "Add Files to Encrypt";
    f.add("enz");  // the toolbar's decrypt button does not set a title
    ASSERT_EQ(f.ui.openRequests.size(), 1u);
    EXPECT_EQ(f.ui.openRequests[0].title, "Add Files to Encrypt");
    EXPECT_EQ(f.ui.openRequests[0].filter, "Encrypted Zip Files|*.enz");
}

TEST(FileListDialog, CancelledDialogChangesNothing) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 5);
    morvane::populateList(f.window, a, true);
    f.window.toolbarDeleteEnabled = true;
    f.window.selectedRow = 0;
    f.window.sbStatusBar[0] = "panel one";
    const MainWindowModel before = f.window;

    f.add("*");  // no scripted result: the person cancels

    ASSERT_EQ(f.ui.openRequests.size(), 1u);
    EXPECT_EQ(f.window.lstFiles, before.lstFiles);
    EXPECT_EQ(f.window.sbStatusBar, before.sbStatusBar);
    EXPECT_EQ(f.window.toolbarDeleteEnabled, before.toolbarDeleteEnabled);
    EXPECT_EQ(f.window.selectedRow, before.selectedRow);
    EXPECT_TRUE(f.ui.messages.empty());
}

TEST(FileListDialog, CancelledDialogOnEmptyListLeavesButtonThreeOff) {
    ListFixture f;
    f.add("*");
    EXPECT_TRUE(f.window.lstFiles.empty());
    EXPECT_FALSE(f.window.toolbarDeleteEnabled);
}

// --- Single choice -------------------------------------------------------------

TEST(FileListSingleChoice, LowerCasePathIsListedAsChosen) {
    ListFixture f;
    ASSERT_TRUE(hasNoCapitals(f.dir.str()));
    const std::string path = makeFile(f.dir, "report.txt", 1003);
    f.chooseOnce(path);
    f.add("*");
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{path, "1003 Bytes", "Text file"}));
    EXPECT_TRUE(f.window.toolbarDeleteEnabled);
    EXPECT_TRUE(f.ui.messages.empty());
}

// A single choice is listed lower-cased. Linux file systems tell letter case
// apart, so the lowered path is used only where it still names the chosen
// file; otherwise the path stays as chosen, or the file would be lost.
TEST(FileListSingleChoice, CapitalsAreKeptWhenOnlyThatSpellingExists) {
    ListFixture f;
    ASSERT_TRUE(hasNoCapitals(f.dir.str()));
    const std::string path = makeFile(f.dir, "Report.TXT", 7);
    f.chooseOnce(path);
    f.add("*");
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{path, "7 Bytes", "Text file"}));
}

TEST(FileListSingleChoice, CapitalsAreKeptWhenTheLoweredPathIsAnotherFile) {
    ListFixture f;
    ASSERT_TRUE(hasNoCapitals(f.dir.str()));
    const std::string upper = makeFile(f.dir, "Both.txt", 3);
    makeFile(f.dir, "both.txt", 9);
    f.chooseOnce(upper);
    f.add("*");
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{upper, "3 Bytes", "Text file"}));
}

TEST(FileListSingleChoice, LoweredWhenTheLoweredPathNamesTheSameFile) {
    ListFixture f;
    ASSERT_TRUE(hasNoCapitals(f.dir.str()));
    // A link under the capitalised name plays the part of a file system that
    // ignores letter case: both spellings reach one file.
    const std::string lower = makeFile(f.dir, "notes.txt", 4);
    std::error_code ec;
    fs::create_symlink("notes.txt", f.dir.path() / "NOTES.TXT", ec);
    ASSERT_FALSE(ec) << ec.message();
    f.chooseOnce(f.dir.file("NOTES.TXT"));
    f.add("*");
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{lower, "4 Bytes", "Text file"}));
}

TEST(FileListSingleChoice, MissingFileIsDroppedSilently) {
    ListFixture f;
    f.chooseOnce(f.dir.file("gone.txt"));
    f.add("*");
    EXPECT_TRUE(f.window.lstFiles.empty());
    EXPECT_TRUE(f.ui.messages.empty());
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 1  ");
}

// --- Multiple choice -----------------------------------------------------------

TEST(FileListMultipleChoice, PathsAreDirectoryPlusSeparatorPlusName) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 1);
    const std::string b = makeFile(f.dir, "b.txt", 2);
    f.ui.openResults.push_back(FileOpenResult{multipleChoice(f.dir.str(), {"a.txt", "b.txt"}), false});
    f.add("*");
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{f.dir.str() + "/a.txt", f.dir.str() + "/b.txt"}));
    EXPECT_TRUE(f.window.toolbarDeleteEnabled);
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 2  ");
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size: 3 Bytes  ");
}

TEST(FileListMultipleChoice, NamesKeepTheirCase) {
    ListFixture f;
    makeFile(f.dir, "Mixed.TXT", 1);
    makeFile(f.dir, "Other.Doc", 1);
    f.ui.openResults.push_back(FileOpenResult{multipleChoice(f.dir.str(), {"Mixed.TXT", "Other.Doc"}), false});
    f.add("*");
    ASSERT_EQ(f.window.lstFiles.size(), 2u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{f.dir.str() + "/Mixed.TXT", "1 Bytes", "Text file"}));
    EXPECT_EQ(f.window.lstFiles[1], (ListRow{f.dir.str() + "/Other.Doc", "1 Bytes", "doc file"}));
}

TEST(FileListMultipleChoice, DirectoryEndingInSeparatorGivesDoubledSeparator) {
    // The dialog names a root directory with its closing separator ("/");
    // the separator added to every directory then doubles it.
    ListFixture f;
    makeFile(f.dir, "a.txt", 1);
    makeFile(f.dir, "b.txt", 1);
    f.ui.openResults.push_back(FileOpenResult{multipleChoice(f.dir.str() + "/", {"a.txt", "b.txt"}), false});
    f.add("*");
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{f.dir.str() + "//a.txt", f.dir.str() + "//b.txt"}));
}

TEST(FileListMultipleChoice, RootDirectoryChoiceOfMissingNamesAddsNothing) {
    ListFixture f;
    ASSERT_FALSE(fs::exists("/morvane-no-such-file-a"));
    ASSERT_FALSE(fs::exists("/morvane-no-such-file-b"));
    f.ui.openResults.push_back(
        FileOpenResult{multipleChoice("/", {"morvane-no-such-file-a", "morvane-no-such-file-b"}), false});
    f.add("*");
    EXPECT_TRUE(f.window.lstFiles.empty());
    EXPECT_TRUE(f.ui.messages.empty());
    // Both paths reached the list: the batch counts them.
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 2  ");
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size:   ");
}

TEST(FileListMultipleChoice, OtherCaseOfListedFileIsSkippedAsDuplicate) {
    ListFixture f;
    const std::string lower = makeFile(f.dir, "a.txt", 5);
    makeFile(f.dir, "A.TXT", 6);
    makeFile(f.dir, "b.txt", 7);
    morvane::populateList(f.window, lower, true);
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    f.ui.openResults.push_back(FileOpenResult{multipleChoice(f.dir.str(), {"A.TXT", "b.txt"}), false});
    f.add("*");
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{lower, f.dir.str() + "/b.txt"}));
}

// --- Too many files ------------------------------------------------------------

const std::regex kTooManyFiles(
    "The maximum number of files that Morvane can encrypt or decrypt at one time is [0-9]+ files\\. "
    "Please reduce the number of selected items and then try again\\.");

TEST(FileListTooManyFiles, ShownAndLoggedAndNothingAdded) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 5);
    f.ui.openResults.push_back(FileOpenResult{multipleChoice(f.dir.str(), {"a.txt"}), true});
    f.add("*");

    EXPECT_TRUE(f.window.lstFiles.empty());
    ASSERT_EQ(f.ui.messages.size(), 1u);
    const auto& message = f.ui.messages[0];
    EXPECT_TRUE(std::regex_match(message.text, kTooManyFiles)) << message.text;
    EXPECT_EQ(message.title, "Morvane");
    EXPECT_EQ(message.icon, MessageIcon::Exclamation);
    EXPECT_EQ(logLines(f.log), (std::vector<std::string>{fixedDate() + " " + message.text}));
    EXPECT_TRUE(readFile(f.log.logPath()).ends_with("\n"));
}

TEST(FileListTooManyFiles, OnlyLoggedInACommandLineRun) {
    ListFixture f;
    f.run.commandLineRun = true;
    makeFile(f.dir, "a.txt", 5);
    f.ui.openResults.push_back(FileOpenResult{multipleChoice(f.dir.str(), {"a.txt"}), true});
    f.add("*");

    EXPECT_TRUE(f.window.lstFiles.empty());
    EXPECT_TRUE(f.ui.messages.empty());
    const std::vector<std::string> lines = logLines(f.log);
    ASSERT_EQ(lines.size(), 1u);
    const std::string prefix = fixedDate() + " ";
    ASSERT_TRUE(lines[0].starts_with(prefix)) << lines[0];
    EXPECT_TRUE(std::regex_match(lines[0].substr(prefix.size()), kTooManyFiles)) << lines[0];
}

TEST(FileListTooManyFiles, ExistingRowsStay) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 5);
    makeFile(f.dir, "b.txt", 5);
    morvane::populateList(f.window, a, true);
    const auto rows = f.window.lstFiles;
    const auto panels = f.window.sbStatusBar;
    f.ui.openResults.push_back(FileOpenResult{multipleChoice(f.dir.str(), {"b.txt"}), true});
    f.add("*");
    EXPECT_EQ(f.window.lstFiles, rows);
    EXPECT_EQ(f.window.sbStatusBar, panels);
}

// --- Duplicates and the archive marker -----------------------------------------

TEST(FileListDuplicates, OtherLetterCaseIsSkipped) {
    ListFixture f;
    const std::string lower = makeFile(f.dir, "a.txt", 5);
    const std::string upper = makeFile(f.dir, "A.TXT", 6);
    morvane::populateList(f.window, lower, true);
    morvane::populateList(f.window, upper, true);
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{lower}));
    // The skipped path still counts in the batch; its size does not.
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 1  ");
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size:   ");
}

TEST(FileListDuplicates, SamePathTwiceIsSkipped) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 5);
    const std::string b = makeFile(f.dir, "b.txt", 5);
    morvane::populateList(f.window, a + kSep + b + kSep, true);
    morvane::populateList(f.window, b, true);
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{a, b}));
}

TEST(FileListDuplicates, ListedArchiveAddedAgainAppearsTwice) {
    ListFixture f;
    const std::string archive = makeFile(f.dir, "a.enz", 16);
    morvane::populateList(f.window, archive, true);
    morvane::populateList(f.window, archive, true);
    EXPECT_EQ(rowTexts(f.window),
              (std::vector<std::string>{archive + " (encrypted zip)", archive + " (encrypted zip) "}));
}

TEST(FileListMarker, FirstRowOfEmptyListHasNoTrailingBlank) {
    ListFixture f;
    const std::string archive = makeFile(f.dir, "a.enz", 16);
    morvane::populateList(f.window, archive, true);
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{archive + " (encrypted zip)", "16 Bytes", "Encrypted zip file"}));
}

TEST(FileListMarker, RowAddedToFilledListEndsWithBlank) {
    ListFixture f;
    const std::string plain = makeFile(f.dir, "a.txt", 1);
    const std::string archive = makeFile(f.dir, "b.enz", 24);
    morvane::populateList(f.window, plain, true);
    morvane::populateList(f.window, archive, true);
    ASSERT_EQ(f.window.lstFiles.size(), 2u);
    EXPECT_EQ(f.window.lstFiles[0].text, plain);
    EXPECT_EQ(f.window.lstFiles[1], (ListRow{archive + " (encrypted zip) ", "24 Bytes", "Encrypted zip file"}));
}

TEST(FileListMarker, NonAppendingBatchStartsFromAnEmptyList) {
    ListFixture f;
    const std::string plain = makeFile(f.dir, "a.txt", 1);
    const std::string archive = makeFile(f.dir, "b.enz", 24);
    morvane::populateList(f.window, plain, true);
    morvane::populateList(f.window, archive, false);
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{archive + " (encrypted zip)"}));
}

TEST(FileListMarker, EnzInDirectoryNameMarksTheRow) {
    ListFixture f;
    fs::create_directories(f.dir.path() / "x.enz.d");
    const std::string path = makeFile(f.dir, "x.enz.d/file.txt", 2);
    morvane::populateList(f.window, path, true);
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{path + " (encrypted zip)", "2 Bytes", "Text file"}));
}

TEST(FileListMarker, MarkerTestIsCaseSensitive) {
    ListFixture f;
    const std::string path = makeFile(f.dir, "OLD.ENZ", 8);
    morvane::populateList(f.window, path, true);
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{path, "8 Bytes", "Encrypted zip file"}));
}

// --- Size and type columns -----------------------------------------------------

TEST(FileListColumns, SizeTextsOfRealFiles) {
    ListFixture f;
    const std::string empty = makeFile(f.dir, "empty.txt", 0);
    const std::string small = makeFile(f.dir, "small.txt", 1003);
    const std::string kilo = makeFile(f.dir, "kilo.txt", 1004);
    const std::string two = makeFile(f.dir, "two.txt", 2048);
    morvane::populateList(f.window, empty + kSep + small + kSep + kilo + kSep + two + kSep, true);
    ASSERT_EQ(f.window.lstFiles.size(), 4u);
    EXPECT_EQ(f.window.lstFiles[0].size, "");
    EXPECT_EQ(f.window.lstFiles[1].size, "1003 Bytes");
    EXPECT_EQ(f.window.lstFiles[2].size, ".98 KBytes");
    EXPECT_EQ(f.window.lstFiles[3].size, "2 KBytes");
    // 4055 bytes in all: 3.9599 KBytes, rounded to two decimals.
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size: 3.96 KBytes  ");
}

TEST(FileListColumns, NameWithoutDotTakesFirstThreeCharactersOfThePath) {
    ListFixture f;
    const std::string path = makeFile(f.dir, "readme", 1);
    ASSERT_EQ(path.find('.'), std::string::npos) << "the temporary directory must be free of dots";
    morvane::populateList(f.window, path, true);
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0].type, path.substr(0, 3) + " file");
}

TEST(FileListColumns, HiddenFileIsMarkedInTheTypeColumn) {
    ListFixture f;
    const std::string path = makeFile(f.dir, ".secret.txt", 1);
    morvane::populateList(f.window, path, true);
    ASSERT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_EQ(f.window.lstFiles[0].type, "Text file (hidden)");
}

// --- Summary -------------------------------------------------------------------

TEST(FileListSummary, ThreeAddedToTenReportsTheBatch) {
    ListFixture f;
    std::string first;
    for (int i = 0; i < 10; ++i) first += makeFile(f.dir, "old" + std::to_string(i) + ".txt", 50) + kSep;
    morvane::populateList(f.window, first, true);
    ASSERT_EQ(f.window.lstFiles.size(), 10u);
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 10  ");
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size: 500 Bytes  ");

    f.window.txtPassword = "abcdefg";
    const std::string batch = makeFile(f.dir, "new1.txt", 100) + kSep + makeFile(f.dir, "new2.txt", 200) + kSep +
                              makeFile(f.dir, "new3.txt", 724) + kSep;
    morvane::populateList(f.window, batch, true);
    EXPECT_EQ(f.window.lstFiles.size(), 13u);
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 3  ");
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size: 1 KBytes  ");
    EXPECT_EQ(f.window.sbStatusBar[2], "Encryption Strength: 56 Bit ");
}

TEST(FileListSummary, AddFilesReportsTheChosenBatch) {
    ListFixture f;
    morvane::populateList(f.window, makeFile(f.dir, "old.txt", 900), true);
    makeFile(f.dir, "n1.txt", 10);
    makeFile(f.dir, "n2.txt", 20);
    makeFile(f.dir, "n3.txt", 30);
    f.ui.openResults.push_back(FileOpenResult{multipleChoice(f.dir.str(), {"n1.txt", "n2.txt", "n3.txt"}), false});
    f.add("*");
    EXPECT_EQ(f.window.lstFiles.size(), 4u);
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 3  ");
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size: 60 Bytes  ");
}

TEST(FileListSummary, MissingAndDuplicatePathsCountButAddNoSize) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 100);
    const std::string b = makeFile(f.dir, "b.txt", 200);
    morvane::populateList(f.window, a, true);
    morvane::populateList(f.window, a + kSep + f.dir.file("missing.txt") + kSep + b + kSep, true);
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{a, b}));
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 3  ");
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size: 200 Bytes  ");
}

TEST(FileListSummary, AnEmptyPathListCountsNoItems) {
    ListFixture f;
    morvane::populateList(f.window, makeFile(f.dir, "a.txt", 100), true);
    for (const std::string empty : {"", "~-!-~"}) {
        morvane::populateList(f.window, empty, true);
        EXPECT_EQ(f.window.lstFiles.size(), 1u);
        EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 0  ") << '"' << empty << '"';
        EXPECT_EQ(f.window.sbStatusBar[1], "Total size:   ");
    }
    morvane::populateList(f.window, "", false);
    EXPECT_TRUE(f.window.lstFiles.empty());
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 0  ");
}

TEST(FileListSummary, MissingPathsAreSkippedSilently) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 1);
    f.ui.openResults.push_back(FileOpenResult{multipleChoice(f.dir.str(), {"gone1.txt", "a.txt", "gone2"}), false});
    f.add("*");
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{a}));
    EXPECT_TRUE(f.ui.messages.empty());
    EXPECT_TRUE(f.ui.questions.empty());
}

// --- Toolbar button 3 ------------------------------------------------------------

TEST(FileListToolbar, SingleChoiceEnablesButtonThree) {
    ListFixture f;
    f.chooseOnce(makeFile(f.dir, "a.txt"));
    ASSERT_FALSE(f.window.toolbarDeleteEnabled);
    f.add("*");
    EXPECT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_TRUE(f.window.toolbarDeleteEnabled);
}

TEST(FileListToolbar, MultipleChoiceEnablesButtonThree) {
    ListFixture f;
    makeFile(f.dir, "a.txt");
    makeFile(f.dir, "b.txt");
    f.ui.openResults.push_back(FileOpenResult{multipleChoice(f.dir.str(), {"a.txt", "b.txt"}), false});
    f.add("*");
    EXPECT_EQ(f.window.lstFiles.size(), 2u);
    EXPECT_TRUE(f.window.toolbarDeleteEnabled);
}

TEST(FileListToolbar, AppendingToFilledListEnablesButtonThree) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt");
    const std::string b = makeFile(f.dir, "b.txt");
    morvane::populateList(f.window, a, true);
    f.window.toolbarDeleteEnabled = false;
    morvane::populateList(f.window, b, true);
    EXPECT_TRUE(f.window.toolbarDeleteEnabled);
}

TEST(FileListToolbar, BatchOfSeveralPathsEnablesButtonThree) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt");
    const std::string b = makeFile(f.dir, "b.txt");
    morvane::populateList(f.window, a + kSep + b, false);
    EXPECT_EQ(f.window.lstFiles.size(), 2u);
    EXPECT_TRUE(f.window.toolbarDeleteEnabled);
}

TEST(FileListToolbar, RemovingTheLastRowDisablesButtonThree) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt");
    const std::string b = makeFile(f.dir, "b.txt");
    morvane::populateList(f.window, a + kSep + b, true);
    ASSERT_TRUE(f.window.toolbarDeleteEnabled);
    morvane::removeItem(f.window, 1);
    EXPECT_TRUE(f.window.toolbarDeleteEnabled);
    morvane::removeItem(f.window, 1);
    EXPECT_TRUE(f.window.lstFiles.empty());
    EXPECT_FALSE(f.window.toolbarDeleteEnabled);
}

TEST(FileListToolbar, RefreshOfEmptyListDisablesButtonThree) {
    MainWindowModel window;
    window.toolbarDeleteEnabled = true;
    morvane::refreshList(window);
    EXPECT_TRUE(window.lstFiles.empty());
    EXPECT_FALSE(window.toolbarDeleteEnabled);
}

TEST(FileListToolbar, RefreshOfFilledListEnablesButtonThree) {
    ListFixture f;
    morvane::populateList(f.window, makeFile(f.dir, "a.txt"), true);
    f.window.toolbarDeleteEnabled = false;
    morvane::refreshList(f.window);
    EXPECT_EQ(f.window.lstFiles.size(), 1u);
    EXPECT_TRUE(f.window.toolbarDeleteEnabled);
}

TEST(FileListToolbar, ClearEmptiesTheListAndDisablesButtonThree) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt");
    const std::string b = makeFile(f.dir, "b.txt");
    morvane::populateList(f.window, a + kSep + b, true);
    f.window.sbStatusBar[0] = "Total items selected: 2  ";
    morvane::clearList(f.window);
    EXPECT_TRUE(f.window.lstFiles.empty());
    EXPECT_FALSE(f.window.toolbarDeleteEnabled);
    // The clear command leaves the status bar as it was.
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 2  ");
}

// --- Removing rows and rebuilding ------------------------------------------------

TEST(FileListRemove, IndexIsOneBased) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt");
    const std::string b = makeFile(f.dir, "b.txt");
    const std::string c = makeFile(f.dir, "c.txt");
    morvane::populateList(f.window, a + kSep + b + kSep + c, true);
    morvane::removeItem(f.window, 2);
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{a, c}));
    morvane::removeItem(f.window, 1);
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{c}));
}

TEST(FileListRemove, EmptyListIsLeftAlone) {
    MainWindowModel window;
    morvane::removeItem(window, 1);
    EXPECT_TRUE(window.lstFiles.empty());
    EXPECT_FALSE(window.toolbarDeleteEnabled);
}

TEST(FileListRemove, ClickShowsRowTextInPanelOne) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt");
    const std::string archive = makeFile(f.dir, "b.enz");
    morvane::populateList(f.window, a + kSep + archive, true);
    morvane::clickRow(f.window, 1);
    EXPECT_EQ(f.window.selectedRow, 1);
    EXPECT_EQ(f.window.sbStatusBar[0], archive + " (encrypted zip) ");
    morvane::clickRow(f.window, 0);
    EXPECT_EQ(f.window.sbStatusBar[0], a);
}

TEST(FileListRemove, DeleteKeyRemovesSelectedRowAndRebuilds) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 100);
    const std::string b = makeFile(f.dir, "b.txt", 200);
    const std::string c = makeFile(f.dir, "c.txt", 300);
    morvane::populateList(f.window, a + kSep + b + kSep + c, true);
    morvane::clickRow(f.window, 1);
    morvane::deleteKeyOnList(f.window);
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{a, c}));
    EXPECT_TRUE(f.window.toolbarDeleteEnabled);
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 2  ");
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size: 400 Bytes  ");
    EXPECT_TRUE(f.ui.questions.empty());
}

TEST(FileListRemove, DeleteKeyOnLastRowEmptiesTheList) {
    ListFixture f;
    morvane::populateList(f.window, makeFile(f.dir, "a.txt"), true);
    f.window.toolbarDeleteEnabled = true;
    morvane::clickRow(f.window, 0);
    morvane::deleteKeyOnList(f.window);
    EXPECT_TRUE(f.window.lstFiles.empty());
    EXPECT_FALSE(f.window.toolbarDeleteEnabled);
}

TEST(FileListRefresh, SummaryDescribesTheWholeList) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 100);
    const std::string b = makeFile(f.dir, "b.txt", 200);
    morvane::populateList(f.window, a, true);
    morvane::populateList(f.window, b, true);
    ASSERT_EQ(f.window.sbStatusBar[0], "Total items selected: 1  ");
    f.window.txtPassword = "pw";
    morvane::refreshList(f.window);
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{a, b}));
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 2  ");
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size: 300 Bytes  ");
    EXPECT_EQ(f.window.sbStatusBar[2], "Encryption Strength: 16 Bit ");
}

TEST(FileListRefresh, ArchiveRowsAreFoundAndMarkedAgain) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 10);
    const std::string b = makeFile(f.dir, "b.enz", 24);
    const std::string c = makeFile(f.dir, "c.txt", 30);
    morvane::populateList(f.window, a, true);
    morvane::populateList(f.window, b, true);
    morvane::populateList(f.window, c, true);
    ASSERT_EQ(rowTexts(f.window), (std::vector<std::string>{a, b + " (encrypted zip) ", c}));

    // The rebuilt path keeps the blank that stood before the marker, and
    // still names the archive; the new marker follows it.
    morvane::refreshList(f.window);
    ASSERT_EQ(f.window.lstFiles.size(), 3u);
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{a, "10 Bytes", "Text file"}));
    EXPECT_EQ(f.window.lstFiles[1], (ListRow{b + "  (encrypted zip) ", "24 Bytes", "Encrypted zip file"}));
    EXPECT_EQ(f.window.lstFiles[2], (ListRow{c, "30 Bytes", "Text file"}));
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size: 64 Bytes  ");

    // Further rebuilds keep finding it.
    morvane::refreshList(f.window);
    morvane::refreshList(f.window);
    ASSERT_EQ(f.window.lstFiles.size(), 3u);
    EXPECT_EQ(f.window.lstFiles[1].size, "24 Bytes");
    EXPECT_NE(f.window.lstFiles[1].text.find("(encrypted zip)"), std::string::npos);
    EXPECT_TRUE(f.window.lstFiles[1].text.starts_with(b));
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 3  ");
    EXPECT_EQ(f.window.sbStatusBar[1], "Total size: 64 Bytes  ");
}

TEST(FileListRefresh, ArchiveAsFirstRowKeepsItsPlace) {
    ListFixture f;
    const std::string b = makeFile(f.dir, "b.enz", 24);
    const std::string a = makeFile(f.dir, "a.txt", 10);
    morvane::populateList(f.window, b, true);
    morvane::populateList(f.window, a, true);
    morvane::refreshList(f.window);
    ASSERT_EQ(f.window.lstFiles.size(), 2u);
    // The first row of the rebuilt (empty) list takes the marker without the
    // trailing blank.
    EXPECT_EQ(f.window.lstFiles[0], (ListRow{b + "  (encrypted zip)", "24 Bytes", "Encrypted zip file"}));
    EXPECT_EQ(f.window.lstFiles[1].text, a);
}

TEST(FileListRefresh, RowWhoseFileVanishedIsDropped) {
    ListFixture f;
    const std::string a = makeFile(f.dir, "a.txt", 10);
    const std::string b = makeFile(f.dir, "b.txt", 20);
    morvane::populateList(f.window, a + kSep + b, true);
    fs::remove(a);
    morvane::refreshList(f.window);
    EXPECT_EQ(rowTexts(f.window), (std::vector<std::string>{b}));
    EXPECT_EQ(f.window.sbStatusBar[0], "Total items selected: 2  ");
}

}  // namespace
