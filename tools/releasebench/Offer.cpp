#include "Offer.h"

#include <list>
#include <map>
#include <stdexcept>

#include "OwnStreams.h"
#include "PackageRecords.h"
#include "Paths.h"
#include "PropertyList.h"
#include "ReleaseRecord.h"
#include "TemporaryFolder.h"
#include "Text.h"
#include "TextList.h"
#include "TolvaneHandler.h"

namespace {

// Catalogs as the engine has them on a machine, in a folder of one's own.
class Downloads {
public:
    Downloads(const CatalogText &textOf, Job job)
        : m_textOf(textOf) {
        m_records.setFreshInstallMode(job == Job::freshInstall);
    }

    // As the engine does it: all of a group or, when one path may not be named in a command, none.
    std::vector<OfferedCatalog> fetch(const std::string &group, const std::list<const char *> &urls,
                                      const std::string &folder) {
        std::vector<OfferedCatalog> catalogs;
        try {
            for (const std::string url : urls)
                catalogs.push_back({group, url, m_records.destinationOf(url, folder)});
        } catch (const std::invalid_argument &) {
            catalogs.clear();
            for (const std::string url : urls)
                catalogs.push_back({group, url, ""});
            return catalogs;
        }
        for (const OfferedCatalog &catalog : catalogs)
            m_files.push_back(write(catalog));
        return catalogs;
    }

    // One for each catalog, also for one that is named again.
    const std::list<std::string> &files() const { return m_files; }

private:
    std::string write(const OfferedCatalog &catalog) {
        const std::filesystem::path file = m_folder.path() / catalog.group / afterLastSlash(catalog.path);
        if (const std::optional<std::string> text = m_textOf(catalog))
            writeNewFile(file, *text);
        return file.string();
    }

    const CatalogText &m_textOf;
    PackageRecords m_records; // empty, as long as catalogs are fetched
    TemporaryFolder m_folder;
    std::list<std::string> m_files;
};

} // namespace

Offer offerOf(const std::string &reply, Job job, const CatalogText &textOf) {
    const OwnStreams quiet; // the engine prints what it reads
    Offer offer;
    offer.isAnswered = TolvaneHandler().processResponse(reply);
    if (!offer.isAnswered)
        return offer;

    ReleaseRecord record;
    CatalogParser parser(record);
    std::map<std::string, std::list<const char *>> urls = parser.getCatalogUrls(reply);
    OwnedTexts core(std::move(urls["Core"]));
    OwnedTexts partner(std::move(urls["Partner"]));
    Downloads downloads(textOf, job);
    offer.catalogs = downloads.fetch("Core", core.list(), coreCatalogDirectory());
    for (OfferedCatalog &catalog : downloads.fetch("Partner", partner.list(), partnerCatalogDirectory()))
        offer.catalogs.push_back(std::move(catalog));
    if (job == Job::update)
        offer.hotFixes = parser.getHotFixInfo(downloads.files());
    else
        offer.products = parser.getProductInfo(downloads.files());
    offer.releaseName = record.getRelName();
    offer.coreVersion = record.getCoreReleaseVer();
    offer.partnerVersion = record.getPartnerReleaseVer();
    offer.brandingBuild = record.getCBRMSBuildNO();
    return offer;
}

std::vector<std::string> orderNamesIn(const std::string &propertyList) {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "DynaConfig.plist";
    writeNewFile(file, propertyList);
    const std::optional<PropertyList> list = PropertyList::read(file.string());
    return list ? list->strings("InstallPkgOrder").value_or(std::vector<std::string>())
                : std::vector<std::string>();
}
