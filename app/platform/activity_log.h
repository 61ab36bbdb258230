#pragma once
// The activity log "{dir}/morvane.log": one line per job result and per
// command-line failure, so that unattended runs leave a record. Each line is
// the date and time as the system writes them, a blank and the message.
// When the log has grown past 2,000,000 bytes it is renamed to
// "{dir}/morvane.err.old" (one generation) before the next line, so that no
// line of it is lost. The log is owner-only: it names the user's files.
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace morvane {

class ActivityLog {
public:
    using DateTimeSource = std::string (*)();

    explicit ActivityLog(std::string directory, DateTimeSource dateTime = generalDateText);

    // Appends one line. Never fails towards the caller: a line that cannot be
    // written (locked file, full disk, missing directory) is lost, and only
    // that line.
    void writeLog(std::string_view message) noexcept;

    // Where every line is also handed, word for word, as it is written (a
    // command-line job's standard error); nothing when empty.
    using LineEcho = std::function<void(std::string_view line)>;
    void setEcho(LineEcho echo) { echo_ = std::move(echo); }

    std::string logPath() const;
    std::string archivePath() const;

    // How many lines this log was asked to write (a command-line run ends
    // with a failure status when its job logged anything).
    int linesRequested() const { return linesRequested_; }

    // A log longer than this many bytes is archived before the next line.
    static constexpr std::uint64_t kArchiveThreshold = 2000000;

    // The first line of a fresh log after archiving. It names the archive
    // "morvane.err" although the log is morvane.log: existing logs and the
    // people who read them know the line in these words.
    static constexpr std::string_view kArchivedLine = "*** Archived morvane.err to morvane.err.old ***";

    // The date and time in the user's general format: the locale's date, a
    // blank, the locale's time.
    static std::string generalDateText();

private:
    void appendLine(std::string_view message) const;

    std::string directory_;
    DateTimeSource dateTime_;
    int linesRequested_ = 0;
    LineEcho echo_;
};

// What View Log does: open the log in the desktop's viewer when it exists,
// otherwise tell the person it is empty.
struct ViewLogDecision {
    bool openLog = false;
    std::string path;     // the log, when openLog
    std::string message;  // "Log file is currently empty." otherwise (information icon)
};

inline constexpr std::string_view kLogEmptyMessage = "Log file is currently empty.";

ViewLogDecision viewLog(const ActivityLog& log);

}  // namespace morvane
