#include "PipeDrain.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

namespace {

// The host's signals stay with the host's threads: a new thread takes over what its maker blocks.
class AllSignalsBlock {
public:
    AllSignalsBlock() noexcept {
        sigset_t all;
        sigfillset(&all);
        m_blocked = pthread_sigmask(SIG_SETMASK, &all, &m_previous) == 0;
    }
    ~AllSignalsBlock() {
        if (m_blocked)
            static_cast<void>(pthread_sigmask(SIG_SETMASK, &m_previous, nullptr)); // the system gave it
    }
    AllSignalsBlock(const AllSignalsBlock &) = delete;
    AllSignalsBlock &operator=(const AllSignalsBlock &) = delete;

private:
    sigset_t m_previous{};
    bool m_blocked;
};

// How long the end waits for a pipe that has writers left and no bytes; usually the pipe ends first.
constexpr int millisecondsToStop = 20;

// How long a command may take before it gets a thread, which costs as much as some commands do.
constexpr std::chrono::milliseconds timeWithoutThread{50};

// False when there is nothing more to read.
bool throwSomeAway(int pipe) noexcept {
    std::array<char, 4096> bytes{};
    const ssize_t count = read(pipe, bytes.data(), bytes.size());
    return count > 0 || (count == -1 && errno == EINTR);
}

bool endsSoon(int pipe) noexcept {
    using std::chrono::steady_clock;
    const steady_clock::time_point end = steady_clock::now() + timeWithoutThread;
    pollfd waitedFor{pipe, POLLIN, 0};
    for (auto left = timeWithoutThread; left.count() > 0;
         left = std::chrono::duration_cast<std::chrono::milliseconds>(end - steady_clock::now())) {
        const int ready = poll(&waitedFor, 1, static_cast<int>(left.count()));
        if (ready == 1 && !throwSomeAway(pipe))
            return true;
    }
    return false;
}

} // namespace

PipeDrain::PipeDrain(int pipe) noexcept
    : m_hasEnded(endsSoon(pipe))
    , m_pipe(m_hasEnded ? -1 : fcntl(pipe, F_DUPFD_CLOEXEC, 0)) {
    if (m_pipe)
        start();
}

PipeDrain::~PipeDrain() {
    m_isStopped = true;
    if (m_thread.joinable())
        m_thread.join();
}

void PipeDrain::start() noexcept {
    try {
        const AllSignalsBlock block;
        m_thread = std::thread([this] { drain(); });
    } catch (const std::exception &) {
        // No thread, or no memory for one: isAtWork tells.
    }
}

void PipeDrain::drain() const noexcept {
    pollfd waitedFor{m_pipe.number(), POLLIN, 0};
    while (!m_isStopped) {
        const int ready = poll(&waitedFor, 1, millisecondsToStop);
        if (ready == 1 && !throwSomeAway(m_pipe.number()))
            return;
    }
}
