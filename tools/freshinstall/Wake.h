// What the watching thread waits for: time to look again, the end of the engine's call, or a signal. There is
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

    static constexpr int timePassed = -1;
    static constexpr int callReturned = 0;
    // One of these, or a signal's number.
    int next(std::chrono::milliseconds patience) const;
    // Whether that is a signal that is to end the process.
    static bool ends(int news);

    // From any thread.
    void tellCallReturned() const noexcept;

private:
    int m_readEnd = -1;
};
