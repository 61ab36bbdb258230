#pragma once
// The person, as the windows meet them: message boxes and file dialogs
// through a DialogPresenter, focus requests by control name, the system
// clipboard, and the event loop kept running during long work.
#include <QPointer>
#include <QWidget>
#include <functional>

#include "dialog_presenter.h"
#include "user_interface.h"

namespace morvane::gui {

class QtUserInterface : public UserInterface {
public:
    explicit QtUserInterface(DialogPresenter& dialogs) : dialogs_(dialogs) {}

    // Message boxes are centred over this window (the active one when unset).
    void setMainWindow(QWidget* window) { mainWindow_ = window; }

    // Called before pending events run during work, so that the windows show
    // the models' latest state.
    void setBeforeEvents(std::function<void()> refresh) { beforeEvents_ = std::move(refresh); }

    void showMessage(std::string_view text, std::string_view title, MessageIcon icon) override;
    bool askYesNo(std::string_view text, std::string_view title) override;
    void setFocus(std::string_view controlName) override;
    std::optional<FileOpenResult> chooseFilesToOpen(const FileOpenRequest& request) override;
    std::optional<std::string> chooseFileToSave(std::string_view title, std::string_view filter) override;
    void clearClipboard() override;
    void setClipboardText(std::string_view text) override;
    void letEventsRun() override;
    void pause(int milliseconds) override;

    using UserInterface::askYesNo;
    using UserInterface::showMessage;

    DialogPresenter& dialogs() { return dialogs_; }
    QWidget* dialogParent() const;

private:
    DialogPresenter& dialogs_;
    QPointer<QWidget> mainWindow_;
    std::function<void()> beforeEvents_;
};

// The classic result of the file-open dialog for a choice of full paths: one
// file is its path; several are their directory, then each name, NUL apart.
FileOpenResult classicOpenResult(const QStringList& files);

}  // namespace morvane::gui
