#include "safe_file.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>

#include "failure_points.h"
#include "file_attributes.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sys/stat.h>
#include <windows.h>
#else
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace morvane {

namespace fs = std::filesystem;

namespace {

#ifdef _WIN32
int currentProcess() { return _getpid(); }
#else
int currentProcess() { return static_cast<int>(::getpid()); }
#endif

// Sets errno for a failure the failure point chose.
bool injected(FileOperation operation) {
    if (!FailurePoints::fails(operation)) return false;
    errno = FailurePoints::errorFor(operation);
    return true;
}

std::uint64_t fingerprint(std::string_view text) {
    std::uint64_t hash = 0xcbf29ce484222325ULL;  // FNV-1a
    for (const char c : text) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 0x100000001b3ULL;
    }
    return hash;
}

constexpr std::string_view kTemporaryPrefix = ".~mv";
constexpr std::string_view kTemporarySuffix = ".tmp";

}  // namespace

std::string systemErrorText(int error) { return std::strerror(error != 0 ? error : EIO); }

// --- Single operations -------------------------------------------------------

namespace {

// Writes every byte, at the file's position or (when `offset` is given) at
// that offset, going on after short writes and interruptions.
bool writeEveryByte(int descriptor, std::span<const std::uint8_t> bytes, std::optional<std::uint64_t> offset) {
    if (injected(FileOperation::Write)) return false;
    while (!bytes.empty()) {
#ifdef _WIN32
        if (offset && ::_lseeki64(descriptor, static_cast<__int64>(*offset), SEEK_SET) < 0) return false;
        const int written =
            ::_write(descriptor, bytes.data(), static_cast<unsigned>(std::min<std::size_t>(bytes.size(), 1 << 30)));
#else
        const ssize_t written = offset ? ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(*offset))
                                       : ::write(descriptor, bytes.data(), bytes.size());
#endif
        if (written < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (written == 0) {
            errno = ENOSPC;
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(written));
        if (offset) *offset += static_cast<std::uint64_t>(written);
    }
    return true;
}

}  // namespace

bool writeAll(int descriptor, std::span<const std::uint8_t> bytes) {
    return writeEveryByte(descriptor, bytes, std::nullopt);
}

bool readAllAt(int descriptor, std::uint64_t offset, std::span<std::uint8_t> bytes) {
    std::uint8_t* data = bytes.data();
    std::size_t length = bytes.size();
    while (length > 0) {
#ifdef _WIN32
        if (::_lseeki64(descriptor, static_cast<__int64>(offset), SEEK_SET) < 0) return false;
        const int got = ::_read(descriptor, data, static_cast<unsigned>(std::min<std::size_t>(length, 1 << 30)));
#else
        const ssize_t got = ::pread(descriptor, data, length, static_cast<off_t>(offset));
#endif
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        data += got;
        length -= static_cast<std::size_t>(got);
        offset += static_cast<std::uint64_t>(got);
    }
    return true;
}

bool writeAllAt(int descriptor, std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    return writeEveryByte(descriptor, bytes, offset);
}

bool flushFile(int descriptor) {
    if (injected(FileOperation::Flush)) return false;
#ifdef _WIN32
    return ::_commit(descriptor) == 0;
#else
    while (::fsync(descriptor) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
#endif
}

bool flushDirectory(const std::string& directory) {
    if (injected(FileOperation::Flush)) return false;
#ifdef _WIN32
    (void)directory;  // NTFS makes a rename durable with the file
    return true;
#else
    const int folder = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return false;
    int result = ::fsync(folder);
    // Some file systems cannot flush a folder, and say so: nothing to flush.
    if (result != 0 && errno == EINVAL) result = 0;
    const int error = errno;
    ::close(folder);
    errno = error;
    return result == 0;
#endif
}

bool renameFile(const std::string& from, const std::string& to) {
    if (injected(FileOperation::Rename)) return false;
#ifdef _WIN32
    if (MoveFileExW(fileattr::toPath(from).c_str(), fileattr::toPath(to).c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return true;
    errno = EIO;
    return false;
#else
    return ::rename(from.c_str(), to.c_str()) == 0;
#endif
}

bool removeFile(const std::string& path) {
    if (injected(FileOperation::Remove)) return false;
#ifdef _WIN32
    if (::_wunlink(fileattr::toPath(path).c_str()) == 0) return true;
#else
    if (::unlink(path.c_str()) == 0) return true;
#endif
    return errno == ENOENT;
}

#ifndef _WIN32

bool renameInDirectory(int directory, const std::string& from, const std::string& to, bool replace) {
    if (injected(FileOperation::Rename)) return false;
    if (replace) return ::renameat(directory, from.c_str(), directory, to.c_str()) == 0;
    // Without replacing: a link under the new name fails when the name is
    // taken, then the temporary name goes.
    if (::linkat(directory, from.c_str(), directory, to.c_str(), 0) != 0) return false;
    ::unlinkat(directory, from.c_str(), 0);
    return true;
}

bool removeInDirectory(int directory, const std::string& name) {
    if (injected(FileOperation::Remove)) return false;
    return ::unlinkat(directory, name.c_str(), 0) == 0 || errno == ENOENT;
}

#endif

// --- Names -------------------------------------------------------------------

std::string temporaryFileName() {
    static std::atomic<std::uint64_t> counter{0};
    const auto now = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    std::uint64_t x = now ^ (++counter * 0x9E3779B97F4A7C15ULL) ^ reinterpret_cast<std::uintptr_t>(&counter);
    static constexpr char kDigits[] = "abcdefghijklmnopqrstuvwxyz234567";
    std::string random;
    for (int i = 0; i < 8; ++i) {
        x ^= x >> 29;
        x *= 0xBF58476D1CE4E5B9ULL;
        random += kDigits[x >> 59];
    }
    return std::string(kTemporaryPrefix) + std::to_string(currentProcess()) + "-" + random +
           std::string(kTemporarySuffix);
}

namespace {

// The process number of a temporary name, or -1 when it is none.
long processOfTemporaryName(std::string_view name) {
    if (name.size() <= kTemporaryPrefix.size() + kTemporarySuffix.size() || !name.starts_with(kTemporaryPrefix) ||
        !name.ends_with(kTemporarySuffix))
        return -1;
    std::string_view middle = name.substr(kTemporaryPrefix.size());
    middle.remove_suffix(kTemporarySuffix.size());
    const auto dash = middle.find('-');
    if (dash == 0 || dash == std::string_view::npos || dash > 10 || dash + 1 == middle.size()) return -1;
    long process = 0;
    for (const char c : middle.substr(0, dash)) {
        if (c < '0' || c > '9') return -1;
        process = process * 10 + (c - '0');
    }
    for (const char c : middle.substr(dash + 1))
        if (!((c >= 'a' && c <= 'z') || (c >= '2' && c <= '7'))) return -1;
    return process;
}

bool processRuns(long process) {
#ifdef _WIN32
    HANDLE handle = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(process));
    if (handle == nullptr) return GetLastError() != ERROR_INVALID_PARAMETER;
    DWORD code = 0;
    const bool running = GetExitCodeProcess(handle, &code) && code == STILL_ACTIVE;
    CloseHandle(handle);
    return running;
#else
    return ::kill(static_cast<pid_t>(process), 0) == 0 || errno != ESRCH;
#endif
}

}  // namespace

bool isTemporaryFileName(std::string_view name) { return processOfTemporaryName(name) >= 0; }

std::string folderOf(std::string_view path) {
#ifdef _WIN32
    const auto cut = path.find_last_of("\\/");
#else
    const auto cut = path.rfind('/');
#endif
    return cut == std::string_view::npos ? std::string() : std::string(path.substr(0, cut + 1));
}

std::string fittedFileName(std::string_view name) {
    if (name.size() <= kLongestFileName) return std::string(name);
    std::string_view extension;
    if (const auto dot = name.rfind('.'); dot != std::string_view::npos && name.size() - dot <= 16)
        extension = name.substr(dot);
    char mark[18];
    std::snprintf(mark, sizeof mark, "~%016llx", static_cast<unsigned long long>(fingerprint(name)));
    std::size_t keep = kLongestFileName - extension.size() - (sizeof mark - 1);
    // Not in the middle of a character.
    while (keep > 0 && (static_cast<unsigned char>(name[keep]) & 0xC0) == 0x80) --keep;
    return std::string(name.substr(0, keep)) + mark + std::string(extension);
}

void removeLeftovers(const std::string& directory) {
    const long self = currentProcess();
    std::error_code ec;
    for (fs::directory_iterator it(fileattr::toPath(directory.empty() ? std::string(".") : directory), ec), end;
         !ec && it != end; it.increment(ec)) {
        const std::string name = fileattr::fromPath(it->path().filename());
        const long process = processOfTemporaryName(name);
        if (process < 0 || process == self || processRuns(process)) continue;
        std::error_code typeError;
        if (!it->is_regular_file(typeError) || it->is_symlink(typeError)) continue;
        removeFile(fileattr::fromPath(it->path()));
    }
}

// --- AtomicFile ----------------------------------------------------------------

bool AtomicFile::fail(int error) {
    error_ = systemErrorText(error);
    return false;
}

bool AtomicFile::open(const std::string& path) {
    discard();
    path_ = path;
    const std::string folder = folderOf(path);
    for (int attempt = 0; attempt < 100; ++attempt) {
        temporaryPath_ = folder + temporaryFileName();
#ifdef _WIN32
        descriptor_ = ::_wopen(fileattr::toPath(temporaryPath_).c_str(),
                               _O_RDWR | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
#else
        descriptor_ = ::open(temporaryPath_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
#endif
        if (descriptor_ >= 0) {
            size_ = 0;
            flushed_ = false;
            error_.clear();
            return true;
        }
        if (errno != EEXIST) break;
    }
    const int error = errno;
    temporaryPath_.clear();
    return fail(error);
}

bool AtomicFile::write(std::span<const std::uint8_t> bytes) {
    if (descriptor_ < 0) return fail(EBADF);
    if (!writeAll(descriptor_, bytes)) return fail(errno);
    size_ += bytes.size();
    flushed_ = false;
    return true;
}

bool AtomicFile::writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    if (descriptor_ < 0) return fail(EBADF);
    if (!writeAllAt(descriptor_, offset, bytes)) return fail(errno);
    size_ = std::max<std::uint64_t>(size_, offset + bytes.size());
    flushed_ = false;
    return true;
}

bool AtomicFile::truncate(std::uint64_t length) {
    if (descriptor_ < 0) return fail(EBADF);
#ifdef _WIN32
    const bool done = ::_chsize_s(descriptor_, static_cast<__int64>(length)) == 0 &&
                      ::_lseeki64(descriptor_, static_cast<__int64>(length), SEEK_SET) >= 0;
#else
    const bool done = ::ftruncate(descriptor_, static_cast<off_t>(length)) == 0 &&
                      ::lseek(descriptor_, static_cast<off_t>(length), SEEK_SET) >= 0;
#endif
    if (!done) return fail(errno);
    size_ = length;
    return true;
}

void startWriteback(int descriptor) {
#ifdef __linux__
    if (descriptor >= 0) ::sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE);
#else
    (void)descriptor;
#endif
}

void AtomicFile::startWriteback() { morvane::startWriteback(descriptor_); }

bool AtomicFile::flush() {
    if (descriptor_ < 0) return fail(EBADF);
    if (flushed_) return true;
    if (!flushFile(descriptor_)) return fail(errno);
    flushed_ = true;
    return true;
}

bool AtomicFile::commit(bool durable, unsigned mode) {
    if (descriptor_ < 0) return fail(EBADF);
    bool done = !durable || flush();
#ifdef _WIN32
    (void)mode;
    if (::_close(descriptor_) != 0 && done) done = fail(errno);
#else
    if (done && ::fchmod(descriptor_, static_cast<mode_t>(mode)) != 0) done = fail(errno);
    if (::close(descriptor_) != 0 && done) done = fail(errno);
#endif
    descriptor_ = -1;
    if (done && !renameFile(temporaryPath_, path_)) done = fail(errno);
    if (!done) {
        removeFile(temporaryPath_);
        temporaryPath_.clear();
        return false;
    }
    temporaryPath_.clear();
    // The new name is in place; a folder that cannot be flushed is reported,
    // with the file complete under its name.
    if (durable && !flushDirectory(folderOf(path_))) return fail(errno);
    return true;
}

void AtomicFile::discard() {
    if (descriptor_ >= 0) {
#ifdef _WIN32
        ::_close(descriptor_);
#else
        ::close(descriptor_);
#endif
        descriptor_ = -1;
    }
    if (!temporaryPath_.empty()) {
        removeFile(temporaryPath_);
        temporaryPath_.clear();
    }
}

bool writeFileAtomically(const std::string& path, std::string_view content) {
    AtomicFile file;
    return file.open(path) && file.write(content) && file.commit();
}

}  // namespace morvane
