#include "activity_log.h"

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>

#include "file_attributes.h"
#include "platform_utilities.h"
#include "program_directory.h"

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
    struct Closer {
        void operator()(std::FILE* f) const { std::fclose(f); }
    };
    std::unique_ptr<std::FILE, Closer> file(fileattr::openFile(logPath(), "ab"));
#ifdef _WIN32
    constexpr std::string_view kLineBreak = "\r\n";
#else
    constexpr std::string_view kLineBreak = "\n";
#endif
    if (!file) return;
    std::string line = dateTime_();
    line += ' ';
    line += message;
    line += kLineBreak;
    std::fwrite(line.data(), 1, line.size(), file.get());
}

void ActivityLog::writeLog(std::string_view message) noexcept {
    ++linesRequested_;
    try {
        const fs::path log = fileattr::toPath(logPath());
        std::error_code ec;
        const std::uintmax_t length = fs::file_size(log, ec);
        if (!ec && length > kArchiveThreshold) {
            fs::copy_file(log, fileattr::toPath(archivePath()), fs::copy_options::overwrite_existing, ec);
            deleteFile(logPath());
            writeLog(kArchivedLine);
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
