#include "CatalogParser.h"

#include <array>
#include <atomic>
#include <filesystem>
#include <iterator>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DownloadController.h"
#include "FailingAllocation.h"
#include "FailingXmlAllocation.h"
#include "NoMoreFiles.h"
#include "TextFile.h"
#include "TextList.h"
#include "Trace.h"
#include "TraceFile.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

const std::string parsingFailed = "\n ERROR: Catalog Parsing Failed\n";
const std::string productParsingFailed = "\n Product Catalog Parsing Failed\n";

using Texts = std::vector<std::string>;

// A record made without values, in memory that held something else.
template <typename Record>
Record madeInUsedMemory() {
    alignas(Record) std::array<unsigned char, sizeof(Record)> memory{};
    memory.fill(0xAB);
    auto *record = new (memory.data()) Record;
    Record copy = *record;
    record->~Record();
    return copy;
}

TEST(CatalogRecords, FlagsAreFalseUntilTheyAreSet) {
    EXPECT_FALSE(madeInUsedMemory<CatalogInfo>().isPartner);
    EXPECT_FALSE(madeInUsedMemory<ProductInfo>().isPartner);
    EXPECT_FALSE(madeInUsedMemory<HotFixPackageInfo>().repost);
}

struct CatalogUrls {
    Texts core;
    Texts partner;
};

Texts takeTexts(std::list<const char *> texts) {
    OwnedTexts owned(std::move(texts));
    return {owned.list().begin(), owned.list().end()};
}

CatalogUrls catalogUrlsOf(CatalogParser &parser, const std::string &reply) {
    std::map<std::string, std::list<const char *>> urls = parser.getCatalogUrls(reply);
    EXPECT_THAT(urls, ElementsAre(testing::Key("Core"), testing::Key("Partner")));
    return {takeTexts(urls["Core"]), takeTexts(urls["Partner"])};
}

CatalogUrls catalogUrlsOf(const std::string &reply) {
    CatalogParser parser;
    return catalogUrlsOf(parser, reply);
}

// What libxml2's wrapper prints is of no interest where it is megabytes.
class QuietOutput {
public:
    QuietOutput() {
        static_cast<void>(std::fflush(stdout));
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        EXPECT_GE(dup2(nowhere, STDOUT_FILENO), 0);
        close(nowhere);
    }
    ~QuietOutput() {
        static_cast<void>(std::fflush(stdout));
        dup2(m_output, STDOUT_FILENO);
        close(m_output);
    }
    QuietOutput(const QuietOutput &) = delete;
    QuietOutput &operator=(const QuietOutput &) = delete;

private:
    const int m_output = dup(STDOUT_FILENO);
};

std::string element(const std::string &name, const std::string &content) {
    return "<" + name + ">" + content + "</" + name + ">";
}

std::string catalog(const std::string &root, const std::string &name) {
    return element("catalog",
                   element("caturlroot", root) + element("name", name) + element("version", "1.0"));
}

std::string product(const std::string &appId, const std::string &catalogs) {
    return R"(<product appid=")" + appId + R"(">)" + element("catlist", catalogs) + "</product>";
}

std::string replyWith(const std::string &productsAndPartner) {
    return "<?xml version=\"1.0\"?>\n"
           "<productresponse status=\"SUCCESS\"><pkglist><package>" +
           productsAndPartner + "</package></pkglist></productresponse>";
}

std::string reply(const std::string &coreProducts, const std::string &partnerProducts) {
    return replyWith(R"(<products relname="basicmac3.3" relver="7">)" + coreProducts +
                     R"(</products><partner relver="8">)" + partnerProducts + "</partner>");
}

// --- names and records
// --------------------------------------------------------------------------------------

TEST(CatalogNames, AreThoseOfTheServicesReply) {
    EXPECT_EQ(keyCoreCatalog, "/product/catlist/catalog");
    EXPECT_EQ(keyPartnerCatalog, "/productresponse/pkglist/package/partner/product/catlist/catalog");
    EXPECT_EQ(keyProducts, "/productresponse/pkglist/package/products");
    EXPECT_EQ(keyCoreProduct, "/productresponse/pkglist/package/products/product");
    EXPECT_EQ(keyPartnerProduct, "/productresponse/pkglist/package/partner/product");
    EXPECT_EQ(keyPartner, "/productresponse/pkglist/package/partner");
    EXPECT_EQ(keyCatUrlRoot, "caturlroot");
    EXPECT_EQ(keyName, "name");
    EXPECT_EQ(keyAppID, "appid");
    EXPECT_EQ(keyVersion, "version");
    EXPECT_EQ(keyRelVer, "relver");
    EXPECT_EQ(keyRelName, "relname");
    EXPECT_EQ(keyDefaultValue, "");
}

TEST(CatalogNames, AreThoseOfTheProductCatalog) {
    EXPECT_EQ(keyProductPackage, "/product_catalog/manifest/server_package_information/"
                                 "fullinstall_package_list/server_package");
    EXPECT_EQ(keyProductConfig, "/product_catalog/configuration");
    EXPECT_EQ(keyHotFixPackage,
              "/product_catalog/manifest/server_package_information/ProductPackage/hf_package");
    EXPECT_EQ(keyProductname, "name");
    EXPECT_EQ(keyProductUrl, "url");
    EXPECT_EQ(keyProductHash, "hash");
    EXPECT_EQ(keyMainBuildNo, "mainbuildno");
    EXPECT_EQ(keyHFMinVer, "minver");
    EXPECT_EQ(keyHFmaxVer, "maxver");
    EXPECT_EQ(keyHFOsMinVer, "osx_minver");
    EXPECT_EQ(keyHFOsMaxVer, "osx_maxver");
    EXPECT_EQ(keyHFProductVer, "product_ver");
    EXPECT_EQ(keySize, "size");
    EXPECT_EQ(keyHFBuildno, "buildno");
    EXPECT_EQ(keyRepost, "repost");
}

TEST(CatalogRecords, CatalogFieldsStandInTheirOrder) {
    const CatalogInfo record{"root", "version", "name", true};
    EXPECT_EQ(record.catUrlRoot, "root");
    EXPECT_EQ(record.version, "version");
    EXPECT_EQ(record.name, "name");
    EXPECT_TRUE(record.isPartner);
}

TEST(CatalogRecords, ProductFieldsStandInTheirOrder) {
    const ProductInfo record{"url", "name", true, "hash", "version", "build"};
    EXPECT_EQ(record.url, "url");
    EXPECT_EQ(record.name, "name");
    EXPECT_TRUE(record.isPartner);
    EXPECT_EQ(record.hash, "hash");
    EXPECT_EQ(record.version, "version");
    EXPECT_EQ(record.mainBuildNo, "build");
}

TEST(CatalogRecords, HotFixFieldsStandInTheirOrder) {
    const HotFixPackageInfo record{"name",  "url",   "hash",       "size",  "min", "max",
                                   "osMin", "osMax", "productVer", "build", true};
    EXPECT_EQ(record.name, "name");
    EXPECT_EQ(record.url, "url");
    EXPECT_EQ(record.hash, "hash");
    EXPECT_EQ(record.size, "size");
    EXPECT_EQ(record.minVer, "min");
    EXPECT_EQ(record.maxVer, "max");
    EXPECT_EQ(record.osxMinVer, "osMin");
    EXPECT_EQ(record.osxMaxVer, "osMax");
    EXPECT_EQ(record.productVer, "productVer");
    EXPECT_EQ(record.buildNo, "build");
    EXPECT_TRUE(record.repost);
}

// --- application ids
// ----------------------------------------------------------------------------------------

struct AppId {
    const char *name;
    const char *appId;
    bool isCore;
};

class CoreAppId : public testing::TestWithParam<AppId> {};

TEST_P(CoreAppId, IsOneOfTheFixedList) {
    EXPECT_EQ(CatalogParser().isCoreAppID(GetParam().appId), GetParam().isCore);
}

INSTANTIATE_TEST_SUITE_P(
    CatalogParser, CoreAppId,
    testing::Values(AppId{"Quaformac", "quaformac", true}, AppId{"Quiformac", "quiformac", true},
                    AppId{"Quoformac", "quoformac", true}, AppId{"Qusformac", "qusformac", true},
                    AppId{"Qulmac", "qulmac", true}, AppId{"Pxbasicformac", "pxbasicformac", true},
                    AppId{"Pxquibasicformac", "pxquibasicformac", true},
                    AppId{"DefaultReleaseNameIsPartner", "basicmac3.3", false},
                    AppId{"QueformacIsPartner", "queformac", false},
                    AppId{"PxquiteamformacIsPartner", "pxquiteamformac", false},
                    AppId{"PxteamformacIsPartner", "pxteamformac", false},
                    AppId{"LetterCaseCounts", "Quaformac", false}, AppId{"BlanksCount", "quaformac ", false},
                    AppId{"BeginningIsNotEnough", "qua", false}, AppId{"Empty", "", false}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(AppIds, SingleOneIsBothCoreAndPartnerWithoutALine) {
    openTrace();
    const CoreAndPartnerAppIDs ids = CatalogParser().getCoreAndPartnerAppIDs({"basicmac3.3"});
    EXPECT_THAT(ids.core, ElementsAre("basicmac3.3"));
    EXPECT_THAT(ids.partner, ElementsAre("basicmac3.3"));
    EXPECT_THAT(traceMessages(), IsEmpty());
}

TEST(AppIds, SeveralAreToldApartInTheirOrder) {
    openTrace();
    const auto [core, partner] =
        CatalogParser().getCoreAndPartnerAppIDs({"qulmac", "basicmac3.3", "quaformac", "queformac"});
    EXPECT_THAT(core, ElementsAre("qulmac", "quaformac"));
    EXPECT_THAT(partner, ElementsAre("basicmac3.3", "queformac"));
    EXPECT_THAT(traceMessages(), ElementsAre("\nINFO : getCoreAndPartnerAppIDs - qulmac\n\n",
                                             "\nINFO : getCoreAndPartnerAppIDs - basicmac3.3\n\n",
                                             "\nINFO : getCoreAndPartnerAppIDs - quaformac\n\n",
                                             "\nINFO : getCoreAndPartnerAppIDs - queformac\n\n"));
}

TEST(AppIds, NoneGiveTwoEmptyLists) {
    const CoreAndPartnerAppIDs ids = CatalogParser().getCoreAndPartnerAppIDs({});
    EXPECT_THAT(ids.core, IsEmpty());
    EXPECT_THAT(ids.partner, IsEmpty());
}

// --- the service's reply
// ------------------------------------------------------------------------------------

struct CatalogUrl {
    const char *name;
    const char *catalog;
    const char *url;
};

class CatalogUrlOf : public testing::TestWithParam<CatalogUrl> {};

TEST_P(CatalogUrlOf, IsRootSlashNameXml) {
    const CatalogUrls urls =
        catalogUrlsOf(reply(product("quaformac", element("catalog", GetParam().catalog)), ""));
    EXPECT_THAT(urls.core, ElementsAre(GetParam().url));
    EXPECT_THAT(urls.partner, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    CatalogParser, CatalogUrlOf,
    testing::Values(CatalogUrl{"Plain", "<caturlroot>http://host/c</caturlroot><name>core</name>",
                               "http://host/c/core.xml"},
                    CatalogUrl{"SlashAtTheEndIsDoubled",
                               "<caturlroot>http://host/c/</caturlroot><name>core</name>",
                               "http://host/c//core.xml"},
                    CatalogUrl{"MissingRootGivesALeadingSlash", "<name>core</name>", "/core.xml"},
                    CatalogUrl{"EmptyRootGivesALeadingSlash", "<caturlroot/><name>core</name>", "/core.xml"},
                    CatalogUrl{"MissingName", "<caturlroot>http://host/c</caturlroot>", "http://host/c/.xml"},
                    CatalogUrl{"MissingBoth", "", "/.xml"},
                    CatalogUrl{"EscapedCharacters",
                               "<caturlroot>http://host/c?a=1&amp;b=2</caturlroot><name>core</name>",
                               "http://host/c?a=1&b=2/core.xml"},
                    CatalogUrl{"BlanksStay", "<caturlroot> r </caturlroot><name> n </name>", " r / n .xml"},
                    CatalogUrl{"FirstOfTwoRootsCounts",
                               "<caturlroot>first</caturlroot><caturlroot>second</caturlroot><name>n</name>",
                               "first/n.xml"}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

struct Matching {
    const char *name;
    std::string reply;
    CatalogUrls urls;
};

class CatalogMatching : public testing::TestWithParam<Matching> {};

TEST_P(CatalogMatching, ChoosesTheCatalogs) {
    const CatalogUrls urls = catalogUrlsOf(GetParam().reply);
    EXPECT_EQ(urls.core, GetParam().urls.core);
    EXPECT_EQ(urls.partner, GetParam().urls.partner);
}

INSTANTIATE_TEST_SUITE_P(
    CatalogParser, CatalogMatching,
    testing::Values(
        Matching{"SingleProductMatchesItsPartner",
                 reply(product("qusformac", catalog("r", "c1") + catalog("r", "c2")),
                       product("qusformac", catalog("r", "p1"))),
                 {{"r/c1.xml", "r/c2.xml"}, {"r/p1.xml"}}},
        Matching{
            "SinglePartnerIdCountsAsCoreToo",
            reply(product("basicmac3.3", catalog("r", "c1")), product("basicmac3.3", catalog("r", "p1"))),
            {{"r/c1.xml"}, {"r/p1.xml"}}},
        Matching{"SingleProductDoesNotMatchAnotherPartner",
                 reply(product("qusformac", catalog("r", "c1")), product("basicmac3.3", catalog("r", "p1"))),
                 {{"r/c1.xml"}, {}}},
        Matching{"CatalogsStandInDocumentOrder",
                 reply(product("qulmac", catalog("r", "z") + catalog("r", "a")) +
                           product("quaformac", catalog("r", "m")),
                       ""),
                 {{"r/z.xml", "r/a.xml", "r/m.xml"}, {}}},
        Matching{"PartnerIdAmongCoreProductsRepeatsTheCatalogsBefore",
                 reply(product("quaformac", catalog("r", "c1") + catalog("r", "c2")) +
                           product("basicmac3.3", catalog("r", "c3")),
                       ""),
                 {{"r/c1.xml", "r/c2.xml", "r/c1.xml", "r/c2.xml"}, {}}},
        Matching{
            "UnmatchedProductBeforeAnyMatchAddsNothing",
            reply(product("basicmac3.3", catalog("r", "c3")) + product("quaformac", catalog("r", "c1")), ""),
            {{"r/c1.xml"}, {}}},
        Matching{"MatchedProductWithoutCatalogsEndsTheRepeating",
                 reply(product("quaformac", catalog("r", "c1")) + product("qulmac", "") +
                           product("basicmac3.3", catalog("r", "c3")),
                       ""),
                 {{"r/c1.xml"}, {}}},
        Matching{"PartnerIsMatchedByAPartnerIdAmongTheCoreProducts",
                 reply(product("quaformac", catalog("r", "c1")) + product("basicmac3.3", ""),
                       product("basicmac3.3", catalog("r", "p1"))),
                 {{"r/c1.xml", "r/c1.xml"}, {"r/p1.xml"}}},
        Matching{"PartnerIsNotMatchedByACoreId",
                 reply(product("quaformac", catalog("r", "c1")) + product("qulmac", catalog("r", "c2")),
                       product("quaformac", catalog("r", "p1"))),
                 {{"r/c1.xml", "r/c2.xml"}, {}}},
        Matching{"UnmatchedPartnerRepeatsThePartnerBefore",
                 reply(product("quaformac", catalog("r", "c1")) + product("basicmac3.3", ""),
                       product("basicmac3.3", catalog("r", "p1")) + product("unknown", catalog("r", "p2"))),
                 {{"r/c1.xml", "r/c1.xml"}, {"r/p1.xml", "r/p1.xml"}}},
        Matching{"CoreCatalogsAreNotRepeatedAmongPartners",
                 reply(product("quaformac", catalog("r", "c1")), product("unknown", catalog("r", "p1"))),
                 {{"r/c1.xml"}, {}}},
        Matching{"IdsAreComparedExactly",
                 reply(product("quaformac", catalog("r", "c1")), product("Quaformac", catalog("r", "p1"))),
                 {{"r/c1.xml"}, {}}},
        Matching{
            "SameIdTwiceGivesBothOnesCatalogs",
            reply(product("quaformac", catalog("r", "c1")) + product("quaformac", catalog("r", "c2")), ""),
            {{"r/c1.xml", "r/c2.xml"}, {}}},
        // Its id is not among those that are told apart, so the other one counts as single.
        Matching{"ProductWithoutIdRepeatsTheCatalogsBefore",
                 reply(product("basicmac3.3", catalog("r", "c1")) + "<product>" +
                           element("catlist", catalog("r", "c2")) + "</product>",
                       ""),
                 {{"r/c1.xml", "r/c1.xml"}, {}}},
        Matching{"CatalogsOutsideTheListAreNotRead",
                 reply(R"(<product appid="quaformac">)" + catalog("r", "outside") + "</product>", ""),
                 {{}, {}}},
        Matching{"NoPartnerElement",
                 replyWith("<products>" + product("quaformac", catalog("r", "c1")) + "</products>"),
                 {{"r/c1.xml"}, {}}},
        Matching{"NoProducts", reply("", product("quaformac", catalog("r", "p1"))), {{}, {}}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(ServiceReply, ReleaseValuesGoToTheController) {
    catalogUrlsOf(reply("", ""));
    const DownloadController &controller = *DownloadController::getInstance();
    EXPECT_EQ(controller.getRelName(), "basicmac3.3");
    EXPECT_EQ(controller.getCoreReleaseVer(), "7");
    EXPECT_EQ(controller.getPartnerReleaseVer(), "8");
}

TEST(ServiceReply, ReleaseValuesGoToARecordThatWasGivenAndMakeNoController) {
    DownloadController::releaseInstance();
    writeText("/tmp/dynamicbranding_maccat.xml",
              "<product_catalog><configuration><cbrmsbuildno>5</cbrmsbuildno>"
              "</configuration></product_catalog>");
    ReleaseRecord record;
    CatalogParser parser(record);
    catalogUrlsOf(parser, reply("", ""));
    parser.getHotFixInfo({"/tmp/dynamicbranding_maccat.xml"});
    EXPECT_EQ(record.getRelName(), "basicmac3.3");
    EXPECT_EQ(record.getCoreReleaseVer(), "7");
    EXPECT_EQ(record.getPartnerReleaseVer(), "8");
    EXPECT_EQ(record.getCBRMSBuildNO(), "5");
    EXPECT_EQ(traceInited, 0); // by the controller
}

struct WithoutReleaseValues {
    const char *name;
    std::string reply;
};

class ReleaseValues : public testing::TestWithParam<WithoutReleaseValues> {};

TEST_P(ReleaseValues, AreEmptiedWhenTheReplyHasNone) {
    DownloadController &controller = *DownloadController::getInstance();
    controller.setRelName("earlier");
    controller.setCoreReleaseVer("earlier");
    controller.setPartnerReleaseVer("earlier");
    catalogUrlsOf(GetParam().reply);
    EXPECT_EQ(controller.getRelName(), "");
    EXPECT_EQ(controller.getCoreReleaseVer(), "");
    EXPECT_EQ(controller.getPartnerReleaseVer(), "");
}

INSTANTIATE_TEST_SUITE_P(
    CatalogParser, ReleaseValues,
    testing::Values(WithoutReleaseValues{"NoAttributes", replyWith("<products/><partner/>")},
                    WithoutReleaseValues{"NoElements", replyWith("")},
                    WithoutReleaseValues{"ElementsTwice",
                                         replyWith(R"(<products relname="n" relver="7"/><products/>)"
                                                   R"(<partner relver="8"/><partner/>)")},
                    WithoutReleaseValues{"EmptyReply", ""}, WithoutReleaseValues{"NotXml", "OK"}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(ServiceReply, NextReplyReplacesTheCatalogs) {
    CatalogParser parser;
    catalogUrlsOf(parser, reply(product("quaformac", catalog("r", "first")), ""));
    EXPECT_THAT(catalogUrlsOf(parser, reply(product("quaformac", catalog("r", "second")), "")).core,
                ElementsAre("r/second.xml"));
    EXPECT_THAT(catalogUrlsOf(parser, "").core, IsEmpty());
}

TEST(ServiceReply, LeavesProductsAndHotFixesAlone) {
    CatalogParser parser;
    writeText("/tmp/catalog.xml", "<product_catalog/>");
    parser.getProductInfo({"/tmp/catalog.xml"});
    parser.parseCatalogWithResponse(reply(product("quaformac", catalog("r", "c1")), ""));
    EXPECT_THAT(parser.getProductList(), SizeIs(1));
    EXPECT_THAT(parser.getHotFixList(), IsEmpty());
}

TEST(ServiceReply, TranscriptTellsEveryStep) {
    const std::string core1 = product("quaformac", catalog("r", "c1") + catalog("r", "c2"));
    const std::string core2 = product("basicmac3.3", catalog("r", "c3"));
    const std::string partner1 = product("basicmac3.3", catalog("r", "p1"));
    const std::string partner2 = product("unknown", "");
    const std::string text = reply(core1 + core2, partner1 + partner2);
    DownloadController::getInstance();
    catalogUrlsOf(text);
    // A catalog list without entries is serialised as one empty element.
    const std::string partner2Markup = R"(<product appid="unknown"><catlist/></product>)";
    EXPECT_THAT(
        traceMessages(),
        ElementsAre(
            "INFO : Getting Catalog Urls\n", "INFO : Tolvane response is  == >> " + text + "\n",
            "INFO : Parsing Tolvane response for getting catalog\n",
            "\nINFO : getCoreAndPartnerAppIDs - quaformac\n\n",
            "\nINFO : getCoreAndPartnerAppIDs - basicmac3.3\n\n",
            "\nINFO : Core Products - " + core1 + "\n\n", "\nINFO : size of rooturl Vector is  - 2\n\n",
            "\nINFO : this appid - quaformac\n\n", "INFO :Tolvane Response has names - c1\n",
            "INFO :Tolvane Response has names - c2\n", "\nINFO : Core Products - " + core2 + "\n\n",
            "\nINFO : this appid - basicmac3.3\n\n", "INFO :Tolvane Response has names - c1\n",
            "INFO :Tolvane Response has names - c2\n", "\nINFO : Partner Products - " + partner1 + "\n\n",
            "\nINFO : this appid - basicmac3.3\n\n", "\nINFO : Partner Products - " + partner2Markup + "\n\n",
            "\nINFO : this appid - unknown\n\n"));
}

TEST(ServiceReply, LinesAreInfoLinesOfTheCatalogParser) {
    DownloadController::getInstance();
    downloadManagerTraceFlagvalue = 0;
    catalogUrlsOf("");
    EXPECT_THAT(traceMessages(), SizeIs(3));
    catalogparserflagvalue = 4;
    catalogUrlsOf(reply(product("quaformac", catalog("r", "c1")) + product("unknown", ""),
                        product("quaformac", catalog("r", "p1"))));
    EXPECT_THAT(traceMessages(), SizeIs(3));
}

// Whatever allocation fails while the reply is parsed, the catalogs read before it are given.
TEST(ServiceReply, FailureWhileParsingKeepsTheCatalogsReadBefore) {
    const std::string text = reply(product("quaformac", catalog("r", "c1") + catalog("r", "c2")),
                                   product("quaformac", catalog("r", "p1")));
    const QuietOutput quietOutput;
    DownloadController::getInstance();
    catalogparserflagvalue = Trace::errorLevel;
    std::size_t failures = 0;
    for (std::size_t allocation = 0;; ++allocation) {
        CatalogParser parser;
        std::string argument = text;
        std::map<std::string, std::list<const char *>> urls;
        bool happened = true;
        bool escaped = false;
        {
            const FailingAllocation failingAllocation(allocation);
            try {
                urls = parser.getCatalogUrls(std::move(argument));
            } catch (const std::bad_alloc &) {
                escaped = true; // while the URLs are composed
            }
            happened = failingAllocation.happened();
        }
        const bool failed = traceMessages().size() > failures;
        EXPECT_FALSE(failed && escaped) << allocation;
        if (failed) {
            ++failures;
            EXPECT_THAT(urls, ElementsAre(testing::Key("Core"), testing::Key("Partner")));
        }
        CatalogUrls read{takeTexts(urls["Core"]), takeTexts(urls["Partner"])};
        Texts all = std::move(read.core);
        all.insert(all.end(), read.partner.begin(), read.partner.end());
        const Texts expected{"r/c1.xml", "r/c2.xml", "r/p1.xml"};
        EXPECT_EQ(parser.isCutShort(), failed) << allocation;
        if (!failed && !escaped) {
            EXPECT_EQ(all, expected) << allocation;
        }
        ASSERT_LE(all.size(), expected.size());
        EXPECT_TRUE(std::equal(all.begin(), all.end(), expected.begin())) << allocation;
        if (happened)
            continue;
        EXPECT_EQ(all, expected);
        break;
    }
    EXPECT_GT(failures, 10U);
    EXPECT_THAT(traceMessages(), testing::Each(parsingFailed));
}

std::string repeated(const std::string &text, std::size_t count) {
    std::string result;
    result.reserve(text.size() * count);
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

// Ten entities, each made of ten of the one before: together a thousand million texts.
std::string entityFlood(const std::string &root, const std::string &content) {
    std::string declarations = "<!ENTITY e0 'flood'>";
    for (int i = 1; i < 10; ++i)
        declarations +=
            "<!ENTITY e" + std::to_string(i) + " '" + repeated("&e" + std::to_string(i - 1) + ";", 10) + "'>";
    return "<!DOCTYPE " + root + " [" + declarations + "]>" + content;
}

// The text is made by the case that needs it: some have megabytes.
struct BadText {
    const char *name;
    std::string (*text)();
};

class BadReply : public testing::TestWithParam<BadText> {};

TEST_P(BadReply, GivesTwoEmptyListsAndNoFailure) {
    DownloadController::getInstance();
    const CatalogUrls urls = catalogUrlsOf(GetParam().text());
    EXPECT_THAT(urls.core, IsEmpty());
    EXPECT_THAT(urls.partner, IsEmpty());
    // Taken as one text, since it holds the reply.
    const std::string written = traceText();
    EXPECT_EQ(written.find("Catalog Parsing Failed"), std::string::npos);
    const std::string lastLine = " : INFO : Parsing Tolvane response for getting catalog\n";
    ASSERT_GT(written.size(), lastLine.size());
    EXPECT_EQ(written.substr(written.size() - lastLine.size()), lastLine);
}

std::string wholeReply() {
    return reply(product("quaformac", catalog("r", "c1")), "");
}

INSTANTIATE_TEST_SUITE_P(
    CatalogParser, BadReply,
    testing::Values(
        BadText{"Empty", [] { return std::string(); }}, BadText{"Blank", [] { return std::string(" \n"); }},
        BadText{"NotXml", [] { return std::string("Service unavailable"); }},
        BadText{"BinaryBytes", [] { return std::string("\xFF\xFE\x01\x02"); }},
        BadText{"ErrorPage", [] { return std::string("<html><body/></html>"); }},
        BadText{"CutInTheMiddle", [] { return wholeReply().substr(0, wholeReply().size() / 2); }},
        BadText{"CutBeforeTheLastCharacter", [] { return wholeReply().substr(0, wholeReply().size() - 1); }},
        BadText{"TwoRepliesRunTogether", [] { return wholeReply() + wholeReply(); }},
        BadText{"HugelyNested", [] { return repeated("<productresponse>", 200'000); }},
        BadText{"HugelyNestedAndClosed",
                [] { return repeated("<product>", 100'000) + repeated("</product>", 100'000); }},
        BadText{"EntityFlood",
                [] { return entityFlood("productresponse", "<productresponse>&e9;</productresponse>"); }},
        BadText{"ManyMegabytesOfText", [] { return repeated(std::string(1'000'000, 'x'), 40); }}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(ServiceReply, ExternalEntityIsNotRead) {
    writeText("/tmp/secret", "stolen");
    const CatalogUrls urls = catalogUrlsOf(
        "<!DOCTYPE productresponse [<!ENTITY file SYSTEM 'file:///tmp/secret'>]>"
        "<productresponse><pkglist><package><products relname='&file;'>" +
        product("quaformac", catalog("&file;", "c1")) + "</products></package></pkglist></productresponse>");
    for (const std::string &url : urls.core)
        EXPECT_THAT(url, Not(testing::HasSubstr("stolen")));
    EXPECT_EQ(DownloadController::getInstance()->getRelName(), "");
}

TEST(ServiceReply, EntityFloodInsideAProductEndsInTime) {
    std::string text = reply(product("quaformac", catalog("&e9;", "c1")), "");
    text = text.substr(text.find('\n') + 1);
    const CatalogUrls urls = catalogUrlsOf(entityFlood("productresponse", text));
    for (const std::string &url : urls.core)
        EXPECT_LT(url.size(), 20'000'000U);
}

TEST(ServiceReply, FortyMegabytesLoseNothing) {
    constexpr std::size_t count = 4'000;
    const std::string root(10'000, 'r');
    const QuietOutput quietOutput;
    const CatalogUrls urls =
        catalogUrlsOf(reply(product("quaformac", repeated(catalog(root, "c1"), count)), ""));
    ASSERT_THAT(urls.core, SizeIs(count));
    EXPECT_TRUE(urls.core.back() == root + "/c1.xml");
}

TEST(ServiceReply, HundredThousandCatalogsTakeLinearTime) {
    constexpr std::size_t count = 100'000;
    const QuietOutput quietOutput;
    const CatalogUrls urls =
        catalogUrlsOf(reply(product("quaformac", repeated(catalog("r", "c1"), count)), ""));
    EXPECT_THAT(urls.core, SizeIs(count));
}

// By fuzzing: every product that is not known repeats the catalogs before it, so that a reply of some hundred
// kilobytes named more catalogs than there is memory for.
TEST(ServiceReply, RepeatedCatalogsDoNotFillTheMemory) {
    constexpr std::size_t bytes = 1U << 20U;
    const std::string known = product("quaformac", catalog("r", std::string(bytes, 'n')));
    const QuietOutput quietOutput;
    DownloadController::getInstance();
    catalogparserflagvalue = Trace::errorLevel;
    const CatalogUrls urls = catalogUrlsOf(
        reply(R"(<product appid="quaformac"/>)", known + repeated(R"(<product appid="unknown"/>)", 1'000)));
    EXPECT_THAT(urls.partner, SizeIs(255));
    EXPECT_THAT(traceMessages(), ElementsAre(parsingFailed));
}

// --- product catalogs
// ---------------------------------------------------------------------------------------

const std::string serverPackage =
    R"(<server_package name="Full.pkg" url="http://host/Full.pkg" hash="ab12"/>)";
const std::string configuration = "<version>1.0.0.9</version><mainbuildno>109</mainbuildno>";

std::string productCatalog(const std::string &configurationItems, const std::string &serverPackages,
                           const std::string &hotFixes) {
    return element("product_catalog",
                   element("configuration", configurationItems) +
                       element("manifest", element("server_package_information",
                                                   element("fullinstall_package_list", serverPackages) +
                                                       element("ProductPackage", hotFixes))));
}

std::string hotFix(const std::string &name) {
    return element("hf_package", element("name", name));
}

// Writes a catalog file below a folder of its own and gives its path.
std::string catalogFile(const std::string &path, const std::string &text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeText(path, text);
    return path;
}

Texts namesOf(const std::vector<HotFixPackageInfo> &hotFixes) {
    Texts names;
    for (const HotFixPackageInfo &hotFix : hotFixes)
        names.push_back(hotFix.name);
    return names;
}

Texts namesOf(const std::vector<ProductInfo> &products) {
    Texts names;
    for (const ProductInfo &product : products)
        names.push_back(product.name);
    return names;
}

TEST(ProductCatalog, ProductHasItsSixValues) {
    const std::string path = catalogFile("/tmp/c.xml", productCatalog(configuration, serverPackage, ""));
    const std::vector<ProductInfo> products = CatalogParser().getProductInfo({path});
    ASSERT_THAT(products, SizeIs(1));
    EXPECT_EQ(products[0].url, "http://host/Full.pkg");
    EXPECT_EQ(products[0].name, "Full.pkg");
    EXPECT_TRUE(products[0].isPartner);
    EXPECT_EQ(products[0].hash, "ab12");
    EXPECT_EQ(products[0].version, "1.0.0.9");
    EXPECT_EQ(products[0].mainBuildNo, "109");
}

struct IncompleteProduct {
    const char *name;
    std::string catalog;
    ProductInfo product;
};

class IncompleteProductCatalog : public testing::TestWithParam<IncompleteProduct> {};

TEST_P(IncompleteProductCatalog, StillGivesAProduct) {
    const std::string path = catalogFile("/tmp/c.xml", GetParam().catalog);
    const std::vector<ProductInfo> products = CatalogParser().getProductInfo({path});
    ASSERT_THAT(products, SizeIs(1));
    const ProductInfo &expected = GetParam().product;
    EXPECT_EQ(products[0].url, expected.url);
    EXPECT_EQ(products[0].name, expected.name);
    EXPECT_EQ(products[0].hash, expected.hash);
    EXPECT_EQ(products[0].version, expected.version);
    EXPECT_EQ(products[0].mainBuildNo, expected.mainBuildNo);
}

INSTANTIATE_TEST_SUITE_P(
    CatalogParser, IncompleteProductCatalog,
    testing::Values(
        IncompleteProduct{"WithoutServerPackage",
                          productCatalog(configuration, "", ""),
                          {"", "", true, "", "1.0.0.9", "109"}},
        IncompleteProduct{"TwoServerPackagesReadAsNone",
                          productCatalog(configuration, serverPackage + serverPackage, ""),
                          {"", "", true, "", "1.0.0.9", "109"}},
        IncompleteProduct{"ServerPackageWithChildElements",
                          productCatalog(configuration,
                                         "<server_package><name>n</name><url>u</url><hash>h</hash>"
                                         "</server_package>",
                                         ""),
                          {"", "", true, "", "1.0.0.9", "109"}},
        IncompleteProduct{"MissingAttributes",
                          productCatalog(configuration, R"(<server_package name="n"/>)", ""),
                          {"", "n", true, "", "1.0.0.9", "109"}},
        IncompleteProduct{"WithoutConfiguration",
                          productCatalog("", serverPackage, ""),
                          {"http://host/Full.pkg", "Full.pkg", true, "ab12", "", ""}},
        IncompleteProduct{"ConfigurationItemsTwiceReadAsNone",
                          productCatalog(configuration + configuration, serverPackage, ""),
                          {"http://host/Full.pkg", "Full.pkg", true, "ab12", "", ""}},
        IncompleteProduct{"EmptyConfigurationItems",
                          productCatalog("<version/><mainbuildno></mainbuildno>", serverPackage, ""),
                          {"http://host/Full.pkg", "Full.pkg", true, "ab12", "", ""}},
        IncompleteProduct{"EmptyFile", "", {"", "", true, "", "", ""}},
        IncompleteProduct{"NotXml", "404 Not Found", {"", "", true, "", "", ""}},
        IncompleteProduct{"OtherDocument", "<html/>", {"", "", true, "", "", ""}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(ProductCatalog, MissingFileGivesAnEmptyProductAndNoFailure) {
    DownloadController::getInstance();
    const std::vector<ProductInfo> products = CatalogParser().getProductInfo({"/tmp/no such file.xml"});
    ASSERT_THAT(products, SizeIs(1));
    EXPECT_EQ(products[0].url + products[0].name + products[0].hash + products[0].version +
                  products[0].mainBuildNo,
              "");
    EXPECT_TRUE(products[0].isPartner);
    EXPECT_THAT(traceMessages(), ElementsAre("INFO : Getting Package info\n"));
}

struct PartnerPath {
    const char *name;
    const char *path;
    bool isPartner;
};

class PartnerCatalogPath : public testing::TestWithParam<PartnerPath> {};

TEST_P(PartnerCatalogPath, DecidesWhetherAProductIsAPartners) {
    std::filesystem::current_path("/tmp");
    const std::string path = catalogFile(GetParam().path, productCatalog(configuration, serverPackage, ""));
    const std::vector<ProductInfo> products = CatalogParser().getProductInfo({path});
    ASSERT_THAT(products, SizeIs(1));
    EXPECT_EQ(products[0].name, "Full.pkg");
    EXPECT_EQ(products[0].isPartner, GetParam().isPartner);
}

INSTANTIATE_TEST_SUITE_P(CatalogParser, PartnerCatalogPath,
                         testing::Values(PartnerPath{"BelowCatalogCore", "/tmp/Catalog/Core/c.xml", true},
                                         PartnerPath{"BelowCatalogPartner", "/tmp/Catalog/Partner/c.xml",
                                                     true},
                                         PartnerPath{"PartnerLaterInARelativePath", "./Partner/c.xml", true},
                                         PartnerPath{"BeginningWithPartner", "Partner/c.xml", false},
                                         PartnerPath{"BeginningWithSmallPartner", "partner/c.xml", true}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(ProductCatalog, EveryFileGivesOneProductInTheOrderOfTheList) {
    const std::string second =
        catalogFile("/tmp/2.xml", productCatalog("", R"(<server_package name="b"/>)", ""));
    const std::string first =
        catalogFile("/tmp/1.xml", productCatalog("", R"(<server_package name="a"/>)", ""));
    EXPECT_THAT(namesOf(CatalogParser().getProductInfo({second, "/tmp/none.xml", first})),
                ElementsAre("b", "", "a"));
}

TEST(ProductCatalog, ProductListGrowsWithEveryCall) {
    const std::string path = catalogFile("/tmp/c.xml", productCatalog(configuration, serverPackage, ""));
    CatalogParser parser;
    EXPECT_THAT(parser.getProductInfo({path}), SizeIs(1));
    EXPECT_THAT(parser.getProductInfo({path}), SizeIs(2));
    EXPECT_THAT(parser.getProductInfo({}), SizeIs(2));
    EXPECT_THAT(namesOf(parser.getProductList()), ElementsAre("Full.pkg", "Full.pkg"));
    EXPECT_THAT(parser.getHotFixList(), IsEmpty());
}

TEST(ProductCatalog, ListsAreEmptyAtFirst) {
    EXPECT_THAT(CatalogParser().getProductList(), IsEmpty());
    EXPECT_THAT(CatalogParser().getHotFixList(), IsEmpty());
}

TEST(ProductCatalog, ListsAreCopies) {
    const std::string path =
        catalogFile("/tmp/c.xml", productCatalog(configuration, serverPackage, hotFix("a")));
    CatalogParser parser;
    parser.getProductInfo({path}).clear();
    parser.getHotFixInfo({path}).clear();
    EXPECT_THAT(parser.getProductList(), SizeIs(1));
    EXPECT_THAT(parser.getHotFixList(), SizeIs(1));
}

TEST(ProductCatalog, LinesAreInfoLinesOfTheCatalogParser) {
    DownloadController::getInstance();
    CatalogParser parser;
    downloadManagerTraceFlagvalue = 0;
    parser.getProductInfo({});
    parser.getHotFixInfo({});
    catalogparserflagvalue = 4;
    parser.getProductInfo({});
    parser.getHotFixInfo({});
    EXPECT_THAT(traceMessages(),
                ElementsAre("INFO : Getting Package info\n", "INFO : Getting Hotfix info\n"));
}

TEST(ProductCatalog, FailureStopsTheReadingAndKeepsTheProductsReadBefore) {
    const std::list<std::string> paths = {
        catalogFile("/tmp/1.xml", productCatalog(configuration, R"(<server_package name="a"/>)", "")),
        catalogFile("/tmp/2.xml", productCatalog(configuration, R"(<server_package name="b"/>)", "")),
        catalogFile("/tmp/3.xml", productCatalog(configuration, R"(<server_package name="c"/>)", ""))};
    const Texts expected{"a", "b", "c"};
    DownloadController::getInstance();
    catalogparserflagvalue = Trace::errorLevel;
    std::vector<std::size_t> failedAfter(4, 0);
    std::size_t failures = 0;
    for (std::size_t allocation = 0;; ++allocation) {
        CatalogParser parser;
        std::list<std::string> argument = paths;
        bool happened = true;
        {
            const FailingAllocation failingAllocation(allocation);
            try {
                parser.getProductInfo(std::move(argument));
            } catch (const std::bad_alloc &) {
                // While the result is copied: all files are read then.
                if (traceMessages().size() == failures) {
                    EXPECT_THAT(parser.getProductList(), SizeIs(3)) << allocation;
                }
            }
            happened = failingAllocation.happened();
        }
        const Texts names = namesOf(parser.getProductList());
        ASSERT_LE(names.size(), expected.size());
        EXPECT_TRUE(std::equal(names.begin(), names.end(), expected.begin())) << allocation;
        EXPECT_EQ(parser.isCutShort(), traceMessages().size() > failures) << allocation;
        if (traceMessages().size() > failures) {
            ++failures;
            ++failedAfter.at(names.size());
        }
        if (happened)
            continue;
        EXPECT_EQ(names, expected);
        break;
    }
    EXPECT_THAT(traceMessages(), testing::Each(productParsingFailed));
    EXPECT_GT(failedAfter[0], 0U);
    EXPECT_GT(failedAfter[1], 0U);
    EXPECT_GT(failedAfter[2], 0U);
    EXPECT_EQ(failedAfter[3], 0U);
}

TEST(ProductCatalog, ProductListCanBeAskedForMeanwhile) {
    const std::string path = catalogFile("/tmp/c.xml", productCatalog(configuration, serverPackage, ""));
    CatalogParser parser;
    std::atomic<bool> done{false};
    std::thread asking([&parser, &done] {
        std::size_t seen = 0;
        while (!done) {
            const std::size_t size = parser.getProductList().size();
            EXPECT_GE(size, seen);
            seen = size;
        }
    });
    parser.getProductInfo(std::list<std::string>(200, path));
    done = true;
    asking.join();
    EXPECT_THAT(parser.getProductList(), SizeIs(200));
}

// --- hot-fixes
// ----------------------------------------------------------------------------------------------

TEST(HotFixCatalog, HotFixHasItsElevenValues) {
    const std::string items = "<name>HF.pkg</name><url>http://host/HF_1.0.0.9/HF.pkg</url><hash>cd34</hash>"
                              "<size>4096</size><minver>1.0.0.1</minver><maxver>1.0.0.8</maxver>"
                              "<osx_minver>10.6.0</osx_minver><osx_maxver>10.8.9</osx_maxver>"
                              "<product_ver>1.0.0.9</product_ver><buildno>109</buildno><repost>YES</repost>";
    const std::string path = catalogFile("/tmp/c.xml", productCatalog("", "", element("hf_package", items)));
    const std::vector<HotFixPackageInfo> hotFixes = CatalogParser().getHotFixInfo({path});
    ASSERT_THAT(hotFixes, SizeIs(1));
    EXPECT_EQ(hotFixes[0].name, "HF.pkg");
    EXPECT_EQ(hotFixes[0].url, "http://host/HF_1.0.0.9/HF.pkg");
    EXPECT_EQ(hotFixes[0].hash, "cd34");
    EXPECT_EQ(hotFixes[0].size, "4096");
    EXPECT_EQ(hotFixes[0].minVer, "1.0.0.1");
    EXPECT_EQ(hotFixes[0].maxVer, "1.0.0.8");
    EXPECT_EQ(hotFixes[0].osxMinVer, "10.6.0");
    EXPECT_EQ(hotFixes[0].osxMaxVer, "10.8.9");
    EXPECT_EQ(hotFixes[0].productVer, "1.0.0.9");
    EXPECT_EQ(hotFixes[0].buildNo, "109");
    EXPECT_TRUE(hotFixes[0].repost);
}

TEST(HotFixCatalog, ItemsAreElementsNotAttributes) {
    const std::string path = catalogFile(
        "/tmp/c.xml", productCatalog("", "", R"(<hf_package name="n" url="u" hash="h" repost="YES"/>)"));
    const std::vector<HotFixPackageInfo> hotFixes = CatalogParser().getHotFixInfo({path});
    ASSERT_THAT(hotFixes, SizeIs(1));
    const HotFixPackageInfo &empty = hotFixes[0];
    EXPECT_EQ(empty.name + empty.url + empty.hash + empty.size + empty.minVer + empty.maxVer +
                  empty.osxMinVer + empty.osxMaxVer + empty.productVer + empty.buildNo,
              "");
    EXPECT_FALSE(empty.repost);
}

TEST(HotFixCatalog, MissingItemsDoNotShiftThoseOfOtherPackages) {
    const std::string path = catalogFile(
        "/tmp/c.xml", productCatalog("", "",
                                     "<hf_package><name>a</name><buildno>1</buildno></hf_package>"
                                     "<hf_package><url>u</url></hf_package>"
                                     "<hf_package><name>c</name><buildno>3</buildno></hf_package>"));
    const std::vector<HotFixPackageInfo> hotFixes = CatalogParser().getHotFixInfo({path});
    EXPECT_THAT(hotFixes,
                ElementsAre(AllOf(Field(&HotFixPackageInfo::name, "a"), Field(&HotFixPackageInfo::url, ""),
                                  Field(&HotFixPackageInfo::buildNo, "1")),
                            AllOf(Field(&HotFixPackageInfo::name, ""), Field(&HotFixPackageInfo::url, "u"),
                                  Field(&HotFixPackageInfo::buildNo, "")),
                            AllOf(Field(&HotFixPackageInfo::name, "c"), Field(&HotFixPackageInfo::url, ""),
                                  Field(&HotFixPackageInfo::buildNo, "3"))));
}

struct Repost {
    const char *name;
    const char *items;
    bool repost;
};

class RepostItem : public testing::TestWithParam<Repost> {};

TEST_P(RepostItem, IsTrueForYesOnly) {
    const std::string path =
        catalogFile("/tmp/c.xml", productCatalog("", "", element("hf_package", GetParam().items)));
    const std::vector<HotFixPackageInfo> hotFixes = CatalogParser().getHotFixInfo({path});
    ASSERT_THAT(hotFixes, SizeIs(1));
    EXPECT_EQ(hotFixes[0].repost, GetParam().repost);
}

INSTANTIATE_TEST_SUITE_P(CatalogParser, RepostItem,
                         testing::Values(Repost{"Yes", "<repost>YES</repost>", true},
                                         Repost{"SmallLetters", "<repost>yes</repost>", false},
                                         Repost{"MixedLetters", "<repost>Yes</repost>", false},
                                         Repost{"LeadingBlank", "<repost> YES</repost>", false},
                                         Repost{"TrailingBlank", "<repost>YES </repost>", false},
                                         Repost{"No", "<repost>NO</repost>", false},
                                         Repost{"EmptyElement", "<repost/>", false},
                                         Repost{"Absent", "", false}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(HotFixCatalog, HotFixesStandInFileThenDocumentOrder) {
    const std::string none = catalogFile("/tmp/1.xml", productCatalog(configuration, serverPackage, ""));
    const std::string two = catalogFile("/tmp/2.xml", productCatalog("", "", hotFix("z") + hotFix("a")));
    const std::string one = catalogFile("/tmp/3.xml", productCatalog("", "", hotFix("m")));
    EXPECT_THAT(namesOf(CatalogParser().getHotFixInfo({none, two, "/tmp/no such file.xml", one})),
                ElementsAre("z", "a", "m"));
}

TEST(HotFixCatalog, PackagesElsewhereInTheDocumentAreNotRead) {
    const std::string path = catalogFile(
        "/tmp/c.xml", productCatalog(hotFix("in the configuration"), hotFix("in the full packages"), ""));
    EXPECT_THAT(CatalogParser().getHotFixInfo({path}), IsEmpty());
}

TEST(HotFixCatalog, HotFixListGrowsWithEveryCall) {
    const std::string path = catalogFile("/tmp/c.xml", productCatalog("", "", hotFix("a") + hotFix("b")));
    CatalogParser parser;
    EXPECT_THAT(parser.getHotFixInfo({path}), SizeIs(2));
    EXPECT_THAT(parser.getHotFixInfo({path}), SizeIs(4));
    EXPECT_THAT(namesOf(parser.getHotFixList()), ElementsAre("a", "b", "a", "b"));
    EXPECT_THAT(parser.getProductList(), IsEmpty());
}

TEST(HotFixCatalog, FailureWhileReadingPassesOnAndAddsNothing) {
    const std::string path = catalogFile("/tmp/c.xml", productCatalog("", "", hotFix("a") + hotFix("b")));
    CatalogParser parser;
    DownloadController::getInstance();
    std::size_t failures = 0;
    while (parser.getHotFixList().empty()) {
        std::list<std::string> paths{path, path};
        const FailingAllocation failingAllocation(failures);
        try {
            parser.getHotFixInfo(std::move(paths));
        } catch (const std::bad_alloc &) {
            ++failures;
        }
    }
    EXPECT_GT(failures, 10U);
    // All of them at once, even where there was no memory for the answer.
    EXPECT_THAT(parser.getHotFixList(), SizeIs(4));
    EXPECT_THAT(traceMessages(), testing::Each("INFO : Getting Hotfix info\n"));
}

// Nobody could tell what is missing.
TEST(CatalogsWithoutXmlMemory, AreWholeOrKnownToBeCutShort) {
    const std::string text =
        reply(product("quaformac", catalog("r", "c1")), product("quaformac", catalog("r", "p1")));
    const std::string branding = catalogFile(
        "/tmp/dynamicbranding_maccat.xml", productCatalog("<cbrmsbuildno>7</cbrmsbuildno>", "", hotFix("a")));
    const std::string other = catalogFile(
        "/tmp/c.xml", productCatalog(configuration, R"(<server_package name="b"/>)", hotFix("b")));
    const QuietOutput quietOutput;
    testing::internal::CaptureStderr();
    bool reached = true;
    for (std::size_t allocation = 0; reached; ++allocation) {
        DownloadController::releaseInstance();
        DownloadController *controller = DownloadController::getInstance();
        CatalogParser parser;
        const FailingXmlAllocation failing(allocation);
        const CatalogUrls urls = catalogUrlsOf(parser, text);
        const bool isReplyRead = urls.core == Texts{"r/c1.xml"} && urls.partner == Texts{"r/p1.xml"} &&
                                 controller->getCoreReleaseVer() == "7";
        EXPECT_NE(parser.isCutShort(), isReplyRead) << allocation;
        if (parser.isCutShort())
            continue;
        try {
            EXPECT_THAT(namesOf(parser.getHotFixInfo({branding, other})), ElementsAre("a", "b"))
                << allocation;
            EXPECT_EQ(controller->getCBRMSBuildNO(), "7") << allocation;
        } catch (const std::bad_alloc &) {
            EXPECT_THAT(parser.getHotFixList(), IsEmpty());
            continue;
        }
        EXPECT_NE(parser.isCutShort(), namesOf(parser.getProductInfo({other, other})) == (Texts{"b", "b"}))
            << allocation;
        reached = failing.happened();
    }
    testing::internal::GetCapturedStderr();
}

// Neither is the system's momentary trouble: another try would read no more of them.
TEST(CatalogFile, ThatNobodyCanReadIsEmptyAndStopsNoOther) {
    const std::string good =
        catalogFile("/tmp/c.xml", productCatalog("", R"(<server_package name="a"/>)", hotFix("a")));
    const std::string huge =
        catalogFile("/tmp/huge.xml", productCatalog("", "", hotFix("b") + std::string(11'000'000, 'x')));
    for (const std::string &unreadable : {huge, std::string("/proc/self/mem"), std::string("/tmp")}) {
        CatalogParser parser;
        DownloadController::getInstance();
        EXPECT_THAT(namesOf(parser.getHotFixInfo({good, unreadable, good})), ElementsAre("a", "a"))
            << unreadable;
        EXPECT_THAT(namesOf(parser.getProductInfo({good, unreadable, good})), ElementsAre("a", "", "a"))
            << unreadable;
        EXPECT_FALSE(parser.isCutShort()) << unreadable;
    }
}

TEST(CatalogFile, ThatCannotBeOpenedForAMomentIsNotEmpty) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer opens a pipe to look at an object";
#endif
    const std::string path = catalogFile("/tmp/c.xml", productCatalog("", "", hotFix("a")));
    CatalogParser parser;
    DownloadController::getInstance();
    const NoMoreFiles none;
    EXPECT_THROW(parser.getHotFixInfo({path}), std::bad_alloc);
    EXPECT_THAT(parser.getProductInfo({path}), IsEmpty());
    EXPECT_TRUE(parser.isCutShort());
}

TEST(HotFixCatalog, HundredThousandHotFixesTakeLinearTime) {
    constexpr std::size_t count = 100'000;
    const std::string path = catalogFile(
        "/tmp/c.xml", productCatalog("", "", repeated(hotFix("a") + "\n", count - 1) + hotFix("last")));
    const std::vector<HotFixPackageInfo> hotFixes = CatalogParser().getHotFixInfo({path});
    ASSERT_THAT(hotFixes, SizeIs(count));
    EXPECT_EQ(hotFixes.front().name, "a");
    EXPECT_EQ(hotFixes.back().name, "last");
}

TEST(HotFixCatalog, FortyMegabytesLoseNothing) {
    constexpr std::size_t count = 4'000;
    const std::string url(10'000, 'u');
    const std::string path = catalogFile(
        "/tmp/c.xml", productCatalog("", "", repeated(element("hf_package", element("url", url)), count)));
    const std::vector<HotFixPackageInfo> hotFixes = CatalogParser().getHotFixInfo({path});
    ASSERT_THAT(hotFixes, SizeIs(count));
    EXPECT_TRUE(hotFixes.back().url == url);
}

class BadCatalog : public testing::TestWithParam<BadText> {};

TEST_P(BadCatalog, GivesNoHotFixAndDoesNotStopTheOthers) {
    const std::string bad = catalogFile("/tmp/bad.xml", GetParam().text());
    const std::string good = catalogFile("/tmp/good.xml", productCatalog("", serverPackage, hotFix("a")));
    CatalogParser parser;
    EXPECT_THAT(namesOf(parser.getHotFixInfo({bad, good})), ElementsAre("a"));
    EXPECT_THAT(namesOf(parser.getProductInfo({bad, good})), ElementsAre("", "Full.pkg"));
}

std::string wholeCatalog() {
    return productCatalog(configuration, serverPackage, hotFix("never"));
}

INSTANTIATE_TEST_SUITE_P(
    CatalogParser, BadCatalog,
    testing::Values(
        BadText{"Empty", [] { return std::string(); }},
        BadText{"NotXml", [] { return std::string("404 Not Found"); }},
        BadText{"BinaryBytes", [] { return std::string("\xFF\xFE\x01\x02"); }},
        BadText{"CutInTheMiddle", [] { return wholeCatalog().substr(0, wholeCatalog().size() / 2); }},
        BadText{"CutBeforeTheLastCharacter",
                [] { return wholeCatalog().substr(0, wholeCatalog().size() - 1); }},
        BadText{"OtherDocument", [] { return std::string("<html><body><p>error</p></body></html>"); }},
        BadText{"DefaultNamespace",
                [] {
                    return "<product_catalog xmlns=\"urn:other\">" +
                           wholeCatalog().substr(wholeCatalog().find('>') + 1);
                }},
        BadText{"HugelyNested", [] { return repeated("<product_catalog>", 200'000); }},
        BadText{"EntityFlood",
                [] { return entityFlood("product_catalog", "<product_catalog>&e9;</product_catalog>"); }},
        BadText{"ManyMegabytesOfText", [] { return repeated(std::string(1'000'000, 'x'), 40); }}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(HotFixCatalog, EntityFloodInAnItemEndsInTime) {
    const std::string path = catalogFile(
        "/tmp/c.xml",
        entityFlood("product_catalog",
                    productCatalog("", "", repeated(element("hf_package", "<url>&e9;</url>"), 100))));
    std::size_t total = 0;
    for (const HotFixPackageInfo &hotFix : CatalogParser().getHotFixInfo({path}))
        total += hotFix.url.size();
    EXPECT_LT(total, 100'000'000U);
}

TEST(HotFixCatalog, ExternalEntityIsNotRead) {
    writeText("/tmp/secret", "stolen");
    const std::string path =
        catalogFile("/tmp/c.xml", "<!DOCTYPE product_catalog [<!ENTITY file SYSTEM 'file:///tmp/secret'>]>" +
                                      productCatalog("", "", hotFix("<b/>&file;") + hotFix("&file;")));
    for (const HotFixPackageInfo &hotFix : CatalogParser().getHotFixInfo({path}))
        EXPECT_EQ(hotFix.name, "");
}

// --- dynamic branding
// ---------------------------------------------------------------------------------------

struct Branding {
    const char *name;
    const char *path;
    const char *configuration;
    const char *buildNo;
};

class DynamicBrandingCatalog : public testing::TestWithParam<Branding> {
protected:
    DynamicBrandingCatalog() {
        catalogFile(GetParam().path, productCatalog(GetParam().configuration, "", ""));
    }

    static std::string buildNo() { return DownloadController::getInstance()->getCBRMSBuildNO(); }
};

TEST_P(DynamicBrandingCatalog, GivesTheBuildNumber) {
    CatalogParser().setCBRMSBuildNoFromDynamicBrandingCatalog(GetParam().path);
    EXPECT_EQ(buildNo(), GetParam().buildNo);
}

TEST_P(DynamicBrandingCatalog, GivesTheBuildNumberWhenProductsAreRead) {
    CatalogParser().getProductInfo({GetParam().path});
    EXPECT_EQ(buildNo(), GetParam().buildNo);
}

TEST_P(DynamicBrandingCatalog, GivesTheBuildNumberWhenHotFixesAreRead) {
    CatalogParser().getHotFixInfo({GetParam().path});
    EXPECT_EQ(buildNo(), GetParam().buildNo);
}

INSTANTIATE_TEST_SUITE_P(
    CatalogParser, DynamicBrandingCatalog,
    testing::Values(Branding{"OfItsFileName", "/tmp/C/dynamicbranding_maccat.xml",
                             "<cbrmsbuildno>17</cbrmsbuildno>", "17"},
                    Branding{"NameAnywhereInThePath", "/tmp/dynamicbranding_maccat.xml.d/other.xml",
                             "<cbrmsbuildno>17</cbrmsbuildno>", "17"},
                    Branding{"OtherFileNameSetsNothing", "/tmp/C/other_maccat.xml",
                             "<cbrmsbuildno>17</cbrmsbuildno>", "0"},
                    Branding{"LetterCaseOfTheNameCounts", "/tmp/C/DynamicBranding_MacCat.xml",
                             "<cbrmsbuildno>17</cbrmsbuildno>", "0"},
                    Branding{"AbsentElementSetsNothing", "/tmp/C/dynamicbranding_maccat.xml", "", "0"},
                    Branding{"TwoElementsSetNothing", "/tmp/C/dynamicbranding_maccat.xml",
                             "<cbrmsbuildno>17</cbrmsbuildno><cbrmsbuildno>18</cbrmsbuildno>", "0"},
                    Branding{"EmptyElementSetsEmptyText", "/tmp/C/dynamicbranding_maccat.xml",
                             "<cbrmsbuildno/>", ""}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(DynamicBranding, MissingCatalogSetsNothing) {
    CatalogParser().setCBRMSBuildNoFromDynamicBrandingCatalog("/tmp/dynamicbranding_maccat.xml");
    EXPECT_EQ(DownloadController::getInstance()->getCBRMSBuildNO(), "0");
}

TEST(DynamicBranding, CatalogStillGivesAProduct) {
    const std::string path = catalogFile("/tmp/dynamicbranding_maccat.xml",
                                         productCatalog("<cbrmsbuildno>17</cbrmsbuildno>", "", ""));
    EXPECT_THAT(namesOf(CatalogParser().getProductInfo({path})), ElementsAre(""));
}

TEST(DynamicBranding, EveryFileIsLoadedOnceForItWhateverItsName) {
    testing::internal::CaptureStderr();
    CatalogParser().setCBRMSBuildNoFromDynamicBrandingCatalog("/tmp/missing.xml");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: unable to parse file \"/tmp/missing.xml\"\n");
}

} // namespace
