#include "recent_files.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "file_attributes.h"
#include "file_list.h"
#include "platform_utilities.h"
#include "program_directory.h"
#include "safe_file.h"
#include "text_trim.h"

namespace morvane {

namespace fs = std::filesystem;

namespace {

// Everything after the first blank, trimmed.
std::string afterFirstBlank(std::string_view s) {
    const auto blank = s.find(' ');
    return blank == std::string_view::npos ? std::string() : trimBlanks(s.substr(blank + 1));
}

}  // namespace

RecentFiles::RecentFiles(std::string programDirectory) : directory_(std::move(programDirectory)) {}

std::string RecentFiles::path() const { return directory_ + kPathSeparator + "recent.lst"; }

std::vector<std::string> RecentFiles::readEntries(std::string_view skip) const {
    std::vector<std::string> kept;
    std::ifstream in(fileattr::toPath(path()), std::ios::binary);
    std::string line;
    while (kept.size() < kRecentCapacity && std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();  // lines end with CR LF
        std::string entry = trimBlanks(line);
        if (!entry.empty() && entry != skip) kept.push_back(std::move(entry));
    }
    return kept;
}

void RecentFiles::updateRecentList(MainWindowModel& window, std::string_view entry) {
    std::vector<std::string> kept = readEntries(entry);

    if (!entry.empty()) {
        if (kept.size() == kRecentCapacity) {
            kept.back() = std::string(entry);  // the oldest gives way
        } else {
            kept.emplace_back(entry);
        }
        std::rotate(kept.rbegin(), kept.rbegin() + 1, kept.rend());  // the newest to the top
        std::string content;
        for (const std::string& line : kept) content += line + "\r\n";
        writeFileAtomically(path(), content);
    }

    std::error_code ec;
    const bool show = !kept.empty() && fs::exists(fileattr::toPath(path()), ec);
    window.mnuSep1Visible = show;
    window.mnuSep2Visible = show;
    window.mnuClearRecentVisible = show;
    if (show) {
        for (std::size_t i = 0; i < kept.size(); ++i) {
            window.mnuRecent[i].caption = std::to_string(i + 1) + ". " + kept[i];
            window.mnuRecent[i].visible = true;
        }
    } else {
        for (MenuItemState& item : window.mnuRecent) item.visible = false;
    }
}

void RecentFiles::clearRecentList(MainWindowModel& window) {
    deleteFile(path());
    updateRecentList(window, "");
}

void RecentFiles::openRecentEntry(MainWindowModel& window, UserInterface& ui, int index) {
    if (index < 0 || index >= static_cast<int>(kRecentCapacity)) return;
    const std::string caption = window.mnuRecent[static_cast<std::size_t>(index)].caption;
    const std::string file = afterFirstBlank(afterFirstBlank(caption));  // drops "{n}. " and the job word
    window.currentTab = caption.find("Decrypt") != std::string::npos ? kDecryptTab : kEncryptTab;
    std::error_code ec;
    if (fs::is_regular_file(fileattr::toPath(file), ec)) {
        populateList(window, file, true);
    } else {
        ui.showMessage("Unable to locate " + file + ".", MessageIcon::Information);
    }
}

}  // namespace morvane
