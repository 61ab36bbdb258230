#include "scripted_user_interface.h"

namespace morvane {

void ScriptedUserInterface::showMessage(std::string_view text, std::string_view title, MessageIcon icon) {
    messages.push_back({std::string(text), std::string(title), icon});
}

bool ScriptedUserInterface::askYesNo(std::string_view text, std::string_view title) {
    bool answer = false;
    if (!answers.empty()) {
        answer = answers.front();
        answers.pop_front();
    }
    questions.push_back({std::string(text), std::string(title), answer});
    return answer;
}

void ScriptedUserInterface::setFocus(std::string_view controlName) { focusRequests.emplace_back(controlName); }

std::optional<FileOpenResult> ScriptedUserInterface::chooseFilesToOpen(const FileOpenRequest& request) {
    openRequests.push_back(request);
    if (openResults.empty()) return std::nullopt;
    std::optional<FileOpenResult> result = openResults.front();
    openResults.pop_front();
    return result;
}

std::optional<std::string> ScriptedUserInterface::chooseFileToSave(std::string_view, std::string_view) {
    if (saveResults.empty()) return std::nullopt;
    std::optional<std::string> result = saveResults.front();
    saveResults.pop_front();
    return result;
}

void ScriptedUserInterface::clearClipboard() {
    clipboardLog.emplace_back("clear");
    clipboard.reset();
}

void ScriptedUserInterface::setClipboardText(std::string_view text) {
    clipboardLog.push_back("set:" + std::string(text));
    clipboard = std::string(text);
}

}  // namespace morvane
