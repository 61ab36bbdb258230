// The morvane-cipher developer tool, run as a child process: its output,
// its exit status, and agreement with the cipher object in this process.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "clsBlowfish.h"
#include "scratch_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;

// UTF-8 forms of a few characters and their Windows-1252 bytes.
const std::string kEuroUtf8 = "\xE2\x82\xAC", kEuroCp = "\x80";
const std::string kEAcuteUtf8 = "\xC3\xA9", kEAcuteCp = "\xE9";
const std::string kYDiaeresisUtf8 = "\xC3\xBF", kYDiaeresisCp = "\xFF";
const std::string kAMacronUtf8 = "\xC4\x81";  // not in Windows-1252

struct ScratchDir : morvane::testing::ScratchDirectory {
    ScratchDir() : ScratchDirectory("tool") {}
};

void writeText(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string shellQuoted(const std::string& s) {
    std::string q = "'";
    for (char c : s) {
        if (c == '\'')
            q.append("'\\''");
        else
            q.push_back(c);
    }
    q.push_back('\'');
    return q;
}

struct ToolRun {
    int status = -1;  // exit status, -1 when the tool did not exit normally
    std::string out;
    std::string err;
};

ToolRun runTool(const ScratchDir& d, const std::vector<std::string>& args, const std::string& input = "") {
    writeText(d.path("tool.stdin"), input);
    std::string command = shellQuoted(MORVANE_CIPHER_TOOL);
    for (const auto& a : args) command.append(" ").append(shellQuoted(a));
    command.append(" <").append(shellQuoted(d.path("tool.stdin")));
    command.append(" >").append(shellQuoted(d.path("tool.stdout")));
    command.append(" 2>").append(shellQuoted(d.path("tool.stderr")));
    const int raw = std::system(command.c_str());
    ToolRun run;
    if (raw != -1 && WIFEXITED(raw)) run.status = WEXITSTATUS(raw);
    run.out = readText(d.path("tool.stdout"));
    run.err = readText(d.path("tool.stderr"));
    return run;
}

bool isUpperHex(const std::string& s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); });
}

std::size_t cipherLength(std::size_t n) {
    std::size_t t = n + 12;
    while (t % 8 != 0) ++t;
    return t;
}

// Characters of a UTF-8 text (continuation bytes not counted).
std::size_t characterCount(const std::string& utf8) {
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

// Runs encrypt-text and checks the form of its output; returns the hexadecimal text.
std::string encryptText(const ScratchDir& d, const std::string& key, const std::string& utf8, std::size_t cpLength) {
    const ToolRun run = runTool(d, {"encrypt-text", key}, utf8);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_FALSE(run.out.empty());
    if (run.out.empty()) return {};
    EXPECT_EQ(run.out.back(), '\n');
    const std::string hex = run.out.substr(0, run.out.size() - 1);
    EXPECT_EQ(hex.find('\n'), std::string::npos);
    EXPECT_TRUE(isUpperHex(hex)) << hex;
    EXPECT_EQ(hex.size(), 2 * cipherLength(cpLength)) << hex;
    return hex;
}

// ---------------------------------------------------------------------------
// Texts

TEST(ToolEncryptText, OneCharacterGivesThirtyTwoDigitsAndOneNewline) {
    ScratchDir d;
    const ToolRun run = runTool(d, {"encrypt-text", "key"}, "A");
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(run.out.size(), 33u);
    EXPECT_EQ(run.out[32], '\n');
    EXPECT_TRUE(isUpperHex(run.out.substr(0, 32))) << run.out;
}

TEST(ToolEncryptText, EmptyTextGivesThirtyTwoDigits) {
    ScratchDir d;
    encryptText(d, "key", "", 0);
}

TEST(ToolEncryptText, LengthCountsCodePageBytesNotUtf8Bytes) {
    ScratchDir d;
    // Three characters, seven UTF-8 bytes: one 16-byte buffer.
    encryptText(d, "key", kEuroUtf8 + kEAcuteUtf8 + kYDiaeresisUtf8, 3);
    // Five euro signs, fifteen UTF-8 bytes: 24 bytes, not 32.
    encryptText(d, "key", kEuroUtf8 + kEuroUtf8 + kEuroUtf8 + kEuroUtf8 + kEuroUtf8, 5);
    for (std::size_t n = 0; n <= 20; ++n) encryptText(d, "key", std::string(n, 'x'), n);
}

TEST(ToolEncryptText, SameTextTwiceGivesDifferentHex) {
    ScratchDir d;
    const std::string a = encryptText(d, "key", "twice", 5);
    const std::string b = encryptText(d, "key", "twice", 5);
    EXPECT_NE(a, b);
}

TEST(ToolTextRoundTrip, TextsComeBackExactlyWithoutANewline) {
    ScratchDir d;
    const std::string key = "s3cret";
    const std::vector<std::pair<std::string, std::size_t>> texts = {
        {"", 0},
        {"A", 1},
        {kEuroUtf8, 1},
        {kEAcuteUtf8, 1},
        {kYDiaeresisUtf8, 1},
        {"Gr\xC3\xBC\xC3\x9F"
         "e, caf" +
             kEAcuteUtf8 + ", " + kEuroUtf8 + "5, " + kYDiaeresisUtf8,
         18},
        {"two\nlines\r\n", 11},
        {"  padded  ", 10},
    };
    for (const auto& [text, cpLength] : texts) {
        SCOPED_TRACE(text);
        const std::string hex = encryptText(d, key, text, cpLength);
        const ToolRun back = runTool(d, {"decrypt-text", key}, hex);
        EXPECT_EQ(back.status, 0) << back.err;
        EXPECT_EQ(back.out, text);
    }
}

TEST(ToolTextRoundTrip, WhiteSpaceAroundTheHexIsIgnored) {
    ScratchDir d;
    const std::string text = kEuroUtf8 + " and " + kEAcuteUtf8;
    const std::string hex = encryptText(d, "key", text, 7);
    for (const std::string& wrapped : {"  \n\t" + hex + "\r\n\n  ", hex + "\n", "\r\n" + hex, "\f\v " + hex + " "}) {
        const ToolRun back = runTool(d, {"decrypt-text", "key"}, wrapped);
        EXPECT_EQ(back.status, 0);
        EXPECT_EQ(back.out, text);
    }
}

TEST(ToolTextRoundTrip, EmptyKeyWorksBothWays) {
    ScratchDir d;
    const std::string hex = encryptText(d, "", "no key", 6);
    const ToolRun back = runTool(d, {"decrypt-text", ""}, hex);
    EXPECT_EQ(back.status, 0);
    EXPECT_EQ(back.out, "no key");
}

TEST(ToolTextRoundTrip, WrongKeyGivesOneCharacterPerCipherByte) {
    ScratchDir d;
    const std::string hex = encryptText(d, "right", "A", 1);
    const ToolRun back = runTool(d, {"decrypt-text", "wrong"}, hex);
    EXPECT_EQ(back.status, 0);
    EXPECT_EQ(characterCount(back.out), 16u);
}

TEST(ToolTextInProcess, DecryptStringOfToolHexGivesCodePageBytes) {
    ScratchDir d;
    const std::string key = "p" + kEAcuteUtf8 + "ss" + kEuroUtf8;
    const std::string keyCp = "p" + kEAcuteCp + "ss" + kEuroCp;
    const std::string hex = encryptText(d, key, kEuroUtf8 + kEAcuteUtf8 + kYDiaeresisUtf8 + "!", 4);
    clsBlowfish c;
    EXPECT_EQ(c.DecryptString(hex, keyCp, true), kEuroCp + kEAcuteCp + kYDiaeresisCp + "!");
}

TEST(ToolTextInProcess, ToolDecryptsHexFromEncryptString) {
    ScratchDir d;
    clsBlowfish c;
    const std::string hex = c.EncryptString(kYDiaeresisCp + "es " + kEuroCp, "k" + kEAcuteCp + "y", true);
    const ToolRun back = runTool(d, {"decrypt-text", "k" + kEAcuteUtf8 + "y"}, hex + "\n");
    EXPECT_EQ(back.status, 0) << back.err;
    EXPECT_EQ(back.out, kYDiaeresisUtf8 + "es " + kEuroUtf8);
}

TEST(ToolTextInProcess, KeyIsTakenInTheCodePage) {
    // The same key in UTF-8 bytes is a different key.
    ScratchDir d;
    const std::string hex = encryptText(d, kEuroUtf8, "abc", 3);
    clsBlowfish right;
    EXPECT_EQ(right.DecryptString(hex, kEuroCp, true), "abc");
    clsBlowfish utf8Bytes;
    EXPECT_NE(utf8Bytes.DecryptString(hex, kEuroUtf8, true), "abc");
}

// ---------------------------------------------------------------------------
// Refusals

TEST(ToolRefusal, KeyOutsideTheCodePage) {
    ScratchDir d;
    writeText(d.path("in"), "data");
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{"encrypt-text", "k" + kAMacronUtf8},
                                               {"decrypt-text", kAMacronUtf8},
                                               {"encrypt-file", kAMacronUtf8, d.path("in"), d.path("out")},
                                               {"decrypt-file", kAMacronUtf8, d.path("in"), d.path("out")}}) {
        SCOPED_TRACE(args[0]);
        const ToolRun run = runTool(d, args, "text");
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_FALSE(run.err.empty());
        EXPECT_FALSE(fs::exists(d.path("out")));
    }
}

TEST(ToolRefusal, TextOutsideTheCodePage) {
    ScratchDir d;
    const ToolRun run = runTool(d, {"encrypt-text", "key"}, "caf" + kEAcuteUtf8 + " " + kAMacronUtf8);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_FALSE(run.err.empty());
}

TEST(ToolRefusal, TextThatIsNotUtf8) {
    ScratchDir d;
    const ToolRun run = runTool(d, {"encrypt-text", "key"}, "abc\xFF");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
}

TEST(ToolRefusal, WrongArgumentCountOrUnknownCommand) {
    ScratchDir d;
    const std::vector<std::vector<std::string>> commandLines = {
        {},
        {"encrypt-text"},
        {"decrypt-text"},
        {"encrypt-text", "k", "extra"},
        {"decrypt-text", "k", "extra"},
        {"encrypt-file", "k"},
        {"encrypt-file", "k", "in"},
        {"decrypt-file", "k", "in"},
        {"encrypt-file", "k", "in", "out", "extra"},
        {"decrypt-file", "k", "in", "out", "extra"},
        {"encode-text", "k"},
        {"ENCRYPT-TEXT", "k"},
        {"encrypt", "k", "in", "out"},
        {"--help"},
    };
    for (const auto& args : commandLines) {
        std::string shown;
        for (const auto& a : args) shown += a + " ";
        SCOPED_TRACE(shown);
        const ToolRun run = runTool(d, args, "text");
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_FALSE(run.err.empty());
    }
}

// ---------------------------------------------------------------------------
// Files

std::string randomContent(std::size_t n, std::uint32_t seed) {
    std::mt19937 gen(seed);
    std::string s(n, '\0');
    for (char& c : s) c = static_cast<char>(gen());
    return s;
}

TEST(ToolFiles, EncryptAndDecryptFileRoundTrip) {
    ScratchDir d;
    for (std::size_t n : {0u, 1u, 5u, 4096u, 100000u}) {
        SCOPED_TRACE(n);
        const std::string content = randomContent(n, static_cast<std::uint32_t>(n) + 1);
        writeText(d.path("in.bin"), content);
        const ToolRun enc = runTool(d, {"encrypt-file", "file key", d.path("in.bin"), d.path("in.enz")});
        EXPECT_EQ(enc.status, 0) << enc.err;
        EXPECT_EQ(fs::file_size(d.path("in.enz")), cipherLength(n));
        const ToolRun dec = runTool(d, {"decrypt-file", "file key", d.path("in.enz"), d.path("out.bin")});
        EXPECT_EQ(dec.status, 0) << dec.err;
        EXPECT_EQ(readText(d.path("out.bin")), content);
        EXPECT_EQ(readText(d.path("in.bin")), content);
    }
}

TEST(ToolFiles, MissingInputExitsWithOneAndSaysWhy) {
    ScratchDir d;
    const std::string in = d.path("nowhere.enz");
    for (const char* command : {"encrypt-file", "decrypt-file"}) {
        SCOPED_TRACE(command);
        const ToolRun run = runTool(d, {command, "key", in, d.path("out")});
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.err.find("Unable to locate " + in + "."), std::string::npos) << run.err;
        EXPECT_FALSE(fs::exists(d.path("out")));
    }
}

TEST(ToolFiles, OutputThatCannotBeWrittenExitsWithOne) {
    ScratchDir d;
    writeText(d.path("in"), "content");
    fs::create_directory(d.path("folder"));
    const ToolRun run = runTool(d, {"encrypt-file", "key", d.path("in"), d.path("folder")});
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(run.err.empty());
    EXPECT_TRUE(fs::is_directory(d.path("folder")));
    EXPECT_EQ(readText(d.path("in")), "content");
}

TEST(ToolFiles, ToolFileDeciphersInProcess) {
    ScratchDir d;
    const std::string content = randomContent(7777, 42);
    writeText(d.path("in"), content);
    const ToolRun enc = runTool(d, {"encrypt-file", "k" + kEuroUtf8, d.path("in"), d.path("in.enz")});
    ASSERT_EQ(enc.status, 0) << enc.err;
    clsBlowfish c;
    ASSERT_TRUE(c.DecryptFile(d.path("in.enz"), d.path("out"), "k" + kEuroCp)) << c.LastError;
    EXPECT_EQ(readText(d.path("out")), content);
}

TEST(ToolFiles, InProcessFileDeciphersWithTheTool) {
    ScratchDir d;
    const std::string content = randomContent(12345, 43);
    writeText(d.path("in"), content);
    clsBlowfish c;
    ASSERT_TRUE(c.EncryptFile(d.path("in"), d.path("in.enz"), "k" + kEAcuteCp)) << c.LastError;
    const ToolRun dec = runTool(d, {"decrypt-file", "k" + kEAcuteUtf8, d.path("in.enz"), d.path("out")});
    EXPECT_EQ(dec.status, 0) << dec.err;
    EXPECT_EQ(readText(d.path("out")), content);
}

TEST(ToolFiles, WrongKeyStillSucceedsWithTheWholeLength) {
    ScratchDir d;
    writeText(d.path("in"), randomContent(300, 44));
    ASSERT_EQ(runTool(d, {"encrypt-file", "right", d.path("in"), d.path("in.enz")}).status, 0);
    const ToolRun dec = runTool(d, {"decrypt-file", "wrong", d.path("in.enz"), d.path("out")});
    EXPECT_EQ(dec.status, 0) << dec.err;
    EXPECT_EQ(fs::file_size(d.path("out")), fs::file_size(d.path("in.enz")));
}

TEST(ToolFiles, PathsWithSpacesAndNonAsciiCharacters) {
    ScratchDir d;
    const std::string in = d.path("my r" + kEAcuteUtf8 + "sum" + kEAcuteUtf8 + " 'draft'.doc");
    const std::string enz = in + ".enz";
    const std::string out = d.path(kEuroUtf8 + " back.doc");
    writeText(in, "draft text");
    ASSERT_EQ(runTool(d, {"encrypt-file", "key", in, enz}).status, 0);
    ASSERT_EQ(runTool(d, {"decrypt-file", "key", enz, out}).status, 0);
    EXPECT_EQ(readText(out), "draft text");
}

}  // namespace
