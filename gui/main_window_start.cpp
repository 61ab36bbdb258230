#include "main_window_start.h"

#include "dlg_legal.h"
#include "frm_pass_on_startup.h"

namespace morvane::gui {

std::unique_ptr<FrmMain> openMainWindow(Program& program, const StartDecision& decision, QtUserInterface& ui) {
    auto window = std::make_unique<FrmMain>(program, ui);
    if (decision.route == StartRoute::Association) openAssociatedFile(program.window, ui, decision.associatedFile);

    // A startup password is asked in window and association mode alike.
    if (program.startupPassword.passwordRequired()) {
        program.window.mnuStartPassChecked = true;
        FrmPassOnStartup prompt(StartupPasswordDialog::Mode::Enter, program.startupPassword, ui, program.window,
                                program.run);
        prompt.exec();
        if (program.run.startupCancelled) return nullptr;
    }
    program.recent.updateRecentList(program.window, "");
    window->syncFromModel();
    if (auto* load = window->findChild<QTimer*>(QStringLiteral("tmrLoad"))) load->start(0);
    return window;
}

bool askAgreementInWindow(UserInterface& ui) {
    DlgLegal agreement(ui);
    agreement.exec();
    return agreement.gfbAgree;
}

}  // namespace morvane::gui
