#include "winzip_aes_keys.h"

#include <openssl/core_names.h>
#include <openssl/params.h>

#include <algorithm>

#include "byte_order.h"
#include "secure_wipe.h"

namespace morvane::winzip {

namespace {

constexpr int kKeyIterations = 1000;
constexpr std::size_t kKeystreamBlocks = 4096;  // 64 KiB of keystream per refill

}  // namespace

MemberCipher::~MemberCipher() {
    if (aes_) EVP_CIPHER_CTX_free(aes_);
    if (mac_) EVP_MAC_CTX_free(mac_);
    if (macAlgorithm_) EVP_MAC_free(macAlgorithm_);
    secureWipe(keystream_.data(), keystream_.size());
}

bool MemberCipher::key(int strength, std::string_view password, std::span<const std::uint8_t> salt,
                       std::uint8_t (&checkValue)[kCheckValueBytes]) {
    const std::size_t keyBytes = keyBytesOf(strength);
    std::vector<std::uint8_t> keys(2 * keyBytes + kCheckValueBytes);
    if (PKCS5_PBKDF2_HMAC_SHA1(password.data(), static_cast<int>(password.size()), salt.data(),
                               static_cast<int>(salt.size()), kKeyIterations, static_cast<int>(keys.size()),
                               keys.data()) != 1)
        return false;
    std::copy_n(keys.data() + 2 * keyBytes, kCheckValueBytes, checkValue);
    const EVP_CIPHER* cipher = keyBytes == 16   ? EVP_aes_128_ecb()
                               : keyBytes == 24 ? EVP_aes_192_ecb()
                                                : EVP_aes_256_ecb();
    aes_ = EVP_CIPHER_CTX_new();
    macAlgorithm_ = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
    mac_ = macAlgorithm_ ? EVP_MAC_CTX_new(macAlgorithm_) : nullptr;
    char digest[] = "SHA1";
    const OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
                                 OSSL_PARAM_construct_end()};
    const bool ready = aes_ && mac_ && EVP_EncryptInit_ex(aes_, cipher, nullptr, keys.data(), nullptr) == 1 &&
                       EVP_CIPHER_CTX_set_padding(aes_, 0) == 1 &&
                       EVP_MAC_init(mac_, keys.data() + keyBytes, keyBytes, params) == 1;
    secureWipe(keys.data(), keys.size());
    counters_.resize(kKeystreamBlocks * 16);
    keystream_.resize(kKeystreamBlocks * 16);
    keystreamUsed_ = keystream_.size();
    return ready;
}

void MemberCipher::refillKeystream() {
    // Counted in locals: the stores into the byte buffer would otherwise make
    // the compiler reload the members for every block.
    std::uint64_t low = counterLow_, high = counterHigh_;
    std::uint8_t* block = counters_.data();
    for (std::size_t b = 0; b < kKeystreamBlocks; ++b, block += 16) {
        if (++low == 0) ++high;
        storeLittleEndian64(block, low);
        storeLittleEndian64(block + 8, high);
    }
    counterLow_ = low;
    counterHigh_ = high;
    int length = 0;
    EVP_EncryptUpdate(aes_, keystream_.data(), &length, counters_.data(), static_cast<int>(counters_.size()));
    keystreamUsed_ = 0;
}

void MemberCipher::crypt(std::span<std::uint8_t> bytes) { crypt(bytes, bytes.data()); }

void MemberCipher::crypt(std::span<const std::uint8_t> in, std::uint8_t* out) {
    for (std::size_t i = 0; i < in.size();) {
        if (keystreamUsed_ == keystream_.size()) refillKeystream();
        const std::size_t n = std::min(in.size() - i, keystream_.size() - keystreamUsed_);
        const std::uint8_t* stream = keystream_.data() + keystreamUsed_;
        const std::uint8_t* from = in.data() + i;
        std::uint8_t* to = out + i;
        for (std::size_t k = 0; k < n; ++k) to[k] = static_cast<std::uint8_t>(from[k] ^ stream[k]);
        i += n;
        keystreamUsed_ += n;
    }
}

bool MemberCipher::authenticate(std::span<const std::uint8_t> cipherText) {
    return cipherText.empty() || EVP_MAC_update(mac_, cipherText.data(), cipherText.size()) == 1;
}

bool MemberCipher::authCode(std::uint8_t (&code)[kAuthCodeBytes]) {
    std::uint8_t digest[EVP_MAX_MD_SIZE];
    std::size_t length = 0;
    if (EVP_MAC_final(mac_, digest, &length, sizeof digest) != 1 || length < kAuthCodeBytes) return false;
    std::copy_n(digest, kAuthCodeBytes, code);
    return true;
}

}  // namespace morvane::winzip
