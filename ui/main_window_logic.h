#pragma once
// What the main window's own controls do to the window model: switching tabs,
// the list's popup menu, the add-files and clear commands, the toolbar's
// remove command. Commands that start a job are in main_window_commands.
#include <string_view>

#include "activity_log.h"
#include "main_window_model.h"
#include "user_interface.h"

namespace morvane {

// SSTab1, after the tab has changed: the list or the message box in the
// shared frame, its caption, and which of Encrypt Now / Decrypt Now shows.
void tabChanged(MainWindowModel& window, int newTab, UserInterface& ui);

// Before mnuEncPopup pops up over the list: which items show, and the
// remove item's caption ("Remove {row} From List" for the selected row; with
// no row selected its own caption, and the item disabled).
void preparePopupMenu(MainWindowModel& window);

// cmdAddFilesDec: the dialog's title by tab, then addFiles ("enz" on the
// decrypt tab, "*" otherwise).
void addFilesCommand(MainWindowModel& window, UserInterface& ui, ActivityLog& log, const RunState& run);

// Toolbar "Delete": asks, then removes the selected row (the list is not
// rebuilt, so the status bar keeps its totals).
void toolbarDelete(MainWindowModel& window, UserInterface& ui);

}  // namespace morvane
