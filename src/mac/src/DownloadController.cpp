#include "DownloadController.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <fstream>
#include <optional>
#include <utility>

#include <unistd.h>

#include "ExternalLibraries.h"
#include "Numbers.h"
#include "PropertyList.h"
#include "ShellPipe.h"
#include "Text.h"
#include "TextList.h"
#include "TolvaneHandler.h"
#include "Trace.h"
#include "UpdateManager.h"
#include "Version.h"

// Ends a thread's use of a worker that was marked as in use.
class DownloadController::WorkerUse {
public:
    explicit WorkerUse(DownloadController &controller)
        : m_controller(controller) {}
    ~WorkerUse() {
        if (m_worker == nullptr)
            return;
        const MutexLock lock(m_controller.m_mutex);
        m_controller.m_workersInUse.erase(m_worker);
        m_controller.m_progressMade.notify_all();
    }
    WorkerUse(const WorkerUse &) = delete;
    WorkerUse &operator=(const WorkerUse &) = delete;

    void adopt(DownloadHelper *worker) noexcept { m_worker = worker; }

private:
    DownloadController &m_controller;
    DownloadHelper *m_worker = nullptr;
};

// The only use of a destination file. Replies that repeat a catalog bring the same file twice: the second
// download waits for the first, or the two would write over each other. A cancel ends the wait.
class DownloadController::DestinationUse {
public:
    DestinationUse(DownloadController &controller, std::string file, unsigned cancelCount)
        : m_controller(controller)
        , m_file(std::move(file)) {
        MutexLock lock(m_controller.m_mutex);
        while (cancelCount == m_controller.m_cancelCount) {
            m_begun = m_controller.m_destinationsInUse.insert(m_file).second;
            if (m_begun)
                return;
            lock.wait(m_controller.m_progressMade);
        }
    }
    ~DestinationUse() {
        if (!m_begun)
            return;
        const MutexLock lock(m_controller.m_mutex);
        m_controller.m_destinationsInUse.erase(m_file);
        m_controller.m_progressMade.notify_all();
    }
    DestinationUse(const DestinationUse &) = delete;
    DestinationUse &operator=(const DestinationUse &) = delete;

    // False when a cancel came first: the file is not to be touched then.
    bool hasBegun() const noexcept { return m_begun; }

private:
    DownloadController &m_controller;
    const std::string m_file;
    bool m_begun = false;
};

// Counts a thread as running, from before it is started until it has nothing left to do.
class DownloadController::RunningThread {
public:
    explicit RunningThread(DownloadController &controller)
        : m_controller(controller) {
        const MutexLock lock(m_controller.m_mutex);
        ++m_controller.m_runningThreads;
    }
    ~RunningThread() {
        const MutexLock lock(m_controller.m_mutex);
        --m_controller.m_runningThreads;
        m_controller.m_progressMade.notify_all();
    }
    RunningThread(const RunningThread &) = delete;
    RunningThread &operator=(const RunningThread &) = delete;

private:
    DownloadController &m_controller;
};

// A job that has not downloaded its packages yet. No query may call the downloads complete meanwhile,
// whatever the last job left, and a cancel holds for all downloads that the job would still start.
class DownloadController::OutstandingPackages {
public:
    explicit OutstandingPackages(DownloadController &controller)
        : m_controller(controller) {
        const MutexLock lock(m_controller.m_mutex);
        m_controller.m_jobCancelCount = m_controller.m_cancelCount;
        m_controller.m_allCompleted = false;
    }
    ~OutstandingPackages() {
        const MutexLock lock(m_controller.m_mutex);
        m_controller.m_jobCancelCount.reset();
    }
    OutstandingPackages(const OutstandingPackages &) = delete;
    OutstandingPackages &operator=(const OutstandingPackages &) = delete;

private:
    DownloadController &m_controller;
};

namespace {

// Non-empty lines of the package list, as they stand.
std::vector<std::string> readPackageList() {
    std::vector<std::string> paths;
    std::ifstream list(packageListPath);
    // Nothing but the end of the file ends the loop (kept as shipped): without the list a run never ends. It
    // should not load the machine meanwhile.
    while (!list.eof()) {
        std::string path;
        std::getline(list, path);
        if (!path.empty())
            paths.push_back(path);
        else if (list.fail() && !list.eof())
            sleep(1);
    }
    return paths;
}

// A source that cannot be opened gives an empty copy; neither failure is reported.
void copyFile(const std::string &source, const std::string &destination) {
    const std::ifstream input(source, std::ios::binary);
    std::ofstream output(destination, std::ios::binary | std::ios::trunc);
    output << input.rdbuf();
}

} // namespace

std::atomic<DownloadController *> DownloadController::s_pDownloadController{nullptr};

DownloadController::DownloadController() {
    openTrace();
    initialiseExternalLibraries();
    m_pTolvaneHandler = std::make_unique<TolvaneHandler>();
    m_pCatalogParser = std::make_shared<CatalogParser>();
    m_pThreadGroup = std::make_unique<boost::thread_group>();
}

DownloadController::~DownloadController() {
    stopWorkers();
    joinThreads();
}

DownloadController *DownloadController::getInstance() {
    if (s_pDownloadController == nullptr)
        s_pDownloadController = std::make_unique<DownloadController>().release();
    return s_pDownloadController;
}

void DownloadController::releaseInstance() {
    const std::unique_ptr<DownloadController> controller(s_pDownloadController.exchange(nullptr));
}

int DownloadController::productUpdate(std::string currentVersion, std::string affiliateId, std::string mode) {
    const MutexLock job(m_jobMutex);
    m_freshInstallMode = false;
    trace.info("INFO : DownloadController - ProductUpdate\n");
    m_cancelRequested = false;
    if (mode == "CheckForInstall")
        return checkForInstall(currentVersion, affiliateId);
    if (mode == "Install")
        return install();
    return 0;
}

int DownloadController::checkForInstall(const std::string &currentVersion, const std::string &affiliateId) {
    UpdateManager updateManager;
    std::optional<OutstandingPackages> outstanding(std::in_place, *this);
    setProductInfoList({});
    const std::string response =
        m_pTolvaneHandler->sendTolvaneUpdateRequest(currentVersion, getAffId(affiliateId), "1");
    if (response.empty()) {
        trace.error("ERROR Tolvane response\n");
        return -1;
    }
    if (getCatalogs(response) != 0) {
        trace.error("ERROR: No Cata log Found\n");
        return -1;
    }
    const std::vector<HotFixPackageInfo> hotFixes = getHotFixPackageInfoFormCatalogs();
    setHotFixPackageList(hotFixes);
    if (hotFixes.empty()) {
        trace.error("No products found For Update\n");
        return 0;
    }
    destroyWorkers();
    OwnedTexts urls(updateManager.getListOfUpdates(hotFixes, currentVersion, m_selectedUpdateList));
    if (urls.list().empty()) {
        trace.error("No updates Found\n");
        return 0;
    }
    downLoad(urls.list(), packageDirectory());
    outstanding.reset();
    // Asking has the updated product configuration written when everything is complete.
    if (!getDownloadProgressInfo().completed) {
        trace.error("ERROR: Download Failed\n");
        return -1;
    }
    writePackageList();
    // Tells the suite that an update waits to be installed.
    static_cast<void>(runShellCommand("sudo touch /usr/local/Brovik/qrn/var/RequireProductUpdate"));
    return 0;
}

void DownloadController::writePackageList() {
    std::ofstream list(packageListPath, std::ios::trunc);
    for (const std::string &path : copyDownloadedPackages())
        list << path << "\n";
}

int DownloadController::install() {
    const std::vector<std::string> packages = readPackageList();
    static_cast<void>(runShellCommand("sudo rm /tmp/packagelist.txt"));
    if (packages.empty()) {
        trace.error("No Updates available\n");
        return 0;
    }
    if (UpdateManager().installUpdatePackages(packages) != 0)
        trace.error("ERROR: Update Failed\n");
    return 0;
}

int DownloadController::freshInstall() {
    const MutexLock job(m_jobMutex);
    return runFreshInstall();
}

int DownloadController::runFreshInstall() {
    const OutstandingPackages outstanding(*this);
    try {
        return downloadProducts();
    } catch (const std::exception &) {
        markEarlyFailure(); // a retry repeats it
        throw;
    }
}

int DownloadController::downloadProducts() {
    m_freshInstallMode = true;
    trace.info("INFO: Enter FreshInstall\n");
    const std::string response = m_pTolvaneHandler->sendTolvaneFreshInstallRequest();
    if (response.empty() || !m_pTolvaneHandler->isTolvaneSucceed()) {
        markEarlyFailure();
        trace.error("ERROR Tolvane response\n");
        return -1;
    }
    if (getCatalogs(response) != 0) {
        markEarlyFailure();
        trace.error("ERROR: No Cata log Found\n");
        return -1;
    }
    const std::vector<ProductInfo> products = getProductInfoFromCatalogs();
    setProductInfoList(products);
    if (products.empty()) {
        markEarlyFailure();
        trace.error("ERROR: No products found For Fresh Install\n");
        return -1;
    }
    destroyWorkers();
    OwnedTexts urls(getPackageDownloadUrls(products));
    if (urls.list().empty()) {
        markEarlyFailure();
        trace.error("ERROR: Package Missing\n");
        return -1;
    }
    clearEarlyFailure();
    downLoad(urls.list(), packageDirectory());
    return 0;
}

void DownloadController::markEarlyFailure() {
    const MutexLock lock(m_mutex);
    m_earlyFailure = true;
    m_anyFailed = true;
}

void DownloadController::clearEarlyFailure() {
    const MutexLock lock(m_mutex);
    m_earlyFailure = false;
}

void DownloadController::setProductInfoList(std::vector<ProductInfo> products) {
    const MutexLock lock(m_mutex);
    m_productInfoList = std::move(products);
}

void DownloadController::setHotFixPackageList(std::vector<HotFixPackageInfo> hotFixes) {
    const MutexLock lock(m_mutex);
    m_hotFixPackageList = std::move(hotFixes);
}

std::string DownloadController::getAffId(std::string affiliateId) const {
    return affiliateId.substr(0, affiliateId.find('-'));
}

int DownloadController::getCatalogs(std::string response) {
    trace.info("INFO : Getting Product Catalogs \n");
    try {
        std::map<std::string, std::list<const char *>> catalogUrls =
            catalogParser()->getCatalogUrls(response);
        const bool hasCore = catalogUrls.count("Core") != 0;
        const bool hasPartner = catalogUrls.count("Partner") != 0;
        OwnedTexts coreUrls(std::move(catalogUrls["Core"]));
        OwnedTexts partnerUrls(std::move(catalogUrls["Partner"]));
        if (!hasCore) {
            trace.error("Core Catalog Not Found\n");
            return -1;
        }
        for (const char *url : coreUrls.list())
            trace.error("\n Core Catalogs Are :: --- >> %s\n\n", url);
        downLoad(coreUrls.list(), coreCatalogDirectory());
        if (!hasPartner) {
            trace.error("Partner Catalog not found\n");
            return 0;
        }
        for (const char *url : partnerUrls.list())
            trace.error("\n Partner Catalogs Are :: --- >> %s\n\n", url);
        downLoad(partnerUrls.list(), partnerCatalogDirectory());
        return 0;
    } catch (const std::exception &) {
        trace.error("ERROR: Not able to get Catalaog URLS\n");
        return -1;
    }
}

std::shared_ptr<CatalogParser> DownloadController::catalogParser() const {
    const MutexLock lock(m_mutex);
    return m_pCatalogParser;
}

std::vector<HotFixPackageInfo> DownloadController::getHotFixPackageInfoFormCatalogs() {
    return catalogParser()->getHotFixInfo(catalogPaths());
}

std::vector<ProductInfo> DownloadController::getProductInfoFromCatalogs() {
    return catalogParser()->getProductInfo(catalogPaths());
}

// Of every worker, those of an earlier job in this process included (kept).
std::list<std::string> DownloadController::catalogPaths() {
    std::list<std::string> paths;
    const MutexLock lock(m_mutex);
    for (const DownloadHelper *worker : m_downloadHelperList) {
        if (worker != nullptr)
            paths.emplace_back(worker->getDownloadedFile());
    }
    return paths;
}

std::list<const char *> DownloadController::getPackageDownloadUrls(std::vector<ProductInfo> products) {
    trace.info("INFO: Getting downloaded package URLS\n");
    for (const ProductInfo &product : products) {
        if (!DownloadHelper::isUrlReachable(product.url.c_str())) {
            trace.error("ERROR: %s Package Missing\n", product.url.c_str());
            return {};
        }
    }
    OwnedTexts urls;
    for (const ProductInfo &product : products) {
        const auto replaced =
            std::find_if(urls.list().begin(), urls.list().end(), [&product](const char *url) {
                return product.isPartner && contains(url, product.name);
            });
        // A partner's package takes the place of the core package of the same name.
        if (replaced != urls.list().end())
            urls.removeEqual(*replaced);
        urls.append(product.url);
    }
    return urls.release();
}

void DownloadController::downLoad(std::list<const char *> urls, std::string destination) {
    trace.info("INFO: Download Start\n");
    try {
        OwnedTexts files;
        for (const char *url : urls) {
            const std::string path = destinationPath(url, destination);
            files.append(path);
            if (!runShellCommand("sudo mkdir -p " + path.substr(0, path.rfind('/')))) {
                trace.error("Error: Failed to create %s\n", destination.c_str());
                return;
            }
        }
        createDownloadThreads(urls, files.list());
    } catch (const std::exception &) {
        trace.error("ERROR: Destination Creation Failed\n");
    }
}

std::string DownloadController::destinationPath(const std::string &url, const std::string &destination) {
    const std::string fileName = afterLastSlash(url);
    return destination + "/" + subFolder(url, fileName) + "/" + fileName;
}

// Named after the version that the package brings; empty for a file that no catalog lists.
std::string DownloadController::subFolder(const std::string &url, const std::string &fileName) {
    const MutexLock lock(m_mutex);
    if (m_freshInstallMode) {
        for (const ProductInfo &product : m_productInfoList) {
            if (contains(product.url, fileName))
                return product.version;
        }
        return {};
    }
    for (const HotFixPackageInfo &hotFix : m_hotFixPackageList) {
        if (hotFix.url == url)
            return hotFix.repost ? "repost/" + hotFix.productVer : hotFix.productVer;
    }
    return {};
}

void DownloadController::createDownloadThreads(std::list<const char *> &urls,
                                               std::list<const char *> &files) {
    // At the level of an error (kept as shipped).
    trace.error("INFO: Creating Download thread\n");
    try {
        startThreads(urls, files);
        joinThreads();
    } catch (const std::exception &) {
        trace.error("ERROR: Download Thread Creation Failed\n");
    }
}

void DownloadController::startThreads(const std::list<const char *> &urls,
                                      const std::list<const char *> &files) {
    const unsigned cancelCount = cancelCountOfJob();
    // All count as running before the first one starts: none may look like the last.
    std::list<std::shared_ptr<RunningThread>> running;
    for (std::size_t i = 0; i < urls.size(); ++i)
        running.push_back(std::make_shared<RunningThread>(*this));

    auto file = files.begin();
    for (const char *url : urls) {
        // The texts are copied, since a thread may outlive the lists when a later one cannot be started.
        startThread(std::move(running.front()),
                    [this, cancelCount, url = std::string(url), file = std::string(*file)] {
                        static_cast<void>(runDownload(url.c_str(), file.c_str(), cancelCount));
                    });
        running.pop_front();
        ++file;
    }
}

void DownloadController::startThread(std::shared_ptr<RunningThread> running, std::function<void()> body) {
    // What a thread holds ends with its body, not with the thread object, which lives until it is joined.
    auto thread =
        std::make_unique<boost::thread>([running = std::move(running), body = std::move(body)]() mutable {
            const std::shared_ptr<RunningThread> counted = std::move(running);
            const std::function<void()> work = std::move(body);
            try {
                work();
            } catch (const std::exception &) {
                trace.error("ERROR: Download Thread Creation Failed\n");
            }
        });
    const MutexLock lock(m_mutex);
    m_pThreadGroup->add_thread(thread.get());
    static_cast<void>(thread.release());
}

void DownloadController::joinThreads() {
    std::unique_ptr<boost::thread_group> group;
    {
        MutexLock lock(m_mutex);
        while (m_runningThreads != 0)
            lock.wait(m_progressMade);
        // Whoever comes first joins and frees the threads, which have nothing left to do.
        group = std::make_unique<boost::thread_group>();
        m_pThreadGroup.swap(group);
    }
    group->join_all();
}

int DownloadController::downLoadThreadEntry(const char *url, const char *file) {
    return runDownload(url, file, cancelCountOfJob());
}

unsigned DownloadController::currentCancelCount() const {
    const MutexLock lock(m_mutex);
    return m_cancelCount;
}

// As it was when the running job began; as it is without one.
unsigned DownloadController::cancelCountOfJob() const {
    const MutexLock lock(m_mutex);
    return m_jobCancelCount.value_or(m_cancelCount);
}

int DownloadController::runDownload(const char *url, const char *file, unsigned cancelCount) {
    trace.info("INFO : DownloadController::downLoadThreadEntry\n");
    const DestinationUse destination(*this, file, cancelCount);
    if (!destination.hasBegun())
        return -1;
    std::unique_ptr<DownloadHelper> created(new (std::nothrow) DownloadHelper);
    if (!created) {
        trace.error("ERROR: Failed to create downloadHelper\n");
        return -1;
    }
    if (!created->Init(url, file, m_curlConfig)) {
        created.reset();
        trace.error("ERROR: Not able to initialize download helper\n");
        return -1;
    }
    if (contains(file, ".pkg"))
        m_pkgDownloadSeen = true;
    WorkerUse use(*this);
    DownloadHelper *worker = registerWorker(std::move(created), cancelCount);
    if (worker == nullptr)
        return -1;
    use.adopt(worker);
    worker->setHashValue(getHashValueFromPackagePath(url));
    worker->startDownload();
    return 0;
}

// Null when the download was cancelled before it could start.
DownloadHelper *DownloadController::registerWorker(std::unique_ptr<DownloadHelper> worker,
                                                   unsigned cancelCount) {
    const MutexLock lock(m_mutex);
    if (cancelCount != m_cancelCount)
        return nullptr;
    // An empty entry first: whatever fails, nothing points to a worker that is not there.
    DownloadHelper *&entry = m_downloadHelperList.emplace_back(nullptr);
    m_workersInUse.emplace(worker.get(), ++m_lastUse);
    entry = worker.release();
    return entry;
}

void DownloadController::retryDownload() {
    trace.info("INFO: DownloadController - Retrying Download\n");
    {
        const MutexLock lock(m_mutex);
        m_anyFailed = false;
    }
    if (hasEarlyFailure() && repeatFreshInstall())
        return;
    try {
        retryWorkers();
    } catch (const std::exception &) {
        trace.error("ERROR: Download Thread Creation Failed\n");
    }
}

bool DownloadController::hasEarlyFailure() const {
    const MutexLock lock(m_mutex);
    return m_earlyFailure;
}

// False when another thread's job got past the failure meanwhile.
bool DownloadController::repeatFreshInstall() {
    const MutexLock job(m_jobMutex);
    if (!hasEarlyFailure())
        return false;
    {
        const MutexLock lock(m_mutex);
        m_pCatalogParser = std::make_shared<CatalogParser>();
    }
    m_pTolvaneHandler = std::make_unique<TolvaneHandler>();
    static_cast<void>(runFreshInstall());
    return true;
}

void DownloadController::retryWorkers() {
    const unsigned cancelCount = currentCancelCount();
    std::set<const DownloadHelper *> claimed;
    while (true) {
        auto use = std::make_shared<WorkerUse>(*this);
        DownloadHelper *worker = claimWorkerToRetry(claimed, cancelCount);
        if (worker == nullptr)
            break;
        use->adopt(worker);
        claimed.insert(worker);
        trace.error("Resume downloading of %s\n", worker->getDownloadURl());
        startThread(std::make_shared<RunningThread>(*this),
                    [this, worker, cancelCount, use = std::move(use)] {
                        const DestinationUse destination(*this, worker->getDownloadedFile(), cancelCount);
                        if (destination.hasBegun())
                            worker->resumeDownload(true);
                    });
    }
    joinThreads();
}

// The next worker that failed or was given up, for the caller's use only; null when there is none. Waits
// for one that another thread is just done with.
DownloadHelper *DownloadController::claimWorkerToRetry(const std::set<const DownloadHelper *> &claimed,
                                                       unsigned cancelCount) {
    MutexLock lock(m_mutex);
    while (cancelCount == m_cancelCount) {
        bool waits = false;
        for (DownloadHelper *worker : m_downloadHelperList) {
            if (worker == nullptr || claimed.count(worker) != 0)
                continue;
            const DownloadProgressInfo info = worker->getProgressInfo();
            if (!info.failed && info.resumable)
                continue;
            if (m_workersInUse.emplace(worker, m_lastUse + 1).second) {
                ++m_lastUse;
                return worker;
            }
            waits = true;
        }
        if (!waits)
            return nullptr;
        lock.wait(m_progressMade);
    }
    return nullptr;
}

void DownloadController::cancelDownload() {
    if (m_cancelRequested.exchange(true))
        return;
    trace.error("Cancel Downloading\n");
    stopWorkers();
}

void DownloadController::stopWorkers() {
    std::list<DownloadHelper *> stopped;
    {
        MutexLock lock(m_mutex);
        ++m_cancelCount;
        stopped.swap(m_downloadHelperList);
        // Those that a job has taken out of the list and waits for are among them.
        for (const auto &use : m_workersInUse)
            use.first->cancel();
        m_progressMade.notify_all();
        const std::uint64_t lastUse = m_lastUse;
        while (usesGoOnUpTo(lastUse))
            lock.wait(m_progressMade);
    }
    clearDownloadHelperList(stopped);
}

// Whether a use that began no later than that one goes on.
bool DownloadController::usesGoOnUpTo(std::uint64_t lastUse) const {
    return std::any_of(m_workersInUse.begin(), m_workersInUse.end(),
                       [lastUse](const auto &use) { return use.second <= lastUse; });
}

void DownloadController::destroyWorkers() {
    std::list<DownloadHelper *> workers;
    {
        MutexLock lock(m_mutex);
        workers.swap(m_downloadHelperList);
        for (DownloadHelper *worker : workers) {
            while (m_workersInUse.count(worker) != 0)
                lock.wait(m_progressMade);
        }
    }
    clearDownloadHelperList(workers);
}

void DownloadController::clearDownloadHelperList(std::list<DownloadHelper *> &workers) {
    for (const DownloadHelper *worker : workers)
        delete worker;
    workers.clear();
}

void DownloadController::clearUrlList(std::list<const char *> &urls) {
    freeTexts(urls);
}

DownloadProgressInfo DownloadController::getDownloadProgressInfo() {
    calculateAverageDownloadingInfo();
    const DownloadProgressInfo progress = averagedProgress();
    if (progress.completed) {
        if (m_freshInstallMode)
            UpdateProductConfigurationToplist();
        else
            createXMLWithUpdateInfo();
    }
    return progress;
}

DownloadProgressInfo DownloadController::averagedProgress() const {
    const MutexLock lock(m_mutex);
    const bool completed = m_allCompleted && m_runningThreads == 0;
    return {m_averagePercent, m_averageSpeed, m_averageRemainingTime,
            m_downloadedSize, m_totalSize,    m_anyFailed,
            completed,        m_resumable};
}

void DownloadController::calculateAverageDownloadingInfo() {
    try {
        const MutexLock lock(m_mutex);
        // An average over nothing is no figure: the previous ones stay.
        if (!m_pkgDownloadSeen || m_downloadHelperList.empty())
            return;
        DownloadProgressInfo sum{0, 0, 0, 0, 0, false, true, true};
        for (const DownloadHelper *worker : m_downloadHelperList) {
            if (worker == nullptr)
                continue;
            const DownloadProgressInfo info = worker->getProgressInfo();
            if (!info.resumable) {
                m_resumable = false;
                return;
            }
            sum.progressPercent += info.progressPercent;
            sum.downloadSpeed += info.downloadSpeed;
            sum.remainingTime += info.remainingTime;
            sum.downloadedSize += info.downloadedSize;
            sum.totalSize += info.totalSize;
            sum.failed = sum.failed || info.failed;
            sum.completed = sum.completed && info.completed;
        }
        const auto workers = static_cast<double>(m_downloadHelperList.size());
        m_averagePercent = sum.progressPercent / workers;
        m_averageSpeed = sum.downloadSpeed / workers;
        m_averageRemainingTime = sum.remainingTime / workers;
        m_downloadedSize = sum.downloadedSize;
        m_totalSize = sum.totalSize;
        m_anyFailed = sum.failed;
        m_allCompleted = sum.completed && !m_jobCancelCount;
    } catch (const std::exception &) {
        trace.error("ERROR: Average Downloading Info Calculation Failed\n");
    }
}

std::list<const char *> DownloadController::getDownloadedPackages() {
    const MutexLock lock(m_mutex);
    return downloadedPaths();
}

std::list<std::string> DownloadController::copyDownloadedPackages() {
    const MutexLock lock(m_mutex);
    const std::list<const char *> paths = downloadedPaths();
    return {paths.begin(), paths.end()};
}

std::list<const char *> DownloadController::downloadedPaths() const {
    std::list<const char *> paths;
    for (const DownloadHelper *worker : m_downloadHelperList) {
        if (worker != nullptr && worker->getDownloadStatus())
            paths.push_back(worker->getDownloadedFile());
    }
    return paths;
}

std::string DownloadController::getHashValueFromPackagePath(const char *url) {
    const std::string address = url == nullptr ? "" : url;
    const MutexLock lock(m_mutex);
    if (m_freshInstallMode) {
        for (const ProductInfo &product : m_productInfoList) {
            if (contains(address, product.name))
                return product.hash;
        }
        return {};
    }
    for (const HotFixPackageInfo &hotFix : m_hotFixPackageList) {
        if (hotFix.url == address)
            return hotFix.hash;
    }
    return {};
}

bool DownloadController::IsGreaterThan(std::string first, std::string second) {
    return parseVersion(first) > parseVersion(second);
}

void DownloadController::setMaxBuildNo_ProductVerSionForFreshInstall() {
    std::string maxVersion = "0.0.0.0";
    std::string maxBuildNo = "0";
    for (const ProductInfo &product : catalogParser()->getProductList()) {
        if (IsGreaterThan(product.version, maxVersion))
            maxVersion = product.version;
        if (leadingNumber(maxBuildNo) < leadingNumber(product.mainBuildNo))
            maxBuildNo = product.mainBuildNo;
    }
    setMaxPackageVersion(maxVersion);
    setMaxBuildNo(maxBuildNo);
}

// The values in the order in which both files take them.
std::array<std::string, 6> DownloadController::releaseValues() const {
    const MutexLock lock(m_mutex);
    return {m_maxPackageVersion, m_maxBuildNo, m_coreReleaseVer,
            m_partnerReleaseVer, m_relName,    m_cbrmsBuildNo};
}

void DownloadController::UpdateProductConfigurationToplist() {
    static const std::array<const char *, 6> keys = {"Version",       "BuildNo", "CoreRelVer",
                                                     "PartnerRelVer", "RelName", "CBRMSBuildNo"};
    // Names another file than is written (kept as shipped).
    trace.info("INFO: Updating /tmp/configuratiob.plist : buildno and version \n");
    const MutexLock record(m_recordMutex);
    PropertyList configuration = PropertyList::read(configurationPlistPath).value_or(PropertyList());
    if (m_freshInstallMode)
        setMaxBuildNo_ProductVerSionForFreshInstall();

    const std::array<std::string, 6> values = releaseValues();
    std::vector<std::pair<std::string, std::string>> buildInfo;
    for (std::size_t i = 0; i < keys.size(); ++i)
        buildInfo.emplace_back(keys[i], values[i]);
    configuration.setDictionary("BuildInfo", buildInfo);

    if (configuration.write(configurationPlistPath))
        trace.info("INFO: Version and Build no Updated to plist successfully\n");
    else
        trace.error("ERROR: Version and Build no Updated to plist Failed !\n");
}

void DownloadController::createXMLWithUpdateInfo() {
    static const std::array<const char *, 6> elements = {"ProductVersion", "BuildNumber", "CoreRelVer",
                                                         "PartnerRelVer",  "ReleaseName", "CBRMSBuildNo"};
    const MutexLock record(m_recordMutex);
    copyFile(prodConfigXml, updatedProdConfigXml);
    const std::array<std::string, 6> values = releaseValues();
    // The results do not matter: what cannot be set keeps its installed value.
    for (std::size_t i = 0; i < elements.size(); ++i)
        static_cast<void>(
            UpdateManager::updateProductConfigXml(updatedProdConfigXml, elements[i], values[i]));
}

void DownloadController::setCoreReleaseVer(std::string version) {
    const MutexLock lock(m_mutex);
    m_coreReleaseVer = std::move(version);
}

void DownloadController::setPartnerReleaseVer(std::string version) {
    const MutexLock lock(m_mutex);
    m_partnerReleaseVer = std::move(version);
}

void DownloadController::setMaxPackageVersion(std::string version) {
    const MutexLock lock(m_mutex);
    m_maxPackageVersion = std::move(version);
}

void DownloadController::setMaxBuildNo(std::string buildNo) {
    const MutexLock lock(m_mutex);
    m_maxBuildNo = std::move(buildNo);
}

void DownloadController::setRelName(std::string name) {
    const MutexLock lock(m_mutex);
    m_relName = std::move(name);
}

void DownloadController::setCBRMSBuildNo(std::string buildNo) {
    const MutexLock lock(m_mutex);
    m_cbrmsBuildNo = std::move(buildNo);
}

std::string DownloadController::getCoreReleaseVer() const {
    const MutexLock lock(m_mutex);
    return m_coreReleaseVer;
}

std::string DownloadController::getPartnerReleaseVer() const {
    const MutexLock lock(m_mutex);
    return m_partnerReleaseVer;
}

std::string DownloadController::getMaxPackageVersion() const {
    const MutexLock lock(m_mutex);
    return m_maxPackageVersion;
}

std::string DownloadController::getMaxBuildNo() const {
    const MutexLock lock(m_mutex);
    return m_maxBuildNo;
}

std::string DownloadController::getRelName() const {
    const MutexLock lock(m_mutex);
    return m_relName;
}

std::string DownloadController::getCBRMSBuildNO() const {
    const MutexLock lock(m_mutex);
    return m_cbrmsBuildNo;
}

// What the suite's installer calls.

namespace {

// What GetHashValue gave this thread last: it outlives the call, and no other thread's call changes it.
thread_local std::string lastHash;

// Runs a call for a host, which may be written in C and know no exceptions.
template <typename Result, typename Call>
Result callForHost(Result onFailure, Call call) noexcept {
    try {
        return call();
    } catch (const std::exception &error) {
        trace.error("ERROR: %s\n", error.what());
        return onFailure;
    }
}

char *copyJoined(const std::list<std::string> &paths) {
    std::string joined;
    for (const std::string &path : paths)
        joined += path + "!:";
    auto *text = new char[joined.size() + 1];
    std::memcpy(text, joined.c_str(), joined.size() + 1);
    return text;
}

} // namespace

int FreshInstall() {
    return callForHost(-1, [] { return DownloadController::getInstance()->freshInstall(); });
}

void *GetDownloadProgressInfo() {
    return callForHost<void *>(nullptr, [] {
        return new DownloadProgressInfo(DownloadController::getInstance()->getDownloadProgressInfo());
    });
}

char *GetDownloadedPackages() {
    return callForHost<char *>(
        nullptr, [] { return copyJoined(DownloadController::getInstance()->copyDownloadedPackages()); });
}

void RetryDownloadPackages() {
    static_cast<void>(callForHost(false, [] {
        DownloadController::getInstance()->retryDownload();
        return true;
    }));
}

const char *GetHashValue(const char *url) {
    return callForHost("", [url] {
        lastHash = DownloadController::getInstance()->getHashValueFromPackagePath(url);
        return lastHash.c_str();
    });
}
