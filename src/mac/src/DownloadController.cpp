#include "DownloadController.h"

#include <exception>
#include <map>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "ExternalLibraries.h"
#include "PackageList.h"
#include "ProductUrls.h"
#include "ShellPipe.h"
#include "Text.h"
#include "TextList.h"
#include "TolvaneHandler.h"
#include "Trace.h"
#include "UpdateManager.h"
#include "Version.h"

namespace {

// An installation without a package list never ends (kept as shipped: it follows a check that left one). It
// should not load the machine meanwhile, and a list that comes later is not taken.
[[noreturn]] void waitForEver() {
    while (true)
        sleep(1);
}

} // namespace

std::atomic<DownloadController *> DownloadController::s_pDownloadController{nullptr};

DownloadController::DownloadController() {
    openTrace();
    initialiseExternalLibraries();
    m_pTolvaneHandler = std::make_unique<TolvaneHandler>();
    m_pCatalogParser = std::make_shared<CatalogParser>();
}

DownloadController::~DownloadController() = default;

DownloadController *DownloadController::getInstance() {
    if (s_pDownloadController == nullptr)
        s_pDownloadController = std::make_unique<DownloadController>().release();
    return s_pDownloadController;
}

void DownloadController::releaseInstance() {
    const std::unique_ptr<DownloadController> controller(s_pDownloadController.exchange(nullptr));
}

int DownloadController::productUpdate(std::string currentVersion, std::string affiliateId, std::string mode) {
    if (mode != "CheckForInstall" && mode != "Install")
        return changeNothing();
    // Before anything is waited for: a cancel from here on holds for this job.
    const Cancellation::Ticket ticket = m_engine.drawTicket();
    m_cancelRequested = false;
    const MutexLock job(m_jobMutex);
    m_packageRecords.setFreshInstallMode(false);
    trace.info("INFO : DownloadController - ProductUpdate\n");
    return mode == "Install" ? install() : checkForInstall(currentVersion, affiliateId, ticket);
}

// An unknown mode does nothing and waits for nobody; a job under way keeps its own mode.
int DownloadController::changeNothing() {
    const boost::unique_lock<boost::mutex> job(m_jobMutex, boost::try_to_lock);
    if (job.owns_lock())
        m_packageRecords.setFreshInstallMode(false);
    trace.info("INFO : DownloadController - ProductUpdate\n");
    m_cancelRequested = false;
    return 0;
}

int DownloadController::checkForInstall(const std::string &currentVersion, const std::string &affiliateId,
                                        Cancellation::Ticket ticket) {
    std::optional<DownloadEngine::Job> outstanding(std::in_place, m_engine, ticket);
    const JobLock::Use machine(m_jobLock);
    m_packageRecords.setProducts({});
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
    m_packageRecords.setHotFixes(hotFixes);
    if (hotFixes.empty()) {
        trace.error("No products found For Update\n");
        return 0;
    }
    m_engine.forgetWorkers();
    OwnedTexts urls(UpdateManager().getListOfUpdates(hotFixes, currentVersion, m_selectedUpdateList));
    if (urls.list().empty()) {
        trace.error("No updates Found\n");
        return 0;
    }
    // Their packages are about to be overwritten.
    if (!removePackageList()) {
        trace.error("ERROR: Not able to remove the old package list\n");
        return -1;
    }
    downLoad(urls.list(), packageDirectory());
    outstanding.reset();
    // Asking has the updated product configuration written when everything is complete.
    if (!getDownloadProgressInfo().completed) {
        trace.error("ERROR: Download Failed\n");
        return -1;
    }
    if (!writePackageList(copyDownloadedPackages())) {
        trace.error("ERROR: Not able to write the package list\n");
        return -1;
    }
    // Tells the suite that an update waits to be installed.
    static_cast<void>(runShellCommand(std::string("sudo touch ") + updateMarkerPath));
    return 0;
}

int DownloadController::install() {
    try {
        const JobLock::Use machine(m_jobLock);
        if (const std::optional<std::vector<std::string>> packages = readPackageList())
            return installPackages(*packages);
    } catch (const std::system_error &error) {
        trace.error("ERROR: Not able to read the package list: %s\n", error.what());
        return -1;
    }
    waitForEver(); // without the lock: nobody else is to wait for that
}

int DownloadController::installPackages(const std::vector<std::string> &packages) {
    static_cast<void>(runShellCommand(std::string("sudo rm ") + packageListPath));
    if (packages.empty()) {
        trace.error("No Updates available\n");
        return 0;
    }
    if (UpdateManager().installUpdatePackages(packages) != 0)
        trace.error("ERROR: Update Failed\n");
    return 0;
}

int DownloadController::freshInstall() {
    // Before anything is waited for: a cancel from here on holds for this job.
    const Cancellation::Ticket ticket = m_engine.drawTicket();
    const MutexLock job(m_jobMutex);
    return runFreshInstall(ticket);
}

int DownloadController::runFreshInstall(Cancellation::Ticket ticket) {
    const DownloadEngine::Job outstanding(m_engine, ticket);
    try {
        const JobLock::Use machine(m_jobLock);
        return downloadProducts();
    } catch (const std::exception &) {
        markEarlyFailure(); // a retry repeats it
        throw;
    }
}

int DownloadController::downloadProducts() {
    m_packageRecords.setFreshInstallMode(true);
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
    m_packageRecords.setProducts(products);
    if (products.empty() || catalogParser()->isCutShort()) {
        markEarlyFailure();
        trace.error("ERROR: No products found For Fresh Install\n");
        return -1;
    }
    m_engine.forgetWorkers();
    OwnedTexts urls(getPackageDownloadUrls(products));
    if (urls.list().empty()) {
        markEarlyFailure();
        trace.error("ERROR: Package Missing\n");
        return -1;
    }
    // An update's packages may be about to be overwritten.
    if (!removePackageList()) {
        markEarlyFailure();
        trace.error("ERROR: Not able to remove the old package list\n");
        return -1;
    }
    m_earlyFailure = false;
    downLoad(urls.list(), packageDirectory());
    return 0;
}

void DownloadController::markEarlyFailure() {
    m_earlyFailure = true;
    m_engine.setAnyFailed(true);
}

std::string DownloadController::getAffId(std::string affiliateId) const {
    return upToDash(affiliateId);
}

int DownloadController::getCatalogs(std::string response) {
    trace.info("INFO : Getting Product Catalogs \n");
    try {
        const std::shared_ptr<CatalogParser> parser = catalogParser();
        std::map<std::string, std::list<const char *>> catalogUrls = parser->getCatalogUrls(response);
        const bool hasCore = catalogUrls.count("Core") != 0;
        const bool hasPartner = catalogUrls.count("Partner") != 0;
        OwnedTexts coreUrls(std::move(catalogUrls["Core"]));
        OwnedTexts partnerUrls(std::move(catalogUrls["Partner"]));
        if (parser->isCutShort())
            throw std::bad_alloc();
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
        // What no thread was to be had for is no failed download: nobody can tell what was in it.
        return m_engine.hasDownloadsNeverStarted() ? -1 : 0;
    } catch (const std::exception &) {
        trace.error("ERROR: Not able to get Catalaog URLS\n");
        return -1;
    }
}

std::shared_ptr<CatalogParser> DownloadController::catalogParser() const {
    const MutexLock lock(m_mutex);
    return m_pCatalogParser;
}

// Both read the file of every worker, those of an earlier job in this process included (kept).
std::vector<HotFixPackageInfo> DownloadController::getHotFixPackageInfoFormCatalogs() {
    return catalogParser()->getHotFixInfo(m_engine.files());
}

std::vector<ProductInfo> DownloadController::getProductInfoFromCatalogs() {
    return catalogParser()->getProductInfo(m_engine.files());
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
    for (const std::string &url : productUrls(products))
        urls.append(url);
    return urls.release();
}

void DownloadController::downLoad(std::list<const char *> urls, std::string destination) {
    m_engine.downLoad(urls, destination);
}

void DownloadController::createDownloadThreads(std::list<const char *> &urls,
                                               std::list<const char *> &files) {
    m_engine.createDownloadThreads(urls, files);
}

int DownloadController::downLoadThreadEntry(const char *url, const char *file) {
    return m_engine.download(url, file);
}

void DownloadController::retryDownload() {
    trace.info("INFO: DownloadController - Retrying Download\n");
    const Cancellation::Ticket ticket = m_engine.drawTicket();
    m_engine.setAnyFailed(false);
    if (m_earlyFailure && repeatFreshInstall(ticket))
        return;
    const JobLock::Use machine(m_jobLock);
    m_engine.retry(ticket);
}

// False when another thread's job got past the failure meanwhile.
bool DownloadController::repeatFreshInstall(Cancellation::Ticket ticket) {
    const MutexLock job(m_jobMutex);
    if (!m_earlyFailure)
        return false;
    {
        const MutexLock lock(m_mutex);
        m_pCatalogParser = std::make_shared<CatalogParser>();
    }
    m_pTolvaneHandler = std::make_unique<TolvaneHandler>();
    static_cast<void>(runFreshInstall(ticket));
    return true;
}

void DownloadController::cancelDownload() {
    if (m_cancelRequested.exchange(true))
        return;
    trace.error("Cancel Downloading\n");
    m_engine.stop();
}

void DownloadController::clearDownloadHelperList(std::list<DownloadHelper *> &workers) {
    DownloadWorkers::destroy(workers);
}

void DownloadController::clearUrlList(std::list<const char *> &urls) {
    freeTexts(urls);
}

DownloadProgressInfo DownloadController::getDownloadProgressInfo() {
    calculateAverageDownloadingInfo();
    const DownloadProgressInfo progress = m_engine.progress();
    if (progress.completed) {
        if (m_packageRecords.isFreshInstallMode())
            UpdateProductConfigurationToplist();
        else
            createXMLWithUpdateInfo();
    }
    return progress;
}

void DownloadController::calculateAverageDownloadingInfo() {
    try {
        m_engine.averageProgress();
    } catch (const std::exception &) {
        trace.error("ERROR: Average Downloading Info Calculation Failed\n");
    }
}

std::list<const char *> DownloadController::getDownloadedPackages() {
    return m_engine.downloadedPackages();
}

std::list<std::string> DownloadController::copyDownloadedPackages() {
    return m_engine.copyDownloadedPackages();
}

std::string DownloadController::getHashValueFromPackagePath(const char *url) {
    return m_packageRecords.hashOf(url == nullptr ? "" : url);
}

bool DownloadController::IsGreaterThan(std::string first, std::string second) {
    return isGreaterVersion(first, second);
}

void DownloadController::setMaxBuildNo_ProductVerSionForFreshInstall() {
    m_releaseRecord.setMaximaOf(catalogParser()->getProductList());
}

void DownloadController::UpdateProductConfigurationToplist() {
    std::optional<std::vector<ProductInfo>> products;
    if (m_packageRecords.isFreshInstallMode())
        products = catalogParser()->getProductList();
    m_releaseRecord.writeToPropertyList(products);
}

void DownloadController::createXMLWithUpdateInfo() {
    m_releaseRecord.writeToProductConfiguration();
}
