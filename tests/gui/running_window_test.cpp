// The running window's side of the hand-over, on a real main window: a file
// handed over joins the list of its tab, waits while a job runs, and the
// window comes to the front.
#include "running_window.h"

#include <QDialog>
#include <QFileInfo>
#include <QTest>
#include <QTreeWidget>
#include <atomic>
#include <optional>
#include <string>
#include <thread>

#include "handover_client.h"
#include "window_fixture.h"

using namespace morvane;
using namespace morvane::gui;
using namespace morvane::gui::testing;

class RunningWindowTest : public QObject {
    Q_OBJECT

    // Asks from another thread, as a second start would, while this one
    // lets the window answer.
    static std::optional<std::string> ask(const QString& socket, const Handover& handover) {
        std::optional<std::string> answer;
        std::atomic<bool> done = false;
        std::thread client([&] {
            answer = morvane::testing::askRunningWindow(socket.toStdString(), handoverMessage(handover));
            done = true;
        });
        // The client gives up after its own timeout: this loop always ends.
        while (!done) QTest::qWait(10);
        client.join();
        return answer;
    }
    static QStringList rows(WindowFixture& f) {
        QStringList texts;
        auto* list = f.child<QTreeWidget>("lstFiles");
        for (int i = 0; i < list->topLevelItemCount(); ++i) texts << list->topLevelItem(i)->text(0);
        return texts;
    }

private slots:
    void aRaiseBringsAMinimizedWindowBack() {
        WindowFixture f;
        f.openWindow();
        const QString socket = f.path(QStringLiteral("morvane.sock"));
        RunningWindow running(socket.toStdString());
        QVERIFY(running.listening());
        running.attach(*f.window, f.ui);
        f.window->showMinimized();
        QVERIFY(f.window->isMinimized());
        QCOMPARE(ask(socket, {Handover::Kind::Raise, {}}), std::optional<std::string>("ok"));
        QVERIFY(!f.window->isMinimized());
        QVERIFY(f.window->isVisible());
    }

    void aFileHandedOverDuringAJobWaitsForItsEnd() {
        WindowFixture f;
        f.openWindow();
        const QString archive = f.writeFile(QStringLiteral("letters.enz"), QByteArray(16, 'x'));
        const QString socket = f.path(QStringLiteral("morvane.sock"));
        RunningWindow running(socket.toStdString());
        running.attach(*f.window, f.ui);
        f.program.window.jobRunning = true;
        QCOMPARE(ask(socket, {Handover::Kind::Open, archive.toStdString()}), std::optional<std::string>("ok"));
        QTest::qWait(400);
        QVERIFY(rows(f).isEmpty());
        QCOMPARE(f.program.window.currentTab, kEncryptTab);
        f.program.window.jobRunning = false;
        QTRY_COMPARE(rows(f).size(), 1);
        QCOMPARE(rows(f).front().toLower().trimmed(), archive.toLower() + QStringLiteral(" (encrypted zip)"));
        QCOMPARE(f.child<QTabWidget>("SSTab1")->currentIndex(), kDecryptTab);
    }

    void aStaleSocketOfAnEndedWindowIsReplaced() {
        WindowFixture f;
        f.openWindow();
        const QString socket = f.path(QStringLiteral("morvane.sock"));
        {
            RunningWindow ended(socket.toStdString());
            QVERIFY(ended.listening());
        }
        // A socket file left behind, as by a window that was killed.
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, QFile::encodeName(socket).constData(), sizeof address.sun_path - 1);
        QCOMPARE(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        ::close(fd);
        QVERIFY(QFileInfo::exists(socket));
        RunningWindow running(socket.toStdString());
        QVERIFY(running.listening());
        QCOMPARE(ask(socket, {Handover::Kind::ListQuery, {}}), std::optional<std::string>("starting\n"));
    }
};

QTEST_MAIN(RunningWindowTest)
#include "running_window_test.moc"
