#pragma once
// One running window: a second start in window or association mode hands
// what it was started for to the window that is already open, through a
// local socket in the user's runtime directory, and ends. This file holds
// what needs no toolkit: the messages, where the socket lives, and what the
// running window does with what it is handed.
#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "main_window_model.h"
#include "user_interface.h"

namespace morvane {

struct Handover {
    enum class Kind {
        Raise,      // a start with no arguments: the running window comes to the front
        Open,       // association mode: `path` joins the list of its tab, and the window comes to the front
        ListQuery,  // which tab the window shows and which files it lists (for scripts and tests)
    };
    Kind kind = Kind::Raise;
    std::string path;  // Open only: absolute
    bool operator==(const Handover&) const = default;
};

// Every message, and every answer, ends with this byte: it cannot occur in a path.
inline constexpr char kHandoverEnd = '\0';

// The message for `handover`, its end byte included.
std::string handoverMessage(const Handover& handover);

// A message without its end byte; nothing for a message this program does not send.
std::optional<Handover> readHandoverMessage(std::string_view message);

// What a second start hands over for its command line, started in
// `currentDirectory`: association mode's file (made absolute, so that the
// running window finds it from its own directory), or the bare raise.
Handover handoverFor(const std::string& commandLine, const std::string& currentDirectory);

// The socket beside the single-instance lock: $XDG_RUNTIME_DIR/morvane.sock,
// or a per-user name in the temporary directory.
std::string handoverSocketPath();

// The answer to a ListQuery: "tab {n}" and one "file {text}" line per row.
std::string listAnswer(const MainWindowModel& window);

// The running window's side. Files handed over wait while a job runs or a
// dialog is open (the window's commands wait then too) and are taken, in
// the order they came, as association mode takes its file at start.
class HandoverQueue {
public:
    void receive(Handover handover);
    bool hasPending() const { return !pending_.empty(); }
    // Adds every waiting file when the window is free; true when any was taken.
    bool takePending(MainWindowModel& window, UserInterface& ui, bool windowBusy);

private:
    std::deque<std::string> pending_;
};

}  // namespace morvane
