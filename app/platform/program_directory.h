#pragma once
// The program's own directory {dir}, where the recent-files list, the password
// database and the activity log live. Paths below it are built as {dir}
// followed by the native separator and the name.
#include <string>

namespace morvane {

// The native path separator as text.
#ifdef _WIN32
inline constexpr char kPathSeparator = '\\';
#else
inline constexpr char kPathSeparator = '/';
#endif

// The directory of the running executable, without a closing separator.
std::string executableDirectory();

// {dir}: the executable's directory when it is writable; otherwise (a
// system-wide install) $XDG_DATA_HOME/morvane, by default
// ~/.local/share/morvane, created on demand.
std::string programDirectory();

// Whether files can be created in `directory`.
bool isWritableDirectory(const std::string& directory);

}  // namespace morvane
