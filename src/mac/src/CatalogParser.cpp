#include "CatalogParser.h"

#include <algorithm>
#include <array>
#include <exception>
#include <iterator>
#include <new>
#include <stdexcept>
#include <utility>

#include "DownloadController.h"
#include "LibXmlWrapper.h"
#include "TextList.h"
#include "Trace.h"

namespace {

// "quiformac" stands twice (kept as shipped, harmless).
const std::array<const char *, 8> coreReleaseNames = {
    "quaformac", "quiformac", "quoformac",     "quiformac",
    "qusformac", "qulmac",    "pxbasicformac", "pxquibasicformac",
};

const std::string &dynamicBrandingCatalog = constantText("dynamicbranding_maccat.xml");
const std::string &keyCBRMSBuildNo = constantText("/product_catalog/configuration/cbrmsbuildno");

// Many thousand times what a real reply names. The catalogs of one product may stand again for every other
// one, so that a short reply could fill the memory.
constexpr std::size_t mostCatalogBytes = 256U << 20U;

// The texts of each catalog of one product, entry by entry.
struct CatalogTexts {
    explicit CatalogTexts(const LibXmlWrapper &product)
        : roots(product.getXPathAllOptionalElement(keyCoreCatalog, keyCatUrlRoot, keyDefaultValue))
        , names(product.getXPathAllOptionalElement(keyCoreCatalog, keyName, keyDefaultValue))
        , versions(product.getXPathAllOptionalElement(keyCoreCatalog, keyVersion, keyDefaultValue)) {}
    CatalogTexts() = default;

    std::vector<std::string> roots;
    std::vector<std::string> names;
    std::vector<std::string> versions;
};

// What a hot-fix consists of, in the order of the record's fields.
enum HotFixItem { name, url, hash, size, minVer, maxVer, osxMinVer, osxMaxVer, productVer, buildNo, repost };
std::vector<std::string> hotFixItems() {
    return {keyName,       keyProductUrl, keyProductHash,  keySize,      keyHFMinVer, keyHFmaxVer,
            keyHFOsMinVer, keyHFOsMaxVer, keyHFProductVer, keyHFBuildno, keyRepost};
}

HotFixPackageInfo hotFixOf(std::vector<std::string> &&texts) {
    return {std::move(texts[name]),      std::move(texts[url]),       std::move(texts[hash]),
            std::move(texts[size]),      std::move(texts[minVer]),    std::move(texts[maxVer]),
            std::move(texts[osxMinVer]), std::move(texts[osxMaxVer]), std::move(texts[productVer]),
            std::move(texts[buildNo]),   texts[repost] == "YES"};
}

// What the system did not let be read must not count as empty.
void requireWhole(const LibXmlWrapper &document) {
    if (!document.isWhole())
        throw std::bad_alloc();
}

bool isWithoutMemory(const std::exception &error) {
    return dynamic_cast<const std::bad_alloc *>(&error) != nullptr;
}

std::vector<std::vector<std::string>> hotFixTextsIn(const LibXmlWrapper &catalog) {
    auto texts = catalog.getXPathAllOptionalElements(keyHotFixPackage, hotFixItems(), keyDefaultValue);
    requireWhole(catalog);
    return texts;
}

void append(std::vector<HotFixPackageInfo> &hotFixes, std::vector<std::vector<std::string>> &&allTexts) {
    for (std::vector<std::string> &texts : allTexts)
        hotFixes.push_back(hotFixOf(std::move(texts)));
}

// True for every path that does not begin with "Partner", so for every absolute one (kept: packages of one
// name replace each other because of it).
bool isPartnerCatalog(const std::string &catalogPath) {
    return catalogPath.find("Partner") != 0;
}

} // namespace

bool isDynamicBrandingCatalog(const std::string &catalogPath) {
    return catalogPath.find(dynamicBrandingCatalog) != std::string::npos;
}

std::vector<HotFixPackageInfo> hotFixesIn(const LibXmlWrapper &catalog) {
    std::vector<HotFixPackageInfo> hotFixes;
    append(hotFixes, hotFixTextsIn(catalog));
    return hotFixes;
}

ProductInfo productIn(const LibXmlWrapper &catalog, const std::string &catalogPath) {
    ProductInfo product{catalog.getXPathElementAttribute(keyProductPackage, keyProductUrl),
                        catalog.getXPathElementAttribute(keyProductPackage, keyProductname),
                        isPartnerCatalog(catalogPath),
                        catalog.getXPathElementAttribute(keyProductPackage, keyProductHash),
                        catalog.getXPathStringValue(keyProductConfig + "/" + keyVersion),
                        catalog.getXPathStringValue(keyProductConfig + "/" + keyMainBuildNo)};
    requireWhole(catalog);
    return product;
}

std::optional<std::string> brandingBuildIn(const LibXmlWrapper &catalog, const std::string &catalogPath) {
    if (!isDynamicBrandingCatalog(catalogPath))
        return std::nullopt;
    const bool isNamed = catalog.isXPathElementExists(keyCBRMSBuildNo);
    const std::string buildNo = isNamed ? catalog.getXPathStringValue(keyCBRMSBuildNo) : "";
    requireWhole(catalog);
    return isNamed ? std::optional(buildNo) : std::nullopt;
}

std::map<std::string, std::list<const char *>> CatalogParser::getCatalogUrls(std::string response) {
    catalogTrace.info("INFO : Getting Catalog Urls\n");
    parseCatalogWithResponse(std::move(response));
    OwnedTexts coreUrls;
    OwnedTexts partnerUrls;
    for (const CatalogInfo &catalog : m_catalogList) {
        OwnedTexts &urls = catalog.isPartner ? partnerUrls : coreUrls;
        urls.append(catalog.catUrlRoot + "/" + catalog.name + ".xml");
    }
    std::map<std::string, std::list<const char *>> catalogUrls{{"Core", {}}, {"Partner", {}}};
    catalogUrls["Core"] = coreUrls.release();
    catalogUrls["Partner"] = partnerUrls.release();
    return catalogUrls;
}

void CatalogParser::parseCatalogWithResponse(std::string response) {
    catalogTrace.info("INFO : Tolvane response is  == >> %s\n", response.c_str());
    catalogTrace.info("INFO : Parsing Tolvane response for getting catalog\n");
    m_catalogList.clear();
    m_catalogBytes = 0;
    m_isCutShort = false;
    try {
        const LibXmlWrapper document(response.c_str(), response.size());
        record().setRelName(document.getXPathElementAttribute(keyProducts, keyRelName));
        record().setCoreReleaseVer(document.getXPathElementAttribute(keyProducts, keyRelVer));
        record().setPartnerReleaseVer(document.getXPathElementAttribute(keyPartner, keyRelVer));

        // Of the core products only: a partner product is matched by the id of a core product.
        const CoreAndPartnerAppIDs ids =
            getCoreAndPartnerAppIDs(document.getPropertyValue(keyCoreProduct, keyAppID));
        const std::vector<std::string> coreProducts = document.getAllElements(keyCoreProduct);
        const std::vector<std::string> partnerProducts = document.getAllElements(keyPartnerProduct);
        requireWhole(document);
        appendCatalogs(coreProducts, ids.core, false);
        appendCatalogs(partnerProducts, ids.partner, true);
    } catch (const std::exception &error) {
        catalogTrace.error("\n ERROR: Catalog Parsing Failed\n");
        m_isCutShort = isWithoutMemory(error);
    }
}

ReleaseRecord &CatalogParser::record() const {
    return m_record != nullptr ? *m_record : DownloadController::getInstance()->releaseRecord();
}

void CatalogParser::appendCatalogs(const std::vector<std::string> &products,
                                   const std::vector<std::string> &appIds, bool isPartner) {
    // Not reset between products: one whose id is not listed repeats the catalogs of the last product that
    // was (kept as shipped).
    CatalogTexts texts;
    for (const std::string &markup : products) {
        if (isPartner)
            catalogTrace.info("\nINFO : Partner Products - %s\n\n", markup.c_str());
        else
            catalogTrace.info("\nINFO : Core Products - %s\n\n", markup.c_str());
        const LibXmlWrapper product(markup.c_str(), markup.size());
        const std::string thisAppId = product.getXPathElementAttribute("/product", keyAppID);
        if (std::find(appIds.begin(), appIds.end(), thisAppId) != appIds.end()) {
            texts = CatalogTexts(product);
            if (!isPartner)
                catalogTrace.info("\nINFO : size of rooturl Vector is  - %d\n\n",
                                  static_cast<int>(texts.roots.size()));
        }
        requireWhole(product);
        catalogTrace.info("\nINFO : this appid - %s\n\n", thisAppId.c_str());
        for (std::size_t i = 0; i < texts.names.size(); ++i) {
            if (!isPartner)
                catalogTrace.info("INFO :Tolvane Response has names - %s\n", texts.names[i].c_str());
            appendCatalog({texts.roots.at(i), texts.versions.at(i), texts.names[i], isPartner});
        }
    }
}

void CatalogParser::appendCatalog(CatalogInfo catalog) {
    m_catalogBytes +=
        sizeof catalog + catalog.catUrlRoot.size() + catalog.version.size() + catalog.name.size();
    if (m_catalogBytes > mostCatalogBytes)
        throw std::length_error("more catalogs than any reply names");
    m_catalogList.push_back(std::move(catalog));
}

std::vector<ProductInfo> CatalogParser::getProductInfo(std::list<std::string> catalogPaths) {
    catalogTrace.info("INFO : Getting Package info\n");
    try {
        for (const std::string &path : catalogPaths)
            appendProduct(path);
    } catch (const std::exception &error) {
        catalogTrace.error("\n Product Catalog Parsing Failed\n");
        m_isCutShort = isWithoutMemory(error);
    }
    return getProductList();
}

void CatalogParser::appendProduct(const std::string &catalogPath) {
    setCBRMSBuildNoFromDynamicBrandingCatalog(catalogPath);
    ProductInfo product = productIn(LibXmlWrapper(catalogPath), catalogPath);
    const MutexLock lock(m_listMutex);
    m_productList.push_back(std::move(product));
}

std::vector<HotFixPackageInfo> CatalogParser::getHotFixInfo(std::list<std::string> catalogPaths) {
    catalogTrace.info("INFO : Getting Hotfix info\n");
    // All or none: what a later file lacks the memory for must not leave those of an earlier one.
    std::vector<HotFixPackageInfo> hotFixes;
    for (const std::string &path : catalogPaths) {
        setCBRMSBuildNoFromDynamicBrandingCatalog(path);
        // The document has gone before the records are made: both do not have to fit the memory.
        append(hotFixes, hotFixTextsIn(LibXmlWrapper(path)));
    }
    {
        const MutexLock lock(m_listMutex);
        m_hotFixList.insert(m_hotFixList.end(), std::make_move_iterator(hotFixes.begin()),
                            std::make_move_iterator(hotFixes.end()));
    }
    return getHotFixList();
}

void CatalogParser::setCBRMSBuildNoFromDynamicBrandingCatalog(std::string catalogPath) {
    const std::optional<std::string> buildNo = brandingBuildIn(LibXmlWrapper(catalogPath), catalogPath);
    if (buildNo)
        record().setCBRMSBuildNo(*buildNo);
}

bool CatalogParser::isCoreAppID(std::string appId) const {
    return std::find(coreReleaseNames.begin(), coreReleaseNames.end(), appId) != coreReleaseNames.end();
}

CoreAndPartnerAppIDs CatalogParser::getCoreAndPartnerAppIDs(std::vector<std::string> appIds) const {
    if (appIds.size() == 1)
        return {appIds, appIds};
    CoreAndPartnerAppIDs ids;
    for (const std::string &appId : appIds) {
        catalogTrace.info("\nINFO : getCoreAndPartnerAppIDs - %s\n\n", appId.c_str());
        std::vector<std::string> &side = isCoreAppID(appId) ? ids.core : ids.partner;
        side.push_back(appId);
    }
    return ids;
}

std::vector<ProductInfo> CatalogParser::getProductList() const {
    const MutexLock lock(m_listMutex);
    return m_productList;
}

std::vector<HotFixPackageInfo> CatalogParser::getHotFixList() const {
    const MutexLock lock(m_listMutex);
    return m_hotFixList;
}
