#include "main_window_commands.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "file_list.h"
#include "libzip_component.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::kDecryptTab;
using morvane::kEncryptTab;
using morvane::PopupItem;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

struct Window {
    explicit Window(const TempDirectory& dir) : log(dir.str()), recent(dir.str()), status(ui) {}
    morvane::JobContext context() { return {window, run, ui, log, zip, recent, status}; }
    morvane::MainWindowModel window;
    morvane::RunState run;
    morvane::ScriptedUserInterface ui;
    morvane::ActivityLog log;
    morvane::LibzipComponent zip;
    morvane::RecentFiles recent;
    morvane::ProgressWindow status;
};

TEST(MainWindowCommands, EncryptNowRunsOnlyOnTheEncryptTab) {
    TempDirectory dir("encrypt-now");
    writeFile(dir.file("a.txt"), "a");
    Window w(dir);
    morvane::populateList(w.window, dir.file("a.txt"), true);
    w.window.txtPassword = w.window.txtVerifyPass = "pw";
    auto c = w.context();
    w.window.currentTab = kDecryptTab;
    morvane::cmdEncryptClick(c);
    EXPECT_FALSE(fs::exists(dir.file("a.txt.enz")));
    EXPECT_TRUE(w.ui.messages.empty());
    w.window.currentTab = kEncryptTab;
    morvane::cmdDecryptClick(c);
    EXPECT_TRUE(w.ui.messages.empty());
    morvane::cmdEncryptClick(c);
    EXPECT_TRUE(fs::exists(dir.file("a.txt.enz")));
}

TEST(MainWindowCommands, PopupJobItemsRunWithoutATabTest) {
    TempDirectory dir("popup-job");
    writeFile(dir.file("b.txt"), "b");
    Window w(dir);
    morvane::populateList(w.window, dir.file("b.txt"), true);
    w.window.txtPassword = w.window.txtVerifyPass = "pw";
    w.window.currentTab = kDecryptTab;
    auto c = w.context();
    morvane::popupMenuClick(c, PopupItem::Encrypt);
    EXPECT_TRUE(fs::exists(dir.file("b.txt.enz")));
}

TEST(MainWindowCommands, ToolbarByKey) {
    TempDirectory dir("toolbar");
    Window w(dir);
    auto c = w.context();
    int helpShown = 0;
    const auto help = [&helpShown] { ++helpShown; };
    w.window.dlgSrcFilesTitle = "Add Files to Decrypt";
    morvane::toolbarClick(c, "Encrypt", help);
    EXPECT_EQ(w.window.currentTab, kEncryptTab);
    morvane::toolbarClick(c, "Decrypt", help);
    EXPECT_EQ(w.window.currentTab, kDecryptTab);
    ASSERT_EQ(w.ui.openRequests.size(), 2u);
    EXPECT_EQ(w.ui.openRequests[0].filter, "All Files|*.*");
    EXPECT_EQ(w.ui.openRequests[1].filter, "Encrypted Zip Files|*.enz");
    // The toolbar's add commands keep the title the dialog last had.
    EXPECT_EQ(w.ui.openRequests[0].title, "Add Files to Decrypt");
    morvane::toolbarClick(c, "Help", help);
    EXPECT_EQ(helpShown, 1);
    morvane::toolbarClick(c, "Something", help);
    EXPECT_EQ(helpShown, 1);
    EXPECT_EQ(w.ui.openRequests.size(), 2u);
}

TEST(MainWindowCommands, FileMenuSelectsTheTabAndSetsTheTitle) {
    TempDirectory dir("file-menu");
    Window w(dir);
    auto c = w.context();
    morvane::menuDecryptFiles(c);
    EXPECT_EQ(w.window.currentTab, kDecryptTab);
    morvane::menuEncryptFiles(c);
    EXPECT_EQ(w.window.currentTab, kEncryptTab);
    ASSERT_EQ(w.ui.openRequests.size(), 2u);
    EXPECT_EQ(w.ui.openRequests[0].title, "Add Files to Decrypt");
    EXPECT_EQ(w.ui.openRequests[1].title, "Add Files to Encrypt");
}

TEST(MainWindowCommands, PopupRemoveAndClear) {
    TempDirectory dir("popup-list");
    writeFile(dir.file("x.txt"), "x");
    writeFile(dir.file("y.txt"), "y");
    Window w(dir);
    morvane::populateList(w.window, dir.file("x.txt") + "~-!-~" + dir.file("y.txt"), true);
    w.window.selectedRow = 0;
    auto c = w.context();
    morvane::popupMenuClick(c, PopupItem::Remove);
    ASSERT_EQ(w.window.lstFiles.size(), 1u);
    EXPECT_EQ(w.window.lstFiles[0].text, dir.file("y.txt"));
    EXPECT_TRUE(w.ui.questions.empty());  // no confirmation
    morvane::popupMenuClick(c, PopupItem::Clear);
    EXPECT_TRUE(w.window.lstFiles.empty());
    EXPECT_FALSE(w.window.toolbarDeleteEnabled);
}

}  // namespace
