// Selection, look-up, placement and ordering of packages in every arrangement.
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "DestinationPath.h"
#include "Inputs.h"
#include "InstallationOrder.h"
#include "PackageRecords.h"
#include "Text.h"
#include "TextList.h"
#include "UpdateManager.h"

namespace {

using benchmark::State;

std::size_t countOf(const State &state) {
    return static_cast<std::size_t>(state.range(0));
}

template <typename Record>
std::vector<std::string> urlsOf(const std::vector<Record> &records) {
    std::vector<std::string> urls;
    for (const Record &record : records)
        urls.push_back(record.url);
    return urls;
}

// Half of the hot-fixes apply, unless all are the same.
void selection(State &state, Arrangement arrangement) {
    const auto hotFixes = recordsOf(numbers(arrangement, countOf(state)), hotFix);
    const std::string installed = versionOf(countOf(state) / 2);
    for (auto _ : state) {
        std::vector<HotFixPackageInfo> kept;
        const OwnedTexts urls(UpdateManager().getListOfUpdates(hotFixes, installed, kept));
        benchmark::DoNotOptimize(kept.data());
    }
}

void makeRecords(State &state, Arrangement arrangement) {
    const auto sequence = numbers(arrangement, countOf(state));
    const auto products = recordsOf(sequence, product);
    const auto hotFixes = recordsOf(sequence, hotFix);
    for (auto _ : state) {
        PackageRecords records;
        records.setProducts(products);
        records.setHotFixes(hotFixes);
    }
}

struct Downloads {
    Downloads(bool isFresh, const std::vector<std::size_t> &sequence)
        : hotFixes(recordsOf(sequence, hotFix))
        , urls(urlsOf(hotFixes)) {
        records.setFreshInstallMode(isFresh);
        if (isFresh)
            records.setProducts(recordsOf(sequence, product));
        else
            records.setHotFixes(hotFixes);
    }

    PackageRecords records;
    std::vector<HotFixPackageInfo> hotFixes;
    std::vector<std::string> urls;
};

void lookUp(State &state, bool isFresh, Arrangement arrangement) {
    const Downloads downloads(isFresh, numbers(arrangement, countOf(state)));
    for (auto _ : state) {
        for (const std::string &url : downloads.urls)
            benchmark::DoNotOptimize(downloads.records.hashOf(url));
    }
}

void place(const PackageRecords &records, const std::vector<std::string> &urls) {
    const std::vector<std::string> folders = records.foldersOf(urls);
    auto folder = folders.begin();
    for (const std::string &url : urls)
        benchmark::DoNotOptimize(
            destinationPath("/usr/local/Brovik/TempDownload/Package", *folder++, afterLastSlash(url)));
}

void placement(State &state, bool isFresh, Arrangement arrangement) {
    const Downloads downloads(isFresh, numbers(arrangement, countOf(state)));
    for (auto _ : state)
        place(downloads.records, downloads.urls);
}

// The first names of the packages, as an order that is configured for a suite's components.
std::vector<std::string> orderNames(std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t number = 0; number < count; ++number)
        names.push_back(packageName(number));
    return names;
}

void ordering(State &state, Arrangement arrangement) {
    const auto paths = recordsOf(numbers(arrangement, countOf(state)), packagePath);
    const std::vector<std::string> names = orderNames(20);
    for (auto _ : state) {
        std::vector<std::string> sorted = paths;
        UpdateManager().quicksort(sorted, 0, static_cast<int>(sorted.size()) - 1);
        benchmark::DoNotOptimize(installationOrder(sorted, names));
    }
}

// --- a thousand packages over a hundred thousand records

constexpr std::size_t manyRecords = 100'000;
constexpr std::size_t somePackages = 1'000;

// Every hundredth.
std::vector<std::string> someUrls(const std::vector<HotFixPackageInfo> &hotFixes) {
    std::vector<std::string> urls;
    for (std::size_t i = 0; i < hotFixes.size(); i += manyRecords / somePackages)
        urls.push_back(hotFixes[i].url);
    return urls;
}

void placeSome(State &state, bool isFresh) {
    const Downloads downloads(isFresh, numbers(Arrangement::random, manyRecords));
    const std::vector<std::string> urls = someUrls(downloads.hotFixes);
    for (auto _ : state)
        place(downloads.records, urls);
}

void lookUpSome(State &state, bool isFresh) {
    const Downloads downloads(isFresh, numbers(Arrangement::random, manyRecords));
    const std::vector<std::string> urls = someUrls(downloads.hotFixes);
    for (auto _ : state) {
        for (const std::string &url : urls)
            benchmark::DoNotOptimize(downloads.records.hashOf(url));
    }
}

// As the rule says it, one file name after the other in one record after the other.
void placeSomeByWalking(State &state) {
    const auto products = recordsOf(numbers(Arrangement::random, manyRecords), product);
    const auto hotFixes = recordsOf(numbers(Arrangement::random, manyRecords), hotFix);
    const std::vector<std::string> urls = someUrls(hotFixes);
    for (auto _ : state) {
        for (const std::string &url : urls) {
            const std::string fileName = afterLastSlash(url);
            std::size_t i = 0;
            while (i < products.size() && !contains(products[i].url, fileName))
                ++i;
            benchmark::DoNotOptimize(i);
        }
    }
}

// All of one version, each of them named by the order.
void orderSome(State &state, const std::string &folder) {
    std::vector<std::string> paths;
    for (const std::size_t number : numbers(Arrangement::random, somePackages))
        paths.push_back(folder + "/12.10.100.0/" + packageName(number));
    const std::vector<std::string> names = orderNames(somePackages);
    for (auto _ : state) {
        std::vector<std::string> sorted = paths;
        UpdateManager().quicksort(sorted, 0, static_cast<int>(sorted.size()) - 1);
        benchmark::DoNotOptimize(installationOrder(sorted, names));
    }
}

// --- registration

template <typename Function, typename... Arguments>
void inEveryArrangement(const std::string &name, Function function, Arguments... arguments) {
    for (const Arrangement arrangement : arrangements)
        benchmark::RegisterBenchmark((name + "/" + nameOf(arrangement)).c_str(),
                                     [=](State &state) {
                                         function(state, arguments..., arrangement);
                                         state.SetComplexityN(state.range(0));
                                     })
            ->RangeMultiplier(10)
            ->Range(1'000, 100'000)
            ->Unit(benchmark::kMicrosecond)
            ->Complexity(benchmark::oNLogN);
}

template <typename Function, typename... Arguments>
void once(const char *name, Function function, Arguments... arguments) {
    benchmark::RegisterBenchmark(name, [=](State &state) {
        function(state, arguments...);
    })->Unit(benchmark::kMicrosecond);
}

const bool areRegistered = [] {
    inEveryArrangement("selection", selection);
    inEveryArrangement("making the records", makeRecords);
    inEveryArrangement("hash, update", lookUp, false);
    inEveryArrangement("hash, installation", lookUp, true);
    inEveryArrangement("placement, update", placement, false);
    inEveryArrangement("placement, installation", placement, true);
    inEveryArrangement("ordering", ordering);
    once("1000 over 100000/hash, update", lookUpSome, false);
    once("1000 over 100000/hash, installation", lookUpSome, true);
    once("1000 over 100000/placement, update", placeSome, false);
    once("1000 over 100000/placement, installation", placeSome, true);
    once("1000 over 100000/placement, installation, by walking", placeSomeByWalking);
    once("1000 names over 1000 packages/ordering", orderSome, "/usr/local/Brovik/TempDownload/Package");
    once("1000 names over 1000 packages/ordering of reposts", orderSome,
         "/usr/local/Brovik/TempDownload/Package/repost");
    return true;
}();

} // namespace
