#include "window_handover.h"

#include <filesystem>

#include "instance_lock.h"
#include "startup.h"

namespace morvane {

namespace {

constexpr std::string_view kRaise = "raise";
constexpr std::string_view kOpen = "open ";
constexpr std::string_view kList = "list";

}  // namespace

std::string handoverMessage(const Handover& handover) {
    std::string message;
    switch (handover.kind) {
        case Handover::Kind::Raise:
            message = kRaise;
            break;
        case Handover::Kind::Open:
            message = std::string(kOpen) + handover.path;
            break;
        case Handover::Kind::ListQuery:
            message = kList;
            break;
    }
    message += kHandoverEnd;
    return message;
}

std::optional<Handover> readHandoverMessage(std::string_view message) {
    if (message == kRaise) return Handover{Handover::Kind::Raise, {}};
    if (message == kList) return Handover{Handover::Kind::ListQuery, {}};
    if (message.starts_with(kOpen) && message.size() > kOpen.size() &&
        message.find(kHandoverEnd) == std::string_view::npos) {
        std::string path(message.substr(kOpen.size()));
        // Only a full path: the running window has a directory of its own.
        if (!std::filesystem::path(path).is_absolute()) return std::nullopt;
        return Handover{Handover::Kind::Open, std::move(path)};
    }
    return std::nullopt;
}

Handover handoverFor(const std::string& commandLine, const std::string& currentDirectory) {
    if (routeFor(commandLine) != StartRoute::Association) return {Handover::Kind::Raise, {}};
    std::string file = associatedFileOf(commandLine);
    if (file.empty()) return {Handover::Kind::Raise, {}};
    const std::filesystem::path path(file);
    if (!path.is_absolute()) file = (std::filesystem::path(currentDirectory) / path).lexically_normal().string();
    return {Handover::Kind::Open, file};
}

std::string handoverSocketPath() {
    std::string path = InstanceLock::defaultPath();
    constexpr std::string_view kLockExtension = ".lock";
    if (path.ends_with(kLockExtension)) path.resize(path.size() - kLockExtension.size());
    return path + ".sock";
}

std::string listAnswer(const MainWindowModel& window) {
    std::string answer = "tab " + std::to_string(window.currentTab) + "\n";
    for (const ListRow& row : window.lstFiles) answer += "file " + row.text + "\n";
    return answer;
}

void HandoverQueue::receive(Handover handover) {
    if (handover.kind == Handover::Kind::Open) pending_.push_back(std::move(handover.path));
}

bool HandoverQueue::takePending(MainWindowModel& window, UserInterface& ui, bool windowBusy) {
    if (windowBusy || pending_.empty()) return false;
    while (!pending_.empty()) {
        const std::string file = std::move(pending_.front());
        pending_.pop_front();
        openAssociatedFile(window, ui, file);
    }
    return true;
}

}  // namespace morvane
