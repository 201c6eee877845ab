// Downloads of packages that go wrong, alone and among others.

#include <cctype>
#include <filesystem>

#include <gtest/gtest.h>

#include "ExpectedTrace.h"
#include "Observed.h"
#include "Paths.h"
#include "Release.h"
#include "TextFile.h"
#include "Updater.h"

namespace {

const std::string url = scriptedHost + "/One.pkg";
const std::string path = packagePath("One.pkg");
const std::string content = someBytes(100000);

const std::string started = ">INFO : Start download: " + url + "\n";
const std::string checking = ">INFO: Checking HashSUM : " + path + "\n";
const std::string matches = ">INFO:Success Checking HashSUM : " + path + "\n";
const std::string mismatch = ">Error: Hash mismatch : " + path + "\n";
const std::string noHash = ">Error: Failed to get Hashsum of " + path + "\n";
const std::string downloaded = ">Successfully downloaded: " + url + "\n";
const std::string again = ">Resume Download: " + url + "\n" + started;
const std::string partial =
    ">ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for " + url + "\n";
const std::string notThisTime = ">ERROR : Download Failed: " + url + "\n";
const std::string givenUp = ">ERROR: Exit maximum no of Checking HashSUM : " + path + "\n";

std::string failedWith(int httpCode, int curlCode, const std::string &address = url) {
    return ">Error: HTTP response= " + std::to_string(httpCode) +
           " and CURL response = " + std::to_string(curlCode) + ", URL: " + address + "\n";
}

std::string flipped(std::string bytes, std::size_t position) {
    bytes[position] = static_cast<char>(~bytes[position]);
    return bytes;
}

std::string answer(const std::string &target, const std::string &range, int attempt, const std::string &how) {
    return "scripted.brovik.example | GET | " + target + " | " + range + " | " + std::to_string(attempt) +
           " | " + how;
}

// The end of a check that has an update ready, or has none.
std::string tracedOutcome(bool complete) {
    return complete ? tracedPlainConfiguration() + tracedEnd : ">ERROR: Download Failed\n" + tracedEnd;
}

void expectOutcome(bool complete) {
    EXPECT_EQ(readText(packageListPath), complete ? path + "\n" : "");
    EXPECT_EQ(std::filesystem::exists(packageListPath), complete);
    EXPECT_EQ(std::filesystem::exists(waitingMarker), complete);
    EXPECT_EQ(std::filesystem::exists(updatedProdConfigXml), complete);
}

struct Trouble {
    const char *name;
    std::string script;
    std::string transfers;            // traced
    std::vector<std::string> answers; // "RANGE | ATTEMPT | ACTION | STATUS"
    bool complete;
    std::string file; // what is on the disk in the end
};

class PackageDownload : public testing::TestWithParam<Trouble> {};

TEST_P(PackageDownload, LeavesTraceRequestsAndFile) {
    const Trouble &expected = GetParam();
    offer({publishPackage(url, content)});
    publish(scriptedHost + "/Moved.pkg", content);
    misbehave(expected.script);
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, "value is === >>> " + plainProduct + "\n");
    EXPECT_EQ(check.err, "No result\n");
    EXPECT_EQ(transcript(), tracedUntilPackages() + tracedThreads(1) + expected.transfers +
                                tracedOutcome(expected.complete));
    std::vector<std::string> answers;
    for (const std::string &line : expected.answers)
        answers.push_back("scripted.brovik.example | GET | " + line);
    answers.push_back("scripted.brovik.example | GET | /core_maccat.xml |  | 1 | ok | 200");
    answers.push_back(
        "update.brovik.example | POST | /velbrin/1.0.0.0/?reqtype=mac_update |  | 1 | ok | 200");
    EXPECT_EQ(scriptedAnswers(), answers);
    Files files = {{"Package/1.0.1.0/One.pkg", expected.file},
                   {"Catalog/Core/core_maccat.xml", readText("/srv/rehearsal/scripted/core_maccat.xml")}};
    if (expected.complete)
        files["ProductConfig.xml"] = readText(updatedProdConfigXml); // compared elsewhere
    EXPECT_TRUE(sameFiles(files, filesBelow(keyCoreDownloadCache)));
    expectOutcome(expected.complete);
}

INSTANTIATE_TEST_SUITE_P(
    Package, PackageDownload,
    testing::Values(
        Trouble{"WrongOnce",
                "/One.pkg 1 wrong 99999\n",
                started + checking + mismatch + again + checking + matches + downloaded + notThisTime,
                {"/One.pkg |  | 1 | wrong | 200", "/One.pkg |  | 2 | ok | 200"},
                true,
                content},
        Trouble{
            "WrongTwice",
            "/One.pkg 1 wrong 0\n/One.pkg 2 wrong 50000\n",
            started + checking + mismatch + again + checking + mismatch + again + givenUp + notThisTime +
                notThisTime + notThisTime,
            {"/One.pkg |  | 1 | wrong | 200", "/One.pkg |  | 2 | wrong | 200", "/One.pkg |  | 3 | ok | 200"},
            false,
            content},
        Trouble{"WrongAlways",
                "/One.pkg * wrong 7\n",
                started + checking + mismatch + again + checking + mismatch + again + givenUp + notThisTime +
                    notThisTime + notThisTime,
                {"/One.pkg |  | 1 | wrong | 200", "/One.pkg |  | 2 | wrong | 200",
                 "/One.pkg |  | 3 | wrong | 200"},
                false,
                flipped(content, 7)},
        Trouble{"BrokenOffOnce",
                "/One.pkg 1 cut 40000\n",
                started + partial + again + checking + matches + downloaded,
                {"/One.pkg |  | 1 | cut | 200", "/One.pkg | bytes=40000- | 2 | ok | 206"},
                true,
                content},
        Trouble{"BrokenOffThreeTimes",
                "/One.pkg 1 cut 40000\n/One.pkg 2 cut 1\n/One.pkg 3 cut 59998\n",
                started + partial + again + partial + again + partial + again + checking + matches +
                    downloaded,
                {"/One.pkg |  | 1 | cut | 200", "/One.pkg | bytes=40000- | 2 | cut | 206",
                 "/One.pkg | bytes=40001- | 3 | cut | 206", "/One.pkg | bytes=99999- | 4 | ok | 206"},
                true,
                content},
        // Neither failed nor complete then.
        Trouble{"BrokenOffFourTimes",
                "/One.pkg * cut 1000\n",
                started + partial + again + partial + again + partial + again + partial,
                {"/One.pkg |  | 1 | cut | 200", "/One.pkg | bytes=1000- | 2 | cut | 206",
                 "/One.pkg | bytes=2000- | 3 | cut | 206", "/One.pkg | bytes=3000- | 4 | cut | 206"},
                false,
                content.substr(0, 4000)},
        Trouble{"BrokenOffAndThenWrong",
                "/One.pkg 1 cut 40000\n/One.pkg 2 wrong 100\n",
                started + partial + again + checking + mismatch + again + checking + matches + downloaded +
                    notThisTime,
                {"/One.pkg |  | 1 | cut | 200", "/One.pkg |  | 3 | ok | 200",
                 "/One.pkg | bytes=40000- | 2 | wrong | 206"},
                true,
                content},
        Trouble{"BrokenOffWithoutRangesOnTheServer",
                "/One.pkg 1 cut 40000\n/One.pkg 2 no-ranges\n",
                started + partial + again + failedWith(200, 33),
                {"/One.pkg |  | 1 | cut | 200", "/One.pkg | bytes=40000- | 2 | no-ranges | 200"},
                false,
                content.substr(0, 40000)},
        Trouble{"Reset",
                "/One.pkg 1 reset 40000\n",
                started + failedWith(200, 56),
                {"/One.pkg |  | 1 | reset | 200"},
                false,
                content.substr(0, 40000)},
        Trouble{"StandingStill",
                "/One.pkg 1 stall 40000\n",
                started + ">Download Error: CURLE_OPERATION_TIMEDOUT URL: " + url + "\n",
                {"/One.pkg |  | 1 | stall | 200"},
                false,
                content.substr(0, 40000)},
        Trouble{"Dropped",
                "/One.pkg 1 drop\n",
                started + failedWith(0, 52),
                {"/One.pkg |  | 1 | drop | 200"},
                false,
                ""},
        Trouble{"Missing",
                "/One.pkg 1 status 404 Not here\n",
                started + failedWith(404, 0),
                {"/One.pkg |  | 1 | status | 404"},
                false,
                "Not here"},
        Trouble{"Forbidden",
                "/One.pkg 1 status 403\n",
                started + failedWith(403, 0),
                {"/One.pkg |  | 1 | status | 403"},
                false,
                ""},
        Trouble{"WithoutLength",
                "/One.pkg 1 no-length\n",
                started + checking + matches + downloaded,
                {"/One.pkg |  | 1 | no-length | 200"},
                true,
                content},
        Trouble{"InChunks",
                "/One.pkg 1 chunked\n",
                started + checking + matches + downloaded,
                {"/One.pkg |  | 1 | chunked | 200"},
                true,
                content},
        Trouble{"Moved",
                "/One.pkg 1 redirect https://scripted.brovik.example/Moved.pkg\n",
                started + checking + matches + downloaded,
                {"/Moved.pkg |  | 1 | ok | 200", "/One.pkg |  | 1 | redirect | 302"},
                true,
                content},
        Trouble{"MovedToNowhere",
                "/One.pkg 1 redirect https://scripted.brovik.example/Nowhere.pkg\n",
                started + failedWith(404, 0),
                {"/Nowhere.pkg |  | 1 | ok | 404", "/One.pkg |  | 1 | redirect | 302"},
                false,
                "no such file\n"}),
    caseName);

// --- what the catalog says of a package

struct Listed {
    const char *name;
    std::string file; // its URL below the host
    std::string hash; // the right one in upper case unless given
    std::string transfers;
    int fetches;
};

std::string address(const std::string &file) {
    return scriptedHost + "/" + file;
}

class CatalogEntry : public testing::TestWithParam<Listed> {};

TEST_P(CatalogEntry, NeverCompletes) {
    const Listed &listed = GetParam();
    HotFix hotFix = publishPackage(address(listed.file), content);
    if (listed.hash != "right")
        hotFix.hash = listed.hash;
    offer({hotFix});
    const Ended check = checkForInstall();
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.err, "No result\n");
    EXPECT_EQ(transcript(),
              tracedUntilPackages() + tracedThreads(1) + listed.transfers + tracedOutcome(false));
    std::vector<std::string> answers;
    for (int attempt = 1; attempt <= listed.fetches; ++attempt)
        answers.push_back(answer("/" + listed.file, "", attempt, "ok | 200"));
    answers.push_back(answer("/core_maccat.xml", "", 1, "ok | 200"));
    answers.push_back(
        "update.brovik.example | POST | /velbrin/1.0.0.0/?reqtype=mac_update |  | 1 | ok | 200");
    EXPECT_EQ(scriptedAnswers(), answers);
    const std::string fileName = listed.file.substr(listed.file.rfind('/') + 1);
    EXPECT_TRUE(sameFiles({{fileName, content}}, filesBelow(packageDirectory() + "/1.0.1.0")));
    expectOutcome(false);
}

std::string fetchedOnly(const std::string &file) {
    return ">INFO : Start download: " + address(file) + "\n" + ">Successfully downloaded: " + address(file) +
           "\n";
}

INSTANTIATE_TEST_SUITE_P(Package, CatalogEntry,
                         testing::Values(Listed{"WithoutAHash", "One.pkg", "", started + notThisTime, 1},
                                         Listed{"WithAnotherHash", "One.pkg", std::string(40, 'A'),
                                                started + checking + mismatch + again + checking + mismatch +
                                                    again + givenUp + notThisTime + notThisTime + notThisTime,
                                                3},
                                         Listed{"ThatIsNoPackage", "Tools.zip", "right",
                                                fetchedOnly("Tools.zip"), 1},
                                         Listed{"WithThePackageOnlyInItsFolder", "One.pkg/Contents.bin",
                                                "right", fetchedOnly("One.pkg/Contents.bin"), 1}),
                         caseName);

TEST(Package, WithAHashInLowerCaseIsGivenUp) {
    HotFix hotFix = publishPackage(url, content);
    for (char &digit : hotFix.hash)
        digit = static_cast<char>(std::tolower(digit));
    offer({hotFix});
    EXPECT_EQ(checkForInstall().status, 0);
    EXPECT_EQ(transcript(), tracedUntilPackages() + tracedThreads(1) + started + checking + mismatch + again +
                                checking + mismatch + again + givenUp + notThisTime + notThisTime +
                                notThisTime + tracedOutcome(false));
    expectOutcome(false);
}

TEST(Package, IsGivenUpWithoutTheHashTool) {
    std::filesystem::remove("/usr/local/Brovik/qrn/bin/sha1sum");
    offer({publishPackage(url, content)});
    EXPECT_EQ(checkForInstall().status, 0);
    EXPECT_EQ(transcript(), tracedUntilPackages() + tracedThreads(1) + started + checking + noHash + again +
                                checking + noHash + again + givenUp + notThisTime + notThisTime +
                                notThisTime + tracedOutcome(false));
    expectOutcome(false);
}

// --- among others

TEST(Package, ThatFailsAmongOthersLeavesThemButNoUpdate) {
    const std::vector<std::string> names = {"Four.pkg", "One.pkg", "Three.pkg", "Two.pkg"};
    std::vector<HotFix> hotFixes;
    hotFixes.reserve(names.size());
    for (const std::string &name : names)
        hotFixes.push_back(publishPackage(address(name), content + name));
    offer(hotFixes);
    misbehave("/Three.pkg * status 503 Busy\n/Two.pkg 1 cut 60000\n");
    EXPECT_EQ(checkForInstall().status, 0);
    const std::string two = address("Two.pkg") + "\n";
    EXPECT_EQ(transcript(), tracedUntilPackages() + tracedThreads(4) +
                                tracedPackage(address("Four.pkg"), packagePath("Four.pkg")) +
                                tracedPackage(address("One.pkg"), packagePath("One.pkg")) +
                                ">INFO : Start download: " + address("Three.pkg") + "\n" +
                                failedWith(503, 0, address("Three.pkg")) + ">INFO : Start download: " + two +
                                ">ERROR : Download Failed with CURL error code CURLE_PARTIAL_FILE for " +
                                two + ">Resume Download: " + two +
                                tracedPackage(address("Two.pkg"), packagePath("Two.pkg")) +
                                tracedOutcome(false));
    EXPECT_TRUE(sameFiles({{"Four.pkg", content + "Four.pkg"},
                           {"One.pkg", content + "One.pkg"},
                           {"Three.pkg", "Busy"},
                           {"Two.pkg", content + "Two.pkg"}},
                          filesBelow(packageDirectory() + "/1.0.1.0")));
    expectOutcome(false);
}

// A download that never came to life is not missed (kept).
TEST(Package, WhoseFileCannotBeOpenedIsNotWaitedFor) {
    std::filesystem::create_directories(packagePath("Two.pkg"));
    offer({publishPackage(url, content), publishPackage(address("Two.pkg"), content)});
    EXPECT_EQ(checkForInstall().status, 0);
    EXPECT_EQ(transcript(), tracedUntilPackages() + tracedThreads(2) +
                                ">ERROR: Not able to initialize download helper\n" +
                                tracedPackage(url, path) + ">Error occurred in creating output file : " +
                                packagePath("Two.pkg") + " \n" + tracedOutcome(true));
    expectOutcome(true);
}

TEST(Package, ThatAnEarlierRunLeftIsFetchedAnew) {
    std::filesystem::create_directories(packageDirectory() + "/1.0.1.0");
    writeText(path, someBytes(200000));
    offer({publishPackage(url, content)});
    EXPECT_EQ(checkForInstall().status, 0);
    EXPECT_EQ(readText(path), content);
    expectOutcome(true);
}

// A configuration in one line gets the elements that it lacks, and lines with them.
TEST(Package, CompletionPreparesAConfigurationThatLacksElements) {
    writeText(prodConfigXml, "<?xml version=\"1.0\"?><ProductConfiguration><AppID>quaformac</AppID>"
                             "<BuildNumber>105</BuildNumber></ProductConfiguration>");
    offer({publishPackage(url, content)});
    EXPECT_EQ(checkForInstall().status, 0);
    EXPECT_EQ(readText(updatedProdConfigXml), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                              "<ProductConfiguration>\n"
                                              "  <AppID>quaformac</AppID>\n"
                                              "  <BuildNumber>110</BuildNumber>\n"
                                              "  <ProductVersion>1.0.1.0</ProductVersion>\n"
                                              "<CoreRelVer>3.1</CoreRelVer>"
                                              "<PartnerRelVer>2.2</PartnerRelVer>"
                                              "<ReleaseName>basicmac3.4</ReleaseName>"
                                              "<CBRMSBuildNo>0</CBRMSBuildNo>"
                                              "</ProductConfiguration>\n");
    expectOutcome(true);
}

} // namespace
