// What the installed commands take for 100,000 hot-fixes, beside the engine's reading of the same catalog.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "CatalogParser.h"
#include "Publication.h"
#include "ReleaseFile.h"
#include "TemporaryFolder.h"

namespace {

using Json = nlohmann::json;
using Seconds = std::chrono::duration<double>;

constexpr int hotFixes = 100'000;
constexpr double mostTimes = 10;

// The version of that number, of many.
std::string version(int number) {
    return "1." + std::to_string(number / 10'000) + "." + std::to_string(number / 100 % 100) + "." +
           std::to_string(number % 100);
}

struct Bounds {
    std::string least;
    std::string most;
    std::string brings;
};

struct Large {
    const char *name;
    Bounds (*boundsOf)(int number);
};

void PrintTo(const Large &large, std::ostream *out) {
    *out << large.name;
}

constexpr auto nameOfCase = [](const auto &parameter) { return std::string(parameter.param.name); };

Json releaseOf(const Large &large) {
    Json packages = Json::array();
    for (int i = 0; i < hotFixes; ++i) {
        const Bounds bounds = large.boundsOf(i);
        const std::string name = "suite-component-" + std::to_string(i) + ".pkg";
        packages.push_back({{"file", "packages/" + name},
                            {"url", "https://host/updates/mac/HF_" + bounds.brings + "/" + name},
                            {"minVersion", bounds.least},
                            {"maxVersion", bounds.most},
                            {"minSystem", "10.6.0"},
                            {"maxSystem", "10.9.5"},
                            {"version", bounds.brings},
                            {"build", std::to_string(1000 + i)},
                            {"repost", i % 16 == 0}});
    }
    return {{"audience",
             {{{"affiliates", {"105"}},
               {"releaseName", "large"},
               {"coreVersion", "2"},
               {"partnerVersion", "2"},
               {"products", {{{"application", "quaformac"}, {"catalogs", {"large"}}}}}}}},
            {"catalogs",
             {{{"name", "large"}, {"root", "https://host"}, {"version", "1"}, {"hotFixes", packages}}}},
            {"order", {"suite-component-16.pkg"}}};
}

double secondsOf(const std::function<void()> &work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return Seconds(std::chrono::steady_clock::now() - begin).count();
}

class LargeRelease : public testing::TestWithParam<Large> {};

TEST_P(LargeRelease, TakesNoTenTimesTheReadingOfItsCatalog) {
    const TemporaryFolder folder;
    const std::string place = folder.path().string();
    writeNewFile(folder.path() / "release.json", releaseOf(GetParam()).dump(1));
    const std::string catalog = place + "/large.xml";
    writeNewFile(catalog,
                 catalogXml(readRelease(folder.path()).catalogs[0], [](const ReleasePackage &package) {
                     return FileFacts{"100000", package.file};
                 }));
    double reading = 0;
    for (int i = 0; i < 3; ++i) {
        const double once = secondsOf(
            [&] { ASSERT_EQ(CatalogParser().getHotFixInfo({catalog}).size(), std::size_t{hotFixes}); });
        reading = i == 0 ? once : std::min(reading, once);
    }
    std::printf("reading: %.2f s\n", reading);
    const std::string program = "/usr/local/Brovik/qrn/bin/releasebench ";
    const std::string commands[] = {"explain " + place + " --product " + version(50) + " --system 10.8.5",
                                    "matrix " + place, "matrix " + place + " --format json"};
    for (const std::string &command : commands) {
        const double taken =
            secondsOf([&] { EXPECT_EQ(std::system((program + command + " >/dev/null").c_str()), 0); });
        std::printf("%s: %.2f s, %.1f times the reading\n", command.c_str(), taken, taken / reading);
        EXPECT_LT(taken, mostTimes * reading) << command;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Catalogs, LargeRelease,
    testing::Values(Large{"ThousandVersionsForAllBefore",
                          [](int number) {
                              return Bounds{version(0), version(number / 100), version(number / 100 + 1)};
                          }},
                    Large{"AVersionEach",
                          [](int number) {
                              return Bounds{version(number), version(number), version(number + 1)};
                          }},
                    Large{"BoundsOfItsOwnEach",
                          [](int number) {
                              return Bounds{version(number), version(2 * hotFixes - number),
                                            version(number + hotFixes / 2)};
                          }}),
    nameOfCase);

} // namespace
