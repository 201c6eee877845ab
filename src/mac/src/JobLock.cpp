#include "JobLock.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>

#include "Paths.h"
#include "Trace.h"

namespace {

void tellFailure() {
    trace.error("ERROR: Not able to lock %s: %s\n", jobLockPath,
                std::generic_category().message(errno).c_str());
}

} // namespace

void JobLock::acquire() {
    // Held while another process is waited for: this process's other threads need the lock as well then.
    const MutexLock lock(m_mutex);
    if (m_uses == 0)
        m_file.emplace(openAndLock());
    ++m_uses;
}

void JobLock::release() {
    const MutexLock lock(m_mutex);
    if (--m_uses != 0)
        return;
    // By name, and not only by closing: a host may have forked meanwhile, and its child shares the lock.
    if (*m_file)
        static_cast<void>(flock(m_file->number(), LOCK_UN));
    m_file.reset();
}

// None when it is not to be had.
Descriptor JobLock::openAndLock() {
    // Not readable for others, or anybody could hold the lock.
    Descriptor file(open(jobLockPath, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file) {
        tellFailure();
        return file;
    }
    if (flock(file.number(), LOCK_EX | LOCK_NB) == 0)
        return file;
    trace.info("INFO: Waiting for another job on this machine to end\n");
    while (flock(file.number(), LOCK_EX) != 0) {
        if (errno == EINTR)
            continue;
        tellFailure();
        break;
    }
    return file;
}
