// usage: pure-steps CATALOG
// The steps of the engine that touch no machine but for one file, which it writes and reads. Each is a
// function whose name begins with "step" and is not mangled, so that scripts/count-instructions can have
// callgrind count every one of them on its own.
#include <cstddef>
#include <fstream>
#include <iostream>
#include <list>
#include <string>
#include <vector>

#include "CatalogParser.h"
#include "DestinationPath.h"
#include "HotFixSelection.h"
#include "Inputs.h"
#include "InstallationOrder.h"
#include "InstallerScript.h"
#include "PackageRecords.h"
#include "Text.h"
#include "TextList.h"
#include "Version.h"

namespace {

constexpr std::size_t count = 1'000;
const std::string systemVersion = "10.8.0";

const std::vector<std::size_t> sequence = numbers(Arrangement::random, count);
const std::vector<HotFixPackageInfo> hotFixes = recordsOf(sequence, hotFix);
const std::vector<ProductInfo> products = recordsOf(sequence, product);
const std::vector<std::string> paths = recordsOf(sequence, packagePath);
const std::string installed = versionOf(count / 2);

} // namespace

// What they give is printed in the end, so that the compiler leaves none of it out; nor may it put them into
// main.
extern "C" {

__attribute__((noinline)) std::size_t stepCompareVersions() {
    std::size_t greater = 0;
    for (const HotFixPackageInfo &one : hotFixes)
        greater += isGreaterVersion(one.productVer, installed) ? 1U : 0U;
    return greater;
}

__attribute__((noinline)) std::size_t stepSelect() {
    ReleaseMaxima maxima{installed};
    for (const HotFixPackageInfo &one : hotFixes) {
        if (judgeHotFix(one, installed, systemVersion) == Selection::applies)
            maxima.include(one);
    }
    return maxima.buildNo.size();
}

__attribute__((noinline)) std::size_t stepMakeRecords(PackageRecords &records) {
    records.setProducts(products);
    records.setHotFixes(hotFixes);
    return 0;
}

__attribute__((noinline)) std::size_t stepLookUpHashes(const PackageRecords &records) {
    std::size_t found = 0;
    for (const HotFixPackageInfo &one : hotFixes)
        found += records.hashOf(one.url).size();
    return found;
}

__attribute__((noinline)) std::size_t stepPlace(const PackageRecords &records) {
    std::vector<std::string> urls;
    for (const HotFixPackageInfo &one : hotFixes)
        urls.push_back(one.url);
    const std::vector<std::string> folders = records.foldersOf(urls);
    auto folder = folders.begin();
    std::size_t length = 0;
    for (const HotFixPackageInfo &one : hotFixes)
        length +=
            destinationPath("/usr/local/Brovik/TempDownload", *folder++, afterLastSlash(one.url)).size();
    return length;
}

__attribute__((noinline)) std::size_t stepOrder(std::list<std::string> &ordered) {
    std::vector<std::string> sorted = paths;
    sortByHotFixVersion(sorted, 0, static_cast<int>(count) - 1);
    std::vector<std::string> names;
    for (std::size_t number = 0; number < 20; ++number)
        names.push_back(packageName(number));
    ordered = installationOrder(sorted, names);
    return ordered.size();
}

__attribute__((noinline)) std::size_t stepWriteScript(const std::list<std::string> &order) {
    return installerScript(order).size();
}

__attribute__((noinline)) std::size_t stepReadHotFixes(const std::string &file) {
    return CatalogParser().getHotFixInfo({file}).size();
}

__attribute__((noinline)) std::size_t stepReadProduct(const std::string &file) {
    return CatalogParser().getProductInfo({file}).size();
}

__attribute__((noinline)) std::size_t stepReadReply(const std::string &reply) {
    auto urls = CatalogParser().getCatalogUrls(reply);
    const std::size_t found = urls["Core"].size() + urls["Partner"].size();
    freeTexts(urls["Core"]);
    freeTexts(urls["Partner"]);
    return found;
}

} // extern "C"

int main(int argumentCount, char **arguments) {
    if (argumentCount != 2)
        return 64;
    const std::string file = arguments[1];
    std::ofstream(file) << catalogOf(count);
    PackageRecords update;
    update.setFreshInstallMode(false);
    PackageRecords installation;
    std::size_t sum = stepCompareVersions() + stepSelect() + stepMakeRecords(update);
    stepMakeRecords(installation);
    sum += stepLookUpHashes(update) + stepLookUpHashes(installation);
    sum += stepPlace(update) + stepPlace(installation);
    std::list<std::string> ordered;
    sum += stepOrder(ordered) + stepWriteScript(ordered);
    sum += stepReadHotFixes(file) + stepReadProduct(file) + stepReadReply(replyOf(count));
    std::cout << sum << '\n';
    return 0;
}
