// Holds a program and all that it starts, by a pipe that they inherit: one end of it tells them to end, and
// shows when the last of them has. Signals do not get far enough: a process of a namespace of its own cannot
// be named from outside.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <thread>

#include "Descriptor.h"

// The holder's end.
class Leash {
public:
    // The number of the descriptor that a held program inherits.
    static constexpr int heldEnd = 3;

    // Throws std::system_error.
    Leash();

    // What the program is to have under that number.
    int end() const { return m_held.number(); }
    // When it has it.
    void letGo() { static_cast<void>(m_held.close()); }

    void pull() const;
    // Whether nobody is held any more, at the latest after that time.
    bool isFree(std::chrono::milliseconds patience) const;

private:
    explicit Leash(std::array<int, 2> ends)
        : m_held(ends[0])
        , m_hand(ends[1]) {}

    Descriptor m_held;
    Descriptor m_hand;
};

// In a held program: ends this process by SIGTERM when the leash is pulled, or its holder is gone.
class Collar {
public:
    // Throws std::system_error.
    Collar();
    ~Collar();
    Collar(const Collar &) = delete;
    Collar &operator=(const Collar &) = delete;

private:
    void watch() const;

    std::atomic<bool> m_ends{false};
    std::thread m_thread;
};
