#include "libzip_component.h"

#include <zip.h>
#include <zlib.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "file_attributes.h"
#include "member_names.h"
#include "winzip_aes_reader.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#endif

namespace morvane {

namespace fs = std::filesystem;

namespace {

// The file name inside a file specification: one name between double quotes.
std::string unquote(const std::string& fileSpec) {
    if (fileSpec.size() >= 2 && fileSpec.front() == '"' && fileSpec.back() == '"')
        return fileSpec.substr(1, fileSpec.size() - 2);
    return fileSpec;
}

// "-4" asks for deflate at level 4; any digit after "-" sets the level, "-0"
// stores. Without a level, zlib's default (-1).
int compressionLevel(const std::string& options) {
    for (std::size_t i = 0; i + 1 < options.size(); ++i)
        if (options[i] == '-' && options[i + 1] >= '0' && options[i + 1] <= '9') return options[i + 1] - '0';
    return Z_DEFAULT_COMPRESSION;
}

bool hasOption(const std::string& options, char letter) {
    for (std::size_t i = 0; i + 1 < options.size(); ++i)
        if (options[i] == '-' && (options[i + 1] == letter)) return true;
    return false;
}

// Whether a new file can be created in `directory`.
bool canCreateFilesIn(const fs::path& directory) {
    std::error_code ec;
    if (!fs::is_directory(directory, ec)) return false;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const fs::path probe = directory / ("~mvprobe" + std::to_string(attempt) + ".tmp");
        if (fs::exists(probe, ec)) continue;
        FILE* f = fileattr::openFile(fileattr::fromPath(probe), "wbx");
        if (!f) return false;
        std::fclose(f);
        fs::remove(probe, ec);
        return true;
    }
    return false;
}

bool isReadableFile(const fs::path& path) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return false;
    FILE* f = fileattr::openFile(fileattr::fromPath(path), "rb");
    if (!f) return false;
    std::fclose(f);
    return true;
}

// A name in the target's directory for the content being written.
fs::path partialNameFor(const fs::path& target) {
    std::error_code ec;
    for (int attempt = 0;; ++attempt) {
        fs::path candidate = target;
        candidate += ".~mvpart" + std::to_string(attempt);
        if (!fs::exists(candidate, ec)) return candidate;
    }
}

void setModificationTime(const fs::path& path, std::time_t mtime) {
#ifndef _WIN32
    const struct timespec times[2] = {{mtime, 0}, {mtime, 0}};
    ::utimensat(AT_FDCWD, path.c_str(), times, 0);
#else
    (void)path;
    (void)mtime;
#endif
}

void progressCallback(zip_t*, double fraction, void* state) {
    static_cast<LibzipComponent*>(state)->reportProgress(fraction);
}

int cancelCallback(zip_t*, void* state) { return static_cast<LibzipComponent*>(state)->stopRequested() ? 1 : 0; }

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

}  // namespace

LibzipComponent::LibzipComponent(LogWriter log) : log_(std::move(log)) {}

LibzipComponent::~LibzipComponent() { CommitArchive(); }

void LibzipComponent::SetZipPassword(std::string_view password) { zipPassword_.assign(password); }

void LibzipComponent::SetUnzipPassword(std::string_view password) { unzipPassword_.assign(password); }

void LibzipComponent::ZipMode(int mode) { zipMode_ = mode; }

void LibzipComponent::setPercent(int percent) {
    percentDone_ = percent;
    if (Progress) Progress(percent);
}

void LibzipComponent::reportProgress(double fraction) {
    const int percent = static_cast<int>(fraction * 100.0);
    if (percent != percentDone_.load()) setPercent(percent);
}

void LibzipComponent::discardPending() {
    if (pending_ != nullptr) zip_discard(pending_);
    pending_ = nullptr;
    writer_.reset();
    pendingPath_.clear();
}

bool LibzipComponent::CommitArchive() {
    bool written = true;
    if (writer_ != nullptr) {
        written = writer_->commit();
        writer_.reset();
    } else if (pending_ != nullptr) {
        zip_register_progress_callback_with_state(pending_, 0.01, progressCallback, nullptr, this);
        zip_register_cancel_callback_with_state(pending_, cancelCallback, nullptr, this);
        written = zip_close(pending_) == 0;
        if (written) pending_ = nullptr;
    } else {
        return true;
    }
    if (written) {
        pendingPath_.clear();
        setPercent(100);
    } else {
        discardPending();
    }
    return written;
}

bool LibzipComponent::addWithLibzip(const std::string& sourcePath, const std::string& name,
                                    const std::string& archivePath, const std::string& options) {
    if (pending_ == nullptr) {
        int error = 0;
        pending_ = zip_open(archivePath.c_str(), ZIP_CREATE, &error);
        if (pending_ == nullptr) return false;  // an existing file that is no zip archive
        pendingPath_ = archivePath;
    }
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_file_create(sourcePath.c_str(), 0, -1, &error);
    zip_error_fini(&error);
    if (source == nullptr) return false;
    // A second file of the same name replaces the first, as the last one added
    // wins. The first one's encryption is dropped beforehand: libzip would keep
    // its copy of the password past the replacement.
    if (const zip_int64_t existing = zip_name_locate(pending_, name.c_str(), 0); existing >= 0)
        zip_file_set_encryption(pending_, static_cast<zip_uint64_t>(existing), ZIP_EM_NONE, nullptr);
    const zip_int64_t index = zip_file_add(pending_, name.c_str(), source, ZIP_FL_OVERWRITE | ZIP_FL_ENC_GUESS);
    if (index < 0) {
        zip_source_free(source);
        return false;
    }
    const auto entry = static_cast<zip_uint64_t>(index);
    const int level = compressionLevel(options);
    const bool configured =
        zip_set_file_compression(pending_, entry, level == 0 ? ZIP_CM_STORE : ZIP_CM_DEFLATE,
                                 level == Z_DEFAULT_COMPRESSION ? 0 : static_cast<zip_uint32_t>(level)) == 0 &&
        (zipPassword_.empty() || zip_file_set_encryption(pending_, entry, ZIP_EM_AES_256, zipPassword_.c_str()) == 0);
    if (!configured) {
        zip_delete(pending_, entry);
        return false;
    }
    return true;
}

bool LibzipComponent::ZipFiles(const std::string& sourceDir, const std::string& fileSpec, const std::string& destDir,
                               const std::string& zipName, const std::string& options) {
    stopRequested_ = false;
    const std::string name = unquote(fileSpec);
    const std::string sourcePath = sourceDir + name;
    const std::string archivePath = destDir + zipName;
    const bool pending = writer_ != nullptr || pending_ != nullptr;
    if (pending && pendingPath_ != archivePath && !CommitArchive()) return false;
    setPercent(0);

    // A file that cannot be read, or an archive that cannot be written, is
    // refused before the archive is touched: the archive stays as it was.
    if (name.empty() || !isReadableFile(fileattr::toPath(sourcePath)) ||
        (!pending && !canCreateFilesIn(fileattr::toPath(destDir.empty() ? std::string(".") : destDir)))) {
        CommitArchive();  // what was added before stays, as if written at once
        return false;
    }

    std::error_code ec;
    if (writer_ == nullptr && pending_ == nullptr && !fs::exists(fileattr::toPath(archivePath), ec)) {
        writer_ = ZipWriter::create(archivePath);
        if (writer_ == nullptr) return false;
        pendingPath_ = archivePath;
    }
    if (writer_ != nullptr) {
        switch (writer_->addFile(
            sourcePath, name, compressionLevel(options), zipPassword_, [this](int percent) { setPercent(percent); },
            [this] { return stopRequested_.load(); })) {
            case ZipWriter::AddResult::Added:
                return true;
            case ZipWriter::AddResult::Failed:
                CommitArchive();
                return false;
            case ZipWriter::AddResult::TooLarge:
                // 64-bit sizes: the archive so far is written, and libzip adds to it.
                if (!CommitArchive()) return false;
                break;
        }
    }
    return addWithLibzip(sourcePath, name, archivePath, options);
}

bool LibzipComponent::readMember(zip_t* archive, unsigned long long index,
                                 const std::function<bool(const char*, std::size_t)>& write) {
    zip_stat_t stat;
    if (zip_stat_index(archive, index, 0, &stat) != 0) return false;
    std::vector<char> buffer(1 << 20);
    const int strength =
        (stat.valid & ZIP_STAT_ENCRYPTION_METHOD) ? WinZipAesReader::strengthOf(stat.encryption_method) : 0;

    if (strength == 0) {  // stored, deflated, traditional encryption: libzip reads it
        zip_file_t* member = zip_fopen_index(archive, index, 0);
        if (member == nullptr) return false;  // wrong password, unknown method
        bool done = true;
        for (;;) {
            if (stopRequested_) {
                done = false;
                break;
            }
            const zip_int64_t got = zip_fread(member, buffer.data(), buffer.size());
            if (got < 0) {  // damaged data, a failed CRC check
                done = false;
                break;
            }
            if (got == 0) break;
            if (!write(buffer.data(), static_cast<std::size_t>(got))) {
                done = false;
                break;
            }
        }
        return zip_fclose(member) == 0 && done;
    }

    // WinZip AES: authenticated and deciphered here, from the raw bytes.
    if (!(stat.valid & ZIP_STAT_COMP_SIZE) || !(stat.valid & ZIP_STAT_COMP_METHOD) ||
        (stat.comp_method != ZIP_CM_STORE && stat.comp_method != ZIP_CM_DEFLATE))
        return false;
    WinZipAesReader reader(strength, unzipPassword_, stat.comp_size, stat.comp_method == ZIP_CM_DEFLATE,
                           (stat.valid & ZIP_STAT_CRC) ? stat.crc : 0);
    zip_file_t* member = zip_fopen_index(archive, index, ZIP_FL_ENCRYPTED);
    if (member == nullptr) return false;
    const auto out = [&write](std::span<const std::uint8_t> bytes) {
        return write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    };
    std::uint64_t rawRead = 0;
    bool done = true;
    while (rawRead < stat.comp_size) {
        if (stopRequested_) {
            done = false;
            break;
        }
        const zip_int64_t got = zip_fread(member, buffer.data(), buffer.size());
        // libzip may report a CRC failure at the end of an AE-2 member, whose
        // CRC field is 0 by design: only the bytes count here.
        if (got <= 0) break;
        rawRead += static_cast<std::uint64_t>(got);
        if (reader.feed({reinterpret_cast<const std::uint8_t*>(buffer.data()), static_cast<std::size_t>(got)}, out) !=
            WinZipAesReader::Status::Ok) {
            done = false;
            break;
        }
    }
    zip_fclose(member);
    return done && rawRead == stat.comp_size && reader.finish() == WinZipAesReader::Status::Ok;
}

bool LibzipComponent::extractMember(zip_t* archive, unsigned long long index, const std::string& target,
                                    unsigned long long& bytesDone, unsigned long long bytesTotal) {
    const fs::path targetPath = fileattr::toPath(target);
    const fs::path partial = partialNameFor(targetPath);
    bool done = false;
    {
        std::unique_ptr<std::FILE, FileCloser> out(fileattr::openFile(fileattr::fromPath(partial), "wbx"));
        if (out) {
            std::setvbuf(out.get(), nullptr, _IONBF, 0);
            done = readMember(archive, index, [&](const char* data, std::size_t length) {
                if (std::fwrite(data, 1, length, out.get()) != length) return false;
                bytesDone += length;
                if (bytesTotal > 0) setPercent(static_cast<int>(bytesDone * 100 / bytesTotal));
                return true;
            });
            if (std::fclose(out.release()) != 0) done = false;
        }
    }
    std::error_code ec;
    if (done) {
        fs::rename(partial, targetPath, ec);
        done = !ec;
    }
    if (!done) fs::remove(partial, ec);
    return done;
}

bool LibzipComponent::UnzipFiles(const std::string& zipPath, const std::string& fileMask, const std::string& destDir,
                                 const std::string& options) {
    stopRequested_ = false;
    if (!CommitArchive()) return false;
    setPercent(0);
    int error = 0;
    zip_t* archive = zip_open(zipPath.c_str(), ZIP_RDONLY, &error);
    if (archive == nullptr) return false;
    const std::unique_ptr<zip_t, void (*)(zip_t*)> closer(archive, zip_discard);
    if (!unzipPassword_.empty()) zip_set_default_password(archive, unzipPassword_.c_str());

    const bool keepExisting = hasOption(options, 'n');
    const fs::path destination = fileattr::toPath(destDir.empty() ? std::string(".") : destDir);
    const zip_int64_t count = zip_get_num_entries(archive, 0);

    unsigned long long bytesTotal = 0, bytesDone = 0;
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t stat;
        if (zip_stat_index(archive, static_cast<zip_uint64_t>(i), 0, &stat) == 0 && (stat.valid & ZIP_STAT_SIZE))
            bytesTotal += stat.size;
    }

    for (zip_int64_t i = 0; i < count; ++i) {
        const auto index = static_cast<zip_uint64_t>(i);
        zip_stat_t stat;
        if (zip_stat_index(archive, index, 0, &stat) != 0 || !(stat.valid & ZIP_STAT_NAME)) return false;
        const std::string name = stat.name;
        if (!isSafeMemberName(name)) {
            if (log_) log_(name + " in " + zipPath + " was not extracted: its name leads outside " + destDir + ".");
            continue;
        }
        const bool isDirectory = name.back() == '/' || name.back() == '\\';
        std::string relative = name;
        for (char& c : relative)
            if (c == '\\') c = '/';
        const fs::path target = destination / fileattr::toPath(relative);
        std::error_code ec;
        if (isDirectory) {
            fs::create_directories(target, ec);
            continue;
        }
        if (!matchesFileMask(fileattr::fromPath(target.filename()), fileMask)) continue;
        if (keepExisting && fs::exists(target, ec)) {
            if (stat.valid & ZIP_STAT_SIZE) bytesDone += stat.size;
            continue;
        }
        fs::create_directories(target.parent_path(), ec);
        if (!extractMember(archive, index, fileattr::fromPath(target), bytesDone, bytesTotal)) return false;
        if (stat.valid & ZIP_STAT_MTIME) setModificationTime(target, stat.mtime);
    }
    setPercent(100);
    return true;
}

}  // namespace morvane
