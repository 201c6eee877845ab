// The records of the catalogs, the names that the two catalog documents use, and their parser.
#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ConstantText.h"
#include "ThreadSafety.h"

// One catalog that the service's reply names.
struct CatalogInfo {
    std::string catUrlRoot;
    std::string version;
    std::string name;
    bool isPartner = false;
};

// The full-install package of one product catalog.
struct ProductInfo {
    std::string url;
    std::string name;
    bool isPartner = false;
    std::string hash; // SHA-1, hex
    std::string version;
    std::string mainBuildNo;
};

// One hot-fix package of a product catalog. An empty bound is no bound.
struct HotFixPackageInfo {
    std::string name;
    std::string url;
    std::string hash; // SHA-1, hex
    std::string size; // bytes, decimal
    std::string minVer;
    std::string maxVer;
    std::string osxMinVer;
    std::string osxMaxVer;
    std::string productVer; // the product version that the hot-fix brings
    std::string buildNo;    // the build number that the hot-fix brings
    bool repost = false;
};

// Application ids, told apart by isCoreAppID.
struct CoreAndPartnerAppIDs {
    std::vector<std::string> core;
    std::vector<std::string> partner;
};

// The service's reply.
inline const std::string &keyCoreCatalog = constantText("/product/catlist/catalog");
inline const std::string &keyPartnerCatalog =
    constantText("/productresponse/pkglist/package/partner/product/catlist/catalog");
inline const std::string &keyProducts = constantText("/productresponse/pkglist/package/products");
inline const std::string &keyCoreProduct = constantText("/productresponse/pkglist/package/products/product");
inline const std::string &keyPartnerProduct =
    constantText("/productresponse/pkglist/package/partner/product");
inline const std::string &keyPartner = constantText("/productresponse/pkglist/package/partner");
inline const std::string &keyCatUrlRoot = constantText("caturlroot");
inline const std::string &keyName = constantText("name");
inline const std::string &keyAppID = constantText("appid");
inline const std::string &keyVersion = constantText("version");
inline const std::string &keyRelVer = constantText("relver");
inline const std::string &keyRelName = constantText("relname");
inline const std::string &keyDefaultValue = constantText("");

// The product catalog.
inline const std::string &keyProductPackage = constantText(
    "/product_catalog/manifest/server_package_information/fullinstall_package_list/server_package");
inline const std::string &keyProductConfig = constantText("/product_catalog/configuration");
inline const std::string &keyHotFixPackage =
    constantText("/product_catalog/manifest/server_package_information/ProductPackage/hf_package");
inline const std::string &keyProductname = constantText("name");
inline const std::string &keyProductUrl = constantText("url");
inline const std::string &keyProductHash = constantText("hash");
inline const std::string &keyMainBuildNo = constantText("mainbuildno");
inline const std::string &keySize = constantText("size");
inline const std::string &keyHFMinVer = constantText("minver");
inline const std::string &keyHFmaxVer = constantText("maxver");
inline const std::string &keyHFOsMinVer = constantText("osx_minver");
inline const std::string &keyHFOsMaxVer = constantText("osx_maxver");
inline const std::string &keyHFProductVer = constantText("product_ver");
inline const std::string &keyHFBuildno = constantText("buildno");
inline const std::string &keyRepost = constantText("repost");

// Whether the file is the catalog that tells the branding's build number, by any part of its path.
bool isDynamicBrandingCatalog(const std::string &catalogPath);

class LibXmlWrapper;
class ReleaseRecord;

// What a catalog that is parsed already says; the path is that of its file. They throw std::bad_alloc rather
// than give a part of it.
std::vector<HotFixPackageInfo> hotFixesIn(const LibXmlWrapper &catalog);
ProductInfo productIn(const LibXmlWrapper &catalog, const std::string &catalogPath);
// Of the catalog of the branding only.
std::optional<std::string> brandingBuildIn(const LibXmlWrapper &catalog, const std::string &catalogPath);

// Reads the service's reply and the product catalogs into records. Release values that it meets on the way
// go to the controller, or to the record that it was given.
//
// Threads: one thread parses at a time; the product list may be asked for by any thread meanwhile.
class CatalogParser {
public:
    CatalogParser() = default;
    // The record must outlive the parser; no controller is made then.
    explicit CatalogParser(ReleaseRecord &record)
        : m_record(&record) {}
    ~CatalogParser() = default;
    CatalogParser(const CatalogParser &) = delete;
    CatalogParser &operator=(const CatalogParser &) = delete;

    // The catalog URLs that a reply names, under "Core" and "Partner", which are both always present. The
    // texts are new[]-allocated copies that belong to the caller.
    std::map<std::string, std::list<const char *>> getCatalogUrls(std::string response);
    // Replaces the catalog list by the catalogs of a reply; after a failure it holds those read so far.
    void parseCatalogWithResponse(std::string response);
    // Appends one product per catalog file and gives the whole list. A file that cannot be parsed gives a
    // product of empty texts.
    std::vector<ProductInfo> getProductInfo(std::list<std::string> catalogPaths);
    // Appends the hot-fixes of all catalog files and gives the whole list.
    std::vector<HotFixPackageInfo> getHotFixInfo(std::list<std::string> catalogPaths);
    // Hands the branding build number to the controller when the file is the dynamic-branding catalog.
    void setCBRMSBuildNoFromDynamicBrandingCatalog(std::string catalogPath);

    // Whether the id is one of the fixed list of core editions.
    bool isCoreAppID(std::string appId) const;
    // Tells the ids apart; a single one counts as both.
    CoreAndPartnerAppIDs getCoreAndPartnerAppIDs(std::vector<std::string> appIds) const;
    std::vector<ProductInfo> getProductList() const;
    std::vector<HotFixPackageInfo> getHotFixList() const;
    // Whether the system, and not a text, kept it from reading all of this reply or of its catalogs. Nobody
    // can tell what is missing.
    bool isCutShort() const noexcept { return m_isCutShort; }

private:
    ReleaseRecord &record() const;
    void appendCatalogs(const std::vector<std::string> &products, const std::vector<std::string> &appIds,
                        bool isPartner);
    // Throws std::length_error when there are more catalogs than any reply names.
    void appendCatalog(CatalogInfo catalog);
    void appendProduct(const std::string &catalogPath);

    ReleaseRecord *const m_record = nullptr; // the controller's when null
    std::vector<CatalogInfo> m_catalogList;
    std::size_t m_catalogBytes = 0; // that the list holds
    mutable boost::mutex m_listMutex;
    std::vector<ProductInfo> m_productList GUARDED_BY(m_listMutex);
    std::vector<HotFixPackageInfo> m_hotFixList GUARDED_BY(m_listMutex);
    bool m_isCutShort = false;
};
