// The read-back check an archive passes before its sources are deleted: it
// holds exactly what was packed, each member whole, or it says what not.
#include "archive_check.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "clsBlowfish.h"
#include "container.h"
#include "job_harness.h"
#include "libzip_component.h"
#include "temp_directory.h"

namespace {

namespace fs = std::filesystem;
using morvane::clsBlowfish;
using morvane::LibzipComponent;
using morvane::PackedMember;
using morvane::testing::readFile;
using morvane::testing::TempDirectory;
using morvane::testing::writeFile;

const std::string kKey = "check me";

std::string noise(std::size_t size, unsigned seed) { return morvane::jobtest::noiseOfSize(size, seed); }

class ArchiveCheck : public ::testing::Test {
protected:
    TempDirectory dir{"archive-check"};
    std::string archive = dir.file("all.enz");
    std::vector<PackedMember> packed;

    void SetUp() override {
        writeFile(dir.file("a.txt"), std::string(70000, 'a') + "end");
        writeFile(dir.file("b.bin"), noise(150000, 1));
        writeFile(dir.file("empty"), "");
        LibzipComponent zip;
        clsBlowfish cipher;
        ASSERT_EQ(morvane::makeCombinedArchive(zip, cipher, archive,
                                               {dir.file("a.txt"), dir.file("b.bin"), dir.file("empty")}, kKey),
                  morvane::ContainerResult::Done);
        packed = zip.PackedMembers();
        ASSERT_EQ(packed.size(), 3u);
    }

    std::string check(const std::vector<PackedMember>& expected, const std::string& key = kKey) {
        clsBlowfish cipher;
        return morvane::checkWrittenArchive(cipher, archive, key, morvane::zipPassword(key), expected);
    }
};

TEST_F(ArchiveCheck, AnArchiveAsPackedPasses) {
    EXPECT_EQ(check(packed), "");
    EXPECT_EQ(packed[0].name, "a.txt");
    EXPECT_EQ(packed[0].size, 70003u);
    EXPECT_EQ(packed[2].size, 0u);
}

TEST_F(ArchiveCheck, EveryTruncationIsFound) {
    const std::string whole = readFile(archive);
    for (std::size_t length = 0; length < whole.size(); length += 997) {
        writeFile(archive, whole.substr(0, length));
        EXPECT_NE(check(packed), "") << length;
    }
    writeFile(archive, whole.substr(0, whole.size() - 8));
    EXPECT_NE(check(packed), "");
}

TEST_F(ArchiveCheck, ABitFlippedAnywhereIsFound) {
    const std::string whole = readFile(archive);
    // The random first block and its chaining aside, every byte of the
    // enciphered file reaches the zip inside: a flip shows.
    std::vector<std::size_t> places;
    for (std::size_t at = 16; at < whole.size(); at += whole.size() / 97) places.push_back(at);
    // The directory and end records, byte by byte.
    for (std::size_t at = whole.size() - 400; at < whole.size(); ++at) places.push_back(at);
    for (const std::size_t at : places) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ (1 << (at % 8)));
        writeFile(archive, damaged);
        EXPECT_NE(check(packed), "") << at;
    }
}

TEST_F(ArchiveCheck, AnythingOtherThanWhatWasPackedIsFound) {
    std::vector<PackedMember> other = packed;
    other[1].crc ^= 1;
    EXPECT_NE(check(other), "");
    other = packed;
    other[0].size += 1;
    EXPECT_NE(check(other), "");
    other = packed;
    other[2].name = "Empty";
    EXPECT_NE(check(other), "");
    other = packed;
    other.pop_back();
    EXPECT_NE(check(other), "");
    other = packed;
    other.push_back({"more", 0, 0, 0});
    other = packed;
    other[0].externalAttributes ^= 0100u << 16;  // another mode
    EXPECT_NE(check(other), "");
    EXPECT_NE(check(other), "");
    EXPECT_NE(check({}), "");
}

TEST_F(ArchiveCheck, AnotherKeyIsFound) { EXPECT_NE(check(packed, "check mE"), ""); }

TEST_F(ArchiveCheck, AMissingArchiveIsFound) {
    fs::remove(archive);
    EXPECT_NE(check(packed), "");
}

TEST_F(ArchiveCheck, TheTwoHalvesPassAnArchiveAsPackedAndLeaveAnythingElseToTheWholeWalk) {
    const auto halves = [&](const std::vector<PackedMember>& expected) {
        clsBlowfish cipher;
        return morvane::checkWrittenArchiveInTwoHalves(cipher, archive, kKey, morvane::zipPassword(kKey), expected);
    };
    EXPECT_EQ(halves(packed), std::optional<std::string>(""));
    std::vector<PackedMember> other = packed;
    other[2].crc ^= 1;  // in the second half
    EXPECT_EQ(halves(other), std::nullopt);
    other = packed;
    other[0].size += 1;  // in the first
    EXPECT_EQ(halves(other), std::nullopt);
    other = packed;
    other.pop_back();
    EXPECT_EQ(halves(other), std::nullopt);
    const std::string whole = readFile(archive);
    for (const std::size_t at : {std::size_t{100}, whole.size() / 2, whole.size() - 200}) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
        writeFile(archive, damaged);
        EXPECT_EQ(halves(packed), std::nullopt) << at;
        EXPECT_NE(check(packed), "") << at;
    }
}

TEST(ArchiveCheckInTwoHalves, ManyMembersMeetInTheMiddleAndTheWindowIsTickedFromTheCallingThread) {
    TempDirectory dir("archive-check-halves");
    std::vector<std::string> files;
    for (unsigned i = 0; i < 7; ++i) {
        files.push_back(dir.file("m" + std::to_string(i)));
        writeFile(files.back(), i % 2 == 0 ? noise(900000 + 1000 * i, 40 + i) : std::string(600000, 'x'));
    }
    const std::string archive = dir.file("m.enz");
    LibzipComponent zip;
    clsBlowfish maker;
    ASSERT_EQ(morvane::makeCombinedArchive(zip, maker, archive, files, kKey), morvane::ContainerResult::Done);
    const std::vector<PackedMember> packed = zip.PackedMembers();
    clsBlowfish cipher;
    const std::thread::id caller = std::this_thread::get_id();
    int ticks = 0;
    bool elsewhere = false;
    const auto verdict =
        morvane::checkWrittenArchiveInTwoHalves(cipher, archive, kKey, morvane::zipPassword(kKey), packed, [&] {
            ++ticks;
            elsewhere = elsewhere || std::this_thread::get_id() != caller;
        });
    EXPECT_EQ(verdict, std::optional<std::string>(""));
    EXPECT_GT(ticks, 0);
    EXPECT_FALSE(elsewhere);

    // Members in another order than packed: whichever half reaches them
    // finds it, and the whole walk says what.
    std::vector<PackedMember> swapped = packed;
    std::swap(swapped[3], swapped[4]);
    EXPECT_EQ(morvane::checkWrittenArchiveInTwoHalves(cipher, archive, kKey, morvane::zipPassword(kKey), swapped),
              std::nullopt);
    EXPECT_NE(morvane::checkWrittenArchive(cipher, archive, kKey, morvane::zipPassword(kKey), swapped), "");

    // A stop asked for from the window ends the check.
    clsBlowfish stopped;
    EXPECT_EQ(morvane::checkWrittenArchive(stopped, archive, kKey, morvane::zipPassword(kKey), packed,
                                           [&] { stopped.StopWork(); }),
              clsBlowfish::kStoppedError);
}

TEST(ArchiveCheckInTwoHalves, OneMemberIsWalkedWhole) {
    TempDirectory dir("archive-check-one");
    writeFile(dir.file("only"), noise(300000, 9));
    LibzipComponent zip;
    clsBlowfish maker;
    ASSERT_EQ(morvane::makeCombinedArchive(zip, maker, dir.file("o.enz"), {dir.file("only")}, kKey),
              morvane::ContainerResult::Done);
    clsBlowfish cipher;
    EXPECT_EQ(morvane::checkWrittenArchiveInTwoHalves(cipher, dir.file("o.enz"), kKey, morvane::zipPassword(kKey),
                                                      zip.PackedMembers()),
              std::nullopt);
    EXPECT_EQ(
        morvane::checkWrittenArchive(cipher, dir.file("o.enz"), kKey, morvane::zipPassword(kKey), zip.PackedMembers()),
        "");
}

}  // namespace
