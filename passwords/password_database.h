#pragma once
// The stored password database "{dir}/mvsp.dat": one entry a line, each the
// hexadecimal cipher text of "{name}--!--{password}" under a key built into
// the program, lines ending CR LF in the order written. Names compare exactly;
// the first entry of a name wins a lookup. Texts here are UTF-8; they meet the
// cipher as Windows-1252.
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "activity_log.h"
#include "main_window_model.h"
#include "user_interface.h"

namespace morvane {

// Between an entry's name and its password.
inline constexpr std::string_view kEntrySeparator = "--!--";

// One line of the file as read. Most are entries "{name}--!--{password}";
// a line that does not decipher to one under this program's key (another
// installation's entry, or damage) is kept as the file holds it, never
// shown or matched as an entry, and written back unchanged by every rewrite.
struct StoredEntry {
    std::string text;  // the entry; for an unreadable line, the line itself
    bool readable = true;

    static StoredEntry entry(std::string text) { return {std::move(text), true}; }
    static StoredEntry unreadableLine(std::string line) { return {std::move(line), false}; }
    bool operator==(const StoredEntry&) const = default;
};

class PasswordDatabase {
public:
    PasswordDatabase(std::string programDirectory, ActivityLog& log);

    std::string path() const;
    bool exists() const;

    // The password stored under `name` (trimmed), or "" when the file is
    // missing (logged in a command-line run) or no entry has that name. A
    // line that deciphers without a separator is passed over.
    std::string lookupStoredPassword(std::string_view name, const RunState& run) const;

    // Every line of the file in file order but the blank ones: the entries
    // "{name}--!--{password}", and the lines that do not decipher to one,
    // kept as they are.
    std::vector<StoredEntry> readAllEntries() const;

    // The texts of the entries only, in file order.
    static std::vector<std::string> entryTexts(const std::vector<StoredEntry>& entries);

    // append: adds "{name}--!--{password}" at the end (creating the file).
    // Otherwise: rewrites the whole file from `entries`, atomically: each
    // entry enciphered anew, each unreadable line as it was. False when the
    // file could not be written or a text cannot be carried by the code page.
    bool savePasswordFile(bool append, const std::vector<StoredEntry>& entries, std::string_view name = {},
                          std::string_view password = {});

    // Removes every entry of `name` (lines it cannot read stay), then
    // refreshes the manager (`refresh`) and tells the person. A missing file
    // is told instead.
    void deleteStoredPassword(std::string_view name, UserInterface& ui, const std::function<void()>& refresh);

    // The key the lines are enciphered with (built from its scrambled form).
    static std::string databaseKey();

    // The name and password of an entry text.
    static std::string nameOf(std::string_view entry);
    static std::string passwordOf(std::string_view entry);

private:
    std::string lineFor(std::string_view entry) const;
    std::string decipherLine(std::string_view line) const;

    std::string directory_;
    ActivityLog& log_;
};

}  // namespace morvane
