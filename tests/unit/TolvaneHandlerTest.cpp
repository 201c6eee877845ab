#include "TolvaneHandler.h"

#include <cstdarg>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <stdexcept>

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <libxml/parser.h>

#include "CBkModuleClnt.h"
#include "CIPtr.h"
#include "FailingFileCall.h"
#include "ISubInfo.h"
#include "SubscriptionDatabase.h"
#include "TextFile.h"
#include "Trace.h"
#include "TraceFile.h"

namespace {

// --- libcurl and libxml2 as these tests want them: the linker leads the engine's calls here first

struct Curl {
    bool givesNoHandle = false;
    std::optional<CURLoption> refusedOption;
    // In place of a transfer; a real one without it.
    std::function<CURLcode()> perform;

    std::vector<CURLoption> options;
    std::map<CURLoption, long> numbers;
    std::map<CURLoption, std::string> texts;
    std::vector<std::string> headers;
    curl_write_callback writeFunction = nullptr;
    void *writeData = nullptr;
};

Curl spy;
// How many more XML files can be read before one cannot; all can while it is negative.
int parsesUntilFailure = -1;

} // namespace

extern "C" {
CURL *__real_curl_easy_init();
CURL *__wrap_curl_easy_init();
CURL *__wrap_curl_easy_init() {
    return spy.givesNoHandle ? nullptr : __real_curl_easy_init();
}

CURLcode __real_curl_easy_setopt(CURL *handle, CURLoption option, ...);
// An enumeration may not stand before variable arguments in C++; its number is passed in the same way.
CURLcode __wrap_curl_easy_setopt(CURL *handle, unsigned int number, ...);
CURLcode __wrap_curl_easy_setopt(CURL *handle, unsigned int number, ...) {
    const auto option = static_cast<CURLoption>(number);
    spy.options.push_back(option);
    if (option == spy.refusedOption)
        return CURLE_OUT_OF_MEMORY;
    std::va_list arguments;
    va_start(arguments, number);
    CURLcode result = CURLE_OK;
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        spy.numbers[option] = va_arg(arguments, long);
        result = __real_curl_easy_setopt(handle, option, spy.numbers[option]);
    } else {
        void *value = va_arg(arguments, void *);
        if (option == CURLOPT_URL || option == CURLOPT_POSTFIELDS)
            spy.texts[option] = static_cast<const char *>(value);
        if (option == CURLOPT_HTTPHEADER) {
            for (const auto *line = static_cast<curl_slist *>(value); line != nullptr; line = line->next)
                spy.headers.emplace_back(line->data);
        }
        if (option == CURLOPT_WRITEFUNCTION)
            spy.writeFunction = reinterpret_cast<curl_write_callback>(value);
        if (option == CURLOPT_WRITEDATA)
            spy.writeData = value;
        result = __real_curl_easy_setopt(handle, option, value);
    }
    va_end(arguments);
    return result;
}

CURLcode __real_curl_easy_perform(CURL *handle);
CURLcode __wrap_curl_easy_perform(CURL *handle);
CURLcode __wrap_curl_easy_perform(CURL *handle) {
    return spy.perform ? spy.perform() : __real_curl_easy_perform(handle);
}

xmlDocPtr __real_xmlCtxtReadIO(xmlParserCtxtPtr parser, xmlInputReadCallback read, xmlInputCloseCallback end,
                               void *source, const char *url, const char *encoding, int options);
xmlDocPtr __wrap_xmlCtxtReadIO(xmlParserCtxtPtr parser, xmlInputReadCallback read, xmlInputCloseCallback end,
                               void *source, const char *url, const char *encoding, int options);
xmlDocPtr __wrap_xmlCtxtReadIO(xmlParserCtxtPtr parser, xmlInputReadCallback read, xmlInputCloseCallback end,
                               void *source, const char *url, const char *encoding, int options) {
    // Of files only.
    if (url != nullptr && parsesUntilFailure >= 0 && parsesUntilFailure-- == 0)
        return nullptr;
    return __real_xmlCtxtReadIO(parser, read, end, source, url, encoding, options);
}
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What the service answers: the transfer succeeds and hands this over.
void serviceAnswers(const std::string &reply, CURLcode result = CURLE_OK) {
    spy.perform = [reply, result] {
        std::string copy = reply;
        spy.writeFunction(copy.data(), 1, copy.size(), spy.writeData);
        return result;
    };
}

std::string element(const std::string &name, const std::string &text) {
    return "<" + name + ">" + text + "</" + name + ">";
}

void writePropertyList(const std::string &entries) {
    writeText(configurationPlistPath, "<plist version=\"1.0\"><dict>" + entries + "</dict></plist>");
}

std::string plistEntry(const std::string &key, const std::string &text) {
    return element("key", key) + element("string", text);
}

const std::string xmlDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

std::string productConfig(const std::string &elements) {
    return xmlDeclaration + "<ProductConfiguration>\n" + elements + "\n</ProductConfiguration>\n";
}

void writeProductConfig(const std::string &elements) {
    writeText(strProductconfigXml, productConfig(elements));
}

bool markerExists() {
    return std::filesystem::exists(appIdMarkerPath);
}

void subscriptionHolds(const std::string &data) {
    installSubscriptionDatabase(SUBSCRIPTION_DATABASE, data);
}

std::string nodeWith(const std::string &name, const std::string &value) {
    return "section 4\nnode\nfield " + name + " " + value + "\n";
}

const std::string subscriptionUntouched;
const std::string askedOnce = "loaded\nunloaded, owed 0\n";
const std::string askedTwice = askedOnce + askedOnce;

class Tolvane : public testing::Test {
protected:
    Tolvane() { openTrace(); }

    // The request for an update that is sent, whatever is answered.
    std::string updateRequest() {
        serviceAnswers("");
        handler.sendTolvaneUpdateRequest("1.0.0.5", "105-1", "7");
        return spy.texts[CURLOPT_POSTFIELDS];
    }

    TolvaneHandler handler;
};

std::string body(const std::string &affId, const std::string &relName, const std::string &coreRelVer,
                 const std::string &products, const std::string &partnerRelVer) {
    return R"(<?xml  version="1.0" encoding="utf-8"?><productrequest><shared/><pkglist>)"
           R"(<package class="macdefault"><metadata><affid>)" +
           affId +
           R"(</affid><langid>en-us</langid><macos><version>10.8.5</version></macos></metadata>)"
           R"(<products relname=")" +
           relName + R"(" relver=")" + coreRelVer + R"(">)" + products + R"(</products><partner affid=")" +
           affId + R"(" relname=")" + relName + R"(" relver=")" + partnerRelVer +
           R"("></partner></package></pkglist></productrequest>)";
}

const std::string oneProduct = R"(<product appid="quaformac"/>)";

// --- constants

TEST(TolvaneConstants, NameTheServiceAndItsReply) {
    EXPECT_EQ(updateRequestURL, "https://update.brovik.example/velbrin/1.0.0.0/?reqtype=mac_update");
    EXPECT_EQ(freshInstallRequestURL, "https://update.brovik.example/velbrin/1.0.0.0/?reqtype=mac_web");
    EXPECT_EQ(keyProductResponse, "/productresponse");
    EXPECT_EQ(keyResponseStatus, "status");
    EXPECT_EQ(keyTolvaneErrorCode, "/productresponse/error/errorcode");
    EXPECT_EQ(keyTolvaneErrorDetails, "/productresponse/error/errordetail");
    EXPECT_EQ(freshInstallTolvaneResponseCachePath, "/tmp/mac_velbrin_response.xml");
    EXPECT_EQ(updateTolvaneResponseCachePath, "/tmp/mac_velbrin_update_response.xml");
    EXPECT_EQ(strProductconfigXml, "/usr/local/Brovik/ProductConfig.xml");
}

// --- the request body

TEST_F(Tolvane, BuildsTheFreshInstallRequestByteForByte) {
    writePropertyList(plistEntry("AffID", "105") + plistEntry("AppID", "quaformac,qusformac"));
    EXPECT_EQ(handler.getTolvaneRequestBody(),
              "<?xml  version=\"1.0\" encoding=\"utf-8\"?><productrequest><shared/><pkglist><package "
              "class=\"macdefault\"><metadata><affid>105</affid><langid>en-us</"
              "langid><macos><version>10.8.5</version>"
              "</macos></metadata><products relname=\"basicmac3.3\" relver=\"\"><product "
              "appid=\"quaformac\"/><product "
              "appid=\"qusformac\"/></products><partner affid=\"105\" relname=\"basicmac3.3\" "
              "relver=\"\"></partner></package></pkglist></productrequest>");
}

TEST_F(Tolvane, BuildsTheUpdateRequestByteForByte) {
    writeProductConfig(element("AppID", "quaformac") + element("CoreRelVer", "12") +
                       element("PartnerRelVer", "34") + element("ReleaseName", "basicmac4"));
    EXPECT_EQ(
        updateRequest(),
        "<?xml  version=\"1.0\" encoding=\"utf-8\"?><productrequest><shared/><pkglist><package "
        "class=\"macdefault\"><metadata><affid>105-1</affid><langid>en-us</langid><macos><version>10.8.5"
        "</version></macos></metadata><products relname=\"basicmac4\" relver=\"12\"><product "
        "appid=\"quaformac\"/></products><partner affid=\"105-1\" relname=\"basicmac4\" "
        "relver=\"34\"></partner></package></pkglist></productrequest>");
}

TEST_F(Tolvane, TracesHowTheFreshInstallBodyIsMade) {
    handler.getTolvaneRequestBody();
    EXPECT_THAT(traceMessages(), ElementsAre("INFO : Tolvane Handler - Creating Tolvane request body\n",
                                             "INFO : Getting Local,Affid,AppId from configuration.plist\n",
                                             "INFO : Getting OS version\n"));
}

TEST_F(Tolvane, PutsValuesInAsTheyAre) {
    writePropertyList(plistEntry("AffID", "a&amp;b&lt;c&gt;\"d") + plistEntry("AppID", "x&amp;y"));
    EXPECT_EQ(handler.getTolvaneRequestBody(),
              body("a&b<c>\"d", "basicmac3.3", "", "<product appid=\"x&y\"/>", ""));
}

TEST_F(Tolvane, AsksForOneProductPerApplicationId) {
    writePropertyList(plistEntry("AppID", "a,,b,"));
    EXPECT_EQ(
        handler.getTolvaneRequestBody(),
        body("", "basicmac3.3", "", "<product appid=\"a\"/><product appid=\"\"/><product appid=\"b\"/>", ""));
}

// --- the property list of a fresh install

struct Listed {
    const char *name;
    std::string entries;
    std::string affId;
    std::string products;
};

class TolvanePropertyList : public Tolvane, public testing::WithParamInterface<Listed> {};

TEST_P(TolvanePropertyList, GivesAffiliateAndApplicationIds) {
    writePropertyList(GetParam().entries);
    EXPECT_EQ(handler.getTolvaneRequestBody(),
              body(GetParam().affId, "basicmac3.3", "", GetParam().products, ""));
}

const std::string longestText(1023, 'x');
const std::string tooLongText(1024, 'x');

INSTANTIATE_TEST_SUITE_P(
    Entries, TolvanePropertyList,
    testing::Values(
        Listed{"Both", plistEntry("AffID", "105") + plistEntry("AppID", "quoformac"), "105",
               R"(<product appid="quoformac"/>)"},
        Listed{"NoAffiliate", plistEntry("AppID", "quoformac"), "", R"(<product appid="quoformac"/>)"},
        Listed{"NoApplication", plistEntry("AffID", "105"), "105", ""}, Listed{"Neither", "", "", ""},
        Listed{"EmptyTexts", plistEntry("AffID", "") + plistEntry("AppID", ""), "", ""},
        Listed{"OtherTypes",
               "<key>AffID</key><integer>105</integer>"
               "<key>AppID</key><array><string>quoformac</string></array>",
               "", ""},
        Listed{"LongestTexts", plistEntry("AffID", longestText) + plistEntry("AppID", longestText),
               longestText, "<product appid=\"" + longestText + "\"/>"},
        Listed{"TooLongTexts", plistEntry("AffID", tooLongText) + plistEntry("AppID", tooLongText), "", ""}),
    [](const auto &instance) { return instance.param.name; });

TEST_F(Tolvane, KeepsItsDefaultsWithoutThePropertyList) {
    std::filesystem::remove(configurationPlistPath);
    EXPECT_EQ(handler.getTolvaneRequestBody(), body("0", "basicmac3.3", "", oneProduct, ""));
}

struct BadList {
    const char *name;
    const char *text;
};

class TolvaneBadPropertyList : public Tolvane, public testing::WithParamInterface<BadList> {};

TEST_P(TolvaneBadPropertyList, LeavesTheDefaults) {
    writeText(configurationPlistPath, GetParam().text);
    EXPECT_EQ(handler.getTolvaneRequestBody(), body("0", "basicmac3.3", "", oneProduct, ""));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, TolvaneBadPropertyList,
    testing::Values(BadList{"Empty", ""},
                    BadList{"Cut", "<plist><dict><key>AffID</key><string>105</string><key>AppID</key><str"},
                    BadList{"Junk", "\x01\x02\xFF"},
                    BadList{"ArrayAsRoot", "<plist><array><string>AffID</string></array></plist>"}),
    [](const auto &instance) { return instance.param.name; });

TEST_F(Tolvane, KeepsWhatItHasWhenThePropertyListGoesAway) {
    writePropertyList(plistEntry("AffID", "105") + plistEntry("AppID", "quoformac"));
    handler.getRequestParameterFromConfigurationPlist();
    std::filesystem::remove(configurationPlistPath);
    EXPECT_EQ(handler.getTolvaneRequestBody(),
              body("105", "basicmac3.3", "", R"(<product appid="quoformac"/>)", ""));
}

// --- the product configuration of an update

TEST_F(Tolvane, KeepsTheReleaseVersionsThatTheConfigurationLacks) {
    writeProductConfig(element("AppID", "quaformac") + element("ReleaseName", "basicmac4"));
    EXPECT_EQ(updateRequest(), body("105-1", "basicmac4", "7", oneProduct, ""));
}

TEST_F(Tolvane, KeepsTheReleaseVersionsThatTheConfigurationLeavesEmpty) {
    writeProductConfig(element("AppID", "quaformac") + "<CoreRelVer/><PartnerRelVer></PartnerRelVer>" +
                       element("ReleaseName", "basicmac4"));
    EXPECT_EQ(updateRequest(), body("105-1", "basicmac4", "7", oneProduct, ""));
}

TEST_F(Tolvane, TracesHowTheUpdateBodyIsMade) {
    updateRequest();
    const std::string request = spy.texts[CURLOPT_POSTFIELDS];
    EXPECT_THAT(
        traceMessages(),
        ElementsAre("INFO: Enter sendTolvaneUpdateRequest\n",
                    "INFO : Tolvane Handler - Creating Tolvane request body\n", "INFO : Getting OS version\n",
                    "INFO : TolvaneHandler - getRequestParameterFromProductConfigXmlForUpdate\n",
                    "INFO :Tolvane Request - " + request + "\n",
                    "INFO :Tolvane Handler - sendTolvaneRequest\n",
                    "Tolvane Handler : INFO Velbrim http code = 0\n", "INFO :Tolvane Response - \n",
                    "INFO : Processing Tolvane Response\n", "INFO : TolvaneHandler - Update Available\n"));
}

struct ReleaseName {
    const char *name;
    const char *elements;
    const char *relName;
};

class TolvaneReleaseName : public Tolvane, public testing::WithParamInterface<ReleaseName> {};

TEST_P(TolvaneReleaseName, IsReadFromTheConfiguration) {
    writeProductConfig(GetParam().elements);
    EXPECT_EQ(handler.getRelNameFromProductConfig(), GetParam().relName);
}

INSTANTIATE_TEST_SUITE_P(
    Configurations, TolvaneReleaseName,
    testing::Values(ReleaseName{"Once", "<ReleaseName>basicmac4</ReleaseName>", "basicmac4"},
                    ReleaseName{"Missing", "<AppID>quaformac</AppID>", "legacy"},
                    ReleaseName{"Empty", "<ReleaseName/>", "legacy"},
                    ReleaseName{"Twice", "<ReleaseName>a</ReleaseName><ReleaseName>b</ReleaseName>",
                                "legacy"},
                    ReleaseName{"BelowAnotherElement", "<X><ReleaseName>a</ReleaseName></X>", "legacy"}),
    [](const auto &instance) { return instance.param.name; });

TEST_F(Tolvane, CallsAReleaseWithoutConfigurationLegacy) {
    std::filesystem::remove(strProductconfigXml);
    EXPECT_EQ(handler.getRelNameFromProductConfig(), "legacy");
}

// --- reconciling the application id

TEST_F(Tolvane, CorrectsTheApplicationIdFromTheSubscription) {
    writeProductConfig(element("AppID", "quiformac") + "\n  " + element("CoreRelVer", "1"));
    subscriptionHolds(nodeWith("pkg_id", "398") + nodeWith("flex_pkg_id", "395"));
    EXPECT_EQ(updateRequest(), body("105-1", "legacy", "1", R"(<product appid="queformac"/>)", ""));
    EXPECT_EQ(readText(strProductconfigXml),
              productConfig(element("AppID", "queformac") + "\n  " + element("CoreRelVer", "1")));
    EXPECT_TRUE(markerExists());
    EXPECT_EQ(readText(appIdMarkerPath), "");
    EXPECT_EQ(subscriptionLog(), askedTwice);
}

TEST_F(Tolvane, TracesTheCorrectionOfTheApplicationId) {
    writeProductConfig(element("AppID", "quiformac"));
    subscriptionHolds(nodeWith("pkg_id", "398") + nodeWith("flex_pkg_id", "395"));
    handler.getRequestParameterFromProductConfigXmlForUpdate();
    EXPECT_THAT(
        traceMessages(),
        ElementsAre("INFO : TolvaneHandler - getRequestParameterFromProductConfigXmlForUpdate\n",
                    "INFO : TolvaneHandler - getAppIdForExistingCustomer from db\n",
                    "INFO : TolvaneHandler - geting AppId For for PackageId=398\n",
                    "INFO : TolvaneHandler - FlexPackage Id = 395\n",
                    "INFO: Updating Productconfig.xml with AppID element and its value queformac .\n",
                    "INFO: Updated Productconfig.xml with AppID element and its value queformac .\n"));
}

TEST_F(Tolvane, AsksTheSubscriptionOnlyOnce) {
    writeProductConfig(element("AppID", "quiformac"));
    subscriptionHolds(nodeWith("pkg_id", "433"));
    updateRequest();
    subscriptionHolds(nodeWith("pkg_id", "446"));
    EXPECT_EQ(updateRequest(), body("105-1", "legacy", "7", R"(<product appid="quoformac"/>)", ""));
    EXPECT_EQ(subscriptionLog(), askedOnce);
}

TEST_F(Tolvane, AsksTheSubscriptionAgainOnceTheMarkerIsGone) {
    writeProductConfig(element("AppID", "quiformac"));
    writeText(appIdMarkerPath, "");
    subscriptionHolds(nodeWith("pkg_id", "433"));
    EXPECT_EQ(updateRequest(), body("105-1", "legacy", "7", R"(<product appid="quiformac"/>)", ""));
    EXPECT_EQ(subscriptionLog(), subscriptionUntouched);
    std::filesystem::remove(appIdMarkerPath);
    EXPECT_EQ(updateRequest(), body("105-1", "legacy", "7", R"(<product appid="quoformac"/>)", ""));
    EXPECT_EQ(subscriptionLog(), askedOnce);
}

struct Settled {
    const char *name;
    const char *appId;
    const char *products;
};

class TolvaneSettledAppId : public Tolvane, public testing::WithParamInterface<Settled> {};

TEST_P(TolvaneSettledAppId, IsNotLookedUp) {
    writeProductConfig(element("AppID", GetParam().appId));
    subscriptionHolds(nodeWith("pkg_id", "433"));
    EXPECT_EQ(updateRequest(), body("105-1", "legacy", "7", GetParam().products, ""));
    EXPECT_EQ(subscriptionLog(), subscriptionUntouched);
    EXPECT_FALSE(markerExists());
}

INSTANTIATE_TEST_SUITE_P(
    AppIds, TolvaneSettledAppId,
    testing::Values(Settled{"AnotherEdition", "quaformac", R"(<product appid="quaformac"/>)"},
                    Settled{"SeveralEditions", "quaformac,qusformac",
                            R"(<product appid="quaformac"/><product appid="qusformac"/>)"},
                    Settled{"SeveralWithADecidedOne", "quiformac,qusformac",
                            R"(<product appid="quiformac"/><product appid="qusformac"/>)"},
                    Settled{"OtherCase", "QUIFORMAC", R"(<product appid="QUIFORMAC"/>)"}),
    [](const auto &instance) { return instance.param.name; });

class TolvaneUnsettledAppId : public Tolvane, public testing::WithParamInterface<Settled> {};

TEST_P(TolvaneUnsettledAppId, IsLookedUp) {
    writeProductConfig(GetParam().appId);
    subscriptionHolds(nodeWith("pkg_id", "433"));
    EXPECT_EQ(updateRequest(), body("105-1", "legacy", "7", R"(<product appid="quoformac"/>)", ""));
    EXPECT_EQ(subscriptionLog(), askedOnce);
    EXPECT_TRUE(markerExists());
}

INSTANTIATE_TEST_SUITE_P(AppIds, TolvaneUnsettledAppId,
                         testing::Values(Settled{"FirstEdition", "<AppID>quiformac</AppID>", ""},
                                         Settled{"SecondEdition", "<AppID>queformac</AppID>", ""},
                                         Settled{"Missing", "<AffID>105</AffID>", ""},
                                         Settled{"Empty", "<AppID/>", ""},
                                         Settled{"Twice", "<AppID>a</AppID><AppID>b</AppID>", ""}),
                         [](const auto &instance) { return instance.param.name; });

TEST_F(Tolvane, AppendsAnApplicationIdThatTheConfigurationLacks) {
    writeProductConfig("  <CoreRelVer>1</CoreRelVer>");
    subscriptionHolds(nodeWith("pkg_id", "433"));
    updateRequest();
    EXPECT_THAT(readText(strProductconfigXml), testing::HasSubstr("<AppID>quoformac</AppID>"));
}

TEST_F(Tolvane, LeavesTheConfigurationAloneWhenTheSubscriptionAgrees) {
    writeProductConfig(element("AppID", "quiformac"));
    subscriptionHolds(nodeWith("pkg_id", "446"));
    updateRequest();
    EXPECT_EQ(readText(strProductconfigXml), productConfig(element("AppID", "quiformac")));
    EXPECT_TRUE(markerExists());
    EXPECT_THAT(traceText(), testing::Not(testing::HasSubstr("Updating Productconfig.xml")));
}

TEST_F(Tolvane, TriesAgainNextTimeWhenTheConfigurationCannotBeRewritten) {
    writeProductConfig(element("AppID", "quiformac"));
    subscriptionHolds(nodeWith("pkg_id", "433"));
    parsesUntilFailure = 2; // the request and the check for the element read it first
    handler.getRequestParameterFromProductConfigXmlForUpdate();
    EXPECT_THAT(traceText(),
                testing::HasSubstr("ERROR: Update Productconfig.xml with AppID element and its value "
                                   "quoformac Failed !\n"));
    EXPECT_FALSE(markerExists());
    EXPECT_EQ(readText(strProductconfigXml), productConfig(element("AppID", "quiformac")));

    EXPECT_EQ(updateRequest(), body("105-1", "legacy", "7", R"(<product appid="quoformac"/>)", ""));
    EXPECT_TRUE(markerExists());
}

TEST_F(Tolvane, AsksForTheCorrectedProductEvenWhenTheConfigurationCannotBeRewritten) {
    writeProductConfig(element("AppID", "quiformac"));
    subscriptionHolds(nodeWith("pkg_id", "433"));
    parsesUntilFailure = 3; // the release name is read from it too
    EXPECT_THAT(updateRequest(), testing::HasSubstr(R"(<product appid="quoformac"/>)"));
    EXPECT_FALSE(markerExists());
}

TEST_F(Tolvane, ChangesNothingWhenTheSubscriptionDoesNotTell) {
    writeProductConfig(element("AppID", "quiformac") + element("CoreRelVer", "12") +
                       element("PartnerRelVer", "34"));
    const std::string before = readText(strProductconfigXml);
    subscriptionHolds(nodeWith("pkg_id", "400"));
    EXPECT_EQ(updateRequest(), body("105-1", "legacy", "7", oneProduct, ""));
    EXPECT_FALSE(markerExists());
    EXPECT_EQ(readText(strProductconfigXml), before);
    EXPECT_THAT(traceMessages(), testing::Contains("ERROR : TolvaneHandler - ERROR Getting Appid\n"));
}

TEST_F(Tolvane, TracesThatTheSubscriptionDoesNotTell) {
    writeProductConfig(element("AppID", "quiformac"));
    handler.getRequestParameterFromProductConfigXmlForUpdate();
    EXPECT_THAT(traceMessages(),
                ElementsAre("INFO : TolvaneHandler - getRequestParameterFromProductConfigXmlForUpdate\n",
                            "INFO : TolvaneHandler - getAppIdForExistingCustomer from db\n",
                            "INFO : TolvaneHandler - geting AppId For for PackageId=0\n",
                            "ERROR : TolvaneHandler - ERROR Getting Appid\n"));
}

TEST_F(Tolvane, StoresAnEmptyApplicationIdWhenOnlyTheMarkerIsThere) {
    writeProductConfig(element("CoreRelVer", "12"));
    writeText(appIdMarkerPath, "");
    EXPECT_EQ(updateRequest(), body("105-1", "legacy", "12", "", ""));
    EXPECT_THAT(traceMessages(), testing::Contains("ERROR : TolvaneHandler - Not able to get AppID\n"));
    EXPECT_EQ(subscriptionLog(), subscriptionUntouched);
}

TEST_F(Tolvane, ChangesNothingWithoutConfigurationAndSubscription) {
    std::filesystem::remove(strProductconfigXml);
    EXPECT_EQ(updateRequest(), body("105-1", "legacy", "7", oneProduct, ""));
    EXPECT_THAT(traceMessages(), testing::Contains("ERROR : TolvaneHandler - ERROR Getting Appid\n"));
    EXPECT_FALSE(std::filesystem::exists(strProductconfigXml));
    EXPECT_FALSE(markerExists());
}

// --- the mapping of package ids

struct Mapping {
    int packageId;
    const char *appId;
};

class TolvanePackage : public Tolvane, public testing::WithParamInterface<Mapping> {};

TEST_P(TolvanePackage, HasAnApplicationId) {
    EXPECT_EQ(handler.getAppIdFromPkgId(GetParam().packageId), GetParam().appId);
    EXPECT_THAT(traceMessages(), ElementsAre("INFO : TolvaneHandler - geting AppId For for PackageId=" +
                                             std::to_string(GetParam().packageId) + "\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Ids, TolvanePackage,
    testing::Values(Mapping{356, "pxbasicformac"}, Mapping{358, "quaformac"}, Mapping{392, "quaformac"},
                    Mapping{413, "quaformac"}, Mapping{428, "pxquibasicformac"}, Mapping{433, "quoformac"},
                    Mapping{446, "quiformac"}, Mapping{456, "quiformac"}, Mapping{888, "pxquiteamformac"},
                    Mapping{999, "pxteamformac"}, Mapping{0, ""}, Mapping{357, ""}, Mapping{394, ""},
                    Mapping{395, ""}, Mapping{400, ""}, Mapping{-1, ""}, Mapping{1000, ""}),
    [](const auto &instance) {
        return instance.param.packageId < 0 ? "Minus1" : "Id" + std::to_string(instance.param.packageId);
    });

struct FlexibleMapping {
    const char *name;
    const char *value;
    int id;
    const char *appId;
};

class TolvaneFlexiblePackage : public Tolvane, public testing::WithParamInterface<FlexibleMapping> {};

TEST_P(TolvaneFlexiblePackage, DecidesFor398) {
    subscriptionHolds(nodeWith("flex_pkg_id", GetParam().value));
    EXPECT_EQ(handler.getAppIdFromPkgId(398), GetParam().appId);
    EXPECT_THAT(traceMessages(), ElementsAre("INFO : TolvaneHandler - geting AppId For for PackageId=398\n",
                                             "INFO : TolvaneHandler - FlexPackage Id = " +
                                                 std::to_string(GetParam().id) + "\n"));
}

INSTANTIATE_TEST_SUITE_P(Ids, TolvaneFlexiblePackage,
                         testing::Values(FlexibleMapping{"Lower", "394", 394, "queformac"},
                                         FlexibleMapping{"Upper", "395", 395, "queformac"},
                                         FlexibleMapping{"Below", "393", 393, "quiformac"},
                                         FlexibleMapping{"Above", "396", 396, "quiformac"},
                                         FlexibleMapping{"Zero", "0", 0, "quiformac"},
                                         FlexibleMapping{"FollowedByText", "394abc", 394, "queformac"}),
                         [](const auto &instance) { return instance.param.name; });

TEST_F(Tolvane, HasNoApplicationIdFor398WithoutAFlexibleId) {
    subscriptionHolds(nodeWith("pkg_id", "398"));
    EXPECT_EQ(handler.getAppIdFromPkgId(398), "");
    EXPECT_THAT(traceMessages(),
                ElementsAre("INFO : TolvaneHandler - geting AppId For for PackageId=398\n",
                            "ERROR : TolvaneHandler - Flex Package Id not found for package id - 398\n"));
}

TEST_F(Tolvane, MapsThePackageOfTheSubscription) {
    subscriptionHolds(nodeWith("pkg_id", "999"));
    EXPECT_EQ(handler.getAppIdForExistingCustomer(), "pxteamformac");
    EXPECT_THAT(traceMessages(), ElementsAre("INFO : TolvaneHandler - getAppIdForExistingCustomer from db\n",
                                             "INFO : TolvaneHandler - geting AppId For for PackageId=999\n"));
}

TEST_F(Tolvane, TakesAMissingPackageIdForZero) {
    subscriptionHolds(nodeWith("other", "999"));
    EXPECT_EQ(handler.getAppIdForExistingCustomer(), "");
    EXPECT_THAT(traceMessages(),
                testing::Contains("INFO : TolvaneHandler - geting AppId For for PackageId=0\n"));
}

TEST_F(Tolvane, EndsTheRequestAtAPackageIdThatIsNoNumber) {
    writeProductConfig(element("AppID", "quiformac"));
    subscriptionHolds(nodeWith("pkg_id", "none"));
    serviceAnswers("");
    EXPECT_THROW(handler.sendTolvaneUpdateRequest("1.0.0.5", "105-1", "7"), std::invalid_argument);
    EXPECT_EQ(spy.texts.count(CURLOPT_POSTFIELDS), 0U);
    EXPECT_FALSE(markerExists());
}

TEST_F(Tolvane, EndsTheRequestAtAPackageIdThatDoesNotFit) {
    subscriptionHolds(nodeWith("pkg_id", "99999999999"));
    EXPECT_THROW(handler.getAppIdForExistingCustomer(), std::out_of_range);
}

TEST_F(Tolvane, EndsTheRequestAtAFlexibleIdThatIsNoNumber) {
    subscriptionHolds(nodeWith("flex_pkg_id", "none"));
    EXPECT_THROW(handler.getAppIdFromPkgId(398), std::invalid_argument);
}

// --- the subscription database

struct Holding {
    const char *name;
    std::string data;
    std::string packageId;
};

class TolvaneSubscription : public Tolvane, public testing::WithParamInterface<Holding> {};

TEST_P(TolvaneSubscription, GivesThePackageIdAndIsReleased) {
    subscriptionHolds(GetParam().data);
    EXPECT_EQ(handler.getPackageIdFromDB(), GetParam().packageId);
    EXPECT_EQ(subscriptionLog(), askedOnce);
}

INSTANTIATE_TEST_SUITE_P(
    Data, TolvaneSubscription,
    testing::Values(
        Holding{"OneField", nodeWith("pkg_id", "398"), "398"},
        Holding{"AmongOtherFields", "section 4\nnode\nfield a 1\nfield pkg_id 398\nfield b 2\n", "398"},
        Holding{"InALaterNode", "section 4\nnode\nfield a 1\nnode\nfield pkg_id 398\n", "398"},
        Holding{"LastNodeWins", "section 4\nnode\nfield pkg_id 1\nnode\nfield pkg_id 2\nnode\nfield a 3\n",
                "2"},
        Holding{"FirstFieldOfANodeWins", "section 4\nnode\nfield pkg_id 1\nfield pkg_id 2\n", "1"},
        Holding{"LastNodeWinsEvenWhenEmpty", "section 4\nnode\nfield pkg_id 1\nnode\nfield pkg_id\n", ""},
        Holding{"OtherNamesDoNotCount",
                "section 4\nnode\nfield PKG_ID 1\nfield pkg_id2 2\nfield pkg_i 3\nfield flex_pkg_id 4\n", ""},
        Holding{"NoField", "section 4\nnode\nnode\n", ""},
        Holding{"OtherSectionsDoNotCount",
                "section 3\nnode\nfield pkg_id 3\nsection 4\nnode\nsection 5\nnode\nfield pkg_id 5\n", ""},
        Holding{"NoSection", "", ""},
        Holding{"ValueThatFillsTheBuffer", nodeWith("pkg_id", std::string(300, '1')), std::string(300, '1')},
        Holding{"ValueBeyondTheBuffer", nodeWith("pkg_id", std::string(5000, '1')), std::string(300, '1')},
        Holding{"NameBeyondTheBuffer", nodeWith("pkg_id" + std::string(5000, 'x'), "1"), ""},
        Holding{"NegativeReader", "reader-result -1\n" + nodeWith("pkg_id", "398"), ""},
        Holding{"PositiveReader", "reader-result 1\n" + nodeWith("pkg_id", "398"), "398"},
        Holding{"NullReader", "no-reader\n" + nodeWith("pkg_id", "398"), ""},
        Holding{"NegativeSubInfo", "subinfo-result -1\n" + nodeWith("pkg_id", "398"), ""},
        Holding{"NullSubInfo", "no-subinfo\n" + nodeWith("pkg_id", "398"), ""},
        Holding{"FailingEntry", "gcf-result 1\n" + nodeWith("pkg_id", "398"), ""},
        Holding{"NullFactory", "no-factory\n" + nodeWith("pkg_id", "398"), ""}),
    [](const auto &instance) { return instance.param.name; });

TEST_F(Tolvane, GivesTheFlexiblePackageId) {
    subscriptionHolds("section 4\nnode\nfield pkg_id 398\nfield flex_pkg_id 394\n");
    EXPECT_EQ(handler.getFlexPackageIdFromDB(), "394");
    EXPECT_EQ(subscriptionLog(), askedOnce);
}

TEST_F(Tolvane, GivesNoPackageIdWithoutTheLibrary) {
    EXPECT_EQ(handler.getPackageIdFromDB(), "");
    EXPECT_EQ(handler.getFlexPackageIdFromDB(), "");
}

TEST_F(Tolvane, GivesNoPackageIdWithoutTheLibrarysEntry) {
    installSubscriptionDatabase(SUBSCRIPTION_DATABASE_WITHOUT_ENTRY, nodeWith("pkg_id", "398"));
    EXPECT_EQ(handler.getPackageIdFromDB(), "");
    EXPECT_EQ(subscriptionLog(), askedOnce);
}

TEST_F(Tolvane, GivesNoPackageIdWhenTheLibraryIsNone) {
    writeText(subscriptionLibraryPath, "not a library");
    EXPECT_EQ(handler.getPackageIdFromDB(), "");
}

TEST_F(Tolvane, ObtainsTheSubscriptionInformation) {
    subscriptionHolds("");
    CBkModuleClnt client;
    CIPtr<ISubInfo> subInfo;
    EXPECT_TRUE(handler._CreateSubInfo(subInfo.receive(), client));
    EXPECT_TRUE(subInfo);
}

TEST_F(Tolvane, ObtainsNoSubscriptionInformationWithoutTheLibrary) {
    CBkModuleClnt client;
    CIPtr<ISubInfo> subInfo;
    EXPECT_FALSE(handler._CreateSubInfo(subInfo.receive(), client));
    EXPECT_FALSE(subInfo);
}

// --- the operating system's version

TEST_F(Tolvane, TellsTheOperatingSystemsVersionInThreeNumbers) {
    const std::string systemVersion = "/System/Library/CoreServices/SystemVersion.plist";
    EXPECT_EQ(handler.getOSVersion(), "10.8.5");
    writeText(systemVersion, "<plist><dict><key>ProductVersion</key><string>10.8</string></dict></plist>");
    EXPECT_EQ(handler.getOSVersion(), "10.8.0");
    EXPECT_THAT(traceMessages(), ElementsAre("INFO : Getting OS version\n", "INFO : Getting OS version\n"));
}

// --- splitting texts

struct Split {
    const char *name;
    const char *text;
    std::vector<std::string> pieces;
};

class TolvaneSplit : public Tolvane, public testing::WithParamInterface<Split> {};

TEST_P(TolvaneSplit, AppendsThePieces) {
    std::vector<std::string> pieces = {"before"};
    handler.splitString(GetParam().text, ',', pieces);
    std::vector<std::string> expected = {"before"};
    expected.insert(expected.end(), GetParam().pieces.begin(), GetParam().pieces.end());
    EXPECT_EQ(pieces, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, TolvaneSplit,
    testing::Values(Split{"Empty", "", {}}, Split{"One", "a", {"a"}}, Split{"Two", "a,b", {"a", "b"}},
                    Split{"EmptyBetween", "a,,b", {"a", "", "b"}},
                    Split{"DelimiterAtTheEnd", "a,b,", {"a", "b"}}, Split{"TwoAtTheEnd", "a,,", {"a", ""}},
                    Split{"DelimiterAtTheStart", ",a", {"", "a"}}, Split{"DelimiterAlone", ",", {""}},
                    Split{"BlanksStay", " a , b", {" a ", " b"}}),
    [](const auto &instance) { return instance.param.name; });

// --- collecting the reply

TEST(TolvaneWriteData, AppendsTheBytes) {
    std::string output = "a";
    EXPECT_EQ(TolvaneHandler::write_data("b\0c", 1, 3, &output), 3U);
    EXPECT_EQ(output, std::string("ab\0c", 4));
    EXPECT_EQ(TolvaneHandler::write_data("defg", 2, 2, &output), 4U);
    EXPECT_EQ(output, std::string("ab\0cdefg", 8));
    EXPECT_EQ(TolvaneHandler::write_data("x", 1, 0, &output), 0U);
    EXPECT_EQ(output.size(), 8U);
}

TEST(TolvaneWriteData, CountsTheBytesWithoutAnOutput) {
    EXPECT_EQ(TolvaneHandler::write_data("abcd", 2, 2, nullptr), 4U);
}

// --- judging the reply

struct Judgement {
    const char *name;
    std::string reply;
    bool success;
    std::vector<std::string> messages;
};

class TolvaneReply : public Tolvane, public testing::WithParamInterface<Judgement> {};

TEST_P(TolvaneReply, IsJudged) {
    EXPECT_EQ(handler.processResponse(GetParam().reply), GetParam().success);
    std::vector<std::string> messages = {"INFO : Processing Tolvane Response\n"};
    messages.insert(messages.end(), GetParam().messages.begin(), GetParam().messages.end());
    EXPECT_EQ(traceMessages(), messages);
    EXPECT_FALSE(handler.isTolvaneSucceed()); // only a request that was sent can succeed
}

const std::string available = "INFO : TolvaneHandler - Update Available\n";
const std::string noUpdate = "INFO : TolvaneHandler - No Update\n";
const std::string failed = "ERROR : TolvaneHandler - Update Response Failed\n";

std::string unsupported(const std::string &status) {
    return "ERROR : TolvaneHandler - Unsuported response with statuscocde " + status + "\n";
}

std::string reply(const std::string &status, const std::string &content = "") {
    return xmlDeclaration + "<productresponse status=\"" + status + "\">" + content + "</productresponse>";
}

std::string error(const std::string &code, const std::string &detail) {
    return "<error>" + code + "<errordetail>" + detail + "</errordetail></error>";
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, TolvaneReply,
    testing::Values(
        Judgement{"Available", reply("0"), true, {available}},
        Judgement{"NoUpdate", reply("1"), false, {noUpdate}},
        Judgement{"FailedWithCodeZero",
                  reply("-1", error("<errorcode>0</errorcode>", "no such product")),
                  false,
                  {failed, "ERROR : TolvaneHandler - no such product\n"}},
        Judgement{"FailedWithoutCode",
                  reply("-1", error("", "no such product")),
                  false,
                  {failed, "ERROR : TolvaneHandler - no such product\n"}},
        Judgement{"FailedWithCodeThatIsNoNumber",
                  reply("-1", error("<errorcode>none</errorcode>", "no such product")),
                  false,
                  {failed, "ERROR : TolvaneHandler - no such product\n"}},
        Judgement{"FailedWithTwoCodes",
                  reply("-1", error("<errorcode>5</errorcode><errorcode>6</errorcode>", "no such product")),
                  false,
                  {failed, "ERROR : TolvaneHandler - no such product\n"}},
        Judgement{"FailedWithCode",
                  reply("-1", error("<errorcode>5</errorcode>", "no such product")),
                  false,
                  {failed}},
        Judgement{"FailedWithNegativeCode",
                  reply("-1", error("<errorcode>-5</errorcode>", "no such product")),
                  false,
                  {failed}},
        Judgement{"FailedWithoutAnything", reply("-1"), false, {failed, "ERROR : TolvaneHandler - \n"}},
        Judgement{"DetailWithPercentSigns",
                  reply("-1", error("", "100%s %n")),
                  false,
                  {failed, "ERROR : TolvaneHandler - 100%s %n\n"}},
        Judgement{"Two", reply("2"), false, {unsupported("2")}},
        Judgement{"MinusTwo", reply("-2"), false, {unsupported("-2")}},
        Judgement{"TooBig", reply("99999999999"), false, {unsupported("2147483647")}},
        Judgement{"TooSmall", reply("-99999999999"), false, {unsupported("-2147483648")}},
        Judgement{"NumberFollowedByText", reply("1st"), false, {noUpdate}},
        Judgement{"NumberAfterBlanks", reply(" 1"), false, {noUpdate}},
        Judgement{"NoNumber", reply("ok"), true, {available}},
        Judgement{"EmptyStatus", reply(""), true, {available}},
        Judgement{"NoStatus", "<productresponse/>", true, {available}},
        Judgement{"OtherRoot", "<html status=\"1\"><body/></html>", true, {available}},
        Judgement{"InnerElementDoesNotCount", "<x><productresponse status=\"1\"/></x>", true, {available}}),
    [](const auto &instance) { return instance.param.name; });

std::string nestedReply(std::size_t depth) {
    std::string text = "<productresponse status=\"1\">";
    for (std::size_t i = 0; i < depth; ++i)
        text += "<a>";
    return text;
}

std::string replyOfEntities() {
    std::string entities = "<!ENTITY e0 \"0\">";
    for (int i = 1; i < 30; ++i)
        entities += "<!ENTITY e" + std::to_string(i) + " \"&e" + std::to_string(i - 1) + ";&e" +
                    std::to_string(i - 1) + ";\">";
    return "<!DOCTYPE productresponse [" + entities +
           "]><productresponse status=\"-1\"><error>&e29;</error>"
           "</productresponse>";
}

INSTANTIATE_TEST_SUITE_P(
    BadTexts, TolvaneReply,
    testing::Values(Judgement{"Empty", "", true, {available}},
                    Judgement{"NotXml", "Not found", true, {available}},
                    Judgement{"Binary", std::string("\0\1\2\xFF", 4), true, {available}},
                    Judgement{"Cut", "<productresponse status=\"1\"><pkgl", true, {available}},
                    Judgement{"Nested", nestedReply(100000), true, {available}},
                    Judgement{"TwoDocuments", reply("1") + reply("1"), true, {available}}),
    [](const auto &instance) { return instance.param.name; });

TEST_F(Tolvane, DoesNotExpandEntitiesWithoutBound) {
    EXPECT_NO_THROW(handler.processResponse(replyOfEntities()));
}

TEST_F(Tolvane, DoesNotReadFilesForAReply) {
    writeText("/tmp/secret", "secret");
    handler.processResponse(
        "<!DOCTYPE productresponse [<!ENTITY file SYSTEM \"file:///tmp/secret\">]>" +
        std::string("<productresponse status=\"-1\"><error><errordetail>&file;</errordetail>"
                    "</error></productresponse>"));
    EXPECT_THAT(traceText(), testing::Not(testing::HasSubstr("secret")));
}

TEST_F(Tolvane, JudgesAReplyOf40Megabytes) {
    std::string content;
    while (content.size() < 40U << 20U)
        content += "<pkglist><package>some text of some length</package></pkglist>\n";
    EXPECT_FALSE(handler.processResponse(reply("1", content)));
    EXPECT_THAT(traceMessages(), ElementsAre("INFO : Processing Tolvane Response\n", noUpdate));
}

// --- sending

TEST_F(Tolvane, GivesTheReplyOfAFreshInstallRequest) {
    serviceAnswers(reply("0", "<pkglist/>"));
    EXPECT_EQ(handler.sendTolvaneFreshInstallRequest(), reply("0", "<pkglist/>"));
    EXPECT_TRUE(handler.isTolvaneSucceed());
    EXPECT_EQ(spy.texts[CURLOPT_URL], freshInstallRequestURL);
    EXPECT_EQ(spy.texts[CURLOPT_POSTFIELDS], body("105", "basicmac3.3", "", oneProduct, ""));
}

TEST_F(Tolvane, TracesAFreshInstallRequest) {
    serviceAnswers(reply("0"));
    handler.sendTolvaneFreshInstallRequest();
    EXPECT_THAT(traceMessages(), ElementsAre("INFO: Enter sendTolvaneFreshInstallRequest\n",
                                             "INFO : Tolvane Handler - Creating Tolvane request body\n",
                                             "INFO : Getting Local,Affid,AppId from configuration.plist\n",
                                             "INFO : Getting OS version\n",
                                             "INFO :Tolvane Request - " +
                                                 body("105", "basicmac3.3", "", oneProduct, "") + "\n",
                                             "INFO :Tolvane Handler - sendTolvaneRequest\n",
                                             "Tolvane Handler : INFO Velbrim http code = 0\n",
                                             "INFO :Tolvane Response - " + reply("0") + "\n",
                                             "INFO : Processing Tolvane Response\n", available));
}

TEST_F(Tolvane, GivesTheReplyOfAnUpdateRequest) {
    serviceAnswers(reply("0", "<pkglist/>"));
    EXPECT_EQ(handler.sendTolvaneUpdateRequest("9.9.9.9", "7", "8"), reply("0", "<pkglist/>"));
    EXPECT_TRUE(handler.isTolvaneSucceed());
    EXPECT_EQ(spy.texts[CURLOPT_URL], updateRequestURL);
    EXPECT_THAT(spy.texts[CURLOPT_POSTFIELDS], testing::Not(testing::HasSubstr("9.9.9.9")));
}

TEST_F(Tolvane, GivesNoReplyWithoutAnUpdate) {
    serviceAnswers(reply("1"));
    EXPECT_EQ(handler.sendTolvaneUpdateRequest("1.0.0.5", "105-1", "7"), "");
    EXPECT_FALSE(handler.isTolvaneSucceed());
}

TEST_F(Tolvane, GivesNoReplyOfAFailedResponse) {
    serviceAnswers(reply("-1"));
    EXPECT_EQ(handler.sendTolvaneFreshInstallRequest(), "");
    EXPECT_FALSE(handler.isTolvaneSucceed());
}

TEST_F(Tolvane, TakesAFailedTransferForAnEmptySuccess) {
    serviceAnswers("", CURLE_COULDNT_CONNECT);
    EXPECT_EQ(handler.sendTolvaneUpdateRequest("1.0.0.5", "105-1", "7"), "");
    EXPECT_TRUE(handler.isTolvaneSucceed());
    EXPECT_THAT(traceMessages(), testing::Contains(available));
}

TEST_F(Tolvane, JudgesWhatCameOfABrokenTransfer) {
    serviceAnswers(reply("1"), CURLE_PARTIAL_FILE);
    EXPECT_EQ(handler.sendTolvaneUpdateRequest("1.0.0.5", "105-1", "7"), "");
    EXPECT_FALSE(handler.isTolvaneSucceed());
}

TEST_F(Tolvane, AccumulatesReplies) {
    serviceAnswers("<productresponse ");
    EXPECT_EQ(handler.sendTolvaneFreshInstallRequest(), "<productresponse ");
    serviceAnswers("status=\"0\"/>");
    EXPECT_EQ(handler.sendTolvaneFreshInstallRequest(), "<productresponse status=\"0\"/>");
}

TEST_F(Tolvane, NeverForgetsASuccess) {
    serviceAnswers("");
    handler.sendTolvaneFreshInstallRequest();
    serviceAnswers(reply("1"));
    EXPECT_EQ(handler.sendTolvaneFreshInstallRequest(), "");
    EXPECT_TRUE(handler.isTolvaneSucceed());
}

// --- the exchange

const std::string someUrl = "https://127.0.0.1:9/path";

TEST_F(Tolvane, SetsTheseOptionsAndNoOther) {
    serviceAnswers("");
    EXPECT_EQ(handler.sendTolvaneRequest("<body/>", someUrl), 0);
    EXPECT_THAT(spy.options, ElementsAre(CURLOPT_NOSIGNAL, CURLOPT_URL, CURLOPT_TIMEOUT, CURLOPT_HTTPHEADER,
                                         CURLOPT_POSTFIELDS, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA));
    EXPECT_EQ(spy.numbers[CURLOPT_NOSIGNAL], 1);
    EXPECT_EQ(spy.numbers[CURLOPT_TIMEOUT], 60);
    EXPECT_EQ(spy.texts[CURLOPT_URL], someUrl);
    EXPECT_EQ(spy.texts[CURLOPT_POSTFIELDS], "<body/>");
    EXPECT_THAT(spy.headers, ElementsAre("Content-Type: text/xml; charset=utf-8", "Content-Length: 7",
                                         "Accept: text/xml"));
}

TEST_F(Tolvane, CountsTheBodyInBytes) {
    serviceAnswers("");
    handler.sendTolvaneRequest("\xC3\xA9\xC3\xA9", someUrl);
    EXPECT_THAT(spy.headers, testing::Contains("Content-Length: 4"));
}

TEST_F(Tolvane, SucceedsWithoutAHandle) {
    spy.givesNoHandle = true;
    EXPECT_EQ(handler.sendTolvaneRequest("<body/>", someUrl), 0);
    EXPECT_THAT(traceMessages(), ElementsAre("INFO :Tolvane Handler - sendTolvaneRequest\n",
                                             "Tolvane Handler : Error occurred in curl initialization\n"));
    EXPECT_THAT(spy.options, IsEmpty());
}

class TolvaneRefusedOption : public Tolvane, public testing::WithParamInterface<CURLoption> {};

TEST_P(TolvaneRefusedOption, EndsTheExchangeAtOnce) {
    spy.refusedOption = GetParam();
    spy.perform = [] {
        ADD_FAILURE() << "transferred";
        return CURLE_OK;
    };
    EXPECT_EQ(handler.sendTolvaneRequest("<body/>", someUrl), CURLE_OUT_OF_MEMORY);
    EXPECT_EQ(spy.options.back(), GetParam());
    EXPECT_THAT(traceMessages(), ElementsAre("INFO :Tolvane Handler - sendTolvaneRequest\n"));
}

INSTANTIATE_TEST_SUITE_P(Options, TolvaneRefusedOption,
                         testing::Values(CURLOPT_POSTFIELDS, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA));

TEST_F(Tolvane, TracesATimeOut) {
    serviceAnswers("", CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(handler.sendTolvaneRequest("<body/>", someUrl), 28);
    EXPECT_THAT(traceMessages(), ElementsAre("INFO :Tolvane Handler - sendTolvaneRequest\n",
                                             "Tolvane Handler : Error : Velbrin Request Time out\n"));
}

TEST_F(Tolvane, GivesEveryOtherFailureWithoutAMessage) {
    serviceAnswers("", CURLE_RECV_ERROR);
    EXPECT_EQ(handler.sendTolvaneRequest("<body/>", someUrl), CURLE_RECV_ERROR);
    EXPECT_THAT(traceMessages(), ElementsAre("INFO :Tolvane Handler - sendTolvaneRequest\n"));
}

TEST_F(Tolvane, GivesTheResultOfARealTransferThatFails) {
    EXPECT_EQ(handler.sendTolvaneRequest("<body/>", someUrl), CURLE_COULDNT_CONNECT);
    EXPECT_EQ(handler.sendTolvaneRequest("<body/>", "no such protocol://"), CURLE_URL_MALFORMAT);
}

TEST_F(Tolvane, EndsATransferWhoseReplyDoesNotFitIntoMemory) {
    serviceAnswers("");
    handler.sendTolvaneRequest("<body/>", someUrl);
    char byte = 'x';
    EXPECT_EQ(spy.writeFunction(&byte, 1, std::numeric_limits<std::size_t>::max() / 2, spy.writeData), 0U);
    EXPECT_EQ(spy.writeFunction(&byte, 1, 1, spy.writeData), 1U);
}

// A service that never stops sending must neither fill the memory nor have its cut reply judged.
TEST_F(Tolvane, EndsAnEndlessReplyAndTakesItForNone) {
    std::size_t taken = 0;
    spy.perform = [&taken] {
        const std::string block = "<a/>" + std::string(1U << 20U, ' ');
        std::string copy = block;
        while (spy.writeFunction(copy.data(), 1, copy.size(), spy.writeData) == copy.size())
            taken += copy.size();
        return CURLE_WRITE_ERROR;
    };
    EXPECT_EQ(handler.sendTolvaneRequest("<body/>", someUrl), CURLE_WRITE_ERROR);
    EXPECT_LE(taken, 256U << 20U);
    EXPECT_GE(taken, 64U << 20U);
    serviceAnswers("<productresponse status=\"0\"/>");
    EXPECT_EQ(handler.sendTolvaneFreshInstallRequest(), "<productresponse status=\"0\"/>")
        << "nothing is left of it";
}

// For want of descriptors, say: what stood there before stays.
TEST_F(Tolvane, KeepsItsDefaultsSilentlyWhenThePropertyListCannotBeReadForAMoment) {
    writePropertyList("<key>AffID</key><string>105</string>");
    {
        const FailingFileCall failing(0);
        handler.getRequestParameterFromConfigurationPlist();
    }
    EXPECT_THAT(traceMessages(), ElementsAre("INFO : Getting Local,Affid,AppId from configuration.plist\n"));
    EXPECT_THAT(handler.getTolvaneRequestBody(), testing::HasSubstr("<affid>105</affid>"));
}

TEST_F(Tolvane, TakesNoIdsFromALinkToAnothersList) {
    writePropertyList("<key>AffID</key><string>105</string>");
    std::filesystem::rename(configurationPlistPath, "/private/tmp/other.plist");
    std::filesystem::create_symlink("/private/tmp/other.plist", configurationPlistPath);
    EXPECT_THAT(handler.getTolvaneRequestBody(), testing::HasSubstr("<affid>0</affid>"));
}

} // namespace
