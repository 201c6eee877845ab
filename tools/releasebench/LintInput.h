// What lint looks at: a release or catalogs as the engine reads them, with the place of every value.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CatalogParser.h"
#include "CatalogXml.h"
#include "LintRule.h"
#include "Publication.h"
#include "Release.h"

// A value of a package. The version and the build of a full-install package are the catalog's.
enum class Item {
    itself,
    name,
    url,
    hash,
    size,
    minVer,
    maxVer,
    minSystem,
    maxSystem,
    version,
    build,
    repost
};

// Those of a hot-fix that are texts.
constexpr Item hotFixTexts[] = {Item::name,   Item::url,       Item::hash,      Item::size,    Item::minVer,
                                Item::maxVer, Item::minSystem, Item::maxSystem, Item::version, Item::build};

// Where the values of a catalog stand, and what they are called there.
class CatalogPlaces {
public:
    CatalogPlaces() = default;
    virtual ~CatalogPlaces() = default;
    CatalogPlaces(const CatalogPlaces &) = delete;
    CatalogPlaces &operator=(const CatalogPlaces &) = delete;

    virtual LintPlace catalog() const = 0;
    virtual LintPlace fullInstall(Item item) const = 0;
    virtual LintPlace hotFix(std::size_t index, Item item) const = 0;
    virtual LintPlace brandingBuild() const = 0;
    virtual std::string word(Item item) const = 0;
};

struct LintCatalog {
    std::string name; // without ".xml"
    // As the engine's parser reads them.
    ProductInfo product;
    std::vector<HotFixPackageInfo> hotFixes;
    std::optional<std::string> brandingBuild; // none when it took none
    // Where the engine puts the packages; "" for what it refuses.
    std::vector<std::string> destinations; // of the hot-fixes
    std::shared_ptr<const CatalogPlaces> places;

    const ReleaseCatalog *source = nullptr;     // null for a catalog alone
    std::shared_ptr<const CatalogXml> document; // null for a release's

    // Whether the engine can find anything in it.
    bool isRead() const;
};

// One hot-fix of a catalog. The catalog must live longer.
struct LintHotFix {
    const LintCatalog *catalog;
    std::size_t index;

    const HotFixPackageInfo &record() const { return catalog->hotFixes[index]; }
    const std::string &destination() const { return catalog->destinations[index]; }
    LintPlace at(Item item = Item::itself) const { return catalog->places->hotFix(index, item); }
    std::string word(Item item) const { return catalog->places->word(item); }
    const std::string &value(Item item) const; // of one that is a text
};

// Catalogs that one machine reads together, in its order.
struct LintOffer {
    LintPlace place;
    std::string asker; // in words; "" for catalogs alone
    bool isForSeveralIds = false;
    std::vector<std::string>
        catalogUrls; // as the engine fetches them, "Core" ones first; none for catalogs alone
    std::vector<std::string> fetchedTwice;
    std::vector<const LintCatalog *> catalogs; // each once
    std::vector<LintHotFix> hotFixes;
    std::vector<ProductInfo> products() const;
};

// A catalog that build wrote before.
struct LintBuilt {
    std::filesystem::path file;
    bool isAsBuildWritesIt = false;     // byte for byte, so that there is nothing to find in it
    std::optional<LintCatalog> catalog; // none for that one and when it is not there
};

// Its parts point to each other, so that it stays where it is.
struct LintInput {
    LintInput() = default;
    ~LintInput() = default;
    LintInput(const LintInput &) = delete;
    LintInput &operator=(const LintInput &) = delete;

    std::optional<Release> release; // none for catalogs alone
    std::vector<LintCatalog> catalogs;
    std::vector<LintOffer> offers;

    // Of a folder with what was built of it: one for each catalog, and what the packages' files are now.
    std::vector<LintBuilt> built;
    std::map<std::filesystem::path, FileFacts> facts;

    std::vector<LintHotFix> hotFixes() const; // of all catalogs
    // Of a value of release.json, which must be there.
    LintPlace releasePlace(const std::string &pointer) const;
};

// Reads a release folder, or catalogs that are taken for those of one reply. Throws UnusableInput for what is
// neither; what is no catalog is for the rules to tell.
std::unique_ptr<const LintInput> readLintInput(const std::vector<std::filesystem::path> &paths);
