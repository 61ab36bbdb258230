#include "job_support.h"

#include <filesystem>
#include <new>

#include "codepage.h"
#include "file_attributes.h"
#include "message_encryption.h"
#include "run_time_error.h"
#include "text_trim.h"

namespace morvane {

void closeStatus(JobContext& c) {
    if (c.run.silentRun) return;
    c.status.closeWindow();
}

namespace job {

JobScope::JobScope(JobContext& c, clsBlowfish& cipher) : c_(c) {
    c.window.jobRunning = true;
    // Every job begins its archives empty, whatever an earlier one left.
    c.zip.DiscardArchive();
    c.status.beginJob();
    // Between the cipher's and the zip component's reports the window's
    // events run: a Cancel pressed there stops both at their next step.
    cipher.Progress = [&c, &cipher](std::int32_t percent) {
        c.run.progressPercent = percent;
        c.ui.letEventsRun();
        c.ui.letEventsRun();
        cancelRequested(c, cipher);
    };
    c.zip.Progress = [&c, &cipher](int) {
        c.ui.letEventsRun();
        cancelRequested(c, cipher);
    };
}

JobScope::~JobScope() {
    // An archive the job was still building is written as far as it got, as
    // a temporary zip the next run of the kind deletes; no later job adds to it.
    c_.zip.CommitArchive();
    c_.zip.Progress = nullptr;
    // A job that stopped without closing its progress window (a file it
    // could not find after others were done, an unexpected error) closes it
    // now: no window outlives its job.
    if (c_.status.model().loaded) {
        try {
            closeStatus(c_);
        } catch (...) {
            // The window is left as it is; the job has ended all the same.
        }
    }
    c_.window.jobRunning = false;
}

std::string errorLine(std::string_view routine, const std::exception& error) {
    std::string description = error.what();
    int number = 51;  // an internal error
    if (const auto* runTime = dynamic_cast<const RunTimeError*>(&error)) {
        number = runTime->number();
    } else if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        description = "Out of memory";
        number = 7;
    }
    return "Error in " + std::string(routine) + " routine. Error: " + description + " " + std::to_string(number) + ".";
}

std::optional<std::string> checkedPasswordKey(JobContext& c, std::string_view blankMessage) {
    MainWindowModel& w = c.window;
    w.txtPassword = trimBlanks(w.txtPassword);
    w.txtVerifyPass = trimBlanks(w.txtVerifyPass);
    std::string refusal;
    MessageIcon icon = MessageIcon::Exclamation;
    codepage::Conversion key;
    if (w.txtPassword.empty()) {
        refusal = blankMessage;
        icon = MessageIcon::Information;
    } else if (w.txtPassword != w.txtVerifyPass) {
        refusal =
            "Your password entered in the \"Verify Password\" field does not match the password you entered in the "
            "\"Password\" field. Please verify password and then try again.";
    } else {
        key = codepage::toCodePage(w.txtPassword);
        if (key.ok()) return std::move(key.bytes);
        refusal = codePageRefusal(w.txtPassword, "password");
    }
    c.ui.showMessage(refusal, icon);
    c.ui.setFocus("txtPassword");
    return std::nullopt;
}

bool fileExistsAt(std::string_view path) {
    const auto last = path.find_last_not_of(' ');
    std::error_code ec;
    return std::filesystem::is_regular_file(
        fileattr::toPath(std::string(path.substr(0, last == std::string_view::npos ? 0 : last + 1))), ec);
}

bool cancelRequested(JobContext& c, clsBlowfish& cipher) {
    if (!c.status.cancelRequested()) return false;
    cipher.StopWork();
    c.zip.StopWork();
    return true;
}

void reportCancelled(JobContext& c, std::string_view jobName) {
    c.status.markCancelled();
    closeStatus(c);
    const std::string text = std::string(jobName) + " cancelled by the user.";
    c.log.writeLog(text);
    c.ui.showMessage(text, MessageIcon::Information);
}

void reportFailure(JobContext& c, const std::string& text) {
    c.log.writeLog(text);
    c.ui.showMessage(text, MessageIcon::Exclamation);
}

bool lockNames(JobContext& c, JobLocks& locks, std::initializer_list<std::string> paths, bool refuseAfterWait) {
    for (const std::string& path : paths) {
        const JobLocks::Outcome outcome = locks.lock(path, std::chrono::milliseconds(c.run.jobLockWaitMs));
        if (outcome == JobLocks::Outcome::Free) continue;
        if (outcome == JobLocks::Outcome::FreedWhileWaiting && !refuseAfterWait) continue;
        reportFailure(c, path + (outcome == JobLocks::Outcome::Busy
                                     ? " is being written by another Morvane job. Please wait until that job has "
                                       "finished and then try again."
                                     : " was being written by another Morvane job while this one waited. Please "
                                       "check it and then try again."));
        return false;
    }
    return true;
}

}  // namespace job
}  // namespace morvane
