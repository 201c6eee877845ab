#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CatalogParser.h"
#include "DownloadEngine.h"
#include "JobLock.h"
#include "PackageRecords.h"
#include "Paths.h"
#include "ReleaseRecord.h"
#include "ThreadSafety.h"

class TolvaneHandler;

// Runs every job of the engine and carries the values that one step hands to the next.
//
// Threads: a job (productUpdate, freshInstall, a retry) runs on its caller's thread and blocks it; a second
// one waits for the first, also for one of another process. Everything else may be called by any thread at
// any time, and no query waits for a transfer. A worker is destroyed only when no thread uses it any more.
class DownloadController {
public:
    DownloadController();
    // Ends what is still being downloaded.
    ~DownloadController();
    DownloadController(const DownloadController &) = delete;
    DownloadController &operator=(const DownloadController &) = delete;

    // The fixed paths under the names that this class gives them.
    inline static const std::string &keyCoreDownloadCache = ::keyCoreDownloadCache;
    inline static const std::string &prodConfigXml = ::prodConfigXml;
    inline static const std::string &updatedProdConfigXml = ::updatedProdConfigXml;

    // The one controller, created at the first call, which must not come from two threads at once.
    static DownloadController *getInstance();
    // Destroys it; no thread may use it any more. A later getInstance creates another.
    static void releaseInstance();

    // Runs one step of a product update, "CheckForInstall" or "Install"; any other mode does nothing. 0 when
    // done, also when there was nothing to do; -1 on failure. An "Install" run that installs ends the
    // process.
    int productUpdate(std::string currentVersion, std::string affiliateId, std::string mode);
    // Downloads the full packages of the edition that the installer's property list names. 0 when the
    // downloads ran, however they ended; -1 on any failure before them.
    int freshInstall();

    // Downloads the URLs in parallel into sub-folders of the destination and returns when all have ended.
    // Fetches nothing when one of the paths may not be named in a command. The texts stay the caller's.
    void downLoad(std::list<const char *> urls, std::string destination);
    // Starts a thread for every URL that has a file and returns when all have ended; at once when the system
    // refuses one, while those that were started keep running.
    void createDownloadThreads(std::list<const char *> &urls, std::list<const char *> &files);
    int downLoadThreadEntry(const char *url, const char *file);
    // Starts what failed, was given up or never had a thread once more, and returns when all downloads have
    // ended. When the last fresh installation failed before its downloads, runs it again.
    void retryDownload();
    // Ends all running transfers and destroys their workers, once until the next product update. Returns
    // when no thread uses any of them any more; one that libcurl is still looking up the name of a host for
    // takes as long as the system needs to give that up.
    void cancelDownload();

    // Frees every text of the list, which were allocated with new[], and empties it.
    void clearUrlList(std::list<const char *> &urls);
    // Destroys every worker of the list and empties it; no thread may use one any more.
    void clearDownloadHelperList(std::list<DownloadHelper *> &workers);

    // The progress of all downloads. While all are complete, every call records the release values: in the
    // property list after a fresh installation, in the prepared product configuration after an update.
    DownloadProgressInfo getDownloadProgressInfo();
    void calculateAverageDownloadingInfo();
    // The paths of the validated packages, borrowed from their workers.
    std::list<const char *> getDownloadedPackages();
    // The same paths as copies, which may outlive the workers.
    std::list<std::string> copyDownloadedPackages();
    // The hash that the catalogs give for a package; "" when unknown.
    std::string getHashValueFromPackagePath(const char *url);

    // The affiliate id up to its first "-".
    std::string getAffId(std::string affiliateId) const;
    // Downloads the catalogs that the service's reply names. 0 when the core catalogs were asked for, also
    // when single downloads failed; -1 otherwise.
    int getCatalogs(std::string response);
    std::vector<HotFixPackageInfo> getHotFixPackageInfoFormCatalogs();
    std::vector<ProductInfo> getProductInfoFromCatalogs();
    // The URLs to fetch for these products, as new[]-allocated copies that belong to the caller; empty when
    // any package is not reachable.
    std::list<const char *> getPackageDownloadUrls(std::vector<ProductInfo> products);

    // Whether the first dotted version is strictly greater than the second.
    static bool IsGreaterThan(std::string first, std::string second);
    void setMaxBuildNo_ProductVerSionForFreshInstall();
    // Writes the "BuildInfo" record into the installer's property list.
    void UpdateProductConfigurationToplist();
    // Writes the product configuration that the installer script will put in place.
    void createXMLWithUpdateInfo();

    // Lives as long as the controller.
    ReleaseRecord &releaseRecord() { return m_releaseRecord; }
    void setCoreReleaseVer(std::string version) { m_releaseRecord.setCoreReleaseVer(std::move(version)); }
    void setPartnerReleaseVer(std::string version) {
        m_releaseRecord.setPartnerReleaseVer(std::move(version));
    }
    void setMaxPackageVersion(std::string version) {
        m_releaseRecord.setMaxPackageVersion(std::move(version));
    }
    void setMaxBuildNo(std::string buildNo) { m_releaseRecord.setMaxBuildNo(std::move(buildNo)); }
    void setRelName(std::string name) { m_releaseRecord.setRelName(std::move(name)); }
    void setCBRMSBuildNo(std::string buildNo) { m_releaseRecord.setCBRMSBuildNo(std::move(buildNo)); }
    std::string getCoreReleaseVer() const { return m_releaseRecord.getCoreReleaseVer(); }
    std::string getPartnerReleaseVer() const { return m_releaseRecord.getPartnerReleaseVer(); }
    std::string getMaxPackageVersion() const { return m_releaseRecord.getMaxPackageVersion(); }
    std::string getMaxBuildNo() const { return m_releaseRecord.getMaxBuildNo(); }
    std::string getRelName() const { return m_releaseRecord.getRelName(); }
    std::string getCBRMSBuildNO() const { return m_releaseRecord.getCBRMSBuildNO(); }

private:
    int changeNothing();
    int checkForInstall(const std::string &currentVersion, const std::string &affiliateId,
                        Cancellation::Ticket ticket) REQUIRES(m_jobMutex);
    int install();
    int installPackages(const std::vector<std::string> &packages);
    int runFreshInstall(Cancellation::Ticket ticket) REQUIRES(m_jobMutex);
    int downloadProducts() REQUIRES(m_jobMutex);
    void markEarlyFailure();
    bool repeatFreshInstall(Cancellation::Ticket ticket);
    std::shared_ptr<CatalogParser> catalogParser() const;

    static std::atomic<DownloadController *> s_pDownloadController;

    std::atomic<bool> m_cancelRequested{false};
    PackageRecords m_packageRecords;
    std::unique_ptr<TolvaneHandler> m_pTolvaneHandler GUARDED_BY(m_jobMutex);
    // Shared, because a query may still read the products of a parser that a retry replaces.
    std::shared_ptr<CatalogParser> m_pCatalogParser GUARDED_BY(m_mutex);
    // Taken for moments only.
    mutable boost::mutex m_mutex;
    std::vector<HotFixPackageInfo> m_selectedUpdateList GUARDED_BY(m_jobMutex);
    std::atomic<bool> m_earlyFailure{false};
    ReleaseRecord m_releaseRecord;
    // Held by this process's running job.
    boost::mutex m_jobMutex;
    JobLock m_jobLock;
    // The last, so that no thread is left when the others go.
    DownloadEngine m_engine{m_packageRecords};
};
