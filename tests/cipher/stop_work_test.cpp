// Stopping the file cipher: StopWork, asked from a Progress report, ends
// EncryptFile and DecryptFile at their next chunk; the output file is left as
// it was before (or not made), and nothing half written stays beside it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>

#include "clsBlowfish.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

std::set<std::string> namesIn(const std::string& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

std::string pattern(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 131 % 251);
    return text;
}

TEST(CipherStopWork, EncryptFileStopsAtTheNextChunkAndKeepsTheOldOutput) {
    TempDirectory dir("stop-enc");
    const std::string input = dir.file("in.bin"), output = dir.file("out.enz");
    writeFile(input, pattern(5 << 20));
    writeFile(output, "the old archive");
    clsBlowfish cipher;
    // Chunks of 1 MiB of a 5 MiB file: each reports its 20 percents once it
    // is done. Asked at 20 (after the first chunk), the second chunk's
    // percents still come, then nothing more.
    std::int32_t highest = -1;
    cipher.Progress = [&](std::int32_t percent) {
        highest = std::max(highest, percent);
        if (percent == 20) cipher.StopWork();
    };
    EXPECT_FALSE(cipher.encryptFileInChunks(input, output, "key", 1 << 20));
    EXPECT_EQ(cipher.LastError, clsBlowfish::kStoppedError);
    EXPECT_EQ(highest, 39);
    EXPECT_EQ(readFile(output), "the old archive");
    EXPECT_EQ(namesIn(dir.str()), (std::set<std::string>{"in.bin", "out.enz"}));
}

TEST(CipherStopWork, DecryptFileStopsAndMakesNoOutput) {
    TempDirectory dir("stop-dec");
    const std::string input = dir.file("in.bin"), archive = dir.file("in.enz"), output = dir.file("out.zip");
    writeFile(input, pattern(4 << 20));
    {
        clsBlowfish cipher;
        ASSERT_TRUE(cipher.EncryptFile(input, archive, "key"));
    }
    clsBlowfish cipher;
    cipher.Progress = [&](std::int32_t percent) {
        if (percent >= 50) cipher.StopWork();
    };
    EXPECT_FALSE(cipher.decryptFileInChunks(archive, output, "key", 1 << 20));
    EXPECT_EQ(cipher.LastError, clsBlowfish::kStoppedError);
    EXPECT_EQ(namesIn(dir.str()), (std::set<std::string>{"in.bin", "in.enz"}));
}

TEST(CipherStopWork, AStoppedCipherDoesNotStartAgain) {
    TempDirectory dir("stop-before");
    writeFile(dir.file("in.bin"), pattern(1000));
    clsBlowfish cipher;
    cipher.StopWork();
    EXPECT_TRUE(cipher.stopRequested());
    EXPECT_FALSE(cipher.EncryptFile(dir.file("in.bin"), dir.file("out.enz"), "key"));
    EXPECT_FALSE(cipher.decipherFileInto(dir.file("in.bin"), "key", [](auto) { return true; }));
    EXPECT_EQ(namesIn(dir.str()), std::set<std::string>{"in.bin"});
}

TEST(CipherStopWork, WithoutAStopTheFileRoundTrips) {
    TempDirectory dir("stop-none");
    writeFile(dir.file("in.bin"), pattern(3 << 20));
    clsBlowfish cipher;
    ASSERT_TRUE(cipher.EncryptFile(dir.file("in.bin"), dir.file("in.enz"), "key"));
    ASSERT_TRUE(cipher.DecryptFile(dir.file("in.enz"), dir.file("back.bin"), "key"));
    EXPECT_EQ(readFile(dir.file("back.bin")), readFile(dir.file("in.bin")));
}

}  // namespace
