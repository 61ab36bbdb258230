#include "member_names.h"

#include <gtest/gtest.h>

namespace {

using morvane::isSafeMemberName;
using morvane::matchesFileMask;

TEST(MemberNames, PlainAndNestedNamesStayInside) {
    EXPECT_TRUE(isSafeMemberName("report.doc"));
    EXPECT_TRUE(isSafeMemberName("sub/dir/file.txt"));
    EXPECT_TRUE(isSafeMemberName("sub\\file.txt"));
    EXPECT_TRUE(isSafeMemberName("..hidden"));
    EXPECT_TRUE(isSafeMemberName("a..b/c"));
}

TEST(MemberNames, AbsoluteNamesLeadOutside) {
    EXPECT_FALSE(isSafeMemberName("/tmp/abs.txt"));
    EXPECT_FALSE(isSafeMemberName("\\windows\\x.txt"));
    EXPECT_FALSE(isSafeMemberName("C:\\x.txt"));
    EXPECT_FALSE(isSafeMemberName("c:x.txt"));
    EXPECT_FALSE(isSafeMemberName(""));
}

TEST(MemberNames, ParentComponentsLeadOutside) {
    EXPECT_FALSE(isSafeMemberName("../evil.txt"));
    EXPECT_FALSE(isSafeMemberName("a/../../evil.txt"));
    EXPECT_FALSE(isSafeMemberName("a\\..\\evil.txt"));
    EXPECT_FALSE(isSafeMemberName(".."));
    EXPECT_FALSE(isSafeMemberName("a/.."));
}

TEST(MemberNames, StarDotStarMatchesEveryName) {
    EXPECT_TRUE(matchesFileMask("readme", "*.*"));
    EXPECT_TRUE(matchesFileMask("a.txt", "*.*"));
    EXPECT_TRUE(matchesFileMask("a.txt", "*"));
}

TEST(MemberNames, WildcardsCompareWithoutCase) {
    EXPECT_TRUE(matchesFileMask("Report.DOC", "*.doc"));
    EXPECT_TRUE(matchesFileMask("a1.txt", "a?.txt"));
    EXPECT_FALSE(matchesFileMask("a12.txt", "a?.txt"));
    EXPECT_FALSE(matchesFileMask("b.txt", "a*"));
}

}  // namespace
