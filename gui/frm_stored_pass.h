#pragma once
// frmStoredPass: the named passwords of the password database, to manage
// them or to pick one for the current job.
#include <QDialog>

#include "stored_password_manager.h"

class QCheckBox;
class QPushButton;
class QTreeWidget;

namespace morvane::gui {

class FrmStoredPass : public QDialog {
    Q_OBJECT
public:
    FrmStoredPass(PasswordDatabase& database, UserInterface& ui, MainWindowModel& window, bool pickMode,
                  QWidget* parent = nullptr);

    const StoredPasswordList& model() const { return model_; }
    void refresh();
    void done(int result) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void editClicked();
    void openEditor(bool addMode, const std::string& name);

    PasswordDatabase& database_;
    StoredPasswordList model_;
    UserInterface& ui_;
    MainWindowModel& window_;
    QTreeWidget* lstPass_;
    QPushButton* cmdEdit_;
    bool closing_ = false;
};

}  // namespace morvane::gui
