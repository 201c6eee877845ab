#include "JobLock.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "Paths.h"
#include "Trace.h"

void JobLock::acquire() {
    // Held while another process is waited for: this process's other threads need the lock as well then.
    const MutexLock lock(m_mutex);
    if (m_uses == 0)
        m_descriptor = openAndLock();
    ++m_uses;
}

void JobLock::release() {
    const MutexLock lock(m_mutex);
    if (--m_uses != 0 || m_descriptor < 0)
        return;
    // By name, and not only by closing: a host may have forked meanwhile, and its child shares the lock.
    static_cast<void>(flock(m_descriptor, LOCK_UN));
    static_cast<void>(close(m_descriptor)); // nothing was written that could be lost
    m_descriptor = -1;
}

// The descriptor, or -1 when there is none to be had.
int JobLock::openAndLock() {
    // Not readable for others, or anybody could hold the lock.
    const int descriptor = open(jobLockPath, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) {
        trace.error("ERROR: Not able to lock %s: %s\n", jobLockPath,
                    std::generic_category().message(errno).c_str());
        return -1;
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0)
        return descriptor;
    trace.info("INFO: Waiting for another job on this machine to end\n");
    while (flock(descriptor, LOCK_EX) != 0) {
        if (errno == EINTR)
            continue;
        trace.error("ERROR: Not able to lock %s: %s\n", jobLockPath,
                    std::generic_category().message(errno).c_str());
        break;
    }
    return descriptor;
}
