#include "file_list.h"

#include <filesystem>

#include "file_attributes.h"
#include "file_row_texts.h"
#include "program_directory.h"
#include "sort_and_search.h"
#include "text_case.h"
#include "text_trim.h"

namespace morvane {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kAllFilesFilter = "All Files|*.*";
constexpr std::string_view kArchiveFilter = "Encrypted Zip Files|*.enz";

// Paths are looked up the way Windows looks names up: blanks at the end of a
// name do not count. A rebuilt row's path keeps the blank that stood before
// its marker, and still names its file.
fs::path lookupPath(std::string_view path) {
    const auto last = path.find_last_not_of(' ');
    return fileattr::toPath(std::string(path.substr(0, last == std::string_view::npos ? 0 : last + 1)));
}

std::size_t characterCount(std::string_view utf8) {
    std::size_t count = 0;
    for (const char c : utf8)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
    return count;
}

std::vector<std::string> splitPathList(std::string_view pathList) {
    if (pathList.size() >= kPathListSeparator.size() &&
        pathList.substr(pathList.size() - kPathListSeparator.size()) == kPathListSeparator)
        pathList.remove_suffix(kPathListSeparator.size());
    std::vector<std::string> batch;
    if (pathList.empty()) return batch;  // no paths at all
    std::size_t start = 0;
    for (;;) {
        const auto end = pathList.find(kPathListSeparator, start);
        batch.emplace_back(
            pathList.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start));
        if (end == std::string_view::npos) break;
        start = end + kPathListSeparator.size();
    }
    return batch;
}

// Sizes of files over 2 GiB are written in megabytes like the smaller ones.
std::string sizeText(std::uint64_t bytes) {
    if (bytes <= 0x7FFFFFFF) return formatSize(static_cast<std::int32_t>(bytes));
    const std::uint64_t hundredths = (bytes * 100 + 524288) / 1048576;
    std::string text = std::to_string(hundredths / 100);
    if (hundredths % 100 != 0) {
        text += '.';
        text += static_cast<char>('0' + hundredths % 100 / 10);
        if (hundredths % 10 != 0) text += static_cast<char>('0' + hundredths % 10);
    }
    return text + " MBytes";
}

}  // namespace

std::string encryptionStrengthText(std::string_view password) {
    return "Encryption Strength: " + std::to_string(characterCount(password) * 8) + " Bit ";
}

void passwordChanged(MainWindowModel& window) { window.sbStatusBar[2] = encryptionStrengthText(window.txtPassword); }

std::string rowPath(const ListRow& row) {
    std::string text = trimBlanks(row.text);
    const auto marker = text.rfind(kArchiveMarkerWord);
    if (marker != std::string::npos) text = trimBlanks(text.substr(0, marker));
    return text;
}

std::string listedPathOfSingleChoice(std::string_view path) {
    const std::string lowered = lowerCase(path);
#ifdef _WIN32
    return lowered;
#else
    std::error_code ec;
    if (lowered == path || fs::equivalent(fileattr::toPath(lowered), fileattr::toPath(std::string(path)), ec))
        return lowered;
    return std::string(path);
#endif
}

void addFiles(MainWindowModel& window, UserInterface& ui, ActivityLog& log, const RunState& run,
              std::string_view kind) {
    FileOpenRequest request;
    request.title = window.dlgSrcFilesTitle;
    request.filter = kind == "*" ? kAllFilesFilter : kArchiveFilter;
    request.allowMultiple = true;
    const std::optional<FileOpenResult> result = ui.chooseFilesToOpen(request);
    if (!result) return;
    if (result->bufferTooSmall) {
        const std::string message = "The maximum number of files that Morvane can encrypt or decrypt at one time is " +
                                    std::to_string(kMaxFilesPerChoice) +
                                    " files. Please reduce the number of selected items and then try again.";
        log.writeLog(message);
        if (!run.commandLineRun) ui.showMessage(message, MessageIcon::Exclamation);
        return;
    }
    std::string pathList;
    const std::string& chosen = result->fileName;
    const auto firstNul = chosen.find('\0');
    if (firstNul != std::string::npos) {
        // The directory, then the names: a root directory gains a second separator.
        const std::string directory = chosen.substr(0, firstNul) + kPathSeparator;
        std::size_t start = firstNul + 1;
        while (start <= chosen.size()) {
            auto end = chosen.find('\0', start);
            if (end == std::string::npos) end = chosen.size();
            pathList += directory + chosen.substr(start, end - start);
            pathList += kPathListSeparator;
            start = end + 1;
        }
    } else {
        window.toolbarDeleteEnabled = true;
        pathList = listedPathOfSingleChoice(chosen);
    }
    populateList(window, trimBlanks(pathList), true);
}

void addDroppedFiles(MainWindowModel& window, const std::vector<std::string>& paths) {
    if (paths.empty()) return;
    std::string pathList;
    if (paths.size() == 1) {
        // One file is listed as a single choice of the dialog is.
        window.toolbarDeleteEnabled = true;
        pathList = listedPathOfSingleChoice(paths.front());
    } else {
        for (const std::string& path : paths) {
            pathList += path;
            pathList += kPathListSeparator;
        }
    }
    populateList(window, trimBlanks(pathList), true);
}

std::string droppedFolderMessage(std::string_view folder) {
    return std::string(folder) +
           " is a folder. Folders cannot be added to the list; please select the files in it and then try again.";
}

void addDroppedItems(MainWindowModel& window, UserInterface& ui, const std::vector<std::string>& paths) {
    std::vector<std::string> files;
    for (const std::string& path : paths) {
        std::error_code ec;
        if (std::filesystem::is_directory(fileattr::toPath(path), ec))
            ui.showMessage(droppedFolderMessage(path), MessageIcon::Exclamation);
        else
            files.push_back(path);
    }
    addDroppedFiles(window, files);
}

void populateList(MainWindowModel& window, std::string_view pathList, bool append) {
    const std::vector<std::string> batch = splitPathList(pathList);

    std::vector<std::string> listed;
    bool checkDuplicates = false;
    if (append && !window.lstFiles.empty()) {
        window.toolbarDeleteEnabled = true;
        for (const ListRow& row : window.lstFiles) listed.push_back(lowerCase(row.text));
        sortArray(listed, 0, static_cast<int>(listed.size()) - 1);
        checkDuplicates = true;
    } else if (!append) {
        window.lstFiles.clear();
        window.selectedRow = -1;
    }
    if (batch.size() > 1) window.toolbarDeleteEnabled = true;

    std::uint64_t total = 0;
    for (const std::string& path : batch) {
        const fs::path file = lookupPath(path);
        std::error_code ec;
        if (!fs::is_regular_file(file, ec)) continue;
        if (checkDuplicates && searchArray(listed, lowerCase(path), static_cast<int>(listed.size()) - 1) >= 0) continue;
        ListRow row;
        row.text = path;
        if (path.find(".enz") != std::string::npos)
            row.text += window.lstFiles.empty() ? std::string(kArchiveMarker) : std::string(kArchiveMarker) + " ";
        const std::uintmax_t length = fs::file_size(file, ec);
        if (!ec) {
            row.size = sizeText(length);
            total += length;
        }
        row.type = getFileType(std::string(path.substr(0, path.find_last_not_of(' ') + 1)));
        window.lstFiles.push_back(std::move(row));
    }

    window.sbStatusBar[0] = "Total items selected: " + std::to_string(batch.size()) + "  ";
    window.sbStatusBar[1] = "Total size: " + sizeText(total) + "  ";
    passwordChanged(window);
}

void refreshList(MainWindowModel& window) {
    if (window.lstFiles.empty()) {
        window.toolbarDeleteEnabled = false;
        return;
    }
    window.toolbarDeleteEnabled = true;
    std::string pathList;
    for (const ListRow& row : window.lstFiles) {
        std::string text = trimBlanks(row.text);
        const auto marker = text.rfind(kArchiveMarkerWord);
        if (marker != std::string::npos) text = text.substr(0, marker);  // keeps the blank before it
        pathList += text;
        pathList += kPathListSeparator;
    }
    populateList(window, trimBlanks(pathList), false);
}

void removeItem(MainWindowModel& window, int index) {
    if (window.lstFiles.empty()) return;
    if (index < 1 || index > static_cast<int>(window.lstFiles.size())) return;
    window.lstFiles.erase(window.lstFiles.begin() + (index - 1));
    if (window.selectedRow >= static_cast<int>(window.lstFiles.size()))
        window.selectedRow = static_cast<int>(window.lstFiles.size()) - 1;
    if (window.lstFiles.empty()) window.toolbarDeleteEnabled = false;
}

void deleteKeyOnList(MainWindowModel& window) {
    if (window.lstFiles.empty() || window.selectedRow < 0) return;
    removeItem(window, window.selectedRow + 1);
    refreshList(window);
}

void clickRow(MainWindowModel& window, int row) {
    if (row < 0 || row >= static_cast<int>(window.lstFiles.size())) return;
    window.selectedRow = row;
    window.sbStatusBar[0] = window.lstFiles[static_cast<std::size_t>(row)].text;
}

void clearList(MainWindowModel& window) {
    window.lstFiles.clear();
    window.selectedRow = -1;
    window.toolbarDeleteEnabled = false;
}

}  // namespace morvane
