#pragma once

#include <atomic>
#include <thread>

#include "Descriptor.h"

// Reads a pipe to its end and throws away what comes, so that whoever writes neither waits nor dies of it:
// for a moment on the caller's thread, which is enough for most commands, then on a thread of its own. Ends
// at the latest with its destruction, however many writers are left. Used by one thread.
class PipeDrain {
public:
    // Keeps the pipe open by a descriptor of its own.
    explicit PipeDrain(int pipe) noexcept;
    ~PipeDrain();
    PipeDrain(const PipeDrain &) = delete;
    PipeDrain &operator=(const PipeDrain &) = delete;

    // Whether the pipe has come to its end or is read; the system may have no descriptor or no thread to
    // give.
    bool isAtWork() const noexcept { return m_hasEnded || m_thread.joinable(); }

private:
    void start() noexcept;
    void drain() const noexcept;

    const bool m_hasEnded;
    Descriptor m_pipe;
    std::atomic<bool> m_isStopped{false};
    std::thread m_thread;
};
