#include "stored_password_manager.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "file_attributes.h"
#include "message_encryption.h"
#include "text_trim.h"

namespace morvane {

namespace {

// Characters, not bytes: a masked password shows one "*" per character typed.
std::size_t characterCount(std::string_view utf8) {
    std::size_t count = 0;
    for (const char c : utf8)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
    return count;
}

// The password of an entry as the add/edit dialog compares it: everything
// after the last separator, untouched.
std::string passwordAfterLastSeparator(std::string_view entry) {
    const auto separator = entry.rfind(kEntrySeparator);
    if (separator == std::string_view::npos) return {};
    return std::string(entry.substr(separator + kEntrySeparator.size()));
}

std::string entryText(std::string_view name, std::string_view password) {
    return std::string(name) + std::string(kEntrySeparator) + std::string(password);
}

// The database file is there and holds at least one byte.
bool databaseHasContent(const PasswordDatabase& database) {
    if (!database.exists()) return false;
    std::error_code ec;
    const auto size = std::filesystem::file_size(fileattr::toPath(database.path()), ec);
    return !ec && size > 0;
}

bool validRow(int row, std::size_t rowCount) { return row >= 0 && static_cast<std::size_t>(row) < rowCount; }

}  // namespace

// --- frmStoredPass -----------------------------------------------------------

StoredPasswordList::StoredPasswordList(PasswordDatabase& database) : database_(database) {}

void StoredPasswordList::populateGrid() {
    rows.clear();
    passwords.clear();
    if (database_.exists()) {
        // Only entries are rows: a line this program cannot read stays in the
        // file but is nobody's password here.
        for (const std::string& entry : PasswordDatabase::entryTexts(database_.readAllEntries())) {
            std::string password = PasswordDatabase::passwordOf(entry);
            StoredPasswordRow row;
            row.number = std::to_string(rows.size() + 1);
            row.name = PasswordDatabase::nameOf(entry);
            row.shown = chkDisplayPass ? password : std::string(characterCount(password), '*');
            rows.push_back(std::move(row));
            passwords.push_back(std::move(password));
        }
    }
    if (!validRow(selectedRow, rows.size())) selectedRow = -1;
}

void StoredPasswordList::setDisplayPasswords(bool on) {
    chkDisplayPass = on;
    populateGrid();
}

StoredPasswordList::EditResult StoredPasswordList::cmdEdit(UserInterface& ui, MainWindowModel& window) {
    if (!validRow(selectedRow, rows.size())) {
        ui.showMessage("Please select a password to edit.", MessageIcon::Information);
        return {};
    }
    const auto row = static_cast<std::size_t>(selectedRow);
    if (pickMode()) {
        // Both boxes: the person never saw the password to type it again,
        // and picking it from the list is its verification.
        sSelectedPass = passwords[row];
        window.txtPassword = sSelectedPass;
        window.txtVerifyPass = sSelectedPass;
        open = false;
        return {EditAction::Picked, {}};
    }
    return {EditAction::OpenEditor, rows[row].name};
}

void StoredPasswordList::cmdDelete(UserInterface& ui) {
    if (!validRow(selectedRow, rows.size())) {
        ui.showMessage("Please select a password to delete.", MessageIcon::Information);
        return;
    }
    const std::string name = rows[static_cast<std::size_t>(selectedRow)].name;
    if (!ui.askYesNo("Are you sure you wish to remove " + name + " from your password database?", "Delete " + name))
        return;
    database_.deleteStoredPassword(name, ui, [this] { populateGrid(); });
    selectedRow = -1;
}

void StoredPasswordList::unload(MainWindowModel& window) {
    if (window.txtPassword.empty()) window.chkStoredPass = false;
    open = false;
}

// --- frmEnterStorePass -------------------------------------------------------

EnterStorePassDialog::EnterStorePassDialog(PasswordDatabase& database, bool addMode, std::string name)
    : gfbAddPass(addMode),
      caption(addMode ? "Add Password" : "Edit Password"),
      txtPassName(addMode ? std::string() : std::move(name)),
      txtPassNameReadOnly(!addMode),
      currentPasswordVisible(!addMode),
      lblNewPassword(addMode ? "Password:" : "New Password:"),
      database_(database),
      entries_(database.readAllEntries()),
      openedName_(txtPassName) {
    // Entries by name; the lines that cannot be read come first, in file
    // order, and are written back as they are.
    std::stable_sort(entries_.begin(), entries_.end(), [](const StoredEntry& a, const StoredEntry& b) {
        if (a.readable != b.readable) return !a.readable;
        return a.readable && PasswordDatabase::nameOf(a.text) < PasswordDatabase::nameOf(b.text);
    });
}

bool EnterStorePassDialog::cmdOk(UserInterface& ui, const std::function<void()>& refresh) {
    const std::string typedName = trimBlanks(txtPassName);
    if (typedName.empty()) {
        ui.setFocus("txtPassName");
        ui.showMessage(
            "Error. The password name field cannot be blank. Please enter in a valid password name and then try "
            "again.",
            MessageIcon::Exclamation);
        return false;
    }

    // Edit mode changes the entry it was opened for, whatever the box holds.
    const std::string name = gfbAddPass ? typedName : trimBlanks(openedName_);
    const auto stored = std::find_if(entries_.begin(), entries_.end(), [&](const StoredEntry& entry) {
        return entry.readable && PasswordDatabase::nameOf(entry.text) == name;
    });
    const bool nameStored = stored != entries_.end();

    if (!gfbAddPass && !nameStored) {
        // Deleted since the list showed it (in another window, say): there is
        // no current password to check, and nothing to change.
        ui.showMessage(name + " is no longer in your stored password database. Please use \"Add\" to store it again.",
                       MessageIcon::Exclamation);
        return false;
    }
    if (!gfbAddPass && txtPassCurr != passwordAfterLastSeparator(stored->text)) {
        ui.setFocus("txtPassCurr");
        ui.showMessage("Invalid current password. Please verify password and then try again.",
                       MessageIcon::Exclamation);
        return false;
    }

    const std::string newPassword = trimBlanks(txtPassNew);
    if (newPassword.empty()) {
        ui.setFocus("txtPassNew");
        ui.showMessage(
            "Error. The password field cannot be blank. Please enter in a valid password and then try again.",
            MessageIcon::Exclamation);
        return false;
    }

    if (txtPassNew != txtPassVerify) {
        ui.setFocus("txtPassVerify");
        ui.showMessage(
            "Password entered into the \"Verify Password\" field does not match the password entered into the "
            "\"Password\" field. Please verify password and then try again.",
            MessageIcon::Exclamation);
        return false;
    }

    // The database enciphers through the Windows-1252 code page and would
    // refuse these; say which characters are at fault instead of failing
    // without a word.
    for (const auto& [text, box] : {std::pair{&name, "txtPassName"}, std::pair{&newPassword, "txtPassNew"}}) {
        const std::string refusal = codePageRefusal(*text, "password");
        if (!refusal.empty()) {
            ui.setFocus(box);
            ui.showMessage(refusal, MessageIcon::Exclamation);
            return false;
        }
    }

    std::string success;
    if (!gfbAddPass) {
        // Rewrite a copy so a failed save leaves the dialog's array as read.
        std::vector<StoredEntry> changed = entries_;
        changed[static_cast<std::size_t>(stored - entries_.begin())] = StoredEntry::entry(entryText(name, newPassword));
        if (!database_.savePasswordFile(false, changed)) return false;
        entries_ = std::move(changed);
        success = "Your password has been changed.";
    } else if (nameStored && databaseHasContent(database_)) {
        if (!ui.askYesNo(
                name + " already exists in your stored password database. Do you wish to overwrite this entry?",
                "Overwrite?"))
            return false;
        std::vector<StoredEntry> changed = entries_;
        changed[static_cast<std::size_t>(stored - entries_.begin())] = StoredEntry::entry(entryText(name, newPassword));
        if (!database_.savePasswordFile(false, changed)) return false;
        entries_ = std::move(changed);
        success = "Your password has been updated.";
    } else {
        if (!database_.savePasswordFile(true, {}, name, newPassword)) return false;
        entries_.push_back(StoredEntry::entry(entryText(name, newPassword)));
        success = "Your password has been added to the passwords database.";
    }

    ui.showMessage(success, MessageIcon::Information);
    saved = true;
    if (refresh) refresh();
    open = false;
    return true;
}

void EnterStorePassDialog::cmdCancel() { open = false; }

bool EnterStorePassDialog::hasUnsavedChanges() const {
    if (saved) return false;
    return txtPassName != openedName_ || !txtPassCurr.empty() || !txtPassNew.empty() || !txtPassVerify.empty();
}

bool EnterStorePassDialog::unload(UserInterface& ui, const std::function<void()>& refresh) {
    if (hasUnsavedChanges() && ui.askYesNo("Would you like to save your changes?", "Save Changes?")) {
        if (!cmdOk(ui, refresh)) return false;
    }
    if (refresh) refresh();
    open = false;
    return true;
}

// --- The main window's stored-password check box -------------------------------

StoredPassChoice chkStoredPassClick(MainWindowModel& window, const PasswordDatabase& database, UserInterface& ui) {
    if (databaseHasContent(database)) return StoredPassChoice::PickFromList;
    if (ui.askYesNo("You currently do not have any stored passwords in your password database. Would you like to add a "
                    "password to the password database?"))
        return StoredPassChoice::AddPassword;
    window.chkStoredPass = false;
    return StoredPassChoice::Unchecked;
}

}  // namespace morvane
