#pragma once
// The running window's side of the hand-over: a local socket in the user's
// runtime directory, open to this user only, through which a second start
// hands its file (or only asks the window to come to the front); and the
// second start's side, which hands over and ends.
#include <QLocalServer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <optional>
#include <string>

#include "window_handover.h"

class QLocalSocket;

namespace morvane::gui {

class FrmMain;

class RunningWindow : public QObject {
    Q_OBJECT
public:
    // Listens on `socketPath` (a stale socket of an instance that ended is
    // replaced: the caller holds the single-instance lock). Files handed over
    // before a window is attached wait for it.
    explicit RunningWindow(const std::string& socketPath, QObject* parent = nullptr);
    ~RunningWindow() override;

    bool listening() const { return server_.isListening(); }

    // The window that takes what is handed over from now on.
    void attach(FrmMain& window, UserInterface& ui);

private:
    void accept();
    void read(QLocalSocket* socket);
    void answer(QLocalSocket* socket, const Handover& handover);
    void takePending();
    void bringToFront();

    QLocalServer server_;
    HandoverQueue queue_;
    QPointer<FrmMain> window_;
    UserInterface* ui_ = nullptr;
    QTimer retry_;  // takes waiting files once a job or a dialog is over
};

// The second start: hands `handover` to the window running on `socketPath`
// and waits briefly for its answer. The answer, or nothing when no window
// took it (none listens, or the socket is not this user's).
std::optional<std::string> handOverToRunningWindow(const std::string& socketPath, const Handover& handover,
                                                   int timeoutMs = 3000);

}  // namespace morvane::gui
