// The zip component against the real zip programs: 7-Zip reads what the
// component packs, and the component extracts what 7-Zip and Info-ZIP zip
// pack (WinZip AES and traditional encryption). The programs must be
// installed; a missing one makes these tests fail.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "child_process.h"
#include "container.h"
#include "libzip_component.h"
#include "modCrypt.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::LibzipComponent;
using morvane::testing::ChildResult;
using morvane::testing::readFile;
using morvane::testing::runChild;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

std::string binaryContent(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(random() & 0xFF);
    return bytes;
}

std::string textContent(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string text;
    while (text.size() < size) text += "entry " + std::to_string(random() % 100000) + " in the ledger\n";
    text.resize(size);
    return text;
}

std::set<std::string> listDirectory(const fs::path& dir) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.insert(entry.path().filename().string());
    return names;
}

// A few files of different kinds: text, binary, empty, a non-ASCII name.
const std::map<std::string, std::string>& sampleFiles() {
    static const std::map<std::string, std::string> files = {
        {"ledger.txt", textContent(60000, 31)},
        {"image.bin", binaryContent(45000, 32)},
        {"empty.dat", ""},
        {"caf\xC3\xA9 \xC3\xBC.txt", "non-ASCII name\n"},
    };
    return files;
}

class ZipInteropTest : public ::testing::Test {
protected:
    TempDirectory src{"interop-src"};
    TempDirectory work{"interop-work"};
    TempDirectory out{"interop-out"};

    void writeSamples() {
        for (const auto& [name, content] : sampleFiles()) writeFile(src.file(name), content);
    }

    std::vector<std::string> sampleNames() const {
        std::vector<std::string> names;
        for (const auto& entry : sampleFiles()) names.push_back(entry.first);
        return names;
    }

    void expectSamplesIn(const fs::path& dir) {
        std::set<std::string> expectedNames;
        for (const auto& [name, content] : sampleFiles()) {
            expectedNames.insert(name);
            EXPECT_EQ(readFile((dir / name).string()), content) << name;
        }
        EXPECT_EQ(listDirectory(dir), expectedNames);
    }

    // The samples packed by the component into work/ours.zip.
    std::string packWithComponent(const std::string& password) {
        writeSamples();
        LibzipComponent zip;
        zip.ZipMode(3);
        zip.SetZipPassword(password);
        for (const std::string& name : sampleNames())
            EXPECT_TRUE(zip.ZipFiles(src.str() + "/", "\"" + name + "\"", work.str() + "/", "ours.zip", "-4")) << name;
        EXPECT_TRUE(zip.CommitArchive());
        return work.file("ours.zip");
    }

    // The samples packed by a peer program run in the source directory.
    std::string packWithPeer(std::vector<std::string> command, const std::string& zipName) {
        writeSamples();
        const std::string zipPath = work.file(zipName);
        command.push_back(zipPath);
        for (const std::string& name : sampleNames()) command.push_back(name);
        const ChildResult packed = runChild(command, src.str());
        EXPECT_EQ(packed.status, 0) << command[0] << " failed:\n" << packed.out << packed.err;
        return zipPath;
    }

    bool unzipWith(const std::string& zipPath, const std::string& password) {
        LibzipComponent zip;
        zip.ZipMode(3);
        zip.SetUnzipPassword(password);
        return zip.UnzipFiles(zipPath, "*.*", out.str() + "/", "");
    }
};

TEST(ZipInteropPeers, SevenZipAndInfoZipAreInstalled) {
    EXPECT_EQ(runChild({"7zz", "i"}).status, 0) << "7zz (Debian package 7zip) is needed";
    EXPECT_EQ(runChild({"zip", "-v"}).status, 0) << "zip (Debian package zip) is needed";
    EXPECT_EQ(runChild({"unzip", "-v"}).status, 0) << "unzip (Debian package unzip) is needed";
}

// --- 7-Zip reads what the component packs -----------------------------------

TEST_F(ZipInteropTest, SevenZipListsOurArchive) {
    const std::string password = "Interop Pass 1";
    const std::string zipPath = packWithComponent(password);
    const ChildResult listing = runChild({"7zz", "l", "-p" + password, zipPath});
    ASSERT_EQ(listing.status, 0) << listing.out << listing.err;
    for (const std::string& name : sampleNames()) EXPECT_NE(listing.out.find(name), std::string::npos) << name;
    EXPECT_NE(listing.out.find("4 files"), std::string::npos) << listing.out;
}

TEST_F(ZipInteropTest, SevenZipExtractsOurArchiveByteIdentical) {
    const std::string password = "Interop Pass 2";
    const std::string zipPath = packWithComponent(password);
    const ChildResult extracted = runChild({"7zz", "x", "-y", "-p" + password, "-o" + out.str(), zipPath});
    ASSERT_EQ(extracted.status, 0) << extracted.out << extracted.err;
    expectSamplesIn(out.path());
}

TEST_F(ZipInteropTest, SevenZipRefusesOurArchiveUnderAWrongPassword) {
    const std::string zipPath = packWithComponent("Interop Pass 3");
    const ChildResult tested = runChild({"7zz", "t", "-pInterop Pass 4", zipPath});
    EXPECT_NE(tested.status, 0) << tested.out;
    const ChildResult extracted = runChild({"7zz", "x", "-y", "-pInterop Pass 4", "-o" + out.str(), zipPath});
    EXPECT_NE(extracted.status, 0) << extracted.out;
}

// --- The component extracts what 7-Zip packs --------------------------------

class ZipInteropSevenZipMethod : public ZipInteropTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(ZipInteropSevenZipMethod, ComponentExtractsByteIdentical) {
    const std::string password = "Seven Zip pw 9";
    const std::string zipPath =
        packWithPeer({"7zz", "a", "-tzip", std::string("-mem=") + GetParam(), "-p" + password}, "seven.zip");
    ASSERT_TRUE(unzipWith(zipPath, password));
    expectSamplesIn(out.path());
}

TEST_P(ZipInteropSevenZipMethod, ComponentRefusesAWrongPasswordAndWritesNothing) {
    const std::string zipPath =
        packWithPeer({"7zz", "a", "-tzip", std::string("-mem=") + GetParam(), "-pSeven Zip pw 9"}, "seven.zip");
    EXPECT_FALSE(unzipWith(zipPath, "Seven Zip pw 8"));
    EXPECT_TRUE(listDirectory(out.path()).empty());
}

INSTANTIATE_TEST_SUITE_P(ZipInterop, ZipInteropSevenZipMethod,
                         ::testing::Values("AES256", "AES192", "AES128", "ZipCrypto"));

TEST_F(ZipInteropTest, ComponentExtractsASevenZipTreeIntoSubdirectories) {
    fs::create_directories(src.path() / "tree" / "inner");
    writeFile(src.file("tree/top.txt"), "top level");
    writeFile(src.file("tree/inner/deep.bin"), binaryContent(3000, 33));
    const ChildResult packed =
        runChild({"7zz", "a", "-tzip", "-mem=ZipCrypto", "-pTree pw", work.file("tree.zip"), "tree"}, src.str());
    ASSERT_EQ(packed.status, 0) << packed.out << packed.err;

    ASSERT_TRUE(unzipWith(work.file("tree.zip"), "Tree pw"));
    EXPECT_EQ(readFile(out.file("tree/top.txt")), "top level");
    EXPECT_EQ(readFile(out.file("tree/inner/deep.bin")), binaryContent(3000, 33));
    EXPECT_EQ(listDirectory(out.path()), (std::set<std::string>{"tree"}));
}

// --- The component extracts what Info-ZIP zip packs -------------------------

TEST_F(ZipInteropTest, ComponentExtractsInfoZipTraditionalEncryption) {
    const std::string zipPath = packWithPeer({"zip", "-q", "-P", "Info Zip pw"}, "info.zip");
    ASSERT_TRUE(unzipWith(zipPath, "Info Zip pw"));
    expectSamplesIn(out.path());
}

TEST_F(ZipInteropTest, ComponentExtractsInfoZipStoredMembers) {
    const std::string zipPath = packWithPeer({"zip", "-q", "-0", "-P", "Info Zip pw"}, "stored.zip");
    ASSERT_TRUE(unzipWith(zipPath, "Info Zip pw"));
    expectSamplesIn(out.path());
}

TEST_F(ZipInteropTest, ComponentRefusesInfoZipArchiveUnderAWrongPassword) {
    const std::string zipPath = packWithPeer({"zip", "-q", "-P", "Info Zip pw"}, "info.zip");
    EXPECT_FALSE(unzipWith(zipPath, "Info Zip pX"));
    EXPECT_TRUE(listDirectory(out.path()).empty());
}

TEST_F(ZipInteropTest, ComponentExtractsInfoZipArchiveWithHighBitPassword) {
    // Bytes above 127 only, handed to zip as they are.
    const std::string password = morvane::toggleHighBits("Secret 1");
    for (char c : password) ASSERT_GE(static_cast<unsigned char>(c), 128u);
    const std::string zipPath = packWithPeer({"zip", "-q", "-P", password}, "high.zip");
    ASSERT_TRUE(unzipWith(zipPath, password));
    expectSamplesIn(out.path());
}

TEST_F(ZipInteropTest, HighBitPasswordIsNotConfusedWithItsPlainForm) {
    const std::string password = morvane::toggleHighBits("Secret 1");
    const std::string zipPath = packWithPeer({"zip", "-q", "-P", password}, "high.zip");
    EXPECT_FALSE(unzipWith(zipPath, "Secret 1"));
    EXPECT_TRUE(listDirectory(out.path()).empty());
}

TEST_F(ZipInteropTest, ComponentExtractsInfoZipArchiveUnderTheArchiveZipPassword) {
    // The password an encrypted archive's inner zip carries.
    const std::string password = morvane::zipPassword("open sesame");
    const std::string zipPath = packWithPeer({"zip", "-q", "-P", password}, "inner.zip");
    ASSERT_TRUE(unzipWith(zipPath, password));
    expectSamplesIn(out.path());
}

TEST_F(ZipInteropTest, InfoZipUnzipReadsInfoZipArchiveWithHighBitPassword) {
    // The peer pair agrees on the raw password bytes, so the archives above
    // are ordinary traditional-encryption archives.
    const std::string password = morvane::toggleHighBits("Secret 2");
    const std::string zipPath = packWithPeer({"zip", "-q", "-P", password}, "high.zip");
    const ChildResult extracted = runChild({"unzip", "-q", "-P", password, zipPath, "-d", out.str()});
    ASSERT_EQ(extracted.status, 0) << extracted.out << extracted.err;
    expectSamplesIn(out.path());
}

}  // namespace
