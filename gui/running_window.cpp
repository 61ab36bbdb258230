#include "running_window.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDialog>
#include <QFile>
#include <QLocalSocket>
#include <QThread>

#include "frm_main.h"
#include "qt_text.h"

#ifndef _WIN32
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace morvane::gui {

namespace {

// How long one message may be: a path, with room to spare.
constexpr qint64 kLongestMessage = 64 * 1024;

// Whether the peer of a connection runs as this user; a socket only this
// user may open makes it so already, and this says it again.
bool peerIsThisUser([[maybe_unused]] QLocalSocket* socket) {
#if defined(__linux__)
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (::getsockopt(static_cast<int>(socket->socketDescriptor()), SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0)
        return false;
    return credentials.uid == ::getuid();
#else
    return true;
#endif
}

// Whether the socket file is this user's: a name in a shared temporary
// directory could have been taken by someone else, who must not learn the
// names of this user's files.
bool socketIsThisUsers([[maybe_unused]] const std::string& path) {
#ifndef _WIN32
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return false;
    return S_ISSOCK(info.st_mode) && info.st_uid == ::getuid();
#else
    return true;
#endif
}

}  // namespace

RunningWindow::RunningWindow(const std::string& socketPath, QObject* parent) : QObject(parent) {
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    const QString name = QFile::decodeName(QByteArray::fromStdString(socketPath));
    if (!server_.listen(name) && server_.serverError() == QAbstractSocket::AddressInUseError) {
        // Left by an instance that ended without closing it; ours now (we
        // hold the lock), unless someone else owns it.
        if (socketIsThisUsers(socketPath)) QLocalServer::removeServer(name);
        server_.listen(name);
    }
    connect(&server_, &QLocalServer::newConnection, this, &RunningWindow::accept);
    retry_.setInterval(250);
    connect(&retry_, &QTimer::timeout, this, &RunningWindow::takePending);
}

RunningWindow::~RunningWindow() { server_.close(); }

void RunningWindow::attach(FrmMain& window, UserInterface& ui) {
    window_ = &window;
    ui_ = &ui;
    takePending();
}

void RunningWindow::accept() {
    while (QLocalSocket* socket = server_.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        if (!peerIsThisUser(socket)) {
            socket->abort();
            continue;
        }
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { read(socket); });
        read(socket);
    }
}

void RunningWindow::read(QLocalSocket* socket) {
    for (;;) {
        const QByteArray waiting = socket->peek(kLongestMessage + 1);
        const qsizetype end = waiting.indexOf(kHandoverEnd);
        if (end < 0) {
            if (waiting.size() > kLongestMessage) socket->abort();
            return;
        }
        const QByteArray message = socket->read(end + 1).chopped(1);
        const std::optional<Handover> handover = readHandoverMessage(message.toStdString());
        if (!handover) {
            socket->abort();
            return;
        }
        answer(socket, *handover);
    }
}

void RunningWindow::answer(QLocalSocket* socket, const Handover& handover) {
    std::string reply = "ok";
    switch (handover.kind) {
        case Handover::Kind::ListQuery:
            reply = window_ ? listAnswer(window_->model()) : std::string("starting\n");
            break;
        case Handover::Kind::Open:
            queue_.receive(handover);
            takePending();
            bringToFront();
            break;
        case Handover::Kind::Raise:
            bringToFront();
            break;
    }
    reply += kHandoverEnd;
    socket->write(reply.data(), static_cast<qint64>(reply.size()));
    socket->flush();
}

void RunningWindow::takePending() {
    if (!window_ || !ui_) return;
    // While a job runs or a dialog is open the window's commands wait, and
    // so do the files handed over.
    const bool busy =
        window_->model().jobRunning || QApplication::activeModalWidget() != nullptr || window_->openDialog() != nullptr;
    if (queue_.takePending(window_->model(), *ui_, busy)) window_->syncFromModel();
    if (queue_.hasPending())
        retry_.start();
    else
        retry_.stop();
}

void RunningWindow::bringToFront() {
    if (!window_) return;
    window_->setWindowState((window_->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    window_->show();
    window_->raise();
    window_->activateWindow();
}

std::optional<std::string> handOverToRunningWindow(const std::string& socketPath, const Handover& handover,
                                                   int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    QLocalSocket socket;
    const QString name = QFile::decodeName(QByteArray::fromStdString(socketPath));
    // The running window may still be starting: it listens once its start-up is done.
    for (;;) {
        if (socketIsThisUsers(socketPath)) {
            socket.connectToServer(name);
            if (socket.waitForConnected(static_cast<int>(std::max<qint64>(deadline.remainingTime(), 1)))) break;
        }
        if (deadline.hasExpired()) return std::nullopt;
        QThread::msleep(50);
    }
    const std::string message = handoverMessage(handover);
    socket.write(message.data(), static_cast<qint64>(message.size()));
    if (!socket.waitForBytesWritten(static_cast<int>(std::max<qint64>(deadline.remainingTime(), 1))))
        return std::nullopt;
    QByteArray reply;
    while (!reply.contains(kHandoverEnd)) {
        if (deadline.hasExpired() || !socket.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
            return std::nullopt;
        reply += socket.readAll();
    }
    socket.disconnectFromServer();
    return reply.left(reply.indexOf(kHandoverEnd)).toStdString();
}

}  // namespace morvane::gui
