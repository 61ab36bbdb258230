#pragma once
// A user interface driven by a script, for tests and for runs without a
// person: it records every message, question and focus request, and answers
// questions and dialogs from queues filled beforehand. A question without a
// scripted answer is answered No; a dialog without one is cancelled.
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "user_interface.h"

namespace morvane {

class ScriptedUserInterface : public UserInterface {
public:
    struct Message {
        std::string text;
        std::string title;
        MessageIcon icon;
        bool operator==(const Message&) const = default;
    };
    struct Question {
        std::string text;
        std::string title;
        bool answer;
    };

    void showMessage(std::string_view text, std::string_view title, MessageIcon icon) override;
    bool askYesNo(std::string_view text, std::string_view title) override;
    void setFocus(std::string_view controlName) override;
    std::optional<FileOpenResult> chooseFilesToOpen(const FileOpenRequest& request) override;
    std::optional<std::string> chooseFileToSave(std::string_view title, std::string_view filter) override;
    void clearClipboard() override;
    void setClipboardText(std::string_view text) override;
    void letEventsRun() override { ++eventRuns; }
    void pause(int milliseconds) override { pauses.push_back(milliseconds); }
    void echoLogLine(std::string_view line) override { echoedLines.emplace_back(line); }

    using UserInterface::askYesNo;
    using UserInterface::showMessage;

    // --- Script ------------------------------------------------------------
    std::deque<bool> answers;                               // for askYesNo, in order
    std::deque<std::optional<FileOpenResult>> openResults;  // for chooseFilesToOpen
    std::deque<std::optional<std::string>> saveResults;     // for chooseFileToSave

    // --- Record ------------------------------------------------------------
    std::vector<Message> messages;
    std::vector<Question> questions;
    std::vector<std::string> focusRequests;
    std::vector<FileOpenRequest> openRequests;
    std::vector<std::string> clipboardLog;  // "clear" and "set:{text}" in order
    std::optional<std::string> clipboard;
    int eventRuns = 0;
    std::vector<int> pauses;
    std::vector<std::string> echoedLines;  // log lines handed on, in order
};

}  // namespace morvane
