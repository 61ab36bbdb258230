// hexToBytes against a plain reading of its rule, and bytesToHex back again.
//
// The rule: the text is read two characters at a time (a final single
// character alone); in each pair leading hexadecimal digits count, blanks,
// tabs and line feeds are passed over, and any other character ends the
// number. Every pair gives one byte, so the result has ceil(length / 2) bytes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "clsBlowfish.h"

namespace {

int digitValue(unsigned char c) {
    static constexpr std::string_view kDigits = "0123456789abcdef";
    const unsigned char lower = (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
    const std::size_t at = kDigits.find(static_cast<char>(lower));
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

std::string readPairs(std::string_view s) {
    std::string bytes;
    for (std::size_t i = 0; i < s.size(); i += 2) {
        unsigned value = 0;
        for (std::size_t k = i; k < i + 2 && k < s.size(); ++k) {
            const auto c = static_cast<unsigned char>(s[k]);
            if (c == ' ' || c == '\t' || c == '\n') continue;
            const int digit = digitValue(c);
            if (digit < 0) break;
            value = value * 16 + static_cast<unsigned>(digit);
        }
        bytes.push_back(static_cast<char>(value));
    }
    return bytes;
}

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "fuzz_hex_to_bytes: %s\n", what);
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);

    morvane::clsBlowfish cipher;
    const std::string bytes = cipher.hexToBytes(text);
    if (bytes.size() != (size + 1) / 2) fail("hexToBytes gave the wrong number of bytes");
    if (bytes != readPairs(text)) fail("hexToBytes differs from the pair-by-pair reading");

    const std::string hex = cipher.bytesToHex(text);
    if (hex.size() != 2 * size) fail("bytesToHex gave the wrong length");
    for (const char c : hex) {
        if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F')))
            fail("bytesToHex wrote a character other than 0-9 A-F");
    }
    if (cipher.hexToBytes(hex) != text) fail("hexToBytes(bytesToHex(s)) is not s");
    return 0;
}
