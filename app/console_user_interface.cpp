#include "console_user_interface.h"

#include <algorithm>

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
    std::fprintf(out_, "%.*s\n", static_cast<int>(text.size()), text.data());
    std::fflush(out_);
}

bool ConsoleUserInterface::interactive() const { return in_ != nullptr && isatty(fileno(in_)); }

bool ConsoleUserInterface::askYesNo(std::string_view text, std::string_view) {
    endProgressLine();
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
    std::string bar = model.caption + " " + std::to_string(std::min(percent, 100)) + "%";
    if (bar == lastBar_) return;
    std::fprintf(out_, "\r%s\033[K", bar.c_str());
    std::fflush(out_);
    lastBar_ = std::move(bar);
}

}  // namespace morvane
