// The real program in window mode on the offscreen platform: one window at a
// time, a command-line job beside an open window, and a clear refusal where
// no desktop session is there to show the window in.
#include "window_program.h"

#include "qt_text.h"
#include "settings_store.h"
#include "startup_password.h"

using morvane::gui::u8;

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

class WindowProgramTest : public QObject {
    Q_OBJECT

private:
    // A "-" in a path would split the command line, so the place has none.
    QTemporaryDir base_{QDir::tempPath() + QStringLiteral("/morvanewindowXXXXXX")};
    QString program_;

    morvane::StartupPassword startupPassword() {
        settings_ = std::make_unique<morvane::SettingsStore>(u8(path(QStringLiteral("config/morvane/registry"))));
        return morvane::StartupPassword(*settings_);
    }
    std::unique_ptr<morvane::SettingsStore> settings_;

    QString path(const QString& name) const { return base_.path() + QLatin1Char('/') + name; }

    QProcessEnvironment environment(bool withPlatform) const {
        QProcessEnvironment env;
        env.insert(QStringLiteral("PATH"), qEnvironmentVariable("PATH"));
        env.insert(QStringLiteral("HOME"), path(QStringLiteral("home")));
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), path(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_DATA_HOME"), path(QStringLiteral("data")));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), path(QStringLiteral("runtime")));
        env.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
        for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"})
            if (qEnvironmentVariableIsSet(name)) env.insert(QLatin1String(name), qEnvironmentVariable(name));
        if (withPlatform) env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        return env;
    }

    void start(QProcess& process, const QStringList& arguments, bool withPlatform = true) const {
        process.setProcessEnvironment(environment(withPlatform));
        process.setWorkingDirectory(base_.path());
        process.start(program_, arguments);
        QVERIFY(process.waitForStarted(10000));
    }

    // Whether the process holds a file lock (the one-window lock).
    static bool holdsLock(qint64 pid) {
        QFile locks(QStringLiteral("/proc/locks"));
        if (!locks.open(QIODevice::ReadOnly)) return false;
        const QByteArray needle = " " + QByteArray::number(pid) + " ";
        for (const QByteArray& line : locks.readAll().split('\n'))
            if (line.contains("FLOCK") && line.contains(needle)) return true;
        return false;
    }

private slots:
    void initTestCase() {
        for (const char* dir : {"prog", "home", "config/morvane", "data", "runtime", "src", "arch"})
            QVERIFY(QDir().mkpath(path(QLatin1String(dir))));
        program_ = path(QStringLiteral("prog/morvane"));
        QVERIFY(QFile::copy(QStringLiteral(MORVANE_PROGRAM), program_));
        QFile::setPermissions(program_, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        // The agreement, as an earlier start left it accepted.
        QFile settings(path(QStringLiteral("config/morvane/registry")));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("software\\\\Morvane\tAgreement\taccepted\n");
        settings.close();
        startupPassword().saveStartupPassword(morvane::StartupPassword::marker());
    }

    void aCommandLineJobNeverAsksForTheStartupPassword() {
        startupPassword().saveStartupPassword("Opening");
        auto noPassword =
            qScopeGuard([this] { startupPassword().saveStartupPassword(morvane::StartupPassword::marker()); });
        QFile source(path(QStringLiteral("src/letter.txt")));
        QVERIFY(source.open(QIODevice::WriteOnly));
        source.write("dear ann");
        source.close();
        QProcess job;
        start(job, {QStringLiteral("-e"), QStringLiteral("-ppw"), QStringLiteral("-s") + source.fileName(),
                    QStringLiteral("-d") + path(QStringLiteral("arch/letter")), QStringLiteral("-os")});
        QVERIFY(job.waitForFinished(60000));
        QCOMPARE(job.exitCode(), 0);
        QVERIFY(QFile::exists(path(QStringLiteral("arch/letter.enz"))));
    }

    void aSecondWindowEndsSilentlyAndAJobRunsBesideTheFirst() {
        QProcess first;
        auto stopFirst = qScopeGuard([&first] {
            first.terminate();
            first.waitForFinished(20000);
        });
        start(first, {});
        bool locked = false;
        for (int i = 0; i < 500 && !locked; ++i) {
            QThread::msleep(20);
            locked = holdsLock(first.processId());
            QVERIFY2(first.state() == QProcess::Running, first.readAllStandardError().constData());
        }
        QVERIFY(locked);

        QProcess second;
        start(second, {});
        QVERIFY(second.waitForFinished(20000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QVERIFY(first.state() == QProcess::Running);

        QFile source(path(QStringLiteral("src/note.txt")));
        QVERIFY(source.open(QIODevice::WriteOnly));
        source.write("kept safe");
        source.close();
        QProcess job;
        start(job, {QStringLiteral("-e"), QStringLiteral("-ppw"),
                    QStringLiteral("-s") + path(QStringLiteral("src/note.txt")),
                    QStringLiteral("-d") + path(QStringLiteral("arch/note"))});
        QVERIFY(job.waitForFinished(60000));
        QCOMPARE(job.exitCode(), 0);
        QVERIFY(QFile::exists(path(QStringLiteral("arch/note.enz"))));
    }

    void aDisplayIsPresentOnlyWhereAPersonCouldSeeIt() {
        const QByteArray saved[] = {qgetenv("QT_QPA_PLATFORM"), qgetenv("DISPLAY"), qgetenv("WAYLAND_DISPLAY"),
                                    qgetenv("XDG_RUNTIME_DIR")};
        auto restore = qScopeGuard([&] {
            const char* names[] = {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR"};
            for (int i = 0; i < 4; ++i) saved[i].isNull() ? qunsetenv(names[i]) : qputenv(names[i], saved[i]);
        });
        qunsetenv("DISPLAY");
        qunsetenv("WAYLAND_DISPLAY");
        qputenv("QT_QPA_PLATFORM", "offscreen");
        QVERIFY(!morvane::displayPresent());
        qunsetenv("QT_QPA_PLATFORM");
        QVERIFY(!morvane::displayPresent());
        qputenv("DISPLAY", ":4711");
        QVERIFY(!morvane::displayPresent());
        qputenv("DISPLAY", "remote.example:0");
        QVERIFY(morvane::displayPresent());
        qunsetenv("DISPLAY");
        qputenv("XDG_RUNTIME_DIR", path(QStringLiteral("runtime")).toLocal8Bit());
        qputenv("WAYLAND_DISPLAY", "wayland-9");
        QVERIFY(!morvane::displayPresent());
        QFile socket(path(QStringLiteral("runtime/wayland-9")));
        QVERIFY(socket.open(QIODevice::WriteOnly));
        socket.close();
        QVERIFY(morvane::displayPresent());
        QFile::remove(socket.fileName());
    }

    void withoutADesktopSessionTheWindowIsRefusedClearly() {
        QProcess window;
        start(window, {}, false);
        QVERIFY(window.waitForFinished(20000));
        QCOMPARE(window.exitStatus(), QProcess::NormalExit);
        QCOMPARE(window.exitCode(), 1);
        QVERIFY(window.readAllStandardError().contains("Command-line jobs need none"));
    }
};

QTEST_GUILESS_MAIN(WindowProgramTest)
#include "window_program_test.moc"
