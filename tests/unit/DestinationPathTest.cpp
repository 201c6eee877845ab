#include "DestinationPath.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace {

struct Parts {
    const char *name;
    std::string subFolder;
    std::string fileName;
    std::string path = {}; // below /folder/
};

std::string nameOf(const testing::TestParamInfo<Parts> &info) {
    return info.param.name;
}

class PlainDestination : public testing::TestWithParam<Parts> {};

TEST_P(PlainDestination, IsJoinedAsItStands) {
    EXPECT_EQ(destinationPath("/folder", GetParam().subFolder, GetParam().fileName),
              "/folder/" + GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(DestinationPath, PlainDestination,
                         testing::Values(Parts{"Version", "1.0.1.0", "a.pkg", "1.0.1.0/a.pkg"},
                                         Parts{"Repost", "repost/1.0.1.0", "a.pkg", "repost/1.0.1.0/a.pkg"},
                                         Parts{"NoSubFolder", "", "core.xml", "/core.xml"},
                                         Parts{"BlankInTheName", "1.0", "a b.pkg", "1.0/a b.pkg"},
                                         Parts{"Dots", "1..0", "..a...pkg..", "1..0/..a...pkg.."},
                                         Parts{"OwnFolder", ".", "a.pkg", "./a.pkg"},
                                         Parts{"Harmless", "1+2-3_4", "a%20@~#,=:[x]{y}!^?*.pkg",
                                               "1+2-3_4/a%20@~#,=:[x]{y}!^?*.pkg"},
                                         Parts{"Utf8", "1", "\xc3\xa4.pkg", "1/\xc3\xa4.pkg"},
                                         Parts{"NoFileName", "1", "", "1/"}),
                         nameOf);

class RefusedDestination : public testing::TestWithParam<Parts> {};

TEST_P(RefusedDestination, IsAnInvalidArgument) {
    EXPECT_THROW(destinationPath("/folder", GetParam().subFolder, GetParam().fileName),
                 std::invalid_argument);
}

INSTANTIATE_TEST_SUITE_P(
    DestinationPath, RefusedDestination,
    testing::Values(Parts{"Blank", "1.0 /etc/cron.d", "a"}, Parts{"Semicolon", "1;2", "a"},
                    Parts{"SemicolonInName", "1", "a;b"}, Parts{"Ampersand", "1&2", "a"},
                    Parts{"Pipe", "1|2", "a"}, Parts{"Less", "1<2", "a"}, Parts{"Greater", "1>2", "a"},
                    Parts{"Opening", "1(2", "a"}, Parts{"Closing", "1)2", "a"}, Parts{"Dollar", "1$2", "a"},
                    Parts{"Backquote", "1`2", "a"}, Parts{"Backslash", "1\\2", "a"},
                    Parts{"DoubleQuote", "1\"2", "a"}, Parts{"SingleQuote", "1'2", "a"},
                    Parts{"LineEnd", "1\n2", "a"}, Parts{"Tab", "1\t2", "a"},
                    Parts{"Zero", std::string("1\0002", 3), "a"}, Parts{"Delete", "1\x7f", "a"},
                    Parts{"Upwards", "..", "a"}, Parts{"UpwardsAtTheEnd", "1/..", "a"},
                    Parts{"UpwardsInside", "1/../../../etc/cron.d", "a"}, Parts{"UpwardsName", "1", ".."},
                    Parts{"UpwardsWithDoubledSlash", "1//..//..", "a"}),
    nameOf);

} // namespace
