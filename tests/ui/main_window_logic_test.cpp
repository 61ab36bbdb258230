#include "main_window_logic.h"

#include <gtest/gtest.h>

#include "file_list.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

using morvane::FileOpenResult;
using morvane::kDecryptTab;
using morvane::kEncryptTab;
using morvane::kMessageTab;
using morvane::ListRow;
using morvane::MainWindowModel;
using morvane::ScriptedUserInterface;
using morvane::testing::TempDirectory;

TEST(MainWindowTabs, MessageTabPutsTheMessageBoxInTheListsPlace) {
    MainWindowModel w;
    ScriptedUserInterface ui;
    morvane::tabChanged(w, kMessageTab, ui);
    EXPECT_FALSE(w.lstFilesVisible);
    EXPECT_TRUE(w.txtMessageVisible);
    EXPECT_EQ(w.listFrameCaption, "Text To Be Encrypted or Decrypted (maximum 50,000 characters)");
    EXPECT_EQ(ui.focusRequests, std::vector<std::string>{"txtMessage"});
    EXPECT_FALSE(w.cmdAddFilesDecEnabled);
    EXPECT_FALSE(w.cmdClearDecFilesEnabled);
    morvane::tabChanged(w, kEncryptTab, ui);
    EXPECT_TRUE(w.lstFilesVisible);
    EXPECT_FALSE(w.txtMessageVisible);
    EXPECT_EQ(w.listFrameCaption, "Selected Files (right mouse click for addtional options)");
    EXPECT_TRUE(w.cmdAddFilesDecEnabled);
}

TEST(MainWindowTabs, EncryptAndDecryptNowShareOnePlace) {
    MainWindowModel w;
    ScriptedUserInterface ui;
    morvane::tabChanged(w, kDecryptTab, ui);
    EXPECT_FALSE(w.cmdEncryptVisible);
    EXPECT_FALSE(w.cmdEncryptEnabled);
    EXPECT_TRUE(w.cmdDecryptVisible);
    EXPECT_TRUE(w.cmdDecryptEnabled);
    morvane::tabChanged(w, kEncryptTab, ui);
    EXPECT_TRUE(w.cmdEncryptVisible);
    EXPECT_TRUE(w.cmdEncryptEnabled);
    EXPECT_FALSE(w.cmdDecryptVisible);
    EXPECT_FALSE(w.cmdDecryptEnabled);
}

TEST(MainWindowTabs, OnTheMessageTabBothAreOffAndTheVisibleOneStaysVisible) {
    MainWindowModel w;
    ScriptedUserInterface ui;
    morvane::tabChanged(w, kDecryptTab, ui);
    morvane::tabChanged(w, kMessageTab, ui);
    EXPECT_FALSE(w.cmdEncryptEnabled);
    EXPECT_FALSE(w.cmdDecryptEnabled);
    EXPECT_TRUE(w.cmdDecryptVisible);
    EXPECT_FALSE(w.cmdEncryptVisible);
}

TEST(MainWindowPopup, EmptyListOffersOnlyTheAddItemOfTheTab) {
    MainWindowModel w;
    w.currentTab = kEncryptTab;
    morvane::preparePopupMenu(w);
    EXPECT_TRUE(w.mnuPopupAddtoEnc.visible);
    for (const auto* item :
         {&w.mnuPopupRemove, &w.mnuPopupClear, &w.mnuPopupAddtoDec, &w.mnuPopupSep1, &w.mnuPopupEnc, &w.mnuPopupDec})
        EXPECT_FALSE(item->visible);
    w.currentTab = kDecryptTab;
    morvane::preparePopupMenu(w);
    EXPECT_TRUE(w.mnuPopupAddtoDec.visible);
    EXPECT_FALSE(w.mnuPopupAddtoEnc.visible);
    EXPECT_FALSE(w.mnuPopupDec.visible);
}

TEST(MainWindowPopup, WithItemsTheRemoveItemNamesTheSelectedRow) {
    MainWindowModel w;
    w.lstFiles = {ListRow{"/a.txt", "", ""}, ListRow{"/b.txt", "", ""}};
    w.selectedRow = 1;
    w.currentTab = kEncryptTab;
    morvane::preparePopupMenu(w);
    EXPECT_EQ(w.mnuPopupRemove.caption, "Remove /b.txt From List");
    EXPECT_TRUE(w.mnuPopupRemove.visible);
    EXPECT_TRUE(w.mnuPopupClear.visible);
    EXPECT_TRUE(w.mnuPopupSep1.visible);
    EXPECT_TRUE(w.mnuPopupEnc.visible);
    EXPECT_TRUE(w.mnuPopupAddtoEnc.visible);
    EXPECT_FALSE(w.mnuPopupAddtoDec.visible);
    EXPECT_FALSE(w.mnuPopupDec.visible);
    w.currentTab = kDecryptTab;
    morvane::preparePopupMenu(w);
    EXPECT_TRUE(w.mnuPopupDec.visible);
    EXPECT_FALSE(w.mnuPopupEnc.visible);
    EXPECT_TRUE(w.mnuPopupAddtoDec.visible);
    EXPECT_FALSE(w.mnuPopupAddtoEnc.visible);
}

TEST(MainWindowPopup, WithoutASelectedRowTheRemoveItemKeepsItsCaptionAndIsDisabled) {
    MainWindowModel w;
    w.lstFiles = {ListRow{"/a.txt", "", ""}, ListRow{"/b.txt", "", ""}};
    w.selectedRow = -1;
    for (const int tab : {kEncryptTab, kDecryptTab}) {
        w.currentTab = tab;
        morvane::preparePopupMenu(w);
        EXPECT_EQ(w.mnuPopupRemove.caption, "Remove Selected Item From List");
        EXPECT_TRUE(w.mnuPopupRemove.visible);
        EXPECT_FALSE(w.mnuPopupRemove.enabled);
    }
    w.selectedRow = 0;
    morvane::preparePopupMenu(w);
    EXPECT_EQ(w.mnuPopupRemove.caption, "Remove /a.txt From List");
    EXPECT_TRUE(w.mnuPopupRemove.enabled);
    // The row's name does not stay when the selection goes.
    w.selectedRow = -1;
    morvane::preparePopupMenu(w);
    EXPECT_EQ(w.mnuPopupRemove.caption, "Remove Selected Item From List");
    EXPECT_FALSE(w.mnuPopupRemove.enabled);
}

TEST(MainWindowToolbar, DeleteOnAnEmptyListOrWithoutSelectionDoesNothing) {
    MainWindowModel w;
    ScriptedUserInterface ui;
    morvane::toolbarDelete(w, ui);
    w.lstFiles = {ListRow{"/a.txt", "", ""}};
    w.selectedRow = -1;
    morvane::toolbarDelete(w, ui);
    w.lstFiles = {ListRow{"", "", ""}};
    w.selectedRow = 0;
    morvane::toolbarDelete(w, ui);
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_EQ(w.lstFiles.size(), 1u);
}

TEST(MainWindowToolbar, DeleteAsksByTabAndRemovesOnYesWithoutRebuilding) {
    MainWindowModel w;
    ScriptedUserInterface ui;
    w.lstFiles = {ListRow{"/a.txt", "", ""}, ListRow{"/b.enz (encrypted zip) ", "", ""}};
    w.sbStatusBar[0] = "Total items selected: 2  ";
    w.selectedRow = 1;
    w.currentTab = kDecryptTab;
    ui.answers = {false, true};
    morvane::toolbarDelete(w, ui);
    EXPECT_EQ(w.lstFiles.size(), 2u);
    morvane::toolbarDelete(w, ui);
    ASSERT_EQ(ui.questions.size(), 2u);
    EXPECT_EQ(ui.questions[0].text,
              "Are you sure you wish to remove /b.enz (encrypted zip)  from the items to be decrypted?");
    EXPECT_EQ(ui.questions[0].title, "Morvane");
    ASSERT_EQ(w.lstFiles.size(), 1u);
    EXPECT_EQ(w.lstFiles[0].text, "/a.txt");
    EXPECT_EQ(w.sbStatusBar[0], "Total items selected: 2  ");  // the totals stay as they were
    w.currentTab = kEncryptTab;
    w.selectedRow = 0;
    ui.answers = {false};
    morvane::toolbarDelete(w, ui);
    EXPECT_EQ(ui.questions.back().text, "Are you sure you wish to remove /a.txt from the items to be encrypted?");
}

TEST(MainWindowAddFiles, TitleFollowsTheTab) {
    TempDirectory dir("add-title");
    morvane::ActivityLog log(dir.str());
    MainWindowModel w;
    ScriptedUserInterface ui;
    morvane::RunState run;
    w.currentTab = kDecryptTab;
    morvane::addFilesCommand(w, ui, log, run);
    w.currentTab = kEncryptTab;
    morvane::addFilesCommand(w, ui, log, run);
    ASSERT_EQ(ui.openRequests.size(), 2u);
    EXPECT_EQ(ui.openRequests[0].title, "Add Files to Decrypt");
    EXPECT_EQ(ui.openRequests[0].filter, "Encrypted Zip Files|*.enz");
    EXPECT_EQ(ui.openRequests[1].title, "Add Files to Encrypt");
    EXPECT_EQ(ui.openRequests[1].filter, "All Files|*.*");
    EXPECT_EQ(w.dlgSrcFilesTitle, "Add Files to Encrypt");
}

}  // namespace
