#include "quick_password_check.h"

#include <cstdint>
#include <filesystem>
#include <vector>

#include "byte_order.h"
#include "file_attributes.h"

namespace morvane {

QuickPasswordCheck quickPasswordCheck(clsBlowfish& cipher, const std::string& archivePath, std::string_view keyText) {
    std::error_code ec;
    const std::uint64_t total = std::filesystem::file_size(fileattr::toPath(archivePath), ec);
    if (ec) return QuickPasswordCheck::Unreadable;
    // Too short or not whole blocks: no size descriptor can fit.
    if (total < 16 || total % 8 != 0) return QuickPasswordCheck::WrongKey;

    // The size descriptor: the first word of the second block, stored least
    // significant byte first.
    std::vector<std::uint8_t> descriptor;
    if (!cipher.decipherRange(archivePath, keyText, 8, 4, descriptor)) return QuickPasswordCheck::Unreadable;
    const std::uint64_t n = loadLittleEndian32(descriptor.data());
    return sizeDescriptorFits(total, n) ? QuickPasswordCheck::MayFit : QuickPasswordCheck::WrongKey;
}

}  // namespace morvane
