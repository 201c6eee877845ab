#include "CurlEasy.h"

#include <csignal>

#include <curl/curl.h>
#include <pthread.h>

namespace {

// Keeps SIGPIPE from this thread while it lives. libcurl leaves that to its user where it may not touch
// signals itself, and its TLS library writes to connections that are closed already.
class PipeSignalBlock {
public:
    PipeSignalBlock() noexcept
        : m_wasPending(isPending()) {
        m_blocked = pthread_sigmask(SIG_BLOCK, &pipeSignal(), &m_previous) == 0;
    }
    ~PipeSignalBlock() {
        if (!m_blocked)
            return;
        int taken = 0;
        // One that came meanwhile must not strike when the mask is lifted.
        if (!m_wasPending && isPending())
            static_cast<void>(sigwait(&pipeSignal(), &taken));
        // Cannot fail: the mask is the one that the system gave.
        static_cast<void>(pthread_sigmask(SIG_SETMASK, &m_previous, nullptr));
    }
    PipeSignalBlock(const PipeSignalBlock &) = delete;
    PipeSignalBlock &operator=(const PipeSignalBlock &) = delete;

private:
    static const sigset_t &pipeSignal() noexcept {
        static const sigset_t set = [] {
            sigset_t made;
            sigemptyset(&made);
            sigaddset(&made, SIGPIPE);
            return made;
        }();
        return set;
    }

    static bool isPending() noexcept {
        sigset_t pending;
        sigemptyset(&pending);
        return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    }

    sigset_t m_previous{};
    bool m_wasPending;
    bool m_blocked = false;
};

} // namespace

void CurlEasyDeleter::operator()(void *handle) const noexcept {
    const PipeSignalBlock block; // closing a TLS connection writes to it
    curl_easy_cleanup(handle);
}

int performTransfer(const CurlEasy &handle) noexcept {
    const PipeSignalBlock block;
    return curl_easy_perform(handle.get());
}

CurlEasy makeCurlEasy() noexcept {
    CurlEasy handle(curl_easy_init());
    if (handle && curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L) != CURLE_OK)
        handle.reset();
    return handle;
}
