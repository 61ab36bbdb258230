#pragma once
// A folder opened once, whose entries are then reached by name without ever
// following a link: what extraction needs to write below a destination and
// nowhere else. Names are single path components.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace morvane {

// An open file, closed when it goes.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~FileDescriptor() { close(); }
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            close();
            descriptor_ = other.release();
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    int release() {
        const int d = descriptor_;
        descriptor_ = -1;
        return d;
    }
    // Closes the file; false when the system reports a failure (a write that
    // could only fail at the end).
    bool close();

private:
    int descriptor_ = -1;
};

class Folder {
public:
    enum class EntryKind { Missing, File, Folder, Link, Other };

    // Opens the folder at `path` ("" for the current folder). Links within
    // `path` itself are followed: the person chose it.
    static std::unique_ptr<Folder> open(const std::string& path, std::string& error);
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    // What the entry `name` is, a link being a link whatever it points to.
    EntryKind kindOf(const std::string& name) const;

    // The sub-folder `name`; nothing when it is missing, a link or no folder.
    std::unique_ptr<Folder> child(const std::string& name, std::string& error) const;

    // Makes the sub-folder `name` with the user's default permissions.
    bool makeFolder(const std::string& name, std::string& error);

    // Removes the sub-folder `name` when it is empty.
    bool removeFolder(const std::string& name);

    // Creates the new file `name`, owner-only, never through a link.
    FileDescriptor createFile(const std::string& name, std::string& error);

    // Renames an entry; without `replace`, a taken name is refused (EEXIST).
    bool rename(const std::string& from, const std::string& to, bool replace, std::string& error);

    // Deletes the file `name`.
    bool remove(const std::string& name);

    // Makes the folder's entries durable.
    bool flush();

    // The folder's path as opened, then each child's name after a separator.
    const std::string& path() const { return path_; }

private:
    Folder(int descriptor, std::string path) : descriptor_(descriptor), path_(std::move(path)) {}
    int descriptor_ = -1;
    std::string path_;
};

// Sets an open file's permission bits and its modification time (seconds
// since 1970).
bool setModeAndModified(int descriptor, unsigned mode, std::int64_t modified);

// The permission bits a new file gets by the user's defaults (0666 less the
// file creation mask).
unsigned defaultFileMode();

// Bytes free for the user on the file system of `path`.
std::optional<std::uint64_t> freeSpaceAt(const std::string& path);

// Makes the folder `path` with its missing parents, as zip tools do for a
// destination. The folders made, outermost first, even when a later one
// failed (`error` then names it and the system's reason).
std::vector<std::string> makeMissingFolders(const std::string& path, std::string& error);

// Removes those of `folders` that are empty, innermost first: what
// makeMissingFolders made, when nothing came to be written into them.
void removeEmptyFolders(const std::vector<std::string>& folders);

}  // namespace morvane
