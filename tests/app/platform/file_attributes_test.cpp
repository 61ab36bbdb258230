// Attribute words of files on Linux: read-only, hidden, directory, archive.
#include "file_attributes.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "scratch_directory.h"

namespace {

namespace fs = std::filesystem;
namespace fileattr = morvane::fileattr;

struct ScratchDir : morvane::testing::ScratchDirectory {
    ScratchDir() : ScratchDirectory("attr") {}
};

using morvane::testing::ownerMayWrite;
using morvane::testing::removeOwnerWrite;

TEST(FileAttributesWord, RegularFileIsArchiveOnly) {
    ScratchDir d;
    EXPECT_EQ(fileattr::getAttributes(d.file("report.doc")), 32u);
}

TEST(FileAttributesWord, EmptyRegularFileIsArchiveOnly) {
    ScratchDir d;
    EXPECT_EQ(fileattr::getAttributes(d.file("empty.bin", "")), 32u);
}

TEST(FileAttributesWord, FileWithoutOwnerWriteIsReadOnly) {
    ScratchDir d;
    const std::string p = d.file("report.doc");
    removeOwnerWrite(p);
    EXPECT_EQ(fileattr::getAttributes(p), 33u);
}

TEST(FileAttributesWord, OwnerPermissionAloneDecidesReadOnly) {
    ScratchDir d;
    const std::string othersOnly = d.file("others-may-write");
    fs::permissions(othersOnly, fs::perms::owner_read | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::replace);
    EXPECT_EQ(fileattr::getAttributes(othersOnly), 33u);

    const std::string ownerOnly = d.file("owner-may-write");
    fs::permissions(ownerOnly, fs::perms::owner_write, fs::perm_options::replace);
    EXPECT_EQ(fileattr::getAttributes(ownerOnly), 32u);
}

TEST(FileAttributesWord, DotFileIsHidden) {
    ScratchDir d;
    EXPECT_EQ(fileattr::getAttributes(d.file(".profile")), 34u);
}

TEST(FileAttributesWord, ReadOnlyDotFileIsHiddenAndReadOnly) {
    ScratchDir d;
    const std::string p = d.file(".profile");
    removeOwnerWrite(p);
    EXPECT_EQ(fileattr::getAttributes(p), 35u);
}

TEST(FileAttributesWord, OnlyTheBaseNameMakesAFileHidden) {
    ScratchDir d;
    d.dir(".cache");
    const std::string inside = d.file(".cache/data.bin");
    EXPECT_EQ(fileattr::getAttributes(inside), 32u);
    const std::string dotInMiddle = d.file("archive.tar.gz");
    EXPECT_EQ(fileattr::getAttributes(dotInMiddle), 32u);
}

TEST(FileAttributesWord, DirectoryCarriesTheDirectoryBit) {
    ScratchDir d;
    const auto word = fileattr::getAttributes(d.dir("folder"));
    ASSERT_TRUE(word.has_value());
    EXPECT_NE(*word & fileattr::kDirectory, 0u);
    EXPECT_EQ(*word & fileattr::kHidden, 0u);
}

TEST(FileAttributesWord, DotDirectoryIsHiddenDirectory) {
    ScratchDir d;
    const auto word = fileattr::getAttributes(d.dir(".config"));
    ASSERT_TRUE(word.has_value());
    EXPECT_NE(*word & fileattr::kDirectory, 0u);
    EXPECT_NE(*word & fileattr::kHidden, 0u);
}

TEST(FileAttributesWord, SystemBitIsNeverSet) {
    ScratchDir d;
    const std::string ro = d.file(".ro");
    removeOwnerWrite(ro);
    for (const std::string& p : {d.file("a"), d.file(".b"), ro, d.dir("c")}) {
        const auto word = fileattr::getAttributes(p);
        ASSERT_TRUE(word.has_value()) << p;
        EXPECT_EQ(*word & fileattr::kSystem, 0u) << p;
    }
}

TEST(FileAttributesWord, MissingPathHasNoWord) {
    ScratchDir d;
    EXPECT_EQ(fileattr::getAttributes(d.path("nothing-here")), std::nullopt);
    EXPECT_EQ(fileattr::getAttributes(d.path("no-folder/nothing-here")), std::nullopt);
}

TEST(FileAttributesWord, NonAsciiNameIsLookedUp) {
    ScratchDir d;
    EXPECT_EQ(fileattr::getAttributes(d.file("r\xC3\xA9sum\xC3\xA9.doc")), 32u);
    EXPECT_EQ(fileattr::getAttributes(d.file(".\xE2\x82\xAC")), 34u);
}

TEST(FileAttributesSet, ArchiveMakesReadOnlyFileWritable) {
    ScratchDir d;
    const std::string p = d.file("locked.txt");
    removeOwnerWrite(p);
    ASSERT_FALSE(ownerMayWrite(p));
    EXPECT_TRUE(fileattr::setAttributes(p, fileattr::kArchive));
    EXPECT_TRUE(ownerMayWrite(p));
    EXPECT_EQ(fileattr::getAttributes(p), 32u);
}

TEST(FileAttributesSet, ReadOnlyBitRemovesWritePermission) {
    ScratchDir d;
    const std::string p = d.file("open.txt");
    EXPECT_TRUE(fileattr::setAttributes(p, fileattr::kArchive | fileattr::kReadOnly));
    EXPECT_FALSE(ownerMayWrite(p));
    EXPECT_EQ(fileattr::getAttributes(p), 33u);
}

TEST(FileAttributesSet, ArchiveOnDotFileKeepsItHidden) {
    ScratchDir d;
    const std::string p = d.file(".locked");
    removeOwnerWrite(p);
    EXPECT_TRUE(fileattr::setAttributes(p, fileattr::kArchive));
    EXPECT_EQ(fileattr::getAttributes(p), 34u);
}

TEST(FileAttributesSet, MissingPathIsNotApplied) {
    ScratchDir d;
    EXPECT_FALSE(fileattr::setAttributes(d.path("nothing-here"), fileattr::kArchive));
    EXPECT_FALSE(fs::exists(d.path("nothing-here")));
}

}  // namespace
