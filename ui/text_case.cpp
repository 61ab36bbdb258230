#include "text_case.h"

#include "codepage.h"

namespace morvane {
namespace {

char32_t lowerOf(char32_t c) {
    if (c >= U'A' && c <= U'Z') return c + 32;
    if ((c >= 0xC0 && c <= 0xDE) && c != 0xD7) return c + 32;   // À..Þ, not ×
    if (c >= 0x100 && c <= 0x137 && c % 2 == 0) return c + 1;   // Ā..ķ in pairs
    if (c >= 0x139 && c <= 0x148 && c % 2 == 1) return c + 1;   // Ĺ..ň
    if (c >= 0x14A && c <= 0x177 && c % 2 == 0) return c + 1;   // Ŋ..ŷ
    if (c == 0x178) return 0xFF;                                // Ÿ
    if (c >= 0x179 && c <= 0x17E && c % 2 == 1) return c + 1;   // Ź..ž
    if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return c + 32;  // Greek capitals
    if (c >= 0x410 && c <= 0x42F) return c + 32;                // Cyrillic А..Я
    if (c >= 0x400 && c <= 0x40F) return c + 80;                // Ѐ..Џ
    return c;
}

}  // namespace

std::string lowerCase(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    std::size_t i = 0;
    while (i < utf8.size()) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        if (lead < 0x80) {
            out += static_cast<char>(lead >= 'A' && lead <= 'Z' ? lead + 32 : lead);
            ++i;
            continue;
        }
        const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
        if (length == 1 || i + length > utf8.size()) {  // not UTF-8: kept as it is
            out += utf8[i++];
            continue;
        }
        char32_t c = lead & (0x7F >> length);
        bool valid = true;
        for (std::size_t k = 1; k < length; ++k) {
            const auto b = static_cast<unsigned char>(utf8[i + k]);
            valid = valid && (b & 0xC0) == 0x80;
            c = (c << 6) | (b & 0x3F);
        }
        if (!valid) {
            out += utf8[i++];
            continue;
        }
        out += codepage::toUtf8(lowerOf(c));
        i += length;
    }
    return out;
}

}  // namespace morvane
