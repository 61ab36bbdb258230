// The cipher's own file helpers, which rely on the attribute words:
// killFile (which leaves hidden files alone) and fileExists.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "clsBlowfish.h"
#include "file_attributes.h"
#include "scratch_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
namespace fileattr = morvane::fileattr;

struct ScratchDir : morvane::testing::ScratchDirectory {
    ScratchDir() : ScratchDirectory("attr") {}
};

using morvane::testing::ownerMayWrite;
using morvane::testing::removeOwnerWrite;

TEST(FileAttributesKillFile, DeletesNormalFile) {
    ScratchDir d;
    const std::string p = d.file("old.enz");
    clsBlowfish::killFile(p);
    EXPECT_FALSE(fs::exists(p));
}

TEST(FileAttributesKillFile, DeletesEmptyFile) {
    ScratchDir d;
    const std::string p = d.file("empty", "");
    clsBlowfish::killFile(p);
    EXPECT_FALSE(fs::exists(p));
}

TEST(FileAttributesKillFile, DeletesReadOnlyFile) {
    ScratchDir d;
    const std::string p = d.file("locked.enz");
    removeOwnerWrite(p);
    ASSERT_EQ(fileattr::getAttributes(p), 33u);
    clsBlowfish::killFile(p);
    EXPECT_FALSE(fs::exists(p));
}

TEST(FileAttributesKillFile, ClearsReadOnlyBeforeDeleting) {
    // A second name for the same file survives the deletion and shows the
    // attributes the file had when it was deleted.
    ScratchDir d;
    const std::string p = d.file("locked.enz", "old");
    const std::string other = d.path("second-name");
    fs::create_hard_link(p, other);
    removeOwnerWrite(p);
    clsBlowfish::killFile(p);
    EXPECT_FALSE(fs::exists(p));
    ASSERT_TRUE(fs::exists(other));
    EXPECT_TRUE(ownerMayWrite(other));
}

TEST(FileAttributesKillFile, DeletesFileInsideDotDirectory) {
    ScratchDir d;
    d.dir(".hidden-folder");
    const std::string p = d.file(".hidden-folder/visible.bin");
    clsBlowfish::killFile(p);
    EXPECT_FALSE(fs::exists(p));
}

TEST(FileAttributesKillFile, LeavesDotFileAlone) {
    ScratchDir d;
    const std::string p = d.file(".secret", "keep me");
    clsBlowfish::killFile(p);
    ASSERT_TRUE(fs::exists(p));
    std::ifstream in(p, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(content, "keep me");
    EXPECT_EQ(fileattr::getAttributes(p), 34u);
}

TEST(FileAttributesKillFile, LeavesReadOnlyDotFileAloneAndReadOnly) {
    ScratchDir d;
    const std::string p = d.file(".secret");
    removeOwnerWrite(p);
    clsBlowfish::killFile(p);
    EXPECT_TRUE(fs::exists(p));
    EXPECT_EQ(fileattr::getAttributes(p), 35u);
}

TEST(FileAttributesKillFile, IgnoresMissingFile) {
    ScratchDir d;
    EXPECT_NO_THROW(clsBlowfish::killFile(d.path("never-made")));
    EXPECT_NO_THROW(clsBlowfish::killFile(d.path("no-folder/never-made")));
    EXPECT_NO_THROW(clsBlowfish::killFile(""));
}

TEST(FileAttributesKillFile, LeavesDirectoriesAlone) {
    ScratchDir d;
    const std::string empty = d.dir("empty-folder");
    const std::string full = d.dir("full-folder");
    d.file("full-folder/inside");
    clsBlowfish::killFile(empty);
    clsBlowfish::killFile(full);
    EXPECT_TRUE(fs::is_directory(empty));
    EXPECT_TRUE(fs::is_directory(full));
    EXPECT_TRUE(fs::exists(d.path("full-folder/inside")));
}

TEST(FileAttributesKillFile, LeavesOtherFilesAlone) {
    ScratchDir d;
    const std::string target = d.file("target");
    const std::string neighbour = d.file("target2");
    clsBlowfish::killFile(target);
    EXPECT_FALSE(fs::exists(target));
    EXPECT_TRUE(fs::exists(neighbour));
}

TEST(FileAttributesFileExists, TrueForFiles) {
    ScratchDir d;
    EXPECT_TRUE(clsBlowfish::fileExists(d.file("plain.txt")));
    EXPECT_TRUE(clsBlowfish::fileExists(d.file("empty.txt", "")));
    EXPECT_TRUE(clsBlowfish::fileExists(d.file(".hidden")));
    const std::string ro = d.file("ro.txt");
    removeOwnerWrite(ro);
    EXPECT_TRUE(clsBlowfish::fileExists(ro));
    EXPECT_TRUE(clsBlowfish::fileExists(d.file("\xC3\xA9t\xC3\xA9.txt")));
}

TEST(FileAttributesFileExists, FalseForMissingPaths) {
    ScratchDir d;
    EXPECT_FALSE(clsBlowfish::fileExists(d.path("missing.txt")));
    EXPECT_FALSE(clsBlowfish::fileExists(d.path("missing-folder/missing.txt")));
    d.file("plain.txt");
    EXPECT_FALSE(clsBlowfish::fileExists(d.path("plain.txt/below-a-file")));
    EXPECT_FALSE(clsBlowfish::fileExists(""));
}

TEST(FileAttributesFileExists, FalseForDirectories) {
    ScratchDir d;
    EXPECT_FALSE(clsBlowfish::fileExists(d.dir("folder")));
    EXPECT_FALSE(clsBlowfish::fileExists(d.dir(".hidden-folder")));
}

}  // namespace
