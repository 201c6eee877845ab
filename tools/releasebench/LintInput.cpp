#include "LintInput.h"

#include <algorithm>
#include <list>
#include <map>
#include <set>
#include <stdexcept>
#include <utility>

#include "Digests.h"
#include "HashBar.h"
#include "LibXmlWrapper.h"
#include "LintPlaces.h"
#include "OutputFolder.h"
#include "OwnStreams.h"
#include "PackageRecords.h"
#include "Paths.h"
#include "PlainFile.h"
#include "Publication.h"
#include "ReleaseFile.h"
#include "ReleaseRecord.h"
#include "ServiceReply.h"
#include "TemporaryFolder.h"
#include "Text.h"
#include "TextList.h"
#include "TolvaneHandler.h"
#include "UnusableInput.h"

namespace {

namespace fs = std::filesystem;

// --- catalogs

std::vector<std::string> destinationsOf(const std::vector<HotFixPackageInfo> &hotFixes) {
    PackageRecords records;
    records.setFreshInstallMode(false);
    records.setHotFixes(hotFixes);
    std::vector<std::string> paths;
    paths.reserve(hotFixes.size());
    for (const HotFixPackageInfo &hotFix : hotFixes) {
        try {
            paths.push_back(records.destinationOf(hotFix.url, packageDirectory()));
        } catch (const std::invalid_argument &) {
            paths.emplace_back();
        }
    }
    return paths;
}

LintCatalog readByEngine(const fs::path &file) {
    // The folder that it lies in does not count; a path that begins with "Partner" would.
    const std::string path = fs::absolute(file).string();
    const LibXmlWrapper document(path);
    LintCatalog catalog;
    catalog.name = file.stem().string();
    catalog.hotFixes = hotFixesIn(document);
    catalog.product = productIn(document, path);
    catalog.brandingBuild = brandingBuildIn(document, path);
    if (catalog.brandingBuild == "")
        catalog.brandingBuild.reset();
    catalog.destinations = destinationsOf(catalog.hotFixes);
    return catalog;
}

std::vector<LintCatalog> catalogsOf(const Release &release) {
    const TemporaryFolder folder;
    std::vector<LintCatalog> catalogs;
    for (const ReleaseCatalog &source : release.catalogs) {
        const fs::path file = folder.path() / (source.name + ".xml");
        writeNewFile(file, catalogXml(source, factsByName));
        LintCatalog catalog = readByEngine(file);
        catalog.name = source.name;
        catalog.source = &source;
        catalog.places = placesInRelease(release, source);
        catalogs.push_back(std::move(catalog));
    }
    return catalogs;
}

LintCatalog catalogAlone(const fs::path &file) {
    const auto document = std::make_shared<const CatalogXml>(file.string());
    LintCatalog catalog = readByEngine(file);
    catalog.places = placesInXml(file.string(), document);
    catalog.document = document;
    return catalog;
}

// --- offers

void addCatalog(LintOffer &offer, const LintCatalog &catalog) {
    offer.catalogs.push_back(&catalog);
    for (std::size_t i = 0; i < catalog.hotFixes.size(); ++i)
        offer.hotFixes.push_back({&catalog, i});
}

// The service answers with the first audience that fits.
std::optional<std::string> affiliateOf(const Release &release, const Audience &audience) {
    std::set<std::string> served;
    for (const Audience &earlier : release.audience) {
        if (&earlier == &audience)
            break;
        served.insert(earlier.affiliates.begin(), earlier.affiliates.end());
    }
    for (const std::string &affiliate : audience.affiliates) {
        if (served.count("*") == 0 && served.count(affiliate) == 0)
            return affiliate;
    }
    return std::nullopt;
}

// Those of machines with one edition, and of one with all of them.
std::vector<std::string> applicationsOf(const Audience &audience) {
    std::vector<std::string> applications;
    std::string all;
    for (const ReleaseProduct &product : audience.products) {
        applications.push_back(product.application);
        all += (all.empty() ? "" : ",") + product.application;
    }
    if (applications.size() > 1)
        applications.push_back(all);
    return applications;
}

class Offers {
public:
    explicit Offers(const LintInput &input)
        : m_input(input)
        , m_releases(releasesXml(*input.release)) {
        for (const LintCatalog &catalog : input.catalogs)
            m_byUrl.emplace(catalog.source->url(), &catalog);
    }

    LintOffer to(const std::string &affiliate, const std::string &applications,
                 const Audience &audience) const {
        LintOffer offer;
        offer.place = m_input.releasePlace(audience.place);
        offer.asker = "affiliate " + affiliate + ", application " + applications;
        ServiceQuestion question{affiliate, {}};
        TolvaneHandler().splitString(applications, ',', question.appIds);
        offer.isForSeveralIds = question.appIds.size() > 1;
        ReleaseRecord record;
        CatalogParser parser(record);
        auto urls = parser.getCatalogUrls(serviceReply(m_releases, question).value_or(""));
        for (const char *group : {"Core", "Partner"}) {
            OwnedTexts texts(std::move(urls[group]));
            for (const char *url : texts.list())
                add(offer, url);
        }
        return offer;
    }

private:
    void add(LintOffer &offer, const std::string &url) const {
        const auto &known = offer.catalogUrls;
        if (std::find(known.begin(), known.end(), url) != known.end()) {
            offer.fetchedTwice.push_back(url);
            return;
        }
        offer.catalogUrls.push_back(url);
        const auto named = m_byUrl.find(url);
        if (named != m_byUrl.end())
            addCatalog(offer, *named->second);
    }

    const LintInput &m_input;
    const std::string m_releases;
    std::map<std::string, const LintCatalog *> m_byUrl;
};

std::vector<LintOffer> offersOf(const LintInput &input) {
    const Offers offers(input);
    std::vector<LintOffer> all;
    for (const Audience &audience : input.release->audience) {
        const std::optional<std::string> affiliate = affiliateOf(*input.release, audience);
        if (!affiliate)
            continue;
        for (const std::string &applications : applicationsOf(audience))
            all.push_back(offers.to(*affiliate, applications, audience));
    }
    return all;
}

LintOffer offerOfAll(const std::vector<LintCatalog> &catalogs) {
    LintOffer offer;
    offer.place = catalogs.front().places->catalog();
    for (const LintCatalog &catalog : catalogs)
        addCatalog(offer, catalog);
    return offer;
}

// --- what was built

std::map<fs::path, FileFacts> factsOf(const Release &release) {
    std::set<fs::path> files;
    const auto add = [&](const ReleasePackage &package) {
        if (isPlainFile(release.folder / package.file))
            files.insert(release.folder / package.file);
    };
    for (const ReleaseCatalog &catalog : release.catalogs) {
        if (catalog.fullInstall)
            add(*catalog.fullInstall);
        std::for_each(catalog.hotFixes.begin(), catalog.hotFixes.end(), add);
    }
    HashBar bar;
    return factsOfFiles({files.begin(), files.end()},
                        [&bar](const HashProgress &progress) { bar.show(progress); });
}

// To parse what is there takes longer than to write what should be.
LintBuilt builtOf(const ReleaseCatalog &source, const fs::path &file, const LintInput &input) {
    const auto factsOf = [&](const ReleasePackage &package) {
        const auto facts = input.facts.find(input.release->folder / package.file);
        return facts == input.facts.end() ? FileFacts{} : facts->second;
    };
    if (!isPlainFile(file))
        return {file, false, std::nullopt};
    if (hasContent(file, catalogXml(source, factsOf)))
        return {file, true, std::nullopt};
    return {file, false, catalogAlone(file)};
}

void readBuilt(const fs::path &folder, LintInput &input) {
    input.facts = factsOf(*input.release);
    const OwnStreams quiet;
    for (const ReleaseCatalog &source : input.release->catalogs)
        input.built.push_back(builtOf(source, folder / "catalogs" / (source.name + ".xml"), input));
}

void readFolder(const fs::path &folder, LintInput &input) {
    {
        const OwnStreams quiet; // the engine prints what it reads
        input.release = readRelease(folder);
        input.catalogs = catalogsOf(*input.release);
        input.offers = offersOf(input);
    }
    if (fs::is_directory(folder / "built"))
        readBuilt(folder / "built", input);
}

void readCatalogs(const std::vector<fs::path> &files, LintInput &input) {
    for (const fs::path &file : files) {
        if (file.filename() == releaseFileName)
            throw UnusableInput(file.string() + ": is no catalog, expected the folder that it is in");
    }
    const OwnStreams quiet;
    for (const fs::path &file : files)
        input.catalogs.push_back(catalogAlone(file));
    input.offers.push_back(offerOfAll(input.catalogs));
}

} // namespace

bool LintCatalog::isRead() const {
    if (document)
        return document->isReadByEngine() && !document->elements("/product_catalog").empty();
    // Of a document that it refuses the engine finds nothing.
    return hotFixes.size() == source->hotFixes.size() &&
           product.url.empty() != source->fullInstall.has_value();
}

const std::string &LintHotFix::value(Item item) const {
    // In the order of the items; what is no text has none.
    static constexpr std::string HotFixPackageInfo::*members[] = {nullptr,
                                                                  &HotFixPackageInfo::name,
                                                                  &HotFixPackageInfo::url,
                                                                  &HotFixPackageInfo::hash,
                                                                  &HotFixPackageInfo::size,
                                                                  &HotFixPackageInfo::minVer,
                                                                  &HotFixPackageInfo::maxVer,
                                                                  &HotFixPackageInfo::osxMinVer,
                                                                  &HotFixPackageInfo::osxMaxVer,
                                                                  &HotFixPackageInfo::productVer,
                                                                  &HotFixPackageInfo::buildNo};
    return record().*members[static_cast<std::size_t>(item)];
}

std::vector<ProductInfo> LintOffer::products() const {
    std::vector<ProductInfo> products;
    for (const LintCatalog *catalog : catalogs)
        products.push_back(catalog->product);
    return products;
}

std::vector<LintHotFix> LintInput::hotFixes() const {
    std::vector<LintHotFix> all;
    for (const LintCatalog &catalog : catalogs) {
        for (std::size_t i = 0; i < catalog.hotFixes.size(); ++i)
            all.push_back({&catalog, i});
    }
    return all;
}

LintPlace LintInput::releasePlace(const std::string &pointer) const {
    return {release->file().string(), release->places.lineOf(pointer), readablePlace(pointer)};
}

std::unique_ptr<const LintInput> readLintInput(const std::vector<fs::path> &paths) {
    if (paths.empty())
        throw UnusableInput("releasebench: lint expects a release folder or catalogs");
    const auto isFolder = [](const fs::path &path) { return fs::is_directory(path); };
    const bool isRelease = std::any_of(paths.begin(), paths.end(), isFolder);
    if (isRelease && paths.size() > 1)
        throw UnusableInput("releasebench: expected one release folder, or catalogs");
    auto input = std::make_unique<LintInput>();
    if (isRelease)
        readFolder(paths.front(), *input);
    else
        readCatalogs(paths, *input);
    return input;
}
