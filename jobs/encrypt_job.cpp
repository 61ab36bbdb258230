// encryptFiles: the job behind "Encrypt Now" and the command line's "-e".
// Each check, message, log line and option comes in the order people and
// their batch files have always met them.
#include <exception>
#include <filesystem>
#include <map>
#include <set>
#include <vector>

#include "archive_check.h"
#include "clsBlowfish.h"
#include "container.h"
#include "file_attributes.h"
#include "file_list.h"
#include "job_lock.h"
#include "job_support.h"
#include "member_names.h"
#include "platform_utilities.h"
#include "program_directory.h"
#include "removal_journal.h"
#include "safe_file.h"
#include "text_case.h"

namespace morvane {

namespace {

using job::fileExistsAt;
using job::reportFailure;

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

// Before anything is packed or deleted: every file to be packed must come
// back under its own name, and one combined archive cannot hold two files of
// one name (the second would take the first one's place). False after
// telling the person.
bool namesCanBeRestored(JobContext& c, bool combined) {
    std::map<std::string, std::string> pathOfName;
    for (const ListRow& row : c.window.lstFiles) {
        const std::string path = trimBlanks(row.text);
        if (contains(lowerCase(path), ".enz")) continue;  // not packed
        const std::string name = splitAtLastSeparator(path).name;
        std::string why = memberNameRefusal(name);
        if (why.empty() && !combined && (name + ".enz").size() > kLongestFileName)
            why = "is too long to have \".enz\" added to it (a file name can have at most 255 bytes)";
        if (!why.empty()) {
            reportFailure(c, path + " cannot be encrypted: its name " + why +
                                 ", so it could not be restored under the same name. Please rename the file and then "
                                 "try again.");
            return false;
        }
        if (!combined) continue;
        const auto [known, added] = pathOfName.emplace(name, path);
        if (!added) {
            reportFailure(c, known->second + " and " + path +
                                 " have the same name, and one encrypted file cannot hold two files of the same name. "
                                 "Please rename one of them or encrypt them into separate files, and then try again.");
            return false;
        }
    }
    return true;
}

// The check of an archive before its sources go: it is read back and every
// member compared with what was packed. Empty when no source is to go.
clsBlowfish::WrittenFileCheck readBackCheck(JobContext& c, clsBlowfish& cipher, const std::string& key,
                                            std::string& problem) {
    if (!c.window.chkDelAfterEnc) return {};
    return [&c, &cipher, key, &problem](const std::string& written) {
        problem = checkWrittenArchive(cipher, written, key, zipPassword(key), c.zip.PackedMembers(), [&c, &cipher] {
            c.ui.letEventsRun();
            job::cancelRequested(c, cipher);
        });
        return problem.empty();
    };
}

// Why an archive cannot be written where it is asked for: its folder is
// missing or no folder. Empty when it can.
std::string archivePlaceProblem(const std::string& archivePath) {
    std::string folder = splitAtLastSeparator(archivePath).dir;
    if (folder.empty()) return {};
    if (folder.size() > 1 && folder.back() == kPathSeparator) folder.pop_back();
    std::error_code ec;
    if (std::filesystem::is_directory(fileattr::toPath(folder), ec)) return {};
    return folder +
           " does not exist. Please create the folder or choose another one for the encrypted zip file, and "
           "then try again.";
}

void reportReadBackFailure(JobContext& c, const std::string& archive, const std::string& problem) {
    reportFailure(c, archive + " could not be verified after it was written: " + problem +
                         ". No files have been removed. Please verify file and then try again.");
}

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
    if (!namesCanBeRestored(c, combined)) return;

    // The names this job writes are its own until it ends.
    JobLocks locks;
    std::set<std::string> cleanedFolders;
    const auto removeLeftoversOnce = [&cleanedFolders](const std::string& folder) {
        if (cleanedFolders.insert(folder).second) removeLeftovers(folder);
    };
    std::string archiveDir, tempZipName, combinedTempZip;
    if (combined) {
        const SplitPath archive = splitAtLastSeparator(c.run.combinedArchivePath);
        archiveDir = archive.dir;
        tempZipName = perFileTempZipName(archive.name);
        combinedTempZip = archiveDir + tempZipName;
        if (!job::lockNames(c, locks, {c.run.combinedArchivePath, combinedTempZip}, true)) return;
        if (const std::string problem = archivePlaceProblem(c.run.combinedArchivePath); !problem.empty()) {
            reportFailure(c, problem);
            return;
        }
        removeLeftoversOnce(archiveDir);
        // A job to this archive that was stopped while it removed its
        // sources is finished first. When that removed files of this list,
        // the archive already holds them: it is kept as it is rather than
        // made again without them.
        std::string alreadyHeld;
        for (const std::string& source : finishStoppedRemoval(c, c.run.combinedArchivePath)) {
            for (const ListRow& row : w.lstFiles)
                if (trimBlanks(row.text) == source) alreadyHeld += (alreadyHeld.empty() ? "" : ", ") + source;
        }
        if (!alreadyHeld.empty()) {
            reportFailure(c, c.run.combinedArchivePath + " already holds " + alreadyHeld +
                                 ": the job that encrypted them was stopped before it had removed them, and they "
                                 "have now been removed. " +
                                 c.run.combinedArchivePath + " has been kept as it is.");
            return;
        }
        deleteFile(combinedTempZip);
    }

    const std::size_t count = w.lstFiles.size();
    std::vector<std::string> slots(count);
    std::vector<std::string> packedSources;
    std::uint64_t packedBytes = 0;
    std::string problem;

    // The progress window's figures: each file is read twice, to pack it
    // and to encipher it (the combined archive is enciphered once, whole).
    std::size_t toPack = 0;
    std::uint64_t dataBytes = 0;
    for (const ListRow& row : w.lstFiles) {
        const std::string path = trimBlanks(row.text);
        if (contains(lowerCase(path), ".enz")) continue;
        ++toPack;
        std::error_code ec;
        const auto size = std::filesystem::file_size(fileattr::toPath(path), ec);
        if (!ec) dataBytes += size;
    }
    c.status.planJob(toPack, dataBytes, 2 * dataBytes);
    std::size_t fileNumber = 0;

    // A cancel ends the job at the member it reached: what this run was
    // making (the temporary zip, the archive not yet in place) goes; the
    // files already done stay done, every other source stays.
    const auto endCancelled = [&](const std::string& tempZip) {
        c.zip.DiscardArchive();
        if (!tempZip.empty()) deleteFile(tempZip);
        if (!commandLine) refreshList(w);
        job::reportCancelled(c, "Encryption");
    };

    for (std::size_t i = 0; i < count; ++i) {
        if (job::cancelRequested(c, cipher)) {
            endCancelled(combinedTempZip);
            return;
        }
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
        const std::string archivePath = path + ".enz";
        if (!combined) {
            if (!job::lockNames(c, locks, {archivePath, source.dir + fileTempZip}, true)) {
                closeStatus(c);
                return;
            }
            removeLeftoversOnce(source.dir);
        }
        c.status.beginFile(++fileNumber);
        if (!silent) c.status.dispZipStatus(path, "Zipping " + path + "...");
        bool packed =
            combined ? c.zip.ZipFiles(source.dir, quotedName(source.name), archiveDir, tempZipName, kPackOptions)
                     : c.zip.ZipFiles(source.dir, quotedName(source.name), source.dir, fileTempZip, kPackOptions) &&
                           c.zip.CommitArchive();
        if (!silent) c.status.finishBar();
        if (job::cancelRequested(c, cipher)) {
            endCancelled(combined ? combinedTempZip : source.dir + fileTempZip);
            return;
        }
        if (!packed) {
            c.log.writeLog("Failed to compress \"" + source.name + "\". Please verify file and then try again. ");
            closeStatus(c);
            return;
        }

        if (!combined) {
            c.run.progressPercent = 0;  // the last step's 100 is no figure of this one
            if (!silent) c.status.dispEncStatus(path, "Encrypting " + path + "...");
            // The archive takes its name only when complete, and (when the
            // source is to go) once it has been read back and checked.
            if (!cipher.EncryptFile(source.dir + fileTempZip, archivePath, *key,
                                    readBackCheck(c, cipher, *key, problem))) {
                if (job::cancelRequested(c, cipher)) {
                    endCancelled(source.dir + fileTempZip);
                    return;
                }
                if (!problem.empty()) {
                    deleteFile(source.dir + fileTempZip);
                    reportReadBackFailure(c, archivePath, problem);
                    closeStatus(c);
                    return;
                }
                if (!commandLine)
                    c.ui.showMessage("Failed to encrypt " + path + ". Please verify file and then try again.",
                                     MessageIcon::Exclamation);
                // By its bare name, as it always was: the temporary zip in the
                // source's folder stays unless that is the current folder.
                deleteFile(fileTempZip);
                closeStatus(c);
                return;
            }
            deleteFile(source.dir + fileTempZip);
            w.lstFiles[i].text = archivePath;
            if (w.chkDelAfterEnc) deleteFile(path);
        } else {
            packedSources.push_back(path);
            std::error_code ec;
            const auto size = std::filesystem::file_size(fileattr::toPath(path), ec);
            if (!ec) packedBytes += size;
        }
        if (!silent) c.status.finishBar();
    }

    // The combined archive is made from every file packed, also when the
    // list's last entry was passed over; its sources go only once it is in
    // place, flushed and read back, and then all of them.
    if (combined && !packedSources.empty()) {
        const std::string& archivePath = c.run.combinedArchivePath;
        if (job::cancelRequested(c, cipher)) {
            endCancelled(combinedTempZip);
            return;
        }
        c.status.nextStepBytes(packedBytes);
        c.run.progressPercent = 0;  // the last step's 100 is no figure of this one
        if (!silent) c.status.dispEncStatus(archivePath, "Encrypting " + archivePath + "...");
        // Once the archive is in place and read back, its sources are
        // removed whatever is pressed meanwhile: the removal is never left
        // half done.
        if (!c.zip.CommitArchive() ||
            !cipher.EncryptFile(combinedTempZip, archivePath, *key, readBackCheck(c, cipher, *key, problem))) {
            deleteFile(combinedTempZip);
            if (job::cancelRequested(c, cipher)) {
                endCancelled(combinedTempZip);
                return;
            }
            if (!problem.empty()) {
                reportReadBackFailure(c, archivePath, problem);
            } else {
                const std::string failure =
                    "Failed to create " + archivePath + ". Please verify file and then try again.";
                c.log.writeLog(failure);
                if (!commandLine) c.ui.showMessage(failure, MessageIcon::Exclamation);
            }
            closeStatus(c);
            return;
        }
        deleteFile(combinedTempZip);
        if (w.chkDelAfterEnc) {
            const std::string journal = removalJournalPath(archivePath);
            std::string error;
            if (!beginRemoval(journal, packedSources, error)) {
                reportFailure(
                    c, archivePath + " has been made, but its source files have not been removed: " + error + ".");
                closeStatus(c);
                return;
            }
            for (const std::string& source : packedSources) deleteFile(source);
            endRemoval(journal);
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

std::vector<std::string> finishStoppedRemoval(JobContext& c, const std::string& archivePath) {
    std::vector<std::string> removed = finishRemoval(removalJournalPath(archivePath));
    for (const std::string& source : removed)
        c.log.writeLog(source + " has been removed: it is in " + archivePath +
                       ", and the job that encrypted it was stopped before it had removed it.");
    return removed;
}

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
