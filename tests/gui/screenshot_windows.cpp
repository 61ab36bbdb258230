// Renders every window and dialog of the program to PNG files, with sample
// content, so that people can look at them: morvane_screenshots OUTPUT_DIR.
#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QThread>
#include <QTimer>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "command_line.h"
#include "dlg_args.h"
#include "dlg_legal.h"
#include "frm_about.h"
#include "frm_dec_to_dir.h"
#include "frm_enter_store_pass.h"
#include "frm_main.h"
#include "frm_one_zip_file.h"
#include "frm_pass_on_startup.h"
#include "frm_status.h"
#include "frm_stored_pass.h"
#include "help_window.h"
#include "qt_text.h"
#include "scripted_dialog_presenter.h"

namespace {

using namespace morvane;
using namespace morvane::gui;

QString outputDirectory;
int failures = 0;

void settle() {
    for (int i = 0; i < 5; ++i) QApplication::processEvents();
}

void save(QWidget* widget, const char* name) {
    widget->show();
    settle();
    const QString path = outputDirectory + QLatin1Char('/') + QLatin1String(name) + QStringLiteral(".png");
    if (!widget->grab().save(path)) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(path));
        ++failures;
        return;
    }
    std::printf("%s\n", qPrintable(path));
}

void writeSample(const QString& path, qint64 size) {
    std::ofstream out(path.toStdString(), std::ios::binary);
    out << std::string(static_cast<std::size_t>(size), 'x');
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: morvane_screenshots OUTPUT_DIR\n");
        return 2;
    }
    QApplication application(argc, argv);
    outputDirectory = QDir(QString::fromLocal8Bit(argv[1])).absolutePath();
    QDir().mkpath(outputDirectory);

    QTemporaryDir home;
    const QString docs = home.path() + QStringLiteral("/documents");
    QDir().mkpath(docs);
    writeSample(docs + QStringLiteral("/annual report 2026.doc"), 48213);
    writeSample(docs + QStringLiteral("/budget.xls"), 1298113);
    writeSample(docs + QStringLiteral("/holiday.jpg"), 3309);
    writeSample(docs + QStringLiteral("/letters.enz"), 220016);

    Program program(u8(home.path()), u8(home.path() + QStringLiteral("/registry")));
    ScriptedDialogPresenter dialogs;
    QtUserInterface ui(dialogs);
    program.passwords.savePasswordFile(true, {}, "mail", "correct horse");
    program.passwords.savePasswordFile(true, {}, "bank", "battery staple");
    program.recent.updateRecentList(program.window, "Encrypt " + u8(docs) + "/budget.xls");
    program.recent.updateRecentList(program.window, "Decrypt " + u8(docs) + "/letters.enz");

    FrmMain window(program, ui);
    window.resize(780, 660);
    program.window.txtPassword = "Secret-password";
    program.window.txtVerifyPass = "Secret-password";
    dialogs.openResults.push_back(QStringList{docs + QStringLiteral("/annual report 2026.doc"),
                                              docs + QStringLiteral("/budget.xls"),
                                              docs + QStringLiteral("/holiday.jpg")});
    QMetaObject::invokeMethod(window.findChild<QObject*>(QStringLiteral("cmdAddFilesDec")), "click");
    window.syncFromModel();
    save(&window, "frmMain-encrypt");

    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("SSTab1"));
    tabs->setCurrentIndex(1);
    save(&window, "frmMain-decrypt");
    tabs->setCurrentIndex(2);
    program.window.txtMessage = "Meet me at the station at nine. Bring the documents.";
    window.syncFromModel();
    save(&window, "frmMain-message");
    tabs->setCurrentIndex(0);

    // The smallest the window can be made: nothing may overlap or be cut.
    const QSize normal = window.size();
    window.resize(1, 1);
    save(&window, "frmMain-minimum");
    tabs->setCurrentIndex(1);
    save(&window, "frmMain-minimum-decrypt");
    tabs->setCurrentIndex(2);
    save(&window, "frmMain-minimum-message");
    tabs->setCurrentIndex(0);
    window.resize(normal);
    settle();

    QMenu* popup = window.preparePopup();
    popup->popup(QPoint(0, 0));
    save(popup, "mnuEncPopup");
    popup->hide();

    // The progress window four seconds into the second of five files, with
    // the whole job's figures and Cancel.
    std::chrono::steady_clock::time_point now{};
    ProgressWindow progress(ui, [&now] { return now; });
    std::int32_t percent = 0;
    FrmStatus status(progress, percent, program.zip);
    progress.beginJob();
    progress.planJob(5, 300ull << 20, 600ull << 20);
    progress.beginFile(2);
    progress.nextStepBytes(200ull << 20);
    progress.dispEncStatus(u8(docs) + "/budget.xls", "Encrypting " + u8(docs) + "/budget.xls...");
    now += std::chrono::seconds(4);
    percent = 42;
    progress.encTimerTick(percent);
    status.refresh();
    save(&status, "frmStatus");
    progress.closeWindow();
    status.refresh();

    program.run.combinedArchivePath = u8(docs) + "/all my files.enz";
    FrmOneZipFile oneZip(ui, program.window, program.run);
    save(&oneZip, "frmOneZipFile");
    oneZip.hide();

    FrmDecToDir decToDir(ui, program.window);
    decToDir.chooseDirectory(docs);
    decToDir.show();
    for (int i = 0; i < 40; ++i) {
        QApplication::processEvents(QEventLoop::AllEvents, 50);
        QThread::msleep(10);
    }
    save(&decToDir, "frmDecToDir");
    // A path being typed into the box under the tree.
    auto* typed = decToDir.findChild<QLineEdit*>(QStringLiteral("txtPath"));
    typed->setText(docs + QStringLiteral("/letters/2026"));
    save(&decToDir, "frmDecToDir-typed");
    decToDir.hide();

    FrmStoredPass storedPass(program.passwords, ui, program.window, false);
    save(&storedPass, "frmStoredPass");
    storedPass.hide();
    FrmStoredPass pickPass(program.passwords, ui, program.window, true);
    save(&pickPass, "frmStoredPass-pick");
    pickPass.hide();

    FrmEnterStorePass addPass(program.passwords, ui, true, {}, {});
    save(&addPass, "frmEnterStorePass-add");
    addPass.hide();
    FrmEnterStorePass editPass(program.passwords, ui, false, "mail", {});
    save(&editPass, "frmEnterStorePass-edit");
    editPass.hide();

    FrmPassOnStartup enterMode(StartupPasswordDialog::Mode::Enter, program.startupPassword, ui, program.window,
                               program.run);
    save(&enterMode, "frmPassOnStartup-enter");
    enterMode.hide();
    FrmPassOnStartup setMode(StartupPasswordDialog::Mode::Set, program.startupPassword, ui, program.window,
                             program.run);
    save(&setMode, "frmPassOnStartup-set");
    setMode.hide();

    DlgLegal legal(ui);
    save(&legal, "dlgLegal");
    legal.hide();
    FrmAbout about;
    save(&about, "frmAbout");
    about.hide();
    DlgArgs args(qs(usageText("Invalid command line arguments.")));
    save(&args, "dlgArgs");
    args.hide();
    HelpWindow help;
    save(&help, "frmHelp");
    help.hide();

    QMessageBox box(QMessageBox::Question, QStringLiteral("Overwrite?"),
                    qs(u8(docs) + "/all my files.enz already exists. Do you wish to overwrite this file?"),
                    QMessageBox::Yes | QMessageBox::No);
    save(&box, "messageBox");
    box.hide();
    return failures == 0 ? 0 : 1;
}
