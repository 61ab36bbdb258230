#include "console_user_interface.h"

#include <algorithm>
#include <utility>

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#define fileno _fileno
#else
#include <unistd.h>
#endif

namespace morvane {

ConsoleUserInterface::ConsoleUserInterface(std::FILE* out, std::FILE* in) : out_(out), in_(in) {}

void ConsoleUserInterface::followProgress(const ProgressWindow* status, const std::int32_t* cipherPercent) {
    status_ = status;
    cipherPercent_ = cipherPercent;
    barWanted_ = status != nullptr && isatty(fileno(out_));
}

void ConsoleUserInterface::endProgressLine() {
    if (lastBar_.empty()) return;
    std::fputs("\n", out_);
    lastBar_.clear();
}

void ConsoleUserInterface::showMessage(std::string_view text, std::string_view, MessageIcon) {
    endProgressLine();
    ++messagesShown_;
    // A failure is often logged and then shown in the same words: the person
    // reads it once. A message that goes on after those words (the usage
    // text after its rejection) shows only the rest.
    const std::string echoed = std::exchange(lastEchoed_, {});
    const bool repeats = !echoed.empty() && text.substr(0, echoed.size()) == echoed &&
                         (text.size() == echoed.size() || text[echoed.size()] == '\r' || text[echoed.size()] == '\n');
    if (repeats) {
        text.remove_prefix(echoed.size());
        if (!text.empty() && text.front() == '\r') text.remove_prefix(1);
        if (!text.empty() && text.front() == '\n') text.remove_prefix(1);
        if (text.empty()) return;
    }
    std::fprintf(out_, "%.*s\n", static_cast<int>(text.size()), text.data());
    std::fflush(out_);
}

void ConsoleUserInterface::echoLogLine(std::string_view line) {
    endProgressLine();
    std::fprintf(out_, "%.*s\n", static_cast<int>(line.size()), line.data());
    std::fflush(out_);
    lastEchoed_.assign(line);
}

bool ConsoleUserInterface::interactive() const { return in_ != nullptr && isatty(fileno(in_)); }

bool ConsoleUserInterface::askYesNo(std::string_view text, std::string_view) {
    endProgressLine();
    lastEchoed_.clear();
    if (!interactive()) return false;
    for (;;) {
        std::fprintf(out_, "%.*s [y/n] ", static_cast<int>(text.size()), text.data());
        std::fflush(out_);
        char line[64];
        if (std::fgets(line, sizeof line, in_) == nullptr) return false;
        if (line[0] == 'y' || line[0] == 'Y') return true;
        if (line[0] == 'n' || line[0] == 'N') return false;
    }
}

void ConsoleUserInterface::letEventsRun() {
    if (!barWanted_ || status_ == nullptr || !status_->model().loaded) return;
    const ProgressWindowModel& model = status_->model();
    int percent = model.pbValue;
    if (model.tmrEncStatusOn && cipherPercent_ != nullptr) percent = std::max(percent, *cipherPercent_);
    percent = std::min(percent, 100);
    std::string bar = model.caption + " " + std::to_string(percent) + "%";
    // The whole job, as the progress window shows it.
    const ProgressFigures figures = status_->figures(percent);
    const std::string overall = figures.bytes.empty() ? "" : std::to_string(figures.overallPercent) + "% in all";
    for (const std::string* part : {&figures.fileOfAll, &overall, &figures.bytes, &figures.speed, &figures.timeLeft})
        if (!part->empty()) bar += " | " + *part;
    if (bar == lastBar_) return;
    lastEchoed_.clear();
    std::fprintf(out_, "\r%s\033[K", bar.c_str());
    std::fflush(out_);
    lastBar_ = std::move(bar);
}

}  // namespace morvane
