// The dialogs through their real widgets: the destination dialogs, the
// stored-password manager, the startup password, the agreement, the about
// box, and F1 in every one of them.
#include <QCheckBox>
#include <QDialog>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTabWidget>
#include <QTreeView>
#include <QTreeWidget>

#include "clsBlowfish.h"
#include "dlg_args.h"
#include "dlg_legal.h"
#include "frm_about.h"
#include "frm_dec_to_dir.h"
#include "frm_enter_store_pass.h"
#include "frm_one_zip_file.h"
#include "frm_pass_on_startup.h"
#include "frm_stored_pass.h"
#include "help_window.h"
#include "legal_agreement.h"
#include "main_window_start.h"
#include "window_fixture.h"

using namespace morvane;
using namespace morvane::gui;
using namespace morvane::gui::testing;

class DialogsTest : public QObject {
    Q_OBJECT

private:
    template <typename T = QWidget>
    static T* in(QWidget* dialog, const char* name) {
        return control<T>(dialog, name);
    }
    static void press(QWidget* dialog, const char* name) { in<QAbstractButton>(dialog, name)->click(); }
    static void type(QWidget* dialog, const char* name, const QString& text) {
        auto* box = in<QLineEdit>(dialog, name);
        box->clear();
        QTest::keyClicks(box, text);
    }
    static QStringList cells(QTreeWidget* list, int column) {
        QStringList texts;
        for (int i = 0; i < list->topLevelItemCount(); ++i) texts << list->topLevelItem(i)->text(column);
        return texts;
    }

private slots:
    // --- Single Encrypted File and Extract Decrypted Files -------------------

    void typingANameStoresItInTheCurrentDirectory() {
        WindowFixture f;
        f.openWindow();
        QDir::setCurrent(f.directory.path());
        f.child<QAbstractButton>("chkCreateOneZip")->click();
        auto* dialog = qobject_cast<FrmOneZipFile*>(f.window->openDialog());
        QVERIFY(dialog && dialog->isVisible());
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Single Encrypted File"));
        QCOMPARE(shownText(in<QAbstractButton>(dialog, "cmdBrowse")->text()), QStringLiteral("Browse"));
        type(dialog, "txtCombZip", QStringLiteral("backup"));
        press(dialog, "cmdOk");
        QVERIFY(!dialog->isVisible());
        const QString expected = QDir::currentPath() + QStringLiteral("/backup.enz");
        QCOMPARE(qs(f.program.run.combinedArchivePath), expected);
        QCOMPARE(f.child<QLineEdit>("txtCombZipFile")->text(), expected);
        QVERIFY(f.child<QCheckBox>("chkCreateOneZip")->isChecked());
        QVERIFY(f.dialogs.messages.empty());
    }

    void anEmptyNameIsRefusedAndTheDialogStays() {
        WindowFixture f;
        f.openWindow();
        f.child<QAbstractButton>("chkCreateOneZip")->click();
        QDialog* dialog = f.window->openDialog();
        press(dialog, "cmdOk");
        QVERIFY(dialog->isVisible());
        QCOMPARE(f.dialogs.messages.size(), std::size_t{1});
        QCOMPARE(f.dialogs.messages[0].text,
                 QStringLiteral("Please specify an output file that will contain your encrypted files."));
        QCOMPARE(f.dialogs.messages[0].title, QStringLiteral("Invalid Output File"));
        QCOMPARE(dialog->focusWidget(), in<QLineEdit>(dialog, "txtCombZip"));
        // Cancel without a path: the box on the main window goes back to clear.
        press(dialog, "cmdCancel");
        QVERIFY(!dialog->isVisible());
        QVERIFY(!f.child<QCheckBox>("chkCreateOneZip")->isChecked());
    }

    void choosingTheStoredArchiveAgainDoesNotAskAboutOverwriting() {
        WindowFixture f;
        const QString archive = f.writeFile(QStringLiteral("all.enz"), "existing");
        f.program.run.combinedArchivePath = u8(archive);
        f.openWindow();
        f.child<QAbstractButton>("chkCreateOneZip")->click();
        QDialog* dialog = f.window->openDialog();
        QCOMPARE(shownText(in<QAbstractButton>(dialog, "cmdBrowse")->text()), QStringLiteral("Change"));
        f.dialogs.saveResults.push_back(archive);
        press(dialog, "cmdBrowse");
        QCOMPARE(in<QLineEdit>(dialog, "txtCombZip")->text(), archive);
        press(dialog, "cmdOk");
        QVERIFY(f.dialogs.questions.empty());
        QVERIFY(!dialog->isVisible());
        QCOMPARE(f.child<QLineEdit>("txtCombZipFile")->text(), archive);
    }

    void choosingAnotherExistingArchiveAsksAndNoEmptiesTheName() {
        WindowFixture f;
        const QString other = f.writeFile(QStringLiteral("other.enz"), "existing");
        f.openWindow();
        f.child<QAbstractButton>("chkCreateOneZip")->click();
        QDialog* dialog = f.window->openDialog();
        f.dialogs.saveResults.push_back(f.path(QStringLiteral("other")));
        press(dialog, "cmdBrowse");
        QCOMPARE(in<QLineEdit>(dialog, "txtCombZip")->text(), other);
        f.dialogs.answers = {false};
        press(dialog, "cmdOk");
        QCOMPARE(f.dialogs.questions.size(), std::size_t{1});
        QCOMPARE(f.dialogs.questions[0].text,
                 other + QStringLiteral(" already exists. Do you wish to overwrite this file?"));
        QCOMPARE(f.dialogs.questions[0].title, QStringLiteral("Overwrite?"));
        QVERIFY(dialog->isVisible());
        QVERIFY(in<QLineEdit>(dialog, "txtCombZip")->text().isEmpty());
        // Leaving after a choice asks once more; No keeps the dialog open.
        f.dialogs.answers = {false};
        dialog->close();
        QCOMPARE(f.dialogs.questions.back().text,
                 QStringLiteral("Are you sure you do not wish to create a single encrypted zip file?"));
        QCOMPARE(f.dialogs.questions.back().title, QStringLiteral("Cancel"));
        QVERIFY(dialog->isVisible());
        f.dialogs.answers = {true};
        dialog->close();
        QVERIFY(!dialog->isVisible());
        QVERIFY(!f.child<QCheckBox>("chkCreateOneZip")->isChecked());
    }

    void cancellingTheDirectoryDialogAtFirstLeavesTheBoxClear() {
        WindowFixture f;
        f.openWindow();
        f.child<QAbstractButton>("chkDecOutputDir")->click();
        auto* dialog = qobject_cast<FrmDecToDir*>(f.window->openDialog());
        QVERIFY(dialog && dialog->isVisible());
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Extract Decrypted Files"));
        press(dialog, "cmdCancel");
        QVERIFY(!dialog->isVisible());
        QVERIFY(!f.child<QCheckBox>("chkDecOutputDir")->isChecked());
        QVERIFY(!f.program.window.chkDecOutputDir);
    }

    void theDirectoryChosenInTheTreeBecomesTheDestination() {
        WindowFixture f;
        const QString out = f.path(QStringLiteral("out"));
        QDir().mkpath(out);
        f.openWindow();
        f.child<QAbstractButton>("chkDecOutputDir")->click();
        QDialog* dialog = f.window->openDialog();
        auto* tree = in<QTreeView>(dialog, "Dir1");
        auto* model = qobject_cast<QFileSystemModel*>(tree->model());
        tree->setCurrentIndex(model->index(out));
        press(dialog, "cmdOk");
        QCOMPARE(f.child<QLineEdit>("txtDecryptTo")->text(), out);
        QVERIFY(f.child<QCheckBox>("chkDecOutputDir")->isChecked());
        // Change opens it anew on the same directory; Clear empties the box.
        f.click("cmdChangeDest");
        dialog = f.window->openDialog();
        QVERIFY(dialog->isVisible());
        QCOMPARE(in<QLineEdit>(dialog, "txtPath")->text(), out);
        press(dialog, "cmdCancel");
        QVERIFY(f.child<QCheckBox>("chkDecOutputDir")->isChecked());
        f.click("cmdClearDest");
        QVERIFY(f.child<QLineEdit>("txtDecryptTo")->text().isEmpty());
        QVERIFY(!f.child<QCheckBox>("chkDecOutputDir")->isChecked());
    }

    void anUnreadableDirectoryIsRefusedClearly() {
        WindowFixture f;
        f.openWindow();
        MainWindowModel window;
        FrmDecToDir dialog(f.ui, window);
        QVERIFY(!dialog.chooseDirectory(f.path(QStringLiteral("missing"))));
        QCOMPARE(f.dialogs.messages.size(), std::size_t{1});
        QVERIFY(f.dialogs.messages[0].text.startsWith(f.path(QStringLiteral("missing")) +
                                                      QStringLiteral(" cannot be read.")));
        QCOMPARE(f.dialogs.messages[0].icon, MessageIcon::Exclamation);
    }

    void aTypedPathMovesTheTreeAndOkTakesIt() {
        WindowFixture f;
        const QString out = f.path(QStringLiteral("typed out"));
        QDir().mkpath(out);
        f.openWindow();
        f.child<QAbstractButton>("chkDecOutputDir")->click();
        QDialog* dialog = f.window->openDialog();
        auto* path = in<QLineEdit>(dialog, "txtPath");
        QVERIFY(!path->isReadOnly());
        // Under the tree, not beside the buttons.
        QVERIFY(path->geometry().top() > in<QTreeView>(dialog, "Dir1")->geometry().bottom());
        QVERIFY(path->geometry().bottom() < in<QWidget>(dialog, "cmdOk")->geometry().top());
        path->setFocus();
        path->selectAll();
        QTest::keyClicks(path, out);
        auto* tree = in<QTreeView>(dialog, "Dir1");
        auto* model = qobject_cast<QFileSystemModel*>(tree->model());
        QCOMPARE(model->filePath(tree->currentIndex()), out);
        QCOMPARE(path->text(), out);
        QTest::keyClick(path, Qt::Key_Return);
        QVERIFY(!dialog->isVisible());
        QCOMPARE(f.child<QLineEdit>("txtDecryptTo")->text(), out);
        QVERIFY(f.dialogs.questions.empty());
    }

    void aMissingTypedDirectoryIsOfferedToBeMade() {
        WindowFixture f;
        const QString missing = f.path(QStringLiteral("made/for/you"));
        f.openWindow();
        f.child<QAbstractButton>("chkDecOutputDir")->click();
        QDialog* dialog = f.window->openDialog();
        auto* path = in<QLineEdit>(dialog, "txtPath");
        path->setText(missing);
        // No: nothing is made and the dialog stays.
        f.dialogs.answers = {false};
        press(dialog, "cmdOk");
        QCOMPARE(f.dialogs.questions.size(), std::size_t{1});
        QCOMPARE(f.dialogs.questions[0].text,
                 missing + QStringLiteral(" does not exist. Do you wish to create this directory?"));
        QCOMPARE(f.dialogs.questions[0].title, QStringLiteral("Create Directory?"));
        QVERIFY(dialog->isVisible());
        QVERIFY(!QFileInfo::exists(missing));
        // Yes: made, chosen and taken.
        f.dialogs.answers = {true};
        press(dialog, "cmdOk");
        QVERIFY(QFileInfo(missing).isDir());
        QVERIFY(!dialog->isVisible());
        QCOMPARE(f.child<QLineEdit>("txtDecryptTo")->text(), missing);
    }

    void aDirectoryThatCannotBeMadeIsSaid() {
        WindowFixture f;
        const QString file = f.writeFile(QStringLiteral("plain"), "x");
        f.openWindow();
        f.child<QAbstractButton>("chkDecOutputDir")->click();
        QDialog* dialog = f.window->openDialog();
        in<QLineEdit>(dialog, "txtPath")->setText(file + QStringLiteral("/inside"));
        f.dialogs.answers = {true};
        press(dialog, "cmdOk");
        QVERIFY(dialog->isVisible());
        QCOMPARE(f.dialogs.messages.size(), std::size_t{1});
        QVERIFY(f.dialogs.messages[0].text.startsWith(file + QStringLiteral("/inside could not be created: ")));
        QVERIFY(f.program.window.txtDecryptTo.empty());
        // A file is no directory.
        in<QLineEdit>(dialog, "txtPath")->setText(file);
        press(dialog, "cmdOk");
        QVERIFY(dialog->isVisible());
        QVERIFY(f.dialogs.messages.back().text.startsWith(file + QStringLiteral(" is a file, not a directory.")));
    }

    void newFolderMakesAFolderInTheChosenDirectory() {
        WindowFixture f;
        const QString out = f.path(QStringLiteral("out"));
        QDir().mkpath(out);
        f.openWindow();
        MainWindowModel window;
        FrmDecToDir dialog(f.ui, window);
        dialog.show();
        QVERIFY(dialog.chooseDirectory(out));
        press(&dialog, "cmdNewFolder");
        QVERIFY(QFileInfo(out + QStringLiteral("/New Folder")).isDir());
        QCOMPARE(QString::fromStdString(dialog.model().directory), out + QStringLiteral("/New Folder"));
        QCOMPARE(in<QLineEdit>(&dialog, "txtPath")->text(), out + QStringLiteral("/New Folder"));
        // The next one is numbered, beside the first.
        QVERIFY(dialog.chooseDirectory(out));
        press(&dialog, "cmdNewFolder");
        QVERIFY(QFileInfo(out + QStringLiteral("/New Folder (2)")).isDir());
        QCOMPARE(QString::fromStdString(dialog.model().directory), out + QStringLiteral("/New Folder (2)"));
        QVERIFY(f.dialogs.messages.empty());
    }

    // --- Stored passwords ------------------------------------------------------

    void passwordsAreMaskedOneStarACharacter() {
        WindowFixture f;
        f.program.passwords.savePasswordFile(true, {}, "mail", "eight ch");
        f.program.passwords.savePasswordFile(true, {}, "bank", "x");
        f.openWindow();
        f.action("mnuStoredPass")->trigger();
        auto* dialog = qobject_cast<FrmStoredPass*>(f.window->openDialog());
        QVERIFY(dialog && dialog->isVisible());
        auto* list = in<QTreeWidget>(dialog, "lstPass");
        QCOMPARE(cells(list, 0), (QStringList{QStringLiteral("1"), QStringLiteral("2")}));
        QCOMPARE(cells(list, 1), (QStringList{QStringLiteral("mail"), QStringLiteral("bank")}));
        QCOMPARE(cells(list, 2), (QStringList{QStringLiteral("********"), QStringLiteral("*")}));
        in<QCheckBox>(dialog, "chkDisplayPass")->click();
        QCOMPARE(cells(list, 2), (QStringList{QStringLiteral("eight ch"), QStringLiteral("x")}));
        QCOMPARE(shownText(in<QAbstractButton>(dialog, "cmdEdit")->text()), QStringLiteral("Edit Password"));
    }

    void editingWithAWrongCurrentPasswordIsRefusedFirst() {
        WindowFixture f;
        f.program.passwords.savePasswordFile(true, {}, "mail", "old one");
        f.openWindow();
        f.action("mnuStoredPass")->trigger();
        QDialog* list = f.window->openDialog();
        press(list, "cmdEdit");
        QCOMPARE(f.dialogs.messageTexts().last(), QStringLiteral("Please select a password to edit."));
        in<QTreeWidget>(list, "lstPass")->setCurrentItem(in<QTreeWidget>(list, "lstPass")->topLevelItem(0));
        press(list, "cmdEdit");
        auto* editor = list->findChild<FrmEnterStorePass*>();
        QVERIFY(editor && editor->isVisible());
        QCOMPARE(editor->windowTitle(), QStringLiteral("Edit Password"));
        QCOMPARE(in<QLineEdit>(editor, "txtPassName")->text(), QStringLiteral("mail"));
        QVERIFY(in<QLineEdit>(editor, "txtPassCurr")->isVisible());
        QCOMPARE(in<QLabel>(editor, "lblNewPassword")->text(), QStringLiteral("New Password:"));
        type(editor, "txtPassCurr", QStringLiteral("wrong"));
        press(editor, "cmdOk");
        QCOMPARE(f.dialogs.messageTexts().last(),
                 QStringLiteral("Invalid current password. Please verify password and then try again."));
        QVERIFY(editor->isVisible());
        type(editor, "txtPassCurr", QStringLiteral("old one"));
        type(editor, "txtPassNew", QStringLiteral("new one"));
        type(editor, "txtPassVerify", QStringLiteral("new one"));
        press(editor, "cmdOk");
        QCOMPARE(f.dialogs.messageTexts().last(), QStringLiteral("Your password has been changed."));
        QVERIFY(!editor->isVisible());
        QCOMPARE(f.program.passwords.lookupStoredPassword("mail", f.program.run), std::string("new one"));
    }

    void editingCannotRenameAnEntryNorAddOne() {
        WindowFixture f;
        f.program.passwords.savePasswordFile(true, {}, "mail", "old one");
        const QByteArray before = WindowFixture::readFile(f.path(QStringLiteral("mvsp.dat")));
        f.openWindow();
        f.action("mnuStoredPass")->trigger();
        QDialog* list = f.window->openDialog();
        in<QTreeWidget>(list, "lstPass")->setCurrentItem(in<QTreeWidget>(list, "lstPass")->topLevelItem(0));
        press(list, "cmdEdit");
        auto* editor = list->findChild<FrmEnterStorePass*>();
        QVERIFY(editor && editor->isVisible());
        auto* name = in<QLineEdit>(editor, "txtPassName");
        QVERIFY(name->isReadOnly());
        name->setFocus();
        name->selectAll();
        QTest::keyClicks(name, QStringLiteral("post"));
        QCOMPARE(name->text(), QStringLiteral("mail"));
        type(editor, "txtPassCurr", QStringLiteral("wrong"));
        type(editor, "txtPassNew", QStringLiteral("new one"));
        type(editor, "txtPassVerify", QStringLiteral("new one"));
        press(editor, "cmdOk");
        QCOMPARE(f.dialogs.messageTexts().last(),
                 QStringLiteral("Invalid current password. Please verify password and then try again."));
        QVERIFY(!f.dialogs.messageTexts().contains(QStringLiteral("Your password has been changed.")));
        QVERIFY(editor->isVisible());
        QCOMPARE(WindowFixture::readFile(f.path(QStringLiteral("mvsp.dat"))), before);
        QCOMPARE(cells(in<QTreeWidget>(list, "lstPass"), 1), QStringList{QStringLiteral("mail")});
        // Add mode's name box takes a name.
        f.dialogs.answers = {false};
        press(editor, "cmdCancel");
        press(list, "cmdAdd");
        auto* adder = list->findChildren<FrmEnterStorePass*>().last();
        QVERIFY(!in<QLineEdit>(adder, "txtPassName")->isReadOnly());
    }

    void addingAnExistingNameAsksAndNoChangesNothing() {
        WindowFixture f;
        f.program.passwords.savePasswordFile(true, {}, "mail", "first");
        const QByteArray before = WindowFixture::readFile(f.path(QStringLiteral("mvsp.dat")));
        f.openWindow();
        f.action("mnuStoredPass")->trigger();
        QDialog* list = f.window->openDialog();
        press(list, "cmdAdd");
        auto* editor = list->findChild<FrmEnterStorePass*>();
        QCOMPARE(editor->windowTitle(), QStringLiteral("Add Password"));
        QVERIFY(!in<QLineEdit>(editor, "txtPassCurr")->isVisible());
        QCOMPARE(in<QLabel>(editor, "lblNewPassword")->text(), QStringLiteral("Password:"));
        type(editor, "txtPassName", QStringLiteral("mail"));
        type(editor, "txtPassNew", QStringLiteral("second"));
        type(editor, "txtPassVerify", QStringLiteral("second"));
        f.dialogs.answers = {false};
        press(editor, "cmdOk");
        QCOMPARE(f.dialogs.questions.back().text,
                 QStringLiteral(
                     "mail already exists in your stored password database. Do you wish to overwrite this entry?"));
        QCOMPARE(f.dialogs.questions.back().title, QStringLiteral("Overwrite?"));
        QCOMPARE(WindowFixture::readFile(f.path(QStringLiteral("mvsp.dat"))), before);
        QVERIFY(editor->isVisible());
        // Leaving with the changes typed offers to save them; No leaves the file alone.
        f.dialogs.answers = {false};
        press(editor, "cmdCancel");
        QCOMPARE(f.dialogs.questions.back().text, QStringLiteral("Would you like to save your changes?"));
        QCOMPARE(f.dialogs.questions.back().title, QStringLiteral("Save Changes?"));
        QVERIFY(!editor->isVisible());
        QCOMPARE(WindowFixture::readFile(f.path(QStringLiteral("mvsp.dat"))), before);
    }

    void anAddedPasswordShowsInTheList() {
        WindowFixture f;
        f.openWindow();
        f.action("mnuStoredPass")->trigger();
        QDialog* list = f.window->openDialog();
        press(list, "cmdAdd");
        auto* editor = list->findChild<FrmEnterStorePass*>();
        type(editor, "txtPassName", QStringLiteral("mail"));
        type(editor, "txtPassNew", QStringLiteral("typed"));
        type(editor, "txtPassVerify", QStringLiteral("typed"));
        in<QCheckBox>(editor, "chkShowPass")->click();
        QCOMPARE(in<QLineEdit>(editor, "txtPassNew")->echoMode(), QLineEdit::Normal);
        press(editor, "cmdOk");
        QCOMPARE(f.dialogs.messageTexts().last(),
                 QStringLiteral("Your password has been added to the passwords database."));
        QCOMPARE(cells(in<QTreeWidget>(list, "lstPass"), 1), QStringList{QStringLiteral("mail")});
    }

    void deletingAsksThenRemovesEveryEntryOfTheName() {
        WindowFixture f;
        f.program.passwords.savePasswordFile(true, {}, "mail", "a");
        f.program.passwords.savePasswordFile(true, {}, "bank", "b");
        f.program.passwords.savePasswordFile(true, {}, "mail", "c");
        f.openWindow();
        f.action("mnuStoredPass")->trigger();
        QDialog* list = f.window->openDialog();
        auto* rows = in<QTreeWidget>(list, "lstPass");
        rows->setCurrentItem(rows->topLevelItem(0));
        f.dialogs.answers = {true};
        rows->setFocus();
        QTest::keyClick(rows, Qt::Key_Delete);
        QCOMPARE(f.dialogs.questions.back().text,
                 QStringLiteral("Are you sure you wish to remove mail from your password database?"));
        QCOMPARE(f.dialogs.questions.back().title, QStringLiteral("Delete mail"));
        QCOMPARE(f.dialogs.messageTexts().last(), QStringLiteral("mail has been deleted."));
        QCOMPARE(cells(rows, 1), QStringList{QStringLiteral("bank")});
    }

    void pickingAStoredPasswordFillsThePasswordBox() {
        WindowFixture f;
        f.program.passwords.savePasswordFile(true, {}, "mail", "picked one");
        f.openWindow();
        f.child<QAbstractButton>("chkStoredPass")->click();
        auto* list = qobject_cast<FrmStoredPass*>(f.window->openDialog());
        QVERIFY(list && list->isVisible());
        QCOMPARE(shownText(in<QAbstractButton>(list, "cmdEdit")->text()), QStringLiteral("Select"));
        auto* rows = in<QTreeWidget>(list, "lstPass");
        const QPoint row = rows->visualItemRect(rows->topLevelItem(0)).center();
        QTest::mouseClick(rows->viewport(), Qt::LeftButton, {}, row);
        QTest::mouseDClick(rows->viewport(), Qt::LeftButton, {}, row);
        QCOMPARE(f.dialogs.messageTexts(), QStringList{});
        QVERIFY(!list->isVisible());
        QCOMPARE(f.child<QLineEdit>("txtPassword")->text(), QStringLiteral("picked one"));
        QVERIFY(f.child<QCheckBox>("chkStoredPass")->isChecked());
        QCOMPARE(f.child<QLabel>("sbStatusBarPanel3")->text(), QStringLiteral("Encryption Strength: 80 Bit "));
    }

    void aPickedPasswordNeedsNoTypingInVerifyPassword() {
        WindowFixture f;
        f.program.passwords.savePasswordFile(true, {}, "mail", "picked one");
        f.openWindow();
        f.child<QAbstractButton>("chkStoredPass")->click();
        auto* list = qobject_cast<FrmStoredPass*>(f.window->openDialog());
        QVERIFY(list);
        auto* rows = in<QTreeWidget>(list, "lstPass");
        rows->setCurrentItem(rows->topLevelItem(0));
        press(list, "cmdEdit");
        QVERIFY(!list->isVisible());
        QCOMPARE(f.child<QLineEdit>("txtPassword")->text(), QStringLiteral("picked one"));
        QCOMPARE(f.child<QLineEdit>("txtVerifyPass")->text(), QStringLiteral("picked one"));
        // A file job takes the picked password as it is.
        const QString file = f.writeFile(QStringLiteral("letter.txt"), "dear friend");
        f.dialogs.openResults.push_back({file});
        f.click("cmdAddFilesDec");
        f.click("cmdEncrypt");
        QCOMPARE(f.dialogs.messageTexts(), QStringList{file + QStringLiteral(" has successfully been encrypted.")});
        QVERIFY(QFile::exists(file + QStringLiteral(".enz")));
    }

    void linesOfAnotherInstallationAreNoRowsAndOutliveADelete() {
        WindowFixture f;
        f.program.passwords.savePasswordFile(true, {}, "mail", "a");
        clsBlowfish other;
        const std::string foreign = other.EncryptString("theirs--!--secret", "another installation", true);
        QFile file(qs(f.program.passwords.path()));
        QVERIFY(file.open(QIODevice::Append));
        file.write(QByteArray::fromStdString(foreign + "\r\n"));
        file.close();
        f.program.passwords.savePasswordFile(true, {}, "bank", "b");
        f.openWindow();
        f.action("mnuStoredPass")->trigger();
        QDialog* list = f.window->openDialog();
        auto* rows = in<QTreeWidget>(list, "lstPass");
        QCOMPARE(cells(rows, 0), (QStringList{QStringLiteral("1"), QStringLiteral("2")}));
        QCOMPARE(cells(rows, 1), (QStringList{QStringLiteral("mail"), QStringLiteral("bank")}));
        rows->setCurrentItem(rows->topLevelItem(1));
        f.dialogs.answers = {true};
        press(list, "cmdDelete");
        QCOMPARE(f.dialogs.messageTexts().last(), QStringLiteral("bank has been deleted."));
        QCOMPARE(cells(rows, 1), QStringList{QStringLiteral("mail")});
        const QByteArray content = WindowFixture::readFile(qs(f.program.passwords.path()));
        QVERIFY(content.contains(QByteArray::fromStdString("\r\n" + foreign + "\r\n")));
        QCOMPARE(content.count("\r\n"), 2);
    }

    void closingThePickListWithAnEmptyPasswordClearsTheBox() {
        WindowFixture f;
        f.program.passwords.savePasswordFile(true, {}, "mail", "secret");
        f.openWindow();
        f.child<QAbstractButton>("chkStoredPass")->click();
        QDialog* list = f.window->openDialog();
        press(list, "cmdClose");
        QVERIFY(!list->isVisible());
        QVERIFY(!f.child<QCheckBox>("chkStoredPass")->isChecked());
    }

    void withoutStoredPasswordsTheBoxOffersToAddOne() {
        WindowFixture f;
        f.openWindow();
        f.dialogs.answers = {false};
        f.child<QAbstractButton>("chkStoredPass")->click();
        QCOMPARE(f.dialogs.questions.back().text,
                 QStringLiteral("You currently do not have any stored passwords in your password database. Would you "
                                "like to add a password to the password database?"));
        QVERIFY(!f.child<QCheckBox>("chkStoredPass")->isChecked());
        f.dialogs.answers = {true};
        f.child<QAbstractButton>("chkStoredPass")->click();
        auto* editor = qobject_cast<FrmEnterStorePass*>(f.window->openDialog());
        QVERIFY(editor && editor->isVisible());
        QCOMPARE(editor->windowTitle(), QStringLiteral("Add Password"));
    }

    // --- Startup password ------------------------------------------------------

    void aPasswordThatDiffersOnlyInCaseIsRefused() {
        WindowFixture f;
        f.program.startupPassword.saveStartupPassword("Opening");
        FrmPassOnStartup dialog(StartupPasswordDialog::Mode::Enter, f.program.startupPassword, f.ui, f.program.window,
                                f.program.run);
        dialog.show();
        QCOMPARE(in<QLabel>(&dialog, "lblFirst")->text(),
                 QStringLiteral("Please enter in your starup password below:"));
        QCOMPARE(in<QLabel>(&dialog, "lblSecond")->text(),
                 QStringLiteral(
                     "You have set Morvane to require a password to start. Please enter in your password below:"));
        QVERIFY(!in<QLineEdit>(&dialog, "txtStartPassVerify")->isVisible());
        QVERIFY(!in<QFrame>(&dialog, "Line1")->isVisible());
        QCOMPARE(in<QAbstractButton>(&dialog, "cmdCancel")->text(), QStringLiteral("Exit"));
        type(&dialog, "txtStartPass", QStringLiteral("opening"));
        press(&dialog, "cmdOk");
        QCOMPARE(f.dialogs.messageTexts(),
                 QStringList{QStringLiteral("Invalid password, please verify your password and then try again.")});
        QVERIFY(dialog.isVisible());
        type(&dialog, "txtStartPass", QStringLiteral("Opening"));
        press(&dialog, "cmdOk");
        QVERIFY(!dialog.isVisible());
        QVERIFY(dialog.model().passed);
        QVERIFY(!f.program.run.startupCancelled);
    }

    void closingTheEnterDialogWithItsCloseBoxEndsTheProgram() {
        WindowFixture f;
        f.program.startupPassword.saveStartupPassword("Opening");
        StartDecision decision;
        decision.route = StartRoute::Window;
        whenModalShows([](QWidget* modal) {
            QCOMPARE(modal->objectName(), QStringLiteral("frmPassOnStartup"));
            modal->close();
        });
        QVERIFY(openMainWindow(f.program, decision, f.ui) == nullptr);
        QVERIFY(f.program.run.startupCancelled);
    }

    void anAssociatedArchiveAsksForTheStartupPasswordThenOpensTheDecryptTab() {
        WindowFixture f;
        f.program.startupPassword.saveStartupPassword("Opening");
        const QString archive = f.writeFile(QStringLiteral("Letters.ENZ"), "12345678");
        StartDecision decision;
        decision.route = StartRoute::Association;
        decision.associatedFile = u8(archive);
        bool asked = false;
        whenModalShows([&](QWidget* modal) {
            asked = modal->objectName() == QStringLiteral("frmPassOnStartup");
            type(modal, "txtStartPass", QStringLiteral("Opening"));
            press(modal, "cmdOk");
        });
        std::unique_ptr<FrmMain> window = openMainWindow(f.program, decision, f.ui);
        QVERIFY(asked);
        QVERIFY(window);
        QVERIFY(f.program.window.mnuStartPassChecked);
        window->show();
        QCOMPARE(window->findChild<QTabWidget*>(QStringLiteral("SSTab1"))->currentIndex(), 1);
        QVERIFY(window->findChild<QAbstractButton*>(QStringLiteral("cmdDecrypt"))->isVisible());
        QVERIFY(!window->findChild<QAbstractButton*>(QStringLiteral("cmdEncrypt"))->isVisible());
        auto* list = window->findChild<QTreeWidget*>(QStringLiteral("lstFiles"));
        QCOMPARE(list->topLevelItemCount(), 1);
        QVERIFY(list->topLevelItem(0)->text(0).startsWith(archive));
        QVERIFY(window->findChild<QAction*>(QStringLiteral("mnuStartPass"))->isChecked());
    }

    void withoutAStartupPasswordTheWindowOpensAtOnce() {
        WindowFixture f;
        f.program.startupPassword.saveStartupPassword(StartupPassword::marker());
        StartDecision decision;
        decision.route = StartRoute::Association;
        decision.associatedFile = u8(f.path(QStringLiteral("missing.txt")));
        std::unique_ptr<FrmMain> window = openMainWindow(f.program, decision, f.ui);
        QVERIFY(window);
        QCOMPARE(f.program.window.currentTab, 0);
        QVERIFY(f.program.window.lstFiles.empty());
        QVERIFY(f.dialogs.messages.empty());
    }

    void cancellingTheRemovalQuestionKeepsThePassword() {
        WindowFixture f;
        f.openWindow();
        f.action("mnuStartPass")->trigger();
        auto* dialog = qobject_cast<FrmPassOnStartup*>(f.window->openDialog());
        QVERIFY(dialog && dialog->isVisible());
        QVERIFY(in<QLineEdit>(dialog, "txtStartPassVerify")->isVisible());
        press(dialog, "cmdOk");
        QCOMPARE(
            f.dialogs.messageTexts().last(),
            QStringLiteral(
                "Error. The password field cannot be blank. Please enter in a valid password and then try again."));
        type(dialog, "txtStartPass", QStringLiteral("Opening"));
        type(dialog, "txtStartPassVerify", QStringLiteral("Opening"));
        press(dialog, "cmdOk");
        QCOMPARE(f.dialogs.messageTexts().last(), QStringLiteral("Your password has been saved."));
        QVERIFY(!dialog->isVisible());
        QVERIFY(f.action("mnuStartPass")->isChecked());
        QVERIFY(!f.program.run.startupCancelled);

        f.dialogs.answers = {false};
        f.action("mnuStartPass")->trigger();
        QCOMPARE(f.dialogs.questions.back().title, QStringLiteral("Remove Startup Password?"));
        QVERIFY(f.action("mnuStartPass")->isChecked());
        QCOMPARE(f.program.startupPassword.readStartupPassword(), std::string("Opening"));

        f.dialogs.answers = {true};
        f.action("mnuStartPass")->trigger();
        QCOMPARE(f.dialogs.messageTexts().last(), QStringLiteral("Password removed."));
        QVERIFY(!f.action("mnuStartPass")->isChecked());
        QVERIFY(!f.program.startupPassword.passwordRequired());
    }

    // --- Agreement, about box, usage, help -----------------------------------

    void cancellingTheAgreementAndAnsweringNoKeepsItOpen() {
        WindowFixture f;
        DlgLegal dialog(f.ui);
        dialog.show();
        QCOMPARE(in<QPlainTextEdit>(&dialog, "txtAgreement")->toPlainText(), qs(kLegalAgreement));
        f.dialogs.answers = {false};
        press(&dialog, "CancelButton");
        QCOMPARE(f.dialogs.questionTexts(),
                 QStringList{QStringLiteral(
                     "Are you sure you want to exit? If you select yes, you will not be able to run Morvane!")});
        QVERIFY(dialog.isVisible());
        f.dialogs.answers = {false};
        dialog.close();
        QVERIFY(dialog.isVisible());
        f.dialogs.answers = {true};
        press(&dialog, "CancelButton");
        QVERIFY(!dialog.isVisible());
        QVERIFY(!dialog.gfbAgree);
    }

    void decliningTheAgreementEndsBeforeAnyWindowAndAcceptingIsOnce() {
        WindowFixture f;
        StartupHooks hooks;
        int shown = 0;
        hooks.askAgreement = [&] {
            ++shown;
            return askAgreementInWindow(f.ui);
        };
        f.dialogs.answers = {true};
        whenModalShows([](QWidget* modal) { press(modal, "CancelButton"); });
        QCOMPARE(runStartup(f.program, "", hooks).route, StartRoute::End);
        QCOMPARE(shown, 1);

        whenModalShows([](QWidget* modal) { press(modal, "OKButton"); });
        QCOMPARE(runStartup(f.program, "", hooks).route, StartRoute::Window);
        QCOMPARE(shown, 2);
        QCOMPARE(runStartup(f.program, "", hooks).route, StartRoute::Window);
        QCOMPARE(shown, 2);
    }

    void aboutBoxShowsVersionAndWarning() {
        FrmAbout about;
        about.show();
        QCOMPARE(about.windowTitle(), QStringLiteral("About Morvane"));
        QCOMPARE(in<QLabel>(&about, "lblVersion")->text(),
                 QStringLiteral("Version ") + QStringLiteral(MORVANE_VERSION));
        QVERIFY(QRegularExpression(QStringLiteral("^Version \\d+\\.\\d+\\.\\d+$"))
                    .match(in<QLabel>(&about, "lblVersion")->text())
                    .hasMatch());
        QCOMPARE(in<QLabel>(&about, "lblWarning")->text(),
                 QStringLiteral("Warning: This product is protected by copyright law and international treaties. "
                                "Unauthorized reproduction or distribution of this program, or any portion of it, may "
                                "result is severe civil and criminal penalties, and will be prosecuted to the maximum "
                                "extent possible under the law."));
        press(&about, "cmdOk");
        QVERIFY(!about.isVisible());
    }

    void fOneOpensTheHelpInEveryWindow() {
        WindowFixture f;
        f.openWindow();
        std::vector<std::unique_ptr<QWidget>> windows;
        windows.push_back(std::make_unique<DlgLegal>(f.ui));
        windows.push_back(std::make_unique<FrmAbout>());
        windows.push_back(std::make_unique<DlgArgs>(QStringLiteral("usage")));
        windows.push_back(std::make_unique<FrmOneZipFile>(f.ui, f.program.window, f.program.run));
        windows.push_back(std::make_unique<FrmDecToDir>(f.ui, f.program.window));
        windows.push_back(std::make_unique<FrmStoredPass>(f.program.passwords, f.ui, f.program.window, false));
        windows.push_back(std::make_unique<FrmEnterStorePass>(f.program.passwords, f.ui, true, "", nullptr));
        windows.push_back(std::make_unique<FrmPassOnStartup>(
            StartupPasswordDialog::Mode::Set, f.program.startupPassword, f.ui, f.program.window, f.program.run));
        for (const auto& window : windows) {
            window->show();
            QApplication::setActiveWindow(window.get());
            QTest::keyClick(window.get(), Qt::Key_F1);
            auto* help = window->findChild<HelpWindow*>();
            QVERIFY2(help && help->isVisible(), qPrintable(window->objectName()));
            QCOMPARE(help->parentWidget(), window.get());
            help->close();
            window->hide();
        }
    }
};

QTEST_MAIN(DialogsTest)
#include "dialogs_test.moc"
