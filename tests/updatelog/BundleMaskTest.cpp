// What is masked, and what is not.
#include <ostream>

#include <gtest/gtest.h>

#include "BundleMask.h"

namespace {

struct Case {
    const char *name;
    std::string text;
    std::string masked;
};

std::ostream &operator<<(std::ostream &stream, const Case &each) {
    return stream << each.text;
}

class BehindItsName : public testing::TestWithParam<Case> {};

TEST_P(BehindItsName, IsMasked) {
    BundleMask mask;
    mask.learn(GetParam().text);
    MaskCount count;
    EXPECT_EQ(mask.masked(GetParam().text, count), GetParam().masked);
    EXPECT_EQ(count.all() > 0, GetParam().text != GetParam().masked);
}

const Case cases[] = {
    {"Element", "<AffID>105-1</AffID><BuildNumber>105</BuildNumber>",
     "<AffID>masked_affiliate</AffID><BuildNumber>105</BuildNumber>"},
    {"ElementWithAttributes", "<AffID type=\"a\">105</AffID>", "<AffID type=\"a\">masked_affiliate</AffID>"},
    {"ElementOfCharacterData", "<AffID><![CDATA[105]]></AffID>",
     "<AffID><![CDATA[masked_affiliate]]></AffID>"},
    {"EmptyElement", "<AffID></AffID><AffID/>", "<AffID></AffID><AffID/>"},
    {"Key", "<key>AffID</key>\n\t<string>105</string>",
     "<key>AffID</key>\n\t<string>masked_affiliate</string>"},
    {"KeyOfANumber", "<key>SerialNumber</key><integer>7</integer>",
     "<key>SerialNumber</key><integer>masked_licence</integer>"},
    {"KeyOfNoText", "<key>LicenseAccepted</key><true/>", "<key>LicenseAccepted</key><true/>"},
    {"Attribute", "<partner affid=\"105\" relname='x'>", "<partner affid=\"masked_affiliate\" relname='x'>"},
    {"AttributeInOtherQuotes", "<partner affid = '105'>", "<partner affid = 'masked_affiliate'>"},
    {"Query", "https://host/a?affid=105&b=105", "https://host/a?affid=masked_affiliate&b=105"},
    {"QueryInMarkup", "https://host/a?b=1&amp;licensekey=AB-12&amp;c=1",
     "https://host/a?b=1&amp;licensekey=masked_licence&amp;c=1"},
    {"QueryWithinAnother", "https://host/?to=https%3A%2F%2Fx%2F%3Faffid%3D105%26b",
     "https://host/?to=https%3A%2F%2Fx%2F%3Faffid%3D105%26b"},
    {"LogLine", "Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: 105-1\nnext",
     "Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: masked_affiliate\nnext"},
    {"LineOfAnotherSystem", "CurProdAffId: 105\r\n", "CurProdAffId: masked_affiliate\r\n"},
    {"Json", "{\"affid\": \"105\", \"build\": \"105\"}",
     "{\"affid\": \"masked_affiliate\", \"build\": \"105\"}"},
    {"NameOfSeveralWords", "<license-key>A1</license-key><Licence_Key>B1</Licence_Key>",
     "<license-key>masked_licence</license-key><Licence_Key>masked_licence</Licence_Key>"},
    {"OtherName", "<AppID>105</AppID> license to 105", "<AppID>105</AppID> license to 105"},
    {"AtTheEnd", "affid=105", "affid=masked_affiliate"},
    {"NothingBehindIt", "affid", "affid"},
};

INSTANTIATE_TEST_SUITE_P(Masks, BehindItsName, testing::ValuesIn(cases),
                         [](const auto &each) { return std::string(each.param.name); });

std::string maskedAfter(const std::string &known, const std::string &text) {
    BundleMask mask;
    mask.learn(known);
    MaskCount count;
    return mask.masked(text, count);
}

TEST(Masks, AValueThatIsLikeNoNumberWhereverItStands) {
    const std::string known = "<AffID>105-1</AffID>";
    EXPECT_EQ(maskedAfter(known, "Start download: https://105-1.host/x-105-1.pkg"),
              "Start download: https://masked_affiliate.host/x-masked_affiliate.pkg");
    EXPECT_EQ(maskedAfter(known, "2105-1 105-10 x105-1"), "2105-1 105-10 x105-1");
}

TEST(Masks, AValueThatIsLikeANumberAsAFolderOfAPathOnly) {
    const std::string known = "<affid>105</affid>";
    EXPECT_EQ(maskedAfter(known, "https://host/105/core.xml https://host/105"),
              "https://host/masked_affiliate/core.xml https://host/masked_affiliate");
    EXPECT_EQ(maskedAfter(known, "BuildNumber 105, 1.0.105.0, /1.0.0.105/x, http code = 105"),
              "BuildNumber 105, 1.0.105.0, /1.0.0.105/x, http code = 105");
}

TEST(Masks, TheLongestOfSeveralValues) {
    EXPECT_EQ(maskedAfter("<affid>105</affid><affid>105-1</affid>", "/105-1/"), "/masked_affiliate/");
}

TEST(Masks, NothingTwice) {
    BundleMask mask;
    const std::string once = "<AffID>masked_affiliate</AffID>";
    mask.learn(once);
    MaskCount count;
    EXPECT_EQ(mask.masked(once, count), once);
    EXPECT_EQ(count.all(), 0U);
}

TEST(Masks, CountsWhatItMasks) {
    BundleMask mask;
    const std::string text = "<AffID>105-1</AffID> 105-1 <serial>AB-12</serial>";
    mask.learn(text);
    MaskCount count;
    static_cast<void>(mask.masked(text, count));
    EXPECT_EQ(count.affiliates, 2U);
    EXPECT_EQ(count.licences, 1U);
}

} // namespace
