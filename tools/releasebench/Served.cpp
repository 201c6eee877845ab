#include "Matrix.h"

#include <algorithm>

#include "ReleaseFile.h"
#include "ReleaseOffer.h"

namespace {

bool isOffered(const ReleaseCatalog &catalog, const Offer &offer) {
    return std::any_of(offer.catalogs.begin(), offer.catalogs.end(),
                       [&catalog](const OfferedCatalog &offered) { return offered.url == catalog.url(); });
}

std::vector<std::string> fullVersionsOf(const Release &release, const Offer &offer) {
    std::vector<std::string> versions;
    for (const ReleaseCatalog &catalog : release.catalogs) {
        if (catalog.fullInstall && !catalog.productVersion.empty() && isOffered(catalog, offer))
            versions.push_back(catalog.productVersion);
    }
    return versions;
}

} // namespace

Served servedOf(const std::filesystem::path &folder, const Asker &asker) {
    const Release release = readRelease(folder);
    const Asker first = firstAsker(release);
    Served served;
    served.folder = folder.string();
    served.asker = {asker.affiliate.empty() ? first.affiliate : asker.affiliate,
                    asker.application.empty() ? first.application : asker.application};
    served.offer = offerTo(served.asker, release, Job::update);
    served.orderNames = orderNamesOf(release);
    served.fullVersions = fullVersionsOf(release, served.offer);
    return served;
}

Axes axesOf(const std::vector<const Served *> &all) {
    constexpr std::size_t numbersOfProduct = 4;
    constexpr std::size_t numbersOfSystem = 3; // which the engine asks the system for
    std::vector<std::string> products;
    std::vector<std::string> systems;
    for (const Served *served : all) {
        for (const HotFixPackageInfo &hotFix : served->offer.hotFixes) {
            products.insert(products.end(), {hotFix.minVer, hotFix.maxVer, hotFix.productVer});
            systems.insert(systems.end(), {hotFix.osxMinVer, hotFix.osxMaxVer});
        }
        products.insert(products.end(), served->fullVersions.begin(), served->fullVersions.end());
    }
    return {VersionAxis(products, numbersOfProduct), VersionAxis(systems, numbersOfSystem)};
}
