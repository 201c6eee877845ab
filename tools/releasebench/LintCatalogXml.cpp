// What the markup of a catalog hides from the engine.
#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string_view>

#include <libxml/tree.h>

#include "LintInput.h"
#include "LintRule.h"
#include "LintText.h"
#include "Spelling.h"

namespace {

std::string nameOf(const xmlNode *node) {
    return reinterpret_cast<const char *>(node->name);
}

const std::vector<std::string> &hotFixItems() {
    static const std::vector<std::string> items = {
        keyName,       keyProductUrl, keyProductHash,  keySize,      keyHFMinVer, keyHFmaxVer,
        keyHFOsMinVer, keyHFOsMaxVer, keyHFProductVer, keyHFBuildno, keyRepost};
    return items;
}

// The values that only count when they stand once.
const std::vector<std::string> &singleElements() {
    static const std::vector<std::string> paths = {keyProductPackage, keyProductConfig + "/" + keyVersion,
                                                   keyProductConfig + "/" + keyMainBuildNo,
                                                   keyProductConfig + "/cbrmsbuildno"};
    return paths;
}

// The elements that the engine looks for, below the paths of their parents.
using Known = std::map<std::string, std::set<std::string>>;
const Known &known() {
    static const Known elements = [] {
        std::vector<std::string> paths = singleElements();
        for (const std::string &item : hotFixItems())
            paths.push_back(joined({keyHotFixPackage, "/", item}));
        Known all;
        for (std::string path : paths) {
            for (std::size_t slash = 0; (slash = path.rfind('/')) != std::string::npos; path.erase(slash))
                all[path.substr(0, slash)].insert(path.substr(slash + 1));
        }
        return all;
    }();
    return elements;
}

std::vector<std::string> placesOf(const std::string &name) {
    std::vector<std::string> parents;
    for (const auto &[parent, children] : known()) {
        if (children.count(name) != 0)
            parents.push_back(parent);
    }
    return parents;
}

std::string consequenceWithout(const std::string &name) {
    static const std::map<std::string, std::string> consequences = {
        {keyHFMinVer, "the hot-fix has no lower bound: every older product is offered it"},
        {keyHFmaxVer, "the hot-fix has no upper bound: every newer product is offered it"},
        {keyHFOsMinVer, "the hot-fix has no lower bound: every older system is offered it"},
        {keyHFOsMaxVer, "the hot-fix has no upper bound: every newer system is offered it"},
        {keyHFProductVer, "the hot-fix brings no version: nobody gets it"},
        {keyHFBuildno, "the hot-fix has no build number: an update that chooses it ends at once"},
        {keyProductUrl, "the hot-fix has no URL: no update that chooses it gets its package"},
        {keyProductHash, "the hot-fix has no hash: no package passes its check"},
        {keyRepost, "the hot-fix is no repost package"},
        {keyVersion, "the full-install package counts for nothing in the version of the product"},
        {keyMainBuildNo, "the full-install package counts for nothing in the build of the product"},
        {"server_package", "there is no full-install package: fresh installations fail"},
        {"hf_package", "the hot-fix is not seen"},
    };
    const auto found = consequences.find(name);
    return found != consequences.end() ? found->second : "nothing comes of it";
}

// Every element with its path, but what is below unknown ones.
using Visit = std::function<void(const xmlNode *, const std::string &)>;
void visitBelow(const xmlNode *parent, const std::string &parentPath, const Visit &visit) {
    for (const xmlNode *node = parent->children; node; node = node->next) {
        if (node->type != XML_ELEMENT_NODE)
            continue;
        visit(node, parentPath);
        const std::string path = parentPath + "/" + nameOf(node);
        if (known().count(path) != 0)
            visitBelow(node, path, visit);
    }
}

// Of the catalogs that the engine can find anything in.
void visitElements(
    const LintInput &input,
    const std::function<void(const LintCatalog &, const xmlNode *, const std::string &)> &visit) {
    for (const LintCatalog &catalog : input.catalogs) {
        if (!catalog.document || !catalog.isRead())
            continue;
        const xmlNode *root = catalog.document->root();
        visitBelow(root, "/" + nameOf(root),
                   [&](const xmlNode *node, const std::string &parent) { visit(catalog, node, parent); });
    }
}

LintPlace placeOf(const LintCatalog &catalog, const xmlNode *node) {
    LintPlace place = catalog.places->catalog();
    place.line = CatalogXml::lineOf(node);
    place.part = nameOf(node);
    return place;
}

bool isKnownIn(const std::string &name, const std::string &parent) {
    const auto found = known().find(parent);
    return found != known().end() && found->second.count(name) != 0;
}

std::string meantIn(const std::string &name, const std::string &parent) {
    const auto found = known().find(parent);
    return found == known().end() ? "" : probablyMeant(name, {found->second.begin(), found->second.end()});
}

void checkReadable(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        if (!catalog.document || catalog.document->fault().empty())
            continue;
        LintPlace place = catalog.places->catalog();
        place.line = catalog.document->faultLine();
        tell(place, "no XML: " + catalog.document->fault());
    }
}

void checkWithinBounds(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        const bool isRefused = catalog.document
                                   ? catalog.document->root() && !catalog.document->isReadByEngine()
                                   : !catalog.isRead();
        if (isRefused)
            tell(catalog.places->catalog(), "XML that the engine refuses to read");
    }
}

void checkRoot(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        const xmlNode *root = catalog.document ? catalog.document->root() : nullptr;
        if (root && !isKnownIn(nameOf(root), ""))
            tell(placeOf(catalog, root),
                 "the root is \"" + nameOf(root) + "\", expected \"product_catalog\"");
    }
}

void checkNamespace(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        const xmlNode *root = catalog.document ? catalog.document->root() : nullptr;
        if (root && root->ns)
            tell(placeOf(catalog, root), "the root stands in a namespace");
    }
    visitElements(input, [&](const LintCatalog &catalog, const xmlNode *node, const std::string &parent) {
        if (node->ns && parent != keyHotFixPackage) // whose values are found by their names alone
            tell(placeOf(catalog, node), "stands in a namespace");
    });
}

void checkSpelling(const LintInput &input, const Tell &tell) {
    visitElements(input, [&](const LintCatalog &catalog, const xmlNode *node, const std::string &parent) {
        const std::string name = nameOf(node);
        const std::string meant = isKnownIn(name, parent) ? "" : meantIn(name, parent);
        if (!meant.empty() && placesOf(name).empty())
            tell(placeOf(catalog, node), "\"" + name + "\", probably \"" + meant +
                                             "\" was meant; as it is, " + consequenceWithout(meant));
    });
}

void checkMisplaced(const LintInput &input, const Tell &tell) {
    visitElements(input, [&](const LintCatalog &catalog, const xmlNode *node, const std::string &parent) {
        const std::vector<std::string> places = placesOf(nameOf(node));
        if (!isKnownIn(nameOf(node), parent) && !places.empty())
            tell(placeOf(catalog, node), "stands below " + parent + ", expected below " + places.front());
    });
}

void checkUnknown(const LintInput &input, const Tell &tell) {
    visitElements(input, [&](const LintCatalog &catalog, const xmlNode *node, const std::string &parent) {
        const std::string name = nameOf(node);
        if (!isKnownIn(name, parent) && meantIn(name, parent).empty() && placesOf(name).empty())
            tell(placeOf(catalog, node), "the engine looks for no \"" + name + "\" below " + parent);
    });
}

void checkTwice(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        if (!catalog.document)
            continue;
        for (const std::string &path : singleElements()) {
            const std::vector<xmlNode *> nodes = catalog.document->elements(path);
            if (nodes.size() > 1)
                tell(placeOf(catalog, nodes[1]), "stands twice, and then none counts");
        }
    }
    visitElements(input, [&](const LintCatalog &catalog, const xmlNode *node, const std::string &parent) {
        if (parent == keyHotFixPackage && isKnownIn(nameOf(node), parent) &&
            CatalogXml::child(node->parent, nameOf(node)) != node)
            tell(placeOf(catalog, node), "stands twice, and the first one counts");
    });
}

bool isReadAttribute(const std::string &path, const std::string &name) {
    return path == keyProductPackage &&
           (name == keyProductname || name == keyProductUrl || name == keyProductHash);
}

void checkAttributes(const LintInput &input, const Tell &tell) {
    visitElements(input, [&](const LintCatalog &catalog, const xmlNode *node, const std::string &parent) {
        const std::string path = parent + "/" + nameOf(node);
        for (const xmlAttr *attribute = node->properties; attribute; attribute = attribute->next) {
            const std::string name = reinterpret_cast<const char *>(attribute->name);
            if (isReadAttribute(path, name))
                continue;
            const std::string meant =
                path == keyProductPackage
                    ? probablyMeant(name, {keyProductname, keyProductUrl, keyProductHash})
                    : meantIn(name, path);
            tell(placeOf(catalog, node), "the attribute \"" + name + "\" is not read" +
                                             (meant.empty() ? "" : ", probably \"" + meant + "\" was meant"));
        }
    });
}

// Without a copy where the element holds a text only, as nearly all do.
bool holdsJust(const xmlNode *node, const std::string &text) {
    const xmlNode *child = node->children;
    if (child && !child->next && child->type == XML_TEXT_NODE)
        return text == reinterpret_cast<const char *>(child->content);
    return CatalogXml::wholeText(node) == text;
}

void compareText(const LintCatalog &catalog, const xmlNode *node, const std::string &read, const Tell &tell) {
    if (!holdsJust(node, read))
        tell(placeOf(catalog, node),
             "of \"" + CatalogXml::wholeText(node) + "\" the engine reads \"" + read + "\"");
}

void compareConfiguration(const LintCatalog &catalog, const Tell &tell) {
    for (const auto &[name, read] : {std::pair(keyVersion, catalog.product.version),
                                     std::pair(keyMainBuildNo, catalog.product.mainBuildNo)}) {
        const auto nodes = catalog.document->elements(joined({keyProductConfig, "/", name}));
        if (nodes.size() == 1)
            compareText(catalog, nodes.front(), read, tell);
    }
}

// The first element of a name counts.
void compareHotFix(const LintHotFix &hotFix, const std::map<std::string, Item, std::less<>> &items,
                   const Tell &tell) {
    std::set<Item> compared;
    const xmlNode *package = hotFix.catalog->document->hotFixes().at(hotFix.index);
    for (const xmlNode *node = package->children; node; node = node->next) {
        if (node->type != XML_ELEMENT_NODE) // a marked section has no name
            continue;
        const auto item = items.find(std::string_view(reinterpret_cast<const char *>(node->name)));
        if (item != items.end() && compared.insert(item->second).second)
            compareText(*hotFix.catalog, node, hotFix.value(item->second), tell);
    }
}

void checkTexts(const LintInput &input, const Tell &tell) {
    for (const LintCatalog &catalog : input.catalogs) {
        if (!catalog.document || !catalog.isRead())
            continue;
        compareConfiguration(catalog, tell);
        std::map<std::string, Item, std::less<>> items;
        for (const Item item : hotFixTexts)
            items.emplace(catalog.places->word(item), item);
        for (std::size_t i = 0; i < catalog.hotFixes.size(); ++i)
            compareHotFix({&catalog, i}, items, tell);
    }
}

} // namespace

std::vector<LintRule> catalogXmlRules() {
    return {
        {"catalog-no-xml", Severity::error, "The catalog is no well-formed XML.",
         "The engine reads nothing from such a file, says so on standard error only, and goes on with the "
         "other catalogs: nobody is offered its hot-fixes, and the new release is recorded all the same. A "
         "fresh installation fails.",
         "Write the catalog by `releasebench build`, or mend the markup.",
         "What became of a catalog's transfer", checkReadable},
        {"catalog-beyond-bounds", Severity::error, "The catalog is XML that the engine refuses.",
         "Its parser takes no document with more attributes, names, declarations or bytes than any real one "
         "has: the catalog counts as unreadable.",
         "Keep to plain elements with texts, without a document type.",
         "A document with more than 200 attributes", checkWithinBounds},
        {"catalog-root", Severity::error, "The root is another element than \"product_catalog\".",
         "The engine looks for everything by its path from the root: it finds nothing.",
         "Name the root product_catalog; a service's reply or a property list is no catalog.", "", checkRoot},
        {"catalog-namespace", Severity::error, "Elements stand in a namespace.",
         "The engine asks for elements without a namespace: it finds none of these.",
         "Remove the xmlns attribute or the prefix.", "", checkNamespace},
        {"element-misspelt", Severity::error,
         "The engine looks for no element of that name, but for one almost of that name.",
         "An element that it does not find counts as missing, without a word in the log.",
         "Write the name that was meant, in lower case as it stands here.", "", checkSpelling},
        {"element-misplaced", Severity::error,
         "An element that the engine knows stands where it does not look for it.",
         "It counts as missing, without a word in the log.", "Move it to where it belongs.", "",
         checkMisplaced},
        {"element-unknown", Severity::warning, "The engine looks for no element of that name.",
         "It is read over, with all that is in it.",
         "Remove it, or disable this rule where another program reads it.", "", checkUnknown},
        {"element-twice", Severity::error, "An element stands twice where one counts.",
         "Of a hot-fix the engine reads the first one; of the configuration, and of full-install packages, "
         "none where there are two.",
         "Remove one of them.", "", checkTwice},
        {"attribute-unread", Severity::warning, "An attribute is not read.",
         "The engine reads the attributes name, url and hash of server_package and no others; what a hot-fix "
         "says stands in elements.",
         "Make it an element, or remove it.", "", checkAttributes},
        {"text-unread", Severity::error, "The engine reads another text than the element holds.",
         "It takes the text directly in the element: of the configuration only what stands before the first "
         "comment or element, of a hot-fix without what stands in elements.",
         "Leave comments and elements out of values.", "", checkTexts},
    };
}
