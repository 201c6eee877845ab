#pragma once

#include <atomic>
#include <list>
#include <string>

#include "Cancellation.h"
#include "DestinationFiles.h"
#include "DownloadHelper.h"
#include "DownloadThreads.h"
#include "DownloadWorkers.h"
#include "PackageRecords.h"
#include "ThreadSafety.h"

// Downloads lists of URLs in parallel, one thread and one worker each, repeats and ends them, and knows how
// far all of them are.
//
// Threads: every operation may be called by any thread. Queries never wait for a transfer.
class DownloadEngine {
public:
    // The records must outlive the engine.
    explicit DownloadEngine(const PackageRecords &records)
        : m_records(records) {}
    // Ends what is still being downloaded.
    ~DownloadEngine();
    DownloadEngine(const DownloadEngine &) = delete;
    DownloadEngine &operator=(const DownloadEngine &) = delete;

    // A job that has not downloaded its packages yet, while it lives: nothing is complete meanwhile, whatever
    // the last job left, and a cancel since its ticket was drawn holds for all that it would still download.
    class Job {
    public:
        Job(DownloadEngine &engine, Cancellation::Ticket ticket)
            : m_outstanding(engine.beginJob(ticket)) {}
        ~Job() = default;
        Job(const Job &) = delete;
        Job &operator=(const Job &) = delete;

    private:
        Cancellation::OutstandingPackages m_outstanding;
    };
    Cancellation::Ticket drawTicket() const noexcept { return m_cancellation.drawTicket(); }

    // Downloads the URLs into sub-folders of the destination and returns when all have ended. Fetches nothing
    // when one of the paths may not be named in a command.
    void downLoad(const std::list<const char *> &urls, const std::string &destination);
    // Starts a thread for every URL that has a file and returns when all have ended; at once when the system
    // refuses one, while those that were started keep running.
    void createDownloadThreads(const std::list<const char *> &urls, const std::list<const char *> &files);
    // One download on the calling thread. 0 when it ran, however it ended; -1 when it could not.
    int download(const char *url, const char *file);
    // Starts what failed, was given up or never had a thread once more, unless a cancel came since the ticket
    // was drawn, and returns when all downloads have ended.
    void retry(Cancellation::Ticket ticket);
    // Ends all transfers and destroys their workers. Returns when no thread uses one any more.
    void stop();
    // Destroys the workers, once no thread uses them any more.
    void forgetWorkers() { m_workers.destroyAll(); }

    // Whether a download never had a thread since the job began.
    bool hasDownloadsNeverStarted() const { return m_threads.isWorkLeftOver(); }
    // The files of all workers, those of an earlier job in this process included.
    std::list<std::string> files() const { return m_workers.files(); }
    // The paths of the packages that are complete and checked; the plain ones are borrowed from the workers.
    std::list<const char *> downloadedPackages() const;
    std::list<std::string> copyDownloadedPackages() const;
    // Takes the figures of all workers together; progress gives those taken last.
    void averageProgress();
    DownloadProgressInfo progress() const;
    // What progress tells of failures until the figures are taken again.
    void setAnyFailed(bool failed);

private:
    Cancellation::OutstandingPackages beginJob(Cancellation::Ticket ticket);
    std::list<DownloadThreads::Work> downloadsOf(const std::list<const char *> &urls,
                                                 const std::list<const char *> &files);
    DownloadThreads::Work downloadOf(const char *url, const char *file, Cancellation::Ticket ticket);
    int run(const char *url, const char *file, Cancellation::Ticket ticket);
    void retryWorkers(Cancellation::Ticket ticket);
    std::list<DownloadWorkers::Validated> checkedPackages() const;
    bool mayDownloadsFollow() const;

    const PackageRecords &m_records;
    const CURLSetUpConfig m_curlConfig{10000, 30, 45};
    std::atomic<bool> m_pkgDownloadSeen{false};
    Cancellation m_cancellation;
    DestinationFiles m_destinations{m_cancellation};
    DownloadWorkers m_workers{m_cancellation};
    DownloadThreads m_threads;
    // Taken for moments only, before those of the others.
    mutable boost::mutex m_progressMutex;
    DownloadProgressInfo m_progress GUARDED_BY(m_progressMutex){0, 0, 0, 0, 0, false, false, true};
};
