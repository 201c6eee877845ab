// What the watching thread waits for: time to look again, a word from another thread, or a signal. There is
// one at a time; its signals have their default effects again when it is gone.
#pragma once

#include <chrono>

class Wake {
public:
    // Throws std::system_error when the system is out of pipes.
    Wake();
    ~Wake();
    Wake(const Wake &) = delete;
    Wake &operator=(const Wake &) = delete;

    static constexpr int noSignal = 0;
    // A signal's number; or that, when the time passed or somebody woke the waiting thread.
    int next(std::chrono::milliseconds patience) const;
    // Whether that is a signal that is to end the process.
    static bool ends(int signal);

    // Does what Ctrl-Z does by itself, and returns when the process goes on: at once where nobody could
    // continue it.
    void stop() const;

    // From any thread.
    void wake() const noexcept;

private:
    int m_readEnd = -1;
};
