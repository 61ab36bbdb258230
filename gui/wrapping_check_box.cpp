#include "wrapping_check_box.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QMouseEvent>

namespace morvane::gui {

WrappingCheckBox::WrappingCheckBox(const QString& objectName, const QString& caption, QWidget* parent)
    : QWidget(parent) {
    setObjectName(objectName + QStringLiteral("Row"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    box_ = new QCheckBox(this);
    box_->setObjectName(objectName);
    box_->setAccessibleName(caption);
    caption_ = new QLabel(caption, this);
    caption_->setObjectName(objectName + QStringLiteral("Caption"));
    caption_->setTextFormat(Qt::PlainText);
    caption_->setWordWrap(true);
    caption_->installEventFilter(this);
    layout->addWidget(box_, 0, Qt::AlignTop);
    layout->addWidget(caption_, 1);
}

bool WrappingCheckBox::eventFilter(QObject* watched, QEvent* event) {
    if (watched == caption_ && event->type() == QEvent::MouseButtonRelease && box_->isEnabled() &&
        static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        box_->setFocus(Qt::MouseFocusReason);
        box_->click();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

}  // namespace morvane::gui
