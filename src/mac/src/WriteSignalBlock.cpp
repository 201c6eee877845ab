#include "WriteSignalBlock.h"

#include <pthread.h>

namespace {

sigset_t setOf(int signal) noexcept {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    return set;
}

bool block(sigset_t &previous) noexcept {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : WriteSignalBlock::signals)
        sigaddset(&set, signal);
    return pthread_sigmask(SIG_BLOCK, &set, &previous) == 0;
}

bool isPending(int signal) noexcept {
    sigset_t pending;
    sigemptyset(&pending);
    return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

void take(int signal) noexcept {
    const sigset_t set = setOf(signal);
    int taken = 0;
    static_cast<void>(sigwait(&set, &taken)); // is pending: there is nothing to wait for
}

} // namespace

WriteSignalBlock::WriteSignalBlock() noexcept {
    for (std::size_t i = 0; i < signals.size(); ++i)
        m_wasPending[i] = isPending(signals[i]);
    m_blocked = block(m_previous);
}

WriteSignalBlock::~WriteSignalBlock() {
    if (!m_blocked)
        return;
    // One that came meanwhile must not strike when the mask is lifted.
    for (std::size_t i = 0; i < signals.size(); ++i) {
        if (!m_wasPending[i] && isPending(signals[i]))
            take(signals[i]);
    }
    // Cannot fail: the mask is the one that the system gave.
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &m_previous, nullptr));
}
