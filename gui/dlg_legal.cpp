#include "dlg_legal.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "help_window.h"
#include "legal_agreement.h"
#include "qt_text.h"

namespace morvane::gui {

DlgLegal::DlgLegal(UserInterface& ui, QWidget* parent) : QDialog(parent), ui_(ui) {
    setObjectName(QStringLiteral("dlgLegal"));
    setWindowTitle(QStringLiteral("Morvane Use Agreement"));
    auto* layout = new QVBoxLayout(this);
    auto* intro =
        new QLabel(QStringLiteral("Please read the following agreement. You must accept it to run Morvane."), this);
    intro->setWordWrap(true);
    auto* text = new QPlainTextEdit(this);
    text->setObjectName(QStringLiteral("txtAgreement"));
    text->setReadOnly(true);
    text->setPlainText(qs(kLegalAgreement));
    auto* buttons = new QDialogButtonBox(this);
    auto* ok = buttons->addButton(QStringLiteral("I &Agree"), QDialogButtonBox::AcceptRole);
    ok->setObjectName(QStringLiteral("OKButton"));
    auto* cancel = buttons->addButton(QStringLiteral("&Cancel"), QDialogButtonBox::RejectRole);
    cancel->setObjectName(QStringLiteral("CancelButton"));
    cancel->setDefault(true);
    connect(ok, &QPushButton::clicked, this, [this] {
        gfbAgree = true;
        accept();
    });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    layout->addWidget(intro);
    layout->addWidget(text, 1);
    layout->addWidget(buttons);
    resize(620, 500);
    installHelpKey(this);
}

void DlgLegal::done(int result) {
    if (!gfbAgree &&
        !ui_.askYesNo("Are you sure you want to exit? If you select yes, you will not be able to run Morvane!"))
        return;
    QDialog::done(result);
}

}  // namespace morvane::gui
