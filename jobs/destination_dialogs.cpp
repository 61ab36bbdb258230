#include "destination_dialogs.h"

#include <filesystem>

#include "file_attributes.h"
#include "program_directory.h"
#include "text_case.h"
#include "text_trim.h"

namespace morvane {

namespace fs = std::filesystem;

namespace {

bool endsWithEnz(const std::string& path) {
    const std::string lowered = lowerCase(path);
    return lowered.size() >= 4 && lowered.compare(lowered.size() - 4, 4, ".enz") == 0;
}

// A drive or network path on Windows; an absolute path elsewhere.
bool isRootedPath(const std::string& path) {
#ifdef _WIN32
    return (path.size() >= 3 && path.compare(1, 2, ":\\") == 0) || path.rfind("\\\\", 0) == 0;
#else
    return !path.empty() && path.front() == '/';
#endif
}

}  // namespace

OneZipFileDialog::OneZipFileDialog(const RunState& run)
    : txtCombZip(run.combinedArchivePath), browseCaption(run.combinedArchivePath.empty() ? "Browse" : "Change") {}

void OneZipFileDialog::browse(UserInterface& ui, const RunState& run) {
    const std::optional<std::string> chosen = ui.chooseFileToSave("Single Encrypted File", "Encrypted Zip Files|*.enz");
    if (!chosen) return;
    txtCombZip = *chosen;
    if (!endsWithEnz(txtCombZip)) txtCombZip += ".enz";
    if (txtCombZip != run.combinedArchivePath) wantSingle = true;
}

bool OneZipFileDialog::validate(UserInterface& ui, RunState& run) {
    if (txtCombZip.empty()) {
        ui.showMessage(
            "Please enter in a valid name for the zip file you wish to create that will contain all of your encrypted "
            "files (e.g. c:\\temp\\my_encrypted_files.enz).",
            MessageIcon::Exclamation);
        ui.setFocus("txtCombZip");
        return false;
    }
    if (!endsWithEnz(txtCombZip)) txtCombZip += ".enz";
    std::error_code ec;
    if (txtCombZip != run.combinedArchivePath && fs::exists(fileattr::toPath(txtCombZip), ec) &&
        !ui.askYesNo(txtCombZip + " already exists. Do you wish to overwrite this file?", "Overwrite?")) {
        txtCombZip.clear();
        return false;
    }
    run.combinedArchivePath = txtCombZip;
    wantSingle = true;
    return true;
}

void OneZipFileDialog::ok(UserInterface& ui, RunState& run, const std::string& currentDirectory) {
    txtCombZip = trimBlanks(txtCombZip);
    if (txtCombZip.empty()) {
        ui.showMessage("Please specify an output file that will contain your encrypted files.", "Invalid Output File",
                       MessageIcon::Exclamation);
        ui.setFocus("txtCombZip");
        return;
    }
    if (!isRootedPath(txtCombZip)) {
        txtCombZip = currentDirectory + kPathSeparator + txtCombZip;
    } else {
        const std::string directory = txtCombZip.substr(0, txtCombZip.rfind(kPathSeparator) + 1);
        std::error_code ec;
        if (!fs::is_directory(fileattr::toPath(directory), ec)) {
            ui.showMessage(directory + " is an invalid directory. Please verify output directory and then try again.",
                           MessageIcon::Exclamation);
            ui.setFocus("txtCombZip");
            return;
        }
    }
    if (!validate(ui, run)) return;
    accepted = true;
    open = false;
}

void OneZipFileDialog::cancel(UserInterface& ui, MainWindowModel& window, const RunState& run) {
    wantSingle = false;
    close(ui, window, run);
}

bool OneZipFileDialog::close(UserInterface& ui, MainWindowModel& window, const RunState& run) {
    if (!accepted && wantSingle &&
        !ui.askYesNo("Are you sure you do not wish to create a single encrypted zip file?", "Cancel")) {
        open = true;
        return false;
    }
    if (run.combinedArchivePath.empty()) {
        window.chkCreateOneZip = false;
        window.txtCombZipFile.clear();
    } else {
        window.txtCombZipFile = run.combinedArchivePath;
    }
    if (trimBlanks(window.txtCombZipFile).empty()) window.chkCreateOneZip = false;
    open = false;
    return true;
}

void DecToDirDialog::ok(MainWindowModel& window) {
    window.txtDecryptTo = directory;  // no closing separator is added
    close(window);
}

void DecToDirDialog::cancel(MainWindowModel& window) { close(window); }

void DecToDirDialog::close(MainWindowModel& window) {
    if (trimBlanks(window.txtDecryptTo).empty()) window.chkDecOutputDir = false;
    open = false;
}

bool chkCreateOneZipClick(MainWindowModel& window, const RunState& run, bool nowChecked) {
    window.chkCreateOneZip = nowChecked;
    return nowChecked && !run.commandLineRun;
}

bool chkDecOutputDirClick(MainWindowModel& window, const RunState& run, bool nowChecked) {
    window.chkDecOutputDir = nowChecked;
    return nowChecked && !run.commandLineRun;
}

void cmdClearDestClick(MainWindowModel& window) {
    window.txtDecryptTo.clear();
    window.chkDecOutputDir = false;
}

void cmdClearCombinedClick(MainWindowModel& window) {
    window.txtCombZipFile.clear();
    window.chkCreateOneZip = false;
}

}  // namespace morvane
