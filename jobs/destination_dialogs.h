#pragma once
// Where jobs write: frmOneZipFile ("Single Encrypted File") chooses the one
// combined archive of the encrypt job, frmDecToDir ("Extract Decrypted
// Files") the output directory of the decrypt job; and the main window's
// check boxes and buttons that open them. Plain models the windows show.
#include <string>

#include "main_window_model.h"
#include "user_interface.h"

namespace morvane {

struct OneZipFileDialog {
    // On load: the stored path, and "Change" or "Browse".
    explicit OneZipFileDialog(const RunState& run);

    std::string txtCombZip;
    std::string browseCaption;
    bool accepted = false;
    bool wantSingle = false;
    bool open = true;

    // cmdBrowse: the save-file dialog; ".enz" appended when missing.
    void browse(UserInterface& ui, const RunState& run);
    // cmdOk: checks and stores the path in RunState::combinedArchivePath.
    // `currentDirectory` completes a relative path.
    void ok(UserInterface& ui, RunState& run, const std::string& currentDirectory);
    // cmdCancel.
    void cancel(UserInterface& ui, MainWindowModel& window, const RunState& run);
    // Closing the dialog by any way; false when the person chose to stay.
    bool close(UserInterface& ui, MainWindowModel& window, const RunState& run);

private:
    bool validate(UserInterface& ui, RunState& run);
};

struct DecToDirDialog {
    std::string directory;  // the directory chosen in the tree
    bool open = true;

    void ok(MainWindowModel& window);
    void cancel(MainWindowModel& window);
    void close(MainWindowModel& window);
};

// What the main window does when its destination controls are used; true
// when the matching dialog is to be shown.
bool chkCreateOneZipClick(MainWindowModel& window, const RunState& run, bool nowChecked);
bool chkDecOutputDirClick(MainWindowModel& window, const RunState& run, bool nowChecked);
void cmdClearDestClick(MainWindowModel& window);
void cmdClearCombinedClick(MainWindowModel& window);  // cmdClear on the encrypt tab

}  // namespace morvane
