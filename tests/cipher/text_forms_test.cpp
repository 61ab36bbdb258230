// Text forms of the cipher buffer: the hexadecimal text, its lenient reading,
// the text round trips, and the object's text builder.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>

#include "clsBlowfish.h"
#include "text_builder.h"

namespace {

using morvane::clsBlowfish;
using morvane::TextBuilder;

bool isUpperHex(const std::string& s) {
    for (const char ch : s) {
        if (!((ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'F'))) return false;
    }
    return true;
}

TEST(TextFormsHex, TwoUpperCaseDigitsPerByte) {
    clsBlowfish c;
    EXPECT_EQ(c.bytesToHex(""), "");
    EXPECT_EQ(c.bytesToHex("A"), "41");
    EXPECT_EQ(c.bytesToHex(std::string("\x00\x0F\x10\xAB\xFF", 5)), "000F10ABFF");
    EXPECT_EQ(c.bytesToHex("\x05"), "05");

    std::string all, expected;
    for (int i = 0; i < 256; ++i) {
        all += static_cast<char>(i);
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02X", i);
        expected += pair;
    }
    EXPECT_EQ(c.bytesToHex(all), expected);
}

TEST(TextFormsHex, LongTextsBeyondTheBuilderStep) {
    clsBlowfish c;
    std::mt19937 rng(41);
    std::string text(3000, '\0');
    for (auto& ch : text) ch = static_cast<char>(rng());
    const std::string hex = c.bytesToHex(text);
    ASSERT_EQ(hex.size(), 6000u);
    for (std::size_t i = 0; i < text.size(); ++i) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned char>(text[i]));
        ASSERT_EQ(hex.substr(2 * i, 2), pair) << "byte " << i;
    }
    EXPECT_EQ(c.hexToBytes(hex), text);
}

TEST(TextFormsHex, ReadingBackGivesEveryByte) {
    clsBlowfish c;
    std::string all;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    EXPECT_EQ(c.hexToBytes(c.bytesToHex(all)), all);
}

TEST(TextFormsHex, LowerCaseDigitsAreAccepted) {
    clsBlowfish c;
    EXPECT_EQ(c.hexToBytes("ab"), "\xAB");
    EXPECT_EQ(c.hexToBytes("fF0a"), "\xFF\x0A");
    EXPECT_EQ(c.hexToBytes("deadbeef"), c.hexToBytes("DEADBEEF"));
}

TEST(TextFormsHex, FinalSingleCharacterIsReadAlone) {
    clsBlowfish c;
    EXPECT_EQ(c.hexToBytes("ABC"), "\xAB\x0C");
    EXPECT_EQ(c.hexToBytes("7"), "\x07");
    EXPECT_EQ(c.hexToBytes("0102F"), "\x01\x02\x0F");
}

TEST(TextFormsHex, NonHexadecimalPairReadsAsZero) {
    clsBlowfish c;
    EXPECT_EQ(c.hexToBytes("ZZ"), std::string(1, '\0'));
    EXPECT_EQ(c.hexToBytes("41ZZ42"), std::string("\x41\x00\x42", 3));
    EXPECT_EQ(c.hexToBytes("Z"), std::string(1, '\0'));
}

TEST(TextFormsHex, LeadingDigitsCountUpToTheFirstOtherCharacter) {
    clsBlowfish c;
    EXPECT_EQ(c.hexToBytes("1G"), "\x01");
    EXPECT_EQ(c.hexToBytes("G1"), std::string(1, '\0'));
    EXPECT_EQ(c.hexToBytes("F-"), "\x0F");
}

TEST(TextFormsHex, BlanksArePassedOver) {
    clsBlowfish c;
    EXPECT_EQ(c.hexToBytes(" 1"), "\x01");
    EXPECT_EQ(c.hexToBytes("1 "), "\x01");
    EXPECT_EQ(c.hexToBytes("  "), std::string(1, '\0'));
    EXPECT_EQ(c.hexToBytes("A B"), std::string("\x0A\x0B", 2));
}

TEST(TextFormsHex, EmptyTextGivesEmptyBytes) {
    clsBlowfish c;
    EXPECT_EQ(c.hexToBytes(""), "");
}

TEST(TextFormsString, OneCharacterGives32UpperCaseHexDigitsAndBack) {
    clsBlowfish e;
    const std::string hex = e.EncryptString("x", "hex key", true);
    EXPECT_EQ(hex.size(), 32u);
    EXPECT_TRUE(isUpperHex(hex)) << hex;
    clsBlowfish d;
    EXPECT_EQ(d.DecryptString(hex, "hex key", true), "x");
}

TEST(TextFormsString, HexFormIsTheHexOfTheByteForm) {
    // With the seed pinned, both forms come from the same cipher buffer.
    clsBlowfish e;
    e.setSeedSource([] { return std::uint64_t{77}; });
    const std::string bytes = e.EncryptString("same buffer", "k");
    const std::string hex = e.EncryptString("same buffer", "k", true);
    std::string expected;
    for (const char ch : bytes) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned char>(ch));
        expected += pair;
    }
    EXPECT_EQ(hex, expected);
}

TEST(TextFormsString, LowerCaseHexTextDeciphersToo) {
    clsBlowfish e;
    std::string hex = e.EncryptString("Lower case", "k", true);
    for (auto& ch : hex) {
        if (ch >= 'A' && ch <= 'F') ch = static_cast<char>(ch - 'A' + 'a');
    }
    clsBlowfish d;
    EXPECT_EQ(d.DecryptString(hex, "k", true), "Lower case");
}

TEST(TextFormsString, ByteFormRoundTrip) {
    clsBlowfish e, d;
    const std::string text = "Texts travel one byte per character: \xE9\x80\x9F\xFF";
    const std::string cipher = e.EncryptString(text, "round trip");
    EXPECT_EQ(cipher.size() % 8, 0u);
    EXPECT_EQ(d.DecryptString(cipher, "round trip"), text);
}

TEST(TextFormsString, WrongKeyHexGivesFullLength) {
    clsBlowfish e;
    const std::string hex = e.EncryptString("secret", "right", true);
    ASSERT_EQ(hex.size(), 48u);  // 6 + 12 = 18, rounded up to 24 bytes
    clsBlowfish d;
    EXPECT_EQ(d.DecryptString(hex, "wrong", true).size(), 24u);
}

TEST(TextFormsBuilder, StartsEmptyWith1024Bytes) {
    TextBuilder b;
    EXPECT_EQ(b.getText(), "");
    EXPECT_EQ(b.capacity(), 1024u);
}

TEST(TextFormsBuilder, GrowsIn1024ByteSteps) {
    TextBuilder b;
    b.appendText(std::string(1000, 'a'));
    EXPECT_EQ(b.capacity(), 1024u);
    b.appendText(std::string(24, 'b'));
    EXPECT_EQ(b.capacity(), 1024u);  // exactly full
    b.appendText("c");
    EXPECT_EQ(b.capacity(), 2048u);
    b.appendText(std::string(2500, 'd'));  // 3525 bytes
    EXPECT_EQ(b.capacity(), 4096u);
    const std::string text = b.getText();
    ASSERT_EQ(text.size(), 3525u);
    EXPECT_EQ(text, std::string(1000, 'a') + std::string(24, 'b') + "c" + std::string(2500, 'd'));
}

TEST(TextFormsBuilder, BigFirstAppendJumpsToTheNextStep) {
    TextBuilder b;
    b.appendText(std::string(3073, 'x'));
    EXPECT_EQ(b.capacity(), 4096u);
    EXPECT_EQ(b.getText().size(), 3073u);
}

TEST(TextFormsBuilder, ResetEmptiesAndShrinksBack) {
    TextBuilder b;
    b.appendText(std::string(5000, 'x'));
    EXPECT_EQ(b.capacity(), 5120u);
    b.resetText();
    EXPECT_EQ(b.getText(), "");
    EXPECT_EQ(b.capacity(), 1024u);
    b.appendText("after reset");
    EXPECT_EQ(b.getText(), "after reset");
}

TEST(TextFormsBuilder, KeepsEveryByteValue) {
    TextBuilder b;
    std::string all;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    for (int i = 0; i < 5; ++i) b.appendText(all);
    EXPECT_EQ(b.getText(), all + all + all + all + all);
    EXPECT_EQ(b.capacity(), 2048u);
}

TEST(TextFormsBuilder, EmptyAppendsChangeNothing) {
    TextBuilder b;
    b.appendText("");
    b.appendText("ab");
    b.appendText("");
    EXPECT_EQ(b.getText(), "ab");
    EXPECT_EQ(b.capacity(), 1024u);
}

}  // namespace
