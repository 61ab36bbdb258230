#pragma once
// frmOneZipFile ("Single Encrypted File"): the one archive an encrypt job
// writes every selected file into.
#include <QDialog>

#include "destination_dialogs.h"

class QLineEdit;
class QPushButton;

namespace morvane::gui {

class FrmOneZipFile : public QDialog {
    Q_OBJECT
public:
    FrmOneZipFile(UserInterface& ui, MainWindowModel& window, RunState& run, QWidget* parent = nullptr);

    const OneZipFileDialog& model() const { return model_; }
    void done(int result) override;

private:
    void refresh();

    OneZipFileDialog model_;
    UserInterface& ui_;
    MainWindowModel& window_;
    RunState& run_;
    QLineEdit* txtCombZip_;
    QPushButton* cmdBrowse_;
    bool closing_ = false;
};

}  // namespace morvane::gui
