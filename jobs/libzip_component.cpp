#include "libzip_component.h"

#include <zlib.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "file_attributes.h"
#include "growing_zip.h"
#include "safe_file.h"
#include "secure_wipe.h"
#include "zip_extractor.h"

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

// Why the source cannot be packed, or "" when it can be read.
std::string sourceRefusal(const std::string& path) {
    std::error_code ec;
    const fs::path p = fileattr::toPath(path);
    if (fs::is_directory(p, ec)) return "it is a folder";
    if (!fs::is_regular_file(p, ec)) return "it does not exist";
    errno = 0;
    std::FILE* f = fileattr::openFile(path, "rb");
    if (!f) return systemErrorText(errno);
    std::fclose(f);
    return {};
}

}  // namespace

LibzipComponent::~LibzipComponent() {
    DiscardArchive();
    secureWipe(zipPassword_);
    secureWipe(unzipPassword_);
}

void LibzipComponent::SetZipPassword(std::string_view password) { zipPassword_.assign(password); }

void LibzipComponent::SetUnzipPassword(std::string_view password) { unzipPassword_.assign(password); }

void LibzipComponent::ZipMode(int mode) { zipMode_ = mode; }

void LibzipComponent::setPercent(int percent) {
    percentDone_ = percent;
    if (Progress) Progress(percent);
}

bool LibzipComponent::CommitArchive() {
    if (writer_ == nullptr) return true;
    const bool written = writer_->commit();
    if (written) {
        packed_ = writer_->members();
        setPercent(100);
    } else {
        lastError_ = writer_->error();
    }
    writer_.reset();
    pendingPath_.clear();
    return written;
}

void LibzipComponent::DiscardArchive() {
    writer_.reset();
    pendingPath_.clear();
}

bool LibzipComponent::ZipFiles(const std::string& sourceDir, const std::string& fileSpec, const std::string& destDir,
                               const std::string& zipName, const std::string& options) {
    stopRequested_ = false;
    lastError_.clear();
    const std::string name = unquote(fileSpec);
    const std::string sourcePath = sourceDir + name;
    const std::string archivePath = destDir + zipName;
    if (writer_ != nullptr && pendingPath_ != archivePath && !CommitArchive()) return false;
    setPercent(0);

    // A file that cannot be read is refused before the archive is touched.
    if (name.empty()) {
        lastError_ = "no file name was given";
        return false;
    }
    if (const std::string refusal = sourceRefusal(sourcePath); !refusal.empty()) {
        lastError_ = refusal;
        return false;
    }
    if (writer_ == nullptr) {
        writer_ = ZipWriter::create(archivePath, &lastError_);
        if (writer_ == nullptr) return false;
        pendingPath_ = archivePath;
        packed_.clear();
    }
    const ZipWriter::AddResult added = writer_->addFile(
        sourcePath, name, compressionLevel(options), zipPassword_, [this](int percent) { setPercent(percent); },
        [this] { return stopRequested_.load(); });
    if (added == ZipWriter::AddResult::Added) return true;
    lastError_ = writer_->error();
    return false;
}

bool LibzipComponent::extract(const std::string& zipPath, GrowingZip* growing, const std::string& fileMask,
                              const std::string& destDir, const std::string& options,
                              std::function<void(int)> progress) {
    ExtractionRequest request;
    request.zipPath = zipPath;
    request.fileMask = fileMask;
    request.destination = destDir;
    request.keepExisting = hasOption(options, 'n');
    request.password = unzipPassword_;
    request.progress = std::move(progress);
    request.stopRequested = &stopRequested_;
    request.growing = growing;
    lastExtraction_ = extractArchive(request);
    secureWipe(request.password);
    return lastExtraction_.failure == ExtractionReport::Failure::None;
}

bool LibzipComponent::UnzipFiles(const std::string& zipPath, const std::string& fileMask, const std::string& destDir,
                                 const std::string& options) {
    stopRequested_ = false;
    if (!CommitArchive()) return false;
    setPercent(0);
    return extract(zipPath, nullptr, fileMask, destDir, options, [this](int percent) { setPercent(percent); });
}

// Runs on a thread of its own while the archive is deciphered: the percentage is
// only kept, and the caller's thread reports it.
bool LibzipComponent::UnzipGrowingFile(GrowingZip& zip, const std::string& fileMask, const std::string& destDir,
                                       const std::string& options) {
    stopRequested_ = false;
    percentDone_ = 0;
    return extract(zip.finalPath(), &zip, fileMask, destDir, options, [this](int percent) { percentDone_ = percent; });
}

}  // namespace morvane
