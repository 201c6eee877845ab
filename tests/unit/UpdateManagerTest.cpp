#include "UpdateManager.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <pthread.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DownloadController.h"
#include "FailingAllocation.h"
#include "HotFixSelection.h"
#include "InstallationOrder.h"
#include "NoMoreFiles.h"
#include "TextFile.h"
#include "TextList.h"
#include "TolvaneHandler.h"
#include "Trace.h"
#include "TraceFile.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

using Texts = std::vector<std::string>;

// --- selection
// ----------------------------------------------------------------------------------------------

Texts select(const std::vector<HotFixPackageInfo> &hotFixes, const std::string &installedVersion,
             std::vector<HotFixPackageInfo> &kept) {
    OwnedTexts urls(UpdateManager().getListOfUpdates(hotFixes, installedVersion, kept));
    return {urls.list().begin(), urls.list().end()};
}

Texts select(const std::vector<HotFixPackageInfo> &hotFixes,
             const std::string &installedVersion = "1.0.0.5") {
    std::vector<HotFixPackageInfo> kept;
    return select(hotFixes, installedVersion, kept);
}

HotFixPackageInfo hotFix(const std::string &url, const std::string &productVer, const std::string &buildNo) {
    return {"", url, "", "", "", "", "", "", productVer, buildNo, false};
}

struct Bounds {
    const char *name;
    const char *installedVersion;
    const char *minVer;
    const char *maxVer;
    const char *osxMinVer;
    const char *osxMaxVer;
    const char *productVer;
    bool kept;
};

class HotFixBounds : public testing::TestWithParam<Bounds> {};

TEST_P(HotFixBounds, DecideWhetherAHotFixApplies) {
    ASSERT_EQ(TolvaneHandler().getOSVersion(), "10.8.5");
    const Bounds &bounds = GetParam();
    std::vector<HotFixPackageInfo> kept;
    const Texts urls = select({{"", "url", "", "", bounds.minVer, bounds.maxVer, bounds.osxMinVer,
                                bounds.osxMaxVer, bounds.productVer, "1", false}},
                              bounds.installedVersion, kept);
    EXPECT_THAT(urls, SizeIs(bounds.kept ? 1 : 0));
    EXPECT_THAT(kept, SizeIs(bounds.kept ? 1 : 0));
}

INSTANTIATE_TEST_SUITE_P(
    UpdateManager, HotFixBounds,
    testing::Values(
        Bounds{"NoBounds", "1.0.0.5", "", "", "", "", "1.0.0.9", true},
        Bounds{"BothEqualTheInstalledVersion", "1.0.0.5", "1.0.0.5", "1.0.0.5", "", "", "1.0.0.9", true},
        Bounds{"InstalledVersionAboveBoth", "1.0.0.6", "1.0.0.5", "1.0.0.5", "", "", "1.0.0.9", false},
        Bounds{"InstalledVersionBelowBoth", "1.0.0.4", "1.0.0.5", "1.0.0.5", "", "", "1.0.0.9", false},
        Bounds{"InstalledVersionAtTheMinimum", "1.0.0.5", "1.0.0.5", "", "", "", "1.0.0.9", true},
        Bounds{"InstalledVersionBelowTheMinimum", "1.0.0.5", "1.0.0.6", "", "", "", "1.0.0.9", false},
        Bounds{"InstalledVersionAtTheMaximum", "1.0.0.5", "", "1.0.0.5", "", "", "1.0.0.9", true},
        Bounds{"InstalledVersionAboveTheMaximum", "1.0.0.5", "", "1.0.0.4", "", "", "1.0.0.9", false},
        Bounds{"InstalledVersionBetween", "1.0.0.10", "1.0.0.9", "1.0.0.11", "", "", "1.0.0.9", true},
        Bounds{"SystemAtTheMinimum", "1.0.0.5", "", "", "10.8.5", "", "1.0.0.9", true},
        Bounds{"SystemBelowTheMinimum", "1.0.0.5", "", "", "10.8.6", "", "1.0.0.9", false},
        Bounds{"SystemAtTheMaximum", "1.0.0.5", "", "", "", "10.8.5", "1.0.0.9", true},
        Bounds{"SystemAboveTheMaximum", "1.0.0.5", "", "", "", "10.8.4", "1.0.0.9", false},
        Bounds{"SystemBetween", "1.0.0.5", "", "", "10.6.0", "10.10.0", "1.0.0.9", true},
        Bounds{"SystemsMissingFourthNumberIsZero", "1.0.0.5", "", "", "10.8.5.1", "", "1.0.0.9", false},
        Bounds{"EmptyProductVersionNeverApplies", "1.0.0.5", "", "", "", "", "", false},
        Bounds{"EmptyProductVersionWithFittingBounds", "1.0.0.5", "1.0.0.0", "2.0.0.0", "10.0.0", "11.0.0",
               "", false},
        Bounds{"ProductVersionMayBeOlder", "1.0.0.5", "", "", "", "", "1.0.0.1", true}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

struct Judgement {
    const char *name;
    const char *minVer;
    const char *maxVer;
    const char *osxMinVer;
    const char *osxMaxVer;
    const char *productVer;
    Selection selection;
};

class HotFixJudgement : public testing::TestWithParam<Judgement> {};

// For product 2.0.0.0 on system 10.8.5.
TEST_P(HotFixJudgement, IsTheFirstReasonAgainstIt) {
    const Judgement &judgement = GetParam();
    EXPECT_EQ(judgeHotFix({"", "", "", "", judgement.minVer, judgement.maxVer, judgement.osxMinVer,
                           judgement.osxMaxVer, judgement.productVer, "", false},
                          "2.0.0.0", "10.8.5"),
              judgement.selection);
}

INSTANTIATE_TEST_SUITE_P(
    UpdateManager, HotFixJudgement,
    testing::Values(Judgement{"NoBounds", "", "", "", "", "1.0.0.9", Selection::applies},
                    Judgement{"AllBoundsAtTheirEdge", "2.0.0.0", "2.0.0.0", "10.8.5", "10.8.5", "1.0.0.9",
                              Selection::applies},
                    Judgement{"NoProductVersion", "", "", "", "", "", Selection::noProductVersion},
                    Judgement{"SystemTooOld", "", "", "10.8.6", "", "1.0.0.9", Selection::systemTooOld},
                    Judgement{"SystemTooNew", "", "", "", "10.8.4", "1.0.0.9", Selection::systemTooNew},
                    Judgement{"ProductTooOld", "2.0.0.1", "", "", "", "1.0.0.9", Selection::productTooOld},
                    Judgement{"ProductTooNew", "", "1.9.9.9", "", "", "1.0.0.9", Selection::productTooNew},
                    Judgement{"NoProductVersionBeforeAll", "2.0.0.1", "1.9.9.9", "10.8.6", "10.8.4", "",
                              Selection::noProductVersion},
                    Judgement{"SystemTooOldBeforeTheRest", "2.0.0.1", "1.9.9.9", "10.8.6", "10.8.4",
                              "1.0.0.9", Selection::systemTooOld},
                    Judgement{"SystemTooNewBeforeTheRest", "2.0.0.1", "1.9.9.9", "", "10.8.4", "1.0.0.9",
                              Selection::systemTooNew},
                    Judgement{"ProductTooOldBeforeTooNew", "2.0.0.1", "1.9.9.9", "", "", "1.0.0.9",
                              Selection::productTooOld}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(UpdateSelection, EveryFieldOfAKeptHotFixIsKept) {
    std::vector<HotFixPackageInfo> kept;
    select({{"n", "u", "h", "s", "1.0.0.0", "2.0.0.0", "10.0.0", "11.0.0", "1.0.0.9", "12", true}}, "1.0.0.5",
           kept);
    ASSERT_THAT(kept, SizeIs(1));
    EXPECT_EQ(kept[0].name, "n");
    EXPECT_EQ(kept[0].url, "u");
    EXPECT_EQ(kept[0].hash, "h");
    EXPECT_EQ(kept[0].size, "s");
    EXPECT_EQ(kept[0].minVer, "1.0.0.0");
    EXPECT_EQ(kept[0].maxVer, "2.0.0.0");
    EXPECT_EQ(kept[0].osxMinVer, "10.0.0");
    EXPECT_EQ(kept[0].osxMaxVer, "11.0.0");
    EXPECT_EQ(kept[0].productVer, "1.0.0.9");
    EXPECT_EQ(kept[0].buildNo, "12");
    EXPECT_TRUE(kept[0].repost);
}

TEST(UpdateSelection, KeptHotFixesAreAppendedInTheOrderOfTheCatalogs) {
    std::vector<HotFixPackageInfo> kept{hotFix("earlier", "1.0.0.1", "1")};
    EXPECT_THAT(select({hotFix("z", "1.0.0.9", "1"), hotFix("never", "", "1"), hotFix("a", "1.0.0.7", "1")},
                       "1.0.0.5", kept),
                ElementsAre("z", "a"));
    ASSERT_THAT(kept, SizeIs(3));
    EXPECT_EQ(kept[0].url + kept[1].url + kept[2].url, "earlierza");
}

struct Maxima {
    const char *name;
    std::vector<HotFixPackageInfo> hotFixes;
    const char *version;
    const char *buildNo;
};

class SelectionMaxima : public testing::TestWithParam<Maxima> {};

TEST_P(SelectionMaxima, GoToTheController) {
    select(GetParam().hotFixes);
    EXPECT_EQ(DownloadController::getInstance()->getMaxPackageVersion(), GetParam().version);
    EXPECT_EQ(DownloadController::getInstance()->getMaxBuildNo(), GetParam().buildNo);
}

INSTANTIATE_TEST_SUITE_P(
    UpdateManager, SelectionMaxima,
    testing::Values(
        Maxima{"NoHotFix", {}, "1.0.0.5", "0"},
        Maxima{"NothingApplies", {hotFix("a", "", "99")}, "1.0.0.5", "0"},
        Maxima{"VersionAndBuildNumberAreIndependent",
               {hotFix("a", "1.0.1.0", "120"), hotFix("b", "1.0.0.9", "130")},
               "1.0.1.0",
               "130"},
        Maxima{"OlderHotFixDoesNotLowerTheVersion", {hotFix("a", "1.0.0.1", "7")}, "1.0.0.5", "7"},
        Maxima{"VersionsAreComparedAsNumbers",
               {hotFix("a", "1.0.0.10", "1"), hotFix("b", "1.0.0.9", "1")},
               "1.0.0.10",
               "1"},
        Maxima{"BuildNumbersAreComparedAsNumbers",
               {hotFix("a", "1.0.0.9", "1200"), hotFix("b", "1.0.0.9", "999")},
               "1.0.0.9",
               "1200"},
        Maxima{"BuildNumberKeepsItsText", {hotFix("a", "1.0.0.9", " 0130b")}, "1.0.0.9", " 0130b"},
        Maxima{"FirstOfEqualBuildNumbersStays",
               {hotFix("a", "1.0.0.9", "7"), hotFix("b", "1.0.0.9", "07")},
               "1.0.0.9",
               "7"},
        Maxima{"NegativeBuildNumberIsNoMaximum", {hotFix("a", "1.0.0.9", "-1")}, "1.0.0.9", "0"},
        Maxima{"HighestBuildNumberThatFits", {hotFix("a", "1.0.0.9", "2147483647")}, "1.0.0.9", "2147483647"},
        // Its build number is not even looked at.
        Maxima{
            "HotFixThatDoesNotApplyCountsNothing",
            {{"", "a", "", "", "9.0.0.0", "", "", "", "9.9.9.9", "none", false}, hotFix("b", "1.0.0.9", "8")},
            "1.0.0.9",
            "8"}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(UpdateSelection, RunningMaximumStartsAnewWithEverySelection) {
    UpdateManager updateManager;
    std::vector<HotFixPackageInfo> kept;
    OwnedTexts first(updateManager.getListOfUpdates({hotFix("a", "2.0.0.0", "50")}, "1.0.0.5", kept));
    OwnedTexts second(updateManager.getListOfUpdates({}, "1.0.0.6", kept));
    EXPECT_EQ(DownloadController::getInstance()->getMaxPackageVersion(), "1.0.0.6");
    EXPECT_EQ(DownloadController::getInstance()->getMaxBuildNo(), "0");
}

template <class Exception>
void expectNothingLearnt(const std::string &buildNo) {
    DownloadController &controller = *DownloadController::getInstance();
    controller.setMaxPackageVersion("earlier version");
    controller.setMaxBuildNo("earlier build");
    EXPECT_THROW(select({hotFix("a", "1.0.0.9", "1"), hotFix("b", "1.0.1.0", buildNo)}), Exception);
    EXPECT_EQ(controller.getMaxPackageVersion(), "earlier version");
    EXPECT_EQ(controller.getMaxBuildNo(), "earlier build");
}

TEST(UpdateSelection, EmptyBuildNumberAbortsIt) {
    expectNothingLearnt<std::invalid_argument>("");
}
TEST(UpdateSelection, BuildNumberThatIsNoNumberAbortsIt) {
    expectNothingLearnt<std::invalid_argument>("b12");
}
TEST(UpdateSelection, BuildNumberThatDoesNotFitAbortsIt) {
    expectNothingLearnt<std::out_of_range>("2147483648");
}
TEST(UpdateSelection, BuildNumberThatDoesNotFitBelowAbortsIt) {
    expectNothingLearnt<std::out_of_range>("-2147483649");
}

TEST(UpdateSelection, TranscriptAsksForTheSystemOnce) {
    DownloadController::getInstance();
    select({hotFix("a", "1.0.0.9", "1"), hotFix("b", "1.0.0.9", "1")});
    EXPECT_THAT(traceMessages(), ElementsAre("INFO: UpdateManager - Getting list of Updates\n",
                                             "INFO : Getting OS version\n"));
}

TEST(UpdateSelection, HundredThousandHotFixesLoseNothing) {
    EXPECT_THAT(select(std::vector<HotFixPackageInfo>(100'000, hotFix("a", "1.0.0.9", "1"))),
                SizeIs(100'000));
}

// --- texts of URLs
// ------------------------------------------------------------------------------------------

struct UrlTexts {
    const char *name;
    const char *url;
    const char *version;
    const char *packageName;
};

class PackageUrl : public testing::TestWithParam<UrlTexts> {};

TEST_P(PackageUrl, HoldsVersionAndName) {
    const UpdateManager updateManager;
    EXPECT_EQ(updateManager.getHFVersion(GetParam().url), GetParam().version);
    EXPECT_EQ(updateManager.getPackagenameFromUrl(GetParam().url), GetParam().packageName);
}

INSTANTIATE_TEST_SUITE_P(
    UpdateManager, PackageUrl,
    testing::Values(UrlTexts{"HotFixDirectory", "http://host/HF_1.2.3.4/A.pkg", "1.2.3.4", "A.pkg"},
                    UrlTexts{"VersionDirectory", "/root/Package/1.2.3.4/A.pkg", "1.2.3.4", "A.pkg"},
                    UrlTexts{"DirectoryWithoutTheCharacters", "http://host/plain/A.pkg", "plain", "A.pkg"},
                    UrlTexts{"LastOfTheCharactersDecides", "http://host/HF_1F2H3/A.pkg", "3", "A.pkg"},
                    UrlTexts{"UnderscoreAlone", "http://host/v_1.2/A.pkg", "1.2", "A.pkg"},
                    UrlTexts{"CharacterAtTheEnd", "http://host/1.2H/A.pkg", "", "A.pkg"},
                    UrlTexts{"LetterCaseCounts", "http://host/hf1.2/A.pkg", "hf1.2", "A.pkg"},
                    UrlTexts{"CharactersInTheFileNameDoNotCount", "http://host/1.2/HF_A.pkg", "1.2",
                             "HF_A.pkg"},
                    UrlTexts{"SingleDirectory", "HF_1.2/A.pkg", "1.2", "A.pkg"},
                    UrlTexts{"NoSlash", "A.pkg", "A.pkg", "A.pkg"},
                    UrlTexts{"NoSlashButACharacter", "A_B.pkg", "B.pkg", "A_B.pkg"},
                    UrlTexts{"SlashAtTheEnd", "http://host/HF_1.2/", "1.2", ""},
                    UrlTexts{"RootDirectory", "/A.pkg", "", "A.pkg"}, UrlTexts{"OnlySlash", "/", "", ""},
                    UrlTexts{"Empty", "", "", ""}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

// --- sorting
// ------------------------------------------------------------------------------------------------

constexpr int manyPackages = 100'000;

// Processor time, far above what n log n comparisons take, also under a sanitizer, and far below what n * n
// take.
constexpr std::clock_t timeToSort = std::clock_t{60} * CLOCKS_PER_SEC;

std::string packageOfVersion(int number) {
    return "/p/HF_1." + std::to_string(number / 1000) + "." + std::to_string(number % 1000) + ".0/" +
           std::to_string(number) + ".pkg";
}

bool isAscending(const Texts &paths) {
    const UpdateManager updateManager;
    for (std::size_t i = 1; i < paths.size(); ++i) {
        if (DownloadController::IsGreaterThan(updateManager.getHFVersion(paths[i - 1]),
                                              updateManager.getHFVersion(paths[i])))
            return false;
    }
    return true;
}

Texts sortedByText(Texts texts) {
    std::sort(texts.begin(), texts.end());
    return texts;
}

// Sorts on a thread whose stack would not hold one call per package.
void sortOnSmallStack(Texts &paths) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{512} * 1024), 0);
    pthread_t thread{};
    const auto sort = [](void *argument) -> void * {
        auto &toSort = *static_cast<Texts *>(argument);
        UpdateManager().quicksort(toSort, 0, static_cast<int>(toSort.size()) - 1);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, sort, &paths), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    ASSERT_EQ(pthread_attr_destroy(&attributes), 0);
}

struct Sorting {
    const char *name;
    Texts (*paths)();
};

class ManyPackages : public testing::TestWithParam<Sorting> {};

TEST_P(ManyPackages, AreSortedInTimeOnASmallStack) {
    Texts paths = GetParam().paths();
    ASSERT_THAT(paths, SizeIs(manyPackages));
    const Texts before = sortedByText(paths);
    const std::clock_t begin = std::clock();
    sortOnSmallStack(paths);
    EXPECT_LT(std::clock() - begin, timeToSort);
    EXPECT_TRUE(isAscending(paths));
    EXPECT_TRUE(sortedByText(paths) == before);
}

Texts sortedPackages() {
    Texts paths;
    paths.reserve(manyPackages);
    for (int i = 0; i < manyPackages; ++i)
        paths.push_back(packageOfVersion(i));
    return paths;
}

Texts packagesUpAndDown() {
    Texts paths;
    paths.reserve(manyPackages);
    for (int i = 0; i < manyPackages; ++i)
        paths.push_back(packageOfVersion(std::min(i, manyPackages - 1 - i)));
    return paths;
}

// An order whose middle is always its highest version, so that every split leaves one package alone.
Texts packagesWithTheHighestInTheMiddle() {
    std::vector<int> versions{0};
    versions.reserve(manyPackages);
    for (int i = 1; i < manyPackages; ++i) {
        int &middle = versions[static_cast<std::size_t>(i) / 2];
        versions.push_back(std::exchange(middle, i));
    }
    Texts paths;
    paths.reserve(manyPackages);
    for (const int version : versions)
        paths.push_back(packageOfVersion(version));
    return paths;
}

INSTANTIATE_TEST_SUITE_P(UpdateManager, ManyPackages,
                         testing::Values(Sorting{"Sorted", sortedPackages},
                                         Sorting{"Reversed",
                                                 [] {
                                                     Texts paths = sortedPackages();
                                                     std::reverse(paths.begin(), paths.end());
                                                     return paths;
                                                 }},
                                         Sorting{"UpAndDown", packagesUpAndDown},
                                         Sorting{"HighestInTheMiddle", packagesWithTheHighestInTheMiddle},
                                         Sorting{"Equal",
                                                 [] { return Texts(manyPackages, packageOfVersion(1)); }},
                                         Sorting{"TwoVersions",
                                                 [] {
                                                     Texts paths;
                                                     for (int i = 0; i < manyPackages; ++i)
                                                         paths.push_back(packageOfVersion(i % 2));
                                                     return paths;
                                                 }},
                                         Sorting{"Random",
                                                 [] {
                                                     Texts paths = sortedPackages();
                                                     // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same
                                                     // on every run
                                                     std::shuffle(paths.begin(), paths.end(),
                                                                  std::mt19937(4711));
                                                     return paths;
                                                 }}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(PackageSorting, OnlyTheGivenRangeIsSorted) {
    Texts paths{packageOfVersion(9), packageOfVersion(8), packageOfVersion(7), packageOfVersion(6)};
    UpdateManager().quicksort(paths, 1, 2);
    EXPECT_THAT(paths, ElementsAre(packageOfVersion(9), packageOfVersion(7), packageOfVersion(8),
                                   packageOfVersion(6)));
}

TEST(PackageSorting, NothingAndOnePackageStayAsTheyAre) {
    Texts none;
    UpdateManager().quicksort(none, 0, -1);
    EXPECT_THAT(none, IsEmpty());
    Texts one{"/p/1.0.0.0/a.pkg"};
    UpdateManager().quicksort(one, 0, 0);
    EXPECT_THAT(one, ElementsAre("/p/1.0.0.0/a.pkg"));
}

TEST(PackageSorting, EverySmallOrderIsSorted) {
    for (int size = 2; size <= 6; ++size) {
        Texts order;
        for (int i = 0; i < size; ++i)
            order.push_back(packageOfVersion(i / 2)); // with equal ones among them
        do {
            Texts paths = order;
            UpdateManager().quicksort(paths, 0, size - 1);
            ASSERT_TRUE(isAscending(paths)) << testing::PrintToString(order);
            ASSERT_EQ(sortedByText(paths), sortedByText(order));
        } while (std::next_permutation(order.begin(), order.end()));
    }
}

TEST(PackageSorting, SplitOfOneElementStaysInside) {
    Texts paths{packageOfVersion(1)};
    EXPECT_EQ(UpdateManager().split_array(paths, packageOfVersion(1), 0, 0), 0);
}

// Else each split of a list of equal versions would take off one path only.
TEST(PackageSorting, EqualVersionsAreSplitInTheMiddle) {
    Texts paths(4, "/p/1.0.0.9/A.pkg");
    EXPECT_EQ(UpdateManager().split_array(paths, paths[0], 0, 3), 1);
}

TEST(PackageSorting, SplitPutsLowerVersionsBeforeHigherOnes) {
    const UpdateManager updateManager;
    Texts order{packageOfVersion(0), packageOfVersion(1), packageOfVersion(1), packageOfVersion(2),
                packageOfVersion(3)};
    do {
        for (const std::string &pivot : Texts(order)) {
            Texts paths = order;
            const int split = updateManager.split_array(paths, pivot, 0, 4);
            ASSERT_GE(split, 0);
            ASSERT_LT(split, 4);
            const std::string pivotVersion = updateManager.getHFVersion(pivot);
            for (int i = 0; i < 5; ++i) {
                const std::string version = updateManager.getHFVersion(paths.at(static_cast<std::size_t>(i)));
                EXPECT_FALSE(i <= split && DownloadController::IsGreaterThan(version, pivotVersion));
                EXPECT_FALSE(i > split && DownloadController::IsGreaterThan(pivotVersion, version));
            }
            EXPECT_EQ(sortedByText(paths), sortedByText(order));
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(PackageSorting, SwapExchangesTheTexts) {
    std::string left = "left";
    std::string right = "right";
    UpdateManager().swap(left, right);
    EXPECT_EQ(left, "right");
    EXPECT_EQ(right, "left");
}

// --- order of installation
// ----------------------------------------------------------------------------------

constexpr const char *dynaConfig = "/usr/local/Brovik/DynaConfig.plist";
const std::string packages = "/usr/local/Brovik/TempDownload/Package/";

std::string plist(const std::string &content) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + content + "</plist>\n";
}

void configureOrderItems(const std::string &items) {
    writeText(dynaConfig, plist("<dict><key>InstallPkgOrder</key><array>" + items + "</array></dict>"));
}

void configureOrder(const Texts &names) {
    std::string items;
    for (const std::string &name : names)
        items += "<string>" + name + "</string>";
    configureOrderItems(items);
}

Texts orderOf(Texts paths) {
    const std::list<std::string> ordered =
        UpdateManager().getFinalSortedListAccordingToOrderOfInstallation(paths);
    return {ordered.begin(), ordered.end()};
}

struct Order {
    const char *name;
    Texts configured;
    Texts downloaded; // below the package folder
    Texts ordered;
};

class InstallationOrder : public testing::TestWithParam<Order> {
protected:
    static Texts below(Texts paths) {
        for (std::string &path : paths)
            path.insert(0, packages);
        return paths;
    }
};

TEST_P(InstallationOrder, IsKept) {
    configureOrder(GetParam().configured);
    EXPECT_EQ(orderOf(below(GetParam().downloaded)), below(GetParam().ordered));
}

INSTANTIATE_TEST_SUITE_P(
    UpdateManager, InstallationOrder,
    testing::Values(
        Order{"Nothing", {"A.pkg"}, {}, {}},
        Order{"OldestVersionFirst",
              {},
              {"1.0.0.9/c.pkg", "1.0.0.7/a.pkg", "1.0.0.8/b.pkg"},
              {"1.0.0.7/a.pkg", "1.0.0.8/b.pkg", "1.0.0.9/c.pkg"}},
        Order{"TextOrderOfVersionsDecidesBetweenThem",
              {},
              {"9.1.0.0/a.pkg", "10.0.0.0/b.pkg"},
              {"10.0.0.0/b.pkg", "9.1.0.0/a.pkg"}},
        Order{"ConfiguredNamesFirstWithinAVersion",
              {"B.pkg", "A.pkg"},
              {"1.0.0.9/A.pkg", "1.0.0.9/B.pkg", "1.0.0.8/Z.pkg"},
              {"1.0.0.8/Z.pkg", "1.0.0.9/B.pkg", "1.0.0.9/A.pkg"}},
        Order{"OthersFollowTheConfiguredNames",
              {"B.pkg"},
              {"1.0.0.9/A.pkg", "1.0.0.9/B.pkg"},
              {"1.0.0.9/B.pkg", "1.0.0.9/A.pkg"}},
        Order{"VersionsCountMoreThanConfiguredNames",
              {"B.pkg", "A.pkg"},
              {"1.0.0.8/A.pkg", "1.0.0.9/B.pkg"},
              {"1.0.0.8/A.pkg", "1.0.0.9/B.pkg"}},
        Order{"NameWithoutPackageIsIgnored",
              {"None.pkg", "B.pkg"},
              {"1.0.0.9/A.pkg", "1.0.0.9/B.pkg"},
              {"1.0.0.9/B.pkg", "1.0.0.9/A.pkg"}},
        Order{"WithinAVersionTheWholeNameCounts",
              {"B"},
              {"1.0.0.9/B.pkg", "1.0.0.9/B"},
              {"1.0.0.9/B", "1.0.0.9/B.pkg"}},
        Order{"WithinAVersionTheLetterCaseCounts",
              {"b.pkg", "a.pkg"},
              {"1.0.0.9/B.pkg", "1.0.0.9/a.pkg"},
              {"1.0.0.9/a.pkg", "1.0.0.9/B.pkg"}},
        Order{"SameNameTwiceIsTakenOnceForEachMention",
              {"A.pkg", "B.pkg", "A.pkg"},
              {"1.0/A.pkg", "1.0/A.pkg", "1.0/B.pkg"},
              {"1.0/A.pkg", "1.0/B.pkg", "1.0/A.pkg"}},
        Order{"VersionsThatDifferAsTextsAreGroupsOfTheirOwn",
              {"B.pkg", "A.pkg"},
              {"1.0.0/B.pkg", "1.0.0.0/A.pkg"},
              {"1.0.0/B.pkg", "1.0.0.0/A.pkg"}},
        Order{"NamedRepostComesFirst",
              {"R.pkg"},
              {"1.0.0.8/A.pkg", "repost/1.0.0.9/R.pkg"},
              {"repost/1.0.0.9/R.pkg", "1.0.0.8/A.pkg"}},
        Order{"RepostThatNoNameAdmitsIsLeftOut",
              {"Other"},
              {"1.0.0.8/A.pkg", "repost/1.0.0.9/R.pkg"},
              {"1.0.0.8/A.pkg"}},
        Order{
            "RepostNeedsAConfiguredOrder", {}, {"1.0.0.8/A.pkg", "repost/1.0.0.9/R.pkg"}, {"1.0.0.8/A.pkg"}},
        Order{"RepostNameMayStandAnywhereInThePathInAnyCase",
              {"FIRE"},
              {"repost/1.0.0.9/MyFirewall.pkg"},
              {"repost/1.0.0.9/MyFirewall.pkg"}},
        Order{"OneNameAdmitsOneRepost",
              {"Wall"},
              {"repost/1.0.0.9/WallTwo.pkg", "repost/1.0.0.8/WallOne.pkg"},
              {"repost/1.0.0.8/WallOne.pkg"}},
        Order{"TwoNamesNeverTakeTheSameRepost",
              {"Wall", "One", "Wall"},
              {"repost/1.0.0.8/WallOne.pkg", "repost/1.0.0.9/WallTwo.pkg"},
              {"repost/1.0.0.8/WallOne.pkg", "repost/1.0.0.9/WallTwo.pkg"}},
        Order{"RepostsFollowTheNamesNotTheVersions",
              {"Two", "One"},
              {"repost/1.0.0.8/One.pkg", "repost/1.0.0.9/Two.pkg"},
              {"repost/1.0.0.9/Two.pkg", "repost/1.0.0.8/One.pkg"}},
        Order{"RepostInOtherLetterCaseIsNoRepost",
              {},
              {"Repost/1.0.0.9/R.pkg", "1.0.0.8/A.pkg"},
              {"1.0.0.8/A.pkg", "Repost/1.0.0.9/R.pkg"}},
        Order{"RepostInAFileNameIsARepost", {}, {"1.0.0.9/repost.pkg", "1.0.0.9/A.pkg"}, {"1.0.0.9/A.pkg"}},
        Order{"EmptyNameAdmitsNothing", {""}, {"repost/1.0.0.9/R.pkg"}, {}},
        Order{"NamesMayHoldAnyCharacters",
              {"Gr\xC3\xBC n &amp; Co.pkg"},
              {"1.0/A.pkg", "1.0/Gr\xC3\xBC n & Co.pkg"},
              {"1.0/Gr\xC3\xBC n & Co.pkg", "1.0/A.pkg"}},
        Order{"BrandingPackagesAreNotInTheResult",
              {"DynamicBranding.pkg", "A.pkg"},
              {"1.0.0.9/A.pkg", "1.0.0.9/DynamicBranding.pkg", "DynamicBranding.pkg.d/1.0.0.9/B.pkg"},
              {"1.0.0.9/A.pkg"}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(PackageOrder, TellsWhatGaveEachPackageItsPlace) {
    const std::list<PlacedPackage> placed =
        placedPackages({"1.0/B.pkg", "1.0/A.pkg", "repost/1.0/R.pkg", "repost/1.0/S.pkg", "2.0/C.pkg"},
                       {"r.PKG", "A.pkg", "S.pkg.2"});
    const auto is = [](const char *path, PlacedBy rule, const char *orderName) {
        return AllOf(Field(&PlacedPackage::path, path), Field(&PlacedPackage::rule, rule),
                     Field(&PlacedPackage::orderName, orderName));
    };
    EXPECT_THAT(placed,
                ElementsAre(is("repost/1.0/R.pkg", PlacedBy::nameOfRepost, "r.PKG"),
                            is("1.0/A.pkg", PlacedBy::nameWithinVersion, "A.pkg"),
                            is("1.0/B.pkg", PlacedBy::version, ""), is("2.0/C.pkg", PlacedBy::version, ""),
                            is("repost/1.0/S.pkg", PlacedBy::nothing, "")));
}

TEST(PackageOrder, NoNameDecidesWhereAVersionHasOnePackage) {
    EXPECT_THAT(placedPackages({"1.0/A.pkg", "2.0/B.pkg"}, {"B.pkg", "A.pkg"}),
                testing::Each(AllOf(Field(&PlacedPackage::rule, PlacedBy::version),
                                    Field(&PlacedPackage::orderName, ""))));
}

// The place within the version decides among the reposts of one name; that it was named there admits none.
TEST(PackageOrder, RepostThatItsVersionNamesIsLeftOutAllTheSame) {
    const std::list<PlacedPackage> placed =
        placedPackages({"repost/1.0/A.pkg", "repost/1.0/A.pkg"}, {"A.pkg"});
    EXPECT_THAT(placed, ElementsAre(Field(&PlacedPackage::rule, PlacedBy::nameOfRepost),
                                    Field(&PlacedPackage::rule, PlacedBy::nothing)));
}

TEST(PackageOrder, EmptyPathIsLeftOut) {
    EXPECT_THAT(orderOf({"", packages + "1.0/A.pkg", ""}), ElementsAre(packages + "1.0/A.pkg"));
}

// A search of all packages for each name would take 10^10 comparisons.
TEST(PackageOrder, AHundredThousandNamedPackagesOfOneVersionAreSoonOrdered) {
    Texts paths;
    Texts names;
    for (int i = 0; i < 100'000; ++i) {
        names.push_back("package" + std::to_string(i) + ".pkg");
        paths.push_back(packages + "1.0/" + names.back());
    }
    const Texts expected(paths.rbegin(), paths.rend());
    std::reverse(names.begin(), names.end());
    const std::clock_t begin = std::clock();
    const std::list<std::string> ordered = installationOrder(paths, names);
    EXPECT_LT((std::clock() - begin) / CLOCKS_PER_SEC, 10);
    EXPECT_TRUE(Texts(ordered.begin(), ordered.end()) == expected);
}

TEST(PackageOrder, GivenPackagesAreSortedInPlaceAndLoseTheBrandingOnes) {
    Texts paths{packages + "2.0/B.pkg", packages + "1.0/DynamicBranding.pkg", packages + "1.0/A.pkg"};
    UpdateManager().getFinalSortedListAccordingToOrderOfInstallation(paths);
    EXPECT_THAT(paths, ElementsAre(packages + "1.0/A.pkg", packages + "2.0/B.pkg"));
}

TEST(PackageOrder, BrandingPackagesAreInstalledAtOnce) {
    DownloadController::getInstance();
    configureOrder({});
    const std::string branding = packages + "1.0/DynamicBranding.pkg";
    orderOf({packages + "2.0/B.pkg", branding});
    // The package is missing, which the stand-in refuses; that nobody looks at its status is the rule.
    EXPECT_EQ(readText("/srv/rehearsal/log/installer.log"), "-package " + branding + " -target / | 1\n");
    EXPECT_THAT(traceMessages(), ElementsAre("INFO: Installing " + branding + " \n",
                                             "INFO: Installation " + branding + " Succeded \n",
                                             "INFO: Getting order of installation \n"));
}

struct Configuration {
    const char *name;
    const char *content;
    Texts names;
};

class ConfiguredOrder : public testing::TestWithParam<Configuration> {};

TEST_P(ConfiguredOrder, IsReadFromThePropertyList) {
    writeText(dynaConfig, GetParam().content);
    DownloadController::getInstance();
    EXPECT_EQ(UpdateManager().getInstalationOrder(), GetParam().names);
    EXPECT_THAT(traceMessages(), ElementsAre("INFO: Getting order of installation \n"));
}

INSTANTIATE_TEST_SUITE_P(
    UpdateManager, ConfiguredOrder,
    testing::Values(
        Configuration{
            "InItsOrder",
            "<plist><dict><key>Other</key><true/><key>InstallPkgOrder</key><array><string>B</string>"
            "<string>A</string><string>B</string></array></dict></plist>",
            {"B", "A", "B"}},
        Configuration{"ElementsThatAreNoTextsAreSkipped",
                      "<plist><dict><key>InstallPkgOrder</key><array><string>A</string><integer>1</integer>"
                      "<dict/><array><string>no</string></array><string>B</string></array></dict></plist>",
                      {"A", "B"}},
        Configuration{"WithoutTheKey", "<plist><dict><key>Other</key><string>A</string></dict></plist>", {}},
        Configuration{"ValueThatIsNoArray",
                      "<plist><dict><key>InstallPkgOrder</key><string>A</string></dict></plist>",
                      {}},
        Configuration{"EmptyArray", "<plist><dict><key>InstallPkgOrder</key><array/></dict></plist>", {}},
        Configuration{"RootThatIsNoDictionary", "<plist><array><string>A</string></array></plist>", {}},
        Configuration{"EmptyFile", "", {}}, Configuration{"NotXml", "order: A, B", {}},
        Configuration{"Cut", "<plist><dict><key>InstallPkgOrder</key><array><string>A</string>", {}}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(PackageOrder, WithoutConfigurationFileTheOrderIsNotEvenAskedFor) {
    DownloadController::getInstance();
    std::filesystem::remove(dynaConfig);
    EXPECT_THAT(
        orderOf({packages + "1.0.0.9/B.pkg", packages + "1.0.0.8/A.pkg", packages + "repost/1.0/R.pkg"}),
        ElementsAre(packages + "1.0.0.8/A.pkg", packages + "1.0.0.9/B.pkg"));
    EXPECT_THAT(traceMessages(), IsEmpty());
}

TEST(PackageOrder, MissingConfigurationFileGivesNoNames) {
    std::filesystem::remove(dynaConfig);
    EXPECT_THAT(UpdateManager().getInstalationOrder(), IsEmpty());
}

TEST(PackageOrder, UnreadableConfigurationFileGivesNoNames) {
    std::filesystem::remove(dynaConfig);
    std::filesystem::create_directory(dynaConfig);
    EXPECT_THAT(UpdateManager().getInstalationOrder(), IsEmpty());
    EXPECT_THAT(orderOf({packages + "1.0.0.9/B.pkg", packages + "1.0.0.8/A.pkg"}),
                ElementsAre(packages + "1.0.0.8/A.pkg", packages + "1.0.0.9/B.pkg"));
}

TEST(PackageOrder, FailureWhileReadingTheNamesIsAnErrorLine) {
    configureOrder({"A"});
    DownloadController::getInstance();
    downloadManagerTraceFlagvalue = Trace::errorLevel;
    {
        const FailingAllocation failingAllocation(0);
        EXPECT_THAT(UpdateManager().getInstalationOrder(), IsEmpty());
        EXPECT_TRUE(failingAllocation.happened());
    }
    EXPECT_THAT(traceMessages(), ElementsAre("ERROR: Unable to get the order of installation \n"));
}

TEST(Order, ThatCannotBeReadForAMomentIsNotAbsent) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer opens a pipe to look at an object";
#endif
    configureOrder({"A"});
    DownloadController::getInstance();
    downloadManagerTraceFlagvalue = Trace::errorLevel;
    UpdateManager updateManager;
    Texts paths{"/repost/A.pkg"};
    {
        const NoMoreFiles noMoreFiles;
        EXPECT_THAT(updateManager.getFinalSortedListAccordingToOrderOfInstallation(paths), IsEmpty());
    }
    EXPECT_THAT(traceMessages(), ElementsAre("ERROR: Unable to get the order of installation \n"));
}

// --- single steps of an installation
// ------------------------------------------------------------------------

TEST(InstallPackage, BrandingPackageIsInstalledByTheExactCommand) {
    // Shows how the shell cut the command into words, and where the two outputs go.
    writeText("/usr/local/bin/installer", "#!/bin/bash\nprintf '<%s>' \"$@\" >/tmp/arguments\n"
                                          "readlink /proc/$$/fd/1 >/tmp/output\n");
    DownloadController::getInstance();
    EXPECT_EQ(UpdateManager().installPackage("/p/DynamicBranding.pkg"), 0);
    EXPECT_THAT(traceMessages(), ElementsAre("INFO: Installing /p/DynamicBranding.pkg \n",
                                             "INFO: Installation /p/DynamicBranding.pkg Succeded \n"));
    EXPECT_EQ(readText("/tmp/arguments"), "<-package></p/DynamicBranding.pkg><-target></>");
    EXPECT_EQ(readText("/tmp/output"), "/dev/null\n");
}

TEST(InstallPackage, FailedInstallerIsNotNoticed) {
    writeText("/srv/rehearsal/installer-fails", "DynamicBranding.pkg 1\n");
    DownloadController::getInstance();
    EXPECT_EQ(UpdateManager().installPackage("/p/DynamicBranding.pkg"), 0);
    EXPECT_EQ(readText("/srv/rehearsal/log/installer.log"),
              "-package /p/DynamicBranding.pkg -target / | 1\n");
    EXPECT_THAT(traceMessages().back(), "INFO: Installation /p/DynamicBranding.pkg Succeded \n");
}

TEST(InstallPackage, BrandingIsToldByAnyPartOfThePath) {
    EXPECT_EQ(UpdateManager().installPackage("/p/DynamicBranding.pkg.d/other"), 0);
    EXPECT_EQ(readText("/srv/rehearsal/log/installer.log"),
              "-package /p/DynamicBranding.pkg.d/other -target / | 1\n");
}

TEST(InstallPackage, ShellThatCannotBeStartedIsAnError) {
    DownloadController::getInstance();
    downloadManagerTraceFlagvalue = Trace::errorLevel;
    UpdateManager updateManager;
    {
        const NoMoreFiles noMoreFiles;
        EXPECT_EQ(updateManager.installPackage("/p/DynamicBranding.pkg"), -1);
    }
    EXPECT_THAT(traceMessages(), ElementsAre("ERROR: Installation /p/DynamicBranding.pkg Failed \n"));
}

TEST(InstallPackage, OtherPackageIsOnlyAddedToTheScript) {
    DownloadController::getInstance();
    EXPECT_EQ(UpdateManager().installPackage("/p/dynamicbranding.pkg"), 0);
    EXPECT_EQ(readText("/srv/rehearsal/log/installer.log"), "");
    EXPECT_THAT(traceMessages(), ElementsAre("INFO: Installing /p/dynamicbranding.pkg \n"));
}

TEST(FindDynamicBranding, InstallsAndRemovesEveryBrandingPackage) {
    Texts paths{"/p/DynamicBranding.pkg", "/p/A.pkg", "/p/DynamicBranding.pkg",
                "/DynamicBranding.pkg.d/B.pkg"};
    UpdateManager().findDynamicBrandingPackageAndInstall(paths);
    EXPECT_THAT(paths, ElementsAre("/p/A.pkg"));
    EXPECT_EQ(readText("/srv/rehearsal/log/installer.log"),
              "-package /p/DynamicBranding.pkg -target / | 1\n"
              "-package /p/DynamicBranding.pkg -target / | 1\n"
              "-package /DynamicBranding.pkg.d/B.pkg -target / | 1\n");
}

TEST(FindDynamicBranding, FailedPackageIsToldTwiceAndRemovedToo) {
    DownloadController::getInstance();
    downloadManagerTraceFlagvalue = Trace::errorLevel;
    Texts paths{"/p/A.pkg", "/p/DynamicBranding.pkg"};
    UpdateManager updateManager;
    {
        const NoMoreFiles noMoreFiles;
        updateManager.findDynamicBrandingPackageAndInstall(paths);
    }
    EXPECT_THAT(paths, ElementsAre("/p/A.pkg"));
    EXPECT_THAT(traceMessages(), ElementsAre("ERROR: Installation /p/DynamicBranding.pkg Failed \n",
                                             "ERROR: Installation /p/DynamicBranding.pkg Failed \n"));
}

struct Command {
    const char *name;
    const char *command;
    bool succeeds;
};

class RunCommand : public testing::TestWithParam<Command> {};

TEST_P(RunCommand, TellsWhetherTheCommandEndedWithStatusZero) {
    EXPECT_EQ(UpdateManager().runCommand(GetParam().command), GetParam().succeeds);
}

INSTANTIATE_TEST_SUITE_P(
    UpdateManager, RunCommand,
    testing::Values(Command{"StatusZero", "true", true}, Command{"StatusOne", "false", false},
                    Command{"OtherStatus", "exit 7", false}, Command{"Killed", "kill -KILL $$", false},
                    Command{"UnknownCommand", "no-such-command 2>/dev/null", false},
                    Command{"LastCommandDecides", "false; true", true}, Command{"EmptyCommand", "", true}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(RunCommandOf, CommandHasEndedWhenItReturns) {
    EXPECT_TRUE(UpdateManager().runCommand("echo done >/tmp/outcome"));
    EXPECT_EQ(readText("/tmp/outcome"), "done\n");
}

TEST(RunCommandOf, ShellThatCannotBeStartedIsAFailure) {
    const UpdateManager updateManager;
    const NoMoreFiles noMoreFiles;
    EXPECT_FALSE(updateManager.runCommand("true"));
}

TEST(FileExist, IsTrueForWhatCanBeOpenedForReading) {
    const UpdateManager updateManager;
    writeText("/tmp/empty", "");
    EXPECT_TRUE(updateManager.fileExist("/tmp/empty"));
    EXPECT_FALSE(updateManager.fileExist("/tmp/missing"));
    EXPECT_FALSE(updateManager.fileExist(""));
    std::filesystem::create_symlink("/tmp/missing", "/tmp/dangling");
    EXPECT_FALSE(updateManager.fileExist("/tmp/dangling"));
}

// --- product configuration
// ----------------------------------------------------------------------------------

constexpr const char *configurationPath = "/tmp/ProductConfig.xml";

struct Update {
    const char *name;
    const char *before;
    const char *element;
    const char *value;
    const char *after;
};

class ProductConfigurationUpdate : public testing::TestWithParam<Update> {};

TEST_P(ProductConfigurationUpdate, WritesTheFile) {
    writeText(configurationPath, GetParam().before);
    DownloadController::getInstance();
    EXPECT_EQ(UpdateManager().updateProductConfigXml(configurationPath, GetParam().element, GetParam().value),
              0);
    EXPECT_EQ(readText(configurationPath), GetParam().after);
    const std::string what = std::string(GetParam().element) + " element and its value " + GetParam().value;
    EXPECT_THAT(traceMessages(), ElementsAre("INFO: Updating Productconfig.xml with " + what + " .\n",
                                             "INFO: Updated Productconfig.xml with " + what + " .\n"));
}

INSTANTIATE_TEST_SUITE_P(
    UpdateManager, ProductConfigurationUpdate,
    testing::Values(
        Update{"OneElementChangesInPlace",
               "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<ProductConfiguration>\n"
               "  <AppID>quaformac</AppID>\n\n  <!-- kept --><Other "
               "a=\"1\">x</Other>\n</ProductConfiguration>\n",
               "AppID", "qusformac",
               "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<ProductConfiguration>\n"
               "  <AppID>qusformac</AppID>\n\n  <!-- kept --><Other "
               "a=\"1\">x</Other>\n</ProductConfiguration>\n"},
        Update{"RewriteIsNotIndented", "<ProductConfiguration><A>1</A><B>2</B></ProductConfiguration>", "A",
               "3",
               "<?xml version=\"1.0\"?>\n<ProductConfiguration><A>3</A><B>2</B></ProductConfiguration>\n"},
        Update{"RewriteKeepsTheEncoding",
               "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
               "<ProductConfiguration><A>\xFC</A><B>\xFC</B></ProductConfiguration>",
               "A", "1",
               "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
               "<ProductConfiguration><A>1</A><B>\xFC</B></ProductConfiguration>\n"},
        Update{"EmptyElementGetsItsText", "<ProductConfiguration><A/></ProductConfiguration>", "A", "1",
               "<?xml version=\"1.0\"?>\n<ProductConfiguration><A>1</A></ProductConfiguration>\n"},
        Update{"MarkupInTheElementIsReplaced", "<ProductConfiguration><A>x<B/>y</A></ProductConfiguration>",
               "A", "1", "<?xml version=\"1.0\"?>\n<ProductConfiguration><A>1</A></ProductConfiguration>\n"},
        Update{"RewrittenValueIsText", "<ProductConfiguration><A>1</A></ProductConfiguration>", "A",
               "<b>&amp;\"'&",
               "<?xml version=\"1.0\"?>\n<ProductConfiguration><A>&lt;b&gt;&amp;amp;\"'&amp;</A>"
               "</ProductConfiguration>\n"},
        Update{"MissingElementIsAppendedAndTheFileIndented",
               "<ProductConfiguration><A>1</A></ProductConfiguration>", "B", "2",
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ProductConfiguration>\n  <A>1</A>\n  <B>2</B>\n"
               "</ProductConfiguration>\n"},
        // libxml2 indents nothing beside text, and the blanks between the elements are text.
        Update{"AppendedElementFollowsTheBlanksOfAnIndentedFile",
               "<ProductConfiguration>\n  <A>1</A>\n</ProductConfiguration>\n", "B", "2",
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ProductConfiguration>\n  <A>1</A>\n<B>2</B>"
               "</ProductConfiguration>\n"},
        Update{"AppendedValueIsText", "<ProductConfiguration/>", "A", "<b>&amp;&",
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ProductConfiguration>\n"
               "  <A>&lt;b&gt;&amp;amp;&amp;</A>\n</ProductConfiguration>\n"},
        Update{"ElementThatIsThereTwiceGetsAThird",
               "<ProductConfiguration><A>1</A><A>2</A></ProductConfiguration>", "A", "3",
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ProductConfiguration>\n  <A>1</A>\n  <A>2</A>\n"
               "  <A>3</A>\n</ProductConfiguration>\n"},
        Update{"DeeperElementDoesNotCount", "<ProductConfiguration><B><A>1</A></B></ProductConfiguration>",
               "A", "2",
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ProductConfiguration>\n  <B>\n    <A>1</A>\n  "
               "</B>\n"
               "  <A>2</A>\n</ProductConfiguration>\n"},
        Update{"OtherRootGetsTheElementToo", "<Other><A>1</A></Other>", "A", "2",
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Other>\n  <A>1</A>\n  <A>2</A>\n</Other>\n"},
        Update{"UnparsableFileStaysAsItIs", "not XML", "A", "1", "not XML"},
        Update{"EmptyFileStaysEmpty", "", "A", "1", ""}),
    [](const auto &caseInfo) { return caseInfo.param.name; });

struct NothingToUpdate {
    const char *name;
    const char *element;
    const char *value;
};

class EmptyProductConfigurationUpdate : public testing::TestWithParam<NothingToUpdate> {};

TEST_P(EmptyProductConfigurationUpdate, IsAnErrorAndLeavesTheFileAlone) {
    const std::string before = "<ProductConfiguration><A>1</A></ProductConfiguration>";
    writeText(configurationPath, before);
    DownloadController::getInstance();
    downloadManagerTraceFlagvalue = Trace::errorLevel;
    EXPECT_EQ(UpdateManager().updateProductConfigXml(configurationPath, GetParam().element, GetParam().value),
              -1);
    EXPECT_EQ(readText(configurationPath), before);
    EXPECT_THAT(traceMessages(),
                ElementsAre("ERROR : Either Element or It's Value is NULL - No need to Update in "
                            "ProductConfig.xml \n"));
}

INSTANTIATE_TEST_SUITE_P(UpdateManager, EmptyProductConfigurationUpdate,
                         testing::Values(NothingToUpdate{"EmptyElement", "", "1"},
                                         NothingToUpdate{"EmptyValue", "A", ""},
                                         NothingToUpdate{"BothEmpty", "", ""}),
                         [](const auto &caseInfo) { return caseInfo.param.name; });

TEST(ProductConfiguration, MissingFileIsNotMadeAndNotAFailure) {
    DownloadController::getInstance();
    testing::internal::CaptureStderr();
    EXPECT_EQ(UpdateManager().updateProductConfigXml(configurationPath, "A", "1"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: unable to parse file \"/tmp/ProductConfig.xml\"\n");
    EXPECT_FALSE(std::filesystem::exists(configurationPath));
    EXPECT_THAT(traceMessages(),
                ElementsAre("INFO: Updating Productconfig.xml with A element and its value 1 .\n",
                            "INFO: Updated Productconfig.xml with A element and its value 1 .\n"));
}

// Shows a file read-only, to root as well.
void makeReadOnly(const char *path) {
    ASSERT_EQ(mount(path, path, nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, path, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
}

TEST(ProductConfiguration, UnwritableFileStaysAsItIsAndIsNotAFailure) {
    const std::string before = "<ProductConfiguration><A>1</A></ProductConfiguration>";
    writeText(configurationPath, before);
    makeReadOnly(configurationPath);
    ASSERT_FALSE(std::ofstream(configurationPath, std::ios::app).is_open());
    DownloadController::getInstance();
    UpdateManager updateManager;
    EXPECT_EQ(updateManager.updateProductConfigXml(configurationPath, "A", "2"), 0);
    EXPECT_EQ(updateManager.updateProductConfigXml(configurationPath, "B", "2"), 0);
    EXPECT_EQ(readText(configurationPath), before);
    EXPECT_THAT(traceMessages(),
                ElementsAre("INFO: Updating Productconfig.xml with A element and its value 2 .\n",
                            "INFO: Updated Productconfig.xml with A element and its value 2 .\n",
                            "INFO: Updating Productconfig.xml with B element and its value 2 .\n",
                            "INFO: Updated Productconfig.xml with B element and its value 2 .\n"));
}

} // namespace
