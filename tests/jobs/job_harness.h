#pragma once
// A main window, run state, person, log, zip component, recent-files list and
// progress window wired together the way the program wires them, over real
// files in a temporary directory, for driving the encrypt and decrypt jobs.
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "clsBlowfish.h"
#include "container.h"
#include "file_list.h"
#include "job_context.h"
#include "libzip_component.h"
#include "noise.h"
#include "scripted_user_interface.h"
#include "temp_directory.h"

namespace morvane::jobtest {

namespace fs = std::filesystem;

// Every log line starts with this date so whole lines can be compared.
inline constexpr const char* kLogDate = "06/05/2024 07:08:09";
inline std::string fixedLogDate() { return kLogDate; }

// A scripted person whose window lets a hook run whenever pending events are
// let through, as the timers of the progress window would.
class HookedUserInterface : public ScriptedUserInterface {
public:
    void letEventsRun() override {
        ScriptedUserInterface::letEventsRun();
        if (onEventsRun) onEventsRun();
    }
    std::function<void()> onEventsRun;
};

// Paths joined into one path list, each followed by the separator.
inline std::string pathList(const std::vector<std::string>& paths) {
    std::string list;
    for (const std::string& path : paths) list += path + std::string(kPathListSeparator);
    return list;
}

// The lines of a text file, line breaks (LF or CR LF) removed.
inline std::vector<std::string> linesOf(const std::string& path) {
    std::vector<std::string> lines;
    const std::string text = testing::readFile(path);
    std::size_t start = 0;
    while (start < text.size()) {
        auto end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

// Every file or directory below `root` whose name contains `part`.
inline std::vector<std::string> namesContaining(const fs::path& root, const std::string& part) {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.path().filename().string().find(part) != std::string::npos) found.push_back(entry.path().string());
    return found;
}

struct Harness {
    explicit Harness(const testing::TempDirectory& dir)
        : programDir(dir.file("program")), log(programDir, fixedLogDate), recent(programDir), status(ui) {
        fs::create_directories(programDir);
    }
    Harness(const Harness&) = delete;
    Harness& operator=(const Harness&) = delete;

    JobContext context() { return {window, run, ui, log, zip, recent, status}; }

    void setPassword(const std::string& password) { window.txtPassword = window.txtVerifyPass = password; }

    // Adds the files as the window's "Add Files" does.
    void list(const std::vector<std::string>& paths) { populateList(window, pathList(paths), true); }

    void encrypt() {
        JobContext c = context();
        encryptFiles(c);
    }
    void decrypt() {
        JobContext c = context();
        decryptFiles(c);
    }

    // The whole line the log holds for `message`.
    static std::string logLine(const std::string& message) { return std::string(kLogDate) + " " + message; }
    std::vector<std::string> logLines() const { return linesOf(log.logPath()); }
    bool logExists() const { return fs::exists(log.logPath()); }
    std::vector<std::string> recentLines() const { return linesOf(recent.path()); }

    std::string programDir;
    MainWindowModel window;
    RunState run;
    HookedUserInterface ui;
    ActivityLog log;
    LibzipComponent zip;
    RecentFiles recent;
    ProgressWindow status;
};

// Writes `content` to `path` and makes "{path}.enz" from it under `password`
// by the archive recipe; the source itself is removed again.
inline std::string makeArchive(const std::string& path, const std::string& content, const std::string& password) {
    testing::writeFile(path, content);
    LibzipComponent zip;
    clsBlowfish cipher;
    if (makePerFileArchive(zip, cipher, path, password) != ContainerResult::Done) return {};
    fs::remove(path);
    return path + ".enz";
}

// Opens `archive` into `outdir` by the archive recipe and returns the content
// of the member `name` ("" when the archive did not open).
inline std::string openedContent(const std::string& archive, const std::string& password, const std::string& outdir,
                                 const std::string& name) {
    fs::create_directories(outdir);
    LibzipComponent zip;
    clsBlowfish cipher;
    if (openArchive(zip, cipher, archive, outdir + "/", false, password) != ContainerResult::Done) return {};
    return testing::readFile(outdir + "/" + name);
}

// Content that does not compress, so the archive is as large as the file.
inline std::string noiseOfSize(std::size_t size, std::uint32_t seed = 0x2545F491u) {
    return testing::noise(size, seed);
}

}  // namespace morvane::jobtest
