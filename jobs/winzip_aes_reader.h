#pragma once
// Reading a WinZip AES member (AE-1 and AE-2, 128 to 256-bit keys) from its
// raw bytes: salt, password check value, ciphertext, 10-byte authentication
// code. The ciphertext is authenticated with HMAC-SHA1 and deciphered with
// AES in counter mode (a little-endian counter starting at 1), then inflated
// when the member is deflated. AE-2 members carry no CRC (it reads 0): their
// authentication code is what vouches for them; a stored CRC is checked as
// well wherever there is one.
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

namespace morvane {

class WinZipAesReader {
public:
    enum class Status { Ok, WrongPassword, Damaged };

    // strength 1, 2, 3: AES-128, -192, -256. compressedSize: the member's raw
    // size (salt and codes included); deflated: the member's data is deflated;
    // crc: the stored CRC (0 when none).
    WinZipAesReader(int strength, std::string_view password, std::uint64_t compressedSize, bool deflated,
                    std::uint32_t crc);
    ~WinZipAesReader();
    WinZipAesReader(const WinZipAesReader&) = delete;
    WinZipAesReader& operator=(const WinZipAesReader&) = delete;

    // Feeds the next raw bytes; the member's content comes out through `out`
    // (false from `out` stops with Damaged). Returns the state so far.
    Status feed(std::span<const std::uint8_t> raw, const std::function<bool(std::span<const std::uint8_t>)>& out);

    // After the last raw byte: whether everything checked out.
    Status finish();

    // The CRC-32 of the content handed out so far.
    std::uint32_t crc() const;

    // The AES strength of a zip encryption method (0x0101 to 0x0103), else 0.
    static int strengthOf(std::uint16_t encryptionMethod);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace morvane
