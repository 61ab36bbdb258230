#include "zip_reader.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "file_attributes.h"
#include "growing_zip.h"
#include "safe_file.h"
#include "zip_format.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace morvane {

namespace {

using namespace zipformat;

// Reads the extra fields of a directory entry: zip64 sizes and offset, the
// WinZip AES field, the extended timestamp.
bool readExtraFields(std::span<const std::uint8_t> extra, ZipEntry& e, bool wantSize, bool wantCompressed,
                     bool wantOffset) {
    std::size_t at = 0;
    while (at + 4 <= extra.size()) {
        const std::uint16_t id = u16(&extra[at]);
        const std::uint16_t length = u16(&extra[at + 2]);
        if (at + 4 + length > extra.size()) break;  // a cut field: the rest is ignored, as readers do
        const std::uint8_t* data = &extra[at + 4];
        if (id == 0x0001) {
            std::size_t k = 0;
            const auto take = [&](std::uint64_t& field) {
                if (k + 8 > length) return false;
                field = u64(data + k);
                k += 8;
                return true;
            };
            if ((wantSize && !take(e.size)) || (wantCompressed && !take(e.compressedSize)) ||
                (wantOffset && !take(e.localHeaderOffset)))
                return false;
        } else if (id == 0x9901 && length >= 7) {
            e.aesStrength = data[4];
            e.aesMethod = u16(data + 5);
        } else if (id == 0x5455 && length >= 5 && (data[0] & 1) != 0) {
            e.modifiedTime = static_cast<std::int32_t>(u32(data + 1));
        }
        at += 4 + static_cast<std::size_t>(length);
    }
    return true;
}

}  // namespace

bool ZipEntry::isFolder() const {
    if (!name.empty() && (name.back() == '/' || name.back() == '\\')) return true;
    return (externalAttributes & 0x10) != 0 && size == 0;
}

bool ZipEntry::isLink() const {
    return (madeBy >> 8) == kMadeOnUnix && ((externalAttributes >> 16) & 0170000) == 0120000;
}

std::optional<unsigned> ZipEntry::unixMode() const {
    const unsigned mode = externalAttributes >> 16;
    if ((madeBy >> 8) != kMadeOnUnix || mode == 0) return std::nullopt;
    return mode & 07777;
}

std::int64_t ZipEntry::modified() const {
    if (modifiedTime) return *modifiedTime;
    std::tm local{};
    local.tm_year = ((dosDate >> 9) & 0x7F) + 80;
    local.tm_mon = std::max(((dosDate >> 5) & 0x0F) - 1, 0);
    local.tm_mday = std::max(dosDate & 0x1F, 1);
    local.tm_hour = (dosTime >> 11) & 0x1F;
    local.tm_min = (dosTime >> 5) & 0x3F;
    local.tm_sec = (dosTime & 0x1F) * 2;
    local.tm_isdst = -1;
    return static_cast<std::int64_t>(std::mktime(&local));
}

ZipReader::~ZipReader() {
#ifdef _WIN32
    if (descriptor_ >= 0) ::_close(descriptor_);
#else
    if (descriptor_ >= 0) ::close(descriptor_);
#endif
}

bool ZipReader::readAt(std::uint64_t offset, std::uint8_t* data, std::size_t length) const {
    if (offset > fileSize_ || length > fileSize_ - offset) return false;
    if (growing_ != nullptr) return growing_->read(offset, data, length);
    return readAllAt(descriptor_, offset, {data, length});
}

std::unique_ptr<ZipReader> ZipReader::open(const std::string& path, std::string& error) {
    std::unique_ptr<ZipReader> reader(new ZipReader());
#ifdef _WIN32
    reader->descriptor_ = ::_wopen(fileattr::toPath(path).c_str(), _O_RDONLY | _O_BINARY);
    if (reader->descriptor_ < 0) {
        error = systemErrorText(errno);
        return nullptr;
    }
    reader->fileSize_ = static_cast<std::uint64_t>(::_lseeki64(reader->descriptor_, 0, SEEK_END));
#else
    reader->descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (reader->descriptor_ < 0 || ::fstat(reader->descriptor_, &info) != 0) {
        error = systemErrorText(errno);
        return nullptr;
    }
    reader->fileSize_ = static_cast<std::uint64_t>(info.st_size);
#endif
    return readDirectory(std::move(reader), error);
}

std::unique_ptr<ZipReader> ZipReader::open(GrowingZip& zip, std::string& error) {
    std::unique_ptr<ZipReader> reader(new ZipReader());
    reader->growing_ = &zip;
    reader->fileSize_ = zip.size();
    return readDirectory(std::move(reader), error);
}

std::unique_ptr<ZipReader> ZipReader::readDirectory(std::unique_ptr<ZipReader> reader, std::string& error) {
    const std::uint64_t size = reader->fileSize_;
    const auto notAZip = [&error](const char* why) {
        error = why;
        return nullptr;
    };
    if (size < kEndRecordBytes) return notAZip("it is no zip archive");

    // The end record: within the last 64 KiB (its comment) of the file.
    const std::size_t tailBytes = static_cast<std::size_t>(std::min<std::uint64_t>(size, 0xFFFF + kEndRecordBytes));
    std::vector<std::uint8_t> tail(tailBytes);
    if (!reader->readAt(size - tailBytes, tail.data(), tailBytes)) return notAZip("it cannot be read");
    std::size_t end = tailBytes - kEndRecordBytes + 1;
    bool found = false;
    while (end-- > 0) {
        if (u32(&tail[end]) == kEndRecord && end + kEndRecordBytes + u16(&tail[end + 20]) <= tailBytes) {
            found = true;
            break;
        }
    }
    if (!found) return notAZip("it is no zip archive");
    const std::uint64_t endOffset = size - tailBytes + end;
    std::uint64_t count = u16(&tail[end + 10]);
    std::uint64_t directorySize = u32(&tail[end + 12]);
    std::uint64_t directoryOffset = u32(&tail[end + 16]);
    if (count == 0xFFFF || directorySize == 0xFFFFFFFF || directoryOffset == 0xFFFFFFFF) {
        std::uint8_t locator[20];
        if (endOffset >= 20 && reader->readAt(endOffset - 20, locator, 20) && u32(locator) == kZip64Locator) {
            std::uint8_t record[56];
            if (!reader->readAt(u64(locator + 8), record, sizeof record) || u32(record) != kZip64EndRecord)
                return notAZip("its zip64 end record is damaged");
            count = u64(record + 32);
            directorySize = u64(record + 40);
            directoryOffset = u64(record + 48);
        }
    }
    if (directoryOffset > size || directorySize > size - directoryOffset || count > directorySize / kCentralHeaderBytes)
        return notAZip("its directory is damaged");

    std::vector<std::uint8_t> directory(static_cast<std::size_t>(directorySize));
    if (!reader->readAt(directoryOffset, directory.data(), directory.size())) return notAZip("it cannot be read");
    std::size_t at = 0;
    reader->entries_.reserve(static_cast<std::size_t>(count));
    for (std::uint64_t i = 0; i < count; ++i) {
        if (at + kCentralHeaderBytes > directory.size() || u32(&directory[at]) != kCentralHeader)
            return notAZip("its directory is damaged");
        const std::uint8_t* h = &directory[at];
        ZipEntry e;
        e.madeBy = u16(h + 4);
        e.flags = u16(h + 8);
        e.method = u16(h + 10);
        e.dosTime = u16(h + 12);
        e.dosDate = u16(h + 14);
        e.crc = u32(h + 16);
        e.compressedSize = u32(h + 20);
        e.size = u32(h + 24);
        const std::size_t nameLength = u16(h + 28), extraLength = u16(h + 30), commentLength = u16(h + 32);
        e.externalAttributes = u32(h + 38);
        e.localHeaderOffset = u32(h + 42);
        if (at + kCentralHeaderBytes + nameLength + extraLength + commentLength > directory.size())
            return notAZip("its directory is damaged");
        e.name.assign(reinterpret_cast<const char*>(h + kCentralHeaderBytes), nameLength);
        const std::span<const std::uint8_t> extra(h + kCentralHeaderBytes + nameLength, extraLength);
        if (!readExtraFields(extra, e, e.size == 0xFFFFFFFF, e.compressedSize == 0xFFFFFFFF,
                             e.localHeaderOffset == 0xFFFFFFFF))
            return notAZip("its directory is damaged");
        if (e.localHeaderOffset >= size) return notAZip("its directory is damaged");
        reader->entries_.push_back(std::move(e));
        at += kCentralHeaderBytes + nameLength + extraLength + commentLength;
    }
    return reader;
}

bool ZipReader::headerMatches(const ZipEntry& entry, std::uint64_t& dataOffset, std::string& error) const {
    std::uint8_t header[kLocalHeaderBytes];
    if (!readAt(entry.localHeaderOffset, header, sizeof header) || u32(header) != kLocalHeader) {
        error = "the header of " + entry.name + " is damaged";
        return false;
    }
    // The member's own header names it as the directory does: a name changed
    // in one of them is damage, not another file.
    const std::size_t nameLength = u16(header + 26);
    std::string localName(nameLength, '\0');
    if (nameLength != entry.name.size() ||
        !readAt(entry.localHeaderOffset + kLocalHeaderBytes, reinterpret_cast<std::uint8_t*>(localName.data()),
                nameLength) ||
        localName != entry.name) {
        error = "the header of " + entry.name + " names another file than the archive's directory";
        return false;
    }
    dataOffset = entry.localHeaderOffset + kLocalHeaderBytes + nameLength + u16(header + 28);
    return true;
}

bool ZipReader::readStored(const ZipEntry& entry, const std::function<bool(std::span<const std::uint8_t>)>& sink,
                           std::string& error) const {
    std::uint64_t offset = 0;
    if (!headerMatches(entry, offset, error)) return false;
    std::uint64_t left = entry.compressedSize;
    if (offset > fileSize_ || left > fileSize_ - offset) {
        error = "the archive ends before the end of " + entry.name;
        return false;
    }
    // Each call has its own buffer: members are read on several threads at once.
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(std::min<std::uint64_t>(left, kStoredPieceBytes)));
    while (left > 0) {
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size()));
        if (!readAt(offset, buffer.data(), length)) {
            error = "the archive cannot be read";
            return false;
        }
        if (!sink({buffer.data(), length})) return false;
        offset += length;
        left -= length;
    }
    return true;
}

}  // namespace morvane
