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
    {"ElementWithASlashInAnAttribute", "<AffID xmlns=\"http://a/b\">105</AffID>",
     "<AffID xmlns=\"http://a/b\">masked_affiliate</AffID>"},
    {"ElementBehindAComment", "<AffID><!-- ours -->105-1</AffID>", "<AffID>masked_affiliate</AffID>"},
    {"ElementOfSeveralParts", "<a:AffID>10<!-- -->5<![CDATA[-1]]></a:AffID> 105-1",
     "<a:AffID>masked_affiliate</a:AffID> masked_affiliate"},
    {"ElementOfElements", "<License><Key>AB-12</Key><Until>13</Until></License>",
     "<License>masked_licence</License>"},
    {"ElementWithoutAnEnd", "<AffID>105<BuildNumber>7</BuildNumber>",
     "<AffID>masked_affiliate<BuildNumber>7</BuildNumber>"},
    {"ElementWithinAnotherText", "&lt;AffID&gt;105&lt;/AffID&gt; affid=&quot;106&quot;",
     "&lt;AffID&gt;masked_affiliate&lt;/AffID&gt; affid=&quot;masked_affiliate_2&quot;"},
    {"NoElement", "<a href=\"x:affid=105\">105</a>", "<a href=\"x:affid=masked_affiliate\">105</a>"},
    {"EmptyElement", "<AffID></AffID><AffID/>", "<AffID></AffID><AffID/>"},
    {"Key", "<key>AffID</key>\n\t<string>105</string>",
     "<key>AffID</key>\n\t<string>masked_affiliate</string>"},
    {"KeyOfANumber", "<key>SerialNumber</key><integer>7</integer>",
     "<key>SerialNumber</key><integer>masked_licence</integer>"},
    {"KeyBehindAComment", "<key>AffID</key><!-- ours --><string>105</string>",
     "<key>AffID</key><!-- ours --><string>masked_affiliate</string>"},
    {"KeyOfAnArray", "<key>AffID</key><array><string>105</string></array>",
     "<key>AffID</key><array>masked_affiliate</array>"},
    {"Setting", "<setting name=\"affid\" value=\"105\"/><entry key='affid'>106</entry>",
     "<setting name=\"affid\" value=\"masked_affiliate\"/><entry key='affid'>masked_affiliate_2</entry>"},
    {"KeyOfNoText", "<key>LicenseAccepted</key><true/>", "<key>LicenseAccepted</key><true/>"},
    {"Attribute", "<partner affid=\"105\" relname='x'>", "<partner affid=\"masked_affiliate\" relname='x'>"},
    {"AttributeInOtherQuotes", "<partner affid = '105'>", "<partner affid = 'masked_affiliate'>"},
    {"Query", "https://host/a?affid=105&b=105", "https://host/a?affid=masked_affiliate&b=105"},
    {"QueryInMarkup", "https://host/a?b=1&amp;licensekey=AB-12&amp;c=1",
     "https://host/a?b=1&amp;licensekey=masked_licence&amp;c=1"},
    {"QueryWithinAnother", "https://host/?to=https%3A%2F%2Fx%2F%3Faffid%3D105%26b",
     "https://host/?to=https%3A%2F%2Fx%2F%3Faffid%3Dmasked_affiliate%26b"},
    {"QueryWithinAnotherOfAnEscapedValue", "https://host/?to=x%3Faffid%3D105%2D1%26b",
     "https://host/?to=x%3Faffid%3Dmasked_affiliate%26b"},
    {"LogLine", "Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: 105-1\nnext",
     "Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: masked_affiliate\nnext"},
    {"LineOfAnotherSystem", "CurProdAffId: 105\r\n", "CurProdAffId: masked_affiliate\r\n"},
    {"Json", "{\"affid\": \"105\", \"build\": \"105\"}",
     "{\"affid\": \"masked_affiliate\", \"build\": \"105\"}"},
    {"JsonWithinAText", R"("{\"affid\": \"105\"}")", R"("{\"affid\": \"masked_affiliate\"}")"},
    {"NameOfSeveralWords", "<license-key>A1</license-key><Licence_Key>B1</Licence_Key>",
     "<license-key>masked_licence</license-key><Licence_Key>masked_licence_2</Licence_Key>"},
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
    EXPECT_EQ(maskedAfter(known, "2105-1 105-10 x105-1"), "2105-1 105-10 xmasked_affiliate");
}

TEST(Masks, AValueInEachOfTheFormsThatItTakes) {
    const std::string known = "<License>{AB&amp;12-CD}</License>";
    EXPECT_EQ(maskedAfter(known, "AB&12-CD {ab&12-cd} AB&amp;12-CD aB%2612-Cd AB%2612-CDE"),
              "masked_licence {masked_licence} masked_licence masked_licence AB%2612-CDE");
    EXPECT_EQ(maskedAfter("<AffID>105&#45;1</AffID>", "<affid>105-1</affid> 105-1 105&#x2d;1"),
              "<affid>masked_affiliate</affid> masked_affiliate 105&#x2d;1");
}

// Each of these begins what never ends.
TEST(Masks, AreFoundInTimeInWhateverALogHolds) {
    for (const char *const part : {"affid%3D105 ", ":affid ", "affid=\"", "&lt;affid&gt;", "<affid>",
                                   "<affid ", "<key>affid</key><!--", "\"affid\":\"", "affid=&quot;"}) {
        std::string text;
        while (text.size() < 500000)
            text += part;
        EXPECT_NE(maskedAfter(text, text), "");
    }
    EXPECT_EQ(maskedAfter("", "&lt;affid&gt;105\nnext"), "&lt;affid&gt;masked_affiliate\nnext");
}

TEST(Masks, NoNameOfAnElement) {
    EXPECT_EQ(maskedAfter("<License>Package</License>", "<package>a package</package>"),
              "<package>a masked_licence</package>");
}

TEST(Masks, SeveralValuesEachByItsOwn) {
    EXPECT_EQ(maskedAfter("<affid>105-1</affid><affid>106-1</affid>", "/105-1.xml /106-1.xml affid=107-1"),
              "/masked_affiliate.xml /masked_affiliate_2.xml affid=masked_affiliate");
}

TEST(Masks, AValueThatIsLikeANumberAsAFolderOfAPathOnly) {
    const std::string known = "<affid>105</affid>";
    EXPECT_EQ(maskedAfter(known, "https://host/105/core.xml https://host/105"),
              "https://host/masked_affiliate/core.xml https://host/masked_affiliate");
    EXPECT_EQ(maskedAfter(known, "BuildNumber 105, 1.0.105.0, /1.0.0.105/x, http code = 105"),
              "BuildNumber 105, 1.0.105.0, /1.0.0.105/x, http code = 105");
}

TEST(Masks, TheLongestOfSeveralValues) {
    EXPECT_EQ(maskedAfter("<affid>105</affid><affid>105-1</affid>", "/105-1/"), "/masked_affiliate_2/");
}

TEST(Masks, NothingTwice) {
    BundleMask mask;
    const std::string once = "<AffID>masked_affiliate</AffID><affid>masked_affiliate_12</affid>";
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
