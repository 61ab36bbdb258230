#pragma once
// What the encrypt and decrypt jobs work with: the main window's state, the
// program-wide run state, the person, the log, the zip component, the
// recent-files list and the progress window.
#include <string>
#include <string_view>
#include <vector>

#include "activity_log.h"
#include "main_window_model.h"
#include "progress_window.h"
#include "recent_files.h"
#include "user_interface.h"
#include "zip_component.h"

namespace morvane {

// How an encrypted zip file's place is written, for messages that show it.
#ifdef _WIN32
inline constexpr std::string_view kArchivePathExample = "c:\\backup\\files.enz";
#else
inline constexpr std::string_view kArchivePathExample = "/backup/files.enz";
#endif

struct JobContext {
    MainWindowModel& window;
    RunState& run;
    UserInterface& ui;
    ActivityLog& log;
    ZipComponent& zip;
    RecentFiles& recent;
    ProgressWindow& status;
};

// closeStatus of the main window: nothing in a silent run, otherwise the
// progress window's timers off, its bar finished, the window unloaded.
void closeStatus(JobContext& c);

// encryptFiles: every row of the list into ".enz" archives, one per file or
// one combined archive.
void encryptFiles(JobContext& c);

// decryptFiles: every ".enz" row of the list deciphered and extracted.
void decryptFiles(JobContext& c);

// Finishes the removal of sources that a job to `archivePath` was stopped
// in (see removal_journal.h), logging each source removed. The caller holds
// the job lock on the archive. The sources removed.
std::vector<std::string> finishStoppedRemoval(JobContext& c, const std::string& archivePath);

// Asks (or, from the command line, refuses) before source files in the
// Windows directory are deleted after encrypting; may clear chkDelAfterEnc.
void checkWinDirDelete(JobContext& c);

}  // namespace morvane
