#include "member_decoder.h"

#include <zip.h>

#include <vector>

#include "crc32.h"
#include "growing_zip.h"
#include "raw_inflater.h"
#include "secure_wipe.h"
#include "winzip_aes_reader.h"
#include "zip_format.h"

namespace morvane {

namespace {

using zipformat::kDeflated;
using zipformat::kStored;
using zipformat::kWinZipAes;

// What comes out of a member, held to the member's recorded size.
class SizedOutput {
public:
    // `checksCrc`: whether crc() is wanted (a WinZip AES reader checks its own).
    SizedOutput(std::uint64_t limit, const std::function<bool(std::span<const std::uint8_t>)>& out,
                bool checksCrc = true)
        : limit_(limit), out_(out), checksCrc_(checksCrc) {}

    bool operator()(std::span<const std::uint8_t> bytes) {
        if (bytes.size() > limit_ - count_) {
            tooLong_ = true;
            return false;
        }
        count_ += bytes.size();
        if (checksCrc_) crc_ = updateCrc32(crc_, bytes);
        if (bytes.empty() || out_(bytes)) return true;
        refused_ = true;
        return false;
    }

    std::uint64_t count() const { return count_; }
    std::uint32_t crc() const { return crc_; }
    bool tooLong() const { return tooLong_; }
    bool refused() const { return refused_; }

private:
    std::uint64_t limit_;
    const std::function<bool(std::span<const std::uint8_t>)>& out_;
    std::uint64_t count_ = 0;
    bool checksCrc_;
    std::uint32_t crc_ = 0;
    bool tooLong_ = false;
    bool refused_ = false;
};

MemberStatus outputStatus(const SizedOutput& out, const ZipEntry& entry, std::string& detail) {
    if (out.refused()) return MemberStatus::Refused;
    if (out.tooLong()) {
        detail = entry.name + " holds more than its recorded size of " + std::to_string(entry.size) + " bytes";
        return MemberStatus::Damaged;
    }
    return MemberStatus::Ok;
}

}  // namespace

MemberDecoder::MemberDecoder(ZipReader& reader, std::string zipPath, std::string password, GrowingZip* growing)
    : reader_(reader), zipPath_(std::move(zipPath)), password_(std::move(password)), growing_(growing) {}

MemberDecoder::~MemberDecoder() {
    if (libzip_ != nullptr) zip_discard(libzip_);
    secureWipe(password_);
}

MemberStatus MemberDecoder::decode(std::size_t index, const std::function<bool(std::span<const std::uint8_t>)>& out,
                                   const std::function<bool()>& stop, std::string& detail) {
    const ZipEntry& entry = reader_.entries()[index];
    const bool aes = entry.method == kWinZipAes && entry.encrypted();
    const std::uint16_t method = aes ? entry.aesMethod : entry.method;
    if ((entry.encrypted() && !aes) || (method != kStored && method != kDeflated) ||
        (aes && (entry.aesStrength < 1 || entry.aesStrength > 3)))
        return decodeWithLibzip(index, out, stop, detail);

    SizedOutput sized(entry.size, out, !aes);
    const auto damaged = [&](const std::string& why) {
        if (detail.empty()) detail = why;
        return MemberStatus::Damaged;
    };
    std::string readError;
    bool stopped = false;
    // The member's stored bytes, piece by piece, until `take` or `stop` says stop.
    const auto readStored = [&](const std::function<bool(std::span<const std::uint8_t>)>& take) {
        return reader_.readStored(
            entry,
            [&](std::span<const std::uint8_t> raw) {
                stopped = stop && stop();
                return !stopped && take(raw);
            },
            readError);
    };

    if (aes) {
        if (password_.empty()) {
            detail = entry.name + " is encrypted and no password was given";
            return MemberStatus::WrongPassword;
        }
        WinZipAesReader aesReader(entry.aesStrength, password_, entry.compressedSize, method == kDeflated, entry.crc);
        const auto emit = [&sized](std::span<const std::uint8_t> bytes) { return sized(bytes); };
        WinZipAesReader::Status status = WinZipAesReader::Status::Ok;
        const bool read = readStored([&](std::span<const std::uint8_t> raw) {
            status = aesReader.feed(raw, emit);
            return status == WinZipAesReader::Status::Ok;
        });
        if (stopped) return MemberStatus::Stopped;
        if (status == WinZipAesReader::Status::WrongPassword) {
            detail = "the password does not open " + entry.name;
            return MemberStatus::WrongPassword;
        }
        if (const MemberStatus s = outputStatus(sized, entry, detail); s != MemberStatus::Ok) return s;
        if (!read && !readError.empty()) return damaged(readError);
        if (status != WinZipAesReader::Status::Ok || aesReader.finish() != WinZipAesReader::Status::Ok)
            return damaged("the authentication code or the CRC of " + entry.name + " does not match its content");
    } else {
        RawInflater inflater;
        const auto emit = [&sized](std::span<const std::uint8_t> bytes) { return sized(bytes); };
        bool dataOk = true;
        const bool read = readStored([&](std::span<const std::uint8_t> raw) {
            dataOk = method == kStored ? sized(raw) : inflater.feed(raw, emit);
            return dataOk;
        });
        if (stopped) return MemberStatus::Stopped;
        if (const MemberStatus s = outputStatus(sized, entry, detail); s != MemberStatus::Ok) return s;
        if (!read && !readError.empty()) return damaged(readError);
        if (!dataOk || (method == kDeflated && !inflater.ended()))
            return damaged("the compressed data of " + entry.name + " is damaged");
        if (sized.crc() != entry.crc) return damaged("the CRC of " + entry.name + " does not match its content");
    }
    if (sized.count() != entry.size)
        return damaged(entry.name + " holds " + std::to_string(sized.count()) + " bytes instead of its recorded " +
                       std::to_string(entry.size));
    return MemberStatus::Ok;
}

MemberStatus MemberDecoder::decodeWithLibzip(std::size_t index,
                                             const std::function<bool(std::span<const std::uint8_t>)>& out,
                                             const std::function<bool()>& stop, std::string& detail) {
    const ZipEntry& entry = reader_.entries()[index];
    std::uint64_t dataOffset = 0;
    if (!reader_.headerMatches(entry, dataOffset, detail)) return MemberStatus::Damaged;
    if (!libzipTried_) {
        libzipTried_ = true;
        if (growing_ != nullptr && !growing_->waitComplete()) {
            detail = "the archive cannot be read";
            return MemberStatus::Damaged;
        }
        int error = 0;
        libzip_ = zip_open(zipPath_.c_str(), ZIP_RDONLY, &error);
        if (libzip_ != nullptr && !password_.empty()) zip_set_default_password(libzip_, password_.c_str());
    }
    if (libzip_ == nullptr || static_cast<zip_int64_t>(index) >= zip_get_num_entries(libzip_, 0)) {
        detail = entry.name + " is stored in a form Morvane cannot read";
        return MemberStatus::Unsupported;
    }
    zip_file_t* member = zip_fopen_index(libzip_, index, 0);
    if (member == nullptr) {
        const int code = zip_error_code_zip(zip_get_error(libzip_));
        if (code == ZIP_ER_WRONGPASSWD || code == ZIP_ER_NOPASSWD) {
            detail = "the password does not open " + entry.name;
            return MemberStatus::WrongPassword;
        }
        detail = entry.name + " is stored in a form Morvane cannot read";
        return code == ZIP_ER_COMPNOTSUPP || code == ZIP_ER_ENCRNOTSUPP ? MemberStatus::Unsupported
                                                                        : MemberStatus::Damaged;
    }
    SizedOutput sized(entry.size, out);
    std::vector<std::uint8_t> buffer(1 << 18);
    MemberStatus status = MemberStatus::Ok;
    for (;;) {
        if (stop && stop()) {
            status = MemberStatus::Stopped;
            break;
        }
        const zip_int64_t got = zip_fread(member, buffer.data(), buffer.size());
        if (got < 0) {  // damaged data, a failed CRC check
            status = MemberStatus::Damaged;
            detail = "the data of " + entry.name + " is damaged";
            break;
        }
        if (got == 0) break;
        if (!sized({buffer.data(), static_cast<std::size_t>(got)})) {
            status = outputStatus(sized, entry, detail);
            break;
        }
    }
    zip_fclose(member);
    if (status == MemberStatus::Ok && sized.count() != entry.size) {
        detail = entry.name + " holds " + std::to_string(sized.count()) + " bytes instead of its recorded " +
                 std::to_string(entry.size);
        status = MemberStatus::Damaged;
    }
    return status;
}

}  // namespace morvane
