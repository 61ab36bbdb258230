#include "frm_about.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSvgWidget>
#include <QVBoxLayout>

#include "help_window.h"
#include "qt_text.h"
#include "user_interface.h"

namespace morvane::gui {

QString versionText() { return QStringLiteral("Version ") + QStringLiteral(MORVANE_VERSION); }

FrmAbout::FrmAbout(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("frmAbout"));
    setWindowTitle(QStringLiteral("About ") + qs(kApplicationTitle));
    auto* layout = new QHBoxLayout(this);
    auto* logo = new QSvgWidget(QStringLiteral(":/icons/morvane.svg"), this);
    logo->setObjectName(QStringLiteral("imgLogo"));
    logo->setFixedSize(96, 96);
    layout->addWidget(logo, 0, Qt::AlignTop);

    auto* column = new QVBoxLayout;
    auto* title = new QLabel(qs(kApplicationTitle), this);
    title->setObjectName(QStringLiteral("lblTitle"));
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.8);
    big.setBold(true);
    title->setFont(big);
    auto* version = new QLabel(versionText(), this);
    version->setObjectName(QStringLiteral("lblVersion"));
    auto* description = new QLabel(
        QStringLiteral("Protects files and messages with a password: files become encrypted zip (.enz) files, "
                       "messages become hexadecimal text."),
        this);
    description->setWordWrap(true);
    description->setFixedWidth(390);
    auto* warning = new QLabel(
        QStringLiteral("Warning: This product is protected by copyright law and international treaties. Unauthorized "
                       "reproduction or distribution of this program, or any portion of it, may result is severe civil "
                       "and criminal penalties, and will be prosecuted to the maximum extent possible under the law."),
        this);
    warning->setObjectName(QStringLiteral("lblWarning"));
    warning->setWordWrap(true);
    warning->setFixedWidth(390);
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("cmdOk"));
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    column->addWidget(title);
    column->addWidget(version);
    column->addSpacing(8);
    column->addWidget(description);
    column->addSpacing(8);
    column->addWidget(warning);
    column->addStretch(1);
    column->addWidget(ok, 0, Qt::AlignRight);
    layout->addLayout(column, 1);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    installHelpKey(this);
}

}  // namespace morvane::gui
