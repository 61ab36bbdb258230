#include <gtest/gtest.h>

#include "clsBlowfish.h"

TEST(Smoke, KnownAnswer) {
    morvane::clsBlowfish c;
    c.key("abcdefghijklmnopqrstuvwxyz");
    std::uint32_t L = 0x424C4F57, R = 0x46495348;
    c.encipherBlock(L, R);
    EXPECT_EQ(L, 0x57746469u);
    EXPECT_EQ(R, 0x2216BE44u);
}
