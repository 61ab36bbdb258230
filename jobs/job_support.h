#pragma once
// Pieces the encrypt and decrypt jobs share.
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "clsBlowfish.h"
#include "job_context.h"

namespace morvane::job {

// While a job runs the window's commands wait, the cipher's progress reaches
// the progress window and the zip component's progress lets the window
// repaint; all undone when the job ends, however it ends.
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

// The password's code-page form, or nothing after telling the person which
// characters it cannot carry.
std::optional<std::string> passwordKey(JobContext& c);

// Whether a file exists where the path points, blanks at its end not counting.
bool fileExistsAt(std::string_view path);

// The text both jobs show when the two password fields differ.
inline constexpr const char* kVerifyMismatch =
    "Your password entered in the \"Verify Password\" field does not match the password you entered in the "
    "\"Password\" field. Please verify password and then try again.";

}  // namespace morvane::job
