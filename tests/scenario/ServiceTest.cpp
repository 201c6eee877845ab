// Everything that the update service and the catalogs can say, and what the check makes of it.

#include <chrono>
#include <filesystem>

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

const std::string servicePath = "/velbrin/1.0.0.0/?reqtype=mac_update";
const std::string catalogPath = "/usr/local/Brovik/TempDownload/Catalog/Core//core_maccat.xml";
const std::string cannotParseCatalog = "Error: unable to parse file \"" + catalogPath + "\"\n";

std::string answered(const std::string &how = "ok | 200") {
    return "update.brovik.example | POST | " + servicePath + " |  | 1 | " + how;
}

std::string fetched(const std::string &path, const std::string &attempt = "1",
                    const std::string &how = "ok | 200", const std::string &range = "") {
    return "scripted.brovik.example | GET | " + path + " | " + range + " | " + attempt + " | " + how;
}

// Nothing that tells the suite of an update, whatever else the check left.
void expectNoUpdateWaits() {
    EXPECT_FALSE(std::filesystem::exists(packageListPath));
    EXPECT_FALSE(std::filesystem::exists(waitingMarker));
    EXPECT_FALSE(std::filesystem::exists(updatedProdConfigXml));
    EXPECT_FALSE(std::filesystem::exists(packageDirectory()));
}

// --- no connection

struct NoConnection {
    const char *name;
    const char *prepare; // a shell script
};

class ServiceOutOfReach : public testing::TestWithParam<NoConnection> {};

TEST_P(ServiceOutOfReach, EndsTheCheckWithoutAnUpdate) {
    offer({publishPackage(scriptedHost + "/One.pkg", someBytes(1000))});
    static_cast<void>(shell(GetParam().prepare));
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, "");
    EXPECT_EQ(check.err, "");
    EXPECT_EQ(transcript(), tracedStart("CheckForInstall") + ">INFO :Tolvane Response - \n"
                                                             ">INFO : Processing Tolvane Response\n"
                                                             ">INFO : TolvaneHandler - Update Available\n"
                                                             ">ERROR Tolvane response\n"
                                                             ">Product updater is exited\n");
    EXPECT_EQ(scriptedAnswers(), std::vector<std::string>());
    EXPECT_FALSE(std::filesystem::exists(keyCoreDownloadCache));
    expectNoUpdateWaits();
}

INSTANTIATE_TEST_SUITE_P(
    Service, ServiceOutOfReach,
    testing::Values(
        NoConnection{"Down",
                     "sed 's/^127.0.0.2/127.0.0.9/' /etc/hosts >/tmp/hosts; cat /tmp/hosts >/etc/hosts"},
        NoConnection{"WithACertificateThatNobodyTrusts",
                     "hash=$(openssl x509 -noout -hash -in /srv/rehearsal/tls/authority.pem)\n"
                     "rm \"/etc/ssl/certs/$hash.0\"\n"
                     ": >/etc/ssl/certs/ca-certificates.crt"},
        NoConnection{
            "UnderAnotherNameThanItsCertificates",
            "openssl req -x509 -config /dev/null -subj /CN=other.brovik.example "
            "-addext subjectAltName=DNS:other.brovik.example -newkey rsa:2048 -nodes -days 1 "
            "-CA /srv/rehearsal/tls/authority.pem -CAkey /srv/rehearsal/tls/authority.key "
            "-keyout /tmp/key -out /tmp/certificate 2>/dev/null || exit 1\n"
            "sed 's/^127.0.0.2/127.0.0.9/' /etc/hosts >/tmp/hosts; cat /tmp/hosts >/etc/hosts\n"
            "coproc server { openssl s_server -accept 127.0.0.9:443 -key /tmp/key -cert /tmp/certificate; }\n"
            "while read -r line <&\"${server[0]}\"; do [[ $line != ACCEPT ]] || break; done\n"
            "disown -a"}),
    caseName);

TEST(Service, ThatNeverAnswersIsWaitedForAMinute) {
    misbehave(servicePath + " * silent\n");
    const auto begin = std::chrono::steady_clock::now();
    const Ended check = checkForInstall();
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, std::chrono::seconds(59));
    EXPECT_LT(waited, std::chrono::seconds(75));
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(transcript(), tracedStart("CheckForInstall") +
                                ">Tolvane Handler : Error : Velbrin Request Time out\n"
                                ">INFO :Tolvane Response - \n"
                                ">INFO : Processing Tolvane Response\n"
                                ">INFO : TolvaneHandler - Update Available\n"
                                ">ERROR Tolvane response\n"
                                ">Product updater is exited\n");
    expectNoUpdateWaits();
}

// --- no update

struct Refusal {
    const char *name;
    const char *reply;
    const char *traced;
};

class ReplyWithoutUpdate : public testing::TestWithParam<Refusal> {};

TEST_P(ReplyWithoutUpdate, EndsTheCheck) {
    answerWith(GetParam().reply);
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, "");
    EXPECT_EQ(check.err, "");
    EXPECT_EQ(transcript(), tracedStart("CheckForInstall") + tracedReply(GetParam().reply) +
                                GetParam().traced +
                                ">ERROR Tolvane response\n"
                                ">Product updater is exited\n");
    EXPECT_EQ(scriptedAnswers(), std::vector<std::string>{answered()});
    EXPECT_FALSE(std::filesystem::exists(keyCoreDownloadCache));
    expectNoUpdateWaits();
}

INSTANTIATE_TEST_SUITE_P(
    Service, ReplyWithoutUpdate,
    testing::Values(
        Refusal{"Status1", "<productresponse status=\"1\"/>", ">INFO : TolvaneHandler - No Update\n"},
        Refusal{"StatusMinus1WithCode0",
                "<productresponse status=\"-1\"><error><errorcode>0</errorcode>"
                "<errordetail>no such affiliate &amp; more</errordetail></error></productresponse>",
                ">ERROR : TolvaneHandler - Update Response Failed\n"
                ">ERROR : TolvaneHandler - no such affiliate & more\n"},
        Refusal{"StatusMinus1WithoutCode",
                "<productresponse status=\"-1\"><error><errordetail>no such affiliate</errordetail></error>"
                "</productresponse>",
                ">ERROR : TolvaneHandler - Update Response Failed\n"
                ">ERROR : TolvaneHandler - no such affiliate\n"},
        Refusal{"StatusMinus1WithCode5",
                "<productresponse status=\"-1\"><error><errorcode>5</errorcode>"
                "<errordetail>never told</errordetail></error></productresponse>",
                ">ERROR : TolvaneHandler - Update Response Failed\n"},
        Refusal{"Status2", "<productresponse status=\"2\"/>",
                ">ERROR : TolvaneHandler - Unsuported response with statuscocde 2\n"},
        Refusal{"StatusMinus7", "<productresponse status=\"-7\"/>",
                ">ERROR : TolvaneHandler - Unsuported response with statuscocde -7\n"},
        // A reply without a single byte reads as a success, and then there is nothing to go on with.
        Refusal{"Empty", "", ">INFO : TolvaneHandler - Update Available\n"}),
    caseName);

// --- nothing to download catalogs from

struct Nothing {
    const char *name;
    const char *reply;
    const char *err;
};

class ReplyWithoutCatalogs : public testing::TestWithParam<Nothing> {};

TEST_P(ReplyWithoutCatalogs, FindsNoProducts) {
    const std::string reply = GetParam().reply;
    answerWith(reply);
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, "");
    EXPECT_EQ(check.err, GetParam().err);
    EXPECT_EQ(transcript(), tracedStart("CheckForInstall") + tracedReply(reply) + tracedUpdateAvailable +
                                tracedReplyParsing(reply) + tracedDownloads + tracedDownloads +
                                ">INFO : Getting Hotfix info\n"
                                ">No products found For Update\n"
                                ">Product updater is exited\n");
    EXPECT_EQ(scriptedAnswers(), std::vector<std::string>{answered()});
    EXPECT_FALSE(std::filesystem::exists(keyCoreDownloadCache));
    expectNoUpdateWaits();
}

INSTANTIATE_TEST_SUITE_P(
    Service, ReplyWithoutCatalogs,
    testing::Values(Nothing{"NotXml", "Service temporarily unavailable: 100% busy", "No result\nNo result\n"},
                    Nothing{"CutInTheMiddle", "<productresponse status=\"0\"><pkglist><package><products",
                            "No result\nNo result\n"},
                    Nothing{"AnotherDocument", "<html><body>Welcome</body></html>", "No result\nNo result\n"},
                    Nothing{"NoProducts",
                            "<productresponse status=\"0\"><pkglist><package/></pkglist></productresponse>",
                            "No result\nNo result\n"}),
    caseName);

// --- catalogs without anything for this product

struct BadCatalog {
    const char *name;
    std::string content;
    std::string transfers; // traced after the start of the catalog's transfer
    std::vector<std::string> fetches;
    const char *script;
    bool isReadable;
};

class CatalogWithoutHotFixes : public testing::TestWithParam<BadCatalog> {};

TEST_P(CatalogWithoutHotFixes, FindsNoProducts) {
    publish(plainCatalogUrl, GetParam().content);
    answerWith(plainReply);
    misbehave(GetParam().script);
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, "value is === >>> " + plainProduct + "\n");
    // Read once for the branding's build and once for the hot-fixes.
    EXPECT_EQ(check.err, GetParam().isReadable ? "No result\n"
                                               : "No result\n" + cannotParseCatalog + cannotParseCatalog);
    EXPECT_EQ(transcript(), tracedStart("CheckForInstall") + tracedReply(plainReply) + tracedUpdateAvailable +
                                tracedCatalogUrls(plainReply) + tracedDownloads + tracedThreads(1) +
                                ">INFO : Start download: https://scripted.brovik.example/core_maccat.xml\n" +
                                GetParam().transfers + tracedDownloads +
                                ">INFO : Getting Hotfix info\n"
                                ">No products found For Update\n"
                                ">Product updater is exited\n");
    std::vector<std::string> answers = GetParam().fetches;
    answers.push_back(answered());
    EXPECT_EQ(scriptedAnswers(), answers);
    expectNoUpdateWaits();
}

const std::string catalogDownloaded =
    ">Successfully downloaded: https://scripted.brovik.example/core_maccat.xml\n";

INSTANTIATE_TEST_SUITE_P(
    Service, CatalogWithoutHotFixes,
    testing::Values(
        BadCatalog{"MissingOnTheServer",
                   "never served",
                   ">Error: HTTP response= 404 and CURL response = 0, URL: "
                   "https://scripted.brovik.example/core_maccat.xml\n",
                   {fetched("/core_maccat.xml", "1", "status | 404")},
                   "/core_maccat.xml * status 404 <html><p>Not Found</html>\n",
                   false},
        BadCatalog{"CutWhereItWasMade",
                   catalogText({HotFix()}).substr(0, 300),
                   catalogDownloaded,
                   {fetched("/core_maccat.xml")},
                   "",
                   false},
        BadCatalog{"Empty", "", catalogDownloaded, {fetched("/core_maccat.xml")}, "", false},
        BadCatalog{"NotXml", "10010110", catalogDownloaded, {fetched("/core_maccat.xml")}, "", false},
        BadCatalog{
            "WithoutAHotFix", catalogText({}), catalogDownloaded, {fetched("/core_maccat.xml")}, "", true}),
    caseName);

TEST(Service, CatalogFileOfAMissingCatalogHoldsTheErrorPage) {
    answerWith(plainReply);
    misbehave("/core_maccat.xml * status 404 <html><p>Not Found</html>\n");
    EXPECT_EQ(checkForInstall().status, 0);
    EXPECT_TRUE(sameFiles({{"Catalog/Core/core_maccat.xml", "<html><p>Not Found</html>"}},
                          filesBelow(keyCoreDownloadCache)));
}

TEST(Service, NoApplicableHotFixEndsTheCheck) {
    HotFix tooNew = publishPackage(scriptedHost + "/TooNew.pkg", someBytes(1000));
    tooNew.minVer = "1.0.0.6";
    HotFix tooOld = publishPackage(scriptedHost + "/TooOld.pkg", someBytes(1000));
    tooOld.maxVer = "1.0.0.4";
    offer({tooNew, tooOld});
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(transcript(), tracedStart("CheckForInstall") + tracedReply(plainReply) + tracedUpdateAvailable +
                                tracedCatalogUrls(plainReply) + tracedPlainCatalog + tracedSelection +
                                ">No updates Found\n"
                                ">Product updater is exited\n");
    const std::vector<std::string> answers = {fetched("/core_maccat.xml"), answered()};
    EXPECT_EQ(scriptedAnswers(), answers);
    expectNoUpdateWaits();
}

TEST(Service, HotFixWithoutANumberAsBuildEndsTheProcess) {
    HotFix hotFix = publishPackage(scriptedHost + "/One.pkg", someBytes(1000));
    hotFix.buildNo = "";
    offer({hotFix});
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 128 + 6);
    EXPECT_EQ(transcript(), tracedStart("CheckForInstall") + tracedReply(plainReply) + tracedUpdateAvailable +
                                tracedCatalogUrls(plainReply) + tracedPlainCatalog + tracedSelection);
    expectNoUpdateWaits();
}

// --- updates in spite of trouble

void expectUpdateOf(const std::string &content) {
    EXPECT_EQ(readText(packageListPath), packagePath("One.pkg") + "\n");
    EXPECT_EQ(readText(packagePath("One.pkg")), content);
    EXPECT_TRUE(std::filesystem::exists(waitingMarker));
}

TEST(Service, DocumentOfAnErrorReplyCounts) {
    offer({publishPackage(scriptedHost + "/One.pkg", someBytes(1000))});
    misbehave(servicePath + " * status 500 " + plainReply + "\n");
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(transcript(), tracedStart("CheckForInstall") + tracedReply(plainReply, 500) +
                                tracedUpdateAvailable + tracedCatalogUrls(plainReply) + tracedPlainCatalog +
                                tracedSelection + tracedDownloads + tracedThreads(1) +
                                tracedPackage(scriptedHost + "/One.pkg", packagePath("One.pkg")) +
                                tracedPlainConfiguration() + tracedEnd);
    const std::vector<std::string> answers = {fetched("/One.pkg"), fetched("/core_maccat.xml"),
                                              answered("status | 500")};
    EXPECT_EQ(scriptedAnswers(), answers);
    expectUpdateOf(someBytes(1000));
}

// The plain reply names no partner catalog.
TEST(Service, CoreCatalogsAloneAreEnough) {
    offer({publishPackage(scriptedHost + "/One.pkg", someBytes(1000))});
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, "value is === >>> " + plainProduct + "\n");
    EXPECT_EQ(check.err, "No result\n");
    EXPECT_EQ(transcript(), tracedUntilPackages() + tracedThreads(1) +
                                tracedPackage(scriptedHost + "/One.pkg", packagePath("One.pkg")) +
                                tracedPlainConfiguration() + tracedEnd);
    EXPECT_FALSE(std::filesystem::exists(partnerCatalogDirectory()));
    expectUpdateOf(someBytes(1000));
}

TEST(Service, CatalogThatBreaksOffIsResumed) {
    const std::string catalog = catalogText({publishPackage(scriptedHost + "/One.pkg", someBytes(1000))});
    offer({});
    publish(plainCatalogUrl, catalog);
    misbehave("/core_maccat.xml 1 cut 100\n");
    EXPECT_EQ(checkForInstall().status, 0);
    const std::string url = plainCatalogUrl + "\n";
    EXPECT_EQ(transcript(), tracedStart("CheckForInstall") + tracedReply(plainReply) + tracedUpdateAvailable +
                                tracedCatalogUrls(plainReply) + tracedDownloads + tracedThreads(1) +
                                ">INFO : Start download: " + url +
                                ">ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for " +
                                url + ">Resume Download: " + url + ">INFO : Start download: " + url +
                                ">Successfully downloaded: " + url + tracedDownloads + tracedSelection +
                                tracedDownloads + tracedThreads(1) +
                                tracedPackage(scriptedHost + "/One.pkg", packagePath("One.pkg")) +
                                tracedPlainConfiguration() + tracedEnd);
    const std::vector<std::string> answers = {
        fetched("/One.pkg"), fetched("/core_maccat.xml", "1", "cut | 200"),
        fetched("/core_maccat.xml", "2", "ok | 206", "bytes=100-"), answered()};
    EXPECT_EQ(scriptedAnswers(), answers);
    EXPECT_EQ(readText(catalogPath), catalog);
    expectUpdateOf(someBytes(1000));
}

} // namespace
