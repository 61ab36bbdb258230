// The zip CRC against zlib's: every length up to a few blocks, continued
// over pieces cut anywhere, and the check values everyone knows.
#include "crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "noise.h"

namespace {

using morvane::updateCrc32;

std::uint32_t zlibCrc(std::uint32_t crc, const std::uint8_t* data, std::size_t size) {
    return static_cast<std::uint32_t>(::crc32(crc, data, static_cast<uInt>(size)));
}

std::span<const std::uint8_t> bytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(Crc32, KnownCheckValues) {
    EXPECT_EQ(updateCrc32(0, {}), 0u);
    EXPECT_EQ(updateCrc32(0, bytesOf("123456789")), 0xCBF43926u);
    EXPECT_EQ(updateCrc32(0, bytesOf("The quick brown fox jumps over the lazy dog")), 0x414FA339u);
    const std::vector<std::uint8_t> zeros(32, 0);
    EXPECT_EQ(updateCrc32(0, zeros), 0x190A55ADu);
}

TEST(Crc32, EveryLengthAndAlignmentIsZlibsCrc) {
    const std::string data = morvane::testing::noise(4096 + 64, 0x1234567u);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(data.data());
    for (std::size_t start = 0; start < 16; ++start)
        for (std::size_t length = 0; length <= 1100; ++length)
            ASSERT_EQ(updateCrc32(0, {bytes + start, length}), zlibCrc(0, bytes + start, length))
                << "start " << start << ", length " << length;
}

TEST(Crc32, PiecesCutAnywhereGiveTheCrcOfTheWhole) {
    const std::string data = morvane::testing::noise(3 << 20, 0xBADC0DEu);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(data.data());
    const std::uint32_t whole = zlibCrc(0, bytes, data.size());
    ASSERT_EQ(updateCrc32(0, bytesOf(data)), whole);
    std::mt19937 rng(7);
    for (int round = 0; round < 40; ++round) {
        std::uint32_t crc = 0;
        for (std::size_t at = 0; at < data.size();) {
            const std::size_t cut = round % 2 == 0 ? rng() % 300 : rng() % 400000;
            const std::size_t take = std::min(cut, data.size() - at);
            crc = updateCrc32(crc, {bytes + at, take});
            at += take;
        }
        ASSERT_EQ(crc, whole) << "round " << round;
    }
}

TEST(Crc32, ContinuesACrcZlibBegan) {
    const std::string data = morvane::testing::noise(100000, 99u);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(data.data());
    const std::uint32_t begun = zlibCrc(0, bytes, 4321);
    EXPECT_EQ(updateCrc32(begun, {bytes + 4321, data.size() - 4321}), zlibCrc(0, bytes, data.size()));
}

}  // namespace
