#pragma once
// The stored-password manager as plain models: the list window frmStoredPass
// (show, add, edit, delete, and pick a password for the current job) and the
// add/edit dialog frmEnterStorePass; plus what the main window's
// stored-password check box does. The windows are thin views over these.
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "main_window_model.h"
#include "password_database.h"
#include "user_interface.h"

namespace morvane {

// One row of lstPass: the row number (1, 2, ...), the name, and the password
// in clear or as one "*" per character of the trimmed password.
struct StoredPasswordRow {
    std::string number;
    std::string name;
    std::string shown;
    bool operator==(const StoredPasswordRow&) const = default;
};

// Captions of cmdEdit: managing, or picking a password for the current job.
inline constexpr std::string_view kEditCaption = "Edit Password";
inline constexpr std::string_view kSelectCaption = "Select";

// frmStoredPass.
class StoredPasswordList {
public:
    explicit StoredPasswordList(PasswordDatabase& database);

    // cmdEdit's caption: kSelectCaption puts the list in pick mode.
    std::string cmdEditCaption{kEditCaption};
    bool chkDisplayPass = false;
    std::vector<StoredPasswordRow> rows;
    std::vector<std::string> passwords;  // by row (0-based), trimmed
    int selectedRow = -1;                // 0-based; -1 when none is selected
    std::string sSelectedPass;
    bool open = true;

    bool pickMode() const { return cmdEditCaption == kSelectCaption; }

    // Reloads the rows from the file (an empty list when it is missing).
    void populateGrid();

    // chkDisplayPass clicked: passwords in clear or masked, then populateGrid.
    void setDisplayPasswords(bool on);

    // cmdEdit (and a double-click on a row).
    enum class EditAction {
        None,        // nothing selected: the person was told
        OpenEditor,  // open frmEnterStorePass in edit mode for `name`
        Picked,      // pick mode: the password went into both password boxes; the list closed
    };
    struct EditResult {
        EditAction action = EditAction::None;
        std::string name;
    };
    EditResult cmdEdit(UserInterface& ui, MainWindowModel& window);

    // cmdDelete (and the Delete key on lstPass): asks, deletes every entry of
    // the selected name, refreshes, tells.
    void cmdDelete(UserInterface& ui);

    // Form_Unload: an empty main-window password box clears chkStoredPass.
    void unload(MainWindowModel& window);

private:
    PasswordDatabase& database_;
};

// frmEnterStorePass: add mode (gfbAddPass) or edit mode.
class EnterStorePassDialog {
public:
    // Reads every entry into the array, sorted by name, and sets up the mode.
    // `name` fills txtPassName in edit mode.
    EnterStorePassDialog(PasswordDatabase& database, bool addMode, std::string name = {});

    bool gfbAddPass;
    std::string caption;  // "Add Password" or "Edit Password"
    std::string txtPassName;
    // In edit mode the name box is read-only: the entry changed is always the
    // one selected in the list, and a new name is added with "Add".
    bool txtPassNameReadOnly;
    std::string txtPassCurr;  // edit mode only
    std::string txtPassNew;
    std::string txtPassVerify;
    bool currentPasswordVisible;  // txtPassCurr and lblCurrentPassword
    std::string lblCurrentPassword = "Current Password:";
    std::string lblNewPassword;  // "Password:" in add mode, "New Password:" in edit mode
    std::string lblVerifyPassword = "Verify Password:";
    bool chkShowPass = false;  // the password boxes in clear when set
    bool open = true;
    bool saved = false;

    // The lines as read at opening: the entries sorted by name, after the
    // lines that cannot be read.
    const std::vector<StoredEntry>& entries() const { return entries_; }

    // cmdOk: every check in order, then the save; true when saved (the
    // dialog then closes and `refresh` has been called).
    bool cmdOk(UserInterface& ui, const std::function<void()>& refresh);

    // cmdCancel: closes without saving.
    void cmdCancel();

    // Any edit of the boxes since opening that has not been saved.
    bool hasUnsavedChanges() const;

    // Form_Unload: offers to save unsaved changes, then refreshes the list.
    // False when the person chose to save and the save failed: the dialog
    // stays open with the input kept.
    bool unload(UserInterface& ui, const std::function<void()>& refresh);

private:
    PasswordDatabase& database_;
    std::vector<StoredEntry> entries_;
    std::string openedName_;
};

// chkStoredPass on the main window, when it became checked.
enum class StoredPassChoice {
    PickFromList,  // show frmStoredPass in pick mode (cmdEdit reads "Select")
    AddPassword,   // no stored passwords yet, and the person wants to add one
    Unchecked,     // no stored passwords, and the person declined: the box is cleared
};
StoredPassChoice chkStoredPassClick(MainWindowModel& window, const PasswordDatabase& database, UserInterface& ui);

}  // namespace morvane
