// The files of a release folder, and what was built of them before.
#include <algorithm>
#include <functional>
#include <tuple>

#include "LintInput.h"
#include "LintRule.h"
#include "OutputFolder.h"
#include "PlainFile.h"
#include "Publication.h"

namespace {

namespace fs = std::filesystem;

struct PackageFile {
    fs::path path;
    const ReleasePackage *package;
};

LintPlace placeOf(const LintInput &input, const PackageFile &file) {
    return input.releasePlace(file.package->place + "/file");
}

std::vector<PackageFile> filesOf(const LintInput &input) {
    std::vector<PackageFile> files;
    const auto add = [&](const ReleasePackage &package) {
        files.push_back({input.release->folder / package.file, &package});
    };
    for (const LintCatalog &catalog : input.catalogs) {
        if (catalog.source && catalog.source->fullInstall)
            add(*catalog.source->fullInstall);
        for (std::size_t i = 0; catalog.source && i < catalog.source->hotFixes.size(); ++i)
            add(catalog.source->hotFixes[i]);
    }
    return files;
}

void checkThere(const LintInput &input, const Tell &tell) {
    for (const PackageFile &file : filesOf(input)) {
        if (!isPlainFile(file.path))
            tell(placeOf(input, file), file.path.string() + " is no file");
    }
}

void checkEmpty(const LintInput &input, const Tell &tell) {
    for (const PackageFile &file : filesOf(input)) {
        if (isPlainFile(file.path) && fs::file_size(file.path) == 0)
            tell(placeOf(input, file), file.path.string() + " is empty");
    }
}

void checkInside(const LintInput &input, const Tell &tell) {
    for (const PackageFile &file : filesOf(input)) {
        const fs::path relative = fs::path(file.package->file).lexically_normal();
        if (relative.is_absolute() || *relative.begin() == "..")
            tell(placeOf(input, file), file.package->file + " is not in the folder");
    }
}

// --- what was built

// But for what comes from the packages' files.
bool isSame(const HotFixPackageInfo &one, const HotFixPackageInfo &other) {
    const auto values = [](const HotFixPackageInfo &hotFix) {
        return std::tie(hotFix.name, hotFix.url, hotFix.minVer, hotFix.maxVer, hotFix.osxMinVer,
                        hotFix.osxMaxVer, hotFix.productVer, hotFix.buildNo, hotFix.repost);
    };
    return values(one) == values(other);
}

bool isSame(const ProductInfo &one, const ProductInfo &other) {
    const auto values = [](const ProductInfo &product) {
        return std::tie(product.url, product.name, product.version, product.mainBuildNo);
    };
    return values(one) == values(other);
}

bool isCurrent(const LintBuilt &built, const LintCatalog &source) {
    if (!built.catalog)
        return built.isAsBuildWritesIt;
    const LintCatalog &catalog = *built.catalog;
    return catalog.brandingBuild == source.brandingBuild && isSame(catalog.product, source.product) &&
           std::equal(catalog.hotFixes.begin(), catalog.hotFixes.end(), source.hotFixes.begin(),
                      source.hotFixes.end(),
                      [](const auto &one, const auto &other) { return isSame(one, other); });
}

void checkCurrent(const LintInput &input, const Tell &tell) {
    for (std::size_t i = 0; i < input.built.size(); ++i) {
        if (!isCurrent(input.built[i], input.catalogs[i]))
            tell({input.built[i].file.string(), 1, ""}, "is not what release.json says now");
    }
    if (input.built.empty())
        return;
    const fs::path folder = input.release->folder / "built";
    for (const auto &[name, text] : {std::pair("DynaConfig.plist", orderList(input.release->order)),
                                     std::pair("releases.xml", releasesXml(*input.release))}) {
        if (!hasContent(folder / name, text))
            tell({(folder / name).string(), 1, ""}, "is not what release.json says now");
    }
}

// Every package of what was built and is current but not as build writes it, with the facts of its file.
using Visit =
    std::function<void(const std::string &, const FileFacts &, const std::function<LintPlace()> &place)>;
void visitBuilt(const LintInput &input, const Visit &visitHash, const Visit &visitSize) {
    for (std::size_t i = 0; i < input.built.size(); ++i) {
        const LintCatalog &source = input.catalogs[i];
        if (!input.built[i].catalog || !isCurrent(input.built[i], source))
            continue;
        const LintCatalog &built = *input.built[i].catalog;
        const auto factsOf = [&](const ReleasePackage &package) {
            return input.facts.find(input.release->folder / package.file);
        };
        if (source.source->fullInstall && factsOf(*source.source->fullInstall) != input.facts.end())
            visitHash(built.product.hash, factsOf(*source.source->fullInstall)->second,
                      [&] { return built.places->fullInstall(Item::hash); });
        for (std::size_t k = 0; k < built.hotFixes.size(); ++k) {
            const auto facts = factsOf(source.source->hotFixes[k]);
            if (facts == input.facts.end())
                continue;
            visitHash(built.hotFixes[k].hash, facts->second,
                      [&] { return built.places->hotFix(k, Item::hash); });
            visitSize(built.hotFixes[k].size, facts->second,
                      [&] { return built.places->hotFix(k, Item::size); });
        }
    }
}

const auto ignore = [](const std::string &, const FileFacts &, const std::function<LintPlace()> &) {};

void checkHashes(const LintInput &input, const Tell &tell) {
    visitBuilt(
        input,
        [&](const std::string &hash, const FileFacts &facts, const std::function<LintPlace()> &place) {
            if (hash != facts.hash)
                tell(place(), hash + ", and the file's is " + facts.hash);
        },
        ignore);
}

void checkSizes(const LintInput &input, const Tell &tell) {
    visitBuilt(input, ignore,
               [&](const std::string &size, const FileFacts &facts, const std::function<LintPlace()> &place) {
                   if (size != facts.size)
                       tell(place(), size + " bytes, and the file has " + facts.size);
               });
}

} // namespace

std::vector<LintRule> fileRules() {
    return {
        {"file-missing", Severity::error, "A package's file is not there.",
         "The release cannot be built: no hash can be given for the package.",
         "Put the file there, or correct its name.", "", checkThere},
        {"file-empty", Severity::error, "A package's file is empty.",
         "It is published with the hash of nothing, which every download that brings nothing matches.",
         "Put the package there.", "", checkEmpty},
        {"file-outside", Severity::note, "A package's file is not in the release's folder.",
         "The folder alone is then no whole release.", "Put the file into the folder.", "", checkInside},
        {"built-outdated", Severity::warning, "What was built is not what release.json says.",
         "Customers get what is published.", "Run `releasebench build`, and publish what it writes.", "",
         checkCurrent},
        {"built-hash", Severity::error, "A built catalog has another hash than the package's file.",
         "The package never matches it: it is fetched three times, checked twice and given up.",
         "Run `releasebench build`, and publish catalog and package together.",
         "A package with a wrong hash is fetched three times", checkHashes},
        {"built-size", Severity::warning, "A built catalog has another size than the package's file.",
         "The engine decides nothing by it, but the file is another one than it was.",
         "Run `releasebench build`, and publish catalog and package together.", "", checkSizes},
    };
}
