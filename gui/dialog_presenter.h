#pragma once
// The common dialogs of the program: message boxes, yes/no questions and the
// file dialogs. The windows reach them only through this interface, so that
// tests can answer them instead of a person.
#include <QString>
#include <QStringList>
#include <optional>

#include "user_interface.h"

class QWidget;

namespace morvane::gui {

class DialogPresenter {
public:
    virtual ~DialogPresenter() = default;

    virtual void message(QWidget* parent, const QString& text, const QString& title, MessageIcon icon) = 0;
    // True for Yes.
    virtual bool question(QWidget* parent, const QString& text, const QString& title) = 0;
    // The chosen files (full paths), or nothing when cancelled.
    virtual std::optional<QStringList> openFiles(QWidget* parent, const QString& title, const QString& filter) = 0;
    // The chosen file name, or nothing when cancelled.
    virtual std::optional<QString> saveFile(QWidget* parent, const QString& title, const QString& filter) = 0;
};

// The real dialogs: QMessageBox and QFileDialog.
class QtDialogPresenter : public DialogPresenter {
public:
    void message(QWidget* parent, const QString& text, const QString& title, MessageIcon icon) override;
    bool question(QWidget* parent, const QString& text, const QString& title) override;
    std::optional<QStringList> openFiles(QWidget* parent, const QString& title, const QString& filter) override;
    std::optional<QString> saveFile(QWidget* parent, const QString& title, const QString& filter) override;
};

// "All Files|*.*" and the like, as Qt's file dialogs write a filter:
// "All Files (*)".
QString qtFilter(const QString& classicFilter);

}  // namespace morvane::gui
