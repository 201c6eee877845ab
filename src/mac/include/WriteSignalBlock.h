#pragma once

#include <array>
#include <csignal>
#include <cstddef>

// Keeps the signals that a write can raise from this thread while it lives, those that come meanwhile
// included: SIGPIPE from a connection or a pipe that nobody reads, SIGXFSZ from a file that has reached the
// process's limit. Whoever writes gets an error then, and the host's process is not ended.
class WriteSignalBlock {
public:
    WriteSignalBlock() noexcept;
    ~WriteSignalBlock();
    WriteSignalBlock(const WriteSignalBlock &) = delete;
    WriteSignalBlock &operator=(const WriteSignalBlock &) = delete;

    static constexpr std::array<int, 2> signals = {SIGPIPE, SIGXFSZ};

private:
    sigset_t m_previous{};
    std::array<bool, signals.size()> m_wasPending{};
    bool m_blocked;
};
