// decipherBuffer against a block-by-block reading built only on the public
// decipherBlock, on fresh objects keyed with the input's key of up to 16
// bytes (input layout in fuzz_input.h). Buffers of 32 KiB and more take the
// two-core path.
//
// The reading: every whole 8-byte block is deciphered in CBC mode (big-endian
// halves, zero initial value); a trailing part block stays as it is. When the
// buffer is at least 16 bytes long, a multiple of 8, and its size descriptor n
// (little-endian at offset 8) leaves 12 to 19 spare bytes, the result is the n
// bytes at offset 12; otherwise it is the whole deciphered buffer.
//
// Also: progress runs 0 first, rising, within 0 to 100, with 100 last exactly
// when the size check passes; and encipherBuffer then decipherBuffer gives
// the input back, the enciphered buffer meeting the same comparison.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "byte_order.h"
#include "clsBlowfish.h"
#include "fuzz_input.h"

namespace {

constexpr std::size_t kMaxKeyBytes = 16;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "fuzz_decipher_buffer: %s\n", what);
    std::abort();
}

std::vector<std::uint8_t> blockByBlock(std::vector<std::uint8_t> buffer, std::string_view key) {
    morvane::clsBlowfish cipher;
    cipher.key(key);
    std::uint32_t previousL = 0, previousR = 0;
    for (std::size_t offset = 0; offset + 8 <= buffer.size(); offset += 8) {
        std::uint8_t* block = buffer.data() + offset;
        const std::uint32_t cipherL = morvane::loadBigEndian32(block);
        const std::uint32_t cipherR = morvane::loadBigEndian32(block + 4);
        std::uint32_t L = cipherL, R = cipherR;
        cipher.decipherBlock(L, R);
        morvane::storeBigEndian32(block, L ^ previousL);
        morvane::storeBigEndian32(block + 4, R ^ previousR);
        previousL = cipherL;
        previousR = cipherR;
    }
    const std::size_t total = buffer.size();
    if (total < 16 || total % 8 != 0) return buffer;
    const std::uint64_t n = morvane::loadLittleEndian32(buffer.data() + 8);
    const std::int64_t spare = static_cast<std::int64_t>(total) - static_cast<std::int64_t>(n);
    if (spare < 12 || spare > 19) return buffer;
    return {buffer.begin() + 12, buffer.begin() + 12 + static_cast<std::ptrdiff_t>(n)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto fuzzInput = morvane::fuzzing::readInput(data, size, kMaxKeyBytes);
    if (!fuzzInput) return 0;
    const std::string_view key = fuzzInput->key;
    const std::vector<std::uint8_t> input(fuzzInput->body.begin(), fuzzInput->body.end());

    std::vector<std::uint8_t> deciphered = input;
    std::vector<std::int32_t> percents;
    {
        morvane::clsBlowfish cipher;
        cipher.Progress = [&percents](std::int32_t percent) { percents.push_back(percent); };
        cipher.decipherBuffer(deciphered, key);
    }
    const std::vector<std::uint8_t> expected = blockByBlock(input, key);
    if (deciphered != expected) fail("decipherBuffer differs from the block-by-block reading");

    // A passed size check always shortens the buffer.
    const bool fits = expected.size() != input.size();
    if (input.size() >= 8 && (percents.empty() || percents.front() != 0)) fail("progress did not start at 0");
    for (std::size_t i = 0; i < percents.size(); ++i) {
        if (percents[i] < 0 || percents[i] > 100) fail("progress outside 0 to 100");
        if (i > 0 && percents[i] <= percents[i - 1]) fail("progress did not rise");
    }
    const bool reported100 = !percents.empty() && percents.back() == 100;
    if (reported100 != fits) fail("progress 100 reported without a passed size check, or missing after one");

    std::vector<std::uint8_t> roundTrip = input;
    {
        morvane::clsBlowfish cipher;
        cipher.encipherBuffer(roundTrip, key);
    }
    if (roundTrip.size() != (input.size() + 12 + 7) / 8 * 8) fail("encipherBuffer gave the wrong length");
    // A buffer that passes the size check, through both readings.
    const std::vector<std::uint8_t> backAgain = blockByBlock(roundTrip, key);
    {
        morvane::clsBlowfish cipher;
        cipher.decipherBuffer(roundTrip, key);
    }
    if (roundTrip != backAgain) fail("decipherBuffer differs from the block-by-block reading of an enciphered buffer");
    if (roundTrip != input) fail("encipherBuffer then decipherBuffer did not give the input back");
    return 0;
}
