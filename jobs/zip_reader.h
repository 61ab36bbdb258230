#pragma once
// Reading a zip archive's directory and its members' stored bytes. Names are
// kept as the bytes the archive holds (with or without the UTF-8 flag), so a
// file comes back under the very name it was packed under; zip64 records,
// WinZip AES fields and extended timestamps are read.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace morvane {

class GrowingZip;

struct ZipEntry {
    std::string name;  // the bytes the archive holds
    std::uint16_t madeBy = 0;
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint16_t dosTime = 0;
    std::uint16_t dosDate = 0;
    std::uint32_t crc = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t size = 0;
    std::uint64_t localHeaderOffset = 0;
    std::uint32_t externalAttributes = 0;
    int aesStrength = 0;                       // 1 to 3 for a WinZip AES member
    std::uint16_t aesMethod = 0;               // the real compression method of an AES member
    std::optional<std::int64_t> modifiedTime;  // from an extended timestamp field

    bool encrypted() const { return (flags & 0x0001) != 0; }
    // A folder entry (a name ending in a separator, or the folder attribute).
    bool isFolder() const;
    // A symbolic link made on Unix.
    bool isLink() const;
    // The permission bits of a member made on Unix, when it has them.
    std::optional<unsigned> unixMode() const;
    // When the member was last changed: the extended timestamp, else the
    // DOS date and time read as local time.
    std::int64_t modified() const;
};

class ZipReader {
public:
    // Opens the archive and reads its directory; nothing when it is no zip
    // archive (or a damaged one), with the reason in `error`.
    static std::unique_ptr<ZipReader> open(const std::string& path, std::string& error);
    // The same for the zip of an archive being opened: reads decipher its bytes.
    static std::unique_ptr<ZipReader> open(GrowingZip& zip, std::string& error);
    ~ZipReader();
    ZipReader(const ZipReader&) = delete;
    ZipReader& operator=(const ZipReader&) = delete;

    const std::vector<ZipEntry>& entries() const { return entries_; }

    // Hands the member's stored bytes (what follows its local header:
    // encryption header, data, authentication code) to `sink` in pieces.
    // False when they cannot be read whole, with the reason in `error`, or
    // when `sink` says stop. Several members may be read at once, each on
    // its own thread.
    bool readStored(const ZipEntry& entry, const std::function<bool(std::span<const std::uint8_t>)>& sink,
                    std::string& error) const;

    // Whether the member's own header is there and names it as the directory
    // does; `dataOffset` then tells where its stored bytes begin.
    bool headerMatches(const ZipEntry& entry, std::uint64_t& dataOffset, std::string& error) const;

private:
    ZipReader() = default;
    bool readAt(std::uint64_t offset, std::uint8_t* data, std::size_t length) const;
    static std::unique_ptr<ZipReader> readDirectory(std::unique_ptr<ZipReader> reader, std::string& error);

    int descriptor_ = -1;
    GrowingZip* growing_ = nullptr;
    std::uint64_t fileSize_ = 0;
    std::vector<ZipEntry> entries_;
    // A piece of a member's stored bytes: small enough to stay in the
    // processor's cache while it is authenticated, deciphered and inflated.
    static constexpr std::size_t kStoredPieceBytes = 256 << 10;
};

}  // namespace morvane
