#include "dialog_presenter.h"

#include <QFileDialog>
#include <QMessageBox>

namespace morvane::gui {

namespace {

QMessageBox::Icon boxIcon(MessageIcon icon) {
    switch (icon) {
        case MessageIcon::Information:
            return QMessageBox::Information;
        case MessageIcon::Exclamation:
            return QMessageBox::Warning;
        case MessageIcon::Question:
            return QMessageBox::Question;
        case MessageIcon::Critical:
            return QMessageBox::Critical;
        case MessageIcon::None:
            break;
    }
    return QMessageBox::NoIcon;
}

}  // namespace

void QtDialogPresenter::message(QWidget* parent, const QString& text, const QString& title, MessageIcon icon) {
    QMessageBox box(boxIcon(icon), title, text, QMessageBox::Ok, parent);
    box.exec();
}

bool QtDialogPresenter::question(QWidget* parent, const QString& text, const QString& title) {
    QMessageBox box(QMessageBox::Question, title, text, QMessageBox::Yes | QMessageBox::No, parent);
    box.setDefaultButton(QMessageBox::Yes);
    return box.exec() == QMessageBox::Yes;
}

std::optional<QStringList> QtDialogPresenter::openFiles(QWidget* parent, const QString& title, const QString& filter) {
    const QStringList files = QFileDialog::getOpenFileNames(parent, title, QString(), qtFilter(filter));
    if (files.isEmpty()) return std::nullopt;
    return files;
}

std::optional<QString> QtDialogPresenter::saveFile(QWidget* parent, const QString& title, const QString& filter) {
    // The dialog that follows asks about replacing a file itself, in its own words.
    const QString file = QFileDialog::getSaveFileName(parent, title, QString(), qtFilter(filter), nullptr,
                                                      QFileDialog::DontConfirmOverwrite);
    if (file.isEmpty()) return std::nullopt;
    return file;
}

QString qtFilter(const QString& classicFilter) {
    const QStringList parts = classicFilter.split(QLatin1Char('|'));
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QString pattern = parts[i + 1];
        if (pattern == QLatin1String("*.*")) pattern = QStringLiteral("*");
        pattern.replace(QLatin1Char(';'), QLatin1Char(' '));
        filters << parts[i] + QStringLiteral(" (") + pattern + QLatin1Char(')');
    }
    return filters.join(QStringLiteral(";;"));
}

}  // namespace morvane::gui
