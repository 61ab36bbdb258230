#include "folder.h"

#include <cerrno>
#include <filesystem>
#include <mutex>

#include "failure_points.h"
#include "file_attributes.h"
#include "safe_file.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace morvane {

namespace fs = std::filesystem;

std::optional<std::uint64_t> freeSpaceAt(const std::string& path) {
    std::error_code ec;
    const fs::space_info space = fs::space(fileattr::toPath(path.empty() ? std::string(".") : path), ec);
    if (ec) return std::nullopt;
    return static_cast<std::uint64_t>(space.available);
}

std::vector<std::string> makeMissingFolders(const std::string& path, std::string& error) {
    std::vector<std::string> made;
    std::error_code ec;
    std::vector<fs::path> missing;
    for (fs::path p = fileattr::toPath(path); !p.empty() && !fs::exists(fs::symlink_status(p, ec));
         p = p.parent_path()) {
        missing.push_back(p);
        if (p == p.parent_path()) break;
    }
    for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
        if (!fs::create_directory(*it, ec) && ec) {
            error = fileattr::fromPath(*it) + ": " + ec.message();
            break;
        }
        made.push_back(fileattr::fromPath(*it));
    }
    return made;
}

void removeEmptyFolders(const std::vector<std::string>& folders) {
    for (auto it = folders.rbegin(); it != folders.rend(); ++it) {
        std::error_code ec;
        if (fs::is_empty(fileattr::toPath(*it), ec) && !ec) fs::remove(fileattr::toPath(*it), ec);
    }
}

#ifndef _WIN32

bool FileDescriptor::close() {
    if (descriptor_ < 0) return true;
    const bool closed = ::close(descriptor_) == 0;
    descriptor_ = -1;
    return closed;
}

std::unique_ptr<Folder> Folder::open(const std::string& path, std::string& error) {
    const int descriptor = ::open(path.empty() ? "." : path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        error = systemErrorText(errno);
        return nullptr;
    }
    return std::unique_ptr<Folder>(new Folder(descriptor, path));
}

Folder::~Folder() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

Folder::EntryKind Folder::kindOf(const std::string& name) const {
    struct stat info {};
    if (::fstatat(descriptor_, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return EntryKind::Missing;
    if (S_ISLNK(info.st_mode)) return EntryKind::Link;
    if (S_ISDIR(info.st_mode)) return EntryKind::Folder;
    if (S_ISREG(info.st_mode)) return EntryKind::File;
    return EntryKind::Other;
}

std::unique_ptr<Folder> Folder::child(const std::string& name, std::string& error) const {
    const int descriptor = ::openat(descriptor_, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) {
        error = systemErrorText(errno);
        return nullptr;
    }
    const std::string separator = path_.empty() || path_.back() == '/' ? "" : "/";
    return std::unique_ptr<Folder>(new Folder(descriptor, path_ + separator + name));
}

bool Folder::makeFolder(const std::string& name, std::string& error) {
    if (::mkdirat(descriptor_, name.c_str(), 0777) == 0) return true;
    error = systemErrorText(errno);
    return false;
}

bool Folder::removeFolder(const std::string& name) { return ::unlinkat(descriptor_, name.c_str(), AT_REMOVEDIR) == 0; }

FileDescriptor Folder::createFile(const std::string& name, std::string& error) {
    const int descriptor =
        ::openat(descriptor_, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0) error = systemErrorText(errno);
    return FileDescriptor(descriptor);
}

bool Folder::rename(const std::string& from, const std::string& to, bool replace, std::string& error) {
    if (renameInDirectory(descriptor_, from, to, replace)) return true;
    error = systemErrorText(errno);
    return false;
}

bool Folder::remove(const std::string& name) { return removeInDirectory(descriptor_, name); }

bool Folder::flush() {
    if (FailurePoints::fails(FileOperation::Flush)) return false;
    return ::fsync(descriptor_) == 0 || errno == EINVAL;
}

bool setModeAndModified(int descriptor, unsigned mode, std::int64_t modified) {
    const struct timespec times[2] = {{static_cast<time_t>(modified), 0}, {static_cast<time_t>(modified), 0}};
    const bool moded = ::fchmod(descriptor, static_cast<mode_t>(mode)) == 0;
    return ::futimens(descriptor, times) == 0 && moded;
}

unsigned defaultFileMode() {
    // The mask can only be read by setting it; the jobs' own thread is the
    // only one that makes files, and it puts it back at once.
    static std::mutex guard;
    const std::lock_guard<std::mutex> lock(guard);
    const mode_t mask = ::umask(0077);
    ::umask(mask);
    return 0666u & ~static_cast<unsigned>(mask);
}

#else

// Windows: the same operations by path. Links (reparse points) are seen by
// symlink_status and never entered.

bool FileDescriptor::close() {
    if (descriptor_ < 0) return true;
    const bool closed = ::_close(descriptor_) == 0;
    descriptor_ = -1;
    return closed;
}

std::unique_ptr<Folder> Folder::open(const std::string& path, std::string& error) {
    std::error_code ec;
    if (!fs::is_directory(fileattr::toPath(path.empty() ? std::string(".") : path), ec)) {
        error = systemErrorText(ENOENT);
        return nullptr;
    }
    return std::unique_ptr<Folder>(new Folder(0, path.empty() ? std::string(".") : path));
}

Folder::~Folder() = default;

namespace {
fs::path entryPath(const std::string& folder, const std::string& name) { return fileattr::toPath(folder) / name; }
}  // namespace

Folder::EntryKind Folder::kindOf(const std::string& name) const {
    std::error_code ec;
    const fs::file_status status = fs::symlink_status(entryPath(path_, name), ec);
    if (ec || !fs::exists(status)) return EntryKind::Missing;
    if (fs::is_symlink(status)) return EntryKind::Link;
    if (fs::is_directory(status)) return EntryKind::Folder;
    if (fs::is_regular_file(status)) return EntryKind::File;
    return EntryKind::Other;
}

std::unique_ptr<Folder> Folder::child(const std::string& name, std::string& error) const {
    if (kindOf(name) != EntryKind::Folder) {
        error = systemErrorText(ENOTDIR);
        return nullptr;
    }
    return std::unique_ptr<Folder>(new Folder(0, fileattr::fromPath(entryPath(path_, name))));
}

bool Folder::makeFolder(const std::string& name, std::string& error) {
    std::error_code ec;
    if (fs::create_directory(entryPath(path_, name), ec)) return true;
    error = ec ? ec.message() : systemErrorText(EEXIST);
    return false;
}

bool Folder::removeFolder(const std::string& name) {
    std::error_code ec;
    return fs::remove(entryPath(path_, name), ec);
}

FileDescriptor Folder::createFile(const std::string& name, std::string& error) {
    const int descriptor =
        ::_wopen(entryPath(path_, name).c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, _S_IREAD | _S_IWRITE);
    if (descriptor < 0) error = systemErrorText(errno);
    return FileDescriptor(descriptor);
}

bool Folder::rename(const std::string& from, const std::string& to, bool replace, std::string& error) {
    if (!replace && kindOf(to) != EntryKind::Missing) {
        error = systemErrorText(EEXIST);
        return false;
    }
    if (renameFile(fileattr::fromPath(entryPath(path_, from)), fileattr::fromPath(entryPath(path_, to)))) return true;
    error = systemErrorText(errno);
    return false;
}

bool Folder::remove(const std::string& name) { return removeFile(fileattr::fromPath(entryPath(path_, name))); }

bool Folder::flush() { return !FailurePoints::fails(FileOperation::Flush); }

bool setModeAndModified(int, unsigned, std::int64_t) { return true; }

unsigned defaultFileMode() { return 0666u; }

#endif

}  // namespace morvane
