#include "sort_and_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "text_case.h"

namespace {

using morvane::searchArray;
using morvane::sortArray;

TEST(SortArray, SortsAscendingByBytes) {
    std::vector<std::string> values = {"c:\\b.txt", "C:\\A.TXT", "c:\\a.txt", "a", "B", "b"};
    sortArray(values, 0, static_cast<int>(values.size()) - 1);
    EXPECT_EQ(values, (std::vector<std::string>{"B", "C:\\A.TXT", "a", "b", "c:\\a.txt", "c:\\b.txt"}));
}

TEST(SortArray, ManyRandomListsEndSorted) {
    std::mt19937 rng(7);
    for (int round = 0; round < 200; ++round) {
        std::vector<std::string> values(rng() % 40);
        for (auto& v : values) v = std::to_string(rng() % 25);
        std::vector<std::string> expected = values;
        std::sort(expected.begin(), expected.end());
        sortArray(values, 0, static_cast<int>(values.size()) - 1);
        EXPECT_EQ(values, expected);
    }
}

TEST(SortArray, OnlyTheGivenRangeMoves) {
    std::vector<std::string> values = {"z", "d", "c", "b", "a"};
    sortArray(values, 1, 3);
    EXPECT_EQ(values, (std::vector<std::string>{"z", "b", "c", "d", "a"}));
    sortArray(values, 2, 2);  // high not above low: nothing
    EXPECT_EQ(values, (std::vector<std::string>{"z", "b", "c", "d", "a"}));
}

TEST(SearchArray, FindsEveryElementAndMissesOthers) {
    const std::vector<std::string> values = {"a", "c", "e", "g", "i", "k", "m"};
    for (int i = 0; i < static_cast<int>(values.size()); ++i) EXPECT_EQ(searchArray(values, values[i], 6), i);
    EXPECT_EQ(searchArray(values, "b", 6), -1);
    EXPECT_EQ(searchArray(values, "z", 6), -1);
    EXPECT_EQ(searchArray(values, "0", 6), -1);
}

TEST(SearchArray, LooksOnlyUpToHigh) {
    const std::vector<std::string> values = {"a", "b", "c", "d"};
    EXPECT_EQ(searchArray(values, "d", 2), -1);
    EXPECT_EQ(searchArray(values, "a", -1), -1);
}

TEST(SearchArray, MiddleRoundsHalvesToEven) {
    // A list whose order is broken shows which element is looked at first.
    // low 0, high 1: the middle is 0 (0.5 to even).
    const std::vector<std::string> firstLooksAtZero = {"b", "a"};
    EXPECT_EQ(searchArray(firstLooksAtZero, "b", 1), 0);
    // low 0, high 3: the middle is 2 (1.5 to even), where rounding down would
    // look at "q" first, turn to the lower half and miss "m".
    const std::vector<std::string> looksAtTwo = {"a", "q", "m", "z"};
    EXPECT_EQ(searchArray(looksAtTwo, "m", 3), 2);
}

TEST(LowerCase, LettersOfManyScripts) {
    EXPECT_EQ(morvane::lowerCase("C:\\A.TXT"), "c:\\a.txt");
    EXPECT_EQ(morvane::lowerCase("ÄÖÜ ÉÈ Ÿ Ž Ω Я"), "äöü éè ÿ ž ω я");
    EXPECT_EQ(morvane::lowerCase("×÷ß"), "×÷ß");
}

}  // namespace
