// What the records of product catalogs hold, against what was written into the catalogs. These are
// well-formed.
#include <array>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "CatalogParser.h"
#include "DownloadController.h"
#include "Machine.h"
#include "Markup.h"
#include "Paths.h"

namespace {

using HotFixes = std::vector<HotFixPackageInfo>;
using Products = std::vector<ProductInfo>;

constexpr std::array<const char *, 11> items = {"name",        "url",     "hash",       "size",
                                                "minver",      "maxver",  "osx_minver", "osx_maxver",
                                                "product_ver", "buildno", "repost"};

// As the catalogs list them.
struct Written {
    HotFixes hotFixes;
    Products products;
    std::optional<std::string> brandingBuildNo;
};

std::string hotFix(FuzzedDataProvider &input, HotFixes &hotFixes) {
    std::string markup;
    std::array<std::string, items.size()> texts;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const std::optional<std::string> text = maybeLine(input);
        markup += child(input, items[i], text);
        texts[i] = text.value_or("");
    }
    hotFixes.push_back({texts[0], texts[1], texts[2], texts[3], texts[4], texts[5], texts[6], texts[7],
                        texts[8], texts[9], texts[10] == "YES"});
    return element("hf_package", "", markup);
}

// Of what must stand there once; twice is as good as not at all.
std::string once(FuzzedDataProvider &input, const char *name, std::string &value) {
    const std::string text = lineOf(input);
    const int count = input.ConsumeIntegralInRange(0, 2);
    value = count == 1 ? text : "";
    std::string markup;
    for (int left = count; left > 0; --left)
        markup += element(name, "", escaped(text));
    return markup;
}

std::string serverPackage(FuzzedDataProvider &input, ProductInfo &product) {
    const std::optional<std::string> name = maybeLine(input);
    const std::optional<std::string> url = maybeLine(input);
    const std::optional<std::string> hash = maybeLine(input);
    const std::string markup = element(
        "server_package", attribute("name", name) + attribute("url", url) + attribute("hash", hash), "");
    const int count = input.ConsumeIntegralInRange(0, 2);
    if (count == 1) {
        product.name = name.value_or("");
        product.url = url.value_or("");
        product.hash = hash.value_or("");
    }
    return count == 0 ? "" : count == 1 ? markup : markup + markup;
}

std::string catalog(FuzzedDataProvider &input, Written &written) {
    ProductInfo product;
    product.isPartner = true; // whatever the path is, but for one that begins with that word
    std::string brandingBuildNo;
    const std::string configuration = once(input, "version", product.version) +
                                      once(input, "mainbuildno", product.mainBuildNo) +
                                      once(input, "cbrmsbuildno", brandingBuildNo);
    const std::string package = element("fullinstall_package_list", "", serverPackage(input, product));
    std::string hotFixes;
    for (int left = input.ConsumeIntegralInRange(0, 3); left > 0; --left)
        hotFixes += hotFix(input, written.hotFixes);
    written.products.push_back(product);
    const bool isThere = configuration.find("<cbrmsbuildno") == configuration.rfind("<cbrmsbuildno") &&
                         configuration.find("<cbrmsbuildno") != std::string::npos;
    written.brandingBuildNo = isThere ? std::optional(brandingBuildNo) : std::nullopt;
    return element("product_catalog", "",
                   element("configuration", "", configuration) +
                       element("manifest", "",
                               element("server_package_information", "",
                                       package + element("ProductPackage", "", hotFixes))));
}

bool isSame(const HotFixPackageInfo &one, const HotFixPackageInfo &other) {
    return one.name == other.name && one.url == other.url && one.hash == other.hash &&
           one.size == other.size && one.minVer == other.minVer && one.maxVer == other.maxVer &&
           one.osxMinVer == other.osxMinVer && one.osxMaxVer == other.osxMaxVer &&
           one.productVer == other.productVer && one.buildNo == other.buildNo && one.repost == other.repost;
}

bool isSame(const ProductInfo &one, const ProductInfo &other) {
    return one.url == other.url && one.name == other.name && one.isPartner == other.isPartner &&
           one.hash == other.hash && one.version == other.version && one.mainBuildNo == other.mainBuildNo;
}

template <typename Records>
bool areSame(const Records &some, const Records &others) {
    for (std::size_t i = 0; i < some.size() && i < others.size(); ++i) {
        if (!isSame(some[i], others[i]))
            return false;
    }
    return some.size() == others.size();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const std::list<std::string> files = {coreCatalogDirectory() + "/quaformac.xml",
                                                 partnerCatalogDirectory() + "/dynamicbranding_maccat.xml"};
    FuzzedDataProvider input(data, size);
    Written written;
    for (const std::string &file : files)
        putFile(file, catalog(input, written));
    DownloadController &controller = *DownloadController::getInstance();
    controller.setCBRMSBuildNo("unset");
    CatalogParser parser;
    require(areSame(parser.getHotFixInfo(files), written.hotFixes),
            "the hot-fixes are those of the catalogs");
    require(areSame(parser.getProductInfo(files), written.products),
            "the products are those of the catalogs");
    require(controller.getCBRMSBuildNO() == written.brandingBuildNo.value_or("unset"),
            "the branding build number is that of the branding catalog");
    return 0;
}
