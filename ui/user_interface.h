#pragma once
// Everything the program's logic asks of the person goes through this one
// small interface: message boxes, yes/no questions, focus requests, the file
// and directory choices, the clipboard, and letting the window breathe during
// long work. The windows implement it with Qt, command-line jobs on the
// console, and tests with a script.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

// The application's title: the default title of every message box.
inline constexpr std::string_view kApplicationTitle = "Morvane";

enum class MessageIcon { None, Information, Exclamation, Question, Critical };

// What the file-open dialog is asked for.
struct FileOpenRequest {
    std::string title;          // "Add Files to Encrypt", "Add Files to Decrypt"
    std::string filter;         // "All Files|*.*" or "Encrypted Zip Files|*.enz"
    bool allowMultiple = true;  // explorer style, multiple selection
};

// What the file-open dialog returns: the classic form of its result. One
// chosen file is its full path. Several files are the directory, then each
// file name, separated by NUL characters.
struct FileOpenResult {
    std::string fileName;
    // The dialog failed because the choice did not fit its buffer.
    bool bufferTooSmall = false;
};

class UserInterface {
public:
    virtual ~UserInterface() = default;

    // A modal message box with an OK button.
    virtual void showMessage(std::string_view text, std::string_view title, MessageIcon icon) = 0;

    // A modal Yes/No question with the question icon; true for Yes.
    virtual bool askYesNo(std::string_view text, std::string_view title) = 0;

    // Puts the keyboard focus in the named control (e.g. "txtPassword").
    virtual void setFocus(std::string_view controlName) = 0;

    // Shows the file-open dialog; nothing when it was cancelled.
    virtual std::optional<FileOpenResult> chooseFilesToOpen(const FileOpenRequest& request) = 0;

    // Shows the save-file dialog for a new file; nothing when cancelled.
    virtual std::optional<std::string> chooseFileToSave(std::string_view title, std::string_view filter) = 0;

    // Empties the clipboard, then puts the text on it.
    virtual void clearClipboard() = 0;
    virtual void setClipboardText(std::string_view text) = 0;

    // Lets pending window events run (repaints, timers), during long work.
    virtual void letEventsRun() = 0;

    // Waits the given number of milliseconds, letting the window repaint.
    virtual void pause(int milliseconds) = 0;

    // A line the activity log received during a command-line job, handed on
    // word for word (a console writes it to standard error). A window,
    // where the log is one menu item away, passes it over.
    virtual void echoLogLine(std::string_view line) { (void)line; }

    // Convenience: a message with the application's title.
    void showMessage(std::string_view text, MessageIcon icon) { showMessage(text, kApplicationTitle, icon); }
    bool askYesNo(std::string_view text) { return askYesNo(text, kApplicationTitle); }
};

}  // namespace morvane
