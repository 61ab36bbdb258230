#include "frm_status.h"

#include <QCloseEvent>
#include <QLabel>
#include <QProgressBar>
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
    if (model.tmrEncStatusOn != tmrEncStatus_.isActive())
        model.tmrEncStatusOn ? tmrEncStatus_.start() : tmrEncStatus_.stop();
    if (model.tmrZipStatusOn != tmrZipStatus_.isActive())
        model.tmrZipStatusOn ? tmrZipStatus_.start() : tmrZipStatus_.stop();
    if (!isVisible()) {
        show();
        raise();
    }
}

// The job ends the window; the person cannot close it (close box or Escape)
// under a running job.
void FrmStatus::closeEvent(QCloseEvent* event) {
    if (status_.model().loaded) event->ignore();
}

void FrmStatus::reject() {}

}  // namespace morvane::gui
