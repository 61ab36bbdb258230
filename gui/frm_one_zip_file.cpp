#include "frm_one_zip_file.h"

#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "dialog_buttons.h"
#include "help_window.h"
#include "qt_text.h"

namespace morvane::gui {

FrmOneZipFile::FrmOneZipFile(UserInterface& ui, MainWindowModel& window, RunState& run, QWidget* parent)
    : QDialog(parent), model_(run), ui_(ui), window_(window), run_(run) {
    setObjectName(QStringLiteral("frmOneZipFile"));
    setWindowTitle(QStringLiteral("Single Encrypted File"));
    auto* layout = new QVBoxLayout(this);
    auto* label = new QLabel(QStringLiteral("&Encrypted file that will contain all of the selected files:"), this);
    auto* row = new QHBoxLayout;
    txtCombZip_ = new QLineEdit(this);
    txtCombZip_->setObjectName(QStringLiteral("txtCombZip"));
    label->setBuddy(txtCombZip_);
    cmdBrowse_ = new QPushButton(this);
    cmdBrowse_->setObjectName(QStringLiteral("cmdBrowse"));
    row->addWidget(txtCombZip_, 1);
    row->addWidget(cmdBrowse_);
    const auto [buttons, ok, cancel] = okCancelButtons(this);
    layout->addWidget(label);
    layout->addLayout(row);
    layout->addLayout(buttons);
    setMinimumWidth(520);

    connect(txtCombZip_, &QLineEdit::textEdited, this, [this](const QString& text) { model_.txtCombZip = u8(text); });
    connect(cmdBrowse_, &QPushButton::clicked, this, [this] {
        model_.browse(ui_, run_);
        refresh();
    });
    connect(ok, &QPushButton::clicked, this, [this] {
        model_.txtCombZip = u8(txtCombZip_->text());
        model_.ok(ui_, run_, u8(QDir::toNativeSeparators(QDir::currentPath())));
        refresh();
        if (!model_.open) done(Accepted);
    });
    connect(cancel, &QPushButton::clicked, this, [this] {
        model_.txtCombZip = u8(txtCombZip_->text());
        model_.cancel(ui_, window_, run_);
        if (model_.open) return;
        closing_ = true;
        QDialog::done(Rejected);
    });
    refresh();
    installHelpKey(this);
}

void FrmOneZipFile::refresh() {
    if (txtCombZip_->text() != qs(model_.txtCombZip)) txtCombZip_->setText(qs(model_.txtCombZip));
    cmdBrowse_->setText(QStringLiteral("&") + qs(model_.browseCaption));
}

// Every way of closing ends here: the closing question may keep it open.
void FrmOneZipFile::done(int result) {
    if (!closing_) {
        if (!model_.close(ui_, window_, run_)) return;
        closing_ = true;
    }
    QDialog::done(result);
}

}  // namespace morvane::gui
