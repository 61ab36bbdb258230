#pragma once
// A check box whose long caption wraps over several lines beside the box;
// a click on the caption ticks the box, as on a plain check box.
#include <QCheckBox>
#include <QLabel>
#include <QWidget>

namespace morvane::gui {

class WrappingCheckBox : public QWidget {
    Q_OBJECT
public:
    WrappingCheckBox(const QString& objectName, const QString& caption, QWidget* parent = nullptr);

    QCheckBox* box() const { return box_; }
    QLabel* captionLabel() const { return caption_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QCheckBox* box_;
    QLabel* caption_;
};

}  // namespace morvane::gui
