// Whole files through one cipher buffer, streamed in bounded chunks so that
// memory stays flat whatever the file's size. Bytes written and progress
// reported are those of the whole-buffer operations.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "byte_order.h"
#include "clsBlowfish.h"
#include "file_attributes.h"

namespace morvane {
namespace {

namespace fs = std::filesystem;

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

FileHandle openFile(const std::string& path, bool forWriting) {
    FileHandle file(fileattr::openFile(path, forWriting ? "wb" : "rb"));
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

// The output file. The old file is deleted first as the cipher's own file
// rule says; one that cannot be deleted (a hidden file) is truncated instead
// of being written over in part. When the input itself is the output, the new
// content goes to a temporary file beside it that replaces it at the end, so
// the input is never overwritten while it is still being read.
class OutputFile {
public:
    ~OutputFile() {
        file_.reset();
        if (!temporary_.empty()) {
            std::error_code ec;
            fs::remove(temporary_, ec);
        }
    }

    bool open(const std::string& inFile, const std::string& outFile, std::string& error) {
        target_ = fileattr::toPath(outFile);
        std::error_code ec;
        if (fs::equivalent(fileattr::toPath(inFile), target_, ec)) {
            temporary_ = target_;
            temporary_ += ".~mvtmp";
        } else if (clsBlowfish::fileExists(outFile)) {
            clsBlowfish::killFile(outFile);
        }
        errno = 0;
        file_ = openFile(fileattr::fromPath(temporary_.empty() ? target_ : temporary_), true);
        if (!file_) error = systemError(errno);
        return static_cast<bool>(file_);
    }

    bool write(const std::uint8_t* data, std::size_t length, std::string& error) {
        if (length == 0) return true;
        errno = 0;
        if (std::fwrite(data, 1, length, file_.get()) == length) return true;
        error = systemError(errno);
        return false;
    }

    // Closes the file (reporting a failed close: the last bytes may only be
    // written then) and puts a temporary file in place.
    bool commit(std::string& error) {
        errno = 0;
        if (std::fclose(file_.release()) != 0) {
            error = systemError(errno);
            return false;
        }
        if (temporary_.empty()) return true;
        std::error_code ec;
        fs::rename(temporary_, target_, ec);
        if (ec) {
            error = ec.message();
            return false;
        }
        temporary_.clear();
        return true;
    }

private:
    FileHandle file_;
    fs::path target_;
    fs::path temporary_;
};

// Opens the input and reads its length.
FileHandle openInput(const std::string& inFile, std::uint64_t& length, std::string& error) {
    errno = 0;
    FileHandle input = openFile(inFile, false);
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
    fs::remove(path, ec);
}

bool clsBlowfish::EncryptFile(const std::string& inFile, const std::string& outFile, std::string_view keyText) {
    return encryptFileInChunks(inFile, outFile, keyText, kFileChunkBytes);
}

bool clsBlowfish::DecryptFile(const std::string& inFile, const std::string& outFile, std::string_view keyText) {
    return decryptFileInChunks(inFile, outFile, keyText, kFileChunkBytes);
}

bool clsBlowfish::encryptFileInChunks(const std::string& inFile, const std::string& outFile, std::string_view keyText,
                                      std::size_t chunkBytes) {
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
    if (!output.open(inFile, outFile, LastError)) return false;

    const std::uint64_t total = (n + 12 + 7) / 8 * 8;
    std::vector<std::uint8_t> chunk(static_cast<std::size_t>(std::min<std::uint64_t>(chunkBytes, total)));
    blowfish::ProgressMeter meter(total, Progress);
    blowfish::ChainBlock previous;
    std::uint64_t unread = n;
    for (std::uint64_t offset = 0; offset < total;) {
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(chunk.size(), total - offset));
        std::size_t filled = 0;
        if (offset == 0) {
            writeHeader(chunk.data(), n);
            filled = 12;
        }
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length - filled, unread));
        if (!readExactly(input.get(), chunk.data() + filled, wanted, inFile, LastError)) return false;
        unread -= wanted;
        filled += wanted;
        std::fill(chunk.begin() + static_cast<std::ptrdiff_t>(filled),
                  chunk.begin() + static_cast<std::ptrdiff_t>(length), std::uint8_t{0});

        blowfish::cbcEncipher(tables_, {chunk.data(), length}, previous);
        meter.blocksDone(offset + length - 8);
        if (!output.write(chunk.data(), length, LastError)) return false;
        offset += length;
    }
    meter.finish();
    input.reset();
    return output.commit(LastError);
}

bool clsBlowfish::decryptFileInChunks(const std::string& inFile, const std::string& outFile, std::string_view keyText,
                                      std::size_t chunkBytes) {
    chunkBytes = std::max<std::size_t>(16, chunkBytes / 8 * 8);
    if (!fileExists(inFile)) {
        LastError = "Unable to locate " + inFile + ".";
        return false;
    }
    std::uint64_t total = 0;
    FileHandle input = openInput(inFile, total, LastError);
    if (!input) return false;
    if (!keyText.empty()) key(keyText);
    text_.resetText();

    OutputFile output;
    if (!output.open(inFile, outFile, LastError)) return false;

    std::vector<std::uint8_t> chunk(static_cast<std::size_t>(std::min<std::uint64_t>(chunkBytes, total)));
    blowfish::ProgressMeter meter(total, Progress);
    blowfish::ChainBlock previous;
    // Until the size descriptor has been read and found to fit, the whole
    // deciphered length is what gets written, as after a failed size check.
    std::uint64_t keepFrom = 0, keepTo = total;
    bool fits = false;
    for (std::uint64_t offset = 0; offset < total;) {
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(chunk.size(), total - offset));
        if (!readExactly(input.get(), chunk.data(), length, inFile, LastError)) return false;
        const std::size_t blockBytes = length / 8 * 8;  // a trailing part block is left as read
        decipher_.run(tables_, {chunk.data(), blockBytes}, previous);
        if (blockBytes > 0) meter.blocksDone(offset + blockBytes - 8);

        if (offset == 0 && total >= 16) {
            const std::uint64_t n = loadLittleEndian32(chunk.data() + 8);
            fits = sizeDescriptorFits(total, n);
            if (fits) {
                keepFrom = 12;
                keepTo = 12 + n;
            }
        }
        const std::uint64_t from = std::max(offset, keepFrom);
        const std::uint64_t to = std::min<std::uint64_t>(offset + length, keepTo);
        if (from < to && !output.write(chunk.data() + (from - offset), static_cast<std::size_t>(to - from), LastError))
            return false;
        offset += length;
    }
    if (fits) meter.finish();
    input.reset();
    return output.commit(LastError);
}

}  // namespace morvane
