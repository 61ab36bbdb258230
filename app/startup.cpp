#include "startup.h"

#include <exception>
#include <filesystem>

#include "file_attributes.h"
#include "file_list.h"
#include "job_support.h"
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

bool runStartupStep(ActivityLog& log, const std::function<void()>& step) {
    try {
        step();
        return true;
    } catch (const std::exception& error) {
        log.writeLog(job::errorLine("formLoad", error));
    } catch (...) {
        log.writeLog("Error in formLoad routine. Error: Unknown error 51.");
    }
    return false;
}

std::string priorityProcessName(std::string_view executableName, ProcessNaming naming) {
    std::string name = lowerCase(executableName);
    if (naming == ProcessNaming::Windows) {
        constexpr std::string_view kExtension = ".exe";
        if (name.size() >= kExtension.size() && name.ends_with(kExtension))
            name.resize(name.size() - kExtension.size());
        name += kExtension;
    }
    return name;
}

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
    bool anotherWindow = false;
    runStartupStep(program.log,
                   [&] { anotherWindow = !job && hooks.anotherInstanceRunning && hooks.anotherInstanceRunning(); });
    if (anotherWindow) return decision;

    // 4. The first start, whatever its mode, asks for the agreement. An
    // agreement that could not be asked was not accepted.
    bool accepted = false;
    runStartupStep(program.log, [&] { accepted = agreementAccepted(program.settings); });
    if (!accepted) {
        bool agreed = false;
        runStartupStep(program.log, [&] { agreed = hooks.askAgreement && hooks.askAgreement(); });
        if (!agreed) return decision;
        runStartupStep(program.log,
                       [&] { program.settings.regWrite(kProductKey, kAgreementValue, kAgreementAccepted); });
        runStartupStep(program.log, [&] { registerAssociation(program.executableFolder); });
        runStartupStep(program.log, [&] { program.startupPassword.saveStartupPassword(StartupPassword::marker()); });
        runStartupStep(program.log, [&] { deleteFile(program.log.logPath()); });
    }
    // 5. Where the program runs from, for others to read.
    runStartupStep(program.log, [&] { program.settings.regWrite(kProductKey, "Path", program.executableFolder); });
    // 6. The program's processes (this one and any other instance) run at high priority.
    runStartupStep(program.log, [&] {
        const std::string name = priorityProcessName(hooks.executableName);
        if (hooks.setPriority)
            hooks.setPriority(name, 4);
        else
            setPriorityByName(name, 4);
    });
    // 7.
    runStartupStep(program.log, [&] { program.run.windowsDirectory = getWindowsDirectory(); });

    // 9. The route.
    decision.route = routeFor(commandLine);
    if (decision.route == StartRoute::Window) {
        program.window.currentTab = kEncryptTab;
        program.run.commandLineRun = false;
    } else if (decision.route == StartRoute::Association) {
        decision.associatedFile = associatedFileOf(commandLine);
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

std::string associatedFileOf(const std::string& commandLine) {
    return commandLine.size() > 2 ? commandLine.substr(2) : std::string();
}

StartRoute routeFor(const std::string& commandLine) {
    const std::string trimmed = trimBlanks(commandLine);
    if (trimmed.empty()) return StartRoute::Window;
    if (trimBlanks(trimmed.substr(0, 2)) == "-s" || lowerCase(trimmed).rfind("-s", 0) == 0)
        return StartRoute::Association;
    return StartRoute::CommandLine;
}

}  // namespace morvane
