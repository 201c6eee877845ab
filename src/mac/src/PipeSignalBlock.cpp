#include "PipeSignalBlock.h"

#include <pthread.h>

namespace {

const sigset_t &pipeSignal() noexcept {
    static const sigset_t set = [] {
        sigset_t made;
        sigemptyset(&made);
        sigaddset(&made, SIGPIPE);
        return made;
    }();
    return set;
}

bool isPending() noexcept {
    sigset_t pending;
    sigemptyset(&pending);
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

} // namespace

PipeSignalBlock::PipeSignalBlock() noexcept
    : m_wasPending(isPending())
    , m_blocked(pthread_sigmask(SIG_BLOCK, &pipeSignal(), &m_previous) == 0) {
}

PipeSignalBlock::~PipeSignalBlock() {
    if (!m_blocked)
        return;
    int taken = 0;
    // One that came meanwhile must not strike when the mask is lifted.
    if (!m_wasPending && isPending())
        static_cast<void>(sigwait(&pipeSignal(), &taken));
    // Cannot fail: the mask is the one that the system gave.
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &m_previous, nullptr));
}
