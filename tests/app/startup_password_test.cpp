#include "startup_password.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

using morvane::MainWindowModel;
using morvane::MessageIcon;
using morvane::RunState;
using morvane::ScriptedUserInterface;
using morvane::SettingsStore;
using morvane::StartupPassword;
using morvane::StartupPasswordDialog;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;

struct Fixture {
    explicit Fixture(const TempDirectory& dir) : settings(dir.file("registry")), store(settings) {}
    SettingsStore settings;
    StartupPassword store;
    ScriptedUserInterface ui;
    MainWindowModel window;
    RunState run;
};

TEST(StartupPassword, MarkerHasThirteenCharactersAndMeansNoPassword) {
    TempDirectory dir("marker");
    Fixture f(dir);
    EXPECT_EQ(StartupPassword::marker().size(), 13u);
    f.store.saveStartupPassword(StartupPassword::marker());
    EXPECT_EQ(f.store.readStartupPassword(), StartupPassword::marker());
    EXPECT_FALSE(f.store.passwordRequired());
}

TEST(StartupPassword, StoredEncipheredAndReadBack) {
    TempDirectory dir("store");
    Fixture f(dir);
    f.store.saveStartupPassword("Open Sesame");
    EXPECT_EQ(f.store.readStartupPassword(), "Open Sesame");
    EXPECT_TRUE(f.store.passwordRequired());
    const std::string file = readFile(dir.file("registry"));
    EXPECT_EQ(file.find("Open Sesame"), std::string::npos);  // never in clear
    // One setting, whose value is hexadecimal cipher text.
    ASSERT_EQ(std::count(file.begin(), file.end(), '\n'), 1);
    const std::string value = file.substr(file.rfind('\t') + 1, file.size() - file.rfind('\t') - 2);
    EXPECT_EQ(value.size() % 16, 0u);
    EXPECT_EQ(value.find_first_not_of("0123456789ABCDEF"), std::string::npos) << value;
}

TEST(StartupPassword, NothingStoredAsksForAPasswordThatCannotBeMatched) {
    TempDirectory dir("nothing");
    Fixture f(dir);
    EXPECT_TRUE(f.store.passwordRequired());  // an empty value differs from the marker
    StartupPasswordDialog dialog(StartupPasswordDialog::Mode::Enter);
    dialog.txtStartPass = "anything";
    dialog.cmdOk(f.store, f.ui, f.window);
    EXPECT_TRUE(dialog.open);
}

TEST(StartupPasswordDialog, EnterModeLayout) {
    const StartupPasswordDialog dialog(StartupPasswordDialog::Mode::Enter);
    EXPECT_EQ(dialog.firstLabel, "Please enter in your starup password below:");
    EXPECT_EQ(dialog.secondLabel,
              "You have set Morvane to require a password to start. Please enter in your password below:");
    EXPECT_FALSE(dialog.verifyVisible);
    EXPECT_EQ(dialog.cancelCaption, "Exit");
}

TEST(StartupPasswordDialog, PasswordDifferingOnlyInCaseIsRefused) {
    TempDirectory dir("case");
    Fixture f(dir);
    f.store.saveStartupPassword("Secret");
    StartupPasswordDialog dialog(StartupPasswordDialog::Mode::Enter);
    dialog.txtStartPass = "secret";
    dialog.cmdOk(f.store, f.ui, f.window);
    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_EQ(f.ui.messages[0].text, "Invalid password, please verify your password and then try again.");
    EXPECT_EQ(f.ui.messages[0].icon, MessageIcon::Exclamation);
    EXPECT_TRUE(dialog.open);
    dialog.txtStartPass = "Secret";
    dialog.cmdOk(f.store, f.ui, f.window);
    EXPECT_TRUE(dialog.passed);
    EXPECT_FALSE(dialog.open);
    dialog.close(f.run);
    EXPECT_FALSE(f.run.startupCancelled);
}

TEST(StartupPasswordDialog, ExitAndTheCloseBoxBothEndStartUp) {
    RunState exitRun;
    StartupPasswordDialog exitDialog(StartupPasswordDialog::Mode::Enter);
    exitDialog.cmdCancel(exitRun);
    EXPECT_TRUE(exitRun.startupCancelled);
    RunState closeRun;
    StartupPasswordDialog closeDialog(StartupPasswordDialog::Mode::Enter);
    closeDialog.close(closeRun);
    EXPECT_TRUE(closeRun.startupCancelled);
}

TEST(StartupPasswordDialog, SetModeChecksBlankAndVerifyThenSaves) {
    TempDirectory dir("set");
    Fixture f(dir);
    StartupPasswordDialog dialog(StartupPasswordDialog::Mode::Set);
    EXPECT_TRUE(dialog.verifyVisible);
    dialog.cmdOk(f.store, f.ui, f.window);
    dialog.txtStartPass = "abc";
    dialog.txtStartPassVerify = "abd";
    dialog.cmdOk(f.store, f.ui, f.window);
    dialog.txtStartPassVerify = "abc";
    dialog.cmdOk(f.store, f.ui, f.window);
    ASSERT_EQ(f.ui.messages.size(), 3u);
    EXPECT_EQ(f.ui.messages[0].text,
              "Error. The password field cannot be blank. Please enter in a valid password and then try again.");
    EXPECT_EQ(f.ui.messages[1].text,
              "Password entered into the \"Verify Password\" field does not match the password entered into the "
              "\"Password\" field. Please verify password and then try again.");
    EXPECT_EQ(f.ui.messages[2].text, "Your password has been saved.");
    EXPECT_EQ(f.ui.messages[2].icon, MessageIcon::Information);
    EXPECT_TRUE(f.window.mnuStartPassChecked);
    EXPECT_FALSE(dialog.open);
    EXPECT_EQ(f.store.readStartupPassword(), "abc");
}

TEST(StartupPasswordDialog, PasswordTooLongToReadBackIsRefused) {
    TempDirectory dir("long");
    Fixture f(dir);
    StartupPasswordDialog dialog(StartupPasswordDialog::Mode::Set);
    dialog.txtStartPass = dialog.txtStartPassVerify = std::string(45, 'p');
    dialog.cmdOk(f.store, f.ui, f.window);
    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_NE(f.ui.messages[0].text.find("too long"), std::string::npos);
    EXPECT_TRUE(dialog.open);
    EXPECT_FALSE(f.window.mnuStartPassChecked);
    dialog.txtStartPass = dialog.txtStartPassVerify = std::string(44, 'p');
    dialog.cmdOk(f.store, f.ui, f.window);
    EXPECT_EQ(f.store.readStartupPassword(), std::string(44, 'p'));  // the longest that reads back
}

TEST(StartupPasswordMenu, CancellingTheRemovalLeavesThePasswordSet) {
    TempDirectory dir("menu-keep");
    Fixture f(dir);
    f.store.saveStartupPassword("kept");
    f.window.mnuStartPassChecked = true;
    f.ui.answers = {false};
    EXPECT_FALSE(morvane::startPasswordMenu(f.window, f.store, f.ui));
    ASSERT_EQ(f.ui.questions.size(), 1u);
    EXPECT_EQ(f.ui.questions[0].text,
              "Are you sure you wish to remove your startup password? If you select yes, you will no longer be "
              "required to enter a password when starting Morvane.");
    EXPECT_EQ(f.ui.questions[0].title, "Remove Startup Password?");
    EXPECT_TRUE(f.window.mnuStartPassChecked);
    EXPECT_EQ(f.store.readStartupPassword(), "kept");
}

TEST(StartupPasswordMenu, RemovingStoresTheMarker) {
    TempDirectory dir("menu-remove");
    Fixture f(dir);
    f.store.saveStartupPassword("gone");
    f.window.mnuStartPassChecked = true;
    f.ui.answers = {true};
    EXPECT_FALSE(morvane::startPasswordMenu(f.window, f.store, f.ui));
    EXPECT_FALSE(f.window.mnuStartPassChecked);
    EXPECT_FALSE(f.store.passwordRequired());
    ASSERT_EQ(f.ui.messages.size(), 1u);
    EXPECT_EQ(f.ui.messages[0].text, "Password removed.");
}

TEST(StartupPasswordMenu, UncheckedOpensTheSetDialog) {
    TempDirectory dir("menu-set");
    Fixture f(dir);
    EXPECT_TRUE(morvane::startPasswordMenu(f.window, f.store, f.ui));
    EXPECT_TRUE(f.ui.questions.empty());
}

}  // namespace
