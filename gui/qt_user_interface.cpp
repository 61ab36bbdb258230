#include "qt_user_interface.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QTimer>

#include "file_list.h"
#include "qt_text.h"

namespace morvane::gui {

QWidget* QtUserInterface::dialogParent() const {
    if (QWidget* modal = QApplication::activeModalWidget()) return modal;
    if (QWidget* active = QApplication::activeWindow()) return active;
    return mainWindow_;
}

// A message or question is shown over the window as the model has it now
// (a job's renamed rows with their new sizes, say), not as it was last drawn.
void QtUserInterface::showMessage(std::string_view text, std::string_view title, MessageIcon icon) {
    if (beforeEvents_) beforeEvents_();
    dialogs_.message(dialogParent(), qs(text), qs(title), icon);
}

bool QtUserInterface::askYesNo(std::string_view text, std::string_view title) {
    if (beforeEvents_) beforeEvents_();
    return dialogs_.question(dialogParent(), qs(text), qs(title));
}

void QtUserInterface::setFocus(std::string_view controlName) {
    const QString name = qs(controlName);
    // The control of that name in the window the person works in: a dialog
    // in front first, then the main window.
    QList<QWidget*> roots;
    if (QWidget* modal = QApplication::activeModalWidget()) roots << modal;
    if (QWidget* active = QApplication::activeWindow()) roots << active;
    if (mainWindow_) roots << mainWindow_.data();
    for (QWidget* root : roots) {
        if (auto* control = root->findChild<QWidget*>(name)) {
            control->setFocus(Qt::OtherFocusReason);
            return;
        }
    }
}

FileOpenResult classicOpenResult(const QStringList& files) {
    FileOpenResult result;
    if (files.size() == 1) {
        result.fileName = u8(QDir::toNativeSeparators(files.front()));
        return result;
    }
    result.fileName = u8(QDir::toNativeSeparators(QFileInfo(files.front()).absolutePath()));
    for (const QString& file : files) {
        result.fileName.push_back('\0');
        result.fileName += u8(QFileInfo(file).fileName());
    }
    return result;
}

std::optional<FileOpenResult> QtUserInterface::chooseFilesToOpen(const FileOpenRequest& request) {
    const std::optional<QStringList> files = dialogs_.openFiles(dialogParent(), qs(request.title), qs(request.filter));
    if (!files || files->isEmpty()) return std::nullopt;
    if (files->size() > kMaxFilesPerChoice) {
        FileOpenResult tooMany;
        tooMany.bufferTooSmall = true;
        return tooMany;
    }
    return classicOpenResult(*files);
}

std::optional<std::string> QtUserInterface::chooseFileToSave(std::string_view title, std::string_view filter) {
    const std::optional<QString> file = dialogs_.saveFile(dialogParent(), qs(title), qs(filter));
    if (!file) return std::nullopt;
    return u8(QDir::toNativeSeparators(*file));
}

void QtUserInterface::clearClipboard() { QGuiApplication::clipboard()->clear(); }

void QtUserInterface::setClipboardText(std::string_view text) { QGuiApplication::clipboard()->setText(qs(text)); }

void QtUserInterface::letEventsRun() {
    if (beforeEvents_) beforeEvents_();
    QCoreApplication::processEvents(QEventLoop::AllEvents);
}

void QtUserInterface::pause(int milliseconds) {
    if (beforeEvents_) beforeEvents_();
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

}  // namespace morvane::gui
