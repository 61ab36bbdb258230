#pragma once
// The list of selected files (lstFiles): adding from the file-open dialog,
// duplicate detection, the size and type columns, the "(encrypted zip)"
// marker, and the status bar summary.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "activity_log.h"
#include "main_window_model.h"
#include "user_interface.h"

namespace morvane {

// Several paths in one text, each followed by this separator.
inline constexpr std::string_view kPathListSeparator = "~-!-~";

// A row whose path contains ".enz" shows it followed by this marker; readers
// cut the row text at "(encrypted zip)" to get the path back.
inline constexpr std::string_view kArchiveMarker = " (encrypted zip)";
inline constexpr std::string_view kArchiveMarkerWord = "(encrypted zip)";

// How many files one choice of the file-open dialog can hold, told in the
// message when a choice does not fit.
inline constexpr int kMaxFilesPerChoice = 32767;

// "Encryption Strength: {bits} Bit ": the password's length in characters
// times 8, blanks included.
std::string encryptionStrengthText(std::string_view password);

// Sets status panel 3 from txtPassword (on every change of the password).
void passwordChanged(MainWindowModel& window);

// The path of a row: its text trimmed and cut before the last
// "(encrypted zip)".
std::string rowPath(const ListRow& row);

// Shows the file-open dialog ("*": all files; anything else: encrypted zip
// files) and adds the chosen files.
void addFiles(MainWindowModel& window, UserInterface& ui, ActivityLog& log, const RunState& run, std::string_view kind);

// Files dropped on the list from a file manager: added as the file-open
// dialog adds the same choice (existing files only, duplicates skipped).
void addDroppedFiles(MainWindowModel& window, const std::vector<std::string>& paths);

// Whatever was dropped on the list: each folder among it is named in a
// message (folders cannot be added), then the files go in as above.
void addDroppedItems(MainWindowModel& window, UserInterface& ui, const std::vector<std::string>& paths);

// The message for a folder dropped on the list.
std::string droppedFolderMessage(std::string_view folder);

// Adds the paths of a path list; without `append` the list is emptied first.
// The summary counts the paths of the list (an empty list has none).
void populateList(MainWindowModel& window, std::string_view pathList, bool append);

// Rebuilds every row from the rows' own paths.
void refreshList(MainWindowModel& window);

// Removes row `index` (1-based).
void removeItem(MainWindowModel& window, int index);

// The Delete key on the list: removes the selected row and rebuilds the list.
void deleteKeyOnList(MainWindowModel& window);

// A click on a row (0-based): selects it and shows its text in status panel 1.
void clickRow(MainWindowModel& window, int row);

// The clear command: removes every row, disables toolbar button 3.
void clearList(MainWindowModel& window);

// The path a chosen single file is listed under: lower-cased, as the list has
// always shown single choices, where the file system finds the file under
// that name (a case-sensitive one may not: then the path is kept as chosen).
std::string listedPathOfSingleChoice(std::string_view path);

}  // namespace morvane
