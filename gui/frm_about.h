#pragma once
// frmAbout: the product, its version and its copyright warning.
#include <QDialog>

namespace morvane::gui {

class FrmAbout : public QDialog {
    Q_OBJECT
public:
    explicit FrmAbout(QWidget* parent = nullptr);
};

// "Version " and the program's major, minor and revision numbers.
QString versionText();

}  // namespace morvane::gui
