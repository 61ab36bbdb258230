#include "startup.h"

#include <filesystem>

#include "file_attributes.h"
#include "file_list.h"
#include "main_window_logic.h"
#include "platform_utilities.h"
#include "program_directory.h"
#include "text_case.h"
#include "text_trim.h"

namespace morvane {

namespace {

// The first-run marker: the agreement was accepted.
constexpr const char* kAgreementValue = "Agreement";
constexpr const char* kAgreementAccepted = "accepted";

}  // namespace

Program::Program(std::string programDirectory, std::string settingsFile)
    : directory(std::move(programDirectory)),
      settings(std::move(settingsFile)),
      log(directory),
      recent(directory),
      passwords(directory, log),
      startupPassword(settings) {}

bool agreementAccepted(const SettingsStore& settings) {
    return settings.regRead(kAgreementValue, kProductKey) == kAgreementAccepted;
}

StartDecision runStartup(Program& program, const std::string& commandLine, const StartupHooks& hooks) {
    StartDecision decision;
    const std::string trimmed = trimBlanks(commandLine);
    decision.commandText = lowerCase(trimmed);
    const std::string firstTwo = decision.commandText.substr(0, 2);
    const bool job = firstTwo == "-e" || firstTwo == "-d";

    // 1. A second window is not opened; a command-line job may run beside one.
    if (!job && hooks.anotherInstanceRunning && hooks.anotherInstanceRunning()) return decision;

    // 4. The first start, whatever its mode, asks for the agreement.
    if (!agreementAccepted(program.settings)) {
        if (!hooks.askAgreement || !hooks.askAgreement()) return decision;
        program.settings.regWrite(kProductKey, kAgreementValue, kAgreementAccepted);
        registerAssociation(program.executableFolder);
        program.startupPassword.saveStartupPassword(StartupPassword::marker());
        deleteFile(program.log.logPath());
    }
    // 5. Where the program runs from, for others to read.
    program.settings.regWrite(kProductKey, "Path", program.executableFolder);
    // 6. The program's processes (this one and any other instance) run at high priority.
    setPriorityByName(lowerCase(hooks.executableName), 4);
    // 7.
    program.run.windowsDirectory = getWindowsDirectory();

    // 9. The route.
    decision.route = routeFor(commandLine);
    if (decision.route == StartRoute::Window) {
        program.window.currentTab = kEncryptTab;
        program.run.commandLineRun = false;
    } else if (decision.route == StartRoute::Association) {
        decision.associatedFile = commandLine.size() > 2 ? commandLine.substr(2) : std::string();
    }
    return decision;
}

void openAssociatedFile(MainWindowModel& window, UserInterface& ui, const std::string& file) {
    const bool archive = file.size() >= 4 && lowerCase(file.substr(file.size() - 4)) == ".enz";
    window.currentTab = archive ? kDecryptTab : kEncryptTab;
    tabChanged(window, window.currentTab, ui);
    std::error_code ec;
    if (!file.empty() && std::filesystem::is_regular_file(fileattr::toPath(file), ec)) addDroppedFiles(window, {file});
}

StartRoute routeFor(const std::string& commandLine) {
    const std::string trimmed = trimBlanks(commandLine);
    if (trimmed.empty()) return StartRoute::Window;
    if (trimBlanks(trimmed.substr(0, 2)) == "-s" || lowerCase(trimmed).rfind("-s", 0) == 0)
        return StartRoute::Association;
    return StartRoute::CommandLine;
}

}  // namespace morvane
