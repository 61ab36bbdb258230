#include "atomic_file.h"

#include <cstdio>
#include <filesystem>

#include "file_attributes.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace morvane {

namespace fs = std::filesystem;

bool writeFileAtomically(const std::string& path, std::string_view content) {
    const fs::path target = fileattr::toPath(path);
    fs::path temporary = target;
    temporary += ".~mvnew";
    std::error_code ec;
    std::FILE* file = fileattr::openFile(fileattr::fromPath(temporary), "wb");
    if (file == nullptr) return false;
    bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    written = std::fflush(file) == 0 && written;
#ifndef _WIN32
    written = ::fsync(::fileno(file)) == 0 && written;
#endif
    written = std::fclose(file) == 0 && written;
    if (written) fs::rename(temporary, target, ec);
    if (!written || ec) {
        fs::remove(temporary, ec);
        return false;
    }
    return true;
}

}  // namespace morvane

namespace morvane {

bool flushToDisk(const std::string& path) {
#ifdef _WIN32
    HANDLE file = CreateFileW(fileattr::toPath(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    const bool flushed = FlushFileBuffers(file) != 0;
    CloseHandle(file);
    return flushed;
#else
    std::FILE* file = fileattr::openFile(path, "rb");
    if (file == nullptr) return false;
    const bool flushed = ::fsync(::fileno(file)) == 0;
    std::fclose(file);
    return flushed;
#endif
}

}  // namespace morvane
