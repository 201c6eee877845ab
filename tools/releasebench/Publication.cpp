#include "Publication.h"

#include "CatalogParser.h"
#include "XmlOut.h"

namespace {

void writeFullInstall(XmlOut &out, const ReleasePackage &package, const FileFacts &facts) {
    out.open("fullinstall_package_list");
    XmlOut::Attributes attributes = {{keyProductname.c_str(), package.name}};
    if (!facts.hash.empty())
        attributes.emplace_back(keyProductHash.c_str(), facts.hash);
    attributes.emplace_back(keyProductUrl.c_str(), package.url);
    out.empty("server_package", attributes);
    out.close();
}

void writeHotFix(XmlOut &out, const ReleaseHotFix &hotFix, const FileFacts &facts) {
    out.open("hf_package");
    out.leaf(keyName.c_str(), hotFix.name);
    out.leaf(keyProductUrl.c_str(), hotFix.url);
    out.optionalLeaf(keyProductHash.c_str(), facts.hash);
    out.optionalLeaf(keySize.c_str(), facts.size);
    out.optionalLeaf(keyHFMinVer.c_str(), hotFix.minVersion);
    out.optionalLeaf(keyHFmaxVer.c_str(), hotFix.maxVersion);
    out.optionalLeaf(keyHFOsMinVer.c_str(), hotFix.minSystem);
    out.optionalLeaf(keyHFOsMaxVer.c_str(), hotFix.maxSystem);
    out.optionalLeaf(keyHFProductVer.c_str(), hotFix.version);
    out.optionalLeaf(keyHFBuildno.c_str(), hotFix.build);
    if (hotFix.repost)
        out.leaf(keyRepost.c_str(), "YES");
    out.close();
}

void writeProducts(XmlOut &out, const Release &release, const char *element,
                   const std::vector<ReleaseProduct> &products) {
    for (const ReleaseProduct &product : products) {
        out.open(element, {{"appid", product.application}});
        for (const std::string &name : product.catalogs) {
            const ReleaseCatalog &catalog = release.catalogNamed(name);
            out.empty("catalog",
                      {{"root", catalog.root}, {"name", catalog.name}, {"version", catalog.version}});
        }
        out.close();
    }
}

} // namespace

FileFacts factsByName(const ReleasePackage &package) {
    return {"", std::filesystem::path(package.file).lexically_normal().string()};
}

std::string catalogXml(const ReleaseCatalog &catalog, const FactsOf &factsOf) {
    XmlOut out;
    out.open("product_catalog");
    out.open("configuration");
    out.optionalLeaf(keyVersion.c_str(), catalog.productVersion);
    out.optionalLeaf(keyMainBuildNo.c_str(), catalog.mainBuild);
    out.optionalLeaf("cbrmsbuildno", catalog.brandingBuild);
    out.close();
    out.open("manifest");
    out.open("server_package_information");
    if (catalog.fullInstall)
        writeFullInstall(out, *catalog.fullInstall, factsOf(*catalog.fullInstall));
    out.open("ProductPackage");
    for (const ReleaseHotFix &hotFix : catalog.hotFixes)
        writeHotFix(out, hotFix, factsOf(hotFix));
    return out.text();
}

std::string releasesXml(const Release &release) {
    XmlOut out;
    out.open("releases");
    for (const Audience &audience : release.audience) {
        for (const std::string &affiliate : audience.affiliates) {
            out.open("release", {{"affid", affiliate},
                                 {"relname", audience.releaseName},
                                 {"relver", audience.coreVersion},
                                 {"partnerrelver", audience.partnerVersion}});
            writeProducts(out, release, "product", audience.products);
            writeProducts(out, release, "partner", audience.partners);
            out.close();
        }
    }
    return out.text();
}

std::string orderList(const std::vector<std::string> &order) {
    XmlOut out;
    out.doctype({"plist", "-//Apple//DTD PLIST 1.0//EN", "http://www.apple.com/DTDs/PropertyList-1.0.dtd"});
    out.open("plist", {{"version", "1.0"}});
    out.open("dict");
    out.leaf("key", "InstallPkgOrder");
    out.open("array");
    for (const std::string &name : order)
        out.leaf("string", name);
    return out.text();
}
