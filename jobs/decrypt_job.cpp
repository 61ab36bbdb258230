// decryptFiles: the job behind "Decrypt Now" and the command line's "-d".
// A wrong password shows itself when the deciphered zip cannot be extracted.
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <vector>

#include "clsBlowfish.h"
#include "container.h"
#include "decipher_and_extract.h"
#include "file_attributes.h"
#include "file_list.h"
#include "folder.h"
#include "job_lock.h"
#include "job_support.h"
#include "platform_utilities.h"
#include "quick_password_check.h"
#include "safe_file.h"
#include "text_case.h"

namespace morvane {

namespace {

namespace fs = std::filesystem;

using job::fileExistsAt;

// The archive path of a row: the text before "(encrypted zip)", trimmed. A
// row without the marker (an archive whose name ends in capitals, "X.ENZ")
// is the path itself.
std::string archivePathOf(const std::string& text) {
    const auto marker = text.find(kArchiveMarkerWord);
    return trimBlanks(marker == std::string::npos ? text : text.substr(0, marker));
}

// Why the decipher step failed: the archive could not be read, or the
// deciphered zip could not be written (a wrong password shows only later).
std::string decipherFailure(const std::string& archive, const std::string& tempZip, const std::string& reason) {
    const std::string unchanged = " No files have been changed.";
    if (!fileExistsAt(archive)) return "Failed to decrypt " + archive + ": it no longer exists." + unchanged;
    errno = 0;
    if (!std::ifstream(fileattr::toPath(archive), std::ios::binary)) {
        const int error = errno != 0 ? errno : EIO;
        return "Failed to decrypt " + archive + ": it cannot be read: " + std::strerror(error) + "." + unchanged;
    }
    return "Failed to decrypt " + archive + ": unable to write " + tempZip + ": " + reason + "." + unchanged;
}

// Why a member was not written, in words that finish "{name} ...".
std::string notWrittenBecause(UnwrittenMember::Reason reason) {
    switch (reason) {
        case UnwrittenMember::Reason::KeptExisting:
            return "was not extracted: a file of its name exists and was kept";
        case UnwrittenMember::Reason::UnsafeName:
            return "was not extracted: its name leads outside the folder it is extracted to";
        case UnwrittenMember::Reason::Link:
            return "was not extracted: it is a link";
        case UnwrittenMember::Reason::ThroughLink:
            return "was not extracted: its path leads through a link";
        case UnwrittenMember::Reason::NameTooLong:
            return "was not extracted: its name is too long for the file system";
        case UnwrittenMember::Reason::NotMatched:
            return "was not extracted";
    }
    return "was not extracted";
}

std::string noSpaceMessage(const std::string& folder, const std::string& archive, std::uint64_t needed,
                           std::uint64_t free) {
    return "There is not enough free space in " + folder + " to decrypt " + archive + ": " + std::to_string(needed) +
           " bytes are needed and " + std::to_string(free) + " are free. No files have been changed.";
}

// An extraction failure that is no wrong password, in words of its own.
std::string extractionFailure(const std::string& archive, const ExtractionReport& report) {
    using Failure = ExtractionReport::Failure;
    const std::string unchanged = " No files have been changed.";
    switch (report.failure) {
        case Failure::Damaged:
            return archive + " is damaged: " + report.detail + "." + unchanged;
        case Failure::CannotWrite:
            return "Unable to write the files of " + archive + ": " + report.detail + "." + unchanged;
        case Failure::NoSpace:
            return noSpaceMessage(report.detail, archive, report.bytesNeeded, report.bytesFree);
        case Failure::Stopped:
            return "Decrypting " + archive + " was stopped." + unchanged;
        default:
            return {};
    }
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
    bool incomplete = false;  // an archive not every member of which was written
    JobLocks locks;

    const std::size_t count = w.lstFiles.size();
    std::vector<std::string> slots(count);

    // The progress window's figures: each archive is read twice, to
    // decipher it and to extract what it holds.
    std::uint64_t dataBytes = 0;
    for (const ListRow& row : w.lstFiles) {
        std::error_code ec;
        const auto size = fs::file_size(fileattr::toPath(archivePathOf(row.text)), ec);
        if (!ec) dataBytes += size;
    }
    c.status.planJob(count, dataBytes, 2 * dataBytes);

    for (std::size_t i = 0; i < count; ++i) {
        // A cancel ends the job before the next archive: the archives done
        // stay done.
        if (job::cancelRequested(c, cipher)) {
            job::reportCancelled(c, "Decryption");
            return;
        }
        c.status.beginFile(i + 1);
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
        // The archive (which may be removed) and the temporary zip are this
        // job's until it ends.
        if (!job::lockNames(c, locks, {path, tempZip}, false)) {
            closeStatus(c);
            return;
        }
        removeLeftovers(folderOf(tempZip));
        deleteFile(tempZip);

        // A missing output folder is made with its parents, as zip tools do;
        // the deciphered zip goes beside it.
        const std::string tempFolder = folderOf(tempZip).empty() ? std::string(".") : folderOf(tempZip);
        std::string folderError;
        const std::vector<std::string> madeFolders = makeMissingFolders(tempFolder, folderError);
        // What this archive could not do, when it is no wrong password: said,
        // and the job goes on with the next archive.
        const auto otherFailure = [&](const std::string& text) {
            removeEmptyFolders(madeFolders);
            failed = true;
            job::reportFailure(c, text);
            if (!silent) c.status.finishBar();
        };
        // The deciphered bytes are no zip this password opens: a wrong
        // password, told in the job's words and ending it.
        const auto invalidPassword = [&] {
            removeEmptyFolders(madeFolders);
            closeStatus(c);
            if (commandLine) {
                c.log.writeLog("Invalid password for the following command line: " + c.run.commandLine +
                               ". Please verify password on ALL of the files you encrypted and then try again.");
            } else {
                c.ui.showMessage("Invalid password while trying to decrypt " + entryText +
                                     ". Please verify password and then try again.",
                                 MessageIcon::Exclamation);
            }
        };
        // A cancel in the middle of this archive: nothing of it is in place
        // yet; its deciphered zip and the folders made for it go.
        const auto endCancelled = [&] {
            deleteFile(tempZip);
            removeEmptyFolders(madeFolders);
            job::reportCancelled(c, "Decryption");
        };
        if (!folderError.empty()) {
            otherFailure("Failed to decrypt " + path + ": unable to make the folder " + folderError +
                         ". No files have been changed.");
            continue;
        }

        // The deciphered zip needs about the archive's size: a disk without
        // that room is said to be full, not a wrong password.
        std::error_code sizeError;
        const std::uint64_t archiveSize = fs::file_size(fileattr::toPath(path), sizeError);
        if (const std::optional<std::uint64_t> free = freeSpaceAt(tempFolder);
            !sizeError && free && archiveSize > *free) {
            otherFailure(noSpaceMessage(tempFolder, path, archiveSize, *free));
            continue;
        }

        // The header's size descriptor tells most wrong passwords without
        // deciphering the whole archive.
        if (quickPasswordCheck(cipher, path, *key) == QuickPasswordCheck::WrongKey) {
            invalidPassword();
            return;
        }

        c.run.progressPercent = 0;  // the last step's 100 is no figure of this one
        if (!silent) c.status.dispEncStatus(path, "Decrypting " + path + "...");
        // The deciphered zip is read once and deleted: no need to wait for
        // the disk to hold it.
        cipher.flushOutput = false;
        const OpenedArchive opened =
            decipherAndExtract(cipher, c.zip, path, tempZip, *key, outdir, w.chkDontOverwrite ? "-n" : "", [&] {
                if (!silent) c.status.dispZipStatus(path, "Unzipping " + path + "...");
            });
        cipher.flushOutput = true;
        if (job::cancelRequested(c, cipher)) {
            endCancelled();
            return;
        }
        if (!opened.deciphered) {
            // The decipher step reads and writes files; a wrong password
            // shows only when the deciphered zip is opened.
            deleteFile(tempZip);
            otherFailure(decipherFailure(path, tempZip, cipher.LastError));
            continue;
        }
        const bool extracted = opened.extracted;
        const ExtractionReport& report = c.zip.LastExtraction();
        deleteFile(tempZip);
        for (const UnwrittenMember& member : report.unwritten)
            if (member.reason != UnwrittenMember::Reason::KeptExisting)
                c.log.writeLog(member.name + " in " + path + " " + notWrittenBecause(member.reason) + ".");
        // Extraction puts the members in place only when every one is
        // complete: a cancel during it leaves none of them. Once they are in
        // place, the archive is kept.
        if (job::cancelRequested(c, cipher)) {
            endCancelled();
            return;
        }
        if (!extracted) {
            using Failure = ExtractionReport::Failure;
            if (report.failure == Failure::NotAZip || report.failure == Failure::WrongPassword) {
                invalidPassword();
                return;
            }
            otherFailure(extractionFailure(path, report));
            continue;
        }
        // The archive goes only when every one of its members was written.
        std::string kept;
        for (const UnwrittenMember& member : report.unwritten) {
            if (member.reason == UnwrittenMember::Reason::KeptExisting && !w.chkRemoveEncFile) continue;
            kept += (kept.empty() ? "" : "; ") + member.name + " " + notWrittenBecause(member.reason);
        }
        if (!kept.empty()) {
            incomplete = true;
            job::reportFailure(c, "Not every file in " + path + " was written: " + kept + "." +
                                      (w.chkRemoveEncFile ? " The encrypted file has been kept." : ""));
        } else if (w.chkRemoveEncFile) {
            deleteFile(path);
        }
        if (!silent) c.status.finishBar();
    }

    if (!silent) {
        closeStatus(c);
        c.ui.pause(300);
        c.ui.pause(300);
    }
    if (!failed && !incomplete && !commandLine) {
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
