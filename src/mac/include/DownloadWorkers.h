#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Cancellation.h"
#include "DownloadHelper.h"
#include "ThreadSafety.h"

// The workers of all downloads, and which of them a thread uses. No worker is destroyed while it is used.
//
// Threads: every operation may be called by any thread. Queries take the lock for moments and wait for
// nothing.
class DownloadWorkers {
public:
    explicit DownloadWorkers(const Cancellation &cancellation)
        : m_cancellation(cancellation) {}
    ~DownloadWorkers();
    DownloadWorkers(const DownloadWorkers &) = delete;
    DownloadWorkers &operator=(const DownloadWorkers &) = delete;

    // A thread's use of a worker, for as long as it lives.
    class Use {
    public:
        // Begins the use of a worker that no other thread knows, unless a cancel came since the ticket was
        // drawn.
        Use(DownloadWorkers &workers, DownloadHelper &worker, Cancellation::Ticket ticket);
        ~Use();
        Use(const Use &) = delete;
        Use &operator=(const Use &) = delete;

        bool hasBegun() const noexcept { return m_worker != nullptr; }
        DownloadHelper &worker() const noexcept { return *m_worker; }

    private:
        friend class DownloadWorkers;
        explicit Use(DownloadWorkers &workers)
            : m_workers(workers) {}

        DownloadWorkers &m_workers;
        DownloadHelper *m_worker = nullptr;
    };

    // Appends a worker that its caller uses. False, and the worker stays the caller's, when a cancel came
    // since the ticket was drawn.
    bool add(std::unique_ptr<DownloadHelper> &worker, Cancellation::Ticket ticket);
    // The next worker that failed or was given up and that is none of the claimed, which it joins; null when
    // there is none. Waits for one that another thread is just done with, unless a cancel comes.
    std::shared_ptr<Use> claimToRetry(std::set<const DownloadHelper *> &claimed, Cancellation::Ticket ticket);
    // Ends all transfers, waits until no use is left that had begun, and destroys the workers of the list.
    void stopAll();
    // Waits until no worker of the list is used any more, and destroys them.
    void destroyAll();
    // Destroys every worker of the list and empties it; no thread may use one any more.
    static void destroy(std::list<DownloadHelper *> &workers);

    // All in the order in which the workers came.
    struct Snapshots {
        std::vector<DownloadProgressInfo> infos;
        std::size_t workers; // empty entries included
    };
    Snapshots snapshots() const;
    std::list<std::string> files() const;
    // A package that its worker has downloaded and validated.
    struct Validated {
        const char *borrowed; // from the worker
        std::string file;
    };
    std::list<Validated> validatedPackages() const;

private:
    bool usesGoOnUpTo(std::uint64_t lastUse) const REQUIRES(m_mutex);
    DownloadHelper *findToRetry(const std::set<const DownloadHelper *> &claimed, bool &waits)
        REQUIRES(m_mutex);
    void begin(DownloadHelper &worker) REQUIRES(m_mutex);

    const Cancellation &m_cancellation;
    mutable boost::mutex m_mutex;
    // Signalled when a use ends.
    boost::condition_variable m_useEnded;
    // Raw pointers, because the list's type is part of the interface; entries may be null.
    std::list<DownloadHelper *> m_downloadHelperList GUARDED_BY(m_mutex);
    // Each with the number of its use.
    std::map<DownloadHelper *, std::uint64_t> m_inUse GUARDED_BY(m_mutex);
    std::uint64_t m_lastUse GUARDED_BY(m_mutex) = 0;
};
