#pragma once
// frmEnterStorePass: add a named password to the password database, or
// change one.
#include <QDialog>
#include <functional>

#include "stored_password_manager.h"

class QCheckBox;
class QLabel;
class QLineEdit;

namespace morvane::gui {

class FrmEnterStorePass : public QDialog {
    Q_OBJECT
public:
    // `refresh` reloads the list window behind, when there is one.
    FrmEnterStorePass(PasswordDatabase& database, UserInterface& ui, bool addMode, const std::string& name,
                      std::function<void()> refresh, QWidget* parent = nullptr);

    const EnterStorePassDialog& model() const { return model_; }
    void done(int result) override;

private:
    void readBoxes();

    EnterStorePassDialog model_;
    UserInterface& ui_;
    std::function<void()> refresh_;
    QLineEdit* txtPassName_;
    QLineEdit* txtPassCurr_;
    QLineEdit* txtPassNew_;
    QLineEdit* txtPassVerify_;
    bool closing_ = false;
};

}  // namespace morvane::gui
