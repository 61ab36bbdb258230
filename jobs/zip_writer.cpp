#include "zip_writer.h"

#include <openssl/rand.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>

#include "crc32.h"
#include "file_attributes.h"
#include "member_names.h"
#include "winzip_aes_keys.h"

#ifndef _WIN32
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace morvane {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kPieceBytes = 1 << 20;
constexpr std::uint16_t kMethodStore = 0;
constexpr std::uint16_t kMethodDeflate = 8;
constexpr std::uint16_t kMethodWinZipAes = 99;
constexpr int kAes256 = 3;
constexpr std::uint64_t kMax32 = 0xFFFFFFFFULL;
// Files this large are left to the zip library, which writes 64-bit sizes.
constexpr std::uint64_t kLargestEntry = 0xFFFF0000ULL;

class Bytes {
public:
    void u16(std::uint16_t v) {
        data.push_back(static_cast<std::uint8_t>(v));
        data.push_back(static_cast<std::uint8_t>(v >> 8));
    }
    void u32(std::uint32_t v) {
        u16(static_cast<std::uint16_t>(v));
        u16(static_cast<std::uint16_t>(v >> 16));
    }
    void u64(std::uint64_t v) {
        u32(static_cast<std::uint32_t>(v));
        u32(static_cast<std::uint32_t>(v >> 32));
    }
    void append(std::string_view s) { data.insert(data.end(), s.begin(), s.end()); }
    void append(const std::vector<std::uint8_t>& v) { data.insert(data.end(), v.begin(), v.end()); }
    std::vector<std::uint8_t> data;
};

void dosDateTime(std::time_t when, std::uint16_t& time, std::uint16_t& date) {
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &when);
#else
    localtime_r(&when, &local);
#endif
    if (local.tm_year < 80) {  // the format starts in 1980
        local = std::tm{};
        local.tm_year = 80;
        local.tm_mday = 1;
    }
    time = static_cast<std::uint16_t>((local.tm_hour << 11) | (local.tm_min << 5) | (local.tm_sec / 2));
    date = static_cast<std::uint16_t>(((local.tm_year - 80) << 9) | ((local.tm_mon + 1) << 5) | local.tm_mday);
}

bool isAscii(std::string_view s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

}  // namespace

std::unique_ptr<ZipWriter> ZipWriter::create(const std::string& archivePath, std::string* error) {
    std::unique_ptr<ZipWriter> writer(new ZipWriter());
    writer->archivePath_ = archivePath;
    if (!writer->file_.open(archivePath)) {
        if (error != nullptr) *error = writer->file_.error();
        return nullptr;
    }
    return writer;
}

ZipWriter::~ZipWriter() = default;

bool ZipWriter::writeBytes(const void* data, std::size_t length) {
    if (length == 0) return true;
    if (!file_.write({static_cast<const std::uint8_t*>(data), length})) {
        error_ = file_.error();
        return false;
    }
    end_ += length;
    return true;
}

bool ZipWriter::truncateTo(std::uint64_t offset) {
    end_ = offset;
    return file_.truncate(offset);
}

std::vector<PackedMember> ZipWriter::members() const {
    std::vector<PackedMember> packed;
    packed.reserve(entries_.size());
    for (const Entry& e : entries_) packed.push_back({e.name, e.crc, e.size, e.externalAttributes});
    return packed;
}

ZipWriter::AddResult ZipWriter::addFile(const std::string& sourcePath, const std::string& name, int level,
                                        std::string_view password, const std::function<void(int)>& progress,
                                        const std::function<bool()>& stopRequested) {
    error_.clear();
    errno = 0;
    std::unique_ptr<std::FILE, FileCloser> source(fileattr::openFile(sourcePath, "rb"));
    if (!source) {
        error_ = systemErrorText(errno);
        return AddResult::Failed;
    }
    std::setvbuf(source.get(), nullptr, _IONBF, 0);
    std::error_code ec;
    const fs::path sourceFsPath = fileattr::toPath(sourcePath);
    const std::uint64_t size = fs::file_size(sourceFsPath, ec);
    if (ec) {
        error_ = ec.message();
        return AddResult::Failed;
    }
    if (size > kLargestEntry) {
        error_ = "the file is too large: an encrypted file can hold at most 4,294,967,295 bytes";
        return AddResult::TooLarge;
    }

    Entry entry;
    entry.name = name;
    entry.offset = end_;
    const bool encrypted = !password.empty();
    const bool deflated = level != 0;
    const std::uint16_t realMethod = deflated ? kMethodDeflate : kMethodStore;
    entry.method = encrypted ? kMethodWinZipAes : realMethod;
    // The UTF-8 flag only for names that are UTF-8: any other name is kept as
    // the bytes it is, and comes back as those bytes.
    entry.flags =
        static_cast<std::uint16_t>((encrypted ? 0x0001 : 0) | (isAscii(name) || !isValidUtf8(name) ? 0 : 0x0800));
    entry.versionNeeded = encrypted ? 51 : 20;
    std::time_t modified = std::time(nullptr);
#ifndef _WIN32
    struct stat info {};
    if (::stat(sourcePath.c_str(), &info) == 0) {
        modified = info.st_mtime;
        entry.externalAttributes = (static_cast<std::uint32_t>(info.st_mode) & 0xFFFF) << 16;
    }
#endif
    entry.externalAttributes |= 0x20;  // archive
    dosDateTime(modified, entry.dosTime, entry.dosDate);
    if (encrypted) {
        Bytes aes;  // vendor version 1 (AE-1: the CRC is kept), "AE", AES-256, the real method
        aes.u16(0x9901);
        aes.u16(7);
        aes.u16(1);
        aes.append("AE");
        aes.data.push_back(kAes256);
        aes.u16(realMethod);
        entry.extra = aes.data;
    }

    const auto fail = [&] {
        if (error_.empty()) error_ = "the archive could not be written";
        truncateTo(entry.offset);
        return AddResult::Failed;
    };

    Bytes header;
    header.u32(0x04034B50);
    header.u16(entry.versionNeeded);
    header.u16(entry.flags);
    header.u16(entry.method);
    header.u16(entry.dosTime);
    header.u16(entry.dosDate);
    header.u32(0);  // CRC and sizes: filled in when the data is written
    header.u32(0);
    header.u32(0);
    header.u16(static_cast<std::uint16_t>(name.size()));
    header.u16(static_cast<std::uint16_t>(entry.extra.size()));
    header.append(name);
    header.append(entry.extra);
    if (!writeBytes(header.data.data(), header.data.size())) return fail();
    const std::uint64_t dataStart = end_;

    winzip::MemberCipher cipher;
    if (encrypted) {
        std::uint8_t salt[16];
        std::uint8_t check[winzip::kCheckValueBytes];
        const std::size_t saltBytes = winzip::saltBytesOf(kAes256);
        if (RAND_bytes(salt, static_cast<int>(saltBytes)) != 1 ||
            !cipher.key(kAes256, password, {salt, saltBytes}, check) || !writeBytes(salt, saltBytes) ||
            !writeBytes(check, sizeof check))
            return fail();
    }
    if (deflated && deflaterLevel_ != level) {
        deflater_ = std::make_unique<ParallelDeflater>(level);
        deflaterLevel_ = level;
    }
    if (deflated && !deflater_->reset()) return fail();

    std::vector<std::uint8_t> piece(kPieceBytes);
    std::vector<std::uint8_t> packed;
    std::uint32_t crc = 0;
    std::uint64_t read = 0;
    for (;;) {
        if (stopRequested && stopRequested()) return fail();
        errno = 0;
        const std::size_t got = std::fread(piece.data(), 1, piece.size(), source.get());
        if (got < piece.size() && std::ferror(source.get())) {
            error_ = systemErrorText(errno);
            return fail();
        }
        read += got;
        if (read > size) {
            error_ = "the file grew while it was read";
            return fail();
        }
        const bool last = got < piece.size() || read == size;
        const std::span<const std::uint8_t> input(piece.data(), got);
        crc = updateCrc32(crc, input);
        packed.clear();
        if (deflated) {
            if (!deflater_->deflatePiece(input, last, packed)) return fail();
        } else {
            packed.assign(input.begin(), input.end());
        }
        if (encrypted) {
            cipher.crypt(packed);
            if (!cipher.authenticate(packed)) return fail();
        }
        if (!writeBytes(packed.data(), packed.size())) return fail();
        if (progress && size > 0) progress(static_cast<int>(read * 100 / size));
        if (last) break;
    }
    if (read != size) {
        error_ = "the file shrank while it was read";
        return fail();
    }
    if (encrypted) {
        std::uint8_t code[winzip::kAuthCodeBytes];
        if (!cipher.authCode(code) || !writeBytes(code, sizeof code)) return fail();
    }
    const std::uint64_t compressed = end_ - dataStart;
    if (compressed > kMax32) return fail();
    entry.crc = crc;
    entry.compressedSize = static_cast<std::uint32_t>(compressed);
    entry.size = static_cast<std::uint32_t>(size);

    Bytes sizes;
    sizes.u32(entry.crc);
    sizes.u32(entry.compressedSize);
    sizes.u32(entry.size);
    if (!file_.writeAt(entry.offset + 14, sizes.data)) {
        error_ = file_.error();
        return fail();
    }

    // A second file of the same name replaces the first, as the last one added
    // wins; its bytes stay in the archive, unlisted.
    if (const auto known = entryByName_.find(name); known != entryByName_.end()) {
        entries_[known->second] = std::move(entry);
    } else {
        entryByName_.emplace(name, entries_.size());
        entries_.push_back(std::move(entry));
    }
    return AddResult::Added;
}

bool ZipWriter::commit(bool durable) {
    if (entries_.empty()) {  // nothing was added: no archive, as if never begun
        file_.discard();
        return true;
    }
    const std::uint64_t directoryStart = end_;
    Bytes directory;
    for (const Entry& e : entries_) {
        const bool farOffset = e.offset >= kMax32;
        Bytes extra;
        if (farOffset) {
            extra.u16(0x0001);
            extra.u16(8);
            extra.u64(e.offset);
        }
        extra.append(e.extra);
        directory.u32(0x02014B50);
        directory.u16((3 << 8) | 63);  // made on Unix, by a 6.3 writer
        directory.u16(farOffset ? std::max<std::uint16_t>(e.versionNeeded, 45) : e.versionNeeded);
        directory.u16(e.flags);
        directory.u16(e.method);
        directory.u16(e.dosTime);
        directory.u16(e.dosDate);
        directory.u32(e.crc);
        directory.u32(e.compressedSize);
        directory.u32(e.size);
        directory.u16(static_cast<std::uint16_t>(e.name.size()));
        directory.u16(static_cast<std::uint16_t>(extra.data.size()));
        directory.u16(0);  // comment
        directory.u16(0);  // disk
        directory.u16(0);  // internal attributes
        directory.u32(e.externalAttributes);
        directory.u32(farOffset ? 0xFFFFFFFFU : static_cast<std::uint32_t>(e.offset));
        directory.append(e.name);
        directory.append(extra.data);
    }
    const std::uint64_t directorySize = directory.data.size();
    const std::uint64_t count = entries_.size();
    const bool zip64 = count > 0xFFFF || directoryStart >= kMax32 || directorySize >= kMax32;
    Bytes tail;
    if (zip64) {
        const std::uint64_t recordStart = directoryStart + directorySize;
        tail.u32(0x06064B50);
        tail.u64(44);
        tail.u16((3 << 8) | 63);
        tail.u16(45);
        tail.u32(0);
        tail.u32(0);
        tail.u64(count);
        tail.u64(count);
        tail.u64(directorySize);
        tail.u64(directoryStart);
        tail.u32(0x07064B50);  // locator
        tail.u32(0);
        tail.u64(recordStart);
        tail.u32(1);
    }
    tail.u32(0x06054B50);
    tail.u16(0);
    tail.u16(0);
    tail.u16(static_cast<std::uint16_t>(std::min<std::uint64_t>(count, 0xFFFF)));
    tail.u16(static_cast<std::uint16_t>(std::min<std::uint64_t>(count, 0xFFFF)));
    tail.u32(static_cast<std::uint32_t>(std::min<std::uint64_t>(directorySize, kMax32)));
    tail.u32(static_cast<std::uint32_t>(std::min<std::uint64_t>(directoryStart, kMax32)));
    tail.u16(0);
    if (!writeBytes(directory.data.data(), directory.data.size()) || !writeBytes(tail.data.data(), tail.data.size())) {
        file_.discard();
        return false;
    }
    if (!file_.commit(durable)) {
        error_ = file_.error();
        return false;
    }
    return true;
}

}  // namespace morvane
