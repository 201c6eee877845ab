// Names for clang's thread-safety analysis, and a lock that it understands.
#pragma once

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/locks.hpp>
#include <boost/thread/mutex.hpp>

#if defined(__clang__)
#define THREAD_SAFETY_ATTRIBUTE(x) __attribute__((x))
#else
#define THREAD_SAFETY_ATTRIBUTE(x)
#endif

#define GUARDED_BY(lock) THREAD_SAFETY_ATTRIBUTE(guarded_by(lock))
#define REQUIRES(lock) THREAD_SAFETY_ATTRIBUTE(requires_capability(lock))

// Holds a mutex for its own lifetime; may wait for a condition meanwhile.
class THREAD_SAFETY_ATTRIBUTE(scoped_lockable) MutexLock {
public:
    explicit MutexLock(boost::mutex &mutex) THREAD_SAFETY_ATTRIBUTE(exclusive_lock_function(mutex))
        : m_lock(mutex) {}
    ~MutexLock() THREAD_SAFETY_ATTRIBUTE(unlock_function()) = default;
    MutexLock(const MutexLock &) = delete;
    MutexLock &operator=(const MutexLock &) = delete;

    // To be called in a loop that tests the condition.
    void wait(boost::condition_variable &condition) { condition.wait(m_lock); }

private:
    boost::unique_lock<boost::mutex> m_lock;
};
