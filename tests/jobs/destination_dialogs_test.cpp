#include "destination_dialogs.h"

#include <gtest/gtest.h>

#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

using morvane::DecToDirDialog;
using morvane::MainWindowModel;
using morvane::MessageIcon;
using morvane::OneZipFileDialog;
using morvane::RunState;
using morvane::ScriptedUserInterface;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

TEST(OneZipFileDialog, LoadShowsTheStoredPathAndTheBrowseCaption) {
    RunState run;
    EXPECT_EQ(OneZipFileDialog(run).browseCaption, "Browse");
    run.combinedArchivePath = "/a/b.enz";
    const OneZipFileDialog dialog(run);
    EXPECT_EQ(dialog.txtCombZip, "/a/b.enz");
    EXPECT_EQ(dialog.browseCaption, "Change");
}

TEST(OneZipFileDialog, TypingANameStoresItInTheCurrentDirectory) {
    TempDirectory dir("backup");
    RunState run;
    ScriptedUserInterface ui;
    OneZipFileDialog dialog(run);
    dialog.txtCombZip = "  backup ";
    dialog.ok(ui, run, dir.str());
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_EQ(run.combinedArchivePath, dir.str() + "/backup.enz");
    EXPECT_TRUE(dialog.accepted);
    EXPECT_FALSE(dialog.open);
    MainWindowModel window;
    window.chkCreateOneZip = true;
    EXPECT_TRUE(dialog.close(ui, window, run));
    EXPECT_EQ(window.txtCombZipFile, dir.str() + "/backup.enz");
    EXPECT_TRUE(window.chkCreateOneZip);
}

TEST(OneZipFileDialog, EmptyPathIsRefusedAndTheDialogStays) {
    RunState run;
    ScriptedUserInterface ui;
    OneZipFileDialog dialog(run);
    dialog.txtCombZip = "   ";
    dialog.ok(ui, run, "/tmp");
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].text, "Please specify an output file that will contain your encrypted files.");
    EXPECT_EQ(ui.messages[0].title, "Invalid Output File");
    EXPECT_EQ(ui.messages[0].icon, MessageIcon::Exclamation);
    EXPECT_EQ(ui.focusRequests, std::vector<std::string>{"txtCombZip"});
    EXPECT_TRUE(dialog.open);
}

TEST(OneZipFileDialog, MissingDirectoryIsRefused) {
    TempDirectory dir("baddir");
    RunState run;
    ScriptedUserInterface ui;
    OneZipFileDialog dialog(run);
    dialog.txtCombZip = dir.file("nowhere/x.enz");
    dialog.ok(ui, run, "/tmp");
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].text,
              dir.file("nowhere/") + " is an invalid directory. Please verify output directory and then try again.");
    EXPECT_TRUE(run.combinedArchivePath.empty());
}

TEST(OneZipFileDialog, ExistingFileAsksBeforeOverwritingUnlessItIsTheStoredOne) {
    TempDirectory dir("overwrite");
    writeFile(dir.file("old.enz"), "x");
    RunState run;
    ScriptedUserInterface ui;
    OneZipFileDialog dialog(run);
    dialog.txtCombZip = dir.file("old.enz");
    ui.answers = {false};
    dialog.ok(ui, run, "/tmp");
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].text, dir.file("old.enz") + " already exists. Do you wish to overwrite this file?");
    EXPECT_EQ(ui.questions[0].title, "Overwrite?");
    EXPECT_EQ(dialog.txtCombZip, "");
    EXPECT_TRUE(dialog.open);

    run.combinedArchivePath = dir.file("old.enz");
    OneZipFileDialog again(run);
    again.ok(ui, run, "/tmp");
    EXPECT_EQ(ui.questions.size(), 1u);  // the stored path is not asked about
    EXPECT_TRUE(again.accepted);
}

TEST(OneZipFileDialog, BrowseAppendsTheExtensionAndCancellingAsks) {
    TempDirectory dir("browse");
    RunState run;
    ScriptedUserInterface ui;
    OneZipFileDialog dialog(run);
    ui.saveResults = {dir.file("chosen")};
    dialog.browse(ui, run);
    EXPECT_EQ(dialog.txtCombZip, dir.file("chosen.enz"));
    EXPECT_TRUE(dialog.wantSingle);
    MainWindowModel window;
    window.chkCreateOneZip = true;
    ui.answers = {false};
    EXPECT_FALSE(dialog.close(ui, window, run));  // No keeps the dialog open
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].text, "Are you sure you do not wish to create a single encrypted zip file?");
    EXPECT_EQ(ui.questions[0].title, "Cancel");
    dialog.cancel(ui, window, run);
    EXPECT_FALSE(dialog.open);
    EXPECT_FALSE(window.chkCreateOneZip);
    EXPECT_EQ(window.txtCombZipFile, "");
}

TEST(DecToDirDialog, CancellingOnFirstOpeningLeavesTheBoxUnchecked) {
    MainWindowModel window;
    RunState run;
    EXPECT_TRUE(morvane::chkDecOutputDirClick(window, run, true));
    DecToDirDialog dialog;
    dialog.cancel(window);
    EXPECT_FALSE(window.chkDecOutputDir);
}

TEST(DecToDirDialog, OkPutsTheDirectoryWithoutClosingSeparator) {
    MainWindowModel window;
    window.chkDecOutputDir = true;
    DecToDirDialog dialog;
    dialog.directory = "/home/me/restore";
    dialog.ok(window);
    EXPECT_EQ(window.txtDecryptTo, "/home/me/restore");
    EXPECT_TRUE(window.chkDecOutputDir);
}

TEST(DestinationControls, CommandLineRunsNeverOpenTheDialogs) {
    MainWindowModel window;
    RunState run;
    run.commandLineRun = true;
    EXPECT_FALSE(morvane::chkCreateOneZipClick(window, run, true));
    EXPECT_FALSE(morvane::chkDecOutputDirClick(window, run, true));
    run.commandLineRun = false;
    EXPECT_FALSE(morvane::chkCreateOneZipClick(window, run, false));
    EXPECT_TRUE(morvane::chkCreateOneZipClick(window, run, true));
}

TEST(DestinationControls, ClearButtonsEmptyAndUntick) {
    MainWindowModel window;
    window.txtDecryptTo = "/x";
    window.chkDecOutputDir = true;
    window.txtCombZipFile = "/y.enz";
    window.chkCreateOneZip = true;
    morvane::cmdClearDestClick(window);
    morvane::cmdClearCombinedClick(window);
    EXPECT_EQ(window.txtDecryptTo, "");
    EXPECT_FALSE(window.chkDecOutputDir);
    EXPECT_EQ(window.txtCombZipFile, "");
    EXPECT_FALSE(window.chkCreateOneZip);
}

}  // namespace
