#pragma once
// A command-line job: "-e" or "-d", then "-p{password}" or "-p@{entry}",
// "-s{sources}", "-d{destination}" and optionally "-o{options}", in that
// order, on the program's command line as one text. The line fills the main
// window's fields as a person would, and one encrypt or decrypt job runs.
#include <string>
#include <string_view>
#include <vector>

#include "job_context.h"
#include "password_database.h"

namespace morvane {

// The exit status of a command-line run: the job reported nothing, it
// reported a failure or refusal, or the command line was not understood.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitInvalidCommandLine = 2;
// A job stopped by a signal (SIGINT, SIGTERM) exits with this plus the
// signal's number: 130 and 143.
inline constexpr int kExitBySignal = 128;

// The program's arguments as the one command line the grammar reads.
std::string joinArguments(int argc, const char* const* argv);

// The command line as the log may hold it: the text of every plain password
// ("-p{password}", not "-p@{entry}") replaced by as many "*", up to the next
// switch (a "-" at the start of a word) or the end of the line, blanks
// before that switch kept.
std::string maskPasswords(std::string_view commandLine);

// The usage text of dlgArgs: the rejection, then the commands, each two
// pieces apart by one blank line.
std::string usageText(std::string_view rejection);

// The caption of the usage dialog.
inline constexpr std::string_view kUsageTitle = "Invalid Command Line Arguments";

// What a command line asks for, read without looking anything up.
struct CommandLineRequest {
    bool encrypt = true;    // "-e"; otherwise "-d"
    std::string rejection;  // not empty: the line is refused with this text
    std::string password;   // the password, or the entry name of "-p@{entry}"
    bool storedEntry = false;
    std::string sources;
    std::string destination;
    std::string options;  // lower-cased
    bool silent = false;  // the "s" option, with exactly six elements
};

CommandLineRequest parseCommandLine(std::string_view commandLine);

// Runs the job of `commandLine`, returning the exit status. The job reads
// and writes the services' window model and run state.
int runCommandLine(const std::string& commandLine, JobContext& job, PasswordDatabase& passwords);

}  // namespace morvane
