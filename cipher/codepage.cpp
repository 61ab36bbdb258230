#include "codepage.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace morvane::codepage {
namespace {

// Characters of the codes 0x80 to 0x9F; the rest of the code page equals the
// first 256 Unicode characters.
constexpr std::array<char32_t, 32> kHighControls = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

char32_t characterOf(unsigned char byte) {
    return (byte >= 0x80 && byte <= 0x9F) ? kHighControls[byte - 0x80] : char32_t{byte};
}

// The byte carrying `c`, or -1.
int byteOf(char32_t c) {
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) return static_cast<int>(c);
    for (std::size_t i = 0; i < kHighControls.size(); ++i)
        if (kHighControls[i] == c) return static_cast<int>(0x80 + i);
    return -1;
}

// Decodes one UTF-8 character at `pos`, advancing it; U+FFFD for a malformed
// sequence (one byte is consumed then).
char32_t decodeUtf8(std::string_view s, std::size_t& pos) {
    const auto lead = static_cast<unsigned char>(s[pos]);
    int extra = 0;
    char32_t c = 0;
    if (lead < 0x80) {
        ++pos;
        return lead;
    } else if ((lead & 0xE0) == 0xC0) {
        extra = 1;
        c = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        extra = 2;
        c = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        extra = 3;
        c = lead & 0x07;
    } else {
        ++pos;
        return 0xFFFD;
    }
    if (pos + extra >= s.size()) {  // sequence cut off by the end of the text
        ++pos;
        return 0xFFFD;
    }
    for (int k = 1; k <= extra; ++k) {
        const auto b = static_cast<unsigned char>(s[pos + k]);
        if ((b & 0xC0) != 0x80) {
            ++pos;
            return 0xFFFD;
        }
        c = (c << 6) | (b & 0x3F);
    }
    static constexpr std::array<char32_t, 4> kSmallest = {0, 0x80, 0x800, 0x10000};
    if (c < kSmallest[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        ++pos;
        return 0xFFFD;
    }
    pos += extra + 1;
    return c;
}

}  // namespace

std::string toUtf8(char32_t c) {
    std::string out;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    return out;
}

Conversion toCodePage(std::string_view utf8) {
    Conversion result;
    result.bytes.reserve(utf8.size());
    std::size_t pos = 0;
    while (pos < utf8.size()) {
        const char32_t c = decodeUtf8(utf8, pos);
        const int byte = c == 0xFFFD ? -1 : byteOf(c);
        if (byte >= 0) {
            result.bytes += static_cast<char>(byte);
        } else if (std::find(result.unrepresentable.begin(), result.unrepresentable.end(), c) ==
                   result.unrepresentable.end()) {
            result.unrepresentable.push_back(c);
        }
    }
    return result;
}

std::string fromCodePage(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() + bytes.size() / 2);
    for (const char b : bytes) out += toUtf8(characterOf(static_cast<unsigned char>(b)));
    return out;
}

std::string describeCharacters(const std::vector<char32_t>& characters) {
    std::string out;
    for (const char32_t c : characters) {
        if (!out.empty()) out += ", ";
        char code[16];
        std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned>(c));
        if (c == 0xFFFD) {
            out.append("a byte that is not UTF-8 (").append(code).append(")");
        } else {
            out.append("\"").append(toUtf8(c)).append("\" (").append(code).append(")");
        }
    }
    return out;
}

}  // namespace morvane::codepage
