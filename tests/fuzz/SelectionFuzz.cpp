// Which hot-fixes apply to an installed version on a system, against the rules written out one by one.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "CatalogParser.h"
#include "DownloadController.h"
#include "HotFixSelection.h"
#include "Machine.h"
#include "Paths.h"
#include "TextList.h"
#include "TolvaneHandler.h"
#include "UpdateManager.h"
#include "VersionModel.h"

namespace {

using HotFixes = std::vector<HotFixPackageInfo>;

// What an update is told of the hot-fixes.
struct Chosen {
    std::vector<std::string> urls;
    std::string version;
    std::string buildNo = "0";
};

Selection judged(const HotFixPackageInfo &hotFix, const std::string &installed, const std::string &system) {
    if (hotFix.productVer == "")
        return Selection::noProductVersion;
    if (hotFix.osxMinVer != "" && isNewer(hotFix.osxMinVer, system))
        return Selection::systemTooOld;
    if (hotFix.osxMaxVer != "" && isNewer(system, hotFix.osxMaxVer))
        return Selection::systemTooNew;
    if (hotFix.minVer != "" && isNewer(hotFix.minVer, installed))
        return Selection::productTooOld;
    if (hotFix.maxVer != "" && isNewer(installed, hotFix.maxVer))
        return Selection::productTooNew;
    return Selection::applies;
}

// None when a build number is no number.
std::optional<int> buildNumber(const std::string &text) {
    long long number = 0;
    if (std::sscanf(text.c_str(), "%lld", &number) != 1 || number < INT32_MIN || number > INT32_MAX)
        return std::nullopt;
    return static_cast<int>(number);
}

// None when the selection ends by an exception.
std::optional<Chosen> chosen(const HotFixes &hotFixes, const std::string &installed,
                             const std::string &system) {
    Chosen result;
    result.version = installed;
    for (const HotFixPackageInfo &hotFix : hotFixes) {
        if (judged(hotFix, installed, system) != Selection::applies)
            continue;
        if (isNewer(hotFix.productVer, result.version))
            result.version = hotFix.productVer;
        if (!buildNumber(hotFix.buildNo))
            return std::nullopt;
        if (*buildNumber(result.buildNo) < *buildNumber(hotFix.buildNo))
            result.buildNo = hotFix.buildNo;
        result.urls.push_back(hotFix.url);
    }
    return result;
}

// None when it ended by one of the exceptions that it documents.
std::optional<Chosen> chosenByEngine(const HotFixes &hotFixes, const std::string &installed) {
    HotFixes kept;
    Chosen result;
    try {
        OwnedTexts urls(UpdateManager().getListOfUpdates(hotFixes, installed, kept));
        result.urls.assign(urls.list().begin(), urls.list().end());
    } catch (const std::invalid_argument &) {
        return std::nullopt;
    } catch (const std::out_of_range &) {
        return std::nullopt;
    }
    require(kept.size() == result.urls.size(), "every URL has its record");
    for (std::size_t i = 0; i < kept.size(); ++i)
        require(kept[i].url == result.urls[i], "records and URLs have one order");
    result.version = DownloadController::getInstance()->getMaxPackageVersion();
    result.buildNo = DownloadController::getInstance()->getMaxBuildNo();
    return result;
}

// Mostly one of a few versions that lie close together: bounds are met by chance only seldom.
std::string version(FuzzedDataProvider &input) {
    static constexpr const char *near[] = {"",         "1.0.0.4", "1.0.0.5",      "1.0.0.6", "1.0.1.0",
                                           "10.8.4",   "10.8.5",  "10.8.6",       "10.9",    "9.9.9.9",
                                           "1.0.0.50", "-1",      "2147483648.0", "a",       " 1.0.0.5"};
    return input.ConsumeIntegralInRange(0, 3) > 0 ? input.PickValueInArray(near)
                                                  : input.ConsumeRandomLengthString(24);
}

HotFixPackageInfo hotFix(FuzzedDataProvider &input) {
    HotFixPackageInfo made;
    made.minVer = version(input);
    made.maxVer = version(input);
    made.osxMinVer = version(input);
    made.osxMaxVer = version(input);
    made.productVer = version(input);
    made.buildNo = input.ConsumeBool() ? std::to_string(input.ConsumeIntegral<std::int16_t>())
                                       : input.ConsumeRandomLengthString(14);
    made.repost = input.ConsumeBool();
    return made;
}

bool hasScannableVersions(const HotFixPackageInfo &made) {
    return isScannable(made.minVer) && isScannable(made.maxVer) && isScannable(made.osxMinVer) &&
           isScannable(made.osxMaxVer) && isScannable(made.productVer);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const std::string installed = version(input);
    const std::string system = TolvaneHandler().getOSVersion();
    HotFixes hotFixes;
    while (input.remaining_bytes() > 0) {
        hotFixes.push_back(hotFix(input));
        hotFixes.back().url = "https://download.example/" + std::to_string(hotFixes.size());
        if (!hasScannableVersions(hotFixes.back()) || !isScannable(installed))
            return 0;
        require(judgeHotFix(hotFixes.back(), installed, system) == judged(hotFixes.back(), installed, system),
                "the first reason against a hot-fix is the one that is given");
    }
    const std::optional<Chosen> expected = chosen(hotFixes, installed, system);
    const std::optional<Chosen> got = chosenByEngine(hotFixes, installed);
    require(expected.has_value() == got.has_value(), "only a build number that is none is an error");
    if (!expected)
        return 0;
    require(got->urls == expected->urls, "what applies is kept, in its order");
    require(got->version == expected->version, "the highest version is the one that is recorded");
    require(got->buildNo == expected->buildNo, "the highest build number is the one that is recorded");
    return 0;
}
