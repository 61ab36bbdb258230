#include "command_line.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "file_attributes.h"
#include "file_list.h"
#include "job_lock.h"
#include "job_support.h"
#include "program_directory.h"
#include "text_case.h"
#include "text_trim.h"
#include "wildcard.h"

namespace morvane {

namespace fs = std::filesystem;

namespace {

#ifdef _WIN32
constexpr std::string_view kLineBreak = "\r\n";
#else
constexpr std::string_view kLineBreak = "\n";
#endif

constexpr const char* kInvalidArguments = "Invalid command line arguments.";

bool isExistingFile(const std::string& path) {
    std::error_code ec;
    return fs::is_regular_file(fileattr::toPath(path), ec);
}

bool isFolder(const std::string& path) {
    std::error_code ec;
    return fs::is_directory(fileattr::toPath(path), ec);
}

// The line for a folder given where files are listed: only files are taken.
std::string folderNotTaken(const std::string& path, std::string_view jobWord) {
    return path + " is a folder, not a file. Only files can be " + std::string(jobWord) + ": this folder will not be " +
           std::string(jobWord) + ".";
}

// A rejection shown in the usage dialog (and logged, like every rejection).
int reject(JobContext& job, std::string_view rejection, int status) {
    job.log.writeLog(rejection);
    job.ui.showMessage(usageText(rejection), kUsageTitle, MessageIcon::Information);
    return status;
}

// "a", "a and b", "a, b and c".
std::string namesJoined(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0) text += i + 1 == names.size() ? " and " : ", ";
        text += names[i];
    }
    return text;
}

bool endsWithEnz(std::string_view path) {
    const std::string lowered = lowerCase(path);
    return lowered.size() >= 4 && lowered.compare(lowered.size() - 4, 4, ".enz") == 0;
}

// Passes everything on to the person and counts the messages: a job that
// told the person anything has reported a failure or a refusal.
class CountingUserInterface : public UserInterface {
public:
    explicit CountingUserInterface(UserInterface& inner) : inner_(inner) {}
    void showMessage(std::string_view text, std::string_view title, MessageIcon icon) override {
        ++messages;
        inner_.showMessage(text, title, icon);
    }
    bool askYesNo(std::string_view text, std::string_view title) override { return inner_.askYesNo(text, title); }
    void setFocus(std::string_view control) override { inner_.setFocus(control); }
    std::optional<FileOpenResult> chooseFilesToOpen(const FileOpenRequest& request) override {
        return inner_.chooseFilesToOpen(request);
    }
    std::optional<std::string> chooseFileToSave(std::string_view title, std::string_view filter) override {
        return inner_.chooseFileToSave(title, filter);
    }
    void clearClipboard() override { inner_.clearClipboard(); }
    void setClipboardText(std::string_view text) override { inner_.setClipboardText(text); }
    void letEventsRun() override { inner_.letEventsRun(); }
    void pause(int milliseconds) override { inner_.pause(milliseconds); }
    void echoLogLine(std::string_view line) override {
        ++echoed;
        inner_.echoLogLine(line);
    }
    using UserInterface::showMessage;
    int messages = 0;
    int echoed = 0;

private:
    UserInterface& inner_;
};

int runJobOfCommandLine(const std::string& commandLine, JobContext& job, PasswordDatabase& passwords);

}  // namespace

std::string joinArguments(int argc, const char* const* argv) {
    std::string line;
    for (int i = 1; i < argc; ++i) {
        if (i > 1) line += ' ';
        line += argv[i];
    }
    return line;
}

std::string maskPasswords(std::string_view commandLine) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    std::string masked;
    masked.reserve(commandLine.size());
    for (std::size_t at = 0; at < commandLine.size();) {
        const bool startsWord = at == 0 || isBlank(commandLine[at - 1]);
        if (!startsWord || commandLine[at] != '-' || at + 1 >= commandLine.size() ||
            (commandLine[at + 1] != 'p' && commandLine[at + 1] != 'P') ||
            (at + 2 < commandLine.size() && commandLine[at + 2] == '@')) {
            masked += commandLine[at++];
            continue;
        }
        masked.append(commandLine.substr(at, 2));
        const std::size_t from = at + 2;
        std::size_t to = from;  // the next switch, or the end
        while (to < commandLine.size() && !(commandLine[to] == '-' && to > from && isBlank(commandLine[to - 1]))) ++to;
        std::size_t end = to;
        if (to < commandLine.size())
            while (end > from && isBlank(commandLine[end - 1])) --end;
        // One "*" a character: the bytes that continue a UTF-8 character add none.
        for (std::size_t k = from; k < end; ++k)
            if ((static_cast<unsigned char>(commandLine[k]) & 0xC0) != 0x80) masked += '*';
        masked.append(commandLine.substr(end, to - end));
        at = to;
    }
    return masked;
}

std::string usageText(std::string_view rejection) {
    const std::string pieces[] = {
        std::string(rejection),
        "To run Morvane from the command line (DOS window or batch file), you may use the following commands: ",
        "Encryption Commands: ",
        "-e -p<password or password file entry. For example, -pmy_pass or -p@my_pass_entry> -s<file or files to "
        "encrypt (each file separated by a single comma). For example, -sc:\\temp\\1.txt, c:\\temp\\2.txt> "
        "-d<destination directory and filename for encrypted zip file. For example, "
        "-dc:\\files\\encrypted_file.enz> -o<options (each option separated by a single comma). Available options "
        "are s for stealth and d for delete source file after it has been encrypted. Stealth mode will hide any "
        "status bars during encryption. For example, -os,d for stealth mode and delete source file after it has "
        "been encrypted.>",
        "Decryption Commands: ",
        "-d -p<password or password file entry. For example, -pmy_pass or -p@my_pass_entry > -s<file or files to "
        "decrypt (each file separated by a single comma). For example, -sc:\\temp\\my_encrypted_file.enz> "
        "-d<destination directory for decrypted files. For example, -dc:\\temp\\output\\> -o<options (each option "
        "separated by a single comma). Available options are s for stealth, d for delete encrypted file after it "
        "has been decrypted and n for don't overwrite existing files when decrypting. For example, -os,n,d>",
        "For additional command line options such as using input files and wildcards, please consult the help "
        "file. You may view the help file now by pressing F1 on your keyboard.",
    };
    std::string text;
    for (const std::string& piece : pieces) {
        if (!text.empty()) text.append(kLineBreak).append(kLineBreak);
        text += piece;
    }
    return text;
}

CommandLineRequest parseCommandLine(std::string_view commandLine) {
    CommandLineRequest request;
    const std::string typed = trimBlanks(commandLine);
    const std::string lowered = lowerCase(typed);
    const bool encrypt = lowered.rfind("-e", 0) == 0;
    const bool decrypt = lowered.rfind("-d", 0) == 0;
    const auto lastD = lowered.rfind("-d");
    request.encrypt = !decrypt;
    // The line splits at every "-" that begins a word: a "-" inside a
    // password or a path ("-d/out/archive-old") belongs to its value.
    std::vector<std::string> elements;
    for (std::size_t start = 0, from = 0;;) {
        std::size_t dash = typed.find('-', from);
        while (dash != std::string::npos && dash > 0 && typed[dash - 1] != ' ' && typed[dash - 1] != '\t')
            dash = typed.find('-', dash + 1);
        elements.push_back(typed.substr(start, dash == std::string::npos ? std::string::npos : dash - start));
        if (dash == std::string::npos) break;
        start = from = dash + 1;
    }
    if ((!encrypt && !decrypt) || lowered.find("-s") == std::string::npos || lowered.find("-p") == std::string::npos ||
        lastD == std::string::npos || lastD < 1 || elements.size() < 5) {
        request.rejection = kInvalidArguments;
        return request;
    }
    // Each element starts with its switch letter, in order: a line that
    // would have to be guessed at is refused.
    constexpr std::string_view kSwitchLetters = "psdo";
    for (std::size_t k = 2; k < elements.size(); ++k) {
        const std::string& element = elements[k];
        if (k - 2 >= kSwitchLetters.size() || element.empty() ||
            std::tolower(static_cast<unsigned char>(element.front())) != kSwitchLetters[k - 2]) {
            request.rejection = kInvalidArguments;
            return request;
        }
    }
    const auto field = [&elements](std::size_t k) {
        return k < elements.size() && !elements[k].empty() ? trimBlanks(std::string_view(elements[k]).substr(1))
                                                           : std::string();
    };
    request.password = field(2);
    request.sources = field(3);
    request.destination = field(4);
    request.options = lowerCase(field(5));
    request.silent = elements.size() == 6 && request.options.find('s') != std::string::npos;
    if (request.sources.empty()) {
        request.rejection =
            "No source files specified. Please specify the full path to the file or files you wish to encrypt. For "
            "example, c:\\temp\\myfile.txt.";
        return request;
    }
    if (request.destination.empty()) {
        request.rejection =
            "No destination file specified. Please specify the full path to the name of the encrypted zip file you "
            "wish to store your encrypted files to. For example, c:\\temp\\myfile.enz.";
        return request;
    }
    if (request.password.find('@') != std::string::npos) {
        request.storedEntry = true;
        request.password = request.password.substr(1);
    }
    if (request.password.empty())
        request.rejection =
            "Password cannot be blank. Please verify the password you entered after the -p argument and then try "
            "again.";
    return request;
}

int runCommandLine(const std::string& commandLine, JobContext& outer, PasswordDatabase& passwords) {
    CountingUserInterface counted(outer.ui);
    JobContext job{outer.window, outer.run, counted, outer.log, outer.zip, outer.recent, outer.status};
    // Whoever runs a job from a script reads what it logs on standard error.
    struct EchoWhileRunning {
        ActivityLog& log;
        ~EchoWhileRunning() { log.setEcho({}); }
    } echo{job.log};
    job.log.setEcho([&counted](std::string_view line) { counted.echoLogLine(line); });

    const int linesBefore = job.log.linesRequested();
    int status = runJobOfCommandLine(commandLine, job, passwords);
    if (status == kExitDone) {
        const bool reported = job.log.linesRequested() > linesBefore || counted.messages > 0;
        status = reported ? kExitFailed : kExitDone;
    }
    // A run that fails has said why.
    if (status != kExitDone && counted.messages == 0 && counted.echoed == 0)
        counted.showMessage("The job did not complete. No reason was recorded.", MessageIcon::Exclamation);
    // A job a signal stopped ends as the signal would have ended it, once it
    // has removed what it was making.
    if (job.status.jobCancelled() && job.status.cancelSignal() != 0) return kExitBySignal + job.status.cancelSignal();
    return status;
}

namespace {

int runJobOfCommandLine(const std::string& commandLine, JobContext& job, PasswordDatabase& passwords) {
    MainWindowModel& w = job.window;
    RunState& run = job.run;
    run.commandLineRun = true;
    // The log never holds a password in clear.
    run.commandLine = maskPasswords(commandLine);

    const CommandLineRequest request = parseCommandLine(commandLine);
    if (!request.rejection.empty()) return reject(job, request.rejection, kExitInvalidCommandLine);
    const bool encrypt = request.encrypt;
    const bool decrypt = !request.encrypt;
    const std::string& sources = request.sources;
    const std::string& destination = request.destination;
    const std::string& options = request.options;
    if (request.silent) run.silentRun = true;

    if (request.storedEntry) {
        const std::string stored = passwords.lookupStoredPassword(request.password, run);
        if (!stored.empty()) {
            w.txtPassword = w.txtVerifyPass = stored;
        } else {
            // "located" and "is": the words scripts that read the log look for.
            const std::string missing = "Unable to located " + request.password +
                                        " is the password database. Please verify password name and then try again.";
            job.log.writeLog(missing);
            job.ui.showMessage(missing, MessageIcon::Exclamation);
        }
    } else {
        w.txtPassword = w.txtVerifyPass = request.password;
    }

    const std::string jobWord = encrypt ? "encrypted" : "decrypted";
    if (encrypt) {
        w.currentTab = kEncryptTab;
        std::string archive = destination;
        // "-d/backup/" would make the hidden file "/backup/.enz".
        if (archive.back() == kPathSeparator || archive.back() == '/' || isFolder(archive)) {
            job::reportFailure(job, destination +
                                        " is a folder. Please give the full path and name of the encrypted zip file, "
                                        "for example -d" +
                                        std::string(kArchivePathExample) + ".");
            return kExitInvalidCommandLine;
        }
        if (archive.size() < 4 || archive.compare(archive.size() - 4, 4, ".enz") != 0) archive += ".enz";
        w.chkCreateOneZip = true;
        w.txtCombZipFile = archive;
        run.combinedArchivePath = archive;
        w.chkDelAfterEnc = options.find('d') != std::string::npos;
        // An earlier job to this archive that was stopped while it removed
        // its sources is finished before the sources are looked for: the
        // archive holds the ones it removes.
        // Another job to the archive, running or just ended, refuses this one
        // here as the encrypt job itself would.
        JobLocks locks;
        if (!job::lockNames(job, locks, {archive}, true)) return kExitFailed;
        finishStoppedRemoval(job, archive);
    } else {
        w.currentTab = kDecryptTab;
        w.chkDecOutputDir = true;
        w.chkRemoveEncFile = options.find('d') != std::string::npos;
        w.chkDontOverwrite = options.find('n') != std::string::npos;
        std::string directory = trimBlanks(destination);
        if (!directory.empty() && directory.back() == kPathSeparator) directory.pop_back();
        w.txtDecryptTo = directory;
    }

    std::string pathList;
    const auto add = [&pathList](const std::string& path) {
        pathList += path;
        pathList += kPathListSeparator;
    };
    if (sources.find('*') != std::string::npos) {
        const auto cut = sources.rfind(kPathSeparator);
        const std::string directory = cut == std::string::npos ? std::string() : sources.substr(0, cut + 1);
        const std::string pattern = cut == std::string::npos ? sources : sources.substr(cut + 1);
        std::vector<std::string> matches;
        std::error_code ec;
        for (fs::directory_iterator it(fileattr::toPath(directory.empty() ? "." : directory), ec), end;
             !ec && it != end; it.increment(ec)) {
            const std::string name = fileattr::fromPath(it->path().filename());
            std::error_code typeError;
            if (name.empty() || name.front() == '.' || !it->is_regular_file(typeError)) continue;  // hidden: not listed
            if (!matchesWildcard(name, pattern, LetterCase::Exact)) continue;
            if (decrypt && !endsWithEnz(name)) continue;
            matches.push_back(directory + name);
        }
        if (matches.empty()) {
            job.log.writeLog("No files matched your criteria for the following command line argument: " +
                             run.commandLine);
            return kExitFailed;
        }
        std::sort(matches.begin(), matches.end());
        for (const std::string& match : matches) add(match);
    } else if (sources.front() == '@') {
        const std::string listFile = sources.substr(1);
        if (!isExistingFile(listFile)) {
            job.ui.showMessage("Unable to locate " + listFile + " Please verify your input file and then try again. ",
                               MessageIcon::Exclamation);
            job.log.writeLog("Unable to locate " + listFile + ". Please verify your input file and then try again.");
        } else {
            std::ifstream in(fileattr::toPath(listFile), std::ios::binary);
            std::string line;
            while (std::getline(in, line)) {
                if (!line.empty() && line.back() == '\r') line.pop_back();
                const std::string path = trimBlanks(line);
                if (path.empty()) continue;
                if (isFolder(path)) {
                    job.log.writeLog(folderNotTaken(path, jobWord));
                } else if (!isExistingFile(path)) {
                    // "encrypted" in both jobs: the line scripts already look for.
                    job.log.writeLog("Unable to locate " + path +
                                     ". This file will be removed from the list of files to be encrypted.");
                } else if (decrypt && lowerCase(path).find(".enz") == std::string::npos) {
                    job.log.writeLog(path +
                                     " is not an encrypted zip file. This file will be removed from the list of files "
                                     "to be decrypted.");
                } else {
                    add(path);
                }
            }
        }
    } else {
        std::vector<std::string> missing;
        bool anyFound = false;
        for (std::size_t start = 0;;) {
            const auto comma = sources.find(',', start);
            const std::string name = trimBlanks(std::string_view(sources).substr(
                start, comma == std::string::npos ? std::string::npos : comma - start));
            if (isExistingFile(name)) {
                add(name);
                anyFound = true;
            } else if (isFolder(name)) {
                job.log.writeLog(folderNotTaken(name, jobWord));
            } else {
                job.log.writeLog("Unable to locate " + name + ". This file will not be " + jobWord + ".");
                missing.push_back(name);
            }
            if (comma == std::string::npos) break;
            start = comma + 1;
        }
        if (!anyFound && missing.empty()) {
            // Folders only: what was said of each is the reason.
            return kExitFailed;
        }
        if (!anyFound) {
            std::string refusal;
            if (missing.size() == 1) {
                refusal = "Unable to locate " + missing[0] + ". This file has not been " + jobWord + ".";
            } else if (missing.size() == 2) {
                refusal =
                    "Unable to locate " + missing[0] + " and " + missing[1] + ". No files have been " + jobWord + ".";
            } else {
                refusal = "Unable to locate " + namesJoined(missing) + ". These files will not be " + jobWord + ".";
            }
            return reject(job, refusal, kExitFailed);
        }
    }

    populateList(w, trimBlanks(pathList), true);
    if (encrypt) {
        encryptFiles(job);
    } else {
        decryptFiles(job);
    }
    return kExitDone;
}

}  // namespace
}  // namespace morvane
