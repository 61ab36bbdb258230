// encryptFiles: the job behind "Encrypt Now" and the command line's "-e".
// Each check, message, log line and option comes in the order people and
// their batch files have always met them.
#include <exception>
#include <vector>

#include "atomic_file.h"
#include "clsBlowfish.h"
#include "container.h"
#include "file_attributes.h"
#include "file_list.h"
#include "job_support.h"
#include "platform_utilities.h"
#include "text_case.h"

namespace morvane {

namespace {

using job::fileExistsAt;

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

void runEncryptFiles(JobContext& c, clsBlowfish& cipher) {
    MainWindowModel& w = c.window;
    const bool commandLine = c.run.commandLineRun;
    const bool silent = c.run.silentRun;

    if (w.lstFiles.empty()) {
        if (!commandLine)
            c.ui.showMessage(
                "No files have been selected to encrypt. Please select the \"Add Files\" button to select the files "
                "you wish to encrypt.",
                "No Files Selected", MessageIcon::Information);
        return;
    }
    const std::optional<std::string> key = job::checkedPasswordKey(
        c, "Password field is blank. Please enter in a valid password with up to 56 characters in length.");
    if (!key) return;

    c.zip.SetZipPassword(zipPassword(*key));
    c.zip.ZipMode(kJobZipMode);
    if (w.chkDelAfterEnc) checkWinDirDelete(c);

    const bool combined = w.chkCreateOneZip;
    std::string archiveDir, tempZipName, combinedTempZip;
    if (combined) {
        const SplitPath archive = splitAtLastSeparator(c.run.combinedArchivePath);
        archiveDir = archive.dir;
        tempZipName = perFileTempZipName(archive.name);
        combinedTempZip = archiveDir + tempZipName;
        deleteFile(combinedTempZip);
    }

    const std::size_t count = w.lstFiles.size();
    std::vector<std::string> slots(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string path = trimBlanks(w.lstFiles[i].text);
        slots[i] = path;
        const std::string lowered = lowerCase(path);
        if (contains(lowered, ".enz")) {
            if (!commandLine) {
                c.ui.showMessage(path +
                                     " is already encrypted. If you wish to decrypt this file, then select the "
                                     "\"Decrypt Now\" button below, otherwise delete this file from the list of files "
                                     "you wish to encrypt and then click the \"Encrypt Now\" button again.",
                                 MessageIcon::Exclamation);
                closeStatus(c);
                return;
            }
            c.log.writeLog(path +
                           " is already encrypted. This file has been removed from the list of files to be encrypted.");
            slots[i].clear();
        }
        if (!commandLine && !fileExistsAt(path)) {
            // Two blanks after "list of": the words people know.
            c.ui.showMessage("Unable to locate " + path +
                                 ". Please remove this file from the list of  file to be encrypted and then try again.",
                             MessageIcon::Exclamation);
            return;
        }
        // Any path with "sys" in it counts as a system file, a folder name too.
        if (contains(lowered, "sys") && !w.chkHiddenSystemFiles && !commandLine) {
            c.ui.showMessage(path +
                                 " is a system file. If you wish to encrypt system files, please select \"Allow hidden "
                                 "and system files to be encrypted\" under the zip options menu and then try "
                                 "encrypting your files again.",
                             MessageIcon::Exclamation);
            closeStatus(c);
            return;
        }
        if (slots[i].empty()) continue;
        // Only a file that is hidden and nothing else but archive is caught.
        if (!commandLine && !w.chkHiddenSystemFiles &&
            fileattr::getAttributes(path) == (fileattr::kHidden | fileattr::kArchive)) {
            c.ui.showMessage(path +
                                 " is a hidden file. If you wish to encrypt hidden files, please select \"Allow hidden "
                                 "and system files to be encrypted\" under the zip options menu and then try "
                                 "encrypting your files again.",
                             MessageIcon::Exclamation);
            closeStatus(c);
            return;
        }

        const SplitPath source = splitAtLastSeparator(path);
        const std::string fileTempZip = perFileTempZipName(source.name);
        if (!silent) c.status.dispZipStatus(path, "Zipping " + path + "...");
        bool packed =
            combined ? c.zip.ZipFiles(source.dir, quotedName(source.name), archiveDir, tempZipName, kPackOptions)
                     : c.zip.ZipFiles(source.dir, quotedName(source.name), source.dir, fileTempZip, kPackOptions) &&
                           c.zip.CommitArchive();
        if (!silent) c.status.finishBar();
        if (!packed) {
            c.log.writeLog("Failed to compress \"" + source.name + "\". Please verify file and then try again. ");
            closeStatus(c);
            return;
        }

        if (!combined) {
            if (!silent) c.status.dispEncStatus(path, "Encrypting " + path + "...");
            if (!cipher.EncryptFile(source.dir + fileTempZip, path + ".enz", *key)) {
                if (!commandLine)
                    c.ui.showMessage("Failed to encrypt " + path + ". Please verify file and then try again.",
                                     MessageIcon::Exclamation);
                // By its bare name, as it always was: the temporary zip in the
                // source's folder stays unless that is the current folder.
                deleteFile(fileTempZip);
                closeStatus(c);
                return;
            }
            flushToDisk(path + ".enz");
            deleteFile(source.dir + fileTempZip);
            w.lstFiles[i].text = path + ".enz";
            if (w.chkDelAfterEnc) deleteFile(path);
        } else {
            if (i + 1 == count) {
                if (!silent)
                    c.status.dispEncStatus(c.run.combinedArchivePath,
                                           "Encrypting " + c.run.combinedArchivePath + "...");
                if (!c.zip.CommitArchive() || !cipher.EncryptFile(combinedTempZip, c.run.combinedArchivePath, *key)) {
                    const std::string failure =
                        "Failed to create " + c.run.combinedArchivePath + ". Please verify file and then try again.";
                    c.log.writeLog(failure);
                    if (!commandLine) c.ui.showMessage(failure, MessageIcon::Exclamation);
                    deleteFile(combinedTempZip);
                    closeStatus(c);
                    return;
                }
                flushToDisk(c.run.combinedArchivePath);
            }
            // Each source goes right after it joined the temporary zip, before
            // the archive exists, once the zip no longer needs the file.
            if (w.chkDelAfterEnc && c.zip.ReleaseSources()) deleteFile(path);
        }
        if (!silent) c.status.finishBar();
    }

    if (!silent) {
        closeStatus(c);
        c.ui.pause(300);
    }
    deleteFile(combinedTempZip);

    if (!commandLine) {
        refreshList(w);
        if (count == 1) {
            c.ui.showMessage(slots[0] + " has successfully been encrypted.", MessageIcon::Information);
            c.recent.updateRecentList(w, "Encrypt " + slots[0]);
        } else {
            c.ui.showMessage("Your files have successfully been encrypted.", MessageIcon::Information);
        }
    }
}

}  // namespace

void checkWinDirDelete(JobContext& c) {
    // Without a Windows directory there is nothing to protect.
    if (c.run.windowsDirectory.empty()) return;
    const std::string windowsDir = lowerCase(c.run.windowsDirectory);
    for (const ListRow& row : c.window.lstFiles) {
        const std::string text = lowerCase(trimBlanks(row.text));
        if (contains(text, ".enz") || !contains(text, windowsDir)) continue;
        if (c.run.commandLineRun) {
            c.window.chkDelAfterEnc = false;
            c.log.writeLog("Deletion of files contained in the " + c.run.windowsDirectory +
                           " directory is not allowed when running Morvane from the command line.");
        } else if (!c.ui.askYesNo("Are you sure you want to remove the files contained in your Windows directory "
                                  "after they have been encrypted? If you remove these files, your system may fail "
                                  "to function properly.")) {
            c.window.chkDelAfterEnc = false;
        }
        return;
    }
}

void encryptFiles(JobContext& c) {
    clsBlowfish cipher;
    job::JobScope scope(c, cipher);
    try {
        runEncryptFiles(c, cipher);
    } catch (const std::exception& error) {
        c.log.writeLog(job::errorLine("encryptFiles", error));
    }
}

}  // namespace morvane
