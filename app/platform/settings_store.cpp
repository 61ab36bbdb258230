#include "settings_store.h"

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "file_attributes.h"
#include "safe_file.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace morvane {

namespace fs = std::filesystem;

namespace {

std::string escape(std::string_view s) {
    std::string out;
    for (const char c : s) {
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            default:
                out += c;
        }
    }
    return out;
}

// Nothing for a field that is not written the way escape() writes.
std::optional<std::string> unescape(std::string_view s) {
    std::string out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '\\') {
            out += s[i];
            continue;
        }
        if (++i == s.size()) return std::nullopt;
        switch (s[i]) {
            case '\\':
                out += '\\';
                break;
            case 't':
                out += '\t';
                break;
            case 'n':
                out += '\n';
                break;
            case 'r':
                out += '\r';
                break;
            default:
                return std::nullopt;
        }
    }
    return out;
}

struct Setting {
    std::string keyPath, valueName, value;
};

// The settings of the file; a damaged line is passed over.
std::vector<Setting> readSettings(const std::string& path) {
    std::vector<Setting> settings;
    std::ifstream in(fileattr::toPath(path), std::ios::binary);
    std::string line;
    while (std::getline(in, line)) {
        const auto tab1 = line.find('\t');
        const auto tab2 = tab1 == std::string::npos ? std::string::npos : line.find('\t', tab1 + 1);
        if (tab2 == std::string::npos || line.find('\t', tab2 + 1) != std::string::npos) continue;
        auto key = unescape(std::string_view(line).substr(0, tab1));
        auto name = unescape(std::string_view(line).substr(tab1 + 1, tab2 - tab1 - 1));
        auto value = unescape(std::string_view(line).substr(tab2 + 1));
        if (!key || !name || !value) continue;
        settings.push_back({std::move(*key), std::move(*name), std::move(*value)});
    }
    return settings;
}

// Registry names are compared without regard to the case of their letters.
bool sameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const auto x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[i]);
        if (std::tolower(x) != std::tolower(y)) return false;
    }
    return true;
}

std::size_t characterCount(std::string_view utf8) {
    std::size_t count = 0;
    for (const char c : utf8)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
    return count;
}

std::string environmentOr(const char* variable, const std::string& fallbackBelowHome) {
    if (const char* value = std::getenv(variable); value != nullptr && *value == '/') return value;
    const char* home = std::getenv("HOME");
    return std::string(home != nullptr ? home : "") + "/" + fallbackBelowHome;
}

}  // namespace

SettingsStore::SettingsStore(std::string filePath) : filePath_(std::move(filePath)) {}

std::string SettingsStore::defaultFilePath() {
    return environmentOr("XDG_CONFIG_HOME", ".config") + "/morvane/registry";
}

std::string userDataHome() { return environmentOr("XDG_DATA_HOME", ".local/share"); }

#ifdef _WIN32

bool SettingsStore::regWrite(std::string_view keyPath, std::string_view valueName, std::string_view value) {
    HKEY key = nullptr;
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, std::string(keyPath).c_str(), &key) != ERROR_SUCCESS) return false;
    const std::string text(value);
    const bool written =
        RegSetValueExA(key, std::string(valueName).c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>(text.size())) == ERROR_SUCCESS;
    RegCloseKey(key);
    return written;
}

std::string SettingsStore::regRead(std::string_view valueName, std::string_view keyPath) const {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, std::string(keyPath).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return {};
    char buffer[kLongestReadableValue + 1] = {};
    DWORD length = sizeof buffer;
    std::string result;
    if (RegQueryValueExA(key, std::string(valueName).c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(buffer),
                         &length) == ERROR_SUCCESS &&
        length > 0)
        result.assign(buffer, length - 1);
    RegCloseKey(key);
    return result;
}

std::optional<std::string> SettingsStore::lookUp(std::string_view, std::string_view) const { return std::nullopt; }

void registerAssociation(const std::string& programDirectory) {
    const auto setDefault = [](const char* keyPath, const std::string& value) {
        HKEY key = nullptr;
        if (RegCreateKeyA(HKEY_CLASSES_ROOT, keyPath, &key) != ERROR_SUCCESS) return;
        RegSetValueExA(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                       static_cast<DWORD>(value.size()));
        RegCloseKey(key);
    };
    setDefault(".enz", "Encrypted Zip File");
    setDefault(".enz\\shell\\open\\command", programDirectory + "\\morvane.exe -s%1");
}

#else

std::optional<std::string> SettingsStore::lookUp(std::string_view keyPath, std::string_view valueName) const {
    for (const Setting& s : readSettings(filePath_))
        if (sameName(s.keyPath, keyPath) && sameName(s.valueName, valueName)) return s.value;
    return std::nullopt;
}

bool SettingsStore::regWrite(std::string_view keyPath, std::string_view valueName, std::string_view value) {
    std::vector<Setting> settings = readSettings(filePath_);
    bool replaced = false;
    for (Setting& s : settings) {
        if (sameName(s.keyPath, keyPath) && sameName(s.valueName, valueName)) {
            s.value = value;
            replaced = true;
        }
    }
    if (!replaced) settings.push_back({std::string(keyPath), std::string(valueName), std::string(value)});
    std::string content;
    for (const Setting& s : settings)
        content += escape(s.keyPath) + "\t" + escape(s.valueName) + "\t" + escape(s.value) + "\n";
    std::error_code ec;
    fs::create_directories(fileattr::toPath(filePath_).parent_path(), ec);
    return writeFileAtomically(filePath_, content);
}

std::string SettingsStore::regRead(std::string_view valueName, std::string_view keyPath) const {
    const std::optional<std::string> value = lookUp(keyPath, valueName);
    if (!value || characterCount(*value) > kLongestReadableValue) return {};
    return *value;
}

void registerAssociation(const std::string& programDirectory) {
    const std::string data = userDataHome();
    std::error_code ec;
    fs::create_directories(fileattr::toPath(data + "/mime/packages"), ec);
    fs::create_directories(fileattr::toPath(data + "/applications"), ec);
    writeFileAtomically(data + "/mime/packages/morvane-enz.xml",
                        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                        "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n"
                        "  <mime-type type=\"application/x-morvane-enz\">\n"
                        "    <comment>Encrypted Zip File</comment>\n"
                        "    <glob pattern=\"*.enz\"/>\n"
                        "  </mime-type>\n"
                        "</mime-info>\n");
    std::string executable = programDirectory + "/morvane";
    if (executable.find_first_of(" \t\"'\\$`") != std::string::npos) {
        std::string quoted = "\"";
        for (const char c : executable) {
            if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
            quoted += c;
        }
        executable = quoted + "\"";
    }
    writeFileAtomically(data + "/applications/morvane.desktop",
                        "[Desktop Entry]\n"
                        "Type=Application\n"
                        "Name=Morvane\n"
                        "Comment=Protect files and texts with a password\n"
                        "Exec=" +
                            executable +
                            " -s%f\n"
                            "Icon=morvane\n"
                            "Terminal=false\n"
                            "MimeType=application/x-morvane-enz;\n"
                            "Categories=Utility;Security;\n");
    const auto runIfPresent = [](const char* tool, const std::string& argument) {
        for (const char* dir : {"/usr/bin/", "/usr/local/bin/", "/bin/"}) {
            const std::string program = std::string(dir) + tool;
            if (::access(program.c_str(), X_OK) != 0) continue;
            const pid_t child = ::fork();
            if (child == 0) {
                const int devNull = ::open("/dev/null", O_WRONLY);
                if (devNull >= 0) {
                    ::dup2(devNull, STDOUT_FILENO);
                    ::dup2(devNull, STDERR_FILENO);
                }
                ::execl(program.c_str(), tool, argument.c_str(), static_cast<char*>(nullptr));
                ::_exit(127);
            }
            if (child > 0) ::waitpid(child, nullptr, 0);
            return;
        }
    };
    runIfPresent("update-mime-database", data + "/mime");
    runIfPresent("update-desktop-database", data + "/applications");
}

#endif

}  // namespace morvane
