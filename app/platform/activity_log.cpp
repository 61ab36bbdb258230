#include "activity_log.h"

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <span>

#include "file_attributes.h"
#include "program_directory.h"
#include "safe_file.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace morvane {

namespace fs = std::filesystem;

ActivityLog::ActivityLog(std::string directory, DateTimeSource dateTime)
    : directory_(std::move(directory)), dateTime_(dateTime) {}

std::string ActivityLog::logPath() const { return directory_ + kPathSeparator + "morvane.log"; }

std::string ActivityLog::archivePath() const { return directory_ + kPathSeparator + "morvane.err.old"; }

std::string ActivityLog::generalDateText() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &now);
#else
    localtime_r(&now, &local);
#endif
    char text[128];
    const std::size_t length = std::strftime(text, sizeof text, "%x %X", &local);
    return std::string(text, length);
}

void ActivityLog::appendLine(std::string_view message) const {
#ifdef _WIN32
    constexpr std::string_view kLineBreak = "\r\n";
#else
    constexpr std::string_view kLineBreak = "\n";
#endif
    std::string line = dateTime_();
    line += ' ';
    line += message;
    line += kLineBreak;
    const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(line.data()), line.size());
#ifdef _WIN32
    const int file = ::_wopen(fileattr::toPath(logPath()).c_str(), _O_WRONLY | _O_APPEND | _O_CREAT | _O_BINARY,
                              _S_IREAD | _S_IWRITE);
    if (file < 0) return;
    writeAll(file, bytes);
    ::_close(file);
#else
    // Owner-only: the log names the user's files.
    const int file = ::open(logPath().c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) return;
    struct stat info {};
    if (::fstat(file, &info) == 0) {
        if ((info.st_mode & 0077) != 0) ::fchmod(file, 0600);
        // A line the disk has no room for is taken back whole, so the log
        // never ends in half a line.
        if (!writeAll(file, bytes)) {
            struct stat after {};
            if (::fstat(file, &after) == 0 && after.st_size > info.st_size) ::ftruncate(file, info.st_size);
        }
    }
    ::close(file);
#endif
}

void ActivityLog::writeLog(std::string_view message) noexcept {
    ++linesRequested_;
    try {
        if (echo_) echo_(message);
        const fs::path log = fileattr::toPath(logPath());
        std::error_code ec;
        const std::uintmax_t length = fs::file_size(log, ec);
        // The archive takes the log's place by a rename, so every line of the
        // old log is kept, in the archive or (when the rename fails) in the log.
        if (!ec && length > kArchiveThreshold && renameFile(logPath(), archivePath())) {
            ++linesRequested_;
            appendLine(kArchivedLine);
        }
        appendLine(message);
    } catch (...) {
        // The log never stops the work it records.
    }
}

ViewLogDecision viewLog(const ActivityLog& log) {
    std::error_code ec;
    if (fs::exists(fileattr::toPath(log.logPath()), ec)) return {true, log.logPath(), {}};
    return {false, {}, std::string(kLogEmptyMessage)};
}

}  // namespace morvane
