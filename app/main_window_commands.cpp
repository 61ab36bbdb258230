#include "main_window_commands.h"

#include "file_list.h"
#include "main_window_logic.h"

namespace morvane {

void cmdEncryptClick(JobContext& c) {
    if (c.window.currentTab == kEncryptTab) encryptFiles(c);
}

void cmdDecryptClick(JobContext& c) {
    if (c.window.currentTab == kDecryptTab) decryptFiles(c);
}

void toolbarClick(JobContext& c, std::string_view key, const std::function<void()>& showHelp) {
    // The toolbar's add commands keep whatever title the dialog last had.
    if (key == "Encrypt") {
        tabChanged(c.window, kEncryptTab, c.ui);
        addFiles(c.window, c.ui, c.log, c.run, "*");
    } else if (key == "Decrypt") {
        tabChanged(c.window, kDecryptTab, c.ui);
        addFiles(c.window, c.ui, c.log, c.run, ".enz");
    } else if (key == "Delete") {
        toolbarDelete(c.window, c.ui);
    } else if (key == "Help") {
        if (showHelp) showHelp();
    }
}

void menuEncryptFiles(JobContext& c) {
    tabChanged(c.window, kEncryptTab, c.ui);
    addFilesCommand(c.window, c.ui, c.log, c.run);
}

void menuDecryptFiles(JobContext& c) {
    tabChanged(c.window, kDecryptTab, c.ui);
    addFilesCommand(c.window, c.ui, c.log, c.run);
}

void popupMenuClick(JobContext& c, PopupItem item) {
    switch (item) {
        case PopupItem::Remove:
            if (c.window.selectedRow >= 0) removeItem(c.window, c.window.selectedRow + 1);
            break;
        case PopupItem::Clear:
            clearList(c.window);
            break;
        case PopupItem::AddToEncrypt:
            addFiles(c.window, c.ui, c.log, c.run, "*");
            break;
        case PopupItem::AddToDecrypt:
            addFiles(c.window, c.ui, c.log, c.run, ".enz");
            break;
        case PopupItem::Encrypt:
            encryptFiles(c);
            break;
        case PopupItem::Decrypt:
            decryptFiles(c);
            break;
    }
}

}  // namespace morvane
