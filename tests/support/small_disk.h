#pragma once
// A small disk for tests of full disks: a tmpfs mounted for one test (which
// needs root), unmounted when the test ends however it ends.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>

namespace morvane::testing {

// A small disk of its own: a tmpfs mounted for one test, unmounted when the
// test ends however it ends. A filler file takes all its space but what a
// step leaves free.
class SmallDisk {
public:
    SmallDisk() = default;
    ~SmallDisk() {
        if (mounted_) ::umount2(path_.c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool mount(const std::string& path, const std::string& size) {
        path_ = path;
        std::error_code ec;
        std::filesystem::create_directories(path, ec);
        const std::string options = "size=" + size + ",mode=0755";
        if (::mount("tmpfs", path.c_str(), "tmpfs", 0, options.c_str()) != 0) {
            error_ = std::strerror(errno);
            return false;
        }
        mounted_ = true;
        return true;
    }
    const std::string& error() const { return error_; }
    const std::string& path() const { return path_; }
    std::string filler() const { return path_ + "/filler"; }

    std::uint64_t freeBytes() const {
        struct statvfs info {};
        if (::statvfs(path_.c_str(), &info) != 0) return 0;
        return static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
    }

    // Fills the disk until only `leave` bytes (whole pages) are free, or as
    // near as it comes. The free space left.
    std::uint64_t fillLeaving(std::uint64_t leave) {
        const std::uint64_t free = freeBytes();
        if (free > leave) {
            const int file = ::open(filler().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
            if (file >= 0) {
                const std::string block(65536, 'F');
                std::uint64_t left = free - leave;
                while (left > 0) {
                    const std::size_t chunk = static_cast<std::size_t>(std::min<std::uint64_t>(left, block.size()));
                    const ssize_t written = ::write(file, block.data(), chunk);
                    if (written <= 0) break;
                    left -= static_cast<std::uint64_t>(written);
                }
                ::close(file);
            }
        }
        return freeBytes();
    }
    void removeFiller() const { ::unlink(filler().c_str()); }

    // Everything on the disk removed.
    void clear() const {
        std::error_code ec;
        for (const auto& entry : std::filesystem::directory_iterator(path_, ec))
            std::filesystem::remove_all(entry.path(), ec);
    }

private:
    std::string path_;
    std::string error_;
    bool mounted_ = false;
};

}  // namespace morvane::testing
