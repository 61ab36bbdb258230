#include "file_row_texts.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "temp_directory.h"

namespace {

using morvane::formatSize;
using morvane::getFileType;

TEST(FormatSize, ZeroBytesIsEmpty) { EXPECT_EQ(formatSize(0), ""); }

TEST(FormatSize, BelowTheKilobyteThresholdInPlainBytes) {
    EXPECT_EQ(formatSize(1), "1 Bytes");
    EXPECT_EQ(formatSize(1003), "1003 Bytes");
}

TEST(FormatSize, KilobytesStartAt1004WithoutLeadingZero) {
    EXPECT_EQ(formatSize(1004), ".98 KBytes");
    EXPECT_EQ(formatSize(1024), "1 KBytes");
    EXPECT_EQ(formatSize(2048), "2 KBytes");
    EXPECT_EQ(formatSize(1536), "1.5 KBytes");
    EXPECT_EQ(formatSize(1300), "1.27 KBytes");  // 1.26953 rounded
}

TEST(FormatSize, HalvesRoundUp) {
    EXPECT_EQ(formatSize(1152), "1.13 KBytes");  // exactly 1.125
    EXPECT_EQ(formatSize(1029), "1 KBytes");     // 1.0049 rounds to 1.00: no decimals
}

TEST(FormatSize, MegabytesStartAt1027604) {
    EXPECT_EQ(formatSize(1027603), "1003.52 KBytes");
    EXPECT_EQ(formatSize(1027604), ".98 MBytes");
    EXPECT_EQ(formatSize(1048576), "1 MBytes");
    EXPECT_EQ(formatSize(5 * 1048576 + 524288), "5.5 MBytes");
    EXPECT_EQ(formatSize(2147483647), "2048 MBytes");
}

TEST(GetFileType, TableByExtensionInLowerCase) {
    EXPECT_EQ(getFileType("/docs/a.txt", 32u), "Text file");
    EXPECT_EQ(getFileType("/docs/A.TXT", 32u), "Text file");
    EXPECT_EQ(getFileType("/docs/a.enz", 32u), "Encrypted zip file");
    EXPECT_EQ(getFileType("/docs/a.c", 32u), "C Source File");
    EXPECT_EQ(getFileType("/docs/a.cpp", 32u), "C++ Source file");
    EXPECT_EQ(getFileType("/docs/a.sys", 32u), "System File");
    EXPECT_EQ(getFileType("/docs/a.ini", 32u), "Initialization file");
    EXPECT_EQ(getFileType("/docs/a.cab", 32u), "Cabinet File (compressed)");
}

TEST(GetFileType, OtherExtensionsNameThemselves) {
    EXPECT_EQ(getFileType("/docs/letter.doc", 32u), "doc file");
    EXPECT_EQ(getFileType("/docs/page.HTML", 32u), "htm file");  // at most three characters
    EXPECT_EQ(getFileType("/docs/help.chm", 32u), "chm file");   // the four-letter row never matches
}

TEST(GetFileType, NameWithoutDotUsesTheFirstThreeCharactersOfThePath) {
    EXPECT_EQ(getFileType("/docs/readme", 32u), "/do file");
    EXPECT_EQ(getFileType("c:\\docs\\readme", 32u), "c:\\ file");
}

TEST(GetFileType, HiddenMarkerOnlyForExactly34) {
    EXPECT_EQ(getFileType("/docs/.notes.txt", 34u), "Text file (hidden)");
    EXPECT_EQ(getFileType("/docs/.notes.txt", 35u), "Text file");  // hidden and read-only
    EXPECT_EQ(getFileType("/docs/notes.txt", std::nullopt), "Text file");
}

TEST(GetFileType, ReadsTheAttributesFromDisk) {
    morvane::testing::TempDirectory dir("types");
    const std::string hidden = dir.file(".secret.txt");
    morvane::testing::writeFile(hidden, "x");
    EXPECT_EQ(getFileType(hidden), "Text file (hidden)");
    std::filesystem::permissions(hidden, std::filesystem::perms::owner_write, std::filesystem::perm_options::remove);
    EXPECT_EQ(getFileType(hidden), "Text file");
}

}  // namespace
