#include "Numbers.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace {

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

struct Truncation {
    const char *name;
    double value;
    std::int32_t result;
};

class TruncateToInt32 : public testing::TestWithParam<Truncation> {};

TEST_P(TruncateToInt32, HasOneDefinedResult) {
    EXPECT_EQ(truncateToInt32(GetParam().value), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, TruncateToInt32,
    testing::Values(Truncation{"Zero", 0.0, 0}, Truncation{"PositiveTowardZero", 2.99, 2},
                    Truncation{"NegativeTowardZero", -2.99, -2},
                    Truncation{"HighestThatFits", 2147483647.9, highest},
                    Truncation{"LowestThatFits", -2147483648.9, lowest},
                    Truncation{"FirstTooHigh", 2147483648.0, lowest},
                    Truncation{"FirstTooLow", -2147483649.0, lowest},
                    Truncation{"Infinity", std::numeric_limits<double>::infinity(), lowest},
                    Truncation{"NegativeInfinity", -std::numeric_limits<double>::infinity(), lowest},
                    Truncation{"NotANumber", std::nan(""), lowest}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

struct LeadingNumber {
    const char *name;
    const char *text;
    std::int32_t result;
};

class LeadingNumberOf : public testing::TestWithParam<LeadingNumber> {};

TEST_P(LeadingNumberOf, HasOneDefinedResult) {
    EXPECT_EQ(leadingNumber(GetParam().text), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, LeadingNumberOf,
    testing::Values(LeadingNumber{"Digits", "1200", 1200},
                    LeadingNumber{"StopsAtOtherCharacters", "42abc", 42},
                    LeadingNumber{"LeadingBlanksAndSign", " \t-7", -7}, LeadingNumber{"PlusSign", "+7", 7},
                    LeadingNumber{"EmptyText", "", 0}, LeadingNumber{"NoNumber", "abc", 0},
                    LeadingNumber{"Highest", "2147483647", highest},
                    LeadingNumber{"TooHighSaturates", "2147483648", highest},
                    LeadingNumber{"FarTooHighSaturates", "99999999999999999999999", highest},
                    LeadingNumber{"TooLowSaturates", "-2147483649", lowest},
                    LeadingNumber{"FarTooLowSaturates", "-99999999999999999999999", lowest}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

} // namespace
