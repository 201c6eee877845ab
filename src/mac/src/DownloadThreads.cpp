#include "DownloadThreads.h"

#include <exception>
#include <utility>

#include "Trace.h"

// Counts a thread as running, from before it is started until it has nothing left to do.
class DownloadThreads::Running {
public:
    explicit Running(DownloadThreads &threads)
        : m_threads(threads) {
        const MutexLock lock(m_threads.m_mutex);
        ++m_threads.m_running;
    }
    ~Running() {
        const MutexLock lock(m_threads.m_mutex);
        --m_threads.m_running;
        m_threads.m_oneEnded.notify_all();
    }
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

private:
    DownloadThreads &m_threads;
};

DownloadThreads::DownloadThreads()
    : m_pThreadGroup(std::make_unique<boost::thread_group>()) {
}

void DownloadThreads::startAll(std::list<Work> works) {
    // From before the first one starts until what has no thread is left over: none may look like the last.
    const Running untilKept(*this);
    try {
        startEach(works);
    } catch (const std::exception &) {
        leaveOver(works);
        throw;
    }
}

void DownloadThreads::startEach(std::list<Work> &works) {
    while (!works.empty()) {
        // A copy: the original stays for whoever tries again.
        start(std::make_shared<Running>(*this), {works.front()}, true);
        works.pop_front();
    }
}

void DownloadThreads::startLeftOver() {
    const Running untilStarted(*this);
    std::list<Work> works;
    {
        const MutexLock lock(m_mutex);
        works.swap(m_leftOver);
    }
    startAll(std::move(works));
}

void DownloadThreads::start(Work work) {
    start(std::make_shared<Running>(*this), {std::move(work)}, false);
}

void DownloadThreads::start(std::shared_ptr<Running> running, std::list<Work> work, bool keepsFailed) {
    // What a thread holds ends with its body, not with the thread object, which lives until it is joined.
    auto thread = std::make_unique<boost::thread>(
        [this, keepsFailed, running = std::move(running), work = std::move(work)]() mutable {
            const std::shared_ptr<Running> counted = std::move(running);
            std::list<Work> own = std::move(work);
            try {
                own.front()();
            } catch (const std::exception &) {
                trace.error("ERROR: Download Thread Creation Failed\n");
                if (keepsFailed)
                    leaveOver(own);
            }
        });
    const MutexLock lock(m_mutex);
    m_pThreadGroup->add_thread(thread.get());
    static_cast<void>(thread.release());
}

void DownloadThreads::leaveOver(std::list<Work> &works) {
    const MutexLock lock(m_mutex);
    m_leftOver.splice(m_leftOver.end(), works);
}

void DownloadThreads::join() {
    std::unique_ptr<boost::thread_group> group;
    {
        MutexLock lock(m_mutex);
        while (m_running != 0)
            lock.wait(m_oneEnded);
        // Whoever comes first joins and frees the threads, which have nothing left to do.
        group = std::make_unique<boost::thread_group>();
        m_pThreadGroup.swap(group);
    }
    group->join_all();
}

void DownloadThreads::noteLostWork() {
    const MutexLock lock(m_mutex);
    m_isWorkLost = true;
}

void DownloadThreads::forgetLeftOver() {
    std::list<Work> forgotten;
    const MutexLock lock(m_mutex);
    forgotten.swap(m_leftOver);
    m_isWorkLost = false;
}

bool DownloadThreads::isWorkLeftOver() const {
    const MutexLock lock(m_mutex);
    return isLeftOver();
}

bool DownloadThreads::isWorkOutstanding() const {
    const MutexLock lock(m_mutex);
    return m_running != 0 || isLeftOver();
}
