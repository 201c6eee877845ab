// What lint says comes of a mistake is what the engine's own functions make of it.
#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "InstallationOrder.h"
#include "LintCase.h"
#include "LintFixture.h"
#include "LintInput.h"
#include "LintPairs.h"
#include "Plan.h"
#include "ReleaseFile.h"
#include "ReleaseOffer.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;

// A machine's job with the changed release.
class LintTruth : public LintFixture {
protected:
    static void changeAs(const std::string &name) {
        const std::vector<LintCase> cases = releaseCases();
        const auto found = std::find_if(cases.begin(), cases.end(),
                                        [&](const LintCase &example) { return example.name == name; });
        ASSERT_NE(found, cases.end()) << name;
        change(found->change);
    }
    static Plan updateOf(const std::string &product) {
        const Release release = readRelease(folder);
        return planUpdate(offerTo(firstAsker(release), release, Job::update), {product, "10.8.5"},
                          release.order);
    }
    static Plan freshInstall() {
        const Release release = readRelease(folder);
        return planFreshInstall(offerTo(firstAsker(release), release, Job::freshInstall));
    }
    static std::size_t chosenOf(const Plan &plan) {
        return static_cast<std::size_t>(
            std::count(plan.selections.begin(), plan.selections.end(), Selection::applies));
    }
    static std::vector<std::string> orderOf(const Plan &plan) {
        const std::list<std::string> paths = scriptedPackages(plan);
        return {paths.begin(), paths.end()};
    }
};

TEST_F(LintTruth, WhoHasAHotFixIsOfferedItAgain) {
    EXPECT_EQ(updateOf("1.0.1.0").outcome, Outcome::nothingToDo);
    changeAs("OfferedAgain");
    const Plan plan = updateOf("1.0.1.0");
    EXPECT_EQ(plan.outcome, Outcome::done);
    EXPECT_EQ(plan.version, "1.0.1.0");
    EXPECT_EQ(chosenOf(plan), 1U);
}

TEST_F(LintTruth, WhoIsInAGapIsOfferedNothing) {
    changeAs("Gap");
    EXPECT_EQ(updateOf("1.0.0.5").version, "1.0.1.0");
    EXPECT_EQ(updateOf("1.0.1.0").outcome, Outcome::nothingToDo);
    EXPECT_EQ(updateOf("1.0.2.0").version, "1.0.3.0");
}

TEST_F(LintTruth, WhoIsWithinTwoBoundsGetsBothVersions) {
    changeAs("Overlap");
    EXPECT_THAT(orderOf(updateOf("1.0.0.5")), Contains(HasSubstr("/platform.pkg")).Times(2));
}

TEST_F(LintTruth, WithoutABoundEveryProductGetsAHotFix) {
    changeAs("NoBounds");
    for (const std::string product : {"0.0.0.1", "1.0.0.5", "1.0.1.0", "9999.0.0.0"})
        EXPECT_GE(chosenOf(updateOf(product)), 1U) << product;
}

TEST_F(LintTruth, NobodyIsWithinInvertedBounds) {
    changeAs("InvertedBounds");
    EXPECT_EQ(chosenOf(updateOf("1.0.0.5")), 2U);
}

TEST_F(LintTruth, AShortUpperBoundExcludesWhatFollows) {
    changeAs("ShortUpperBound");
    EXPECT_EQ(updateOf("1.0.0.5").selections.front(), Selection::systemTooNew);
}

TEST_F(LintTruth, WithoutAVersionNobodyGetsAHotFix) {
    changeAs("NoVersion");
    EXPECT_EQ(updateOf("1.0.0.5").selections.front(), Selection::noProductVersion);
}

TEST_F(LintTruth, ABuildOfLettersEndsTheUpdate) {
    changeAs("BuildOfLetters");
    EXPECT_EQ(updateOf("1.0.0.5").outcome, Outcome::fails);
}

TEST_F(LintTruth, AnUpdateFailsByAUrlThatIsRefusedOrNoPackages) {
    const std::map<std::string, std::string> reasons = {
        {"https://host/HF_1.0.1.0/platform;.pkg", "ERROR: Destination Creation Failed"},
        {"https://host/HF_1.0.1.0/platform.zip", "no \".pkg\" in the file name"},
        {"https://host/HF_1.0.1.0/plat form.pkg", "libcurl makes no transfer of"}};
    for (const auto &[url, reason] : reasons) {
        change([url = url](nlohmann::json &release) { release["catalogs"][0]["hotFixes"][0]["url"] = url; });
        EXPECT_THAT(updateOf("1.0.0.5").reason, HasSubstr(reason)) << url;
    }
}

TEST_F(LintTruth, ACutVersionIsOrderedByItsRest) {
    changeAs("CutVersion");
    EXPECT_THAT(orderOf(updateOf("1.0.0.5")).back(), HasSubstr("/1.0.1.0_2/platform.pkg"));
}

TEST_F(LintTruth, TenIsInstalledBeforeNine) {
    changeAs("TenBeforeNine");
    const std::vector<std::string> order = orderOf(updateOf("1.0.0.5"));
    ASSERT_THAT(order, SizeIs(3));
    EXPECT_THAT(order[1], HasSubstr("/1.0.10.0/"));
    EXPECT_THAT(order[2], HasSubstr("/1.0.9.0/"));
}

TEST_F(LintTruth, TwoPackagesGoToOneFile) {
    changeAs("SharedFile");
    const Plan plan = updateOf("1.0.0.5");
    ASSERT_THAT(plan.downloads, SizeIs(4));
    EXPECT_EQ(plan.downloads[0].path, plan.downloads[2].path);
}

TEST_F(LintTruth, ARepostPackageWithoutANameIsNeverInstalled) {
    changeAs("RepostWithoutName");
    EXPECT_EQ(updateOf("1.0.0.5").order.back().rule, PlacedBy::nothing);
}

TEST_F(LintTruth, OfTwoRepostPackagesOfOneNameOneIsInstalled) {
    changeAs("RepostsOfOneName");
    const Plan plan = updateOf("1.0.0.5");
    EXPECT_EQ(chosenOf(plan), 4U);
    EXPECT_THAT(orderOf(plan), SizeIs(3));
}

TEST_F(LintTruth, ANameInOtherLetterCaseDecidesNothing) {
    changeAs("NameInOtherCase");
    for (const PlacedPackage &package : updateOf("1.0.0.5").order)
        EXPECT_NE(package.orderName, "Platform.pkg");
}

TEST_F(LintTruth, ACatalogThatIsNamedTwiceHasItsPackagesDownloadedTwice) {
    changeAs("CatalogTwice");
    EXPECT_THAT(updateOf("1.0.0.5").downloads, SizeIs(5));
}

TEST_F(LintTruth, AnUnreachedProductsHotFixesAreOfferedToNobody) {
    changeAs("UnreachedProduct");
    EXPECT_THAT(updateOf("1.0.0.5").selections, SizeIs(2));
}

TEST_F(LintTruth, AFreshInstallationFailsOrLacksAPackage) {
    const std::map<std::string, std::string> reasons = {{"NoFullInstall", "ERROR:  Package Missing"},
                                                        {"ForeignHash", "no product's name stands in"}};
    EXPECT_EQ(freshInstall().outcome, Outcome::done);
    for (const auto &[name, reason] : reasons) {
        SetUp();
        changeAs(name);
        EXPECT_THAT(freshInstall().reason, HasSubstr(reason)) << name;
    }
    SetUp();
    changeAs("ReplacedFullInstall");
    EXPECT_THAT(freshInstall().downloads, SizeIs(1));
    SetUp();
    changeAs("SharedFullInstall");
    const Plan shared = freshInstall();
    ASSERT_THAT(shared.downloads, SizeIs(2));
    EXPECT_EQ(shared.downloads[0].path, shared.downloads[1].path);
}

// A misspelt bound is none, and a misspelt version none at all.
TEST_F(LintTruth, AMisspeltElementCountsAsMissing) {
    const std::string catalog = builtCatalog();
    const auto judged = [&](const std::string &name, const std::string &product) {
        const std::vector<LintCatalogCase> cases = catalogCases();
        const auto found = std::find_if(cases.begin(), cases.end(),
                                        [&](const LintCatalogCase &example) { return example.name == name; });
        writeText("a.xml", found->change(catalog));
        const auto input = readLintInput({"a.xml"});
        return judgeHotFix(input->catalogs.front().hotFixes.front(), product, "10.8.5");
    };
    EXPECT_EQ(judged("Branding", "0.0.0.1"), Selection::productTooOld);
    EXPECT_EQ(judged("MisspeltLowerBound", "0.0.0.1"), Selection::applies);
    EXPECT_EQ(judged("MisspeltVersion", "1.0.0.5"), Selection::noProductVersion);
    EXPECT_EQ(judged("NamespaceOfAValue", "0.0.0.1"), Selection::productTooOld);
}

// --- by chance

HotFixPackageInfo hotFixByChance(std::mt19937 &chance) {
    const auto version = [&] { return chance() % 4 == 0 ? "" : "1." + std::to_string(chance() % 4); };
    HotFixPackageInfo hotFix;
    hotFix.minVer = version();
    hotFix.maxVer = version();
    hotFix.osxMinVer = version();
    hotFix.osxMaxVer = version();
    hotFix.productVer = "1";
    return hotFix;
}

TEST(LintPairs, FindAMachineForTwoHotFixesIfThereIsOne) {
    std::mt19937 chance(1);
    for (int i = 0; i < 3000; ++i) {
        const HotFixPackageInfo one = hotFixByChance(chance);
        const HotFixPackageInfo other = hotFixByChance(chance);
        bool isThere = false;
        for (int k = 0; k < 25; ++k) {
            const std::string product = "1." + std::to_string(k / 5);
            const std::string system = "1." + std::to_string(k % 5);
            isThere = isThere || (judgeHotFix(one, product, system) == Selection::applies &&
                                  judgeHotFix(other, product, system) == Selection::applies);
        }
        EXPECT_EQ(machineForBoth(one, other).has_value(), isThere);
    }
}

bool applies(const HotFixPackageInfo &hotFix, const Machine &machine) {
    return judgeHotFix(hotFix, machine.product, machine.system) == Selection::applies;
}

// Hot-fixes are gone through by their bounds; here each is compared with each.
TEST(LintPairs, AreFoundIfAnyMachineGetsTwo) {
    std::mt19937 chance(1);
    const auto isWanted = [](const LintHotFix &one, const LintHotFix &other) {
        return one.record().size != other.record().size;
    };
    for (int i = 0; i < 1000; ++i) {
        LintCatalog catalog;
        std::vector<LintHotFix> hotFixes;
        for (std::size_t k = 0; k < 4; ++k) {
            catalog.hotFixes.push_back(hotFixByChance(chance));
            catalog.hotFixes.back().name = "ab"[chance() % 2];
            catalog.hotFixes.back().size = std::to_string(chance() % 2);
            hotFixes.push_back({&catalog, k});
        }
        bool isThere = false;
        for (const LintHotFix &one : hotFixes) {
            for (const LintHotFix &other : hotFixes)
                isThere = isThere || (one.record().name == other.record().name && isWanted(one, other) &&
                                      machineForBoth(one.record(), other.record()));
        }
        const auto pairs = pairsOf(
            hotFixes, [](const LintHotFix &hotFix) { return hotFix.record().name; }, isWanted);
        EXPECT_EQ(!pairs.empty(), isThere);
        for (const LintPair &pair : pairs) {
            EXPECT_LT(pair.earlier.index, pair.later.index);
            EXPECT_EQ(pair.earlier.record().name, pair.later.record().name);
            EXPECT_TRUE(isWanted(pair.earlier, pair.later));
            EXPECT_TRUE(applies(pair.earlier.record(), pair.machine));
            EXPECT_TRUE(applies(pair.later.record(), pair.machine));
        }
    }
}

void giveVersionsByChance(nlohmann::json &release, std::mt19937 &chance) {
    const auto version = [&] { return "1.0.0." + std::to_string(chance() % 6); };
    for (nlohmann::json &catalog : release["catalogs"]) {
        catalog["productVersion"] = version();
        for (nlohmann::json &hotFix : catalog["hotFixes"])
            hotFix.update({{"minVersion", version()}, {"maxVersion", version()}, {"version", version()}});
    }
}

constexpr const char *someSystem = "10.8.5"; // of all hot-fixes

std::set<std::string> versionsBroughtBy(const LintInput &input) {
    std::set<std::string> brought;
    for (const LintCatalog &catalog : input.catalogs)
        brought.insert(catalog.product.version);
    for (const LintHotFix &hotFix : input.hotFixes()) {
        if (machineFor(hotFix.record()))
            brought.insert(hotFix.record().productVer);
    }
    return brought;
}

bool isRaisedBy(const LintInput &input, const std::string &product) {
    const std::vector<LintHotFix> hotFixes = input.hotFixes();
    return std::any_of(hotFixes.begin(), hotFixes.end(), [&](const LintHotFix &hotFix) {
        return applies(hotFix.record(), {product, someSystem}) && hotFix.record().productVer > product;
    });
}

std::set<std::string> toldBy(const std::string &rule, const LintInput &input) {
    std::set<std::string> parts;
    for (const Finding &finding : findingsOf(input)) {
        if (finding.rule->id == rule)
            parts.insert(finding.place.part);
    }
    return parts;
}

// Versions are gone through from the lowest up, with the hot-fixes at hand; here each is asked about alone.
TEST_F(LintTruth, WhoIsOfferedNothingHigherIsToldOfAnyRelease) {
    std::mt19937 chance(1);
    for (int i = 0; i < 50; ++i) {
        SetUp();
        change([&](nlohmann::json &release) { giveVersionsByChance(release, chance); });
        SCOPED_TRACE(readText("release.json"));
        const auto input = readLintInput({folder});
        const std::set<std::string> brought = versionsBroughtBy(*input);
        const std::size_t gaps = static_cast<std::size_t>(
            std::count_if(brought.begin(), brought.end(), [&](const std::string &product) {
                return product != *brought.rbegin() && !isRaisedBy(*input, product);
            }));
        EXPECT_THAT(toldBy("bounds-gap", *input), SizeIs(gaps));
        std::set<std::string> offeredAgain;
        for (const LintHotFix &hotFix : input->hotFixes()) {
            for (const std::string &product : {hotFix.record().productVer, hotFix.record().minVer}) {
                if (applies(hotFix.record(), {product, someSystem}) && !isRaisedBy(*input, product))
                    offeredAgain.insert(hotFix.at(Item::maxVer).part);
            }
        }
        EXPECT_EQ(toldBy("offered-again", *input), offeredAgain);
    }
}

// Names are looked for all at once; the engine goes through them one by one.
TEST_F(LintTruth, AdmittedRepostPackagesAreThoseOfTheEngine) {
    std::mt19937 chance(1);
    const auto nameByChance = [&] {
        std::string name;
        for (int i = 0; i < 2; ++i)
            name += "aAbB"[chance() % 4];
        return name + ".pkg";
    };
    for (int i = 0; i < 40; ++i) {
        SetUp();
        change([&](nlohmann::json &release) {
            release["order"] = {nameByChance(), nameByChance()};
            release["catalogs"][0]["hotFixes"][1]["url"] = "https://host/" + nameByChance();
        });
        const auto input = readLintInput({folder});
        const LintHotFix repost = input->hotFixes()[1];
        const bool isLeftOut =
            placedPackages({repost.destination()}, input->release->order).front().rule == PlacedBy::nothing;
        const std::vector<Finding> findings = findingsOf(*input);
        EXPECT_EQ(isLeftOut, std::any_of(findings.begin(), findings.end(), [](const Finding &finding) {
                      return finding.rule->id == std::string("repost-not-admitted");
                  }));
    }
}

} // namespace
