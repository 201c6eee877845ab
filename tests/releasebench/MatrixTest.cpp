// The matrix of a release, and what becomes of it in another one: each cell is what the engine plans for that
// machine, and every machine between two cells' versions has the cell of its range.
#include <algorithm>
#include <functional>
#include <random>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ChanceRelease.h"
#include "Matrix.h"
#include "MatrixCommand.h"
#include "MatrixDiff.h"
#include "MatrixView.h"
#include "PageDocument.h"
#include "Paths.h"
#include "TemporaryFolder.h"
#include "UnusableInput.h"
#include "Version.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using Texts = std::vector<std::string>;

struct Bounds {
    std::string minVersion;
    std::string maxVersion;
    std::string minSystem;
    std::string maxSystem;
};

HotFixPackageInfo hotFix(const std::string &name, const std::string &version, const std::string &build,
                         const Bounds &bounds) {
    HotFixPackageInfo info;
    info.name = name;
    info.url = "https://host/HF_" + version + "/" + name;
    info.hash = name;
    info.minVer = bounds.minVersion;
    info.maxVer = bounds.maxVersion;
    info.osxMinVer = bounds.minSystem;
    info.osxMaxVer = bounds.maxSystem;
    info.productVer = version;
    info.buildNo = build;
    return info;
}

Served served(std::vector<HotFixPackageInfo> hotFixes) {
    Served made;
    made.folder = "release";
    made.asker = {"105", "quaformac"};
    made.offer.isAnswered = true;
    made.offer.hotFixes = std::move(hotFixes);
    return made;
}

Matrix matrixOf(const Served &served) {
    return matrixOf(served, axesOf({&served}));
}

Texts labelsOf(const std::vector<VersionRange> &ranges) {
    Texts labels;
    for (const VersionRange &range : ranges)
        labels.push_back(range.label());
    return labels;
}

// Both tables in words, a line a band.
Texts linesOf(const Matrix &matrix) {
    Texts lines;
    for (const Band &band : bandsOf(matrix)) {
        std::string line = band.label;
        for (std::size_t column = 0; column < matrix.systems.size(); ++column) {
            const CellWords words = wordsOf(matrix, band.first, column);
            line += " | " + words.update + ", " + words.way;
        }
        lines.push_back(line);
    }
    return lines;
}

// --- the axis

struct AxisCase {
    const char *name;
    Texts written;
    std::size_t numbers;
    std::vector<std::pair<std::string, std::string>> ranges; // labels and versions tried
};

void PrintTo(const AxisCase &axis, std::ostream *out) {
    *out << axis.name;
}

constexpr auto nameOfCase = [](const auto &parameter) { return std::string(parameter.param.name); };

class Axis : public testing::TestWithParam<AxisCase> {};

TEST_P(Axis, HasBothSidesOfEachVersion) {
    const VersionAxis axis(GetParam().written, GetParam().numbers);
    std::vector<std::pair<std::string, std::string>> ranges;
    for (const VersionRange &range : axis.ranges())
        ranges.emplace_back(range.label(), range.tried);
    EXPECT_EQ(ranges, GetParam().ranges);
    for (std::size_t i = 0; i < axis.size(); ++i) {
        EXPECT_EQ(axis.rangeOf(axis.tried(i)), i);
        EXPECT_TRUE(i == 0 || isGreaterVersion(axis.tried(i), axis.tried(i - 1)));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Versions, Axis,
    testing::Values(
        AxisCase{"None", {"", ""}, 4, {{"any", "1.0.0"}}},
        AxisCase{"OneVersion",
                 {"1.0.0.5"},
                 4,
                 {{"below 1.0.0.5", "1.0.0.4"}, {"1.0.0.5", "1.0.0.5"}, {"above 1.0.0.5", "1.0.0.6"}}},
        AxisCase{"NothingBetweenNeighbours",
                 {"1.0.0.10", "1.0.0.9"},
                 4,
                 {{"below 1.0.0.9", "1.0.0.8"},
                  {"1.0.0.9", "1.0.0.9"},
                  {"1.0.0.10", "1.0.0.10"},
                  {"above 1.0.0.10", "1.0.0.11"}}},
        AxisCase{"ASystemHasThreeNumbers",
                 {"10.8.9", "10.8.10", "10.6.0.5"},
                 3,
                 {{"below 10.6.0.5", "10.6.0"},
                  {"10.6.0.5", "10.6.0.5"},
                  {"above 10.6.0.5 to below 10.8.9", "10.6.1"},
                  {"10.8.9", "10.8.9"},
                  {"10.8.10", "10.8.10"},
                  {"above 10.8.10", "10.8.11"}}},
        AxisCase{"OneVersionInSeveralTexts",
                 {"1.0", "1", "1.0.0.0", "01.0.0"},
                 4,
                 {{"below 1.0", "0.0.0.0"}, {"1.0", "1.0"}, {"above 1.0", "1.0.0.1"}}},
        AxisCase{"NothingIsBelowZero", {"beta"}, 4, {{"beta", "beta"}, {"above beta", "0.0.0.1"}}},
        AxisCase{"ANumberThatIsNegativeToTheEngine",
                 {"4294967295.0.0.0", "1.0.2147483648.7"},
                 4,
                 {{"4294967295.0.0.0", "4294967295.0.0.0"},
                  {"above 4294967295.0.0.0 to below 1.0.2147483648.7", "0.0.0.0"},
                  {"1.0.2147483648.7", "1.0.2147483648.7"},
                  {"above 1.0.2147483648.7", "1.0.0.0"}}},
        AxisCase{"TheHighestNumberIsFollowedByTheNextOne",
                 {"1.0.0.2147483647"},
                 4,
                 {{"below 1.0.0.2147483647", "1.0.0.2147483646"},
                  {"1.0.0.2147483647", "1.0.0.2147483647"},
                  {"above 1.0.0.2147483647", "1.0.1.0"}}},
        AxisCase{"NothingIsAboveTheHighest",
                 {"2147483647.2147483647.2147483647.2147483647"},
                 4,
                 {{"below 2147483647.2147483647.2147483647.2147483647",
                   "2147483647.2147483647.2147483647.2147483646"},
                  {"2147483647.2147483647.2147483647.2147483647",
                   "2147483647.2147483647.2147483647.2147483647"}}}),
    nameOfCase);

// --- small releases with known matrices

struct KnownMatrix {
    const char *name;
    std::vector<HotFixPackageInfo> hotFixes;
    Texts systems;
    Texts lines;
    Texts findings;
};

void PrintTo(const KnownMatrix &known, std::ostream *out) {
    *out << known.name;
}

class SmallRelease : public testing::TestWithParam<KnownMatrix> {};

TEST_P(SmallRelease, HasItsMatrix) {
    const Matrix matrix = matrixOf(served(GetParam().hotFixes));
    EXPECT_EQ(labelsOf(matrix.systems), GetParam().systems);
    EXPECT_EQ(linesOf(matrix), GetParam().lines);
    EXPECT_EQ(findingsOf(matrix, bandsOf(matrix)), GetParam().findings);
}

INSTANTIATE_TEST_SUITE_P(
    Releases, SmallRelease,
    testing::Values(
        KnownMatrix{"Empty", {}, {"any"}, {"any | -, there"}, {}},
        KnownMatrix{"OneUpdate",
                    {hotFix("a.pkg", "2.0.0.0", "7", {"1.0.0.0", "1.9.9.9", "", ""})},
                    {"any"},
                    {"below 1.0.0.0 | -, never", "1.0.0.0 to 1.9.9.9 | 1 -> 2.0.0.0 (7), 1 update",
                     "above 1.9.9.9 to below 2.0.0.0 | -, never", "from 2.0.0.0 | -, there"},
                    {"product below 1.0.0.0: never reaches 2.0.0.0: nothing is offered",
                     "product above 1.9.9.9 to below 2.0.0.0: never reaches 2.0.0.0: nothing is offered"}},
        KnownMatrix{
            "AChainInTwoUpdates",
            {hotFix("a.pkg", "2", "7", {"", "1", "", ""}), hotFix("b.pkg", "3", "8", {"2", "2", "", ""})},
            {"any"},
            {"up to 1 | 1 -> 2 (7), 2 updates", "above 1 to below 2 | -, never", "2 | 1 -> 3 (8), 1 update",
             "above 2 to below 3 | -, never", "from 3 | -, there"},
            {"product above 1 to below 2: never reaches 3: nothing is offered",
             "product above 2 to below 3: never reaches 3: nothing is offered"}},
        KnownMatrix{
            "ABoundThatIncludesWhatItBringsIsOfferedForEver",
            {hotFix("a.pkg", "2", "7", {"1", "2", "", ""})},
            {"any"},
            {"below 1 | -, never", "1 to below 2 | 1 -> 2 (7), 1 update, for ever",
             "2 | 1 -> stays (7), there, for ever", "above 2 | -, there"},
            {"product below 1: never reaches 2: nothing is offered",
             "product 1 to below 2: is offered an update for ever at 2 that does not raise the version",
             "product 2: is offered an update for ever that does not raise the version"}},
        KnownMatrix{
            "AnUpdateThatLeadsIntoAnotherThatFails",
            {hotFix("a.pkg", "2", "7", {"", "1", "", ""}), hotFix("b.pkg", "3", "x", {"2", "2", "", ""})},
            {"any"},
            {"up to 1 | 1 -> 2 (7), never, fails at 2", "above 1 to below 2 | -, never",
             "2 | fails, never, fails", "above 2 to below 3 | -, never", "from 3 | -, there"},
            {"product up to 1: never reaches 3: the update at 2 fails: the engine's process ends at "
             "b.pkg, whose build number \"x\" is no number that fits",
             "product above 1 to below 2: never reaches 3: nothing is offered",
             "product 2: never reaches 3: the update fails: the engine's process ends at b.pkg, whose "
             "build number \"x\" is no number that fits",
             "product above 2 to below 3: never reaches 3: nothing is offered"}},
        KnownMatrix{"ByTheSystem",
                    {hotFix("a.pkg", "2", "7", {"", "1", "10.6.0", ""}),
                     hotFix("b.pkg", "2", "9", {"", "1", "", "10.8.9"})},
                    {"below 10.6.0", "10.6.0 to 10.8.9", "above 10.8.9"},
                    {"up to 1 | 1 -> 2 (9), 1 update | 2 -> 2 (9), 1 update | 1 -> 2 (7), 1 update",
                     "above 1 to below 2 | -, never | -, never | -, never",
                     "from 2 | -, there | -, there | -, there"},
                    {"product above 1 to below 2 on every system: never reaches 2: nothing is offered"}},
        KnownMatrix{
            "OtherPackagesToTheSameVersion",
            {hotFix("a.pkg", "2", "7", {"", "1", "", ""}), hotFix("b.pkg", "2", "7", {"0.5", "1", "", ""})},
            {"any"},
            {"below 0.5 | 1 -> 2 (7), 1 update", "0.5 to 1 | 2 -> 2 (7), 1 update",
             "above 1 to below 2 | -, never", "from 2 | -, there"},
            {"product above 1 to below 2: never reaches 2: nothing is offered"}},
        KnownMatrix{
            "TwoFailuresWithReasonsOfTheirOwn",
            {hotFix("a.pkg", "2", "x", {"", "0", "", ""}),
             hotFix("b.pkg", "2", "y", {"0.0.0.1", "", "", ""})},
            {"any"},
            {"0 | fails, never, fails", "0.0.0.1 to below 2 | fails, never, fails",
             "from 2 | fails, there, fails"},
            {"product 0: never reaches 2: the update fails: the engine's process ends at a.pkg, "
             "whose build number \"x\" is no number that fits",
             "product 0.0.0.1 to below 2: never reaches 2: the update fails: the engine's process ends "
             "at b.pkg, whose build number \"y\" is no number that fits",
             "product from 2: the update fails: the engine's process ends at b.pkg, whose build number "
             "\"y\" is no number that fits"}},
        KnownMatrix{
            "InvertedBoundsAreForNobody",
            {hotFix("a.pkg", "2", "7", {"1", "0", "", ""}), hotFix("b.pkg", "2", "7", {"", "", "11", "10"})},
            {"any"},
            {"0 to below 2 | -, never", "from 2 | -, there"},
            {"product 0 to below 2: never reaches 2: nothing is offered"}}),
    nameOfCase);

TEST(Matrix, CountsAFullInstallPackagesVersionAmongThoseOfTheRelease) {
    Served release = served({hotFix("a.pkg", "2", "7", {"", "1", "", ""})});
    release.fullVersions = {"3"};
    const Matrix matrix = matrixOf(release);
    EXPECT_EQ(matrix.newest, "3");
    EXPECT_THAT(linesOf(matrix), ElementsAre("up to 1 | 1 -> 2 (7), never at 2",
                                             "above 1 to below 3 | -, never", "from 3 | -, there"));
}

TEST(Matrix, TellsPackagesThatNoOrderNameAdmits) {
    Served release =
        served({hotFix("a.pkg", "2", "7", {"", "1", "", ""}), hotFix("b.pkg", "2", "7", {"", "1", "", ""})});
    release.offer.hotFixes[1].repost = true;
    const Matrix matrix = matrixOf(release);
    ASSERT_EQ(matrix.sets.size(), 1U);
    EXPECT_THAT(matrix.sets[0].installed, ElementsAre("2/a.pkg"));
    EXPECT_THAT(matrix.sets[0].leftOut, ElementsAre("repost/2/b.pkg"));
    EXPECT_EQ(matrix.installedBy(matrix.at(0, 0)), 1U);
    EXPECT_THAT(contentOf(matrix.sets[0]),
                HasSubstr("never installed, since no order name admits them: repost/2/b.pkg"));
}

TEST(Matrix, TellsTheRefusalThatTheEngineTells) {
    const Served release = served(
        {hotFix("a.pkg", "2;a", "7", {"", "1", "", ""}), hotFix("b.pkg", "2;b", "7", {"", "1", "", ""})});
    const Plan plan = planUpdate(release.offer, {"1", "10.8.5"}, {});
    EXPECT_THAT(plan.reason, HasSubstr("2;b/b.pkg"));
    EXPECT_EQ(*matrixOf(release).at(0, 0).reason, plan.reason);
}

// Catalogs with a version: one with its package, one without, one that nobody is told of.
TEST(Matrix, LooksForTheNewestVersionAmongPackagesThatAreOffered) {
    const TemporaryFolder folder;
    writeNewFile(folder.path() / "release.json", R"({
        "audience": [{"affiliates": ["*"], "releaseName": "r", "coreVersion": "1", "partnerVersion": "1",
            "products": [{"application": "quaformac", "catalogs": ["full", "empty"]}]}],
        "catalogs": [
            {"name": "full", "root": "https://host", "version": "1", "productVersion": "2",
                "fullInstall": {"file": "a", "url": "https://host/a.pkg"}},
            {"name": "empty", "root": "https://host", "version": "1", "productVersion": "3"},
            {"name": "other", "root": "https://host", "version": "1", "productVersion": "4",
                "fullInstall": {"file": "a", "url": "https://host/a.pkg"}}]})");
    EXPECT_EQ(matrixOf(servedOf(folder.path(), {})).newest, "2");
}

TEST(Matrix, NamesSetsByLetters) {
    EXPECT_EQ(nameOfSet(0), "a");
    EXPECT_EQ(nameOfSet(25), "z");
    EXPECT_EQ(nameOfSet(26), "aa");
    EXPECT_EQ(nameOfSet(26 + 26 * 26 - 1), "zz");
    EXPECT_EQ(nameOfSet(26 + 26 * 26), "aaa");
}

TEST(Matrix, OfTooManyMachinesIsRefusedWithTheirCount) {
    const Served release = served({hotFix("a.pkg", "2", "7", {"1", "", "10.6.0", ""})});
    MatrixLimits limits;
    limits.cells = 9;
    try {
        matrixOf(release, axesOf({&release}), limits);
        FAIL() << "was made";
    } catch (const UnusableInput &error) {
        EXPECT_THAT(error.what(),
                    HasSubstr("5 product versions by 2 system versions, expected no more than 9 pairs"));
    }
}

TEST(Matrix, ThatDoesNotListItsPackagesSaysSo) {
    const Served release = served({hotFix("a.pkg", "2", "7", {"", "1", "", ""})});
    MatrixLimits limits;
    limits.listed = 0;
    const Matrix matrix = matrixOf(release, axesOf({&release}), limits);
    EXPECT_THAT(matrix.sets, IsEmpty());
    EXPECT_THAT(linesOf(matrix), testing::Contains("up to 1 | 1 -> 2 (7), 1 update"));
    EXPECT_THAT(legendOf(matrix, bandsOf(matrix)), testing::Contains(HasSubstr("too many to be listed")));
}

// --- releases by chance

struct ByChance {
    Served served;
    Axes axes;
};

ByChance releaseByChance(unsigned seed) {
    std::mt19937 chance(seed);
    const ChanceRelease made = chanceRelease(chance);
    const TemporaryFolder folder;
    writeNewFile(folder.path() / "release.json", made.release.dump());
    const Served served = servedOf(folder.path(), {made.affiliate, made.application});
    return {served, axesOf({&served})};
}

// The same for a cell and for a plan that agree.
Texts toldBy(const Matrix &matrix, const Cell &cell) {
    Texts told = {std::to_string(static_cast<int>(cell.outcome)), *cell.reason, cell.version, cell.build,
                  std::to_string(cell.downloads)};
    if (cell.set) {
        const PackageSet &set = matrix.sets[*cell.set];
        told.insert(told.end(), set.installed.begin(), set.installed.end());
        for (const std::string &path : set.leftOut)
            told.push_back("-" + path);
    }
    return told;
}

Texts toldBy(const Plan &plan, bool listsPackages) {
    const bool isDone = plan.outcome == Outcome::done;
    Texts told = {std::to_string(static_cast<int>(plan.outcome)), plan.reason, plan.version, plan.build,
                  std::to_string(isDone ? plan.downloads.size() : 0)};
    if (!isDone || !listsPackages)
        return told;
    const auto add = [&told](const std::string &sign, const std::string &path) {
        told.push_back(sign + path.substr(packageDirectory().size() + 1));
    };
    for (const std::string &path : plan.branding)
        add("", path);
    for (const PlacedPackage &package : plan.order)
        add(package.rule == PlacedBy::nothing ? "-" : "", package.path);
    return told;
}

TEST(MatrixByChance, HasInEveryCellWhatTheEnginePlansForThatMachine) {
    unsigned done = 0;
    for (unsigned seed = 1; seed <= 60 && !testing::Test::HasFailure(); ++seed) {
        const ByChance release = releaseByChance(seed);
        for (const std::size_t listed : {std::size_t{0}, MatrixLimits().listed}) {
            MatrixLimits limits;
            limits.listed = listed;
            const Matrix matrix = matrixOf(release.served, release.axes, limits);
            for (std::size_t row = 0; row < release.axes.products.size(); ++row) {
                for (std::size_t system = 0; system < release.axes.systems.size(); ++system) {
                    const Machine machine = {release.axes.products.tried(row),
                                             release.axes.systems.tried(system)};
                    const Plan plan = planUpdate(release.served.offer, machine, release.served.orderNames);
                    const Cell &cell = matrix.at(row, matrix.columnOf[system]);
                    EXPECT_EQ(toldBy(matrix, cell), toldBy(plan, matrix.listsSets))
                        << "seed " << seed << ", product " << machine.product << ", system "
                        << machine.system;
                    done += plan.outcome == Outcome::done ? 1U : 0U;
                }
            }
        }
    }
    EXPECT_GT(done, 1000U);
}

// Numbers that lie at, next to and far from those of bounds.
std::string versionByChance(std::mt19937 &chance, std::size_t numbers) {
    constexpr unsigned some[] = {0, 0, 0, 1, 1, 2, 4, 5, 6, 8, 9, 10, 11, 60, 2147483647};
    std::string version;
    for (std::size_t i = 0; i < numbers; ++i)
        version += (i == 0 ? "" : ".") + std::to_string(some[chance() % std::size(some)]);
    return version;
}

bool holds(const VersionRange &range, const std::string &version) {
    const bool isFromThere = range.from.empty() || isGreaterVersion(version, range.from) ||
                             (range.hasFrom && !isGreaterVersion(range.from, version));
    const bool isToThere = range.to.empty() || isGreaterVersion(range.to, version) ||
                           (range.hasTo && !isGreaterVersion(version, range.to));
    return isFromThere && isToThere;
}

TEST(MatrixByChance, ToldByBandsIsToldOfEveryRow) {
    for (unsigned seed = 1; seed <= 60 && !testing::Test::HasFailure(); ++seed) {
        const ByChance release = releaseByChance(seed);
        const Matrix matrix = matrixOf(release.served, release.axes);
        for (const Band &band : bandsOf(matrix)) {
            for (std::size_t row = band.first; row <= band.last; ++row) {
                for (std::size_t column = 0; column < matrix.systems.size(); ++column) {
                    const CellWords ofBand = wordsOf(matrix, band.first, column);
                    const CellWords ofRow = wordsOf(matrix, row, column);
                    EXPECT_EQ(updateWithSet(ofRow), updateWithSet(ofBand)) << "seed " << seed;
                    EXPECT_EQ(ofRow.way, ofBand.way) << "seed " << seed;
                    EXPECT_EQ(*matrix.at(row, column).reason, *matrix.at(band.first, column).reason);
                }
            }
        }
    }
}

TEST(MatrixByChance, HoldsForEveryMachineWithinARange) {
    std::mt19937 chance(7);
    for (unsigned seed = 1; seed <= 40 && !testing::Test::HasFailure(); ++seed) {
        const ByChance release = releaseByChance(seed);
        const Matrix matrix = matrixOf(release.served, release.axes);
        for (int i = 0; i < 200; ++i) {
            const Machine machine = {versionByChance(chance, 4), versionByChance(chance, 3)};
            const std::size_t row = release.axes.products.rangeOf(machine.product);
            const std::size_t system = release.axes.systems.rangeOf(machine.system);
            ASSERT_TRUE(holds(release.axes.products.ranges()[row], machine.product));
            ASSERT_TRUE(holds(release.axes.systems.ranges()[system], machine.system));
            Cell cell = matrix.at(row, matrix.columnOf[system]);
            if (!cell.isRaised)
                cell.version = machine.product;
            const Plan plan = planUpdate(release.served.offer, machine, release.served.orderNames);
            EXPECT_EQ(toldBy(matrix, cell), toldBy(plan, true))
                << "seed " << seed << ", product " << machine.product << ", system " << machine.system;
        }
    }
}

TEST(MatrixByChance, TellsWhereTheUpdateLeadsWhenItIsRepeated) {
    for (unsigned seed = 1; seed <= 40 && !testing::Test::HasFailure(); ++seed) {
        const ByChance release = releaseByChance(seed);
        const Matrix matrix = matrixOf(release.served, release.axes);
        for (std::size_t row = 0; row < release.axes.products.size(); ++row) {
            for (std::size_t system = 0; system < release.axes.systems.size(); ++system) {
                Machine machine = {release.axes.products.tried(row), release.axes.systems.tried(system)};
                std::size_t updates = 0;
                Plan plan = planUpdate(release.served.offer, machine, release.served.orderNames);
                while (isGreaterVersion(plan.version, machine.product)) {
                    ++updates;
                    machine.product = plan.version;
                    plan = planUpdate(release.served.offer, machine, release.served.orderNames);
                }
                const Cell &cell = matrix.at(row, matrix.columnOf[system]);
                EXPECT_EQ(cell.updates, updates);
                EXPECT_EQ(cell.endRow, release.axes.products.rangeOf(machine.product));
                EXPECT_EQ(cell.end == WayEnd::offeredForEver, plan.outcome == Outcome::done);
                EXPECT_EQ(cell.end == WayEnd::fails, plan.outcome == Outcome::fails);
                EXPECT_EQ(matrix.reachesNewest(cell),
                          matrix.newest.empty() || !isGreaterVersion(matrix.newest, machine.product));
            }
        }
    }
}

// --- another release in its place

const Bounds upTo1 = {"", "1", "", ""};
const Bounds just2 = {"2", "2", "", ""};

struct WorseCase {
    const char *name;
    std::vector<HotFixPackageInfo> before;
    std::vector<HotFixPackageInfo> now;
    std::vector<std::pair<std::string, std::string>> worse; // products and rules
};

void PrintTo(const WorseCase &one, std::ostream *out) {
    *out << one.name;
}

std::vector<Change> changes(const Served &before, const Served &now) {
    const Axes axes = axesOf({&before, &now});
    return changesBetween(matrixOf(before, axes), matrixOf(now, axes), axes.systems);
}

class AnotherRelease : public testing::TestWithParam<WorseCase> {};

TEST_P(AnotherRelease, IsWorseByItsRules) {
    std::vector<std::pair<std::string, std::string>> worse;
    for (const Change &change : changes(served(GetParam().before), served(GetParam().now))) {
        for (const Worse &one : change.difference.worse)
            worse.emplace_back(change.products.label(), one.rule);
    }
    EXPECT_EQ(worse, GetParam().worse);
}

INSTANTIATE_TEST_SUITE_P(
    Releases, AnotherRelease,
    testing::Values(
        WorseCase{"TheSame", {hotFix("a.pkg", "2", "7", upTo1)}, {hotFix("a.pkg", "2", "7", upTo1)}, {}},
        WorseCase{"ANewerVersionForAll",
                  {hotFix("a.pkg", "2", "7", upTo1)},
                  {hotFix("a.pkg", "3", "8", {"", "2", "", ""})},
                  {}},
        WorseCase{"ANewerVersionByOneUpdateMore",
                  {hotFix("a.pkg", "2", "7", upTo1)},
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("a.pkg", "3", "8", just2)},
                  {}},
        WorseCase{"LowerVersion",
                  {hotFix("a.pkg", "3", "7", upTo1)},
                  {hotFix("a.pkg", "2", "7", upTo1)},
                  {{"up to 1", "lower-version"}, {"up to 1", "package-lost"}}},
        WorseCase{"LosesNewest",
                  {hotFix("a.pkg", "2", "7", upTo1)},
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("a.pkg", "3", "8", {"1", "1", "", ""})},
                  {{"below 1", "loses-newest"}, {"2", "loses-newest"}}},
        WorseCase{"Fails",
                  {hotFix("a.pkg", "2", "7", upTo1)},
                  {hotFix("a.pkg", "2", "x", upTo1)},
                  {{"up to 1", "lower-version"},
                   {"up to 1", "loses-newest"},
                   {"up to 1", "fails"},
                   {"up to 1", "package-lost"}}},
        WorseCase{"OfferedForEver",
                  {hotFix("a.pkg", "2", "7", upTo1)},
                  {hotFix("a.pkg", "2", "7", {"", "2", "", ""})},
                  {{"up to 1", "offered-for-ever"},
                   {"above 1 to below 2", "offered-for-ever"},
                   {"2", "offered-for-ever"}}},
        WorseCase{"MoreUpdates",
                  {hotFix("a.pkg", "3", "7", upTo1), hotFix("a.pkg", "3", "7", just2)},
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("a.pkg", "3", "7", just2)},
                  {{"up to 1", "more-updates"}}},
        WorseCase{"LowerBuild",
                  {hotFix("a.pkg", "2", "10", upTo1)},
                  {hotFix("a.pkg", "2", "9", upTo1)},
                  {{"up to 1", "lower-build"}}},
        WorseCase{"LowerBuildOfAHigherVersion",
                  {hotFix("a.pkg", "2", "10", upTo1)},
                  {hotFix("a.pkg", "3", "9", {"", "2", "", ""})},
                  {}},
        WorseCase{"PackageLost",
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("b.pkg", "2", "7", upTo1)},
                  {hotFix("a.pkg", "2", "7", upTo1)},
                  {{"up to 1", "package-lost"}}},
        WorseCase{"PackageInALowerVersion",
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("b.pkg", "2", "7", upTo1)},
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("b.pkg", "1.9", "7", upTo1)},
                  {{"up to 1", "package-lost"}}},
        WorseCase{"PackageByALaterUpdate",
                  {hotFix("a.pkg", "3", "7", upTo1), hotFix("b.pkg", "2", "7", upTo1),
                   hotFix("a.pkg", "3", "7", just2)},
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("a.pkg", "3", "7", just2),
                   hotFix("b.pkg", "2.1", "7", just2)},
                  {{"up to 1", "more-updates"}}},
        WorseCase{"PackageOfALaterUpdateThatIsPassedOver",
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("b.pkg", "3", "8", just2)},
                  {hotFix("a.pkg", "3", "8", upTo1), hotFix("b.pkg", "3", "8", just2)},
                  {{"up to 1", "package-lost"}}},
        WorseCase{"PackageOfALaterUpdateByTheOnlyOne",
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("b.pkg", "3", "8", just2)},
                  {hotFix("a.pkg", "3", "8", upTo1), hotFix("b.pkg", "3", "8", {"", "2", "", ""})},
                  {}},
        WorseCase{"PackageOfALaterUpdateOnTheWayOfBefore",
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("b.pkg", "3", "8", just2),
                   hotFix("c.pkg", "3", "8", just2)},
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("b.pkg", "3", "8", just2)},
                  {{"2", "package-lost"}}},
        WorseCase{"NothingForAHigherVersion",
                  {hotFix("a.pkg", "2", "7", upTo1), hotFix("b.pkg", "2", "7", upTo1)},
                  {hotFix("c.pkg", "3", "8", {"", "2", "", ""})},
                  {}}),
    nameOfCase);

TEST(AnotherRelease, IsToldByRangesOfProductsAndSystems) {
    const std::vector<Change> told = changes(
        served({hotFix("a.pkg", "2", "7", {"", "1", "10.6.0", "10.8.9"}), hotFix("b.pkg", "2", "7", upTo1)}),
        served({hotFix("a.pkg", "2", "7", {"", "1", "10.7.0", "10.8.9"}), hotFix("b.pkg", "2", "7", upTo1)}));
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].products.label(), "up to 1");
    EXPECT_THAT(labelsOf(told[0].systems), ElementsAre("10.6.0 to below 10.7.0"));
    EXPECT_EQ(told[0].difference.before, "2 -> 2 (7); newest: 1 update");
    EXPECT_EQ(told[0].difference.now, "1 -> 2 (7); newest: 1 update");
    EXPECT_THAT(told[0].difference.removed, ElementsAre("2/a.pkg"));
    EXPECT_THAT(told[0].difference.added, IsEmpty());
}

TEST(AnotherRelease, IsToldWithTheReasonOfAFailure) {
    const std::vector<Change> told =
        changes(served({hotFix("a.pkg", "2", "7", upTo1)}), served({hotFix("a.pkg", "2", "x", upTo1)}));
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].difference.now,
              "fails; newest: never, fails: the engine's process ends at a.pkg, whose "
              "build number \"x\" is no number that fits");
}

TEST(AnotherRelease, IsToldOfNeighbouringSystemsAsOne) {
    const std::vector<Change> told = changes(served({hotFix("a.pkg", "2", "7", {"", "1", "10.6.0", "10.8.9"}),
                                                     hotFix("b.pkg", "2", "7", {"5", "5", "10.7.0", ""})}),
                                             served({hotFix("a.pkg", "2", "8", {"", "1", "10.6.0", "10.8.9"}),
                                                     hotFix("b.pkg", "2", "7", {"5", "5", "10.7.0", ""})}));
    ASSERT_EQ(told.size(), 1U);
    EXPECT_THAT(labelsOf(told[0].systems), ElementsAre("10.6.0 to 10.8.9"));
}

TEST(AnotherRelease, IsToldOfProductsWithOthersBetweenThemApart) {
    const HotFixPackageInfo between = hotFix("b.pkg", "9", "7", {"2", "2", "", ""});
    const std::vector<Change> told = changes(served({hotFix("a.pkg", "9", "7", {"1", "1", "", ""}), between,
                                                     hotFix("a.pkg", "9", "7", {"3", "3", "", ""})}),
                                             served({hotFix("a.pkg", "9", "8", {"1", "1", "", ""}), between,
                                                     hotFix("a.pkg", "9", "8", {"3", "3", "", ""})}));
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].products.label(), "1");
    EXPECT_EQ(told[1].products.label(), "3");
}

TEST(AnotherRelease, IsNotComparedByPackagesThatAreNotListed) {
    const Served release = served({hotFix("a.pkg", "2", "7", upTo1)});
    const Axes axes = axesOf({&release});
    MatrixLimits limits;
    limits.listed = 0;
    const Matrix listed = matrixOf(release, axes);
    const Matrix counted = matrixOf(release, axes, limits);
    for (const auto &[before, now] : {std::make_pair(&listed, &counted), std::make_pair(&counted, &listed)}) {
        for (const Change &change : changesBetween(*before, *now, axes.systems)) {
            EXPECT_THAT(change.difference.added, IsEmpty());
            EXPECT_THAT(change.difference.removed, IsEmpty());
            EXPECT_THAT(change.difference.worse, IsEmpty());
        }
    }
}

// --- the page

std::string pageOf(const Served &release) {
    const Matrix matrix = matrixOf(release);
    return matrixPage(matrix, bandsOf(matrix));
}

TEST(MatrixPage, IsOneWellFormedPageThatLoadsNothing) {
    const std::string page =
        pageOf(served({hotFix("a.pkg", "2", "7", upTo1), hotFix("b.pkg", "3", "x", just2)}));
    EXPECT_THAT(page, testing::StartsWith("<!DOCTYPE html>\n<html"));
    const Document document = parsed(page);
    ASSERT_TRUE(document);
    EXPECT_THAT(textsOf(document,
                        "//@src | //@srcset | //@data | //@action | //*[local-name()='script'] | "
                        "//*[local-name()='link'] | //*[local-name()='base'] | //*[local-name()='iframe']"),
                IsEmpty());
    const Texts ids = textsOf(document, "//@id");
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size());
    for (const std::string &target : textsOf(document, "//@href | //@*[name()='aria-labelledby']"))
        EXPECT_THAT(ids, testing::Contains(target.front() == '#' ? target.substr(1) : target));
    EXPECT_THAT(page, AllOf(Not(HasSubstr("url(")), Not(HasSubstr("@import"))));
    EXPECT_THAT(textsOf(document, "//*[local-name()='style']"), testing::Each(Not(HasSubstr("\""))));
}

TEST(MatrixPage, TellsEveryCellInWordsAndInThePicture) {
    const Document document =
        parsed(pageOf(served({hotFix("a.pkg", "2", "7", upTo1), hotFix("b.pkg", "3", "x", just2)})));
    ASSERT_TRUE(document);
    EXPECT_THAT(textsOf(document, "//*[local-name()='tbody']//*[local-name()='th']"),
                ElementsAre("up to 1", "above 1 to below 2", "2", "above 2 to below 3", "from 3"));
    EXPECT_THAT(textsOf(document, "//*[local-name()='g']/*[local-name()='title']"),
                ElementsAre("product up to 1, system any: 1 -> 2 (7); never, fails at 2",
                            "product above 1 to below 2, system any: -; never",
                            "product 2, system any: fails; never, fails",
                            "product above 2 to below 3, system any: -; never",
                            "product from 3, system any: -; there"));
    EXPECT_THAT(textsOf(document, "//*[local-name()='path' and @class='way']/@d"),
                ElementsAre(testing::EndsWith(" 119"))); // the level of the third row
    EXPECT_THAT(textsOf(document, "//*[@id='set-a']//*[local-name()='li']"), ElementsAre("2/a.pkg"));
    EXPECT_EQ(textsOf(document, "//*[@tabindex='0' and @role='region']").size(), 2U);
    EXPECT_THAT(
        textsOf(document, "//*[local-name()='li']"),
        testing::IsSupersetOf({"-: nothing is offered", "fails: nothing is installed; the findings tell why",
                               "product above 1 to below 2: never reaches 3: nothing is offered"}));
}

std::string markIn(const std::string &edges) {
    const auto has = [&edges](const char *step) { return edges.find(step) != std::string::npos; };
    return has("A ") ? "circle" : has("H ") ? "square" : has("Z") ? "diamond" : "cross";
}

TEST(MatrixPage, MarksEveryEndAsItsLegendTells) {
    const Document document = parsed(pageOf(served(
        {hotFix("a.pkg", "2", "7", {"1", "1", "", ""}), hotFix("b.pkg", "4", "x", {"2", "2", "", ""}),
         hotFix("c.pkg", "3", "7", {"3", "3", "", ""}), hotFix("d.pkg", "4", "7", {"3.5", "3.5", "", ""})})));
    ASSERT_TRUE(document);
    std::vector<std::string> marks;
    for (const std::string &edges : textsOf(document, "//*[local-name()='path' and @class!='way']/@d"))
        marks.push_back(markIn(edges));
    EXPECT_THAT(marks, ElementsAre("square", "cross", "square", "cross", "square", "diamond", "square",
                                   "circle", "square", "circle", // and of the legend
                                   "circle", "circle", "square", "diamond", "cross"));
    EXPECT_THAT(
        textsOf(document, "//*[local-name()='g' and not(*[local-name()='title'])]/*[local-name()='text']"),
        ElementsAre("is there already", "gets to the newest version", "never gets there: nothing is offered",
                    "is offered the same update for ever", "its update fails"));
    EXPECT_THAT(textsOf(document, "//*[local-name()='path' and contains(@class, 'filled')]/../@class"),
                ElementsAre("bad", "fine", "fine", "bad"));
}

TEST(MatrixPage, TellsPackagesThatNoOrderNameAdmits) {
    Served release = served({hotFix("a.pkg", "2", "7", upTo1)});
    release.offer.hotFixes[0].repost = true;
    const Document document = parsed(pageOf(release));
    ASSERT_TRUE(document);
    EXPECT_THAT(textsOf(document, "//*[@id='set-a']//*[local-name()='ul']/*"), ElementsAre("repost/2/a.pkg"));
}

TEST(MatrixPage, OfManySystemsHasNoPicture) {
    std::vector<HotFixPackageInfo> some;
    for (int i = 0; i < 40; ++i) {
        const std::string system = "10." + std::to_string(i);
        some.push_back(hotFix("a.pkg", "2", "7", {"1", "1", system, system}));
    }
    EXPECT_THAT(pageOf(served(some)), AllOf(Not(HasSubstr("<svg")), HasSubstr("too large for a picture")));
}

TEST(MatrixPage, TakesNoTextForMarkup) {
    const std::string text = "<b>&\"'\x01";
    Served release = served({hotFix(text + ".pkg", "2", "7", {"", "1" + text, "", ""})});
    release.asker.affiliate = text + "\xFF";
    const Document document = parsed(pageOf(release));
    ASSERT_TRUE(document);
    EXPECT_THAT(textsOf(document, "//*[local-name()='h1']"), ElementsAre(HasSubstr("affiliate <b>&\"'??")));
    EXPECT_THAT(textsOf(document, "//*[local-name()='tbody']//*[local-name()='th']"),
                testing::Contains("up to 1<b>&\"'?"));
}

TEST(MatrixPage, ClaimsNothingOfAReleaseWithoutAVersion) {
    const std::string page = pageOf(served({}));
    EXPECT_THAT(page, HasSubstr("The release brings no version: No products found For Update"));
    EXPECT_THAT(page, AllOf(Not(HasSubstr("reaches the newest version")), Not(HasSubstr("<svg"))));
}

TEST(MatrixPage, OfAMatrixThatNobodyCouldReadIsRefused) {
    const Matrix matrix = matrixOf(served({}));
    EXPECT_THROW(matrixPage(matrix, std::vector<Band>(100'001)), UnusableInput);
}

TEST(MatrixPage, OfALargeMatrixHasNoPicture) {
    std::vector<HotFixPackageInfo> chain;
    for (int i = 0; i < 150; ++i) {
        const std::string version = "1." + std::to_string(i);
        chain.push_back(hotFix("a.pkg", "1." + std::to_string(i + 1), "7", {version, version, "", ""}));
    }
    const std::string page = pageOf(served(chain));
    EXPECT_THAT(page, AllOf(Not(HasSubstr("<svg")), HasSubstr("too large for a picture")));
}

} // namespace
