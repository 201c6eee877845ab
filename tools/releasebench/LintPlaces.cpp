#include "LintPlaces.h"

#include <utility>

namespace {

class PlacesInRelease : public CatalogPlaces {
public:
    PlacesInRelease(const Release &release, const ReleaseCatalog &catalog)
        : m_release(release)
        , m_catalog(catalog) {}

    LintPlace catalog() const override { return at(m_catalog.place); }
    LintPlace fullInstall(Item item) const override {
        if (item == Item::version)
            return at(m_catalog.place + "/productVersion");
        if (item == Item::build)
            return at(m_catalog.place + "/mainBuild");
        return m_catalog.fullInstall ? at(m_catalog.fullInstall->place, item) : catalog();
    }
    LintPlace hotFix(std::size_t index, Item item) const override {
        return at(m_catalog.hotFixes.at(index).place, item);
    }
    LintPlace brandingBuild() const override { return at(m_catalog.place + "/brandingBuild"); }

    std::string word(Item item) const override {
        switch (item) {
        case Item::name:
            return "name";
        case Item::url:
            return "url";
        case Item::hash:
        case Item::size:
            return "file";
        case Item::minVer:
            return "minVersion";
        case Item::maxVer:
            return "maxVersion";
        case Item::minSystem:
            return "minSystem";
        case Item::maxSystem:
            return "maxSystem";
        case Item::version:
            return "version";
        case Item::build:
            return "build";
        case Item::repost:
            return "repost";
        case Item::itself:
            break;
        }
        return "";
    }

private:
    LintPlace at(const std::string &pointer) const {
        return {m_release.file().string(), m_release.places.lineOf(pointer), readablePlace(pointer)};
    }
    LintPlace at(const std::string &place, Item item) const {
        return at(item == Item::itself ? place : place + "/" + word(item));
    }

    const Release &m_release;
    const ReleaseCatalog &m_catalog;
};

class PlacesInXml : public CatalogPlaces {
public:
    PlacesInXml(std::string file, std::shared_ptr<const CatalogXml> document)
        : m_file(std::move(file))
        , m_document(std::move(document)) {}

    LintPlace catalog() const override { return at(m_document->root(), ""); }
    LintPlace fullInstall(Item item) const override {
        if (item == Item::version)
            return configuration(keyVersion);
        if (item == Item::build)
            return configuration(keyMainBuildNo);
        return at(first(keyProductPackage), "server_package" + below(item, "@"));
    }
    LintPlace hotFix(std::size_t index, Item item) const override {
        const _xmlNode *package = m_document->hotFixes().at(index);
        const _xmlNode *value = CatalogXml::child(package, word(item));
        return at(value ? value : package, "hf_package[" + std::to_string(index + 1) + "]" + below(item, ""));
    }
    LintPlace brandingBuild() const override { return configuration("cbrmsbuildno"); }

    std::string word(Item item) const override {
        switch (item) {
        case Item::name:
            return keyName;
        case Item::url:
            return keyProductUrl;
        case Item::hash:
            return keyProductHash;
        case Item::size:
            return keySize;
        case Item::minVer:
            return keyHFMinVer;
        case Item::maxVer:
            return keyHFmaxVer;
        case Item::minSystem:
            return keyHFOsMinVer;
        case Item::maxSystem:
            return keyHFOsMaxVer;
        case Item::version:
            return keyHFProductVer;
        case Item::build:
            return keyHFBuildno;
        case Item::repost:
            return keyRepost;
        case Item::itself:
            break;
        }
        return "";
    }

private:
    const _xmlNode *first(const std::string &xpath) const {
        const std::vector<_xmlNode *> nodes = m_document->elements(xpath);
        return nodes.empty() ? m_document->root() : nodes.front();
    }
    LintPlace configuration(const std::string &name) const {
        const _xmlNode *parent = first(keyProductConfig);
        const _xmlNode *value = CatalogXml::child(parent, name);
        return at(value ? value : parent, "configuration/" + name);
    }
    std::string below(Item item, const char *sign) const {
        return item == Item::itself ? "" : "/" + (sign + word(item));
    }
    LintPlace at(const _xmlNode *node, const std::string &part) const {
        return {m_file, node ? CatalogXml::lineOf(node) : 1, part};
    }

    const std::string m_file;
    const std::shared_ptr<const CatalogXml> m_document;
};

} // namespace

std::shared_ptr<const CatalogPlaces> placesInRelease(const Release &release, const ReleaseCatalog &catalog) {
    return std::make_shared<const PlacesInRelease>(release, catalog);
}

std::shared_ptr<const CatalogPlaces> placesInXml(const std::string &file,
                                                 std::shared_ptr<const CatalogXml> document) {
    return std::make_shared<const PlacesInXml>(file, std::move(document));
}
