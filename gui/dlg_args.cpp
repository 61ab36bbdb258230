#include "dlg_args.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "command_line.h"
#include "help_window.h"
#include "qt_text.h"

namespace morvane::gui {

DlgArgs::DlgArgs(const QString& usage, QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("dlgArgs"));
    setWindowTitle(qs(kUsageTitle));
    auto* layout = new QVBoxLayout(this);
    auto* text = new QPlainTextEdit(this);
    text->setObjectName(QStringLiteral("txtArgs"));
    text->setReadOnly(true);
    text->setPlainText(usage);
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("OKButton"));
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    layout->addWidget(text, 1);
    layout->addWidget(ok, 0, Qt::AlignRight);
    resize(640, 460);
    installHelpKey(this);
}

}  // namespace morvane::gui
