#pragma once
// The OK and Cancel buttons along the bottom of a dialog, by their control
// names cmdOk and cmdCancel; OK is the default button.
#include <QHBoxLayout>
#include <QPushButton>

namespace morvane::gui {

struct DialogButtons {
    QHBoxLayout* row;
    QPushButton* ok;
    QPushButton* cancel;
};

// `leading` (when given) takes the free room at the left of the row.
inline DialogButtons okCancelButtons(QWidget* dialog, const QString& cancelCaption = QStringLiteral("Cancel"),
                                     QWidget* leading = nullptr) {
    DialogButtons buttons{new QHBoxLayout, new QPushButton(QStringLiteral("OK"), dialog),
                          new QPushButton(cancelCaption, dialog)};
    buttons.ok->setObjectName(QStringLiteral("cmdOk"));
    buttons.ok->setDefault(true);
    buttons.cancel->setObjectName(QStringLiteral("cmdCancel"));
    if (leading)
        buttons.row->addWidget(leading, 1);
    else
        buttons.row->addStretch(1);
    buttons.row->addWidget(buttons.ok);
    buttons.row->addWidget(buttons.cancel);
    return buttons;
}

}  // namespace morvane::gui
