#pragma once
// dlgLegal: the use agreement a person accepts once, at the first start.
#include <QDialog>

#include "user_interface.h"

namespace morvane::gui {

class DlgLegal : public QDialog {
    Q_OBJECT
public:
    explicit DlgLegal(UserInterface& ui, QWidget* parent = nullptr);

    bool gfbAgree = false;

    void done(int result) override;

private:
    UserInterface& ui_;
};

}  // namespace morvane::gui
