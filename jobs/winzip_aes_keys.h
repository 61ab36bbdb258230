#pragma once
// The WinZip AES scheme shared by the member reader and the archive writer:
// keys derived from the password and a per-member salt (PBKDF2-HMAC-SHA1,
// 1000 rounds), a 2-byte password check value, AES in counter mode with a
// little-endian counter starting at 1, and HMAC-SHA1 over the ciphertext of
// which the first 10 bytes are stored.
#include <openssl/evp.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace morvane::winzip {

inline constexpr std::size_t kAuthCodeBytes = 10;
inline constexpr std::size_t kCheckValueBytes = 2;

inline std::size_t keyBytesOf(int strength) { return strength == 1 ? 16 : strength == 2 ? 24 : 32; }
inline std::size_t saltBytesOf(int strength) { return keyBytesOf(strength) / 2; }

// The counter-mode cipher and the authenticator of one member, once keyed.
class MemberCipher {
public:
    MemberCipher() = default;
    ~MemberCipher();
    MemberCipher(const MemberCipher&) = delete;
    MemberCipher& operator=(const MemberCipher&) = delete;

    // Derives the keys; `checkValue` receives the 2-byte password check value.
    bool key(int strength, std::string_view password, std::span<const std::uint8_t> salt,
             std::uint8_t (&checkValue)[kCheckValueBytes]);

    // XORs the keystream into the bytes, in place (enciphers and deciphers).
    void crypt(std::span<std::uint8_t> bytes);

    // The same into `out`, which holds in.size() bytes: one pass instead of
    // a copy and a pass.
    void crypt(std::span<const std::uint8_t> in, std::uint8_t* out);

    // Feeds ciphertext to the authenticator.
    bool authenticate(std::span<const std::uint8_t> cipherText);

    // The 10-byte authentication code of everything fed.
    bool authCode(std::uint8_t (&code)[kAuthCodeBytes]);

private:
    void refillKeystream();

    EVP_CIPHER_CTX* aes_ = nullptr;
    EVP_MAC* macAlgorithm_ = nullptr;
    EVP_MAC_CTX* mac_ = nullptr;
    // The 128-bit little-endian counter of the last block made, as two words
    // (bytes 0-7 and 8-15): a byte-wise increment followed by a 16-byte copy
    // stalls on every block.
    std::uint64_t counterLow_ = 0;
    std::uint64_t counterHigh_ = 0;
    std::vector<std::uint8_t> counters_;
    std::vector<std::uint8_t> keystream_;
    std::size_t keystreamUsed_ = 0;
};

}  // namespace morvane::winzip
