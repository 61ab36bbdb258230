#include "main_window_logic.h"

#include "file_list.h"

namespace morvane {

void tabChanged(MainWindowModel& window, int newTab, UserInterface& ui) {
    window.currentTab = newTab;
    const bool fileTab = newTab == kEncryptTab || newTab == kDecryptTab;
    window.cmdAddFilesDecEnabled = fileTab;
    window.cmdClearDecFilesEnabled = fileTab;
    window.cmdEncryptEnabled = fileTab;
    window.cmdDecryptEnabled = fileTab;
    window.lstFilesVisible = fileTab;
    window.txtMessageVisible = !fileTab;
    window.listFrameCaption = fileTab ? kListFrameCaption : kMessageFrameCaption;
    if (!fileTab) ui.setFocus("txtMessage");
    if (newTab == kEncryptTab) {
        window.cmdDecryptVisible = false;
        window.cmdDecryptEnabled = false;
        window.cmdEncryptEnabled = true;
        window.cmdEncryptVisible = true;
    } else if (newTab == kDecryptTab) {
        window.cmdEncryptVisible = false;
        window.cmdEncryptEnabled = false;
        window.cmdDecryptEnabled = true;
        window.cmdDecryptVisible = true;
    } else {
        // Both off; whichever showed keeps showing.
        window.cmdEncryptEnabled = false;
        window.cmdDecryptEnabled = false;
    }
}

void preparePopupMenu(MainWindowModel& window) {
    const bool encryptTab = window.currentTab == kEncryptTab;
    const bool hasItems = !window.lstFiles.empty();
    window.mnuPopupAddtoEnc.visible = encryptTab;
    window.mnuPopupAddtoDec.visible = !encryptTab;
    window.mnuPopupRemove.visible = hasItems;
    window.mnuPopupClear.visible = hasItems;
    window.mnuPopupSep1.visible = hasItems;
    window.mnuPopupEnc.visible = hasItems && encryptTab;
    window.mnuPopupDec.visible = hasItems && !encryptTab;
    // The remove item names the selected row; with none selected it keeps its
    // own caption and cannot be chosen.
    const bool rowSelected = window.selectedRow >= 0 && window.selectedRow < static_cast<int>(window.lstFiles.size());
    window.mnuPopupRemove.enabled = rowSelected;
    window.mnuPopupRemove.caption =
        rowSelected ? "Remove " + window.lstFiles[static_cast<std::size_t>(window.selectedRow)].text + " From List"
                    : std::string(kPopupRemoveCaption);
}

void addFilesCommand(MainWindowModel& window, UserInterface& ui, ActivityLog& log, const RunState& run) {
    if (window.currentTab == kDecryptTab) {
        window.dlgSrcFilesTitle = "Add Files to Decrypt";
        addFiles(window, ui, log, run, "enz");
    } else {
        window.dlgSrcFilesTitle = "Add Files to Encrypt";
        addFiles(window, ui, log, run, "*");
    }
}

void toolbarDelete(MainWindowModel& window, UserInterface& ui) {
    if (window.lstFiles.empty() || window.selectedRow < 0 ||
        window.selectedRow >= static_cast<int>(window.lstFiles.size()))
        return;
    const std::string& text = window.lstFiles[static_cast<std::size_t>(window.selectedRow)].text;
    if (text.empty()) return;
    const std::string question = "Are you sure you wish to remove " + text + " from the items to be " +
                                 (window.currentTab == kEncryptTab ? "encrypted?" : "decrypted?");
    if (ui.askYesNo(question)) removeItem(window, window.selectedRow + 1);
}

}  // namespace morvane
