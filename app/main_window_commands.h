#pragma once
// The main window's commands that start work or open other windows: Encrypt
// Now and Decrypt Now (each only on its own tab), the popup menu's items, the
// toolbar by button key, and the File menu's add commands.
#include <functional>
#include <string_view>

#include "job_context.h"

namespace morvane {

void cmdEncryptClick(JobContext& c);  // runs encryptFiles on the encrypt tab only
void cmdDecryptClick(JobContext& c);  // runs decryptFiles on the decrypt tab only

// Toolbar1 by button key: "Encrypt", "Decrypt", "Delete", "Help"; any other key does nothing.
void toolbarClick(JobContext& c, std::string_view key, const std::function<void()>& showHelp);

// mnuEncFiles and mnuDecFiles: the tab, then the add-files command.
void menuEncryptFiles(JobContext& c);
void menuDecryptFiles(JobContext& c);

enum class PopupItem { Remove, Clear, AddToEncrypt, AddToDecrypt, Encrypt, Decrypt };

// An item of mnuEncPopup.
void popupMenuClick(JobContext& c, PopupItem item);

}  // namespace morvane
