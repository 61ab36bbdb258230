#pragma once
// frmMain: the program's main window. A thin view over the window model: it
// shows the model, hands every command to the window logic and the jobs,
// and shows the model again.
#include <QMainWindow>
#include <QPointer>
#include <QTimer>
#include <array>
#include <functional>

#include "job_context.h"
#include "progress_window.h"
#include "qt_user_interface.h"
#include "startup.h"

class QAction;
class QGroupBox;
class QLabel;
class QLineEdit;
class QMenu;
class QPlainTextEdit;
class QTabWidget;
class QToolBar;
class QToolButton;
class QTreeWidget;
class QCheckBox;

namespace morvane::gui {

// Asked when the main window is closed while a job runs.
inline constexpr std::string_view kCancelJobQuestion =
    "Morvane is still working on your files. Do you want to cancel the job and close Morvane?";

class FrmStatus;

class FrmMain : public QMainWindow {
    Q_OBJECT
public:
    FrmMain(Program& program, QtUserInterface& ui, QWidget* parent = nullptr);
    ~FrmMain() override;

    MainWindowModel& model() { return program_.window; }
    JobContext& jobContext() { return job_; }
    FrmStatus* statusWindow() const { return frmStatus_; }

    // Shows the model in every control.
    void syncFromModel();

    // Readies mnuEncPopup for the list (which items show, the remove item's
    // caption) without popping it up.
    QMenu* preparePopup();

    // The windows the main window opens; the one open now, or null.
    QDialog* openDialog() const { return openDialog_; }

    // The end of the window's load: tmrLoad is enabled. When it fires it
    // only disables itself.
    void enableLoadTimer();

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildMenus();
    void buildToolbar();
    QWidget* buildCentre();
    QWidget* buildEncryptTab();
    QWidget* buildDecryptTab();
    QWidget* buildMessageTab();
    void buildPopup();
    void buildStatusBar();

    // Runs a command that may start a job: the window's commands wait for it.
    void runJob(const std::function<void()>& job);
    // After a command: the model shown again.
    void command(const std::function<void()>& action);
    void showDialog(QDialog* dialog);

    void openOneZipFile();
    void openDecToDir();
    void openStoredPasswords(bool pickMode);
    void openAddStoredPassword();
    void openSetStartupPassword();
    void viewLogFile();
    void showRows();

    Program& program_;
    QtUserInterface& ui_;
    ProgressWindow status_;
    JobContext job_;
    FrmStatus* frmStatus_ = nullptr;
    bool closeAfterJob_ = false;  // closed during a job: close when it has stopped
    QPointer<QDialog> openDialog_;
    bool syncing_ = false;
    std::vector<ListRow> shownRows_;
    std::string shownMessage_;
    QString shownMessageText_;  // txtMessage's text after its last change
    QTimer* tmrLoad_ = nullptr;

    // Always shown.
    QLineEdit* txtPassword_ = nullptr;
    QLineEdit* txtVerifyPass_ = nullptr;
    QCheckBox* chkStoredPass_ = nullptr;
    QTabWidget* sstab1_ = nullptr;
    QGroupBox* fraList_ = nullptr;
    QTreeWidget* lstFiles_ = nullptr;
    QPlainTextEdit* txtMessage_ = nullptr;
    QToolButton* cmdAddFilesDec_ = nullptr;
    QToolButton* cmdClearDecFiles_ = nullptr;
    QToolButton* cmdEncrypt_ = nullptr;
    QToolButton* cmdDecrypt_ = nullptr;
    // Tab 0.
    QCheckBox* chkCreateOneZip_ = nullptr;
    QLineEdit* txtCombZipFile_ = nullptr;
    QCheckBox* chkDelAfterEnc_ = nullptr;
    QCheckBox* chkHiddenSystemFiles_ = nullptr;
    // Tab 1.
    QCheckBox* chkDontOverwrite_ = nullptr;
    QCheckBox* chkRemoveEncFile_ = nullptr;
    QCheckBox* chkDecOutputDir_ = nullptr;
    QLineEdit* txtDecryptTo_ = nullptr;
    // Tab 2.
    QCheckBox* chkCopyToClip_ = nullptr;
    // Toolbar, status bar, menus.
    QToolBar* toolbar1_ = nullptr;
    QAction* toolbarDelete_ = nullptr;
    std::array<QLabel*, 3> panels_{};
    std::array<QAction*, 10> mnuRecent_{};
    QAction* mnuSep1_ = nullptr;
    QAction* mnuSep2_ = nullptr;
    QAction* mnuClearRecent_ = nullptr;
    QAction* mnuStartPass_ = nullptr;
    QMenu* mnuEncPopup_ = nullptr;
    QAction* mnuPopupRemove_ = nullptr;
    QAction* mnuPopupClear_ = nullptr;
    QAction* mnuPopupAddtoEnc_ = nullptr;
    QAction* mnuPopupAddtoDec_ = nullptr;
    QAction* mnuPopupSep1_ = nullptr;
    QAction* mnuPopupEnc_ = nullptr;
    QAction* mnuPopupDec_ = nullptr;
};

}  // namespace morvane::gui
