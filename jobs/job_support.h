#pragma once
// Pieces the encrypt and decrypt jobs share.
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "clsBlowfish.h"
#include "job_context.h"
#include "job_lock.h"

namespace morvane::job {

// While a job runs the window's commands wait, the cipher's progress reaches
// the progress window and the zip component's progress lets the window
// repaint; all undone when the job ends, however it ends. A progress window
// the job left open is closed then.
class JobScope {
public:
    JobScope(JobContext& c, clsBlowfish& cipher);
    ~JobScope();
    JobScope(const JobScope&) = delete;
    JobScope& operator=(const JobScope&) = delete;

private:
    JobContext& c_;
};

// "Error in {routine} routine. Error: {description} {number}." for an
// unexpected error that ended the job.
std::string errorLine(std::string_view routine, const std::exception& error);

// Trims both password fields and writes them back, then checks them: blank
// (told in the job's own words), the two differing, or characters the code
// page cannot carry. The cipher key when they pass; nothing after telling the
// person and putting the focus in the password field.
std::optional<std::string> checkedPasswordKey(JobContext& c, std::string_view blankMessage);

// Whether a file exists where the path points, blanks at its end not counting.
bool fileExistsAt(std::string_view path);

// Whether the person asked the job to stop (Cancel in the progress window,
// the main window's close, a signal to a command-line job). Once they have,
// the cipher and the zip component stop at their next step.
bool cancelRequested(JobContext& c, clsBlowfish& cipher);

// The end of a cancelled job, once it has removed what it made: the progress
// window closes, and "{jobName} cancelled by the user." is logged and shown
// (on standard error in a command-line run).
void reportCancelled(JobContext& c, std::string_view jobName);

// A failure the job reports in words of its own: logged, and shown (on
// standard error in a command-line run).
void reportFailure(JobContext& c, const std::string& text);

// Takes the job's locks on the names it is about to write, waiting a little
// for another job that writes them. False, after reporting it, when another
// job holds one of them; with `refuseAfterWait`, also when another job held
// one and let it go meanwhile (an archive that job may have just written,
// and whose sources it may be deleting, is never written over).
bool lockNames(JobContext& c, JobLocks& locks, std::initializer_list<std::string> paths, bool refuseAfterWait);

}  // namespace morvane::job
