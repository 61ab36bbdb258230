// The encrypted archive recipe: the names of every file involved, the zip
// password, the calls made on the zip component, and whole round trips
// through a real zip component and cipher, with the temporary zips gone
// afterwards.
#include "container.h"

#include <gtest/gtest.h>
#include <zip.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "clsBlowfish.h"
#include "libzip_component.h"
#include "modCrypt.h"
#include "run_time_error.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
using morvane::ContainerResult;
using morvane::LibzipComponent;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

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

// Names of temporary zips ("~enc~..." or "~dec~...") anywhere in the directory.
std::vector<std::string> temporaryZipsIn(const fs::path& dir) {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(dir)) {
        const std::string name = entry.path().filename().string();
        if (name.find("~enc~") != std::string::npos || name.find("~dec~") != std::string::npos) found.push_back(name);
    }
    return found;
}

// Every member read whole with `password`; nothing when any cannot be read.
std::optional<std::map<std::string, std::string>> readZip(const std::string& path, const std::string& password) {
    int error = 0;
    zip_t* archive = zip_open(path.c_str(), ZIP_RDONLY, &error);
    if (archive == nullptr) return std::nullopt;
    zip_set_default_password(archive, password.c_str());
    std::map<std::string, std::string> members;
    bool ok = true;
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    for (zip_int64_t i = 0; ok && i < count; ++i) {
        const char* name = zip_get_name(archive, static_cast<zip_uint64_t>(i), 0);
        zip_file_t* member = zip_fopen_index(archive, static_cast<zip_uint64_t>(i), 0);
        if (name == nullptr || member == nullptr) {
            ok = false;
            break;
        }
        std::string content;
        char buffer[65536];
        for (;;) {
            const zip_int64_t got = zip_fread(member, buffer, sizeof buffer);
            if (got < 0) ok = false;
            if (got <= 0) break;
            content.append(buffer, static_cast<std::size_t>(got));
        }
        if (zip_fclose(member) != 0) ok = false;
        members[name] = content;
    }
    zip_discard(archive);
    if (!ok) return std::nullopt;
    return members;
}

// --- Names ------------------------------------------------------------------

TEST(ContainerNames, SplitAtLastSeparatorKeepsTheSeparatorWithTheDirectory) {
    const auto split = morvane::splitAtLastSeparator("/home/ann/docs/report.doc");
    EXPECT_EQ(split.dir, "/home/ann/docs/");
    EXPECT_EQ(split.name, "report.doc");

    const auto root = morvane::splitAtLastSeparator("/report.doc");
    EXPECT_EQ(root.dir, "/");
    EXPECT_EQ(root.name, "report.doc");

    const auto bare = morvane::splitAtLastSeparator("report.doc");
    EXPECT_EQ(bare.dir, "");
    EXPECT_EQ(bare.name, "report.doc");

    const auto trailing = morvane::splitAtLastSeparator("/home/ann/");
    EXPECT_EQ(trailing.dir, "/home/ann/");
    EXPECT_EQ(trailing.name, "");
}

TEST(ContainerNames, BackslashIsPartOfANameOnThisSystem) {
    const auto split = morvane::splitAtLastSeparator("/data/odd\\name.txt");
    EXPECT_EQ(split.dir, "/data/");
    EXPECT_EQ(split.name, "odd\\name.txt");
}

TEST(ContainerNames, TrimBlanksRemovesOnlyOuterBlanks) {
    EXPECT_EQ(morvane::trimBlanks("  open sesame  "), "open sesame");
    EXPECT_EQ(morvane::trimBlanks("pw"), "pw");
    EXPECT_EQ(morvane::trimBlanks("   "), "");
    EXPECT_EQ(morvane::trimBlanks(""), "");
    EXPECT_EQ(morvane::trimBlanks(" a  b "), "a  b");
    EXPECT_EQ(morvane::trimBlanks("\xE9t\xE9 "), "\xE9t\xE9");
}

TEST(ContainerNames, QuotedNameIsTheNameBetweenDoubleQuotes) {
    EXPECT_EQ(morvane::quotedName("report.doc"), "\"report.doc\"");
    EXPECT_EQ(morvane::quotedName("name with blanks.txt"), "\"name with blanks.txt\"");
}

TEST(ContainerNames, PerFileTemporaryZipName) {
    EXPECT_EQ(morvane::perFileTempZipName("report.doc"), "~enc~report.doc.zip");
    EXPECT_EQ(morvane::perFileTempZipName("a b.txt"), "~enc~a b.txt.zip");
}

TEST(ContainerNames, CombinedTemporaryZipLiesBesideTheArchive) {
    EXPECT_EQ(morvane::combinedTempZipPath("/home/ann/all.enz"), "/home/ann/~enc~all.enz.zip");
    EXPECT_EQ(morvane::combinedTempZipPath("all.enz"), "~enc~all.enz.zip");
}

TEST(ContainerNames, DecryptTemporaryZipIsAPlainConcatenation) {
    EXPECT_EQ(morvane::decryptTempZipPath("/x/out", "/a/b/report.doc.enz"), "/x/out~dec~report.doc.enz.zip");
    EXPECT_EQ(morvane::decryptTempZipPath("/x/dir/", "/a/b/report.doc.enz"), "/x/dir/~dec~report.doc.enz.zip");
    EXPECT_EQ(morvane::decryptTempZipPath("", "/a/r.enz"), "~dec~r.enz.zip");
    // The archive's file name is trimmed.
    EXPECT_EQ(morvane::decryptTempZipPath("/x/dir/", "/a/b/r.enz "), "/x/dir/~dec~r.enz.zip");
}

// --- Zip password -----------------------------------------------------------

TEST(ContainerZipPassword, IsTheToggledPasswordFollowedByEighteenHighBytes) {
    const std::string suffix = morvane::zipPassword("x").substr(1);
    ASSERT_EQ(suffix.size(), 18u);
    for (char c : suffix) EXPECT_GE(static_cast<unsigned char>(c), 128u);

    for (const std::string password : {"x", "open sesame", "Zz9~ !", "\xE9t\xE9", "A", "pw\x80"}) {
        const std::string zip = morvane::zipPassword(password);
        ASSERT_EQ(zip.size(), password.size() + 18) << password;
        EXPECT_EQ(zip.substr(0, password.size()), morvane::toggleHighBits(password)) << password;
        EXPECT_EQ(zip.substr(password.size()), suffix) << password;
    }
}

TEST(ContainerZipPassword, IsTheSameOnEveryCall) {
    const std::string first = morvane::zipPassword("open sesame");
    for (int i = 0; i < 20; ++i) EXPECT_EQ(morvane::zipPassword("open sesame"), first);
}

TEST(ContainerZipPassword, BlanksAroundThePasswordChangeNothing) {
    EXPECT_EQ(morvane::zipPassword("  open sesame "), morvane::zipPassword("open sesame"));
    EXPECT_NE(morvane::zipPassword("open  sesame"), morvane::zipPassword("open sesame"));
}

TEST(ContainerZipPassword, DiffersFromThePasswordAndBetweenPasswords) {
    EXPECT_NE(morvane::zipPassword("alpha"), morvane::zipPassword("alphb"));
    EXPECT_EQ(morvane::zipPassword("alpha").find("alpha"), std::string::npos);
}

TEST(ContainerZipPassword, FirstCharacterOfCode128Throws) {
    EXPECT_THROW(morvane::zipPassword("\x80pw"), morvane::RunTimeError);
    EXPECT_THROW(morvane::zipPassword("  \x80pw"), morvane::RunTimeError);
}

// --- Calls made on the zip component ----------------------------------------

// Records what the recipe asks of the zip component and passes it on.
class RecordingZip final : public morvane::ZipComponent {
public:
    struct Call {
        std::string op;
        std::vector<std::string> args;
    };
    std::vector<Call> calls;

    void SetZipPassword(std::string_view password) override {
        calls.push_back({"SetZipPassword", {std::string(password)}});
        real_.SetZipPassword(password);
    }
    void SetUnzipPassword(std::string_view password) override {
        calls.push_back({"SetUnzipPassword", {std::string(password)}});
        real_.SetUnzipPassword(password);
    }
    void ZipMode(int mode) override {
        calls.push_back({"ZipMode", {std::to_string(mode)}});
        real_.ZipMode(mode);
    }
    bool ZipFiles(const std::string& sourceDir, const std::string& fileSpec, const std::string& destDir,
                  const std::string& zipName, const std::string& options) override {
        calls.push_back({"ZipFiles", {sourceDir, fileSpec, destDir, zipName, options}});
        return real_.ZipFiles(sourceDir, fileSpec, destDir, zipName, options);
    }
    bool CommitArchive() override {
        calls.push_back({"CommitArchive", {}});
        return real_.CommitArchive();
    }
    void DiscardArchive() override {
        calls.push_back({"DiscardArchive", {}});
        real_.DiscardArchive();
    }
    const std::vector<morvane::PackedMember>& PackedMembers() const override { return real_.PackedMembers(); }
    const std::string& LastError() const override { return real_.LastError(); }
    const morvane::ExtractionReport& LastExtraction() const override { return real_.LastExtraction(); }
    bool UnzipFiles(const std::string& zipPath, const std::string& fileMask, const std::string& destDir,
                    const std::string& options) override {
        calls.push_back({"UnzipFiles", {zipPath, fileMask, destDir, options}});
        return real_.UnzipFiles(zipPath, fileMask, destDir, options);
    }
    int PercentDone() const override { return real_.PercentDone(); }
    void StopWork() override { real_.StopWork(); }

    std::vector<Call> callsOf(const std::string& op) const {
        std::vector<Call> found;
        for (const Call& c : calls)
            if (c.op == op) found.push_back(c);
        return found;
    }
    std::size_t firstIndexOf(const std::string& op) const {
        for (std::size_t i = 0; i < calls.size(); ++i)
            if (calls[i].op == op) return i;
        return calls.size();
    }

private:
    LibzipComponent real_;
};

TEST(ContainerRecipe, CombinedArchivePacksEachFileIntoTheTemporaryZipWithLevelFour) {
    TempDirectory one("recipe-one"), two("recipe-two"), arch("recipe-arch");
    writeFile(one.file("a.txt"), "alpha");
    writeFile(two.file("b c.bin"), "beta");
    const std::string archivePath = arch.file("all.enz");
    RecordingZip zip;
    clsBlowfish cipher;
    ASSERT_EQ(morvane::makeCombinedArchive(zip, cipher, archivePath, {one.file("a.txt"), two.file("b c.bin")},
                                           " open sesame "),
              ContainerResult::Done);

    const auto passwords = zip.callsOf("SetZipPassword");
    ASSERT_EQ(passwords.size(), 1u);
    EXPECT_EQ(passwords[0].args[0], morvane::zipPassword("open sesame"));
    const auto modes = zip.callsOf("ZipMode");
    ASSERT_EQ(modes.size(), 1u);
    EXPECT_EQ(modes[0].args[0], "3");
    EXPECT_LT(zip.firstIndexOf("SetZipPassword"), zip.firstIndexOf("ZipFiles"));
    EXPECT_LT(zip.firstIndexOf("ZipMode"), zip.firstIndexOf("ZipFiles"));

    const auto packs = zip.callsOf("ZipFiles");
    ASSERT_EQ(packs.size(), 2u);
    EXPECT_EQ(packs[0].args,
              (std::vector<std::string>{one.str() + "/", "\"a.txt\"", arch.str() + "/", "~enc~all.enz.zip", "-4"}));
    EXPECT_EQ(packs[1].args,
              (std::vector<std::string>{two.str() + "/", "\"b c.bin\"", arch.str() + "/", "~enc~all.enz.zip", "-4"}));
    EXPECT_EQ(zip.callsOf("CommitArchive").size(), 1u);
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"all.enz"}));
}

TEST(ContainerRecipe, PerFileArchivePacksBesideTheSource) {
    TempDirectory dir("recipe-per-file");
    writeFile(dir.file("report.doc"), "report");
    RecordingZip zip;
    clsBlowfish cipher;
    ASSERT_EQ(morvane::makePerFileArchive(zip, cipher, dir.file("report.doc"), "pw"), ContainerResult::Done);
    const auto packs = zip.callsOf("ZipFiles");
    ASSERT_EQ(packs.size(), 1u);
    EXPECT_EQ(packs[0].args, (std::vector<std::string>{dir.str() + "/", "\"report.doc\"", dir.str() + "/",
                                                       "~enc~report.doc.zip", "-4"}));
    const auto modes = zip.callsOf("ZipMode");
    ASSERT_EQ(modes.size(), 1u);
    EXPECT_EQ(modes[0].args[0], "3");
    const auto passwords = zip.callsOf("SetZipPassword");
    ASSERT_EQ(passwords.size(), 1u);
    EXPECT_EQ(passwords[0].args[0], morvane::zipPassword("pw"));
}

TEST(ContainerRecipe, OpeningExtractsEverythingFromTheDecryptTemporaryZip) {
    TempDirectory src("recipe-open-src"), out("recipe-open-out");
    writeFile(src.file("a.txt"), "alpha");
    {
        LibzipComponent zip;
        clsBlowfish cipher;
        ASSERT_EQ(morvane::makeCombinedArchive(zip, cipher, src.file("x.enz"), {src.file("a.txt")}, "pw"),
                  ContainerResult::Done);
    }
    for (const bool keepExisting : {false, true}) {
        RecordingZip zip;
        clsBlowfish cipher;
        ASSERT_EQ(morvane::openArchive(zip, cipher, src.file("x.enz"), out.str() + "/", keepExisting, "  pw"),
                  ContainerResult::Done);
        const auto unzips = zip.callsOf("UnzipFiles");
        ASSERT_EQ(unzips.size(), 1u);
        EXPECT_EQ(unzips[0].args, (std::vector<std::string>{out.str() + "/~dec~x.enz.zip", "*.*", out.str() + "/",
                                                            keepExisting ? "-n" : ""}));
        const auto passwords = zip.callsOf("SetUnzipPassword");
        ASSERT_EQ(passwords.size(), 1u);
        EXPECT_EQ(passwords[0].args[0], morvane::zipPassword("pw"));
        const auto modes = zip.callsOf("ZipMode");
        ASSERT_EQ(modes.size(), 1u);
        EXPECT_EQ(modes[0].args[0], "3");
    }
}

// --- Round trips ------------------------------------------------------------

const std::map<std::string, std::string>& roundTripFiles() {
    static const std::map<std::string, std::string> files = {
        {"empty.txt", ""},
        {"data.bin", binaryContent(300000, 41)},
        {"name with blanks.txt", "blanks in the name\n"},
        {"caf\xC3\xA9 \xC3\xBC.txt", "Latin letters beyond ASCII\n"},
        {"\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E.txt", "a name no code page carries\n"},
    };
    return files;
}

class ContainerRoundTrip : public ::testing::Test {
protected:
    TempDirectory src{"rt-src"};
    TempDirectory arch{"rt-arch"};
    TempDirectory root{"rt-root"};

    std::vector<std::string> writeSources() {
        std::vector<std::string> paths;
        for (const auto& [name, content] : roundTripFiles()) {
            writeFile(src.file(name), content);
            paths.push_back(src.file(name));
        }
        return paths;
    }

    ContainerResult make(const std::string& archivePath, const std::vector<std::string>& files,
                         const std::string& password) {
        LibzipComponent zip;
        clsBlowfish cipher;
        return morvane::makeCombinedArchive(zip, cipher, archivePath, files, password);
    }

    ContainerResult open(const std::string& archivePath, const std::string& outdir, const std::string& password,
                         bool keepExisting = false) {
        LibzipComponent zip;
        clsBlowfish cipher;
        return morvane::openArchive(zip, cipher, archivePath, outdir, keepExisting, password);
    }

    void expectRoundTripFilesIn(const fs::path& dir) {
        std::set<std::string> names;
        for (const auto& [name, content] : roundTripFiles()) {
            names.insert(name);
            EXPECT_EQ(readFile((dir / name).string()), content) << name;
        }
        EXPECT_EQ(listDirectory(dir), names);
    }
};

TEST_F(ContainerRoundTrip, CombinedArchiveGivesEveryFileBackAndLeavesNoTemporaryZip) {
    const std::vector<std::string> files = writeSources();
    const std::string archivePath = arch.file("bundle.enz");
    ASSERT_EQ(make(archivePath, files, "Pass word 1"), ContainerResult::Done);
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"bundle.enz"}));
    EXPECT_TRUE(temporaryZipsIn(src.path()).empty());

    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    ASSERT_EQ(open(archivePath, outdir.string() + "/", "Pass word 1"), ContainerResult::Done);
    expectRoundTripFilesIn(outdir);
    expectRoundTripFilesIn(src.path());
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"bundle.enz"}));
    EXPECT_EQ(listDirectory(root.path()), (std::set<std::string>{"out"}));
}

TEST_F(ContainerRoundTrip, OutputDirectoryWithoutClosingSeparatorLeavesNoTemporaryZipInItsParent) {
    const std::string archivePath = arch.file("bundle.enz");
    ASSERT_EQ(make(archivePath, writeSources(), "Pass word 2"), ContainerResult::Done);
    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    ASSERT_EQ(open(archivePath, outdir.string(), "Pass word 2"), ContainerResult::Done);
    expectRoundTripFilesIn(outdir);
    EXPECT_EQ(listDirectory(root.path()), (std::set<std::string>{"out"}));
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"bundle.enz"}));
}

TEST_F(ContainerRoundTrip, OpeningBesideTheArchive) {
    const std::string archivePath = arch.file("bundle.enz");
    ASSERT_EQ(make(archivePath, writeSources(), "Pass word 3"), ContainerResult::Done);
    ASSERT_EQ(open(archivePath, arch.str() + "/", "Pass word 3"), ContainerResult::Done);
    std::set<std::string> expected{"bundle.enz"};
    for (const auto& [name, content] : roundTripFiles()) {
        expected.insert(name);
        EXPECT_EQ(readFile(arch.file(name)), content) << name;
    }
    EXPECT_EQ(listDirectory(arch.path()), expected);
}

TEST_F(ContainerRoundTrip, BlanksAroundThePasswordDoNotMatter) {
    const std::string archivePath = arch.file("bundle.enz");
    ASSERT_EQ(make(archivePath, writeSources(), "  Pass word 4 "), ContainerResult::Done);
    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    ASSERT_EQ(open(archivePath, outdir.string() + "/", "Pass word 4"), ContainerResult::Done);
    expectRoundTripFilesIn(outdir);
}

TEST_F(ContainerRoundTrip, HighBitPasswordRoundTrip) {
    const std::string password = "\xE9t\xE9 \xFC\xDF\xA7";
    const std::string archivePath = arch.file("bundle.enz");
    ASSERT_EQ(make(archivePath, writeSources(), password), ContainerResult::Done);
    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    ASSERT_EQ(open(archivePath, outdir.string() + "/", password), ContainerResult::Done);
    expectRoundTripFilesIn(outdir);
}

TEST_F(ContainerRoundTrip, ArchiveIsOneCipherBufferOverAPasswordProtectedZip) {
    const std::string archivePath = arch.file("bundle.enz");
    ASSERT_EQ(make(archivePath, writeSources(), "Pass word 5"), ContainerResult::Done);

    const std::string innerPath = root.file("inner.zip");
    clsBlowfish cipher;
    ASSERT_TRUE(cipher.DecryptFile(archivePath, innerPath, "Pass word 5"));
    const std::string inner = readFile(innerPath);
    ASSERT_GE(inner.size(), 4u);
    EXPECT_EQ(inner.substr(0, 4), std::string("PK\x03\x04", 4));
    // n plaintext bytes take n + 12 rounded up to a multiple of 8.
    const std::uintmax_t expectedSize = (inner.size() + 12 + 7) / 8 * 8;
    EXPECT_EQ(fs::file_size(archivePath), expectedSize);

    const auto members = readZip(innerPath, morvane::zipPassword("Pass word 5"));
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(*members, roundTripFiles());
    EXPECT_FALSE(readZip(innerPath, "Pass word 5").has_value());

    int error = 0;
    zip_t* za = zip_open(innerPath.c_str(), ZIP_RDONLY, &error);
    ASSERT_NE(za, nullptr);
    for (zip_int64_t i = 0; i < zip_get_num_entries(za, 0); ++i) {
        zip_stat_t stat;
        ASSERT_EQ(zip_stat_index(za, static_cast<zip_uint64_t>(i), 0, &stat), 0);
        EXPECT_EQ(stat.encryption_method, ZIP_EM_AES_256) << stat.name;
        const std::string name = stat.name;
        EXPECT_EQ(name.find('/'), std::string::npos) << name;
    }
    zip_discard(za);
}

TEST_F(ContainerRoundTrip, LeftoverCombinedTemporaryZipIsDeletedFirst) {
    // A leftover of an interrupted run, readable under the same zip password.
    writeFile(root.file("stale.txt"), "left over from an earlier run");
    {
        LibzipComponent zip;
        zip.SetZipPassword(morvane::zipPassword("Pass word 6"));
        ASSERT_TRUE(zip.ZipFiles(root.str() + "/", "\"stale.txt\"", arch.str() + "/", "~enc~bundle.enz.zip", "-4"));
        ASSERT_TRUE(zip.CommitArchive());
    }
    fs::remove(root.file("stale.txt"));
    const std::string archivePath = arch.file("bundle.enz");
    ASSERT_EQ(make(archivePath, writeSources(), "Pass word 6"), ContainerResult::Done);
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"bundle.enz"}));

    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    ASSERT_EQ(open(archivePath, outdir.string() + "/", "Pass word 6"), ContainerResult::Done);
    expectRoundTripFilesIn(outdir);
}

TEST_F(ContainerRoundTrip, LeftoverDecryptTemporaryZipIsReplaced) {
    const std::string archivePath = arch.file("bundle.enz");
    ASSERT_EQ(make(archivePath, writeSources(), "Pass word 7"), ContainerResult::Done);
    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    writeFile((outdir / "~dec~bundle.enz.zip").string(), "garbage from an interrupted run" + binaryContent(9999, 42));
    ASSERT_EQ(open(archivePath, outdir.string() + "/", "Pass word 7"), ContainerResult::Done);
    expectRoundTripFilesIn(outdir);
}

TEST_F(ContainerRoundTrip, KeepExistingLeavesAnExistingFileAndExtractsTheRest) {
    const std::string archivePath = arch.file("bundle.enz");
    ASSERT_EQ(make(archivePath, writeSources(), "Pass word 8"), ContainerResult::Done);
    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    writeFile((outdir / "data.bin").string(), "a newer data.bin");
    ASSERT_EQ(open(archivePath, outdir.string() + "/", "Pass word 8", true), ContainerResult::Done);
    EXPECT_EQ(readFile((outdir / "data.bin").string()), "a newer data.bin");
    EXPECT_EQ(readFile((outdir / "name with blanks.txt").string()), "blanks in the name\n");
    EXPECT_EQ(listDirectory(outdir).size(), roundTripFiles().size());
}

// --- Failures ---------------------------------------------------------------

TEST_F(ContainerRoundTrip, WrongPasswordIsAnExtractionFailureAndExtractsNothing) {
    const std::string archivePath = arch.file("bundle.enz");
    ASSERT_EQ(make(archivePath, writeSources(), "Pass word 9"), ContainerResult::Done);
    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    writeFile((outdir / "data.bin").string(), "kept");

    EXPECT_EQ(open(archivePath, outdir.string() + "/", "Pass word 0"), ContainerResult::ExtractFailed);
    EXPECT_EQ(listDirectory(outdir), (std::set<std::string>{"data.bin"}));
    EXPECT_EQ(readFile((outdir / "data.bin").string()), "kept");

    EXPECT_EQ(open(archivePath, outdir.string(), "Pass word 0"), ContainerResult::ExtractFailed);
    EXPECT_EQ(listDirectory(outdir), (std::set<std::string>{"data.bin"}));
    EXPECT_EQ(listDirectory(root.path()), (std::set<std::string>{"out"}));
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"bundle.enz"}));
}

TEST_F(ContainerRoundTrip, MissingArchiveIsADecipherFailure) {
    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    EXPECT_EQ(open(arch.file("absent.enz"), outdir.string() + "/", "Pass word"), ContainerResult::DecipherFailed);
    EXPECT_TRUE(listDirectory(outdir).empty());
    EXPECT_EQ(listDirectory(root.path()), (std::set<std::string>{"out"}));
}

TEST_F(ContainerRoundTrip, MissingSourceIsAPackFailureAndMakesNoArchive) {
    std::vector<std::string> files = writeSources();
    files.insert(files.begin(), src.file("absent.txt"));
    EXPECT_EQ(make(arch.file("bundle.enz"), files, "Pass word"), ContainerResult::PackFailed);
    EXPECT_FALSE(fs::exists(arch.file("bundle.enz")));
}

TEST_F(ContainerRoundTrip, LastSourceMissingKeepsTheTemporaryZipUntilTheNextRun) {
    writeFile(src.file("one.txt"), "one");
    writeFile(src.file("two.txt"), "two");
    const std::string archivePath = arch.file("bundle.enz");
    EXPECT_EQ(make(archivePath, {src.file("one.txt"), src.file("two.txt"), src.file("absent.txt")}, "Pass word"),
              ContainerResult::PackFailed);
    EXPECT_FALSE(fs::exists(archivePath));
    EXPECT_TRUE(fs::exists(morvane::combinedTempZipPath(archivePath)));

    // The next combined run starts from a fresh temporary zip.
    fs::remove(src.file("one.txt"));
    fs::remove(src.file("two.txt"));
    ASSERT_EQ(make(archivePath, writeSources(), "Pass word"), ContainerResult::Done);
    EXPECT_EQ(listDirectory(arch.path()), (std::set<std::string>{"bundle.enz"}));
    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    ASSERT_EQ(open(archivePath, outdir.string() + "/", "Pass word"), ContainerResult::Done);
    expectRoundTripFilesIn(outdir);
}

TEST_F(ContainerRoundTrip, PasswordStartingWithCode128IsRefusedBeforeAnythingIsWritten) {
    const std::vector<std::string> files = writeSources();
    EXPECT_THROW(make(arch.file("bundle.enz"), files, "\x80pw"), morvane::RunTimeError);
    EXPECT_TRUE(listDirectory(arch.path()).empty());
    EXPECT_TRUE(temporaryZipsIn(src.path()).empty());
}

// --- Same name from two directories -----------------------------------------

TEST_F(ContainerRoundTrip, SameNameFromTwoDirectoriesKeepsTheLaterFile) {
    TempDirectory first("same-first"), second("same-second");
    writeFile(first.file("same.txt"), "from the first directory");
    writeFile(second.file("same.txt"), "from the second directory");
    const std::string archivePath = arch.file("same.enz");
    ASSERT_EQ(make(archivePath, {first.file("same.txt"), second.file("same.txt")}, "Pass word"), ContainerResult::Done);

    // Both files are added under one member name; the zip component replaces
    // a member of the same name, so the file added last is the one kept.
    const std::string innerPath = root.file("inner.zip");
    clsBlowfish cipher;
    ASSERT_TRUE(cipher.DecryptFile(archivePath, innerPath, "Pass word"));
    const auto members = readZip(innerPath, morvane::zipPassword("Pass word"));
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(*members, (std::map<std::string, std::string>{{"same.txt", "from the second directory"}}));
    fs::remove(innerPath);

    const fs::path outdir = root.path() / "out";
    fs::create_directories(outdir);
    ASSERT_EQ(open(archivePath, outdir.string() + "/", "Pass word"), ContainerResult::Done);
    EXPECT_EQ(listDirectory(outdir), (std::set<std::string>{"same.txt"}));
    EXPECT_EQ(readFile((outdir / "same.txt").string()), "from the second directory");
}

// --- One archive per file ---------------------------------------------------

class ContainerPerFile : public ::testing::Test {
protected:
    TempDirectory dir{"per-file"};
    TempDirectory out{"per-file-out"};

    ContainerResult make(const std::string& path, const std::string& password) {
        LibzipComponent zip;
        clsBlowfish cipher;
        return morvane::makePerFileArchive(zip, cipher, path, password);
    }
    ContainerResult open(const std::string& archivePath, const std::string& password) {
        LibzipComponent zip;
        clsBlowfish cipher;
        return morvane::openArchive(zip, cipher, archivePath, out.str() + "/", false, password);
    }
};

TEST_F(ContainerPerFile, ArchiveLiesBesideTheSourceAndNoTemporaryZipRemains) {
    writeFile(dir.file("a.txt"), "the first version");
    ASSERT_EQ(make(dir.file("a.txt"), "Pass word"), ContainerResult::Done);
    EXPECT_EQ(listDirectory(dir.path()), (std::set<std::string>{"a.txt", "a.txt.enz"}));
    EXPECT_EQ(readFile(dir.file("a.txt")), "the first version");

    ASSERT_EQ(open(dir.file("a.txt.enz"), "Pass word"), ContainerResult::Done);
    EXPECT_EQ(listDirectory(out.path()), (std::set<std::string>{"a.txt"}));
    EXPECT_EQ(readFile(out.file("a.txt")), "the first version");
}

TEST_F(ContainerPerFile, EncryptingTwiceOverwritesTheArchive) {
    writeFile(dir.file("a.txt"), "the first version");
    ASSERT_EQ(make(dir.file("a.txt"), "Pass word"), ContainerResult::Done);
    const std::string firstArchive = readFile(dir.file("a.txt.enz"));
    writeFile(dir.file("a.txt"), "the second, longer version of the file");
    ASSERT_EQ(make(dir.file("a.txt"), "Pass word"), ContainerResult::Done);
    EXPECT_NE(readFile(dir.file("a.txt.enz")), firstArchive);
    EXPECT_EQ(listDirectory(dir.path()), (std::set<std::string>{"a.txt", "a.txt.enz"}));

    ASSERT_EQ(open(dir.file("a.txt.enz"), "Pass word"), ContainerResult::Done);
    EXPECT_EQ(listDirectory(out.path()), (std::set<std::string>{"a.txt"}));
    EXPECT_EQ(readFile(out.file("a.txt")), "the second, longer version of the file");
}

TEST_F(ContainerPerFile, LeftoverPerFileTemporaryZipIsReplacedNotAddedTo) {
    // Every archive begins empty: what a leftover temporary zip of an earlier
    // run holds never ends up in the new archive.
    writeFile(out.file("stale.txt"), "left over");
    {
        LibzipComponent zip;
        zip.SetZipPassword(morvane::zipPassword("Pass word"));
        ASSERT_TRUE(zip.ZipFiles(out.str() + "/", "\"stale.txt\"", dir.str() + "/", "~enc~a.txt.zip", "-4"));
        ASSERT_TRUE(zip.CommitArchive());
    }
    fs::remove(out.file("stale.txt"));
    writeFile(dir.file("a.txt"), "current");
    ASSERT_EQ(make(dir.file("a.txt"), "Pass word"), ContainerResult::Done);
    EXPECT_EQ(listDirectory(dir.path()), (std::set<std::string>{"a.txt", "a.txt.enz"}));

    ASSERT_EQ(open(dir.file("a.txt.enz"), "Pass word"), ContainerResult::Done);
    EXPECT_EQ(listDirectory(out.path()), (std::set<std::string>{"a.txt"}));
    EXPECT_EQ(readFile(out.file("a.txt")), "current");
}

TEST_F(ContainerPerFile, MissingSourceIsAPackFailure) {
    EXPECT_EQ(make(dir.file("absent.txt"), "Pass word"), ContainerResult::PackFailed);
    EXPECT_TRUE(listDirectory(dir.path()).empty());
}

}  // namespace
