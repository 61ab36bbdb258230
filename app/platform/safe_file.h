#pragma once
// Files that are either wholly old or wholly new. A file is written under a
// short temporary name in the folder of its final name, flushed to disk,
// renamed over the old file, and the folder is flushed, so that a full disk,
// a failure or a kill at any moment leaves the old file or the new one,
// never a part of one. Every write, flush, rename and delete passes a
// failure point (failure_points.h).
//
// Temporary names are ".~mv{process}-{random}.tmp": short whatever the final
// name, hidden from listings, and recognised as leftovers of a process that
// no longer runs.
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace morvane {

// The longest file name (one path component) file systems take, in bytes.
inline constexpr std::size_t kLongestFileName = 255;

// The system's words for an error number ("No space left on device").
std::string systemErrorText(int error);

// --- Single operations, each through its failure point -----------------------
// False with errno set when the operation failed.

bool writeAll(int descriptor, std::span<const std::uint8_t> bytes);
bool writeAllAt(int descriptor, std::uint64_t offset, std::span<const std::uint8_t> bytes);
// Reads exactly `bytes.size()` bytes at `offset` (no failure point: reading
// changes nothing). False at the end of the file or on an error.
bool readAllAt(int descriptor, std::uint64_t offset, std::span<std::uint8_t> bytes);
bool flushFile(int descriptor);
// Asks the system to start writing the file's written bytes to disk, so that
// a later flush has little left to wait for. A hint: it fails nothing.
void startWriteback(int descriptor);
// Flushes the folder's entries (names made, renamed or removed in it).
bool flushDirectory(const std::string& directory);
// Renames `from` to `to`, replacing a file of that name.
bool renameFile(const std::string& from, const std::string& to);
// Deletes the file; a file that is not there is no failure.
bool removeFile(const std::string& path);

// The same within an open folder (POSIX descriptors of folders).
bool renameInDirectory(int directory, const std::string& from, const std::string& to, bool replace);
bool removeInDirectory(int directory, const std::string& name);

// --- Names -------------------------------------------------------------------

// A fresh temporary name (a name only, no folder).
std::string temporaryFileName();

// Whether `name` is a temporary name this program makes.
bool isTemporaryFileName(std::string_view name);

// The folder part of a path, with its closing separator ("" for a bare name).
std::string folderOf(std::string_view path);

// `name` itself when it fits the file name limit; otherwise the same name
// cut short with a fingerprint of the whole of it in place of the rest, so
// that the same long name always gives the same short one.
std::string fittedFileName(std::string_view name);

// Deletes the temporary files of processes that no longer run from the
// folder: leftovers of a job that was killed. Never the only copy of
// anything: sources are deleted only once their archive is complete.
void removeLeftovers(const std::string& directory);

// --- A file that takes its name only when complete ---------------------------

class AtomicFile {
public:
    AtomicFile() = default;
    ~AtomicFile() { discard(); }
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // Creates the temporary file (owner-only) beside `path`. False, with
    // error() set, when it cannot be made.
    bool open(const std::string& path);

    bool write(std::span<const std::uint8_t> bytes);
    bool write(std::string_view text) {
        return write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    }
    bool writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes);
    bool truncate(std::uint64_t length);

    // Asks the system to start writing what was written so far to disk, so
    // that the flush before commit has little left to wait for. A hint only:
    // it fails nothing and makes nothing durable.
    void startWriteback();
    // Makes the content so far durable (once is enough before commit).
    bool flush();

    // Puts the file in place: flushed first unless `durable` is false (a
    // temporary that nothing depends on), then renamed over the old file,
    // then the folder flushed. `mode` is the file's permission bits.
    bool commit(bool durable = true, unsigned mode = 0600);

    // Removes the temporary file (nothing when already committed).
    void discard();

    bool isOpen() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }
    const std::string& path() const { return path_; }
    const std::string& temporaryPath() const { return temporaryPath_; }
    std::uint64_t size() const { return size_; }

    // The system's reason of the last failure.
    const std::string& error() const { return error_; }

private:
    bool fail(int error);

    std::string path_;
    std::string temporaryPath_;
    int descriptor_ = -1;
    std::uint64_t size_ = 0;
    bool flushed_ = false;
    std::string error_;
};

// Rewrites a small file whole: `content` written by an AtomicFile, flushed,
// put in place. True when the file now holds `content`.
bool writeFileAtomically(const std::string& path, std::string_view content);

}  // namespace morvane
