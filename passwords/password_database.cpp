#include "password_database.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "clsBlowfish.h"
#include "codepage.h"
#include "file_attributes.h"
#include "modCrypt.h"
#include "program_directory.h"
#include "safe_file.h"
#include "secure_wipe.h"
#include "text_trim.h"

namespace morvane {

namespace fs = std::filesystem;

namespace {

// The database key (12 characters), kept scrambled and built when needed.
constexpr std::string_view kScrambledDatabaseKey = "\xB6\xB2\xCB\xF1\xB7\xA3\xED\xD6\xB2\xA4\xF8\xD7\xB9\xF0\xB5";

class DatabaseKey {
public:
    DatabaseKey() : key_(scrambleText(kScrambledDatabaseKey)) {}
    ~DatabaseKey() { secureWipe(key_); }
    const std::string& text() const { return key_; }

private:
    std::string key_;
};

std::vector<std::string> readLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(fileattr::toPath(path), std::ios::binary);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace

PasswordDatabase::PasswordDatabase(std::string programDirectory, ActivityLog& log)
    : directory_(std::move(programDirectory)), log_(log) {}

std::string PasswordDatabase::path() const { return directory_ + kPathSeparator + "mvsp.dat"; }

bool PasswordDatabase::exists() const {
    std::error_code ec;
    return fs::is_regular_file(fileattr::toPath(path()), ec);
}

std::string PasswordDatabase::nameOf(std::string_view entry) {
    const auto separator = entry.find(kEntrySeparator);
    return std::string(entry.substr(0, separator));
}

std::string PasswordDatabase::passwordOf(std::string_view entry) {
    const auto separator = entry.find(kEntrySeparator);
    if (separator == std::string_view::npos) return {};
    return trimBlanks(entry.substr(separator + kEntrySeparator.size()));
}

std::string PasswordDatabase::databaseKey() { return DatabaseKey().text(); }

std::string PasswordDatabase::decipherLine(std::string_view line) const {
    const DatabaseKey key;
    clsBlowfish cipher;
    return codepage::fromCodePage(cipher.DecryptString(line, key.text(), true));
}

std::string PasswordDatabase::lineFor(std::string_view entry) const {
    const codepage::Conversion plain = codepage::toCodePage(entry);
    if (!plain.ok()) return {};
    const DatabaseKey key;
    clsBlowfish cipher;
    return cipher.EncryptString(plain.bytes, key.text(), true);
}

std::string PasswordDatabase::lookupStoredPassword(std::string_view name, const RunState& run) const {
    if (!exists()) {
        if (run.commandLineRun)
            log_.writeLog(
                "Unable to locate password file. Please verify you have entered in at least one password into the "
                "password database and then try again.");
        return {};
    }
    for (const std::string& line : readLines(path())) {
        const std::string entry = decipherLine(line);
        if (entry.find(kEntrySeparator) == std::string::npos) continue;  // damaged or foreign: never a match
        if (nameOf(entry) == name) return passwordOf(entry);
    }
    return {};
}

std::vector<StoredEntry> PasswordDatabase::readAllEntries() const {
    std::vector<StoredEntry> entries;
    for (std::string& line : readLines(path())) {
        if (trimBlanks(line).empty()) continue;
        std::string entry = decipherLine(line);
        if (entry.find(kEntrySeparator) == std::string::npos)
            entries.push_back(StoredEntry::unreadableLine(std::move(line)));
        else
            entries.push_back(StoredEntry::entry(std::move(entry)));
    }
    return entries;
}

std::vector<std::string> PasswordDatabase::entryTexts(const std::vector<StoredEntry>& entries) {
    std::vector<std::string> texts;
    for (const StoredEntry& entry : entries)
        if (entry.readable) texts.push_back(entry.text);
    return texts;
}

bool PasswordDatabase::savePasswordFile(bool append, const std::vector<StoredEntry>& entries, std::string_view name,
                                        std::string_view password) {
    if (append) {
        const std::string line = lineFor(std::string(name) + std::string(kEntrySeparator) + std::string(password));
        if (line.empty()) return false;
        // The file is rewritten whole with the line at its end, so that it is
        // never seen (or left by a full disk) with half a line.
        std::string content;
        if (exists()) {
            std::ifstream in(fileattr::toPath(path()), std::ios::binary);
            content.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
            if (!in.good() && !in.eof()) return false;
        }
        // A last line without its line end is not run into the new one.
        if (!content.empty() && content.back() != '\n') content += "\r\n";
        return writeFileAtomically(path(), content + line + "\r\n");
    }
    std::string content;
    for (const StoredEntry& entry : entries) {
        const std::string line = entry.readable ? lineFor(entry.text) : entry.text;
        if (line.empty()) return false;
        content += line + "\r\n";
    }
    return writeFileAtomically(path(), content);
}

void PasswordDatabase::deleteStoredPassword(std::string_view name, UserInterface& ui,
                                            const std::function<void()>& refresh) {
    if (!exists()) {
        ui.showMessage("Unable to locate " + path() + ". Password not deleted.", MessageIcon::Exclamation);
        return;
    }
    std::vector<StoredEntry> kept;
    for (StoredEntry& entry : readAllEntries())
        if (!entry.readable || nameOf(entry.text) != name) kept.push_back(std::move(entry));
    savePasswordFile(false, kept);
    if (refresh) refresh();
    ui.showMessage(std::string(name) + " has been deleted.", MessageIcon::Information);
}

}  // namespace morvane
