#pragma once
// Start-up: the steps every start takes before the program shows its window
// or runs a command-line job, and the routing between window mode,
// association mode ("-s{file}") and command-line job mode.
#include <functional>
#include <string>
#include <string_view>

#include "activity_log.h"
#include "libzip_component.h"
#include "main_window_model.h"
#include "password_database.h"
#include "program_directory.h"
#include "recent_files.h"
#include "settings_store.h"
#include "startup_password.h"
#include "user_interface.h"

namespace morvane {

// Everything the program holds for its run.
struct Program {
    Program(std::string programDirectory, std::string settingsFile);

    std::string directory;  // {dir}
    // Where the running executable really is: what the desktop entry starts
    // and "Path" names, also when {dir} is the user's data folder.
    std::string executableFolder = executableDirectory();
    SettingsStore settings;
    ActivityLog log;
    RecentFiles recent;
    PasswordDatabase passwords;
    StartupPassword startupPassword;
    MainWindowModel window;
    RunState run;
    LibzipComponent zip;
};

enum class StartRoute { Window, Association, CommandLine, End };

struct StartDecision {
    StartRoute route = StartRoute::End;
    std::string associatedFile;  // association mode: the file handed over
    std::string commandText;     // the command line, trimmed and lower-cased
};

// The settings key of the program, where "Path" is written at every start.
inline constexpr const char* kProductKey = "software\\Morvane";

struct StartupHooks {
    // Whether another instance shows its window (window and association mode end then).
    std::function<bool()> anotherInstanceRunning;
    // The first-run agreement: true when the person accepts it.
    std::function<bool()> askAgreement;
    // The executable's file name, as the process list knows it.
    std::string executableName;
    // Raises the priority of every process of that name (setPriorityByName
    // when not given).
    std::function<bool(const std::string& processName, int level)> setPriority;
};

// How the process list names a program: on Windows with ".exe" at its end,
// elsewhere as the file is named.
enum class ProcessNaming { Windows, Posix };
#ifdef _WIN32
inline constexpr ProcessNaming kNativeProcessNaming = ProcessNaming::Windows;
#else
inline constexpr ProcessNaming kNativeProcessNaming = ProcessNaming::Posix;
#endif

// The name start-up raises the priority of: the executable's file name,
// lower-cased, followed by ".exe" on Windows (a name that already ends in
// ".exe" keeps one).
std::string priorityProcessName(std::string_view executableName, ProcessNaming naming = kNativeProcessNaming);

// Runs one step of start-up. An unexpected error in it is written to the
// activity log as "Error in formLoad routine. Error: {description} {number}."
// and start-up goes on with the next step. False when the step failed.
bool runStartupStep(ActivityLog& log, const std::function<void()>& step);

// Steps 1 to 9: the single-instance test, the first-run agreement (and, on
// acceptance, the association, the "no startup password" marker and a fresh
// log), the "Path" value, the priority raise, the Windows directory, and the
// route for the command line.
StartDecision runStartup(Program& program, const std::string& commandLine, const StartupHooks& hooks);

// Association mode: an ".enz" (in any letter case) opens the decrypt tab with
// Decrypt Now in the shared place, any other file the encrypt tab; a file that
// exists is added to the list as a single choice of the file-open dialog is.
// A missing file is passed over without a word.
void openAssociatedFile(MainWindowModel& window, UserInterface& ui, const std::string& file);

// Association mode's file: everything from the command line's third
// character on.
std::string associatedFileOf(const std::string& commandLine);

// The route a command line takes: none is window mode, "-s{file}"
// association mode, anything else a command-line job.
StartRoute routeFor(const std::string& commandLine);

// Whether the first-run agreement has been accepted on this installation.
bool agreementAccepted(const SettingsStore& settings);

}  // namespace morvane
