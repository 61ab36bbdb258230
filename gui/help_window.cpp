#include "help_window.h"

#include <QFile>
#include <QKeySequence>
#include <QShortcut>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace morvane::gui {

HelpWindow::HelpWindow(QWidget* parent) : QWidget(parent, Qt::Window) {
    setObjectName(QStringLiteral("frmHelp"));
    setWindowTitle(QStringLiteral("Morvane Help"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    browser_ = new QTextBrowser(this);
    browser_->setObjectName(QStringLiteral("txtHelp"));
    browser_->setOpenExternalLinks(true);
    QFile manual(QStringLiteral(":/help/manual.html"));
    if (manual.open(QIODevice::ReadOnly)) browser_->setHtml(QString::fromUtf8(manual.readAll()));
    layout->addWidget(browser_);
    resize(760, 620);
    auto* close = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    connect(close, &QShortcut::activated, this, &QWidget::close);
}

HelpWindow* showHelp(QWidget* from) {
    QWidget* owner = from ? from->window() : nullptr;
    HelpWindow* help = owner ? owner->findChild<HelpWindow*>(QString(), Qt::FindDirectChildrenOnly) : nullptr;
    if (!help) {
        help = new HelpWindow(owner);
        help->setAttribute(Qt::WA_DeleteOnClose);
    }
    help->show();
    help->raise();
    help->activateWindow();
    return help;
}

void installHelpKey(QWidget* window) {
    auto* key = new QShortcut(QKeySequence(Qt::Key_F1), window);
    key->setObjectName(QStringLiteral("helpKey"));
    key->setContext(Qt::WindowShortcut);
    QObject::connect(key, &QShortcut::activated, window, [window] { showHelp(window); });
}

}  // namespace morvane::gui
