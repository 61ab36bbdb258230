#pragma once
// The person, as a command-line job meets them: every message goes to
// standard error as one line; a question is asked on the terminal when
// standard input is one, and is otherwise answered No, so that a batch job
// never waits for input that cannot come. With a progress window to follow
// and standard error on a terminal, a one-line bar shows the work and the
// whole job's figures ("Encrypting /path/file... 42% | File 2 of 5 |
// 40% in all | 120.0 MB of 300.0 MB | 25.0 MB/s | About 7 s left").
#include <cstdio>
#include <string>

#include "progress_window.h"
#include "user_interface.h"

namespace morvane {

class ConsoleUserInterface : public UserInterface {
public:
    ConsoleUserInterface(std::FILE* out = stderr, std::FILE* in = stdin);

    // The bar follows this progress window (and the run's cipher percentage).
    void followProgress(const ProgressWindow* status, const std::int32_t* cipherPercent);

    void showMessage(std::string_view text, std::string_view title, MessageIcon icon) override;
    bool askYesNo(std::string_view text, std::string_view title) override;
    void setFocus(std::string_view) override {}
    std::optional<FileOpenResult> chooseFilesToOpen(const FileOpenRequest&) override { return std::nullopt; }
    std::optional<std::string> chooseFileToSave(std::string_view, std::string_view) override { return std::nullopt; }
    void clearClipboard() override {}
    void setClipboardText(std::string_view) override {}
    void letEventsRun() override;
    void pause(int) override {}
    // The line on standard error; a message that repeats it right after is
    // not written twice.
    void echoLogLine(std::string_view line) override;

    using UserInterface::askYesNo;
    using UserInterface::showMessage;

    // Whether questions can be asked: standard input is a terminal.
    bool interactive() const;

    // How many messages were shown.
    int messagesShown() const { return messagesShown_; }

    // Ends the bar's line, if one is drawn.
    void endProgressLine();

private:
    std::FILE* out_;
    std::FILE* in_;
    bool barWanted_ = false;
    const ProgressWindow* status_ = nullptr;
    const std::int32_t* cipherPercent_ = nullptr;
    std::string lastBar_;
    int messagesShown_ = 0;
    std::string lastEchoed_;  // the last thing written, when it was a log line
};

}  // namespace morvane
