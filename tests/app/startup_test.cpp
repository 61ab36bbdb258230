#include "startup.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "command_line.h"
#include "job_context.h"
#include "progress_window.h"
#include "scripted_user_interface.h"
#include "settings_store.h"
#include "startup_password.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;

using morvane::kProductKey;
using morvane::Program;
using morvane::runStartup;
using morvane::StartDecision;
using morvane::StartRoute;
using morvane::StartupHooks;
using morvane::StartupPassword;

// A directory of its own for one test, named without any "-", removed with
// everything in it afterwards.
class BaseDirectory {
public:
    BaseDirectory() {
        static int counter = 0;
        path_ = "/tmp/mvst" + std::to_string(::getpid()) + "_" + std::to_string(counter++);
        std::error_code ec;
        fs::remove_all(path_, ec);
        fs::create_directories(path_);
    }
    ~BaseDirectory() {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    BaseDirectory(const BaseDirectory&) = delete;
    BaseDirectory& operator=(const BaseDirectory&) = delete;
    const std::string& str() const { return path_; }

private:
    std::string path_;
};

// Sets an environment variable for the lifetime of the object.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const std::string& value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old;
        ::setenv(name, value.c_str(), 1);
    }
    ~ScopedEnvironment() {
        if (old_)
            ::setenv(name_, old_->c_str(), 1);
        else
            ::unsetenv(name_);
    }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    const char* name_;
    std::optional<std::string> old_;
};

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeText(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

class CommandLineStartupTest : public ::testing::Test {
protected:
    BaseDirectory base;
    const std::string dir = base.str();
    const std::string programDir = dir + "/prog";
    const std::string settingsFile = dir + "/config/morvane/registry";
    const std::string dataHome = dir + "/data";
    ScopedEnvironment data{"XDG_DATA_HOME", dataHome};

    int agreementAsked = 0;
    int instanceAsked = 0;
    bool accept = true;
    bool otherInstance = false;

    void SetUp() override { fs::create_directories(programDir); }

    StartupHooks hooks() {
        StartupHooks h;
        h.anotherInstanceRunning = [this] {
            ++instanceAsked;
            return otherInstance;
        };
        h.askAgreement = [this] {
            ++agreementAsked;
            return accept;
        };
        h.executableName = "mvnoprocess";  // no running process has this name
        return h;
    }

    StartDecision start(Program& program, const std::string& line) { return runStartup(program, line, hooks()); }

    // The agreement accepted once, by an earlier start.
    void acceptedBefore() {
        Program program(programDir, settingsFile);
        ASSERT_EQ(start(program, "").route, StartRoute::Window);
        agreementAsked = 0;
        instanceAsked = 0;
    }

    std::string logPath() const { return programDir + "/morvane.log"; }
    std::string mimeFile() const { return dataHome + "/mime/packages/morvane-enz.xml"; }
    std::string desktopFile() const { return dataHome + "/applications/morvane.desktop"; }
};

using CommandLineStartupFirstRun = CommandLineStartupTest;

TEST_F(CommandLineStartupFirstRun, DecliningTheAgreementEndsBeforeAnythingIsWritten) {
    writeText(logPath(), "an old line\n");
    accept = false;
    Program program(programDir, settingsFile);
    const StartDecision decision = start(program, "");
    EXPECT_EQ(decision.route, StartRoute::End);
    EXPECT_EQ(agreementAsked, 1);
    EXPECT_FALSE(morvane::agreementAccepted(program.settings));
    EXPECT_EQ(program.settings.regRead("Path", kProductKey), "");
    EXPECT_FALSE(fs::exists(mimeFile()));
    EXPECT_FALSE(fs::exists(desktopFile()));
    EXPECT_TRUE(program.startupPassword.passwordRequired());  // no marker stored
    EXPECT_EQ(readText(logPath()), "an old line\n");
}

TEST_F(CommandLineStartupFirstRun, AcceptingRemembersItRegistersTheAssociationAndStoresNoStartupPassword) {
    Program program(programDir, settingsFile);
    ASSERT_TRUE(program.startupPassword.passwordRequired());
    const StartDecision decision = start(program, "");
    EXPECT_EQ(decision.route, StartRoute::Window);
    EXPECT_EQ(agreementAsked, 1);
    EXPECT_TRUE(morvane::agreementAccepted(program.settings));
    EXPECT_EQ(program.settings.regRead("Agreement", "software\\Morvane"), "accepted");
    EXPECT_FALSE(program.startupPassword.passwordRequired());
    EXPECT_EQ(program.startupPassword.readStartupPassword(), StartupPassword::marker());

    ASSERT_TRUE(fs::is_regular_file(mimeFile()));
    const std::string mime = readText(mimeFile());
    EXPECT_NE(mime.find("application/x-morvane-enz"), std::string::npos) << mime;
    EXPECT_NE(mime.find("*.enz"), std::string::npos) << mime;
    ASSERT_TRUE(fs::is_regular_file(desktopFile()));
    const std::string desktop = readText(desktopFile());
    // The entry starts the program that runs, wherever its data files live.
    ASSERT_NE(program.executableFolder, programDir);
    EXPECT_EQ(program.executableFolder, morvane::executableDirectory());
    EXPECT_NE(desktop.find("\nExec=" + program.executableFolder + "/morvane -s%f\n"), std::string::npos) << desktop;
    EXPECT_NE(desktop.find("application/x-morvane-enz"), std::string::npos) << desktop;
}

TEST_F(CommandLineStartupFirstRun, TheAgreementIsRememberedInTheSettingsFile) {
    Program program(programDir, settingsFile);
    start(program, "");
    const std::string content = readText(settingsFile);
    EXPECT_NE(content.find("software\\\\Morvane\tAgreement\taccepted\n"), std::string::npos) << content;
}

TEST_F(CommandLineStartupFirstRun, AcceptingStartsWithAnEmptyLog) {
    writeText(logPath(), "a line of an earlier installation\n");
    Program program(programDir, settingsFile);
    EXPECT_EQ(start(program, "").route, StartRoute::Window);
    EXPECT_FALSE(fs::exists(logPath()));
}

TEST_F(CommandLineStartupFirstRun, CommandLineJobAsksForTheAgreementToo) {
    accept = false;
    {
        Program program(programDir, settingsFile);
        EXPECT_EQ(start(program, "-e -ppw -s/x/a.txt -d/x/out").route, StartRoute::End);
        EXPECT_EQ(agreementAsked, 1);
        EXPECT_EQ(program.settings.regRead("Path", kProductKey), "");
    }
    accept = true;
    {
        Program program(programDir, settingsFile);
        EXPECT_EQ(start(program, "-d -ppw -s/x/a.enz -d/x/out").route, StartRoute::CommandLine);
        EXPECT_EQ(agreementAsked, 2);
        EXPECT_TRUE(morvane::agreementAccepted(program.settings));
        EXPECT_TRUE(fs::is_regular_file(desktopFile()));
    }
}

TEST_F(CommandLineStartupFirstRun, LaterStartsNeverAskAgainNorRegisterAgain) {
    acceptedBefore();
    fs::remove(mimeFile());
    fs::remove(desktopFile());
    writeText(logPath(), "kept\n");
    for (const std::string line : {"", "-e -ppw -s/x/a.txt -d/x/out", "-s/x/a.enz"}) {
        Program program(programDir, settingsFile);
        accept = false;  // a question now would end the start
        EXPECT_NE(start(program, line).route, StartRoute::End) << line;
    }
    EXPECT_EQ(agreementAsked, 0);
    EXPECT_FALSE(fs::exists(mimeFile()));
    EXPECT_FALSE(fs::exists(desktopFile()));
    EXPECT_EQ(readText(logPath()), "kept\n");
}

TEST_F(CommandLineStartupFirstRun, SetStartupPasswordSurvivesLaterStarts) {
    acceptedBefore();
    {
        Program program(programDir, settingsFile);
        program.startupPassword.saveStartupPassword("Open Sesame");
    }
    Program program(programDir, settingsFile);
    EXPECT_EQ(start(program, "").route, StartRoute::Window);
    EXPECT_TRUE(program.startupPassword.passwordRequired());
}

using CommandLineStartupPath = CommandLineStartupTest;

// "Path" names the folder of the running executable, also when the data
// files live elsewhere (a system-wide install keeps them in the user's data
// folder).
TEST_F(CommandLineStartupPath, ExecutableFolderIsWrittenOnEveryStart) {
    const std::string executableFolder = morvane::executableDirectory();
    ASSERT_NE(executableFolder, programDir);
    {
        Program program(programDir, settingsFile);
        start(program, "");
        EXPECT_EQ(program.settings.regRead("Path", kProductKey), executableFolder);
        program.settings.regWrite(kProductKey, "Path", "/somewhere/else");
    }
    {
        Program program(programDir, settingsFile);
        start(program, "-e -ppw -s/x/a.txt -d/x/out");
        EXPECT_EQ(program.settings.regRead("Path", kProductKey), executableFolder);
        program.settings.regWrite(kProductKey, "Path", "/somewhere/else");
    }
    {
        Program program(programDir, settingsFile);
        start(program, "-s/x/a.enz");
        EXPECT_EQ(program.settings.regRead("Path", kProductKey), executableFolder);
    }
}

using CommandLineStartupRoute = CommandLineStartupTest;

TEST_F(CommandLineStartupRoute, EmptyLineOpensTheWindowOnTheEncryptTab) {
    acceptedBefore();
    for (const std::string line : {"", "    "}) {
        Program program(programDir, settingsFile);
        program.window.currentTab = morvane::kDecryptTab;
        program.run.commandLineRun = true;
        const StartDecision decision = start(program, line);
        EXPECT_EQ(decision.route, StartRoute::Window) << '"' << line << '"';
        EXPECT_EQ(program.window.currentTab, morvane::kEncryptTab);
        EXPECT_FALSE(program.run.commandLineRun);
    }
}

TEST_F(CommandLineStartupRoute, DashSHandsTheFileOver) {
    acceptedBefore();
    Program program(programDir, settingsFile);
    const StartDecision decision = start(program, "-s/x/file.ENZ");
    EXPECT_EQ(decision.route, StartRoute::Association);
    EXPECT_EQ(decision.associatedFile, "/x/file.ENZ");
    EXPECT_FALSE(program.run.commandLineRun);
}

TEST_F(CommandLineStartupRoute, AssociatedFileIsTheUntrimmedLineFromItsThirdCharacter) {
    acceptedBefore();
    Program program(programDir, settingsFile);
    const StartDecision decision = start(program, "-s/x/my file.enz ");
    EXPECT_EQ(decision.route, StartRoute::Association);
    EXPECT_EQ(decision.associatedFile, "/x/my file.enz ");
}

TEST_F(CommandLineStartupRoute, JobSwitchesRouteToTheCommandLineJob) {
    acceptedBefore();
    for (const std::string line : {"-e -ppw -s/x/a.txt -d/x/out", "-d -ppw -s/x/a.enz -d/x/out", "-E -ppw"}) {
        Program program(programDir, settingsFile);
        EXPECT_EQ(start(program, line).route, StartRoute::CommandLine) << line;
    }
}

TEST_F(CommandLineStartupRoute, AnyOtherLineRoutesToTheCommandLineJob) {
    acceptedBefore();
    Program program(programDir, settingsFile);
    EXPECT_EQ(start(program, "/x/a.txt").route, StartRoute::CommandLine);
}

TEST_F(CommandLineStartupRoute, CommandTextIsTrimmedAndLowerCased) {
    acceptedBefore();
    Program program(programDir, settingsFile);
    EXPECT_EQ(start(program, "   -E -pMyPass -s/X/A.txt -d/X/Out  ").commandText, "-e -pmypass -s/x/a.txt -d/x/out");
}

using CommandLineStartupSecondInstance = CommandLineStartupTest;

TEST_F(CommandLineStartupSecondInstance, SecondWindowEndsSilently) {
    acceptedBefore();
    otherInstance = true;
    Program program(programDir, settingsFile);
    program.settings.regWrite(kProductKey, "Path", "/somewhere/else");
    EXPECT_EQ(start(program, "").route, StartRoute::End);
    EXPECT_GE(instanceAsked, 1);
    EXPECT_EQ(agreementAsked, 0);
    EXPECT_EQ(program.settings.regRead("Path", kProductKey), "/somewhere/else");
    EXPECT_EQ(start(program, "-s/x/a.enz").route, StartRoute::End);
}

TEST_F(CommandLineStartupSecondInstance, JobRunsBesideAnOpenWindow) {
    acceptedBefore();
    otherInstance = true;
    Program program(programDir, settingsFile);
    EXPECT_EQ(start(program, "-e -ppw -s/x/a.txt -d/x/out").route, StartRoute::CommandLine);
    EXPECT_EQ(start(program, "-d -ppw -s/x/a.enz -d/x/out").route, StartRoute::CommandLine);
}

TEST_F(CommandLineStartupSecondInstance, WithoutAnotherInstanceTheWindowOpens) {
    acceptedBefore();
    Program program(programDir, settingsFile);
    EXPECT_EQ(start(program, "").route, StartRoute::Window);
}

using CommandLineStartupErrors = CommandLineStartupTest;

// The log's last line without its date: what follows the date and time.
bool logEndsWith(const std::string& path, const std::string& message) {
    const std::string text = readText(path);
    return text.size() > message.size() + 1 && text.ends_with(" " + message + "\n");
}

TEST_F(CommandLineStartupErrors, AnErrorIsLoggedAsFormLoadAndTheNextStepRuns) {
    acceptedBefore();
    Program program(programDir, settingsFile);
    program.settings.regWrite(kProductKey, "Path", "/somewhere/else");
    StartupHooks h = hooks();
    h.anotherInstanceRunning = []() -> bool { throw std::runtime_error("the lock place cannot be read"); };
    const StartDecision decision = runStartup(program, "", h);
    EXPECT_TRUE(logEndsWith(logPath(), "Error in formLoad routine. Error: the lock place cannot be read 51."))
        << readText(logPath());
    EXPECT_EQ(decision.route, StartRoute::Window);
    EXPECT_EQ(program.settings.regRead("Path", kProductKey), program.executableFolder);
}

TEST_F(CommandLineStartupErrors, AFailedPriorityRaiseIsLoggedAndStartUpGoesOn) {
    acceptedBefore();
    Program program(programDir, settingsFile);
    program.run.windowsDirectory = "left from before";
    StartupHooks h = hooks();
    h.setPriority = [](const std::string&, int) -> bool { throw std::runtime_error("no process list"); };
    const StartDecision decision = runStartup(program, "-s/x/a.enz", h);
    EXPECT_TRUE(logEndsWith(logPath(), "Error in formLoad routine. Error: no process list 51.")) << readText(logPath());
    EXPECT_EQ(program.run.windowsDirectory, "");  // the step after it ran
    EXPECT_EQ(decision.route, StartRoute::Association);
    EXPECT_EQ(decision.associatedFile, "/x/a.enz");
}

TEST_F(CommandLineStartupErrors, AnAgreementThatCouldNotBeAskedIsNotAccepted) {
    Program program(programDir, settingsFile);
    StartupHooks h = hooks();
    h.askAgreement = []() -> bool { throw std::runtime_error("no terminal"); };
    EXPECT_EQ(runStartup(program, "", h).route, StartRoute::End);
    EXPECT_TRUE(logEndsWith(logPath(), "Error in formLoad routine. Error: no terminal 51.")) << readText(logPath());
    EXPECT_FALSE(morvane::agreementAccepted(program.settings));
    EXPECT_EQ(program.settings.regRead("Path", kProductKey), "");
}

using CommandLineStartupPriority = CommandLineStartupTest;

TEST_F(CommandLineStartupPriority, TheProgramsOwnProcessesAreRaisedToHigh) {
    acceptedBefore();
    Program program(programDir, settingsFile);
    StartupHooks h = hooks();
    h.executableName = "MorVane";
    std::vector<std::pair<std::string, int>> raised;
    h.setPriority = [&raised](const std::string& name, int level) {
        raised.emplace_back(name, level);
        return true;
    };
    for (const std::string line : {"", "-e -ppw -s/x/a.txt -d/x/out", "-s/x/a.enz"}) {
        raised.clear();
        start(program, line);  // the hooks of the fixture: no raise seen
        EXPECT_TRUE(raised.empty());
        runStartup(program, line, h);
#ifdef _WIN32
        EXPECT_EQ(raised, (std::vector<std::pair<std::string, int>>{{"morvane.exe", 4}})) << line;
#else
        EXPECT_EQ(raised, (std::vector<std::pair<std::string, int>>{{"morvane", 4}})) << line;
#endif
    }
}

TEST(PriorityProcessName, WindowsNamesEndInExe) {
    using morvane::priorityProcessName;
    using morvane::ProcessNaming;
    EXPECT_EQ(priorityProcessName("Morvane", ProcessNaming::Windows), "morvane.exe");
    EXPECT_EQ(priorityProcessName("MORVANE.EXE", ProcessNaming::Windows), "morvane.exe");
    EXPECT_EQ(priorityProcessName("morvane.exe", ProcessNaming::Windows), "morvane.exe");
    EXPECT_EQ(priorityProcessName("Morvane", ProcessNaming::Posix), "morvane");
    EXPECT_EQ(priorityProcessName("morvane.bin", ProcessNaming::Posix), "morvane.bin");
#ifdef _WIN32
    EXPECT_EQ(priorityProcessName("Morvane"), "morvane.exe");
#else
    EXPECT_EQ(priorityProcessName("Morvane"), "morvane");
#endif
}

}  // namespace

namespace {

TEST(StartRouteFor, NoArgumentsIsWindowModeAndDashSIsAssociation) {
    EXPECT_EQ(morvane::routeFor(""), morvane::StartRoute::Window);
    EXPECT_EQ(morvane::routeFor("   "), morvane::StartRoute::Window);
    EXPECT_EQ(morvane::routeFor("-s/home/ann/a.enz"), morvane::StartRoute::Association);
    EXPECT_EQ(morvane::routeFor("-S/home/ann/a.enz"), morvane::StartRoute::Association);
    EXPECT_EQ(morvane::routeFor("-e -ppw -s/a -d/b"), morvane::StartRoute::CommandLine);
    EXPECT_EQ(morvane::routeFor("-d -ppw -s/a.enz -d/b"), morvane::StartRoute::CommandLine);
    EXPECT_EQ(morvane::routeFor("--help"), morvane::StartRoute::CommandLine);
}

TEST(AssociatedFile, AnArchiveInCapitalsOpensTheDecryptTab) {
    morvane::testing::TempDirectory dir("assoc-enz");
    const std::string archive = dir.file("Letters.ENZ");
    morvane::testing::writeFile(archive, "12345678");
    morvane::MainWindowModel window;
    morvane::ScriptedUserInterface ui;
    morvane::openAssociatedFile(window, ui, archive);
    EXPECT_EQ(window.currentTab, morvane::kDecryptTab);
    EXPECT_FALSE(window.cmdEncryptVisible);
    EXPECT_FALSE(window.cmdEncryptEnabled);
    EXPECT_TRUE(window.cmdDecryptVisible);
    EXPECT_TRUE(window.cmdDecryptEnabled);
    // The row's marker looks for ".enz" as written, so the capitals keep it off.
    ASSERT_EQ(window.lstFiles.size(), 1u);
    EXPECT_EQ(window.lstFiles[0].text, archive);
}

// Double-clicking X.ENZ lists it without the archive marker; the decrypt
// job takes such a row as the archive's path.
TEST(AssociatedFile, AnArchiveInCapitalsDecrypts) {
    morvane::testing::TempDirectory dir("assoc-decrypt");
    const std::string letter = dir.file("letter.txt");
    morvane::testing::writeFile(letter, "dear ann");
    {
        morvane::Program maker(dir.file("prog"), dir.file("registry"));
        morvane::ScriptedUserInterface ui;
        morvane::ProgressWindow status(ui);
        morvane::JobContext job{maker.window, maker.run, ui, maker.log, maker.zip, maker.recent, status};
        ASSERT_EQ(morvane::runCommandLine("-e -ppw -s" + letter + " -d" + dir.file("Letters"), job, maker.passwords),
                  morvane::kExitDone);
    }
    const std::string archive = dir.file("Letters.ENZ");
    std::filesystem::rename(dir.file("Letters.enz"), archive);
    std::filesystem::remove(letter);

    morvane::Program program(dir.file("prog"), dir.file("registry"));
    morvane::ScriptedUserInterface ui;
    morvane::openAssociatedFile(program.window, ui, archive);
    program.window.txtPassword = program.window.txtVerifyPass = "pw";
    morvane::ProgressWindow status(ui);
    morvane::JobContext job{program.window, program.run, ui, program.log, program.zip, program.recent, status};
    morvane::decryptFiles(job);

    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].text, archive + " has successfully been decrypted.");
    EXPECT_EQ(morvane::testing::readFile(letter), "dear ann");
}

TEST(AssociatedFile, AnyOtherFileOpensTheEncryptTab) {
    morvane::testing::TempDirectory dir("assoc-doc");
    const std::string document = dir.file("letter.txt");
    morvane::testing::writeFile(document, "dear ann");
    morvane::MainWindowModel window;
    window.currentTab = morvane::kDecryptTab;
    morvane::ScriptedUserInterface ui;
    morvane::openAssociatedFile(window, ui, document);
    EXPECT_EQ(window.currentTab, morvane::kEncryptTab);
    EXPECT_TRUE(window.cmdEncryptVisible);
    EXPECT_FALSE(window.cmdDecryptVisible);
    ASSERT_EQ(window.lstFiles.size(), 1u);
    EXPECT_EQ(window.lstFiles[0].text, document);
}

TEST(AssociatedFile, AMissingFileIsPassedOverWithoutAWord) {
    morvane::testing::TempDirectory dir("assoc-missing");
    morvane::MainWindowModel window;
    morvane::ScriptedUserInterface ui;
    morvane::openAssociatedFile(window, ui, dir.file("gone.enz"));
    EXPECT_EQ(window.currentTab, morvane::kDecryptTab);
    EXPECT_TRUE(window.lstFiles.empty());
    EXPECT_TRUE(ui.messages.empty());
}

}  // namespace
