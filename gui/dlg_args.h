#pragma once
// dlgArgs: the usage text of a command line that was not understood.
#include <QDialog>

namespace morvane::gui {

class DlgArgs : public QDialog {
    Q_OBJECT
public:
    DlgArgs(const QString& usage, QWidget* parent = nullptr);
};

}  // namespace morvane::gui
