// Which application ids a check asks for, and what it corrects on the way.

#include <filesystem>

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "SubscriptionDatabase.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

const std::string noUpdate = "<productresponse status=\"1\"/>";

// The product's configuration with some elements, each in a line of its own.
std::string configuration(const std::string &elements) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<ProductConfiguration>\n" +
           elements +
           "  <CoreRelVer>2.5</CoreRelVer>\n"
           "  <PartnerRelVer>1.5</PartnerRelVer>\n"
           "</ProductConfiguration>\n";
}

std::string requestBody(const std::string &releaseName, const std::string &core, const std::string &products,
                        const std::string &partner) {
    return "<?xml  version=\"1.0\" encoding=\"utf-8\"?><productrequest><shared/><pkglist>"
           "<package class=\"macdefault\"><metadata><affid>105</affid><langid>en-us</langid>"
           "<macos><version>10.8.5</version></macos></metadata><products relname=\"" +
           releaseName + "\" relver=\"" + core + "\">" + products +
           "</products><partner affid=\"105\" relname=\"" + releaseName + "\" relver=\"" + partner +
           "\"></partner></package></pkglist></productrequest>";
}

std::string tracedCheck(const std::string &lookup, const std::string &body) {
    return ">Product updater is started\n"
           ">Product updater: CurProdVersion: 1.0.0.5 CurProdAffId: 105-1\n"
           ">INFO : DownloadController - ProductUpdate\n"
           ">INFO: Enter sendTolvaneUpdateRequest\n"
           ">INFO : Tolvane Handler - Creating Tolvane request body\n"
           ">INFO : Getting OS version\n"
           ">INFO : TolvaneHandler - getRequestParameterFromProductConfigXmlForUpdate\n" +
           lookup + ">INFO :Tolvane Request - " + body +
           "\n"
           ">INFO :Tolvane Handler - sendTolvaneRequest\n" +
           tracedReply(noUpdate) +
           ">INFO : TolvaneHandler - No Update\n"
           ">ERROR Tolvane response\n"
           ">Product updater is exited\n";
}

std::string tracedLookup(const std::string &packageId) {
    return ">INFO : TolvaneHandler - getAppIdForExistingCustomer from db\n"
           ">INFO : TolvaneHandler - geting AppId For for PackageId=" +
           packageId + "\n";
}

std::string tracedCorrection(const std::string &appId) {
    return ">INFO: Updating Productconfig.xml with AppID element and its value " + appId + " .\n" +
           ">INFO: Updated Productconfig.xml with AppID element and its value " + appId + " .\n";
}

const std::string noAppId = ">ERROR : TolvaneHandler - ERROR Getting Appid\n";

std::string inDatabase(const std::string &fields) {
    return "section 4\nnode\nfield name Brovik\nnode\n" + fields;
}

struct AppId {
    const char *name;
    std::string configured; // elements of the product's configuration
    bool marked = false;
    std::string database; // none without text
    std::string lookup;   // traced
    std::string body;
    std::string configuredAfter; // the whole file; unchanged without text
    bool markedAfter = false;
    int lookups = 0; // how often the database was loaded
};

// What a lookup that found nothing leaves of the parameters.
const std::string unchangedBody = requestBody("basicmac3.3", "1", "<product appid=\"quaformac\"/>", "");

std::string bodyWith(const std::string &products) {
    return requestBody("basicmac3.3", "2.5", products, "1.5");
}

std::string appId(const std::string &id) {
    return "  <AppID>" + id + "</AppID>\n";
}

const std::string release = "  <ReleaseName>basicmac3.3</ReleaseName>\n";

class ApplicationId : public testing::TestWithParam<AppId> {};

TEST_P(ApplicationId, IsAskedForAndCorrected) {
    const AppId &expected = GetParam();
    const std::string before = configuration(expected.configured);
    writeText(prodConfigXml, before);
    if (expected.marked)
        writeText(appIdMarkerPath, "");
    if (!expected.database.empty())
        installSubscriptionDatabase(SUBSCRIPTION_DATABASE, expected.database);
    answerWith(noUpdate);

    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, "");
    EXPECT_EQ(check.err, "");
    EXPECT_EQ(transcript(), tracedCheck(expected.lookup, expected.body));
    ASSERT_EQ(updateRequests().size(), 1U);
    const std::string request = updateRequests().front();
    EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), expected.body);
    EXPECT_EQ(readText(prodConfigXml), expected.configuredAfter.empty() ? before : expected.configuredAfter);
    EXPECT_EQ(std::filesystem::exists(appIdMarkerPath), expected.markedAfter);
    std::string loads;
    for (int i = 0; i < expected.lookups; ++i)
        loads += "loaded\nunloaded, owed 0\n";
    EXPECT_EQ(subscriptionLog(), loads);
}

INSTANTIATE_TEST_SUITE_P(
    Check, ApplicationId,
    testing::Values(
        AppId{"ByFlexiblePackage", release + appId("quiformac"), false,
              inDatabase("field pkg_id 398\nfield flex_pkg_id 395\n"),
              tracedLookup("398") + ">INFO : TolvaneHandler - FlexPackage Id = 395\n" +
                  tracedCorrection("queformac"),
              bodyWith("<product appid=\"queformac\"/>"), configuration(release + appId("queformac")), true,
              2},
        AppId{"OfAnotherEditionByFlexiblePackage", release + appId("queformac"), false,
              inDatabase("field pkg_id 398\nfield flex_pkg_id 396\n"),
              tracedLookup("398") + ">INFO : TolvaneHandler - FlexPackage Id = 396\n" +
                  tracedCorrection("quiformac"),
              bodyWith("<product appid=\"quiformac\"/>"), configuration(release + appId("quiformac")), true,
              2},
        AppId{"NotLookedUpWithTheMarker", release + appId("quiformac"), true,
              inDatabase("field pkg_id 398\nfield flex_pkg_id 395\n"), "",
              bodyWith("<product appid=\"quiformac\"/>"), "", true, 0},
        AppId{"AlreadyRight", release + appId("quiformac"), false, inDatabase("field pkg_id 446\n"),
              tracedLookup("446"), bodyWith("<product appid=\"quiformac\"/>"), "", true, 1},
        AppId{"OfTheLastNodeInTheDatabase", release + appId("quiformac"), false,
              inDatabase("field pkg_id 446\nnode\nfield pkg_id 999\n"),
              tracedLookup("999") + tracedCorrection("pxteamformac"),
              bodyWith("<product appid=\"pxteamformac\"/>"), configuration(release + appId("pxteamformac")),
              true, 1},
        AppId{"OfAnUnknownPackage", release + appId("quiformac"), false, inDatabase("field pkg_id 400\n"),
              tracedLookup("400") + noAppId, unchangedBody, "", false, 1},
        AppId{"WithoutFlexiblePackage", release + appId("quiformac"), false, inDatabase("field pkg_id 398\n"),
              tracedLookup("398") +
                  ">ERROR : TolvaneHandler - Flex Package Id not found for package id - 398\n" + noAppId,
              unchangedBody, "", false, 2},
        AppId{"WithoutDatabase", release + appId("queformac"), false, "", tracedLookup("0") + noAppId,
              unchangedBody, "", false, 0},
        AppId{"MissingAndNotLookedUp", release, true, inDatabase("field pkg_id 433\n"),
              ">ERROR : TolvaneHandler - Not able to get AppID\n", bodyWith(""), "", true, 0},
        AppId{"MissingAndFound", release, false, inDatabase("field pkg_id 433\n"),
              tracedLookup("433") + tracedCorrection("quoformac"), bodyWith("<product appid=\"quoformac\"/>"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<ProductConfiguration>\n"
              "  <ReleaseName>basicmac3.3</ReleaseName>\n"
              "  <CoreRelVer>2.5</CoreRelVer>\n"
              "  <PartnerRelVer>1.5</PartnerRelVer>\n"
              "<AppID>quoformac</AppID></ProductConfiguration>\n",
              true, 1},
        AppId{"OfTwoProducts", release + appId("quaformac,qusformac"), false,
              inDatabase("field pkg_id 398\nfield flex_pkg_id 395\n"), "",
              bodyWith("<product appid=\"quaformac\"/><product appid=\"qusformac\"/>"), "", false, 0},
        AppId{"OfAnUnnamedRelease", appId("quaformac"), false, "", "",
              requestBody("legacy", "2.5", "<product appid=\"quaformac\"/>", "1.5"), "", false, 0},
        AppId{"OfAReleaseNamedTwice", release + release + appId("quaformac"), false, "", "",
              requestBody("legacy", "2.5", "<product appid=\"quaformac\"/>", "1.5"), "", false, 0}),
    caseName);

TEST(Check, AsksForTheDefaultProductWithoutAConfiguration) {
    std::filesystem::remove(prodConfigXml);
    answerWith(noUpdate);
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, "");
    // Read for the release's name and for the other parameters.
    const std::string unread = "Error: unable to parse file \"/usr/local/Brovik/ProductConfig.xml\"\n";
    EXPECT_EQ(check.err, unread + unread);
    EXPECT_EQ(transcript(), tracedCheck(tracedLookup("0") + noAppId,
                                        requestBody("legacy", "1", "<product appid=\"quaformac\"/>", "")));
    EXPECT_FALSE(std::filesystem::exists(prodConfigXml));
    EXPECT_FALSE(std::filesystem::exists(appIdMarkerPath));
}

TEST(Check, SendsValuesAsTheyAreConfigured) {
    writeText(prodConfigXml,
              configuration("  <ReleaseName>a &amp; b &lt;c&gt;</ReleaseName>\n" + appId("quaformac,,x y,")));
    answerWith(noUpdate);
    EXPECT_EQ(checkForInstall().status, 0);
    const std::string body =
        requestBody("a & b <c>", "2.5",
                    "<product appid=\"quaformac\"/><product appid=\"\"/><product appid=\"x y\"/>", "1.5");
    ASSERT_EQ(updateRequests().size(), 1U);
    const std::string request = updateRequests().front();
    EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), body);
    EXPECT_NE(request.find("Content-Length: " + std::to_string(body.size()) + "\r\n"), std::string::npos);
}

} // namespace
