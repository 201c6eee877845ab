#pragma once

#include <optional>

#include "Descriptor.h"
#include "ThreadSafety.h"

// One job at a time on this machine, whoever runs it: two processes would write the same packages and lists.
//
// The lock is on a file and goes away with the process that holds it, however that ends. No child inherits
// it. Threads of one process share it; the jobs of one process are kept apart by others. Where the file
// cannot be opened, a line of the trace says so and the job runs without.
class JobLock {
public:
    JobLock() = default;
    ~JobLock() = default;
    JobLock(const JobLock &) = delete;
    JobLock &operator=(const JobLock &) = delete;

    // Holds the lock while it lives. Waits for another process's job, and says so in the trace.
    class Use {
    public:
        explicit Use(JobLock &lock)
            : m_lock(lock) {
            m_lock.acquire();
        }
        ~Use() { m_lock.release(); }
        Use(const Use &) = delete;
        Use &operator=(const Use &) = delete;

    private:
        JobLock &m_lock;
    };

private:
    void acquire();
    void release();
    static Descriptor openAndLock();

    boost::mutex m_mutex;
    unsigned m_uses GUARDED_BY(m_mutex) = 0;
    std::optional<Descriptor> m_file GUARDED_BY(m_mutex);
};
