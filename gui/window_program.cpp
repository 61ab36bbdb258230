#include "window_program.h"

#include <QApplication>
#include <QFileInfo>
#include <QIcon>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "dlg_args.h"
#include "main_window_start.h"
#include "qt_text.h"
#include "running_window.h"
#include "window_handover.h"

namespace morvane {

int runWindowProgram(int& argc, char** argv, Program& program, const std::string& commandLine, StartupHooks hooks) {
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    if (!(platform && *platform) && !displayPresent()) {
        std::fputs(
            "Morvane shows its window in a desktop session, and none was found (DISPLAY and WAYLAND_DISPLAY name "
            "no display).\nCommand-line jobs need none, for example:\n"
            "  morvane -e -pPASSWORD -s/path/file1, /path/file2 -d/path/archive.enz\n"
            "  morvane -d -pPASSWORD -s/path/archive.enz -d/path/output/\n",
            stderr);
        return 1;
    }
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Morvane"));
    QApplication::setDesktopFileName(QStringLiteral("morvane"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/morvane.svg")));
    gui::QtDialogPresenter dialogs;
    gui::QtUserInterface ui(dialogs);

    hooks.askAgreement = [&ui] { return gui::askAgreementInWindow(ui); };
    bool anotherWindow = false;
    if (hooks.anotherInstanceRunning)
        hooks.anotherInstanceRunning = [&anotherWindow, found = hooks.anotherInstanceRunning] {
            anotherWindow = found();
            return anotherWindow;
        };
    const StartDecision decision = runStartup(program, commandLine, hooks);
    if (anotherWindow) {
        // This start ends at once; the window already open takes its file
        // (or only comes to the front).
        gui::handOverToRunningWindow(handoverSocketPath(),
                                     handoverFor(commandLine, std::filesystem::current_path().string()));
        return 0;
    }
    if (decision.route != StartRoute::Window && decision.route != StartRoute::Association) return 0;

    // Listening from here: a file handed over while the startup password
    // is asked waits for the window.
    gui::RunningWindow running(handoverSocketPath());
    std::unique_ptr<gui::FrmMain> window = gui::openMainWindow(program, decision, ui);
    if (!window) return 0;
    window->show();
    running.attach(*window, ui);
    return QApplication::exec();
}

bool displayPresent() {
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    if (platform && *platform) {
        const std::string name = platform;
        // Platforms that draw nowhere a person could see.
        return name.rfind("offscreen", 0) != 0 && name.rfind("minimal", 0) != 0;
    }
    if (const char* wayland = std::getenv("WAYLAND_DISPLAY"); wayland && *wayland) {
        const char* runtime = std::getenv("XDG_RUNTIME_DIR");
        const QString socket = wayland[0] == '/' ? QString::fromLocal8Bit(wayland)
                                                 : QString::fromLocal8Bit(runtime ? runtime : "") + QLatin1Char('/') +
                                                       QString::fromLocal8Bit(wayland);
        if (QFileInfo::exists(socket)) return true;
    }
    if (const char* display = std::getenv("DISPLAY"); display && *display) {
        // ":N" and ":N.S" are local servers with a socket; anything else
        // (a remote display) is trusted as given.
        const QString name = QString::fromLocal8Bit(display);
        if (!name.startsWith(QLatin1Char(':'))) return true;
        const QString number = name.mid(1).section(QLatin1Char('.'), 0, 0);
        return QFileInfo::exists(QStringLiteral("/tmp/.X11-unix/X") + number);
    }
    return false;
}

void showUsageDialog(int& argc, char** argv, const std::string& usage) {
    QApplication application(argc, argv);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/morvane.svg")));
    gui::DlgArgs dialog(gui::qs(usage));
    dialog.exec();
}

}  // namespace morvane
