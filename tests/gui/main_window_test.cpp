// The main window through its real widgets: the password fields and the
// encryption strength, the tabs and the shared list frame, the toolbar, the
// popup menu, the Delete key, drops from a file manager, and whole jobs.
#include <QCheckBox>
#include <QClipboard>
#include <QFontMetrics>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTextBrowser>
#include <QToolBar>
#include <QTreeWidget>
#include <QUrl>

#include "clsBlowfish.h"
#include "frm_status.h"
#include "help_window.h"
#include "main_window_start.h"
#include "window_fixture.h"

using namespace morvane;
using namespace morvane::gui;
using namespace morvane::gui::testing;

class MainWindowTest : public QObject {
    Q_OBJECT

private:
    static QString panel(WindowFixture& f, int index) {
        return f.child<QLabel>(qPrintable(QStringLiteral("sbStatusBarPanel%1").arg(index)))->text();
    }
    static void selectTab(WindowFixture& f, int tab) {
        auto* tabs = f.child<QTabWidget>("SSTab1");
        QTest::mouseClick(tabs->tabBar(), Qt::LeftButton, {}, tabs->tabBar()->tabRect(tab).center());
        QCOMPARE(tabs->currentIndex(), tab);
    }
    static QStringList rows(WindowFixture& f) {
        QStringList texts;
        auto* list = f.child<QTreeWidget>("lstFiles");
        for (int i = 0; i < list->topLevelItemCount(); ++i) texts << list->topLevelItem(i)->text(0);
        return texts;
    }
    static void addThroughDialog(WindowFixture& f, const QStringList& files) {
        f.dialogs.openResults.push_back(files);
        f.click("cmdAddFilesDec");
    }

private slots:
    void fiftySixCharactersGiveFourHundredFortyEightBits() {
        WindowFixture f;
        f.openWindow();
        auto* password = f.child<QLineEdit>("txtPassword");
        QTest::keyClicks(password, QString(60, QLatin1Char('k')));
        QCOMPARE(password->text().size(), 56);
        QCOMPARE(panel(f, 3), QStringLiteral("Encryption Strength: 448 Bit "));
        QCOMPARE(f.program.window.txtPassword, std::string(56, 'k'));
        password->clear();
        QTest::keyClicks(password, QStringLiteral("seven  "));
        QCOMPARE(panel(f, 3), QStringLiteral("Encryption Strength: 56 Bit "));
        password->clear();
        QCOMPARE(panel(f, 3), QStringLiteral("Encryption Strength: 0 Bit "));
        QCOMPARE(f.child<QLineEdit>("txtVerifyPass")->maxLength(), 56);
        QCOMPARE(password->echoMode(), QLineEdit::Password);
    }

    void messageTabShowsTheMessageBoxInTheListsPlace() {
        WindowFixture f;
        f.openWindow();
        auto* frame = f.child<QGroupBox>("fraList");
        auto* list = f.child<QTreeWidget>("lstFiles");
        auto* message = f.child<QPlainTextEdit>("txtMessage");
        QCOMPARE(frame->title(), QStringLiteral("Selected Files (right mouse click for addtional options)"));
        selectTab(f, 2);
        QVERIFY(!list->isVisible());
        QVERIFY(message->isVisible());
        QCOMPARE(message->geometry(), list->geometry());
        QCOMPARE(frame->title(), QStringLiteral("Text To Be Encrypted or Decrypted (maximum 50,000 characters)"));
        QVERIFY(message->hasFocus());
        selectTab(f, 0);
        QVERIFY(list->isVisible());
        QVERIFY(!message->isVisible());
        QCOMPARE(frame->title(), QStringLiteral("Selected Files (right mouse click for addtional options)"));
    }

    // Encrypt Now and Decrypt Now (and the list and the message box) take
    // turns in one place: the window keeps its size whatever the order of
    // the tabs.
    void theWindowKeepsItsSizeWhileTabsChange() {
        WindowFixture f;
        f.openWindow();
        auto* window = f.child<QTabWidget>("SSTab1")->window();
        QTest::qWait(20);
        const QSize first = window->size();
        for (const int tab : {2, 0, 1, 2, 1, 0}) {
            selectTab(f, tab);
            QTest::qWait(20);
            QVERIFY2(window->size() == first,
                     qPrintable(QStringLiteral("tab %1: %2x%3").arg(tab).arg(window->width()).arg(window->height())));
        }
    }

    void noStatusPanelIsCutAtTheSmallestWindow() {
        WindowFixture f;
        f.openWindow();
        auto* window = f.child<QTabWidget>("SSTab1")->window();
        QTest::keyClicks(f.child<QLineEdit>("txtPassword"), QString(56, QLatin1Char('k')));
        window->resize(window->minimumSizeHint().boundedTo(window->minimumSize().expandedTo(QSize(1, 1))));
        window->resize(1, 1);  // as small as the window lets itself be made
        QTest::qWait(20);
        for (int i = 1; i <= 3; ++i) {
            auto* panel = f.child<QLabel>(qPrintable(QStringLiteral("sbStatusBarPanel%1").arg(i)));
            const int needed = panel->fontMetrics().horizontalAdvance(panel->text()) + 2 * panel->frameWidth();
            QVERIFY2(panel->width() >= needed, qPrintable(QStringLiteral("panel %1 \"%2\": %3 of %4 pixels")
                                                              .arg(i)
                                                              .arg(panel->text())
                                                              .arg(panel->width())
                                                              .arg(needed)));
        }
    }

    void encryptAndDecryptNowShareOnePlace() {
        WindowFixture f;
        f.openWindow();
        auto* encrypt = f.child<QAbstractButton>("cmdEncrypt");
        auto* decrypt = f.child<QAbstractButton>("cmdDecrypt");
        QVERIFY(encrypt->isVisible() && encrypt->isEnabled());
        QVERIFY(!decrypt->isVisible());
        selectTab(f, 1);
        QVERIFY(!encrypt->isVisible());
        QVERIFY(decrypt->isVisible() && decrypt->isEnabled());
        QCOMPARE(decrypt->geometry(), encrypt->geometry());
        // On the message tab both are disabled and the visible one stays.
        selectTab(f, 2);
        QVERIFY(decrypt->isVisible());
        QVERIFY(!decrypt->isEnabled());
        QVERIFY(!encrypt->isEnabled());
        QVERIFY(!f.child<QAbstractButton>("cmdAddFilesDec")->isEnabled());
        QVERIFY(!f.child<QAbstractButton>("cmdClearDecFiles")->isEnabled());
        selectTab(f, 0);
        selectTab(f, 2);
        QVERIFY(encrypt->isVisible());
        QVERIFY(!encrypt->isEnabled());
    }

    void toolbarHasItsFourKeyedButtons() {
        WindowFixture f;
        f.openWindow();
        const QList<QAction*> buttons = f.child<QToolBar>("Toolbar1")->actions();
        QCOMPARE(buttons.size(), 4);
        const QStringList keys{QStringLiteral("Encrypt"), QStringLiteral("Decrypt"), QStringLiteral("Delete"),
                               QStringLiteral("Help")};
        const QStringList tips{QStringLiteral("Add Files To Encrypt"), QStringLiteral("Add Files To Decrypt"),
                               QStringLiteral("Remove Selected Item From List"), QStringLiteral("Help F1")};
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(buttons[i]->data().toString(), keys[i]);
            QCOMPARE(buttons[i]->toolTip(), tips[i]);
        }
        // Button 3 is enabled exactly while the list has rows.
        QVERIFY(!buttons[2]->isEnabled());
        addThroughDialog(f, {f.writeFile(QStringLiteral("a.txt"), "a")});
        QVERIFY(buttons[2]->isEnabled());
        f.click("cmdClearDecFiles");
        QVERIFY(!buttons[2]->isEnabled());
        QVERIFY(rows(f).isEmpty());
    }

    void toolbarDeleteOnAnEmptyListDoesNothing() {
        WindowFixture f;
        f.openWindow();
        f.action("Toolbar1_Delete")->setEnabled(true);
        f.action("Toolbar1_Delete")->trigger();
        QVERIFY(f.dialogs.questions.empty());
    }

    void toolbarDeleteWithoutASelectedTextDoesNothing() {
        WindowFixture f;
        f.openWindow();
        addThroughDialog(f, {f.writeFile(QStringLiteral("a.txt"), "a"), f.writeFile(QStringLiteral("b.txt"), "b")});
        f.program.window.selectedRow = -1;
        f.window->syncFromModel();
        f.action("Toolbar1_Delete")->trigger();
        QVERIFY(f.dialogs.questions.empty());
        QCOMPARE(rows(f).size(), 2);
    }

    void toolbarDeleteAsksByTabAndRemovesOnYes() {
        WindowFixture f;
        f.openWindow();
        const QString archive = f.writeFile(QStringLiteral("c.enz"), "12345678");
        selectTab(f, 1);
        addThroughDialog(f, {f.writeFile(QStringLiteral("a.txt"), "a"), archive});
        auto* list = f.child<QTreeWidget>("lstFiles");
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->topLevelItem(1)).center());
        const QString itemText = list->topLevelItem(1)->text(0);
        QCOMPARE(panel(f, 1), itemText);
        f.dialogs.answers = {false};
        f.action("Toolbar1_Delete")->trigger();
        QCOMPARE(f.dialogs.questionTexts(), QStringList{QStringLiteral("Are you sure you wish to remove ") + itemText +
                                                        QStringLiteral(" from the items to be decrypted?")});
        QCOMPARE(rows(f).size(), 2);
        f.dialogs.answers = {true};
        f.action("Toolbar1_Delete")->trigger();
        QCOMPARE(rows(f), QStringList{f.path(QStringLiteral("a.txt"))});
        selectTab(f, 0);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->topLevelItem(0)).center());
        f.dialogs.answers = {true};
        f.action("Toolbar1_Delete")->trigger();
        QVERIFY(f.dialogs.questions.back().text.endsWith(QStringLiteral(" from the items to be encrypted?")));
        QVERIFY(rows(f).isEmpty());
    }

    void popupOnAnEmptyListOffersOnlyTheAddItemOfTheTab() {
        WindowFixture f;
        f.openWindow();
        const char* items[] = {"mnuPopupRemove", "mnuPopupClear", "mnuPopupAddtoEnc", "mnuPopupAddtoDec",
                               "mnuPopupSep1",   "mnuPopupEnc",   "mnuPopupDec"};
        auto visibleItems = [&] {
            QStringList shown;
            for (const char* name : items)
                if (f.action(name)->isVisible()) shown << QLatin1String(name);
            return shown;
        };
        f.window->preparePopup();
        QCOMPARE(visibleItems(), QStringList{QStringLiteral("mnuPopupAddtoEnc")});
        selectTab(f, 1);
        f.window->preparePopup();
        QCOMPARE(visibleItems(), QStringList{QStringLiteral("mnuPopupAddtoDec")});

        addThroughDialog(f, {f.writeFile(QStringLiteral("a.txt"), "a")});
        auto* list = f.child<QTreeWidget>("lstFiles");
        list->setCurrentItem(list->topLevelItem(0));
        f.window->preparePopup();
        QCOMPARE(visibleItems(), (QStringList{QStringLiteral("mnuPopupRemove"), QStringLiteral("mnuPopupClear"),
                                              QStringLiteral("mnuPopupAddtoDec"), QStringLiteral("mnuPopupSep1"),
                                              QStringLiteral("mnuPopupDec")}));
        QCOMPARE(f.action("mnuPopupRemove")->text(),
                 QStringLiteral("Remove ") + f.path(QStringLiteral("a.txt")) + QStringLiteral(" From List"));
        QCOMPARE(f.action("mnuPopupDec")->text(), QStringLiteral("Decrypt Selected Files Now"));
        // The remove item takes the row away without asking.
        f.action("mnuPopupRemove")->trigger();
        QVERIFY(rows(f).isEmpty());
        QVERIFY(f.dialogs.questions.empty());
    }

    void deleteKeyRemovesTheSelectedRow() {
        WindowFixture f;
        f.openWindow();
        addThroughDialog(f, {f.writeFile(QStringLiteral("a.txt"), "a"), f.writeFile(QStringLiteral("b.txt"), "bb")});
        auto* list = f.child<QTreeWidget>("lstFiles");
        list->setFocus();
        list->setCurrentItem(list->topLevelItem(0));
        QTest::keyClick(list, Qt::Key_Delete);
        QCOMPARE(rows(f), QStringList{f.path(QStringLiteral("b.txt"))});
        QCOMPARE(panel(f, 1), QStringLiteral("Total items selected: 1  "));
    }

    void addFilesTitleAndFilterFollowTheTab() {
        WindowFixture f;
        f.openWindow();
        f.click("cmdAddFilesDec");
        selectTab(f, 1);
        f.click("cmdAddFilesDec");
        QCOMPARE(f.dialogs.openTitles,
                 (QStringList{QStringLiteral("Add Files to Encrypt"), QStringLiteral("Add Files to Decrypt")}));
        QCOMPARE(f.dialogs.openFilters,
                 (QStringList{QStringLiteral("All Files|*.*"), QStringLiteral("Encrypted Zip Files|*.enz")}));
        // The toolbar keeps the title the dialog last had.
        f.action("Toolbar1_Encrypt")->trigger();
        QCOMPARE(f.dialogs.openTitles.last(), QStringLiteral("Add Files to Decrypt"));
        QCOMPARE(f.dialogs.openFilters.last(), QStringLiteral("All Files|*.*"));
        QCOMPARE(f.child<QTabWidget>("SSTab1")->currentIndex(), 0);
    }

    void menusHaveTheirCaptionsAndAccessKeys() {
        WindowFixture f;
        f.openWindow();
        QStringList titles;
        for (QAction* menu : f.window->menuBar()->actions()) titles << menu->text();
        QCOMPARE(titles, (QStringList{QStringLiteral("&File"), QStringLiteral("&Edit"), QStringLiteral("&View"),
                                      QStringLiteral("&Options"), QStringLiteral("&Help")}));
        QCOMPARE(f.action("mnuEncFiles")->text(), QStringLiteral("&Encrypt Files"));
        QCOMPARE(f.action("mnuDecFiles")->text(), QStringLiteral("&Decrypt Files"));
        QCOMPARE(f.action("mnuClearRecent")->text(), QStringLiteral("Clear Recent Files List"));
        QCOMPARE(f.action("mnuStoredPass")->text(), QStringLiteral("&Stored Passwords"));
        QCOMPARE(f.action("mnuViewLog")->text(), QStringLiteral("&Log File"));
        QCOMPARE(f.action("mnuStartPass")->text(), QStringLiteral("Require Password On Startup"));
        QCOMPARE(f.action("mnuHelpMV")->text(), QStringLiteral("Help on Morvane  F1"));
        QCOMPARE(f.action("mnuAbout")->text(), QStringLiteral("&About Morvane"));
        // Without recent entries the recent part of the File menu is hidden.
        QVERIFY(!f.action("mnuSep1")->isVisible());
        QVERIFY(!f.action("mnuClearRecent")->isVisible());
        QVERIFY(!f.action("mnuRecent0")->isVisible());
    }

    void recentMenuPutsAFileBackOnItsTab() {
        WindowFixture f;
        const QString archive = f.writeFile(QStringLiteral("x&y.enz"), "12345678");
        f.program.recent.updateRecentList(f.program.window, "Decrypt " + u8(archive));
        f.openWindow();
        QVERIFY(f.action("mnuRecent0")->isVisible());
        QVERIFY(f.action("mnuSep1")->isVisible());
        QCOMPARE(shownText(f.action("mnuRecent0")->text()), QStringLiteral("1. Decrypt ") + archive);
        f.action("mnuRecent0")->trigger();
        QCOMPARE(f.child<QTabWidget>("SSTab1")->currentIndex(), 1);
        QCOMPARE(rows(f), QStringList{archive + QStringLiteral(" (encrypted zip)")});
        QVERIFY(f.child<QAbstractButton>("cmdDecrypt")->isVisible());
        f.action("mnuClearRecent")->trigger();
        QVERIFY(!f.action("mnuRecent0")->isVisible());
        QVERIFY(!QFile::exists(f.path(QStringLiteral("recent.lst"))));
    }

    void filesDroppedOnTheListAreAdded() {
        WindowFixture f;
        f.openWindow();
        const QString a = f.writeFile(QStringLiteral("a.txt"), "a");
        const QString b = f.writeFile(QStringLiteral("b.txt"), "b");
        addThroughDialog(f, {a});
        auto* viewport = f.child<QTreeWidget>("lstFiles")->viewport();
        QMimeData data;
        data.setUrls(
            {QUrl::fromLocalFile(a), QUrl::fromLocalFile(b), QUrl::fromLocalFile(f.path(QStringLiteral("gone")))});
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(viewport, &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(viewport, &drop);
        // Duplicates and missing files are passed over, as from the dialog.
        QTRY_COMPARE(rows(f), (QStringList{a, b}));
        QVERIFY(f.dialogs.messageTexts().isEmpty());
    }

    void aFolderDroppedOnTheListIsNamedAndNotAdded() {
        WindowFixture f;
        f.openWindow();
        const QString a = f.writeFile(QStringLiteral("a.txt"), "a");
        const QString folder = f.path(QStringLiteral("holiday photos"));
        QVERIFY(QDir().mkpath(folder));
        auto* viewport = f.child<QTreeWidget>("lstFiles")->viewport();
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(folder), QUrl::fromLocalFile(a)});
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(viewport, &enter);
        QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(viewport, &drop);
        QTRY_COMPARE(rows(f), QStringList{a});
        QCOMPARE(f.dialogs.messageTexts(),
                 QStringList{folder + QStringLiteral(" is a folder. Folders cannot be added to the list; please select "
                                                     "the files in it and then try again.")});
        QCOMPARE(f.dialogs.messages.front().icon, MessageIcon::Exclamation);
    }

    void fOneOpensTheHelp() {
        WindowFixture f;
        f.openWindow();
        f.window->activateWindow();
        QTest::keyClick(f.child<QLineEdit>("txtPassword"), Qt::Key_F1);
        auto* help = f.window->findChild<HelpWindow*>();
        QVERIFY(help);
        QVERIFY(help->isVisible());
        QVERIFY(help->browser()->toPlainText().contains(QStringLiteral("Command-line examples")));
        help->close();
        f.action("Toolbar1_Help")->trigger();
        QVERIFY(f.window->findChild<HelpWindow*>()->isVisible());
    }

    // --- Small faults of the window -------------------------------------------

    void theListShowsTheNewSizesBehindTheSuccessMessage() {
        WindowFixture f;
        f.openWindow();
        const QString a = f.writeFile(QStringLiteral("report.txt"), QByteArray(40000, 'r'));
        addThroughDialog(f, {a});
        QTest::keyClicks(f.child<QLineEdit>("txtPassword"), QStringLiteral("pw"));
        QTest::keyClicks(f.child<QLineEdit>("txtVerifyPass"), QStringLiteral("pw"));
        auto* list = f.child<QTreeWidget>("lstFiles");
        QStringList shownBehind;
        QStringList modelBehind;
        f.dialogs.onMessage = [&](const QString&) {
            for (int i = 0; i < list->topLevelItemCount(); ++i)
                shownBehind << list->topLevelItem(i)->text(0) + QLatin1Char('|') + list->topLevelItem(i)->text(1);
            for (const ListRow& row : f.program.window.lstFiles)
                modelBehind << qs(row.text) + QLatin1Char('|') + qs(row.size);
        };
        f.click("cmdEncrypt");
        QCOMPARE(f.dialogs.messageTexts().size(), 1);
        QVERIFY(f.dialogs.messageTexts().front().endsWith(QStringLiteral("has successfully been encrypted.")));
        QCOMPARE(shownBehind.size(), 1);
        QVERIFY(shownBehind.front().contains(QStringLiteral(".enz")));
        QCOMPARE(shownBehind, modelBehind);
    }

    void theFileNameOfALongPathStaysInView() {
        WindowFixture f;
        f.openWindow();
        const QString deep =
            f.path(QStringLiteral("a rather long folder name for the documents of the year/and "
                                  "another one inside it with more words/and a third"));
        QVERIFY(QDir().mkpath(deep));
        const QString file = deep + QStringLiteral("/annual report 2026.doc");
        QFile(file).open(QIODevice::WriteOnly);
        addThroughDialog(f, {file});
        auto* list = f.child<QTreeWidget>("lstFiles");
        QApplication::processEvents();
        const int width = list->header()->sectionSize(0);
        const QFontMetrics metrics(list->font());
        QVERIFY(metrics.horizontalAdvance(file) > width);  // the path does not fit
        // The text as the list draws it in its column, less the cell's margins.
        const QString shown = metrics.elidedText(list->topLevelItem(0)->text(0), list->textElideMode(), width - 8);
        QVERIFY2(shown.endsWith(QStringLiteral("annual report 2026.doc")), qPrintable(shown));
    }

    void ctrlTabChangesTabsFromTheListAndThePasswordBoxes() {
        WindowFixture f;
        f.openWindow();
        f.window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(f.window.get()));
        auto* tabs = f.child<QTabWidget>("SSTab1");
        auto* list = f.child<QTreeWidget>("lstFiles");
        list->setFocus();
        QTest::keyClick(list, Qt::Key_Tab, Qt::ControlModifier);
        QCOMPARE(tabs->currentIndex(), 1);
        QCOMPARE(f.program.window.currentTab, 1);
        auto* password = f.child<QLineEdit>("txtPassword");
        password->setFocus();
        QTest::keyClick(password, Qt::Key_Tab, Qt::ControlModifier);
        QCOMPARE(tabs->currentIndex(), 2);
        QVERIFY(f.child<QPlainTextEdit>("txtMessage")->isVisible());
        auto* verify = f.child<QLineEdit>("txtVerifyPass");
        verify->setFocus();
        QTest::keyClick(verify, Qt::Key_Tab, Qt::ControlModifier);
        QCOMPARE(tabs->currentIndex(), 0);
        // Backwards with Shift, from the message box too.
        QTest::keyClick(password, Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(tabs->currentIndex(), 2);
        auto* message = f.child<QPlainTextEdit>("txtMessage");
        message->setFocus();
        QTest::keyClick(message, Qt::Key_Tab, Qt::ControlModifier);
        QCOMPARE(tabs->currentIndex(), 0);
        QVERIFY(f.child<QPlainTextEdit>("txtMessage")->toPlainText().isEmpty());
    }

    void wholeFilesJobThroughTheWindow() {
        WindowFixture f;
        f.openWindow();
        QByteArray first(300000, '\0');
        for (int i = 0; i < first.size(); ++i) first[i] = static_cast<char>((i * 7919) % 251);
        const QByteArray second("a second file, short");
        const QString a = f.writeFile(QStringLiteral("first.bin"), first);
        const QString b = f.writeFile(QStringLiteral("second.txt"), second);
        addThroughDialog(f, {a, b});
        QTest::keyClicks(f.child<QLineEdit>("txtPassword"), QStringLiteral("pass word"));
        QTest::keyClicks(f.child<QLineEdit>("txtVerifyPass"), QStringLiteral("pass word"));
        f.child<QAbstractButton>("chkDelAfterEnc")->click();
        QVERIFY(f.program.window.chkDelAfterEnc);

        // While the job runs, the window shows its progress and its commands wait.
        bool sawJobRunning = false;
        bool commandsWaited = true;
        bool statusShown = false;
        QTimer watch;
        watch.setInterval(1);
        connect(&watch, &QTimer::timeout, this, [&] {
            if (!f.program.window.jobRunning) return;
            sawJobRunning = true;
            commandsWaited = commandsWaited && !f.window->menuBar()->isEnabled() &&
                             !f.child<QToolBar>("Toolbar1")->isEnabled() &&
                             !f.child<QAbstractButton>("cmdEncrypt")->isEnabled() &&
                             !f.child<QAbstractButton>("cmdAddFilesDec")->isEnabled();
            statusShown = statusShown || f.window->statusWindow()->isVisible();
        });
        watch.start();
        f.click("cmdEncrypt");
        watch.stop();
        QVERIFY(sawJobRunning);
        QVERIFY(commandsWaited);
        QVERIFY(statusShown);
        QVERIFY(!f.window->statusWindow()->isVisible());
        QVERIFY(f.window->menuBar()->isEnabled());

        QCOMPARE(f.dialogs.messageTexts(), QStringList{QStringLiteral("Your files have successfully been encrypted.")});
        QCOMPARE(rows(f), (QStringList{a + QStringLiteral(".enz (encrypted zip)"),
                                       b + QStringLiteral(".enz (encrypted zip) ")}));
        QVERIFY(!QFile::exists(a));
        QVERIFY(!QFile::exists(b));

        selectTab(f, 1);
        f.click("cmdDecrypt");
        QCOMPARE(f.dialogs.messageTexts().last(), QStringLiteral("Your files successfully been decrypted."));
        QCOMPARE(WindowFixture::readFile(a), first);
        QCOMPARE(WindowFixture::readFile(b), second);
    }

    void messageTabEnciphersToHexAndBackWithTheClipboard() {
        WindowFixture f;
        f.openWindow();
        selectTab(f, 2);
        QTest::keyClicks(f.child<QLineEdit>("txtPassword"), QStringLiteral("letter key"));
        QTest::keyClicks(f.child<QLineEdit>("txtVerifyPass"), QStringLiteral("letter key"));
        auto* message = f.child<QPlainTextEdit>("txtMessage");
        QTest::keyClicks(message, QStringLiteral("Meet me at nine."));
        f.child<QAbstractButton>("chkCopyToClip")->click();
        f.click("encMsg");
        const QString cipher = message->toPlainText();
        QVERIFY(QRegularExpression(QStringLiteral("^([0-9A-F]{2})+$")).match(cipher).hasMatch());
        QVERIFY(cipher.size() >= 32);
        QCOMPARE(QGuiApplication::clipboard()->text(), cipher);
        QCOMPARE(f.dialogs.messages.back().title, QStringLiteral("Success"));
        QCOMPARE(f.dialogs.messages.back().text,
                 QStringLiteral("Your message has been encrypted and copied to the clipboard. You may now paste your "
                                "encrypted message to other applications such as email."));
        f.click("decMsg");
        QCOMPARE(message->toPlainText(), QStringLiteral("Meet me at nine."));
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("Meet me at nine."));
        // Clearing asks first.
        f.dialogs.answers = {true};
        f.click("Command1");
        QCOMPARE(f.dialogs.questionTexts().last(), QStringLiteral("Are you sure you wish to clear your message?"));
        QVERIFY(message->toPlainText().isEmpty());
    }

    void messageBoxTakesFiftyThousandCharacters() {
        WindowFixture f;
        f.openWindow();
        selectTab(f, 2);
        auto* message = f.child<QPlainTextEdit>("txtMessage");
        message->setPlainText(QString(50010, QLatin1Char('m')));
        QCOMPARE(message->toPlainText().size(), 50000);
        QCOMPARE(f.program.window.txtMessage.size(), std::size_t{50000});
    }

    void clickingALongCaptionTicksItsBox() {
        WindowFixture f;
        f.openWindow();
        selectTab(f, 2);
        auto* caption = f.child<QLabel>("chkCopyToClipCaption");
        QVERIFY(caption->text().startsWith(QStringLiteral("Copy Message To Clipboard After Encryption/Decryption. ")));
        QTest::mouseClick(caption, Qt::LeftButton, {}, QPoint(5, 5));
        QVERIFY(f.child<QCheckBox>("chkCopyToClip")->isChecked());
        QVERIFY(f.program.window.chkCopyToClip);
        QTest::mouseClick(caption, Qt::LeftButton, {}, QPoint(5, 5));
        QVERIFY(!f.program.window.chkCopyToClip);
        QCOMPARE(
            f.child<QLabel>("chkCreateOneZipCaption")->text(),
            QStringLiteral("Combine selected files to a single encrypted file.  Recommended for faster encryption."));
    }

    void aLongMessageKeepsItsWholeCipherText() {
        WindowFixture f;
        f.openWindow();
        selectTab(f, 2);
        QTest::keyClicks(f.child<QLineEdit>("txtPassword"), QStringLiteral("pw"));
        QTest::keyClicks(f.child<QLineEdit>("txtVerifyPass"), QStringLiteral("pw"));
        auto* message = f.child<QPlainTextEdit>("txtMessage");
        const QString plain(40000, QLatin1Char('p'));
        message->setPlainText(plain);
        f.click("encMsg");
        // The hexadecimal form is longer than the box lets a person type.
        QVERIFY(message->toPlainText().size() > 80000);
        QCOMPARE(qs(f.program.window.txtMessage), message->toPlainText());
        f.click("decMsg");
        QCOMPARE(message->toPlainText(), plain);
    }

    void loadTimerIsEnabledAtTheEndOfTheLoadAndDisablesItself() {
        WindowFixture f;
        f.program.startupPassword.saveStartupPassword(StartupPassword::marker());
        StartDecision decision;
        decision.route = StartRoute::Window;
        std::unique_ptr<FrmMain> window = openMainWindow(f.program, decision, f.ui);
        QVERIFY(window);
        auto* tmrLoad = control<QTimer>(window.get(), "tmrLoad");
        QVERIFY(tmrLoad->isActive());
        QTRY_VERIFY(!tmrLoad->isActive());
        QTest::qWait(50);
        QVERIFY(!tmrLoad->isActive());
    }

    void editingALongCipherTextKeepsItWhole() {
        WindowFixture f;
        f.openWindow();
        selectTab(f, 2);
        QTest::keyClicks(f.child<QLineEdit>("txtPassword"), QStringLiteral("pw"));
        QTest::keyClicks(f.child<QLineEdit>("txtVerifyPass"), QStringLiteral("pw"));
        auto* message = f.child<QPlainTextEdit>("txtMessage");
        message->setPlainText(QString(29990, QLatin1Char('q')));
        f.click("encMsg");
        const QString cipher = message->toPlainText();
        QCOMPARE(cipher.size(), 60016);
        message->setFocus();
        message->moveCursor(QTextCursor::End);
        QTest::keyClick(message, Qt::Key_Backspace);
        QCOMPARE(message->toPlainText(), cipher.left(60015));
        QCOMPARE(f.program.window.txtMessage.size(), std::size_t{60015});
        // Nothing more can be typed into a text that is over the limit.
        message->moveCursor(QTextCursor::Start);
        QTest::keyClicks(message, QStringLiteral("xy"));
        QCOMPARE(message->toPlainText(), cipher.left(60015));
        QCOMPARE(message->textCursor().position(), 0);
        QCOMPARE(f.program.window.txtMessage.size(), std::size_t{60015});
    }

    void aPasteIsCutToTheRoomLeft() {
        WindowFixture f;
        f.openWindow();
        selectTab(f, 2);
        auto* message = f.child<QPlainTextEdit>("txtMessage");
        QTest::keyClicks(message, QStringLiteral("ab"));
        message->moveCursor(QTextCursor::Start);
        message->insertPlainText(QString(50010, QLatin1Char('m')));
        QCOMPARE(message->toPlainText(), QString(49998, QLatin1Char('m')) + QStringLiteral("ab"));
        QCOMPARE(message->textCursor().position(), 49998);
        QCOMPARE(f.program.window.txtMessage.size(), std::size_t{50000});
    }

    void aLongCipherTextPastedBackFromMailDeciphers() {
        WindowFixture f;
        f.openWindow();
        selectTab(f, 2);
        QTest::keyClicks(f.child<QLineEdit>("txtPassword"), QStringLiteral("pw"));
        QTest::keyClicks(f.child<QLineEdit>("txtVerifyPass"), QStringLiteral("pw"));
        auto* message = f.child<QPlainTextEdit>("txtMessage");
        const QString original = QString(30000, QLatin1Char('q')) + QStringLiteral("\nend");
        message->setPlainText(original);
        f.click("encMsg");
        const QString cipher = message->toPlainText();
        QVERIFY(cipher.size() > 60000);
        QString mailed = QStringLiteral(" ");
        for (int at = 0; at < cipher.size(); at += 76) mailed += cipher.mid(at, 76) + QStringLiteral("\n");
        message->selectAll();
        message->insertPlainText(mailed);
        QCOMPARE(message->toPlainText(), mailed);
        QVERIFY(panel(f, 1).isEmpty() || !panel(f, 1).contains(QStringLiteral("left out")));
        f.click("decMsg");
        QCOMPARE(message->toPlainText(), original);
        QVERIFY(f.dialogs.messageTexts().isEmpty());
    }

    void aPasteThatIsCutSaysSoInTheStatusBar() {
        WindowFixture f;
        f.openWindow();
        selectTab(f, 2);
        auto* message = f.child<QPlainTextEdit>("txtMessage");
        message->insertPlainText(QString(50010, QLatin1Char('m')));
        QCOMPARE(message->toPlainText().size(), 50000);
        QCOMPARE(panel(f, 1), QStringLiteral("The message box holds 50,000 characters: 10 characters of what was typed "
                                             "or pasted were left out."));
    }

    void aMessageOnSeveralLinesIsEncipheredWithCrLf() {
        WindowFixture f;
        f.openWindow();
        selectTab(f, 2);
        QTest::keyClicks(f.child<QLineEdit>("txtPassword"), QStringLiteral("lines"));
        QTest::keyClicks(f.child<QLineEdit>("txtVerifyPass"), QStringLiteral("lines"));
        auto* message = f.child<QPlainTextEdit>("txtMessage");
        QTest::keyClicks(message, QStringLiteral("first"));
        QTest::keyClick(message, Qt::Key_Return);
        QTest::keyClicks(message, QStringLiteral("second"));
        f.click("encMsg");
        clsBlowfish cipher;
        QCOMPARE(qs(cipher.DecryptString(u8(message->toPlainText()), "lines", true)),
                 QStringLiteral("~enc~first\r\nsecond"));
        f.click("decMsg");
        QCOMPARE(message->toPlainText(), QStringLiteral("first\nsecond"));
    }

    void popupWithoutASelectedRowNamesNoRow() {
        WindowFixture f;
        f.openWindow();
        addThroughDialog(f, {f.writeFile(QStringLiteral("a.txt"), "a"), f.writeFile(QStringLiteral("b.txt"), "b")});
        auto* list = f.child<QTreeWidget>("lstFiles");
        list->setCurrentItem(nullptr);
        f.window->preparePopup();
        QAction* remove = f.action("mnuPopupRemove");
        QVERIFY(remove->isVisible());
        QCOMPARE(remove->text(), QStringLiteral("Remove Selected Item From List"));
        QVERIFY(!remove->isEnabled());
        remove->trigger();
        QCOMPARE(rows(f).size(), 2);
        list->setCurrentItem(list->topLevelItem(1));
        f.window->preparePopup();
        QCOMPARE(remove->text(),
                 QStringLiteral("Remove ") + f.path(QStringLiteral("b.txt")) + QStringLiteral(" From List"));
        QVERIFY(remove->isEnabled());
        remove->trigger();
        QCOMPARE(rows(f), QStringList{f.path(QStringLiteral("a.txt"))});
    }

    void aJobStoppedByAMissingFileClosesItsProgressWindow() {
        WindowFixture f;
        f.openWindow();
        const QString a = f.writeFile(QStringLiteral("a.txt"), QByteArray(200000, 'a'));
        const QString gone = f.writeFile(QStringLiteral("gone.txt"), "soon gone");
        addThroughDialog(f, {a, gone});
        QFile::remove(gone);
        QTest::keyClicks(f.child<QLineEdit>("txtPassword"), QStringLiteral("pw"));
        QTest::keyClicks(f.child<QLineEdit>("txtVerifyPass"), QStringLiteral("pw"));
        bool statusShown = false;
        QTimer watch;
        watch.setInterval(1);
        connect(&watch, &QTimer::timeout, this,
                [&] { statusShown = statusShown || f.window->statusWindow()->isVisible(); });
        watch.start();
        f.click("cmdEncrypt");
        watch.stop();
        QVERIFY(statusShown);
        QCOMPARE(f.dialogs.messageTexts(),
                 QStringList{QStringLiteral("Unable to locate ") + gone +
                             QStringLiteral(". Please remove this file from the list of  file to be encrypted and then "
                                            "try again.")});
        QVERIFY(QFile::exists(a + QStringLiteral(".enz")));
        QVERIFY(!f.window->statusWindow()->isVisible());
        QVERIFY(!f.window->jobContext().status.model().loaded);
    }

    void closingTheWindowClosesTheOthers() {
        WindowFixture f;
        f.openWindow();
        f.action("mnuAbout")->trigger();
        QDialog* about = f.window->openDialog();
        QVERIFY(about && about->isVisible());
        QVERIFY(f.window->close());
        QVERIFY(!about->isVisible());
    }
};

QTEST_MAIN(MainWindowTest)
#include "main_window_test.moc"
