#include "main_window_start.h"

#include "dlg_legal.h"
#include "frm_pass_on_startup.h"

namespace morvane::gui {

std::unique_ptr<FrmMain> openMainWindow(Program& program, const StartDecision& decision, QtUserInterface& ui) {
    auto window = std::make_unique<FrmMain>(program, ui);
    if (decision.route == StartRoute::Association)
        runStartupStep(program.log, [&] { openAssociatedFile(program.window, ui, decision.associatedFile); });

    // A startup password is asked in window and association mode alike. A
    // prompt that fails lets nobody in.
    if (program.startupPassword.passwordRequired()) {
        program.window.mnuStartPassChecked = true;
        const bool asked = runStartupStep(program.log, [&] {
            FrmPassOnStartup prompt(StartupPasswordDialog::Mode::Enter, program.startupPassword, ui, program.window,
                                    program.run);
            prompt.exec();
        });
        if (!asked || program.run.startupCancelled) return nullptr;
    }
    runStartupStep(program.log, [&] { program.recent.updateRecentList(program.window, ""); });
    window->syncFromModel();
    window->enableLoadTimer();
    return window;
}

bool askAgreementInWindow(UserInterface& ui) {
    DlgLegal agreement(ui);
    agreement.exec();
    return agreement.gfbAgree;
}

}  // namespace morvane::gui
