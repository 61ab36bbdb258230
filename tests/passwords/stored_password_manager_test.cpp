#include "stored_password_manager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "clsBlowfish.h"
#include "message_encryption.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::EnterStorePassDialog;
using morvane::MainWindowModel;
using morvane::MessageIcon;
using morvane::PasswordDatabase;
using morvane::RunState;
using morvane::ScriptedUserInterface;
using morvane::StoredPassChoice;
using morvane::StoredPasswordList;
using morvane::StoredPasswordRow;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;
using Message = ScriptedUserInterface::Message;
using Entries = std::vector<std::string>;

constexpr const char* kTitle = "Morvane";
constexpr const char* kBlankName =
    "Error. The password name field cannot be blank. Please enter in a valid password name and then try again.";
constexpr const char* kInvalidCurrent = "Invalid current password. Please verify password and then try again.";
constexpr const char* kBlankPassword =
    "Error. The password field cannot be blank. Please enter in a valid password and then try again.";
constexpr const char* kVerifyMismatch =
    "Password entered into the \"Verify Password\" field does not match the password entered into the \"Password\" "
    "field. Please verify password and then try again.";
constexpr const char* kChanged = "Your password has been changed.";
constexpr const char* kUpdated = "Your password has been updated.";
constexpr const char* kAdded = "Your password has been added to the passwords database.";
constexpr const char* kNoStoredPasswords =
    "You currently do not have any stored passwords in your password database. Would you like to add a password to "
    "the password database?";

std::string fixedDate() { return "DATE"; }

// The lines of the database as read: each entry's text, and "unreadable: "
// followed by each line that does not decipher to an entry.
Entries entriesOf(const std::vector<morvane::StoredEntry>& entries) {
    Entries texts;
    for (const morvane::StoredEntry& entry : entries)
        texts.push_back((entry.readable ? "" : "unreadable: ") + entry.text);
    return texts;
}

class StoredPasswordsTest : public ::testing::Test {
protected:
    StoredPasswordsTest() : dir("stored"), log(dir.str(), fixedDate), db(dir.str(), log) {}

    void store(const std::string& name, const std::string& password) {
        ASSERT_TRUE(db.savePasswordFile(true, {}, name, password));
    }

    // A line of another installation (another key) at the end of the file:
    // a password of somebody else's that this program cannot read.
    std::string addForeignLine() {
        morvane::clsBlowfish other;
        const std::string line = other.EncryptString("theirs--!--secret", "another installation", true);
        writeFile(db.path(), readFile(db.path()) + line + "\r\n");
        return line;
    }

    // A refresh callback that counts its calls.
    std::function<void()> counter() {
        return [this] { ++refreshes; };
    }

    TempDirectory dir;
    morvane::ActivityLog log;
    PasswordDatabase db;
    ScriptedUserInterface ui;
    MainWindowModel window;
    int refreshes = 0;
};

// --- The list --------------------------------------------------------------

using StoredPasswordListTest = StoredPasswordsTest;

TEST_F(StoredPasswordListTest, EightCharacterPasswordShowsAsEightStars) {
    store("mail", "abcdefgh");
    StoredPasswordList list(db);
    list.populateGrid();
    ASSERT_EQ(list.rows.size(), 1u);
    EXPECT_EQ(list.rows[0], (StoredPasswordRow{"1", "mail", "********"}));
    EXPECT_EQ(list.passwords, Entries{"abcdefgh"});
}

TEST_F(StoredPasswordListTest, MaskCountsCharactersNotBytes) {
    store("bank", "p\xC3\xA4ss\xE2\x82\xAC");  // "päss€": 5 characters in 8 bytes
    StoredPasswordList list(db);
    list.populateGrid();
    ASSERT_EQ(list.rows.size(), 1u);
    EXPECT_EQ(list.rows[0].shown, "*****");
}

TEST_F(StoredPasswordListTest, RowsAreNumberedInFileOrderWithTrimmedPasswords) {
    store("zeta", "  spaced  ");
    store("alpha", "two");
    store("mid", "three3");
    StoredPasswordList list(db);
    list.populateGrid();
    const std::vector<StoredPasswordRow> expected = {
        {"1", "zeta", "******"}, {"2", "alpha", "***"}, {"3", "mid", "******"}};
    EXPECT_EQ(list.rows, expected);
    EXPECT_EQ(list.passwords, (Entries{"spaced", "two", "three3"}));
}

TEST_F(StoredPasswordListTest, DisplayPasswordsShowsThemInClearAndBack) {
    store("zeta", " clear text ");
    store("alpha", "two");
    StoredPasswordList list(db);
    list.populateGrid();
    list.setDisplayPasswords(true);
    EXPECT_TRUE(list.chkDisplayPass);
    ASSERT_EQ(list.rows.size(), 2u);
    EXPECT_EQ(list.rows[0], (StoredPasswordRow{"1", "zeta", "clear text"}));
    EXPECT_EQ(list.rows[1], (StoredPasswordRow{"2", "alpha", "two"}));
    list.setDisplayPasswords(false);
    EXPECT_EQ(list.rows[0].shown, "**********");
    EXPECT_EQ(list.rows[1].shown, "***");
}

TEST_F(StoredPasswordListTest, MissingFileGivesAnEmptyListAndNoSelection) {
    StoredPasswordList list(db);
    list.rows = {{"1", "old", "***"}};
    list.passwords = {"old"};
    list.selectedRow = 0;
    list.populateGrid();
    EXPECT_TRUE(list.rows.empty());
    EXPECT_TRUE(list.passwords.empty());
    EXPECT_EQ(list.selectedRow, -1);
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(StoredPasswordListTest, ReloadKeepsASelectionThatStillIndexesARow) {
    store("a", "1");
    store("b", "2");
    StoredPasswordList list(db);
    list.selectedRow = 1;
    list.populateGrid();
    EXPECT_EQ(list.selectedRow, 1);
    list.selectedRow = 2;
    list.populateGrid();
    EXPECT_EQ(list.selectedRow, -1);
}

TEST_F(StoredPasswordListTest, EditWithoutSelectionAsksToSelect) {
    store("mail", "secret");
    StoredPasswordList list(db);
    list.populateGrid();
    const auto result = list.cmdEdit(ui, window);
    EXPECT_EQ(result.action, StoredPasswordList::EditAction::None);
    EXPECT_EQ(ui.messages,
              (std::vector<Message>{{"Please select a password to edit.", kTitle, MessageIcon::Information}}));
    EXPECT_TRUE(list.open);
}

TEST_F(StoredPasswordListTest, EditOpensTheEditorForTheSelectedName) {
    store("mail", "secret");
    store("bank", "money");
    StoredPasswordList list(db);
    list.populateGrid();
    list.selectedRow = 1;
    const auto result = list.cmdEdit(ui, window);
    EXPECT_EQ(result.action, StoredPasswordList::EditAction::OpenEditor);
    EXPECT_EQ(result.name, "bank");
    EXPECT_TRUE(window.txtPassword.empty());
    EXPECT_TRUE(list.open);
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(StoredPasswordListTest, PickingFillsTheMainWindowPasswordAndCloses) {
    store("mail", " secret ");
    store("bank", "money");
    StoredPasswordList list(db);
    list.cmdEditCaption = morvane::kSelectCaption;
    ASSERT_TRUE(list.pickMode());
    list.populateGrid();
    list.selectedRow = 0;
    window.chkStoredPass = true;
    const auto result = list.cmdEdit(ui, window);
    EXPECT_EQ(result.action, StoredPasswordList::EditAction::Picked);
    EXPECT_EQ(window.txtPassword, "secret");
    EXPECT_EQ(list.sSelectedPass, "secret");
    EXPECT_FALSE(list.open);
    list.unload(window);
    EXPECT_TRUE(window.chkStoredPass);  // a password was picked: the box stays checked
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(StoredPasswordListTest, PickingFillsBothPasswordBoxes) {
    store("mail", " secret ");
    StoredPasswordList list(db);
    list.cmdEditCaption = morvane::kSelectCaption;
    list.populateGrid();
    list.selectedRow = 0;
    window.txtVerifyPass = "typed before";
    ASSERT_EQ(list.cmdEdit(ui, window).action, StoredPasswordList::EditAction::Picked);
    EXPECT_EQ(window.txtPassword, "secret");
    EXPECT_EQ(window.txtVerifyPass, "secret");
    // The pick is the verification: a message is enciphered without typing it again.
    window.txtMessage = "hello there";
    morvane::encDecMsg(window, ui, log, false);
    EXPECT_TRUE(ui.messages.empty());
    morvane::clsBlowfish cipher;
    EXPECT_EQ(cipher.DecryptString(window.txtMessage, "secret", true), "~enc~hello there");
}

TEST_F(StoredPasswordListTest, LinesThatCannotBeReadAreNoRows) {
    store("mail", "secret");
    addForeignLine();
    writeFile(db.path(), readFile(db.path()) + "damaged line\r\n");
    store("bank", "money");
    StoredPasswordList list(db);
    list.setDisplayPasswords(true);
    const std::vector<StoredPasswordRow> expected = {{"1", "mail", "secret"}, {"2", "bank", "money"}};
    EXPECT_EQ(list.rows, expected);
    EXPECT_EQ(list.passwords, (Entries{"secret", "money"}));
}

TEST_F(StoredPasswordListTest, DeleteKeepsTheLinesThatCannotBeRead) {
    store("mail", "secret");
    const std::string foreign = addForeignLine();
    store("bank", "money");
    StoredPasswordList list(db);
    list.populateGrid();
    list.selectedRow = 0;
    ui.answers = {true};
    list.cmdDelete(ui);
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"unreadable: " + foreign, "bank--!--money"}));
    EXPECT_EQ(list.rows, (std::vector<StoredPasswordRow>{{"1", "bank", "*****"}}));
}

TEST_F(StoredPasswordListTest, PickingWithoutSelectionAsksToSelect) {
    store("mail", "secret");
    StoredPasswordList list(db);
    list.cmdEditCaption = morvane::kSelectCaption;
    list.populateGrid();
    const auto result = list.cmdEdit(ui, window);
    EXPECT_EQ(result.action, StoredPasswordList::EditAction::None);
    EXPECT_TRUE(window.txtPassword.empty());
    EXPECT_TRUE(list.open);
    EXPECT_EQ(ui.messages,
              (std::vector<Message>{{"Please select a password to edit.", kTitle, MessageIcon::Information}}));
}

TEST_F(StoredPasswordListTest, ClosingWithAnEmptyPasswordBoxClearsTheStoredPasswordCheck) {
    store("mail", "secret");
    StoredPasswordList list(db);
    list.cmdEditCaption = morvane::kSelectCaption;
    list.populateGrid();
    window.chkStoredPass = true;
    list.unload(window);
    EXPECT_FALSE(window.chkStoredPass);
    EXPECT_FALSE(list.open);
}

TEST_F(StoredPasswordListTest, ClosingWithATypedPasswordKeepsTheStoredPasswordCheck) {
    StoredPasswordList list(db);
    window.chkStoredPass = true;
    window.txtPassword = "typed";
    list.unload(window);
    EXPECT_TRUE(window.chkStoredPass);
    EXPECT_FALSE(list.open);
}

TEST_F(StoredPasswordListTest, DeleteWithoutSelectionAsksToSelect) {
    store("mail", "secret");
    StoredPasswordList list(db);
    list.populateGrid();
    list.cmdDelete(ui);
    EXPECT_EQ(ui.messages,
              (std::vector<Message>{{"Please select a password to delete.", kTitle, MessageIcon::Information}}));
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_EQ(entriesOf(db.readAllEntries()), Entries{"mail--!--secret"});
}

TEST_F(StoredPasswordListTest, DeleteAnsweredNoChangesNothing) {
    store("mail", "secret");
    store("bank", "money");
    const std::string before = readFile(db.path());
    StoredPasswordList list(db);
    list.populateGrid();
    list.selectedRow = 1;
    ui.answers = {false};
    list.cmdDelete(ui);
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].text, "Are you sure you wish to remove bank from your password database?");
    EXPECT_EQ(ui.questions[0].title, "Delete bank");
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_EQ(readFile(db.path()), before);
    EXPECT_EQ(list.rows.size(), 2u);
    EXPECT_EQ(list.selectedRow, 1);
}

TEST_F(StoredPasswordListTest, DeleteRemovesEveryEntryOfTheNameAndRefreshes) {
    store("mail", "first");
    store("bank", "money");
    store("mail", "second");
    store("Mail", "other case");
    StoredPasswordList list(db);
    list.populateGrid();
    list.selectedRow = 2;
    ui.answers = {true};
    list.cmdDelete(ui);
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"bank--!--money", "Mail--!--other case"}));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{"mail has been deleted.", kTitle, MessageIcon::Information}}));
    const std::vector<StoredPasswordRow> expected = {{"1", "bank", "*****"}, {"2", "Mail", "**********"}};
    EXPECT_EQ(list.rows, expected);
    EXPECT_EQ(list.passwords, (Entries{"money", "other case"}));
    EXPECT_EQ(list.selectedRow, -1);
}

// --- The add/edit dialog ---------------------------------------------------------

using EnterStorePassDialogTest = StoredPasswordsTest;

TEST_F(EnterStorePassDialogTest, AddModeSetsUpItsCaptionAndLabels) {
    EnterStorePassDialog dialog(db, true, "ignored");
    EXPECT_TRUE(dialog.gfbAddPass);
    EXPECT_EQ(dialog.caption, "Add Password");
    EXPECT_EQ(dialog.lblNewPassword, "Password:");
    EXPECT_EQ(dialog.lblVerifyPassword, "Verify Password:");
    EXPECT_FALSE(dialog.currentPasswordVisible);
    EXPECT_TRUE(dialog.txtPassName.empty());
    EXPECT_TRUE(entriesOf(dialog.entries()).empty());
    EXPECT_TRUE(dialog.open);
    EXPECT_FALSE(dialog.saved);
}

TEST_F(EnterStorePassDialogTest, EditModeSetsUpItsCaptionLabelsAndName) {
    EnterStorePassDialog dialog(db, false, "mail");
    EXPECT_FALSE(dialog.gfbAddPass);
    EXPECT_EQ(dialog.caption, "Edit Password");
    EXPECT_EQ(dialog.lblNewPassword, "New Password:");
    EXPECT_EQ(dialog.lblCurrentPassword, "Current Password:");
    EXPECT_TRUE(dialog.currentPasswordVisible);
    EXPECT_EQ(dialog.txtPassName, "mail");
}

TEST_F(EnterStorePassDialogTest, EntriesAreSortedByNameKeepingFileOrderWithinAName) {
    store("zeta", "z");
    store("mail", "first");
    store("alpha", "a");
    store("mail", "second");
    EnterStorePassDialog dialog(db, true);
    EXPECT_EQ(entriesOf(dialog.entries()), (Entries{"alpha--!--a", "mail--!--first", "mail--!--second", "zeta--!--z"}));
}

TEST_F(EnterStorePassDialogTest, BlankNameIsRefusedFirst) {
    store("mail", "old");
    EnterStorePassDialog dialog(db, false, "mail");
    dialog.txtPassName = "   ";
    dialog.txtPassCurr = "wrong";
    dialog.txtPassNew = "";
    const std::string before = readFile(db.path());
    EXPECT_FALSE(dialog.cmdOk(ui, counter()));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kBlankName, kTitle, MessageIcon::Exclamation}}));
    EXPECT_EQ(ui.focusRequests, Entries{"txtPassName"});
    EXPECT_EQ(readFile(db.path()), before);
    EXPECT_TRUE(dialog.open);
    EXPECT_FALSE(dialog.saved);
    EXPECT_EQ(refreshes, 0);
    EXPECT_EQ(dialog.txtPassCurr, "wrong");  // the input is kept
}

TEST_F(EnterStorePassDialogTest, WrongCurrentPasswordIsRefusedBeforeTheNewPasswordIsChecked) {
    store("mail", "old");
    const std::string before = readFile(db.path());
    EnterStorePassDialog dialog(db, false, "mail");
    dialog.txtPassCurr = "wrong";
    dialog.txtPassNew = "";
    dialog.txtPassVerify = "other";
    EXPECT_FALSE(dialog.cmdOk(ui, counter()));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kInvalidCurrent, kTitle, MessageIcon::Exclamation}}));
    EXPECT_EQ(ui.focusRequests, Entries{"txtPassCurr"});
    EXPECT_EQ(readFile(db.path()), before);
    EXPECT_TRUE(dialog.open);
}

TEST_F(EnterStorePassDialogTest, CurrentPasswordMustMatchExactly) {
    store("mail", "Old");
    for (const std::string attempt : {"old", "Old ", " Old", ""}) {
        ScriptedUserInterface attemptUi;
        EnterStorePassDialog dialog(db, false, "mail");
        dialog.txtPassCurr = attempt;
        dialog.txtPassNew = dialog.txtPassVerify = "new";
        EXPECT_FALSE(dialog.cmdOk(attemptUi, {})) << '"' << attempt << '"';
        EXPECT_EQ(attemptUi.messages, (std::vector<Message>{{kInvalidCurrent, kTitle, MessageIcon::Exclamation}}));
    }
    EXPECT_EQ(entriesOf(db.readAllEntries()), Entries{"mail--!--Old"});
}

TEST_F(EnterStorePassDialogTest, CurrentPasswordIsTheTextAfterTheLastSeparator) {
    store("mail", "left--!--right");
    {
        EnterStorePassDialog dialog(db, false, "mail");
        dialog.txtPassCurr = "left--!--right";
        dialog.txtPassNew = dialog.txtPassVerify = "new";
        EXPECT_FALSE(dialog.cmdOk(ui, {}));
        EXPECT_EQ(ui.messages.back().text, kInvalidCurrent);
    }
    EnterStorePassDialog dialog(db, false, "mail");
    dialog.txtPassCurr = "right";
    dialog.txtPassNew = dialog.txtPassVerify = "new";
    EXPECT_TRUE(dialog.cmdOk(ui, {}));
    EXPECT_EQ(entriesOf(db.readAllEntries()), Entries{"mail--!--new"});
}

TEST_F(EnterStorePassDialogTest, BlankNewPasswordIsRefused) {
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = "    ";
    dialog.txtPassVerify = "    ";
    EXPECT_FALSE(dialog.cmdOk(ui, counter()));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kBlankPassword, kTitle, MessageIcon::Exclamation}}));
    EXPECT_EQ(ui.focusRequests, Entries{"txtPassNew"});
    EXPECT_FALSE(fs::exists(db.path()));
    EXPECT_EQ(refreshes, 0);
}

TEST_F(EnterStorePassDialogTest, BlankNewPasswordIsCheckedBeforeTheVerifyBox) {
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = "";
    dialog.txtPassVerify = "something";
    EXPECT_FALSE(dialog.cmdOk(ui, {}));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kBlankPassword, kTitle, MessageIcon::Exclamation}}));
    EXPECT_EQ(ui.focusRequests, Entries{"txtPassNew"});
}

TEST_F(EnterStorePassDialogTest, VerifyMismatchFocusesTheVerifyBox) {
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = "secret";
    dialog.txtPassVerify = "Secret";
    EXPECT_FALSE(dialog.cmdOk(ui, counter()));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kVerifyMismatch, kTitle, MessageIcon::Exclamation}}));
    EXPECT_EQ(ui.focusRequests, Entries{"txtPassVerify"});
    EXPECT_FALSE(fs::exists(db.path()));
    EXPECT_TRUE(dialog.open);
    EXPECT_FALSE(dialog.saved);
}

TEST_F(EnterStorePassDialogTest, VerifyComparesTheBoxesAsTyped) {
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = "secret ";
    dialog.txtPassVerify = "secret";
    EXPECT_FALSE(dialog.cmdOk(ui, {}));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kVerifyMismatch, kTitle, MessageIcon::Exclamation}}));
}

TEST_F(EnterStorePassDialogTest, AddToAMissingFileCreatesIt) {
    ASSERT_FALSE(db.exists());
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "  mail  ";
    dialog.txtPassNew = dialog.txtPassVerify = "  secret  ";
    EXPECT_TRUE(dialog.cmdOk(ui, counter()));
    EXPECT_EQ(entriesOf(db.readAllEntries()), Entries{"mail--!--secret"});
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kAdded, kTitle, MessageIcon::Information}}));
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_TRUE(ui.focusRequests.empty());
    EXPECT_TRUE(dialog.saved);
    EXPECT_FALSE(dialog.open);
    EXPECT_EQ(refreshes, 1);
}

TEST_F(EnterStorePassDialogTest, AddToAnEmptyFileAppendsWithoutAsking) {
    writeFile(db.path(), "");
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "secret";
    EXPECT_TRUE(dialog.cmdOk(ui, {}));
    EXPECT_EQ(entriesOf(db.readAllEntries()), Entries{"mail--!--secret"});
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kAdded, kTitle, MessageIcon::Information}}));
}

TEST_F(EnterStorePassDialogTest, AddANewNameAppendsItAtTheEnd) {
    store("zeta", "z");
    store("alpha", "a");
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "secret";
    EXPECT_TRUE(dialog.cmdOk(ui, counter()));
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"zeta--!--z", "alpha--!--a", "mail--!--secret"}));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kAdded, kTitle, MessageIcon::Information}}));
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_EQ(refreshes, 1);
}

TEST_F(EnterStorePassDialogTest, AddingANameThatDiffersOnlyInCaseDoesNotAsk) {
    store("Mail", "old");
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "new";
    EXPECT_TRUE(dialog.cmdOk(ui, {}));
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"Mail--!--old", "mail--!--new"}));
}

TEST_F(EnterStorePassDialogTest, AddingAnExistingNameAnsweredNoChangesNothing) {
    store("mail", "old");
    store("bank", "money");
    const std::string before = readFile(db.path());
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "new";
    ui.answers = {false};
    EXPECT_FALSE(dialog.cmdOk(ui, counter()));
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].text,
              "mail already exists in your stored password database. Do you wish to overwrite this entry?");
    EXPECT_EQ(ui.questions[0].title, "Overwrite?");
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_EQ(readFile(db.path()), before);
    EXPECT_TRUE(dialog.open);
    EXPECT_FALSE(dialog.saved);
    EXPECT_EQ(refreshes, 0);
    EXPECT_EQ(dialog.txtPassNew, "new");  // the input is kept
}

TEST_F(EnterStorePassDialogTest, AddingAnExistingNameAnsweredYesOverwritesIt) {
    store("zeta", "z");
    store("mail", "old");
    store("alpha", "a");
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = " mail ";
    dialog.txtPassNew = dialog.txtPassVerify = " new ";
    ui.answers = {true};
    EXPECT_TRUE(dialog.cmdOk(ui, counter()));
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].text,
              "mail already exists in your stored password database. Do you wish to overwrite this entry?");
    // The file is rewritten from the dialog's array, which is sorted by name.
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"alpha--!--a", "mail--!--new", "zeta--!--z"}));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kUpdated, kTitle, MessageIcon::Information}}));
    EXPECT_TRUE(dialog.saved);
    EXPECT_FALSE(dialog.open);
    EXPECT_EQ(refreshes, 1);
}

TEST_F(EnterStorePassDialogTest, EditRewritesTheFileWithTheNewPassword) {
    store("zeta", "z");
    store("mail", "old");
    store("alpha", "a");
    EnterStorePassDialog dialog(db, false, "mail");
    dialog.txtPassCurr = "old";
    dialog.txtPassNew = dialog.txtPassVerify = "  brand new  ";
    EXPECT_TRUE(dialog.cmdOk(ui, counter()));
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"alpha--!--a", "mail--!--brand new", "zeta--!--z"}));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kChanged, kTitle, MessageIcon::Information}}));
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_TRUE(dialog.saved);
    EXPECT_FALSE(dialog.open);
    EXPECT_EQ(refreshes, 1);
    RunState run;
    EXPECT_EQ(db.lookupStoredPassword("mail", run), "brand new");
}

TEST_F(EnterStorePassDialogTest, EditKeepsTheLinesThatCannotBeRead) {
    store("zeta", "z");
    const std::string foreign = addForeignLine();
    store("mail", "old");
    EnterStorePassDialog dialog(db, false, "mail");
    dialog.txtPassCurr = "old";
    dialog.txtPassNew = dialog.txtPassVerify = "new";
    EXPECT_TRUE(dialog.cmdOk(ui, {}));
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"unreadable: " + foreign, "mail--!--new", "zeta--!--z"}));
    EXPECT_NE(readFile(db.path()).find(foreign + "\r\n"), std::string::npos);
}

TEST_F(EnterStorePassDialogTest, OverwriteKeepsTheLinesThatCannotBeRead) {
    store("mail", "old");
    const std::string foreign = addForeignLine();
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "new";
    ui.answers = {true};
    EXPECT_TRUE(dialog.cmdOk(ui, {}));
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"unreadable: " + foreign, "mail--!--new"}));
}

TEST_F(EnterStorePassDialogTest, ALineThatCannotBeReadIsNoStoredName) {
    const std::string foreign = addForeignLine();
    EnterStorePassDialog dialog(db, true);
    // Even a name that is the whole line is not taken for it.
    dialog.txtPassName = foreign;
    dialog.txtPassNew = dialog.txtPassVerify = "pw";
    EXPECT_TRUE(dialog.cmdOk(ui, {}));
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_EQ(ui.messages.back().text, kAdded);
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"unreadable: " + foreign, foreign + "--!--pw"}));
}

TEST_F(EnterStorePassDialogTest, EditFindsTheNameAfterTrimmingIt) {
    store("mail", "old");
    EnterStorePassDialog dialog(db, false, "  mail ");
    dialog.txtPassCurr = "old";
    dialog.txtPassNew = dialog.txtPassVerify = "new";
    EXPECT_TRUE(dialog.cmdOk(ui, {}));
    EXPECT_EQ(entriesOf(db.readAllEntries()), Entries{"mail--!--new"});
}

TEST_F(EnterStorePassDialogTest, EditChangesTheFirstOfTwoEntriesOfTheName) {
    store("mail", "first");
    store("mail", "second");
    EnterStorePassDialog dialog(db, false, "mail");
    dialog.txtPassCurr = "first";
    dialog.txtPassNew = dialog.txtPassVerify = "third";
    EXPECT_TRUE(dialog.cmdOk(ui, {}));
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"mail--!--third", "mail--!--second"}));
}

TEST_F(EnterStorePassDialogTest, EditModeNameIsReadOnlyAndAddModeNameIsNot) {
    store("mail", "old");
    EXPECT_TRUE(EnterStorePassDialog(db, false, "mail").txtPassNameReadOnly);
    EXPECT_FALSE(EnterStorePassDialog(db, true).txtPassNameReadOnly);
}

TEST_F(EnterStorePassDialogTest, EditUnderAnotherNameWithAWrongCurrentPasswordChangesNothing) {
    store("mail", "old");
    const std::string before = readFile(db.path());
    EnterStorePassDialog dialog(db, false, "mail");
    dialog.txtPassName = "post";
    dialog.txtPassCurr = "wrong";
    dialog.txtPassNew = dialog.txtPassVerify = "new";
    EXPECT_FALSE(dialog.cmdOk(ui, counter()));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kInvalidCurrent, kTitle, MessageIcon::Exclamation}}));
    EXPECT_EQ(ui.focusRequests, std::vector<std::string>{"txtPassCurr"});
    EXPECT_EQ(readFile(db.path()), before);
    EXPECT_TRUE(dialog.open);
    EXPECT_FALSE(dialog.saved);
    EXPECT_EQ(refreshes, 0);
}

TEST_F(EnterStorePassDialogTest, EditChangesTheSelectedEntryWhateverTheNameBoxHolds) {
    store("mail", "old");
    store("bank", "b");
    EnterStorePassDialog dialog(db, false, "mail");
    dialog.txtPassName = "bank";
    dialog.txtPassCurr = "old";
    dialog.txtPassNew = dialog.txtPassVerify = "new";
    EXPECT_TRUE(dialog.cmdOk(ui, counter()));
    EXPECT_EQ(entriesOf(db.readAllEntries()), (Entries{"bank--!--b", "mail--!--new"}));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kChanged, kTitle, MessageIcon::Information}}));
}

TEST_F(EnterStorePassDialogTest, EditOfAnEntryDeletedSinceIsRefusedWithoutAWrite) {
    store("bank", "b");
    const std::string before = readFile(db.path());
    EnterStorePassDialog dialog(db, false, "mail");
    dialog.txtPassCurr = "anything";
    dialog.txtPassNew = dialog.txtPassVerify = "new";
    EXPECT_FALSE(dialog.cmdOk(ui, counter()));
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].text,
              "mail is no longer in your stored password database. Please use \"Add\" to store it again.");
    EXPECT_EQ(readFile(db.path()), before);
    EXPECT_EQ(refreshes, 0);
}

TEST_F(EnterStorePassDialogTest, CharactersOutsideTheCodePageAreRefusedBeforeSaving) {
    store("mail", "old");
    const std::string before = readFile(db.path());
    const std::string arrowName = "mail\xE2\x86\x92";  // "mail→"
    const std::string macronPassword = "p\xC4\x81ss";  // "pāss"
    {
        EnterStorePassDialog dialog(db, true);
        dialog.txtPassName = arrowName;
        dialog.txtPassNew = dialog.txtPassVerify = "fine";
        EXPECT_FALSE(dialog.cmdOk(ui, counter()));
        const std::string refusal = morvane::codePageRefusal(arrowName, "password");
        ASSERT_FALSE(refusal.empty());
        EXPECT_EQ(ui.messages, (std::vector<Message>{{refusal, kTitle, MessageIcon::Exclamation}}));
        EXPECT_TRUE(dialog.open);
    }
    ui.messages.clear();
    {
        EnterStorePassDialog dialog(db, true);
        dialog.txtPassName = "mail";
        dialog.txtPassNew = dialog.txtPassVerify = macronPassword;
        ui.answers = {true};
        EXPECT_FALSE(dialog.cmdOk(ui, counter()));
        const std::string refusal = morvane::codePageRefusal(macronPassword, "password");
        ASSERT_FALSE(refusal.empty());
        EXPECT_EQ(ui.messages, (std::vector<Message>{{refusal, kTitle, MessageIcon::Exclamation}}));
        EXPECT_TRUE(ui.questions.empty());  // refused before the overwrite question
    }
    EXPECT_EQ(readFile(db.path()), before);
    EXPECT_EQ(refreshes, 0);
}

TEST_F(EnterStorePassDialogTest, FailedSaveShowsNoSuccessAndStaysOpen) {
    // A directory where the file should be: nothing can be written there.
    fs::create_directories(db.path());
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "secret";
    EXPECT_FALSE(dialog.cmdOk(ui, counter()));
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_TRUE(dialog.open);
    EXPECT_FALSE(dialog.saved);
    EXPECT_EQ(refreshes, 0);
    EXPECT_TRUE(dialog.hasUnsavedChanges());
}

TEST_F(EnterStorePassDialogTest, CancelClosesWithoutSaving) {
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "secret";
    dialog.cmdCancel();
    EXPECT_FALSE(dialog.open);
    EXPECT_FALSE(dialog.saved);
    EXPECT_FALSE(fs::exists(db.path()));
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(EnterStorePassDialogTest, UnsavedChangesFollowEveryBox) {
    EnterStorePassDialog dialog(db, false, "mail");
    EXPECT_FALSE(dialog.hasUnsavedChanges());
    dialog.txtPassName = "post";
    EXPECT_TRUE(dialog.hasUnsavedChanges());
    dialog.txtPassName = "mail";
    EXPECT_FALSE(dialog.hasUnsavedChanges());
    dialog.txtPassCurr = "x";
    EXPECT_TRUE(dialog.hasUnsavedChanges());
    dialog.txtPassCurr.clear();
    dialog.txtPassNew = "x";
    EXPECT_TRUE(dialog.hasUnsavedChanges());
    dialog.txtPassNew.clear();
    dialog.txtPassVerify = "x";
    EXPECT_TRUE(dialog.hasUnsavedChanges());
    dialog.txtPassVerify.clear();
    dialog.chkShowPass = true;  // not a box of the entry
    EXPECT_FALSE(dialog.hasUnsavedChanges());
}

TEST_F(EnterStorePassDialogTest, NothingIsUnsavedAfterASave) {
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "secret";
    EXPECT_TRUE(dialog.hasUnsavedChanges());
    ASSERT_TRUE(dialog.cmdOk(ui, {}));
    EXPECT_FALSE(dialog.hasUnsavedChanges());
}

TEST_F(EnterStorePassDialogTest, UnloadWithoutChangesAsksNothingAndRefreshes) {
    EnterStorePassDialog dialog(db, false, "mail");
    EXPECT_TRUE(dialog.unload(ui, counter()));
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_FALSE(dialog.open);
    EXPECT_EQ(refreshes, 1);
}

TEST_F(EnterStorePassDialogTest, UnloadAfterASaveAsksNothing) {
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "secret";
    ASSERT_TRUE(dialog.cmdOk(ui, counter()));
    EXPECT_TRUE(dialog.unload(ui, counter()));
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_EQ(entriesOf(db.readAllEntries()), Entries{"mail--!--secret"});
}

TEST_F(EnterStorePassDialogTest, UnloadWithChangesAnsweredNoClosesWithoutSaving) {
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "secret";
    dialog.cmdCancel();
    ui.answers = {false};
    EXPECT_TRUE(dialog.unload(ui, counter()));
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].text, "Would you like to save your changes?");
    EXPECT_EQ(ui.questions[0].title, "Save Changes?");
    EXPECT_FALSE(fs::exists(db.path()));
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_FALSE(dialog.open);
    EXPECT_EQ(refreshes, 1);
}

TEST_F(EnterStorePassDialogTest, UnloadWithChangesAnsweredYesSaves) {
    EnterStorePassDialog dialog(db, true);
    dialog.txtPassName = "mail";
    dialog.txtPassNew = dialog.txtPassVerify = "secret";
    ui.answers = {true};
    EXPECT_TRUE(dialog.unload(ui, counter()));
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].title, "Save Changes?");
    EXPECT_EQ(entriesOf(db.readAllEntries()), Entries{"mail--!--secret"});
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kAdded, kTitle, MessageIcon::Information}}));
    EXPECT_TRUE(dialog.saved);
    EXPECT_FALSE(dialog.open);
    EXPECT_GE(refreshes, 1);
}

TEST_F(EnterStorePassDialogTest, UnloadWhoseSaveFailsKeepsTheDialogOpen) {
    store("mail", "old");
    const std::string before = readFile(db.path());
    EnterStorePassDialog dialog(db, false, "mail");
    dialog.txtPassCurr = "wrong";
    dialog.txtPassNew = dialog.txtPassVerify = "new";
    ui.answers = {true};
    EXPECT_FALSE(dialog.unload(ui, counter()));
    EXPECT_EQ(ui.messages, (std::vector<Message>{{kInvalidCurrent, kTitle, MessageIcon::Exclamation}}));
    EXPECT_TRUE(dialog.open);
    EXPECT_FALSE(dialog.saved);
    EXPECT_EQ(refreshes, 0);
    EXPECT_EQ(dialog.txtPassCurr, "wrong");
    EXPECT_EQ(readFile(db.path()), before);
}

// --- The main window's stored-password check box ----------------------------------

using StoredPasswordCheckTest = StoredPasswordsTest;

TEST_F(StoredPasswordCheckTest, StoredPasswordsOpenTheListForPicking) {
    store("mail", "secret");
    window.chkStoredPass = true;
    EXPECT_EQ(morvane::chkStoredPassClick(window, db, ui), StoredPassChoice::PickFromList);
    EXPECT_TRUE(ui.questions.empty());
    EXPECT_TRUE(window.chkStoredPass);
}

TEST_F(StoredPasswordCheckTest, AnyByteInTheFileCountsAsStoredPasswords) {
    writeFile(db.path(), "\r\n");
    window.chkStoredPass = true;
    EXPECT_EQ(morvane::chkStoredPassClick(window, db, ui), StoredPassChoice::PickFromList);
    EXPECT_TRUE(ui.questions.empty());
}

TEST_F(StoredPasswordCheckTest, NoFileAnsweredNoClearsTheBox) {
    window.chkStoredPass = true;
    ui.answers = {false};
    EXPECT_EQ(morvane::chkStoredPassClick(window, db, ui), StoredPassChoice::Unchecked);
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].text, kNoStoredPasswords);
    EXPECT_EQ(ui.questions[0].title, kTitle);
    EXPECT_FALSE(window.chkStoredPass);
}

TEST_F(StoredPasswordCheckTest, EmptyFileAnsweredYesOffersToAdd) {
    writeFile(db.path(), "");
    window.chkStoredPass = true;
    ui.answers = {true};
    EXPECT_EQ(morvane::chkStoredPassClick(window, db, ui), StoredPassChoice::AddPassword);
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0].text, kNoStoredPasswords);
    EXPECT_TRUE(window.chkStoredPass);
}

}  // namespace
