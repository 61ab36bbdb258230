#include "platform_utilities.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>

#include "file_attributes.h"
#include "safe_file.h"

#ifdef _WIN32
#include <tlhelp32.h>
#include <windows.h>
#else
#include <sys/resource.h>
#endif

namespace morvane {

namespace fs = std::filesystem;

void deleteFile(const std::string& path) {
    const auto attributes = fileattr::getAttributes(path);
    if (!attributes) return;
    // Files only: a folder given here stays as it is, with all it holds.
    if ((*attributes & fileattr::kDirectory) != 0) return;
    if (*attributes != fileattr::kArchive) fileattr::setAttributes(path, fileattr::kArchive);
    removeFile(path);
}

#ifdef _WIN32

std::string getWindowsDirectory() {
    char buffer[260] = {};
    if (GetWindowsDirectoryA(buffer, sizeof buffer) == 0) return {};
    return std::string(buffer);
}

bool setProcessPriority(std::int64_t processId, int level) {
    DWORD priorityClass = 0;
    switch (level) {
        case 0:
            priorityClass = IDLE_PRIORITY_CLASS;
            break;
        case 1:
            priorityClass = BELOW_NORMAL_PRIORITY_CLASS;
            break;
        case 3:
            priorityClass = ABOVE_NORMAL_PRIORITY_CLASS;
            break;
        case 4:
            priorityClass = HIGH_PRIORITY_CLASS;
            break;
        case 5:
            priorityClass = REALTIME_PRIORITY_CLASS;
            break;
        default:
            break;
    }
    HANDLE process = OpenProcess(PROCESS_ALL_ACCESS, FALSE, static_cast<DWORD>(processId));
    if (process == nullptr) return false;
    const bool done = SetPriorityClass(process, priorityClass) != 0;
    CloseHandle(process);
    return done;
}

bool setPriorityByName(const std::string& executableName, int level) {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return false;
    bool raised = false;
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32First(snapshot, &entry); more; more = Process32Next(snapshot, &entry)) {
        std::string name(entry.szExeFile);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (name == executableName && setProcessPriority(entry.th32ProcessID, level)) raised = true;
    }
    CloseHandle(snapshot);
    return raised;
}

#else

std::string getWindowsDirectory() { return {}; }

namespace {

// Levels as nice values: the scale runs the other way round.
std::optional<int> niceValueOf(int level) {
    switch (level) {
        case 0:
            return 19;
        case 1:
            return 10;
        case 3:
            return -5;
        case 4:
            return -10;
        case 5:
            return -20;
        default:
            return std::nullopt;
    }
}

}  // namespace

bool setProcessPriority(std::int64_t processId, int level) {
    const std::optional<int> nice = niceValueOf(level);
    if (!nice) return false;
    return ::setpriority(PRIO_PROCESS, static_cast<id_t>(processId), *nice) == 0;
}

bool setPriorityByName(const std::string& executableName, int level) {
    bool raised = false;
    std::error_code ec;
    for (fs::directory_iterator it("/proc", ec), end; !ec && it != end; it.increment(ec)) {
        const std::string pid = it->path().filename().string();
        if (pid.empty() || !std::all_of(pid.begin(), pid.end(), [](unsigned char c) { return std::isdigit(c); }))
            continue;
        std::error_code linkError;
        const fs::path exe = fs::read_symlink(it->path() / "exe", linkError);
        if (linkError) continue;  // another user's process, or a kernel thread
        std::string name = exe.filename().string();
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (name == executableName && setProcessPriority(std::stoll(pid), level)) raised = true;
    }
    return raised;
}

#endif

}  // namespace morvane
