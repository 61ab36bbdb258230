#pragma once
// frmStatus: the small window that shows what a job is doing, one line of
// text and a bar. It shows the progress model; its two timers move the bar,
// one following the cipher's percentage, one the zip component's.
#include <QDialog>
#include <QTimer>
#include <cstdint>

#include "progress_window.h"
#include "zip_component.h"

class QLabel;
class QProgressBar;

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
    ProgressWindow& status_;
    const std::int32_t& progressPercent_;
    const ZipComponent& zip_;
    QLabel* lblStatus_;
    QProgressBar* pbStatus_;
    QTimer tmrEncStatus_;
    QTimer tmrZipStatus_;
};

}  // namespace morvane::gui
