// The archive commands of the morvane-cipher developer tool, run as a child
// process: zip-password, pack and unpack, their output and exit statuses,
// and agreement with the container in this process.
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
#include "clsBlowfish.h"
#include "container.h"
#include "libzip_component.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::testing::ChildResult;
using morvane::testing::readFile;
using morvane::testing::runChild;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

const std::string kTool = MORVANE_CIPHER_TOOL;

// Runs the tool with these arguments (bytes passed as they are).
ChildResult runTool(const std::vector<std::string>& toolArgs) {
    std::vector<std::string> args{kTool};
    args.insert(args.end(), toolArgs.begin(), toolArgs.end());
    return runChild(args);
}

std::string upperHex(const std::string& bytes) {
    static const char* digits = "0123456789ABCDEF";
    std::string hex;
    for (unsigned char c : bytes) {
        hex += digits[c >> 4];
        hex += digits[c & 15];
    }
    return hex;
}

std::string binaryContent(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(random() & 0xFF);
    return bytes;
}

std::set<std::string> listDirectory(const fs::path& dir) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.insert(entry.path().filename().string());
    return names;
}

const std::string kAMacronUtf8 = "\xC4\x81";  // a character Windows-1252 does not have

// --- zip-password -----------------------------------------------------------

TEST(PackTool, ZipPasswordPrintsTheUpperCaseHexOfTheZipPassword) {
    const ChildResult run = runTool({"zip-password", "open sesame"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, upperHex(morvane::zipPassword("open sesame")) + "\n");
    EXPECT_EQ(run.out.size(), 2 * (11 + 18) + 1);
}

TEST(PackTool, ZipPasswordTakesTheArgumentAsUtf8) {
    const ChildResult run = runTool({"zip-password", "\xC3\xA9t\xC3\xA9"});  // "été"
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, upperHex(morvane::zipPassword("\xE9t\xE9")) + "\n");
}

TEST(PackTool, ZipPasswordIgnoresBlanksAroundThePassword) {
    const ChildResult blanks = runTool({"zip-password", "  open sesame "});
    ASSERT_EQ(blanks.status, 0) << blanks.err;
    EXPECT_EQ(blanks.out, upperHex(morvane::zipPassword("open sesame")) + "\n");
}

TEST(PackTool, ZipPasswordOutsideTheCodePageIsAnInvalidCommand) {
    const ChildResult run = runTool({"zip-password", "p" + kAMacronUtf8 + "ss"});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(run.out.empty());
    EXPECT_FALSE(run.err.empty());
}

TEST(PackTool, ZipPasswordStartingWithCode128Fails) {
    const ChildResult run = runTool({"zip-password", "\xE2\x82\xACuro"});  // "€uro": € is code 128
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.out.empty());
    EXPECT_FALSE(run.err.empty());
}

// --- pack and unpack --------------------------------------------------------

class PackToolArchive : public ::testing::Test {
protected:
    TempDirectory src{"tool-src"};
    TempDirectory arch{"tool-arch"};
    TempDirectory out{"tool-out"};
    const std::map<std::string, std::string> files = {
        {"notes.txt", "some notes\n"},
        {"blob.bin", binaryContent(120000, 51)},
        {"empty", ""},
        {"na\xC3\xAFve name.txt", "a name with a blank and a diaeresis\n"},
    };

    std::vector<std::string> writeSources() {
        std::vector<std::string> paths;
        for (const auto& [name, content] : files) {
            writeFile(src.file(name), content);
            paths.push_back(src.file(name));
        }
        return paths;
    }

    ChildResult pack(const std::string& password, const std::string& archivePath) {
        std::vector<std::string> args{"pack", password, archivePath};
        for (const std::string& path : writeSources()) args.push_back(path);
        return runTool(args);
    }

    void expectFilesIn(const fs::path& dir) {
        std::set<std::string> names;
        for (const auto& [name, content] : files) {
            names.insert(name);
            EXPECT_EQ(readFile((dir / name).string()), content) << name;
        }
        EXPECT_EQ(listDirectory(dir), names);
    }
};

TEST_F(PackToolArchive, PackThenUnpackGivesTheFilesBack) {
    const std::string archivePath = arch.file("all.enz");
    const ChildResult packed = pack("Tool pass 1", archivePath);
    ASSERT_EQ(packed.status, 0) << packed.err;
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"all.enz"}));

    const ChildResult unpacked = runTool({"unpack", "Tool pass 1", archivePath, out.str() + "/"});
    ASSERT_EQ(unpacked.status, 0) << unpacked.err;
    expectFilesIn(out.path());
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"all.enz"}));
}

TEST_F(PackToolArchive, NonAsciiPasswordIsTakenInTheCodePage) {
    const std::string archivePath = arch.file("all.enz");
    const ChildResult packed = pack("\xC3\xA9t\xC3\xA9 \xC3\xBC", archivePath);  // "été ü"
    ASSERT_EQ(packed.status, 0) << packed.err;

    // The same password, in code-page bytes, opens it in this process.
    morvane::LibzipComponent zip;
    morvane::clsBlowfish cipher;
    ASSERT_EQ(morvane::openArchive(zip, cipher, archivePath, out.str() + "/", false, "\xE9t\xE9 \xFC"),
              morvane::ContainerResult::Done);
    expectFilesIn(out.path());
}

TEST_F(PackToolArchive, UnpackOpensAnArchiveMadeInThisProcess) {
    const std::string archivePath = arch.file("made-here.enz");
    {
        morvane::LibzipComponent zip;
        morvane::clsBlowfish cipher;
        ASSERT_EQ(morvane::makeCombinedArchive(zip, cipher, archivePath, writeSources(), "Tool pass 2"),
                  morvane::ContainerResult::Done);
    }
    // An output directory written without a closing separator.
    const fs::path outdir = arch.path() / "restored";
    fs::create_directories(outdir);
    const ChildResult unpacked = runTool({"unpack", "Tool pass 2", archivePath, outdir.string()});
    ASSERT_EQ(unpacked.status, 0) << unpacked.err;
    expectFilesIn(outdir);
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"made-here.enz", "restored"}));
}

TEST_F(PackToolArchive, UnpackWithAWrongPasswordFailsAndExtractsNothing) {
    const std::string archivePath = arch.file("all.enz");
    ASSERT_EQ(pack("Tool pass 3", archivePath).status, 0);
    const ChildResult unpacked = runTool({"unpack", "Tool pass 4", archivePath, out.str() + "/"});
    EXPECT_EQ(unpacked.status, 1);
    EXPECT_FALSE(unpacked.err.empty());
    EXPECT_TRUE(listDirectory(out.path()).empty());
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"all.enz"}));
}

TEST_F(PackToolArchive, UnpackWithKeepExistingLeavesAnExistingFile) {
    const std::string archivePath = arch.file("all.enz");
    ASSERT_EQ(pack("Tool pass 5", archivePath).status, 0);
    writeFile(out.file("notes.txt"), "my own notes, newer");
    const ChildResult unpacked = runTool({"unpack", "Tool pass 5", archivePath, out.str() + "/", "-n"});
    ASSERT_EQ(unpacked.status, 0) << unpacked.err;
    EXPECT_EQ(readFile(out.file("notes.txt")), "my own notes, newer");
    EXPECT_EQ(readFile(out.file("blob.bin")), files.at("blob.bin"));
    EXPECT_EQ(listDirectory(out.path()).size(), files.size());
}

TEST_F(PackToolArchive, UnpackWithoutKeepExistingReplacesAnExistingFile) {
    const std::string archivePath = arch.file("all.enz");
    ASSERT_EQ(pack("Tool pass 6", archivePath).status, 0);
    writeFile(out.file("notes.txt"), "my own notes, newer");
    const ChildResult unpacked = runTool({"unpack", "Tool pass 6", archivePath, out.str() + "/"});
    ASSERT_EQ(unpacked.status, 0) << unpacked.err;
    expectFilesIn(out.path());
}

TEST_F(PackToolArchive, PasswordOutsideTheCodePageIsAnInvalidCommand) {
    const std::string archivePath = arch.file("all.enz");
    const ChildResult packed = pack(kAMacronUtf8, archivePath);
    EXPECT_EQ(packed.status, 2);
    EXPECT_FALSE(packed.err.empty());
    EXPECT_TRUE(listDirectory(arch.path()).empty());

    ASSERT_EQ(pack("Tool pass 7", archivePath).status, 0);
    const ChildResult unpacked = runTool({"unpack", kAMacronUtf8, archivePath, out.str() + "/"});
    EXPECT_EQ(unpacked.status, 2);
    EXPECT_FALSE(unpacked.err.empty());
    EXPECT_TRUE(listDirectory(out.path()).empty());
}

TEST_F(PackToolArchive, PackWithAMissingFileFails) {
    std::vector<std::string> args{"pack", "Tool pass 8", arch.file("all.enz"), src.file("absent.txt")};
    const ChildResult packed = runTool(args);
    EXPECT_EQ(packed.status, 1);
    EXPECT_FALSE(packed.err.empty());
    EXPECT_FALSE(fs::exists(arch.file("all.enz")));
}

TEST_F(PackToolArchive, UnpackOfAMissingArchiveFails) {
    const ChildResult unpacked = runTool({"unpack", "Tool pass 9", arch.file("absent.enz"), out.str() + "/"});
    EXPECT_EQ(unpacked.status, 1);
    EXPECT_FALSE(unpacked.err.empty());
    EXPECT_TRUE(listDirectory(out.path()).empty());
}

// --- Invalid command lines --------------------------------------------------

TEST(PackTool, WrongArgumentCountsAreInvalidCommands) {
    const std::vector<std::vector<std::string>> commands = {
        {},
        {"zip-password"},
        {"zip-password", "a", "b"},
        {"pack", "pw"},
        {"pack", "pw", "/tmp/never-written.enz"},
        {"unpack", "pw"},
        {"unpack", "pw", "/tmp/never-read.enz"},
        {"unpack", "pw", "/tmp/never-read.enz", "/tmp", "-x"},
        {"unpack", "pw", "/tmp/never-read.enz", "/tmp", "-n", "extra"},
    };
    for (const auto& command : commands) {
        const ChildResult run = runTool(command);
        EXPECT_EQ(run.status, 2) << ::testing::PrintToString(command);
        EXPECT_FALSE(run.err.empty()) << ::testing::PrintToString(command);
    }
    EXPECT_FALSE(fs::exists("/tmp/never-written.enz"));
}

}  // namespace
