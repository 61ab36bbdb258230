// Files dropped on the list from a file manager go in as the file-open
// dialog's choice of the same files would.
#include <gtest/gtest.h>

#include <filesystem>

#include "file_list.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

using morvane::MainWindowModel;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

std::vector<std::string> rowTexts(const MainWindowModel& window) {
    std::vector<std::string> texts;
    for (const auto& row : window.lstFiles) texts.push_back(row.text);
    return texts;
}

TEST(DroppedFiles, SeveralFilesAreListedWithTheirSummary) {
    TempDirectory dir("drop");
    const std::string a = dir.file("a.txt"), b = dir.file("b.enz");
    writeFile(a, "aaaa");
    writeFile(b, "bbbbbbbb");
    MainWindowModel window;
    morvane::addDroppedFiles(window, {a, b});
    // A marker added after the first row keeps its trailing blank, as from the dialog.
    EXPECT_EQ(rowTexts(window), (std::vector<std::string>{a, b + " (encrypted zip) "}));
    EXPECT_EQ(window.sbStatusBar[0], "Total items selected: 2  ");
    EXPECT_TRUE(window.toolbarDeleteEnabled);
}

TEST(DroppedFiles, MissingFilesDirectoriesAndDuplicatesArePassedOver) {
    TempDirectory dir("drop-skip");
    const std::string a = dir.file("a.txt");
    writeFile(a, "a");
    std::filesystem::create_directory(dir.file("folder"));
    MainWindowModel window;
    morvane::addDroppedFiles(window, {a});
    morvane::addDroppedFiles(window, {a, dir.file("folder"), dir.file("gone.txt")});
    EXPECT_EQ(rowTexts(window), std::vector<std::string>{a});
}

TEST(DroppedFiles, OneFileIsListedAsASingleChoiceOfTheDialog) {
    TempDirectory dir("drop-one");
    const std::string upper = dir.file("Report.DOC");
    writeFile(upper, "r");
    MainWindowModel dropped, chosen;
    morvane::addDroppedFiles(dropped, {upper});
    morvane::populateList(chosen, morvane::listedPathOfSingleChoice(upper), true);
    EXPECT_EQ(dropped.lstFiles, chosen.lstFiles);
    EXPECT_TRUE(dropped.toolbarDeleteEnabled);
}

TEST(DroppedFiles, NothingDroppedChangesNothing) {
    MainWindowModel window;
    morvane::addDroppedFiles(window, {});
    EXPECT_TRUE(window.lstFiles.empty());
    EXPECT_FALSE(window.toolbarDeleteEnabled);
    EXPECT_EQ(window.sbStatusBar[0], "");
}

}  // namespace

namespace {

TEST(DroppedFiles, AFolderIsNamedInAMessageAndTheFilesGoIn) {
    TempDirectory dir("drop-folder");
    const std::string a = dir.file("a.txt");
    writeFile(a, "a");
    const std::string folder = dir.file("photos");
    std::filesystem::create_directory(folder);
    MainWindowModel window;
    morvane::ScriptedUserInterface ui;
    morvane::addDroppedItems(window, ui, {folder, a});
    EXPECT_EQ(rowTexts(window), std::vector<std::string>{a});
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].text, folder +
                                       " is a folder. Folders cannot be added to the list; please select the files in "
                                       "it and then try again.");
    EXPECT_EQ(ui.messages[0].icon, morvane::MessageIcon::Exclamation);
}

TEST(DroppedFiles, FilesAloneGoInWithoutAWord) {
    TempDirectory dir("drop-files");
    const std::string a = dir.file("a.txt");
    writeFile(a, "a");
    MainWindowModel window;
    morvane::ScriptedUserInterface ui;
    morvane::addDroppedItems(window, ui, {a});
    EXPECT_EQ(rowTexts(window), std::vector<std::string>{a});
    EXPECT_TRUE(ui.messages.empty());
}

}  // namespace
