#pragma once
// The content of one zip member, checked as it comes: WinZip AES members are
// authenticated and deciphered, stored and deflated members inflated, and the
// CRC and size of what comes out compared with the archive's. Members in any
// other form (traditional zip encryption, other compression methods) are read
// through libzip.
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "zip_reader.h"

struct zip;

namespace morvane {

class GrowingZip;

enum class MemberStatus {
    Ok,
    WrongPassword,  // the member's password check failed
    Damaged,        // authentication code, CRC, size or data do not check out
    Unsupported,    // a form neither this reader nor libzip reads
    Refused,        // `out` said stop
    Stopped,        // `stop` said stop
};

class MemberDecoder {
public:
    // `zipPath` is the archive `reader` reads; `password` the zip password
    // (code-page bytes), empty for none.
    // A `growing` zip is read by libzip only once it is complete.
    MemberDecoder(ZipReader& reader, std::string zipPath, std::string password, GrowingZip* growing = nullptr);
    ~MemberDecoder();
    MemberDecoder(const MemberDecoder&) = delete;
    MemberDecoder& operator=(const MemberDecoder&) = delete;

    // Hands member `index`'s content to `out` in pieces. Nothing is handed
    // on beyond the member's recorded size: a member that inflates further is
    // Damaged. `detail` says what did not check out.
    MemberStatus decode(std::size_t index, const std::function<bool(std::span<const std::uint8_t>)>& out,
                        const std::function<bool()>& stop, std::string& detail);

private:
    MemberStatus decodeWithLibzip(std::size_t index, const std::function<bool(std::span<const std::uint8_t>)>& out,
                                  const std::function<bool()>& stop, std::string& detail);

    ZipReader& reader_;
    std::string zipPath_;
    std::string password_;
    GrowingZip* growing_;
    struct zip* libzip_ = nullptr;
    bool libzipTried_ = false;
};

}  // namespace morvane
