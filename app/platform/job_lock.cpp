#include "job_lock.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "file_attributes.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace morvane {

namespace fs = std::filesystem;

namespace {

// The name's full path, its folder resolved through links, so that two
// spellings of one name meet at one lock.
std::string lockKey(const std::string& path) {
    std::error_code ec;
    fs::path full = fs::absolute(fileattr::toPath(path), ec);
    if (ec) full = fileattr::toPath(path);
    fs::path folder = fs::weakly_canonical(full.parent_path(), ec);
    if (ec) folder = full.parent_path();
    return fileattr::fromPath(folder / full.filename());
}

std::string fingerprintText(const std::string& text) {
    std::uint64_t a = 0xcbf29ce484222325ULL, b = 0x84222325cbf29ce4ULL;
    for (const char c : text) {
        a = (a ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
        b = (b ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL + 0x9E3779B97F4A7C15ULL;
    }
    char out[33];
    std::snprintf(out, sizeof out, "%016llx%016llx", static_cast<unsigned long long>(a),
                  static_cast<unsigned long long>(b));
    return out;
}

}  // namespace

#ifdef _WIN32

std::string JobLocks::lockFolder() { return {}; }

JobLocks::Outcome JobLocks::lock(const std::string& path, std::chrono::milliseconds wait) {
    const std::string key = lockKey(path);
    for (const Held& h : held_)
        if (h.key == key) return Outcome::Free;
    const std::string name = "Local\\MorvaneJob" + fingerprintText(key);
    const auto deadline = std::chrono::steady_clock::now() + wait;
    bool waited = false;
    for (;;) {
        HANDLE mutex = CreateMutexA(nullptr, TRUE, name.c_str());
        if (mutex == nullptr) return Outcome::Free;
        if (GetLastError() != ERROR_ALREADY_EXISTS) {
            held_.push_back({key, static_cast<int>(reinterpret_cast<std::intptr_t>(mutex))});
            return waited ? Outcome::FreedWhileWaiting : Outcome::Free;
        }
        CloseHandle(mutex);
        if (std::chrono::steady_clock::now() >= deadline) return Outcome::Busy;
        waited = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

void JobLocks::releaseAll() {
    for (const Held& h : held_) CloseHandle(reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(h.descriptor)));
    held_.clear();
}

#else

std::string JobLocks::lockFolder() { return "/tmp/morvane-" + std::to_string(::getuid()) + "-locks"; }

namespace {

// The lock folder, made owner-only; nothing when it cannot be trusted (not
// a folder of this user's, or open to others).
bool lockFolderReady(const std::string& folder) {
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return false;
    struct stat info {};
    if (::lstat(folder.c_str(), &info) != 0) return false;
    return S_ISDIR(info.st_mode) && info.st_uid == ::getuid() && (info.st_mode & 0077) == 0;
}

}  // namespace

JobLocks::Outcome JobLocks::lock(const std::string& path, std::chrono::milliseconds wait) {
    const std::string key = lockKey(path);
    for (const Held& h : held_)
        if (h.key == key) return Outcome::Free;
    const std::string folder = lockFolder();
    if (!lockFolderReady(folder)) return Outcome::Free;
    const std::string lockPath = folder + "/" + fingerprintText(key) + ".lock";
    const int descriptor = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) return Outcome::Free;
    const auto deadline = std::chrono::steady_clock::now() + wait;
    bool waited = false;
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            ::close(descriptor);
            return Outcome::Free;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            ::close(descriptor);
            return Outcome::Busy;
        }
        waited = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    held_.push_back({key, descriptor});
    return waited ? Outcome::FreedWhileWaiting : Outcome::Free;
}

void JobLocks::releaseAll() {
    for (const Held& h : held_) ::close(h.descriptor);  // closing lets the lock go
    held_.clear();
}

#endif

}  // namespace morvane
