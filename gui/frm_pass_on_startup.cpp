#include "frm_pass_on_startup.h"

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

QFrame* separatorLine(const QString& name, QWidget* parent) {
    auto* line = new QFrame(parent);
    line->setObjectName(name);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

}  // namespace

FrmPassOnStartup::FrmPassOnStartup(StartupPasswordDialog::Mode mode, StartupPassword& store, UserInterface& ui,
                                   MainWindowModel& window, RunState& run, QWidget* parent)
    : QDialog(parent), model_(mode), store_(store), ui_(ui), window_(window), run_(run) {
    setObjectName(QStringLiteral("frmPassOnStartup"));
    setWindowTitle(mode == StartupPasswordDialog::Mode::Enter ? QStringLiteral("Morvane Startup Password")
                                                              : QStringLiteral("Require Password On Startup"));
    auto* layout = new QVBoxLayout(this);
    auto* frame = new QGroupBox(this);
    frame->setObjectName(QStringLiteral("Frame1"));
    auto* inner = new QVBoxLayout(frame);

    auto* second = new QLabel(qs(model_.secondLabel), frame);
    second->setObjectName(QStringLiteral("lblSecond"));
    second->setWordWrap(true);
    second->setVisible(!model_.verifyVisible);
    auto* first = new QLabel(qs(model_.firstLabel), frame);
    first->setObjectName(QStringLiteral("lblFirst"));
    txtStartPass_ = new QLineEdit(frame);
    txtStartPass_->setObjectName(QStringLiteral("txtStartPass"));
    maskAsPassword(txtStartPass_);
    first->setBuddy(txtStartPass_);
    auto* line1 = separatorLine(QStringLiteral("Line1"), frame);
    auto* verifyLabel = new QLabel(QStringLiteral("&Verify Password:"), frame);
    verifyLabel->setObjectName(QStringLiteral("lblVerify"));
    txtStartPassVerify_ = new QLineEdit(frame);
    txtStartPassVerify_->setObjectName(QStringLiteral("txtStartPassVerify"));
    maskAsPassword(txtStartPassVerify_);
    verifyLabel->setBuddy(txtStartPassVerify_);
    auto* line2 = separatorLine(QStringLiteral("Line2"), frame);
    inner->addWidget(second);
    inner->addWidget(first);
    inner->addWidget(txtStartPass_);
    inner->addWidget(line1);
    inner->addWidget(verifyLabel);
    inner->addWidget(txtStartPassVerify_);
    inner->addWidget(line2);
    // Enter mode: the verify box, its label and the lines are not needed,
    // and the frame closes up over their place.
    for (QWidget* w : {static_cast<QWidget*>(line1), static_cast<QWidget*>(verifyLabel),
                       static_cast<QWidget*>(txtStartPassVerify_), static_cast<QWidget*>(line2)})
        w->setVisible(model_.verifyVisible);

    const auto [buttons, ok, cancel] = okCancelButtons(this, qs(model_.cancelCaption));
    layout->addWidget(frame);
    layout->addLayout(buttons);
    setMinimumWidth(400);
    adjustSize();

    connect(ok, &QPushButton::clicked, this, &FrmPassOnStartup::okClicked);
    connect(cancel, &QPushButton::clicked, this, [this] {
        model_.cmdCancel(run_);
        closing_ = true;
        QDialog::done(Rejected);
    });
    installHelpKey(this);
}

void FrmPassOnStartup::okClicked() {
    model_.txtStartPass = u8(txtStartPass_->text());
    model_.txtStartPassVerify = u8(txtStartPassVerify_->text());
    model_.cmdOk(store_, ui_, window_);
    if (model_.open) return;
    model_.close(run_);
    closing_ = true;
    QDialog::done(Accepted);
}

// The close box and Escape: without a right password the program does not start.
void FrmPassOnStartup::done(int result) {
    if (!closing_) model_.close(run_);
    closing_ = true;
    QDialog::done(result);
}

}  // namespace morvane::gui
