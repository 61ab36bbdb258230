// Texts through the cipher buffer, and the hexadecimal text form.
#include "clsBlowfish.h"

namespace morvane {
namespace {

int hexDigitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// The value of "&H" + pair as the run time's Val reads it: blanks, tabs and
// line feeds are passed over, leading hexadecimal digits count, and the first
// other character ends the number.
int readHexPair(std::string_view pair) {
    int value = 0;
    for (const char c : pair) {
        if (c == ' ' || c == '\t' || c == '\n') continue;
        const int digit = hexDigitValue(c);
        if (digit < 0) break;
        value = value * 16 + digit;
    }
    return value;
}

std::vector<std::uint8_t> toBuffer(std::string_view s) { return {s.begin(), s.end()}; }

std::string toText(const std::vector<std::uint8_t>& buffer) { return {buffer.begin(), buffer.end()}; }

}  // namespace

std::string clsBlowfish::bytesToHex(std::string_view s) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    text_.resetText();
    char pair[2];
    for (const char c : s) {
        const auto code = static_cast<unsigned char>(c);
        pair[0] = kDigits[code >> 4];
        pair[1] = kDigits[code & 0x0F];
        text_.appendText({pair, 2});
    }
    return text_.getText();
}

std::string clsBlowfish::hexToBytes(std::string_view s) {
    text_.resetText();
    for (std::size_t i = 0; i < s.size(); i += 2) {
        const char byte = static_cast<char>(readHexPair(s.substr(i, 2)));
        text_.appendText({&byte, 1});
    }
    return text_.getText();
}

std::string clsBlowfish::EncryptString(std::string_view text, std::string_view keyText, bool outputInHex) {
    std::vector<std::uint8_t> buffer = toBuffer(text);
    encipherBuffer(buffer, keyText);
    std::string cipherText = toText(buffer);
    return outputInHex ? bytesToHex(cipherText) : cipherText;
}

std::string clsBlowfish::DecryptString(std::string_view text, std::string_view keyText, bool isTextInHex) {
    std::vector<std::uint8_t> buffer = isTextInHex ? toBuffer(hexToBytes(text)) : toBuffer(text);
    decipherBuffer(buffer, keyText);
    return toText(buffer);
}

}  // namespace morvane
