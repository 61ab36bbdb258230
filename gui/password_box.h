#pragma once
// Password boxes show each character as "*", as the program always has.
#include <QLineEdit>

namespace morvane::gui {

inline void maskAsPassword(QLineEdit* box) {
    box->setEchoMode(QLineEdit::Password);
    box->setStyleSheet(QStringLiteral("QLineEdit { lineedit-password-character: 42; }"));
}

}  // namespace morvane::gui
