#pragma once
// Writes a new zip archive entry by entry as files are added: each file is
// read, deflated on two cores, enciphered with WinZip AES-256 (AE-1, with its
// CRC, so every reader can check it) and written at once; the central
// directory follows when the archive is committed. The archive is built under
// a temporary name beside its place and takes that place only when complete;
// a writer that is dropped before that leaves nothing behind.
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "parallel_deflate.h"
#include "safe_file.h"
#include "zip_component.h"

namespace morvane {

class ZipWriter {
public:
    enum class AddResult { Added, Failed, TooLarge };

    // Opens the temporary file for a new archive at `archivePath`; nothing on
    // failure, with the system's reason in `error`.
    static std::unique_ptr<ZipWriter> create(const std::string& archivePath, std::string* error = nullptr);
    ~ZipWriter();
    ZipWriter(const ZipWriter&) = delete;
    ZipWriter& operator=(const ZipWriter&) = delete;

    // Adds the file under `name`; level 0 stores, 1 to 9 deflate; an empty
    // password adds it unencrypted. TooLarge: the file needs 64-bit sizes
    // (an encrypted file cannot hold it anyway), and nothing was written. On
    // failure the archive is as before the call, and error() says why.
    AddResult addFile(const std::string& sourcePath, const std::string& name, int level, std::string_view password,
                      const std::function<void(int percent)>& progress, const std::function<bool()>& stopRequested);

    // Writes the central directory and puts the archive in its place. The
    // archive is a temporary file that is enciphered and deleted, so it is
    // not flushed to disk unless `durable`.
    bool commit(bool durable = false);

    const std::string& archivePath() const { return archivePath_; }

    // What the archive holds, in the order of its entries: each file's name,
    // the CRC of the bytes read from it and their count.
    std::vector<PackedMember> members() const;

    // Why the last operation failed.
    const std::string& error() const { return error_; }

private:
    struct Entry {
        std::string name;
        std::uint16_t flags = 0;
        std::uint16_t method = 0;
        std::uint16_t versionNeeded = 20;
        std::uint16_t dosTime = 0, dosDate = 0;
        std::uint32_t crc = 0;
        std::uint32_t compressedSize = 0, size = 0;
        std::uint64_t offset = 0;
        std::uint32_t externalAttributes = 0;
        std::vector<std::uint8_t> extra;  // AES extra field when encrypted
    };

    ZipWriter() = default;
    bool writeBytes(const void* data, std::size_t length);
    bool truncateTo(std::uint64_t offset);

    std::string archivePath_;
    AtomicFile file_;
    std::uint64_t end_ = 0;
    std::string error_;
    std::vector<Entry> entries_;
    std::unordered_map<std::string, std::size_t> entryByName_;  // the entry each name stands for
    std::unique_ptr<ParallelDeflater> deflater_;
    int deflaterLevel_ = -1;
};

}  // namespace morvane
