#pragma once

#include <functional>

// A mutex that cannot be locked for once: while it lives, one lock that this thread asks for is refused,
// which boost::mutex tells by an exception. One may live at a time in a thread. Needs the link option
// --wrap=pthread_mutex_lock.
class RefusedLock {
public:
    // Lock 0 is the next one.
    explicit RefusedLock(int index) noexcept;
    ~RefusedLock();
    RefusedLock(const RefusedLock &) = delete;
    RefusedLock &operator=(const RefusedLock &) = delete;

    // Whether the lock was reached.
    bool happened() const noexcept;
};

// Calls a function before every lock that this thread asks for while it lives, hence between any two steps
// that other threads can tell apart; the locks that the function itself asks for are left out. One may live
// at a time in a thread. Needs the same link option.
class LockWatch {
public:
    explicit LockWatch(std::function<void()> look);
    ~LockWatch();
    LockWatch(const LockWatch &) = delete;
    LockWatch &operator=(const LockWatch &) = delete;

private:
    std::function<void()> m_look;
};
