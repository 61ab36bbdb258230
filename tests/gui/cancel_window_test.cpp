// Cancelling a job through the real windows: the progress window's Cancel
// button, Escape and close box, and the main window's close, which asks
// first. The progress window shows the whole job's figures while it runs.
#include <QDir>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include "file_list.h"
#include "frm_status.h"
#include "window_fixture.h"

using namespace morvane;
using namespace morvane::gui;
using namespace morvane::gui::testing;

namespace {

QByteArray noise(int size, std::uint32_t seed) {
    QByteArray bytes(size, '\0');
    std::uint32_t x = seed;
    for (char& c : bytes) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        c = static_cast<char>(x >> 24);
    }
    return bytes;
}

}  // namespace

class CancelWindowTest : public QObject {
    Q_OBJECT

private:
    // Two sources listed to be encrypted, one archive each, with "remove
    // source" checked; their contents.
    static QList<QPair<QString, QByteArray>> listSources(WindowFixture& f) {
        QList<QPair<QString, QByteArray>> sources = {{f.path(QStringLiteral("first.bin")), noise(3 << 20, 7)},
                                                     {f.path(QStringLiteral("second.bin")), noise(2 << 20, 9)}};
        std::string list;
        for (const auto& [path, content] : sources) {
            f.writeFile(QFileInfo(path).fileName(), content);
            list += u8(path) + std::string(kPathListSeparator);
        }
        populateList(f.program.window, list, true);
        f.program.window.txtPassword = f.program.window.txtVerifyPass = "cancel in the window";
        f.program.window.chkDelAfterEnc = true;
        f.window->syncFromModel();
        return sources;
    }

    // The files the job may have made that must not be left: archives,
    // temporary zips, files on their way to their names.
    static QStringList madeFiles(WindowFixture& f) {
        QStringList made;
        for (const QString& name : QDir(f.directory.path()).entryList(QDir::Files | QDir::Hidden))
            if (name.endsWith(QStringLiteral(".enz")) || name.contains(QStringLiteral("~enc~")) ||
                name.startsWith(QStringLiteral(".~mv")))
                made << name;
        return made;
    }

    // Runs the encrypt job and, once the progress window shows the
    // enciphering of the first file, does `act` to it once.
    static void encryptAndAct(WindowFixture& f, const std::function<void(FrmStatus*)>& act) {
        bool acted = false;
        QTimer watch;
        watch.setInterval(1);
        QObject::connect(&watch, &QTimer::timeout, &watch, [&] {
            FrmStatus* status = f.window->statusWindow();
            if (acted || !f.program.window.jobRunning || !status->isVisible()) return;
            if (!f.program.window.lstFiles.empty() && status->windowTitle().startsWith(QStringLiteral("Encrypting "))) {
                acted = true;
                act(status);
            }
        });
        watch.start();
        f.click("cmdEncrypt");
        watch.stop();
        QVERIFY(acted);
    }

    static void checkCancelled(WindowFixture& f, const QList<QPair<QString, QByteArray>>& sources) {
        QCOMPARE(f.dialogs.messageTexts(), QStringList{QStringLiteral("Encryption cancelled by the user.")});
        QCOMPARE(f.dialogs.messages.back().icon, MessageIcon::Information);
        for (const auto& [path, content] : sources) QCOMPARE(WindowFixture::readFile(path), content);
        QCOMPARE(madeFiles(f), QStringList{});
        QVERIFY(!f.window->statusWindow()->isVisible());
        QVERIFY(!f.program.window.jobRunning);
        const QByteArray log = WindowFixture::readFile(f.path(QStringLiteral("morvane.log")));
        QVERIFY2(log.contains(" Encryption cancelled by the user."), log.constData());
    }

private slots:
    void cancelButtonStopsTheJobAndKeepsEverySource() {
        WindowFixture f;
        f.openWindow();
        const auto sources = listSources(f);
        bool disabledAfterClick = false;
        encryptAndAct(f, [&](FrmStatus* status) {
            auto* cancel = control<QPushButton>(status, "cmdCancel");
            QVERIFY(cancel->isVisible() && cancel->isEnabled());
            QCOMPARE(shownText(cancel->text()), QStringLiteral("Cancel"));
            QTest::mouseClick(cancel, Qt::LeftButton);
            disabledAfterClick = !cancel->isEnabled();
        });
        QVERIFY(disabledAfterClick);
        checkCancelled(f, sources);
    }

    void escapeDoesWhatCancelDoes() {
        WindowFixture f;
        f.openWindow();
        const auto sources = listSources(f);
        encryptAndAct(f, [](FrmStatus* status) { QTest::keyClick(status, Qt::Key_Escape); });
        checkCancelled(f, sources);
    }

    void closeBoxDoesWhatCancelDoes() {
        WindowFixture f;
        f.openWindow();
        const auto sources = listSources(f);
        bool stayedOpen = false;
        encryptAndAct(f, [&](FrmStatus* status) {
            status->close();
            stayedOpen = status->isVisible();  // the job closes it once it has stopped
        });
        QVERIFY(stayedOpen);
        checkCancelled(f, sources);
    }

    void closingTheMainWindowDuringAJobAsksAndCancelsOnYes() {
        WindowFixture f;
        f.openWindow();
        const auto sources = listSources(f);
        f.dialogs.answers = {true};
        encryptAndAct(f, [&](FrmStatus*) { f.window->close(); });
        QCOMPARE(f.dialogs.questions.size(), std::size_t{1});
        QCOMPARE(f.dialogs.questions[0].text, qs(kCancelJobQuestion));
        checkCancelled(f, sources);
        QTRY_VERIFY(!f.window->isVisible());  // closed once the job has stopped
    }

    void closingTheMainWindowDuringAJobAndAnsweringNoLetsItFinish() {
        WindowFixture f;
        f.openWindow();
        const auto sources = listSources(f);
        f.dialogs.answers = {false};
        encryptAndAct(f, [&](FrmStatus*) { f.window->close(); });
        QCOMPARE(f.dialogs.questions.size(), std::size_t{1});
        QCOMPARE(f.dialogs.messageTexts(), QStringList{QStringLiteral("Your files have successfully been encrypted.")});
        for (const auto& [path, content] : sources) {
            QVERIFY(!QFile::exists(path));
            QVERIFY(QFile::exists(path + QStringLiteral(".enz")));
        }
        QApplication::processEvents();
        QVERIFY(f.window->isVisible());
    }

    void progressWindowShowsTheWholeJob() {
        WindowFixture f;
        f.openWindow();
        listSources(f);
        QStringList filesShown;
        int overallSeen = 0;
        bool bytesShown = false;
        QTimer watch;
        watch.setInterval(1);
        connect(&watch, &QTimer::timeout, this, [&] {
            FrmStatus* status = f.window->statusWindow();
            if (!status->isVisible()) return;
            const QString file = control<QLabel>(status, "lblFileOfAll")->text();
            if (!file.isEmpty() && (filesShown.isEmpty() || filesShown.last() != file)) filesShown << file;
            overallSeen = std::max(overallSeen, control<QProgressBar>(status, "pbOverall")->value());
            bytesShown =
                bytesShown || control<QLabel>(status, "lblBytes")->text().endsWith(QStringLiteral(" of 5.0 MB"));
        });
        watch.start();
        f.click("cmdEncrypt");
        watch.stop();
        QCOMPARE(filesShown, (QStringList{QStringLiteral("File 1 of 2"), QStringLiteral("File 2 of 2")}));
        QVERIFY2(overallSeen >= 50, qPrintable(QString::number(overallSeen)));
        QVERIFY(bytesShown);
    }

    // The progress window as a screenshot shows it: a step, the whole job's
    // figures and Cancel.
    void progressWindowRendersItsFiguresOffscreen() {
        WindowFixture f;
        ScriptedDialogPresenter dialogs;
        QtUserInterface ui(dialogs);
        std::chrono::steady_clock::time_point now{};
        ProgressWindow progress(ui, [&now] { return now; });
        std::int32_t percent = 0;
        FrmStatus status(progress, percent, f.program.zip);
        progress.beginJob();
        progress.planJob(5, 300ull << 20, 600ull << 20);
        progress.beginFile(2);
        progress.nextStepBytes(200ull << 20);
        progress.dispEncStatus("/home/ann/budget.xls", "Encrypting /home/ann/budget.xls...");
        now += std::chrono::seconds(4);
        percent = 40;
        progress.encTimerTick(percent);
        status.refresh();
        QCOMPARE(control<QLabel>(&status, "lblFileOfAll")->text(), QStringLiteral("File 2 of 5"));
        QCOMPARE(control<QProgressBar>(&status, "pbOverall")->value(), 13);
        QCOMPARE(control<QLabel>(&status, "lblBytes")->text(), QStringLiteral("40.0 MB of 300.0 MB"));
        QCOMPARE(control<QLabel>(&status, "lblSpeed")->text(), QStringLiteral("10.0 MB/s"));
        QCOMPARE(control<QLabel>(&status, "lblTimeLeft")->text(), QStringLiteral("About 26 s left"));
        QVERIFY(control<QPushButton>(&status, "cmdCancel")->isVisible());
        const QImage image = status.grab().toImage();
        QVERIFY(!image.isNull());
        QVERIFY(image.width() >= 420);
        progress.closeWindow();
        status.refresh();
        QVERIFY(!status.isVisible());
    }
};

QTEST_MAIN(CancelWindowTest)
#include "cancel_window_test.moc"
