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
    // All count as running before the first one starts: none may look like the last.
    std::list<std::shared_ptr<Running>> running;
    for (std::size_t i = 0; i < works.size(); ++i)
        running.push_back(std::make_shared<Running>(*this));

    while (!works.empty()) {
        // A copy: the original stays for whoever tries again.
        try {
            start(std::move(running.front()), {works.front()}, true);
        } catch (const std::exception &) {
            leaveOver(works);
            throw;
        }
        running.pop_front();
        works.pop_front();
    }
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

bool DownloadThreads::areRunning() const {
    const MutexLock lock(m_mutex);
    return m_running != 0;
}

bool DownloadThreads::workIsLeftOver() const {
    const MutexLock lock(m_mutex);
    return !m_leftOver.empty();
}

std::list<DownloadThreads::Work> DownloadThreads::takeLeftOver() {
    const MutexLock lock(m_mutex);
    return std::exchange(m_leftOver, {});
}
