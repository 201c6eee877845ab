#include "Version.h"

#include <gtest/gtest.h>

#include "DownloadController.h"

namespace {

using Components = std::array<std::int32_t, 4>;

struct Parsed {
    const char *name;
    const char *text;
    Components components;
};

class ParseVersion : public testing::TestWithParam<Parsed> {};

TEST_P(ParseVersion, ReadsUpToFourNumbers) {
    EXPECT_EQ(parseVersion(GetParam().text), GetParam().components);
}

INSTANTIATE_TEST_SUITE_P(
    Version, ParseVersion,
    testing::Values(Parsed{"FourNumbers", "1.2.3.4", {1, 2, 3, 4}},
                    Parsed{"MissingNumbersAreZero", "1.2", {1, 2, 0, 0}},
                    Parsed{"EmptyText", "", {0, 0, 0, 0}}, Parsed{"NoNumber", "abc", {0, 0, 0, 0}},
                    Parsed{"FurtherNumbersIgnored", "1.2.3.4.5", {1, 2, 3, 4}},
                    Parsed{"StopsAtOtherCharacters", "1.2b.3.4", {1, 2, 0, 0}},
                    Parsed{"StopsAtDoubledStop", "1..3.4", {1, 0, 0, 0}},
                    Parsed{"BlanksBeforeNumbers", " 1.\t2. 3.4", {1, 2, 3, 4}},
                    Parsed{"NoBlankBeforeStop", "1 .2.3.4", {1, 0, 0, 0}},
                    Parsed{"Signs", "+1.-2.3.4", {1, -2, 3, 4}},
                    Parsed{"SignWithoutNumber", "1.-.3.4", {1, 0, 0, 0}},
                    Parsed{"HighBitIsNegative", "2147483648.0.0.0", {-2147483647 - 1, 0, 0, 0}},
                    Parsed{"ModuloTwoToThe32", "4294967297.4294967295.0.0", {1, -1, 0, 0}},
                    Parsed{"VeryLongNumber", "100000000000000000000000000000001", {1, 0, 0, 0}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

struct Comparison {
    const char *name;
    const char *first;
    const char *second;
    bool greater;
};

class IsGreaterThan : public testing::TestWithParam<Comparison> {};

TEST_P(IsGreaterThan, ComparesNumberByNumber) {
    EXPECT_EQ(isGreaterVersion(GetParam().first, GetParam().second), GetParam().greater);
    EXPECT_EQ(DownloadController::IsGreaterThan(GetParam().first, GetParam().second), GetParam().greater);
}

INSTANTIATE_TEST_SUITE_P(Version, IsGreaterThan,
                         testing::Values(Comparison{"EqualIsNotGreater", "1.2.3.4", "1.2.3.4", false},
                                         Comparison{"NumbersNotTexts", "1.10.0.0", "1.9.9.9", true},
                                         Comparison{"FirstDifferenceDecides", "1.2.9.9", "1.3.0.0", false},
                                         Comparison{"LastNumberCounts", "1.2.3.5", "1.2.3.4", true},
                                         Comparison{"MissingNumbersAreZero", "1.2", "1.2.0.0", false},
                                         Comparison{"MissingNumbersAreZeroOnTheRight", "1.2.0.1", "1.2",
                                                    true},
                                         Comparison{"NumbersAreSigned", "2147483648.0.0.0", "1.0.0.0", false},
                                         Comparison{"SignedOnTheRight", "1.0.0.0", "2147483648.0.0.0", true},
                                         Comparison{"EmptyTexts", "", "", false}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

} // namespace
