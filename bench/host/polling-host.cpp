// usage: bench-polling-host POLLERS POLLS_PER_SECOND SECONDS_AFTERWARDS
// A host that installs what is published while so many threads ask for the progress so often each (0: as
// often as they can), and one goes on asking when all is complete. Prints what that took, as JSON. Only for
// the sealed machine.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

#include "HostEngine.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double processorSeconds() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

double bytesToDisk() {
    std::ifstream file("/proc/self/io");
    double number = 0;
    for (std::string name; file >> name >> number;)
        if (name == "write_bytes:")
            return number;
    return 0;
}

ino_t listsInode() {
    struct stat list {};
    stat("/private/tmp/configuration.plist", &list);
    return list.st_ino;
}

class Pollers {
public:
    Pollers(const HostEngine &engine, int count, int perSecond) {
        for (int i = 0; i < count; ++i)
            m_threads.emplace_back([this, &engine, perSecond] { poll(engine, perSecond); });
    }
    ~Pollers() { stop(); }
    Pollers(const Pollers &) = delete;
    Pollers &operator=(const Pollers &) = delete;

    long stop() {
        m_isOver = true;
        for (std::thread &thread : m_threads)
            thread.join();
        m_threads.clear();
        return m_polls;
    }

private:
    void poll(const HostEngine &engine, int perSecond) {
        while (!m_isOver) {
            static_cast<void>(engine.progress());
            ++m_polls;
            if (perSecond > 0)
                std::this_thread::sleep_for(std::chrono::microseconds(1000000 / perSecond));
        }
    }

    std::atomic<bool> m_isOver{false};
    std::atomic<long> m_polls{0};
    std::vector<std::thread> m_threads;
};

// How much one thread that asks twenty times a second has written in that time, and what it took.
void pollAfterwards(const HostEngine &engine, int seconds) {
    constexpr int perSecond = 20;
    long replaced = 0;
    ino_t inode = listsInode();
    const double processor = processorSeconds();
    const double bytes = bytesToDisk();
    double asking = 0;
    for (int i = 0; i < seconds * perSecond; ++i) {
        const Clock::time_point start = Clock::now();
        static_cast<void>(engine.progress());
        asking += secondsSince(start);
        replaced += listsInode() != inode ? 1 : 0;
        inode = listsInode();
        std::this_thread::sleep_until(start + std::chrono::milliseconds(1000 / perSecond));
    }
    std::cout << ", \"afterwards\": {\"filesReplacedPerSecond\": " << static_cast<double>(replaced) / seconds
              << ", \"bytesToDiskPerSecond\": " << (bytesToDisk() - bytes) / seconds
              << ", \"processorPercent\": " << 100 * (processorSeconds() - processor) / seconds
              << ", \"millisecondsInQueriesPerSecond\": " << 1000 * asking / seconds << "}";
}

} // namespace

int main(int argc, char *argv[]) {
    if (argc != 4)
        return EXIT_FAILURE;
    const HostEngine engine;
    static_cast<void>(engine.progress()); // the first call makes the engine and must be alone
    Pollers pollers(engine, std::stoi(argv[1]), std::stoi(argv[2]));
    const Clock::time_point start = Clock::now();
    const bool isInstalled = engine.install();
    const double seconds = secondsSince(start);
    const long polls = pollers.stop();
    const double processor = processorSeconds();
    if (!isInstalled || !engine.progress()->completed)
        return EXIT_FAILURE;
    std::cout << "{\"seconds\": " << seconds << ", \"processorSeconds\": " << processor
              << ", \"polls\": " << polls;
    if (const int afterwards = std::stoi(argv[3]))
        pollAfterwards(engine, afterwards);
    std::cout << "}\n";
}
