// The rules of lint: each is set off by a small mutation of the example, and by nothing else.
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "Lint.h"
#include "LintCase.h"
#include "LintFixture.h"
#include "LintInput.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using testing::IsEmpty;

class Lint : public LintFixture {};

std::vector<Finding> found(const std::vector<fs::path> &paths) {
    return findingsOf(*readLintInput(paths));
}

std::set<std::string> idsOf(const std::vector<Finding> &findings) {
    std::set<std::string> ids;
    for (const Finding &finding : findings)
        ids.insert(finding.rule->id);
    return ids;
}

std::string told(const std::vector<Finding> &findings) {
    std::string text;
    for (const Finding &finding : findings)
        text += finding.place.file + ":" + std::to_string(finding.place.line) + ": " + finding.place.part +
                ": " + finding.text + " [" + finding.rule->id + "]\n";
    return text;
}

TEST_F(Lint, FindsNothingInTheExample) {
    EXPECT_EQ(told(found({folder})), "");
    builtCatalog();
    EXPECT_EQ(told(found({folder})), "");
    EXPECT_EQ(told(found({"built/catalogs/platform_maccat.xml", "built/catalogs/partner_maccat.xml"})), "");
}

TEST_F(Lint, FindsWhatASmallChangeOfTheReleaseSetsOffAndNothingElse) {
    for (const LintCase &example : releaseCases()) {
        SCOPED_TRACE(example.name);
        SetUp();
        if (example.isBuiltBefore)
            builtCatalog();
        change(example.change);
        example.touch();
        const std::vector<Finding> findings = found({folder});
        EXPECT_EQ(idsOf(findings), example.rules) << told(findings);
    }
}

// What is just what build writes is not read any more.
TEST_F(Lint, TellsTheSameOfABuiltCatalogThatSaysTheSameInOtherBytes) {
    for (const LintCase &example : releaseCases()) {
        SCOPED_TRACE(example.name);
        SetUp();
        builtCatalog();
        change(example.change);
        example.touch();
        const std::string before = told(found({folder}));
        for (const fs::directory_entry &catalog : fs::directory_iterator("built/catalogs"))
            writeText(catalog.path(), readText(catalog.path()) + "<!-- the same -->\n");
        EXPECT_EQ(told(found({folder})), before);
    }
}

TEST_F(Lint, TellsTheLineInABuiltCatalog) {
    const std::string catalog = builtCatalog();
    const std::string file = "packages/1.0.1.0/platform.pkg";
    writeText(file, std::string(fs::file_size(file), 'x'));
    const std::vector<Finding> findings = found({folder});
    ASSERT_EQ(findings.size(), 1U) << told(findings);
    const std::string::size_type hash = catalog.find("<hash>");
    EXPECT_EQ(findings.front().place.file, folder + std::string("/built/catalogs/platform_maccat.xml"));
    EXPECT_EQ(findings.front().place.line,
              std::count(catalog.begin(), catalog.begin() + static_cast<long>(hash), '\n') + 1);
    EXPECT_EQ(findings.front().place.part, "hf_package[1]/hash");
}

TEST_F(Lint, FindsWhatASmallChangeOfACatalogSetsOffAndNothingElse) {
    const std::string catalog = builtCatalog();
    for (const LintCatalogCase &example : catalogCases()) {
        SCOPED_TRACE(example.name);
        const std::string changed = example.change(catalog);
        ASSERT_NE(changed, catalog);
        writeText(example.fileName, changed);
        const std::vector<Finding> findings = found({example.fileName});
        EXPECT_EQ(idsOf(findings), example.rules) << told(findings);
    }
}

TEST_F(Lint, HasACaseForEveryRule) {
    std::set<std::string> cases;
    for (const LintCase &example : releaseCases())
        cases.insert(example.rules.begin(), example.rules.end());
    for (const LintCatalogCase &example : catalogCases())
        cases.insert(example.rules.begin(), example.rules.end());
    std::set<std::string> rules;
    for (const LintRule &rule : lintRules())
        EXPECT_TRUE(rules.insert(rule.id).second) << rule.id << " stands twice";
    EXPECT_EQ(cases, rules);
}

TEST_F(Lint, LeavesOutADisabledRule) {
    change([](Json &release) { release["catalogs"][0]["hotFixes"][0]["build"] = "x"; });
    EXPECT_THAT(findingsOf(*readLintInput({folder}), {"build-no-number"}), IsEmpty());
}

TEST_F(Lint, TellsTheLineInReleaseJson) {
    change([](Json &release) { release["catalogs"][1]["hotFixes"][0]["build"] = "x"; });
    const std::vector<Finding> findings = found({folder});
    ASSERT_EQ(findings.size(), 1U);
    std::istringstream lines(readText("release.json"));
    std::string line;
    for (int i = 0; i < findings.front().place.line; ++i)
        std::getline(lines, line);
    EXPECT_THAT(line, testing::HasSubstr("\"build\": \"x\""));
    EXPECT_EQ(findings.front().place.part, "catalogs[1].hotFixes[0].build");
}

// libxml2 keeps the numbers of lines up to 65535 only.
TEST_F(Lint, TellsTheLineInACatalogOfManyLines) {
    std::string catalog = builtCatalog();
    const std::string begin = "<hf_package>";
    for (const std::size_t lines : {0U, 70000U}) {
        const std::size_t second = catalog.find(begin, catalog.find(begin) + 1);
        std::string longer = catalog.substr(0, second) + std::string(lines, '\n') + catalog.substr(second);
        const std::size_t build = longer.find("<buildno>129");
        longer.replace(build, 12, "<buildno>x");
        longer.insert(longer.find("<minver>", second), "<remark/>\n");
        writeText("long.xml", longer);
        const std::vector<Finding> findings = found({"long.xml"});
        ASSERT_EQ(findings.size(), 2U) << told(findings);
        const auto lineOf = [&](const char *text) {
            return std::count(longer.begin(), longer.begin() + static_cast<long>(longer.find(text)), '\n') +
                   1;
        };
        EXPECT_EQ(findings[0].place.line, lineOf("<remark/>"));
        EXPECT_EQ(findings[1].place.line, lineOf("<buildno>x"));
        EXPECT_EQ(findings[1].place.part, "hf_package[2]/buildno");
    }
}

// The order goes by versions: the name is taken by the second of them.
TEST_F(Lint, TellsWhichRepostPackageOfASharedNameIsLeftOut) {
    change([](Json &release) {
        Json &hotFixes = release["catalogs"][0]["hotFixes"];
        Json older = hotFixes[1];
        older["url"] = "https://download.brovik.example/HF_1.0.0.9/services.pkg";
        older["version"] = "1.0.0.9";
        hotFixes.push_back(older);
    });
    EXPECT_THAT(told(found({folder})),
                testing::HasSubstr("catalogs[0].hotFixes[1]: product 1.0.0.0 on system 10.0.0.0 gets several "
                                   "packages that the order name \"services.pkg\" stands in, and not "
                                   "/usr/local/Brovik/TempDownload/Package/repost/1.0.1.0/services.pkg"));
}

TEST_F(Lint, SaysWhatWasProbablyMeant) {
    writeText("a.xml", std::regex_replace(builtCatalog(), std::regex("osx_maxver"), "os_max_ver"));
    EXPECT_THAT(told(found({"a.xml"})),
                testing::HasSubstr("\"os_max_ver\", probably \"osx_maxver\" was meant"));
}

} // namespace
