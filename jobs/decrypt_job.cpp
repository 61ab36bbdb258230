// decryptFiles: the job behind "Decrypt Now" and the command line's "-d".
// A wrong password shows itself when the deciphered zip cannot be extracted.
#include <exception>
#include <vector>

#include "clsBlowfish.h"
#include "container.h"
#include "file_list.h"
#include "job_support.h"
#include "platform_utilities.h"
#include "run_time_error.h"
#include "text_case.h"

namespace morvane {

namespace {

using job::fileExistsAt;

// The archive path of a row: the text before "(encrypted zip)", trimmed. A
// row without the marker cannot be cut and ends the job.
std::string archivePathOf(const std::string& text) {
    const auto marker = text.find(kArchiveMarkerWord);
    if (marker == std::string::npos) throw RunTimeError(kInvalidProcedureCall, kInvalidProcedureCallText);
    return trimBlanks(text.substr(0, marker));
}

void runDecryptFiles(JobContext& c, clsBlowfish& cipher) {
    MainWindowModel& w = c.window;
    const bool commandLine = c.run.commandLineRun;
    const bool silent = c.run.silentRun;

    if (w.lstFiles.empty()) {
        if (!commandLine)
            c.ui.showMessage(
                "No files have been selected to decrypt. Please select the \"Add Files\" button to select the files "
                "you wish to decrypt. Please note, these files must contain a .enz file extension.",
                "No Files Selected", MessageIcon::Information);
        return;
    }
    const std::optional<std::string> key = job::checkedPasswordKey(
        c, "Password field is blank. Please enter in a valid password to decrypt your files and then try again.");
    if (!key) return;

    c.zip.SetUnzipPassword(zipPassword(*key));
    c.zip.ZipMode(kJobZipMode);
    bool failed = false;

    const std::size_t count = w.lstFiles.size();
    std::vector<std::string> slots(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string entryText = w.lstFiles[i].text;
        // Any name with "enz" in it is taken for an archive, as it always was.
        if (lowerCase(entryText).find("enz") == std::string::npos) {
            c.ui.showMessage(entryText +
                                 " is not an encrypted zip file. An encrypted zip file must end with a .enz file "
                                 "extension. Please verify file and then try again.",
                             MessageIcon::Exclamation);
            closeStatus(c);
            return;
        }
        const std::string path = archivePathOf(entryText);
        slots[i] = path;
        if (!commandLine && !fileExistsAt(path)) {
            // Two blanks after "list of": the words people know.
            c.ui.showMessage("Unable to locate " + path +
                                 ". Please remove this file from the list of  file to be decrypted and then try again.",
                             MessageIcon::Exclamation);
            return;
        }
        w.txtDecryptTo = trimBlanks(w.txtDecryptTo);
        const SplitPath archive = splitAtLastSeparator(path);
        const std::string outdir = w.chkDecOutputDir ? w.txtDecryptTo : archive.dir;
        const std::string tempZip = decryptTempZipPath(outdir, path);
        deleteFile(tempZip);

        if (!silent) c.status.dispEncStatus(path, "Decrypting " + path + "...");
        if (cipher.DecryptFile(path, tempZip, *key)) {
            if (!silent) c.status.dispZipStatus(path, "Unzipping " + path + "...");
            if (!c.zip.UnzipFiles(tempZip, "*.*", outdir, w.chkDontOverwrite ? "-n" : "")) {
                // The deciphered bytes are no zip this password opens: a wrong password.
                closeStatus(c);
                deleteFile(tempZip);
                if (commandLine) {
                    c.log.writeLog("Invalid password for the following command line: " + c.run.commandLine +
                                   ". Please verify password on ALL of the files you encrypted and then try again.");
                } else {
                    c.ui.showMessage("Invalid password while trying to decrypt " + entryText +
                                         ". Please verify password and then try again.",
                                     MessageIcon::Exclamation);
                }
                return;
            }
            deleteFile(tempZip);
            if (w.chkRemoveEncFile) deleteFile(path);
        } else {
            failed = true;
        }
        if (!silent) c.status.finishBar();
        if (failed && !commandLine) {
            const std::string failure =
                "Failed to decrypt " + path + ". Please verify your password and then try again.";
            c.log.writeLog(failure);
            c.ui.showMessage(failure, MessageIcon::Exclamation);
            c.ui.setFocus("txtPassword");
            return;
        }
    }

    if (failed) c.run.jobFailedSilently = true;
    if (!silent) {
        closeStatus(c);
        c.ui.pause(300);
        c.ui.pause(300);
    }
    if (!failed && !commandLine) {
        if (count == 1) {
            c.ui.showMessage(slots[0] + " has successfully been decrypted.", MessageIcon::Information);
            c.recent.updateRecentList(w, "Decrypt " + slots[0]);
        } else {
            // Without "have": the words people know.
            c.ui.showMessage("Your files successfully been decrypted.", MessageIcon::Information);
        }
    }
}

}  // namespace

void decryptFiles(JobContext& c) {
    clsBlowfish cipher;
    job::JobScope scope(c, cipher);
    try {
        runDecryptFiles(c, cipher);
    } catch (const std::exception& error) {
        c.log.writeLog(job::errorLine("decryptFiles", error));
    }
}

}  // namespace morvane
