#pragma once
// Small operations that wrap the operating system: the Windows directory,
// deleting a file whatever its attributes, and process priority by name.
#include <cstdint>
#include <string>

namespace morvane {

// The Windows directory, or the empty text on a system without one (the
// protection of its files is then off).
std::string getWindowsDirectory();

// Clears the file's attributes (read-only, hidden, system) and deletes it. A
// missing file is no error; every error is ignored. A folder is never
// touched, whatever it holds.
void deleteFile(const std::string& path);

// Raises or lowers every running process whose executable file name, lower-
// cased, equals `executableName` exactly (give it in lower case). True when
// at least one of them was changed. Levels: 0 idle, 1 below normal, 3 above
// normal, 4 high, 5 realtime; any other level changes nothing.
bool setPriorityByName(const std::string& executableName, int level);

// Applies a priority level to one process; false when the level is unknown or
// the system refuses (a raise without the privilege for it).
bool setProcessPriority(std::int64_t processId, int level);

}  // namespace morvane
