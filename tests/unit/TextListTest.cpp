#include "TextList.h"

#include <cstring>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

TEST(TextList, KeepsTheOrderOfAppending) {
    OwnedTexts texts;
    texts.append("b");
    texts.append("");
    texts.append("a");
    EXPECT_THAT(texts.list(), ElementsAre(StrEq("b"), StrEq(""), StrEq("a")));
}

TEST(TextList, HoldsCopies) {
    OwnedTexts texts;
    std::string text = "before";
    texts.append(text);
    text = "after!";
    EXPECT_THAT(texts.list(), ElementsAre(StrEq("before")));
}

TEST(TextList, ReleasedTextsBelongToTheCaller) {
    std::list<const char *> released;
    {
        OwnedTexts texts;
        texts.append("one");
        texts.append("two");
        released = texts.release();
        EXPECT_THAT(texts.list(), IsEmpty());
    }
    EXPECT_THAT(released, ElementsAre(StrEq("one"), StrEq("two")));
    freeTexts(released);
    EXPECT_THAT(released, IsEmpty());
}

TEST(TextList, TakesTextsOver) {
    auto *text = new char[3];
    std::memcpy(text, "hi", 3);
    OwnedTexts texts(std::list<const char *>{text});
    EXPECT_THAT(texts.list(), ElementsAre(StrEq("hi")));
}

TEST(TextList, FreeingAnEmptyListDoesNothing) {
    std::list<const char *> texts;
    freeTexts(texts);
    EXPECT_THAT(texts, IsEmpty());
}

} // namespace
