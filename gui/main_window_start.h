#pragma once
// The main window's start: association mode's file, the startup password,
// the recent-files menu. Shared by the program and its window tests.
#include <memory>

#include "frm_main.h"

namespace morvane::gui {

// The main window for a start-up decision of window or association mode, or
// nothing when the person left the startup password dialog with Exit (or
// closed it): the program then ends without a window.
std::unique_ptr<FrmMain> openMainWindow(Program& program, const StartDecision& decision, QtUserInterface& ui);

// The first-run agreement in dlgLegal: true when accepted.
bool askAgreementInWindow(UserInterface& ui);

}  // namespace morvane::gui
