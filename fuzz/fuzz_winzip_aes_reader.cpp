// The WinZip AES member reader against members made by the archive writer's
// own pieces: data of the fuzzer's choosing is deflated (or stored),
// enciphered and authenticated, then one byte may be flipped, and the member
// is fed to the reader in chunks of the fuzzer's choosing. An intact member
// must come back exactly; a changed one must never be accepted.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "parallel_deflate.h"
#include "winzip_aes_keys.h"
#include "winzip_aes_reader.h"

namespace {

constexpr char kPassword[] = "fuzz password";

}  // namespace

// Input: byte 0 flags (bit 0 deflate, bit 1 flip a byte), bytes 1-2 the
// flipped position, byte 3 the chunk size step, then the data.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    if (size < 4) return 0;
    const bool deflated = (input[0] & 1) != 0;
    const bool flip = (input[0] & 2) != 0;
    const std::size_t flipAt = static_cast<std::size_t>(input[1]) << 8 | input[2];
    const std::size_t step = 1 + input[3] * 37;
    const std::vector<std::uint8_t> data(input + 4, input + size);

    std::vector<std::uint8_t> packed;
    if (deflated) {
        static morvane::ParallelDeflater deflater(4);
        if (!deflater.reset() || !deflater.deflatePiece(data, true, packed)) std::abort();
    } else {
        packed = data;
    }
    std::uint8_t salt[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    std::uint8_t check[morvane::winzip::kCheckValueBytes];
    morvane::winzip::MemberCipher cipher;
    if (!cipher.key(3, kPassword, salt, check)) std::abort();
    cipher.crypt(packed);
    cipher.authenticate(packed);
    std::uint8_t code[morvane::winzip::kAuthCodeBytes];
    if (!cipher.authCode(code)) std::abort();

    std::vector<std::uint8_t> member(salt, salt + sizeof salt);
    member.insert(member.end(), check, check + sizeof check);
    member.insert(member.end(), packed.begin(), packed.end());
    member.insert(member.end(), code, code + sizeof code);
    const bool changed = flip && !member.empty();
    if (changed) member[flipAt % member.size()] ^= 0x5A;

    morvane::WinZipAesReader reader(3, kPassword, member.size(), deflated, 0);
    std::vector<std::uint8_t> out;
    const auto collect = [&out](std::span<const std::uint8_t> bytes) {
        out.insert(out.end(), bytes.begin(), bytes.end());
        return true;
    };
    auto status = morvane::WinZipAesReader::Status::Ok;
    for (std::size_t at = 0; at < member.size() && status == morvane::WinZipAesReader::Status::Ok; at += step)
        status = reader.feed({member.data() + at, std::min(step, member.size() - at)}, collect);
    if (status == morvane::WinZipAesReader::Status::Ok) status = reader.finish();

    if (!changed && (status != morvane::WinZipAesReader::Status::Ok || out != data)) std::abort();
    if (changed && status == morvane::WinZipAesReader::Status::Ok) std::abort();  // a forgery got through
    return 0;
}
