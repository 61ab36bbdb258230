#include "frm_enter_store_pass.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "dialog_buttons.h"
#include "help_window.h"
#include "password_box.h"
#include "qt_text.h"

namespace morvane::gui {

namespace {

QLineEdit* passwordBox(const QString& name, QWidget* parent) {
    auto* box = new QLineEdit(parent);
    box->setObjectName(name);
    maskAsPassword(box);
    return box;
}

}  // namespace

FrmEnterStorePass::FrmEnterStorePass(PasswordDatabase& database, UserInterface& ui, bool addMode,
                                     const std::string& name, std::function<void()> refresh, QWidget* parent)
    : QDialog(parent), model_(database, addMode, name), ui_(ui), refresh_(std::move(refresh)) {
    setObjectName(QStringLiteral("frmEnterStorePass"));
    setWindowTitle(qs(model_.caption));
    auto* layout = new QVBoxLayout(this);
    auto* frame = new QGroupBox(this);
    frame->setObjectName(QStringLiteral("Frame1"));
    auto* form = new QFormLayout(frame);
    txtPassName_ = new QLineEdit(frame);
    txtPassName_->setObjectName(QStringLiteral("txtPassName"));
    txtPassName_->setText(qs(model_.txtPassName));
    txtPassName_->setReadOnly(model_.txtPassNameReadOnly);
    txtPassCurr_ = passwordBox(QStringLiteral("txtPassCurr"), frame);
    txtPassNew_ = passwordBox(QStringLiteral("txtPassNew"), frame);
    txtPassVerify_ = passwordBox(QStringLiteral("txtPassVerify"), frame);
    auto* lblName = new QLabel(QStringLiteral("Password &Name:"), frame);
    lblName->setObjectName(QStringLiteral("lblPassName"));
    auto* lblCurrent = new QLabel(qs(model_.lblCurrentPassword), frame);
    lblCurrent->setObjectName(QStringLiteral("lblCurrentPassword"));
    auto* lblNew = new QLabel(qs(model_.lblNewPassword), frame);
    lblNew->setObjectName(QStringLiteral("lblNewPassword"));
    auto* lblVerify = new QLabel(qs(model_.lblVerifyPassword), frame);
    lblVerify->setObjectName(QStringLiteral("lblVerifyPassword"));
    form->addRow(lblName, txtPassName_);
    form->addRow(lblCurrent, txtPassCurr_);
    form->addRow(lblNew, txtPassNew_);
    form->addRow(lblVerify, txtPassVerify_);
    lblCurrent->setVisible(model_.currentPasswordVisible);
    txtPassCurr_->setVisible(model_.currentPasswordVisible);
    auto* show = new QCheckBox(QStringLiteral("&Show passwords"), frame);
    show->setObjectName(QStringLiteral("chkShowPass"));
    form->addRow(QString(), show);
    lblName->setBuddy(txtPassName_);

    const auto [buttons, ok, cancel] = okCancelButtons(this);
    layout->addWidget(frame);
    layout->addLayout(buttons);
    setMinimumWidth(420);

    for (QLineEdit* box : {txtPassName_, txtPassCurr_, txtPassNew_, txtPassVerify_})
        connect(box, &QLineEdit::textChanged, this, [this] { readBoxes(); });
    connect(show, &QCheckBox::toggled, this, [this](bool on) {
        model_.chkShowPass = on;
        for (QLineEdit* box : {txtPassCurr_, txtPassNew_, txtPassVerify_})
            box->setEchoMode(on ? QLineEdit::Normal : QLineEdit::Password);
    });
    connect(ok, &QPushButton::clicked, this, [this] {
        readBoxes();
        if (model_.cmdOk(ui_, refresh_)) {
            closing_ = true;
            QDialog::done(Accepted);
        }
    });
    connect(cancel, &QPushButton::clicked, this, [this] {
        model_.cmdCancel();
        done(Rejected);
    });
    installHelpKey(this);
    // The name cannot change in edit mode: the current password comes first.
    if (model_.txtPassNameReadOnly) txtPassCurr_->setFocus();
}

void FrmEnterStorePass::readBoxes() {
    model_.txtPassName = u8(txtPassName_->text());
    model_.txtPassCurr = u8(txtPassCurr_->text());
    model_.txtPassNew = u8(txtPassNew_->text());
    model_.txtPassVerify = u8(txtPassVerify_->text());
}

// Cancel, the close box and Escape: unsaved changes are offered for saving.
void FrmEnterStorePass::done(int result) {
    if (!closing_) {
        readBoxes();
        if (!model_.unload(ui_, refresh_)) return;
        closing_ = true;
    }
    QDialog::done(result);
}

}  // namespace morvane::gui
