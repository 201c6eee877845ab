#include "DownloadEngine.h"

#include <exception>
#include <memory>
#include <new>
#include <set>
#include <utility>

#include "ProgressAverage.h"
#include "ShellPipe.h"
#include "Text.h"
#include "TextList.h"
#include "Trace.h"

DownloadEngine::~DownloadEngine() {
    stop();
    m_threads.join();
}

Cancellation::OutstandingPackages DownloadEngine::beginJob(Cancellation::Ticket ticket) {
    // All of it at once: no query may find one without the other.
    const MutexLock lock(m_progressMutex);
    m_threads.forgetLeftOver();
    m_progress.completed = false;
    return {m_cancellation, ticket};
}

void DownloadEngine::downLoad(const std::list<const char *> &urls, const std::string &destination) {
    trace.info("INFO: Download Start\n");
    try {
        const std::vector<std::string> addresses(urls.begin(), urls.end());
        OwnedTexts files;
        for (const std::string &path : m_records.destinationsOf(addresses, destination))
            files.append(path);
        for (const std::string file : files.list()) {
            if (!runShellCommand("sudo mkdir -p " + file.substr(0, file.rfind('/')))) {
                trace.error("Error: Failed to create %s\n", destination.c_str());
                m_threads.noteLostWork();
                return;
            }
        }
        createDownloadThreads(urls, files.list());
    } catch (const std::exception &error) {
        trace.error("ERROR: Destination Creation Failed\n");
        // Others are refused, and what is refused is not missed (kept).
        if (dynamic_cast<const std::bad_alloc *>(&error) != nullptr)
            m_threads.noteLostWork();
    }
    // Those that run although another one could not be started.
    m_threads.join();
}

void DownloadEngine::createDownloadThreads(const std::list<const char *> &urls,
                                           const std::list<const char *> &files) {
    // At the level of an error (kept as shipped).
    trace.error("INFO: Creating Download thread\n");
    try {
        m_threads.startAll(downloadsOf(urls, files));
        m_threads.join();
    } catch (const std::exception &) {
        trace.error("ERROR: Download Thread Creation Failed\n");
    }
}

std::list<DownloadThreads::Work> DownloadEngine::downloadsOf(const std::list<const char *> &urls,
                                                             const std::list<const char *> &files) {
    const Cancellation::Ticket ticket = m_cancellation.ticketOfJob();
    std::list<DownloadThreads::Work> works;
    try {
        auto file = files.begin();
        for (auto url = urls.begin(); url != urls.end() && file != files.end(); ++url, ++file)
            works.push_back(downloadOf(*url, *file, ticket));
    } catch (const std::exception &) {
        m_threads.noteLostWork();
        throw;
    }
    return works;
}

// The texts are copied, since the work outlives the lists when a thread cannot be started.
DownloadThreads::Work DownloadEngine::downloadOf(const char *url, const char *file,
                                                 Cancellation::Ticket ticket) {
    return [this, ticket, url = std::string(url), file = std::string(file)] {
        static_cast<void>(run(url.c_str(), file.c_str(), ticket));
    };
}

int DownloadEngine::download(const char *url, const char *file) {
    return run(url, file, m_cancellation.ticketOfJob());
}

int DownloadEngine::run(const char *url, const char *file, Cancellation::Ticket ticket) {
    trace.info("INFO : DownloadController::downLoadThreadEntry\n");
    DestinationFiles::Use destination(m_destinations, file, ticket);
    if (!destination.hasBegun())
        return -1;
    std::unique_ptr<DownloadHelper> created(new (std::nothrow) DownloadHelper);
    if (!created) {
        trace.error("ERROR: Failed to create downloadHelper\n");
        return -1;
    }
    // From before the file is opened: once a cancel has returned, nobody opens one.
    const DownloadWorkers::Use use(m_workers, *created, ticket);
    if (!use.hasBegun())
        return -1;
    if (!created->Init(url, file, m_curlConfig)) {
        trace.error("ERROR: Not able to initialize download helper\n");
        destination.mayBeOpened();
        return -1;
    }
    destination.opened();
    if (contains(file, ".pkg"))
        m_pkgDownloadSeen = true;
    std::string hash = m_records.hashOf(url);
    if (!m_workers.add(created, ticket))
        return -1;
    DownloadHelper &worker = use.worker();
    worker.setHashValue(std::move(hash));
    worker.startDownload();
    if (worker.getDownloadStatus())
        destination.checked();
    return 0;
}

void DownloadEngine::retry(Cancellation::Ticket ticket) {
    try {
        retryWorkers(ticket);
        m_threads.startLeftOver();
    } catch (const std::exception &) {
        trace.error("ERROR: Download Thread Creation Failed\n");
    }
    m_threads.join();
}

void DownloadEngine::retryWorkers(Cancellation::Ticket ticket) {
    std::set<const DownloadHelper *> claimed;
    while (auto use = m_workers.claimToRetry(claimed, ticket)) {
        trace.error("Resume downloading of %s\n", use->worker().getDownloadURl());
        m_threads.start([this, ticket, use = std::move(use)] {
            DownloadHelper &worker = use->worker();
            DestinationFiles::Use destination(m_destinations, worker.getDownloadedFile(), ticket);
            if (!destination.hasBegun())
                return;
            destination.opened();
            worker.resumeDownload(true);
            if (worker.getDownloadStatus())
                destination.checked();
        });
    }
}

void DownloadEngine::stop() {
    m_cancellation.cancelAll();
    m_destinations.wakeWaiting();
    m_workers.stopAll();
}

std::list<DownloadWorkers::Validated> DownloadEngine::checkedPackages() const {
    std::list<DownloadWorkers::Validated> packages = m_workers.validatedPackages();
    packages.remove_if([this](const auto &package) { return !m_destinations.isChecked(package.file); });
    return packages;
}

std::list<const char *> DownloadEngine::downloadedPackages() const {
    std::list<const char *> paths;
    for (const DownloadWorkers::Validated &package : checkedPackages())
        paths.push_back(package.borrowed);
    return paths;
}

std::list<std::string> DownloadEngine::copyDownloadedPackages() const {
    std::list<std::string> paths;
    for (const DownloadWorkers::Validated &package : checkedPackages())
        paths.push_back(package.file);
    return paths;
}

void DownloadEngine::averageProgress() {
    const MutexLock lock(m_progressMutex);
    // Before the workers are looked at: what ends meanwhile may have ended badly. A job that begins meanwhile
    // waits for the lock.
    const bool mayFollow = mayDownloadsFollow();
    const DownloadWorkers::Snapshots snapshots = m_workers.snapshots();
    if (mayFollow)
        m_progress.completed = false;
    const bool neverStarted = m_threads.isWorkLeftOver();
    if (neverStarted)
        m_progress.failed = true;
    // An average over nothing is no figure: the previous ones stay.
    if (!m_pkgDownloadSeen || snapshots.workers == 0)
        return;
    const auto average = ::averageProgress(snapshots.infos, snapshots.workers);
    if (!average) {
        m_progress.resumable = false;
        return;
    }
    const bool resumable = m_progress.resumable;
    m_progress = *average;
    m_progress.failed = average->failed || neverStarted;
    m_progress.completed = average->completed && !mayFollow;
    m_progress.resumable = resumable;
}

// Downloads that have no worker yet, whatever those that have one say.
bool DownloadEngine::mayDownloadsFollow() const {
    return m_cancellation.packagesAreOutstanding() || m_threads.isWorkOutstanding();
}

DownloadProgressInfo DownloadEngine::progress() const {
    const MutexLock lock(m_progressMutex);
    return m_progress;
}

void DownloadEngine::setAnyFailed(bool failed) {
    const MutexLock lock(m_progressMutex);
    m_progress.failed = failed;
}
