#pragma once
// The help window: the user manual, compiled into the program, in a browser
// with contents links. F1 opens it from every window of the program.
#include <QWidget>

class QTextBrowser;

namespace morvane::gui {

class HelpWindow : public QWidget {
    Q_OBJECT
public:
    explicit HelpWindow(QWidget* parent = nullptr);

    QTextBrowser* browser() const { return browser_; }

private:
    QTextBrowser* browser_;
};

// Shows the help window over the window `from` belongs to. It is that
// window's own child, so a modal dialog in front does not block it.
HelpWindow* showHelp(QWidget* from);

// F1 in `window` (and every control in it) shows the help.
void installHelpKey(QWidget* window);

}  // namespace morvane::gui
