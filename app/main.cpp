// The program's entry: start-up, then a command-line job, or window and
// association mode. A command-line job never needs a display.
#include <clocale>
#include <cstdio>
#include <filesystem>

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#define STDERR_FILENO 2
#else
#include <unistd.h>
#endif

#include "cancel_signals.h"
#include "command_line.h"
#include "console_user_interface.h"
#include "instance_lock.h"
#include "legal_agreement.h"
#include "program_directory.h"
#include "startup.h"
#ifdef MORVANE_WITH_WINDOWS
#include "window_program.h"
#endif

namespace {

// The first-run agreement on the terminal. Without one nobody can accept it,
// and the answer is No: a batch job never waits for input that cannot come.
bool askAgreementOnConsole(morvane::ConsoleUserInterface& console) {
    if (!console.interactive()) {
        std::fputs(
            "Morvane has not been started before on this computer: run it once from a terminal or its window "
            "to accept its use agreement.\n",
            stderr);
        return false;
    }
    std::fprintf(stderr, "%.*s\n", static_cast<int>(morvane::kLegalAgreement.size()), morvane::kLegalAgreement.data());
    for (;;) {
        if (console.askYesNo("Do you accept this agreement?")) return true;
        if (console.askYesNo("Are you sure you want to exit? If you select yes, you will not be able to run Morvane!"))
            return false;
    }
}

#ifdef MORVANE_WITH_WINDOWS
// A command-line job's person, who also sees the usage dialog when the
// program runs in a desktop session without a terminal (started from a
// shortcut, say, where nobody reads standard error).
class DesktopConsoleUserInterface : public morvane::ConsoleUserInterface {
public:
    DesktopConsoleUserInterface(int& argc, char** argv) : argc_(argc), argv_(argv) {}

    void showMessage(std::string_view text, std::string_view title, morvane::MessageIcon icon) override {
        ConsoleUserInterface::showMessage(text, title, icon);
        // On a terminal the person has just read the text there; a window
        // would stop the script that started the program until someone
        // pressed OK.
        if (title == morvane::kUsageTitle && !::isatty(STDERR_FILENO) && morvane::displayPresent())
            morvane::showUsageDialog(argc_, argv_, std::string(text));
    }
    using ConsoleUserInterface::showMessage;

private:
    int& argc_;
    char** argv_;
};
#endif

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_TIME, "");  // the log's dates as the user writes them
    morvane::Program program(morvane::programDirectory(), morvane::SettingsStore::defaultFilePath());
#ifdef MORVANE_WITH_WINDOWS
    DesktopConsoleUserInterface console(argc, argv);
#else
    morvane::ConsoleUserInterface console;
#endif
    const std::string commandLine = morvane::joinArguments(argc, argv);

    std::unique_ptr<morvane::InstanceLock> windowLock;  // held for as long as a window shows
    morvane::StartupHooks hooks;
    hooks.anotherInstanceRunning = [&windowLock] {
        windowLock = morvane::InstanceLock::acquire();
        return windowLock == nullptr;
    };
    hooks.askAgreement = [&console] { return askAgreementOnConsole(console); };
    hooks.executableName = std::filesystem::path(argc > 0 ? argv[0] : "morvane").filename().string();
#ifdef MORVANE_WITH_WINDOWS
    if (morvane::routeFor(commandLine) != morvane::StartRoute::CommandLine)
        return morvane::runWindowProgram(argc, argv, program, commandLine, hooks);
#endif
    const morvane::StartDecision decision = morvane::runStartup(program, commandLine, hooks);

    switch (decision.route) {
        case morvane::StartRoute::End:
            return morvane::kExitFailed;
        case morvane::StartRoute::CommandLine: {
            morvane::ProgressWindow status(console);
            status.followCancelSignal(morvane::catchCancelSignals());
            console.followProgress(&status, &program.run.progressPercent);
            morvane::JobContext job{program.window, program.run,    console, program.log,
                                    program.zip,    program.recent, status};
            const int exitStatus = morvane::runCommandLine(commandLine, job, program.passwords);
            console.endProgressLine();
            return exitStatus;
        }
        case morvane::StartRoute::Window:
        case morvane::StartRoute::Association:
            std::fprintf(stderr,
                         "Morvane %s: the window is not built yet. Command-line jobs work now, for example:\n"
                         "  morvane -e -pPASSWORD -s/path/file1, /path/file2 -d/path/archive.enz\n"
                         "  morvane -d -pPASSWORD -s/path/archive.enz -d/path/output/\n",
                         MORVANE_VERSION);
            return morvane::kExitFailed;
    }
    return morvane::kExitFailed;
}
