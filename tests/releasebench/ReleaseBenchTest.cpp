// The installed releasebench: what its commands write, say and refuse.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <sstream>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Observed.h"
#include "Program.h"
#include "PseudoTerminal.h"
#include "TextFile.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string bench = "/usr/local/Brovik/qrn/bin/releasebench";
const std::string work = "/tmp/work";
const std::string folder = work + "/release";

std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    return lines;
}

Ended benchWith(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), bench);
    return run(arguments);
}

// A new release in a folder of its own, and nothing left beside it in the end.
class ReleaseBench : public testing::Test {
protected:
    void SetUp() override {
        fs::remove_all(work);
        fs::create_directories(work);
        ASSERT_EQ(benchWith({"init", folder}).status, 0);
    }
    ~ReleaseBench() override {
        for (const std::string &place : {std::string("/tmp"), work, folder}) {
            if (!fs::exists(place))
                continue;
            for (const fs::directory_entry &entry : fs::directory_iterator(place)) {
                const std::string name = entry.path().filename();
                EXPECT_THAT(name, Not(StartsWith("releasebench-"))) << place;
                EXPECT_FALSE(name.front() == '.' && name.find(".built.") != std::string::npos) << entry;
            }
        }
    }

    static Json read() { return Json::parse(readText(folder + "/release.json")); }
    static void change(const std::function<void(Json &)> &changing) {
        Json release = read();
        changing(release);
        writeText(folder + "/release.json", release.dump(1));
    }
    static Json explained(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"explain", folder, "--json"});
        return Json::parse(benchWith(arguments).out);
    }
    static Json explainedFor(const std::string &product, const std::string &system) {
        return explained({"--product", product, "--system", system});
    }
};

// --- init

TEST_F(ReleaseBench, InitMakesWhatEveryCommandAccepts) {
    EXPECT_TRUE(fs::exists(folder + "/README.md"));
    EXPECT_EQ(benchWith({"build", folder}).status, 0);
    EXPECT_EQ(explainedFor("1.0.0.5", "10.8.5")["outcome"], "done");
    EXPECT_EQ(explained({"--fresh"})["outcome"], "done");
    EXPECT_EQ(benchWith({"script", folder, "--product", "1.0.0.5", "--system", "10.8.5"}).status, 0);
}

TEST_F(ReleaseBench, InitLeavesAFolderThatIsInUse) {
    const Files before = filesBelow(folder);
    const Ended ended = benchWith({"init", folder});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, HasSubstr("is there already"));
    EXPECT_TRUE(sameFiles(before, filesBelow(folder)));
}

TEST_F(ReleaseBench, InitNamesTheSchemaThatIsInstalled) {
    const std::string schema = read()["$schema"];
    EXPECT_THAT(schema, StartsWith("file:///"));
    EXPECT_TRUE(Json::parse(readText(schema.substr(std::string("file://").size()))).contains("definitions"));
}

// Somebody may be working in it, and its mode is the owner's.
TEST_F(ReleaseBench, InitFillsAnEmptyFolderThatStaysItself) {
    const std::string empty = work + "/empty";
    fs::create_directories(empty);
    fs::permissions(empty, fs::perms(0770));
    const std::string state = "stat -c '%i %a' " + empty;
    const std::string before = shell(state);
    EXPECT_EQ(run({"bash", "-c", "cd " + empty + " && " + bench + " init . && test -e release.json"}).status,
              0);
    EXPECT_EQ(shell(state), before);
    EXPECT_TRUE(sameFiles(filesBelow(folder), filesBelow(empty)));
}

// --- build

TEST_F(ReleaseBench, BuildWritesSizesAndTheHashesOfTheSuitesTool) {
    ASSERT_EQ(benchWith({"build", folder}).status, 0);
    const std::string file = folder + "/packages/1.0.1.0/toolbar.pkg";
    const std::string hash =
        shell("/usr/local/Brovik/qrn/bin/sha1sum " + file + " | awk '{printf \"%s\", toupper($1)}'");
    const std::string catalog = readText(folder + "/built/catalogs/partner_maccat.xml");
    EXPECT_THAT(catalog, HasSubstr("<hash>" + hash + "</hash>"));
    EXPECT_THAT(catalog, HasSubstr("<size>" + std::to_string(fs::file_size(file)) + "</size>"));
    EXPECT_THAT(readText(folder + "/built/DynaConfig.plist"), HasSubstr("<string>services.pkg</string>"));
    EXPECT_THAT(readText(folder + "/built/releases.xml"), HasSubstr("affid=\"105\""));
}

TEST_F(ReleaseBench, BuildGivesTheSameBytesEverywhere) {
    ASSERT_EQ(benchWith({"build", folder, "--out", work + "/one"}).status, 0);
    ASSERT_EQ(benchWith({"build", folder, "--out", work + "/two/"}).status, 0);
    EXPECT_TRUE(sameFiles(filesBelow(work + "/one"), filesBelow(work + "/two")));
}

TEST_F(ReleaseBench, BuildTouchesNothingThatStaysTheSame) {
    ASSERT_EQ(benchWith({"build", folder}).status, 0);
    const std::string state = "find " + folder + "/built -printf '%p %i %T@ %C@\\n' | sort";
    const std::string before = shell(state);
    EXPECT_THAT(benchWith({"build", folder}).out, HasSubstr("unchanged"));
    EXPECT_EQ(shell(state), before);

    const std::string catalog = folder + "/built/catalogs/partner_maccat.xml";
    const auto time = fs::last_write_time(catalog);
    change([](Json &release) { release["order"] = {"toolbar.pkg"}; });
    ASSERT_EQ(benchWith({"build", folder}).status, 0);
    EXPECT_EQ(fs::last_write_time(catalog), time);
    EXPECT_THAT(readText(folder + "/built/DynaConfig.plist"), Not(HasSubstr("services.pkg")));
}

TEST_F(ReleaseBench, BuildLeavesItsFoldersTheirModes) {
    ASSERT_EQ(benchWith({"build", folder}).status, 0);
    const std::string built = folder + "/built";
    fs::permissions(built, fs::perms(02775));
    fs::permissions(built + "/catalogs", fs::perms(0770));
    change([](Json &release) { release["order"] = {"toolbar.pkg"}; });
    ASSERT_EQ(benchWith({"build", folder}).status, 0);
    EXPECT_EQ(shell("stat -c %a " + built + " " + built + "/catalogs"), "2775\n770\n");
}

TEST_F(ReleaseBench, BuildTakesAwayACatalogThatIsNoMore) {
    ASSERT_EQ(benchWith({"build", folder}).status, 0);
    change([](Json &release) {
        release["catalogs"].erase(1);
        release["audience"][0].erase("partners");
    });
    ASSERT_EQ(benchWith({"build", folder}).status, 0);
    EXPECT_FALSE(fs::exists(folder + "/built/catalogs/partner_maccat.xml"));
}

TEST_F(ReleaseBench, BuildLeavesAFolderWithOtherFiles) {
    fs::create_directories(work + "/site");
    writeText(work + "/site/index.html", "kept");
    const Ended ended = benchWith({"build", folder, "--out", work + "/site"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, HasSubstr("/site/index.html"));
    EXPECT_EQ(readText(work + "/site/index.html"), "kept");
    EXPECT_FALSE(fs::exists(work + "/site/releases.xml"));
}

TEST_F(ReleaseBench, BuildWritesNothingWhenAPackageIsMissing) {
    fs::remove(folder + "/packages/1.0.1.0/toolbar.pkg");
    const Ended ended = benchWith({"build", folder});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, AllOf(StartsWith(folder + "/release.json:"),
                                 HasSubstr("catalogs[1].hotFixes[0].file"), HasSubstr("toolbar.pkg")));
    EXPECT_FALSE(fs::exists(folder + "/built"));
}

TEST_F(ReleaseBench, BuildWritesTextsSoThatTheEngineReadsThemBack) {
    const std::string name = "<a & \"b\"> \xC3\xBC.pkg";
    change([&name](Json &release) { release["catalogs"][0]["hotFixes"][0]["name"] = name; });
    EXPECT_EQ(explainedFor("1.0.0.5", "10.8.5")["hotFixes"][0]["name"], name);
}

// A file of that many bytes takes no room, and a while to be hashed.
void makeLargePackage() {
    const std::string file = folder + "/packages/1.0.1.0/platform.pkg";
    fs::resize_file(file, 20'000'000'000U);
}

TEST_F(ReleaseBench, BuildShowsABarOnATerminalOnly) {
    fs::resize_file(folder + "/packages/1.0.1.0/platform.pkg", 600'000'000U);
    EXPECT_THAT(benchWith({"build", folder}).err, IsEmpty());
    PseudoTerminal terminal({bench, "build", folder}, 60);
    EXPECT_TRUE(terminal.shows("hashing  "));
    EXPECT_TRUE(terminal.shows(" of 572.2 MB"));
    EXPECT_EQ(terminal.end(), 0);
}

TEST_F(ReleaseBench, InterruptEndsABuildByItsSignalAndLeavesNothing) {
    makeLargePackage();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        PseudoTerminal terminal({bench, "build", folder}, 60);
        ASSERT_TRUE(terminal.shows("hashing  "));
        terminal.send(signal);
        EXPECT_EQ(terminal.end(), 128 + signal);
        EXPECT_TRUE(terminal.echoes());
        EXPECT_FALSE(fs::exists(folder + "/built"));
    }
}

// --- release.json

struct Fault {
    const char *name;
    std::function<void(Json &)> make;
    std::string place; // and line, in a file that is written with a line a key
    std::string text;
};

void PrintTo(const Fault &fault, std::ostream *out) {
    *out << fault.name;
}

class FaultyRelease : public ReleaseBench, public testing::WithParamInterface<Fault> {};

TEST_P(FaultyRelease, IsToldWithFileLineKeyAndWhatWasExpected) {
    change(GetParam().make);
    const Ended ended = benchWith({"build", folder});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, StartsWith(folder + "/release.json:"));
    EXPECT_THAT(ended.err,
                AllOf(HasSubstr(GetParam().place), HasSubstr(GetParam().text), HasSubstr("expected")));
    EXPECT_FALSE(fs::exists(folder + "/built"));
}

INSTANTIATE_TEST_SUITE_P(
    ReleaseFile, FaultyRelease,
    testing::Values(
        Fault{"MisspeltKey", [](Json &release) { release["catalogs"][0]["hotFixes"][1]["minversion"] = "1"; },
              "catalogs[0].hotFixes[1].minversion: ", "unknown key, expected one of: build, file, maxSystem"},
        Fault{"MissingKey", [](Json &release) { release["catalogs"][1].erase("root"); },
              "catalogs[1]: ", "lacks \"root\", expected a string that is not empty: the URL"},
        Fault{"WrongType", [](Json &release) { release["catalogs"][0]["hotFixes"][1]["repost"] = "YES"; },
              "catalogs[0].hotFixes[1].repost: ", "expected true or false"},
        Fault{"NumberForAText", [](Json &release) { release["catalogs"][0]["hotFixes"][0]["build"] = 130; },
              "catalogs[0].hotFixes[0].build: ", "expected a string: the build number"},
        Fault{"EmptyText", [](Json &release) { release["catalogs"][0]["hotFixes"][0]["url"] = ""; },
              "catalogs[0].hotFixes[0].url: ", "expected a string that is not empty"},
        Fault{"NoAudience", [](Json &release) { release["audience"] = Json::array(); },
              "audience: ", "expected an array that is not empty"},
        Fault{"NoObject", [](Json &release) { release = "text"; }, "release.json:1: ", "expected an object"},
        Fault{"UnknownCatalog",
              [](Json &release) { release["audience"][0]["products"][0]["catalogs"] = {"none"}; },
              "audience[0].products[0].catalogs[0]: ", "\"none\" is not"},
        Fault{"CatalogTwice", [](Json &release) { release["catalogs"][1]["name"] = "platform_maccat"; },
              "catalogs[1].name: ", "another catalog has that name"},
        Fault{"CatalogInAFolder", [](Json &release) { release["catalogs"][0]["name"] = "../x"; },
              "catalogs[0].name: ", "without a folder"},
        Fault{"ControlCharacter", [](Json &release) { release["catalogs"][0]["version"] = "1\x01"; },
              "catalogs[0].version: ", "control character"},
        Fault{"NoCharacter",
              [](Json &release) { release["catalogs"][0]["hotFixes"][0]["name"] = "a\xEF\xBF\xBF"; },
              "catalogs[0].hotFixes[0].name: ", "expected a text that XML can hold"}),
    caseName);

TEST_F(ReleaseBench, FaultsAreToldAllAtOnceEachWithItsLine) {
    writeText(folder + "/release.json",
              "{\n\"audience\": 1,\n\"catalogs\":\n [\n  {\"name\": \"a\"}\n ]\n}\n");
    const std::vector<std::string> lines = linesOf(benchWith({"build", folder}).err);
    EXPECT_THAT(lines, testing::SizeIs(3));
    EXPECT_THAT(lines, Contains(StartsWith(folder + "/release.json:2: audience: ")));
    EXPECT_THAT(
        lines, Contains(AllOf(StartsWith(folder + "/release.json:5: catalogs[0]: "), HasSubstr("\"root\""))));
}

TEST_F(ReleaseBench, KeyThatStandsTwiceIsToldWithItsLine) {
    writeText(folder + "/release.json", "{\n\"order\": [],\n\"order\": []}");
    EXPECT_EQ(benchWith({"build", folder}).err,
              folder + "/release.json:3: order: stands twice, expected once\n");
}

TEST_F(ReleaseBench, KeyThatHoldsASlashIsToldWithItsLine) {
    writeText(folder + "/release.json",
              "{\n\"order\": [],\n\"order/x\": [],\n\"audience\": [],\n\"catalogs\": []\n}");
    EXPECT_THAT(linesOf(benchWith({"build", folder}).err),
                Contains(StartsWith(folder + "/release.json:3: order.x: unknown key")));
}

TEST_F(ReleaseBench, WhatIsNoJsonIsToldWithItsLine) {
    writeText(folder + "/release.json", "{\n\"order\" []}");
    EXPECT_THAT(benchWith({"build", folder}).err,
                AllOf(StartsWith(folder + "/release.json:2: no JSON: "), HasSubstr("expected ':'")));
    fs::remove(folder + "/release.json");
    EXPECT_THAT(benchWith({"build", folder}).err, StartsWith(folder + "/release.json: cannot be read"));
}

TEST_F(ReleaseBench, WhatIsNoFileOrNoSensibleJsonIsToldAtOnce) {
    const std::string file = folder + "/release.json";
    writeText(file, std::string(200'000, '['));
    EXPECT_THAT(benchWith({"build", folder}).err, StartsWith(file + ":1: nested deeper than any release"));
    writeText(file, "{\n\"order\": 1e999}");
    EXPECT_THAT(benchWith({"build", folder}).err, StartsWith(file + ":2: no JSON: number overflow"));
    for (const std::string make : {"mkdir ", "mkfifo ", "ln -s /dev/zero "}) {
        static_cast<void>(shell("rm -rf " + file + " && " + make + file));
        EXPECT_THAT(benchWith({"build", folder}).err, StartsWith(file + ": cannot be read")) << make;
    }
}

TEST_F(ReleaseBench, PackageThatLeadsInACircleIsToldWithItsPlace) {
    const std::string file = folder + "/packages/1.0.1.0/toolbar.pkg";
    fs::remove(file);
    fs::create_symlink("toolbar.pkg", file);
    EXPECT_THAT(benchWith({"build", folder}).err, HasSubstr("catalogs[1].hotFixes[0].file: expected a file"));
}

// --- explain

TEST_F(ReleaseBench, ExplainTellsTheBoundThatDecidesAndBothValues) {
    const auto bound = [](const Json &told, const char *key, const char *value, const char *compared) {
        return told["bound"] == Json({{"key", key}, {"value", value}, {"compared", compared}});
    };
    EXPECT_TRUE(bound(explainedFor("1.0.1.0", "10.8.5")["hotFixes"][0], "maxVersion", "1.0.0.9", "1.0.1.0"));
    EXPECT_TRUE(bound(explainedFor("0.9", "10.8.5")["hotFixes"][0], "minVersion", "1.0.0.0", "0.9"));
    EXPECT_TRUE(bound(explainedFor("1.0.0.5", "10.9.0")["hotFixes"][0], "maxSystem", "10.8.9", "10.9.0"));
    EXPECT_TRUE(bound(explainedFor("1.0.0.5", "10.5.8")["hotFixes"][0], "minSystem", "10.6.0", "10.5.8"));
    EXPECT_THAT(
        benchWith({"explain", folder, "--product", "1.0.1.0", "--system", "10.8.5"}).out,
        AllOf(HasSubstr("- toolbar.pkg  1.0.1.0 (build 127): product 1.0.1.0 is above maxVersion 1.0.0.9"),
              HasSubstr("Nothing is changed: No updates Found")));
}

TEST_F(ReleaseBench, ExplainTellsPlacesOrderRulesAndTheReleaseAfterwards) {
    change([](Json &release) { release["order"] = {"toolbar.pkg"}; });
    const Json told = explainedFor("1.0.0.5", "10.8.5");
    const std::string packages = "/usr/local/Brovik/TempDownload/Package/";
    EXPECT_EQ(told["downloads"][1]["path"], packages + "repost/1.0.1.0/services.pkg");
    EXPECT_EQ(told["order"],
              Json::parse(R"([
        {"path": ")" + packages +
                          R"(1.0.1.0/toolbar.pkg", "rule": "name-within-version", "name": "toolbar.pkg"},
        {"path": ")" + packages +
                          R"(1.0.1.0/platform.pkg", "rule": "version", "name": ""},
        {"path": ")" + packages +
                          R"(repost/1.0.1.0/services.pkg", "rule": "left-out", "name": ""}])"));
    EXPECT_EQ(told["afterwards"]["version"], "1.0.1.0");
    EXPECT_EQ(told["afterwards"]["build"], "130");
    EXPECT_EQ(told["afterwards"]["releaseName"], "basicmac3.4");
}

TEST_F(ReleaseBench, ExplainTakesWhatIsNotGivenFromAMachinesConfiguration) {
    const std::string configuration = std::string(PRODUCT) + "/ProductConfig.xml";
    const Json told = explained({"--config", configuration, "--system", "10.8.5"});
    EXPECT_EQ(told["product"], "1.0.0.5");
    EXPECT_EQ(told["affiliate"], "105-1");
    EXPECT_EQ(told["outcome"], "done");
    EXPECT_EQ(explained({"--config", configuration, "--system", "10.8.5", "--product", "9"})["product"], "9");
    EXPECT_EQ(benchWith({"explain", folder, "--system", "10.8.5", "--config", "/none"}).status, 2);
    EXPECT_EQ(benchWith({"explain", folder, "--system", "10.8.5"}).status, 2);
}

// What the machine would ask with is not told by such a file, and the release's first would be somebody
// else's.
TEST_F(ReleaseBench, ExplainRefusesAConfigurationThatDoesNotTellTheMachine) {
    const auto refused = [](const std::string &settings, const std::vector<std::string> &options) {
        writeText(work + "/configuration", settings);
        std::vector<std::string> arguments = {"explain", folder, "--config", work + "/configuration"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Ended ended = benchWith(arguments);
        EXPECT_EQ(ended.status, ended.err.empty() ? 0 : 2);
        return ended.err;
    };
    const std::vector<std::string> machine = {"--system", "10.8.5", "--product", "1.0.0.5"};
    EXPECT_THAT(refused("none", machine), HasSubstr("no product configuration"));
    EXPECT_THAT(refused("<Other/>", machine), HasSubstr("no product configuration"));
    const std::string version = "<ProductVersion>1.0.0.5</ProductVersion>";
    EXPECT_THAT(refused("<ProductConfiguration>" + version + "</ProductConfiguration>", machine),
                HasSubstr("tells no AppID"));
    const std::string id = "<AppID>quaformac</AppID>";
    EXPECT_THAT(refused("<ProductConfiguration>" + id + id + version + "</ProductConfiguration>", machine),
                HasSubstr("tells no AppID"));
    const std::string withoutVersion = "<ProductConfiguration>" + id + "</ProductConfiguration>";
    EXPECT_THAT(refused(withoutVersion, {"--system", "10.8.5"}), HasSubstr("tells no ProductVersion"));
    EXPECT_EQ(refused(withoutVersion, machine), "");
    EXPECT_EQ(refused(withoutVersion, {"--fresh"}), "");
}

TEST_F(ReleaseBench, ExplainTellsWhatNobodyOfThisAudienceGets) {
    EXPECT_EQ(explained({"--product", "1", "--system", "10", "--affiliate", "7"})["outcome"],
              "nothing-to-do");
    EXPECT_EQ(explained({"--product", "1", "--system", "10", "--app", "none"})["outcome"], "nothing-to-do");
}

TEST_F(ReleaseBench, ExplainTellsWhatEndsOrRefusesAnUpdate) {
    const auto reasonOf = [](const std::function<void(Json &)> &changing) -> std::string {
        const Json before = read();
        change(changing);
        const Json told = explainedFor("1.0.0.5", "10.8.5");
        EXPECT_EQ(told["outcome"], "fails");
        writeText(folder + "/release.json", before.dump());
        return told["reason"];
    };
    const auto set = [](const char *key, const char *value) {
        return [=](Json &release) { release["catalogs"][0]["hotFixes"][0][key] = value; };
    };
    EXPECT_THAT(reasonOf(set("build", "x")), HasSubstr("build number \"x\""));
    EXPECT_THAT(reasonOf(set("version", "1.0.1.0;reboot")), StartsWith("ERROR: Destination Creation Failed"));
    EXPECT_THAT(reasonOf(set("url", "https://host/a.zip")), StartsWith("ERROR: Download Failed"));
    EXPECT_THAT(reasonOf(set("url", "https://host/a b.pkg")), StartsWith("ERROR: Download Failed"));
}

TEST_F(ReleaseBench, ExplainTellsThatACatalogWithoutItsPackageVoidsAFreshInstallation) {
    change([](Json &release) { release["catalogs"][0].erase("fullInstall"); });
    const Json told = explained({"--fresh"});
    EXPECT_EQ(told["outcome"], "fails");
    EXPECT_THAT(std::string(told["reason"]), StartsWith("ERROR:  Package Missing"));
}

TEST_F(ReleaseBench, ExplainTellsThatAFreshInstallationChecksAgainstAnotherPackagesHash) {
    const auto reasonFor = [](const char *name) -> std::string {
        change([name](Json &release) { release["catalogs"][0]["fullInstall"]["name"] = name; });
        return explained({"--fresh"})["reason"];
    };
    EXPECT_EQ(reasonFor("suite"), "");
    EXPECT_THAT(reasonFor("another"),
                AllOf(StartsWith("ERROR : Download Failed: "), HasSubstr("no product's name stands in")));
    // Which is the first product's and stands in both URLs.
    EXPECT_THAT(reasonFor("full/"), HasSubstr("is checked against the hash of packages/full/suite.pkg"));
}

// An update counts what is before the dash.
TEST_F(ReleaseBench, ExplainAsksWithTheWholeAffiliateIdForAFreshInstallation) {
    EXPECT_EQ(explained({"--fresh", "--affiliate", "105-1"})["outcome"], "fails");
    EXPECT_EQ(explained({"--product", "1.0.0.5", "--system", "10.8.5", "--affiliate", "105-1"})["outcome"],
              "done");
}

TEST_F(ReleaseBench, ExplainFollowsATerminalsWidthAndColours) {
    PseudoTerminal terminal({bench, "explain", folder, "--product", "1.0.0.5", "--system", "10.8.5"}, 50);
    EXPECT_EQ(terminal.end(), 0);
    EXPECT_THAT(terminal.output(), HasSubstr("\x1b["));
    const std::string plain =
        benchWith({"explain", folder, "--product", "1.0.0.5", "--system", "10.8.5"}).out;
    EXPECT_THAT(plain, Not(HasSubstr("\x1b")));
    EXPECT_GT(linesOf(terminal.output()).size(), linesOf(plain).size());
}

TEST_F(ReleaseBench, ExplainTouchesNothingOfAnInstalledSuite) {
    explainedFor("1.0.0.5", "10.8.5");
    EXPECT_FALSE(fs::exists("/var/log/DownloadManager.log"));
    EXPECT_FALSE(fs::exists("/usr/local/Brovik/TempDownload"));
}

// --- script

TEST_F(ReleaseBench, ScriptWarnsOfWordsThatAShellWouldNotTakeAsMeant) {
    change(
        [](Json &release) { release["catalogs"][0]["hotFixes"][0]["url"] = "https://host/plat{a,b}*.pkg"; });
    const Ended ended = benchWith({"script", folder, "--product", "1.0.0.5", "--system", "10.8.5"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out,
                AllOf(StartsWith("#!/bin/bash\n"), EndsWith("rm -rf /usr/local/repost/installer.sh\n")));
    EXPECT_THAT(linesOf(ended.err),
                ElementsAre(HasSubstr("is taken for a pattern"), HasSubstr("holds a brace")));
}

// No script can be had that is refused: the shell here reads another one, or there is none.
TEST_F(ReleaseBench, ScriptTellsWhatTheShellRefuses) {
    const auto scriptWithPath = [](const std::string &path) {
        return run({"/usr/bin/env", "PATH=" + path, bench, "script", folder, "--product", "1.0.0.5",
                    "--system", "10.8.5"});
    };
    fs::create_directories(work + "/bin");
    writeText(work + "/bin/bash", "#!/bin/bash\necho 'if true' | exec /bin/bash \"$@\"\n");
    fs::permissions(work + "/bin/bash", fs::perms::owner_all);
    const Ended refused = scriptWithPath(work + "/bin:/usr/bin:/bin");
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.out, StartsWith("#!/bin/bash\n"));
    EXPECT_THAT(refused.err, AllOf(StartsWith("bash -n: "), HasSubstr("syntax error")));
    const Ended unread = scriptWithPath("/none");
    EXPECT_EQ(unread.status, 2);
    EXPECT_THAT(unread.err, HasSubstr("bash"));
}

TEST_F(ReleaseBench, ScriptIsToldToBeNoneWhereNothingIsInstalled) {
    change([](Json &release) { release["catalogs"][0]["hotFixes"][0]["url"] = "https://host/#.pkg"; });
    EXPECT_EQ(benchWith({"script", folder, "--product", "1.0.0.5", "--system", "10.8.5"}).status, 0);
    const Ended none = benchWith({"script", folder, "--product", "9", "--system", "10.8.5"});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, HasSubstr("no script is run: No updates Found"));
}

// --- the command line

std::string exampleIn(const std::string &help) {
    for (const std::string &line : linesOf(help)) {
        const std::size_t begin = line.find("$ ");
        if (begin != std::string::npos)
            return line.substr(begin + 2);
    }
    return "false # no example";
}

TEST_F(ReleaseBench, EveryCommandsHelpShowsAnExampleThatWorks) {
    for (const std::string command : {"init", "build", "explain", "script", "matrix", "diff"}) {
        fs::remove_all(work + "/example");
        fs::create_directories(work + "/example");
        const Ended help = benchWith({command, "--help"});
        EXPECT_EQ(help.status, 0);
        const std::string example = exampleIn(help.out);
        EXPECT_THAT(example, HasSubstr("releasebench " + command));
        const Ended ended = run(
            {"bash", "-c", "cd " + work + "/example && PATH=/usr/local/Brovik/qrn/bin:$PATH && " + example});
        EXPECT_EQ(ended.status, 0) << example << ended.err;
    }
}

TEST_F(ReleaseBench, WrongCallsEndWithTheirStatus) {
    EXPECT_EQ(benchWith({}).status, 2);
    EXPECT_EQ(benchWith({"none"}).status, 2);
    EXPECT_EQ(benchWith({"build"}).status, 2);
    EXPECT_EQ(benchWith({"build", ""}).status, 2);
    EXPECT_EQ(benchWith({"--version"}).out, "1.0.0\n");
    EXPECT_EQ(run({"bash", "-c", bench + " explain " + folder + " --fresh >/dev/full"}).status, 2);
    EXPECT_EQ(run({"bash", "-c", bench + " explain " + folder + " --fresh >&-"}).status, 2);
}

} // namespace
