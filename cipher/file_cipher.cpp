// Whole files through one cipher buffer, streamed in bounded chunks so that
// memory stays flat whatever the file's size. Bytes written and progress
// reported are those of the whole-buffer operations.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

#include "byte_order.h"
#include "clsBlowfish.h"
#include "file_attributes.h"
#include "safe_file.h"

namespace morvane {
namespace {

namespace fs = std::filesystem;

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

FileHandle openForReading(const std::string& path) {
    FileHandle file(fileattr::openFile(path, "rb"));
    // The chunks are already large; a second buffer would only copy them.
    if (file) std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return file;
}

std::string systemError(int error) { return std::strerror(error != 0 ? error : EIO); }

// Reads exactly `length` bytes; false with an error text when it cannot.
bool readExactly(std::FILE* file, std::uint8_t* data, std::size_t length, const std::string& name, std::string& error) {
    errno = 0;
    if (std::fread(data, 1, length, file) == length) return true;
    error = std::ferror(file) ? systemError(errno) : name + " became shorter while it was being read.";
    return false;
}

// The output file: written under a temporary name beside OutFile, flushed,
// and put in place only when complete, so that OutFile is always either the
// old file or the whole new one. (The old file is not deleted first: a kill
// or a full disk must not take it away before the new one exists. When the
// input itself is the output, it is read whole before it is replaced.)
class OutputFile {
public:
    bool open(const std::string& outFile, bool durable, std::string& error) {
        durable_ = durable;
        if (file_.open(outFile)) return true;
        error = file_.error();
        return false;
    }

    bool write(const std::uint8_t* data, std::size_t length, std::string& error) {
        if (length == 0) return true;
        if (!file_.write({data, length})) {
            error = file_.error();
            return false;
        }
        // Written out as it comes, a file that is to be flushed leaves the
        // final flush little to do.
        unhinted_ += length;
        if (durable_ && unhinted_ >= kWritebackBytes) {
            file_.startWriteback();
            unhinted_ = 0;
        }
        return true;
    }

    // Flushes the file (when asked to), lets `check` read it back under its
    // temporary name, and puts it in place.
    bool commit(bool flush, const clsBlowfish::WrittenFileCheck& check, std::string& error) {
        if (flush && !file_.flush()) {
            error = file_.error();
            return false;
        }
        if (check && !check(file_.temporaryPath())) {
            error = "the file written could not be read back as it was written";
            file_.discard();
            return false;
        }
        if (file_.commit(flush)) return true;
        error = file_.error();
        return false;
    }

    std::uint64_t size() const { return file_.size(); }
    const std::string& temporaryPath() const { return file_.temporaryPath(); }

private:
    static constexpr std::size_t kWritebackBytes = 8 << 20;
    AtomicFile file_;
    bool durable_ = true;
    std::size_t unhinted_ = 0;
};

// Opens the input and reads its length.
FileHandle openInput(const std::string& inFile, std::uint64_t& length, std::string& error) {
    errno = 0;
    FileHandle input = openForReading(inFile);
    if (!input) {
        error = systemError(errno);
        return input;
    }
    std::error_code ec;
    length = fs::file_size(fileattr::toPath(inFile), ec);
    if (ec) {
        error = ec.message();
        input.reset();
    }
    return input;
}

}  // namespace

bool clsBlowfish::fileExists(const std::string& path) {
    std::error_code ec;
    const auto length = fs::file_size(fileattr::toPath(path), ec);
    return !ec && length != static_cast<std::uintmax_t>(-1);
}

void clsBlowfish::killFile(const std::string& fileName) {
    std::error_code ec;
    const fs::path path = fileattr::toPath(fileName);
    if (!fs::is_regular_file(path, ec)) return;
    const auto attributes = fileattr::getAttributes(fileName);
    if (!attributes || (*attributes & (fileattr::kHidden | fileattr::kSystem)) != 0) return;
    if (*attributes != fileattr::kArchive) fileattr::setAttributes(fileName, fileattr::kArchive);
    removeFile(fileName);
}

bool clsBlowfish::EncryptFile(const std::string& inFile, const std::string& outFile, std::string_view keyText) {
    return encryptFileInChunks(inFile, outFile, keyText, kFileChunkBytes);
}

bool clsBlowfish::EncryptFile(const std::string& inFile, const std::string& outFile, std::string_view keyText,
                              const WrittenFileCheck& check) {
    return encryptFileInChunks(inFile, outFile, keyText, kFileChunkBytes, check);
}

bool clsBlowfish::DecryptFile(const std::string& inFile, const std::string& outFile, std::string_view keyText) {
    return decryptFileInChunks(inFile, outFile, keyText, kFileChunkBytes);
}

bool clsBlowfish::DecryptFile(const std::string& inFile, const std::string& outFile, std::string_view keyText,
                              const WrittenSoFar& written) {
    return decryptFileInChunks(inFile, outFile, keyText, kFileChunkBytes, written);
}

bool clsBlowfish::decipherRange(const std::string& inFile, std::string_view keyText, std::uint64_t offset,
                                std::size_t length, std::vector<std::uint8_t>& plaintext) {
    std::uint64_t total = 0;
    FileHandle input = openInput(inFile, total, LastError);
    if (!input) return false;
    const std::uint64_t wholeBlocks = total / 8 * 8;
    if (offset > wholeBlocks || length > wholeBlocks - offset) {
        LastError = inFile + " is shorter than the bytes asked of it.";
        return false;
    }
    if (!keyText.empty()) key(keyText);
    const blowfish::BlocksAround around(offset, length);
    std::vector<std::uint8_t> blocks(around.readBytes());
    errno = 0;
#ifdef _WIN32
    const bool placed = ::_fseeki64(input.get(), static_cast<__int64>(around.from), SEEK_SET) == 0;
#else
    const bool placed = ::fseeko(input.get(), static_cast<off_t>(around.from), SEEK_SET) == 0;
#endif
    if (!placed || !readExactly(input.get(), blocks.data(), blocks.size(), inFile, LastError)) return false;
    const std::span<const std::uint8_t> plain = blowfish::cbcDecipherAround(tables_, around, blocks);
    plaintext.assign(plain.begin(), plain.end());
    return true;
}

bool clsBlowfish::encryptFileInChunks(const std::string& inFile, const std::string& outFile, std::string_view keyText,
                                      std::size_t chunkBytes, const WrittenFileCheck& check) {
    chunkBytes = std::max<std::size_t>(16, chunkBytes / 8 * 8);
    if (!fileExists(inFile)) {
        LastError = "Unable to locate " + inFile + ".";
        return false;
    }
    std::uint64_t n = 0;
    FileHandle input = openInput(inFile, n, LastError);
    if (!input) return false;
    if (n > kMaxPlaintextBytes) {
        LastError = inFile + " is too large to encrypt: an encrypted file can hold at most 4,294,967,295 bytes.";
        return false;
    }
    if (!keyText.empty()) key(keyText);

    OutputFile output;
    if (!output.open(outFile, flushOutput, LastError)) return false;

    // The chain is one sequential run on this thread; the chunk before it is
    // written and the chunk after it read on the helper thread meanwhile, so
    // the disk work costs no time of the chain's.
    const std::uint64_t total = (n + 12 + 7) / 8 * 8;
    const auto chunkSize = static_cast<std::size_t>(std::min<std::uint64_t>(chunkBytes, total));
    const std::uint64_t chunks = (total + chunkSize - 1) / chunkSize;
    std::vector<std::uint8_t> buffers[3];
    for (auto& buffer : buffers) buffer.resize(chunkSize);
    const auto lengthOf = [&](std::uint64_t k) {
        return static_cast<std::size_t>(std::min<std::uint64_t>(chunkSize, total - k * chunkSize));
    };
    std::uint64_t unread = n;
    // Lays out chunk k's plaintext: the header in front of the first, the
    // file's bytes, zeros after its end.
    const auto fill = [&](std::uint64_t k, std::string& error) {
        std::uint8_t* chunk = buffers[k % 3].data();
        const std::size_t length = lengthOf(k);
        std::size_t filled = 0;
        if (k == 0) {
            writeHeader(chunk, n);
            filled = kHeaderBytes;
        }
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length - filled, unread));
        if (!readExactly(input.get(), chunk + filled, wanted, inFile, error)) return false;
        unread -= wanted;
        filled += wanted;
        std::fill(chunk + filled, chunk + length, std::uint8_t{0});
        return true;
    };
    struct Transfer {
        std::uint64_t next = 0;  // the chunk being enciphered
        std::uint64_t chunks = 0;
        const std::function<bool(std::uint64_t, std::string&)>* fill = nullptr;
        const std::function<bool(std::uint64_t, std::string&)>* write = nullptr;
        bool ok = true;
        std::string error;
    };
    const std::function<bool(std::uint64_t, std::string&)> fillChunk = fill;
    const std::function<bool(std::uint64_t, std::string&)> writeChunk = [&](std::uint64_t k, std::string& error) {
        return output.write(buffers[k % 3].data(), lengthOf(k), error);
    };
    Transfer transfer{0, chunks, &fillChunk, &writeChunk, true, {}};
    const HelperThread::Job aroundChunk = [](void* context) {
        auto* t = static_cast<Transfer*>(context);
        if (t->next > 0 && !(*t->write)(t->next - 1, t->error)) t->ok = false;
        if (t->ok && t->next + 1 < t->chunks && !(*t->fill)(t->next + 1, t->error)) t->ok = false;
    };

    blowfish::ProgressMeter meter(total, Progress);
    blowfish::ChainBlock previous;
    if (!fill(0, LastError)) return false;
    for (std::uint64_t k = 0; k < chunks; ++k) {
        if (stopRequested_) {
            LastError = kStoppedError;
            return false;
        }
        transfer.next = k;
        io_.start(aroundChunk, &transfer);
        const std::size_t length = lengthOf(k);
        blowfish::cbcEncipher(tables_, {buffers[k % 3].data(), length}, previous);
        io_.wait();
        if (!transfer.ok) {
            LastError = transfer.error;
            return false;
        }
        meter.blocksDone(k * chunkSize + length - 8);
    }
    if (!writeChunk(chunks - 1, LastError)) return false;
    meter.finish();
    input.reset();
    return output.commit(flushOutput, check, LastError);
}

bool clsBlowfish::decipherFileInChunks(const std::string& inFile, std::string_view keyText, std::size_t chunkBytes,
                                       const PlaintextSink& sink, bool reportProgress, bool& fits,
                                       const std::function<void()>& between) {
    chunkBytes = std::max<std::size_t>(16, chunkBytes / 8 * 8);
    fits = false;
    if (!fileExists(inFile)) {
        LastError = "Unable to locate " + inFile + ".";
        return false;
    }
    std::uint64_t total = 0;
    FileHandle input = openInput(inFile, total, LastError);
    if (!input) return false;
    if (!keyText.empty()) key(keyText);
    text_.resetText();

    // Each piece goes to the sink on the helper thread while the next chunk
    // is read and deciphered here: two buffers take turns.
    std::vector<std::uint8_t> buffers[2];
    for (auto& buffer : buffers) buffer.resize(static_cast<std::size_t>(std::min<std::uint64_t>(chunkBytes, total)));
    struct SinkJob {
        const PlaintextSink* sink = nullptr;
        std::span<const std::uint8_t> piece;
        bool ok = true;
    } job{&sink, {}, true};
    bool sinkBusy = false;
    // Waits for the piece before; false when the sink said stop.
    const auto sinkDone = [&] {
        if (sinkBusy) io_.wait();
        sinkBusy = false;
        return job.ok;
    };
    const auto failWith = [&](std::string error) {
        sinkDone();
        LastError = std::move(error);
        return false;
    };

    const ProgressHandler silent;
    blowfish::ProgressMeter meter(total, reportProgress ? Progress : silent);
    blowfish::ChainBlock previous;
    // Until the size descriptor has been read and found to fit, the whole
    // deciphered length is what gets handed on, as after a failed size check.
    std::uint64_t keepFrom = 0, keepTo = total;
    for (std::uint64_t offset = 0, k = 0; offset < total; ++k) {
        if (stopRequested_) return failWith(std::string(kStoppedError));
        std::vector<std::uint8_t>& chunk = buffers[k % 2];
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(chunk.size(), total - offset));
        std::string readError;
        if (!readExactly(input.get(), chunk.data(), length, inFile, readError)) return failWith(readError);
        const std::size_t blockBytes = length / 8 * 8;  // a trailing part block is left as read
        decipher_.run(tables_, {chunk.data(), blockBytes}, previous);
        if (blockBytes > 0) meter.blocksDone(offset + blockBytes - 8);

        if (offset == 0 && total >= 16) {
            const std::uint64_t n = loadLittleEndian32(chunk.data() + 8);
            fits = sizeDescriptorFits(total, n);
            if (fits) {
                keepFrom = kHeaderBytes;
                keepTo = kHeaderBytes + n;
            }
        }
        if (!sinkDone()) return false;
        if (between) between();
        const std::uint64_t from = std::max(offset, keepFrom);
        const std::uint64_t to = std::min<std::uint64_t>(offset + length, keepTo);
        if (from < to) {
            job.piece = {chunk.data() + (from - offset), static_cast<std::size_t>(to - from)};
            io_.start(
                [](void* context) {
                    auto* j = static_cast<SinkJob*>(context);
                    j->ok = (*j->sink)(j->piece);
                },
                &job);
            sinkBusy = true;
        }
        offset += length;
    }
    if (!sinkDone()) return false;
    if (fits) meter.finish();
    return true;
}

bool clsBlowfish::decryptFileInChunks(const std::string& inFile, const std::string& outFile, std::string_view keyText,
                                      std::size_t chunkBytes, const WrittenSoFar& written) {
    if (!fileExists(inFile)) {
        LastError = "Unable to locate " + inFile + ".";
        return false;
    }
    OutputFile output;
    if (!output.open(outFile, flushOutput, LastError)) return false;
    bool fits = false;
    const bool read = decipherFileInChunks(
        inFile, keyText, chunkBytes,
        [&](std::span<const std::uint8_t> plain) {
            if (!output.write(plain.data(), plain.size(), LastError)) return false;
            if (written) written(output.size(), output.temporaryPath());
            return true;
        },
        true, fits);
    return read && output.commit(flushOutput, {}, LastError);
}

bool clsBlowfish::decipherFileInto(const std::string& inFile, std::string_view keyText, const PlaintextSink& sink,
                                   const std::function<void()>& between) {
    bool fits = false;
    if (!decipherFileInChunks(inFile, keyText, kFileChunkBytes, sink, false, fits, between)) return false;
    if (!fits) LastError = inFile + " does not decipher under this key: its size descriptor does not fit.";
    return fits;
}

}  // namespace morvane
