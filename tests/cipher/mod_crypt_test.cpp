// The text transforms: the high-bit toggle that makes zip passwords, and the
// two-way scrambling of built-in texts.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>
#include <string>

#include "modCrypt.h"
#include "run_time_error.h"

namespace {

using morvane::RunTimeError;
using morvane::scrambleText;
using morvane::toggleHighBits;

unsigned code(const std::string& s, std::size_t i) { return static_cast<unsigned char>(s[i]); }

// The toggle written out character by character.
std::string referenceToggle(const std::string& s) {
    std::string out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const unsigned c = static_cast<unsigned char>(s[i]);
        if (c < 128) {
            out += static_cast<char>(c + 128);
        } else if (c > 128) {
            out += static_cast<char>(c - 128);
        } else {
            out += out.back();
        }
    }
    return out;
}

std::uint64_t gSeed = 1;
std::uint64_t nextSeed() { return gSeed++; }

bool isToggledDigit(unsigned c) { return c >= '1' + 128u && c <= '9' + 128u; }

TEST(ModCryptToggle, LetterAAndBack) {
    const std::string once = toggleHighBits("A");
    ASSERT_EQ(once.size(), 1u);
    EXPECT_EQ(code(once, 0), 193u);
    EXPECT_EQ(toggleHighBits(once), "A");
}

TEST(ModCryptToggle, EveryCodeBelowAndAbove128) {
    for (unsigned c = 0; c < 256; ++c) {
        if (c == 128) continue;
        const std::string t = toggleHighBits(std::string(1, static_cast<char>(c)));
        ASSERT_EQ(t.size(), 1u);
        const unsigned expected = c < 128 ? c + 128 : c - 128;
        EXPECT_EQ(code(t, 0), expected) << "code " << c;
    }
}

TEST(ModCryptToggle, Code128CopiesThePreviousResult) {
    const std::string t = toggleHighBits("A\x80");
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(code(t, 0), 193u);
    EXPECT_EQ(code(t, 1), 193u);

    const std::string run = toggleHighBits("z\x80\x80q");
    ASSERT_EQ(run.size(), 4u);
    EXPECT_EQ(code(run, 0), 'z' + 128u);
    EXPECT_EQ(code(run, 1), 'z' + 128u);
    EXPECT_EQ(code(run, 2), 'z' + 128u);
    EXPECT_EQ(code(run, 3), 'q' + 128u);

    // The copy is of the previous result, which may itself be 128 (from code 0).
    const std::string fromZero = toggleHighBits(std::string("\x00\x80", 2));
    EXPECT_EQ(code(fromZero, 0), 128u);
    EXPECT_EQ(code(fromZero, 1), 128u);
    // So code 0 does not come back: 0 -> 128 -> copy of nothing before it.
    EXPECT_THROW(toggleHighBits(toggleHighBits(std::string(1, '\0'))), RunTimeError);
    EXPECT_EQ(toggleHighBits(toggleHighBits(std::string("A\x00", 2))), "AA");

    const std::string high = toggleHighBits("\xC1\x80");
    EXPECT_EQ(code(high, 1), 'A' + 0u);
}

TEST(ModCryptToggle, Code128FirstIsAnInvalidProcedureCall) {
    try {
        toggleHighBits(
            "\x80"
            "abc");
        FAIL() << "no error for code 128 in first place";
    } catch (const RunTimeError& e) {
        EXPECT_EQ(e.number(), 5);
    }
    EXPECT_THROW(toggleHighBits("\x80"), RunTimeError);
}

TEST(ModCryptToggle, EmptyTextStaysEmpty) { EXPECT_EQ(toggleHighBits(""), ""); }

TEST(ModCryptToggle, MatchesReferenceAndIsItsOwnInverseWithout128) {
    // Code 0 is left out too: it toggles to 128, which does not toggle back.
    std::mt19937 rng(51);
    for (int i = 0; i < 500; ++i) {
        std::string s(rng() % 60, '\0');
        for (auto& ch : s) {
            unsigned c = rng() & 0xFF;
            if (c == 128) c = 129;
            if (c == 0) c = 1;
            ch = static_cast<char>(c);
        }
        const std::string t = toggleHighBits(s);
        ASSERT_EQ(t, referenceToggle(s));
        ASSERT_EQ(toggleHighBits(t), s);
    }
}

TEST(ModCryptToggle, MatchesReferenceWith128AfterTheFirstPlace) {
    std::mt19937 rng(52);
    for (int i = 0; i < 500; ++i) {
        std::string s(1 + rng() % 40, '\0');
        for (auto& ch : s) ch = static_cast<char>((rng() % 3 == 0) ? 128 : (rng() & 0xFF));
        if (static_cast<unsigned char>(s[0]) == 128) s[0] = 'x';
        ASSERT_EQ(toggleHighBits(s), referenceToggle(s));
    }
}

TEST(ModCryptScramble, PlainTextGainsThreeToggledDigits) {
    const std::string plain = "Built-in text";
    for (int run = 0; run < 200; ++run) {
        const std::string s = scrambleText(plain, nextSeed);
        ASSERT_EQ(s.size(), plain.size() + 3);
        EXPECT_TRUE(isToggledDigit(code(s, 0))) << code(s, 0);
        EXPECT_TRUE(isToggledDigit(code(s, 1))) << code(s, 1);
        EXPECT_TRUE(isToggledDigit(code(s, s.size() - 1))) << code(s, s.size() - 1);
        EXPECT_EQ(s.substr(2, plain.size()), referenceToggle(plain));
    }
}

TEST(ModCryptScramble, EveryDigitOneToNineTurnsUp) {
    std::set<unsigned> digits;
    for (int run = 0; run < 300; ++run) {
        const std::string s = scrambleText("d", nextSeed);
        digits.insert(code(s, 0) - 128);
        digits.insert(code(s, 1) - 128);
        digits.insert(code(s, 3) - 128);
    }
    EXPECT_EQ(digits, (std::set<unsigned>{'1', '2', '3', '4', '5', '6', '7', '8', '9'}));
}

TEST(ModCryptScramble, DiffersBetweenSeedsAndEachFormUnscrambles) {
    const std::string plain = "registry value name";
    std::set<std::string> forms;
    for (int run = 0; run < 50; ++run) {
        const std::string s = scrambleText(plain, nextSeed);
        forms.insert(s);
        EXPECT_EQ(scrambleText(s, nextSeed), plain);
    }
    EXPECT_GT(forms.size(), 30u);
}

TEST(ModCryptScramble, ClockSeededFormsUnscramble) {
    const std::string plain = "clock seeded";
    const std::string a = scrambleText(plain);
    const std::string b = scrambleText(plain);
    EXPECT_EQ(scrambleText(a), plain);
    EXPECT_EQ(scrambleText(b), plain);
}

TEST(ModCryptScramble, HandMadeScrambledFormUnscrambles) {
    // "37" + "Secret" + "5", every character toggled.
    const std::string scrambled = referenceToggle("37Secret5");
    EXPECT_EQ(scrambleText(scrambled, nextSeed), "Secret");
}

TEST(ModCryptScramble, UnscramblingTrimsTrailingBlanks) {
    const std::string s = scrambleText("trim me", nextSeed);
    EXPECT_EQ(scrambleText(s + "   ", nextSeed), "trim me");
    EXPECT_EQ(scrambleText(s + " ", nextSeed), "trim me");
}

TEST(ModCryptScramble, LeadingBlankMakesTheTextPlain) {
    // The direction is chosen by the first character before anything is trimmed.
    const std::string s = scrambleText("abc", nextSeed);
    const std::string again = scrambleText(" " + s, nextSeed);
    EXPECT_EQ(again.size(), s.size() + 4);
    EXPECT_EQ(code(again, 2), ' ' + 128u);
}

TEST(ModCryptScramble, InnerBlanksAreKept) {
    const std::string plain = "two  words ";
    const std::string s = scrambleText(plain, nextSeed);
    EXPECT_EQ(scrambleText(s, nextSeed), plain);
}

TEST(ModCryptScramble, EmptyTextIsAnError) {
    try {
        scrambleText("", nextSeed);
        FAIL() << "no error for an empty text";
    } catch (const RunTimeError& e) {
        EXPECT_EQ(e.number(), 5);
    }
}

}  // namespace
