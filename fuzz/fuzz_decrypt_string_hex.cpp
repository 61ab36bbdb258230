// DecryptString on hexadecimal text, keyed with the input's key of up to 56
// bytes (input layout in fuzz_input.h); the body is the text.
//
// Whatever the text, DecryptString(text, key, true) must equal deciphering the
// bytes hexToBytes reads from it, on fresh objects; its result is either the
// whole deciphered length (a failed size check) or a length the size check
// accepts. And a text enciphered to hexadecimal with the same key must come
// back unchanged, that hexadecimal text meeting the same comparison.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "clsBlowfish.h"
#include "fuzz_input.h"

namespace {

constexpr std::size_t kMaxKeyBytes = 56;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "fuzz_decrypt_string_hex: %s\n", what);
    std::abort();
}

// DecryptString of hexadecimal text against DecryptString of the bytes
// hexToBytes reads from it, each on a fresh object.
void checkAgainstBytes(std::string_view text, std::string_view key) {
    std::string fromHex;
    {
        morvane::clsBlowfish cipher;
        fromHex = cipher.DecryptString(text, key, true);
    }
    std::string bytes;
    {
        morvane::clsBlowfish cipher;
        bytes = cipher.hexToBytes(text);
    }
    std::string fromBytes;
    {
        morvane::clsBlowfish cipher;
        fromBytes = cipher.DecryptString(bytes, key, false);
    }
    if (fromHex != fromBytes) fail("DecryptString of hexadecimal text differs from DecryptString of its bytes");
    if (fromHex.size() != bytes.size() && !morvane::sizeDescriptorFits(bytes.size(), fromHex.size()))
        fail("DecryptString shrank the text to a length the size check does not accept");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto input = morvane::fuzzing::readInput(data, size, kMaxKeyBytes);
    if (!input) return 0;
    const std::string_view key = input->key;
    const std::string_view text = input->body;

    checkAgainstBytes(text, key);

    std::string hex;
    {
        morvane::clsBlowfish cipher;
        hex = cipher.EncryptString(text, key, true);
    }
    if (hex.size() != 2 * ((text.size() + 12 + 7) / 8 * 8)) fail("EncryptString gave the wrong length");
    morvane::clsBlowfish cipher;
    checkAgainstBytes(hex, key);
    if (cipher.DecryptString(hex, key, true) != text)
        fail("EncryptString then DecryptString did not give the text back");
    return 0;
}
