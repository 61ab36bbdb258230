#include "program_directory.h"

#include <cstdlib>
#include <filesystem>

#include "file_attributes.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace morvane {

namespace fs = std::filesystem;

std::string executableDirectory() {
#ifdef _WIN32
    wchar_t buffer[32768];
    const DWORD length = GetModuleFileNameW(nullptr, buffer, static_cast<DWORD>(std::size(buffer)));
    const fs::path exe(std::wstring(buffer, length));
#else
    std::error_code ec;
    const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (ec) return fileattr::fromPath(fs::current_path(ec));
#endif
    return fileattr::fromPath(exe.parent_path());
}

bool isWritableDirectory(const std::string& directory) {
#ifdef _WIN32
    const fs::path probe = fileattr::toPath(directory) / "~morvane-write-test";
    std::error_code ec;
    {
        FILE* f = _wfopen(probe.c_str(), L"wb");
        if (!f) return false;
        std::fclose(f);
    }
    fs::remove(probe, ec);
    return true;
#else
    return ::access(directory.c_str(), W_OK | X_OK) == 0;
#endif
}

std::string programDirectory() {
    const std::string exeDirectory = executableDirectory();
    if (isWritableDirectory(exeDirectory)) return exeDirectory;
#ifdef _WIN32
    return exeDirectory;
#else
    fs::path data;
    if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg != nullptr && *xdg == '/') {
        data = xdg;
    } else if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        data = fs::path(home) / ".local" / "share";
    } else {
        return exeDirectory;
    }
    const fs::path directory = data / "morvane";
    std::error_code ec;
    fs::create_directories(directory, ec);
    return fileattr::fromPath(directory);
#endif
}

}  // namespace morvane
