#pragma once
// Window and association mode, from the first-run agreement to the end of
// the run; and the usage dialog of a command line that was not understood.
// This header has no toolkit types, so the program's entry can call it.
#include <string>

#include "startup.h"

namespace morvane {

// Runs start-up with the agreement in its window, then the main window until
// it closes. Returns the program's exit status.
int runWindowProgram(int& argc, char** argv, Program& program, const std::string& commandLine, StartupHooks hooks);

// Whether a desktop session is there to show a window in.
bool displayPresent();

// Shows dlgArgs with `usage` until the person closes it.
void showUsageDialog(int& argc, char** argv, const std::string& usage);

}  // namespace morvane
