#pragma once
// The program's few settings: string values under key paths, as the Windows
// registry holds them (under HKEY_LOCAL_MACHINE). On Windows they are the
// registry; elsewhere one text file, by default
// $XDG_CONFIG_HOME/morvane/registry, rewritten atomically. Key paths and
// value names compare without regard to case, as in the registry.
#include <optional>
#include <string>
#include <string_view>

namespace morvane {

class SettingsStore {
public:
    // The store at `filePath` (unused on Windows, where the registry is).
    explicit SettingsStore(std::string filePath);

    // The default place: $XDG_CONFIG_HOME/morvane/registry, or
    // ~/.config/morvane/registry.
    static std::string defaultFilePath();

    const std::string& filePath() const { return filePath_; }

    // Creates the key path if needed and sets the value. Failures are not
    // reported to the program (the result is for tests).
    bool regWrite(std::string_view keyPath, std::string_view valueName, std::string_view value);

    // The value, read into a buffer of 128 characters: a value of 128
    // characters or more cannot be read and gives "", as does a missing key
    // or value.
    std::string regRead(std::string_view valueName, std::string_view keyPath) const;

    // The longest value regRead can give back.
    static constexpr std::size_t kLongestReadableValue = 127;

private:
    std::optional<std::string> lookUp(std::string_view keyPath, std::string_view valueName) const;
    std::string filePath_;
};

// Registers ".enz" files to open with the program ("-s{file}"). On Linux: a
// shared-mime-info type application/x-morvane-enz for *.enz and a desktop
// entry whose Exec line is "{dir}/morvane -s%f", under $XDG_DATA_HOME; the
// desktop databases are refreshed when their tools are present.
void registerAssociation(const std::string& programDirectory);

// Where registerAssociation writes on Linux ($XDG_DATA_HOME or ~/.local/share).
std::string userDataHome();

}  // namespace morvane
