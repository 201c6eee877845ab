// The installed command: formats, statuses and its table of rules.
#include <algorithm>
#include <set>
#include <sstream>

#include <sys/stat.h>

#include "Lint.h"
#include "LintFixture.h"
#include "Program.h"
#include "PseudoTerminal.h"

namespace {

using Json = nlohmann::json;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string bench = "/usr/local/Brovik/qrn/bin/releasebench";

Ended lint(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {bench, "lint"});
    return run(arguments);
}

class LintCommand : public LintFixture {
protected:
    static void changePlatform(const std::string &key, const std::string &value) {
        change([&](Json &release) { release["catalogs"][0]["hotFixes"][0][key] = value; });
    }
};

TEST_F(LintCommand, EndsWithTheStatusOfWhatItFound) {
    EXPECT_EQ(lint({folder}).status, 0);
    changePlatform("build", "x");
    EXPECT_EQ(lint({folder}).status, 1);
    EXPECT_EQ(lint({folder, "--disable", "build-no-number"}).status, 0);
    EXPECT_EQ(lint({folder, "--disable", "url-twice", "--disable", "build-no-number"}).status, 0);
    EXPECT_EQ(lint({folder, "--disable", "none"}).status, 2);
    EXPECT_EQ(lint({folder, "--format", "none"}).status, 2);
    EXPECT_EQ(lint({}).status, 2);
    EXPECT_EQ(lint({"/none"}).status, 2);
    EXPECT_EQ(lint({folder, folder}).status, 2);
    writeText("release.json", "{");
    EXPECT_EQ(lint({folder}).status, 2);
}

// A pipe gives its content once only, and nobody may write to it.
TEST_F(LintCommand, WaitsForNoPipe) {
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    const Ended ended = lint({"pipe"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, StartsWith("pipe: cannot be read, expected"));
}

TEST_F(LintCommand, AsksForTheFolderOfARelease) {
    const Ended ended = lint({std::string(folder) + "/release.json"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err,
              std::string(folder) + "/release.json: is no catalog, expected the folder that it is in\n");
}

// They are told and are no findings.
TEST_F(LintCommand, EndsWellWithNotesOnly) {
    change([](Json &release) { release["order"] = {"services.pkg"}; });
    const Ended ended = lint({folder});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.out, AllOf(HasSubstr(": note: "), EndsWith("0 errors, 0 warnings, 1 note\n")));
}

TEST_F(LintCommand, TellsPlaceReasonAndRemedy) {
    changePlatform("build", "x");
    const Ended ended = lint({folder});
    EXPECT_THAT(ended.out, AllOf(StartsWith(std::string(folder) + "/release.json:"),
                                 HasSubstr(": error: catalogs[0].hotFixes[0].build: \"x\""),
                                 HasSubstr("[build-no-number]\n"), HasSubstr("uncaught exception"),
                                 HasSubstr("\n    Remedy: "), Not(HasSubstr("\x1b"))));
}

TEST_F(LintCommand, TellsEveryFindingOnALineOfItsOwn) {
    changePlatform("build", "x\nrelease.json:1: error: forged");
    EXPECT_THAT(lint({folder}).out, HasSubstr("\"x?release.json:1: error: forged\""));
}

TEST_F(LintCommand, FollowsATerminalsWidthAndColours) {
    changePlatform("build", "x");
    PseudoTerminal terminal({bench, "lint", folder}, 50);
    EXPECT_EQ(terminal.end(), 1);
    EXPECT_THAT(terminal.output(), HasSubstr("\x1b["));
}

TEST_F(LintCommand, TellsPrograms) {
    changePlatform("build", "x");
    const Json told = Json::parse(lint({folder, "--format", "json"}).out);
    EXPECT_EQ(told["errors"], 1);
    ASSERT_EQ(told["findings"].size(), 1U);
    const Json &finding = told["findings"][0];
    EXPECT_EQ(finding["rule"], "build-no-number");
    EXPECT_EQ(finding["severity"], "error");
    EXPECT_EQ(finding["file"], std::string(folder) + "/release.json");
    EXPECT_GT(finding["line"], 1);
    EXPECT_EQ(finding["part"], "catalogs[0].hotFixes[0].build");
}

// What the standard asks of such a file, as far as it is used.
TEST_F(LintCommand, TellsInSarif) {
    changePlatform("build", "x");
    const Ended ended = lint({folder, "--format", "sarif"});
    EXPECT_EQ(ended.status, 1);
    const Json log = Json::parse(ended.out);
    EXPECT_EQ(log.at("version"), "2.1.0");
    EXPECT_THAT(std::string(log.at("$schema")), HasSubstr("sarif-2.1.0"));
    ASSERT_EQ(log.at("runs").size(), 1U);
    const Json &driver = log["runs"][0].at("tool").at("driver");
    EXPECT_EQ(driver.at("name"), "releasebench");
    std::set<std::string> ids;
    for (const Json &rule : driver.at("rules")) {
        EXPECT_TRUE(ids.insert(rule.at("id")).second);
        for (const char *key : {"shortDescription", "fullDescription", "help"})
            EXPECT_TRUE(rule.at(key).at("text").is_string());
        const std::set<std::string> levels = {"none", "note", "warning", "error"};
        EXPECT_EQ(levels.count(rule.at("defaultConfiguration").at("level")), 1U);
    }
    ASSERT_EQ(log["runs"][0].at("results").size(), 1U);
    const Json &result = log["runs"][0]["results"][0];
    EXPECT_EQ(driver["rules"].at(std::size_t(result.at("ruleIndex"))).at("id"), result.at("ruleId"));
    EXPECT_EQ(result.at("level"), "error");
    EXPECT_TRUE(result.at("message").at("text").is_string());
    const Json &location = result.at("locations").at(0).at("physicalLocation");
    EXPECT_EQ(location.at("artifactLocation").at("uri"), "file://" + std::string(folder) + "/release.json");
    EXPECT_GE(location.at("region").at("startLine"), 1);
}

TEST_F(LintCommand, NamesAFileInSarifByOneUri) {
    changePlatform("build", "x");
    std::filesystem::create_directory("a b:c");
    std::filesystem::copy("release.json", "a b:c/release.json");
    std::filesystem::copy("packages", "a b:c/packages", std::filesystem::copy_options::recursive);
    for (const auto &[given, uri] :
         {std::pair(".", "release.json"), std::pair("./packages/..", "release.json"),
          std::pair("a b:c/", "a%20b%3Ac/release.json"),
          std::pair("//tmp/work/release", "file:///tmp/work/release/release.json")}) {
        const Json log = Json::parse(lint({given, "--format", "sarif"}).out);
        EXPECT_EQ(log["runs"][0]["results"]
                      .at(0)
                      .at("locations")
                      .at(0)
                      .at("physicalLocation")
                      .at("artifactLocation")
                      .at("uri"),
                  uri);
    }
}

TEST_F(LintCommand, HelpShowsAnExampleThatWorks) {
    const Ended help = lint({"--help"});
    EXPECT_EQ(help.status, 0);
    const std::size_t begin = help.out.find("$ ") + 2;
    const std::string example = help.out.substr(begin, help.out.find('\n', begin) - begin);
    EXPECT_THAT(example, HasSubstr("releasebench lint"));
    EXPECT_EQ(
        run({"bash", "-c", "cd /tmp/work && PATH=/usr/local/Brovik/qrn/bin:$PATH && " + example}).status, 0);
}

// --- the documents

std::vector<std::string> firstCellsOf(const std::string &text) {
    std::vector<std::string> cells;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const bool isRow = line.rfind("| ", 0) == 0 && line.rfind("| Behaviour", 0) != 0;
        if (isRow)
            cells.push_back(line.substr(2, line.find(" | ", 2) - 2));
    }
    return cells;
}

bool isOneOfBegun(const std::string &text, const std::vector<std::string> &beginnings) {
    return std::any_of(beginnings.begin(), beginnings.end(), [&](const std::string &beginning) {
        return !beginning.empty() && text.rfind(beginning, 0) == 0;
    });
}

const std::string lintDocument = std::string(DOCS) + "/lint.md";

TEST(LintDocument, ListsTheRulesAsTheyAre) {
    EXPECT_THAT(readText(lintDocument), HasSubstr("\n" + rulesInMarkdown() + "\n"));
}

TEST(LintDocument, NamesARuleOrAReasonForEveryKnownLimit) {
    const std::string document = readText(lintDocument);
    const std::vector<std::string> others =
        firstCellsOf(document.substr(std::min(document.find("| Behaviour |"), document.size())));
    std::vector<std::string> ofRules;
    for (const LintRule &rule : lintRules())
        ofRules.emplace_back(rule.limit);
    const std::vector<std::string> limits = firstCellsOf(readText(std::string(DOCS) + "/limits.md"));
    ASSERT_GT(limits.size(), 50U);
    for (const std::string &limit : limits)
        EXPECT_NE(isOneOfBegun(limit, ofRules), isOneOfBegun(limit, others)) << limit;
    ofRules.insert(ofRules.end(), others.begin(), others.end());
    for (const std::string &named : ofRules) {
        EXPECT_TRUE(named.empty() ||
                    std::any_of(limits.begin(), limits.end(),
                                [&](const std::string &limit) { return limit.rfind(named, 0) == 0; }))
            << named;
    }
}

} // namespace
