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

sigset_t pendingSignals() noexcept {
    sigset_t pending;
    sigemptyset(&pending);
    static_cast<void>(sigpending(&pending)); // cannot fail: the set is this function's
    return pending;
}

bool isIn(const sigset_t &set, int signal) noexcept {
    return sigismember(&set, signal) == 1;
}

void take(int signal) noexcept {
    const sigset_t set = setOf(signal);
    int taken = 0;
    static_cast<void>(sigwait(&set, &taken)); // is pending: there is nothing to wait for
}

} // namespace

// Every line of the trace comes here, so the system is asked no more than it must be: a signal that was let
// through until now is not pending, it would have struck.
WriteSignalBlock::WriteSignalBlock() noexcept
    : m_blocked(block(m_previous)) {
    for (std::size_t i = 0; i < signals.size(); ++i)
        m_wasPending[i] = isIn(m_previous, signals[i]) && isIn(pendingSignals(), signals[i]);
}

WriteSignalBlock::~WriteSignalBlock() {
    if (!m_blocked)
        return;
    // One that came meanwhile must not strike when the mask is lifted.
    const sigset_t pending = pendingSignals();
    for (std::size_t i = 0; i < signals.size(); ++i) {
        if (!m_wasPending[i] && isIn(pending, signals[i]))
            take(signals[i]);
    }
    // Cannot fail: the mask is the one that the system gave.
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &m_previous, nullptr));
}
