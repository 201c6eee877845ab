// Work beside the test's own thread.
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <thread>

// Runs functions, each on a thread of its own, until they end, at the latest in the destructor.
class Background {
public:
    Background() = default;
    ~Background() { join(); }
    Background(const Background &) = delete;
    Background &operator=(const Background &) = delete;

    void run(std::function<void()> work) { m_threads.emplace_back(std::move(work)); }
    void join() {
        for (std::thread &thread : m_threads)
            thread.join();
        m_threads.clear();
    }

private:
    std::list<std::thread> m_threads;
};

// Whether the condition came true; asks again and again, for what gives no signal when it changes.
inline bool comesTrue(const std::function<bool()> &condition,
                      std::chrono::seconds patience = std::chrono::seconds(30)) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1)); // leaves the processors to others
    }
    return true;
}
