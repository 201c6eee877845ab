#include "TextFinder.h"

#include <ctime>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Text.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<std::string>;

std::vector<std::string_view> viewsOf(const Texts &texts) {
    return {texts.begin(), texts.end()};
}

double secondsSince(std::clock_t begin) {
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

TEST(TextFinder, GivesTheFirstOfTheTextsWithinAnother) {
    const TextFinder finder({"suite", "anti.pkg", "anti", "suite"});
    EXPECT_EQ(finder.firstWithin("the antivirus"), 2U);
    EXPECT_EQ(finder.firstWithin("an anti.pkg of the suite"), 0U);
    EXPECT_EQ(finder.firstWithin("xanti.pkgx"), 1U);
    EXPECT_EQ(finder.firstWithin("ant i.pkg"), TextFinder::none);
    EXPECT_EQ(finder.firstWithin(""), TextFinder::none);
}

TEST(TextFinder, GivesForEachTextTheFirstThatHoldsIt) {
    const TextFinder finder({"b", "ab", "", "c", "ab"});
    EXPECT_THAT(finder.firstHolders({"", "a", "xb", "xab", "c"}), ElementsAre(2, 3, 0, 4, 3));
    EXPECT_THAT(finder.firstHolders({}), ElementsAre(TextFinder::none, TextFinder::none, TextFinder::none,
                                                     TextFinder::none, TextFinder::none));
}

TEST(TextFinder, AnEmptyTextIsInEveryOther) {
    EXPECT_EQ(TextFinder({"a", ""}).firstWithin("b"), 1U);
    EXPECT_EQ(TextFinder({"a", ""}).firstWithin(""), 1U);
    EXPECT_EQ(TextFinder({"a", ""}).firstWithin("a"), 0U);
}

TEST(TextFinder, WithoutTextsFindsNone) {
    EXPECT_EQ(TextFinder().firstWithin("a"), TextFinder::none);
    EXPECT_EQ(TextFinder(std::vector<std::string_view>()).firstWithin("a"), TextFinder::none);
    EXPECT_THAT(TextFinder().firstHolders({"a"}), IsEmpty());
}

// Short texts of few different bytes: they overlap, repeat and contain each other, and many are empty.
class Random {
public:
    Texts texts() {
        Texts made(number(12));
        for (std::string &text : made) {
            for (std::size_t left = number(7); left > 0; --left)
                text += bytes[number(bytes.size())];
        }
        return made;
    }

private:
    std::size_t number(std::size_t below) { return m_random() % below; }

    const std::string bytes = std::string("aab\xff\x80/", 6) + '\0';
    std::mt19937 m_random;
};

TEST(TextFinder, FindsWhatOneSearchAfterTheOtherFinds) {
    Random random;
    for (int round = 0; round < 20'000; ++round) {
        const Texts texts = random.texts();
        const Texts searched = random.texts();
        const TextFinder finder(viewsOf(texts));
        std::vector<std::size_t> holders;
        for (const std::string &text : texts) {
            std::size_t i = 0;
            while (i < searched.size() && !contains(searched[i], text))
                ++i;
            holders.push_back(i < searched.size() ? i : TextFinder::none);
        }
        ASSERT_EQ(finder.firstHolders(viewsOf(searched)), holders) << testing::PrintToString(texts);
        for (const std::string &one : searched) {
            std::size_t i = 0;
            while (i < texts.size() && !contains(one, texts[i]))
                ++i;
            ASSERT_EQ(finder.firstWithin(one), i < texts.size() ? i : TextFinder::none)
                << testing::PrintToString(texts) << testing::PrintToString(one);
        }
    }
}

// One search after the other would take 10^11 steps, and so would one for each length.
TEST(TextFinder, TakesLinearTimeForTextsOfEveryLength) {
    Texts texts;
    for (std::size_t length = 1'000; length > 0; --length)
        texts.push_back(std::string(length, 'a') + "b");
    texts.push_back(std::string(1'000'000, 'a') + "c");
    const std::string searched(2'000'000, 'a');
    const std::clock_t begin = std::clock();
    const TextFinder finder(viewsOf(texts));
    EXPECT_EQ(finder.firstWithin(searched), TextFinder::none);
    EXPECT_EQ(finder.firstWithin(searched + "b"), 0U);
    EXPECT_EQ(finder.firstHolders({searched, searched + "c"}).back(), 1U);
    EXPECT_LT(secondsSince(begin), 10);
}

} // namespace
