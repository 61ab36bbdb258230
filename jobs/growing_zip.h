#pragma once
// The zip inside an archive that is being opened, deciphered as it is read.
// The zip's end (its directory and end records) is deciphered first and kept
// in memory, so the extraction knows every member before any of its bytes;
// every other read deciphers its bytes straight from the archive (each block
// needs only the ciphertext block before it) and writes them into the
// temporary zip at their place. Extraction threads thus decipher, check and
// inflate the same bytes while they are in the processor's cache, and the
// temporary zip is never read back. Completing the zip deciphers what no read
// asked for and gives the file its name; only then is it there under that
// name. A write or read that fails, or a stop, fails every read after it.
#include <atomic>
#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "blowfish_engine.h"
#include "folder.h"
#include "helper_thread.h"
#include "safe_file.h"

namespace morvane {

// The end of the zip inside an archive: from `tailStart` on, its bytes.
struct ZipEnd {
    std::uint64_t size = 0;       // the zip's length
    std::uint64_t tailStart = 0;  // where `tail` begins: the directory, or the last 64 KiB if sooner
    std::vector<std::uint8_t> tail;
};

class GrowingZip {
public:
    // The zip of the archive at `archivePath`, whose key `tables` hold; the
    // zip is written to `finalPath` (flushed first when `durable`). With no
    // final path nothing is written: reads only decipher.
    GrowingZip(const blowfish::Tables& tables, std::string archivePath, ZipEnd end, std::string finalPath,
               bool durable);
    ~GrowingZip();
    GrowingZip(const GrowingZip&) = delete;
    GrowingZip& operator=(const GrowingZip&) = delete;

    // Opens the archive and makes the temporary zip beside its final name;
    // false with error() set.
    bool open();

    // --- The readers' side ---
    std::uint64_t size() const { return size_; }
    const std::string& finalPath() const { return finalPath_; }
    // Reads `length` bytes at `offset`; false when they are beyond the zip,
    // or the archive, the temporary zip or an earlier read failed.
    bool read(std::uint64_t offset, std::uint8_t* data, std::size_t length);
    // Completes the zip and gives it its name (once; later calls wait for
    // the first and tell its result). True when the file is complete.
    bool waitComplete();

    // Held by each thread while it reads members. A thread that reads alone
    // has the next piece deciphered ahead of it on a second thread; two
    // readers keep both cores busy without that.
    class ReadingThread {
    public:
        explicit ReadingThread(GrowingZip& zip) : zip_(zip) { ++zip_.readers_; }
        ~ReadingThread() { --zip_.readers_; }
        ReadingThread(const ReadingThread&) = delete;
        ReadingThread& operator=(const ReadingThread&) = delete;

    private:
        GrowingZip& zip_;
    };

    // --- The opener's side ---
    // Every read and the completion fail from now on.
    void stop();
    bool isComplete() const { return complete_.load(); }
    // Bytes of the zip deciphered and written so far.
    std::uint64_t decipheredBytes() const;
    // Why a read or the completion failed.
    std::string error() const;

private:
    // Deciphers the zip's bytes at `offset` into `out` (`scratch` holds the
    // blocks around them) and writes them into the temporary zip.
    bool decipherInto(std::uint64_t offset, std::span<std::uint8_t> out, std::vector<std::uint8_t>& scratch);
    bool readAhead(std::uint64_t offset, std::span<std::uint8_t> out);
    bool readArchive(std::uint64_t offset, std::span<std::uint8_t> bytes);
    bool writeTemporary(std::uint64_t offset, std::span<const std::uint8_t> bytes);
    bool fail(std::string reason);
    void covered(std::uint64_t from, std::uint64_t to);
    std::vector<std::pair<std::uint64_t, std::uint64_t>> gaps() const;
    bool fillAndCommit();
    std::vector<std::uint8_t> takeScratch();
    void giveScratch(std::vector<std::uint8_t> scratch);

    const blowfish::Tables& tables_;
    const std::string archivePath_;
    const std::uint64_t size_;
    const std::uint64_t tailStart_;
    const std::vector<std::uint8_t> tail_;
    const std::string finalPath_;
    const bool durable_;

    FileDescriptor archive_;
    AtomicFile temporary_;
    // Writes into the temporary zip hold it shared; completing it, alone.
    std::shared_mutex writing_;
    bool writesClosed_ = false;
#ifdef _WIN32
    std::mutex seekThenTransfer_;
#endif

    mutable std::mutex state_;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> covered_;  // written ranges, sorted, apart
    std::vector<std::vector<std::uint8_t>> scratches_;              // blocks buffers not in use
    std::string error_;
    std::atomic<bool> failed_{false};
    std::atomic<bool> complete_{false};
    std::atomic<int> readers_{0};

    std::mutex completing_;
    bool completed_ = false;
    bool completeOk_ = false;

    // The piece deciphered ahead of a lone reader.
    struct Ahead {
        GrowingZip* zip = nullptr;
        std::uint64_t offset = 0;
        std::vector<std::uint8_t> bytes;
        std::vector<std::uint8_t> scratch;
        bool ok = false;
    };
    std::mutex aheadInUse_;
    Ahead ahead_;
    bool aheadBusy_ = false;
    HelperThread aheadThread_;  // last: it stops before what it works on goes
};

}  // namespace morvane
