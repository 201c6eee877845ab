// A product catalog on the disk, as an update and a fresh installation read it: as a catalog of the core, and
// again as the dynamic-branding catalog of the partner.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <list>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "CatalogParser.h"
#include "Destination.h"
#include "DownloadController.h"
#include "LibXmlWrapper.h"
#include "Machine.h"
#include "PackageRecords.h"
#include "Paths.h"
#include "PropertyList.h"
#include "ReleaseRecord.h"
#include "Text.h"
#include "TextList.h"
#include "UpdateManager.h"

namespace {

const std::list<std::string> files = {coreCatalogDirectory() + "//quaformac.xml",
                                      partnerCatalogDirectory() + "//dynamicbranding_maccat.xml"};

// Blanks, a sign and digits, within the range of an int.
bool isBuildNumber(const std::string &text) {
    const std::size_t sign = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const std::size_t digits = sign + (text[sign] == '-' || text[sign] == '+' ? 1 : 0);
    if (digits >= text.size() || text[digits] < '0' || text[digits] > '9')
        return false;
    const double number = std::strtod(
        text.substr(digits, text.find_first_not_of("0123456789", digits) - digits).c_str(), nullptr);
    return number <= 2147483647.0 || (text[sign] == '-' && number == 2147483648.0);
}

void requireUncountable(const std::vector<HotFixPackageInfo> &hotFixes) {
    require(std::any_of(hotFixes.begin(), hotFixes.end(),
                        [](const HotFixPackageInfo &hotFix) { return !isBuildNumber(hotFix.buildNo); }),
            "only a build number that is none ends an update by an exception");
}

// What an update leaves of the installed configuration must be one that the suite can read.
void prepareConfiguration() {
    DownloadController::getInstance()->createXMLWithUpdateInfo();
    const std::string prepared = fileContent(updatedProdConfigXml);
    require(prepared.empty() ||
                LibXmlWrapper(prepared.data(), prepared.size()).isXPathElementExists("/ProductConfiguration"),
            "the prepared configuration is a configuration");
}

// None when a build number is none: the one exception that the selection documents.
std::optional<std::vector<HotFixPackageInfo>> chosen(const std::vector<HotFixPackageInfo> &hotFixes) {
    std::vector<HotFixPackageInfo> kept;
    try {
        const OwnedTexts urls(UpdateManager().getListOfUpdates(hotFixes, "1.0.0.5", kept));
        return kept;
    } catch (const std::invalid_argument &) {
        requireUncountable(hotFixes);
    } catch (const std::out_of_range &) {
        requireUncountable(hotFixes);
    }
    return std::nullopt;
}

void update() {
    const std::vector<HotFixPackageInfo> hotFixes = CatalogParser().getHotFixInfo(files);
    const std::size_t listed = LibXmlWrapper(files.front()).countNodes(keyHotFixPackage).value_or(0);
    require(hotFixes.size() == files.size() * listed, "every hot-fix of every catalog gives one record");
    const std::optional<std::vector<HotFixPackageInfo>> kept = chosen(hotFixes);
    if (!kept || kept->empty())
        return;
    PackageRecords records;
    records.setFreshInstallMode(false);
    records.setHotFixes(hotFixes);
    for (const HotFixPackageInfo &hotFix : *kept)
        requireSafeDestination(packageDirectory(), records.foldersOf({hotFix.url}).front(),
                               afterLastSlash(hotFix.url));
    prepareConfiguration();
}

std::string hashOfFirstNamed(const std::vector<ProductInfo> &products, const std::string &url) {
    for (const ProductInfo &product : products) {
        if (contains(url, product.name))
            return product.hash;
    }
    return "";
}

void recordRelease(const std::vector<ProductInfo> &products) {
    ReleaseRecord release;
    release.setRelName(products.front().name);
    release.setCoreReleaseVer(products.front().url);
    release.writeToPropertyList(products);
    const std::optional<PropertyList> list = PropertyList::readFromOpenFolder(configurationPlistPath);
    require(list && list->string("AffID") == "105", "the installer's property list keeps what it held");
}

void freshInstallation() {
    const std::vector<ProductInfo> products = CatalogParser().getProductInfo(files);
    require(products.size() == files.size(), "every catalog gives one product");
    PackageRecords records;
    records.setProducts(products);
    for (const ProductInfo &product : products) {
        requireSafeDestination(packageDirectory(), records.foldersOf({product.url}).front(),
                               afterLastSlash(product.url));
        require(records.hashOf(product.url) == hashOfFirstNamed(products, product.url),
                "a package's hash is that of the first product that its URL names");
    }
    if (!products.front().version.empty() || !products.front().name.empty())
        recordRelease(products);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string catalog(reinterpret_cast<const char *>(data), size);
    for (const std::string &file : files)
        putFile(file, catalog);
    update();
    freshInstallation();
    return 0;
}
