#include "DownloadWorkers.h"

#include <algorithm>

DownloadWorkers::Use::Use(DownloadWorkers &workers, DownloadHelper &worker, Cancellation::Ticket ticket)
    : m_workers(workers) {
    const MutexLock lock(m_workers.m_mutex);
    if (m_workers.m_cancellation.isCancelled(ticket))
        return;
    m_workers.begin(worker);
    m_worker = &worker;
}

DownloadWorkers::Use::~Use() {
    if (m_worker == nullptr)
        return;
    const MutexLock lock(m_workers.m_mutex);
    m_workers.m_inUse.erase(m_worker);
    m_workers.m_useEnded.notify_all();
}

DownloadWorkers::~DownloadWorkers() {
    destroy(m_downloadHelperList);
}

void DownloadWorkers::begin(DownloadHelper &worker) {
    m_inUse.emplace(&worker, m_lastUse + 1);
    ++m_lastUse;
}

bool DownloadWorkers::add(std::unique_ptr<DownloadHelper> &worker, Cancellation::Ticket ticket) {
    const MutexLock lock(m_mutex);
    if (m_cancellation.isCancelled(ticket))
        return false;
    m_downloadHelperList.push_back(worker.get());
    static_cast<void>(worker.release()); // the list's now
    return true;
}

std::shared_ptr<DownloadWorkers::Use> DownloadWorkers::claimToRetry(std::set<const DownloadHelper *> &claimed,
                                                                    Cancellation::Ticket ticket) {
    std::shared_ptr<Use> use(new Use(*this));
    MutexLock lock(m_mutex);
    while (!m_cancellation.isCancelled(ticket)) {
        bool waits = false;
        DownloadHelper *worker = findToRetry(claimed, waits);
        if (worker != nullptr) {
            claimed.insert(worker);
            begin(*worker);
            use->m_worker = worker;
            return use;
        }
        if (!waits)
            return nullptr;
        lock.wait(m_useEnded);
    }
    return nullptr;
}

// Waits when there is none but some that are used.
DownloadHelper *DownloadWorkers::findToRetry(const std::set<const DownloadHelper *> &claimed, bool &waits) {
    for (DownloadHelper *worker : m_downloadHelperList) {
        if (worker == nullptr || claimed.count(worker) != 0)
            continue;
        const DownloadProgressInfo info = worker->getProgressInfo();
        if (!info.failed && info.resumable)
            continue;
        if (m_inUse.count(worker) == 0)
            return worker;
        waits = true;
    }
    return nullptr;
}

void DownloadWorkers::stopAll() {
    std::list<DownloadHelper *> stopped;
    {
        MutexLock lock(m_mutex);
        stopped.swap(m_downloadHelperList);
        // Those that are not in the list yet, and those that a job has taken out of it, are among them.
        for (const auto &use : m_inUse)
            use.first->cancel();
        m_useEnded.notify_all(); // a claim that waits looks at the cancel
        const std::uint64_t lastUse = m_lastUse;
        while (usesGoOnUpTo(lastUse))
            lock.wait(m_useEnded);
    }
    destroy(stopped);
}

// Whether a use that began no later than that one goes on.
bool DownloadWorkers::usesGoOnUpTo(std::uint64_t lastUse) const {
    return std::any_of(m_inUse.begin(), m_inUse.end(),
                       [lastUse](const auto &use) { return use.second <= lastUse; });
}

void DownloadWorkers::destroyAll() {
    std::list<DownloadHelper *> workers;
    {
        MutexLock lock(m_mutex);
        workers.swap(m_downloadHelperList);
        for (DownloadHelper *worker : workers) {
            while (m_inUse.count(worker) != 0)
                lock.wait(m_useEnded);
        }
    }
    destroy(workers);
}

void DownloadWorkers::destroy(std::list<DownloadHelper *> &workers) {
    for (const DownloadHelper *worker : workers)
        delete worker;
    workers.clear();
}

DownloadWorkers::Snapshots DownloadWorkers::snapshots() const {
    Snapshots all;
    const MutexLock lock(m_mutex);
    all.workers = m_downloadHelperList.size();
    all.infos.reserve(all.workers);
    for (const DownloadHelper *worker : m_downloadHelperList) {
        if (worker != nullptr)
            all.infos.push_back(worker->getProgressInfo());
    }
    return all;
}

std::list<std::string> DownloadWorkers::files() const {
    std::list<std::string> files;
    const MutexLock lock(m_mutex);
    for (const DownloadHelper *worker : m_downloadHelperList) {
        if (worker != nullptr)
            files.emplace_back(worker->getDownloadedFile());
    }
    return files;
}

std::list<DownloadWorkers::Validated> DownloadWorkers::validatedPackages() const {
    std::list<Validated> packages;
    const MutexLock lock(m_mutex);
    for (const DownloadHelper *worker : m_downloadHelperList) {
        if (worker != nullptr && worker->getDownloadStatus())
            packages.push_back({worker->getDownloadedFile(), worker->getDownloadedFile()});
    }
    return packages;
}
