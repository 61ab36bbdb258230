// The cipher buffer: random first block, size descriptor, plaintext, zero
// pad, all enciphered in CBC mode.
#include <algorithm>
#include <cstring>

#include "byte_order.h"
#include "clsBlowfish.h"
#include "run_time_error.h"

namespace morvane {
namespace {

// Blocks enciphered or deciphered between two looks at the progress meter.
constexpr std::size_t kRunBytes = 1 << 20;

constexpr int kOverflow = 6;

std::uint64_t cipherLength(std::uint64_t n) { return (n + 12 + 7) / 8 * 8; }

}  // namespace

bool sizeDescriptorFits(std::uint64_t total, std::uint64_t n) {
    if (total < 16 || total % 8 != 0) return false;
    const auto spare = static_cast<std::int64_t>(total) - static_cast<std::int64_t>(n);
    return spare >= 12 && spare <= 19;
}

void clsBlowfish::writeHeader(std::uint8_t* header, std::uint64_t n) {
    ClockRandom random(seedSource_());
    const std::uint32_t word1 = random.nextWord();
    const std::uint32_t word2 = random.nextWord();
    storeLittleEndian32(header, word1);
    storeLittleEndian32(header + 4, word2);
    storeLittleEndian32(header + 8, static_cast<std::uint32_t>(n));
}

void clsBlowfish::encipherBuffer(std::vector<std::uint8_t>& buffer, std::string_view keyText) {
    if (!keyText.empty()) key(keyText);
    const std::uint64_t n = buffer.size();
    if (n > kMaxPlaintextBytes) throw RunTimeError(kOverflow, "Overflow");
    const std::uint64_t total = cipherLength(n);
    buffer.resize(total);  // the new bytes are zero: they end as the pad

    // The plaintext moves behind the header as the chain runs over it.
    std::uint8_t header[12];
    writeHeader(header, n);
    blowfish::ShiftQueue queue{{loadBigEndian32(header), loadBigEndian32(header + 4), loadBigEndian32(header + 8)}};

    blowfish::ProgressMeter meter(total, Progress);
    blowfish::ChainBlock previous;
    for (std::uint64_t offset = 0; offset < total; offset += kRunBytes) {
        const std::size_t length = static_cast<std::size_t>(std::min<std::uint64_t>(kRunBytes, total - offset));
        blowfish::cbcEncipherShifted(tables_, {buffer.data() + offset, length}, queue, previous);
        meter.blocksDone(offset + length - 8);
    }
    meter.finish();
}

void clsBlowfish::decipherBuffer(std::vector<std::uint8_t>& buffer, std::string_view keyText) {
    if (!keyText.empty()) key(keyText);
    const std::uint64_t total = buffer.size();
    const std::uint64_t wholeBlocks = total / 8 * 8;

    blowfish::ProgressMeter meter(total, Progress);
    blowfish::ChainBlock previous;
    for (std::uint64_t offset = 0; offset < wholeBlocks; offset += kRunBytes) {
        const std::size_t length = static_cast<std::size_t>(std::min<std::uint64_t>(kRunBytes, wholeBlocks - offset));
        decipher_.run(tables_, {buffer.data() + offset, length}, previous);
        meter.blocksDone(offset + length - 8);
    }

    // The size check is the only sign of a wrong key; a failed check leaves
    // the buffer whole and silent, for the caller to judge by its content.
    if (total < 16) return;
    const std::uint64_t n = loadLittleEndian32(buffer.data() + 8);
    if (!sizeDescriptorFits(total, n)) return;
    std::memmove(buffer.data(), buffer.data() + 12, static_cast<std::size_t>(n));
    buffer.resize(static_cast<std::size_t>(n));
    meter.finish();
}

}  // namespace morvane
