#include "quick_password_check.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "byte_order.h"
#include "file_attributes.h"

namespace morvane {

QuickPasswordCheck quickPasswordCheck(clsBlowfish& cipher, const std::string& archivePath, std::string_view keyText) {
    std::error_code ec;
    const std::uint64_t total = std::filesystem::file_size(fileattr::toPath(archivePath), ec);
    if (ec) return QuickPasswordCheck::Unreadable;
    // Too short or not whole blocks: no size descriptor can fit.
    if (total < 16 || total % 8 != 0) return QuickPasswordCheck::WrongKey;

    std::array<std::uint8_t, 16> head{};
    std::ifstream in(fileattr::toPath(archivePath), std::ios::binary);
    if (!in.read(reinterpret_cast<char*>(head.data()), head.size())) return QuickPasswordCheck::Unreadable;

    if (!keyText.empty()) cipher.key(keyText);
    // Cipher block chaining: the second block's plaintext is its deciphered
    // words XORed with the first block's ciphertext. The size descriptor is
    // its first word, stored least significant byte first.
    std::uint32_t L = loadBigEndian32(head.data() + 8);
    std::uint32_t R = loadBigEndian32(head.data() + 12);
    cipher.decipherBlock(L, R);
    L ^= loadBigEndian32(head.data());
    std::array<std::uint8_t, 4> sizeBytes{};
    storeBigEndian32(sizeBytes.data(), L);
    const std::uint64_t n = loadLittleEndian32(sizeBytes.data());
    return sizeDescriptorFits(total, n) ? QuickPasswordCheck::MayFit : QuickPasswordCheck::WrongKey;
}

}  // namespace morvane
