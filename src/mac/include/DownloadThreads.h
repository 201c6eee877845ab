#pragma once

#include <functional>
#include <list>
#include <memory>

#include <boost/thread/thread.hpp>

#include "ThreadSafety.h"

// The threads of downloads and retries, and the downloads that no thread was to be had for.
//
// Threads: every operation may be called by any thread; only join waits.
class DownloadThreads {
public:
    using Work = std::function<void()>;

    DownloadThreads();
    ~DownloadThreads() = default;
    DownloadThreads(const DownloadThreads &) = delete;
    DownloadThreads &operator=(const DownloadThreads &) = delete;

    // Starts one thread for each piece of work, which counts as running or as left over at every moment. When
    // the system refuses one, throws boost::thread_resource_error, and what has no thread yet is left over;
    // so is work that ends by an exception. Threads that were started keep running.
    void startAll(std::list<Work> works);
    // The same with what is left over.
    void startLeftOver();
    // Starts one thread. Throws boost::thread_resource_error when the system refuses it; then nothing is left
    // over.
    void start(Work work);
    // Returns when none of the threads has anything left to do.
    void join();

    // Work that could not even be kept: something is left over from now on, which no start takes up.
    void noteLostWork();
    void forgetLeftOver();
    bool isWorkLeftOver() const;
    // Whether a thread runs or work is left over.
    bool isWorkOutstanding() const;

private:
    class Running;
    void startEach(std::list<Work> &works);
    void start(std::shared_ptr<Running> running, std::list<Work> work, bool keepsFailed);
    void leaveOver(std::list<Work> &works);
    bool isLeftOver() const REQUIRES(m_mutex) { return m_isWorkLost || !m_leftOver.empty(); }

    mutable boost::mutex m_mutex;
    // Signalled when a thread has nothing left to do.
    boost::condition_variable m_oneEnded;
    // Never null; replaced by an empty one when its threads are joined.
    std::unique_ptr<boost::thread_group> m_pThreadGroup GUARDED_BY(m_mutex);
    unsigned m_running GUARDED_BY(m_mutex) = 0;
    std::list<Work> m_leftOver GUARDED_BY(m_mutex);
    bool m_isWorkLost GUARDED_BY(m_mutex) = false;
};
