#include "winzip_aes_reader.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "crc32.h"
#include "raw_inflater.h"
#include "secure_wipe.h"
#include "winzip_aes_keys.h"

namespace morvane {

struct WinZipAesReader::State {
    int strength = 3;
    std::string password;
    std::uint64_t rawSize = 0;
    std::uint64_t rawSeen = 0;
    bool deflated = false;
    std::uint32_t expectedCrc = 0;
    std::uint32_t crc = 0;
    Status status = Status::Ok;

    std::vector<std::uint8_t> head;  // salt and check value, until the keys are known
    bool keyed = false;
    winzip::MemberCipher cipher;
    std::vector<std::uint8_t> authCode;  // the last 10 bytes, held back until the end
    std::vector<std::uint8_t> plain;

    std::unique_ptr<RawInflater> inflater;

    ~State() { secureWipe(password); }

    std::size_t headBytes() const { return winzip::saltBytesOf(strength) + winzip::kCheckValueBytes; }
    std::uint64_t cipherEnd() const { return rawSize - winzip::kAuthCodeBytes; }

    bool startMember() {
        std::uint8_t check[winzip::kCheckValueBytes];
        const std::size_t saltBytes = winzip::saltBytesOf(strength);
        if (!cipher.key(strength, password, {head.data(), saltBytes}, check)) return false;
        if (std::memcmp(check, head.data() + saltBytes, winzip::kCheckValueBytes) != 0) {
            status = Status::WrongPassword;
            return false;
        }
        if (deflated) inflater = std::make_unique<RawInflater>();
        keyed = true;
        return true;
    }

    bool emit(std::span<const std::uint8_t> bytes, const std::function<bool(std::span<const std::uint8_t>)>& out) {
        crc = updateCrc32(crc, bytes);
        return bytes.empty() || out(bytes);
    }

    // Ciphertext in: authenticated, deciphered, inflated, handed out.
    bool decipher(std::span<const std::uint8_t> data, const std::function<bool(std::span<const std::uint8_t>)>& out) {
        if (data.empty()) return true;
        if (!cipher.authenticate(data)) return false;
        plain.resize(data.size());
        cipher.crypt(data, plain.data());
        if (!deflated) return emit(plain, out);
        return inflater->feed(plain, [&](std::span<const std::uint8_t> bytes) { return emit(bytes, out); });
    }
};

WinZipAesReader::WinZipAesReader(int strength, std::string_view password, std::uint64_t compressedSize, bool deflated,
                                 std::uint32_t crc)
    : state_(std::make_unique<State>()) {
    State& s = *state_;
    s.strength = strength;
    s.password.assign(password);
    s.rawSize = compressedSize;
    s.deflated = deflated;
    s.expectedCrc = crc;
    if (compressedSize < s.headBytes() + winzip::kAuthCodeBytes) s.status = Status::Damaged;
}

WinZipAesReader::~WinZipAesReader() = default;

std::uint32_t WinZipAesReader::crc() const { return state_->crc; }

int WinZipAesReader::strengthOf(std::uint16_t encryptionMethod) {
    return encryptionMethod >= 0x0101 && encryptionMethod <= 0x0103 ? encryptionMethod - 0x0100 : 0;
}

WinZipAesReader::Status WinZipAesReader::feed(std::span<const std::uint8_t> raw,
                                              const std::function<bool(std::span<const std::uint8_t>)>& out) {
    State& s = *state_;
    if (s.status != Status::Ok) return s.status;
    if (s.rawSeen + raw.size() > s.rawSize) return s.status = Status::Damaged;
    const std::uint64_t rawStart = s.rawSeen;
    s.rawSeen += raw.size();
    std::uint64_t position = rawStart;

    if (!s.keyed) {
        const std::size_t take = std::min<std::size_t>(raw.size(), s.headBytes() - s.head.size());
        s.head.insert(s.head.end(), raw.begin(), raw.begin() + static_cast<std::ptrdiff_t>(take));
        raw = raw.subspan(take);
        position += take;
        if (s.head.size() < s.headBytes()) return s.status;
        if (!s.startMember()) return s.status == Status::Ok ? s.status = Status::Damaged : s.status;
    }
    // Ciphertext is everything but the last 10 bytes of the member.
    const std::uint64_t cipherEnd = s.cipherEnd();
    const std::uint64_t cipherInChunk =
        position >= cipherEnd ? 0 : std::min<std::uint64_t>(raw.size(), cipherEnd - position);
    if (!s.decipher(raw.first(static_cast<std::size_t>(cipherInChunk)), out)) return s.status = Status::Damaged;
    const auto code = raw.subspan(static_cast<std::size_t>(cipherInChunk));
    s.authCode.insert(s.authCode.end(), code.begin(), code.end());
    return s.status;
}

WinZipAesReader::Status WinZipAesReader::finish() {
    State& s = *state_;
    if (s.status != Status::Ok) return s.status;
    std::uint8_t code[winzip::kAuthCodeBytes];
    if (!s.keyed || s.rawSeen != s.rawSize || s.authCode.size() != winzip::kAuthCodeBytes || !s.cipher.authCode(code) ||
        std::memcmp(code, s.authCode.data(), winzip::kAuthCodeBytes) != 0)
        return s.status = Status::Damaged;
    if (s.deflated && !s.inflater->ended()) return s.status = Status::Damaged;
    if (s.expectedCrc != 0 && s.crc != s.expectedCrc) return s.status = Status::Damaged;
    return s.status;
}

}  // namespace morvane
