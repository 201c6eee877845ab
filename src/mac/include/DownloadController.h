#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <boost/thread/thread.hpp>

#include "CatalogParser.h"
#include "DownloadHelper.h"
#include "Paths.h"
#include "ThreadSafety.h"

class TolvaneHandler;

// Runs every job of the engine and carries the values that one step hands to the next.
//
// Threads: a job (productUpdate, freshInstall) runs on its caller's thread and blocks it; a second job waits
// for the first. Everything else may be called by any thread at any time, and no query waits for a
// transfer. A worker is destroyed only when no thread uses it any more.
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
    // The texts stay the caller's.
    void downLoad(std::list<const char *> urls, std::string destination);
    void createDownloadThreads(std::list<const char *> &urls, std::list<const char *> &files);
    int downLoadThreadEntry(const char *url, const char *file);
    // Starts what failed or was given up once more and returns when all downloads have ended. When the last
    // fresh installation failed before its downloads, runs it again.
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

    void setCoreReleaseVer(std::string version);
    void setPartnerReleaseVer(std::string version);
    void setMaxPackageVersion(std::string version);
    void setMaxBuildNo(std::string buildNo);
    void setRelName(std::string name);
    void setCBRMSBuildNo(std::string buildNo);
    std::string getCoreReleaseVer() const;
    std::string getPartnerReleaseVer() const;
    std::string getMaxPackageVersion() const;
    std::string getMaxBuildNo() const;
    std::string getRelName() const;
    std::string getCBRMSBuildNO() const;

private:
    class WorkerUse;
    class DestinationUse;
    class RunningThread;
    class OutstandingPackages;

    // The steps of the jobs.
    int checkForInstall(const std::string &currentVersion, const std::string &affiliateId)
        REQUIRES(m_jobMutex);
    void writePackageList();
    int install();
    int runFreshInstall() REQUIRES(m_jobMutex);
    int downloadProducts() REQUIRES(m_jobMutex);
    void markEarlyFailure();
    void clearEarlyFailure();
    void setProductInfoList(std::vector<ProductInfo> products);
    void setHotFixPackageList(std::vector<HotFixPackageInfo> hotFixes);
    std::shared_ptr<CatalogParser> catalogParser() const;
    std::list<std::string> catalogPaths();

    // The steps of a download.
    std::string destinationPath(const std::string &url, const std::string &destination);
    std::string subFolder(const std::string &url, const std::string &fileName);
    void startThreads(const std::list<const char *> &urls, const std::list<const char *> &files);
    void startThread(std::shared_ptr<RunningThread> running, std::function<void()> body);
    void joinThreads();
    int runDownload(const char *url, const char *file, unsigned cancelCount);
    DownloadHelper *registerWorker(std::unique_ptr<DownloadHelper> worker, unsigned cancelCount);
    unsigned currentCancelCount() const;
    unsigned cancelCountOfJob() const;

    bool hasEarlyFailure() const;
    bool repeatFreshInstall();
    void retryWorkers();
    DownloadHelper *claimWorkerToRetry(const std::set<const DownloadHelper *> &claimed, unsigned cancelCount);
    void stopWorkers();
    void destroyWorkers();
    bool usesGoOnUpTo(std::uint64_t lastUse) const REQUIRES(m_mutex);

    DownloadProgressInfo averagedProgress() const;
    std::list<const char *> downloadedPaths() const REQUIRES(m_mutex);
    std::array<std::string, 6> releaseValues() const;

    static std::atomic<DownloadController *> s_pDownloadController;

    std::atomic<bool> m_cancelRequested{false};
    std::atomic<bool> m_pkgDownloadSeen{false};
    std::atomic<bool> m_freshInstallMode{true};
    // Raw pointers, because the list's type is part of the interface; entries may be null.
    std::list<DownloadHelper *> m_downloadHelperList GUARDED_BY(m_mutex);
    double m_averagePercent GUARDED_BY(m_mutex) = 0;
    double m_averageSpeed GUARDED_BY(m_mutex) = 0;         // kilobytes per second
    double m_averageRemainingTime GUARDED_BY(m_mutex) = 0; // seconds
    double m_downloadedSize GUARDED_BY(m_mutex) = 0;       // kilobytes
    double m_totalSize GUARDED_BY(m_mutex) = 0;            // kilobytes
    bool m_anyFailed GUARDED_BY(m_mutex) = false;
    bool m_allCompleted GUARDED_BY(m_mutex) = false;
    bool m_resumable GUARDED_BY(m_mutex) = true;
    const CURLSetUpConfig m_curlConfig{10000, 30, 45};
    std::unique_ptr<TolvaneHandler> m_pTolvaneHandler GUARDED_BY(m_jobMutex);
    // Shared, because a query may still read the products of a parser that a retry replaces.
    std::shared_ptr<CatalogParser> m_pCatalogParser GUARDED_BY(m_mutex);
    // Never null; replaced by an empty one when its threads are joined.
    std::unique_ptr<boost::thread_group> m_pThreadGroup GUARDED_BY(m_mutex);
    // Taken for moments only; never held while anything waits for a transfer or a file.
    mutable boost::mutex m_mutex;
    std::vector<ProductInfo> m_productInfoList GUARDED_BY(m_mutex);
    std::vector<HotFixPackageInfo> m_hotFixPackageList GUARDED_BY(m_mutex);
    std::vector<HotFixPackageInfo> m_selectedUpdateList GUARDED_BY(m_jobMutex);
    bool m_earlyFailure GUARDED_BY(m_mutex) = false;
    std::string m_coreReleaseVer GUARDED_BY(m_mutex);
    std::string m_partnerReleaseVer GUARDED_BY(m_mutex);
    std::string m_maxPackageVersion GUARDED_BY(m_mutex);
    std::string m_maxBuildNo GUARDED_BY(m_mutex);
    std::string m_relName GUARDED_BY(m_mutex);
    std::string m_cbrmsBuildNo GUARDED_BY(m_mutex) = "0";

    // Held by the running job.
    boost::mutex m_jobMutex;
    // Held while the release values are written to a file, so that two readers of the progress do not mix.
    boost::mutex m_recordMutex;
    // Signalled when a worker or a thread of m_pThreadGroup is done.
    boost::condition_variable m_progressMade;
    // Workers that a thread runs, each with the number of that use.
    std::map<DownloadHelper *, std::uint64_t> m_workersInUse GUARDED_BY(m_mutex);
    std::uint64_t m_lastUse GUARDED_BY(m_mutex) = 0;
    unsigned m_runningThreads GUARDED_BY(m_mutex) = 0;
    std::set<std::string> m_destinationsInUse GUARDED_BY(m_mutex);
    // Raised by every cancel, so that a download that has not registered yet does not start.
    unsigned m_cancelCount GUARDED_BY(m_mutex) = 0;
    // The count when the running job began; none without a job, or once its packages are downloaded.
    std::optional<unsigned> m_jobCancelCount GUARDED_BY(m_mutex);
};
