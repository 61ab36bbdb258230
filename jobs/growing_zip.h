#pragma once
// The deciphered zip of an archive that is being opened, read while it is
// still being written: extraction starts on the first member while the rest
// of the archive is deciphered behind it. The zip's end (its directory and
// end records) is deciphered first and kept in memory, so the extraction
// knows every member before their bytes are there; any other read waits
// until the writer has put those bytes in the file. When the writer fails,
// every waiting read fails.
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace morvane {

class GrowingZip {
public:
    // A zip of `size` bytes whose bytes from `tailStart` on are `tail`; the
    // writer puts it at `finalPath` when it is complete.
    GrowingZip(std::uint64_t size, std::uint64_t tailStart, std::vector<std::uint8_t> tail, std::string finalPath);
    ~GrowingZip();
    GrowingZip(const GrowingZip&) = delete;
    GrowingZip& operator=(const GrowingZip&) = delete;

    // --- The writer's side ---
    // The first `bytes` of the zip are in the file at `temporaryPath`.
    void written(std::uint64_t bytes, const std::string& temporaryPath);
    // The writer has ended: the file is complete at the final path when `ok`.
    void finished(bool ok);

    // --- The reader's side ---
    std::uint64_t size() const { return size_; }
    const std::string& finalPath() const { return finalPath_; }
    // Reads `length` bytes at `offset`, waiting for them; false when they are
    // beyond the zip or the writer failed.
    bool read(std::uint64_t offset, std::uint8_t* data, std::size_t length);
    // Waits for the writer to end; true when the file is complete.
    bool waitComplete();

private:
    bool readFile(std::uint64_t offset, std::uint8_t* data, std::size_t length);

    const std::uint64_t size_;
    const std::uint64_t tailStart_;
    const std::vector<std::uint8_t> tail_;
    const std::string finalPath_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t written_ = 0;
    std::string temporaryPath_;
    bool finished_ = false;
    bool ok_ = false;
    int descriptor_ = -1;  // the reader's own, opened at its first read of the file
};

}  // namespace morvane
