#include "zip_extractor.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "file_attributes.h"
#include "folder.h"
#include "growing_zip.h"
#include "member_decoder.h"
#include "member_names.h"
#include "safe_file.h"
#include "zip_reader.h"

namespace morvane {

namespace fs = std::filesystem;

namespace {

// Room for each file's own blocks beyond its bytes.
constexpr std::uint64_t kBytesPerFile = 4096;
// A member's bytes are handed to the disk every so many bytes.
constexpr std::size_t kWritebackBytes = 8 << 20;

using Failure = ExtractionReport::Failure;
using Reason = UnwrittenMember::Reason;

std::string joined(const std::vector<std::string>& components, std::size_t count) {
    std::string path;
    for (std::size_t i = 0; i < count; ++i) path += (i == 0 ? "" : "/") + components[i];
    return path;
}

// One extraction: the plan, the files written so far under temporary names,
// and the folders made for them, undone together when anything fails.
class Extraction {
public:
    explicit Extraction(const ExtractionRequest& request) : request_(request) {}

    ExtractionReport run();

private:
    struct Planned {
        std::size_t index;
        std::vector<std::string> components;  // folders, then the file's own name
        unsigned mode;
        std::int64_t modified;
    };
    struct Staged {
        std::vector<std::string> components;
        std::string temporaryName;
        std::string memberName;
    };
    struct MadeFolder {
        std::vector<std::string> components;  // the folder's own path below the destination
    };

    bool fail(Failure failure, std::string detail) {
        report_.failure = failure;
        report_.detail = std::move(detail);
        return false;
    }
    std::string shown(const std::vector<std::string>& components, std::size_t count) const {
        const std::string relative = joined(components, count);
        if (destination_.empty()) return relative;
        return destination_ + (destination_.back() == '/' ? "" : "/") + relative;
    }

    bool openDestination();
    bool plan(const ZipReader& reader);
    bool headersMatch(const ZipReader& reader);
    // A zip read while it was written: nothing takes its place before the
    // writer has finished it, complete and in place.
    bool growingZipComplete();
    // The folder of components[0 .. count), made where missing when `make`.
    std::unique_ptr<Folder> folderAt(const std::vector<std::string>& components, std::size_t count, bool make);
    bool stage(ZipReader& reader);
    void commit();
    void undo();

    const ExtractionRequest& request_;
    ExtractionReport report_;
    std::string destination_;
    std::unique_ptr<Folder> root_;
    std::vector<std::string> madeAbove_;  // folders made for the destination itself, outermost first
    std::vector<Planned> planned_;
    std::vector<std::vector<std::string>> folderMembers_;
    std::vector<Staged> staged_;
    std::vector<MadeFolder> made_;
};

bool Extraction::openDestination() {
    destination_ = request_.destination;
    std::string error;
    root_ = Folder::open(destination_, error);
    if (root_) return true;
    // A missing destination is made, with its parents, as zip tools do.
    error.clear();
    madeAbove_ = makeMissingFolders(destination_, error);
    if (!error.empty()) {
        undo();
        return fail(Failure::CannotWrite, error);
    }
    root_ = Folder::open(destination_, error);
    if (!root_) {
        undo();
        return fail(Failure::CannotWrite, destination_ + ": " + error);
    }
    return true;
}

bool Extraction::headersMatch(const ZipReader& reader) {
    // Every entry, a folder too, is named by its own header as by the
    // directory: a name changed in one of them is damage, whatever the member
    // turns out to be.
    for (const ZipEntry& e : reader.entries()) {
        std::uint64_t dataOffset = 0;
        std::string error;
        if (!reader.headerMatches(e, dataOffset, error)) return fail(Failure::Damaged, error);
    }
    return true;
}

bool Extraction::growingZipComplete() {
    if (request_.growing == nullptr || request_.growing->waitComplete()) return true;
    return fail(Failure::CannotWrite, "the archive could not be deciphered whole");
}

bool Extraction::plan(const ZipReader& reader) {
    const std::vector<ZipEntry>& entries = reader.entries();
    if (!headersMatch(reader)) return false;
    for (const ZipEntry& e : entries)
        if (e.isFolder() && (e.size != 0 || e.compressedSize > (e.encrypted() ? 64u : 2u)))
            return fail(Failure::Damaged, e.name + " is a folder that holds data");
    const unsigned defaultMode = defaultFileMode();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const ZipEntry& e = entries[i];
        std::vector<std::string> components = memberPathComponents(e.name);
        const auto skip = [&](Reason reason) { report_.unwritten.push_back({e.name, reason}); };
        if (!isSafeMemberName(e.name) || components.empty()) {
            if (!e.isFolder() || !components.empty() || !isSafeMemberName(e.name)) skip(Reason::UnsafeName);
            continue;
        }
        bool tooLong = false;
        for (const std::string& c : components) tooLong = tooLong || c.size() > kLongestFileName;
        if (tooLong) {
            skip(Reason::NameTooLong);
            continue;
        }
        const std::size_t folders = e.isFolder() ? components.size() : components.size() - 1;
        // The path below the destination: never through a link; a file where
        // a folder is needed stops the extraction before anything is written.
        std::unique_ptr<Folder> folder;
        const Folder* at = root_.get();
        bool throughLink = false, missing = false;
        for (std::size_t k = 0; k < folders && !missing; ++k) {
            switch (at->kindOf(components[k])) {
                case Folder::EntryKind::Missing:
                    missing = true;
                    break;
                case Folder::EntryKind::Link:
                    throughLink = true;
                    break;
                case Folder::EntryKind::Folder: {
                    std::string error;
                    folder = at->child(components[k], error);
                    if (!folder) return fail(Failure::CannotWrite, shown(components, k + 1) + ": " + error);
                    at = folder.get();
                    break;
                }
                default:
                    return fail(Failure::CannotWrite,
                                shown(components, k + 1) + " is a file where the archive needs a folder");
            }
            if (throughLink) break;
        }
        if (throughLink) {
            skip(Reason::ThroughLink);
            continue;
        }
        if (e.isFolder()) {
            folderMembers_.push_back(std::move(components));
            continue;
        }
        if (e.isLink()) {
            skip(Reason::Link);
            continue;
        }
        if (!matchesFileMask(components.back(), request_.fileMask)) {
            skip(Reason::NotMatched);
            continue;
        }
        if (!missing) {
            const Folder::EntryKind kind = at->kindOf(components.back());
            if (kind == Folder::EntryKind::Folder)
                return fail(Failure::CannotWrite,
                            shown(components, components.size()) + " is a folder where the archive has a file");
            if (kind != Folder::EntryKind::Missing && request_.keepExisting) {
                skip(Reason::KeptExisting);
                continue;
            }
        }
        const unsigned mode = e.unixMode() ? (*e.unixMode() & 0777u) : defaultMode;  // never set-user or set-group
        planned_.push_back({i, std::move(components), mode, e.modified()});
    }

    std::uint64_t needed = 0;
    for (const Planned& p : planned_) needed += entries[p.index].size + kBytesPerFile;
    const std::optional<std::uint64_t> free = freeSpaceAt(destination_);
    if (free && needed > *free) {
        report_.bytesNeeded = needed;
        report_.bytesFree = *free;
        return fail(Failure::NoSpace, destination_.empty() ? std::string(".") : destination_);
    }
    return true;
}

std::unique_ptr<Folder> Extraction::folderAt(const std::vector<std::string>& components, std::size_t count, bool make) {
    std::string error;
    std::unique_ptr<Folder> folder = Folder::open(destination_, error);
    for (std::size_t k = 0; folder && k < count; ++k) {
        if (make && folder->kindOf(components[k]) == Folder::EntryKind::Missing) {
            if (!folder->makeFolder(components[k], error)) {
                fail(Failure::CannotWrite, shown(components, k + 1) + ": " + error);
                return nullptr;
            }
            made_.push_back({std::vector<std::string>(components.begin(), components.begin() + k + 1)});
        }
        std::unique_ptr<Folder> next = folder->child(components[k], error);
        if (!next) {
            fail(Failure::CannotWrite, shown(components, k + 1) + ": " + error);
            return nullptr;
        }
        folder = std::move(next);
    }
    if (!folder) fail(Failure::CannotWrite, (destination_.empty() ? std::string(".") : destination_) + ": " + error);
    return folder;
}

// Members are written by up to two threads at once, each taking the next
// member of the plan: one member's inflating and writing no longer waits for
// another's. Folders are made under a lock; what each member came to is kept
// in its own slot, and the first member in the plan that failed says what
// failed, as when they were written one after the other.
bool Extraction::stage(ZipReader& reader) {
    for (const std::vector<std::string>& components : folderMembers_)
        if (!folderAt(components, components.size(), true)) return false;

    const std::vector<ZipEntry>& entries = reader.entries();
    std::uint64_t total = 0;
    for (const Planned& p : planned_) total += entries[p.index].size;

    struct Slot {
        bool created = false;
        std::string temporaryName;
        Failure failure = Failure::None;
        std::string detail;
        bool stoppedByOther = false;  // stopped because another member failed
    };
    std::vector<Slot> slots(planned_.size());
    std::atomic<std::size_t> next{0};
    std::atomic<std::uint64_t> done{0};
    std::atomic<bool> failed{false};
    std::mutex folders;
    const auto userStop = [this] { return request_.stopRequested != nullptr && request_.stopRequested->load(); };
    const auto report = [&] {
        if (request_.progress && total > 0) request_.progress(static_cast<int>(done.load() * 100 / total));
    };

    // Writes planned member k into its slot; false when it failed.
    const auto stageMember = [&](MemberDecoder& decoder, std::size_t k, bool reports) {
        const Planned& p = planned_[k];
        Slot& slot = slots[k];
        const auto failWith = [&](Failure failure, std::string detail) {
            slot.failure = failure;
            slot.detail = std::move(detail);
            return false;
        };
        std::unique_ptr<Folder> folder;
        {
            const std::lock_guard<std::mutex> lock(folders);
            folder = folderAt(p.components, p.components.size() - 1, true);
            if (!folder) return failWith(report_.failure, report_.detail);
        }
        const std::string target = shown(p.components, p.components.size());
        std::string error;
        slot.temporaryName = temporaryFileName();
        FileDescriptor file = folder->createFile(slot.temporaryName, error);
        if (!file) return failWith(Failure::CannotWrite, target + ": " + error);
        slot.created = true;

        int writeError = 0;
        std::size_t unhinted = 0;
        std::string detail;
        const MemberStatus status = decoder.decode(
            p.index,
            [&](std::span<const std::uint8_t> bytes) {
                if (!writeAll(file.get(), bytes)) {
                    writeError = errno;
                    return false;
                }
                // Written out as it comes, the member leaves its flush little to wait for.
                unhinted += bytes.size();
                if (unhinted >= kWritebackBytes) {
                    startWriteback(file.get());
                    unhinted = 0;
                }
                done += bytes.size();
                if (reports) report();
                return true;
            },
            [&] { return userStop() || failed.load(); }, detail);
        switch (status) {
            case MemberStatus::Ok:
                break;
            case MemberStatus::WrongPassword:
                return failWith(Failure::WrongPassword, detail);
            case MemberStatus::Damaged:
            case MemberStatus::Unsupported:
                return failWith(Failure::Damaged, detail);
            case MemberStatus::Refused:
                return failWith(Failure::CannotWrite, target + ": " + systemErrorText(writeError));
            case MemberStatus::Stopped:
                slot.stoppedByOther = !userStop();
                return failWith(Failure::Stopped, "stopped");
        }
        setModeAndModified(file.get(), p.mode, p.modified);
        if (!flushFile(file.get())) return failWith(Failure::CannotWrite, target + ": " + systemErrorText(errno));
        if (!file.close()) return failWith(Failure::CannotWrite, target + ": " + systemErrorText(errno));
        return true;
    };
    // Takes members until none is left or one has failed. Only the calling
    // thread reports progress: the zip component's handler may touch a window.
    const auto work = [&](bool reports) {
        std::optional<GrowingZip::ReadingThread> reading;
        if (request_.growing != nullptr) reading.emplace(*request_.growing);
        MemberDecoder decoder(reader, request_.zipPath, request_.password, request_.growing);
        while (!failed.load()) {
            const std::size_t k = next++;
            if (k >= planned_.size()) break;
            if (!stageMember(decoder, k, reports)) failed = true;
        }
    };

    std::future<void> other;
    if (planned_.size() > 1 && std::thread::hardware_concurrency() > 1)
        other = std::async(std::launch::async, work, false);
    work(true);
    if (other.valid()) {
        while (other.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) report();
        other.get();
    }

    for (std::size_t k = 0; k < slots.size(); ++k)
        if (slots[k].created)
            staged_.push_back({planned_[k].components, slots[k].temporaryName, entries[planned_[k].index].name});
    if (failed.load()) {
        // The first member in the plan that failed on its own says why.
        for (const Slot& slot : slots)
            if (slot.failure != Failure::None && !slot.stoppedByOther) return fail(slot.failure, slot.detail);
        return fail(Failure::Stopped, "stopped");
    }
    return true;
}

void Extraction::commit() {
    std::set<std::vector<std::string>> touched;
    std::size_t i = 0;
    for (; i < staged_.size(); ++i) {
        const Staged& s = staged_[i];
        const std::size_t folders = s.components.size() - 1;
        std::unique_ptr<Folder> folder = folderAt(s.components, folders, false);
        if (!folder) break;
        std::string error;
        if (!folder->rename(s.temporaryName, s.components.back(), !request_.keepExisting, error)) {
            if (request_.keepExisting && errno == EEXIST) {  // made by someone else meanwhile: kept
                folder->remove(s.temporaryName);
                report_.unwritten.push_back({s.memberName, Reason::KeptExisting});
                continue;
            }
            fail(Failure::CannotWrite, shown(s.components, s.components.size()) + ": " + error);
            break;
        }
        report_.written.push_back(s.memberName);
        touched.emplace(s.components.begin(), s.components.begin() + static_cast<std::ptrdiff_t>(folders));
    }
    // What could not take its name goes; what did stays, complete.
    for (; i < staged_.size(); ++i) {
        const Staged& s = staged_[i];
        if (std::unique_ptr<Folder> folder = folderAt(s.components, s.components.size() - 1, false))
            folder->remove(s.temporaryName);
    }
    staged_.clear();
    for (const std::vector<std::string>& components : touched) {
        std::unique_ptr<Folder> folder = folderAt(components, components.size(), false);
        if ((!folder || !folder->flush()) && report_.failure == Failure::None)
            fail(Failure::CannotWrite, shown(components, components.size()) + ": " + systemErrorText(errno));
    }
}

void Extraction::undo() {
    const Failure failure = report_.failure;
    const std::string detail = report_.detail;
    for (const Staged& s : staged_)
        if (std::unique_ptr<Folder> folder = folderAt(s.components, s.components.size() - 1, false))
            folder->remove(s.temporaryName);
    staged_.clear();
    for (auto it = made_.rbegin(); it != made_.rend(); ++it)
        if (std::unique_ptr<Folder> parent = folderAt(it->components, it->components.size() - 1, false))
            parent->removeFolder(it->components.back());
    made_.clear();
    for (auto it = madeAbove_.rbegin(); it != madeAbove_.rend(); ++it) {
        std::error_code ec;
        fs::remove(fileattr::toPath(*it), ec);
    }
    madeAbove_.clear();
    report_.failure = failure;
    report_.detail = detail;
}

ExtractionReport Extraction::run() {
    std::string error;
    std::unique_ptr<ZipReader> reader = request_.growing != nullptr ? ZipReader::open(*request_.growing, error)
                                                                    : ZipReader::open(request_.zipPath, error);
    if (!reader) {
        fail(Failure::NotAZip, error);
        return report_;
    }
    if (!openDestination()) return report_;
    removeLeftovers(destination_);
    if (!plan(*reader) || !stage(*reader) || !growingZipComplete()) {
        undo();
        report_.written.clear();
        return report_;
    }
    commit();
    if (request_.progress) request_.progress(100);
    return report_;
}

}  // namespace

ExtractionReport extractArchive(const ExtractionRequest& request) { return Extraction(request).run(); }

}  // namespace morvane
