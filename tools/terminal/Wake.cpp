#include "Wake.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int otherSignals[] = {SIGWINCH, SIGTSTP};

std::atomic<int> writeEnd{-1}; // all that a signal handler can reach
static_assert(std::atomic<int>::is_always_lock_free);

// Also called in signal handlers.
void put(int number) noexcept {
    const int kept = errno;
    const auto byte = static_cast<unsigned char>(number);
    static_cast<void>(write(writeEnd, &byte, 1)); // a full pipe wakes as well
    errno = kept;
}

extern "C" void noteSignal(int number) {
    put(number);
}

void handle(int number, void (*handler)(int)) {
    struct sigaction action {};
    // What the caller ignores, as nohup does, stays ignored.
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
        return;
    action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    static_cast<void>(sigaction(number, &action, nullptr)); // fails for unknown signals only
}

void handleAll(void (*handler)(int)) {
    for (const int number : endingSignals)
        handle(number, handler);
    for (const int number : otherSignals)
        handle(number, handler);
}

} // namespace

Wake::Wake() {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    for (const int end : ends) {
        // Programs that are started must not inherit it, and a handler must never wait. These fail for closed
        // files only.
        static_cast<void>(fcntl(end, F_SETFD, FD_CLOEXEC));
        static_cast<void>(fcntl(end, F_SETFL, O_NONBLOCK));
    }
    m_readEnd = ends[0];
    writeEnd = ends[1];
    handleAll(noteSignal);
}

Wake::~Wake() {
    handleAll(SIG_DFL);
    static_cast<void>(close(writeEnd.exchange(-1))); // nothing was written to a file
    static_cast<void>(close(m_readEnd));
}

int Wake::next(std::chrono::milliseconds patience) const {
    pollfd news{m_readEnd, POLLIN, 0};
    unsigned char number = 0;
    // An interrupted wait has its signal's number in the pipe, which the next call finds.
    if (poll(&news, 1, static_cast<int>(patience.count())) != 1 || read(m_readEnd, &number, 1) != 1)
        return noSignal;
    return number;
}

bool Wake::ends(int signal) {
    return std::find(std::begin(endingSignals), std::end(endingSignals), signal) != std::end(endingSignals);
}

void Wake::stop() const {
    handle(SIGTSTP, SIG_DFL);
    static_cast<void>(raise(SIGTSTP)); // can't fail
    handle(SIGTSTP, noteSignal);
}

void Wake::wake() const noexcept {
    put(noSignal);
}
