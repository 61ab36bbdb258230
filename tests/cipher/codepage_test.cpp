// Texts meet the cipher as Windows-1252 bytes: every byte has a character and
// comes back unchanged, and characters the code page cannot carry are named,
// never replaced.
#include "codepage.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

namespace cp = morvane::codepage;

// The characters of the codes 0x80 to 0x9F in Windows-1252; the five codes the
// code page leaves unassigned keep the control characters of their number.
constexpr char32_t kWindows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 80-87
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  // 88-8F
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 90-97
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,  // 98-9F
};

char32_t windows1252(unsigned byte) { return byte >= 0x80 && byte <= 0x9F ? kWindows1252High[byte - 0x80] : byte; }

// UTF-8 written out from the encoding rule.
std::string utf8(char32_t c) {
    std::string s;
    if (c < 0x80) {
        s += static_cast<char>(c);
    } else if (c < 0x800) {
        s += static_cast<char>(0xC0 + (c >> 6));
        s += static_cast<char>(0x80 + (c & 0x3F));
    } else if (c < 0x10000) {
        s += static_cast<char>(0xE0 + (c >> 12));
        s += static_cast<char>(0x80 + ((c >> 6) & 0x3F));
        s += static_cast<char>(0x80 + (c & 0x3F));
    } else {
        s += static_cast<char>(0xF0 + (c >> 18));
        s += static_cast<char>(0x80 + ((c >> 12) & 0x3F));
        s += static_cast<char>(0x80 + ((c >> 6) & 0x3F));
        s += static_cast<char>(0x80 + (c & 0x3F));
    }
    return s;
}

TEST(CodePageRoundTrip, AllByteValuesSurvive) {
    std::string all;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    const std::string text = cp::fromCodePage(all);
    const cp::Conversion back = cp::toCodePage(text);
    EXPECT_TRUE(back.ok());
    EXPECT_EQ(back.bytes, all);
}

TEST(CodePageRoundTrip, EveryByteMapsToItsWindows1252Character) {
    for (unsigned b = 0; b < 256; ++b) {
        const std::string one(1, static_cast<char>(b));
        EXPECT_EQ(cp::fromCodePage(one), utf8(windows1252(b))) << "byte " << b;
        const cp::Conversion c = cp::toCodePage(utf8(windows1252(b)));
        EXPECT_TRUE(c.ok()) << "byte " << b;
        EXPECT_EQ(c.bytes, one) << "byte " << b;
    }
}

TEST(CodePageRoundTrip, TellingCharacters) {
    EXPECT_EQ(cp::toCodePage("€").bytes, "\x80");
    EXPECT_EQ(cp::fromCodePage("\x80"), "€");
    EXPECT_EQ(cp::toCodePage("Ÿ").bytes, "\x9F");
    EXPECT_EQ(cp::fromCodePage("\x9F"), "Ÿ");
    EXPECT_EQ(cp::toCodePage("é").bytes, "\xE9");
    EXPECT_EQ(cp::fromCodePage("\xE9"), "é");
    EXPECT_EQ(cp::toCodePage("\xC2\x81").bytes, "\x81");
    EXPECT_EQ(cp::fromCodePage("\x81"), "\xC2\x81");
    EXPECT_EQ(cp::toCodePage("café au lait").bytes, "caf\xE9 au lait");
    EXPECT_EQ(cp::fromCodePage(std::string(1, '\0')), std::string(1, '\0'));
    EXPECT_EQ(cp::toCodePage("").bytes, "");
    EXPECT_TRUE(cp::toCodePage("").ok());
}

TEST(CodePageRoundTrip, LatinOneLookalikesOfTheHighControlsAreNotCarried) {
    // U+0080 and U+009F are not the characters of 0x80 and 0x9F in this code page.
    const cp::Conversion c = cp::toCodePage("\xC2\x80\xC2\x9F");
    EXPECT_FALSE(c.ok());
    EXPECT_EQ(c.bytes, "");
    EXPECT_EQ(c.unrepresentable, (std::vector<char32_t>{0x80, 0x9F}));
}

TEST(CodePageUnrepresentable, NamedInOrderWithoutDuplicatesAndNeverReplaced) {
    const cp::Conversion c = cp::toCodePage("a→bāc😀dā→e");
    EXPECT_FALSE(c.ok());
    EXPECT_EQ(c.unrepresentable, (std::vector<char32_t>{0x2192, 0x0101, 0x1F600}));
    EXPECT_EQ(c.bytes, "abcde");
}

TEST(CodePageUnrepresentable, SingleCharacters) {
    const struct {
        const char* text;
        char32_t character;
    } cases[] = {{"ā", 0x0101}, {"→", 0x2192}, {"😀", 0x1F600}, {"Ω", 0x03A9}, {"€€ā", 0x0101}};
    for (const auto& one : cases) {
        const cp::Conversion c = cp::toCodePage(one.text);
        EXPECT_EQ(c.unrepresentable, std::vector<char32_t>{one.character}) << one.text;
        EXPECT_EQ(c.bytes.find('?'), std::string::npos) << one.text;
    }
}

TEST(CodePageUnrepresentable, InvalidUtf8IsReported) {
    const char* const invalid[] = {
        "\xFF",              // never a UTF-8 byte
        "a\xC3",             // cut off at the end
        "\xC3(",             // missing continuation
        "\x80",              // stray continuation
        "\xC0\xAF",          // overlong form of "/"
        "\xED\xA0\x80",      // surrogate
        "\xF4\x90\x80\x80",  // beyond U+10FFFF
    };
    for (const char* text : invalid) {
        const cp::Conversion c = cp::toCodePage(text);
        EXPECT_FALSE(c.ok()) << "input " << testing::PrintToString(std::string(text));
        EXPECT_EQ(c.unrepresentable, std::vector<char32_t>{0xFFFD})
            << "input " << testing::PrintToString(std::string(text));
    }
    const cp::Conversion mixed = cp::toCodePage("\xFFé\xFE");
    EXPECT_EQ(mixed.bytes, "\xE9");
    EXPECT_EQ(mixed.unrepresentable, std::vector<char32_t>{0xFFFD});
}

TEST(CodePageDescribe, MentionsEachCharacter) {
    const std::string text = cp::describeCharacters({0x0101, 0x2192, 0x1F600});
    EXPECT_NE(text.find("ā"), std::string::npos) << text;
    EXPECT_NE(text.find("→"), std::string::npos) << text;
    EXPECT_NE(text.find("😀"), std::string::npos) << text;
    EXPECT_NE(text.find("U+0101"), std::string::npos) << text;
    EXPECT_NE(text.find("U+2192"), std::string::npos) << text;
    EXPECT_NE(text.find("U+1F600"), std::string::npos) << text;
    EXPECT_LT(text.find("ā"), text.find("→"));
    EXPECT_LT(text.find("→"), text.find("😀"));
}

TEST(CodePageDescribe, InvalidByteIsDescribed) {
    const std::string text = cp::describeCharacters({0xFFFD});
    EXPECT_NE(text.find("U+FFFD"), std::string::npos) << text;
    EXPECT_EQ(cp::describeCharacters({}), "");
}

TEST(CodePageUtf8, EncodesOneToFourBytes) {
    for (const char32_t c :
         {char32_t{0x41}, char32_t{0x7F}, char32_t{0x80}, char32_t{0xE9}, char32_t{0x7FF}, char32_t{0x800},
          char32_t{0x20AC}, char32_t{0xFFFD}, char32_t{0x10000}, char32_t{0x1F600}, char32_t{0x10FFFF}}) {
        EXPECT_EQ(cp::toUtf8(c), utf8(c)) << std::hex << static_cast<unsigned>(c);
    }
    EXPECT_EQ(cp::toUtf8(0x20AC), "€");
}

}  // namespace
