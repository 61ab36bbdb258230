#pragma once
// One window at a time: the first instance that shows a window holds a lock
// in the user's runtime directory until it ends (however it ends); a second
// one finds the lock taken. Command-line jobs never take it.
#include <memory>
#include <string>

namespace morvane {

class InstanceLock {
public:
    // The lock, or nothing when another instance holds it. Where no lock can
    // be made at all, an empty lock is given: the window still opens.
    static std::unique_ptr<InstanceLock> acquire(const std::string& path = defaultPath());
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    // $XDG_RUNTIME_DIR/morvane.lock, or a per-user file in the temporary directory.
    static std::string defaultPath();

private:
    InstanceLock() = default;
#ifdef _WIN32
    void* handle_ = nullptr;
#else
    int descriptor_ = -1;
#endif
};

}  // namespace morvane
