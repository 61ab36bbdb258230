#pragma once
// The stored password database "{dir}/mvsp.dat": one entry a line, each the
// hexadecimal cipher text of "{name}--!--{password}" under a key built into
// the program, lines ending CR LF in the order written. Names compare exactly;
// the first entry of a name wins a lookup. Texts here are UTF-8; they meet the
// cipher as Windows-1252.
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "activity_log.h"
#include "main_window_model.h"
#include "user_interface.h"

namespace morvane {

// Between an entry's name and its password.
inline constexpr std::string_view kEntrySeparator = "--!--";

class PasswordDatabase {
public:
    PasswordDatabase(std::string programDirectory, ActivityLog& log);

    std::string path() const;
    bool exists() const;

    // The password stored under `name` (trimmed), or "" when the file is
    // missing (logged in a command-line run) or no entry has that name. A
    // line that deciphers without a separator is passed over.
    std::string lookupStoredPassword(std::string_view name, const RunState& run) const;

    // Every entry "{name}--!--{password}" in file order; blank lines and lines
    // that decipher without a separator are passed over.
    std::vector<std::string> readAllEntries() const;

    // append: adds "{name}--!--{password}" at the end (creating the file).
    // Otherwise: rewrites the whole file from `entries`, atomically. False
    // when the file could not be written or a text cannot be carried by the
    // code page.
    bool savePasswordFile(bool append, const std::vector<std::string>& entries, std::string_view name = {},
                          std::string_view password = {});

    // Removes every entry of `name`, then refreshes the manager (`refresh`)
    // and tells the person. A missing file is told instead.
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
