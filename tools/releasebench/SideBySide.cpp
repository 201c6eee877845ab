#include "SideBySide.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace {

// Threads that take job after job.
class Workers {
public:
    Workers(std::size_t count, std::size_t threads, const std::function<void(std::size_t)> &job)
        : m_count(count)
        , m_job(job)
        , m_running(std::min(std::max<std::size_t>(threads, 1), count)) {
        for (std::size_t missing = m_running; missing > 0 && startThread(missing); --missing) {
        }
    }
    ~Workers() {
        for (std::thread &thread : m_threads)
            thread.join();
    }
    Workers(const Workers &) = delete;
    Workers &operator=(const Workers &) = delete;

    bool areDoneWithin(std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_ended.wait_for(lock, time, [this] { return m_running == 0; });
    }

    // Once they are done.
    void throwFailure() const {
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

private:
    // False when the system has no more threads, but for the first one, without which nothing gets done.
    bool startThread(std::size_t missing) {
        try {
            m_threads.emplace_back([this] { work(); });
            return true;
        } catch (const std::system_error &) {
            if (m_threads.empty())
                throw;
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_running -= missing;
            return false;
        }
    }

    void work() noexcept {
        try {
            for (std::size_t i = m_next++; i < m_count; i = m_next++)
                m_job(i);
        } catch (...) {
            m_next = m_count; // the others need not go on
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_failure)
                m_failure = std::current_exception();
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        --m_running;
        m_ended.notify_all();
    }

    const std::size_t m_count;
    const std::function<void(std::size_t)> &m_job;
    std::atomic<std::size_t> m_next{0};
    std::mutex m_mutex; // guards the two that follow
    std::size_t m_running;
    std::exception_ptr m_failure;
    std::condition_variable m_ended;
    std::vector<std::thread> m_threads;
};

} // namespace

void runSideBySide(std::size_t count, std::size_t threads, const std::function<void(std::size_t)> &job,
                   const std::function<void()> &watcher) {
    Workers workers(count, threads, job);
    constexpr std::chrono::milliseconds betweenLooks(100);
    while (!workers.areDoneWithin(betweenLooks))
        watcher();
    workers.throwFailure();
}
