#pragma once
// A program of its own for each window test: a temporary program directory
// and settings file, the dialogs answered by the test, and the main window.
#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <functional>
#include <memory>

#include "frm_main.h"
#include "qt_text.h"
#include "scripted_dialog_presenter.h"

namespace morvane::gui::testing {

// The control of that object name inside `root`; the test stops when there is none.
template <typename T = QWidget>
T* control(const QObject* root, const char* name) {
    T* found = root->findChild<T*>(QLatin1String(name));
    if (!found) qFatal("no control %s", name);
    return found;
}

struct WindowFixture {
    WindowFixture() : program(u8(directory.path()), u8(directory.path() + QStringLiteral("/registry"))), ui(dialogs) {}

    // The main window, shown, as window mode opens it.
    FrmMain& openWindow() {
        window = std::make_unique<FrmMain>(program, ui);
        window->show();
        QApplication::processEvents();
        return *window;
    }

    QString path(const QString& name) const { return directory.path() + QLatin1Char('/') + name; }

    QString writeFile(const QString& name, const QByteArray& content) const {
        QFile file(path(name));
        file.open(QIODevice::WriteOnly);
        file.write(content);
        return path(name);
    }

    static QByteArray readFile(const QString& path) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) return {};
        return file.readAll();
    }

    template <typename T = QWidget>
    T* child(const char* name) const {
        return control<T>(window.get(), name);
    }

    QAction* action(const char* name) const { return child<QAction>(name); }

    void click(const char* name) const { QTest::mouseClick(child<QAbstractButton>(name), Qt::LeftButton); }

    QTemporaryDir directory;
    Program program;
    ScriptedDialogPresenter dialogs;
    QtUserInterface ui;
    std::unique_ptr<FrmMain> window;
};

// Runs `answer` on the next modal dialog as soon as it shows.
inline void whenModalShows(const std::function<void(QWidget*)>& answer) {
    auto* poll = new QTimer(qApp);
    poll->setInterval(10);
    QObject::connect(poll, &QTimer::timeout, poll, [poll, answer] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal || !modal->isVisible()) return;
        poll->stop();
        poll->deleteLater();
        answer(modal);
    });
    poll->start();
}

// The caption of a control as shown, without its access-key marker.
inline QString shownText(const QString& text) {
    QString shown = text;
    shown.remove(QRegularExpression(QStringLiteral("&(?!&)")));
    return shown;
}

}  // namespace morvane::gui::testing
