#pragma once
// Talking to a running window's hand-over socket from a test, as a second
// start does, with plain sockets: one message, then its answer.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <string>

#include "window_handover.h"

namespace morvane::testing {

// Sends `message` (its end byte included) and reads the answer up to its end
// byte; nothing when no window listens there or none answered in time.
inline std::optional<std::string> askRunningWindow(const std::string& socketPath, const std::string& message,
                                                   std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return std::nullopt;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::send(fd, message.data(), message.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(message.size())) {
        ::close(fd);
        return std::nullopt;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::string answer;
    while (answer.find(kHandoverEnd) == std::string::npos) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd waiting{fd, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&waiting, 1, static_cast<int>(left.count())) <= 0) break;
        char buffer[4096];
        const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
        if (got <= 0) break;
        answer.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(fd);
    const auto end = answer.find(kHandoverEnd);
    if (end == std::string::npos) return std::nullopt;
    return answer.substr(0, end);
}

}  // namespace morvane::testing
