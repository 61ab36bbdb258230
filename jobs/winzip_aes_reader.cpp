#include "winzip_aes_reader.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "secure_wipe.h"

namespace morvane {

namespace {

constexpr std::size_t kAuthCodeBytes = 10;
constexpr std::size_t kCheckValueBytes = 2;
constexpr int kKeyIterations = 1000;
constexpr std::size_t kKeystreamBlocks = 4096;  // 64 KiB of keystream per call

}  // namespace

struct WinZipAesReader::State {
    std::size_t keyBytes = 0;
    std::size_t saltBytes = 0;
    std::string password;
    std::uint64_t rawSize = 0;
    std::uint64_t rawSeen = 0;
    bool deflated = false;
    std::uint32_t expectedCrc = 0;
    std::uint32_t crc = 0;

    std::vector<std::uint8_t> head;  // salt and check value, until keys are known
    bool keyed = false;
    Status status = Status::Ok;

    EVP_CIPHER_CTX* aes = nullptr;
    EVP_MAC* macAlgorithm = nullptr;
    EVP_MAC_CTX* mac = nullptr;
    std::uint8_t counter[16] = {};
    std::vector<std::uint8_t> counters;
    std::vector<std::uint8_t> keystream;
    std::size_t keystreamUsed = 0;

    std::vector<std::uint8_t> authCode;  // the last bytes, held back until the end
    std::vector<std::uint8_t> plain;

    z_stream inflater{};
    bool inflaterOpen = false;
    bool inflateEnded = false;
    std::vector<std::uint8_t> inflated;

    ~State() {
        if (aes) EVP_CIPHER_CTX_free(aes);
        if (mac) EVP_MAC_CTX_free(mac);
        if (macAlgorithm) EVP_MAC_free(macAlgorithm);
        if (inflaterOpen) inflateEnd(&inflater);
        secureWipe(password);
    }

    std::uint64_t cipherSize() const { return rawSize - saltBytes - kCheckValueBytes - kAuthCodeBytes; }

    bool deriveKeys() {
        std::vector<std::uint8_t> keys(2 * keyBytes + kCheckValueBytes);
        const bool derived = PKCS5_PBKDF2_HMAC_SHA1(password.data(), static_cast<int>(password.size()), head.data(),
                                                    static_cast<int>(saltBytes), kKeyIterations,
                                                    static_cast<int>(keys.size()), keys.data()) == 1;
        if (!derived) return false;
        if (std::memcmp(keys.data() + 2 * keyBytes, head.data() + saltBytes, kCheckValueBytes) != 0) {
            status = Status::WrongPassword;
            secureWipe(keys.data(), keys.size());
            return false;
        }
        const EVP_CIPHER* cipher = keyBytes == 16   ? EVP_aes_128_ecb()
                                   : keyBytes == 24 ? EVP_aes_192_ecb()
                                                    : EVP_aes_256_ecb();
        aes = EVP_CIPHER_CTX_new();
        macAlgorithm = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
        mac = macAlgorithm ? EVP_MAC_CTX_new(macAlgorithm) : nullptr;
        char digest[] = "SHA1";
        const OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string("digest", digest, 0), OSSL_PARAM_construct_end()};
        const bool ready = aes && mac && EVP_EncryptInit_ex(aes, cipher, nullptr, keys.data(), nullptr) == 1 &&
                           EVP_CIPHER_CTX_set_padding(aes, 0) == 1 &&
                           EVP_MAC_init(mac, keys.data() + keyBytes, keyBytes, params) == 1;
        secureWipe(keys.data(), keys.size());
        if (!ready) return false;
        if (deflated) {
            if (inflateInit2(&inflater, -MAX_WBITS) != Z_OK) return false;
            inflaterOpen = true;
            inflated.resize(1 << 18);
        }
        counters.resize(kKeystreamBlocks * 16);
        keystream.resize(kKeystreamBlocks * 16);
        keystreamUsed = keystream.size();
        keyed = true;
        return true;
    }

    void refillKeystream() {
        for (std::size_t b = 0; b < kKeystreamBlocks; ++b) {
            for (int i = 0; i < 16 && ++counter[i] == 0; ++i) {
            }
            std::memcpy(counters.data() + 16 * b, counter, 16);
        }
        int length = 0;
        EVP_EncryptUpdate(aes, keystream.data(), &length, counters.data(), static_cast<int>(counters.size()));
        keystreamUsed = 0;
    }

    // Ciphertext in: authenticated, deciphered, inflated, checked, handed out.
    bool decipher(std::span<const std::uint8_t> data, const std::function<bool(std::span<const std::uint8_t>)>& out) {
        if (data.empty()) return true;
        if (EVP_MAC_update(mac, data.data(), data.size()) != 1) return false;
        plain.resize(data.size());
        for (std::size_t i = 0; i < data.size();) {
            if (keystreamUsed == keystream.size()) refillKeystream();
            const std::size_t n = std::min(data.size() - i, keystream.size() - keystreamUsed);
            for (std::size_t k = 0; k < n; ++k) plain[i + k] = data[i + k] ^ keystream[keystreamUsed + k];
            i += n;
            keystreamUsed += n;
        }
        if (!deflated) return emit(plain, out);
        inflater.next_in = plain.data();
        inflater.avail_in = static_cast<uInt>(plain.size());
        while (inflater.avail_in > 0 && !inflateEnded) {
            inflater.next_out = inflated.data();
            inflater.avail_out = static_cast<uInt>(inflated.size());
            const int result = inflate(&inflater, Z_NO_FLUSH);
            if (result != Z_OK && result != Z_STREAM_END) return false;
            if (!emit({inflated.data(), inflated.size() - inflater.avail_out}, out)) return false;
            if (result == Z_STREAM_END) inflateEnded = true;
        }
        return inflater.avail_in == 0;
    }

    bool emit(std::span<const std::uint8_t> bytes, const std::function<bool(std::span<const std::uint8_t>)>& out) {
        crc = static_cast<std::uint32_t>(::crc32(crc, bytes.data(), static_cast<uInt>(bytes.size())));
        return bytes.empty() || out(bytes);
    }
};

WinZipAesReader::WinZipAesReader(int strength, std::string_view password, std::uint64_t compressedSize, bool deflated,
                                 std::uint32_t crc)
    : state_(std::make_unique<State>()) {
    State& s = *state_;
    s.keyBytes = strength == 1 ? 16 : strength == 2 ? 24 : 32;
    s.saltBytes = s.keyBytes / 2;
    s.password.assign(password);
    s.rawSize = compressedSize;
    s.deflated = deflated;
    s.expectedCrc = crc;
    if (compressedSize < s.saltBytes + kCheckValueBytes + kAuthCodeBytes) s.status = Status::Damaged;
}

WinZipAesReader::~WinZipAesReader() = default;

int WinZipAesReader::strengthOf(std::uint16_t encryptionMethod) {
    return encryptionMethod >= 0x0101 && encryptionMethod <= 0x0103 ? encryptionMethod - 0x0100 : 0;
}

WinZipAesReader::Status WinZipAesReader::feed(std::span<const std::uint8_t> raw,
                                              const std::function<bool(std::span<const std::uint8_t>)>& out) {
    State& s = *state_;
    if (s.status != Status::Ok) return s.status;
    if (s.rawSeen + raw.size() > s.rawSize) return s.status = Status::Damaged;
    s.rawSeen += raw.size();

    const std::size_t headBytes = s.saltBytes + kCheckValueBytes;
    if (!s.keyed) {
        const std::size_t take = std::min(raw.size(), headBytes - s.head.size());
        s.head.insert(s.head.end(), raw.begin(), raw.begin() + static_cast<std::ptrdiff_t>(take));
        raw = raw.subspan(take);
        if (s.head.size() < headBytes) return s.status;
        if (!s.deriveKeys()) return s.status == Status::Ok ? s.status = Status::Damaged : s.status;
    }
    // Ciphertext is everything but the last 10 bytes of the member.
    const std::uint64_t cipherEnd = headBytes + s.cipherSize();
    const std::uint64_t rawStart = s.rawSeen - raw.size();
    const std::uint64_t cipherInChunk =
        rawStart >= cipherEnd ? 0 : std::min<std::uint64_t>(raw.size(), cipherEnd - rawStart);
    if (!s.decipher(raw.first(static_cast<std::size_t>(cipherInChunk)), out)) return s.status = Status::Damaged;
    const auto code = raw.subspan(static_cast<std::size_t>(cipherInChunk));
    s.authCode.insert(s.authCode.end(), code.begin(), code.end());
    return s.status;
}

WinZipAesReader::Status WinZipAesReader::finish() {
    State& s = *state_;
    if (s.status != Status::Ok) return s.status;
    if (!s.keyed || s.rawSeen != s.rawSize || s.authCode.size() != kAuthCodeBytes) return s.status = Status::Damaged;
    std::uint8_t digest[EVP_MAX_MD_SIZE];
    std::size_t digestLength = 0;
    if (EVP_MAC_final(s.mac, digest, &digestLength, sizeof digest) != 1 || digestLength < kAuthCodeBytes ||
        std::memcmp(digest, s.authCode.data(), kAuthCodeBytes) != 0)
        return s.status = Status::Damaged;
    if (s.deflated && !s.inflateEnded) return s.status = Status::Damaged;
    if (s.expectedCrc != 0 && s.crc != s.expectedCrc) return s.status = Status::Damaged;
    return s.status;
}

}  // namespace morvane
