#pragma once

#include <csignal>

// Keeps SIGPIPE from this thread while it lives, one that comes meanwhile included: whoever writes to a
// connection or a pipe that nobody reads gets an error, and the host's process is not ended.
class PipeSignalBlock {
public:
    PipeSignalBlock() noexcept;
    ~PipeSignalBlock();
    PipeSignalBlock(const PipeSignalBlock &) = delete;
    PipeSignalBlock &operator=(const PipeSignalBlock &) = delete;

private:
    sigset_t m_previous{};
    bool m_wasPending;
    bool m_blocked;
};
