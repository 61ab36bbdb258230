#include "instance_lock.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#endif

namespace morvane {

std::string InstanceLock::defaultPath() {
#ifdef _WIN32
    return "Local\\MorvaneSingleInstance";
#else
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime == '/')
        return std::string(runtime) + "/morvane.lock";
    return (std::filesystem::temp_directory_path() / ("morvane-" + std::to_string(::getuid()) + ".lock")).string();
#endif
}

#ifdef _WIN32

std::unique_ptr<InstanceLock> InstanceLock::acquire(const std::string& path) {
    HANDLE mutex = CreateMutexA(nullptr, TRUE, path.c_str());
    if (mutex == nullptr) return nullptr;
    if (GetLastError() == ERROR_ALREADY_EXISTS) {
        CloseHandle(mutex);
        return nullptr;
    }
    std::unique_ptr<InstanceLock> lock(new InstanceLock());
    lock->handle_ = mutex;
    return lock;
}

InstanceLock::~InstanceLock() {
    if (handle_ != nullptr) CloseHandle(static_cast<HANDLE>(handle_));
}

#else

std::unique_ptr<InstanceLock> InstanceLock::acquire(const std::string& path) {
    std::unique_ptr<InstanceLock> lock(new InstanceLock());
    // A place where no lock can be made must not keep the window from ever
    // opening: then no lock is held, and none is found either.
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) return lock;
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        ::close(descriptor);
        return errno == EWOULDBLOCK ? nullptr : std::move(lock);
    }
    lock->descriptor_ = descriptor;
    return lock;
}

InstanceLock::~InstanceLock() {
    if (descriptor_ >= 0) ::close(descriptor_);  // closing releases the lock
}

#endif

}  // namespace morvane
