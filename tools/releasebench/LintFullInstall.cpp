// What the engine makes of the packages of a fresh installation, which it finds by names within URLs.
#include <algorithm>
#include <map>
#include <stdexcept>

#include "LintInput.h"
#include "LintRule.h"
#include "PackageRecords.h"
#include "Paths.h"
#include "ProductUrls.h"
#include "ReleaseRecord.h"
#include "Text.h"

namespace {

// The catalogs of an offer; none where one lacks its package, so that nothing is installed.
std::vector<const LintCatalog *> installing(const LintOffer &offer) {
    const bool isWhole =
        std::none_of(offer.catalogs.begin(), offer.catalogs.end(),
                     [](const LintCatalog *catalog) { return catalog->product.url.empty(); });
    return isWhole ? offer.catalogs : std::vector<const LintCatalog *>();
}

LintPlace at(const LintCatalog &catalog, Item item) {
    return catalog.places->fullInstall(item);
}

// Each of them with what the engine has on record of all.
void visitRecorded(
    const LintInput &input,
    const std::function<void(const LintCatalog &, const PackageRecords &, const LintOffer &)> &visit) {
    for (const LintOffer &offer : input.offers) {
        PackageRecords records;
        records.setProducts(offer.products());
        for (const LintCatalog *catalog : installing(offer))
            visit(*catalog, records, offer);
    }
}

void checkMissing(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        const bool isForUpdatesOnly = catalog.document && isDynamicBrandingCatalog(catalog.name + ".xml");
        if (catalog.product.url.empty() && catalog.isRead() && !isForUpdatesOnly)
            tell(catalog.places->catalog(), "no full-install package");
    }
}

void checkName(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        if (!catalog.product.url.empty() && catalog.product.name.empty())
            tell(at(catalog, Item::name), "no name, which stands in every URL");
    }
}

void checkReplaced(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        const std::list<std::string> urls = productUrls(offer.products());
        for (const LintCatalog *catalog : installing(offer)) {
            if (std::find(urls.begin(), urls.end(), catalog->product.url) == urls.end())
                tell(at(*catalog, Item::url),
                     catalog->product.url + " is not downloaded: the name of a later package stands in it");
        }
    }
}

void checkHash(const LintInput &input, const Tell &tell) {
    visitRecorded(input, [&](const LintCatalog &catalog, const PackageRecords &records,
                             const LintOffer &offer) {
        const std::string &url = catalog.product.url;
        if (records.hashOf(url) == catalog.product.hash)
            return;
        const auto products = offer.products();
        const auto first = std::find_if(products.begin(), products.end(), [&](const ProductInfo &product) {
            return contains(url, product.name);
        });
        tell(at(catalog, Item::name), first == products.end()
                                          ? "no package's name stands in " + url + ": no hash is known for it"
                                          : url + " is checked against the hash of \"" + first->name +
                                                "\", the first name that stands in it");
    });
}

void checkFolder(const LintInput &input, const Tell &tell) {
    visitRecorded(input, [&](const LintCatalog &catalog, const PackageRecords &records, const LintOffer &) {
        const std::string folder = records.foldersOf({catalog.product.url}).front();
        if (folder != catalog.product.version)
            tell(at(catalog, Item::url), catalog.product.url + " goes to the folder of version \"" + folder +
                                             "\" instead of \"" + catalog.product.version + "\"");
    });
}

void checkShared(const LintInput &input, const Tell &tell) {
    for (const LintOffer &offer : input.offers) {
        PackageRecords records;
        records.setProducts(offer.products());
        std::map<std::string, const LintCatalog *> firsts;
        for (const LintCatalog *catalog : installing(offer)) {
            try {
                const std::string path = records.destinationOf(catalog->product.url, packageDirectory());
                if (!firsts.emplace(path, catalog).second)
                    tell(at(*catalog, Item::url),
                         "goes to " + path + ", as the package of another catalog does");
            } catch (const std::invalid_argument &) {
                // Told by another rule.
            }
        }
    }
}

void checkVersion(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        ReleaseRecord record;
        record.setMaximaOf({catalog.product});
        if (!catalog.product.url.empty() && record.getMaxPackageVersion() != catalog.product.version)
            tell(at(catalog, Item::version), "version \"" + catalog.product.version + "\" is not above 0");
    }
}

void checkBuild(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        ReleaseRecord record;
        record.setMaximaOf({catalog.product});
        if (!catalog.product.url.empty() && record.getMaxBuildNo() != catalog.product.mainBuildNo)
            tell(at(catalog, Item::build), "build \"" + catalog.product.mainBuildNo + "\" is not above 0");
    }
}

} // namespace

std::vector<LintRule> fullInstallRules() {
    return {
        {"fullinstall-missing", Severity::warning, "A catalog has no full-install package.",
         "Every catalog adds a product, this one an empty URL: every fresh installation that is told of the "
         "catalog fails (\"ERROR:  Package Missing\"), and downloads nothing.",
         "Add a full-install package, or name the catalog in replies to updates only.",
         "Every catalog adds a product, a catalog without a full-install package one with an empty URL.",
         checkMissing},
        {"fullinstall-name-missing", Severity::error, "A full-install package has no name.",
         "An empty name stands in every URL: the package takes another one's place, and lends its hash to "
         "all.",
         "Give the package's file name.",
         "Every catalog adds a product, a catalog without a full-install package one with an empty URL.",
         checkName},
        {"fullinstall-replaced", Severity::error, "A full-install package is replaced by another one.",
         "Every product of a fresh installation counts as a partner's: a package takes the place of the "
         "first one whose URL contains its name.",
         "Give packages names of which none is part of another's URL.",
         "Every product of a fresh installation counts as a partner's.", checkReplaced},
        {"fullinstall-foreign-hash", Severity::error,
         "A full-install package is checked against another hash.",
         "Its hash is that of the first package whose name stands in its URL: the package never matches.",
         "Let each package's name stand in its own URL and in no other.", "", checkHash},
        {"fullinstall-folder", Severity::warning, "A full-install package goes to another version's folder.",
         "Its folder is the version of the first product whose URL contains its file name.",
         "Use unique file names.",
         "The same file name in the URLs of two products decides by the first of them.", checkFolder},
        {"fullinstall-shared", Severity::error, "Two full-install packages go to one file.",
         "The second download waits for the first and writes over it.", "Use unique file names.",
         "The same file name in the URLs of two products decides by the first of them.", checkShared},
        {"fullinstall-version", Severity::warning,
         "The version of a full-install package counts for nothing.",
         "The highest version of the products is recorded, from 0.0.0.0 on: this one never is.",
         "Give the version that the package installs.", "", checkVersion},
        {"fullinstall-build", Severity::warning,
         "The build number of a full-install package counts for nothing.",
         "The highest build number of the products is recorded, from 0 on: this one never is.",
         "Give the build number that the package installs.", "", checkBuild},
    };
}
