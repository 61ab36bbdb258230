#pragma once
// frmStatus: the small window that shows what a job is doing, one line of
// text and a bar, and below them the whole job: "File 2 of 5", one bar for
// the whole job, the bytes done of all, the speed and the time left. It shows
// the progress model; its two timers move the bars, one following the
// cipher's percentage, one the zip component's. Cancel (and Escape, and the
// close box) asks the running job to stop.
#include <QDialog>
#include <QTimer>
#include <cstdint>

#include "progress_window.h"
#include "zip_component.h"

class QLabel;
class QProgressBar;
class QPushButton;

namespace morvane::gui {

class FrmStatus : public QDialog {
    Q_OBJECT
public:
    FrmStatus(ProgressWindow& status, const std::int32_t& progressPercent, const ZipComponent& zip,
              QWidget* parent = nullptr);

    // Shows the model: the window, its text, the bar, which timers run.
    void refresh();

protected:
    void closeEvent(QCloseEvent* event) override;
    void reject() override;

private:
    void requestCancel();

    ProgressWindow& status_;
    const std::int32_t& progressPercent_;
    const ZipComponent& zip_;
    QLabel* lblStatus_;
    QProgressBar* pbStatus_;
    QLabel* lblFileOfAll_;
    QProgressBar* pbOverall_;
    QLabel* lblBytes_;
    QLabel* lblSpeed_;
    QLabel* lblTimeLeft_;
    QPushButton* cmdCancel_;
    QTimer tmrEncStatus_;
    QTimer tmrZipStatus_;
};

}  // namespace morvane::gui
