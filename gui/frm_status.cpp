#include "frm_status.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "help_window.h"
#include "qt_text.h"

namespace morvane::gui {

FrmStatus::FrmStatus(ProgressWindow& status, const std::int32_t& progressPercent, const ZipComponent& zip,
                     QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint),
      status_(status),
      progressPercent_(progressPercent),
      zip_(zip) {
    setObjectName(QStringLiteral("frmStatus"));
    setModal(false);
    auto* layout = new QVBoxLayout(this);
    lblStatus_ = new QLabel(this);
    lblStatus_->setObjectName(QStringLiteral("lblStatus"));
    lblStatus_->setTextFormat(Qt::PlainText);
    lblStatus_->setWordWrap(true);
    lblStatus_->setMinimumWidth(420);
    pbStatus_ = new QProgressBar(this);
    pbStatus_->setObjectName(QStringLiteral("pbStatus"));
    pbStatus_->setRange(0, 100);
    layout->addWidget(lblStatus_);
    layout->addWidget(pbStatus_);

    // The whole job.
    const auto label = [this](const char* name) {
        auto* l = new QLabel(this);
        l->setObjectName(QLatin1String(name));
        l->setTextFormat(Qt::PlainText);
        return l;
    };
    lblFileOfAll_ = label("lblFileOfAll");
    pbOverall_ = new QProgressBar(this);
    pbOverall_->setObjectName(QStringLiteral("pbOverall"));
    pbOverall_->setRange(0, 100);
    lblBytes_ = label("lblBytes");
    lblSpeed_ = label("lblSpeed");
    lblSpeed_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    lblTimeLeft_ = label("lblTimeLeft");
    lblTimeLeft_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    layout->addSpacing(6);
    layout->addWidget(lblFileOfAll_);
    layout->addWidget(pbOverall_);
    auto* figures = new QGridLayout;
    figures->addWidget(lblBytes_, 0, 0);
    figures->addWidget(lblSpeed_, 0, 1);
    figures->addWidget(lblTimeLeft_, 1, 1);
    layout->addLayout(figures);

    cmdCancel_ = new QPushButton(QStringLiteral("Cancel"), this);
    cmdCancel_->setObjectName(QStringLiteral("cmdCancel"));
    cmdCancel_->setAutoDefault(false);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdCancel_);
    layout->addLayout(buttons);
    connect(cmdCancel_, &QPushButton::clicked, this, [this] { requestCancel(); });

    tmrEncStatus_.setObjectName(QStringLiteral("tmrEncStatus"));
    tmrEncStatus_.setInterval(kEncTimerIntervalMs);
    tmrZipStatus_.setObjectName(QStringLiteral("tmrZipStatus"));
    tmrZipStatus_.setInterval(kZipTimerIntervalMs);
    installHelpKey(this);
    connect(&tmrEncStatus_, &QTimer::timeout, this, [this] {
        status_.encTimerTick(progressPercent_);
        refresh();
    });
    connect(&tmrZipStatus_, &QTimer::timeout, this, [this] {
        status_.zipTimerTick(zip_.PercentDone());
        refresh();
    });
}

void FrmStatus::refresh() {
    const ProgressWindowModel& model = status_.model();
    if (!model.loaded) {
        tmrEncStatus_.stop();
        tmrZipStatus_.stop();
        if (isVisible()) hide();
        return;
    }
    const QString caption = qs(model.caption);
    if (windowTitle() != caption) {
        setWindowTitle(caption);
        lblStatus_->setText(caption);
    }
    pbStatus_->setMaximum(model.pbMax);
    pbStatus_->setValue(model.pbValue);
    const ProgressFigures figures = status_.figures(status_.stepPercent());
    lblFileOfAll_->setText(qs(figures.fileOfAll));
    pbOverall_->setValue(figures.overallPercent);
    lblBytes_->setText(qs(figures.bytes));
    lblSpeed_->setText(qs(figures.speed));
    lblTimeLeft_->setText(qs(figures.timeLeft));
    cmdCancel_->setEnabled(!model.cancelRequested);
    if (model.tmrEncStatusOn != tmrEncStatus_.isActive())
        model.tmrEncStatusOn ? tmrEncStatus_.start() : tmrEncStatus_.stop();
    if (model.tmrZipStatusOn != tmrZipStatus_.isActive())
        model.tmrZipStatusOn ? tmrZipStatus_.start() : tmrZipStatus_.stop();
    if (!isVisible()) {
        show();
        raise();
    }
}

// The job ends the window. The close box and Escape do what Cancel does:
// they ask the running job to stop, and it closes the window when it has.
void FrmStatus::closeEvent(QCloseEvent* event) {
    if (!status_.model().loaded) return;
    event->ignore();
    requestCancel();
}

void FrmStatus::reject() {
    if (status_.model().loaded) requestCancel();
}

void FrmStatus::requestCancel() {
    status_.requestCancel();
    cmdCancel_->setEnabled(false);
}

}  // namespace morvane::gui
