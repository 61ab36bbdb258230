#pragma once
// frmPassOnStartup: enter the startup password before the main window opens,
// or set one from the Options menu.
#include <QDialog>

#include "startup_password.h"

class QLabel;
class QLineEdit;
class QFrame;

namespace morvane::gui {

class FrmPassOnStartup : public QDialog {
    Q_OBJECT
public:
    FrmPassOnStartup(StartupPasswordDialog::Mode mode, StartupPassword& store, UserInterface& ui,
                     MainWindowModel& window, RunState& run, QWidget* parent = nullptr);

    const StartupPasswordDialog& model() const { return model_; }

    void done(int result) override;

private:
    void okClicked();

    StartupPasswordDialog model_;
    StartupPassword& store_;
    UserInterface& ui_;
    MainWindowModel& window_;
    RunState& run_;
    QLineEdit* txtStartPass_;
    QLineEdit* txtStartPassVerify_;
    bool closing_ = false;
};

}  // namespace morvane::gui
